/** The board's sleep without a kernel between: turns, the skipped time and the board's clock, the counting. */
#include "terminal/model/board.h"
#include "terminal/model/node.h"
#include "terminal/model/timers.h"
#include "terminal/sleep/suspend.h"
#include "terminal/sleep/wakeup_sources.h"
#include "terminal/sleep/written_words.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <future>
#include <gmock/gmock.h>
#include <thread>

namespace {

using namespace kt::terminal;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* state = "/sys/power/state";
constexpr const char* count = "/sys/power/wakeup_count";
constexpr const char* lock = "/sys/power/wake_lock";
constexpr const char* unlock = "/sys/power/wake_unlock";
constexpr const char* timer = "/sys/class/kt_misc/ioctl/wakeup_msec";
constexpr const char* pm_event = "/sys/class/kt_misc/ioctl/kt_pm_event";

/** One call of a program, which may wait: "EIO", what a read gave, or how much of a write was taken. */
class program_call {
public:
    program_call(board& on, const char* path, std::optional<std::string> written = std::nullopt)
    {
        {
            const auto found = on.find(path);
            const std::lock_guard lock(on.tree_mutex());
            file_ = std::move(*found->open(written ? O_WRONLY : O_RDONLY));
        }
        auto asked = std::make_unique<call>();
        answer_ = asked->answer.get_future();
        interrupted_ = asked->interrupted;
        if (written)
            file_->write(std::move(asked), *written, 0);
        else
            file_->read(std::move(asked), 4096, 0);
    }

    bool waits() const { return answer_.wait_for(0s) != std::future_status::ready; }
    std::string answer() { return answer_.wait_for(20s) == std::future_status::ready ? answer_.get() : "no answer"; }
    void signal() { (*interrupted_)(); }

private:
    struct call : request {
        caller from() const override { return {7, 8}; }
        void fail(int error) override { answer.set_value(strerrorname_np(error)); }
        void bytes(std::string_view data) override { answer.set_value(std::string(data)); }
        void count(std::size_t taken) override { answer.set_value(std::to_string(taken)); }
        void when_interrupted(std::function<void()> tell) override { *interrupted = std::move(tell); }

        std::promise<std::string> answer;
        std::shared_ptr<std::function<void()>> interrupted = std::make_shared<std::function<void()>>();
    };

    std::unique_ptr<open_file> file_;
    std::future<std::string> answer_;
    std::shared_ptr<std::function<void()>> interrupted_;
};

class SleepModel : public testing::Test {
protected:
    SleepModel()
    {
        for (const auto& [path, text] :
             {std::pair{state, "freeze mem\n"}, std::pair{lock, "\n"}, std::pair{unlock, "\n"}})
            shown.put_attribute(path, {text});
        for (const auto& [path, text] : {std::pair{count, "1\n"}, std::pair{timer, "0\n"}, std::pair{pm_event, "0\n"}})
            shown.put_attribute(path, {text, 0644, attribute_kind::integer});
        sleep = know_suspend(shown);
    }

    std::string text(const char* path) { return shown.attribute(path).value_or(attribute_state{"<none>"}).text; }
    std::string wrote(const char* path, const std::string& words) { return program_call(shown, path, words).answer(); }

    /** "sleep mem", "wake 8", "wake EINTR". */
    std::vector<std::string> lines()
    {
        std::vector<std::string> all;
        for (const event& each : shown.events().from(1))
            all.push_back(each.kind + " " +
                          (each.kind == "sleep" ? each.data
                           : each.error.empty() ? std::to_string(each.result)
                                                : each.error));
        return all;
    }

    board shown;
    std::shared_ptr<suspend> sleep;
};

} // namespace

