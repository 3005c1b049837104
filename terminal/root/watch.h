/** The helper's second half: seeing the terminal to its end. */
#pragma once

#include <sys/types.h>

namespace kt::terminal {

/** Waits for process 1, or ends it when the terminal's side of @p channel closes; then sends how it ended. Returns 0.
 */
int watch(pid_t init, int outcome, int channel);

} // namespace kt::terminal
