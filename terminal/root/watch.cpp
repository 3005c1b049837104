/** Waiting for process 1 and for the terminal's side at once. */
#include "terminal/root/watch.h"

#include "terminal/descriptor.h"
#include "terminal/root/failure.h"
#include "terminal/root/packets.h"

#include <csignal>
#include <optional>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace kt::terminal {

namespace {

// A process that hangs in the board cannot end before the board's server answers or ends; the server waits for us.
constexpr int patience_ms = 2000;

/** What process 1's own end says when it reported nothing: reboot(2) ends it by these signals. */
void send_end(int channel, int status)
{
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGHUP)
        send_packet(channel, packet_kind::restart, 0);
    else if (WIFSIGNALED(status) && WTERMSIG(status) == SIGINT)
        send_packet(channel, packet_kind::power_off, 0);
    else
        send_packet(channel, packet_kind::killed, SIGKILL);
}

} // namespace

int watch(pid_t init, int outcome, int channel)
{
    const descriptor ended(static_cast<int>(syscall(SYS_pidfd_open, init, 0)));
    if (!ended) {
        kill(init, SIGKILL);
        fail_step("watch the terminal's process 1");
    }
    std::optional<packet> reported;
    pollfd events[] = {{ended.get(), POLLIN, 0}, {outcome, POLLIN, 0}, {channel, POLLIN, 0}};
    int timeout_ms = -1;
    while (poll(events, 3, timeout_ms) > 0) {
        if (events[1].revents != 0) {
            packet received;
            if (!receive_packet(outcome, received))
                events[1].fd = -1;
            else if (!reported) // the first says the cause
                reported = std::move(received);
            timeout_ms = patience_ms;
        }
        if (events[2].revents != 0) {
            kill(init, SIGKILL);
            events[2].fd = -1;
            timeout_ms = patience_ms;
        }
        if (events[0].revents != 0 && events[1].revents == 0)
            break;
    }
    int status = 0;
    const bool gone = waitpid(init, &status, WNOHANG) == init;
    if (reported)
        send_packet(channel, reported->header.kind, reported->header.value, reported->text);
    else
        send_end(channel, gone ? status : SIGKILL);
    return 0;
}

} // namespace kt::terminal
