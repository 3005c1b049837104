// One access to a kernel attribute: stat, open, read or write.
#include "base/sysfs_access.h"

#include "base/sysfs_exception.h"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kt {

namespace {

/** Throws the failure of the system call just made. Apart from the steps, so that a good access carries no text. */
[[noreturn, gnu::cold, gnu::noinline]] void fail(const char* step, const char* path)
{
    const int cause = errno;
    throw sysfs_exception((std::string(step) + path).c_str(), cause);
}

[[noreturn, gnu::cold, gnu::noinline]] void fail_write(const char* value, const char* path)
{
    const int cause = errno;
    throw sysfs_exception((std::string("can't write ") + value + " to " + path).c_str(), cause);
}

int flags_for_owner(mode_t permissions)
{
    if ((permissions & (S_IRUSR | S_IWUSR)) == (S_IRUSR | S_IWUSR))
        return O_RDWR;
    return (permissions & S_IWUSR) != 0 ? O_WRONLY : O_RDONLY;
}

} // namespace

int open_attribute(const char* path, int& mode)
{
    struct stat attribute;
    if (stat(path, &attribute) < 0)
        fail("stat ", path);
    mode = flags_for_owner(attribute.st_mode);
    const int fd = open(path, mode);
    if (fd < 0)
        fail("can't open ", path);
    return fd;
}

void read_attribute(int fd, const char* path, char* text, std::size_t size)
{
    const ssize_t count = read(fd, text, size);
    if (count < 0)
        fail("can't read ", path);
    text[count] = '\0';
}

int write_attribute(int fd, const char* path, const char* bytes, std::size_t length)
{
    const ssize_t count = write(fd, bytes, length);
    if (count < 0)
        fail_write(bytes, path);
    return static_cast<int>(count);
}

int write_attribute_number(int fd, const char* path, unsigned value)
{
    char token[2 + 8 + 1] = "0x";
    char* const end = std::to_chars(token + 2, token + sizeof token - 1, value, 16).ptr; // 8 digits always fit
    *end = '\0';
    return write_attribute(fd, path, token, static_cast<std::size_t>(end - token));
}

} // namespace kt
