/** Many thousands of random events, each reader beside a second way to the same result. */
#include "tests/input/event_models.h"
#include "tests/input/keys.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/own_standard_input.h"

#include <gtest/gtest.h>
#include <random>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

class random_numbers {
public:
    unsigned below(unsigned limit) { return static_cast<unsigned>(engine_() % limit); }
    bool one_in(unsigned count) { return below(count) == 0; }

    template <typename List>
    auto one_of(const List& list)
    {
        return list.begin()[below(static_cast<unsigned>(list.size()))];
    }

private:
    std::mt19937 engine_{1};
};

/** Mostly what the readers look for, or just beside it. */
raw_event random_event(random_numbers& numbers)
{
    static constexpr auto types = {0u, 0u, 1u, 1u, 1u, 1u, 3u, 3u, 3u, 2u, 4u, 257u, 65535u};
    static constexpr auto codes = {0u,  0u,  0u,  0u,   1u,   2u,   24u,  28u,  52u,  53u, 53u,
                                   54u, 54u, 60u, 108u, 116u, 116u, 330u, 330u, 372u, 3u,  65535u};
    static constexpr auto values = {0, 0, 0, 1, 1, 1, 2, -1, 100, 4096, -2147483647, 2147483647};
    raw_event event{numbers.one_of(types), numbers.one_of(codes), numbers.one_of(values)};
    if (numbers.one_in(8))
        event.code = numbers.below(65536);
    if (numbers.one_in(8))
        event.value = static_cast<int>(numbers.below(5000)) - 1000;
    return event;
}

raw_events random_events(random_numbers& numbers, unsigned most)
{
    raw_events events(numbers.below(most + 1));
    for (raw_event& each : events)
        each = random_event(numbers);
    return events;
}

void expect_reports_of(panel_model model)
{
    constexpr unsigned rounds = 1500;
    random_numbers numbers;
    virtual_terminal board;
    const own_standard_input input;
    board.attribute("/sys/class/input/event2/device/id/bustype",
                    {.text = model.resistive ? "0019\n" : "0018\n", .mode = 0444});
    board.attribute("/sys/class/kt_misc/touch/touch_start", {.text = "1\n"});
    printed([] { kt_ts_init(); });
    touched sample{0, 0, 0, 0, 5};
    for (unsigned round = 0; round < rounds; ++round) {
        const raw_events events = random_events(numbers, numbers.one_in(50) ? 150 : 24);
        board.input(panel, events);
        model.waiting.add(events);
        if (numbers.one_in(40)) {
            kt_ts_flush();
            model.flush();
        }
        do {
            if (!numbers.one_in(3)) // else the caller keeps what was there
                sample = {0, numbers.one_in(4) ? 9 : 0, numbers.one_in(4) ? -9 : 0, 1, 5};
            kt_ts_sample given{sample.x, sample.y, sample.pressure, sample.reserved};
            sample = model.next(sample);
            ASSERT_EQ(read_touch(given), sample) << "round " << round;
        } while (!numbers.one_in(6) && sample.result != 0);
    }
}

} // namespace

TEST(EventStream, BothReadersGiveTheKeysThatAreInIt)
{
    constexpr unsigned rounds = 1500;
    random_numbers numbers;
    virtual_terminal board;
    const own_standard_input input;
    printed([] { kt_key_init(); });
    std::string expected_text;
    key_model application;
    key_model sleep{.text = &expected_text};
    const auto happens = [&](const char* node, pending_events key_model::*queue, const raw_events& events) {
        board.input(node, events);
        (application.*queue).add(events);
        (sleep.*queue).add(events);
    };
    unsigned keys = 0;
    std::vector<std::pair<taken_key, taken_key>> differences;
    captured_stdout output;
    for (unsigned round = 0; round < rounds && differences.empty(); ++round) {
        happens(keypad, &key_model::of_keypad, random_events(numbers, numbers.one_in(50) ? 150 : 24));
        happens(buttons, &key_model::of_buttons, random_events(numbers, numbers.one_in(50) ? 150 : 24));
        const auto compare = [&](const taken_key& expected, const taken_key& taken) {
            if (taken != expected)
                differences.emplace_back(expected, taken);
        };
        for (unsigned left = numbers.below(24); left > 0; --left) {
            // The application's reader would wait for more than is there.
            key_model tried = application;
            const taken_key expected = tried.next();
            if (expected != no_key) {
                application = std::move(tried);
                ++keys;
                compare(expected, get_key());
            }
            compare(sleep.next(), pm_get_key());
        }
        if (numbers.one_in(60)) {
            kt_pm_key_flush();
            sleep.of_keypad = sleep.of_buttons = {};
        }
    }
    const std::string text = output.take();
    for (const auto& [expected, taken] : differences)
        EXPECT_EQ(taken, expected);
    EXPECT_TRUE(text == expected_text);
    EXPECT_GT(keys, 2000u);
}

TEST(EventStream, AResistivePanelGivesTheReportsThatAreInIt)
{
    expect_reports_of({.resistive = true});
}

TEST(EventStream, ACapacitivePanelGivesTheReportsThatAreInIt)
{
    expect_reports_of({.resistive = false});
}
