/**
 * @file
 * @brief The contactless reader as a card: emulation of a card's memory, and host card emulation (HCE).
 *
 * What holds for every request, and the record that carries it, stands at @ref reader in nfc.h.
 */
#ifndef KT_DRIVER_NFC_EMULATION_H
#define KT_DRIVER_NFC_EMULATION_H

#include <kt_driver/api.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup card_emulation Card emulation
 * @{
 */

/**
 * @brief Begin. Request 0x4C.
 * @return The request's result.
 */
KT_API int kt_rfid_emulate_init(void);

/**
 * @brief Set what the emulated card holds. Request 0x4D.
 *
 * Lays a record of 1160 bytes over the shared one: 128 header bytes, the header's length at offset 128, 256 blocks of
 * 4 bytes at 132, their count at 1156; all that is not given is zero, and the last four bytes stay. So none of the
 * fields that later requests may keep has its former value. Prints "block_cap=<block_count>".
 *
 * @param header       The header; its meaning is the driver's.
 * @param header_len   Bytes of it, 0 to 128.
 * @param blocks       The blocks, one behind the other.
 * @param block_count  Blocks of 4 bytes, 0 to 256.
 * @return The request's result, 0 or more when it succeeded; 1: more than 128 header bytes or 256 blocks: prints
 *         "param error " without a line feed, and nothing else is done.
 * @errno EINVAL  (-1) none of these, but a negative @p header_len, or null data with a length; nothing is printed, the
 *                record is untouched
 */
KT_API int kt_rfid_emulate_config(const uint8_t *header, int header_len, const uint8_t *blocks, uint32_t block_count);

/**
 * @brief Answer an outside reader. Request 0x4E.
 * @return The request's result.
 */
KT_API int kt_rfid_emulate_process(void);

/**
 * @brief End. Request 0x4F.
 * @return The request's result.
 */
KT_API int kt_rfid_emulate_deinit(void);

/**
 * @brief Set the NDEF message that a phone will read. Request 0x56.
 * @param ndef  The message.
 * @param len   0 to 512; goes to the parameter, while the transmit length keeps the previous request's value.
 * @return The request's result.
 */
KT_API int kt_rfid_hce_set_ndef(const uint8_t *ndef, uint32_t len);

/**
 * @brief Begin host card emulation. Request 0x57.
 * @return The request's result.
 */
KT_API int kt_rfid_hce_open(void);

/**
 * @brief End it. Request 0x58.
 * @return The request's result.
 */
KT_API int kt_rfid_hce_close(void);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