TEST_F(SleepModel, FastModeSkipsTheTimeUntilTheTimerFiresAndSetsTheClockOn)
{
    sleep->set_fast(true);
    EXPECT_EQ(wrote(timer, "3600000"), "7");

    EXPECT_EQ(wrote(state, "mem\n"), "4");

    EXPECT_EQ(text(pm_event), "8\n");
    EXPECT_EQ(text(timer), "3600000\n");
    EXPECT_LE(shown.clock().offset(), 1h);
    EXPECT_GT(shown.clock().offset(), 1h - 30s);
    EXPECT_THAT(lines(), ElementsAre("sleep mem", "wake 8"));
    const event woken = shown.events().from(2).at(0);
    EXPECT_EQ(woken.pid, 7);
    EXPECT_GT(woken.slept_ms, 3'570'000U);
    EXPECT_LE(woken.slept_ms, 3'600'001U);
    EXPECT_EQ(std::chrono::milliseconds(woken.slept_ms), sleep->state().slept);
    EXPECT_FALSE(sleep->state().timer);
}

TEST_F(SleepModel, FastModeWithoutATimerSleepsUntilSomethingWakesIt)
{
    sleep->set_fast(true);
    program_call sleeper(shown, state, "freeze");
    EXPECT_TRUE(sleeper.waits());

    shown.wake(wake_source::keypad);

    EXPECT_EQ(sleeper.answer(), "6");
    EXPECT_EQ(shown.clock().offset(), 0s);
    EXPECT_THAT(lines(), ElementsAre("sleep freeze", "wake 2"));
}

TEST_F(SleepModel, FastModeActsOnWhoIsAsleepAlready)
{
    program_call sleeper(shown, state, "mem");
    EXPECT_EQ(wrote(timer, "7200000"), "7");
    EXPECT_TRUE(sleeper.waits());
    EXPECT_GT(sleep->state().timer, 1h);

    sleep->set_fast(true);
    EXPECT_EQ(sleeper.answer(), "3");
    EXPECT_GT(shown.clock().offset(), 1h);

    program_call next(shown, state, "mem");
    EXPECT_TRUE(next.waits());
    EXPECT_EQ(wrote(timer, "60000"), "5"); // another thread arms it during the sleep
    EXPECT_EQ(next.answer(), "3");
}

TEST_F(SleepModel, RealModeLeavesTheClockAlone)
{
    program_call sleeper(shown, state, "mem");
    EXPECT_EQ(wrote(timer, "50"), "2");
    EXPECT_EQ(sleeper.answer(), "3");
    EXPECT_THAT(lines(), ElementsAre("sleep mem", "wake 8"));
    EXPECT_GE(shown.events().from(2).at(0).slept_ms, 50U);
    EXPECT_EQ(shown.clock().offset(), 0s);
}

TEST_F(SleepModel, ANewSettingReplacesTheTimerAndZeroTakesItAway)
{
    program_call sleeper(shown, state, "mem");
    EXPECT_EQ(wrote(timer, "200"), "3");
    EXPECT_EQ(wrote(timer, "3600000"), "7");
    std::this_thread::sleep_for(300ms);
    EXPECT_TRUE(sleeper.waits());
    EXPECT_GT(sleep->state().timer, 59min);
    EXPECT_EQ(wrote(timer, "200"), "3");
    EXPECT_EQ(wrote(timer, "0"), "1");
    std::this_thread::sleep_for(300ms);
    EXPECT_TRUE(sleeper.waits());
    EXPECT_FALSE(sleep->state().timer);
    EXPECT_EQ(wrote(timer, "soon"), "EINVAL");
    shown.wake(wake_source::wifi);
    EXPECT_EQ(sleeper.answer(), "3");
}

TEST_F(SleepModel, HoweverOftenTimesAreSetOneTimerIsUnderWay)
{
    const std::size_t before = timers::shared().waiting();
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(wrote(timer, "3600000"), "7");
        EXPECT_EQ(wrote(lock, "drv 7200000000000"), "17");
        sleep->stay_pending(2h);
    }
    EXPECT_LE(timers::shared().waiting(), before + 1);
}

TEST_F(SleepModel, WhatEndsSoonerIsNotHeldUpByWhatEndsLater)
{
    EXPECT_EQ(wrote(lock, "late 3600000000000"), "18");
    EXPECT_EQ(wrote(lock, "first 20000000"), "14");
    EXPECT_EQ(wrote(lock, "next 40000000"), "13"); // set while the first one's timer is under way
    program_call sleeper(shown, state, "mem");
    EXPECT_EQ(wrote(timer, "60"), "2");
    EXPECT_EQ(sleeper.answer(), "3");
    EXPECT_EQ(text(pm_event), "8\n");
    EXPECT_EQ(text(lock), "late\n");
    EXPECT_EQ(text(count), "4\n"); // two locks and the timer
}

