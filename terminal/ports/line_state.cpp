/** How a line stands: in use or hung up, its modem lines, its settings. */
#include "terminal/ports/line_state.h"

#include <poll.h>

namespace kt::terminal {

namespace {

constexpr unsigned driven = TIOCM_DTR | TIOCM_RTS;
constexpr unsigned seen = TIOCM_CTS | TIOCM_DSR | TIOCM_CD | TIOCM_RI;

} // namespace

void line::state::deliver()
{
    std::unique_lock lock(mutex);
    if (delivering)
        return; // whoever is at it goes on until the outbox is empty
    delivering = true;
    while (!outbox.empty()) {
        steps now = std::exchange(outbox, {});
        lock.unlock();
        now.run();
        now = {}; // cppcheck-suppress unreadVariable ; what it holds goes without the lock
        lock.lock();
    }
    delivering = false;
}

bool line::state::hung_up(const void* opened) const
{
    const auto known = opens.find(opened);
    return known == opens.end() || known->second.hung_up;
}

void line::state::begin_use()
{
    if (users++ > 0)
        return;
    input.clear();
    tell([](far_end& to) { to.opened(); });
    if (set.c_ospeed != 0)
        set_outputs(outputs | driven);
}

void line::state::end_use()
{
    stopped_by_other = stopped_by_program = breaking = exclusive = false;
    input.clear();
    flow();
    if ((set.c_cflag & HUPCL) != 0)
        set_outputs(outputs & ~driven);
    tell([](far_end& to) { to.closed(); });
}

void line::state::hang_up()
{
    if (users == 0)
        return;
    users = 0;
    for (auto& [opened, each] : opens)
        each.hung_up = true;
    end_waiting(0, nullptr, true);
    output.clear();
    wake_pollers();
    end_use();
}

void line::state::set_outputs(unsigned wanted)
{
    const unsigned before = outputs;
    outputs = wanted & driven;
    if (outputs != before)
        tell([shown = outputs](far_end& to) { to.lines_changed(shown); });
}

void line::state::set_inputs(unsigned wanted)
{
    const unsigned changed = (inputs ^ wanted) & seen;
    inputs = wanted & seen;
    counts.cts += (changed & TIOCM_CTS) != 0 ? 1 : 0;
    counts.dsr += (changed & TIOCM_DSR) != 0 ? 1 : 0;
    counts.dcd += (changed & TIOCM_CD) != 0 ? 1 : 0;
    counts.rng += (changed & TIOCM_RI & ~inputs) != 0 ? 1 : 0; // a ring is counted at its end
    if ((changed & TIOCM_CD & ~inputs) != 0 && (set.c_cflag & CLOCAL) == 0)
        hang_up();
    flow();
}

void line::state::apply(const struct termios2& wanted)
{
    const struct termios2 before = std::exchange(set, wanted);
    if (is_line_wise(set) && !is_line_wise(before))
        input.became_line_wise();
    else if (!is_line_wise(set))
        input.left_line_wise();
    if ((set.c_iflag & IXON) == 0)
        stopped_by_other = false;
    if (set.c_ospeed == 0 && before.c_ospeed != 0)
        set_outputs(outputs & ~driven);
    else if (set.c_ospeed != 0 && before.c_ospeed == 0)
        set_outputs(outputs | driven);
    serve_reads();
    flow();
    wake_pollers(); // what counts as readable may have changed
}

void line::state::set_break(bool wanted)
{
    if (wanted && !breaking)
        tell([](far_end& to) { to.received_break(); });
    breaking = wanted;
}

void line::state::wake_pollers()
{
    for (auto& [opened, each] : opens)
        if (each.changed)
            answers.add(std::exchange(each.changed, nullptr));
}

unsigned line::state::poll_mask(const void* opened) const
{
    if (hung_up(opened))
        return POLLIN | POLLRDNORM | POLLOUT | POLLWRNORM | POLLERR | POLLHUP;
    const bool counts_bytes = !is_line_wise(set) && set.c_cc[VTIME] == 0 && set.c_cc[VMIN] > 0;
    const std::size_t least = counts_bytes ? set.c_cc[VMIN] : 1;
    unsigned found = 0;
    if (input.readable(set) && (is_line_wise(set) || input.waiting(set) >= least))
        found |= POLLIN | POLLRDNORM;
    if (output.has_room())
        found |= POLLOUT | POLLWRNORM;
    return found;
}

} // namespace kt::terminal
