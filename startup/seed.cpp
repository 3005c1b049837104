// The seed of the process's random numbers.
#include "kt_driver/base.h"

#include <cstdlib>
#include <ctime>

void kt_srand_init(void)
{
    const unsigned voltage = 0; // of the battery, for terminals that start with one and the same clock; not read yet
    std::srand(static_cast<unsigned>(std::time(nullptr)) + voltage);
}
