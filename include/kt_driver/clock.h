/**
 * @file
 * @brief The terminal's calendar time.
 */
#ifndef KT_DRIVER_CLOCK_H
#define KT_DRIVER_CLOCK_H

#include <kt_driver/api.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup clock Real-time clock
 *
 * The system's clock is the working one; setting it also writes the hardware clock /dev/rtc0, which goes on while the
 * terminal is off.
 * @{
 */

/** A calendar time. */
typedef struct kt_rtc_time {
    int32_t sec;  /**< Seconds, 0 to 59. */
    int32_t min;  /**< Minutes, 0 to 59. */
    int32_t hour; /**< Hours, 0 to 23. */
    int32_t mday; /**< Day of the month, 1 to 31. */
    int32_t mon;  /**< Month, 1 to 12. */
    int32_t year; /**< All digits: 2026. */
} kt_rtc_time;

/** @brief Does nothing. @return 0. */
KT_API int kt_rtc_init(void);

/**
 * @brief Set the terminal's clocks to a local time.
 *
 * Sets the system's clock in whole seconds, then runs "hwclock -w -f /dev/rtc0" without an echo line. Neither is
 * checked, nor whether there is such a time: one that cannot be converted is passed on as -1, which the kernel refuses.
 * Where the zone changes to summer time or back, its own rules decide which of the two is meant. 32-bit builds, the
 * product's too, know times up to 2038-01-19 03:14:07 UTC.
 * Kernel: clock_settime(2) with CLOCK_REALTIME, which wants CAP_SYS_TIME.
 *
 * @param[in,out] t  The time. Afterwards it is in the C library's form: month 0 to 11, years since 1900.
 * @return 0; -1: refused.
 * @errno EINVAL  @p t is null
 * @note Threads: one at a time, as for mktime(3).
 */
KT_API int kt_rtc_set_time(kt_rtc_time *t);

/**
 * @brief Read the local time from the system's clock.
 *
 * @param[out] t  The time.
 * @return 0; -1: refused.
 * @errno EINVAL  @p t is null
 * @note Threads: any.
 */
KT_API int kt_rtc_get_time(kt_rtc_time *t);

/**
 * @brief Seconds since 1970-01-01 00:00:00 of a calendar time without a zone.
 *
 * Exact from 1970 to 2106-02-07 06:28:15; all arithmetic wraps at 32 bits. Fields out of range are counted on, but a
 * month only from -9 to 14.
 *
 * @return The seconds; 0xFFFFFFFF with EINVAL when @p t is null.
 * @note Threads: any.
 */
KT_API uint32_t kt_mktime(const kt_rtc_time *t);

#ifndef __cplusplus
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wstrict-prototypes" /* an empty list is what lets C pass any arguments */
#endif
/** @brief Takes any arguments and does nothing; kept so that applications link. */
KT_API void kt_rtc_set_timecb(KT_ANY_ARGUMENTS);
#ifndef __cplusplus
#pragma GCC diagnostic pop
#endif

/** @} */

#ifdef __cplusplus
}
#endif

#endif
