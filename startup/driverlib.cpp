// The order in which the library comes up.
#include "kt_driver/base.h"
#include "kt_driver/clock.h"
#include "kt_driver/input.h"
#include "kt_driver/misc.h"
#include "kt_driver/nfc.h"
#include "kt_driver/power.h"

#include <csignal>

int kt_driverlib_init(void)
{
    // A terminal with a broken part still has to start, so no step's result stops the next. The versions come first:
    // they decide board variants in every later step.
    (void)kt_base_init();
    (void)kt_misc_init();
    (void)kt_ts_init();
    // Here come main display and secondary display.
    (void)kt_supplypower_init();
    (void)kt_rtc_init();
    // Here comes encrypted flash file.
    (void)kt_rfid_init();
    (void)std::signal(SIGPIPE, SIG_IGN);
    (void)kt_key_init();
    kt_srand_init(); // last: the seed takes the battery's voltage, which needs the power supply
    return 0;
}
