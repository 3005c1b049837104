/** A touch panel of either kind, and the events of its reports. */
#pragma once

#include <kt_driver/input.h>

#include "tests/input/input_board.h"
#include "tests/input/samples.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/own_standard_input.h"

#include <gtest/gtest.h>
#include <string>

namespace kt::tests {

inline const std::string touch_start = "/sys/class/kt_misc/touch/touch_start";
inline const std::string panel_bus = "/sys/class/input/event2/device/id/bustype";

inline const std::string found_panel =
    "find /sys/class/input/event2/device/name, dev kt_touch\nkt_evdev_probe dev_index=2 ret=2\n";

inline std::string type_line(const std::string& type)
{
    return "sys_node_name=/sys/class/input/event2/device/id/ ts_type=" + type + "\n";
}

/** What a start says and gives. */
struct start_outcome {
    int result = -2;
    std::string text;

    bool operator==(const start_outcome&) const = default;
};

inline void PrintTo(const start_outcome& shown, std::ostream* out)
{
    *out << shown.result << " \"" << shown.text << '"';
}

inline start_outcome start_panel()
{
    start_outcome done;
    done.text = printed([&] { done.result = kt_ts_init(); });
    return done;
}

class touch_panel : public testing::Test {
protected:
    void has_bus(const std::string& text) { board.attribute(panel_bus, {.text = text, .mode = 0444}); }

    void start_resistive()
    {
        has_bus("0019\n");
        ASSERT_EQ(start_panel(), (start_outcome{0, found_panel + type_line("19")}));
    }

    void start_capacitive()
    {
        has_bus("0018\n");
        ASSERT_EQ(start_panel(), (start_outcome{0, found_panel + type_line("18")}));
    }

    void happens(const raw_events& events) { board.input(panel, events); }

    own_standard_input input;
    terminal::virtual_terminal board;
};

// The events of both kinds.
inline constexpr raw_event report_end{0, 0, 0};
inline constexpr raw_event lift{1, 330, 0};
inline constexpr raw_event down{1, 330, 1};

inline raw_event x_of(int value)
{
    return {3, 0, value};
}

inline raw_event y_of(int value)
{
    return {3, 1, value};
}

inline raw_event pressure_of(int value)
{
    return {3, 24, value};
}

inline raw_event multi_x(int value)
{
    return {3, 53, value};
}

inline raw_event multi_y(int value)
{
    return {3, 54, value};
}

} // namespace kt::tests
