// Start of the board switches: the USB route in force, and the kernel's tuning.
#include "misc/kt_misc.h"

#include "base/attributes.h"
#include "base/board_directories.h"
#include "base/shell.h"
#include "kt_driver/misc.h"

#include <cstdio>

namespace kt {

int kt_usb_route;

} // namespace kt

int kt_misc_init(void)
{
    kt::kt_usb_route = kt::attribute_int(kt::ioctl_directory, "usb_route");
    std::printf("usb route %d\n", kt::kt_usb_route);

    // Little memory and slow flash: write back early. Waiting for a slow peripheral is no hung task.
    (void)kt::run_shell("echo 5  > /proc/sys/vm/dirty_background_ratio");
    (void)kt::run_shell("echo 10 >  /proc/sys/vm/dirty_ratio");
    (void)kt::run_shell("echo 0 > /proc/sys/kernel/hung_task_timeout_secs");
    return 0;
}
