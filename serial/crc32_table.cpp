// Makes the tables of CRC-32 while compiling, so that they lie in read-only data.
#include "serial/crc32_table.h"

#include "serial/crc32_polynomial.h"

namespace kt {

namespace {

constexpr crc32_table_set made_tables() noexcept
{
    crc32_table_set made = {};
    for (unsigned slice = 0; slice < crc32_slices; ++slice) {
        for (std::uint32_t byte = 0; byte < 256; ++byte)
            made.of[slice][byte] = times_power_of_x(byte, 8 * (slice + 1));
    }
    return made;
}

} // namespace

alignas(1024) constinit const crc32_table_set crc32_tables = made_tables();

} // namespace kt
