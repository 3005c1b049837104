// Power of the secure processor.
#include "base/shell.h"
#include "kt_driver/base.h"
#include "kt_driver/misc.h"

int kt_sp_edl(void)
{
    return kt::run_shell("echo 3 > /sys/class/kt_misc/ioctl/sp_power");
}

int kt_sp_power(int mode)
{
    return system_helper("echo %d > /sys/class/kt_misc/ioctl/sp_power", mode);
}
