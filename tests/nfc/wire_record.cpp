/** Numbers and bytes into their places, and two records held against each other. */
#include "tests/nfc/wire_record.h"

namespace kt::tests {

namespace {

constexpr unsigned bits_in_byte = 8;

std::string digits(char byte)
{
    const auto value = static_cast<unsigned char>(byte);
    return {"0123456789ABCDEF"[value >> 4], "0123456789ABCDEF"[value & 0xF]};
}

} // namespace

wire_record wire_record::pattern(unsigned seed)
{
    wire_record made;
    for (unsigned i = 0; i < size; ++i)
        made.bytes[i] = static_cast<char>(i * 7 + i / 256 * 13 + seed * 31 + 1);
    return made;
}

wire_record& wire_record::put(std::size_t offset, const void* data, std::size_t count)
{
    if (count != 0)
        bytes.replace(offset, count, static_cast<const char*>(data), count);
    return *this;
}

wire_record& wire_record::put_word(std::size_t offset, std::uint32_t word)
{
    for (std::size_t i = 0; i < sizeof word; ++i)
        bytes.at(offset + i) = static_cast<char>(word >> (bits_in_byte * i));
    return *this;
}

std::uint32_t wire_record::word_at(std::size_t offset) const
{
    std::uint32_t word = 0;
    for (std::size_t i = sizeof word; i-- > 0;)
        word = word << bits_in_byte | static_cast<unsigned char>(bytes.at(offset + i));
    return word;
}

std::string difference(std::string_view seen, std::string_view expected)
{
    if (seen.size() != expected.size())
        return std::to_string(seen.size()) + " bytes for " + std::to_string(expected.size());
    std::string text;
    int told = 0;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        if (seen[i] == expected[i])
            continue;
        if (++told > 8)
            return text + "...";
        text += std::to_string(i) + ": " + digits(seen[i]) + " for " + digits(expected[i]) + ", ";
    }
    return text;
}

std::string hex(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes)
        text += digits(byte);
    return text;
}

} // namespace kt::tests
