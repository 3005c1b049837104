/** The delays: what they ask of the kernel, and that signals do not shorten them. */
#include <kt_driver/base.h>

#include "tests/support/sleep_requests.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>

using namespace kt::tests;
using namespace std::chrono_literals;

namespace {

struct row {
    const char* delay;
    unsigned int amount;
    sleep_request first;
};

const itimerval off = {};

/** The requests after the first must each be what was left of the one before. */
void expect_remaining_times(const std::vector<sleep_request>& requests)
{
    for (std::size_t i = 1; i < requests.size(); ++i) {
        EXPECT_LT(requests[i].total(), requests[i - 1].total());
        EXPECT_GT(requests[i].total(), 0);
        EXPECT_TRUE(requests[i].relative);
    }
}

} // namespace

TEST(Delay, RequestsTheTimeInSecondsAndNanoseconds)
{
    const row rows[] = {
        {"mdelay", 0, {0, 0}},
        {"mdelay", 1, {0, 1'000'000}},
        {"mdelay", 999, {0, 999'000'000}},
        {"mdelay", 1000, {1, 0}},
        {"mdelay", 1001, {1, 1'000'000}},
        {"mdelay", 2500, {2, 500'000'000}},
        {"mdelay", 4'294'967'295u, {4'294'967, 295'000'000}},
        {"udelay", 0, {0, 0}},
        {"udelay", 1, {0, 1'000}},
        {"udelay", 100, {0, 100'000}},
        {"udelay", 999'999, {0, 999'999'000}},
    };
    for (const row& expected : rows) {
        const sleeper_run run = trace_sleeper(expected.delay, expected.amount, {.end_at = 1});
        ASSERT_EQ(run.requests.size(), 1u) << expected.delay << ' ' << expected.amount;
        EXPECT_EQ(run.requests[0], expected.first) << expected.delay << ' ' << expected.amount;
    }
}

TEST(Delay, IsOneSleepAndNotShorter)
{
    for (const row& expected : {row{"mdelay", 30, {0, 30'000'000}}, row{"udelay", 30'000, {0, 30'000'000}}}) {
        const sleeper_run run = trace_sleeper(expected.delay, expected.amount);
        EXPECT_EQ(run.requests, std::vector<sleep_request>{expected.first}) << expected.delay;
        EXPECT_GE(run.took, 30ms) << expected.delay;
        EXPECT_EQ(run.status, 0) << expected.delay;
    }
}

TEST(Delay, MillisecondsGoOnWithTheRemainingTimeAfterASignal)
{
    const sleeper_run run = trace_sleeper("mdelay", 1200, {.signals = 3});
    ASSERT_EQ(run.requests.size(), 4u);
    EXPECT_EQ(run.requests[0], (sleep_request{1, 200'000'000}));
    expect_remaining_times(run.requests);
    EXPECT_GE(run.took, 1200ms);
    EXPECT_EQ(run.status, 0);
}

TEST(Delay, MicrosecondsGoOnWithTheRemainingTimeAfterASignal)
{
    const sleeper_run run = trace_sleeper("udelay", 900'000, {.signals = 2});
    ASSERT_EQ(run.requests.size(), 3u);
    EXPECT_EQ(run.requests[0], (sleep_request{0, 900'000'000}));
    expect_remaining_times(run.requests);
    EXPECT_GE(run.took, 900ms);
    EXPECT_EQ(run.status, 0);
}

TEST(Delay, AMillionMicrosecondsAreARequestThatTheKernelRejects)
{
    for (const unsigned int us : {1'000'000u, 1'500'000u, 2'000'000u}) {
        const sleeper_run run = trace_sleeper("udelay", us);
        EXPECT_EQ(run.requests, std::vector<sleep_request>{(sleep_request{0, us * std::int64_t{1000}})});
        EXPECT_LT(run.took, 500ms);
        EXPECT_EQ(run.status, 0);
    }
}

TEST(Delay, MicrosecondsBeyondAWordDoNotWrapIntoASleep)
{
    // In 32 bits 4294968000 ns would be 704, 4295967000 a millisecond and 5294966000 nearly a second.
    for (const unsigned int us : {2'147'484u, 4'294'968u, 4'295'967u, 5'294'966u, 3'000'000'000u, 4'294'967'295u}) {
        const sleeper_run run = trace_sleeper("udelay", us, {.end_at = 1});
        for (const sleep_request& request : run.requests)
            EXPECT_TRUE(request.nanoseconds < 0 || request.nanoseconds > 999'999'999) << us;
    }
}

TEST(Delay, AStormOfSignalsDoesNotShortenIt)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {
        static volatile std::sig_atomic_t left = 30; // it ends, lest a delay that starts anew each time never does
        left = left - 1;
        if (left == 0)
            setitimer(ITIMER_REAL, &off, nullptr);
    };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval every_3_ms = {{0, 3000}, {0, 3000}};
    setitimer(ITIMER_REAL, &every_3_ms, nullptr);

    const auto start = std::chrono::steady_clock::now();
    mdelay(60);
    const auto milliseconds = std::chrono::steady_clock::now();
    udelay(60'000);
    const auto microseconds = std::chrono::steady_clock::now();

    setitimer(ITIMER_REAL, &off, nullptr);
    EXPECT_GE(milliseconds - start, 60ms);
    EXPECT_GE(microseconds - milliseconds, 60ms);
}
