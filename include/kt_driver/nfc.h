/**
 * @file
 * @brief The contactless card reader: its session, finding a card, what the card says of itself, ISO 14443-4 exchange.
 *
 * What belongs to one family of cards stands in nfc_cards.h, the reader as a card in nfc_emulation.h; both are included
 * here.
 */
#ifndef KT_DRIVER_NFC_H
#define KT_DRIVER_NFC_H

#include <kt_driver/api.h>
#include <kt_driver/nfc_cards.h>
#include <kt_driver/nfc_emulation.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup reader Contactless reader
 *
 * "/dev/kt_nfc" is the reader's driver. It does anti-collision, protocols and the framing of card commands. A function
 * whose description names a "Request" is one ioctl(2) on it, numbered 0xC0044D00 plus that number, here and in
 * nfc_cards.h and nfc_emulation.h. Its argument is a record of 1164 bytes that goes both ways as a whole, though the
 * size field of the number says 4; numbers in it are unsigned, 32 bits, little-endian:
 *
 * | offset | size | field |
 * |---|---|---|
 * | 0 | 512 | transmit data |
 * | 512 | 4 | transmit length |
 * | 516 | 512 | receive data |
 * | 1028 | 4 | receive length |
 * | 1032 | 4 | parameter |
 * | 1036 | 128 | not used, but by kt_rfid_emulate_config() |
 *
 * There is one record in the process, all zero at first, and a request sends it as it stands: a field that a function
 * does not set has the value that the previous request left.
 *
 * For every request:
 * - "The request's result" is what the driver answers: 0 or more when it succeeded; -1 with the driver's @c errno when
 *   it failed, and no output is touched. Before kt_rfid_init() and after kt_rfid_fini() that is EBADF. Functions that
 *   ignore the result say so.
 * - Bytes to transmit: 0 to 512 (of two pieces together), null only with length 0. An output may not be null, but for
 *   the lengths of which that is said. Otherwise -1 with EINVAL, and neither the record nor an output is touched.
 * - An output without a size of its own has room for 512 bytes, which a driver may give whatever card is expected. When
 *   it reports more than its record holds, that is -1 with EINVAL after the request, outputs untouched; functions that
 *   do not use its length say so.
 * - Threads: one at a time uses the reader, since all share the record.
 * @{
 */

/**
 * @brief Open the reader.
 *
 * A reader that is open (descriptor above 0) is closed first. Prints "nfc dev open error" when it cannot be opened;
 * every request fails then. kt_driverlib_init() calls it.
 *
 * Kernel: open(2), O_RDWR with O_CLOEXEC, on "/dev/kt_nfc".
 *
 * @return 0, also when it failed; @c errno says why.
 */
KT_API int kt_rfid_init(void);

/**
 * @brief Close the reader. Twice is harmless; a descriptor 0 is left open.
 *
 * Kernel: close(2).
 *
 * @return 0
 */
KT_API int kt_rfid_fini(void);

/**
 * @brief Look for a card in the field. Request 0x33.
 * @return The card type that was found, as the driver numbers them (1 to 255); 0: none, or the request failed.
 */
KT_API int kt_rfid_probe(void);

/**
 * @brief The SAK of the type A card that was found. Request 0x34.
 * @return 0 to 255, or the negative result
 */
KT_API int kt_rfid_get_sak(void);

/**
 * @brief The card's UID. Request 0x35.
 * @param[out] uid  Room for 16 bytes; a driver that reports more (however many) gives the first 16. A UID has 4, 7 or
 * 10 bytes, the identifier of a FeliCa card 8.
 * @return How many bytes were copied, or the negative result.
 */
KT_API int kt_rfid_getuid(uint8_t *uid);

/**
 * @brief The ATQA of a type A card. Request 0x36.
 * @param[out] out  Room for 512 bytes.
 * @return How many were copied, or the negative result.
 */
KT_API int kt_rfid_get_atqa(uint8_t *out);

/**
 * @brief The ATQB of a type B card. Request 0x37.
 * @param[out] out  Room for 512 bytes.
 * @return How many were copied, or the negative result.
 */
KT_API int kt_rfid_get_atqb(uint8_t *out);

/**
 * @brief A type A card's answer to RATS. Request 0x38.
 * @param[out] out  Room for 512 bytes.
 * @return How many were copied, or the negative result.
 */
KT_API int kt_rfid_get_rats(uint8_t *out);

/**
 * @brief A type B card's answer to ATTRIB. Request 0x39.
 * @param[out] out  Room for 512 bytes.
 * @return How many were copied, or the negative result.
 */
KT_API int kt_rfid_get_attrib(uint8_t *out);

/**
 * @brief Configure the field for type A. Request 0x3D.
 *
 * What the words mean is the driver's; they are placed in the record as they are.
 *
 * @param a  Goes to the receive length.
 * @param b  Goes to the transmit length.
 * @return The request's result.
 */
KT_API int kt_rfid_typeA_config(uint32_t a, uint32_t b);

/**
 * @brief Configure the field for type B. Request 0x3E.
 * @param a  Goes to the receive length.
 * @param b  Goes to the transmit length.
 * @param c  Goes to the parameter.
 * @return The request's result.
 */
KT_API int kt_rfid_typeB_config(uint32_t a, uint32_t b, uint32_t c);

/**
 * @brief Set the field's power. Request 0x3C.
 * @param level  Goes to the parameter; its meaning is the driver's.
 * @return The request's result.
 */
KT_API int kt_rfid_setpower(uint32_t level);

/**
 * @brief Activate an ISO 14443-4 (T=CL) card. Request 0x01.
 *
 * Prints "kt_rfid_tcl_open nfc fd error" and makes no request when the reader is not open.
 *
 * @return The request's result; -30: the driver failed with EROFS; -1: another failure.
 * @errno EBADF  the reader is not open
 */
KT_API int kt_rfid_tcl_open(void);

/**
 * @brief Release the card. Request 0x02.
 * @return 0, whatever the driver says
 */
KT_API int kt_rfid_tcl_close(void);

/**
 * @brief Send an APDU to the activated card, and get its answer. Request 0x03.
 *
 * @param      apdu      The command.
 * @param      len       Its length.
 * @param[out] resp      Where the answer stands: in the library's record, until the next request of any function.
 * @param[out] resp_len  Its length, status word included.
 * @return The request's result.
 */
KT_API int kt_rfid_tcl_exchange(const uint8_t *apdu, uint32_t len, uint8_t **resp, uint16_t *resp_len);

/**
 * @brief As kt_rfid_tcl_open(), by a request of its own, and without that one's check and -30. Request 0x15.
 * @return The request's result.
 */
KT_API int kt_rfid_rid_open(void);

/**
 * @brief Release the card. Request 0x16.
 * @return The request's result.
 */
KT_API int kt_rfid_rid_close(void);

/**
 * @brief As kt_rfid_tcl_exchange(), after kt_rfid_rid_open(). Request 0x17.
 * @param      apdu      The command.
 * @param      len       Its length.
 * @param[out] resp      Where the answer stands, see there.
 * @param[out] resp_len  Its length, status word included.
 * @return The request's result.
 */
KT_API int kt_rfid_rid_exchange(const uint8_t *apdu, uint32_t len, uint8_t **resp, uint16_t *resp_len);

/**
 * @brief No effect and no request.
 * @return 0
 */
KT_API int kt_rfid_getatr(void);

/**
 * @brief No effect and no request.
 * @return 0
 */
KT_API int kt_rfid_gettype(void);

/**
 * @brief No effect and no request.
 * @return 0
 */
KT_API int kt_rfid_hal_config(void);

/** @} */

/**
 * @defgroup reader_chip The reader's chip
 * @{
 */

/**
 * @brief Which contactless chip the board carries.
 *
 * Reads the attribute "nfc_rfid_chip" of "/sys/class/kt_misc/nfc/" and prints "kt_get_rfid_chip ret=<value>" with CR
 * LF. When the attribute cannot be read (a line goes to syslog), or holds -1 or what reads as that (4294967295 and
 * more), the chip follows from the hardware version, see kt_hardware_ver() and kt_base_init(): 50: 4, 80: 3, 90: 6,
 * 100: 4, 200: 2, 300: 3, 500: 1, 501: 3.
 *
 * Kernel: stat(2), open(2), read(2), close(2) on the attribute.
 *
 * @return The chip's number; -1: neither the attribute nor the hardware version tells, @c errno says why the attribute
 *         could not be read, and is unchanged when it holds 4294967295.
 * @errno ENOENT  this board's driver has no such attribute (any other failure of the four calls likewise)
 * @errno ENOMEM  no memory for the access
 * @note Threads: any.
 */
KT_API int kt_get_rfid_chip(void);

/**
 * @brief How the board's chip emulates cards.
 *
 * Calls kt_get_rfid_chip(), with its line. Chips 0, 3 and 4: 0; 2 and 5: 1; 1 and 6: 2. For any other it prints
 * "kt_get_rfid_emulate_type rfid_chip =<chip>  rfid_chip_type not exist" with CR LF.
 *
 * @return The emulation type; 0 also for a chip that is not known.
 * @note Threads: any.
 */
KT_API int kt_get_rfid_emulate_type(void);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
