// What stands around the sleep: its time-out, the lock against it, and what the board tells afterwards.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "base/configuration.h"
#include "base/shell.h"
#include "kt_driver/power.h"

int kt_sleep_timeout(int timeout)
{
    return kt::store_setting("timeout", timeout);
}

int kt_get_sleep_timeout(void)
{
    return kt::stored_setting("timeout");
}

int kt_sleep_lock(int lock)
{
    if (lock != 0)
        return kt::run_shell("echo drv > /sys/power/wake_lock");
    return kt::run_shell("echo drv > /sys/power/wake_unlock");
}

int kt_get_boottime(void)
{
    return kt::attribute_int(kt::ioctl_directory, "kt_boottime");
}

int kt_pm_wakeup_event(void)
{
    return kt::attribute_int(kt::ioctl_directory, "kt_pm_event");
}
