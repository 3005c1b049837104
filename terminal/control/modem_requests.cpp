/** What the control socket can be asked about the modem. */
#include "terminal/control/requests.h"
#include "terminal/modem/modem.h"

#include <nlohmann/json.hpp>

namespace kt::terminal {

nlohmann::ordered_json requests::modem(const json& asked)
{
    return json::parse(modem_request(board_, asked.dump()));
}

} // namespace kt::terminal
