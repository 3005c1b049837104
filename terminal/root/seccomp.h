/** System call filters of process 1, for what neither a namespace nor a file can do. */
#pragma once

#include "terminal/descriptor.h"

namespace kt::terminal {

/** Refuses, for all descendants, to type into the caller's terminal as if the person had; throws setup_failure. */
void forbid_typing();

/**
 * Lets every FIONREAD of all descendants wait until the receiver's owner has answered: the kernel itself would tell a
 * board file's size. Empty, with errno, where the kernel cannot (ENOSYS, EINVAL) or an outer terminal does so (EBUSY).
 */
descriptor hand_over_waiting_bytes();

} // namespace kt::terminal
