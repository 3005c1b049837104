/** The descriptor table read through procfs. */
#include "tests/support/descriptors.h"

#include <array>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace kt::tests {

std::set<int> open_descriptors()
{
    DIR* folder = opendir("/proc/self/fd");
    if (folder == nullptr)
        throw std::runtime_error("cannot list /proc/self/fd");
    std::set<int> numbers;
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_name[0] != '.')
            numbers.insert(std::atoi(entry->d_name));
    }
    numbers.erase(dirfd(folder));
    closedir(folder);
    return numbers;
}

std::string descriptor_target(int fd)
{
    std::array<char, 4096> target;
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), target.data(), target.size());
    return length < 0 ? std::string{} : std::string(target.data(), static_cast<std::size_t>(length));
}

descriptor_0_free::descriptor_0_free() : saved_(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1))
{
    close(STDIN_FILENO);
}

descriptor_0_free::~descriptor_0_free()
{
    close(STDIN_FILENO);
    if (saved_ < 0)
        return;
    dup2(saved_, STDIN_FILENO);
    close(saved_);
}

} // namespace kt::tests
