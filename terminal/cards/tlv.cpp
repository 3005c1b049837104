/** Writes and reads the data objects of chip cards. */
#include "terminal/cards/tlv.h"

#include "terminal/cards/card_bytes.h"

#include <stdexcept>

namespace kt::terminal {

namespace {

constexpr std::size_t longest_tag = 4;

void append(std::string& bytes, std::size_t value)
{
    bytes += static_cast<char>(value & 0xFF);
}

/** Takes a tag off the begin; nothing: it is not whole. */
std::optional<std::uint32_t> take_tag(std::string_view& bytes)
{
    std::uint32_t tag = 0;
    for (std::size_t i = 0; i < bytes.size() && i < longest_tag; i++) {
        const std::uint8_t byte = byte_at(bytes, i);
        tag = tag << 8 | byte;
        const bool goes_on = i == 0 ? (byte & 0x1F) == 0x1F : (byte & 0x80) != 0;
        if (!goes_on) {
            bytes.remove_prefix(i + 1);
            return tag;
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> take_length(std::string_view& bytes)
{
    if (bytes.empty())
        return std::nullopt;
    std::size_t length = byte_at(bytes, 0);
    bytes.remove_prefix(1);
    if (length < 0x80)
        return length;
    const std::size_t count = length & 0x7F; // of the bytes that tell it
    if (count == 0 || count > 2 || bytes.size() < count)
        return std::nullopt;
    length = 0;
    for (std::size_t i = 0; i < count; i++)
        length = length << 8 | byte_at(bytes, i);
    bytes.remove_prefix(count);
    return length;
}

} // namespace

std::string tlv(std::uint32_t tag, std::string_view value)
{
    if (value.size() > 0xFFFF)
        throw std::length_error("a data object of more than 65535 bytes");
    std::string object;
    for (unsigned shift = 24; shift > 0; shift -= 8)
        if (tag >> shift != 0)
            append(object, tag >> shift);
    append(object, tag);
    if (value.size() > 0xFF) {
        append(object, 0x82);
        append(object, value.size() >> 8);
    } else if (value.size() > 0x7F) {
        append(object, 0x81);
    }
    append(object, value.size());
    return object.append(value);
}

std::optional<ber_tlv> first_tlv(std::string_view bytes)
{
    const auto tag = take_tag(bytes);
    if (!tag)
        return std::nullopt;
    const auto length = take_length(bytes);
    if (!length || *length > bytes.size())
        return std::nullopt;
    return ber_tlv{*tag, bytes.substr(0, *length), bytes.substr(*length)};
}

bool is_tlv_list(std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto object = first_tlv(bytes);
        if (!object)
            return false;
        bytes = object->rest;
    }
    return true;
}

std::optional<std::size_t> asked_by_dol(std::string_view dol)
{
    std::size_t sum = 0;
    while (!dol.empty()) {
        if (!take_tag(dol) || dol.empty())
            return std::nullopt;
        sum += byte_at(dol, 0);
        dol.remove_prefix(1);
    }
    return sum;
}

} // namespace kt::terminal
