/** From the words of the `ctl` commands for battery and tamper words to their requests, and their answers to words. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace kt::terminal {

/** The request of "battery" or "tamper"; another command gives null. */
nlohmann::ordered_json ctl_device_request(const std::string& command, const std::vector<std::string>& words);

/** A request that sets what the words "NAME=VALUE" say. */
nlohmann::ordered_json ctl_settings_request(const std::string& operation, const std::vector<std::string>& words);

/** The state that "battery", "tamper", "sleep" or "reader" is answered with, as lines of a name and a value; what an
 * object holds stands in lines of its own. */
std::string ctl_state_text(const nlohmann::ordered_json& answer);

} // namespace kt::terminal
