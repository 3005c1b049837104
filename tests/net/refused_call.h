/** A system call that the kernel refuses: for failures that no board and no file can bring about. */
#pragma once

namespace kt::tests {

/** From now on the call fails in this process and those it starts. There is no way back. */
void refuse_system_call(long number, int error);

/** Likewise fork(2); threads, and what shares its memory while it starts a program, can still be made. */
void refuse_fork(int error);

} // namespace kt::tests
