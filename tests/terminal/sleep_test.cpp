/** The board's sleep as a program in the terminal meets it: its own system calls, and the other side that wakes it. */
#include "file_calls.h"
#include "terminal/client/virtual_terminal.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>
#include <gmock/gmock.h>
#include <limits>
#include <pthread.h>
#include <thread>

namespace {

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::event;
using kt::terminal::virtual_terminal;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string state = "/sys/power/state";
const std::string count = "/sys/power/wakeup_count";
const std::string lock = "/sys/power/wake_lock";
const std::string unlock = "/sys/power/wake_unlock";
const std::string timer = "/sys/class/kt_misc/ioctl/wakeup_msec";
const std::string pm_event = "/sys/class/kt_misc/ioctl/kt_pm_event";

/** A call on a thread of its own, which a signal can reach. */
template <typename Result>
class beside {
public:
    template <typename Call>
    explicit beside(Call call) : thread_([this, call] { promise_.set_value(call()); })
    {
    }
    ~beside() { thread_.join(); }
    beside(const beside&) = delete;
    beside& operator=(const beside&) = delete;

    bool waits(std::chrono::milliseconds time = 100ms) const
    {
        return result_.wait_for(time) != std::future_status::ready;
    }
    Result result() { return result_.get(); }
    void signal() { pthread_kill(thread_.native_handle(), SIGUSR1); }

private:
    std::promise<Result> promise_;
    std::future<Result> result_ = promise_.get_future();
    std::thread thread_;
};

class Sleep : public testing::Test {
protected:
    Sleep()
    {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, nullptr);
    }

    bool falls_asleep() { return board.wait({.kind = "sleep"}, 20s).has_value(); }

    /** What happened to the sleep and to its attribute, in order: "sleep mem", "wake 8", "write mem", "wake EINTR". */
    std::vector<std::string> lines()
    {
        std::vector<std::string> all;
        for (const event& each : board.events_of({"sleep", "wake", "write"})) {
            if (each.kind == "write" && each.path != state)
                continue;
            std::string line = each.kind + " " + (each.kind == "wake" ? std::to_string(each.result) : each.data);
            if (!each.error.empty())
                line += " = " + each.error;
            all.push_back(line);
        }
        return all;
    }

    event woken() { return board.wait({.kind = "wake"}, 20s).value_or(event{}); }

    virtual_terminal board;
};

} // namespace

