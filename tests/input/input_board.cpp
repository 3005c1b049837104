/** Devices put on the board and taken off it. */
#include "tests/input/input_board.h"

#include "tests/support/descriptors.h"

#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace kt::tests {

using terminal::virtual_terminal;

std::string node_of(int index)
{
    return "/dev/input/event" + std::to_string(index);
}

std::string name_of(int index)
{
    return "/sys/class/input/event" + std::to_string(index) + "/device/name";
}

void remove_devices(virtual_terminal& board)
{
    for (const char* node : {buttons, keypad, panel})
        board.remove(node);
}

void add_device(virtual_terminal& board, int index, std::string_view name, unsigned bus)
{
    const std::string answer = board.exchange(R"({"op":"input_device","path":")" + node_of(index) + R"(","name":")" +
                                              std::string(name) + R"(","bus":)" + std::to_string(bus) + "}");
    if (!answer.starts_with(R"({"ok":true)"))
        throw std::runtime_error(answer);
}

void add_file(virtual_terminal& board, int index, std::string_view name, const std::string& bytes)
{
    board.attribute(name_of(index), {.text = std::string(name) + "\n", .mode = 0444});
    board.attribute(node_of(index), {.text = bytes});
}

std::string record_of(const raw_event& event)
{
    const auto type = static_cast<std::uint16_t>(event.type);
    const auto code = static_cast<std::uint16_t>(event.code);
    const auto value = static_cast<std::int32_t>(event.value);
    std::string bytes = "SECSUSEC....****"; // times that are not 0
    std::memcpy(bytes.data() + 8, &type, sizeof type);
    std::memcpy(bytes.data() + 10, &code, sizeof code);
    std::memcpy(bytes.data() + 12, &value, sizeof value);
    return bytes;
}

std::vector<int> descriptors_of(std::string_view node)
{
    std::vector<int> found;
    for (const int fd : open_descriptors()) {
        if (descriptor_target(fd) == node)
            found.push_back(fd);
    }
    return found;
}

bool blocks(int fd)
{
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) == 0;
}

void make_blocking(int fd)
{
    if (fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK) < 0)
        throw std::runtime_error("cannot change the flags of a descriptor");
}

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
