/**
 * @file
 * @brief Battery, power-off and restart, and sleep.
 */
#ifndef KT_DRIVER_POWER_H
#define KT_DRIVER_POWER_H

#include <kt_driver/api.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup battery Battery and mains
 *
 * All comes from the kernel's power supply "kt_bat", directory "/sys/class/power_supply/kt_bat/", in the units of its
 * driver. Each query reads its attributes anew. Words of the driver become the numbers below, unknown words 0; numbers
 * are signed, one that does not fit in 32 bits is the nearest that does, and a text without one is 0. Threads: any,
 * once kt_supplypower_init() has returned.
 * @{
 */

/** The battery as it stands. */
typedef struct kt_battery_attr {
    int32_t capacity;      /**< Charge in percent. */
    int32_t voltage;       /**< Voltage in the driver's unit; the virtual board's writes millivolts. */
    int32_t level;         /**< 0 unknown, 1 critical, 2 low, 3 normal, 4 high, 5 full. */
    int32_t voltage_full;  /**< 8400, a constant: the voltage of a full battery in millivolts. */
    int32_t voltage_empty; /**< 6600, a constant: that of an empty one. */
    int32_t status;        /**< 0 unknown, 1 charging, 2 discharging, 3 not charging, 4 full. */
    int32_t mains_flag;    /**< 100: power comes from outside; -1: from the battery, or it cannot be told. */
} kt_battery_attr;

/**
 * @brief Find the battery.
 *
 * Prints "kt_supplypower_init kt_bat", and "kt_power_supply_open error <cause>" when the kernel has no such supply:
 * until a later call finds it, the queries then fail with ENODEV. No memory is -1 with ENOMEM, without the second line.
 *
 * @return 0; -1: there is no battery, @c errno says why.
 * @note Threads: one. kt_driverlib_init() does it.
 */
KT_API int kt_supplypower_init(void);

/**
 * @brief Whether power comes from outside.
 *
 * Hardware version 50 stands on mains power: it is always 1 there, and nothing is read. Others tell by the battery's
 * status: discharging and not charging mean that the battery feeds the terminal, any other word, unknown ones too, that
 * the mains does. Prints "ac_supply get ac online error" when the status cannot be read.
 *
 * @return 1: from outside; 0: from the battery; -1: failed, @c errno says why.
 * @errno ENODEV  the battery was not found, see kt_supplypower_init()
 */
KT_API int kt_power_ac_online(void);

/**
 * @brief Read the battery's state.
 *
 * Reads capacity, voltage, level and status, in this order; at the first that cannot be read it stops and prints
 * "battery_supply get capacity error", "battery_supply get voliage error", "batter get level error" or "battery_supply
 * get status error". An unreadable status is told by kt_power_ac_online() before, but for hardware version 50.
 *
 * @param[out] out  The state. On failure the fields read so far are filled and the others 0, but for the two constants
 *                  and the mains flag; with EINVAL and ENODEV it is untouched.
 * @return 0; -1: failed, @c errno says why.
 * @errno ENODEV  the battery was not found, see kt_supplypower_init()
 * @errno EINVAL  @p out is null
 */
KT_API int kt_power_battery_attr(kt_battery_attr *out);

/** @} */

/**
 * @defgroup power_state Power state
 * @{
 */

/** The requests of kt_system_power_state(). */
enum {
    POWER_STATE_OFF = 0x20000, /**< Switch off; restart while power comes from outside, so that it goes on charging. */
    POWER_STATE_SUSPEND = 0x200000, /**< Sleep, see kt_auto_sleep_loop(). */
    POWER_STATE_RESET = 0x800000    /**< Restart into charging. */
};

/**
 * @brief Switch the terminal off, restart it, or send it to sleep.
 *
 * Prints "kt_system_power_state to POWER_STATE_OFF" (_SUSPEND, _RESET), and "out of sleep event <result> " in the end.
 * - Off: the secure processor's power goes to 1 and "poweroff" is run; while kt_power_ac_online() gives 1, it goes to 0
 *   and "reboot -f" is run.
 * - Reset: "charging" is written into the file /kt/kt_module/reboot, the secure processor's power goes to 0, and
 *   "reboot -f" is run.
 * - Suspend: unless the radio shall stay up (kt_wifi_get_keepalived() is not 0, or cannot be read), the radio of a
 *   Wi-Fi module of version 1 is blocked by rfkill while the terminal sleeps, and "rfkill block wifi" and "rfkill
 *   unblock wifi" are printed; 100 ms pass after the first. A radio that is blocked already (attribute "state" of
 *   "/sys/class/rfkill/rfkill0/" reads 0) stays so, and nothing of this is done.
 *
 * No command's result is looked at; those of kt_sp_power() are echoed, see system_helper().
 *
 * @param state  One of the three requests; any other does nothing.
 * @return Of a suspend the result of kt_auto_sleep_loop(); else 0.
 * @note Threads: one at a time; blocks while the terminal sleeps.
 */
KT_API int kt_system_power_state(int state);

/** @} */

/**
 * @defgroup sleep Sleep and wake-up
 *
 * The terminal suspends to memory. It wakes by a key, by other events of the board, and by the board's timer, which is
 * set so that a heartbeat can be sent in time: without it the network drops a terminal whose radio stays up
 * (kt_wifi_set_keepalived()). An application sends its heartbeat, calls kt_update_heartbeat(), and goes to sleep again.
 *
 * "The ioctl directory" is "/sys/class/kt_misc/ioctl/"; of accesses that fail see @ref attributes. Threads: one.
 * @{
 */

/** Results of kt_auto_sleep_loop() besides the board's wake-up events, which may have the same numbers. */
enum {
    KT_SLEEP_KEY = 0,       /**< A key was pressed before the terminal slept. */
    KT_SLEEP_HEARTBEAT = 4, /**< The heartbeat is due. */
    KT_SLEEP_WIFI = 32      /**< The Wi-Fi module woke the terminal, and a key was pressed soon after. */
};

/**
 * @brief Keep the time-out after which the application wants to sleep.
 *
 * Kept for the application alone, as the key "timeout", section "Property", of "/mnt/data/autosuspend.ini" (see
 * kt_ini_config(), whose result it gives); nothing here goes by it.
 *
 * @param timeout  In the application's own unit.
 * @return 0, also when the file could not be written.
 */
KT_API int kt_sleep_timeout(int timeout);

/**
 * @brief Read what kt_sleep_timeout() kept.
 * @return The number, or the nearest that fits in an int; 0 when there is none. Prints what kt_ini_read() prints.
 */
KT_API int kt_get_sleep_timeout(void);

/**
 * @brief Keep the terminal from going to sleep, or no longer.
 *
 * Runs "echo drv > /sys/power/wake_lock", or for 0 the same with wake_unlock, without an echo line. While the lock is
 * taken, kt_auto_sleep_loop() waits in the kernel and looks at neither keys nor heartbeat.
 *
 * @param lock  Not 0: take the lock; 0: release it.
 * @return Of system(3): the shell's wait status, or -1.
 */
KT_API int kt_sleep_lock(int lock);

/** @brief Read the boot time, attribute "kt_boottime" of the ioctl directory. @return The driver's number; -1: failed.
 */
KT_API int kt_get_boottime(void);

/**
 * @brief Read what woke the terminal last, attribute "kt_pm_event" of the ioctl directory.
 * @return The event, whose meaning is the board driver's but for 32, the Wi-Fi module; -1: failed.
 */
KT_API int kt_pm_wakeup_event(void);

/**
 * @brief Set how often the heartbeat is sent, and the board's wake-up timer (attribute "wakeup_msec") to it.
 *
 * @param seconds  The period; 0: no heartbeat. In milliseconds it wraps at 32 bits, and one of 2^31 ms or more is
 * always due.
 * @return 0; -1: the timer could not be set, the period holds all the same.
 */
KT_API int kt_set_heartbeat_period(unsigned seconds);

/**
 * @brief The time by which heartbeats are counted.
 * @return The local time as kt_rtc_get_time() gives it, in milliseconds with a resolution of one second; wraps at 32
 *         bits. It jumps when the clock is set, and when summer time begins or ends.
 */
KT_API unsigned kt_get_hal_tick(void);

/**
 * @brief Tell that the heartbeat was sent now. Prints "update heartbeat_jiffies <time>(ms)".
 * @return 0 always.
 */
KT_API int kt_update_heartbeat(void);

/**
 * @brief Look whether the heartbeat is due, and set the board's timer to it.
 *
 * Prints "heartbeat_jiffies <last>(ms),heartbeat_period <period>(ms)", and "wakeup_msec <time> ms" when the timer is
 * set. A clock that was set back since the last heartbeat makes it due. There is nothing to watch while the radio need
 * not stay up (kt_wifi_get_keepalived() is 0; one that cannot be read counts as on), before the first
 * kt_update_heartbeat(), and without a period. A timer that cannot be set changes neither result nor line.
 *
 * @param arm  Not 0: write the time that is left into "wakeup_msec".
 * @return 0: it is due; 1: it is not, or there is nothing to watch.
 */
KT_API int kt_heartbeat_period_reconfig(int arm);

/**
 * @brief Take one event of the sleep cycle's keys, see kt_pm_get_key().
 * @return 1: a key whose code is not 0 was pressed, and "quit auto sleep " is printed; 0: no key, another, or a
 * release.
 */
KT_API int kt_key_event_get(void);

/**
 * @brief Sleep until a key, the heartbeat or an event of the board ends it.
 *
 * Drops the sleep cycle's pending keys. Then, without limit:
 * 1. Reads "/sys/power/wakeup_count", which waits while a wake lock is taken or a wake-up event is pending, and writes
 *    it back. If the kernel took it, a key or a due heartbeat ends the cycle; else the board's timer is set to the
 *    heartbeat and "echo mem > /sys/power/state" is run (echoed, see system_helper()), which returns after the terminal
 *    woke up. What woke it is kt_pm_wakeup_event(); if the kernel refused to suspend, that is still the event before.
 * 2. A key ends the cycle.
 * 3. After a wake-up by the Wi-Fi module keys and heartbeat are watched for 5 s, then it goes on at 1; if the kernel
 *    refuses the count there, another 5 s are watched. Any other event of 0 or more ends the cycle.
 * 4. Otherwise (the kernel refused the count, since a wake-up event came after the read, or the event is negative or
 *    unreadable) a due heartbeat ends the cycle; 10 ms later it goes on at 1.
 *
 * Prints "# hal kt_pm_wakeup_event <event> #" after each sleep, "wifi wake up,will continue sleep after 5s ", "rtc time
 * out ", and what kt_key_event_get(), kt_heartbeat_period_reconfig(), sys_read() and sys_write() print.
 *
 * @return #KT_SLEEP_HEARTBEAT; #KT_SLEEP_KEY when a key came before a sleep; else the event of the last sleep, also
 *         when a key came after it (but #KT_SLEEP_KEY if the event could not be read).
 */
KT_API int kt_auto_sleep_loop(void);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
