/** A user's surroundings of a test's own: a folder, the terminals started in it, and what they leave behind. */
#pragma once

#include "terminal/client/virtual_terminal.h"

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kt::tests {

using words = std::vector<std::string>;

/** How a program ended. */
struct ended {
    int status = -1; /**< Exit status; 128 + signal; -1: it did not end in time and was killed. */
    std::string out;
    std::string err;
};

/** In what a program is run. */
struct surroundings {
    std::string input{};  /**< Its standard input. */
    std::string folder{}; /**< Its working folder; the desk's own if empty. */
    words environment{};  /**< "NAME=value", added to the test's. */
};

/** A terminal that runs. Killed at the end of its life if it still does. */
class running_terminal {
public:
    running_terminal(pid_t process, std::string socket);
    ~running_terminal();
    running_terminal(running_terminal&& other) noexcept;
    running_terminal(const running_terminal&) = delete;
    running_terminal& operator=(const running_terminal&) = delete;

    pid_t process() const { return process_; }
    /** Its other side; waits until it is there. */
    terminal::virtual_terminal board() const;
    /** Waits for its end: status as in ended. */
    int status();

private:
    pid_t process_;
    std::string socket_;
};

/** Nothing of it is shared with another test, so that all can run at once. */
class desk {
public:
    desk();
    ~desk();
    desk(const desk&) = delete;
    desk& operator=(const desk&) = delete;

    /** A new folder, removed at the end; open to all users. */
    const std::string& folder() const { return folder_; }

    /** Runs any program to its end. */
    ended run(const words& command, const surroundings& within = {}) const;
    /** Runs kt-terminal to its end. */
    ended terminal(const words& arguments, const surroundings& within = {}) const;
    /** Runs a shell script on a terminal to its end. */
    ended script(const std::string& text, const words& options = {}) const;
    /** Starts a terminal called @p name; its output goes to the file @p name in the folder. */
    running_terminal start(const std::string& name, const words& arguments) const;

    /** What XDG_RUNTIME_DIR and the mark that children inherit are here, as "NAME=value". */
    words environment() const;
    /** The living processes that inherited the desk's mark: all that was started here and has not ended. */
    std::vector<pid_t> processes() const;
    /** Waits until no process is left; false: some are, after a generous time. */
    bool becomes_quiet() const;

private:
    std::string folder_;
};

/** Waits for a child, most of a minute; then it is killed. Status as in ended. */
int status_of_child(pid_t child);

/** A file's bytes on the desk; empty when there is none. */
std::string desk_file(const std::string& path);

void write_desk_file(const std::string& path, const std::string& text);

} // namespace kt::tests
