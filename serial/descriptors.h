// The descriptors of the port table: one per link, -1 while it is closed.
#pragma once

namespace kt {

extern int uart_usb_fd; // ports 20 and 60
extern int uart_gsm_fd;
extern int uart_wifi_fd;
extern int uart_main_fd;
extern int uart_gps_fd;
extern int uart_usb_dock_fd;
extern int uart_rs232_dock_fd;
extern int uart_usb_host_fd;

/** A port's descriptor; null for an unknown port. */
int* descriptor_of(int port);

} // namespace kt
