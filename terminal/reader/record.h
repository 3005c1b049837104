/** The records that a program and the reader's driver exchange, byte for byte as the driver has them. */
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace kt::terminal {

static_assert(std::endian::native == std::endian::little, "the driver's numbers are little-endian");

/** Of every request. The numbers' size field says 4, yet all of it goes both ways. */
struct reader_record {
    static constexpr std::size_t most = 512;

    unsigned char transmit[most];
    std::uint32_t transmit_length;
    unsigned char receive[most];
    std::uint32_t receive_length;
    std::uint32_t parameter;
    unsigned char unused[128];
};
static_assert(sizeof(reader_record) == 1164);
static_assert(offsetof(reader_record, transmit_length) == 512 && offsetof(reader_record, receive) == 516);
static_assert(offsetof(reader_record, receive_length) == 1028 && offsetof(reader_record, parameter) == 1032);
static_assert(offsetof(reader_record, unused) == 1036);

/** Of emulate_config, at the beginning of the same 1164 bytes. */
struct emulation_record {
    static constexpr std::size_t block_size = 4;
    static constexpr std::uint32_t most_header = 128;
    static constexpr std::uint32_t most_blocks = 256;

    unsigned char header[most_header];
    std::uint32_t header_length;
    unsigned char blocks[most_blocks * block_size];
    std::uint32_t block_count;
};
static_assert(sizeof(emulation_record) == 1160 && sizeof(emulation_record) <= sizeof(reader_record));
static_assert(offsetof(emulation_record, header_length) == 128 && offsetof(emulation_record, blocks) == 132);
static_assert(offsetof(emulation_record, block_count) == 1156);

} // namespace kt::terminal
