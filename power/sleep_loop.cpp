// The sleep cycle: suspend to memory, look at what woke the terminal, and sleep again or return.
#include "kt_driver/base.h"
#include "kt_driver/input.h"
#include "kt_driver/power.h"
#include "kt_driver/tty.h"

#include <cstdio>

namespace {

constexpr int no_event = -1;
constexpr int wifi_event = 32;

/** @p arm, if not 0: one that is not due sets the board's timer. */
bool heartbeat_is_due(int arm)
{
    if (kt_heartbeat_period_reconfig(arm) != 0)
        return false;
    (void)std::puts("rtc time out ");
    return true;
}

/** The kernel takes its count of wake-up events back only if none came since it was read; it then refuses to suspend
 * when one comes later. */
bool shake_hands()
{
    constexpr char path[] = "/sys/power/wakeup_count";
    char count[100] = {};
    return sys_read(path, count, sizeof count) > 0 && sys_write(path, count) > 0;
}

} // namespace

int kt_key_event_get(void)
{
    kt_key_event pressed = {0, 0};
    if (kt_pm_get_key(&pressed) <= 0 || pressed.state != 1 || pressed.key == 0)
        return 0;
    (void)std::puts("quit auto sleep ");
    return 1;
}

int kt_auto_sleep_loop(void)
{
    (void)kt_pm_key_flush();
    int event = no_event;
    for (;;) {
        if (shake_hands()) {
            if (kt_key_event_get() == 1)
                return KT_SLEEP_KEY;
            if (heartbeat_is_due(1))
                return KT_SLEEP_HEARTBEAT;
            (void)system_helper("echo mem > /sys/power/state"); // returns after the terminal woke up
            event = kt_pm_wakeup_event();
            (void)std::printf("# hal kt_pm_wakeup_event %d #\n", event);
        }
        if (kt_key_event_get() == 1)
            return event == no_event ? KT_SLEEP_KEY : event;
        if (event == wifi_event) {
            (void)std::puts("wifi wake up,will continue sleep after 5s ");
            for (int i = 0; i < 10; ++i) {
                if (kt_key_event_get() == 1)
                    return wifi_event;
                if (heartbeat_is_due(0))
                    return KT_SLEEP_HEARTBEAT;
                mdelay(500);
            }
            continue;
        }
        if (event >= 0)
            return event;
        if (heartbeat_is_due(0)) // a wake-up event is pending, or nobody knows what woke the terminal
            return KT_SLEEP_HEARTBEAT;
        mdelay(10);
    }
}
