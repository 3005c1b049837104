/** Settings of a modem in JSON, as profiles and the control protocol have them. */
#include "terminal/json/json.h"
#include "terminal/modem/modem.h"
#include "terminal/ppp/link.h"
#include "terminal/protocol/bytes_json.h"

#include <stdexcept>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

[[noreturn]] void refuse(const std::string& name, const std::string& reason)
{
    throw std::invalid_argument(name + ": " + reason);
}

std::string text_in(const json& value, const std::string& name)
{
    if (!value.is_string())
        refuse(name, "must be a text");
    return value.get<std::string>();
}

bool flag_in(const json& value, const std::string& name)
{
    if (!value.is_boolean())
        refuse(name, "must be true or false");
    return value.get<bool>();
}

unsigned number_in(const json& value, const std::string& name, unsigned most)
{
    if (!value.is_number_integer() || value < 0 || value > most)
        refuse(name, "must be a whole number from 0 to " + std::to_string(most));
    return value.get<unsigned>();
}

std::chrono::milliseconds time_in(const json& value, const std::string& name)
{
    return std::chrono::milliseconds(number_in(value, name, 3'600'000));
}

std::uint32_t address_in(const json& value, const std::string& name)
{
    const auto address = parse_address(text_in(value, name));
    if (!address)
        refuse(name, "must be an address such as \"10.64.0.2\"");
    return *address;
}

void change_answers(modem_settings& settings, const json& value, const std::string& name)
{
    if (!value.is_object())
        refuse(name, "must be an object of commands");
    for (const auto& [command, answer] : value.items()) {
        if (answer.is_null())
            settings.answers.erase(command);
        else
            settings.answers.insert_or_assign(command, text_in(answer, name + ": " + command));
    }
}

/** One of the few, each with how it is read. */
void change_one(modem_settings& settings, const std::string& name, const json& value)
{
    if (name == "answers")
        change_answers(settings, value, name);
    else if (name == "delay_ms")
        settings.delay = time_in(value, name);
    else if (name == "silent")
        settings.silent = flag_in(value, name);
    else if (name == "garbage")
        settings.garbage = text_in(value, name);
    else if (name == "sim")
        settings.sim = text_in(value, name);
    else if (name == "signal") {
        settings.signal = number_in(value, name, 99);
        if (settings.signal > 31 && settings.signal != 99)
            refuse(name, "must be 0 to 31, or 99");
    } else if (name == "network")
        settings.network = text_in(value, name);
    else if (name == "dial")
        settings.dial = text_in(value, name);
    else if (name == "rings")
        settings.rings = number_in(value, name, 100);
    else if (name == "dial_delay_ms")
        settings.dial_delay = time_in(value, name);
    else if (name == "guard_ms")
        settings.guard = time_in(value, name);
    else if (name == "peer") {
        settings.peer = text_in(value, name);
        if (settings.peer != "ppp" && settings.peer != "echo" && settings.peer != "none")
            refuse(name, "must be \"ppp\", \"echo\" or \"none\"");
    } else if (name == "own_address")
        settings.own_address = address_in(value, name);
    else if (name == "given_address")
        settings.given_address = address_in(value, name);
    else if (name == "dns") {
        if (!value.is_array() || value.size() > 2)
            refuse(name, "must be a list of at most two addresses");
        for (std::size_t at = 0; at < 2; ++at)
            settings.dns[at] = at < value.size() ? address_in(value[at], name) : 0;
    } else if (name == "asks_user")
        settings.asks_user = flag_in(value, name);
    else if (name == "user")
        settings.user = text_in(value, name);
    else if (name == "password")
        settings.password = text_in(value, name);
    else if (name == "answers_echoes")
        settings.answers_echoes = flag_in(value, name);
    else if (name == "boot_delay_ms")
        settings.boot_delay = time_in(value, name);
    else if (name == "channels_folder") {
        settings.channels_folder = text_in(value, name);
        if (!settings.channels_folder.starts_with("/dev/") || settings.channels_folder.ends_with('/'))
            refuse(name, "must be a folder below /dev");
    } else if (name == "channels")
        settings.channels = number_in(value, name, 63);
    else
        refuse(name, "unknown");
}

} // namespace

void change_settings(modem_settings& settings, const std::string& text)
{
    const json given = parsed_json(text);
    if (!given.is_object())
        throw std::invalid_argument("a modem's settings are an object");
    modem_settings changed = settings;
    for (const auto& [name, value] : given.items()) {
        if (name == "kind")
            continue; // what a profile calls the device
        if (name == "garbage_hex")
            changed.garbage = get_bytes(given, "garbage").value_or("");
        else
            change_one(changed, name, value);
    }
    settings = std::move(changed);
}

} // namespace kt::terminal
