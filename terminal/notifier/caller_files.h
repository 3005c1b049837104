/** Which file of the board a descriptor of the program is. */
#pragma once

#include <cstdint>
#include <optional>
#include <sys/types.h>

namespace kt::terminal {

/**
 * The number of the open file if it is one of the board's, whose minor device number is @p board_device; nothing for
 * another file, a bad descriptor, and one that was opened for its place only (O_PATH). Never asks the board.
 */
std::optional<std::uint64_t> board_file(pid_t thread, int descriptor, unsigned board_device);

} // namespace kt::terminal
