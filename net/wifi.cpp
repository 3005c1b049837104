// The Wi-Fi radio: on, off, and kept on while the terminal sleeps.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "base/shell.h"
#include "kt_driver/base.h"
#include "kt_driver/net.h"

namespace {

/** Module version 1 hangs on the kernel's radio switch, the others on the board's driver. */
bool has_rfkill()
{
    return kt_wifimodule_ver() == 1;
}

/** 0: blocked; -1, when it cannot be read, counts as unblocked. */
int rfkill_state()
{
    return kt::attribute_int("/sys/class/rfkill/rfkill0/", "state");
}

/** The board's driver has it the other way round: 0 is on. */
void set_board_switch(bool on)
{
    (void)kt::set_attribute_int(kt::ioctl_directory, "wifi_status", on ? 0 : 1);
}

} // namespace

int kt_wifi_start(void)
{
    if (!has_rfkill()) {
        set_board_switch(true);
        return 0;
    }
    if (rfkill_state() == 0)
        (void)kt::run_shell("rfkill unblock wifi");
    mdelay(100);
    return 0;
}

int kt_wifi_stop(void)
{
    if (!has_rfkill()) {
        set_board_switch(false);
        return 0;
    }
    if (rfkill_state() != 0)
        (void)kt::run_shell("rfkill block wifi");
    mdelay(100);
    return 0;
}

int kt_wifi_suspend(void)
{
    return kt_wifi_stop();
}

int kt_wifi_resume(void)
{
    return kt_wifi_start();
}

int kt_wifi_upgrademode(void)
{
    return 0;
}

int kt_wifi_set_keepalived(int on)
{
    return kt::set_attribute_int(kt::ioctl_directory, "kt_wifi_keepalived", on);
}

int kt_wifi_get_keepalived(void)
{
    return kt::attribute_int(kt::ioctl_directory, "kt_wifi_keepalived");
}
