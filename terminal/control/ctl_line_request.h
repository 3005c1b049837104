/** From the words of the `ctl` commands for serial lines to their requests. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace kt::terminal {

/** The request of "port", "send", "expect", "line", "hang-up" or "bridge"; another command gives null. */
nlohmann::ordered_json ctl_line_request(const std::string& command, const std::vector<std::string>& words);

/** The bytes of a text in which a backslash stands before r, n, t, xHH and itself. Throws usage_error. */
std::string unescaped(const std::string& text);

} // namespace kt::terminal
