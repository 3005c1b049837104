/** One thread takes the calls, keeps those that a rule delays, and answers. */
#include "terminal/notifier/notifier.h"

#include "terminal/fuse/callers.h"
#include "terminal/model/board.h"
#include "terminal/model/errno_names.h"
#include "terminal/notified_calls.h"
#include "terminal/notifier/caller_files.h"
#include "terminal/notifier/clock_calls.h"
#include "terminal/notifier/receiver.h"
#include "terminal/notifier/time_functions.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <list>
#include <mutex>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/eventfd.h>
#include <thread>
#include <utility>
#include <vector>

namespace kt::terminal {

namespace {

using clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

/** What a failure rule on setting the clock names, with access::write. */
constexpr std::string_view clock_place = "clock";

/** While a call hangs: how often its rule and its caller are looked after. */
constexpr auto hang_step = 5ms;

/** What is asked of a device, and by whom. */
struct question {
    waiting_call call;
    node_ptr device;
    std::string path;
    bool journalled = true;
};

/** A call that a rule holds back. */
struct held_call {
    waiting_call call;
    verdict ruled;
    clock::time_point due;
    std::function<void(int error)> finish;
};

/**
 * Changes of the clock, handed by any thread to the notifier's, which makes the programs read the new time. The clock's
 * listener owns it too: a thread may still be calling that when the notifier is gone.
 */
class clock_changes {
public:
    using callback = std::function<void()>;

    /** For poll(2). */
    int descriptor_number() const { return changed_.get(); }

    /** @p followed is called when the notifier is through with it; at once if there is none any more. */
    void add(callback followed)
    {
        {
            const std::lock_guard lock(mutex_);
            if (!over_) {
                waiting_.push_back(std::move(followed));
                (void)eventfd_write(changed_.get(), 1);
                return;
            }
        }
        followed();
    }

    std::vector<callback> take()
    {
        const std::lock_guard lock(mutex_);
        eventfd_t ignored = 0;
        (void)eventfd_read(changed_.get(), &ignored);
        return std::exchange(waiting_, {});
    }

    /** From now on nobody is made to wait. */
    void end()
    {
        std::unique_lock lock(mutex_);
        over_ = true;
        lock.unlock();
        for (const callback& each : take())
            each();
    }

private:
    std::mutex mutex_;
    std::vector<callback> waiting_;
    bool over_ = false;
    const descriptor changed_{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
};

} // namespace

struct notifier::parts {
    parts(board& board_shown, notified_terminal from, node_finder finder)
        : shown(board_shown),
          calls(std::move(from.receiver)),
          board_device(from.board_device),
          find(std::move(finder)),
          stop(eventfd(0, EFD_CLOEXEC)),
          changes(std::make_shared<clock_changes>()),
          functions(from.helper)
    {
        if (!stop || changes->descriptor_number() < 0)
            throw std::runtime_error("cannot make an event descriptor");
    }

    std::optional<question> about_device(const waiting_call& call) const;
    void take(const waiting_call& call);
    void take_count(const waiting_call& call);
    void take_setting(const waiting_call& call);
    void take_reading(const waiting_call& call);
    void rule_on(const waiting_call& call, const std::optional<verdict>& ruled, std::function<void(int error)> finish);
    void finish_count(const question& asked, int error);
    void finish_setting(const waiting_call& call, clock_wish wish, int error);
    void finish_held();
    void follow_clock();
    int timeout_ms() const;
    void work();

