/** The `ctl` command for the board's clocks. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace kt::terminal {

/** The request of "clock"; null: the command is another. Throws usage_error. */
nlohmann::ordered_json ctl_clock_request(const std::string& command, const std::vector<std::string>& words);

/** What is printed of its answer. */
std::string ctl_clock_text(const nlohmann::ordered_json& answer);

} // namespace kt::terminal
