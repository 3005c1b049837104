/** What a test says to the modem, as a request. */
#include "terminal/client/connection.h"
#include "terminal/json/json.h"

namespace kt::terminal {

std::string virtual_terminal::modem(std::string_view members)
{
    nlohmann::ordered_json request = {{"op", "modem"}};
    request.update(parsed_json(members));
    return connection_->ask(request).dump();
}

} // namespace kt::terminal
