// The order in which the library comes up.
#include "kt_driver/base.h"
#include "kt_driver/misc.h"

#include <csignal>

int kt_driverlib_init(void)
{
    // A terminal with a broken part still has to start, so no step's result stops the next. The versions come first:
    // they decide board variants in every later step.
    (void)kt_base_init();
    (void)kt_misc_init();
    // Here come, in this order: touch screen, main display, secondary display, power supply, real-time clock, encrypted
    // flash file, contactless reader.
    (void)std::signal(SIGPIPE, SIG_IGN);
    // Here comes the keypad.
    kt_srand_init(); // last: the seed takes the battery's voltage, which needs the power supply
    return 0;
}
