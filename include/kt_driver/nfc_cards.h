/**
 * @file
 * @brief Contactless cards by family: Mifare Classic, NTAG21x, Mifare Ultralight EV1 and C, FeliCa.
 *
 * What holds for every request, and the record that carries it, stands at @ref reader in nfc.h. The driver frames the
 * card commands; the library places their operands. Each family has an open, which selects a card of that family inside
 * the driver, and a close, which releases it.
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

/** @brief Select a card. Request 0x0A. @return The request's result. */
KT_API int kt_rfid_mfcl_open(void);
/** @brief Release it. Request 0x0B. @return 0, whatever the driver says */
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
 * @param key_type  Key A or B, as the driver numbers them; not checked. Goes to transmit bytes 0 to 3.
 * @param block     Goes to transmit bytes 4 to 7.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_auth(uint32_t key_type, uint32_t block);

/**
 * @brief Read a block. Request 0x0F.
 * @param      block  Goes to the parameter.
 * @param[out] data   Always 16 bytes, whatever the receive length says.
 * @param[out] len    16; may be null.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_read(uint32_t block, uint8_t *data, uint32_t *len);

/**
 * @brief Write a block. Request 0x10.
 * @param block  Goes to the parameter.
 * @param data   What is transmitted: 16 bytes on a Classic card.
 * @param len    0 to 512.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_write(uint32_t block, const uint8_t *data, uint32_t len);

/**
 * @brief Add to a value block, into the card's transfer buffer. Request 0x11.
 * @param block  Goes to the parameter.
 * @param value  Goes to transmit bytes 0 to 3.
 * @return The request's result.
 */
KT_API int kt_rfid_mfcl_increment(uint32_t block, uint32_t value);
/** @brief As kt_rfid_mfcl_increment(), and subtracts. Request 0x12. */
KT_API int kt_rfid_mfcl_decrement(uint32_t block, uint32_t value);
/** @brief Write the transfer buffer to a block. Request 0x13. @param block  Goes to the parameter.
 * @return The request's result. */
KT_API int kt_rfid_mfcl_transfer(uint32_t block);
/** @brief Read a value block into the transfer buffer. Request 0x14. @param block  Goes to the parameter.
 * @return The request's result. */
KT_API int kt_rfid_mfcl_restore(uint32_t block);

/** @} */

/**
 * @defgroup ntag21x NTAG213, NTAG215, NTAG216
 *
 * All outputs: @p out has room for 512 bytes, which is what a driver may give; @p len is how many were copied, and may
 * be null. All results are the request's, but for the close.
 * @{
 */

/** @brief Select a card. Request 0x28. */
KT_API int kt_rfid_ntag21x_open(void);
/** @brief Release it. Request 0x29. @return 0, whatever the driver says */
KT_API int kt_rfid_ntag21x_close(void);
/** @brief GET_VERSION. Request 0x31. */
KT_API int kt_rfid_ntag21x_getversion(uint8_t *out, uint32_t *len);
/** @brief READ from a page on. Request 0x2A. @param page  Goes to the parameter. */
KT_API int kt_rfid_ntag21x_read(uint32_t page, uint8_t *out, uint32_t *len);

/**
 * @brief FAST_READ. Request 0x2B.
 *
 * The driver takes the sum of both pages in the upper half of the parameter, not the two side by side; pages 4 to 7 go
 * as 0x000B0000.
 */
KT_API int kt_rfid_ntag21x_fast_read(uint32_t start, uint32_t end, uint8_t *out, uint32_t *len);

/** @brief WRITE. Request 0x2C. @param page  Goes to the parameter. @param data  What is transmitted: a page has 4
 * bytes.
 * @param len  0 to 512. */
KT_API int kt_rfid_ntag21x_write(uint32_t page, const uint8_t *data, uint32_t len);
/** @brief COMPATIBILITY WRITE, which sends 16 bytes of which the card keeps 4. Request 0x2D. As
 * kt_rfid_ntag21x_write(). */
KT_API int kt_rfid_ntag21x_compat_write(uint32_t page, const uint8_t *data, uint32_t len);
/** @brief READ_CNT. Request 0x2E. @param counter  Goes to the parameter. */
KT_API int kt_rfid_ntag21x_read_cnt(uint32_t counter, uint8_t *out, uint32_t *len);
/** @brief PWD_AUTH. Request 0x2F. @param pwd  The password, 4 bytes on these cards. @param len  0 to 512.
 * @param[out] pack  The card's acknowledgement: room for 512 bytes. @param[out] pack_len  May be null. */
KT_API int kt_rfid_ntag21x_pwd_auth(const uint8_t *pwd, uint32_t len, uint8_t *pack, uint32_t *pack_len);
/** @brief READ_SIG. Request 0x30. */
KT_API int kt_rfid_ntag21x_read_sig(uint8_t *out, uint32_t *len);
/** @brief No effect and no request; takes any arguments. @return 0 */
KT_API int kt_rfid_ntag21x_exchange(KT_ANY_ARGUMENTS);

/** @} */

/**
 * @defgroup ultralight_ev1 Mifare Ultralight EV1
 *
 * All outputs: @p out has room for 512 bytes, which is what a driver may give; @p len is how many were copied, and may
 * be null. All results are the request's, but for the close.
 * @{
 */

/** @brief Select a card. Request 0x3F. */
KT_API int kt_rfid_mful_ev1_open(void);
/** @brief Release it. Request 0x40. @return 0, whatever the driver says */
KT_API int kt_rfid_mful_ev1_close(void);
/** @brief GET_VERSION. Request 0x41. */
KT_API int kt_rfid_mful_ev1_getversion(uint8_t *out, uint32_t *len);
/** @brief READ from a page on. Request 0x42. @param page  Goes to the parameter. */
KT_API int kt_rfid_mful_ev1_read(uint32_t page, uint8_t *out, uint32_t *len);