TEST_F(Sleep, EndsByEverySourceAndTellsWhich)
{
    for (const int source :
         {1, 2, 8, 16, 32, 0, -3, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        board.forget();
        beside<int> sleeper([] { return put(state, "mem"); });
        ASSERT_TRUE(falls_asleep());
        EXPECT_THAT(board.sleep(), HasSubstr(R"("asleep":true)"));
        board.wake(source);
        EXPECT_EQ(sleeper.result(), 0);
        EXPECT_EQ(shown(pm_event), std::to_string(source) + "\n");
        EXPECT_THAT(lines(), ElementsAre("sleep mem", "wake " + std::to_string(source), "write mem"));
    }
    EXPECT_EQ(shown(count), "10\n"); // each of them was an event
}

TEST_F(Sleep, AShellsEchoSleepsAndTellsHowLong)
{
    beside<int> sleeper([] { return std::system("echo freeze > /sys/power/state"); });
    ASSERT_TRUE(falls_asleep());
    EXPECT_TRUE(sleeper.waits(200ms));
    board.wake();
    EXPECT_EQ(sleeper.result(), 0);
    EXPECT_THAT(lines(), ElementsAre("sleep freeze", "wake 16", "write freeze\n"));
    EXPECT_GE(woken().slept_ms, 200U);
    EXPECT_GT(woken().pid, 0);
    EXPECT_EQ(shown(state), "freeze mem\n");
}

TEST_F(Sleep, OthersGoOnMeanwhile)
{
    beside<int> sleeper([] { return put(state, "mem"); });
    ASSERT_TRUE(falls_asleep());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(shown(state), "freeze mem\n");
    EXPECT_EQ(shown("/proc/sys/kernel/ostype"), "Linux\n"); // no child: its end is a signal, and the sleeper may get it
    EXPECT_GT(std::chrono::steady_clock::now(), start);
    EXPECT_THAT(board.sleep(), HasSubstr(R"("asleep":true)"));
    board.wake();
    EXPECT_EQ(sleeper.result(), 0);
}

TEST_F(Sleep, OtherWordsAreRefused)
{
    for (const char* word : {"standby", "me", "memory", "mem freeze", "\n", "on"})
        EXPECT_EQ(put(state, word), EINVAL) << word;
    EXPECT_EQ(board.events_of({"sleep"}).size(), 0U);
    EXPECT_THAT(lines(), testing::Contains("write standby = EINVAL"));
}

TEST_F(Sleep, TheTimerEndsIt)
{
    beside<int> sleeper([] { return put(state, "mem\n"); });
    ASSERT_TRUE(falls_asleep());
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(put(timer, "200"), 0);
    EXPECT_EQ(sleeper.result(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 200ms);
    EXPECT_EQ(shown(pm_event), "8\n");
    EXPECT_THAT(lines(), ElementsAre("sleep mem", "wake 8", "write mem\n"));
    EXPECT_THAT(board.sleep(), HasSubstr(R"("timer_ms":null)"));
}

TEST_F(Sleep, TheTimerIsAnEventWhileTheBoardIsAwake)
{
    ASSERT_EQ(put(timer, "20"), 0);
    for (int i = 0; i < 1000 && shown(count) == "1\n"; ++i)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(shown(count), "2\n");
    EXPECT_EQ(shown(pm_event), "0\n");
    EXPECT_THAT(board.events_of({"sleep", "wake"}), IsEmpty());
}

TEST_F(Sleep, ANewTimeReplacesTheOldOneAndZeroEndsIt)
{
    ASSERT_EQ(put(timer, "50"), 0);
    ASSERT_EQ(put(timer, "60000"), 0);
    beside<int> sleeper([] { return put(state, "mem"); });
    ASSERT_TRUE(falls_asleep());
    EXPECT_TRUE(sleeper.waits());
    ASSERT_EQ(put(timer, "300"), 0);
    ASSERT_EQ(put(timer, "0"), 0);
    EXPECT_TRUE(sleeper.waits(400ms));
    board.wake(32);
    EXPECT_EQ(sleeper.result(), 0);
    EXPECT_EQ(shown(pm_event), "32\n");
}

TEST_F(Sleep, FastModeSkipsTheTimeToTheTimer)
{
    EXPECT_EQ(board.sleep(R"({"fast":true})"),
              R"({"ok":true,"asleep":false,"wakeup_count":1,"pending":false,"event":null,"fast":true,)"
              R"("timer_ms":null,"slept_ms":0})");
    ASSERT_EQ(put(timer, "3600000"), 0);
    EXPECT_EQ(put(state, "mem"), 0);
    EXPECT_EQ(shown(pm_event), "8\n");
    EXPECT_GT(woken().slept_ms, 3'500'000U);
    EXPECT_LE(woken().slept_ms, 3'600'001U);

    board.forget();
    beside<int> sleeper([] { return put(state, "mem"); }); // no timer: somebody must come
    ASSERT_TRUE(falls_asleep());
    EXPECT_TRUE(sleeper.waits());
    board.wake();
    EXPECT_EQ(sleeper.result(), 0);
}

TEST_F(Sleep, AStaleCountIsRefusedAndAnEventAfterTheHandshakeKeepsTheBoardAwake)
{
    EXPECT_EQ(shown(count), "1\n");
    board.wake(2);
    EXPECT_EQ(put(count, "1\n"), EINVAL);
    EXPECT_EQ(shown(count), "2\n");
    EXPECT_EQ(put(count, "2\n"), 0);
    board.wake(2);
    EXPECT_EQ(put(state, "mem"), EBUSY);
    EXPECT_EQ(put(count, "many"), EINVAL);
    EXPECT_THAT(lines(), ElementsAre("write mem = EBUSY"));

    beside<int> sleeper([] { return put(count, "3\n") == 0 ? put(state, "mem") : EPROTO; });
    ASSERT_TRUE(falls_asleep());
    board.wake(2);
    EXPECT_EQ(sleeper.result(), 0);
}

TEST_F(Sleep, WhileAnEventIsPendingTheCountIsWaitedForAndRefused)
{
    (void)board.sleep(R"({"pending_ms":3600000})");
    EXPECT_THAT(board.sleep(), HasSubstr(R"("pending":true)"));
    EXPECT_EQ(put(count, "1"), EINVAL);
    beside<std::string> reader([] { return shown(count); });
    EXPECT_TRUE(reader.waits());
    (void)board.sleep(R"({"pending_ms":0})");
    EXPECT_EQ(reader.result(), "2\n");

    (void)board.sleep(R"({"pending_ms":100})"); // ends by itself
    EXPECT_EQ(shown(count), "3\n");
    EXPECT_THAT(board.sleep(), HasSubstr(R"("pending":false)"));
}

TEST_F(Sleep, ASignalEndsTheWaitForTheCount)
{
    (void)board.sleep(R"({"pending_ms":3600000})");
    beside<std::string> reader([] { return shown(count); });
    EXPECT_TRUE(reader.waits());
    reader.signal();
    EXPECT_EQ(reader.result(), "<EINTR>");
}

TEST_F(Sleep, ASignalEndsTheSleepWithoutAnEvent)
{
    beside<int> sleeper([] { return put(state, "mem"); });
    ASSERT_TRUE(falls_asleep());
    sleeper.signal();
    EXPECT_EQ(sleeper.result(), EINTR);
    EXPECT_THAT(lines(), ElementsAre("sleep mem", "wake 0 = EINTR", "write mem = EINTR"));
    EXPECT_THAT(board.sleep(), HasSubstr(R"("asleep":false,"wakeup_count":1,"pending":false,"event":null)"));
}

TEST_F(Sleep, ASecondSleeperWaitsItsTurn)
{
    beside<int> first([] { return put(state, "mem"); });
    ASSERT_TRUE(falls_asleep());
    beside<int> second([] { return put(state, "freeze", O_WRONLY | O_TRUNC); });
    EXPECT_TRUE(second.waits());
    board.wake(1);
    EXPECT_EQ(first.result(), 0);
    ASSERT_TRUE(board.wait({.kind = "sleep", .data = "freeze"}, 20s));
    board.wake(2);
    EXPECT_EQ(second.result(), 0);
    EXPECT_THAT(lines(), ElementsAre("sleep mem", "wake 1", "write mem", "sleep freeze", "wake 2", "write freeze"));
}

TEST_F(Sleep, AWakeLockIsAPendingEventUntilItIsLetGo)
{
    EXPECT_EQ(std::system("echo drv > /sys/power/wake_lock"), 0);
    EXPECT_EQ(put(lock, "card 60000000000"), 0);
    EXPECT_EQ(shown(lock), "card drv\n");
    EXPECT_EQ(shown(unlock), "\n");
    EXPECT_EQ(put(count, "1"), EINVAL);
    EXPECT_EQ(put(unlock, "drv\n"), 0);
    EXPECT_EQ(shown(lock), "card\n");
    EXPECT_EQ(shown(unlock), "drv\n");
    beside<std::string> reader([] { return shown(count); });
    EXPECT_TRUE(reader.waits());
    EXPECT_EQ(put(unlock, "card"), 0);
    EXPECT_EQ(reader.result(), "3\n");
    EXPECT_EQ(put(count, "1"), EINVAL); // it was read before they were taken

    EXPECT_EQ(put(unlock, "nobody"), EINVAL);
    EXPECT_EQ(put(lock, "drv soon"), EINVAL);
    EXPECT_EQ(put(lock, "\n"), EINVAL);
    EXPECT_EQ(shown(lock), "\n");
    EXPECT_EQ(shown(unlock), "card drv\n");
}

TEST_F(Sleep, AWakeLockStopsOnlyASleepWithAHandshake)
{
    EXPECT_EQ(put(count, "1"), 0);
    EXPECT_EQ(put(lock, "drv"), 0);
    EXPECT_EQ(put(state, "mem"), EBUSY);

    beside<int> sleeper([] { return put(state, "mem"); });
    ASSERT_TRUE(falls_asleep());
    board.wake(1);
    EXPECT_EQ(sleeper.result(), 0);
    EXPECT_EQ(shown(lock), "drv\n");
}

TEST_F(Sleep, ATimedWakeLockEndsByItself)
{
    EXPECT_EQ(put(lock, "drv 100000000\n"), 0);
    EXPECT_EQ(shown(count), "2\n"); // waits for that
    EXPECT_EQ(shown(lock), "\n");
    EXPECT_EQ(shown(unlock), "drv\n");
}

TEST_F(Sleep, WrongRequestsAreRefused)
{
    for (const char* wrong :
         {R"({"op":"wake","event":"x"})", R"({"op":"wake","event":2147483648})", R"({"op":"wake","event":-2147483649})",
          R"({"op":"wake","event":1.5})", R"({"op":"sleep","fast":1})", R"({"op":"sleep","pending_ms":-1})",
          R"({"op":"sleep","fast":true,"pending_ms":"long"})", R"({"op":"sleep","for":1})"})
        EXPECT_THAT(board.exchange(wrong), HasSubstr(R"("ok":false)")) << wrong;
    for (const char* right :
         {R"({"op":"wake"})", R"({"op":"wake","event":2147483647})", R"({"op":"wake","event":-2147483648})"})
        EXPECT_EQ(board.exchange(right), R"({"ok":true,"woke":false})") << right;
    EXPECT_THAT(board.sleep(), HasSubstr(R"("wakeup_count":4,"pending":false,"event":null,"fast":false)"));
}
