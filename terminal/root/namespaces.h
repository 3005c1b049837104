/** The namespaces that keep the terminal apart from the host. */
#pragma once

namespace kt::terminal {

/** Moves this process into namespaces of its own (the process one begins with its next child); throws setup_failure. */
void enter_namespaces();

/** Takes away, for good, the right to mount: the host's folders stay read-only for the terminal's root too. */
void give_up_mounting();

} // namespace kt::terminal
