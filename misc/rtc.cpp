// Calendar time: the system's clock, the hardware clock behind it, and the conversion to seconds.
#include "base/failure.h"
#include "base/shell.h"
#include "kt_driver/clock.h"

#include <ctime>

namespace {

/** Wraps where a subtraction of signed numbers would be undefined. */
int less(int from, unsigned what)
{
    return static_cast<int>(static_cast<unsigned>(from) - what);
}

} // namespace

int kt_rtc_init(void)
{
    return 0;
}

int kt_rtc_set_time(kt_rtc_time* t)
{
    if (t == nullptr)
        return kt::refuse(EINVAL);
    t->mon = less(t->mon, 1);
    t->year = less(t->year, 1900);

    std::tm local{};
    local.tm_sec = t->sec;
    local.tm_min = t->min;
    local.tm_hour = t->hour;
    local.tm_mday = t->mday;
    local.tm_mon = t->mon;
    local.tm_year = t->year;
    local.tm_isdst = -1; // the zone's own rules say whether it is summer
    const timespec whole_seconds{std::mktime(&local), 0};
    (void)clock_settime(CLOCK_REALTIME, &whole_seconds);
    (void)kt::run_shell("hwclock -w -f /dev/rtc0");
    return 0;
}

int kt_rtc_get_time(kt_rtc_time* t)
{
    if (t == nullptr)
        return kt::refuse(EINVAL);
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    (void)localtime_r(&now, &local);
    t->sec = local.tm_sec;
    t->min = local.tm_min;
    t->hour = local.tm_hour;
    t->mday = local.tm_mday;
    t->mon = local.tm_mon + 1;
    t->year = local.tm_year + 1900;
    return 0;
}

uint32_t kt_mktime(const kt_rtc_time* t)
{
    if (t == nullptr) {
        errno = EINVAL;
        return UINT32_MAX;
    }
    // The counting year begins in March: the leap day is its last, and 367 * month / 12 gives the days of the months
    // before. All of it wraps at 32 bits.
    auto month = static_cast<uint32_t>(t->mon) - 2;
    auto year = static_cast<uint32_t>(t->year);
    if (static_cast<int32_t>(month) <= 0) {
        month += 12;
        year -= 1;
    }
    const uint32_t days =
        year * 365 + year / 4 - year / 100 + year / 400 + 367 * month / 12 + static_cast<uint32_t>(t->mday);
    const uint32_t hours = days * 24 + static_cast<uint32_t>(t->hour);
    const uint32_t minutes = hours * 60 + static_cast<uint32_t>(t->min);
    constexpr uint32_t from_year_0_to_1970 = 0x86B1BF80; // -719499 days
    return minutes * 60 + static_cast<uint32_t>(t->sec) + from_year_0_to_1970;
}

void kt_rtc_set_timecb(...) {}