TEST_F(SleepModel, MoreThanAHundredLocksAreRefused)
{
    for (int i = 0; i <= 100; ++i)
        EXPECT_EQ(wrote(lock, "d" + std::to_string(i)), std::to_string(1 + std::to_string(i).size()));
    EXPECT_EQ(wrote(lock, "one_more"), "ENOSPC");
    EXPECT_EQ(wrote(unlock, "d7"), "2");
    EXPECT_EQ(wrote(lock, "one_more"), "ENOSPC"); // one that is let go of is still known
    EXPECT_EQ(text(unlock), "d7\n");
    EXPECT_EQ(wrote(lock, "d7"), "2");
    EXPECT_EQ(text(unlock), "\n");
}

TEST_F(SleepModel, WhatItShowsItselfIsNoNewsToFollowers)
{
    int told = 0;
    for (const char* path : {count, pm_event, lock})
        shown.follow_attribute(path, [&] { ++told; });
    ASSERT_TRUE(shown.put_attribute(pm_event, {"0\n", 0400, attribute_kind::integer}));
    EXPECT_EQ(told, 1);
    EXPECT_EQ(wrote(lock, "drv"), "3");
    program_call sleeper(shown, state, "mem");
    shown.wake(wake_source::wifi);
    EXPECT_EQ(sleeper.answer(), "3");
    EXPECT_EQ(text(pm_event), "32\n");
    EXPECT_EQ(shown.attribute(pm_event)->mode, 0400U);
    EXPECT_EQ(told, 1);
}

TEST_F(SleepModel, SleepersTakeTurns)
{
    program_call first(shown, state, "mem");
    program_call second(shown, state, "freeze");
    program_call third(shown, state, "mem");

    second.signal();
    EXPECT_EQ(second.answer(), "EINTR");
    EXPECT_TRUE(first.waits());
    shown.wake(1);
    EXPECT_EQ(first.answer(), "3");
    EXPECT_TRUE(third.waits());
    shown.wake(2);
    EXPECT_EQ(third.answer(), "3");
    EXPECT_THAT(lines(), ElementsAre("sleep mem", "wake 1", "sleep mem", "wake 2"));
    EXPECT_EQ(text(count), "3\n");
}

TEST_F(SleepModel, ASignalEndsTheSleepWithoutAnEvent)
{
    program_call sleeper(shown, state, "mem");
    sleeper.signal();
    EXPECT_EQ(sleeper.answer(), "EINTR");
    sleeper.signal(); // comes too late
    EXPECT_FALSE(sleep->state().asleep);
    EXPECT_FALSE(sleep->state().event);
    EXPECT_EQ(text(pm_event), "0\n");
    EXPECT_EQ(text(count), "1\n");
    EXPECT_THAT(lines(), ElementsAre("sleep mem", "wake EINTR"));
}

TEST_F(SleepModel, TheHandshakeIsForOneAttempt)
{
    EXPECT_EQ(wrote(count, "1\n"), "2");
    shown.wake(wake_source::power_key);
    EXPECT_EQ(wrote(state, "mem"), "EBUSY");
    program_call sleeper(shown, state, "mem"); // an event before the next attempt is nobody's business
    EXPECT_TRUE(sleeper.waits());
    shown.wake(wake_source::power_key);
    EXPECT_EQ(sleeper.answer(), "3");
    EXPECT_EQ(wrote(count, "1"), "EINVAL");
    EXPECT_EQ(wrote(count, "3"), "1");
    EXPECT_EQ(wrote(count, "2"), "EINVAL"); // ends the one that stood
    shown.wake(wake_source::power_key);
    program_call unchecked(shown, state, "mem");
    EXPECT_TRUE(unchecked.waits());
}

TEST_F(SleepModel, TheNextInTurnIsHeldAgainstTheHandshakeToo)
{
    program_call first(shown, state, "mem");
    EXPECT_EQ(wrote(count, "1"), "1");
    program_call second(shown, state, "mem");
    shown.wake(wake_source::keypad);
    EXPECT_EQ(first.answer(), "3");
    EXPECT_EQ(second.answer(), "EBUSY");
}

