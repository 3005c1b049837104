/** What the control socket can be asked about the battery. */
#include "terminal/battery/battery.h"
#include "terminal/control/request_values.h"
#include "terminal/control/requests.h"
#include "terminal/json/json.h"

#include <cmath>
#include <cstdlib>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

json state_of(const battery& asked)
{
    const battery_state state = asked.state();
    json fixed = json::array();
    for (const supply_property each : state.fixed)
        fixed.push_back(supply_forms[static_cast<std::size_t>(each)].name);
    json properties = json::object();
    for (std::size_t at = 0; at < supply_properties; ++at) {
        const supply_property_form& form = supply_forms[at];
        if (form.text == supply_text::number)
            properties[std::string(form.name)] = std::atoi(state.values[at].c_str());
        else
            properties[std::string(form.name)] = state.values[at];
    }
    return {{"capacity", std::round(state.capacity * 1000) / 1000},
            {"mains", state.mains},
            {"limit", state.limit},
            {"charge_rate", state.charge_rate},
            {"discharge_rate", state.discharge_rate},
            {"speed", state.speed},
            {"fixed", std::move(fixed)},
            {"properties", std::move(properties)}};
}

} // namespace

nlohmann::ordered_json requests::battery(const json& asked)
{
    const auto found = battery_of(board_);
    if (found == nullptr)
        throw refusal("this board has no battery");
    if (asked.contains("set"))
        found->change(read_battery_change(asked["set"].dump()));
    return state_of(*found);
}

/**
 * Without a request the battery looks at its time at its ticks only, and a battery whose time the other side has made
 * fast may be far on by then: whoever asks for whatever operation (its attributes can be got, too) meets it as of now.
 */
void requests::refresh_battery()
{
    if (const auto found = battery_of(board_))
        found->refresh();
}

} // namespace kt::terminal
