/** The programs that the stand-in for pppd runs: the connect script, and what wants to know of the link. */
#pragma once

#include <csignal>
#include <functional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace kt::terminal {

/** The signals that end pppd: noted when they come, and let through only where it waits. */
class end_signals {
public:
    end_signals();
    /** The last that came; 0: none. */
    static int seen();
    /** From now on only later ones count. */
    static void forget();
    /** What a wait lets through. */
    const sigset_t& while_waiting() const { return waiting_; }
    /** In a child, before another program takes over. */
    void restore() const;

private:
    sigset_t waiting_{};
    sigset_t before_{};
};

/**
 * Runs a shell command on the line and waits for its end. A signal that ends pppd ends the command too. The exit
 * status; 128 and the signal for one that was killed; -1: it could not be started.
 */
int run_on_line(const std::string& command, int line, int log, const end_signals& signals);

/** Starts a program in the background with just these variables; 0 when there is no such program. */
pid_t start_hook(const std::string& path, const std::vector<std::string>& arguments,
                 const std::vector<std::pair<std::string, std::string>>& variables, const end_signals& signals);

/** Waits for a hook's end, for at most 5 s. */
void wait_for_hook(pid_t hook);

} // namespace kt::terminal
