/** Calendar time to seconds: every day of its range against the C library and a counted calendar, and what wraps. */
#include <kt_driver/clock.h>

#include "tests/misc/clock_in_c.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

namespace {

/** A day of the calendar, reckoned by nothing but counting on from the first. */
struct counted_day {
    std::int32_t year = 1970;
    std::int32_t month = 1;
    std::int32_t day = 1;

    bool operator==(const counted_day&) const = default;

    std::int32_t days_of_month() const
    {
        switch (month) {
        case 4:
        case 6:
        case 9:
        case 11:
            return 30;
        case 2:
            return year % 400 == 0 || (year % 4 == 0 && year % 100 != 0) ? 29 : 28;
        default:
            return 31;
        }
    }

    counted_day next() const
    {
        if (day < days_of_month())
            return {year, month, day + 1};
        if (month < 12)
            return {year, month + 1, 1};
        return {year + 1, 1, 1};
    }
};

constexpr counted_day last_day{2106, 2, 7};
constexpr std::uint64_t day_s = 86400;

struct time_of_day {
    std::int32_t hour, min, sec;
};
constexpr time_of_day times[] = {{0, 0, 0},  {0, 0, 1},   {6, 28, 15}, {11, 59, 59},
                                 {12, 0, 0}, {13, 7, 42}, {23, 59, 59}};

std::uint64_t seconds_of(const time_of_day& time)
{
    return static_cast<std::uint64_t>((time.hour * 60 + time.min) * 60 + time.sec);
}

kt_rtc_time record(const counted_day& day, const time_of_day& time)
{
    return {time.sec, time.min, time.hour, day.day, day.month, day.year};
}

/** What the C library makes of it; -1 where its seconds are too short. */
std::time_t c_library_seconds(const counted_day& day, const time_of_day& time)
{
    std::tm broken_down{};
    broken_down.tm_sec = time.sec;
    broken_down.tm_min = time.min;
    broken_down.tm_hour = time.hour;
    broken_down.tm_mday = day.day;
    broken_down.tm_mon = day.month - 1;
    broken_down.tm_year = day.year - 1900;
    return timegm(&broken_down);
}

struct instant {
    const char* text;
    kt_rtc_time time;
    std::uint32_t seconds;
};

void expect_each(const auto& rows)
{
    for (const instant& each : rows) {
        const kt_rtc_time before = each.time;
        EXPECT_EQ(kt_mktime(&each.time), each.seconds) << each.text;
        EXPECT_EQ(each.time.mon, before.mon) << each.text;
        EXPECT_EQ(each.time.year, before.year) << each.text;
    }
}

} // namespace

TEST(CalendarSeconds, OfEveryDayAgreeWithACountedCalendar)
{
    std::uint64_t midnight = 0;
    int days = 0;
    for (counted_day day;; day = day.next(), midnight += day_s) {
        ++days;
        for (const time_of_day& time : times) {
            const kt_rtc_time tried = record(day, time);
            const std::uint64_t expected = midnight + seconds_of(time);
            if (expected > UINT32_MAX)
                continue; // of the last day, which ends early
            ASSERT_EQ(kt_mktime(&tried), expected) << day.year << '-' << day.month << '-' << day.day;
        }
        if (day == last_day)
            break;
    }
    EXPECT_EQ(days, 49711); // 2^32 seconds are 49710 days and a quarter
}

TEST(CalendarSeconds, OfEveryDayAgreeWithTheCLibrary)
{
    // Where the C library's seconds have 32 bits, its calendar ends on 2038-01-19.
    const counted_day end = sizeof(std::time_t) > 4 ? last_day.next() : counted_day{2038, 1, 19};
    std::uint64_t midnight = 0;
    for (counted_day day; day != end; day = day.next(), midnight += day_s) {
        for (const time_of_day& time : times) {
            const kt_rtc_time tried = record(day, time);
            const std::time_t expected = c_library_seconds(day, time);
            ASSERT_EQ(static_cast<std::uint64_t>(expected), midnight + seconds_of(time)) << "the counted calendar";
            ASSERT_EQ(kt_mktime(&tried), static_cast<std::uint32_t>(expected))
                << day.year << '-' << day.month << '-' << day.day;
        }
    }
}

TEST(CalendarSeconds, OfStatedInstants)
{
    const instant rows[] = {
        {"the first second", {0, 0, 0, 1, 1, 1970}, 0},
        {"the first day's last", {59, 59, 23, 1, 1, 1970}, 86399},
        {"2000-03-01", {0, 0, 0, 1, 3, 2000}, 951868800},
        {"a leap day's noon", {0, 0, 12, 29, 2, 2024}, 1709208000},
        {"2000 is a leap year", {0, 0, 0, 29, 2, 2000}, 951782400},
        {"2026-11-15 12:34:56", {56, 34, 12, 15, 11, 2026}, 1794746096},
        {"the last second of 31 bits", {7, 14, 3, 19, 1, 2038}, 0x7FFFFFFF},
        {"and the one after", {8, 14, 3, 19, 1, 2038}, 0x80000000},
        {"2100-02-28", {0, 0, 0, 28, 2, 2100}, 4107456000U},
        {"2100 has no leap day", {0, 0, 0, 1, 3, 2100}, 4107542400U},
        {"the last second", {15, 28, 6, 7, 2, 2106}, 0xFFFFFFFF},
    };
    expect_each(rows);
}

