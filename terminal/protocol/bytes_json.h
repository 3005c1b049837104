/** Bytes of any kind in JSON, which holds only UTF-8: as a text where that is possible, else as hexadecimal digits. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace kt::terminal {

/** Two digits a byte, in lower case. */
std::string to_hex(const std::string& bytes);

/** Sets "NAME" to the text, or "NAME_hex" to the digits. */
void put_bytes(nlohmann::ordered_json& object, const std::string& name, const std::string& bytes);

/** What put_bytes() wrote; nothing when neither key is there. Throws std::invalid_argument when the value is no such
 * thing. */
std::optional<std::string> get_bytes(const nlohmann::ordered_json& object, const std::string& name);

} // namespace kt::terminal
