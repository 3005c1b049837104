/** The reports of keys and of both kinds of panels. */
#include "terminal/input/gestures.h"

#include <linux/input-event-codes.h>

namespace kt::terminal {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds repeat_delay{250};
constexpr milliseconds repeat_period{33};
constexpr int released = 0, pressed_down = 1, repeated = 2;
constexpr std::int32_t firm_touch = 1000; // of 4095

constexpr reported_event report_end{EV_SYN, SYN_REPORT, 0};

event_list key_event(std::uint16_t code, int value)
{
    return {{EV_KEY, code, value}, report_end};
}

/** The finger is at a place; @p first: it was away. */
event_list finger_at(panel_kind kind, const panel_point& at, bool first)
{
    if (kind == panel_kind::resistive)
        return {{EV_ABS, ABS_X, at.x}, {EV_ABS, ABS_Y, at.y}, {EV_ABS, ABS_PRESSURE, firm_touch}, report_end};
    event_list events;
    if (first)
        events.push_back({EV_KEY, BTN_TOUCH, 1});
    events.insert(events.end(), {{EV_ABS, ABS_MT_POSITION_X, at.x}, {EV_ABS, ABS_MT_POSITION_Y, at.y}, report_end});
    return events;
}

event_list finger_gone(panel_kind kind)
{
    if (kind == panel_kind::resistive)
        return {{EV_ABS, ABS_PRESSURE, 0}, report_end};
    return {{EV_KEY, BTN_TOUCH, 0}, report_end};
}

std::int32_t between(std::int32_t from, std::int32_t to, int step, int steps)
{
    return static_cast<std::int32_t>(from + (std::int64_t{to} - from) * step / steps);
}

} // namespace

event_list key_report(std::uint16_t code, bool pressed)
{
    return key_event(code, pressed ? pressed_down : released);
}

gesture held_key(std::uint16_t code, milliseconds time)
{
    gesture all{{milliseconds(0), key_event(code, pressed_down)}};
    for (milliseconds at = repeat_delay; at < time; at += repeat_period)
        all.push_back({at, key_event(code, repeated)});
    all.push_back({time, key_event(code, released)});
    return all;
}

gesture tapped(panel_kind kind, const panel_point& at)
{
    return {{milliseconds(0), finger_at(kind, at, true)}, {milliseconds(0), finger_gone(kind)}};
}

gesture dragged(panel_kind kind, const panel_point& from, const panel_point& to, int steps, milliseconds time)
{
    gesture all{{milliseconds(0), finger_at(kind, from, true)}};
    for (int step = 1; step <= steps; ++step) {
        const panel_point at{between(from.x, to.x, step, steps), between(from.y, to.y, step, steps)};
        all.push_back({time * step / steps, finger_at(kind, at, false)});
    }
    all.push_back({time, finger_gone(kind)});
    return all;
}

} // namespace kt::terminal
