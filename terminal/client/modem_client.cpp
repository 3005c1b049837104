/** What a test says to the modem, as a request. */
#include "terminal/client/connection.h"

#include <nlohmann/json.hpp>

namespace kt::terminal {

std::string virtual_terminal::modem(std::string_view members)
{
    nlohmann::ordered_json request = {{"op", "modem"}};
    request.update(nlohmann::ordered_json::parse(members));
    return connection_->ask(request).dump();
}

} // namespace kt::terminal
