// Switches around the battery: converter and protection.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "base/shell.h"
#include "kt_driver/base.h"
#include "kt_driver/misc.h"

int kt_adc_suspend(int on)
{
    if (on != 0)
        (void)kt::run_shell("echo 60 > /sys/class/kt_misc/ioctl/adc_suspend");
    else
        (void)kt::run_shell("echo 5 > /sys/class/kt_misc/ioctl/adc_suspend");
    udelay(100);
    return 0;
}

int kt_bat_protect_cap(int capacity)
{
    return kt::set_attribute_int(kt::ioctl_directory, "kt_bat_protect_cap", capacity);
}
