/**
 * @file
 * @brief The tamper state, which the secure processor keeps.
 */
#ifndef KT_DRIVER_TAMPER_H
#define KT_DRIVER_TAMPER_H

#include <kt_driver/api.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup tamper Tamper state
 *
 * Both words come from the attribute "sp_tamper_status" of "/sys/class/kt_misc/ioctl/", which the driver asks the
 * secure processor for; its text is "0x<status>,0x<word>". A status of 0xcccccccc says that it did not answer: the
 * reads print "ap_tamper_read sp no resp.." and ask up to five times, 500 ms apart, so a silent one costs two seconds.
 * A word that does not stand there in this form is 0; one of more than 32 bits is anything. Threads: any.
 * @{
 */

/**
 * @brief Read the tamper status word.
 *
 * @return The word, whose meaning is the secure processor's; 0xcccccccc (as an int) when it did not answer; 0, and
 *         "get sp_tamper_status error" printed, when the attribute could not be read (see @ref attributes).
 */
KT_API int kt_ap_tamper_read(void);

/**
 * @brief Read one word of the secure processor's tamper memory; always the same one.
 *
 * @param      addr  Not used.
 * @param[out] buf   4 bytes: the word in this processor's byte order; zeros when the attribute could not be read.
 * @return 4; 0: refused.
 * @errno EINVAL  @p buf is null
 */
KT_API int kt_ap_tamper_ram_read(int addr, uint8_t *buf);

/** @brief Does nothing. @return @p len. */
KT_API int kt_ap_tamper_ram_write(int addr, const uint8_t *buf, int len);

/**
 * @brief Ask for a reset of the tamper state.
 *
 * Runs "echo 0 > /sys/class/kt_misc/ioctl/sp_tamper_reset" without an echo line, and waits 200 ms.
 *
 * @return 0, whatever came of it.
 */
KT_API int kt_ap_tamper_reset(void);

/** @brief Does nothing. @return 0. */
KT_API int kt_ap_tamper_init(void);
/** @brief Does nothing. @return 0. */
KT_API int kt_ap_tamper_detect_enable(void);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
