/** The pipe behind descriptor 0. */
#include "tests/support/own_standard_input.h"

#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace kt::tests {

own_standard_input::own_standard_input() : saved_(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)), writer_(-1)
{
    int ends[2];
    if (pipe(ends) < 0)
        throw std::runtime_error("pipe");
    writer_ = ends[1];
    if (ends[0] != STDIN_FILENO) {
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
    }
}

own_standard_input::~own_standard_input()
{
    close(writer_);
    close(STDIN_FILENO);
    if (saved_ >= 0) {
        dup2(saved_, STDIN_FILENO);
        close(saved_);
    }
}

void own_standard_input::send(std::string_view bytes) const
{
    if (write(writer_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("write");
}

std::string own_standard_input::left() const
{
    const int flags = fcntl(STDIN_FILENO, F_GETFL);
    fcntl(STDIN_FILENO, F_SETFL, flags | O_NONBLOCK);
    char room[256];
    const ssize_t count = read(STDIN_FILENO, room, sizeof room);
    fcntl(STDIN_FILENO, F_SETFL, flags);
    return count < 0 ? std::string{} : std::string(room, static_cast<std::size_t>(count));
}

} // namespace kt::tests
