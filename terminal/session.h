/** One run of a program on a board: puts the terminal's parts together, and takes them apart again. */
#pragma once

#include "terminal/options.h"
#include "terminal/root/launch.h"

#include <string>

namespace kt::terminal {

/** Runs the program to its end. Throws std::exception when the terminal could not be set up. */
launch_result run_session(const terminal_options& options, const std::string& boards_folder,
                          const std::string& version);

} // namespace kt::terminal
