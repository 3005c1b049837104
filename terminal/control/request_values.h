/** The values of a request by name; a wrong or missing one is refused. */
#pragma once

#include <chrono>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>

namespace kt::terminal {

/** The longest time, in milliseconds, and the largest count that a request can give. */
constexpr std::int64_t longest_ms = std::int64_t{1000} * 3600 * 24 * 365;
constexpr std::int64_t many = 1'000'000'000;

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

/** "timeout_ms" from now; 10 s when it is not given. */
std::chrono::steady_clock::time_point deadline_of(const nlohmann::ordered_json& asked);

/** true or false; false when it is not given. */
bool flag_of(const nlohmann::ordered_json& asked, const std::string& name);

/** "path", which is absolute. */
std::string path_of(const nlohmann::ordered_json& asked);

/** Permissions as octal digits, both ways. */
std::uint32_t permissions_of(const std::string& text);
std::string permissions_text(std::uint32_t mode);

/** The text of an answer: "ok", and what there is besides. */
std::string accepted(const nlohmann::ordered_json& besides);

} // namespace kt::terminal
