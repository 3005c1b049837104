/** Numbers of four bytes in options and echoes, most significant first. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kt::terminal {

inline std::string number_bytes(std::uint32_t value)
{
    std::string bytes;
    for (const unsigned shift : {24u, 16u, 8u, 0u})
        bytes += static_cast<char>((value >> shift) & 0xFF);
    return bytes;
}

/** Of exactly four bytes; 0 for anything else. */
inline std::uint32_t number_in(std::string_view bytes)
{
    if (bytes.size() != 4)
        return 0;
    std::uint32_t value = 0;
    for (const char byte : bytes)
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

} // namespace kt::terminal
