// The decimal number at the start of a kernel attribute's text.
#pragma once

#include <cstdint>
#include <limits>

namespace kt {

/** Skips white space and one sign. True: it was a minus. */
inline bool skip_to_digits(const char*& text)
{
    while (*text == ' ' || (*text >= '\t' && *text <= '\r'))
        ++text;
    const bool negative = *text == '-';
    if (negative || *text == '+')
        ++text;
    return negative;
}

/**
 * Gives what `std::istringstream(text) >> number` leaves in an unsigned number that was 0, without a stream: white
 * space is skipped, a sign is accepted ("-1" is 4294967295), a number that does not fit is 4294967295 under either
 * sign, the first other character ends it, and a text without a number is 0.
 */
inline std::uint32_t decimal_value(const char* text)
{
    constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();

    const bool negative = skip_to_digits(text);
    std::uint32_t value = 0;
    for (;; ++text) {
        const std::uint32_t digit = static_cast<std::uint32_t>(static_cast<unsigned char>(*text)) - '0';
        if (digit > 9)
            break;
        if (value > most / 10 || (value == most / 10 && digit > most % 10))
            return most;
        value = value * 10 + digit;
    }
    return negative ? 0 - value : value;
}

/** The same for a signed number: one that does not fit becomes the nearest that does. */
inline std::int32_t signed_decimal_value(const char* text)
{
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();

    const bool negative = skip_to_digits(text);
    if (*text < '0' || *text > '9')
        return 0;
    const std::uint32_t magnitude = decimal_value(text);
    if (negative)
        return magnitude > static_cast<std::uint32_t>(most) ? least : -static_cast<std::int32_t>(magnitude);
    return magnitude > static_cast<std::uint32_t>(most) ? most : static_cast<std::int32_t>(magnitude);
}

} // namespace kt
