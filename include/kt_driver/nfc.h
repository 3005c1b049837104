/**
 * @file
 * @brief The contactless card reader.
 */
#ifndef KT_DRIVER_NFC_H
#define KT_DRIVER_NFC_H

#include <kt_driver/api.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief Which contactless chip the board carries.
 *
 * Reads the attribute "nfc_rfid_chip" of "/sys/class/kt_misc/nfc/" and prints "kt_get_rfid_chip ret=<value>" with CR
 * LF. When the attribute cannot be read (or holds 4294967295, which cannot be told from that), the chip follows from
 * the hardware version, see kt_hardware_ver(): 50: 4, 80: 3, 90: 6, 100: 4, 200: 2, 300: 3, 500: 1, 501: 3.
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

#ifdef __cplusplus
}
#endif

#endif
