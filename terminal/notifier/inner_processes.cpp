/** Walks the process file system and compares namespaces. */
#include "terminal/notifier/inner_processes.h"

#include "terminal/descriptor.h"

#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <linux/nsfs.h>
#include <memory>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>

namespace kt::terminal {

namespace {

bool same(const struct stat& one, const struct stat& other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/** In the namespace itself, or below it as in a container that runs inside. */
bool lives_in(const struct stat& space, const std::string& process)
{
    descriptor own(open(("/proc/" + process + "/ns/pid").c_str(), O_RDONLY | O_CLOEXEC));
    while (own) {
        struct stat found {};
        if (fstat(own.get(), &found) < 0)
            return false;
        if (same(found, space))
            return true;
        own = descriptor(ioctl(own.get(), NS_GET_PARENT)); // refused above our own
    }
    return false;
}

} // namespace

std::vector<pid_t> inner_processes(pid_t helper)
{
    std::vector<pid_t> inner;
    struct stat space {};
    struct stat ours {};
    const std::string of_children = "/proc/" + std::to_string(helper) + "/ns/pid_for_children";
    if (stat(of_children.c_str(), &space) < 0 || stat("/proc/self/ns/pid", &ours) < 0 || same(space, ours))
        return inner;
    const std::unique_ptr<DIR, int (*)(DIR*)> all(opendir("/proc"), closedir);
    while (const dirent* entry = all ? readdir(all.get()) : nullptr) {
        char* end = nullptr;
        const long number = std::strtol(entry->d_name, &end, 10);
        if (number > 0 && *end == '\0' && lives_in(space, entry->d_name))
            inner.push_back(static_cast<pid_t>(number));
    }
    return inner;
}

} // namespace kt::terminal
