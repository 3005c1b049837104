// Small files of the kernel, read or written in one call.
#include "base/failure.h"
#include "base/unique_fd.h"
#include "kt_driver/tty.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

int refuse_null()
{
    std::printf("Error argument is nul!");
    return kt::refuse(EINVAL);
}

/** The descriptor, or -1 with its line printed. */
int open_file(const char* path, int flags)
{
    const int fd = open(path, flags | O_CLOEXEC);
    if (fd < 0) {
        const kt::errno_keeper keeper;
        std::printf("Error opening %s\n", path);
    }
    return fd;
}

} // namespace

int sys_read(const char* path, char* buf, unsigned len)
{
    if (path == nullptr || buf == nullptr)
        return refuse_null();
    if (len == 0)
        return kt::refuse(EINVAL);
    const kt::unique_fd file(open_file(path, O_RDONLY));
    if (file.get() < 0)
        return -1;
    const ssize_t got = read(file.get(), buf, len - 1);
    if (got < 0) {
        const kt::errno_keeper keeper;
        std::printf("Error reading to %s\n", path);
    }
    return static_cast<int>(got);
}

int sys_write(const char* path, const char* text)
{
    if (path == nullptr || text == nullptr)
        return refuse_null();
    const kt::unique_fd file(open_file(path, O_WRONLY));
    if (file.get() < 0)
        return -1;
    const ssize_t written = write(file.get(), text, std::strlen(text));
    if (written < 0) {
        const kt::errno_keeper keeper;
        std::printf("Error writing to %s\n", path);
    }
    return static_cast<int>(written);
}
