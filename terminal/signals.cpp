/** Signal handlers that do nothing but count, and the thread that acts on the count. */
#include "terminal/signals.h"

#include <cerrno>
#include <iterator>
#include <stdexcept>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace kt::terminal {

namespace {

constexpr eventfd_t leave = eventfd_t{1} << 32; // more than signals can add up to

volatile int ending = -1; // the event descriptor; one object at a time uses it

void leave_it(int) {}

void count_it(int)
{
    const int cause = errno;
    (void)eventfd_write(ending, 1);
    errno = cause;
}

} // namespace

signals::signals(std::function<void()> end)
{
    const int counter = eventfd(0, EFD_CLOEXEC);
    if (counter < 0)
        throw std::runtime_error("no event descriptor for signals");
    ending = counter;
    waiter_ = std::thread([counter, end = std::move(end)] {
        eventfd_t count = 0;
        while (eventfd_read(counter, &count) == 0 && count < leave)
            end();
    });
    for (std::size_t i = 0; i < std::size(handled); ++i) {
        struct sigaction action {};
        const bool ends = handled[i] == SIGTERM || handled[i] == SIGHUP;
        action.sa_handler = ends ? count_it : leave_it;
        action.sa_flags =
            ends ? 0 : SA_RESTART; // ThreadSanitizer runs a handler only when the call it came into returns
        sigaction(handled[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN)
            sigaction(handled[i], &action, nullptr);
    }
}

signals::~signals()
{
    for (std::size_t i = 0; i < std::size(handled); ++i)
        sigaction(handled[i], &before_[i], nullptr);
    (void)eventfd_write(ending, leave);
    waiter_.join();
    close(ending);
    ending = -1;
}

} // namespace kt::terminal
