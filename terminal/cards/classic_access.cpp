/** The two tables of access conditions, and where a trailer keeps their bits. */
#include "terminal/cards/classic_access.h"

namespace kt::terminal {

namespace {

enum who : std::uint8_t { never = 0, a = 1, b = 2, ab = a | b };

struct data_row {
    who read, write, increment, decrement;
};

constexpr data_row data_rows[8] = {
    {ab, ab, ab, ab},             // 000, as delivered
    {ab, never, never, ab},       // 001, a value that only falls
    {ab, never, never, never},    // 010
    {b, b, never, never},         // 011
    {ab, b, never, never},        // 100
    {b, never, never, never},     // 101
    {ab, b, b, ab},               // 110, a value
    {never, never, never, never}, // 111
};

// Key A is never read, and who may do anything with the trailer may read its access bits.
struct trailer_row {
    who write_key_a, write_bits, read_key_b, write_key_b;
};

constexpr trailer_row trailer_rows[8] = {
    {a, never, a, a},             // 000
    {a, a, a, a},                 // 001, as delivered
    {never, never, a, never},     // 010
    {b, b, never, b},             // 011
    {b, never, never, b},         // 100
    {never, b, never, never},     // 101
    {never, never, never, never}, // 110
    {never, never, never, never}, // 111
};

bool among(who allowed, classic_key key)
{
    return (allowed & (key == classic_key::a ? a : b)) != 0;
}

} // namespace

std::optional<classic_access> classic_access::of(std::string_view trailer)
{
    // Byte 6: C2 and C1 inverted; byte 7: C1, C3 inverted; byte 8: C3, C2. A half byte holds its bit of blocks 3 to 0.
    const auto half = [trailer](std::size_t byte, unsigned shift) {
        return static_cast<unsigned>(static_cast<std::uint8_t>(trailer[byte])) >> shift & 0xFU;
    };
    const unsigned c1 = half(7, 4);
    const unsigned c2 = half(8, 0);
    const unsigned c3 = half(8, 4);
    if ((half(6, 0) ^ c1) != 0xF || (half(6, 4) ^ c2) != 0xF || (half(7, 0) ^ c3) != 0xF)
        return std::nullopt;
    classic_access access;
    for (unsigned block = 0; block < 4; ++block) {
        const auto bit = [block](unsigned of_all) { return of_all >> block & 1U; };
        access.conditions_.at(block) = static_cast<std::uint8_t>(bit(c1) << 2 | bit(c2) << 1 | bit(c3));
    }
    return access;
}

bool classic_access::key_b_readable() const
{
    return trailer_rows[conditions_[3]].read_key_b != never;
}

bool classic_access::allows(data_use use, unsigned block, classic_key key) const
{
    const data_row& row = data_rows[conditions_.at(block)];
    const who allowed = use == data_use::read        ? row.read
                        : use == data_use::write     ? row.write
                        : use == data_use::increment ? row.increment
                                                     : row.decrement;
    return usable(key) && among(allowed, key);
}

bool classic_access::may_write(trailer_part part, classic_key key) const
{
    const trailer_row& row = trailer_rows[conditions_[3]];
    const who allowed = part == trailer_part::key_a         ? row.write_key_a
                        : part == trailer_part::access_bits ? row.write_bits
                                                            : row.write_key_b;
    return usable(key) && among(allowed, key);
}

} // namespace kt::terminal
