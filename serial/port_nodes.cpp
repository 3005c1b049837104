// Opening the device node behind a port: which one it is, what is printed, and what follows when it fails.
#include "serial/port_nodes.h"

#include "base/failure.h"
#include "kt_driver/base.h"
#include "kt_driver/misc.h"
#include "kt_driver/net.h"
#include "kt_driver/serial.h"
#include "serial/descriptors.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace kt {

namespace {

/** Failed opens of port 21 in a row. */
int gsm_open_error_count = 0;

/** So many of them make the modem's supervision run. */
constexpr int most_gsm_failures = 50;

int open_device(const char* node)
{
    return open(node, O_RDWR);
}

int open_gsm()
{
    uart_gsm_fd = open_device("/dev/chn/3");
    if (uart_gsm_fd >= 0) {
        std::printf("KT_UART_COM21 uart_gsm_fd=%d\n", uart_gsm_fd);
        gsm_open_error_count = 0;
        return uart_gsm_fd;
    }
    const errno_keeper keeper;
    std::printf("KT_UART_COM21 error %m\n");
    if (++gsm_open_error_count < most_gsm_failures)
        return -1;
    std::printf("gsm_open_error_count %d\n", gsm_open_error_count);
    // The supervision opens this port too, and may fail: from 0, so that it does not run within itself.
    gsm_open_error_count = 0;
    (void)kt_gsm_cmux_run_check();
    gsm_open_error_count = 0;
    return -1;
}

/** Opens one of the nodes that the USB link may have, and tells the result. */
int try_usb(const char* node)
{
    const int fd = open_device(node);
    const errno_keeper keeper;
    std::printf("open %s,%d\n", node, fd);
    return fd;
}

int open_usb(int route)
{
    std::printf("usb_route %d\n", route);
    errno = ENODEV; // the cause when the route is unknown and nothing was open
    if (route == 0 || route == 1) {
        (void)kt_adb_status();
        uart_usb_fd = try_usb("/dev/ttyGS0");
    } else if (route == 2) {
        uart_usb_fd = try_usb("/dev/ttyACM0");
        if (uart_usb_fd < 0)
            uart_usb_fd = try_usb("/dev/ttyUSB0");
    }
    if (uart_usb_fd < 0) {
        const errno_keeper keeper;
        std::printf("KT_UART_COM20 error %m\n");
    }
    return uart_usb_fd;
}

int open_gps()
{
    uart_gps_fd = open_device(kt_hardware_ver() == 300 ? "/dev/ttyS5" : "/dev/ttyS4");
    {
        const errno_keeper keeper;
        std::printf("uart_gps_fd =%d\n", uart_gps_fd);
    }
    if (uart_gps_fd < 0) {
        const errno_keeper keeper;
        std::printf("kt_uart_usb_open uart gps error %m\n");
    }
    return uart_gps_fd;
}

/** The links with one node and the message that they share. */
int open_plain(int& fd, const char* node)
{
    fd = open_device(node);
    if (fd < 0) {
        const errno_keeper keeper;
        std::printf("kt_uart_usb_open error %m\n");
    }
    return fd;
}

/** A modem-class device gets whichever number is free. */
int open_usb_host()
{
    static constexpr char prefix[] = "/dev/ttyACM";
    for (int number = 0; number < 32; ++number) {
        char node[64] = {};
        (void)std::snprintf(node, sizeof node, "%s%d", prefix, number);
        uart_usb_host_fd = open_device(node);
        if (uart_usb_host_fd >= 0) {
            std::printf("kt_uart_usb_host_open success %s fd=%d", node, uart_usb_host_fd);
            return uart_usb_host_fd;
        }
    }
    const errno_keeper keeper;
    std::printf("kt_uart_usb_host_open %s (0~31) %m last\n", prefix);
    return -1;
}

} // namespace

int open_node(int port, int usb_route)
{
    const int* const open_one = descriptor_of(port);
    if (open_one != nullptr && *open_one >= 0)
        (void)close(*open_one);
    switch (port) {
    case 21:
        return open_gsm();
    case 20:
    case 60:
        return open_usb(usb_route);
    case 26:
        return open_plain(uart_main_fd, "/dev/sp_uart0");
    case 25:
        return open_plain(uart_wifi_fd, "/dev/ttyS5");
    case 27:
        return open_gps();
    case 61:
        return open_plain(uart_usb_dock_fd, "/dev/ttyUSB0");
    case 62:
        return open_plain(uart_rs232_dock_fd, kt_hardware_ver() == 50 ? "/dev/ttyS4" : "/dev/ttyUSB1");
    case 63:
        return open_usb_host();
    default:
        std::puts("kt_uart_open error no this com");
        return refuse(EINVAL);
    }
}

} // namespace kt
