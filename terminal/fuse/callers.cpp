/** Reads a thread's innermost numbers from the process file system. */
#include "terminal/fuse/callers.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace kt::terminal {

namespace {

// A number is given out again only after all others were: not within this time.
constexpr std::chrono::seconds trusted{1};

/** The last number of a line such as "NSpid:\t4711\t12"; 0 when the line is missing. */
int last_number(const char* status, const char* label)
{
    const char* line = std::strstr(status, label);
    if (line == nullptr)
        return 0;
    line += std::strlen(label);
    int number = 0;
    while (*line != '\n' && *line != '\0') {
        char* end = nullptr;
        const long value = std::strtol(line, &end, 10);
        if (end == line)
            break;
        number = static_cast<int>(value);
        line = end;
    }
    return number;
}

caller read_numbers(pid_t thread)
{
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d/status", thread);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    char status[4096];
    const ssize_t got = read(fd, status, sizeof status - 1);
    close(fd);
    if (got <= 0)
        return {};
    status[got] = '\0';
    return {last_number(status, "\nNStgid:"), last_number(status, "\nNSpid:")};
}

} // namespace

caller callers::known_as(pid_t thread)
{
    if (thread <= 0)
        return {};
    const auto now = std::chrono::steady_clock::now();
    {
        const std::lock_guard lock(mutex_);
        const auto found = entries_.find(thread);
        if (found != entries_.end() && now - found->second.read < trusted)
            return found->second.inner;
    }
    const caller inner = read_numbers(thread);
    const std::lock_guard lock(mutex_);
    if (entries_.size() > 1000)
        entries_.clear();
    entries_[thread] = {inner, now};
    return inner;
}

} // namespace kt::terminal
