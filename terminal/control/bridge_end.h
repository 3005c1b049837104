/** The desk's end of a bridge: a pty, or a TCP port of the loopback. */
#pragma once

#include "terminal/descriptor.h"

#include <string>

namespace kt::terminal {

struct bridge_end {
    descriptor channel;   /**< Where bytes go now; none while nobody is connected. */
    descriptor listening; /**< For further connections; none for a pty. */
    descriptor held;      /**< The pty's other side, so that it outlives the tools that open it. */
    std::string pty;      /**< Its path, or empty. */
    int tcp_port = 0;     /**< Its number, or 0. */

    /** A raw pty. Throws std::runtime_error. */
    static bridge_end on_pty();

    /** A listening port of 127.0.0.1, of any number for 0. Throws std::runtime_error. */
    static bridge_end on_tcp(int port);
};

} // namespace kt::terminal
