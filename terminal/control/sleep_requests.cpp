/** What the control socket can be asked about the board's sleep. */
#include "terminal/control/request_values.h"
#include "terminal/control/requests.h"
#include "terminal/json/json.h"
#include "terminal/sleep/suspend.h"

#include <limits>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

std::shared_ptr<suspend> sleep_of(const board& asked)
{
    auto found = suspend_of(asked);
    if (found == nullptr)
        throw refusal("this board does not sleep");
    return found;
}

template <typename Number>
json number_or_null(const std::optional<Number>& number)
{
    return number ? json(*number) : json(nullptr);
}

json state_of(const suspend& asked)
{
    const suspend_state state = asked.state();
    return {{"asleep", state.asleep},
            {"wakeup_count", state.wakeup_count},
            {"pending", state.pending},
            {"event", number_or_null(state.event)},
            {"fast", state.fast},
            {"timer_ms", state.timer ? json(state.timer->count()) : json(nullptr)},
            {"slept_ms", state.slept.count()}};
}

/** Any int: what it means is the business of whoever reads kt_pm_event. */
int event_of_request(const json& asked)
{
    const auto value = asked.find("event");
    if (value == asked.end())
        return wake_source::other;
    using limits = std::numeric_limits<int>;
    const bool fits = value->is_number_unsigned()  ? value->get<std::uint64_t>() <= std::uint64_t{limits::max()}
                      : value->is_number_integer() ? value->get<std::int64_t>() >= std::int64_t{limits::min()}
                                                   : false;
    if (!fits)
        throw refusal("\"event\" must be a whole number from -2147483648 to 2147483647");
    return value->get<int>();
}

} // namespace

json requests::sleep(const json& asked)
{
    const auto found = sleep_of(board_);
    const bool fast = flag_of(asked, "fast");
    const std::int64_t pending = number_of(asked, "pending_ms", 0, longest_ms);
    if (asked.contains("pending_ms"))
        found->stay_pending(std::chrono::milliseconds(pending));
    if (asked.contains("fast"))
        found->set_fast(fast);
    return state_of(*found);
}

json requests::wake(const json& asked)
{
    const auto found = sleep_of(board_);
    return {{"woke", found->wake(event_of_request(asked))}};
}

} // namespace kt::terminal
