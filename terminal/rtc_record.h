/** A calendar time in the kernel's record for hardware clocks and in the C library's. */
#pragma once

#include <linux/rtc.h>
#include <time.h>

namespace kt::terminal {

inline rtc_time rtc_record_of(const tm& parts)
{
    return {.tm_sec = parts.tm_sec,
            .tm_min = parts.tm_min,
            .tm_hour = parts.tm_hour,
            .tm_mday = parts.tm_mday,
            .tm_mon = parts.tm_mon,
            .tm_year = parts.tm_year,
            .tm_wday = parts.tm_wday,
            .tm_yday = parts.tm_yday,
            .tm_isdst = 0};
}

/** Without week day and day of the year, in which a writer may have put anything. */
inline tm parts_of(const rtc_time& record)
{
    tm parts{};
    parts.tm_sec = record.tm_sec;
    parts.tm_min = record.tm_min;
    parts.tm_hour = record.tm_hour;
    parts.tm_mday = record.tm_mday;
    parts.tm_mon = record.tm_mon;
    parts.tm_year = record.tm_year;
    return parts;
}

} // namespace kt::terminal
