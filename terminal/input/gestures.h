/** What a finger does to keys and panels, as events in time. */
#pragma once

#include "terminal/input/reported_event.h"

#include <chrono>
#include <vector>

namespace kt::terminal {

/** Events that come this long after a gesture's begin. */
struct timed_events {
    std::chrono::milliseconds at{0};
    event_list events;
};

/** In the order of their times; the last one ends it: the key is up, the finger gone. */
using gesture = std::vector<timed_events>;

/** A key's new state, and the end of the report. */
event_list key_report(std::uint16_t code, bool pressed);

/** A key goes down, repeats as the kernel makes it (after 250 ms, every 33 ms), and goes up after @p time. */
gesture held_key(std::uint16_t code, std::chrono::milliseconds time);

enum class panel_kind { resistive, capacitive };

struct panel_point {
    std::int32_t x = 0;
    std::int32_t y = 0;
};

gesture tapped(panel_kind kind, const panel_point& at);

/** Down at @p from, @p steps even moves of which the last ends at @p to, and up, all within @p time. */
gesture dragged(panel_kind kind, const panel_point& from, const panel_point& to, int steps,
                std::chrono::milliseconds time);

} // namespace kt::terminal
