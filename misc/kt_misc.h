// What the board switches keep between calls.
#pragma once

namespace kt {

/** The USB route in force: 0 device, any other value host; -1 when it could not be read at start. */
extern int kt_usb_route;

} // namespace kt
