/** The system calls that wait for the terminal's answer, by each way in which this processor's programs call. */
#pragma once

#include <linux/audit.h>
#include <sys/syscall.h>

namespace kt::terminal {

inline constexpr unsigned no_call = ~0U;

/** One way into the kernel, and its numbers of these calls. */
struct way_in {
    unsigned architecture = 0; /**< AUDIT_ARCH_… */
    bool short_words = false;  /**< Of the time calls without "64" in their names: 32-bit seconds. */
    unsigned ioctl = no_call;
    unsigned thread_area =
        no_call; /**< What a C library calls once after each exec; only where time_functions.h has work. */
    unsigned settimeofday = no_call;
    unsigned clock_settime = no_call;
    unsigned clock_settime64 = no_call;
    unsigned stime = no_call;
    unsigned gettimeofday = no_call;
    unsigned clock_gettime = no_call;
    unsigned clock_gettime64 = no_call;
    unsigned time = no_call;
};

/** arch_prctl's first argument where that is the call thread_area. */
inline constexpr unsigned set_fs = 0x1002;

#if defined(__x86_64__) || defined(__i386__)
inline constexpr way_in way_of_i386 = {
    .architecture = AUDIT_ARCH_I386,
    .short_words = true,
    .ioctl = 54,
    .thread_area = 243,
    .settimeofday = 79,
    .clock_settime = 264,
    .clock_settime64 = 404,
    .stime = 25,
    .gettimeofday = 78,
    .clock_gettime = 265,
    .clock_gettime64 = 403,
    .time = 13,
};
#endif
#if defined(__x86_64__)
inline constexpr way_in way_of_x86_64 = {
    .architecture = AUDIT_ARCH_X86_64,
    .ioctl = 16,
    .thread_area = 158,
    .settimeofday = 164,
    .clock_settime = 227,
    .gettimeofday = 96,
    .clock_gettime = 228,
    .time = 201,
};
inline constexpr unsigned x32_bit = 0x40000000;
inline constexpr way_in way_of_x32 = {
    .architecture = AUDIT_ARCH_X86_64,
    .ioctl = x32_bit + 514,
    .settimeofday = x32_bit + 164,
    .clock_settime = x32_bit + 227,
    .gettimeofday = x32_bit + 96,
    .clock_gettime = x32_bit + 228,
    .time = x32_bit + 201,
};
inline constexpr way_in ways_in[] = {way_of_x86_64, way_of_x32, way_of_i386};
#elif defined(__i386__)
inline constexpr way_in ways_in[] = {way_of_i386};
#elif defined(__aarch64__)
inline constexpr way_in way_of_aarch64 = {
    .architecture = AUDIT_ARCH_AARCH64,
    .ioctl = 29,
    .settimeofday = 170,
    .clock_settime = 112,
    .gettimeofday = 169,
    .clock_gettime = 113,
};
inline constexpr way_in way_of_arm = {
    .architecture = AUDIT_ARCH_ARM,
    .short_words = true,
    .ioctl = 54,
    .settimeofday = 79,
    .clock_settime = 262,
    .clock_settime64 = 404,
    .gettimeofday = 78,
    .clock_gettime = 263,
    .clock_gettime64 = 403,
};
inline constexpr way_in ways_in[] = {way_of_aarch64, way_of_arm};
#elif defined(__mips__) && defined(__MIPSEL__) && _MIPS_SIM == _ABIO32
inline constexpr way_in way_of_mipsel = {
    .architecture = AUDIT_ARCH_MIPSEL,
    .short_words = true,
    .ioctl = __NR_ioctl,
    .settimeofday = __NR_settimeofday,
    .clock_settime = __NR_clock_settime,
    .clock_settime64 = __NR_clock_settime64,
    .stime = __NR_stime,
    .gettimeofday = __NR_gettimeofday,
    .clock_gettime = __NR_clock_gettime,
    .clock_gettime64 = __NR_clock_gettime64,
    .time = __NR_time,
};
inline constexpr way_in ways_in[] = {way_of_mipsel};
#else
#error "name this processor's ways into these calls"
#endif

} // namespace kt::terminal
