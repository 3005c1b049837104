/** The kernel's rules for received bytes. */
#include "terminal/ports/input_queue.h"

#include <algorithm>
#include <cctype>

namespace kt::terminal {

namespace {

constexpr unsigned char disabled = 0; // a control character that is switched off

} // namespace

input_queue::effect input_queue::put(std::string_view bytes)
{
    if (bytes_.size() - start_ + bytes.size() > capacity)
        return effect::overrun;
    bytes_ += bytes;
    received_ += bytes.size();
    return effect::none;
}

input_queue::effect input_queue::good(unsigned char byte, const struct termios2& set)
{
    const auto is = [&set](unsigned char value, int control) {
        return set.c_cc[control] != disabled && value == set.c_cc[control];
    };
    const bool extended = (set.c_lflag & IEXTEN) != 0;
    if ((set.c_iflag & ISTRIP) != 0)
        byte &= 0x7F;
    if ((set.c_iflag & IUCLC) != 0 && extended)
        byte = static_cast<unsigned char>(std::tolower(byte));
    if ((set.c_iflag & IXON) != 0) {
        if (is(byte, VSTART))
            return effect::start_output;
        if (is(byte, VSTOP))
            return effect::stop_output;
    }
    // Nobody's controlling terminal: what would signal only empties the queues.
    if ((set.c_lflag & ISIG) != 0 && (is(byte, VINTR) || is(byte, VQUIT) || is(byte, VSUSP)))
        return (set.c_lflag & NOFLSH) != 0 ? effect::none : effect::flush;
    if (byte == '\r') {
        if ((set.c_iflag & IGNCR) != 0)
            return effect::none;
        if ((set.c_iflag & ICRNL) != 0)
            byte = '\n';
    } else if (byte == '\n' && (set.c_iflag & INLCR) != 0) {
        byte = '\r';
    }
    const char queued[] = {static_cast<char>(byte), static_cast<char>(byte)};
    if (!is_line_wise(set)) // with PARMRK a byte of all ones is told from a mark by being doubled
        return put({queued, byte == 0xFF && (set.c_iflag & PARMRK) != 0 ? 2U : 1U});
    if (is(byte, VEOF)) {
        end_line();
        return effect::none;
    }
    const effect happened = put({queued, 1});
    if (happened == effect::overrun && byte == '\n' && bytes_.size() > start_) {
        bytes_.back() = '\n'; // a line too long is cut, but it ends
        end_line();
    }
    if (happened == effect::none && (byte == '\n' || is(byte, VEOL) || (extended && is(byte, VEOL2))))
        end_line();
    return happened;
}

input_queue::effect input_queue::bad(unsigned char byte, const struct termios2& set)
{
    const char marked[] = {'\377', '\0', static_cast<char>(byte)};
    if ((set.c_iflag & INPCK) == 0)
        return good(byte, set);
    if ((set.c_iflag & IGNPAR) != 0)
        return effect::none;
    if ((set.c_iflag & PARMRK) != 0)
        return put({marked, 3});
    return put({marked + 1, 1});
}

input_queue::effect input_queue::line_break(const struct termios2& set)
{
    constexpr char marked[] = {'\377', '\0', '\0'};
    if ((set.c_iflag & IGNBRK) != 0)
        return effect::none;
    if ((set.c_iflag & BRKINT) != 0)
        return (set.c_lflag & NOFLSH) != 0 ? effect::none : effect::flush;
    if ((set.c_iflag & PARMRK) != 0)
        return put({marked, 3});
    return put({marked + 1, 1});
}

bool input_queue::readable(const struct termios2& set) const
{
    return is_line_wise(set) ? !line_ends_.empty() : start_ < bytes_.size();
}

std::size_t input_queue::waiting(const struct termios2& set) const
{
    if (!is_line_wise(set))
        return bytes_.size() - start_;
    return line_ends_.empty() ? 0 : static_cast<std::size_t>(line_ends_.back() - taken_);
}

std::string input_queue::take(std::size_t size, const struct termios2& set)
{
    std::size_t length = bytes_.size() - start_;
    if (is_line_wise(set))
        length = line_ends_.empty() ? 0 : static_cast<std::size_t>(line_ends_.front() - taken_);
    std::string taken = bytes_.substr(start_, std::min(size, length));
    start_ += taken.size();
    taken_ += taken.size();
    if (is_line_wise(set) && taken.size() == length && !line_ends_.empty())
        line_ends_.pop_front();
    if (start_ == bytes_.size() || start_ >= capacity) {
        bytes_.erase(0, start_);
        start_ = 0;
    }
    return taken;
}

void input_queue::clear()
{
    bytes_.clear();
    start_ = 0;
    taken_ = received_;
    line_ends_.clear();
}

void input_queue::became_line_wise()
{
    if (start_ < bytes_.size())
        end_line();
}

void input_queue::left_line_wise()
{
    line_ends_.clear();
}

} // namespace kt::terminal