TEST(CalendarSeconds, WrapBeforeAndAfterTheirRange)
{
    const instant rows[] = {
        {"the second before the first", {59, 59, 23, 31, 12, 1969}, 0xFFFFFFFF},
        {"the second after the last", {16, 28, 6, 7, 2, 2106}, 0},
        {"2106-02-08", {0, 0, 0, 8, 2, 2106}, 63104},
        {"2107-01-01", {0, 0, 0, 1, 1, 2107}, 28315904},
        {"1900-01-01", {0, 0, 0, 1, 1, 1900}, 2085978496},
    };
    expect_each(rows);
}

TEST(CalendarSeconds, FieldsOutOfRangeAreCountedOn)
{
    const instant rows[] = {
        {"day 0 is the last of February", {0, 0, 0, 0, 3, 2026}, 1772236800},
        {"day 0 of January", {0, 0, 0, 0, 1, 2026}, 1767139200},
        {"day -1", {0, 0, 0, -1, 1, 2026}, 1767052800},
        {"30 February", {0, 0, 0, 30, 2, 2026}, 1772409600},
        {"31 April", {0, 0, 0, 31, 4, 2026}, 1777593600},
        {"24:60:60", {60, 60, 24, 15, 11, 2026}, 1794790860},
        {"a second, minute and hour before midnight", {-1, -1, -1, 15, 11, 2026}, 1794697139},
        {"the largest numbers", {INT_MAX, INT_MAX, INT_MAX, 15, 11, 2026}, 3942180787U},
        {"the smallest day", {0, 0, 0, INT_MIN, 2, 2026}, 1769817600},
    };
    expect_each(rows);
}

TEST(CalendarSeconds, MonthsOutOfRangeWrapAtThirtyTwoBits)
{
    // m = month - 2 as a signed number of 32 bits; 12 is added when it is 0 or less, and from then on it is unsigned.
    const instant rows[] = {
        {"month 13 is January", {0, 0, 0, 1, 13, 2026}, 1798761600},
        {"month 14 is February", {0, 0, 0, 1, 14, 2026}, 1801440000},
        {"month 15, two days beside March", {0, 0, 0, 1, 15, 2026}, 1804032000},
        {"month 0 is December", {0, 0, 0, 1, 0, 2026}, 1764547200},
        {"month -1 is November", {0, 0, 0, 1, -1, 2026}, 1761955200},
        {"month -9, the last with a month of its own", {0, 0, 0, 1, -9, 2026}, 1740787200},
        {"month -10: m is 0", {0, 0, 0, 1, -10, 2026}, 1738195200},
        {"month -11: 367 times -1 wraps", {0, 0, 0, 1, -11, 2026}, 1735488000},
        {"the smallest month, of which m is positive", {0, 0, 0, 1, INT_MIN, 2026}, 1764403200},
        {"m is the largest number", {0, 0, 0, 1, INT_MIN + 1, 2026}, 1767081600},
        {"m is the smallest number", {0, 0, 0, 1, INT_MIN + 2, 2026}, 1769846400},
        {"the largest month", {0, 0, 0, 1, INT_MAX, 2026}, 1761724800},
    };
    expect_each(rows);
}

TEST(CalendarSeconds, YearsOutOfRangeWrapAtThirtyTwoBits)
{
    const instant rows[] = {
        {"March of the year 0", {0, 0, 0, 1, 3, 0}, 2262474240U},
        {"January of the year 0, counted in -1", {0, 0, 0, 1, 1, 0}, 2257352448U},
        {"March of the year -1", {0, 0, 0, 1, 3, -1}, 2230914048U},
        {"the end of the largest year", {59, 59, 23, 31, 12, INT_MAX}, 2257321343U},
        {"the smallest year", {0, 0, 0, 1, 1, INT_MIN}, 2257321344U},
    };
    expect_each(rows);
}

TEST(CalendarSeconds, OfNothingAreRefused)
{
    errno = 0;
    EXPECT_EQ(kt_mktime(nullptr), 0xFFFFFFFFU);
    EXPECT_EQ(errno, EINVAL);
}

TEST(CalendarSeconds, DoNotTouchErrno)
{
    const kt_rtc_time last{15, 28, 6, 7, 2, 2106};
    errno = 0;
    EXPECT_EQ(kt_mktime(&last), 0xFFFFFFFFU); // a result like that of a refusal
    EXPECT_EQ(errno, 0);
}

TEST(CalendarSeconds, AreTheSameForAnApplicationInC)
{
    EXPECT_EQ(seconds_reckoned_by_c(), 1709382896U); // 2024-03-02 12:34:56
}

TEST(CalendarSeconds, KnowNoZone)
{
    const kt_rtc_time summer{0, 0, 12, 1, 7, 2026};
    for (const char* zone : {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "XYZ11:30"}) {
        setenv("TZ", zone, 1);
        tzset();
        EXPECT_EQ(kt_mktime(&summer), 1782907200U) << zone;
    }
}

TEST(ClockPlaceholders, TakeWhatTheyAreGivenAndDoNothing)
{
    errno = 0;
    EXPECT_EQ(kt_rtc_init(), 0);
    kt_rtc_set_timecb();
    kt_rtc_set_timecb(7, "text", 2.5);
    time_callbacks_set_by_c();
    EXPECT_EQ(errno, 0);
}
