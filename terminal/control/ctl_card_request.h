/** The `ctl` commands for cards and what they exchange with the reader. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace kt::terminal {

/** The request of "card", "apdu", "phone" or "reader"; null: the command is another. Throws usage_error. A card's file
 * is read here; what is no file is a sample's name. */
nlohmann::ordered_json ctl_card_request(const std::string& command, const std::vector<std::string>& words);

/** What is printed of the answer to all but "reader". */
std::string ctl_card_text(const nlohmann::ordered_json& answer);

} // namespace kt::terminal
