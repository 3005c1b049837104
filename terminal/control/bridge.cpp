/** One poll loop between a line and a descriptor of the desk. */
#include "terminal/control/bridge.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kt::terminal {

namespace {

// The line takes 64 KiB; what is read from the desk only while there is room is never overrun.
constexpr int most_waiting = 32768;
constexpr std::size_t at_once = 16384;
constexpr int room_check_ms = 5;

/** True while a descriptor that gave @p length is usable. */
bool goes_on(ssize_t length)
{
    return length > 0 || (length < 0 && (errno == EAGAIN || errno == EINTR));
}

} // namespace

/** What the terminal sent and the desk has not taken yet; it outlives the bridge in a call that is under way. */
class line_bridge::outlet : public far_end {
public:
    outlet() : wake_up_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
        if (!wake_up_)
            throw std::runtime_error("no event descriptor for a bridge");
    }

    void received(std::string_view bytes) override
    {
        {
            const std::lock_guard lock(mutex_);
            if (!taking_)
                return;
            bytes_ += bytes.substr(0, most_kept - std::min(most_kept, bytes_.size()));
        }
        wake();
    }

    /** Bytes are kept only while somebody is connected. */
    void take(bool taking)
    {
        const std::lock_guard lock(mutex_);
        taking_ = taking;
        if (!taking)
            bytes_.clear();
    }

    bool is_empty() const
    {
        const std::lock_guard lock(mutex_);
        return bytes_.empty();
    }

    std::string next() const
    {
        const std::lock_guard lock(mutex_);
        return bytes_.substr(0, at_once);
    }

    void drop(std::size_t count)
    {
        const std::lock_guard lock(mutex_);
        bytes_.erase(0, count);
    }

    void stop()
    {
        stopping_ = true;
        wake();
    }
    bool is_stopping() const { return stopping_; }

    int wake_up() const { return wake_up_.get(); }
    void wake() const { (void)eventfd_write(wake_up_.get(), 1); }

private:
    const descriptor wake_up_;
    mutable std::mutex mutex_;
    std::string bytes_;
    bool taking_ = false;
    std::atomic<bool> stopping_ = false;
};

line_bridge::line_bridge(std::shared_ptr<line> wire, std::shared_ptr<recorder> other_end, bridge_end end)
    : wire_(std::move(wire)),
      other_end_(std::move(other_end)),
      end_(std::move(end)),
      outlet_(std::make_shared<outlet>())
{
    outlet_->take(static_cast<bool>(end_.channel));
    thread_ = std::thread([this] { run(); });
    other_end_->pass_on_to(outlet_);
}

line_bridge::~line_bridge()
{
    other_end_->pass_on_to(nullptr);
    outlet_->stop();
    thread_.join();
}

void line_bridge::run()
{
    while (!outlet_->is_stopping()) {
        std::vector<pollfd> watched = {{outlet_->wake_up(), POLLIN, 0}};
        int timeout_ms = -1;
        if (end_.channel) {
            const bool full = wire_->waiting() >= most_waiting;
            const int events = (full ? 0 : POLLIN) | (outlet_->is_empty() ? 0 : POLLOUT);
            watched.push_back({end_.channel.get(), static_cast<short>(events), 0});
            if (full)
                timeout_ms = room_check_ms; // nothing tells when the program has read
        } else {
            watched.push_back({end_.listening.get(), POLLIN, 0});
        }
        if (poll(watched.data(), watched.size(), timeout_ms) < 0 && errno != EINTR)
            return;

        eventfd_t count = 0;
        (void)eventfd_read(outlet_->wake_up(), &count);
        const short seen = watched[1].revents;
        if (!end_.channel) {
            if (seen != 0) {
                end_.channel =
                    descriptor(accept4(end_.listening.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
                outlet_->take(static_cast<bool>(end_.channel));
                if (!end_.channel) // no descriptor is left: asking again at once would not help
                    (void)poll(nullptr, 0, room_check_ms);
            }
            continue;
        }
        if ((seen & POLLIN) != 0)
            take_in();
        else if ((seen & (POLLERR | POLLHUP)) != 0)
            leave();
        if (end_.channel && (seen & POLLOUT) != 0)
            put_out();
    }
}

void line_bridge::take_in()
{
    char part[at_once];
    const ssize_t length = read(end_.channel.get(), part, sizeof part);
    if (length > 0)
        wire_->send({part, static_cast<std::size_t>(length)});
    else if (!goes_on(length))
        leave();
}

void line_bridge::put_out()
{
    const std::string part = outlet_->next();
    // A pty is no socket; there write(2) raises no SIGPIPE.
    const ssize_t length = end_.listening ? send(end_.channel.get(), part.data(), part.size(), MSG_NOSIGNAL)
                                          : write(end_.channel.get(), part.data(), part.size());
    if (length > 0)
        outlet_->drop(static_cast<std::size_t>(length));
    else if (!goes_on(length))
        leave();
}

/** The one who was connected is gone; the next one that waits is taken. A pty has nobody to leave. */
void line_bridge::leave()
{
    if (!end_.listening)
        return;
    outlet_->take(false);
    end_.channel = descriptor();
}

} // namespace kt::terminal
