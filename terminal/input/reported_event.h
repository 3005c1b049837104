/** What an input device reports, without the time. */
#pragma once

#include <cstdint>
#include <vector>

namespace kt::terminal {

/** Type, code and value are the kernel's: linux/input-event-codes.h. */
struct reported_event {
    std::uint16_t type = 0;
    std::uint16_t code = 0;
    std::int32_t value = 0;

    bool operator==(const reported_event&) const = default;
};

/** What comes at once: mostly one report with its end. */
using event_list = std::vector<reported_event>;

} // namespace kt::terminal
