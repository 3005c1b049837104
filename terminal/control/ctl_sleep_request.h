/** The `ctl` commands for the board's sleep. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace kt::terminal {

/** The request of "sleep" or "wake"; any other command gives null. */
nlohmann::ordered_json ctl_sleep_request(const std::string& command, const std::vector<std::string>& words);

} // namespace kt::terminal
