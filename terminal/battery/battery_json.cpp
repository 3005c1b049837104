/** A battery's options in JSON, as profiles and the control protocol have them. */
#include "terminal/battery/battery.h"
#include "terminal/json/json.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

constexpr double fastest = 1'000'000; // a rate, or the speed of time

[[noreturn]] void refuse(const std::string& name, const std::string& reason)
{
    throw std::invalid_argument(name + ": " + reason);
}

double number_in(const json& value, const std::string& name, double most)
{
    if (!value.is_number() || value < 0 || value > most)
        refuse(name, "must be a number from 0 to " + std::to_string(static_cast<int>(most)));
    return value.get<double>();
}

/** What an attribute shall show: a whole number, one of its words, or a name. */
std::string text_in(const json& value, const std::string& name, const supply_property_form& form)
{
    if (form.text == supply_text::number) {
        constexpr std::int64_t least = std::numeric_limits<std::int32_t>::min();
        constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
        if (!value.is_number_integer() || value < least || value > most)
            refuse(name, "must be a whole number of 32 bits");
        return value.dump();
    }
    if (form.text == supply_text::name && value.is_number_integer())
        return value.dump(); // a serial number, as a person writes it
    std::string text = value.is_string() ? value.get<std::string>() : "";
    if (form.text == supply_text::name) {
        if (!value.is_string() || text.size() > 100 || text.find('\n') != std::string::npos)
            refuse(name, "must be a text of one line and at most 100 bytes");
        return text;
    }
    if (std::find(form.words.begin(), form.words.end(), text) == form.words.end()) {
        std::string all;
        for (const std::string_view word : form.words)
            all += (all.empty() ? "\"" : ", \"") + std::string(word) + "\"";
        refuse(name, "must be one of " + all);
    }
    return text;
}

void read_one(battery_change& change, const std::string& name, const json& value)
{
    if (name == "capacity")
        change.capacity = number_in(value, name, 100);
    else if (name == "charge_rate")
        change.charge_rate = number_in(value, name, fastest);
    else if (name == "discharge_rate")
        change.discharge_rate = number_in(value, name, fastest);
    else if (name == "speed")
        change.speed = number_in(value, name, fastest);
    else if (name == "mains" && value.is_boolean())
        change.mains = value.get<bool>();
    else if (name == "mains")
        refuse(name, "must be true or false");
    else if (const auto property = supply_property_named(name); !property)
        refuse(name, "unknown");
    else if (value.is_null())
        change.fixed[*property] = std::nullopt;
    else
        change.fixed[*property] = text_in(value, name, supply_forms[static_cast<std::size_t>(*property)]);
}

} // namespace

battery_change read_battery_change(const std::string& text)
{
    const json given = parsed_json(text);
    if (!given.is_object())
        throw std::invalid_argument("a battery's options are an object");
    battery_change change;
    for (const auto& [name, value] : given.items())
        if (name != "kind") // what a profile calls the device
            read_one(change, name, value);
    return change;
}

} // namespace kt::terminal
