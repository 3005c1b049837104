/** Bytes on their way in and out. */
#include "terminal/ports/line_state.h"

#include <algorithm>

namespace kt::terminal {

namespace {

/** What a receiver makes of a byte that was sent with another framing: always another one, whatever its size. */
char noise(unsigned char byte, unsigned char mask)
{
    return static_cast<char>((byte ^ 0x5A) & mask);
}

} // namespace

void line::state::receive(std::string_view bytes)
{
    if (users == 0 || bytes.empty())
        return;
    counts.rx += static_cast<int>(bytes.size());
    const unsigned char mask = size_mask(set);
    const bool fits = !other_framing || *other_framing == framing_of(set);
    if (!fits)
        counts.frame += static_cast<int>(bytes.size());
    if ((set.c_cflag & CREAD) == 0)
        return;
    for (const char each : bytes) {
        auto byte = static_cast<unsigned char>(each);
        byte = static_cast<unsigned char>(fits ? byte & mask : noise(byte, mask));
        auto happened = input.good(byte, set);
        if (happened == input_queue::effect::overrun && !reads.empty()) {
            serve_reads(); // somebody waits for what there is, and makes room
            happened = input.good(byte, set);
        }
        took_in(happened);
    }
    serve_reads();
    wake_pollers();
}

void line::state::receive_bad(unsigned char byte, wire_error error)
{
    if (error == wire_error::overrun)
        counts.overrun += users == 0 ? 0 : 1;
    const bool fits = !other_framing || *other_framing == framing_of(set);
    if (error == wire_error::none || error == wire_error::overrun || !fits)
        return receive(std::string(1, static_cast<char>(byte)));
    if (users == 0)
        return;
    ++counts.rx;
    ++(error == wire_error::parity ? counts.parity : counts.frame);
    if ((set.c_cflag & CREAD) == 0)
        return;
    took_in(input.bad(static_cast<unsigned char>(byte & size_mask(set)), set));
    serve_reads();
    wake_pollers();
}

void line::state::receive_break()
{
    if (users == 0)
        return;
    ++counts.rx;
    ++counts.brk;
    if ((set.c_cflag & CREAD) == 0)
        return;
    took_in(input.line_break(set));
    serve_reads();
    wake_pollers();
}

void line::state::took_in(input_queue::effect happened)
{
    switch (happened) {
    case input_queue::effect::none:
        break;
    case input_queue::effect::stop_output:
        stopped_by_other = true;
        break;
    case input_queue::effect::start_output:
        stopped_by_other = false;
        flow();
        break;
    case input_queue::effect::flush:
        flush_input();
        flush_output();
        break;
    case input_queue::effect::overrun:
        ++counts.buf_overrun;
        break;
    }
}

bool line::state::flowing() const
{
    const bool clear_to_send = (set.c_cflag & CRTSCTS) == 0 || (inputs & TIOCM_CTS) != 0;
    return !held && !stopped_by_other && !stopped_by_program && clear_to_send;
}

void line::state::transmit(std::string bytes)
{
    if (bytes.empty())
        return;
    counts.tx += static_cast<int>(bytes.size());
    const unsigned char mask = size_mask(set);
    const bool fits = !other_framing || *other_framing == framing_of(set);
    if (!fits || mask != 0xFF)
        std::transform(bytes.begin(), bytes.end(), bytes.begin(), [fits, mask](char each) {
            const auto byte = static_cast<unsigned char>(each);
            return fits ? static_cast<char>(byte & mask) : noise(byte, mask);
        });
    tell([sent = std::move(bytes)](far_end& to) { to.received(sent); });
}

std::size_t line::state::push(std::string_view written)
{
    if (!flowing())
        return output.put(written, set);
    std::string leaving;
    (void)process_output(written, set, 2 * written.size(), leaving);
    transmit(std::move(leaving));
    return written.size();
}

void line::state::flow()
{
    const bool had_room = output.has_room();
    if (flowing())
        transmit(output.take_all());
    while (!writes.empty()) {
        waiting_write& first = writes.front();
        first.taken += push(std::string_view(first.data).substr(first.taken));
        if (first.taken < first.data.size())
            break;
        answer_count(std::move(first.asked), first.taken);
        writes.pop_front();
    }
    serve_requests();
    if (!had_room && output.has_room())
        wake_pollers();
}

void line::state::flush_input()
{
    input.clear();
}

void line::state::flush_output()
{
    const bool had_room = output.has_room();
    output.clear();
    flow();
    if (!had_room && output.has_room())
        wake_pollers();
}

void line::state::send_control(unsigned char byte)
{
    if (held)
        output.put_first(static_cast<char>(byte));
    else
        transmit(std::string(1, static_cast<char>(byte)));
}

} // namespace kt::terminal
