/**
 * @file
 * @brief Single switches and queries of the board.
 *
 * Nearly each function is one kernel attribute access or one shell command. What holds for all:
 * - "The ioctl directory" is "/sys/class/kt_misc/ioctl/", the attributes of the board's driver. An access that fails
 *   leaves a line in syslog and its cause in @c errno, see @ref attributes; no memory for it is -1 with ENOMEM.
 * - A result "of system(3)" is the shell's wait status, or -1. Other functions do not look at how their command ended.
 * - A text argument of a command becomes part of a shell command line as it is, so it holds no characters special to
 *   the shell. A command line of system_helper() is cut at 511 characters. A null text is refused with EINVAL.
 * - Threads: any, but for the USB route, see kt_usb_mode().
 */
#ifndef KT_DRIVER_MISC_H
#define KT_DRIVER_MISC_H

#include <kt_driver/api.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief Read the USB route of the board and tune the kernel.
 *
 * Prints "usb route <value>", -1 when the attribute "usb_route" of the ioctl directory could not be read. Then makes
 * the kernel write dirty pages early (background at 5 per cent of memory, foreground at 10) and switches off its
 * warning about hung tasks, by three shell commands whose results are ignored.
 *
 * @return 0 always.
 * @note Threads: one. kt_driverlib_init() does it.
 */
KT_API int kt_misc_init(void);

/**
 * @defgroup leds LEDs
 * @{
 */

/**
 * @brief Set one of the four LEDs, which hang on the card reader's driver.
 *
 * Runs "echo <led> <state> > /sys/class/kt_misc/nfc/nfc_io" through system_helper(), whatever its result.
 *
 * @param led    1 to 4; 5 is accepted and does nothing.
 * @param state  What the driver is to set.
 * @return 0; -1: there is no such LED.
 * @errno EINVAL  @p led is not 1 to 5
 */
KT_API int kt_led_control(int led, int state);

/**
 * @brief Set the camera's light, attribute "cam_led" of the ioctl directory.
 *
 * @param value  Written as an unsigned 32-bit number.
 * @return 0; -1: failed, @c errno says why.
 */
KT_API int kt_camera_leden(int value);

/** @} */

/**
 * @defgroup gps GPS receiver
 * @{
 */

/**
 * @brief Switch the GPS receiver's power, attribute "gps_pwr" of the ioctl directory, by a shell command.
 *
 * @param on  0: off; any other value: on.
 * @return The result of system(3).
 */
KT_API int kt_gps_ctrl(int on);

/** @brief The GPS receiver's power, attribute "gps_pwr" of the ioctl directory. @return The value; -1: failed. */
KT_API int kt_get_gps_power(void);

/** @} */

/**
 * @defgroup usb USB
 * @{
 */

/**
 * @brief The USB route as the board's driver has it, attribute "usb_route" of the ioctl directory.
 * @return 0: device; any other value: host. 0 also when the attribute could not be read (@c errno then says why) or
 *         holds 4294967295.
 */
KT_API int kt_get_usb_route(void);

/**
 * @brief Make the terminal USB host or USB device.
 *
 * When @p route is the one in force (read at start, 0 before that, -1 when it could not be read; then what this
 * function was last given) nothing is done. Else it becomes the one in force, whatever follows; then the role switch's
 * "role" is set to "host" or "device" through system_helper(), and @p route is written to "usb_route" of the ioctl
 * directory.
 *
 * @param route  0: device; any other value: host.
 * @return @p route when nothing was done; else 0; -1: the attribute could not be written, @c errno says why.
 * @note Threads: one at a time.
 */
KT_API int kt_usb_mode(int route);

/**
 * @brief Whether the USB socket has power from outside, attribute "kt_usb_vbus_status" of the ioctl directory.
 * @return The value; -1: failed, @c errno says why. On hardware version 50: 1 without a read.
 */
KT_API int kt_usb_vbus_status(void);

/** @} */

/**
 * @defgroup boot Boot and update
 * @{
 */

