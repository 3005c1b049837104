// What a bench that runs as a terminal's program asks first: whether it is on one.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <linux/magic.h>
#include <sys/vfs.h>

namespace kt::bench {

/** Ends the program unless the kernel's settings are a virtual terminal's: on a desk the bench would change them. */
inline void require_terminal()
{
    struct statfs settings;
    if (statfs("/proc/sys/vm/dirty_ratio", &settings) == 0 && settings.f_type == FUSE_SUPER_MAGIC)
        return;
    std::fputs("this bench runs on a terminal only: kt-terminal --bind FOLDER -- PROGRAM\n", stderr);
    std::exit(2);
}

} // namespace kt::bench
