/** The heartbeat's arithmetic, on a clock that the test sets. */
#include <kt_driver/kt_driver.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* timer = KT_IOCTL_DIR "wakeup_msec";
constexpr const char* keepalive = KT_IOCTL_DIR "kt_wifi_keepalived";
constexpr std::uint32_t some_time = 1'700'000'000; // seconds since 1970

void set_clock(virtual_terminal& board, std::uint32_t seconds)
{
    (void)board.clock("{\"set\":" + std::to_string(seconds) + "}");
}

/** Does something within the second that the clock was set to; the machine may be too busy for that at first. */
void in_second(virtual_terminal& board, std::uint32_t seconds, const std::function<void()>& what)
{
    for (int attempt = 0; attempt < 20; ++attempt) {
        const auto start = std::chrono::steady_clock::now();
        board.forget();
        set_clock(board, seconds);
        what();
        if (std::chrono::steady_clock::now() - start < 900ms)
            return;
    }
    FAIL() << "the machine is too slow";
}

/** A heartbeat was sent at @p sent, and the radio shall stay up. */
void has_heartbeat(virtual_terminal& board, std::uint32_t sent, unsigned period_s)
{
    setenv("TZ", "UTC", 1);
    board.attribute(keepalive, {.text = "1\n", .kind = "integer"});
    printed([&] { kt_set_heartbeat_period(period_s); });
    in_second(board, sent, [] { printed([] { kt_update_heartbeat(); }); });
}

struct asked {
    int result = -1;
    std::string out;
    lines written;
};

asked reconfig(virtual_terminal& board, std::uint32_t now, int arm)
{
    asked found;
    in_second(board, now, [&] { found.out = printed([&] { found.result = kt_heartbeat_period_reconfig(arm); }); });
    found.written = board.writes(timer);
    return found;
}

std::string tick_of(std::uint32_t seconds)
{
    return std::to_string(static_cast<std::uint32_t>(seconds * 1000u));
}

std::string first_line(const std::string& jiffies, const std::string& period)
{
    return "heartbeat_jiffies " + jiffies + "(ms),heartbeat_period " + period + "(ms)\n";
}

} // namespace

TEST(Heartbeat, FiveSecondsBeforeItIsDueTheTimerIsSetToThem)
{
    virtual_terminal board;
    has_heartbeat(board, some_time, 30);
    const asked found = reconfig(board, some_time + 25, 1);
    EXPECT_EQ(found.result, 1);
    EXPECT_EQ(found.out, first_line(tick_of(some_time), "30000") + "wakeup_msec 5000 ms\n");
    EXPECT_EQ(found.written, lines{"0x1388"});
}

TEST(Heartbeat, WithoutArmingTheTimerIsLeftAlone)
{
    virtual_terminal board;
    has_heartbeat(board, some_time, 30);
    const asked found = reconfig(board, some_time + 25, 0);
    EXPECT_EQ(found.result, 1);
    EXPECT_EQ(found.out, first_line(tick_of(some_time), "30000"));
    EXPECT_EQ(found.written, lines{});
}

TEST(Heartbeat, IsDueWhenThePeriodIsOver)
{
    virtual_terminal board;
    has_heartbeat(board, some_time, 30);
    EXPECT_EQ(reconfig(board, some_time + 29, 1).written, lines{"0x3e8"});
    for (const unsigned later : {30u, 31u, 1'000'000u}) {
        for (const int arm : {0, 1, -1}) {
            const asked found = reconfig(board, some_time + later, arm);
            EXPECT_EQ(found.result, 0) << later;
            EXPECT_EQ(found.out, first_line(tick_of(some_time), "30000"));
            EXPECT_EQ(found.written, lines{});
        }
    }
    EXPECT_EQ(reconfig(board, some_time + 29, -1).written, lines{"0x3e8"}) << "any number but 0 arms";
}

TEST(Heartbeat, IsDueWhenTheClockWasSetBack)
{
    virtual_terminal board;
    has_heartbeat(board, some_time, 30);
    for (const std::uint32_t back : {1u, 29u, 1'000'000u}) {
        const asked found = reconfig(board, some_time - back, 1);
        EXPECT_EQ(found.result, 0) << back;
        EXPECT_EQ(found.written, lines{});
    }
    EXPECT_EQ(reconfig(board, some_time, 1).written, lines{"0x7530"}) << "no time at all is not back";
}

TEST(Heartbeat, CountsOnWhereTheTickWraps)
{
    // 1717986918 s are 400 * 2^32 - 400 ms.
    constexpr std::uint32_t before_the_wrap = 1'717'986'918;
    virtual_terminal board;
    has_heartbeat(board, before_the_wrap, 30);
    asked found = reconfig(board, before_the_wrap + 10, 1);
    EXPECT_EQ(found.result, 1);
    EXPECT_EQ(found.out, first_line("4294966896", "30000") + "wakeup_msec 20000 ms\n");
    EXPECT_EQ(found.written, lines{"0x4e20"});
    EXPECT_EQ(reconfig(board, before_the_wrap + 30, 1).result, 0);
}

