/** The readers of keys and panel once more, by their description: a second way to the same results. */
#pragma once

#include "tests/input/input_board.h"
#include "tests/input/samples.h"
#include "tests/input/taken_key.h"

#include <cstdint>
#include <cstdio>
#include <deque>
#include <optional>
#include <string>

namespace kt::tests {

/** What an open has not read yet: of a device at most 63 events, then all are lost but the newest, behind a sign of
 * that. */
class pending_events {
public:
    /** As a file holds them: none is lost. */
    static pending_events all_of(const raw_events& events)
    {
        pending_events made;
        made.waiting_.assign(events.begin(), events.end());
        return made;
    }

    void add(const raw_events& events)
    {
        for (const raw_event& each : events) {
            if (waiting_.size() == 63)
                waiting_ = {{0, 3, 0}};
            waiting_.push_back(each);
        }
    }

    std::optional<raw_event> next()
    {
        if (waiting_.empty())
            return std::nullopt;
        const raw_event first = waiting_.front();
        waiting_.pop_front();
        return first;
    }

private:
    std::deque<raw_event> waiting_;
};

/** A reader of keys by its description: the keypad's table written as cases, and no loop shared with the library. */
struct key_model {
    pending_events of_keypad{}, of_buttons{};
    std::string* text = nullptr; // what it prints goes there

    static std::uint32_t key_of(unsigned code)
    {
        switch (code) {
        case 1:
            return 18;
        case 2:
            return 49;
        case 3:
            return 50;
        case 4:
            return 2;
        case 5:
            return 1;
        case 6:
            return 51;
        case 7:
            return 3;
        case 8:
            return 17;
        case 9:
            return 4;
        case 10:
            return 19;
        case 11:
            return 34;
        case 28:
            return 36;
        case 52:
            return 33;
        case 53:
            return 35;
        case 59:
            return 59;
        case 60:
            return 60;
        case 103:
            return 103;
        case 108:
            return 108;
        case 111:
            return 20;
        case 116:
            return 116;
        default:
            return 0;
        }
    }

    void print(const raw_event& event) const
    {
        if (text == nullptr)
            return;
        char line[64];
        std::snprintf(line, sizeof line, "type 0x%x code 0x%x value 0x%x\n", event.type, event.code,
                      static_cast<unsigned>(event.value));
        *text += line;
    }

    taken_key next()
    {
        while (const auto event = of_keypad.next()) {
            print(*event);
            if (event->type == 1 && event->value == 1)
                return pressed(key_of(event->code));
            if (event->type == 1 && event->value == 0)
                return released(key_of(event->code));
        }
        while (const auto event = of_buttons.next()) {
            print(*event);
            if (event->type == 1 && event->code == 116 && event->value == 1)
                return pressed(116);
            if (event->type == 1 && event->code == 116 && event->value == 0)
                return released(116);
        }
        return no_key;
    }
};

/** A panel by its description. */
struct panel_model {
    bool resistive = false;
    pending_events waiting{};
    int button = 0, last_x = 0, last_y = 0, pressure = 0;

    touched next(touched sample)
    {
        while (const auto event = waiting.next()) {
            const auto is = [&](unsigned type, unsigned code) { return event->type == type && event->code == code; };
            if (resistive && is(3, 0))
                sample.x = event->value;
            if (resistive && is(3, 1))
                sample.y = event->value;
            if (resistive && is(3, 24))
                pressure = event->value;
            if (!resistive && is(3, 53))
                last_x = event->value;
            if (!resistive && is(3, 54))
                last_y = event->value;
            if (!resistive && is(1, 330) && (event->value == 0 || event->value == 1))
                button = event->value;
            if (!is(0, 0) || (!resistive && event->value != 0))
                continue;
            if (!resistive)
                return button == 1 ? touched{16, last_x, last_y, 4096, 0} : touched{16, 0, 0, 0, 0};
            last_x = sample.x != 0 ? sample.x : last_x;
            last_y = sample.y != 0 ? sample.y : last_y;
            return {16, last_x, last_y, pressure, sample.reserved};
        }
        sample.result = 0;
        return sample;
    }

    void flush()
    {
        waiting = {};
        button = last_x = last_y = 0;
    }
};

} // namespace kt::tests
