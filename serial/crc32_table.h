// The constant tables of CRC-32.
#pragma once

#include <cstdint>

namespace kt {

/**
 * Bytes taken in one step, each by a table of its own. The product's small data cache has room for four tables; a desk
 * has room for as many as it can look up while it waits for the step before.
 */
#if defined(__x86_64__)
inline constexpr unsigned crc32_slices = 20;
#elif defined(__i386__)
inline constexpr unsigned crc32_slices = 8;
#else
inline constexpr unsigned crc32_slices = 4;
#endif

struct crc32_table_set {
    /** of[k] tells what a byte makes of the checksum once k more bytes have followed it. */
    std::uint32_t of[crc32_slices][256];
};

/** At an address whose last 10 bits are 0: a byte, times 4, takes their place. */
alignas(1024) extern const crc32_table_set crc32_tables;

/** The plain table, byte by byte. */
inline constexpr const std::uint32_t (&kt_crc32tab)[256] = crc32_tables.of[0];

} // namespace kt
