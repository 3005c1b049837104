// Pseudo-terminals for applications.
#include "base/failure.h"
#include "kt_driver/tty.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

int close_and_refuse(int fd, int cause)
{
    (void)close(fd);
    return kt::refuse(cause);
}

} // namespace

int pty_master_open(char* slave_name, size_t len)
{
    if (slave_name == nullptr)
        return kt::refuse(EINVAL);
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0)
        return -1;
    char name[64]; // "/dev/pts/" and a number
    if (grantpt(master) < 0 || unlockpt(master) < 0)
        return close_and_refuse(master, errno);
    if (const int cause = ptsname_r(master, name, sizeof name); cause != 0)
        return close_and_refuse(master, cause);
    const size_t length = std::strlen(name);
    if (length >= len)
        return close_and_refuse(master, EOVERFLOW);
    std::memcpy(slave_name, name, length + 1);
    return master;
}
