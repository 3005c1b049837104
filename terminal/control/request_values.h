/** The values of a request by name; a wrong or missing one is refused. */
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>

namespace kt::terminal {

/** The request is wrong; the text is the answer's "error". */
class refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** A text, or bytes under "NAME_hex". */
std::string text_of(const nlohmann::ordered_json& asked, const std::string& name);
std::optional<std::string> optional_text(const nlohmann::ordered_json& asked, const std::string& name);

/** A whole number from 0 to @p most; @p absent when it is not given. */
std::int64_t number_of(const nlohmann::ordered_json& asked, const std::string& name, std::int64_t absent,
                       std::int64_t most);

/** true or false; false when it is not given. */
bool flag_of(const nlohmann::ordered_json& asked, const std::string& name);

/** "path", which is absolute. */
std::string path_of(const nlohmann::ordered_json& asked);

/** Permissions as octal digits, both ways. */
std::uint32_t permissions_of(const std::string& text);
std::string permissions_text(std::uint32_t mode);

} // namespace kt::terminal
