/** System call filters of process 1, for what neither a namespace nor a file can do. */
#pragma once

#include "terminal/descriptor.h"

namespace kt::terminal {

/** Refuses, for all descendants, to type into the caller's terminal as if the person had; throws setup_failure. */
void forbid_typing();

/**
 * Lets these calls of all descendants wait until the receiver's owner has answered: every FIONREAD, for which the
 * kernel itself would tell a board file's size; the calls that set the calendar's time or read it (those that a program
 * makes by the kernel; what its C library reads by itself is seen to in terminal/notifier/time_functions.h); and one
 * that each program makes as it starts. Empty, with errno, where the kernel cannot (ENOSYS, EINVAL) or an outer
 * terminal does so (EBUSY).
 */
descriptor hand_over_calls();

} // namespace kt::terminal
