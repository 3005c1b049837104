/** File calls as a program makes them, with their error number as the result. */
#pragma once

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace kt::tests {

/** An open file that is closed at the end. */
class opened_file {
public:
    opened_file(const std::string& path, int flags, mode_t mode = 0644)
        : fd_(::open(path.c_str(), flags | O_CLOEXEC, mode)), error_(fd_ < 0 ? errno : 0)
    {
    }
    ~opened_file() { close(); }
    opened_file(const opened_file&) = delete;
    opened_file& operator=(const opened_file&) = delete;

    int fd() const { return fd_; }
    /** 0, or why it could not be opened. */
    int error() const { return error_; }
    void close()
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

private:
    int fd_;
    int error_;
};

/** 0, or the error number of the call that was just made. */
inline int error_of(long result)
{
    return result < 0 ? errno : 0;
}

inline int open_error(const std::string& path, int flags, mode_t mode = 0644)
{
    return opened_file(path, flags, mode).error();
}

/** All that a file shows; the name of the error in angle brackets when it cannot be opened or read. */
inline std::string shown(const std::string& path)
{
    const opened_file file(path, O_RDONLY);
    if (file.error() != 0)
        return std::string("<") + strerrorname_np(file.error()) + ">";
    std::string all;
    char part[4096];
    for (;;) {
        const ssize_t length = read(file.fd(), part, sizeof part);
        if (length < 0)
            return std::string("<") + strerrorname_np(errno) + ">";
        if (length == 0)
            return all;
        all.append(part, static_cast<std::size_t>(length));
    }
}

/** Opens with these flags, writes once, closes: 0 or the first error number. A short write counts as EIO. */
inline int put(const std::string& path, std::string_view text, int flags = O_WRONLY, mode_t mode = 0644)
{
    const opened_file file(path, flags, mode);
    if (file.error() != 0)
        return file.error();
    const ssize_t length = write(file.fd(), text.data(), text.size());
    if (length < 0)
        return errno;
    return static_cast<std::size_t>(length) == text.size() ? 0 : EIO;
}

inline bool exists(const std::string& path)
{
    struct stat entry {};
    return lstat(path.c_str(), &entry) == 0;
}

/** Type and permissions; 0 when there is none. */
inline mode_t mode_of(const std::string& path)
{
    struct stat entry {};
    return lstat(path.c_str(), &entry) == 0 ? entry.st_mode : 0;
}

} // namespace kt::tests
