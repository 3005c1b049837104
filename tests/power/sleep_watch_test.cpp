/** The sleep cycle after the Wi-Fi module woke the board. */
#include "sleeping_board.h"

#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

using SleepWatch = sleeping_board;

TEST_F(SleepWatch, AfterTheWifiModuleItWatchesForFiveSecondsAndSleepsAgain)
{
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.wake(32);
        wait_asleep(mine);
        mine.wake(16);
    });
    EXPECT_EQ(end.result, 16);
    std::string expected = no_heartbeat + to_sleep + woken_by(32) + watches;
    for (int i = 0; i < 10; ++i)
        expected += no_heartbeat;
    EXPECT_EQ(end.out, expected + no_heartbeat + to_sleep + woken_by(16));
    EXPECT_GE(end.took, 5s);
    lines watch;
    for (int i = 0; i < 10; ++i)
        watch = joined({watch, looks_for_heartbeat});
    EXPECT_EQ(steps(board), joined({night("1\n", 32), watch, night(counts(board).back(), 16)}));
}

TEST_F(SleepWatch, AKeyDuringTheWatchReturnsTheWifiEvent)
{
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.wake(32);
        // The second time that the heartbeat is looked at after the wake-up: the watch goes on.
        ASSERT_TRUE(mine.wait({.kind = "read", .path = event_file}, 60s));
        for (int i = 0; i < 2; ++i) {
            const auto looked = mine.wait({.kind = "read", .path = keepalive}, 60s);
            ASSERT_TRUE(looked);
            mine.forget();
        }
        mine.type({"esc"});
    });
    EXPECT_EQ(end.result, KT_SLEEP_WIFI);
    EXPECT_TRUE(end.out.starts_with(no_heartbeat + to_sleep + woken_by(32) + watches)) << end.out;
    EXPECT_TRUE(end.out.ends_with("type 0x1 code 0x1 value 0x1\nquit auto sleep \n")) << end.out;
    EXPECT_LT(times_in(end.out, no_heartbeat), 11) << "it did not watch to the end";
}

TEST_F(SleepWatch, AHeartbeatDuringTheWatchReturns4)
{
    setenv("TZ", "UTC", 1);
    board.attribute(keepalive, {.text = "1\n", .kind = "integer"});
    printed([] { kt_set_heartbeat_period(3000); });
    printed([] { kt_update_heartbeat(); });
    board.forget();
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.wake(32);
        ASSERT_TRUE(mine.wait({.kind = "read", .path = event_file}, 60s));
        (void)mine.clock(R"({"advance_ms":3000000})");
    });
    EXPECT_EQ(end.result, KT_SLEEP_HEARTBEAT);
    EXPECT_TRUE(end.out.ends_with("(ms),heartbeat_period 3000000(ms)\nrtc time out \n")) << end.out;
    EXPECT_NE(end.out.find(watches), std::string::npos);
    EXPECT_EQ(board.commands().size(), 1u);
}

TEST_F(SleepWatch, ARefusedHandshakeAfterTheWifiModuleWatchesAnotherFiveSeconds)
{
    // The event stays that of the Wi-Fi module until the next sleep.
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.fail(count_file, {.on = "write", .error = EINVAL, .times = 1});
        mine.wake(32);
        wait_asleep(mine);
        mine.wake(7);
    });
    EXPECT_EQ(end.result, 7);
    std::string watch = watches;
    for (int i = 0; i < 10; ++i)
        watch += no_heartbeat;
    EXPECT_EQ(end.out, no_heartbeat + to_sleep + woken_by(32) + watch + "Error writing to /sys/power/wakeup_count\n" +
                           watch + no_heartbeat + to_sleep + woken_by(7));
    EXPECT_GE(end.took, 10s);
}
