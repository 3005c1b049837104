// Shell commands, run without an echo line.
#pragma once

namespace kt {

/** Runs the command; what was printed before comes out first, so that lines and the command's own output stay in order.
 */
int run_shell(const char* command);

} // namespace kt
