/** Taking the values of a request out, each with its own refusal. */
#include "terminal/control/request_values.h"

#include "terminal/json/json.h"
#include "terminal/protocol/bytes_json.h"

#include <cstdio>

namespace kt::terminal {

using json = nlohmann::ordered_json;

std::string text_of(const json& asked, const std::string& name)
{
    try {
        if (auto bytes = get_bytes(asked, name))
            return *bytes;
    } catch (const std::invalid_argument& wrong) {
        throw refusal(name + ": " + wrong.what());
    }
    throw refusal("\"" + name + "\" is missing");
}

std::optional<std::string> optional_text(const json& asked, const std::string& name)
{
    if (!asked.contains(name) && !asked.contains(name + "_hex"))
        return std::nullopt;
    return text_of(asked, name);
}

std::int64_t number_of(const json& asked, const std::string& name, std::int64_t absent, std::int64_t most)
{
    const auto value = asked.find(name);
    if (value == asked.end())
        return absent;
    if (!value->is_number_integer() || *value < 0 || *value > most)
        throw refusal("\"" + name + "\" must be a whole number from 0 to " + std::to_string(most));
    return value->get<std::int64_t>();
}

std::chrono::steady_clock::time_point deadline_of(const json& asked)
{
    return std::chrono::steady_clock::now() +
           std::chrono::milliseconds(number_of(asked, "timeout_ms", 10'000, longest_ms));
}

bool flag_of(const json& asked, const std::string& name)
{
    const auto value = asked.find(name);
    if (value == asked.end())
        return false;
    if (!value->is_boolean())
        throw refusal("\"" + name + "\" must be true or false");
    return value->get<bool>();
}

std::string path_of(const json& asked)
{
    std::string path = text_of(asked, "path");
    if (!path.starts_with('/'))
        throw refusal("\"path\" must be absolute");
    // What the kernel's own look-ups never ask for, and its listings cannot tell.
    constexpr std::size_t longest_name = 255;
    std::string_view left = path;
    while (!left.empty()) {
        left.remove_prefix(1);
        const std::string_view name = left.substr(0, left.find('/'));
        const bool doubled_slash = name.empty() && !left.empty(); // one place has one path here
        if (doubled_slash || name == "." || name == ".." || name.size() > longest_name ||
            name.find('\0') != std::string_view::npos)
            throw refusal("\"path\" has a name that no file can have");
        left.remove_prefix(name.size());
    }
    return path;
}

std::uint32_t permissions_of(const std::string& text)
{
    if (text.empty() || text.size() > 4 || text.find_first_not_of("01234567") != std::string::npos)
        throw refusal("\"mode\" must be octal permissions, such as \"0644\"");
    return static_cast<std::uint32_t>(std::stoul(text, nullptr, 8));
}

std::string permissions_text(std::uint32_t mode)
{
    char text[8];
    std::snprintf(text, sizeof text, "%04o", mode & 07777);
    return text;
}

std::string accepted(const json& besides)
{
    json answer = {{"ok", true}};
    answer.update(besides);
    return answer.dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace kt::terminal
