/** A client of the terminal's control socket: what tests (and ctl) say to the other side of the board. */
#pragma once

#include "terminal/model/event.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/** The terminal refused a request, or is not there. */
class terminal_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** An attribute as a test gives and gets it. */
struct attribute_value {
    std::string text;
    std::uint32_t mode = 0644;
    std::string kind = "text"; /**< "text" or "integer". */
};

/** A rule that makes an access fail; error numbers are this machine's own. */
struct failure {
    std::string on = "open"; /**< "lookup", "open", "read", "write", "ioctl", "create", "remove" or "run". */
    int error = 0;
    std::chrono::milliseconds delay{0};
    bool hang = false;
    int skip = 0;
    int times = 0; /**< 0: for good. */
};

/** What to look for in the journal; empty fields fit all. */
struct event_pattern {
    std::string kind{};
    std::string path{}; /**< Exact, or a shell pattern (fnmatch). */
    std::optional<std::string> data{};
};

/** How bytes go over a serial line. */
struct line_framing {
    unsigned speed = 9600;
    unsigned data_bits = 8;
    char parity = 'N'; /**< 'N', 'E' or 'O'. */
    unsigned stop_bits = 1;

    bool operator==(const line_framing&) const = default;
};

/** A serial line as it stands. */
struct line_state {
    line_framing near{};             /**< What the terminal has set. */
    std::optional<line_framing> far; /**< What the other end has set; nothing: it follows the terminal. */
    bool dtr = false, rts = false;   /**< What the terminal drives. */
    bool cts = false, dsr = false, cd = false, ri = false; /**< What the terminal sees. */
    int waiting = 0;                                       /**< Bytes that the terminal has received and not read. */
    int unsent = 0;                                        /**< Bytes that it has written and that have not left. */
    bool open = false;                                     /**< Some program has the port open. */
    std::uint64_t breaks = 0; /**< Breaks that the terminal has sent since the port is there. */
};

/** What to change of a line; what is not given stays as it is. */
struct line_change {
    std::optional<bool> cts{}, dsr{}, cd{}, ri{};
    std::optional<bool> hold{};                   /**< true: what the terminal sends stays queued. */
    std::optional<unsigned> speed{}, data_bits{}; /**< The other end's own framing, as the three below. */
    std::optional<char> parity{};
    std::optional<unsigned> stop_bits{};
    bool follow = false; /**< From now on the other end has the terminal's framing again. */
};

/** An event of an input device, without its time. */
struct input_event_value {
    unsigned type = 0;
    unsigned code = 0;
    int value = 0;
};

/** One connection. Threads: one at a time. */
class virtual_terminal {
public:
    /** Inside a terminal: the one this process runs on. */
    virtual_terminal();
    explicit virtual_terminal(const std::string& socket_path);
    ~virtual_terminal();
    virtual_terminal(virtual_terminal&&) noexcept;

    /** Makes or changes an attribute. */
    void attribute(std::string_view path, const attribute_value& value);
    /** What an attribute holds now. */
    std::string text(std::string_view path);
    /** Takes an attribute, file or folder off the board. */
    void remove(std::string_view path);

    /** Makes an access fail; returns the rule's number. */
    int fail(std::string_view path, const failure& rule);
    /** Takes one rule back, or all. */
    void mend(int rule);
    void mend_all();

    /** From now on a stand-in program only prints this and exits with the status: a reboot too is then only recorded.
     */
    void program(std::string_view name, int status, std::string_view output = {});

    /** Runs an action of the board's profile: "plug", "dock". */
    void act(std::string_view verb, std::string_view thing);

