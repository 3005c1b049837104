/** Words about battery and tamper words to requests, and the answer to words. */
#include "terminal/control/ctl_device_request.h"

#include "terminal/control/ctl_request.h"
#include "terminal/json/json.h"

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

/** A number, on and off, nothing (which gives a value back), or a text. */
json value_of(const std::string& text)
{
    if (text.empty())
        return nullptr;
    if (text == "on" || text == "off")
        return text == "on";
    const json number = parsed_json(text, nullptr, false);
    return number.is_number() ? number : json(text);
}

std::string value_text(const json& value)
{
    if (value.is_boolean())
        return value.get<bool>() ? "on" : "off";
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_null())
        return "none";
    if (!value.is_array())
        return value.dump();
    std::string all;
    for (const json& each : value)
        all += (all.empty() ? "" : " ") + value_text(each);
    return all.empty() ? "none" : all;
}

} // namespace

json ctl_device_request(const std::string& command, const std::vector<std::string>& words)
{
    if (command != "battery" && command != "tamper")
        return nullptr;
    return ctl_settings_request(command, words);
}

json ctl_settings_request(const std::string& operation, const std::vector<std::string>& words)
{
    constexpr std::size_t many_words = 100;
    json request = {{"op", operation}};
    const ctl_words said(words, {}, {});
    for (const std::string& word : said.operands(0, many_words)) {
        const std::size_t sign = word.find('=');
        if (sign == std::string::npos || sign == 0)
            throw usage_error("\"" + word + "\" should be NAME=VALUE");
        request["set"][word.substr(0, sign)] = value_of(word.substr(sign + 1));
    }
    return request;
}

std::string ctl_state_text(const json& answer)
{
    std::string text;
    for (const auto& [name, value] : answer.items()) {
        if (name == "ok")
            continue;
        if (!value.is_object()) {
            text += name + " " + value_text(value) + "\n";
            continue;
        }
        text += name + ":\n";
        for (const auto& [inner_name, inner] : value.items())
            text += "  " + inner_name + " " + value_text(inner) + "\n";
    }
    return text;
}

} // namespace kt::terminal
