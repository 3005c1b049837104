// Numbered ports: opening and configuring, closing, and the bytes that go through.
#include "base/failure.h"
#include "kt_driver/misc.h"
#include "kt_driver/serial.h"
#include "serial/descriptors.h"
#include "serial/port_nodes.h"

#include <cerrno>
#include <cstdio>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace kt {

int uart_usb_fd = -1;
int uart_gsm_fd = -1;
int uart_wifi_fd = -1;
int uart_main_fd = -1;
int uart_gps_fd = -1;
int uart_usb_dock_fd = -1;
int uart_rs232_dock_fd = -1;
int uart_usb_host_fd = -1;

int* descriptor_of(int port)
{
    switch (port) {
    case 20:
    case 60:
        return &uart_usb_fd;
    case 21:
        return &uart_gsm_fd;
    case 25:
        return &uart_wifi_fd;
    case 26:
        return &uart_main_fd;
    case 27:
        return &uart_gps_fd;
    case 61:
        return &uart_usb_dock_fd;
    case 62:
        return &uart_rs232_dock_fd;
    case 63:
        return &uart_usb_host_fd;
    default:
        return nullptr;
    }
}

namespace {

/** An open port's descriptor; null, with errno set and a closed port told of, when there is none. */
int* open_port(int port)
{
    int* const fd = descriptor_of(port);
    if (fd == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    if (*fd < 0) {
        std::puts("this serial don't init");
        errno = EBADF;
        return nullptr;
    }
    return fd;
}

/** Turns the arguments of kt_serial_open() into a record. False: one of them is not known. */
bool encode(kt_tty_params& params, int databits, int stopbits, int parity)
{
    switch (databits) {
    case KT_SERIAL_8_DATA_BITS:
        params.databits = 8;
        break;
    case KT_SERIAL_9_DATA_BITS:
        params.databits = 9;
        break;
    default:
        return false;
    }
    switch (stopbits) {
    case KT_SERIAL_1_STOP_BIT:
        params.stopbits = 1;
        break;
    case KT_SERIAL_2_STOP_BITS:
        params.stopbits = 2;
        break;
    default:
        return false;
    }
    switch (parity) {
    case KT_SERIAL_NO_PARITY:
        params.paritymode = "none";
        break;
    case KT_SERIAL_EVEN_PARITY:
        params.paritymode = "even";
        break;
    case KT_SERIAL_ODD_PARITY:
        params.paritymode = "odd";
        break;
    default:
        return false;
    }
    return true;
}

/** All of this happens even when the line refuses its settings: the port then stays open under the old ones. */
int configure(int port, int fd, kt_tty_params& params)
{
    const int result = kt_tty_control(fd, KT_TTY_SET_PARAMS, &params);
    const kt::errno_keeper keeper;
    (void)tcflush(fd, TCIFLUSH);
    if (port == 60) {
        std::puts("KT_UART_COM60 set non blocking mode");
        int blocking_flags = 0; // nobody puts them back: the mode stays until the port is opened again
        (void)record_and_set_non_blocking_mode(fd, &blocking_flags);
    }
    return result;
}

} // namespace

} // namespace kt

int kt_serial_open(int port, int baudrate, int databits, int stopbits, int parity)
{
    const int usb_route = kt_get_usb_route();
    std::printf("#hal kt_serial_open %d#\n", port);

    kt_tty_params params{};
    params.baudrate = baudrate;
    params.timeout_ms = -1; // with a least count of 0: a read returns as soon as one byte is there
    params.cread = 1;
    if (!kt::encode(params, databits, stopbits, parity)) {
        std::puts("params error");
        return kt::refuse(EINVAL);
    }
    const int fd = kt::open_node(port, usb_route);
    return fd < 0 ? -1 : kt::configure(port, fd, params);
}

int kt_serial_close(int port)
{
    std::printf("#hal kt_serial_close %d#\n", port);
    int* const fd = kt::open_port(port);
    if (fd == nullptr)
        return -1;
    (void)close(*fd);
    *fd = -1;
    return 0;
}

int kt_serial_write(int port, const void* buf, unsigned len)
{
    const int* const fd = kt::open_port(port);
    return fd == nullptr ? -1 : kt_write_timeout(*fd, buf, len, nullptr);
}

int kt_serial_read(int port, void* buf, unsigned len, int timeout_ms)
{
    const int* const fd = kt::open_port(port);
    if (fd == nullptr)
        return -1;
    if (timeout_ms < 0)
        return kt::refuse(EINVAL);
    timeval timeout{};
    timeout.tv_sec = timeout_ms / 1000;
    timeout.tv_usec = static_cast<decltype(timeout.tv_usec)>(timeout_ms % 1000) * 1000;
    return kt_read_timeout(*fd, buf, len, &timeout);
}

int kt_serial_flush(int port)
{
    const int* const fd = kt::open_port(port);
    return fd == nullptr ? -1 : tcflush(*fd, TCIFLUSH);
}

int kt_serial_data_avail(int port, int* tx_count, int* rx_count)
{
    const int* const fd = kt::open_port(port);
    if (fd == nullptr)
        return -1;
    if (rx_count != nullptr)
        (void)ioctl(*fd, FIONREAD, rx_count);
    if (tx_count != nullptr)
        (void)ioctl(*fd, TIOCOUTQ, tx_count);
    return 0;
}

int kt_serial_get_fd(int port)
{
    const int* const fd = kt::open_port(port);
    return fd == nullptr ? -1 : *fd;
}

int kt_serial_free_avail(int /*port*/, int* /*tx_count*/, int* /*rx_count*/)
{
    return 0;
}

int kt_serial_set_mctrl(...)
{
    return 0;
}

int kt_serial_get_mctrl(...)
{
    return 0;
}