/**
 * @brief FAST_READ. Request 0x43.
 *
 * The driver takes the sum of both pages in the upper half of the parameter, not the two side by side; pages 4 to 7 go
 * as 0x000B0000.
 */
KT_API int kt_rfid_mful_ev1_fast_read(uint32_t start, uint32_t end, uint8_t *out, uint32_t *len);

/** @brief WRITE. Request 0x44. @param page  Goes to the parameter. @param data  What is transmitted: a page has 4
 * bytes.
 * @param len  0 to 512. */
KT_API int kt_rfid_mful_ev1_write(uint32_t page, const uint8_t *data, uint32_t len);
/** @brief COMPATIBILITY WRITE, which sends 16 bytes of which the card keeps 4. Request 0x45. As
 * kt_rfid_mful_ev1_write(). */
KT_API int kt_rfid_mful_ev1_compat_write(uint32_t page, const uint8_t *data, uint32_t len);
/** @brief READ_CNT. Request 0x46. @param counter  Goes to the parameter. */
KT_API int kt_rfid_mful_ev1_read_cnt(uint32_t counter, uint8_t *out, uint32_t *len);
/** @brief INCR_CNT. Request 0x47. @param counter  Goes to the parameter. @param data  What is transmitted.
 * @param len  0 to 512. */
KT_API int kt_rfid_mful_ev1_incr_cnt(uint32_t counter, const uint8_t *data, uint32_t len);
/** @brief PWD_AUTH. Request 0x48. @param pwd  The password, 4 bytes on these cards. @param len  0 to 512.
 * @param[out] pack  The card's acknowledgement: room for 512 bytes. @param[out] pack_len  May be null. */
KT_API int kt_rfid_mful_ev1_pwd_auth(const uint8_t *pwd, uint32_t len, uint8_t *pack, uint32_t *pack_len);
/** @brief READ_SIG. Request 0x49. */
KT_API int kt_rfid_mful_ev1_read_sig(uint8_t *out, uint32_t *len);
/** @brief CHECK_TEARING_EVENT. Request 0x4A. @param counter  Goes to the parameter. */
KT_API int kt_rfid_mful_ev1_check_tearing_event(uint32_t counter, uint8_t *out, uint32_t *len);

/**
 * @brief VCSL, the selection of a virtual card. Request 0x4B.
 *
 * @p a and @p b are transmitted one behind the other. The driver takes their length in the upper half of the parameter;
 * the transmit length keeps the previous request's value.
 *
 * @param a      The installation identifier.
 * @param a_len  @p a_len and @p b_len together: 0 to 512.
 * @param b      The reader's capabilities.
 * @param b_len  See @p a_len.
 */
KT_API int kt_rfid_mful_ev1_vcsl(const uint8_t *a, uint32_t a_len, const uint8_t *b, uint32_t b_len, uint8_t *out,
                                 uint32_t *len);

/** @} */

/**
 * @defgroup ultralight_c Mifare Ultralight C
 *
 * All outputs: @p out has room for 512 bytes, which is what a driver may give; @p len is how many were copied, and may
 * be null. All results are the request's, but for the close.
 * @{
 */

/** @brief Select a card. Request 0x21. */
KT_API int kt_rfid_mful_c_open(void);
/** @brief Release it. Request 0x22. @return 0, whatever the driver says */
KT_API int kt_rfid_mful_c_close(void);
/** @brief READ from a page on. Request 0x23. @param page  Goes to the parameter. */
KT_API int kt_rfid_mful_c_read(uint32_t page, uint8_t *out, uint32_t *len);
/** @brief WRITE. Request 0x24. @param page  Goes to the parameter. @param data  What is transmitted: a page has 4
 * bytes.
 * @param len  0 to 512. */
KT_API int kt_rfid_mful_c_write(uint32_t page, const uint8_t *data, uint32_t len);
/** @brief COMPATIBILITY WRITE, which sends 16 bytes of which the card keeps 4. Request 0x25. As kt_rfid_mful_c_write().
 */
KT_API int kt_rfid_mful_c_compat_write(uint32_t page, const uint8_t *data, uint32_t len);
/** @brief AUTHENTICATE, step 1: the card's enciphered random number. Request 0x26. */
KT_API int kt_rfid_mful_c_auth1(uint8_t *out, uint32_t *len);
/** @brief AUTHENTICATE, step 2. Request 0x27. @param in  Both numbers, enciphered: 16 bytes. @param len  0 to 512.
 * @param[out] out  The card's proof: room for 512 bytes. @param[out] out_len  May be null. */
KT_API int kt_rfid_mful_c_auth2(const uint8_t *in, uint32_t len, uint8_t *out, uint32_t *out_len);

/** @} */

/**
 * @defgroup felica FeliCa
 * @{
 */

/** @brief Select a card. Request 0x1E. @return The request's result. */
KT_API int kt_rfid_felica_open(void);
/** @brief Release it. Request 0x1F. @return The request's result. */
KT_API int kt_rfid_felica_close(void);

/**
 * @brief Send a command to the card, and get its answer. Request 0x20.
 * @param      cmd       The command.
 * @param      len       0 to 512.
 * @param[out] resp      The answer: room for 512 bytes.
 * @param[out] resp_len  How many were copied; may not be null.
 * @param      param     Goes to the parameter; its meaning (a time-out, for instance) is the driver's.
 * @return The request's result.
 */
KT_API int kt_rfid_felica_exchange(const uint8_t *cmd, uint32_t len, uint8_t *resp, uint16_t *resp_len, uint32_t param);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
