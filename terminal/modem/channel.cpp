/** Commands, calls and lines of one port. */
#include "terminal/modem/channel.h"

#include <algorithm>
#include <sys/ioctl.h>
#include <utility>

namespace kt::terminal {

namespace {

constexpr unsigned all_inputs = TIOCM_CTS | TIOCM_DSR | TIOCM_CD;
constexpr std::string_view escape_text = "+++";

} // namespace

/** The line's view of a channel: news become jobs. */
class modem_channel::end : public far_end {
public:
    explicit end(const std::shared_ptr<modem_channel>& served) : channel_(served), strand_(served->strand_) {}

    void received(std::string_view bytes) override
    {
        tell([text = std::string(bytes)](modem_channel& channel) { channel.received(text); });
    }
    void lines_changed(unsigned outputs) override
    {
        tell([dtr = (outputs & TIOCM_DTR) != 0](modem_channel& channel) { channel.lines_changed(dtr); });
    }
    void opened() override
    {
        tell([](modem_channel& channel) { channel.opened(); });
    }
    void closed() override
    {
        tell([](modem_channel& channel) { channel.closed(); });
    }

private:
    template <typename News>
    void tell(News news)
    {
        strand_->post([weak = channel_, news = std::move(news)] {
            if (const auto channel = weak.lock())
                news(*channel);
        });
    }

