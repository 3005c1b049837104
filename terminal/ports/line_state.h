/** What a line is made of, behind its lock; for the sources of line alone. */
#pragma once

#include "terminal/model/timers.h"
#include "terminal/ports/input_queue.h"
#include "terminal/ports/line.h"
#include "terminal/ports/output_queue.h"
#include "terminal/ports/settings.h"
#include "terminal/ports/steps.h"

#include <chrono>
#include <linux/serial.h>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace kt::terminal {

using moment = timers::clock::time_point;

/** A call that waits: the number by which a signal finds it, and the open it belongs to. */
struct parked {
    std::uint64_t number = 0;
    const void* opened = nullptr;
};

struct waiting_read : parked {
    request_ptr asked;
    std::size_t size = 0;
    std::size_t minimum = 1;
    std::optional<timers::clock::duration> first;   /**< Waits this long for the first byte; else without limit. */
    std::optional<timers::clock::duration> between; /**< Waits this long for each further one. */
    std::string got;
    std::optional<moment> due;
};

struct waiting_write : parked {
    request_ptr asked;
    std::string data;
    std::size_t taken = 0;
};

/** A request that goes on once all is sent. */
struct waiting_request : parked {
    device_request_ptr asked;
    std::function<timers::clock::duration()> once_sent; /**< Returns how long the request takes from then on. */
    std::optional<moment> due;                          /**< Set once all was sent. */
};

/** One open of the port. */
struct opening {
    int count = 0;
    bool hung_up = false;
    std::function<void()> changed;
};

/** Functions are called with the lock held, from within turn(), unless they say otherwise. */
struct line::state : std::enable_shared_from_this<line::state> {
    std::mutex mutex;

    struct termios2 set = first_settings();
    input_queue input;
    output_queue output;
    std::optional<framing> other_framing;
    bool held = false;
    bool stopped_by_other = false;   /**< XOFF came. */
    bool stopped_by_program = false; /**< TCOOFF. */
    bool breaking = false;
    bool exclusive = false;
    bool dead = false;
    struct winsize window {};

    unsigned inputs = TIOCM_CTS | TIOCM_DSR | TIOCM_CD;
    unsigned outputs = 0;
    struct serial_icounter_struct counts {};

    std::map<const void*, opening> opens;
    int users = 0; /**< Opens that are not hung up. */

    std::list<waiting_read> reads; // the first one takes what comes, as the kernel lets one reader at a time
    std::list<waiting_write> writes;
    std::list<waiting_request> requests;
    bool serving_requests = false;
    std::uint64_t last_number = 0;
    std::optional<moment> armed; /**< When the timers will look here next. */

    std::shared_ptr<far_end> other;
    steps answers; /**< For readers and pollers: done as soon as the lock is free. */
    steps outbox;  /**< For the other end, and for the program once that knows: in order, one at a time. */
    bool delivering = false;

    /** Does something with the lock held, and then, without, what came of it. */
    template <typename Work>
    void turn(Work work)
    {
        steps mine;
        {
            const std::lock_guard lock(mutex);
            work();
            mine = std::exchange(answers, {});
        }
        mine.run();
        deliver();
    }

    /** Likewise, but what came of it is left to another thread: the caller holds locks of its own. */
    template <typename Work>
    void turn_and_leave(Work work)
    {
        {
            const std::lock_guard lock(mutex);
            work();
            if (answers.empty() && outbox.empty())
                return;
        }
        timers::shared().at({}, [self = weak_from_this()] {
            if (const auto there = self.lock())
                there->turn([] {});
        });
    }

    /** Empties the outbox, unless somebody is at it. Without the lock. */
    void deliver();

    /** Puts a call on the other end into the outbox. */
    template <typename Call>
    void tell(Call call)
    {
        if (other != nullptr)
            outbox.add([to = other, call] { call(*to); });
    }

    // --- line_state.cpp ---
    bool hung_up(const void* opened) const;
    void begin_use();
    void end_use();
    void hang_up();
    void set_outputs(unsigned wanted);
    void set_inputs(unsigned wanted);
    void apply(const struct termios2& wanted);
    void set_break(bool wanted);
    void wake_pollers();
    unsigned poll_mask(const void* opened) const;

    // --- traffic.cpp ---
    void receive(std::string_view bytes);
    void receive_bad(unsigned char byte, wire_error error);
    void receive_break();
    void took_in(input_queue::effect happened);
    bool flowing() const;
    void transmit(std::string bytes);
    std::size_t push(std::string_view written);
    void flow();
    void flush_input();
    void flush_output();
    void send_control(unsigned char byte);

    // --- waiting.cpp: calls that cannot be answered at once ---
    bool complete(waiting_read& head);
    void serve_reads();
    void serve_requests();
    void begin_read(waiting_read read);
    void begin_write(request_ptr asked, std::string_view data, const void* opened);
    void wait_until_sent(device_request_ptr asked, const void* opened,
                         std::function<timers::clock::duration()> once_sent);
    void arm(const std::optional<moment>& due);
    void on_time();
    void interrupted(std::uint64_t number);
    void end_waiting(int error, const void* opened, bool every_open);
    template <typename Waiting>
    void park(std::list<Waiting>& among, Waiting waiting);
    void answer(request_ptr asked, std::string bytes);
    void answer_count(request_ptr asked, std::size_t taken);
    void refuse(std::unique_ptr<pending_call> asked, int error);
};

} // namespace kt::terminal
