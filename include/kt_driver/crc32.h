/**
 * @file
 * @brief Checksum over serial frames.
 */
#ifndef KT_DRIVER_CRC32_H
#define KT_DRIVER_CRC32_H

#include <kt_driver/api.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief CRC-32 of IEEE 802.3, as Ethernet, gzip and zlib's crc32() have it.
 *
 * Reflected, polynomial 0xEDB88320, started and ended with all bits inverted: the nine bytes "123456789" have the
 * checksum 0xCBF43926.
 *
 * @param data    @p length bytes, at any address.
 * @param length  In bytes; of none the checksum is 0.
 * @return The checksum; 0 also when it is refused.
 * @errno EINVAL  @p data is null and @p length is not 0
 * @note Threads: any.
 */
KT_API uint32_t kt_crc32(const void *data, unsigned length);

#ifdef __cplusplus
}
#endif

#endif
