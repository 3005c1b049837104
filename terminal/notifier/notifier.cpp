/** One thread takes the calls, keeps those that a rule delays, and answers. */
#include "terminal/notifier/notifier.h"

#include "terminal/fuse/callers.h"
#include "terminal/model/board.h"
#include "terminal/model/errno_names.h"
#include "terminal/notifier/caller_files.h"
#include "terminal/notifier/receiver.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <list>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/eventfd.h>
#include <thread>
#include <utility>

namespace kt::terminal {

namespace {

using clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

/** While a call hangs: how often its rule and its caller are looked after. */
constexpr auto hang_step = 5ms;

/** What is asked of a device, and by whom. */
struct question {
    waiting_call call;
    node_ptr device;
    std::string path;
    bool journalled = true;
};

/** A question that a rule holds back. */
struct held_question {
    question asked;
    verdict ruled;
    clock::time_point due;
};

} // namespace

struct notifier::parts {
    parts(board& board_shown, descriptor notified, unsigned device, node_finder finder)
        : shown(board_shown),
          calls(std::move(notified)),
          board_device(device),
          find(std::move(finder)),
          stop(eventfd(0, EFD_CLOEXEC))
    {
        if (!stop)
            throw std::runtime_error("cannot make an event descriptor");
    }

    std::optional<question> about_device(const waiting_call& call) const;
    void take(const waiting_call& call);
    void finish(const question& asked, int error);
    void finish_held();
    int timeout_ms() const;
    void work();

    board& shown;
    receiver calls;
    const unsigned board_device;
    const node_finder find;
    const descriptor stop;
    callers known;
    std::list<held_question> held;
    std::thread thread;
};

/** Nothing: the kernel knows the answer. */
std::optional<question> notifier::parts::about_device(const waiting_call& call) const
{
    const auto number = board_file(call.thread, call.descriptor, board_device);
    const node_ptr device = number ? find(*number) : nullptr;
    if (device == nullptr)
        return std::nullopt;
    const std::lock_guard lock(shown.tree_mutex());
    if (!device->waiting_bytes())
        return std::nullopt;
    // A name that a program took away while the device is open: it works on, but no rule or line names it.
    std::string path = device->path();
    const bool named = !path.empty();
    return question{call, device, std::move(path), named && device->journalled()};
}

void notifier::parts::take(const waiting_call& call)
{
    auto asked = about_device(call);
    if (!asked)
        return calls.let_through(call);
    const auto ruled = shown.failures().next(asked->path, access::ioctl);
    if (ruled && (ruled->hang || ruled->delay.count() > 0))
        held.push_back({std::move(*asked), *ruled, clock::now() + ruled->delay});
    else
        finish(*asked, ruled ? ruled->error : 0);
}

/** The journal's line is written before the answer goes out. */
void notifier::parts::finish(const question& asked, int error)
{
    if (!calls.still_waits(asked.call))
        return;
    int count = 0;
    if (error == 0) {
        {
            const std::lock_guard lock(shown.tree_mutex());
            count = asked.device->waiting_bytes().value_or(0);
        }
        if (count < 0)
            error = EIO;
        else if (!receiver::copy_out(asked.call, count))
            error = EFAULT;
    }
    if (asked.journalled) {
        const caller who = known.known_as(asked.call.thread);
        event line;
        line.kind = "ioctl";
        line.path = asked.path;
        line.pid = who.pid;
        line.tid = who.tid;
        line.request = asked.call.request;
        if (error == 0)
            line.data.assign(reinterpret_cast<const char*>(&count), sizeof count);
        else
            line.error = errno_name(error);
        shown.events().append(std::move(line));
    }
    calls.answer(asked.call, error);
}

void notifier::parts::finish_held()
{
    const auto now = clock::now();
    held.remove_if([&](const held_question& each) {
        const bool goes_on = each.due <= now && !(each.ruled.hang && shown.failures().stands(each.ruled.rule));
        if (goes_on)
            finish(each.asked, each.ruled.error);
        return goes_on || !calls.still_waits(each.asked.call);
    });
}

int notifier::parts::timeout_ms() const
{
    if (held.empty())
        return -1;
    const auto now = clock::now();
    clock::duration wait = 1h;
    for (const held_question& each : held)
        wait = std::min(wait, each.ruled.hang || each.due <= now ? hang_step : each.due - now);
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(wait).count());
}

void notifier::parts::work()
{
    pollfd events[] = {{calls.descriptor_number(), POLLIN, 0}, {stop.get(), POLLIN, 0}};
    while (poll(events, 2, timeout_ms()) >= 0 && events[1].revents == 0) {
        if ((events[0].revents & POLLIN) != 0) {
            if (const auto call = calls.next())
                take(*call);
        } else if (events[0].revents != 0) {
            break; // no caller is left
        }
        finish_held();
    }
}

notifier::notifier(board& shown, descriptor receiver, unsigned board_device, node_finder find)
    : parts_(std::make_unique<parts>(shown, std::move(receiver), board_device, std::move(find)))
{
    // The program's signals belong to the main thread.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    parts_->thread = std::thread([part = parts_.get()] { part->work(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

notifier::~notifier()
{
    (void)eventfd_write(parts_->stop.get(), 1);
    parts_->thread.join();
}

} // namespace kt::terminal