    board& shown;
    receiver calls;
    const unsigned board_device;
    const node_finder find;
    const descriptor stop;
    const std::shared_ptr<clock_changes> changes;
    callers known;
    clock_calls clocks;
    time_functions functions;
    std::list<held_call> held;
    std::thread thread;
};

/** Nothing: the kernel knows the answer. */
std::optional<question> notifier::parts::about_device(const waiting_call& call) const
{
    const auto number = board_file(call.thread, static_cast<int>(call.arguments[0]), board_device);
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
    if (call.way != nullptr && call.number == call.way->ioctl)
        return take_count(call);
    if (clock_calls::sets(call))
        return take_setting(call);
    if (clock_calls::reads(call))
        return take_reading(call);
    if (call.way != nullptr)
        functions.begin(call.thread, call.way->architecture); // the call that each program makes as it starts
    calls.let_through(call);
}

void notifier::parts::rule_on(const waiting_call& call, const std::optional<verdict>& ruled,
                              std::function<void(int error)> finish)
{
    if (ruled && (ruled->hang || ruled->delay.count() > 0))
        held.push_back({call, *ruled, clock::now() + ruled->delay, std::move(finish)});
    else
        finish(ruled ? ruled->error : 0);
}

void notifier::parts::take_count(const waiting_call& call)
{
    const auto asked = about_device(call);
    if (!asked)
        return calls.let_through(call);
    rule_on(call, shown.failures().next(asked->path, access::ioctl),
            [this, asked = *asked](int error) { finish_count(asked, error); });
}

void notifier::parts::take_setting(const waiting_call& call)
{
    clock_wish wish = clock_calls::wish_of(call);
    rule_on(call, shown.failures().next(clock_place, access::write),
            [this, call, wish](int error) { finish_setting(call, wish, error); });
}

/** As long as the board has no time of its own, the kernel tells the desk's. */
void notifier::parts::take_reading(const waiting_call& call)
{
    if (!functions.replaced())
        return calls.let_through(call);
    std::int64_t result = 0;
    const int error = clocks.read(call, shown.clock(), result);
    calls.answer(call, error, result);
}

/** The journal's line is written before the answer goes out. */
void notifier::parts::finish_count(const question& asked, int error)
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
        else if (!receiver::copy_out(asked.call, asked.call.arguments[2], &count, sizeof count))
            error = EFAULT;
    }
    if (asked.journalled) {
        const caller who = known.known_as(asked.call.thread);
        event line;
        line.kind = "ioctl";
        line.path = asked.path;
        line.pid = who.pid;
        line.tid = who.tid;
        line.request = static_cast<std::uint32_t>(asked.call.arguments[1]);
        if (error == 0)
            line.data.assign(reinterpret_cast<const char*>(&count), sizeof count);
        else
            line.error = errno_name(error);
        shown.events().append(std::move(line));
    }
    calls.answer(asked.call, error);
}

/** The caller's next reading gives the new time: that is seen to before the answer. */
void notifier::parts::finish_setting(const waiting_call& call, clock_wish wish, int error)
{
    if (!calls.still_waits(call))
        return;
    if (error == 0)
        error = wish.error;
    const caller who = known.known_as(call.thread);
    event line;
    line.kind = "clock";
    line.pid = who.pid;
    line.tid = who.tid;
    line.data = wish.text();
    if (error != 0)
        line.error = errno_name(error);
    shown.events().append(std::move(line));
    if (error == 0 && wish.zone)
        clocks.set_zone(*wish.zone);
    if (error == 0 && wish.time) {
        shown.clock().change({.set = *wish.time}, [] {}); // not to be waited for by who sees to it
        follow_clock();
    }
    calls.answer(call, error);
}

void notifier::parts::follow_clock()
{
    if (shown.clock().offset().count() != 0)
        functions.replace();
}

void notifier::parts::finish_held()
{
    const auto now = clock::now();
    held.remove_if([&](const held_call& each) {
        const bool goes_on = each.due <= now && !(each.ruled.hang && shown.failures().stands(each.ruled.rule));
        if (goes_on)
            each.finish(each.ruled.error);
        return goes_on || !calls.still_waits(each.call);
    });
}

int notifier::parts::timeout_ms() const
{
    if (held.empty())
        return -1;
    const auto now = clock::now();
    clock::duration wait = 1h;
    for (const held_call& each : held)
        wait = std::min(wait, each.ruled.hang || each.due <= now ? hang_step : each.due - now);
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(wait).count());
}

void notifier::parts::work()
{
    follow_clock();
    pollfd events[] = {
        {calls.descriptor_number(), POLLIN, 0}, {stop.get(), POLLIN, 0}, {changes->descriptor_number(), POLLIN, 0}};
    while (poll(events, 3, timeout_ms()) >= 0 && events[1].revents == 0) {
        if (events[2].revents != 0) {
            const auto followed = changes->take();
            follow_clock();
            for (const auto& each : followed)
                each();
        }
        if ((events[0].revents & POLLIN) != 0) {
            if (const auto call = calls.next())
                take(*call);
        } else if (events[0].revents != 0) {
            break; // no caller is left
        }
        finish_held();
    }
    changes->end();
}

notifier::notifier(board& shown, notified_terminal from, node_finder find)
    : parts_(std::make_unique<parts>(shown, std::move(from), std::move(find)))
{
    shown.clock().set_listener(
        [changes = parts_->changes](std::function<void()> followed) { changes->add(std::move(followed)); });
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
    parts_->shown.clock().set_listener(nullptr);
    (void)eventfd_write(parts_->stop.get(), 1);
    parts_->thread.join();
}

} // namespace kt::terminal
