/**
 * @file
 * @brief Raw serial lines by descriptor: line parameters, reads and writes with a time limit, small text files.
 *
 * The layer under the numbered ports of serial.h, for applications that open a line themselves.
 */
#ifndef KT_DRIVER_TTY_H
#define KT_DRIVER_TTY_H

#include <kt_driver/api.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/time.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup tty Serial lines by descriptor
 * @{
 */

/** What kt_tty_control() sets. Zero all of it, then fill in what is needed. */
typedef struct kt_tty_params {
    int32_t baudrate;       /**< Bits per second: one of the rates that kt_tty_control() lists; 0 hangs up. */
    uint32_t reserved_1[2]; /**< Not read. */
    uint32_t vmin;          /**< Bytes that a read waits for (VMIN); above 255 means 255. */
    int32_t timeout_ms;     /**< Timer between bytes in milliseconds, in steps of 100 (VTIME); negative: none. */
    const char *paritymode; /**< "none" (or null), "even" or "odd", in any case of letters. */
    int32_t rtscts;         /**< Not 0: hardware flow control by RTS and CTS. */
    uint8_t hwflow;         /**< Not 0: the same; either of the two turns it on. */
    int32_t ixoff;          /**< Not 0: software flow control of what is received. */
    int32_t ixon;           /**< Not 0: software flow control of what is sent. */
    int32_t modem_lines;    /**< Not 0: the modem's status lines count; 0: local line, breaks are ignored. */
    int32_t cread;          /**< Not 0: the receiver is on. */
    uint32_t reserved_2;    /**< Not read. */
    int32_t drop_dtr;       /**< Not 0: DTR is lowered; 0: DTR is raised. */
    uint8_t databits;       /**< 5, 6, 7 or 8. */
    uint8_t stopbits;       /**< 1 or 2. */
    uint32_t reserved_3;    /**< Not read. */
} kt_tty_params;

/** The commands of kt_tty_control(). */
enum {
    KT_TTY_SET_PARAMS = 0, /**< Set the line as the record says. */
    KT_TTY_GET_PARAMS = 1  /**< Not there: refused with ENOSYS. */
};

/**
 * @brief Set a serial line raw, with the parameters of a record.
 *
 * Rates: 0, 50, 75, 110, 134, 150, 200, 300, 600, 1200, 1800, 2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400,
 * 460800, 500000, 576000, 921600, 1000000, 1152000, 1500000, 2000000, 2500000, 3000000, 3500000, 4000000; no other.
 *
 * With a timer, VTIME is timeout_ms / 100 in one byte, so it wraps above 25599 ms, and VMIN may be 0. Without one,
 * VTIME is 0 and a VMIN of 0 becomes 1. Input is taken as it comes, but bytes with a wrong parity are dropped, and the
 * eighth bit is cleared when there are fewer than 8 data bits. PARODD stays as it was when there is no parity. The line
 * hangs up when it is closed. DTR is set first; a line without modem signals is configured all the same.
 *
 * A refused record leaves the line as it was, and one line in syslog at error priority that begins with "[ERROR] " (a
 * null record: none).
 *
 * Kernel: TCGETS, TIOCMGET, TIOCMSET, TCSETS (tcsetattr(3), at once).
 *
 * @param fd      Descriptor of the line.
 * @param cmd     #KT_TTY_SET_PARAMS.
 * @param params  The record; not changed.
 * @return 0; -1: failed, @c errno says why.
 * @errno EINVAL  rate, data bits, stop bits, parity or command that is not known; a null record
 * @errno ENOSYS  the command is #KT_TTY_GET_PARAMS
 * @errno EBADF   the descriptor is not open, whatever the command (ENOTTY: it is no serial line; likewise other causes
 *                of tcgetattr(3) and tcsetattr(3))
 * @note Threads: any; on one line one at a time.
 */
KT_API int kt_tty_control(int fd, int cmd, kt_tty_params *params);

/**
 * @brief Wait until a descriptor can be read or written, or has an exceptional condition.
 *
 * Signals do not end the wait, and the time goes on. Kernel: select(2).
 *
 * @param fd           The descriptor, below FD_SETSIZE.
 * @param want_read    Not 0: wait for input.
 * @param want_write   Not 0: wait for room for output.
 * @param want_except  Not 0: wait for an exceptional condition.
 * @param timeout      Longest wait; becomes what was left of it. Null: without limit.
 * @return A number above 0: ready; -1: failed, @c errno says why.
 * @errno ETIME   nothing came in time
 * @errno EBADF   @p fd is negative or not open
 * @errno EINVAL  @p fd is FD_SETSIZE or more; the time is negative
 * @note Threads: any.
 */
KT_API int kt_handle_ready(int fd, int want_read, int want_write, int want_except, struct timeval *timeout);

/**
 * @brief Read once, waiting a limited time for the first byte.
 *
 * Kernel: select(2), then fcntl(2) and one non-blocking read(2); without a limit, one read(2) as the descriptor is.
 *
 * @param      fd       The descriptor.
 * @param[out] buf      Room for @p len bytes.
 * @param      len      Most bytes to return.
 * @param      timeout  Longest wait, becomes what was left of it; zero polls. Null: without limit.
 * @return 1 to @p len: bytes read, not gathered over time; 0: end of file; -1: failed, @c errno says why.
 * @errno ETIME   nothing arrived in time
 * @errno EAGAIN  another reader took the bytes between wait and read
 * @errno EINVAL  @p buf is null and @p len is not 0; as in kt_handle_ready()
 * @note Threads: any; during the call O_NONBLOCK is set on the descriptor, which other users of it see.
 */
KT_API int kt_read_timeout(int fd, void *buf, unsigned len, struct timeval *timeout);

/**
 * @brief Write once, waiting a limited time for room.
 *
 * As kt_read_timeout(), with write(2).
 *
 * @return Bytes written, which may be fewer than @p len; -1: failed, @c errno says why (ETIME, EAGAIN, EINVAL as
 * there).
 */
KT_API int kt_write_timeout(int fd, const void *buf, unsigned len, struct timeval *timeout);

/**
 * @brief Make a descriptor non-blocking, and tell how it was.
 *
 * Kernel: fcntl(2), F_GETFL, and F_SETFL when O_NONBLOCK is not set yet.
 *
 * @param      fd           The descriptor.
 * @param[out] saved_flags  The status flags as they were; -1 when they could not be read.
 * @return The result of the last fcntl(2): 0 or, when it was non-blocking already, the flags; -1: failed.
 * @errno EBADF   the descriptor is not open
 * @errno EINVAL  @p saved_flags is null
 */
KT_API int record_and_set_non_blocking_mode(int fd, int *saved_flags);

/**
 * @brief Open a new pseudo-terminal's master.
 *
 * Kernel: /dev/ptmx, opened with O_RDWR and O_NOCTTY, TIOCSPTLCK, TIOCGPTN.
 *
 * @param[out] slave_name  The slave's path, with its terminator.
 * @param      len         Room in @p slave_name.
 * @return The master, which the caller closes; -1: failed, @c errno says why, nothing stays open.
 * @errno EOVERFLOW  the path with its terminator needs more than @p len bytes
 * @errno EINVAL     @p slave_name is null
 * @note Threads: any.
 */
KT_API int pty_master_open(char *slave_name, size_t len);

/**
 * @brief Read the beginning of a small file in one read.
 *
 * Prints "Error argument is nul!" (without line feed), "Error opening <path>" or "Error reading to <path>" when it
 * fails.
 *
 * @param      path  The file.
 * @param[out] buf   Room for @p len bytes; not terminated: clear it before to have a text.
 * @param      len   One more than the most bytes to read; with 1 nothing is read.
 * @return Bytes read; -1: failed, @c errno says why.
 * @errno EINVAL  @p path or @p buf is null; @p len is 0 (prints nothing)
 * @note Threads: any.
 */
KT_API int sys_read(const char *path, char *buf, unsigned len);

/**
 * @brief Write a text to an existing small file in one write; it is neither made nor cut.
 *
 * Prints "Error argument is nul!" (without line feed), "Error opening <path>" or "Error writing to <path>" when it
 * fails.
 *
 * @return Bytes written; -1: failed, @c errno says why.
 * @errno EINVAL  @p path or @p text is null
 * @note Threads: any.
 */
KT_API int sys_write(const char *path, const char *text);

/** @} */

#ifdef __cplusplus
}

/**
 * @brief Put back what record_and_set_non_blocking_mode() found. For C++: exported under its type-encoded name.
 *
 * Nothing is done when the flags had O_NONBLOCK, or are -1.
 *
 * @ingroup tty
 */
KT_API void restore_non_blocking_mode(int fd, int saved_flags);
#endif

#endif
