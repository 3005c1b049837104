/** Looking at a descriptor through the process file system. */
#include "terminal/notifier/caller_files.h"

#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

namespace kt::terminal {

std::optional<std::uint64_t> board_file(pid_t thread, int descriptor, unsigned board_device)
{
    char path[48];
    std::snprintf(path, sizeof path, "/proc/%d/fd/%d", thread, descriptor);
    struct statx file {};
    // What the kernel remembers will do, and number and device stay: nobody's server is asked, ours or another.
    if (statx(AT_FDCWD, path, AT_STATX_DONT_SYNC, STATX_INO, &file) < 0 || file.stx_dev_major != 0 ||
        file.stx_dev_minor != board_device)
        return std::nullopt;
    // The link's own bits say how it was opened.
    struct statx link {};
    if (statx(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, STATX_MODE, &link) < 0 || (link.stx_mode & 0600) == 0)
        return std::nullopt;
    return file.stx_ino;
}

} // namespace kt::terminal
