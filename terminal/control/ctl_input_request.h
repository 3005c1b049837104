/** From the words of the `ctl` commands for keys and panels to their requests. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace kt::terminal {

/** The request of "press", "release", "type", "hold", "tap", "drag", "input" or "input-device"; another command gives
 * null. */
nlohmann::ordered_json ctl_input_request(const std::string& command, const std::vector<std::string>& words);

} // namespace kt::terminal
