/** The 16-bit frame check sequence of PPP frames: x^16 + x^12 + x^5 + 1, least significant bit first. */
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace kt::terminal {

inline constexpr std::uint16_t fcs16_start = 0xFFFF;
inline constexpr std::uint16_t fcs16_good = 0xF0B8; /**< What a whole frame leaves, its check sequence included. */

namespace detail {

constexpr std::array<std::uint16_t, 256> fcs16_table()
{
    std::array<std::uint16_t, 256> table{};
    for (unsigned at = 0; at < 256; ++at) {
        unsigned value = at;
        for (int bit = 0; bit < 8; ++bit)
            value = (value & 1) != 0 ? (value >> 1) ^ 0x8408 : value >> 1;
        table[at] = static_cast<std::uint16_t>(value);
    }
    return table;
}

inline constexpr std::array<std::uint16_t, 256> fcs16_steps = fcs16_table();

} // namespace detail

/** Goes on from @p value; the sequence that is sent is the complement of the last value, low byte first. */
constexpr std::uint16_t fcs16(std::string_view bytes, std::uint16_t value = fcs16_start)
{
    for (const char byte : bytes)
        value = static_cast<std::uint16_t>((value >> 8) ^
                                           detail::fcs16_steps[(value ^ static_cast<unsigned char>(byte)) & 0xFF]);
    return value;
}

} // namespace kt::terminal
