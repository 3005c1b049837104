// The heartbeat by which the network keeps the terminal while it sleeps: its period, its last time, the timer for the
// next.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "kt_driver/clock.h"
#include "kt_driver/net.h"
#include "kt_driver/power.h"

#include <cstdint>
#include <cstdio>

namespace {

uint32_t heartbeat_period = 0;  // in milliseconds; 0: none
uint32_t heartbeat_jiffies = 0; // when the last one was sent, in milliseconds; 0: none yet

int arm_wakeup_timer(uint32_t msec)
{
    return kt::set_attribute_int(kt::ioctl_directory, "wakeup_msec", msec);
}

} // namespace

int kt_set_heartbeat_period(unsigned seconds)
{
    heartbeat_period = seconds * 1000;
    return arm_wakeup_timer(heartbeat_period);
}

unsigned kt_get_hal_tick(void)
{
    kt_rtc_time now;
    (void)kt_rtc_get_time(&now);
    return kt_mktime(&now) * 1000;
}

int kt_update_heartbeat(void)
{
    heartbeat_jiffies = kt_get_hal_tick();
    if (heartbeat_jiffies == 0)
        heartbeat_jiffies = 1; // 0 says that there was none
    (void)std::printf("update heartbeat_jiffies %u(ms)\n", heartbeat_jiffies);
    return 0;
}

int kt_heartbeat_period_reconfig(int arm)
{
    (void)std::printf("heartbeat_jiffies %u(ms),heartbeat_period %u(ms)\n", heartbeat_jiffies, heartbeat_period);
    if (kt_wifi_get_keepalived() == 0 || heartbeat_jiffies == 0 || heartbeat_period == 0)
        return 1;
    uint32_t elapsed = kt_get_hal_tick() - heartbeat_jiffies;
    if (static_cast<int32_t>(elapsed) < 0)
        elapsed = heartbeat_period; // the clock was set back: nobody knows how long ago it was
    if (static_cast<int32_t>(elapsed) >= static_cast<int32_t>(heartbeat_period))
        return 0;
    if (arm == 0)
        return 1;
    const uint32_t left = heartbeat_period - elapsed;
    (void)arm_wakeup_timer(left);
    (void)std::printf("wakeup_msec %u ms\n", left);
    return 1;
}
