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
