/** The terminal's keys. */
#include "terminal/input/keys.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <linux/input-event-codes.h>

namespace kt::terminal {

namespace {

struct key {
    std::string_view name;
    std::uint16_t code;
};

constexpr key keys[] = {
    {"esc", KEY_ESC}, {"1", KEY_1},         {"2", KEY_2},       {"3", KEY_3},           {"4", KEY_4},
    {"5", KEY_5},     {"6", KEY_6},         {"7", KEY_7},       {"8", KEY_8},           {"9", KEY_9},
    {"0", KEY_0},     {"enter", KEY_ENTER}, {"dot", KEY_DOT},   {"slash", KEY_SLASH},   {"f1", KEY_F1},
    {"f2", KEY_F2},   {"up", KEY_UP},       {"down", KEY_DOWN}, {"delete", KEY_DELETE}, {"power", KEY_POWER},
};

} // namespace

std::optional<std::uint16_t> key_code(std::string_view name)
{
    const auto known =
        std::find_if(std::begin(keys), std::end(keys), [&](const key& each) { return each.name == name; });
    if (known != std::end(keys))
        return known->code;
    std::uint16_t code = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), code);
    if (name.empty() || error != std::errc{} || end != name.data() + name.size())
        return std::nullopt;
    return code;
}

const char* key_names()
{
    return "esc, 1 to 9, 0, enter, dot, slash, f1, f2, up, down, delete, power";
}

std::vector<std::uint16_t> keypad_codes()
{
    std::vector<std::uint16_t> codes;
    std::transform(std::begin(keys), std::end(keys), std::back_inserter(codes),
                   [](const key& each) { return each.code; });
    return codes;
}

} // namespace kt::terminal
