/** What ioctl(2) asks of a port. */
#include "terminal/ports/line_state.h"

#include <cerrno>
#include <chrono>
#include <type_traits>

namespace kt::terminal {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds usual_break{250};

/** Fetches a record; when that fails the request is answered. */
template <typename Record>
bool fetch(device_request& asked, Record& record)
{
    if (asked.copy_in(&record, asked.argument(), sizeof record))
        return true;
    asked.fail(EFAULT);
    return false;
}

/** The forms of the requests that set, which differ only in what comes before. */
enum class before { nothing, sent, sent_and_flushed };

} // namespace

/** One request on its way through the groups below: each takes those it knows. */
class request_on_line {
public:
    request_on_line(line::state& asked_of, device_request_ptr asked, const void* opened)
        : line_(asked_of), asked_(std::move(asked)), opened_(opened), number_(asked_->number())
    {
    }

    void carry_out()
    {
        if (now([&] { return line_.hung_up(opened_); }))
            asked_->fail(EIO);
        else if (!settings() && !modem_lines() && !traffic() && !other())
            asked_->fail(ENOTTY);
    }

private:
    /** What is there now. */
    template <typename Get>
    std::invoke_result_t<Get> now(Get get)
    {
        const std::lock_guard lock(line_.mutex);
        return get();
    }

    /** Changes something and answers. */
    template <typename Work>
    void change(Work work)
    {
        line_.turn([&] {
            work();
            line_.outbox.add([asked = std::move(asked_)] { asked->done(); });
        });
    }

    bool settings();
    template <typename Record, typename Merge>
    void set(Merge merge, before first);
    bool modem_lines();
    bool traffic();
    bool other();

    line::state& line_;
    device_request_ptr asked_;
    const void* const opened_;
    const std::uint32_t number_;
};

template <typename Record, typename Merge>
void request_on_line::set(Merge merge, before first)
{
    Record wanted{};
    if (!fetch(*asked_, wanted))
        return;
    if (first == before::nothing)
        return change([&] { line_.apply(merge(line_.set, wanted)); });
    line_.turn([&] {
        if (first == before::sent_and_flushed)
            line_.flush_input(); // what comes while the rest is sent stays
        line_.wait_until_sent(std::move(asked_), opened_, [&at = line_, merge, wanted] {
            at.apply(merge(at.set, wanted));
            return milliseconds(0);
        });
    });
}

bool request_on_line::settings()
{
    const auto whole = [](const struct termios2&, const struct termios2& wanted) { return with_speeds(wanted); };
    switch (number_) {
    case TCGETS:
        answer_with(*asked_, now([&] { return short_form(line_.set); }));
        break;
    case TCGETS2:
        answer_with(*asked_, now([&] { return line_.set; }));
        break;
    case TCGETA:
        answer_with(*asked_, now([&] { return oldest_form(line_.set); }));
        break;
    case TCSETS:
        set<struct termios>(with_short_form, before::nothing);
        break;
    case TCSETSW:
        set<struct termios>(with_short_form, before::sent);
        break;
    case TCSETSF:
        set<struct termios>(with_short_form, before::sent_and_flushed);
        break;
    case TCSETS2:
        set<struct termios2>(whole, before::nothing);
        break;
    case TCSETSW2:
        set<struct termios2>(whole, before::sent);
        break;
    case TCSETSF2:
        set<struct termios2>(whole, before::sent_and_flushed);
        break;
    case TCSETA:
        set<struct termio>(with_oldest_form, before::nothing);
        break;
    case TCSETAW:
        set<struct termio>(with_oldest_form, before::sent);
        break;
    case TCSETAF:
        set<struct termio>(with_oldest_form, before::sent_and_flushed);
        break;
    default:
        return false;
    }
    return true;
}

