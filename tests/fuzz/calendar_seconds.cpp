/** Fuzzes the conversion of calendar time to seconds against one in 64 bits by another way of counting. */
#include "kt_driver/clock.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

bool leap(std::int64_t year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/** Days from the first of the year 1 to the first of a month, by adding months. */
std::int64_t days_before(std::int64_t year, int month)
{
    constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const std::int64_t years = year - 1;
    std::int64_t days = years * 365 + years / 4 - years / 100 + years / 400;
    for (int at = 1; at < month; ++at)
        days += lengths[at - 1] + (at == 2 && leap(year) ? 1 : 0);
    return days;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    kt_rtc_time time{};
    std::memcpy(&time, data, size < sizeof time ? size : sizeof time);
    (void)kt_mktime(&time); // any fields at all: nothing may be undefined

    // Years and months that are on a calendar; days and times count on, however far.
    if (time.mon < 1 || time.mon > 12 || time.year < 1) {
        time.mon = static_cast<std::int32_t>(1 + static_cast<std::uint32_t>(time.mon) % 12);
        time.year = static_cast<std::int32_t>(1 + static_cast<std::uint32_t>(time.year) % INT32_MAX);
    }
    const std::int64_t days = days_before(time.year, time.mon) - days_before(1970, 1) + time.mday - 1;
    const std::uint64_t minutes = static_cast<std::uint64_t>((days * 24 + time.hour) * 60 + time.min);
    const std::uint64_t expected = minutes * 60 + static_cast<std::uint64_t>(std::int64_t{time.sec});
    if (kt_mktime(&time) != static_cast<std::uint32_t>(expected))
        std::abort();
    return 0;
}
