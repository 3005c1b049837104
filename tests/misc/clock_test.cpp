/** The calendar time set and read: what the record, the system's clock and the hardware clock's tool get, by zone. */
#include <kt_driver/clock.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

static bool operator==(const kt_rtc_time& one, const kt_rtc_time& other)
{
    return one.sec == other.sec && one.min == other.min && one.hour == other.hour && one.mday == other.mday &&
           one.mon == other.mon && one.year == other.year;
}

/** So that a difference is told as a time. */
static std::ostream& operator<<(std::ostream& out, const kt_rtc_time& time)
{
    return out << time.year << '-' << time.mon << '-' << time.mday << ' ' << time.hour << ':' << time.min << ':'
               << time.sec;
}

using namespace kt::tests;
using kt::terminal::event;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr char utc[] = "UTC0";
constexpr char central_europe[] = "CET-1CEST,M3.5.0,M10.5.0/3"; // summer time from 02:00 to 03:00, both on Sundays
constexpr char west[] = "XYZ11:30";

void live_in(const char* zone)
{
    setenv("TZ", zone, 1);
    tzset();
}

/** What setting the time did to the board: the calls that set the clock, the command, the tool. */
lines settings(virtual_terminal& board)
{
    lines all;
    for (const event& happened : board.events_of({"clock", "shell", "program", "syslog"})) {
        std::string line = happened.kind;
        if (happened.kind == "program") {
            line += ' ' + happened.path;
            for (std::size_t i = 1; i < happened.arguments.size(); ++i)
                line += ' ' + happened.arguments[i];
        } else if (!happened.data.empty()) {
            line += ' ' + happened.data;
        }
        if (!happened.error.empty())
            line += " = " + happened.error;
        all.push_back(line);
    }
    return all;
}

lines set_to(std::int64_t seconds)
{
    return {"clock " + std::to_string(seconds) + ".000000000", "shell hwclock -w -f /dev/rtc0",
            "program hwclock -w -f /dev/rtc0"};
}

const lines set_in_vain{"clock = EINVAL", "shell hwclock -w -f /dev/rtc0", "program hwclock -w -f /dev/rtc0"};

lines tool_only(const lines& all)
{
    lines kept;
    for (const std::string& line : all) {
        if (!line.starts_with("clock"))
            kept.push_back(line);
    }
    return kept;
}

kt_rtc_time as_record(const std::tm& local)
{
    return {local.tm_sec, local.tm_min, local.tm_hour, local.tm_mday, local.tm_mon + 1, local.tm_year + 1900};
}

kt_rtc_time local_record(std::time_t seconds)
{
    std::tm local{};
    localtime_r(&seconds, &local);
    return as_record(local);
}

/** Sets the board's clock without the library. */
int set_clock(std::time_t seconds)
{
    const timespec time{seconds, 0};
    return clock_settime(CLOCK_REALTIME, &time);
}

/** A field that was not written stays like this. */
constexpr kt_rtc_time untouched{-77, -77, -77, -77, -77, -77};

} // namespace

TEST(SettingTheTime, LeavesTheRecordInTheCLibrarysForm)
{
    live_in(utc);
    const struct {
        kt_rtc_time given, left;
    } rows[] = {
        {{56, 34, 12, 15, 11, 2026}, {56, 34, 12, 15, 10, 126}},
        {{0, 0, 0, 1, 1, 1970}, {0, 0, 0, 1, 0, 70}},
        {{59, 59, 23, 31, 12, 2037}, {59, 59, 23, 31, 11, 137}},
        {{0, 0, 0, 1, 1, 1900}, {0, 0, 0, 1, 0, 0}},
        {{61, -1, 24, 32, 13, 2026}, {61, -1, 24, 32, 12, 126}}, // nothing is put right
        {{0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, -1, -1900}},
        {{0, 0, 0, 1, INT_MIN, INT_MIN}, {0, 0, 0, 1, INT_MAX, INT_MAX - 1899}}, // wraps
    };
    for (const auto& row : rows) {
        kt_rtc_time time = row.given;
        EXPECT_EQ(kt_rtc_set_time(&time), 0) << row.given;
        EXPECT_EQ(time, row.left) << row.given;
    }
}

