/** What the control socket can be asked about the board's clocks. */
#include "terminal/clock/real_time_clock.h"
#include "terminal/control/request_values.h"
#include "terminal/control/requests.h"
#include "terminal/json/json.h"

#include <cmath>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

constexpr double latest = 4294967295.0; // 2106, the last second that programs of 32 bits can tell

} // namespace

nlohmann::ordered_json requests::clock(const json& asked)
{
    const auto set = asked.find("set");
    if (set != asked.end() && (!set->is_number() || *set < 0 || *set > latest))
        throw refusal("\"set\" must be a number of seconds since 1970, up to 4294967295");
    const std::chrono::milliseconds advance(number_of(asked, "advance_ms", 0, longest_ms));
    if (set != asked.end()) {
        double whole = 0;
        const double part = std::modf(set->get<double>(), &whole);
        constexpr double microseconds = 1e6; // what a number of this size holds
        const auto rounded = static_cast<long>(std::min(std::round(part * microseconds), microseconds - 1));
        board_.clock().set({static_cast<time_t>(whole), rounded * 1000});
    }
    if (advance.count() > 0)
        board_.clock().advance(advance);
    const timespec now = board_.clock().now();
    const auto hardware = real_time_clock_at(board_);
    const auto offset = std::chrono::round<std::chrono::milliseconds>(board_.clock().offset());
    return {{"time", static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec / 1000) / 1e6},
            {"offset_ms", offset.count()},
            {"rtc", hardware != nullptr ? json(hardware->time().count()) : json(nullptr)}};
}

} // namespace kt::terminal
