// Input event devices, found by the name that their driver gave them.
#include "input/evdev.h"

#include "base/failure.h"
#include "base/unique_fd.h"
#include "kt_driver/input.h"
#include "kt_driver/tty.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>

namespace kt {

bool reopen(int& fd, const char* node)
{
    if (usable(fd))
        (void)close(fd);
    fd = open(node, O_RDONLY | O_CLOEXEC); // commands that the library runs would keep the device's queue
    return usable(fd);
}

void make_non_blocking(int fd)
{
    int unused = 0;
    (void)record_and_set_non_blocking_mode(fd, &unused);
}

} // namespace kt

int kt_evdev_probe(const char* needle)
{
    if (needle == nullptr)
        return kt::refuse(EINVAL);
    for (int index = 0;; ++index) {
        char path[64];
        (void)std::snprintf(path, sizeof path, "/sys/class/input/event%d/device/name", index);
        const kt::unique_fd file(open(path, O_RDONLY | O_CLOEXEC));
        if (file.get() < 0) {
            const kt::errno_keeper keeper;
            (void)std::printf("can't dev %s\n", needle);
            (void)std::printf("%s dev_index=%d ret=%d\n", __func__, index, -1);
            return -1;
        }
        char name[256] = {};
        if (read(file.get(), name, sizeof name - 1) < 0)
            name[0] = '\0'; // a name that cannot be read contains nothing
        if (std::strstr(name, needle) != nullptr) {
            (void)std::printf("find %s, dev %s\n", path, needle);
            (void)std::printf("%s dev_index=%d ret=%d\n", __func__, index, index);
            return index;
        }
    }
}

int kt_evdev_get_node(const char* needle, char* dst)
{
    if (dst == nullptr)
        return kt::refuse(EINVAL);
    const int index = kt_evdev_probe(needle);
    if (index >= 0)
        (void)std::sprintf(dst, kt::node_format, index); // NOLINT: the caller has room, as the declaration says
    return index;
}
