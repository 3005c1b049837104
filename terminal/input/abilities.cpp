/** The abilities of buttons, keypad and panels. */
#include "terminal/input/abilities.h"

#include "terminal/input/keys.h"

#include <algorithm>
#include <linux/input.h>

namespace kt::terminal {

namespace {

bool contains(const std::vector<std::uint16_t>& all, unsigned wanted)
{
    return std::find(all.begin(), all.end(), wanted) != all.end();
}

/** The last code of a type that devices can have, as the kernel counts them; nothing for other types. */
std::optional<unsigned> last_code(unsigned type)
{
    switch (type) {
    case EV_SYN: // asks for the types
        return EV_MAX;
    case EV_KEY:
        return KEY_MAX;
    case EV_REL:
        return REL_MAX;
    case EV_ABS:
        return ABS_MAX;
    case EV_MSC:
        return MSC_MAX;
    case EV_LED:
        return LED_MAX;
    case EV_SND:
        return SND_MAX;
    case EV_FF:
        return FF_MAX;
    case EV_SW:
        return SW_MAX;
    default:
        return std::nullopt;
    }
}

} // namespace

bool abilities::can(unsigned type, unsigned code) const
{
    switch (type) {
    case EV_SYN:
        return true;
    case EV_KEY:
        return contains(keys, code);
    case EV_ABS:
        return contains(axes, code);
    default:
        return false;
    }
}

std::optional<std::string> abilities::bits(unsigned type, std::size_t word_size) const
{
    const auto last = last_code(type);
    if (!last)
        return std::nullopt;
    const std::size_t word_bits = word_size * 8;
    std::string bytes((*last + word_bits - 1) / word_bits * word_size, '\0');
    const auto set = [&](unsigned bit) { // words are little-endian on every machine that this runs on
        bytes.at(bit / 8) = static_cast<char>(bytes.at(bit / 8) | 1 << bit % 8);
    };
    if (type == EV_SYN) {
        set(EV_SYN);
        if (!keys.empty())
            set(EV_KEY);
        if (!axes.empty())
            set(EV_ABS);
        if (repeats)
            set(EV_REP);
    } else if (type == EV_KEY) {
        std::for_each(keys.begin(), keys.end(), set);
    } else if (type == EV_ABS) {
        std::for_each(axes.begin(), axes.end(), set);
    }
    return bytes;
}

abilities abilities_of(const std::string& name, unsigned bus)
{
    if (name == device_name::buttons)
        return {.keys = {KEY_POWER}, .axes = {}, .repeats = true};
    if (name == device_name::panel && bus == BUS_HOST)
        return {.keys = {}, .axes = {ABS_X, ABS_Y, ABS_PRESSURE}};
    if (name == device_name::panel)
        return {.keys = {BTN_TOUCH}, .axes = {ABS_MT_POSITION_X, ABS_MT_POSITION_Y}};
    return {.keys = keypad_codes(), .axes = {}, .repeats = true};
}

} // namespace kt::terminal
