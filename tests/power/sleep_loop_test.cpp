/** The sleep cycle through each of its returns: what it prints, touches and returns, on a board that really sleeps. */
#include <kt_driver/kt_driver.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::event;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* count_file = "/sys/power/wakeup_count";
constexpr const char* state_file = "/sys/power/state";
constexpr const char* event_file = KT_IOCTL_DIR "kt_pm_event";
constexpr const char* keepalive = KT_IOCTL_DIR "kt_wifi_keepalived";
constexpr const char* keypad = "/dev/input/event1";

const std::string no_heartbeat = "heartbeat_jiffies 0(ms),heartbeat_period 0(ms)\n";
const std::string to_sleep = "system: echo mem > /sys/power/state\n";
const std::string watches = "wifi wake up,will continue sleep after 5s \n";

std::string woken_by(int source)
{
    return "# hal kt_pm_wakeup_event " + std::to_string(source) + " #\n";
}

/** A board whose keys are open and untouched. */
class SleepLoop : public testing::Test {
protected:
    void SetUp() override
    {
        printed([] { kt_key_init(); });
        board.forget();
    }

    struct ended {
        int result = -2;
        std::string out;
        std::chrono::steady_clock::duration took{};
    };

    static ended run_loop()
    {
        ended end;
        const auto start = std::chrono::steady_clock::now();
        end.out = printed([&] { end.result = kt_auto_sleep_loop(); });
        end.took = std::chrono::steady_clock::now() - start;
        return end;
    }

    /** The person at the board: does things on a connection and thread of their own while the loop runs. */
    template <typename Doing>
    ended run_loop_while(Doing what)
    {
        virtual_terminal mine; // begins before the loop does, so that it misses nothing
        mine.forget();
        std::thread person([&] { what(mine); });
        const ended end = run_loop();
        person.join();
        return end;
    }

    /** The n-th falling asleep since the start. */
    static void wait_asleep(virtual_terminal& mine)
    {
        ASSERT_TRUE(mine.wait({.kind = "sleep"}, 60s));
        mine.forget();
    }

    virtual_terminal board;
};

lines joined(std::initializer_list<lines> parts)
{
    lines all;
    for (const lines& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

int times_in(const std::string& text, const std::string& what)
{
    int times = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++times;
    return times;
}

/** All that the loop did to the board, its polling of keys apart. */
lines steps(virtual_terminal& board)
{
    lines seen = told(board, {"open", "read", "write", "shell", "syslog"});
    std::erase_if(seen, [](const std::string& line) { return line.find("/dev/input/") != std::string::npos; });
    return seen;
}

const lines looks_for_heartbeat = {std::string("open O_RDWR ") + keepalive, std::string("read ") + keepalive + " 0\n"};

/** What was written back of the counts of wake-up events, in order. */
lines counts(virtual_terminal& board)
{
    return board.writes(count_file);
}

lines handshake(const std::string& count)
{
    return {std::string("open O_RDONLY ") + count_file, std::string("read ") + count_file + " " + count,
            std::string("open O_WRONLY ") + count_file, std::string("write ") + count_file + " " + count};
}

/** From a handshake that the kernel took to the event that ended the sleep. */
lines night(const std::string& count, int source)
{
    return joined(
        {handshake(count), looks_for_heartbeat,
         lines{std::string("shell echo mem > ") + state_file, std::string("open O_WRONLY|O_TRUNC ") + state_file,
               std::string("write ") + state_file + " mem\n", std::string("open O_RDONLY ") + event_file,
               std::string("read ") + event_file + " " + std::to_string(source) + "\n"}});
}

} // namespace

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

TEST_F(SleepLoop, AfterTheWifiModuleItWatchesForFiveSecondsAndSleepsAgain)
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

TEST_F(SleepLoop, AKeyDuringTheWatchReturnsTheWifiEvent)
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

TEST_F(SleepLoop, AHeartbeatDuringTheWatchReturns4)
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

TEST_F(SleepLoop, ARefusedHandshakeAfterTheWifiModuleWatchesAnotherFiveSeconds)
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

TEST_F(SleepLoop, ARefusedHandshakeIsTriedAgainAfterTenMilliseconds)
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

TEST_F(SleepLoop, AKeyEndsTheTryingAgainWith0)
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

TEST_F(SleepLoop, AHeartbeatEndsTheTryingAgainWith4)
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

TEST_F(SleepLoop, AnEmptyCountIsNotWrittenBack)
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

TEST_F(SleepLoop, AnUnreadableEventMeansAnotherAttempt)
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

TEST_F(SleepLoop, OtherNegativeEventsMeanAnotherAttemptToo)
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

TEST_F(SleepLoop, AKeyAfterANegativeEventReturnsThatEvent)
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

TEST_F(SleepLoop, AKeyAfterAnUnreadableEventReturns0)
{
    board.fail(event_file, {.on = "read", .error = EIO, .times = 1});
    const ended end = run_loop_while([](virtual_terminal& mine) {
        wait_asleep(mine);
        mine.press("enter");
    });
    EXPECT_EQ(end.result, KT_SLEEP_KEY);
    EXPECT_TRUE(end.out.ends_with(woken_by(-1) + "type 0x1 code 0x1c value 0x1\nquit auto sleep \n")) << end.out;
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

TEST_F(SleepLoop, AWakeUpBetweenReadAndWriteOfTheCountMeansAnotherAttempt)
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

TEST_F(SleepLoop, ALockKeepsItAwakeUntilItIsReleased)
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

TEST_F(SleepLoop, ARefusedSuspendLooksAtTheLastEventAgain)
{
    // Nobody looks at the command's result: the board tells the wake-up before.
    board.attribute(event_file, {.text = "5\n", .mode = 0444});
    board.fail(state_file, {.on = "write", .error = EBUSY});
    const ended end = run_loop();
    EXPECT_EQ(end.result, 5);
    EXPECT_TRUE(end.out.ends_with(woken_by(5))) << end.out;
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
