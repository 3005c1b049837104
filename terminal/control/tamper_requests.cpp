/** What the control socket can be asked about the tamper words. */
#include "terminal/control/request_values.h"
#include "terminal/control/requests.h"
#include "terminal/json/json.h"
#include "terminal/secure/secure_processor.h"

#include <charconv>
#include <cstdio>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

std::string word_text(std::uint32_t word)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", word);
    return text;
}

/** A number, or a text "0x…". */
std::uint32_t word_in(const json& value, const std::string& name)
{
    std::uint32_t word = 0;
    if (value.is_string()) {
        const std::string text = value.get<std::string>();
        if (text.size() > 2 && text.starts_with("0x")) {
            const char* end = text.data() + text.size();
            const auto [last, error] = std::from_chars(text.data() + 2, end, word, 16);
            if (error == std::errc{} && last == end)
                return word;
        }
    } else if (value.is_number_integer() && value >= 0 && value <= 0xFFFFFFFFU) {
        return value.get<std::uint32_t>();
    }
    throw refusal(name + ": must be a number of 32 bits, or a text such as \"0x10\"");
}

std::optional<unsigned> silence_in(const json& value)
{
    if (value.is_boolean())
        return value.get<bool>() ? std::nullopt : std::optional(0U);
    if (!value.is_number_integer() || value < 0 || value > many)
        throw refusal("silent: must be true, false or a number of reads");
    return value.get<unsigned>();
}

tamper_change change_in(const json& given)
{
    if (!given.is_object())
        throw refusal("\"set\" must be an object");
    tamper_change change;
    for (const auto& [name, value] : given.items()) {
        if (name == "status")
            change.status = word_in(value, name);
        else if (name == "ram")
            change.ram = word_in(value, name);
        else if (name == "silent")
            change.silent_reads = silence_in(value);
        else
            throw refusal(name + ": unknown");
    }
    return change;
}

} // namespace

nlohmann::ordered_json requests::tamper(const json& asked)
{
    const auto found = secure_processor_of(board_);
    if (found == nullptr || (asked.contains("set") && !found->change(change_in(asked["set"]))))
        throw refusal("this board has no tamper words");
    const tamper_state state = found->state();
    json silent = !state.silent_reads ? json(true) : *state.silent_reads == 0 ? json(false) : json(*state.silent_reads);
    return {{"status", word_text(state.status)},
            {"ram", word_text(state.ram)},
            {"silent", std::move(silent)},
            {"resets", state.resets}};
}

} // namespace kt::terminal
