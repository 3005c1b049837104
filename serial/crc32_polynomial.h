// Arithmetic of CRC-32's polynomials while compiling; a bit-reversed number has the highest power in its lowest bit.
#pragma once

#include <cstdint>

namespace kt {

/** The polynomial of IEEE 802.3 without its x^32, bit-reversed. */
inline constexpr std::uint32_t crc32_polynomial = 0xEDB88320;

/** Multiplies a bit-reversed polynomial by a power of x, modulo the polynomial. */
constexpr std::uint32_t times_power_of_x(std::uint32_t value, unsigned power)
{
    for (; power > 0; --power)
        value = (value >> 1) ^ ((value & 1) != 0 ? crc32_polynomial : 0);
    return value;
}

/** A power of x modulo the polynomial, bit-reversed. */
constexpr std::uint32_t power_of_x(unsigned power)
{
    return times_power_of_x(0x80000000, power);
}

/** The whole polynomial, 33 bits, bit-reversed. */
constexpr std::uint64_t whole_crc32_polynomial()
{
    return std::uint64_t{crc32_polynomial} << 1 | 1;
}

/** x^64 divided by the polynomial: the 33 bits of the quotient, bit-reversed. */
constexpr std::uint64_t reciprocal_of_crc32_polynomial()
{
    std::uint64_t quotient = 1; // x^32; the next power's bit lies one higher
    std::uint32_t remainder = crc32_polynomial;
    for (unsigned bit = 1; bit <= 32; ++bit) {
        if ((remainder & 1) != 0)
            quotient |= std::uint64_t{1} << bit;
        remainder = times_power_of_x(remainder, 1);
    }
    return quotient;
}

} // namespace kt