bool request_on_line::modem_lines()
{
    int given = 0;
    switch (number_) {
    case TIOCMGET:
        answer_with(*asked_, now([&] { return static_cast<int>(line_.outputs | line_.inputs); }));
        return true;
    case TIOCMSET:
    case TIOCMBIS:
    case TIOCMBIC:
        if (!fetch(*asked_, given))
            return true;
        change([&] {
            const auto bits = static_cast<unsigned>(given);
            if (number_ == TIOCMSET)
                line_.set_outputs(bits);
            else
                line_.set_outputs(number_ == TIOCMBIS ? line_.outputs | bits : line_.outputs & ~bits);
        });
        return true;
    case TIOCGICOUNT:
        answer_with(*asked_, now([&] { return line_.counts; }));
        return true;
    default:
        return false;
    }
}

bool request_on_line::traffic()
{
    const auto is_one_of = [](int value, auto... known) { return ((value == known) || ...); };
    switch (number_) {
    case TCSBRK:
    case TCSBRKP: {
        const int value = asked_->value();
        const bool sends = number_ == TCSBRKP || value == 0; // any other TCSBRK is tcdrain(3)
        const milliseconds length = number_ == TCSBRKP && value > 0 ? milliseconds(value) * 100 : usual_break;
        line_.turn([&] {
            line_.wait_until_sent(std::move(asked_), opened_, [&at = line_, sends, length] {
                if (!sends)
                    return milliseconds(0);
                at.set_break(true);
                at.set_break(false);
                return length;
            });
        });
        return true;
    }
    case TIOCSBRK:
    case TIOCCBRK:
        change([&] { line_.set_break(number_ == TIOCSBRK); });
        return true;
    case TCXONC: {
        const int value = asked_->value();
        if (!is_one_of(value, TCOOFF, TCOON, TCIOFF, TCION)) {
            asked_->fail(EINVAL);
            return true;
        }
        change([&] {
            if (value == TCOOFF || value == TCOON) {
                if (value == TCOON && line_.stopped_by_program)
                    line_.stopped_by_other = false; // started whoever stopped it
                line_.stopped_by_program = value == TCOOFF;
                line_.flow();
            } else if (const cc_t control = line_.set.c_cc[value == TCIOFF ? VSTOP : VSTART]; control != 0) {
                line_.send_control(control);
            }
        });
        return true;
    }
    case TCFLSH: {
        const int value = asked_->value();
        if (!is_one_of(value, TCIFLUSH, TCOFLUSH, TCIOFLUSH)) {
            asked_->fail(EINVAL);
            return true;
        }
        change([&] {
            if (value != TCOFLUSH)
                line_.flush_input();
            if (value != TCIFLUSH)
                line_.flush_output();
        });
        return true;
    }
    case TIOCOUTQ:
        answer_with(*asked_, now([&] { return static_cast<int>(line_.output.size()); }));
        return true;
    case FIONREAD: // the same number as TIOCINQ; the kernel rarely asks
        answer_with(*asked_, now([&] { return static_cast<int>(line_.input.waiting(line_.set)); }));
        return true;
    default:
        return false;
    }
}

bool request_on_line::other()
{
    switch (number_) {
    case TIOCEXCL: // heeded by nobody: programs on the board are root, whom it does not bind
    case TIOCNXCL:
        change([&] { line_.exclusive = number_ == TIOCEXCL; });
        return true;
    case TIOCGEXCL:
        answer_with(*asked_, now([&] { return line_.exclusive ? 1 : 0; }));
        return true;
    case TIOCGWINSZ:
        answer_with(*asked_, now([&] { return line_.window; }));
        return true;
    case TIOCSWINSZ: {
        struct winsize wanted {};
        if (fetch(*asked_, wanted))
            change([&] { line_.window = wanted; });
        return true;
    }
    default:
        return false;
    }
}

void line::control(device_request_ptr asked, const void* opened)
{
    request_on_line(*state_, std::move(asked), opened).carry_out();
}

} // namespace kt::terminal
