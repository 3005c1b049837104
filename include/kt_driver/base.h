/**
 * @file
 * @brief Core services: start-up, versions, kernel attributes, console output, sleeps and shell commands.
 */
#ifndef KT_DRIVER_BASE_H
#define KT_DRIVER_BASE_H

#include <kt_driver/api.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup startup Start-up
 * @brief What an application calls once, before anything else.
 * @{
 */

/**
 * @brief Bring the library up.
 *
 * Runs in this order, whatever each step results in: kt_base_init(), kt_misc_init(), kt_ts_init(),
 * kt_supplypower_init(), kt_rtc_init(), kt_rfid_init(), ignore SIGPIPE for the whole process (writing to a closed pipe
 * or socket then fails with EPIPE instead of ending the process), kt_key_init() (whose first call makes standard input
 * non-blocking), kt_srand_init(). A failing step reports itself by its own line. A second call repeats every step.
 *
 * @return 0 always.
 * @note Threads: the application's main thread, before any other call of the library.
 */
KT_API int kt_driverlib_init(void);

/**
 * @brief Seed the C library's generator, which kt_get_random_number() draws from, with the current time in seconds and
 * the battery's voltage (0 when kt_power_battery_attr(), which then prints its line, fails).
 *
 * Kernel: time(2), and the battery's attributes.
 *
 * @note Threads: one at a time, and not beside kt_get_random_number(); rand(3) has one state for the process.
 */
KT_API void kt_srand_init(void);

/**
 * @brief Read the board's versions, which the version functions report from then on.
 *
 * @return 0 always; a version that could not be read is empty, and the failed access left its line in syslog.
 * @note Threads: one, while no other thread asks for versions. kt_driverlib_init() does it.
 */
KT_API int kt_base_init(void);

/** @} */

/**
 * @defgroup versions Versions and board types
 * @brief What the board and its software say about themselves.
 *
 * The functions report what kt_base_init() read. Before it has run every text is empty and the hardware version is 0.
 * Threads: any, once kt_base_init() has returned, unless a function says otherwise.
 * @{
 */

/** The versions that the kernel reports, each a text of at most 11 characters that ends in NUL. */
typedef struct kt_sysinfo {
    char ubootver[12];    /**< boot loader */
    char kernelver[12];   /**< kernel */
    char rootfsver[12];   /**< root file system */
    char hardwarever[12]; /**< board, decimal digits */
    char wifimodule[12];  /**< Wi-Fi module, decimal digits */
} kt_sysinfo;

/**
 * @brief Read the five versions from the kernel.
 *
 * Each attribute of "/sys/class/kt_misc/sysinfo/" (named like the field) is cut at its last line feed, "rootfsver"
 * twice, and then to 11 characters. An attribute that cannot be read leaves its field empty and a line in syslog, see
 * @ref attributes; the next one is read all the same.
 *
 * Kernel: stat(2), open(2), read(2), close(2) on each attribute.
 *
 * @param[out] info  Filled whole, 60 bytes.
 * @return 0; -1: refused, or no memory: then @p info holds what was read until then.
 * @errno EINVAL  @p info is null
 * @errno ENOMEM  no memory for an access
 * @note Threads: any.
 */
KT_API int kt_get_sysinfo(kt_sysinfo *info);

/** @brief The board's hardware version, for example 90; 0 when it is not known or no number. */
KT_API int kt_get_hwver(void);

/** @brief The same as kt_get_hwver(). */
KT_API int kt_hardware_ver(void);

/** @brief The Wi-Fi module's version; 0 when it is not known or no number. */
KT_API int kt_get_wifimodule_hwver(void);

/** @brief The same as kt_get_wifimodule_hwver(). */
KT_API int kt_wifimodule_ver(void);

/** @brief The kernel's version, under its older name. The text belongs to the library and changes with kt_base_init().
 */
KT_API const char *kt_hal_ver(void);

/**
 * @brief The root file system's version, under its older name. The text belongs to the library and changes with
 * kt_base_init().
 */
KT_API const char *kt_fatfs_ver(void);

/** @brief The flash layer's version, the constant "V1.6.8". */
KT_API const char *kt_fal_ver(void);

/**
 * @brief The boot loader's version, as it passed it to the kernel on the command line.
 *
 * Looks for the first "ktubver=" in the first 1023 bytes of "/proc/cmdline"; the version runs to the next blank, or,
 * when it stands last, to the end with the line feed that closes the command line.
 *
 * Kernel: open(2), read(2), close(2) on "/proc/cmdline". In a process without a standard input the file gets descriptor
 * 0, which counts as failure and stays open.
 *
 * @return The version; "V1.0.0" when the file cannot be read or names none. The text belongs to the library and is
 *         overwritten by the next call.
 * @note Threads: one at a time.
 */
KT_API const char *kt_boot_ver(void);

/**
 * @brief The code of the device type, from the hardware version.
 * @return 501: 88; 90: 92; 300 and more: 65; 200 to 299: 61; 100 to 199: 80; below 80: 84; the others up to 99: 87.
 */
KT_API int kt_get_device_type(void);

/** @brief The code of the main display: 2 on hardware versions below 300, else 11. */
KT_API int kt_get_lcd_type(void);

/** @brief The code of the secondary display: 11 on hardware version 90; -1 on all others, which have none. */
KT_API int kt_get_sublcd_type(void);

/**
 * @brief The processor's identifier. This board offers none: it is 16 zero bytes.
 *
 * @param[out] buf  Room for 16 bytes.
 * @return @p buf; null: refused.
 * @errno EINVAL  @p buf is null
 */
KT_API unsigned char *kt_get_cpuid(unsigned char *buf);

/**
 * @brief Fill a buffer from the C library's generator; no numbers for cryptography.
 *
 * Two rand(3) results make four bytes, stored in the processor's byte order (little-endian).
 *
 * @param      len  Bytes wanted, a multiple of 4; 0 and negative multiples of 4 write nothing. Any other length prints
 *                  "Error len must be 4 align".
 * @param[out] buf  Room for @p len bytes; may be null when nothing is written.
 * @return 0; -1: nothing written.
 * @errno EINVAL  @p len is no multiple of 4, or @p buf is null
 * @note Threads: one at a time, see kt_srand_init().
 */
KT_API int kt_get_random_number(int len, unsigned char *buf);

/** @} */

/**
 * @defgroup attributes Kernel attributes
 * @brief One read or write of one small text file under "/sys".
 *
 * The path is @e dir directly followed by @e name, so @e dir ends with "/". Each call looks at the file anew: stat(2),
 * open(2), one read(2) or write(2), close(2). The file is opened for what its owner's permission bits allow (reading
 * and writing, else writing alone, else reading), whoever the caller is: to read a write-only attribute fails with
 * EBADF, and so does to write a read-only one.
 *
 * A failure writes one line to syslog at priority LOG_ERR: the name of the function that made the access
 * (kt_sys_attr_get_int() for most of the library's own, "get_attr" for the versions), the step that failed with the
 * path
 * ("stat ", "can't open ", "can't read ", "can't write <value> to "), and the text of its @c errno; @c errno still has
 * that number after the call. Examples are ENOENT (no such attribute), EACCES, EBADF, EIO (the driver refused).
 *
 * An allocation failure passes to the caller as std::bad_alloc. Memory is allocated for a page above 4096 bytes, a path
 * above 255 characters, and to report a failure.
 *
 * Threads: any, at any time; only the kernel serialises two accesses to one attribute.
 * @{
 */

/**
 * @brief Read an attribute's text.
 *
 * The text is what one read(2) of one memory page gave, up to its first NUL byte, line feed included. No NUL is written
 * behind it: zero the buffer before the call and make it one byte larger than @p *len.
 *
 * @param         dir   Directory, with its closing "/".
 * @param         name  The attribute's name.
 * @param[out]    buf   Room for @p *len bytes; untouched on failure. May be null when @p *len is 0.
 * @param[in,out] len   In: most bytes to copy. Out: bytes copied; untouched on failure.
 * @return 0; -1: failed, @c errno says why.
 * @errno EINVAL  a pointer is null
 */
KT_API int kt_sys_attr_get_string(const char *dir, const char *name, char *buf, unsigned int *len);

/**
 * @brief Read an attribute's text as a decimal number.
 *
 * White space before it is skipped, one "+" or "-" is accepted, and the first character that is no digit ends it:
 * "0x1f" is 0, "0013" is 13. A text without a number is 0. More than 4294967295 is taken as 4294967295.
 *
 * @param dir   Directory, with its closing "/".
 * @param name  The attribute's name.
 * @return The 32-bit value as an int; -1: failed, @c errno says why. The value 4294967295, and with it the text
 *         "-1", cannot be told from a failure.
 * @errno EINVAL  a pointer is null
 */
KT_API int kt_sys_attr_get_int(const char *dir, const char *name);

/**
 * @brief Write a text to an attribute: exactly its bytes in one write(2), without line feed or NUL.
 *
 * @param dir    Directory, with its closing "/".
 * @param name   The attribute's name.
 * @param value  The text.
 * @return 0, also when the driver took fewer bytes; -1: failed, @c errno says why.
 * @errno EINVAL  a pointer is null
 */
KT_API int kt_sys_attr_set_string(const char *dir, const char *name, const char *value);

/**
 * @brief Write a number to an attribute, as "0x" and lower-case hexadecimal digits: 10 goes out as "0xa".
 *
 * @param dir    Directory, with its closing "/".
 * @param name   The attribute's name.
 * @param value  The number, 0 to 4294967295.
 * @return 0, also when the driver took fewer bytes; -1: failed, @c errno says why.
 * @errno EINVAL  a pointer is null
 */
KT_API int kt_sys_attr_set_int(const char *dir, const char *name, unsigned int value);

/** @} */

/**
 * @defgroup console Console output, sleeps and shell commands
 * @brief The smallest tools. They keep no state and ignore errors of standard output.
 *
 * Threads: any; lines of several threads may interleave.
 * @{
 */

/** @brief Does nothing: the log needs no set-up. @return 0 always. */
KT_API int kt_log_init(void);

/** @brief Does nothing. @return 0 always. */
KT_API int kt_printf_syncobj(void);

/** @brief Does nothing. */
KT_API void kt_console_switch(void);

/** @brief Does nothing. */
KT_API void kt_suspend_ucos(void);

/**
 * @brief Write one character to standard output.
 *
 * @param ch   The character; its low 8 bits are written, and the value 10 is a line feed.
 * @param raw  0: a line feed goes out as CR LF; any other value: every character goes out unchanged.
 * @return 1 always.
 */
KT_API int putchar_i_v1(int ch, int raw);

/**
 * @brief Write bytes to standard output unchanged.
 *
 * @param buf  The bytes; may be null when @p len is 0 or negative.
 * @param len  How many; 0 and negative lengths write nothing.
 * @return @p len; 0 when refused.
 * @errno EINVAL  @p buf is null and @p len is above 0
 */
KT_API int kt_stdout(const unsigned char *buf, int len);

/**
 * @brief Write bytes to standard output, each line feed as CR LF.
 *
 * @param buf  The bytes; may be null when @p len is 0 or negative.
 * @param len  How many; 0 and negative lengths write nothing.
 * @return @p len, added carriage returns not counted; 0 when refused.
 * @errno EINVAL  @p buf is null and @p len is above 0
 */
KT_API int kt_stdout_irq(const unsigned char *buf, int len);

/**
 * @brief Print bytes to standard output in hexadecimal, 16 to a line.
 *
 * A line is the offset, the bytes, and the same bytes as characters ("." for what cannot be printed):
 * "0000 : 4B 54 0A : KT.". A short last line is not padded.
 *
 * @param len  How many bytes; 0 and negative lengths print nothing. Mind the order: the length comes first.
 * @param buf  The bytes; may be null when @p len is 0 or negative.
 * @errno EINVAL  @p buf is null and @p len is above 0: nothing is printed
 */
KT_API void kt_log_hexdump(int len, const unsigned char *buf);

/**
 * @brief Sleep. A signal does not shorten it.
 *
 * Kernel: nanosleep(2), again with the remaining time after EINTR.
 *
 * @param ms  Milliseconds.
 */
KT_API void mdelay(unsigned int ms);

/**
 * @brief Sleep less than a second. A signal does not shorten it.
 *
 * Kernel: nanosleep(2), again with the remaining time after EINTR. A whole second or more is a request that the kernel
 * rejects: such a call returns at once.
 *
 * @param us  Microseconds, 0 to 999,999; more does not sleep at all.
 */
KT_API void udelay(unsigned int us);

/**
 * @brief Run a shell command made of a format text, printing "system: <command>" before.
 *
 * A command is cut at 511 characters, without notice; the rest neither runs nor is printed. What the arguments hold
 * becomes part of a shell command line.
 *
 * Kernel: system(3), after standard output was flushed.
 *
 * @param format  As for printf(3), with its arguments behind.
 * @return What system(3) gives: the shell's wait status; -1: refused, or system(3) failed, @c errno says why. It fails
 *         with ECHILD after the command has run where the process ignores SIGCHLD.
 * @errno EINVAL  @p format is null: nothing is printed
 * @errno EILSEQ  an argument cannot be formatted (any other failure of vsnprintf(3) likewise): nothing is printed
 */
KT_API int system_helper(const char *format, ...) KT_PRINTF_LIKE(1, 2);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
