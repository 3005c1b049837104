/** The last step: from the terminal's own process to the program. */
#pragma once

#include "terminal/root/init.h"

namespace kt::terminal {

/** Replaces this process by the program, with default signal dispositions; throws setup_failure if that cannot be. */
[[noreturn]] void become_program(const program_start& start);

} // namespace kt::terminal
