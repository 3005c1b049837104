/** A key as a call gives it. */
#pragma once

#include <kt_driver/input.h>

#include <cstdint>
#include <ostream>

namespace kt::tests {

/** A call's result and what it stored. */
struct taken_key {
    int result = -2;
    std::uint32_t key = 0;
    std::uint32_t state = 0;

    bool operator==(const taken_key&) const = default;
};

inline void PrintTo(const taken_key& shown, std::ostream* out)
{
    *out << shown.result << " {" << shown.key << ", " << shown.state << "}";
}

inline constexpr std::uint32_t untouched = 0xA5A5A5A5;

/** No key, and nothing stored. */
inline constexpr taken_key no_key{0, untouched, untouched};

inline taken_key key_from(int (*reader)(kt_key_event*))
{
    kt_key_event room{untouched, untouched};
    const int result = reader(&room);
    return {result, room.key, room.state};
}

inline taken_key pressed(std::uint32_t key)
{
    return {8, key, 1};
}

inline taken_key released(std::uint32_t key)
{
    return {8, key, 0};
}

} // namespace kt::tests
