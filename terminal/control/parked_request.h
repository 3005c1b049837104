/** A request that is answered later. */
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace kt::terminal {

struct parked_request {
    std::chrono::steady_clock::time_point deadline;
    /** The answer's text, when there is one now; @p late: there must be. It may throw a refusal. */
    std::function<std::optional<std::string>(bool late)> again;
};

} // namespace kt::terminal
