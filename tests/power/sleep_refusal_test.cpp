/** The sleep cycle when the kernel refuses to sleep, or nobody knows what woke the board. */
#include "sleeping_board.h"

#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

using SleepRefusal = sleeping_board;

TEST_F(SleepRefusal, ARefusedHandshakeIsTriedAgainAfterTenMilliseconds)
{
    board.fail(count_file, {.on = "write", .error = EINVAL, .times = 5});
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.wake(16);
    });
    EXPECT_EQ(end.result, 16);
    std::string refused;
    for (int i = 0; i < 5; ++i)
        refused += "Error writing to /sys/power/wakeup_count\n" + no_heartbeat;
    EXPECT_EQ(end.out, refused + no_heartbeat + to_sleep + woken_by(16));
    EXPECT_GE(end.took, 50ms);
    lines tries;
    for (int i = 0; i < 5; ++i) {
        lines tried = handshake("1\n");
        tried.back() += " = EINVAL";
        tries = joined({tries, tried, looks_for_heartbeat});
    }
    EXPECT_EQ(steps(board), joined({tries, night("1\n", 16)}));
}

TEST_F(SleepRefusal, AKeyEndsTheTryingAgainWith0)
{
    board.fail(count_file, {.on = "write", .error = EINVAL});
    const ended end = run_loop_while([](virtual_terminal& mine) {
        ASSERT_TRUE(mine.wait({.kind = "write", .path = count_file}, 60s));
        mine.type({"power"});
    });
    EXPECT_EQ(end.result, KT_SLEEP_KEY);
    EXPECT_TRUE(end.out.ends_with("type 0x1 code 0x74 value 0x1\nquit auto sleep \n")) << end.out;
    EXPECT_EQ(board.commands(), lines{});
}

TEST_F(SleepRefusal, AHeartbeatEndsTheTryingAgainWith4)
{
    setenv("TZ", "UTC", 1);
    board.attribute(keepalive, {.text = "1\n", .kind = "integer"});
    printed([] { kt_set_heartbeat_period(3000); });
    printed([] { kt_update_heartbeat(); });
    board.fail(count_file, {.on = "open", .error = EACCES});
    board.forget();
    const ended end = run_loop_while([](virtual_terminal& mine) {
        ASSERT_TRUE(mine.wait({.kind = "read", .path = keepalive}, 60s));
        (void)mine.clock(R"({"advance_ms":3000000})");
    });
    EXPECT_EQ(end.result, KT_SLEEP_HEARTBEAT);
    EXPECT_TRUE(end.out.starts_with("Error opening /sys/power/wakeup_count\n")) << end.out;
    EXPECT_TRUE(end.out.ends_with("rtc time out \n")) << end.out;
    EXPECT_EQ(board.writes(KT_IOCTL_DIR "wakeup_msec"), lines{}) << "not armed while nothing sleeps";
}

TEST_F(SleepRefusal, AnEmptyCountIsNotWrittenBack)
{
    board.fail(count_file, {.on = "read", .error = EIO, .times = 2});
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.wake(16);
    });
    EXPECT_EQ(end.result, 16);
    const std::string refused = "Error reading to /sys/power/wakeup_count\n" + no_heartbeat;
    EXPECT_EQ(end.out, refused + refused + no_heartbeat + to_sleep + woken_by(16));
    EXPECT_EQ(board.writes(count_file).size(), 1u);
}

TEST_F(SleepRefusal, AnUnreadableEventMeansAnotherAttempt)
{
    board.fail(event_file, {.on = "read", .error = EIO, .times = 1});
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.wake(16);
        wait_asleep(mine);
        mine.wake(9);
    });
    EXPECT_EQ(end.result, 9);
    EXPECT_EQ(end.out, no_heartbeat + to_sleep + woken_by(-1) + no_heartbeat + no_heartbeat + to_sleep + woken_by(9));
    EXPECT_EQ(board.syslog(), "kt_sys_attr_get_int can't read " + std::string(event_file) + " Input/output error\n");
}

TEST_F(SleepRefusal, OtherNegativeEventsMeanAnotherAttemptToo)
{
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.wake(-7);
        wait_asleep(mine);
        mine.wake(9);
    });
    EXPECT_EQ(end.result, 9);
    EXPECT_EQ(end.out, no_heartbeat + to_sleep + woken_by(-7) + no_heartbeat + no_heartbeat + to_sleep + woken_by(9));
}

TEST_F(SleepRefusal, AKeyAfterANegativeEventReturnsThatEvent)
{
    const int slow = board.fail(event_file, {.on = "open", .hang = true, .times = 1});
    const ended end = run_loop_while([&](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.wake(-7);
        ASSERT_TRUE(mine.wait({.kind = "write", .path = state_file}, 60s)); // the sleep is over
        mine.press("enter");
        mine.mend(slow);
    });
    EXPECT_EQ(end.result, -7);
    EXPECT_TRUE(end.out.ends_with(woken_by(-7) + "type 0x1 code 0x1c value 0x1\nquit auto sleep \n")) << end.out;
}

TEST_F(SleepRefusal, AKeyAfterAnUnreadableEventReturns0)
{
    board.fail(event_file, {.on = "read", .error = EIO, .times = 1});
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.press("enter");
    });
    EXPECT_EQ(end.result, KT_SLEEP_KEY);
    EXPECT_TRUE(end.out.ends_with(woken_by(-1) + "type 0x1 code 0x1c value 0x1\nquit auto sleep \n")) << end.out;
}

TEST_F(SleepRefusal, AWakeUpBetweenReadAndWriteOfTheCountMeansAnotherAttempt)
{
    const int slow = board.fail(count_file, {.on = "write", .hang = true, .times = 1});
    const ended end = run_loop_while([&](virtual_terminal& mine) {
        ASSERT_TRUE(mine.wait({.kind = "read", .path = count_file}, 60s));
        mine.wake(5);
        mine.mend(slow);
        wait_asleep(mine);
        mine.wake(16);
    });
    EXPECT_EQ(end.result, 16);
    EXPECT_EQ(end.out,
              "Error writing to /sys/power/wakeup_count\n" + no_heartbeat + no_heartbeat + to_sleep + woken_by(16));
    const std::vector<std::string> written = board.writes(count_file);
    ASSERT_EQ(written.size(), 2u);
    EXPECT_NE(written[0], written[1]) << "the count was read anew";
}

TEST_F(SleepRefusal, ALockKeepsItAwakeUntilItIsReleased)
{
    printed([] { EXPECT_EQ(kt_sleep_lock(1), 0); });
    board.forget();
    const ended end = run_loop_while([](virtual_terminal& mine) {
        ASSERT_TRUE(mine.wait({.kind = "open", .path = count_file}, 60s));
        mine.press("enter"); // the loop waits in the kernel and does not look at keys
        EXPECT_FALSE(mine.wait({.kind = "read", .path = count_file}, 200ms));
        printed([] { EXPECT_EQ(kt_sleep_lock(0), 0); });
    });
    EXPECT_EQ(end.result, KT_SLEEP_KEY);
    EXPECT_EQ(board.events_of({"sleep"}).size(), 0u);
}

TEST_F(SleepRefusal, ARefusedSuspendLooksAtTheLastEventAgain)
{
    // Nobody looks at the command's result: the board tells the wake-up before.
    board.attribute(event_file, {.text = "5\n", .mode = 0444});
    board.fail(state_file, {.on = "write", .error = EBUSY});
    const ended end = run_loop();
    EXPECT_EQ(end.result, 5);
    EXPECT_TRUE(end.out.ends_with(woken_by(5))) << end.out;
}
