/** Signals that do nothing, and the thread that takes those that end the program. */
#include "terminal/signals.h"

#include <iterator>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

namespace kt::terminal {

namespace {

void leave_it(int) {}

sigset_t ending_signals()
{
    sigset_t all;
    sigemptyset(&all);
    for (const int number : {SIGTERM, SIGHUP}) {
        struct sigaction now {};
        sigaction(number, nullptr, &now);
        if (now.sa_handler != SIG_IGN)
            sigaddset(&all, number);
    }
    return all;
}

void wait_for(const descriptor& arrived, int leave, const std::function<void()>& end)
{
    pollfd sources[] = {{arrived.get(), POLLIN, 0}, {leave, POLLIN, 0}};
    while (sources[1].revents == 0) {
        signalfd_siginfo one;
        if (poll(sources, std::size(sources), -1) < 0)
            continue;
        if (sources[0].revents != 0 && read(arrived.get(), &one, sizeof one) == sizeof one)
            end();
    }
}

} // namespace

// A descriptor and not a handler: a handler would run on whichever thread the kernel picks, and a sanitizer holds it
// back until that thread's next call.
signals::signals(std::function<void()> end) : leave_(eventfd(0, EFD_CLOEXEC))
{
    const sigset_t ending = ending_signals();
    descriptor arrived(signalfd(-1, &ending, SFD_CLOEXEC));
    if (!arrived || !leave_)
        throw std::runtime_error("no descriptors for signals");
    pthread_sigmask(SIG_BLOCK, &ending, &mask_before_);
    for (std::size_t i = 0; i < std::size(left_alone); ++i) {
        struct sigaction action {};
        action.sa_handler = leave_it;
        action.sa_flags = SA_RESTART;
        sigaction(left_alone[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN)
            sigaction(left_alone[i], &action, nullptr);
    }
    waiter_ = std::thread(
        [arrived = std::move(arrived), leave = leave_.get(), end = std::move(end)] { wait_for(arrived, leave, end); });
}

signals::~signals()
{
    (void)eventfd_write(leave_.get(), 1);
    waiter_.join();
    for (std::size_t i = 0; i < std::size(left_alone); ++i)
        sigaction(left_alone[i], &before_[i], nullptr);
    pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr);
}

} // namespace kt::terminal
