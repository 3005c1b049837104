/** The board's clock and the request about it, without programs: its end, one change at a time, and who waits for it.
 */
#include "served_board.h"
#include "terminal/client/virtual_terminal.h"

#include <chrono>
#include <ctime>
#include <functional>
#include <future>
#include <gmock/gmock.h>
#include <string>
#include <utility>

namespace {

using namespace kt::terminal;
using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr auto year = 365 * 24h;
constexpr int more_years_than_it_has = 300;
constexpr std::int64_t end = 8'277'292'036; // 2232: where Linux ends what can be set
constexpr std::int64_t patience = 100;

class clock_model : public testing::Test {
protected:
    std::string path() const { return folder_.path() + "/socket"; }

    own_folder folder_;
    served_board served{path()};
    board_clock& clock = served.board.clock();
    virtual_terminal client{path()};
};

} // namespace

TEST(BoardClock, NoNumberOfChangesLeadsBeyondItsEnd)
{
    board_clock clock;
    for (int each = 0; each < more_years_than_it_has; ++each)
        clock.advance(year);
    EXPECT_EQ(clock.now().tv_sec / patience, end / patience);
    EXPECT_EQ(clock.skipped() / 1s, end);
    clock.set({2'000'000'000, 0});
    EXPECT_LT(clock.now().tv_sec, 2'000'000'000 + patience);
    clock.advance(year);
    EXPECT_GE(clock.now().tv_sec, 2'000'000'000 + year / 1s);
    clock.set({end * 1000, 0});
    EXPECT_EQ(clock.now().tv_sec / patience, end / patience);
    clock.advance(std::chrono::nanoseconds::max());
    EXPECT_EQ(clock.now().tv_sec / patience, end / patience);
}

TEST(BoardClock, SaysWhatItDoesNotReach)
{
    const board_clock clock;
    EXPECT_TRUE(clock.reaches({.set = timespec{end - 1, 0}}));
    EXPECT_FALSE(clock.reaches({.set = timespec{end, 0}}));
    EXPECT_FALSE(clock.reaches({.set = timespec{-1, 0}}));
    EXPECT_TRUE(clock.reaches({.set = timespec{end - 1000, 0}, .advance = 900s}));
    EXPECT_FALSE(clock.reaches({.set = timespec{end - 1000, 0}, .advance = 1001s}));
    EXPECT_FALSE(clock.reaches({.advance = std::chrono::nanoseconds::max()}));
}

TEST_F(clock_model, ARequestThatLeadsBeyondTheEndIsRefused)
{
    int taken = 0;
    try {
        for (; taken < more_years_than_it_has; ++taken)
            (void)client.clock(R"({"advance_ms":31536000000})");
        FAIL() << "never refused";
    } catch (const terminal_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("2232"));
    }
    EXPECT_GT(taken, 100);
    EXPECT_LT(clock.now().tv_sec, end);
    EXPECT_EQ(clock.offset() / 1s, taken * (year / 1s));
}

TEST_F(clock_model, SettingAndAdvancingAreOneChange)
{
    int changes = 0;
    clock.set_listener([&](const std::function<void()>& followed) {
        ++changes;
        followed();
    });
    EXPECT_THAT(client.clock(R"({"set":1900000000,"advance_ms":3600000})"), HasSubstr(R"("time":19000036)"));
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(clock.skipped(), 1h);
    (void)client.clock();
    EXPECT_EQ(changes, 1) << "nothing was changed";
    clock.set_listener(nullptr);
}

TEST_F(clock_model, TheAnswerWaitsForTheProgramsAndNobodyElseDoes)
{
    std::promise<std::function<void()>> told;
    clock.set_listener([&](std::function<void()> followed) { told.set_value(std::move(followed)); });
    auto answer = std::async(std::launch::async, [&] { return client.clock(R"({"set":1900000000})"); });
    auto followed = told.get_future();
    ASSERT_EQ(followed.wait_for(10s), std::future_status::ready);

    virtual_terminal other(path());
    EXPECT_THAT(other.clock(), HasSubstr(R"("time":19000000)"));
    EXPECT_EQ(answer.wait_for(0s), std::future_status::timeout) << "it was answered before the programs read the time";
    followed.get()();
    ASSERT_EQ(answer.wait_for(10s), std::future_status::ready);
    EXPECT_THAT(answer.get(), HasSubstr(R"("time":19000000)"));
    clock.set_listener(nullptr);
}

TEST_F(clock_model, TheAnswerComesInTheEndIfNobodySeesToThePrograms)
{
    clock.set_listener([](const std::function<void()>&) {});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT(client.clock(R"({"set":1900000000})"), HasSubstr(R"("time":190000000)"));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 5s);
    clock.set_listener(nullptr);
}
