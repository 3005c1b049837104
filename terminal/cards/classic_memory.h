/** The sixty-four blocks of a Mifare Classic 1K, and how a card's file describes them. */
#pragma once

#include "terminal/cards/card_file.h"
#include "terminal/cards/classic_access.h"

#include <array>
#include <string>
#include <string_view>

namespace kt::terminal {

class classic_memory {
public:
    static constexpr unsigned block_count = 64;
    static constexpr unsigned sector_count = 16;
    static constexpr unsigned block_size = 16;
    static constexpr unsigned key_size = 6;

    // Where the parts of a trailer begin; the user byte is written with the access bits.
    static constexpr unsigned key_a_at = 0;
    static constexpr unsigned access_at = 6;
    static constexpr unsigned user_byte_at = 9;
    static constexpr unsigned key_b_at = 10;

    static unsigned sector_of(unsigned block) { return block / 4; }
    static bool is_trailer(unsigned block) { return block % 4 == 3; }

    /** Throws std::invalid_argument with a sentence. What the file leaves out is as delivered: zeros, keys FF. */
    explicit classic_memory(const card_file& file);
    void put_into(card_file& file) const;

    const std::string& uid() const { return uid_; }
    std::string& block(unsigned number) { return blocks_.at(number); }
    const std::string& trailer(unsigned sector) const { return blocks_.at(sector * 4 + 3); }
    std::string_view key(unsigned sector, classic_key which) const;

private:
    void read_blocks(const card_file& file);
    void read_sectors(const card_file& file);
    std::string manufacturer_block() const;

    std::string uid_;
    std::array<std::string, block_count> blocks_;
};

} // namespace kt::terminal
