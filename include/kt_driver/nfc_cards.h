/**
 * @file
 * @brief Contactless cards by family: Mifare Classic, NTAG21x, Mifare Ultralight EV1 and C, FeliCa.
 *
 * What holds for every request, the sizes of outputs above all, and the record that carries it stand at @ref reader in
 * nfc.h. The driver frames the card commands; the library places their operands, and checks no more of them than that.
 * Each family has an open, which selects a card of that family inside the driver, and a close, which releases it.
 */
#ifndef KT_DRIVER_NFC_CARDS_H
#define KT_DRIVER_NFC_CARDS_H

#include <kt_driver/api.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup mifare_classic Mifare Classic
 * @{
 */

/**
 * @brief Select a card. Request 0x0A.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_open(void);

/**
 * @brief Release it. Request 0x0B.
 * @return 0, whatever the driver says
 */
KT_API int kt_rfid_mfcl_close(void);

/**
 * @brief The card's ATQA. Request 0x0C.
 * @return The first two received bytes as a little-endian number, whatever the receive length says; or the negative
 *         result.
 */
KT_API int kt_rfid_mfcl_atqa(void);

/**
 * @brief Give the driver the key for kt_rfid_mfcl_auth(). Request 0x0D.
 * @param key  6 bytes.
 * @return 0, whatever the driver says; -1: @p key is null (EINVAL)
 */
KT_API int kt_rfid_mfcl_setkey(const uint8_t *key);

/**
 * @brief Authenticate for the sector of a block. Request 0x0E.
 * @param key_type  Key A or B, as the driver numbers them; goes to transmit bytes 0 to 3.
 * @param block     Goes to transmit bytes 4 to 7.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_auth(uint32_t key_type, uint32_t block);

/**
 * @brief Read a block. Request 0x0F.
 * @param      block  Goes to the parameter.
 * @param[out] data   Always 16 bytes, whatever the receive length says; behind a shorter answer stand older ones.
 * @param[out] len    16; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_read(uint32_t block, uint8_t *data, uint32_t *len);

/**
 * @brief Write a block. Request 0x10.
 * @param block  Goes to the parameter.
 * @param data   What is transmitted: a block has 16 bytes.
 * @param len    How many bytes.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_write(uint32_t block, const uint8_t *data, uint32_t len);

/**
 * @brief Add to a value block, into the card's transfer buffer. Request 0x11.
 * @param block  Goes to the parameter.
 * @param value  Goes to transmit bytes 0 to 3, the lowest first.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_increment(uint32_t block, uint32_t value);

/**
 * @brief Subtract from a value block, into the card's transfer buffer. Request 0x12.
 * @param block  Goes to the parameter.
 * @param value  Goes to transmit bytes 0 to 3, the lowest first.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_decrement(uint32_t block, uint32_t value);

/**
 * @brief Write the transfer buffer to a block. Request 0x13.
 * @param block  Goes to the parameter.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_transfer(uint32_t block);

/**
 * @brief Read a value block into the transfer buffer. Request 0x14.
 * @param block  Goes to the parameter.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_restore(uint32_t block);

/** @} */

/**
 * @defgroup ntag21x NTAG213, NTAG215, NTAG216
 * @{
 */

/**
 * @brief Select a card. Request 0x28.
 * @return The request's result.
 */
KT_API int kt_rfid_ntag21x_open(void);

/**
 * @brief Release it. Request 0x29.
 * @return 0, whatever the driver says
 */
KT_API int kt_rfid_ntag21x_close(void);

/**
 * @brief GET_VERSION. Request 0x31.
 * @param[out] out  The version: a card gives 8 bytes.
 * @param[out] len  How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_ntag21x_getversion(uint8_t *out, uint32_t *len);

/**
 * @brief READ. Request 0x2A.
 * @param      page  The first page; goes to the parameter.
 * @param[out] out   The pages: a card gives four, 16 bytes.
 * @param[out] len   How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_ntag21x_read(uint32_t page, uint8_t *out, uint32_t *len);

/**
 * @brief FAST_READ. Request 0x2B.
 *
 * The driver takes the sum of both pages in the upper half of the parameter (what exceeds 16 bits is lost), not the two
 * side by side: pages 4 to 7 go as 0x000B0000.
 *
 * @param      start  The first page.
 * @param      end    The last page.
 * @param[out] out    The pages, 4 bytes each.
 * @param[out] len    How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_ntag21x_fast_read(uint32_t start, uint32_t end, uint8_t *out, uint32_t *len);

/**
 * @brief WRITE. Request 0x2C.
 * @param page  Goes to the parameter.
 * @param data  What is transmitted: a page has 4 bytes.
 * @param len   How many bytes.
 * @return The request's result.
 */
KT_API int kt_rfid_ntag21x_write(uint32_t page, const uint8_t *data, uint32_t len);

/**
 * @brief COMPATIBILITY_WRITE. Request 0x2D.
 * @param page  Goes to the parameter.
 * @param data  What is transmitted: 16 bytes, of which a card keeps 4.
 * @param len   How many bytes.
 * @return The request's result.
 */
KT_API int kt_rfid_ntag21x_compat_write(uint32_t page, const uint8_t *data, uint32_t len);

/**
 * @brief READ_CNT. Request 0x2E.
 * @param      counter  Which one, 2 on these cards; goes to the parameter.
 * @param[out] out      The count: a card gives 3 bytes, the lowest first.
 * @param[out] len      How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_ntag21x_read_cnt(uint32_t counter, uint8_t *out, uint32_t *len);

/**
 * @brief PWD_AUTH. Request 0x2F.
 * @param      pwd       The password: 4 bytes on these cards.
 * @param      len       How many bytes.
 * @param[out] pack      The acknowledgement: a card gives 2 bytes.
 * @param[out] pack_len  How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_ntag21x_pwd_auth(const uint8_t *pwd, uint32_t len, uint8_t *pack, uint32_t *pack_len);

/**
 * @brief READ_SIG. Request 0x30.
 * @param[out] out  The signature: a card gives 32 bytes.
 * @param[out] len  How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_ntag21x_read_sig(uint8_t *out, uint32_t *len);

/**
 * @brief No effect and no request; takes any arguments.
 * @return 0
 */
KT_API int kt_rfid_ntag21x_exchange(KT_ANY_ARGUMENTS);

/** @} */

/**
 * @defgroup ultralight_ev1 Mifare Ultralight EV1
 * @{
 */

/**
 * @brief Select a card. Request 0x3F.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_open(void);

/**
 * @brief Release it. Request 0x40.
 * @return 0, whatever the driver says
 */
KT_API int kt_rfid_mful_ev1_close(void);

/**
 * @brief GET_VERSION. Request 0x41.
 * @param[out] out  The version: a card gives 8 bytes.
 * @param[out] len  How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_getversion(uint8_t *out, uint32_t *len);

/**
 * @brief READ. Request 0x42.
 * @param      page  The first page; goes to the parameter.
 * @param[out] out   The pages: a card gives four, 16 bytes.
 * @param[out] len   How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_read(uint32_t page, uint8_t *out, uint32_t *len);

/**
 * @brief FAST_READ. Request 0x43.
 *
 * The driver takes the sum of both pages in the upper half of the parameter (what exceeds 16 bits is lost), not the two
 * side by side: pages 4 to 7 go as 0x000B0000.
 *
 * @param      start  The first page.
 * @param      end    The last page.
 * @param[out] out    The pages, 4 bytes each.
 * @param[out] len    How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_fast_read(uint32_t start, uint32_t end, uint8_t *out, uint32_t *len);

/**
 * @brief WRITE. Request 0x44.
 * @param page  Goes to the parameter.
 * @param data  What is transmitted: a page has 4 bytes.
 * @param len   How many bytes.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_write(uint32_t page, const uint8_t *data, uint32_t len);

/**
 * @brief COMPATIBILITY_WRITE. Request 0x45.
 * @param page  Goes to the parameter.
 * @param data  What is transmitted: 16 bytes, of which a card keeps 4.
 * @param len   How many bytes.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_compat_write(uint32_t page, const uint8_t *data, uint32_t len);

/**
 * @brief READ_CNT. Request 0x46.
 * @param      counter  Which one, 0 to 2; goes to the parameter.
 * @param[out] out      The count: a card gives 3 bytes, the lowest first.
 * @param[out] len      How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_read_cnt(uint32_t counter, uint8_t *out, uint32_t *len);

/**
 * @brief INCR_CNT. Request 0x47.
 * @param counter  Which one, 0 to 2; goes to the parameter.
 * @param data     What is transmitted: 4 bytes, the lowest first, of which a card adds 3.
 * @param len      How many bytes.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_incr_cnt(uint32_t counter, const uint8_t *data, uint32_t len);

/**
 * @brief PWD_AUTH. Request 0x48.
 * @param      pwd       The password: 4 bytes on these cards.
 * @param      len       How many bytes.
 * @param[out] pack      The acknowledgement: a card gives 2 bytes.
 * @param[out] pack_len  How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_pwd_auth(const uint8_t *pwd, uint32_t len, uint8_t *pack, uint32_t *pack_len);

/**
 * @brief READ_SIG. Request 0x49.
 * @param[out] out  The signature: a card gives 32 bytes.
 * @param[out] len  How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_read_sig(uint8_t *out, uint32_t *len);

/**
 * @brief CHECK_TEARING_EVENT. Request 0x4A.
 * @param      counter  Which one, 0 to 2; goes to the parameter.
 * @param[out] out      The flag: a card gives 1 byte.
 * @param[out] len      How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_check_tearing_event(uint32_t counter, uint8_t *out, uint32_t *len);

/**
 * @brief VCSL, the selection of a virtual card. Request 0x4B.
 *
 * Both pieces are transmitted one behind the other. The driver takes their length in the upper half of the parameter;
 * the transmit length keeps the previous request's value.
 *
 * @param      a      The installation identifier: 16 bytes on these cards.
 * @param      a_len  How many bytes.
 * @param      b      The reader's capabilities: 4 bytes.
 * @param      b_len  How many bytes.
 * @param[out] out    The card's type identifier: 1 byte.
 * @param[out] len    How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_ev1_vcsl(const uint8_t *a, uint32_t a_len, const uint8_t *b, uint32_t b_len, uint8_t *out,
                                 uint32_t *len);

/** @} */

/**
 * @defgroup ultralight_c Mifare Ultralight C
 * @{
 */

/**
 * @brief Select a card. Request 0x21.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_c_open(void);

/**
 * @brief Release it. Request 0x22.
 * @return 0, whatever the driver says
 */
KT_API int kt_rfid_mful_c_close(void);

/**
 * @brief READ. Request 0x23.
 * @param      page  The first page; goes to the parameter.
 * @param[out] out   The pages: a card gives four, 16 bytes.
 * @param[out] len   How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_c_read(uint32_t page, uint8_t *out, uint32_t *len);

/**
 * @brief WRITE. Request 0x24.
 * @param page  Goes to the parameter.
 * @param data  What is transmitted: a page has 4 bytes.
 * @param len   How many bytes.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_c_write(uint32_t page, const uint8_t *data, uint32_t len);

/**
 * @brief COMPATIBILITY_WRITE. Request 0x25.
 * @param page  Goes to the parameter.
 * @param data  What is transmitted: 16 bytes, of which a card keeps 4.
 * @param len   How many bytes.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_c_compat_write(uint32_t page, const uint8_t *data, uint32_t len);

/**
 * @brief AUTHENTICATE, step 1. Request 0x26.
 * @param[out] out  The card's random number, enciphered: 8 bytes.
 * @param[out] len  How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_c_auth1(uint8_t *out, uint32_t *len);

/**
 * @brief AUTHENTICATE, step 2. Request 0x27.
 * @param      in       Both random numbers, enciphered: 16 bytes.
 * @param      len      How many bytes.
 * @param[out] out      The card's proof: 8 bytes.
 * @param[out] out_len  How many; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mful_c_auth2(const uint8_t *in, uint32_t len, uint8_t *out, uint32_t *out_len);

/** @} */

/**
 * @defgroup felica FeliCa
 * @{
 */

/**
 * @brief Select a card. Request 0x1E.
 * @return The request's result.
 */
KT_API int kt_rfid_felica_open(void);

/**
 * @brief Release it. Request 0x1F.
 * @return The request's result.
 */
KT_API int kt_rfid_felica_close(void);

/**
 * @brief Send a command to the card, and get its answer. Request 0x20.
 * @param      cmd       The command.
 * @param      len       How many bytes.
 * @param[out] resp      The answer.
 * @param[out] resp_len  How many; may not be null.
 * @param      param     Goes to the parameter; its meaning (a time-out, for instance) is the driver's.
 * @return The request's result.
 */
KT_API int kt_rfid_felica_exchange(const uint8_t *cmd, uint32_t len, uint8_t *resp, uint16_t *resp_len, uint32_t param);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
