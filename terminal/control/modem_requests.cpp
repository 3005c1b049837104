/** What the control socket can be asked about the modem. */
#include "terminal/control/request_values.h"
#include "terminal/control/requests.h"
#include "terminal/json/json.h"
#include "terminal/modem/modem.h"
#include "terminal/protocol/bytes_json.h"

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

json state_of(const modem& asked)
{
    const modem_state state = asked.state();
    json ports = json::array();
    for (const modem_port_state& each : state.ports) {
        json port = {{"path", each.path}, {"mode", each.mode}, {"open", each.open}, {"in_call", each.in_call}};
        put_bytes(port, "dialled", each.dialled);
        port["up"] = each.up;
        put_bytes(port, "user", each.user);
        ports.push_back(std::move(port));
    }
    json answer = {{"powered", state.powered}, {"multiplexed", state.multiplexed}, {"ports", std::move(ports)}};
    put_bytes(answer, "heard", state.heard);
    return answer;
}

} // namespace

nlohmann::ordered_json requests::modem(const json& asked)
{
    const std::string path = optional_text(asked, "path").value_or("/dev/ttyS0");
    const auto found = modem_at(board_, path);
    if (found == nullptr)
        throw refusal(path + " is no modem's port");
    const std::string what = optional_text(asked, "do").value_or("");
    if (!what.empty() && what != "drop_carrier" && what != "no_carrier")
        throw refusal("\"do\" must be \"drop_carrier\" or \"no_carrier\"");
    const std::string port = optional_text(asked, "port").value_or("");
    if (asked.contains("set"))
        found->change([&](modem_settings& settings) { change_settings(settings, asked["set"].dump()); });
    if (!what.empty() && !found->drop_carrier(what == "drop_carrier", port))
        throw refusal(port + " is no port of the modem that is there now");
    return state_of(*found);
}

} // namespace kt::terminal
