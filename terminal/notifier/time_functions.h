/** Makes the terminal's programs read the time by system calls, from the moment when the board has a time of its own.
 */
#pragma once

#include "terminal/notifier/time_code.h"

#include <cstdint>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kt::terminal {

/** Threads: one. */
class time_functions {
public:
    /** @p helper is the set-up helper, whose children's namespace is the terminal's. */
    explicit time_functions(pid_t helper) : helper_(helper) {}

    /** False as long as programs read the desk's time. */
    bool replaced() const { return replaced_; }

    /** For all programs that run now, and from now on for those that begin(). */
    void replace();

    /** A program begins: @p thread has come from exec and not called a time function yet. */
    void begin(pid_t thread);

private:
    enum class outcome { changed, was_changed, impossible };
    outcome change(pid_t thread, bool is_running);
    const std::vector<function_change>& changes_for(const std::string& first_page, int memory, std::uint64_t base);

    const pid_t helper_;
    bool replaced_ = false;
    std::map<std::string, std::vector<function_change>> known_; // by the image's own head
};

} // namespace kt::terminal
