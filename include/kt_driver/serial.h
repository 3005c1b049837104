/**
 * @file
 * @brief The terminal's serial links by number, the older Uart* names for them, and what serves serial traffic: FIFO
 *        and CRC-32.
 */
#ifndef KT_DRIVER_SERIAL_H
#define KT_DRIVER_SERIAL_H

#include <kt_driver/api.h>
#include <kt_driver/crc32.h>
#include <kt_driver/fifo.h>
#include <kt_driver/tty.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup serial_ports Serial ports
 *
 * - 20 and 60: USB, two names of one link; opened as 60 it is non-blocking. As USB device (route 0 and 1)
 * "/dev/ttyGS0"; as host (2) "/dev/ttyACM0", or else "/dev/ttyUSB0".
 * - 21: the modem's data channel, "/dev/chn/3"
 * - 25: the Wi-Fi module, "/dev/ttyS5"
 * - 26: the secure processor, "/dev/sp_uart0"
 * - 27: the GPS receiver, "/dev/ttyS4"; on hardware version 300 "/dev/ttyS5"
 * - 61: USB serial of the dock, "/dev/ttyUSB0"
 * - 62: RS-232 of the dock, "/dev/ttyUSB1"; on hardware version 50 "/dev/ttyS4"
 * - 63: USB host, modem class: the first of "/dev/ttyACM0" to "/dev/ttyACM31" that opens
 *
 * What holds for all functions on a port:
 * - an unknown number: -1 with EINVAL; nothing is printed but the trace lines of open and close, and what
 *   kt_serial_open() says;
 * - a port that is not open: prints "this serial don't init", -1 with EBADF.
 * - Threads: the table is not locked. Serialise opening and closing a port against its use.
 *
 * Nothing is opened at start-up and nothing closed at exit.
 * @{
 */

/** The arguments of kt_serial_open(): each takes one of its own values. */
enum {
    KT_SERIAL_8_DATA_BITS = 0,
    KT_SERIAL_9_DATA_BITS = 4096, /**< No line here has them: the port is opened but not configured. */
    KT_SERIAL_1_STOP_BIT = 0,
    KT_SERIAL_2_STOP_BITS = 8192,
    KT_SERIAL_NO_PARITY = 0,
    KT_SERIAL_EVEN_PARITY = 1024,
    KT_SERIAL_ODD_PARITY = 1536
};

/**
 * @brief Open a port, closing it first when it is open, and configure its line: raw, no flow control, DTR raised.
 *
 * Prints "#hal kt_serial_open <port>#" and what the port's own opening prints. Input that waits is discarded. A read on
 * the line returns as soon as one byte is there. The USB route is read from the board on every call. A route other than
 * 0, 1 and 2 opens nothing on ports 20 and 60: a descriptor left from an earlier open is closed, its number stays the
 * port's, and configuring it fails with EBADF. Whatever opens a file next may get that number: set the route right and
 * open the port again before using it.
 *
 * The fiftieth failure in a row of port 21 makes the modem's supervision run, see kt_gsm_cmux_run_check(), which takes
 * up to a minute; the count then starts again.
 *
 * Kernel: open(2) with O_RDWR, then kt_tty_control() and TCFLSH.
 *
 * @param port      Port number.
 * @param baudrate  Bits per second, a rate of kt_tty_control().
 * @param databits  #KT_SERIAL_8_DATA_BITS or #KT_SERIAL_9_DATA_BITS.
 * @param stopbits  #KT_SERIAL_1_STOP_BIT or #KT_SERIAL_2_STOP_BITS.
 * @param parity    #KT_SERIAL_NO_PARITY, #KT_SERIAL_EVEN_PARITY or #KT_SERIAL_ODD_PARITY.
 * @return 0; -1: failed, @c errno says why. When only configuring failed, the port is open under its old settings.
 * @errno EINVAL  unknown port (prints "kt_uart_open error no this com"); a value above is not one of those named
 * (prints "params error", nothing is touched); the rate is not known; 9 data bits
 * @errno ENODEV  ports 20 and 60: the USB route is unknown, and nothing was open
 * @errno ENOENT  the node is not there (likewise other causes of open(2))
 */
KT_API int kt_serial_open(int port, int baudrate, int databits, int stopbits, int parity);

/** @brief Close a port. Prints "#hal kt_serial_close <port>#" first. @return 0; -1: unknown or not open. */
KT_API int kt_serial_close(int port);

/**
 * @brief Write to a port, waiting until the kernel has taken bytes.
 *
 * Kernel: one write(2).
 *
 * @param port  Port number.
 * @param buf   Bytes to send.
 * @param len   Number of bytes.
 * @return Bytes written, which may be fewer than @p len; -1: failed, @c errno says why.
 * @errno EINVAL  @p buf is null and @p len is not 0
 * @errno EAGAIN  there is no room on a link that was opened as port 60
 */
KT_API int kt_serial_write(int port, const void *buf, unsigned len);

/**
 * @brief Read what a port has received, waiting a limited time for the first byte.
 *
 * Waits for input, then makes one read: the result is what was there, not @p len bytes gathered over time.
 * Kernel: select(2), then one non-blocking read(2) on the port's tty.
 *
 * @param      port        Port number.
 * @param[out] buf         Room for @p len bytes; untouched on failure.
 * @param      len         Most bytes to return.
 * @param      timeout_ms  Longest wait in milliseconds; 0 polls; a negative time fails with EINVAL.
 * @return 1 to @p len: bytes read; 0: end of file, the other side hung up; -1: failed, @c errno says why.
 * @errno ETIME   nothing arrived in time
 * @errno EAGAIN  another reader took the bytes between wait and read
 * @errno EINVAL  a negative time; @p buf is null and @p len is not 0
 * @note Threads: one at a time per port: O_NONBLOCK is set on the shared descriptor during the call.
 */
KT_API int kt_serial_read(int port, void *buf, unsigned len, int timeout_ms);

/** @brief Discard what a port has received; what it still has to send stays. Kernel: TCFLSH. @return 0; -1: failed. */
KT_API int kt_serial_flush(int port);

/**
 * @brief Tell how many bytes wait on a port. Kernel: FIONREAD, TIOCOUTQ.
 *
 * @param      port      Port number.
 * @param[out] tx_count  Bytes that still have to be sent; may be null; untouched where the line cannot tell.
 * @param[out] rx_count  Bytes received and not read; may be null; untouched where the line cannot tell.
 * @return 0, whatever the line told; -1: unknown or not open.
 */
KT_API int kt_serial_data_avail(int port, int *tx_count, int *rx_count);

/** @brief The descriptor of an open port, which stays the library's. @return The descriptor; -1: unknown or not open.
 */
KT_API int kt_serial_get_fd(int port);

/** @brief Does nothing. @return 0. */
KT_API int kt_serial_set_mctrl(KT_ANY_ARGUMENTS);
/** @brief Does nothing. @return 0. */
KT_API int kt_serial_get_mctrl(KT_ANY_ARGUMENTS);

/** @} */

/**
 * @defgroup uart Older names for the serial ports
 *
 * For applications that were written for them. Port numbers, texts, results and @c errno are those of @ref
 * serial_ports.
 * @{
 */

/** @brief Does nothing. @return 0. */
KT_API int UartInit(void);

/**
 * @brief Open a port, see kt_serial_open().
 *
 * @param port      Port number.
 * @param baudrate  Bits per second.
 * @param databits  Ignored: there are always 8.
 * @param stopbits  1 or 2; anything else is passed on as it is, so kt_serial_open()'s own values work too.
 * @param parity    0: none, 1: odd, 2: even; anything else is passed on as it is.
 */
KT_API int UartOpen(int port, int baudrate, int databits, int stopbits, int parity);

/** @brief kt_serial_close(). */
KT_API int UartClose(int port);

/** @brief kt_serial_write(). */
KT_API int UartSend(int port, const void *buf, unsigned len);

/** @brief kt_serial_read(). */
KT_API int UartRecv(int port, void *buf, unsigned len, int timeout_ms);

/** @brief Received bytes that wait to be read. @return Their number; 0 also when the port is unknown or not open. */
KT_API int UartGetRXBufCount(int port);

/** @brief Bytes that still have to be sent. @return Their number; 0 also when the port is unknown or not open. */
KT_API int UartGetTXBufCount(int port);

/** @brief kt_serial_flush(): discards what was received. */
KT_API int UartClear(int port);

/** @brief Does nothing. @return 0. */
KT_API int kt_appport_setfifo(KT_ANY_ARGUMENTS);
/** @brief Does nothing. @return 0. */
KT_API int kt_appport_put_bytes(KT_ANY_ARGUMENTS);
/** @brief Does nothing. */
KT_API void kt_appport_writecb(KT_ANY_ARGUMENTS);

/** @} */

#ifdef __cplusplus
}

/** @brief Does nothing. @return 0. For C++: exported under its type-encoded name. @ingroup serial_ports */
KT_API int kt_serial_free_avail(int port, int *tx_count, int *rx_count);
#endif

#endif
