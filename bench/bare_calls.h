// The system calls that the library's accesses are made of, made bare.
#pragma once

#include "bench/require.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kt::bench {

/** An attribute's text. */
inline void bare_read(const char* path, int flags = O_RDONLY)
{
    static char page[4096];
    struct stat found;
    require(stat(path, &found) == 0);
    const int fd = open(path, flags);
    require(fd >= 0);
    require(read(fd, page, sizeof page) > 0);
    require(close(fd) == 0);
}

/** The battery's state. */
inline void bare_battery()
{
    bare_read("/sys/class/power_supply/kt_bat/status"); // where the power comes from
    bare_read("/sys/class/power_supply/kt_bat/capacity");
    bare_read("/sys/class/power_supply/kt_bat/voltage_now");
    bare_read("/sys/class/power_supply/kt_bat/capacity_level");
    bare_read("/sys/class/power_supply/kt_bat/status");
}

} // namespace kt::bench
