// Power of the GPS receiver.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "base/shell.h"
#include "kt_driver/misc.h"

int kt_gps_ctrl(int on)
{
    if (on != 0)
        return kt::run_shell("echo 1 > /sys/class/kt_misc/ioctl/gps_pwr");
    return kt::run_shell("echo 0 > /sys/class/kt_misc/ioctl/gps_pwr");
}

int kt_get_gps_power(void)
{
    return kt::attribute_int(kt::ioctl_directory, "gps_pwr");
}
