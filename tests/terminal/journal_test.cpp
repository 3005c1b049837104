/** The event journal: order, waiting, the source of lines from elsewhere. */
#include "terminal/model/journal.h"

#include <atomic>
#include <gmock/gmock.h>
#include <thread>

namespace {

using namespace kt::terminal;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

event of_kind(std::string kind)
{
    event made;
    made.kind = std::move(kind);
    return made;
}

std::vector<std::string> kinds(const std::vector<event>& events)
{
    std::vector<std::string> all;
    for (const event& each : events)
        all.push_back(each.kind);
    return all;
}

journal::match is(std::string kind)
{
    return [kind = std::move(kind)](const event& each) { return each.kind == kind; };
}

TEST(Journal, NumbersEventsFromOneAndKeepsTheirOrder)
{
    journal events;
    EXPECT_EQ(events.newest(), 0u);
    EXPECT_EQ(events.append(of_kind("open")), 1u);
    EXPECT_EQ(events.append(of_kind("read")), 2u);

    const auto all = events.from(1);
    EXPECT_THAT(kinds(all), ElementsAre("open", "read"));
    EXPECT_EQ(all[1].seq, 2u);
    EXPECT_LE(all[0].time_s, all[1].time_s);
    EXPECT_EQ(events.newest(), 2u);
}

TEST(Journal, GivesEventsFromANumberOn)
{
    journal events;
    for (const char* kind : {"a", "b", "c"})
        events.append(of_kind(kind));

    EXPECT_THAT(kinds(events.from(2)), ElementsAre("b", "c"));
    EXPECT_THAT(kinds(events.from(0)), ElementsAre("a", "b", "c"));
    EXPECT_THAT(events.from(4), IsEmpty());
    EXPECT_THAT(kinds(events.from(1, 2)), ElementsAre("a", "b"));
}

TEST(Journal, DropsTheOldestBeyondItsCapacity)
{
    journal events;
    for (std::size_t i = 0; i < journal::capacity + 5; ++i)
        events.append(of_kind("write"));

    const auto all = events.from(1);
    EXPECT_EQ(all.size(), journal::capacity);
    EXPECT_EQ(all.front().seq, 6u);
    EXPECT_EQ(events.from(7).front().seq, 7u);
}

TEST(Journal, TakesItsSourceInBeforeAnAppend)
{
    journal events;
    int waiting = 2;
    events.set_source([&]() -> std::optional<event> {
        if (waiting-- > 0)
            return of_kind("syslog");
        return std::nullopt;
    });

    EXPECT_EQ(events.append(of_kind("write")), 3u);
    EXPECT_THAT(kinds(events.from(1)), ElementsAre("syslog", "syslog", "write"));
}

TEST(Journal, TakesItsSourceInBeforeAReading)
{
    journal events;
    bool waiting = true;
    events.set_source([&]() -> std::optional<event> {
        return std::exchange(waiting, false) ? std::optional(of_kind("syslog")) : std::nullopt;
    });
    EXPECT_EQ(events.newest(), 1u);
    waiting = true;
    EXPECT_EQ(events.from(1).size(), 2u);
    waiting = true;
    EXPECT_TRUE(events.wait(2, is("syslog"), 0ms));
}

TEST(Journal, WaitFindsWhatIsThereAlready)
{
    journal events;
    events.append(of_kind("open"));
    events.append(of_kind("read"));
    events.append(of_kind("open"));

    EXPECT_EQ(events.wait(0, is("open"), 0ms)->seq, 1u);
    EXPECT_EQ(events.wait(1, is("open"), 0ms)->seq, 3u);
    EXPECT_FALSE(events.wait(3, is("open"), 0ms));
    EXPECT_FALSE(events.wait(~std::uint64_t{0}, is("open"), 0ms));
}

TEST(Journal, WaitIsWokenByAnAppend)
{
    journal events;
    std::thread program([&] {
        std::this_thread::sleep_for(20ms);
        events.append(of_kind("read"));
        events.append(of_kind("write"));
    });
    const auto found = events.wait(0, is("write"), 10s);
    program.join();
    ASSERT_TRUE(found);
    EXPECT_EQ(found->seq, 2u);
}

TEST(Journal, WaitIsWokenByAPokeWhenTheSourceHasALine)
{
    journal events;
    std::atomic<bool> waiting = false;
    events.set_source([&]() -> std::optional<event> {
        return waiting.exchange(false) ? std::optional(of_kind("syslog")) : std::nullopt;
    });
    std::thread log([&] {
        std::this_thread::sleep_for(20ms);
        waiting = true;
        events.poke();
    });
    EXPECT_TRUE(events.wait(0, is("syslog"), 10s));
    log.join();
}

TEST(Journal, WaitEndsInTime)
{
    journal events;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(events.wait(0, is("read"), 30ms));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
}

TEST(Journal, CloseEndsWaitsNowAndLater)
{
    journal events;
    std::thread closing([&] {
        std::this_thread::sleep_for(20ms);
        events.close();
    });
    EXPECT_FALSE(events.wait(0, is("read"), 1h));
    closing.join();
    EXPECT_FALSE(events.wait(0, is("read"), 1h));
    events.append(of_kind("read"));
    EXPECT_TRUE(events.wait(0, is("read"), 0ms));
}

TEST(Journal, FindRemembersHowFarItLooked)
{
    journal events;
    events.append(of_kind("open"));
    events.append(of_kind("open"));
    std::uint64_t after = 0;
    EXPECT_FALSE(events.find(after, is("read")));
    EXPECT_EQ(after, 2u);
    events.append(of_kind("read"));
    EXPECT_EQ(events.find(after, is("read"))->seq, 3u);
}

TEST(Journal, TellsListenerAndNotice)
{
    journal events;
    std::vector<std::uint64_t> heard;
    int noticed = 0;
    events.set_listener([&](const event& each) { heard.push_back(each.seq); });
    events.set_notice([&] { ++noticed; });
    events.append(of_kind("open"));
    events.append(of_kind("read"));
    events.set_notice({});
    events.append(of_kind("write"));
    EXPECT_THAT(heard, ElementsAre(1, 2, 3));
    EXPECT_EQ(noticed, 2);
}

TEST(Journal, CanBeFilledAndReadFromManyThreads)
{
    journal events;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 500; ++n)
                events.append(of_kind("write"));
        });
    std::uint64_t after = 0;
    while (after < 2000) {
        const auto next = events.wait(after, is("write"), 10s);
        ASSERT_TRUE(next);
        EXPECT_EQ(next->seq, after + 1);
        after = next->seq;
    }
    for (auto& each : threads)
        each.join();
    EXPECT_EQ(events.newest(), 2000u);
}

} // namespace