TEST(Heartbeat, OneSentAtTick0WasSentAtTick1)
{
    constexpr std::uint32_t tick_0 = 3 * 536'870'912u; // times 1000: a multiple of 2^32
    virtual_terminal board;
    setenv("TZ", "UTC", 1);
    board.attribute(keepalive, {.text = "1\n", .kind = "integer"});
    printed([] { kt_set_heartbeat_period(30); });
    std::string out;
    int result = -1;
    in_second(board, tick_0, [&] { out = printed([&] { result = kt_update_heartbeat(); }); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, "update heartbeat_jiffies 1(ms)\n");
    const asked found = reconfig(board, tick_0 + 10, 1);
    EXPECT_EQ(found.out, first_line("1", "30000") + "wakeup_msec 20001 ms\n");
    EXPECT_EQ(found.written, lines{"0x4e21"});
}

TEST(Heartbeat, APeriodOfHalfTheTicksRangeIsAlwaysDue)
{
    virtual_terminal board;
    has_heartbeat(board, some_time, 2'147'484); // 2^31 ms and 352 more
    EXPECT_EQ(reconfig(board, some_time, 1).result, 0);
    has_heartbeat(board, some_time, 2'147'483);
    const asked found = reconfig(board, some_time, 1);
    EXPECT_EQ(found.result, 1);
    EXPECT_EQ(found.written, lines{"0x7ffffd78"});
}

TEST(Heartbeat, IsNotWatchedWhileTheRadioNeedNotStayUp)
{
    virtual_terminal board;
    has_heartbeat(board, some_time, 30);
    board.attribute(keepalive, {.text = "0\n", .kind = "integer"});
    for (const unsigned later : {0u, 25u, 30u}) {
        for (const int arm : {0, 1}) {
            const asked found = reconfig(board, some_time + later, arm);
            EXPECT_EQ(found.result, 1);
            EXPECT_EQ(found.out, first_line(tick_of(some_time), "30000"));
            EXPECT_EQ(found.written, lines{});
        }
    }
}

TEST(Heartbeat, IsWatchedWhenNobodyKnowsWhetherTheRadioStaysUp)
{
    virtual_terminal board;
    has_heartbeat(board, some_time, 30);
    board.remove(keepalive);
    EXPECT_EQ(reconfig(board, some_time + 25, 1).written, lines{"0x1388"});
    EXPECT_EQ(reconfig(board, some_time + 30, 1).result, 0);
}

TEST(Heartbeat, IsNotWatchedBeforeTheFirstOneNorWithoutAPeriod)
{
    virtual_terminal board;
    setenv("TZ", "UTC", 1);
    board.attribute(keepalive, {.text = "1\n", .kind = "integer"});
    asked found = reconfig(board, some_time, 1);
    EXPECT_EQ(found.result, 1);
    EXPECT_EQ(found.out, first_line("0", "0"));
    EXPECT_EQ(found.written, lines{});

    printed([] { kt_set_heartbeat_period(30); });
    found = reconfig(board, some_time, 1);
    EXPECT_EQ(found.result, 1) << "no heartbeat yet";
    EXPECT_EQ(found.out, first_line("0", "30000"));
    EXPECT_EQ(found.written, lines{});

    has_heartbeat(board, some_time, 0);
    found = reconfig(board, some_time + 1000, 1);
    EXPECT_EQ(found.result, 1) << "no period";
    EXPECT_EQ(found.out, first_line(tick_of(some_time), "0"));
    EXPECT_EQ(found.written, lines{});
}

TEST(Heartbeat, ATimerThatCannotBeSetIsNoReasonNotToSleep)
{
    virtual_terminal board;
    has_heartbeat(board, some_time, 30);
    board.fail(timer, {.on = "write", .error = EIO});
    const asked found = reconfig(board, some_time + 25, 1);
    EXPECT_EQ(found.result, 1);
    EXPECT_EQ(found.out, first_line(tick_of(some_time), "30000") + "wakeup_msec 5000 ms\n");
}

TEST(HeartbeatPeriod, IsWrittenInMilliseconds)
{
    virtual_terminal board;
    struct {
        unsigned seconds;
        const char* written;
    } const rows[] = {{30, "0x7530"}, {1, "0x3e8"}, {0, "0x0"}, {4'294'967, "0xfffffed8"}, {4'294'968, "0x2c0"}};
    for (const auto& row : rows) {
        board.forget();
        int result = -1;
        EXPECT_EQ(printed([&] { result = kt_set_heartbeat_period(row.seconds); }), "");
        EXPECT_EQ(result, 0);
        EXPECT_EQ(board.writes(timer), lines{row.written});
    }
}

TEST(HeartbeatPeriod, HoldsAlsoWhenTheTimerCannotBeSet)
{
    virtual_terminal board;
    board.remove(timer);
    board.forget();
    errno = 0;
    EXPECT_EQ(kt_set_heartbeat_period(7), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_NE(board.syslog(), "");
    EXPECT_EQ(printed([] { kt_heartbeat_period_reconfig(0); }), first_line("0", "7000"));
}

TEST(HalTick, IsTheLocalTimeInMilliseconds)
{
    virtual_terminal board;
    const struct {
        const char* zone;
        std::uint32_t ahead_s;
    } rows[] = {{"UTC", 0}, {"EAST-3", 10'800}, {"WEST5", static_cast<std::uint32_t>(-18'000)}};
    for (const auto& row : rows) {
        setenv("TZ", row.zone, 1);
        tzset();
        unsigned tick = 0;
        in_second(board, some_time, [&] { tick = kt_get_hal_tick(); });
        EXPECT_EQ(tick, (some_time + row.ahead_s) * 1000u) << row.zone;
    }
}
