/** Writing and locking pages. */
#include "terminal/cards/page_memory.h"

#include <algorithm>

namespace kt::terminal {

namespace {

constexpr std::uint32_t static_lock_bits = 0xFFFF0000U; // bytes 2 and 3; the two before belong to the UID

std::uint32_t check_byte(std::uint32_t start, std::string_view bytes)
{
    for (const char c : bytes)
        start ^= static_cast<unsigned char>(c);
    return start;
}

} // namespace

page_memory::page_memory(std::string_view uid, unsigned pages) : pages_(pages)
{
    constexpr std::uint32_t cascade_tag = 0x88;
    constexpr std::uint32_t internal = 0x48;
    pages_[0].word = word_of(uid.substr(0, 3)) | check_byte(cascade_tag, uid.substr(0, 3)) << 24U;
    pages_[1].word = word_of(uid.substr(3));
    pages_[static_lock_page].word = check_byte(0, uid.substr(3)) | internal << 8U;
    one_way(static_lock_page, static_lock_bits);
    one_way(one_time_page, ~0U);

    // From bit 16 on: block-locking of page 3, of 4 to 9, of 10 to 15; then a lock for each page from 3 to 15.
    lock_by({static_lock_page, 19, one_time_page, one_time_page, 16});
    for (unsigned page = 4; page <= 15; ++page)
        lock_by({static_lock_page, page + 16, page, page, page < 10 ? 17U : 18U});
}

void page_memory::lock_by_groups(unsigned page, unsigned pages_each, unsigned last_user)
{
    constexpr unsigned first_freezing_bit = 16; // each of them freezes two locks
    std::uint32_t bits = 0;
    unsigned bit = 0;
    for (unsigned first = 16; first <= last_user; first += pages_each, ++bit) {
        const unsigned frozen_by = first_freezing_bit + bit / 2;
        lock_by({page, bit, first, std::min(first + pages_each - 1, last_user), frozen_by});
        bits |= 1U << bit | 1U << frozen_by;
    }
    one_way(page, bits);
    pages_[page].word = 0xBD000000U; // always, in the byte that is no lock
}

void page_memory::one_way(unsigned page, std::uint32_t bits)
{
    pages_[page].one_way = true;
    pages_[page].settable = bits;
}

bool page_memory::locked(unsigned page) const
{
    return std::any_of(locks_.begin(), locks_.end(), [&](const page_lock& each) {
        return page >= each.first && page <= each.last && is_set(each.page, each.bit);
    });
}

std::uint8_t page_memory::byte(unsigned page, unsigned index) const
{
    return static_cast<std::uint8_t>(pages_[page].word >> 8U * index);
}

std::string page_memory::bytes(unsigned page) const
{
    return bytes_of_word(pages_[page].word);
}

void page_memory::put(unsigned page, std::string_view bytes)
{
    content& each = pages_[page];
    each.word = (each.word & ~each.settable) | (word_of(bytes) & each.settable);
}

void page_memory::write(unsigned page, std::string_view bytes)
{
    content& each = pages_[page];
    if (!each.one_way)
        return put(page, bytes);
    std::uint32_t set = word_of(bytes) & each.settable;
    for (const page_lock& lock : locks_) // a block-locking bit of this same write freezes from the next one on
        if (lock.page == page && is_set(page, lock.frozen_by))
            set &= ~(1U << lock.bit);
    each.word |= set;
}

std::uint32_t word_of(std::string_view bytes)
{
    std::uint32_t word = 0;
    for (unsigned at = 0; at < bytes.size() && at < page_memory::page_size; ++at)
        word |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at])) << 8U * at;
    return word;
}

std::string bytes_of_word(std::uint32_t word, std::size_t count)
{
    std::string bytes;
    for (unsigned at = 0; at < count; ++at)
        bytes += static_cast<char>(word >> 8U * at & 0xFFU);
    return bytes;
}

} // namespace kt::terminal
