/** The system calls that wait for the terminal's answer, by each way in which this processor's programs call. */
#pragma once

#include <linux/audit.h>
#include <sys/syscall.h>

namespace kt::terminal {

/** One way into the kernel, and its numbers of these calls; no_call where it does not have one. */
struct way_in {
    unsigned architecture; /**< AUDIT_ARCH_… */
    bool short_words;      /**< Of the time calls without "64" in their names: 32-bit seconds. */
    unsigned ioctl;
    unsigned thread_area; /**< What a C library calls once after each exec; only where time_functions.h has work. */
    unsigned settimeofday;
    unsigned clock_settime;
    unsigned clock_settime64;
    unsigned stime;
    unsigned gettimeofday;
    unsigned clock_gettime;
    unsigned clock_gettime64;
    unsigned time;
};

inline constexpr unsigned no_call = ~0U;

/** arch_prctl's first argument where that is the call thread_area. */
inline constexpr unsigned set_fs = 0x1002;

// clang-format off
inline constexpr way_in ways_in[] = {
#if defined(__x86_64__)
    {AUDIT_ARCH_X86_64, false, 16, 158, 164, 227, no_call, no_call, 96, 228, no_call, 201},
    {AUDIT_ARCH_X86_64, false, 0x40000000 + 514, no_call, 0x40000000 + 164, 0x40000000 + 227, no_call, no_call,
     0x40000000 + 96, 0x40000000 + 228, no_call, 0x40000000 + 201}, // x32
    {AUDIT_ARCH_I386, true, 54, 243, 79, 264, 404, 25, 78, 265, 403, 13},
#elif defined(__i386__)
    {AUDIT_ARCH_I386, true, 54, 243, 79, 264, 404, 25, 78, 265, 403, 13},
#elif defined(__aarch64__)
    {AUDIT_ARCH_AARCH64, false, 29, no_call, 170, 112, no_call, no_call, 169, 113, no_call, no_call},
    {AUDIT_ARCH_ARM, true, 54, no_call, 79, 262, 404, no_call, 78, 263, 403, no_call},
#elif defined(__mips__) && defined(__MIPSEL__) && _MIPS_SIM == _ABIO32
    {AUDIT_ARCH_MIPSEL, true, __NR_ioctl, no_call, __NR_settimeofday, __NR_clock_settime, __NR_clock_settime64,
     __NR_stime, __NR_gettimeofday, __NR_clock_gettime, __NR_clock_gettime64, __NR_time},
#else
#error "name this processor's ways into these calls"
#endif
};
// clang-format on

} // namespace kt::terminal