/**
 * @brief The mode in which the secure processor powered the terminal up, attribute "sp_powerup_mode" of the ioctl
 * directory.
 * @return The value; 0 also when it could not be read (@c errno then says why) or is 4294967295.
 */
KT_API int kt_get_bootmode(void);

/**
 * @brief Write a picture as the boot logo.
 *
 * Prints "logo write <file>", then runs "/kt/root/flash_logo.sh <file>".
 *
 * @param file  The picture's path, at most 232 characters.
 * @return 0, whatever the script's result; -1: refused.
 * @errno EINVAL  @p file is null or too long: nothing is printed
 */
KT_API int kt_logo_write(const char *file);

/** @brief Restart into download mode, by "/kt/kt_module/autodloader.sh". @return The result of system(3). */
KT_API int kt_reboot_edl(void);

/**
 * @brief Hand a system update over to the recovery system, which installs it at the next start.
 *
 * Moves the package to "/mnt/data/recovery/ota.swu" and sets the boot loader's variable "mode" to "boot-recovery", each
 * step through system_helper() and whatever its result. The caller restarts the terminal.
 *
 * @param package  The package's path, at most 481 characters: a longer one cuts the command that moves it.
 * @return 0; -1: refused.
 * @errno EINVAL  @p package is null
 */
KT_API int kt_ota_system(const char *package);

/** @} */

/**
 * @defgroup adb Debug bridge
 * @brief It is on while the file "/kt/kt_module/0001.txt" exists.
 * @{
 */

/**
 * @brief Switch the debug bridge.
 * @param on  0: off; any other value: on.
 * @return 0 always.
 */
KT_API int kt_adb_ctrl(int on);

/** @brief Whether the debug bridge is on. @return 1: its file can be opened for reading; else 0. */
KT_API int kt_adb_status(void);

/** @} */

/**
 * @defgroup sound Sound
 * @{
 */

/**
 * @brief Set the playback volume, the control "Master Playback Volume" of card hw:0, through system_helper().
 * @param volume  In the steps of the control.
 * @return 0 always.
 */
KT_API int kt_audio_set_volume(int volume);

/**
 * @brief Play an MP3 file through madplay, aplay and system_helper(); returns when it has ended.
 * @param file  The file's path, at most 475 characters: a longer one cuts the command.
 * @return 0, whatever the player's result; -1: refused.
 * @errno EINVAL  @p file is null
 */
KT_API int kt_audio_file_play(const char *file);

/**
 * @brief Play a WAV file through aplay and system_helper(); returns when it has ended.
 * @param file  The file's path, at most 505 characters: a longer one is cut.
 * @return 0, whatever the player's result; -1: refused.
 * @errno EINVAL  @p file is null
 */
KT_API int kt_audio_wav_play(const char *file);

/**
 * @brief Drive the external buzzer, attribute "sp_buzzer" of the ioctl directory.
 * @param unused  Not looked at.
 * @param value   Written as an unsigned 32-bit number.
 * @return 0 always, also when the attribute could not be written.
 */
KT_API int kt_ap_buzzer_control_ext(int unused, int value);

/** @} */

/**
 * @defgroup secure_processor_power Secure processor's power
 * @{
 */

/**
 * @brief Put the secure processor into its download mode: a shell command writes 3 to "sp_power" of the ioctl
 * directory.
 * @return The result of system(3).
 */
KT_API int kt_sp_edl(void);

/**
 * @brief Set the secure processor's power, attribute "sp_power" of the ioctl directory, through system_helper().
 * @param mode  What the driver is to set.
 * @return The result of system(3).
 */
KT_API int kt_sp_power(int mode);

/** @} */

/**
 * @defgroup battery_switches Battery switches
 * @{
 */

/**
 * @brief Set attribute "adc_suspend" of the ioctl directory by a shell command, then wait 100 microseconds.
 * @param on  0: it becomes 5; any other value: it becomes 60.
 * @return 0 always.
 */
KT_API int kt_adc_suspend(int on);

