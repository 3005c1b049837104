// What a bench cannot go on without.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace kt::bench {

/** Ends the bench, with what errno says, where a step failed. */
inline void require(bool done)
{
    if (!done) [[unlikely]] {
        std::perror(program_invocation_short_name);
        std::abort();
    }
}

} // namespace kt::bench
