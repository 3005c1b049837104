/** The calls that stand in the C library's place; they end in it. */
#include "tests/input/node_calls.h"

#include "tests/support/descriptors.h"

#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace kt::tests {

namespace {

constexpr std::string_view nodes = "/dev/input/";

thread_local node_calls* watcher = nullptr;

/** The C library's own function of this name. */
template <typename Function>
Function* own(const char* name)
{
    void* const found = dlsym(RTLD_NEXT, name);
    if (found == nullptr)
        std::abort();
    return reinterpret_cast<Function*>(found);
}

/** What is done here in the middle of a call is not the library's. */
template <typename Step>
void unwatched(Step step)
{
    node_calls* const here = std::exchange(watcher, nullptr);
    if (here == nullptr)
        return;
    step(*here);
    watcher = here;
}

} // namespace

node_calls::node_calls()
{
    watcher = this;
}

node_calls::~node_calls()
{
    watcher = nullptr;
}

void node_calls::before_open(int number, std::function<void()> what)
{
    earlier_.emplace_back(number, std::move(what));
}

std::vector<std::string> node_calls::take()
{
    watcher = nullptr;
    return std::move(made_);
}

void node_calls::opening()
{
    ++opens_;
    for (const auto& [number, what] : earlier_) {
        if (number == opens_)
            what();
    }
}

void node_calls::opened(const std::string& node, int fd)
{
    note("open " + node + " = " + std::to_string(fd));
}

} // namespace kt::tests

using kt::tests::nodes;
using kt::tests::own;
using kt::tests::unwatched;

#pragma GCC visibility push(default) // the library's references must find them

extern "C" {

int close(int fd)
{
    unwatched([&](auto& here) {
        if (kt::tests::descriptor_target(fd).starts_with(nodes))
            here.note("close " + std::to_string(fd));
    });
    return own<decltype(close)>("close")(fd);
}

// With a file offset of 64 bits the header gives these the names "open64" and "fcntl64".
int open(const char* path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : mode_t{0};
    va_end(more);
    const bool is_node = std::string_view(path).starts_with(nodes);
    if (is_node)
        unwatched([](auto& here) { here.opening(); });
    const int fd = own<int(const char*, int, ...)>("open64")(path, flags, mode);
    if (is_node)
        unwatched([&](auto& here) { here.opened(path, fd); });
    return fd;
}

int fcntl(int fd, int command, ...)
{
    va_list more;
    va_start(more, command);
    void* const argument = va_arg(more, void*);
    va_end(more);
    if (command == F_SETFL && (reinterpret_cast<std::uintptr_t>(argument) & O_NONBLOCK) != 0)
        unwatched([&](auto& here) { here.note("non-blocking " + std::to_string(fd)); });
    return own<int(int, int, ...)>("fcntl64")(fd, command, argument);
}
}

#pragma GCC visibility pop
