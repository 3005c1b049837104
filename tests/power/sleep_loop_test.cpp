/** The sleep cycle and what ends it: what it prints, touches and returns, on a board that really sleeps. */
#include "sleeping_board.h"

#include "tests/support/descriptors.h"

#include <cstdlib>
#include <gtest/gtest.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

using SleepLoop = sleeping_board;

TEST_F(SleepLoop, AWakeUpEventEndsIt)
{
    const std::string count = board.text(count_file);
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.wake(16);
    });
    EXPECT_EQ(end.result, 16);
    EXPECT_EQ(end.out, no_heartbeat + to_sleep + woken_by(16));
    EXPECT_EQ(steps(board), night(count, 16));
}

TEST_F(SleepLoop, EventsOfTheBoardAreItsResult)
{
    for (const int source : {0, 1, 5, 31, 33, 1000}) {
        board.forget();
        const ended end = run_loop_while([&](virtual_terminal& mine) {
            wait_asleep(mine);
            mine.wake(source);
        });
        EXPECT_EQ(end.result, source);
        EXPECT_EQ(end.out, no_heartbeat + to_sleep + woken_by(source));
    }
}

TEST_F(SleepLoop, AKeyThatWakesItIsTakenAndTheEventReturned)
{
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.type({"enter"});
    });
    EXPECT_EQ(end.result, 2); // the keypad woke the board
    EXPECT_EQ(end.out, no_heartbeat + to_sleep + woken_by(2) + "type 0x1 code 0x1c value 0x1\n" + "quit auto sleep \n");
}

TEST_F(SleepLoop, KeysFromBeforeAreDropped)
{
    board.type({"1", "enter", "power"});
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.wake(16);
    });
    EXPECT_EQ(end.result, 16);
    EXPECT_EQ(end.out, no_heartbeat + to_sleep + woken_by(16)) << "flushing tells nothing";
    kt_key_event mine{};
    EXPECT_EQ(kt_get_key(&mine), 8) << "the application's reader still has them";
    EXPECT_EQ(mine.key, 49u);
}

TEST_F(SleepLoop, AKeyBeforeTheSuspendReturns0WithoutSleeping)
{
    // The key comes after the flush and before the count is read, so the kernel takes the count back.
    const int slow = board.fail(count_file, {.on = "open", .hang = true, .times = 1});
    const ended end = run_loop_while([&](virtual_terminal& mine) {
        ASSERT_TRUE(mine.wait({.kind = "read", .path = keypad}, 60s));
        mine.press("enter");
        mine.mend(slow);
    });
    EXPECT_EQ(end.out, "type 0x1 code 0x1c value 0x1\nquit auto sleep \n");
    EXPECT_EQ(steps(board), handshake("2\n")) << "nothing was touched but the count";
    EXPECT_EQ(end.result, KT_SLEEP_KEY);
    EXPECT_EQ(board.commands(), lines{});
}

TEST_F(SleepLoop, AHeartbeatThatIsDueReturns4WithoutSleeping)
{
    setenv("TZ", "UTC", 1);
    board.attribute(keepalive, {.text = "1\n", .kind = "integer"});
    printed([] { kt_set_heartbeat_period(30); });
    (void)board.clock(R"({"set":1700000000})");
    printed([] { kt_update_heartbeat(); });
    (void)board.clock(R"({"set":1700001000})");
    board.forget();
    const ended end = run_loop();
    EXPECT_EQ(end.result, KT_SLEEP_HEARTBEAT);
    EXPECT_EQ(end.out.substr(end.out.find("(ms),")), "(ms),heartbeat_period 30000(ms)\nrtc time out \n");
    EXPECT_EQ(board.commands(), lines{});
    EXPECT_EQ(board.writes(KT_IOCTL_DIR "wakeup_msec"), lines{});
}

TEST_F(SleepLoop, TheBoardsTimerWakesItForTheHeartbeat)
{
    setenv("TZ", "UTC", 1);
    (void)board.sleep(R"({"fast":true})");
    board.attribute(keepalive, {.text = "1\n", .kind = "integer"});
    printed([] { kt_set_heartbeat_period(3600); });
    printed([] { kt_update_heartbeat(); });
    board.forget();

    const ended first = run_loop();
    EXPECT_EQ(first.result, 8); // the timer's event
    ASSERT_EQ(board.writes(KT_IOCTL_DIR "wakeup_msec").size(), 1u);
    EXPECT_NE(first.out.find("wakeup_msec 3"), std::string::npos) << first.out;

    const ended second = run_loop();
    EXPECT_EQ(second.result, KT_SLEEP_HEARTBEAT) << second.out;
    EXPECT_EQ(board.commands().size(), 1u) << "it slept once";
}

TEST_F(SleepLoop, AReleaseAndAKeyWithoutACodeDoNotEndIt)
{
    board.press("enter");
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.release("enter");
        mine.input(keypad, {{1, 200, 1}, {1, 200, 0}}); // wakes the board, and is no key of the terminal's
    });
    EXPECT_EQ(end.result, 2) << "the board's event";
    EXPECT_EQ(end.out, no_heartbeat + to_sleep + woken_by(2) + "type 0x1 code 0x1c value 0x0\n");
}

TEST_F(SleepLoop, OnlyTheSleepsOwnKeysAreRead)
{
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.type({"2"});
    });
    EXPECT_EQ(end.result, 2);
    kt_key_event event{};
    EXPECT_EQ(kt_get_key(&event), 8);
    EXPECT_EQ(event.key, 50u);
    EXPECT_EQ(event.state, 1u);
    EXPECT_EQ(kt_get_key(&event), 8);
    EXPECT_EQ(event.state, 0u);
}

TEST_F(SleepLoop, ManyNightsInARowLeaveNothingOpen)
{
    (void)board.sleep(R"({"fast":true})");
    const std::set<int> before = open_descriptors();
    for (int i = 0; i < 20; ++i) {
        printed([] { kt_set_heartbeat_period(60); });
        EXPECT_EQ(run_loop().result, 8);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(SleepLoop, KeyEventGetTakesOneEventOnly)
{
    EXPECT_EQ(printed([] { EXPECT_EQ(kt_key_event_get(), 0); }), "");
    board.type({"enter"});
    EXPECT_EQ(printed([] { EXPECT_EQ(kt_key_event_get(), 1); }), "type 0x1 code 0x1c value 0x1\nquit auto sleep \n");
    EXPECT_EQ(printed([] { EXPECT_EQ(kt_key_event_get(), 0); }),
              "type 0x0 code 0x0 value 0x0\ntype 0x1 code 0x1c value 0x0\n");

    board.input(keypad, {{1, 200, 1}, {1, 28, 1}}); // no key of the terminal's, then enter
    EXPECT_EQ(printed([] { EXPECT_EQ(kt_key_event_get(), 0); }),
              "type 0x0 code 0x0 value 0x0\ntype 0x1 code 0xc8 value 0x1\n");
    EXPECT_EQ(printed([] { EXPECT_EQ(kt_key_event_get(), 1); }), "type 0x1 code 0x1c value 0x1\nquit auto sleep \n");
}
