/** A line as its two ends use it. */
#include "terminal/ports/line.h"

#include "terminal/ports/line_state.h"

#include <cerrno>

namespace kt::terminal {

// --- The other end ---

line::line() : state_(std::make_shared<state>()) {}

line::~line()
{
    std::shared_ptr<far_end> last; // goes after the lock
    state_->turn([&] {
        state_->end_waiting(EIO, nullptr, true);
        state_->opens.clear();
        state_->other.swap(last);
    });
}

void line::connect(std::shared_ptr<far_end> other)
{
    state_->turn([&] { state_->other.swap(other); }); // the old one may go after the lock
}

void line::send(std::string_view bytes)
{
    state_->turn([&] { state_->receive(bytes); });
}

void line::send_bad(char byte, wire_error error)
{
    state_->turn([&] { state_->receive_bad(static_cast<unsigned char>(byte), error); });
}

void line::send_break()
{
    state_->turn([&] { state_->receive_break(); });
}

void line::set_inputs(unsigned lines)
{
    state_->turn([&] { state_->set_inputs(lines); });
}

unsigned line::inputs() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->inputs;
}

unsigned line::outputs() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->outputs;
}

void line::hang_up()
{
    state_->turn([&] { state_->hang_up(); });
}

void line::set_dead(bool dead)
{
    state_->turn([&] {
        state_->dead = dead;
        if (dead)
            state_->hang_up();
    });
}

void line::hold(bool held)
{
    state_->turn([&] {
        state_->held = held;
        state_->flow();
    });
}

void line::set_far_framing(std::optional<framing> wanted)
{
    const std::lock_guard lock(state_->mutex);
    state_->other_framing = wanted;
}

std::optional<framing> line::far_framing() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->other_framing;
}

framing line::near_framing() const
{
    const std::lock_guard lock(state_->mutex);
    return framing_of(state_->set);
}

int line::waiting() const
{
    const std::lock_guard lock(state_->mutex);
    return static_cast<int>(state_->input.waiting(state_->set));
}

int line::unsent() const
{
    const std::lock_guard lock(state_->mutex);
    return static_cast<int>(state_->output.size());
}

bool line::is_open() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->users > 0;
}

// --- The terminal's end ---

int line::open(const void* opened)
{
    int error = 0;
    state_->turn_and_leave([&] {
        if (state_->dead) {
            error = EIO;
            return;
        }
        opening& made = state_->opens[opened];
        made.hung_up = false;
        ++made.count;
        state_->begin_use();
    });
    return error;
}

void line::close(const void* opened)
{
    state_->turn([&] {
        const auto known = state_->opens.find(opened);
        if (known == state_->opens.end())
            return;
        const bool used = !known->second.hung_up;
        if (--known->second.count == 0) {
            state_->opens.erase(known);
            state_->end_waiting(EIO, opened, false);
            state_->serve_reads();
        }
        if (used && --state_->users == 0)
            state_->end_use();
        else
            state_->flow();
    });
}

void line::read(request_ptr asked, std::size_t size, const void* opened)
{
    state_->turn([&] {
        if (size == 0 || state_->hung_up(opened))
            return state_->answer(std::move(asked), {});
        waiting_read made;
        made.opened = opened;
        made.asked = std::move(asked);
        made.size = size;
        state_->begin_read(std::move(made));
    });
}

void line::write(request_ptr asked, std::string_view data, const void* opened)
{
    state_->turn([&] {
        if (state_->hung_up(opened))
            return state_->refuse(std::move(asked), EIO);
        state_->begin_write(std::move(asked), data, opened);
    });
}

unsigned line::poll(const void* opened, std::function<void()> changed)
{
    const std::lock_guard lock(state_->mutex);
    const auto known = state_->opens.find(opened);
    if (known != state_->opens.end() && changed)
        known->second.changed.swap(changed);
    return state_->poll_mask(opened);
}

void line::forget(const void* opened)
{
    std::function<void()> dropped;
    const std::lock_guard lock(state_->mutex);
    if (const auto known = state_->opens.find(opened); known != state_->opens.end())
        dropped.swap(known->second.changed);
}

} // namespace kt::terminal
