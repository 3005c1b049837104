/** One port of a modem as its user has it: commands, a call, and what the lines beside the data do. */
#pragma once

#include "terminal/modem/at_responder.h"
#include "terminal/modem/data_peer.h"
#include "terminal/modem/strand.h"
#include "terminal/ports/line.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace kt::terminal {

/** All calls come on the strand, or with its lock held. */
class modem_channel : public data_peer::call, public std::enable_shared_from_this<modem_channel> {
public:
    /** What the modem wants to know of a channel. */
    struct news {
        std::function<void(const std::string& line)> heard; /**< What came in while it waited for commands. */
        std::function<void()> multiplex;                    /**< AT+CMUX=0; only a physical port's. */
        std::function<void()> closed;                       /**< Nobody has the port open any more. */
    };

    /** @p settings and @p used live longer. */
    modem_channel(std::shared_ptr<line> wire, const modem_settings& settings, std::shared_ptr<strand> used,
                  bool physical, news told);

    /** Begins to answer at the other end of the line. */
    void serve();
    /** Leaves the line: nobody answers, what is open is hung up, and opening fails. */
    void leave();

    /** Says an answer, in its order. */
    void answer(std::string text);
    /** From now on bytes belong to nobody here: the port carries channels. */
    void be_multiplexed() { mode_ = mode::multiplexed; }
    void be_plain() { mode_ = mode::command; }

    /** The network ends the call; @p hung_up: the tty too, as by the fall of the carrier line. */
    void lose_carrier(bool hung_up);

    bool is_open() const { return wire_->is_open(); }
    const char* mode_text() const;
    bool in_call() const { return peer_ != nullptr; }
    const std::string& dialled() const { return dialled_; }
    const data_peer* peer() const { return peer_.get(); }

    // As a call:
    void send(std::string_view bytes) override;
    void hang_up() override;
    void later(std::chrono::milliseconds delay, std::function<void()> what) override;

private:
    class end;
    enum class mode { command, dialling, online, multiplexed };

    void received(std::string_view bytes);
    void lines_changed(bool dtr);
    void opened();
    void closed();

    void act(const std::vector<at_action>& actions);
    void look_for_escape(std::string_view bytes);
    void dial(const std::string& number);
    void dial_result();
    void end_call();
    void say(const std::string& text);
    void show_carrier(bool lost = false);
    void in_order(std::function<void()> job);

    const std::shared_ptr<line> wire_;
    const modem_settings& settings_;
    const std::shared_ptr<strand> strand_;
    const news told_;
    at_responder commands_;
    mode mode_ = mode::command;
    std::unique_ptr<data_peer> peer_;
    std::string dialled_;
    bool dtr_ = false;
    std::uint64_t call_ = 0;    // each call's number; what is due of an old one is void
    std::uint64_t escapes_ = 0; // each byte's number, for the silence around the escape
    std::string pluses_;
    timers::clock::time_point last_byte_{};
    timers::clock::time_point last_answer_{}; // when the newest answer that waits is due
};

} // namespace kt::terminal
