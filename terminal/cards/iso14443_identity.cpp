/** Reads and writes the identities of cards with ISO 14443-4. */
#include "terminal/cards/iso14443_identity.h"

#include "terminal/cards/card_bytes.h"

#include <bit>
#include <stdexcept>

namespace kt::terminal {

namespace {

using namespace std::string_literals;

constexpr std::uint8_t iso14443_4_in_sak = 0x20;
constexpr std::uint8_t uid_goes_on_in_sak = 0x04;
constexpr std::uint8_t iso14443_4_in_protocol = 0x01;
constexpr char atqb_begin = 0x50;

/** Its length byte counts itself; the second byte tells which of three interface bytes follow. */
bool is_ats(const std::string& bytes)
{
    if (bytes.empty() || bytes.size() != byte_at(bytes, 0))
        return false;
    if (bytes.size() == 1)
        return true;
    const auto interface_bytes = std::popcount(byte_at(bytes, 1) & 0x70U);
    return bytes.size() >= 2 + static_cast<std::size_t>(interface_bytes);
}

std::string usual_atqa(std::size_t uid_size)
{
    if (uid_size == 4)
        return "\x04\x00"s;
    return uid_size == 7 ? "\x44\x00"s : "\x84\x00"s;
}

card_identity type_a(const card_file& file)
{
    card_identity read;
    read.uid = file.bytes("uid").value_or("\x24\x14\x44\x03"s);
    if (read.uid.size() != 4 && read.uid.size() != 7 && read.uid.size() != 10)
        throw std::invalid_argument("a card's \"uid\" must be 4, 7 or 10 bytes in hexadecimal digits");
    if (read.uid.size() == 4 && read.uid[0] == '\x88')
        throw std::invalid_argument("a \"uid\" of 4 bytes must not begin with 88, which announces a longer one");
    const std::string atqa = file.bytes_like("atqa", usual_atqa(read.uid.size()));
    read.atqa = static_cast<std::uint16_t>(byte_at(atqa, 0) | byte_at(atqa, 1) << 8);
    read.sak = byte_at(file.bytes_like("sak", "\x20"s), 0);
    if ((read.sak & (iso14443_4_in_sak | uid_goes_on_in_sak)) != iso14443_4_in_sak)
        throw std::invalid_argument("the \"sak\" of a card with ISO 14443-4 must have bit 20h and not 04h");
    read.ats = file.bytes("ats").value_or("\x05\x78\x80\x70\x02"s);
    if (!is_ats(read.ats))
        throw std::invalid_argument("a card's \"ats\" must be as long as its first and second byte say");
    return read;
}

card_identity type_b(const card_file& file)
{
    card_identity read{.family = card_family::type_b};
    read.uid = file.bytes_like("pupi", "\x08\x14\x44\x03"s);
    const std::string application = file.bytes_like("application_data", std::string(4, '\0'));
    const std::string protocol = file.bytes("protocol_info").value_or("\x00\x81\x71"s);
    if (protocol.size() != 3 && protocol.size() != 4)
        throw std::invalid_argument("a card's \"protocol_info\" must be 3 or 4 bytes in hexadecimal digits");
    if ((byte_at(protocol, 1) & iso14443_4_in_protocol) == 0)
        throw std::invalid_argument(
            "the \"protocol_info\" of a card with ISO 14443-4 must have bit 01h in its second byte");
    read.atqb = atqb_begin + read.uid + application + protocol;
    read.attrib = file.bytes("attrib").value_or("\x00"s);
    if (read.attrib.empty())
        throw std::invalid_argument("a card's \"attrib\" must be at least 1 byte in hexadecimal digits");
    return read;
}

} // namespace

card_identity iso14443_identity(card_family family, const card_file& file)
{
    return family == card_family::type_b ? type_b(file) : type_a(file);
}

void put_iso14443_identity(const card_identity& identity, card_file& into)
{
    if (identity.family == card_family::type_b) {
        const std::string_view atqb = identity.atqb;
        into.put_bytes("pupi", atqb.substr(1, 4));
        into.put_bytes("application_data", atqb.substr(5, 4));
        into.put_bytes("protocol_info", atqb.substr(9));
        into.put_bytes("attrib", identity.attrib);
        return;
    }
    const char atqa[] = {static_cast<char>(identity.atqa & 0xFF), static_cast<char>(identity.atqa >> 8)};
    into.put_bytes("uid", identity.uid);
    into.put_bytes("atqa", {atqa, sizeof atqa});
    into.put_bytes("sak", std::string(1, static_cast<char>(identity.sak)));
    into.put_bytes("ats", identity.ats);
}

} // namespace kt::terminal
