/** What the control socket can be asked about the board's clocks. */
#include "terminal/clock/real_time_clock.h"
#include "terminal/control/request_values.h"
#include "terminal/control/requests.h"
#include "terminal/json/json.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <memory>
#include <optional>
#include <string>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

constexpr double latest = 4294967295.0; // 2106, the last second that programs of 32 bits can tell

nlohmann::ordered_json clocks_of(board& shown)
{
    const timespec now = shown.clock().now();
    const auto hardware = real_time_clock_at(shown);
    const auto offset = std::chrono::round<std::chrono::milliseconds>(shown.clock().offset());
    const auto microseconds = now.tv_nsec / 1000;
    return {{"time", static_cast<double>(now.tv_sec) + static_cast<double>(microseconds) / 1e6},
            {"offset_ms", offset.count()},
            {"rtc", hardware != nullptr ? json(hardware->time().count()) : json(nullptr)}};
}

} // namespace

parked_request requests::clock(const json& asked)
{
    const auto set = asked.find("set");
    if (set != asked.end() && (!set->is_number() || *set < 0 || *set > latest))
        throw refusal("\"set\" must be a number of seconds since 1970, up to 4294967295");
    clock_change wanted{.advance = std::chrono::milliseconds(number_of(asked, "advance_ms", 0, longest_ms))};
    if (set != asked.end()) {
        double whole = 0;
        const double part = std::modf(set->get<double>(), &whole);
        constexpr double microseconds = 1e6; // what a number of this size holds
        const auto rounded = static_cast<long>(std::min(std::round(part * microseconds), microseconds - 1));
        wanted.set = {static_cast<time_t>(whole), rounded * 1000};
    }
    if (!board_.clock().reaches(wanted))
        throw refusal("the clock ends in the year 2232");
    const auto followed = std::make_shared<std::atomic<bool>>(true);
    if (wanted.set || wanted.advance.count() > 0) {
        *followed = false;
        board_.clock().change(wanted, [followed, try_again = try_again_] {
            *followed = true;
            try_again();
        });
    }
    parked_request waiting;
    waiting.deadline = std::chrono::steady_clock::now() + board_clock::longest_wait;
    waiting.again = [this, followed](bool late) -> std::optional<std::string> {
        if (!*followed && !late)
            return std::nullopt;
        return accepted(clocks_of(board_));
    };
    return waiting;
}

} // namespace kt::terminal
