/* What a C application does with the clock. */
#pragma once

#include <kt_driver/clock.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Seconds of a record that C filled in while compiling. */
uint32_t seconds_reckoned_by_c(void);

/** Calls the placeholder without arguments, and with some of every kind. */
void time_callbacks_set_by_c(void);

#ifdef __cplusplus
}
#endif
