/** Starting the set-up helper and waiting for what it says. */
#include "terminal/root/launch.h"

#include "terminal/descriptor.h"
#include "terminal/root/arguments.h"
#include "terminal/root/failure.h"
#include "terminal/root/packets.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

namespace kt::terminal {

namespace {

launch_result failed(std::string sentence)
{
    return {launch_result::end::failed, terminal_failed, std::move(sentence)};
}

/** The helper lies at a fixed place beside this program's own folder, built and installed alike. */
std::string helper_path()
{
    char self[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self);
    const std::string program(self, length > 0 ? static_cast<std::size_t>(length) : 0);
    return program.substr(0, program.rfind('/') + 1) + "../libexec/kt-terminal/root";
}

/** posix_spawn, since a fork of a program with threads may call next to nothing, and a sanitizer's not even that. */
int start_helper(pid_t& helper, const launch_options& options, int channel)
{
    const std::string path = helper_path();
    const std::vector<std::string> arguments = to_arguments(path, {channel, options});
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    sigset_t all;
    sigset_t mask;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    for (const int number : {SIGTERM, SIGHUP}) // which the terminal blocks, to take them in its own way
        sigdelset(&mask, number);
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_adddup2(&actions, channel, channel); // to itself: stays open
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &mask);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    const int error = posix_spawn(&helper, path.c_str(), &actions, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

/** The person's terminal, if this process is in its foreground: a shell inside may leave it to a group that is gone. */
class foreground {
public:
    foreground() : tty_(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        if (tty_ && tcgetpgrp(tty_.get()) != getpgrp())
            tty_.reset();
    }
    foreground(const foreground&) = delete;
    foreground& operator=(const foreground&) = delete;
    ~foreground()
    {
        const pid_t now = tty_ ? tcgetpgrp(tty_.get()) : -1;
        if (now <= 0 || now == getpgrp() || kill(-now, 0) == 0 || errno != ESRCH)
            return;
        sigset_t background;
        sigset_t before;
        sigemptyset(&background);
        sigaddset(&background, SIGTTOU);
        pthread_sigmask(SIG_BLOCK, &background, &before);
        tcsetpgrp(tty_.get(), getpgrp());
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

private:
    descriptor tty_;
};

launch_result to_result(const packet& last)
{
    using end = launch_result::end;
    switch (last.header.kind) {
    case packet_kind::exited:
        return {end::exited, last.header.value, {}};
    case packet_kind::killed:
        return {end::killed, last.header.value, {}};
    case packet_kind::restart:
        return {end::restart, 0, {}};
    case packet_kind::power_off:
        return {end::power_off, 0, {}};
    default:
        return {end::failed, last.header.value, last.text};
    }
}

/** Waits for a child however often a signal comes between; its wait status. */
int end_of(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

} // namespace

launch::launch(launch_options options) : options_(std::move(options)) {}

launch::~launch()
{
    if (channel_ >= 0)
        close(channel_); // the helper sees it, ends the program and itself
    if (helper_ > 0)
        (void)end_of(helper_);
}

launch_result launch::run(const servers& begin)
{
    if (options_.program.empty())
        return failed("no program was named");
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) < 0)
        return failed(std::string("cannot make a socket pair (") + strerror(errno) + ")");
    descriptor far_end(ends[1]);
    {
        const std::scoped_lock lock(mutex_);
        channel_ = ends[0];
        if (stopped_)
            shutdown(channel_, SHUT_WR);
    }
    const foreground person;
    const int error = start_helper(helper_, options_, far_end.get());
    if (error != 0)
        return failed("cannot start " + helper_path() + " (" + strerror(error) +
                      "): the terminal's installation is incomplete");
    far_end.reset();

    packet received;
    while (receive_packet(channel_, received)) {
        auto& [fuse, state, control, log] = received.descriptors;
        if (received.header.kind == packet_kind::descriptors)
            begin.serve({std::move(fuse), std::move(state), std::move(control), std::move(log)});
        else if (received.header.kind == packet_kind::receiver)
            begin.answer({std::move(received.descriptors[0]), helper_, static_cast<unsigned>(received.header.value)});
        else
            return to_result(received);
    }
    const int status = end_of(std::exchange(helper_, -1));
    return failed("the terminal's set-up helper " +
                  (WIFSIGNALED(status) ? std::string("was killed (") + strsignal(WTERMSIG(status)) + ")"
                                       : "ended with status " + std::to_string(WEXITSTATUS(status))));
}

void launch::stop()
{
    const std::scoped_lock lock(mutex_);
    stopped_ = true;
    if (channel_ >= 0)
        shutdown(channel_, SHUT_WR);
}

} // namespace kt::terminal
