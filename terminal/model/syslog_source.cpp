/** Receiving what programs send to /dev/log. */
#include "terminal/model/syslog_source.h"

#include "terminal/model/syslog_message.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <poll.h>
#include <string>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kt::terminal {

syslog_source::syslog_source(int socket, translation inner_pid)
    : socket_(socket), stopped_(eventfd(0, EFD_CLOEXEC)), inner_pid_(std::move(inner_pid))
{
}

syslog_source::~syslog_source()
{
    stop();
    close(stopped_);
    close(socket_);
}

std::optional<event> syslog_source::next()
{
    char line[64 * 1024]; // more than a datagram of this kind holds
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
    iovec part{line, sizeof line};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t length = recvmsg(socket_, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (length < 0)
        return std::nullopt;

    event received = syslog_event({line, static_cast<std::size_t>(length)});
    for (cmsghdr* each = CMSG_FIRSTHDR(&message); each != nullptr; each = CMSG_NXTHDR(&message, each)) {
        if (each->cmsg_level != SOL_SOCKET || each->cmsg_type != SCM_CREDENTIALS)
            continue;
        ucred sender{};
        std::memcpy(&sender, CMSG_DATA(each), sizeof sender);
        if (const pid_t pid = inner_pid_(sender.pid); pid > 0) // else it is gone, and only its own text can tell
            received.pid = received.tid = pid;
    }
    return received;
}

void syslog_source::start(journal& events)
{
    watcher_ = std::thread([this, &events] { watch(events); });
}

void syslog_source::stop()
{
    if (!watcher_.joinable())
        return;
    const eventfd_t one = 1;
    (void)eventfd_write(stopped_, one);
    watcher_.join();
}

void syslog_source::watch(journal& events)
{
    pollfd watched[] = {{socket_, POLLIN, 0}, {stopped_, POLLIN, 0}};
    for (;;) {
        if (poll(watched, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (watched[1].revents != 0 || (watched[0].revents & (POLLERR | POLLNVAL)) != 0)
            return;
        events.poke();
    }
}

pid_t innermost_pid(pid_t outer)
{
    std::ifstream status("/proc/" + std::to_string(outer) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("NSpid:"))
            return static_cast<pid_t>(std::stol(line.substr(line.find_last_of(" \t") + 1)));
    return 0;
}

} // namespace kt::terminal