TEST_F(SleepModel, TheCountIsWhatTheOtherSidePutsThere)
{
    ASSERT_TRUE(shown.put_attribute(count, {"41\n", 0644, attribute_kind::integer}));
    EXPECT_EQ(wrote(count, "41"), "2");
    shown.wake(wake_source::other);
    EXPECT_EQ(program_call(shown, count).answer(), "42\n");
    ASSERT_TRUE(shown.put_attribute(count, {""}));
    EXPECT_EQ(program_call(shown, count).answer(), "");
    ASSERT_TRUE(shown.put_attribute(count, {"4294967295\n"}));
    shown.wake(wake_source::other);
    EXPECT_EQ(program_call(shown, count).answer(), "0\n");
}

TEST_F(SleepModel, WhatIsTakenOffTheBoardIsNotMadeAnew)
{
    shown.remove(pm_event);
    shown.remove(count);
    program_call sleeper(shown, state, "mem");
    shown.wake(wake_source::wifi);
    EXPECT_EQ(sleeper.answer(), "3");
    EXPECT_EQ(text(pm_event), "<none>");
    EXPECT_EQ(text(count), "<none>");
    EXPECT_EQ(sleep->state().event, 32);
}

TEST_F(SleepModel, TheEndAnswersWhatWaits)
{
    sleep->stay_pending(1h);
    program_call reader(shown, count);
    program_call sleeper(shown, state, "mem");
    program_call next(shown, state, "mem");
    EXPECT_EQ(wrote(timer, "3600000"), "7");

    sleep->stop();

    EXPECT_EQ(reader.answer(), "EIO");
    EXPECT_EQ(sleeper.answer(), "EIO");
    EXPECT_EQ(next.answer(), "EIO");
    EXPECT_EQ(wrote(state, "mem"), "EIO");
    sleeper.signal();
    shown.wake(wake_source::keypad);
    sleep = nullptr;
    EXPECT_EQ(suspend_of(shown), nullptr);
    EXPECT_EQ(program_call(shown, count).answer(), "EIO");
    EXPECT_EQ(wrote(state, "mem"), "EIO");
    shown.wake(wake_source::keypad);
    EXPECT_THAT(lines(), ElementsAre("sleep mem"));
}

TEST_F(SleepModel, IsFoundByWhoHasTheBoard)
{
    EXPECT_EQ(suspend_of(shown), sleep);
    board bare;
    EXPECT_EQ(suspend_of(bare), nullptr);
    const auto of_bare = know_suspend(bare); // none of the attributes is there
    EXPECT_FALSE(of_bare->wake(1));
    EXPECT_EQ(of_bare->state().wakeup_count, 1U);
}

TEST_F(SleepModel, ManySleepersAndWakersComeToAnEnd)
{
    constexpr int sleeps = 200;
    std::atomic<int> left = 3;
    std::vector<std::thread> sleepers;
    for (int i = 0; i < 3; ++i)
        sleepers.emplace_back([&] {
            for (int k = 0; k < sleeps; ++k)
                EXPECT_EQ(wrote(state, "mem"), "3");
            --left;
        });
    std::thread reader([&] {
        while (left > 0)
            EXPECT_NE(program_call(shown, count).answer(), "no answer");
    });
    std::thread holder([&] {
        while (left > 0)
            sleep->stay_pending(1ms);
        sleep->stay_pending(0ms);
    });
    while (left > 0)
        shown.wake(wake_source::keypad);
    for (std::thread& each : sleepers)
        each.join();
    holder.join();
    reader.join();
    std::size_t slept = 0;
    for (const std::string& line : lines())
        slept += line == "sleep mem" ? 1 : 0;
    EXPECT_EQ(slept, 3U * sleeps);
}

