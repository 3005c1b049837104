// The debug bridge, which is on while a marker file exists.
#include "base/shell.h"
#include "base/unique_fd.h"
#include "kt_driver/misc.h"

#include <fcntl.h>

int kt_adb_ctrl(int on)
{
    if (on != 0)
        (void)kt::run_shell("echo drv > /kt/kt_module/0001.txt");
    else
        (void)kt::run_shell("rm /kt/kt_module/0001.txt -fr");
    return 0;
}

int kt_adb_status(void)
{
    const kt::unique_fd marker(open("/kt/kt_module/0001.txt", O_RDONLY | O_CLOEXEC));
    return marker.get() >= 0 ? 1 : 0;
}
