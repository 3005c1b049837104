/** The one request that no namespace keeps in. */
#pragma once

namespace kt::terminal {

/** Refuses, for all descendants, to type into the caller's terminal as if the person had; throws setup_failure. */
void forbid_typing();

} // namespace kt::terminal
