// CRC-32 by tables: some words in one step, each of their bytes looked up in the table of its place.
#include "serial/crc32_table.h"
#include "serial/crc32_ways.h"

#include <bit>
#include <cstring>
#include <memory>

static_assert(std::endian::native == std::endian::little, "a word's lowest byte is the first in memory");

namespace kt {

namespace {

using word = std::uint32_t;
constexpr unsigned words_in_step = crc32_slices / sizeof(word);
constexpr unsigned steps_in_round = words_in_step == 1 ? 8 : 1; // of short steps, the loop itself would be a good part

/** One table, asked for the lowest byte of words. */
template <unsigned Number>
class table_reader {
public:
#if defined(__mips__)
    // The entry's address is the table's with the byte put in: one instruction of this processor, instead of three that
    // cut the byte out, scale it and add it.
    word operator[](word byte)
    {
        struct {
            word in_entry : 2, byte : 8, table : 22;
        } address;
        static_assert(sizeof address == sizeof table_);
        std::memcpy(&address, &table_, sizeof address);
        address.byte = byte & 0xFF;
        std::memcpy(&table_, &address, sizeof address);
        return table_->of[Number][0];
    }

private:
    const crc32_table_set* table_ = &crc32_tables;
#else
    word operator[](word byte) const
    {
        return crc32_tables.of[Number][byte & 0xFF];
    }
#endif
};

/** The four tables for the bytes of a word that has WordsBehind more behind it in its step. */
template <unsigned WordsBehind>
class word_reader {
public:
    word operator[](word bytes)
    {
        // In pairs, so that the second need not wait for the first.
        const word early = first_[bytes] ^ second_[bytes >> 8];
        const word late = third_[bytes >> 16] ^ fourth_[bytes >> 24];
        return early ^ late;
    }

private:
    table_reader<4 * WordsBehind + 3> first_;
    table_reader<4 * WordsBehind + 2> second_;
    table_reader<4 * WordsBehind + 1> third_;
    table_reader<4 * WordsBehind> fourth_;
};

word word_at(const std::uint8_t* data)
{
    word bytes;
    std::memcpy(&bytes, std::assume_aligned<sizeof bytes>(data), sizeof bytes);
    return bytes;
}

/** What takes a number of words at once. */
template <unsigned Words>
class step {
public:
    word operator()(word crc, const std::uint8_t* data)
    {
        // The last words first: only the first one has to wait for the step before.
        const word behind = behind_(0, data + sizeof(word));
        return behind ^ first_[crc ^ word_at(data)];
    }

private:
    step<Words - 1> behind_;
    word_reader<Words - 1> first_;
};

template <>
class step<0> {
public:
    word operator()(word, const std::uint8_t*) const { return 0; }
};

/** The checksum's register, and the bytes that it has not been carried over yet. */
class remaining_bytes {
public:
    remaining_bytes(const std::uint8_t* data, unsigned length) : data_(data), length_(length) {}

    word checksum() const { return ~crc_; }
    bool empty() const { return length_ == 0; }
    bool word_begins() const { return reinterpret_cast<std::uintptr_t>(data_) % sizeof(word) == 0; }

    void take_byte()
    {
        crc_ = kt_crc32tab[(crc_ ^ *data_) & 0xFF] ^ (crc_ >> 8);
        data_ += 1;
        length_ -= 1;
    }

    /** Takes as many rounds of steps as there are. */
    template <unsigned Words, unsigned Steps>
    void take_words()
    {
        constexpr unsigned step_size = Words * sizeof(word);
        step<Words> next;
        for (; length_ >= Steps * step_size; length_ -= Steps * step_size) {
#pragma GCC unroll 8
            for (unsigned taken = 0; taken < Steps; ++taken, data_ += step_size)
                crc_ = next(crc_, data_);
        }
    }

private:
    word crc_ = crc32_start;
    const std::uint8_t* data_;
    unsigned length_;
};

} // namespace

std::uint32_t crc32_by_table(const std::uint8_t* data, unsigned length)
{
    remaining_bytes bytes(data, length);
    while (!bytes.empty() && !bytes.word_begins())
        bytes.take_byte();
    bytes.take_words<words_in_step, steps_in_round>();
    bytes.take_words<1, 1>();
    while (!bytes.empty())
        bytes.take_byte();
    return bytes.checksum();
}

} // namespace kt