/**
 * @brief Set the battery's protection, attribute "kt_bat_protect_cap" of the ioctl directory.
 * @param capacity  In the driver's unit; written as an unsigned 32-bit number.
 * @return 0; -1: failed, @c errno says why.
 */
KT_API int kt_bat_protect_cap(int capacity);

/** @} */

/**
 * @defgroup sim SIM operator
 * @{
 */

/**
 * @brief Choose the SIM's operator, attribute "kt_sim_operate_id" of the ioctl directory.
 * @param id  Written as an unsigned 32-bit number.
 * @return 0 always, also when the attribute could not be written.
 */
KT_API int kt_sim_set_operate_id(int id);

/** @brief The chosen SIM operator. @return The value; -1: failed, @c errno says why. */
KT_API int kt_sim_get_operate_id(void);

/** @} */

/**
 * @defgroup presence What is there
 * @{
 */

/**
 * @brief Whether the terminal stands in a dock, attribute "kt_dock_exist" of the ioctl directory.
 * @return The value; -1: failed, @c errno says why. On hardware version 50: 0 without a read.
 */
KT_API int kt_dock_exist(void);

/**
 * @brief Whether a network interface exists.
 *
 * Prints "find <path>" or "<path> is not exist", with CR LF at the end; the path is "/sys/class/net/" and the name.
 * Kernel: access(2) on the path.
 *
 * @param ifname  The interface's name, at most 112 characters, for example "wlan0".
 * @return 1: it exists; 0: it does not; -1: refused.
 * @errno EINVAL  @p ifname is null or too long: nothing is printed
 */
KT_API int kt_check_net_exist(const char *ifname);

/**
 * @brief The terminal's model, from its contactless chip; prints and reports what kt_get_rfid_chip() does.
 * @return "KT410 B11" with chip 6, else "KT410 B10"; constants.
 */
KT_API const char *kt_get_model_name(void);

/** @} */

/**
 * @defgroup no_effect Functions with no effect
 * @brief Kept so that applications link and run.
 *
 * They ignore whatever arguments they are given; the functions with a result return 0.
 * @{
 */

#ifndef __cplusplus
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wstrict-prototypes" /* an empty list is what lets C pass any arguments */
#endif

KT_API void kt_misc_pm_lock(KT_ANY_ARGUMENTS);
KT_API void kt_misc_pm_unlock(KT_ANY_ARGUMENTS);
KT_API void kt_charge_current_set(KT_ANY_ARGUMENTS);
KT_API void safe_usleep(KT_ANY_ARGUMENTS);
KT_API void kt_usb2host(KT_ANY_ARGUMENTS);
KT_API void kt_usb2device(KT_ANY_ARGUMENTS);
KT_API void kt_cam_power(KT_ANY_ARGUMENTS);
KT_API void kt_usb2cam(KT_ANY_ARGUMENTS);
KT_API void kt_camera_lumen(KT_ANY_ARGUMENTS);
KT_API void kt_udisk_power(KT_ANY_ARGUMENTS);
KT_API void kt_cpu_vbus(KT_ANY_ARGUMENTS);
KT_API void kt_charge_en(KT_ANY_ARGUMENTS);
KT_API void kt_lock_filesystem(KT_ANY_ARGUMENTS);
KT_API void ql_qr_usb_camera_init(KT_ANY_ARGUMENTS);
KT_API void ql_qr_usb_atcmd_func(KT_ANY_ARGUMENTS);
KT_API void ql_qr_usb_open(KT_ANY_ARGUMENTS);
KT_API void ql_qr_usb_scan(KT_ANY_ARGUMENTS);
KT_API void ql_qr_usb_close(KT_ANY_ARGUMENTS);
KT_API int kt_jtag_status(KT_ANY_ARGUMENTS);
KT_API int kt_jtag_control(KT_ANY_ARGUMENTS);
KT_API int kt_barcode_trig(KT_ANY_ARGUMENTS);

#ifndef __cplusplus
#pragma GCC diagnostic pop
#endif

/** @} */

#ifdef __cplusplus
}
#endif

#endif
