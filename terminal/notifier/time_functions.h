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

    /**
     * A program begins: @p thread has come from exec and not called a time function yet. @p kind tells programs of
     * 32 bits from others. What cannot be changed later, while it runs, is changed already now.
     */
    void begin(pid_t thread, unsigned kind);

private:
    enum class outcome { changed, was_changed, impossible };
    enum class part { all, changeable_later, not_changeable_later };
    outcome change(pid_t thread, part which);
    const std::vector<function_change>& changes_for(const std::string& first_page, int memory, std::uint64_t base);

    const pid_t helper_;
    bool replaced_ = false;
    std::map<std::string, std::vector<function_change>> known_; // by the image's own head
    std::map<unsigned, bool> all_changeable_later_;             // by the kind of program
};

} // namespace kt::terminal
