/**
 * @file
 * @brief The whole interface of the library in one include.
 *
 * An application calls kt_driverlib_init() once, from its main thread, before anything else:
 * @code
 * #include <kt_driver/kt_driver.h>
 * #include <stdio.h>
 *
 * int main(void)
 * {
 *     kt_driverlib_init();
 *     printf("board %d, model %s\n", kt_hardware_ver(), kt_get_model_name());
 *     return 0;
 * }
 * @endcode
 */
#ifndef KT_DRIVER_KT_DRIVER_H
#define KT_DRIVER_KT_DRIVER_H

#include <kt_driver/base.h>
#include <kt_driver/clock.h>
#include <kt_driver/config.h>
#include <kt_driver/input.h>
#include <kt_driver/misc.h>
#include <kt_driver/net.h>
#include <kt_driver/nfc.h>
#include <kt_driver/power.h>
#include <kt_driver/serial.h>
#include <kt_driver/tamper.h>

#endif
