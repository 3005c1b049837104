// The seed of the process's random numbers.
#include "kt_driver/base.h"
#include "kt_driver/power.h"

#include <cstdlib>
#include <ctime>

void kt_srand_init(void)
{
    // Terminals that start with one and the same clock still differ in their battery's voltage.
    kt_battery_attr battery = {};
    const int32_t voltage = kt_power_battery_attr(&battery) == 0 ? battery.voltage : 0;
    std::srand(static_cast<unsigned>(std::time(nullptr)) + static_cast<unsigned>(voltage));
}
