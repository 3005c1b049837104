/** The processes of the terminal, seen from the desk. */
#pragma once

#include <sys/types.h>
#include <vector>

namespace kt::terminal {

/** Those that live in the process namespace of @p helper's children, or in one below it; empty where /proc does not
 * tell. */
std::vector<pid_t> inner_processes(pid_t helper);

} // namespace kt::terminal
