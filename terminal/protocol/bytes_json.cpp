/** Text or digits, whichever the bytes allow. */
#include "terminal/protocol/bytes_json.h"

#include "terminal/json/json.h"

#include <algorithm>
#include <stdexcept>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

bool is_text(const std::string& bytes)
{
    if (std::all_of(bytes.begin(), bytes.end(), [](char each) { return static_cast<unsigned char>(each) < 0x80; }))
        return true;
    try {
        (void)json(bytes).dump();
        return true;
    } catch (const json::type_error&) {
        return false; // no UTF-8
    }
}

unsigned digit(char each)
{
    if (each >= '0' && each <= '9')
        return static_cast<unsigned>(each - '0');
    if (each >= 'a' && each <= 'f')
        return static_cast<unsigned>(each - 'a' + 10);
    if (each >= 'A' && each <= 'F')
        return static_cast<unsigned>(each - 'A' + 10);
    throw std::invalid_argument("must be hexadecimal digits");
}

std::string from_hex(const std::string& text)
{
    if (text.size() % 2 != 0)
        throw std::invalid_argument("must be pairs of hexadecimal digits");
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes += static_cast<char>(digit(text[i]) << 4 | digit(text[i + 1]));
    return bytes;
}

} // namespace

std::string to_hex(const std::string& bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char each : bytes) {
        const auto value = static_cast<unsigned char>(each);
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text;
}

void put_bytes(json& object, const std::string& name, const std::string& bytes)
{
    if (is_text(bytes))
        object[name] = bytes;
    else
        object[name + "_hex"] = to_hex(bytes);
}

std::optional<std::string> get_bytes(const json& object, const std::string& name)
{
    const bool hex = object.contains(name + "_hex");
    if (!hex && !object.contains(name))
        return std::nullopt;
    const json& value = object.at(hex ? name + "_hex" : name);
    if (!value.is_string())
        throw std::invalid_argument(name + " must be a text");
    return hex ? from_hex(value.get<std::string>()) : value.get<std::string>();
}

} // namespace kt::terminal
