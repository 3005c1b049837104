/** The journal as lines that a test can compare whole. */
#pragma once

#include "terminal/client/virtual_terminal.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace kt::tests {

/**
 * The events of the given kinds since forget(), in order, one line each:
 * "open O_RDWR PATH", "read PATH BYTES", "write PATH BYTES", "shell COMMAND", "program NAME ARGUMENT ARGUMENT",
 * "syslog PRIORITY TEXT", "missing PATH", "create PATH", "remove PATH". A refused access ends in " = EIO".
 *
 * Only what concerns the board is told: run-time systems look for files of the processor and of memory management on
 * their own account, and a shell does so for its own start.
 */
std::vector<std::string> told(terminal::virtual_terminal& board, std::initializer_list<std::string_view> kinds);

/** All that a call can do to the board: opens, writes, shell commands, programs, syslog lines. */
std::vector<std::string> doings(terminal::virtual_terminal& board);

/** Several such lists, one behind the other. */
std::vector<std::string> joined(std::initializer_list<std::vector<std::string>> parts);

/** How often a path was opened. */
int opens_of(terminal::virtual_terminal& board, std::string_view path);

} // namespace kt::tests
