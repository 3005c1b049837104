/** Devices put on the board and taken off it. */
#include "tests/input/input_board.h"

#include "tests/support/descriptors.h"

#include <cstring>
#include <fcntl.h>
#include <stdexcept>

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

} // namespace kt::tests