TEST(WakeupSources, ATimedLockKeepsTheLaterTime)
{
    const wakeup_sources::time_point start{};
    wakeup_sources all;
    EXPECT_FALSE(all.next_end());
    all.lock("drv", start + 10s);
    all.lock("drv", start + 5s);
    EXPECT_EQ(all.next_end(), start + 10s);
    all.hold_until(start + 9s);
    EXPECT_EQ(all.next_end(), start + 9s);
    all.hold_until(start);
    all.end_due(start);
    all.set_count(0);
    EXPECT_EQ(all.next_end(), start + 10s);
    all.end_due(start + 9s);
    EXPECT_TRUE(all.pending());
    EXPECT_EQ(all.count(), 0U);
    all.end_due(start + 10s);
    EXPECT_FALSE(all.pending());
    EXPECT_EQ(all.count(), 1U);
    all.lock("drv", start + 20s);
    all.lock("drv", std::nullopt); // now for good
    all.end_due(start + 1h);
    EXPECT_TRUE(all.pending());
    all.lock("drv", start + 2h); // and again for a time
    all.end_due(start + 2h);
    EXPECT_FALSE(all.pending());
    EXPECT_EQ(all.count(), 2U);
}

TEST(WakeupSources, AnEventIsCountedOnceWhenItEnds)
{
    wakeup_sources all;
    all.lock("b", std::nullopt);
    all.lock("a", std::nullopt);
    EXPECT_EQ(all.lock_names(true), "a b\n");
    EXPECT_EQ(all.lock_names(false), "\n");
    EXPECT_TRUE(all.unlock("a"));
    EXPECT_TRUE(all.unlock("a"));
    EXPECT_FALSE(all.unlock("c"));
    EXPECT_EQ(all.count(), 1U);
    EXPECT_EQ(all.lock_names(true), "b\n");
    EXPECT_EQ(all.lock_names(false), "a\n");
    EXPECT_FALSE(all.save(1)); // b is held
    EXPECT_TRUE(all.unlock("b"));
    EXPECT_FALSE(all.save(1));
    EXPECT_TRUE(all.save(2));
    all.lock("b", std::nullopt);
    EXPECT_TRUE(all.refuses_sleep());
    EXPECT_FALSE(all.refuses_sleep()); // used up
}

TEST(WrittenWords, AreReadAsTheKernelReadsThem)
{
    EXPECT_EQ(sleep_word("mem"), "mem");
    EXPECT_EQ(sleep_word("freeze\n"), "freeze");
    EXPECT_EQ(sleep_word("mem\nfreeze"), "mem");
    for (const char* other : {"", "\n", "me", "memo", "mem ", " mem", "MEM", "disk", "standby", "on"})
        EXPECT_FALSE(sleep_word(other)) << other;

    EXPECT_EQ(leading_count("12\n"), 12U);
    EXPECT_EQ(leading_count(" \t7 and more"), 7U);
    EXPECT_EQ(leading_count("4294967295"), 4294967295U);
    EXPECT_EQ(leading_count("4294967297"), 1U);
    for (const char* none : {"", "\n", "x1", "-1", "+1"})
        EXPECT_FALSE(leading_count(none)) << none;

    const auto read = [](const char* written) -> std::string {
        const auto said = wake_lock_in(written);
        return !said ? "refused" : said->name + (said->time ? " " + std::to_string(said->time->count()) : "");
    };
    EXPECT_EQ(read("drv\n"), "drv");
    EXPECT_EQ(read("drv"), "drv");
    EXPECT_EQ(read("drv\nmore"), "drv");
    EXPECT_EQ(read("drv 0\n"), "drv");
    EXPECT_EQ(read("drv 1\n"), "drv 1"); // nanoseconds, rounded up
    EXPECT_EQ(read("drv  1000000"), "drv 1");
    EXPECT_EQ(read("drv 1000001"), "drv 2");
    EXPECT_EQ(read("drv 18446744073709551615"), "drv 31536000000");
    for (const char* wrong : {"", "\n", " drv", "drv ", "drv x", "drv -1", "drv 1 2", "drv 18446744073709551616"})
        EXPECT_EQ(read(wrong), "refused") << wrong;

    EXPECT_EQ(wake_unlock_in("drv\n"), "drv");
    EXPECT_EQ(wake_unlock_in("drv 5"), "drv 5");
    EXPECT_FALSE(wake_unlock_in(""));
    EXPECT_FALSE(wake_unlock_in("\n"));
}
