// The ways to reckon CRC-32: one for every processor, faster ones for those that multiply without carries.
#pragma once

#include <cstdint>

namespace kt {

/** Gives the checksum of some bytes; there may be none, and they lie at any address. */
using crc32_way = std::uint32_t(const std::uint8_t* data, unsigned length);

/** The register before the first byte; the checksum is its last state, inverted. */
inline constexpr std::uint32_t crc32_start = 0xFFFFFFFF;

crc32_way crc32_by_table;

#if defined(__x86_64__) || defined(__i386__)

/** 16 bytes at a time; only where processor_folds(). */
crc32_way crc32_by_folding;
bool processor_folds();

/** 64 bytes at a time; only where processor_folds_wide(). */
crc32_way crc32_by_wide_folding;
bool processor_folds_wide();

#endif

} // namespace kt
