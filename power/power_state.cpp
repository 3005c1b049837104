// Switching the terminal off, restarting it, and sending it to sleep.
#include "base/attributes.h"
#include "base/shell.h"
#include "kt_driver/base.h"
#include "kt_driver/misc.h"
#include "kt_driver/net.h"
#include "kt_driver/power.h"

#include <cstdio>

namespace {

void switch_off()
{
    (void)std::puts("kt_system_power_state to POWER_STATE_OFF");
    if (kt_power_ac_online() == 1) { // with the charger in, the terminal shall come up again and charge
        (void)kt_sp_power(0);
        (void)kt::run_shell("reboot -f");
    } else {
        (void)kt_sp_power(1);
        (void)kt::run_shell("poweroff");
    }
}

void reset()
{
    (void)std::puts("kt_system_power_state to POWER_STATE_RESET");
    (void)kt::run_shell("echo charging > /kt/kt_module/reboot"); // says what the restart is for
    (void)kt_sp_power(0);
    (void)kt::run_shell("reboot -f");
}

/** Takes the radio of a module that hangs on rfkill off the air for the sleep. False: it was, or is another's. */
bool block_radio()
{
    if (kt_wifimodule_ver() != 1 || kt::attribute_int("/sys/class/rfkill/rfkill0/", "state") == 0)
        return false;
    (void)std::puts("rfkill block wifi");
    (void)kt::run_shell("rfkill block wifi");
    mdelay(100);
    return true;
}

int suspend()
{
    (void)std::puts("kt_system_power_state to POWER_STATE_SUSPEND");
    if (kt_wifi_get_keepalived() != 0) // the radio stays up; one that cannot be asked counts as wanted
        return kt_auto_sleep_loop();
    const bool blocked = block_radio();
    const int result = kt_auto_sleep_loop();
    if (blocked && kt_wifimodule_ver() == 1) {
        (void)std::puts("rfkill unblock wifi");
        (void)kt::run_shell("rfkill unblock wifi");
    }
    return result;
}

} // namespace

int kt_system_power_state(int state)
{
    int result = 0;
    switch (state) {
    case POWER_STATE_OFF:
        switch_off();
        break;
    case POWER_STATE_SUSPEND:
        result = suspend();
        break;
    case POWER_STATE_RESET:
        reset();
        break;
    default:
        break;
    }
    (void)std::printf("out of sleep event %d \n", result);
    return result;
}
