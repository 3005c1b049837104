// Opening the device node behind a port.
#pragma once

namespace kt {

/**
 * Closes what the port has open, opens its node, stores the descriptor and prints what belongs to it. @p usb_route is
 * the board's. The descriptor; -1: no node opened, errno says why.
 */
int open_node(int port, int usb_route);

} // namespace kt
