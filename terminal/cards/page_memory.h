/** The pages of a memory card: what locks each of them, and what a write makes of it. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/** One lock bit. Bits are counted through a page's bytes, from the lowest of byte 0 to the highest of byte 3. */
struct page_lock {
    unsigned page; /**< Where the bit stands. */
    unsigned bit;
    unsigned first; /**< What it locks. */
    unsigned last;
    unsigned frozen_by; /**< The bit of the same page that keeps this one from being set: its block-locking bit. */
};

/** A page is a word whose lowest byte is the page's first. */
class page_memory {
public:
    static constexpr std::size_t page_size = 4;
    static constexpr unsigned static_lock_page = 2;
    static constexpr unsigned one_time_page = 3; /**< One-time programmable; of a tag its capability container. */

    /** Pages 0 to 2 hold the UID of 7 bytes with its check bytes; locks of pages 3 to 15 stand in page 2. */
    page_memory(std::string_view uid, unsigned pages);

    /** The dynamic locks of pages 16 to @p last_user, @p pages_each to a bit, in the first three bytes of a page. */
    void lock_by_groups(unsigned page, unsigned pages_each, unsigned last_user);
    void lock_by(const page_lock& lock) { locks_.push_back(lock); }

    /** Other bits of this page stay as they are. */
    void settable(unsigned page, std::uint32_t bits) { pages_[page].settable = bits; }
    /** A write sets bits and clears none. */
    void one_way(unsigned page, std::uint32_t bits);

    unsigned count() const { return static_cast<unsigned>(pages_.size()); }
    bool locked(unsigned page) const;
    std::uint32_t word(unsigned page) const { return pages_[page].word; }
    std::uint8_t byte(unsigned page, unsigned index) const;
    std::string bytes(unsigned page) const;

    /** As the factory does, which no lock hinders. */
    void put(unsigned page, std::string_view bytes);
    /** As a card's own write does; the page is not locked. */
    void write(unsigned page, std::string_view bytes);

private:
    struct content {
        std::uint32_t word = 0;
        std::uint32_t settable = ~0U;
        bool one_way = false;
    };

    bool is_set(unsigned page, unsigned bit) const { return (pages_[page].word >> bit & 1U) != 0; }

    std::vector<content> pages_;
    std::vector<page_lock> locks_;
};

/** Of up to four bytes, the lowest first. */
std::uint32_t word_of(std::string_view bytes);
std::string bytes_of_word(std::uint32_t word, std::size_t count = page_memory::page_size);

} // namespace kt::terminal
