/** The sockets that programs in the terminal find in its own folder. */
#pragma once

#include "terminal/descriptor.h"

#include <string>

namespace kt::terminal {

/** Listening stream socket, open to every program of the terminal; throws setup_failure. */
descriptor make_control_socket(const std::string& path);

/** Bound datagram socket whose messages come with their sender's process; throws setup_failure. */
descriptor make_log_socket(const std::string& path);

} // namespace kt::terminal
