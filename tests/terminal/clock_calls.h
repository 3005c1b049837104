/** Every way in which a program of this machine sets or reads the calendar's time, through its C library and without.
 */
#pragma once

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace kt::tests {

struct way_to_read {
    const char* name;
    std::int64_t (*read)(); /**< Seconds; -1: it failed. */
};

struct way_to_set {
    const char* name;
    long (*set)(std::int64_t seconds); /**< 0, or -1 and errno. */
};

/** The kernel's own records, whatever the C library makes of them. */
struct long_pair {
    long seconds;
    long part;
};
struct wide_pair {
    std::int64_t seconds;
    std::int64_t part;
};

template <clockid_t Clock>
std::int64_t read_clock()
{
    timespec now{};
    return clock_gettime(Clock, &now) == 0 ? std::int64_t{now.tv_sec} : -1;
}

template <long Call, typename Pair, long Clock>
std::int64_t call_clock()
{
    Pair now{};
    return syscall(Call, Clock, &now) == 0 ? std::int64_t{now.seconds} : -1;
}

#ifdef __x86_64__
/** A call as 32-bit programs make it; the record lies where they can point to. */
inline long old_call(long number, long first, long second = 0)
{
    long result = number;
    // NOLINTNEXTLINE(hicpp-no-assembler): no library makes it
    asm volatile("int $0x80" : "+a"(result) : "b"(first), "c"(second) : "memory", "r8", "r9", "r10", "r11");
    if (result >= 0 || result < -4095)
        return result;
    errno = static_cast<int>(-result);
    return -1;
}

struct short_pair {
    std::int32_t seconds;
    std::int32_t part;
};

template <typename Record>
Record& old_record()
{
    static void* const place =
        mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_32BIT, -1, 0);
    return *static_cast<Record*>(place);
}

template <long Call, typename Pair, long Clock>
std::int64_t old_clock()
{
    auto& now = old_record<Pair>();
    return old_call(Call, Clock, reinterpret_cast<long>(&now)) == 0 ? std::int64_t{now.seconds} : -1;
}

template <long Call, typename Pair>
long set_old_clock(std::int64_t seconds)
{
    auto& wanted = old_record<Pair>();
    wanted.seconds = static_cast<decltype(wanted.seconds)>(seconds);
    wanted.part = 0;
    return old_call(Call, CLOCK_REALTIME, reinterpret_cast<long>(&wanted));
}
#endif

inline std::int64_t library_timeofday()
{
    timeval now{};
    return gettimeofday(&now, nullptr) == 0 ? std::int64_t{now.tv_sec} : -1;
}

inline std::int64_t call_timeofday()
{
    long_pair now{};
    return syscall(SYS_gettimeofday, &now, nullptr) == 0 ? std::int64_t{now.seconds} : -1;
}

inline constexpr way_to_read ways_to_read[] = {
    {"clock_gettime", read_clock<CLOCK_REALTIME>},
    {"clock_gettime, coarse", read_clock<CLOCK_REALTIME_COARSE>},
    {"clock_gettime, atomic time", read_clock<CLOCK_TAI>},
    {"gettimeofday", library_timeofday},
    {"time", [] { return std::int64_t{std::time(nullptr)}; }},
    {"the call clock_gettime", call_clock<SYS_clock_gettime, long_pair, CLOCK_REALTIME>},
    {"the call clock_gettime, coarse", call_clock<SYS_clock_gettime, long_pair, CLOCK_REALTIME_COARSE>},
    {"the call gettimeofday", call_timeofday},
#ifdef SYS_time
    {"the call time",
     [] {
         long now = 0;
         const auto result = std::int64_t{syscall(SYS_time, &now)};
         return result == now ? result : -1;
     }},
#endif
#ifdef SYS_clock_gettime64
    {"the call clock_gettime64", call_clock<SYS_clock_gettime64, wide_pair, CLOCK_REALTIME>},
#endif
#ifdef __x86_64__
    {"the 32-bit call clock_gettime", old_clock<265, short_pair, CLOCK_REALTIME>},
    {"the 32-bit call clock_gettime64", old_clock<403, wide_pair, CLOCK_REALTIME>},
    {"the 32-bit call gettimeofday",
     [] {
         auto& now = old_record<short_pair>();
         return old_call(78, reinterpret_cast<long>(&now)) == 0 ? std::int64_t{now.seconds} : -1;
     }},
    {"the 32-bit call time", [] { return std::int64_t{old_call(13, 0)}; }},
#endif
};

inline constexpr way_to_set ways_to_set[] = {
    {"clock_settime",
     [](std::int64_t seconds) {
         const timespec wanted{static_cast<time_t>(seconds), 0};
         return static_cast<long>(clock_settime(CLOCK_REALTIME, &wanted));
     }},
    {"settimeofday",
     [](std::int64_t seconds) {
         const timeval wanted{static_cast<time_t>(seconds), 0};
         return static_cast<long>(settimeofday(&wanted, nullptr));
     }},
    {"the call clock_settime",
     [](std::int64_t seconds) {
         const long_pair wanted{static_cast<long>(seconds), 0};
         return syscall(SYS_clock_settime, CLOCK_REALTIME, &wanted);
     }},
    {"the call settimeofday",
     [](std::int64_t seconds) {
         const long_pair wanted{static_cast<long>(seconds), 0};
         return syscall(SYS_settimeofday, &wanted, nullptr);
     }},
#ifdef SYS_clock_settime64
    {"the call clock_settime64",
     [](std::int64_t seconds) {
         const wide_pair wanted{seconds, 0};
         return syscall(SYS_clock_settime64, CLOCK_REALTIME, &wanted);
     }},
#endif
#ifdef SYS_stime
    {"the call stime",
     [](std::int64_t seconds) {
         const long wanted = static_cast<long>(seconds);
         return syscall(SYS_stime, &wanted);
     }},
#endif
#ifdef __x86_64__
    {"the 32-bit call clock_settime", set_old_clock<264, short_pair>},
    {"the 32-bit call clock_settime64", set_old_clock<404, wide_pair>},
    {"the 32-bit call settimeofday",
     [](std::int64_t seconds) {
         auto& wanted = old_record<short_pair>();
         wanted = {static_cast<std::int32_t>(seconds), 0};
         return old_call(79, reinterpret_cast<long>(&wanted));
     }},
    {"the 32-bit call stime",
     [](std::int64_t seconds) {
         auto& wanted = old_record<std::int32_t>();
         wanted = static_cast<std::int32_t>(seconds);
         return old_call(25, reinterpret_cast<long>(&wanted));
     }},
#endif
};

} // namespace kt::tests
