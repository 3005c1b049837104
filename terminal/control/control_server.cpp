/** One poll loop over listening sockets, connections and the journal. */
#include "terminal/control/control_server.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <utility>

namespace kt::terminal {

namespace {

constexpr std::size_t longest_line = std::size_t{16} << 20;
constexpr std::size_t most_connections = 256;

std::shared_ptr<descriptor> event_descriptor()
{
    auto made = std::make_shared<descriptor>(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!*made)
        throw std::runtime_error("no event descriptor for the control server");
    return made;
}

} // namespace

/** What has come in and what must go out; a connection is asked again only when it has taken its last answer. */
struct control_server::connection {
    descriptor socket;
    std::string in;
    std::string out;
    std::size_t sent = 0;
    std::optional<parked_request> waiting;
    bool ended = false; // the other side sends no more
    bool broken = false;

    bool is_busy() const { return waiting || sent < out.size(); }
    bool is_over() const { return broken || (ended && !is_busy()); }

    short wanted() const
    {
        if (sent < out.size())
            return POLLOUT;
        return waiting || ended ? short{0} : short{POLLIN}; // a hang-up is told in any case
    }
};

control_server::control_server(board& served, const profile& actions, terminal_identity identity,
                               std::function<void()> stop_program)
    : board_(served),
      wake_up_(event_descriptor()),
      requests_(served, actions, std::move(identity), std::move(stop_program),
                [wake_up = wake_up_] { (void)eventfd_write(wake_up->get(), 1); }) // lines may outlive the server
{
}

control_server::~control_server()
{
    stop();
}

void control_server::listen_on(descriptor listening)
{
    // Who asked for a connection may be gone when it is accepted, and that must not hold the others.
    (void)fcntl(listening.get(), F_SETFL, fcntl(listening.get(), F_GETFL) | O_NONBLOCK);
    listening_.push_back(std::move(listening));
}

void control_server::start()
{
    board_.events().set_notice([this] {
        if (waiting_.exchange(false)) // nobody waits: no system call
            wake();
    });
    thread_ = std::thread([this] { run(); });
}

void control_server::stop()
{
    if (!thread_.joinable())
        return;
    stopping_ = true;
    wake();
    thread_.join();
    board_.events().set_notice({});
    requests_.end_bridges();
    connections_.clear();
    listening_.clear();
}

void control_server::run()
{
    while (!stopping_) {
        // From here on an event wakes the loop; for those that came before, the journal is searched once more.
        waiting_ =
            std::any_of(connections_.begin(), connections_.end(), [](auto& each) { return each->waiting.has_value(); });
        for (const auto& each : connections_)
            if (each->waiting)
                work(*each);
        std::erase_if(connections_, [](const auto& each) { return each->is_over(); });

        std::vector<pollfd> watched = {{wake_up_->get(), POLLIN, 0}};
        for (const auto& each : connections_)
            watched.push_back({each->socket.get(), each->wanted(), 0});
        const std::size_t first_listening = watched.size();
        if (connections_.size() < most_connections) // others wait in the socket's queue
            for (const descriptor& each : listening_)
                watched.push_back({each.get(), POLLIN, 0});
        if (poll(watched.data(), watched.size(), time_left_ms()) < 0 && errno != EINTR)
            return;

        eventfd_t count = 0;
        (void)eventfd_read(wake_up_->get(), &count);
        auto connection = connections_.begin();
        for (std::size_t i = 1; i < first_listening; ++i, ++connection)
            serve(**connection, watched[i].revents);
        for (std::size_t i = first_listening; i < watched.size(); ++i)
            if (watched[i].revents != 0)
                accept_from(watched[i].fd);
    }
}

void control_server::serve(connection& one, short seen)
{
    if ((seen & POLLIN) != 0)
        receive(one);
    else if ((seen & (POLLHUP | POLLERR | POLLNVAL)) != 0)
        one.broken = true; // nobody is left to read an answer
    if ((seen & POLLOUT) != 0)
        send(one);
    if (seen != 0 && !one.waiting)
        work(one);
}

void control_server::accept_from(int listening)
{
    descriptor accepted(accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!accepted)
        return;
    connections_.push_back(std::make_unique<connection>());
    connections_.back()->socket = std::move(accepted);
}

void control_server::receive(connection& from)
{
    char part[16 * 1024];
    const ssize_t length = recv(from.socket.get(), part, sizeof part, 0);
    if (length > 0)
        from.in.append(part, static_cast<std::size_t>(length));
    else if (length == 0)
        from.ended = true;
    else if (errno != EAGAIN && errno != EINTR)
        from.broken = true;
}

/** Answers as many lines as the connection takes answers for. */
void control_server::work(connection& on)
{
    if (on.waiting) {
        auto answer = requests::again(*on.waiting);
        if (!answer)
            return;
        on.waiting.reset();
        on.out = std::move(*answer) + "\n";
        send(on);
    }
    while (!on.is_busy() && !on.broken) {
        const std::size_t end = on.in.find('\n');
        if (end == std::string::npos) {
            if (on.in.size() > longest_line)
                on.broken = true;
            return;
        }
        auto answer = requests_.answer(std::string_view(on.in).substr(0, end));
        on.in.erase(0, end + 1);
        if (auto* parked = std::get_if<parked_request>(&answer)) {
            on.waiting = std::move(*parked);
        } else {
            on.out = std::move(std::get<std::string>(answer)) + "\n";
            send(on);
        }
    }
}

void control_server::send(connection& to)
{
    while (to.sent < to.out.size()) {
        const ssize_t length = ::send(to.socket.get(), to.out.data() + to.sent, to.out.size() - to.sent, MSG_NOSIGNAL);
        if (length < 0 && errno == EAGAIN)
            return;
        if (length < 0 && errno != EINTR) {
            to.broken = true;
            return;
        }
        if (length > 0)
            to.sent += static_cast<std::size_t>(length);
    }
    to.out.clear();
    to.sent = 0;
}

/** Until the first parked wait is over, for poll: -1 when none is. */
int control_server::time_left_ms() const
{
    auto first = std::chrono::steady_clock::time_point::max();
    for (const auto& each : connections_)
        if (each->waiting)
            first = std::min(first, each->waiting->deadline);
    if (first == std::chrono::steady_clock::time_point::max())
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(first - std::chrono::steady_clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
}

void control_server::wake()
{
    (void)eventfd_write(wake_up_->get(), 1);
}

} // namespace kt::terminal
