/** Process 1 of the terminal. */
#pragma once

#include "terminal/root/board_view.h"
#include "terminal/root/new_root.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace kt::terminal {

/** What the program is started with. */
struct program_start {
    const std::vector<std::string>& arguments;
    std::string working_folder;
    mode_t umask;
    bool own_group; /**< The program gets a process group of its own. */
};

/**
 * Finishes and enters the root, hands waiting requests over through @p channel, starts the program, reaps until it has
 * ended, and says how on @p outcome. What the caller of this function still holds of the host must be closed on exec.
 */
[[noreturn]] void run_init(const new_root& root, const board_view& board, const program_start& start, int outcome,
                           descriptor channel);

} // namespace kt::terminal
