// From a key's press to the return of the call that waits for it: kt_get_key against a bare read loop, on a terminal.
#include "bench/on_terminal.h"
#include "bench/require.h"
#include "bench/side_by_side.h"
#include "kt_driver/input.h"
#include "terminal/client/virtual_terminal.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdint>
#include <fcntl.h>
#include <thread>
#include <unistd.h>
#include <vector>

using kt::bench::require;

namespace {

using clock_type = std::chrono::steady_clock;

constexpr const char* buttons = "/dev/input/event0";
constexpr const char* keypad = "/dev/input/event1";
constexpr unsigned type_key = 1;
constexpr unsigned enter = 28;
constexpr unsigned power = 116;

constexpr int presses = 3000;
constexpr auto until_it_waits = std::chrono::microseconds(500);
constexpr int blocks = 400;
constexpr int calls = 20; // the device keeps 63 events
constexpr double most_longer_us = 10;
constexpr double most_pending = 1.03;

/** As the kernel of a board writes it. */
struct record {
    std::uint32_t seconds, microseconds;
    std::uint16_t type, code;
    std::int32_t value;
};

/** The bare way to a key: reads until one was pressed. */
void bare_key(int fd)
{
    record event;
    do
        require(read(fd, &event, sizeof event) == sizeof event);
    while (event.type != type_key || event.value != 1);
}

void library_key()
{
    kt_key_event event;
    require(kt_get_key(&event) == sizeof event && event.state == 1);
}

/** Somebody who presses a key shortly after being asked to. */
class presser {
public:
    presser() : thread_([this] { press(); }) {}
    ~presser()
    {
        asked_ = -1;
        asked_.notify_one();
        thread_.join();
    }
    presser(const presser&) = delete;
    presser& operator=(const presser&) = delete;

    /** From the press to the return of a call that waits for it, in seconds. */
    template <typename Wait>
    double seconds_to_return(Wait wait)
    {
        ++asked_;
        asked_.notify_one();
        wait();
        const auto returned = clock_type::now();
        done_.wait(asked_ - 1);
        return std::chrono::duration<double>(returned - pressed_).count();
    }

private:
    void press()
    {
        kt::terminal::virtual_terminal board;
        for (int last = 0;; ++last) {
            asked_.wait(last);
            if (asked_ < 0)
                return;
            std::this_thread::sleep_for(until_it_waits);
            pressed_ = clock_type::now();
            board.input(buttons, {{type_key, power, 1}});
            ++done_;
            done_.notify_one();
        }
    }

    std::atomic<int> asked_ = 0;
    std::atomic<int> done_ = 0;
    clock_type::time_point pressed_;
    std::thread thread_;
};

int open_node(const char* node)
{
    const int fd = open(node, O_RDONLY);
    require(fd >= 0);
    return fd;
}

void open_keys()
{
    kt::bench::require_terminal();
    require(kt_key_init() == 0);
    (void)kt_pm_key_flush();
}

/** Each reader gets every press: the one whose turn it is not takes it afterwards. */
void press_to_return(benchmark::State& state)
{
    open_keys();
    const int bare = open_node(buttons);
    presser person;
    std::vector<double> bare_seconds, library_seconds;
    const auto bare_turn = [&] {
        bare_seconds.push_back(person.seconds_to_return([&] { bare_key(bare); }));
        library_key();
    };
    bool bare_first = false;
    for (auto iteration : state) {
        (void)iteration;
        bare_first = !bare_first;
        if (bare_first)
            bare_turn();
        library_seconds.push_back(person.seconds_to_return(library_key));
        bare_key(bare);
        if (!bare_first)
            bare_turn();
        state.SetIterationTime(library_seconds.back());
    }
    (void)close(bare);
    const double bare_median = kt::bench::quantile(bare_seconds, 0.5);
    const double library_median = kt::bench::quantile(library_seconds, 0.5);
    kt::bench::figure("press of a key to kt_get_key's return, median", library_median * 1e6, "us");
    kt::bench::figure("press of a key to kt_get_key's return, 99 %", kt::bench::quantile(library_seconds, 0.99) * 1e6,
                      "us");
    kt::bench::figure("press to a bare read's return, median", bare_median * 1e6, "us");
    // Not their ratio: the way of the press, by a socket to the board's server, stands in both.
    kt::bench::figure("kt_get_key's return, later than a bare read's", (library_median - bare_median) * 1e6, "us",
                      most_longer_us);
}

/** Keys that are there already. */
void pending_key(benchmark::State& state)
{
    open_keys();
    const int bare = open_node(keypad);
    kt::terminal::virtual_terminal board;
    const std::vector<kt::terminal::input_event_value> keys(calls, {type_key, enter, 1});
    std::vector<double> bare_seconds, library_seconds;
    bool bare_first = false;
    for (auto iteration : state) {
        (void)iteration;
        board.input(keypad, keys);
        bare_first = !bare_first;
        const auto time_bare = [&] { bare_seconds.push_back(kt::bench::seconds_each(calls, [&] { bare_key(bare); })); };
        if (bare_first)
            time_bare();
        library_seconds.push_back(kt::bench::seconds_each(calls, library_key));
        if (!bare_first)
            time_bare();
        state.SetIterationTime(library_seconds.back());
    }
    (void)close(bare);
    const double ratio = kt::bench::quantile(library_seconds, 0.5) / kt::bench::quantile(bare_seconds, 0.5);
    state.counters["ratio"] = ratio;
    kt::bench::figure("kt_get_key of a pending key, against a bare read", ratio, "x", most_pending,
                      kt::bench::side_by_side_noise);
}

BENCHMARK(press_to_return)->UseManualTime()->Iterations(presses)->Unit(benchmark::kMicrosecond);
BENCHMARK(pending_key)->UseManualTime()->Iterations(blocks)->Unit(benchmark::kMicrosecond);

} // namespace
