/** Reading, writing and finding the files of session_files.h. */
#include "session_files.h"

#include "tests/support/descriptors.h"

#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace kt::tests {

namespace {

int descriptor_with(const std::string& path, int access)
{
    for (const int fd : open_descriptors()) {
        if (descriptor_target(fd) == path && (fcntl(fd, F_GETFL) & O_ACCMODE) == access)
            return fd;
    }
    return -1;
}

} // namespace

std::string bytes_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return "<none>";
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void put_file(const std::string& path, const std::string& bytes, mode_t permissions)
{
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file << bytes;
        if (!file.flush())
            throw std::runtime_error("cannot write " + path);
    }
    if (chmod(path.c_str(), permissions) < 0)
        throw std::runtime_error("cannot set the permissions of " + path);
}

void put_script(const std::string& path, const std::string& commands)
{
    (void)unlink(path.c_str()); // it may be a link, or be run by somebody
    put_file(path, "#!/bin/bash\n" + commands + "\n", 0755);
}

mode_t mode_of(const std::string& path)
{
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

int descriptors_on(const std::string& path)
{
    int count = 0;
    for (const int fd : open_descriptors())
        count += descriptor_target(fd) == path;
    return count;
}

int reader_of(const std::string& path)
{
    return descriptor_with(path, O_RDONLY);
}

int writer_of(const std::string& path)
{
    return descriptor_with(path, O_WRONLY);
}

} // namespace kt::tests
