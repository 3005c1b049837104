/* Shows the battery and the keys that are pressed; the power key sends the terminal to sleep until a key wakes it. */
#include <kt_driver/kt_driver.h>
#include <stdio.h>

static void show_battery(void)
{
    static const char* const levels[] = {"unknown", "critical", "low", "normal", "high", "full"};
    static const char* const states[] = {"unknown", "charging", "discharging", "not charging", "full"};
    kt_battery_attr battery;
    if (kt_power_battery_attr(&battery) == 0)
        printf("Battery: %d %%, %d mV, %s, %s\n", battery.capacity, battery.voltage, levels[battery.level],
               states[battery.status]);
    else
        printf("Battery: none\n");
}

/* Until the power key is let go. Keys of the keypad are told when the power key is pressed: until then kt_get_key()
   waits for it. An application that wants them at once polls kt_pm_get_key(). */
static void show_keys(void)
{
    kt_key_event event;
    do {
        if (kt_get_key(&event) == 0)
            return;
        printf("Key %u %s\n", (unsigned)event.key, event.state == 1 ? "pressed" : "released");
        fflush(stdout);
    } while (event.key != KT_KEY_POWER || event.state != 0);
}

int main(void)
{
    kt_driverlib_init();
    show_battery();
    printf("Press keys, then the power key\n");
    fflush(stdout);
    show_keys();
    printf("Going to sleep\n");
    printf("Awake again: event %d\n", kt_system_power_state(POWER_STATE_SUSPEND));
    show_battery();
    return 0;
}
