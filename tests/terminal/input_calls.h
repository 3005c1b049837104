/** Input events as a program reads them. */
#pragma once

#include "terminal/client/virtual_terminal.h"

#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace kt::tests {

inline constexpr const char* buttons_node = "/dev/input/event0";
inline constexpr const char* keypad_node = "/dev/input/event1";
inline constexpr const char* panel_node = "/dev/input/event2";

/** An event without its time. */
struct seen_event {
    unsigned type = 0;
    unsigned code = 0;
    int value = 0;

    bool operator==(const seen_event&) const = default;
};

inline void PrintTo(const seen_event& shown, std::ostream* out)
{
    *out << "{" << shown.type << ", " << shown.code << ", " << shown.value << "}";
}

using seen_events = std::vector<seen_event>;

/** What follows every key and every touch. */
inline constexpr seen_event report_end{0, 0, 0};

/** The parts of a record of 16 bytes: two times of 32 bits, two numbers of 16, one of 32. */
inline seen_event event_at(std::string_view bytes, std::size_t number)
{
    std::uint16_t type = 0;
    std::uint16_t code = 0;
    std::int32_t value = 0;
    std::memcpy(&type, bytes.data() + 16 * number + 8, sizeof type);
    std::memcpy(&code, bytes.data() + 16 * number + 10, sizeof code);
    std::memcpy(&value, bytes.data() + 16 * number + 12, sizeof value);
    return {type, code, value};
}

inline double time_at(std::string_view bytes, std::size_t number)
{
    std::uint32_t parts[2];
    std::memcpy(parts, bytes.data() + 16 * number, sizeof parts);
    return parts[0] + parts[1] / 1e6;
}

inline seen_events events_in(std::string_view bytes)
{
    seen_events all;
    for (std::size_t i = 0; i < bytes.size() / 16; ++i)
        all.push_back(event_at(bytes, i));
    return all;
}

inline std::string record_of(const seen_event& wanted)
{
    std::string bytes(16, '\0');
    const auto type = static_cast<std::uint16_t>(wanted.type);
    const auto code = static_cast<std::uint16_t>(wanted.code);
    std::memcpy(bytes.data() + 8, &type, sizeof type);
    std::memcpy(bytes.data() + 10, &code, sizeof code);
    std::memcpy(bytes.data() + 12, &wanted.value, sizeof wanted.value);
    return bytes;
}

} // namespace kt::tests