    const std::weak_ptr<modem_channel> channel_;
    const std::shared_ptr<strand> strand_;
};

modem_channel::modem_channel(std::shared_ptr<line> wire, const modem_settings& settings, std::shared_ptr<strand> used,
                             bool physical, news told)
    : wire_(std::move(wire)),
      settings_(settings),
      strand_(std::move(used)),
      told_(std::move(told)),
      commands_(settings, physical)
{
}

void modem_channel::serve()
{
    wire_->connect(std::make_shared<end>(shared_from_this()));
    show_carrier();
}

void modem_channel::leave()
{
    end_call();
    wire_->connect(nullptr);
    wire_->set_dead(true);
}

const char* modem_channel::mode_text() const
{
    switch (mode_) {
    case mode::dialling:
        return "dialling";
    case mode::online:
        return "data";
    case mode::multiplexed:
        return "multiplexed";
    default:
        return "command";
    }
}

void modem_channel::received(std::string_view bytes)
{
    switch (mode_) {
    case mode::multiplexed: // a daemon may open before the port knows that the last one is gone
        if (told_.heard)
            told_.heard(std::string(bytes));
        if (settings_.silent)
            return;
        for (const at_action& each : commands_.feed(bytes))
            if (each.what == at_action::kind::multiplex && told_.multiplex)
                told_.multiplex();
        return;
    case mode::dialling:
        return; // deaf until the result is said
    case mode::online:
        look_for_escape(bytes);
        if (peer_ != nullptr)
            peer_->received(bytes);
        return;
    case mode::command:
        if (told_.heard)
            told_.heard(std::string(bytes));
        if (!settings_.silent)
            act(commands_.feed(bytes));
    }
}

void modem_channel::act(const std::vector<at_action>& actions)
{
    for (const at_action& each : actions) {
        switch (each.what) {
        case at_action::kind::echo:
            wire_->send(each.text);
            break;
        case at_action::kind::answer:
            answer(each.text);
            break;
        case at_action::kind::dial:
            dial(each.text);
            break;
        case at_action::kind::hang_up:
            end_call();
            break;
        case at_action::kind::go_online:
            if (peer_ != nullptr)
                mode_ = mode::online;
            answer(at_line(peer_ != nullptr ? "CONNECT" : "NO CARRIER"));
            break;
        case at_action::kind::multiplex:
            if (told_.multiplex)
                told_.multiplex();
            break;
        }
    }
    show_carrier();
}

void modem_channel::answer(std::string text)
{
    if (!settings_.garbage.empty())
        text = settings_.garbage;
    in_order([this, text] { say(text); });
}

/** At once, or when the modem's delay is over; never before an answer that waits. */
void modem_channel::in_order(std::function<void()> job)
{
    const auto now = timers::clock::now();
    const auto due = std::max(now + settings_.delay, last_answer_);
    if (due <= now)
        return job();
    last_answer_ = due;
    strand_->after(std::chrono::ceil<std::chrono::milliseconds>(due - now),
                   [weak = weak_from_this(), job = std::move(job)] {
                       if (const auto alive = weak.lock())
                           job();
                   });
}

void modem_channel::say(const std::string& text)
{
    if (!settings_.silent)
        wire_->send(text);
}

void modem_channel::dial(const std::string& number)
{
    end_call();
    dialled_ = number;
    mode_ = mode::dialling;
    const std::uint64_t call = ++call_;
    in_order([this, call] {
        strand_->after(settings_.dial_delay, [weak = weak_from_this(), call] {
            if (const auto alive = weak.lock(); alive != nullptr && alive->call_ == call)
                alive->dial_result();
        });
    });
}

void modem_channel::dial_result()
{
    std::string text;
    for (unsigned ring = 0; ring < settings_.rings; ++ring)
        text += at_line("RINGING");
    const bool no_sim = settings_.sim == "missing" || settings_.network.empty();
    const std::string result = no_sim && settings_.dial.starts_with("CONNECT") ? "NO CARRIER" : settings_.dial;
    if (!result.empty())
        text += at_line(result);
    if (result.starts_with("CONNECT") && settings_.garbage.empty() && !settings_.silent) {
        mode_ = mode::online;
        pluses_.clear();
        last_byte_ = timers::clock::now();
        peer_ = make_data_peer(settings_, *this);
    } else {
        mode_ = mode::command;
    }
    show_carrier();
    say(settings_.garbage.empty() ? text : settings_.garbage);
}

/** Three pluses by themselves, with silence on both sides; they reach the peer all the same, as on any line. */
void modem_channel::look_for_escape(std::string_view bytes)
{
    const auto now = timers::clock::now();
    const bool rested = now - last_byte_ >= settings_.guard;
    last_byte_ = now;
    ++escapes_;
    if (rested)
        pluses_.clear();
    else if (pluses_.empty() || pluses_.size() >= escape_text.size())
        return; // in the middle of something else
    pluses_ += bytes.substr(0, escape_text.size() + 1);
    if (!escape_text.starts_with(pluses_))
        pluses_.clear();
    if (pluses_ == escape_text)
        strand_->after(settings_.guard, [weak = weak_from_this(), number = escapes_] {
            const auto alive = weak.lock();
            if (alive == nullptr || alive->escapes_ != number || alive->mode_ != mode::online)
                return;
            alive->mode_ = mode::command;
            alive->answer(at_line("OK"));
        });
}

void modem_channel::lines_changed(bool dtr)
{
    const bool fell = dtr_ && !dtr;
    dtr_ = dtr;
    if (!fell || (mode_ != mode::online && mode_ != mode::dialling && peer_ == nullptr))
        return;
    if (commands_.on_dtr_drop() == 2) {
        lose_carrier(false);
    } else if (commands_.on_dtr_drop() == 1 && mode_ == mode::online) {
        mode_ = mode::command;
        answer(at_line("OK"));
    }
}

void modem_channel::opened()
{
    show_carrier();
}

void modem_channel::closed()
{
    commands_.forget_line();
    if (mode_ == mode::dialling || mode_ == mode::online)
        mode_ = mode::command;
    end_call();
    if (told_.closed)
        told_.closed();
}

void modem_channel::lose_carrier(bool hung_up)
{
    const bool had_call = peer_ != nullptr || mode_ == mode::dialling;
    end_call();
    if (mode_ == mode::online || mode_ == mode::dialling)
        mode_ = mode::command;
    if (had_call || hung_up)
        say(at_line("NO CARRIER"));
    show_carrier(true);
    if (hung_up)
        wire_->hang_up();
}

void modem_channel::end_call()
{
    ++call_;
    // A peer that hangs up is on the stack below; it goes when that call is over.
    if (peer_ != nullptr)
        strand_->post([peer = std::shared_ptr<data_peer>(std::move(peer_))] {});
    peer_ = nullptr;
}

void modem_channel::show_carrier(bool lost)
{
    const bool on = !lost && (!commands_.shows_carrier() || peer_ != nullptr);
    wire_->set_inputs(on ? all_inputs : all_inputs & ~unsigned{TIOCM_CD});
}

void modem_channel::send(std::string_view bytes)
{
    if (mode_ == mode::online)
        wire_->send(bytes);
}

void modem_channel::hang_up()
{
    lose_carrier(true);
}

void modem_channel::later(std::chrono::milliseconds delay, std::function<void()> what)
{
    strand_->after(delay, [weak = weak_from_this(), call = call_, what = std::move(what)] {
        if (const auto alive = weak.lock(); alive != nullptr && alive->call_ == call)
            what();
    });
}

} // namespace kt::terminal
