/** Blocks and trailers from a card's file and back; what is as delivered is not written. */
#include "terminal/cards/classic_memory.h"

#include <cstdint>
#include <map>
#include <set>
#include <stdexcept>

namespace kt::terminal {

namespace {

constexpr const char* delivered_key = "\xFF\xFF\xFF\xFF\xFF\xFF";
constexpr const char* delivered_bits = "\xFF\x07\x80";
constexpr const char* delivered_user_byte = "\x69";

std::string delivered_trailer()
{
    return std::string(delivered_key) + delivered_bits + delivered_user_byte + delivered_key;
}

} // namespace

classic_memory::classic_memory(const card_file& file) : uid_(file.bytes("uid").value_or("\x3A\x5C\x10\x7E"))
{
    if (uid_.size() != 4 && uid_.size() != 7)
        throw std::invalid_argument("a classic card's \"uid\" must be 4 or 7 bytes in hexadecimal digits");
    if (uid_.size() == 4 && uid_[0] == '\x88')
        throw std::invalid_argument("a \"uid\" of 4 bytes must not begin with 88, which announces a longer one");
    for (unsigned number = 0; number < block_count; ++number)
        blocks_.at(number) = is_trailer(number) ? delivered_trailer() : std::string(block_size, '\0');
    blocks_[0] = manufacturer_block();
    read_blocks(file);
    read_sectors(file);
}

/** UID (of four bytes with its check byte), SAK, ATQA; the rest is the manufacturer's. */
std::string classic_memory::manufacturer_block() const
{
    std::string block = uid_;
    if (uid_.size() == 4) {
        unsigned check = 0;
        for (const char byte : uid_)
            check ^= static_cast<std::uint8_t>(byte);
        block += static_cast<char>(check);
    }
    block += '\x08';
    block += uid_.size() == 4 ? '\x04' : '\x44';
    block.resize(block_size);
    return block;
}

void classic_memory::read_blocks(const card_file& file)
{
    for (auto& [number, bytes] : file.blocks("blocks", block_size, block_count)) {
        if (is_trailer(number))
            throw std::invalid_argument("a classic card's block " + std::to_string(number) +
                                        " is a trailer: its keys and access bits stand in \"sectors\"");
        const std::size_t fixed = uid_.size() == 4 ? 5 : 7; // the check byte must be right: readers look at it
        if (number == 0 && bytes.compare(0, fixed, blocks_[0], 0, fixed) != 0)
            throw std::invalid_argument("a classic card's block 0 must begin with its \"uid\", of 4 bytes followed by "
                                        "their exclusive or");
        blocks_.at(number) = bytes;
    }
}

void classic_memory::read_sectors(const card_file& file)
{
    std::set<std::uint32_t> seen;
    for (const card_file& each : file.list("sectors")) {
        const std::uint32_t sector = each.number("sector", 0, sector_count - 1);
        if (!each.has("sector") || !seen.insert(sector).second)
            throw std::invalid_argument("each of a classic card's \"sectors\" has a \"sector\" of its own, 0 to 15");
        const std::string key_a = each.bytes_like("key_a", delivered_key);
        const std::string bits = each.bytes_like("access", delivered_bits);
        const std::string user_byte = each.bytes_like("user_byte", delivered_user_byte);
        const std::string key_b = each.bytes_like("key_b", delivered_key);
        each.all_known();
        block(sector * 4 + 3) = key_a + bits + user_byte + key_b;
    }
}

void classic_memory::put_into(card_file& file) const
{
    std::map<std::uint32_t, std::string> changed;
    std::vector<card_file> sectors;
    for (unsigned number = 0; number < block_count; ++number) {
        const std::string& bytes = blocks_.at(number);
        if (is_trailer(number) && bytes != delivered_trailer()) {
            card_file sector;
            sector.put_number("sector", sector_of(number))
                .put_bytes("key_a", bytes.substr(key_a_at, key_size))
                .put_bytes("access", bytes.substr(access_at, user_byte_at - access_at))
                .put_bytes("user_byte", bytes.substr(user_byte_at, key_b_at - user_byte_at))
                .put_bytes("key_b", bytes.substr(key_b_at, key_size));
            sectors.push_back(std::move(sector));
        } else if (!is_trailer(number) &&
                   bytes != (number == 0 ? manufacturer_block() : std::string(block_size, '\0'))) {
            changed[number] = bytes;
        }
    }
    file.put_bytes("uid", uid_).put_list("sectors", sectors).put_blocks("blocks", changed);
}

std::string_view classic_memory::key(unsigned sector, classic_key which) const
{
    return std::string_view(trailer(sector)).substr(which == classic_key::a ? key_a_at : key_b_at, key_size);
}

} // namespace kt::terminal
