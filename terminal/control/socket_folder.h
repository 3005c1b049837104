/** Where the running terminals of a user are found: a folder of the user's own, with one socket for each. */
#pragma once

#include "terminal/descriptor.h"

#include <string>
#include <vector>

namespace kt::terminal {

/** $XDG_RUNTIME_DIR/kt-terminal, else /tmp/kt-terminal-UID; need not be there. */
std::string socket_folder();

/** The socket of the terminal @p name in that folder. */
std::string socket_of(const std::string& name);

/** True when a terminal can be called so: letters, digits, '-', '_' and '.', not first; at most 40. */
bool is_terminal_name(const std::string& name);

/** The names of the terminals that run, sorted; what ended without cleaning up is removed. Throws std::runtime_error.
 */
std::vector<std::string> running_terminals();

/** A listening socket at a path, for as long as this object is there. */
class host_socket {
public:
    /** In the user's folder, which is made when it is not there. Throws std::runtime_error: the name is in use, or the
     * cause. */
    static host_socket named(const std::string& name);

    /** At any path; what an ended terminal left there is replaced. Throws std::runtime_error. */
    explicit host_socket(std::string path);
    ~host_socket();
    host_socket(host_socket&& other) noexcept;

    const std::string& path() const { return path_; }

    /** Hands the descriptor over; the path stays this object's to remove. */
    descriptor take() { return std::move(socket_); }

private:
    std::string path_;
    descriptor socket_;
};

} // namespace kt::terminal