TEST(SettingTheTime, RunsTheHardwareClocksToolOnceAndSaysNothing)
{
    live_in(utc);
    virtual_terminal board;
    board.forget();
    kt_rtc_time time{56, 34, 12, 15, 11, 2026};
    int result = -2;
    EXPECT_EQ(printed([&] { result = kt_rtc_set_time(&time); }), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(tool_only(settings(board)), (lines{"shell hwclock -w -f /dev/rtc0", "program hwclock -w -f /dev/rtc0"}));
}

TEST(SettingTheTime, SetsTheClockInWholeSecondsBeforeTheToolRuns)
{
    const struct {
        const char* zone;
        kt_rtc_time time;
        std::int64_t seconds;
    } rows[] = {
        {utc, {56, 34, 12, 15, 11, 2026}, 1794746096},
        {utc, {0, 0, 0, 29, 2, 2024}, 1709164800},
        {utc, {7, 14, 3, 19, 1, 2038}, 2147483647},
        {utc, {0, 0, 0, 32, 12, 2026}, 1798761600}, // fields out of range are counted on
        {utc, {0, 0, 0, 1, 0, 2026}, 1764547200},
        {utc, {60, 59, 23, 31, 12, 2026}, 1798761600},
        {central_europe, {56, 34, 12, 15, 11, 2026}, 1794742496}, // winter
        {central_europe, {0, 0, 12, 1, 7, 2026}, 1782900000},     // summer
        {central_europe, {59, 59, 1, 29, 3, 2026}, 1774745999},   // the last second of winter
        {central_europe, {0, 0, 3, 29, 3, 2026}, 1774746000},     // and the first of summer
        {west, {0, 0, 0, 1, 1, 2026}, 1767267000},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        live_in(row.zone);
        board.forget();
        kt_rtc_time time = row.time;
        EXPECT_EQ(kt_rtc_set_time(&time), 0) << row.time;
        EXPECT_EQ(settings(board), set_to(row.seconds)) << row.zone << ' ' << row.time;
    }
}

TEST(SettingTheTime, TheZonesRulesDecideBetweenTwoMeanings)
{
    const struct {
        const char* text;
        kt_rtc_time time;
        std::int64_t earlier, later;
    } rows[] = {
        {"in the hour that is left out", {0, 30, 2, 29, 3, 2026}, 1774744200, 1774747800},
        {"in the hour that comes twice", {0, 30, 2, 25, 10, 2026}, 1792888200, 1792891800},
    };
    live_in(central_europe);
    virtual_terminal board;
    for (const auto& row : rows) {
        std::tm local{};
        local.tm_min = row.time.min;
        local.tm_hour = row.time.hour;
        local.tm_mday = row.time.mday;
        local.tm_mon = row.time.mon - 1;
        local.tm_year = row.time.year - 1900;
        local.tm_isdst = -1;
        const std::int64_t decided = std::mktime(&local);
        EXPECT_TRUE(decided == row.earlier || decided == row.later) << row.text << ' ' << decided;

        board.forget();
        kt_rtc_time time = row.time;
        EXPECT_EQ(kt_rtc_set_time(&time), 0) << row.text;
        EXPECT_EQ(settings(board), set_to(decided)) << row.text;
        EXPECT_EQ(time, (kt_rtc_time{0, 30, 2, row.time.mday, row.time.mon - 1, 126})) << row.text;
    }
}

TEST(SettingTheTime, ATimeThatCannotBeConvertedIsPassedOnAndRefusedByTheKernel)
{
    const kt_rtc_time rows[] = {
        {0, 0, 0, 1, 13, INT_MIN + 1899}, // the year after the largest that the C library's form holds
        {59, 59, 23, 31, 12, 1969},       // the second before the first is -1, too
    };
    live_in(utc);
    virtual_terminal board;
    for (const kt_rtc_time& row : rows) {
        board.forget();
        kt_rtc_time time = row;
        int result = -2;
        EXPECT_EQ(printed([&] { result = kt_rtc_set_time(&time); }), "") << row;
        EXPECT_EQ(result, 0) << row;
        EXPECT_EQ(settings(board), set_in_vain) << row;
    }
}

TEST(SettingTheTime, GivesZeroWhateverFails)
{
    live_in(utc);
    virtual_terminal board;
    board.program("hwclock", 1);
    const int rule = board.fail("clock", {.on = "write", .error = EPERM});
    board.forget();
    kt_rtc_time time{56, 34, 12, 15, 11, 2026};
    int result = -2;
    EXPECT_EQ(printed([&] { result = kt_rtc_set_time(&time); }), "");
    EXPECT_EQ(result, 0);
    lines expected = set_to(1794746096);
    expected[0] += " = EPERM";
    EXPECT_EQ(settings(board), expected);
    EXPECT_EQ(time, (kt_rtc_time{56, 34, 12, 15, 10, 126}));
    board.mend(rule);
}

TEST(SettingTheTime, OfNothingIsRefused)
{
    virtual_terminal board;
    board.forget();
    int result = 0;
    errno = 0;
    EXPECT_EQ(printed([&] { result = kt_rtc_set_time(nullptr); }), "");
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(settings(board), lines{});
}

TEST(ReadingTheTime, GivesTheCLibrarysLocalTime)
{
    for (const char* zone : {utc, central_europe, west}) {
        live_in(zone);
        for (;;) {
            const std::time_t before = std::time(nullptr);
            kt_rtc_time time = untouched;
            int result = -2;
            EXPECT_EQ(printed([&] { result = kt_rtc_get_time(&time); }), "") << zone;
            if (std::time(nullptr) != before)
                continue; // a second began
            EXPECT_EQ(result, 0) << zone;
            EXPECT_EQ(time, local_record(before)) << zone;
            break;
        }
    }
}

TEST(ReadingTheTime, GivesMonthsFromOneAndTheWholeYear)
{
    const struct {
        const char* zone;
        std::time_t seconds;
        kt_rtc_time time;
    } rows[] = {
        {utc, 1709208000, {0, 0, 12, 29, 2, 2024}},
        {utc, 1798761540, {0, 59, 23, 31, 12, 2026}},
        {utc, 1767225600, {0, 0, 0, 1, 1, 2026}},
        {central_europe, 1782900000, {0, 0, 12, 1, 7, 2026}},
        {central_europe, 1774746000, {0, 0, 3, 29, 3, 2026}}, // the hour from two to three is left out
        {central_europe, 1792891800, {0, 30, 2, 25, 10, 2026}},
        {west, 1767267000, {0, 0, 0, 1, 1, 2026}},
    };
    for (const auto& row : rows) {
        live_in(row.zone);
        ASSERT_EQ(set_clock(row.seconds), 0);
        kt_rtc_time time = untouched;
        EXPECT_EQ(kt_rtc_get_time(&time), 0);
        EXPECT_GE(time.sec, 0) << row.time;
        EXPECT_LT(time.sec, 60) << row.time;
        time.sec = 0; // some may have gone by since; the times above begin a minute
        EXPECT_EQ(time, row.time) << row.zone;
    }
}

TEST(ReadingTheTime, RightAfterSettingItGivesTheSameFields)
{
    const struct {
        const char* zone;
        kt_rtc_time time;
    } rows[] = {
        {utc, {0, 34, 12, 15, 11, 2026}},
        {utc, {0, 58, 23, 31, 12, 2026}},
        {utc, {0, 0, 0, 29, 2, 2028}},
        {central_europe, {0, 0, 0, 1, 1, 2027}},
        {central_europe, {0, 59, 23, 30, 6, 2026}},
        {west, {0, 15, 6, 28, 2, 2026}},
    };
    for (const auto& row : rows) {
        live_in(row.zone);
        kt_rtc_time time = row.time;
        ASSERT_EQ(kt_rtc_set_time(&time), 0);
        EXPECT_EQ(kt_rtc_get_time(&time), 0);
        EXPECT_LT(time.sec, 60) << row.time;
        time.sec = 0;
        EXPECT_EQ(time, row.time) << row.zone;
    }
}

TEST(ReadingTheTime, IntoNothingIsRefused)
{
    virtual_terminal board;
    board.forget();
    int result = 0;
    errno = 0;
    EXPECT_EQ(printed([&] { result = kt_rtc_get_time(nullptr); }), "");
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(doings(board), lines{});
}

TEST(ReadingTheTime, TouchesNothingOfTheBoard)
{
    live_in(utc);
    kt_rtc_time time = untouched;
    (void)kt_rtc_get_time(&time); // the zone's file is looked for once
    virtual_terminal board;
    board.forget();
    EXPECT_EQ(kt_rtc_get_time(&time), 0);
    EXPECT_EQ(kt_rtc_init(), 0);
    kt_rtc_set_timecb(1, "text");
    EXPECT_EQ(doings(board), lines{});
    EXPECT_EQ(settings(board), lines{});
}
