/** The capture behind captured_stdout.h. */
#include "tests/support/captured_stdout.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace kt::tests {

captured_stdout::captured_stdout()
{
    std::fflush(stdout);
    file_ = memfd_create("captured standard output", MFD_CLOEXEC);
    saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    // Commands of several threads write at once; only at the end of a file is no write lost among others.
    if (file_ < 0 || saved_ < 0 || fcntl(file_, F_SETFL, O_APPEND) < 0 || dup2(file_, STDOUT_FILENO) < 0)
        throw std::runtime_error("cannot capture standard output");
    // On a person's terminal the stream would be line buffered, and a missing flush would not show.
    std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
}

captured_stdout::~captured_stdout()
{
    restore();
    close(file_);
}

std::string captured_stdout::arrived() const
{
    std::string text;
    std::array<char, 4096> piece;
    for (;;) {
        const ssize_t got = pread(file_, piece.data(), piece.size(), static_cast<off_t>(text.size()));
        if (got <= 0)
            return text;
        text.append(piece.data(), static_cast<std::size_t>(got));
    }
}

std::string captured_stdout::take()
{
    const int cause = errno;
    restore();
    std::string text = arrived();
    errno = cause;
    return text;
}

void captured_stdout::restore()
{
    if (saved_ < 0)
        return;
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    saved_ = -1;
}

} // namespace kt::tests
