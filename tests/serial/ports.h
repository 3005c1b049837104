/** The ports that a test opens, and where the board keeps what decides on them. */
#pragma once

#include <kt_driver/serial.h>

#include "tests/support/outcome.h"
#include "tests/support/paths.h"

#include <string>
#include <unistd.h>

namespace kt::tests {

inline constexpr const char* route_attribute = KT_IOCTL_DIR "usb_route";
inline constexpr const char* processor_node = "/dev/sp_uart0"; /**< Port 26's. */

/** Opens a port at 115200 bit/s, 8N1. */
inline outcome open_port(int port)
{
    return outcome_of([=] { return kt_serial_open(port, 115200, 0, 0, 0); });
}

inline std::string open_line(int port)
{
    return "#hal kt_serial_open " + std::to_string(port) + "#\n";
}

inline std::string close_line(int port)
{
    return "#hal kt_serial_close " + std::to_string(port) + "#\n";
}

/** Waits up to some seconds for what follows a close: the board hears of it a moment after the program. */
template <typename Condition>
bool soon(Condition holds)
{
    for (int attempts = 500; attempts > 0; --attempts) {
        if (holds())
            return true;
        usleep(10'000);
    }
    return false;
}

} // namespace kt::tests
