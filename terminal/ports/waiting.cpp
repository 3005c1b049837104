/** Calls that cannot be answered at once: what they wait for, and what ends their waiting. */
#include "terminal/ports/line_state.h"

#include <algorithm>
#include <cerrno>

namespace kt::terminal {

void line::state::answer(request_ptr asked, std::string bytes)
{
    answers.add([asked = std::move(asked), bytes = std::move(bytes)] { asked->bytes(bytes); });
}

void line::state::answer_count(request_ptr asked, std::size_t taken)
{
    // In the outbox, as all answers to what moves the line: when the call returns, the other end knows of it.
    outbox.add([asked = std::move(asked), taken] { asked->count(taken); });
}

void line::state::refuse(std::unique_ptr<pending_call> asked, int error)
{
    answers.add([asked = std::move(asked), error] { asked->fail(error); });
}

template <typename Waiting>
void line::state::park(std::list<Waiting>& among, Waiting waiting)
{
    waiting.number = ++last_number;
    // A signal that is there already finds the call all the same: who is told of it waits for the lock.
    waiting.asked->when_interrupted([self = weak_from_this(), number = waiting.number] {
        if (const auto there = self.lock())
            there->turn([&] { there->interrupted(number); });
    });
    among.push_back(std::move(waiting));
}

bool line::state::complete(waiting_read& head)
{
    const bool more = input.readable(set);
    if (more) {
        head.got += input.take(head.size - head.got.size(), set);
        if (is_line_wise(set) || head.got.size() >= head.minimum)
            return true;
    }
    const moment now = timers::clock::now();
    if (more && head.between)
        head.due = now + *head.between;
    else if (!more && !head.due && head.first)
        head.due = now + *head.first;
    return head.due && now >= *head.due;
}

void line::state::serve_reads()
{
    while (!reads.empty() && complete(reads.front())) {
        answer(std::move(reads.front().asked), std::move(reads.front().got));
        reads.pop_front();
    }
    if (!reads.empty())
        arm(reads.front().due);
}

void line::state::begin_read(waiting_read read)
{
    if (!is_line_wise(set)) {
        const std::chrono::milliseconds time(set.c_cc[VTIME] * 100);
        if (set.c_cc[VMIN] == 0)
            read.first = time; // with 0 it does not wait at all
        else if (set.c_cc[VTIME] != 0)
            read.between = time;
        read.minimum = std::min<std::size_t>(std::max<std::size_t>(set.c_cc[VMIN], 1), read.size);
    }
    const bool may_wait = read.asked->may_wait();
    if (!reads.empty() && !may_wait)
        return refuse(std::move(read.asked), EAGAIN);
    if (reads.empty() && (complete(read) || (!may_wait && !read.got.empty())))
        return answer(std::move(read.asked), std::move(read.got));
    if (!may_wait)
        return refuse(std::move(read.asked), EAGAIN);
    arm(read.due);
    park(reads, std::move(read));
}

void line::state::begin_write(request_ptr asked, std::string_view data, const void* opened)
{
    const bool may_wait = asked->may_wait();
    std::size_t taken = 0;
    if (writes.empty())
        taken = push(data);
    if (taken == data.size() || (taken > 0 && !may_wait))
        return answer_count(std::move(asked), taken);
    if (!may_wait)
        return refuse(std::move(asked), EAGAIN);
    waiting_write waiting;
    waiting.opened = opened;
    waiting.asked = std::move(asked);
    waiting.data = data;
    waiting.taken = taken;
    park(writes, std::move(waiting));
}

void line::state::wait_until_sent(device_request_ptr asked, const void* opened,
                                  std::function<timers::clock::duration()> once_sent)
{
    waiting_request waiting;
    waiting.opened = opened;
    waiting.asked = std::move(asked);
    waiting.once_sent = std::move(once_sent);
    park(requests, std::move(waiting));
    serve_requests();
}

void line::state::serve_requests()
{
    if (serving_requests)
        return; // what one of them does moves the line and comes back here
    serving_requests = true;
    const moment now = timers::clock::now();
    for (auto at = requests.begin(); at != requests.end();) {
        if (!at->due && output.size() == 0)
            at->due = now + at->once_sent();
        if (!at->due || *at->due > now) {
            arm(at->due);
            ++at;
            continue;
        }
        outbox.add([asked = std::move(at->asked)] { asked->done(); });
        at = requests.erase(at);
    }
    serving_requests = false;
}

void line::state::arm(const std::optional<moment>& due)
{
    if (!due || (armed && *armed <= *due))
        return;
    armed = due;
    timers::shared().at(*due, [self = weak_from_this()] {
        if (const auto there = self.lock())
            there->turn([&] { there->on_time(); });
    });
}

void line::state::on_time()
{
    armed.reset();
    serve_reads();
    serve_requests();
}

void line::state::interrupted(std::uint64_t number)
{
    const auto is_it = [number](const parked& each) { return each.number == number; };
    if (const auto read = std::find_if(reads.begin(), reads.end(), is_it); read != reads.end()) {
        if (read->got.empty())
            refuse(std::move(read->asked), EINTR);
        else
            answer(std::move(read->asked), std::move(read->got));
        reads.erase(read);
        serve_reads(); // it is the next one's turn
    } else if (const auto write = std::find_if(writes.begin(), writes.end(), is_it); write != writes.end()) {
        if (write->taken == 0)
            refuse(std::move(write->asked), EINTR);
        else
            answer_count(std::move(write->asked), write->taken);
        writes.erase(write);
        flow();
    } else if (const auto request = std::find_if(requests.begin(), requests.end(), is_it); request != requests.end()) {
        refuse(std::move(request->asked), EINTR);
        requests.erase(request);
    }
}

void line::state::end_waiting(int error, const void* opened, bool every_open)
{
    const auto ends = [opened, every_open](const parked& each) { return every_open || each.opened == opened; };
    for (waiting_read& each : reads) {
        if (!ends(each))
            continue;
        if (error == 0 || !each.got.empty())
            answer(std::move(each.asked), std::move(each.got));
        else
            refuse(std::move(each.asked), error);
    }
    for (waiting_write& each : writes) {
        if (!ends(each))
            continue;
        if (each.taken > 0)
            answer_count(std::move(each.asked), each.taken);
        else
            refuse(std::move(each.asked), EIO);
    }
    for (waiting_request& each : requests)
        if (ends(each))
            refuse(std::move(each.asked), EIO);
    reads.remove_if(ends);
    writes.remove_if(ends);
    requests.remove_if(ends);
}

} // namespace kt::terminal
