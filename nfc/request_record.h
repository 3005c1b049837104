// The record through which every request of the reader's driver passes, as the driver lays it out.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace kt::nfc {

struct request_record {
    static constexpr std::size_t capacity = 512;

    std::uint8_t transmit[capacity];
    std::uint32_t transmit_length; // some requests reuse it as a parameter
    std::uint8_t receive[capacity];
    std::uint32_t receive_length; // likewise
    std::uint32_t parameter;
    std::uint8_t unused[128];
};

/** What the request that configures card emulation lays over the record; the record's last four bytes stay. */
struct emulation_record {
    static constexpr std::size_t header_size = 128;
    static constexpr std::size_t block_size = 4;
    static constexpr std::size_t most_blocks = 256;

    std::uint8_t header[header_size];
    std::int32_t header_length;
    std::uint8_t blocks[most_blocks * block_size];
    std::uint32_t block_count;
};

static_assert(std::endian::native == std::endian::little, "the driver's integers are little-endian");
static_assert(sizeof(request_record) == 1164);
static_assert(offsetof(request_record, transmit_length) == 512);
static_assert(offsetof(request_record, receive) == 516);
static_assert(offsetof(request_record, receive_length) == 1028);
static_assert(offsetof(request_record, parameter) == 1032);
static_assert(offsetof(request_record, unused) == 1036);

static_assert(sizeof(emulation_record) == 1160);
static_assert(offsetof(emulation_record, header_length) == 128);
static_assert(offsetof(emulation_record, blocks) == 132);
static_assert(offsetof(emulation_record, block_count) == 1156);

} // namespace kt::nfc
