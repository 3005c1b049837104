/** The terminal's /proc. */
#pragma once

#include "terminal/root/board_view.h"
#include "terminal/root/new_root.h"

namespace kt::terminal {

/** Called by process 1: shows its own processes, the board's cmdline and sys, and nothing else that can be written. */
void show_processes(const new_root& root, const board_view& board);

} // namespace kt::terminal
