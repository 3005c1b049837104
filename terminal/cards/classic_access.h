/** What a sector trailer's access bits let each key of Mifare Classic do. */
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace kt::terminal {

enum class classic_key : std::uint8_t { a, b };
enum class data_use : std::uint8_t { read, write, increment, decrement }; /**< Decrement: transfer and restore too. */
enum class trailer_part : std::uint8_t { key_a, access_bits, key_b };     /**< The user's byte goes with the bits. */

class classic_access {
public:
    /** Of a trailer's 16 bytes; nothing when an inverted copy does not fit, and then the sector is blocked for good. */
    static std::optional<classic_access> of(std::string_view trailer);

    /** A key B that can be read is data, not a key: who authenticates with it may do nothing. */
    bool key_b_readable() const;
    bool usable(classic_key key) const { return key == classic_key::a || !key_b_readable(); }

    /** @param block 0 to 2, within the sector. */
    bool allows(data_use use, unsigned block, classic_key key) const;
    bool may_write(trailer_part part, classic_key key) const;

private:
    std::array<std::uint8_t, 4> conditions_{}; // of each block: C1 C2 C3 as a number of three bits
};

} // namespace kt::terminal
