/** A value block's sixteen bytes: value, inverted, value, then address, inverted, address, inverted. */
#include "terminal/cards/value_block.h"

namespace kt::terminal {

std::optional<value_block> value_block::of(std::string_view block)
{
    if (block.size() != 16)
        return std::nullopt;
    std::uint32_t value = 0;
    for (unsigned i = 0; i < 4; ++i)
        value |= std::uint32_t{static_cast<std::uint8_t>(block[i])} << (8 * i);
    const value_block read = {static_cast<std::int32_t>(value), static_cast<std::uint8_t>(block[12])};
    if (read.bytes() != block)
        return std::nullopt;
    return read;
}

std::string value_block::bytes() const
{
    std::string plain;
    std::string inverted;
    for (unsigned i = 0; i < 4; ++i) {
        const auto byte = static_cast<std::uint8_t>(static_cast<std::uint32_t>(value) >> (8 * i));
        plain += static_cast<char>(byte);
        inverted += static_cast<char>(~byte);
    }
    const char kept = static_cast<char>(address);
    const char opposite = static_cast<char>(~address);
    return plain + inverted + plain + kept + opposite + kept + opposite;
}

} // namespace kt::terminal
