/**
 * @file
 * @brief Keys and the touch panel.
 *
 * Both are input event devices of the kernel, found by the names of their drivers among /dev/input/event0, event1 and
 * so on. Events are read as records of 16 bytes, as a 32-bit kernel writes them: the 64-bit build of the library reads
 * keys and touch on the virtual terminal only, never from a PC's own devices.
 */
#ifndef KT_DRIVER_INPUT_H
#define KT_DRIVER_INPUT_H

#include <kt_driver/api.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup input_devices Finding input devices
 * @{
 */

/**
 * @brief Find an input device by its name.
 *
 * Reads "/sys/class/input/event0/device/name", event1 and so on. The search ends at the first index that is missing, or
 * cannot be opened, though higher ones may exist. Prints "find <path>, dev <needle>" or "can't dev <needle>", then
 * "kt_evdev_probe dev_index=<index> ret=<result>".
 *
 * @param needle  The name, or any part of it, as it stands.
 * @return The index of the first device whose name contains @p needle; -1: none does.
 * @errno EINVAL  @p needle is null; nothing is printed
 * @note Threads: any.
 */
KT_API int kt_evdev_probe(const char *needle);

/**
 * @brief Find an input device's node by its name, see kt_evdev_probe().
 *
 * @param      needle  The name, or any part of it.
 * @param[out] dst     Room for 32 bytes: "/dev/input/event<index>" with its terminator; untouched on failure.
 * @return The index; -1: there is no such device.
 * @errno EINVAL  a null argument; nothing is printed
 * @note Threads: any.
 */
KT_API int kt_evdev_get_node(const char *needle, char *dst);

/** @} */

/**
 * @defgroup keypad Keypad
 *
 * Keys come from two devices: the keypad, "Kestrel Keyboard", and of the GPIO buttons, "gpio_keys", the power key. Each
 * is opened twice: kt_get_key() and kt_key_flush() are the application's reader, kt_pm_get_key() and kt_pm_key_flush()
 * that of the sleep cycle (see @ref sleep), and neither takes events from the other. Threads: one for each reader.
 *
 * The terminal's key codes by the keypad's input codes (those of linux/input-event-codes.h); any other code, and one of
 * 256 or more, is key 0:
 *
 * | input | key | input | key | input | key | input | key |
 * |---|---|---|---|---|---|---|---|
 * | 1 | 18 | 6 | 51 | 11 | 34 | 60 | 60 |
 * | 2 | 49 | 7 | 3 | 28 | 36 | 103 | 103 |
 * | 3 | 50 | 8 | 17 | 52 | 33 | 108 | 108 |
 * | 4 | 2 | 9 | 4 | 53 | 35 | 111 | 20 |
 * | 5 | 1 | 10 | 19 | 59 | 59 | 116 | 116 |
 * @{
 */

/** The power key, which the GPIO buttons report; of them no other key is. */
#define KT_KEY_POWER 116

/** What happened to a key. */
typedef struct kt_key_event {
    uint32_t key;   /**< The terminal's key code. */
    uint32_t state; /**< 1: pressed, 0: released. */
} kt_key_event;

/**
 * @brief Open keypad and power key for both readers.
 *
 * A device that is missing or cannot be opened only leaves its keys out: "kt_evdev_get_node error ret = -1 " is printed
 * for missing GPIO buttons, "open <node> device error!" for a node that cannot be opened. Called again, it opens the
 * devices anew that are there; the old descriptors are closed, each directly before the open that replaces it. Those of
 * a device that is not found any more stay in use. The keypad's keys are all key 0 until it was opened for both
 * readers.
 *
 * The application's descriptor of the GPIO buttons stays in blocking mode; the other three do not block. Instead of it
 * the descriptor that the sleep cycle's reader had before is made non-blocking: at the first call of a process that
 * opens the buttons that is 0, its standard input.
 *
 * @return 0 always.
 */
KT_API int kt_key_init(void);

/**
 * @brief Take the next press or release of a key, for the application.
 *
 * The keypad comes first; autorepeats are left out. When the keypad has nothing, and there are GPIO buttons, it @b
 * waits until the power key is pressed or released, or the buttons are gone. Keys of the keypad that are pressed
 * meanwhile come with the next calls. Who needs them at once polls kt_pm_get_key(), whose pending events
 * kt_auto_sleep_loop() drops. A signal does not end the waiting.
 *
 * @param[out] out  The event; untouched when there is none.
 * @return 8, the size of the event; 0: there is none, or it was refused.
 * @errno EINVAL  @p out is null
 */
KT_API int kt_get_key(kt_key_event *out);

/**
 * @brief Take the next press or release of a key, for the sleep cycle; never waits.
 *
 * Prints "type 0x<type> code 0x<code> value 0x<value>" for each event that it reads, of whatever kind.
 *
 * @param[out] out  The event; untouched when there is none.
 * @return 8, the size of the event; 0: there is none, or it was refused.
 * @errno EINVAL  @p out is null
 */
KT_API int kt_pm_get_key(kt_key_event *out);

/**
 * @brief Drop the application's pending events: the GPIO buttons', then the keypad's.
 *
 * With GPIO buttons it does not return while they are there: it waits for further events, as kt_get_key() does, until a
 * signal whose handler does not restart calls, or the device's end.
 *
 * @return 0 always.
 */
KT_API int kt_key_flush(void);

/** @brief Drop the sleep cycle's pending events; does not wait. @return 0 always. */
KT_API int kt_pm_key_flush(void);

/** @} */

/**
 * @defgroup touch Touch panel
 *
 * The device "kt_touch". A resistive panel (bus type 0019) reports position and pressure and must be started through
 * the attribute "touch_start" of "/sys/class/kt_misc/touch/"; a capacitive one reports positions and a touch button.
 * Threads: one.
 * @{
 */

/** A report of the panel. */
typedef struct kt_ts_sample {
    int32_t x;        /**< In the panel's own units. */
    int32_t y;        /**< In the panel's own units. */
    int32_t pressure; /**< The resistive panel's own value; of a capacitive one 4096, or 0 when the finger is lifted. */
    int32_t reserved; /**< 0 from a capacitive panel, left alone by a resistive one. */
} kt_ts_sample;

/**
 * @brief Find and open the panel.
 *
 * Prints "sys_node_name=<directory> ts_type=<bus type>", and "open <node> device error!" when the node cannot be
 * opened. Called again, it closes the old descriptor before it opens the new one; if there is no panel any more, the
 * old one stays in use. A bus type that cannot be read counts as capacitive.
 *
 * @return 0; -1: there is no panel, or it cannot be opened.
 */
KT_API int kt_ts_init(void);

/**
 * @brief Take the next report of the panel; does not wait.
 *
 * A resistive panel is started first if it is not ("touch_start" reads 0). Its reports may carry one coordinate only;
 * one that is 0 in the sample at the report's end is replaced by the last known one. So clear the sample before each
 * call.
 *
 * @param[in,out] s  The sample. Of a resistive panel x and y are read too, and may have changed though 0 is returned.
 * @return 16, the size of the sample; 0: no whole report is pending, there is no panel, or it was refused.
 * @errno EINVAL  @p s is null
 */
KT_API int kt_ts_read(kt_ts_sample *s);

/** @brief Drop pending reports and forget position and touch; a resistive panel's pressure stays. @return 0 always. */
KT_API int kt_ts_flush(void);

/** @brief Whether the terminal has a touch panel, which it always says. @return 1. */
KT_API int kt_ts_probe(void);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