    /** Plugs in a serial port: "/dev/ttyACM5". remove() unplugs it: what has it open is hung up. */
    void port(std::string_view path);
    /** Sends bytes to the terminal. */
    void send(std::string_view path, std::string_view bytes);
    /** Sends a byte that arrives with an error: "parity", "framing" or "overrun". */
    void send_bad(std::string_view path, char byte, std::string_view error);
    void send_break(std::string_view path);
    /** Waits until the terminal has sent these bytes, and takes all up to and including them. False, and nothing is
     * taken: they did not come in time. */
    bool expect(std::string_view path, std::string_view bytes,
                std::chrono::milliseconds timeout = std::chrono::seconds(5));
    /** As expect(), and gives the bytes before those. */
    std::optional<std::string> received(std::string_view path, std::string_view bytes,
                                        std::chrono::milliseconds timeout = std::chrono::seconds(5));
    /** Takes all that the terminal has sent so far; does not wait. */
    std::string sent(std::string_view path);
    line_state line(std::string_view path);
    /** Changes a line, and gives what it is then. */
    line_state set_line(std::string_view path, const line_change& change);
    /** True: what the terminal sends stays queued until it is set back. */
    void hold(std::string_view path, bool held);
    /** Hangs up: reads give 0 and writes fail until the port is opened anew. */
    void hang_up(std::string_view path);
    /** Leads the line to a pty of the desk (whose name a program in the terminal cannot open), and gives its name. */
    std::string bridge_pty(std::string_view path);
    /** Leads the line to a TCP port of the desk, 0 for any, and gives its number. */
    int bridge_tcp(std::string_view path, int port = 0);
    void bridge_none(std::string_view path);

    /** What the modem is made to do, and how it stands: the members of the operation "modem" as JSON, and its answer.
     */
    std::string modem(std::string_view members = "{}");

    /** A key goes down, or up. Keys have Linux's names, "1", "enter", "esc", "f1", "up", "power", or are the number of
     * their input code. */
    void press(std::string_view key);
    void release(std::string_view key);
    /** Each key goes down and up. */
    void type(std::initializer_list<std::string_view> keys);
    /** A key goes down, repeats as the kernel makes it, and goes up after this time; returns then. */
    void hold_key(std::string_view key, std::chrono::milliseconds time);
    /** A finger touches the panel and lifts. */
    void tap(int x, int y);
    /** A finger moves over the panel; returns when it lifts. */
    void drag(int from_x, int from_y, int to_x, int to_y);
    /** Events of an input device as they stand. */
    void input(std::string_view path, const std::vector<input_event_value>& events);

    /** Wakes the sleeping board with an event (wake_source); while it is awake it counts as a wake-up event. */
    void wake(int event = 16);
    /** Each of these asks for, or changes, one device: the members of the operation of that name as JSON, and its
     * answer. */
    std::string sleep(std::string_view members = "{}");
    std::string battery(std::string_view members = "{}");
    std::string tamper(std::string_view members = "{}");
    std::string clock(std::string_view members = "{}");
    std::string reader(std::string_view members = "{}");
    std::string card(std::string_view members = "{}");
    std::string apdu(std::string_view members = "{}");
    std::string phone(std::string_view members = "{}");

    /** Puts a card into the reader's field; @p file is a card file's text (terminal/cards/README.md). */
    void tap_card(std::string_view file);
    /** Takes all cards away. */
    void remove_cards();

    /** From here on events() and the searches below see only what happens later. */
    void forget();
    /** All events since the start or the last forget(). */
    std::vector<event> events();
    /** Those of one kind, or of several: events_of({"open", "write"}). */
    std::vector<event> events_of(std::initializer_list<std::string_view> kinds);
    /** The newest open of a path; an event without kind when there is none. */
    event last_open(std::string_view path);
    /** The bytes of every write to a path, in order. */
    std::vector<std::string> writes(std::string_view path);
    /** The texts of all shell commands (behind -c), in order. */
    std::vector<std::string> commands();
    /** The text of all syslog lines, one after the other. */
    std::string syslog();
    /** Waits for an event after the last forget(). */
    std::optional<event> wait(const event_pattern& pattern, std::chrono::milliseconds timeout);

    /** Sends one line of the protocol and returns the answer, without its line feed. */
    std::string exchange(std::string_view line);

private:
    struct connection;
    std::unique_ptr<connection> connection_;
    std::uint64_t first_ = 1;
};

/** The flags of an "open" event as this machine's own numbers. */
int open_flags(const event& opened);

} // namespace kt::terminal
