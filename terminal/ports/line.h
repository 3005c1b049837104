/** One serial line: the settings and queues of the terminal's end, and what the other end can do. */
#pragma once

#include "terminal/model/request.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/ioctl.h> // TIOCM_DTR and its like

namespace kt::terminal {

/** How a byte goes over the wire. */
struct framing {
    unsigned speed = 9600;
    unsigned data_bits = 8;
    char parity = 'N'; /**< 'N', 'E' or 'O'. */
    unsigned stop_bits = 1;

    bool operator==(const framing&) const = default;
};

/** What can go wrong with a byte on its way to the terminal. */
enum class wire_error { none, parity, framing, overrun };

/**
 * What is wired to the other end. Called without the line's lock, in the order in which things happened, from whatever
 * thread caused them; it may call the line.
 */
class far_end {
public:
    virtual ~far_end() = default;

    virtual void received(std::string_view /*bytes*/) {} /**< From the terminal. */
    virtual void received_break() {}
    virtual void lines_changed(unsigned /*outputs*/) {} /**< TIOCM_DTR, TIOCM_RTS. */
    virtual void opened() {}                            /**< The first open of the port. */
    virtual void closed() {}                            /**< The last open of the port is gone. */
};

/** Threads: any. */
class line {
public:
    line();
    ~line();
    line(const line&) = delete;
    line& operator=(const line&) = delete;

    // --- The other end ---

    /** Wires something to the other end, in the place of what was there; null: nothing. The line keeps it. */
    void connect(std::shared_ptr<far_end> other);

    /**
     * Sends bytes to the terminal, as fast as the program's reading: what does not fit into its 64 KiB is overrun, and
     * what comes while the port is not open is lost.
     */
    void send(std::string_view bytes);

    /** Sends one byte that arrives with an error; with an overrun it arrives well, and one before it was lost. */
    void send_bad(char byte, wire_error error);

    /** Sends a break. */
    void send_break();

    /**
     * Sets the lines that the terminal sees: TIOCM_CTS, TIOCM_DSR, TIOCM_CD, TIOCM_RI. At first all but RI are on.
     * Losing CD hangs up a port that heeds it (CLOCAL off).
     */
    void set_inputs(unsigned lines);
    unsigned inputs() const;

    /** The lines that the terminal drives: TIOCM_DTR, TIOCM_RTS. */
    unsigned outputs() const;

    /** Hangs up: reads give 0, writes EIO, requests EIO, poll POLLHUP, until the port is opened anew. */
    void hang_up();

    /** True: opening fails with EIO until it is set back, as on a line that nobody serves; what is open is hung up. */
    void set_dead(bool dead);

    /** Keeps what the terminal sends from leaving: it stays queued, and a full queue (4096) makes writers wait. */
    void hold(bool held);

    /** The other end's own framing; with none it follows the terminal's. Unlike framings turn bytes into noise. */
    void set_far_framing(std::optional<framing> wanted);
    std::optional<framing> far_framing() const;

    /** What the terminal's end is set to. */
    framing near_framing() const;

    /** Bytes received by the terminal and not read yet; bytes written by it and not sent yet. */
    int waiting() const;
    int unsent() const;

    bool is_open() const;

    // --- The terminal's end: ports/port.cpp alone ---

    /**
     * An errno, or 0. @p opened tells one open from another in all that follows: a hang-up ends those of its time. The
     * far end learns of it soon after, from another thread: the board's lock is held around an open.
     */
    int open(const void* opened = nullptr);
    /** What still waits of this open fails with EIO. */
    void close(const void* opened = nullptr);
    void read(request_ptr asked, std::size_t size, const void* opened = nullptr);
    void write(request_ptr asked, std::string_view data, const void* opened = nullptr);
    void control(device_request_ptr asked, const void* opened = nullptr);
    unsigned poll(const void* opened, std::function<void()> changed);
    /** Nobody polls this open any more. */
    void forget(const void* opened);

private:
    friend class request_on_line;
    struct state;
    std::shared_ptr<state> state_; // a timer or a signal may come when the line is just going
};

} // namespace kt::terminal
