/** Makes the terminal's programs read the time by system calls, from the moment when the board has a time of its own.
 */
#pragma once

#include "terminal/notifier/time_code.h"

#include <cstdint>
#include <map>
#include <optional>
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
    /** In order of weight. Unreachable: what it is could not be read or changed; this says nothing about others. */
    enum class finding { nothing_to_do, unreachable, was_changed, changed };
    enum class part { all, changeable_later, not_changeable_later };
    using plan = std::vector<function_change>;
    finding change(pid_t thread, part which);
    static finding change(int memory, std::uint64_t base, const function_change& function);
    std::optional<plan> changes_for(int memory, std::uint64_t base);

    const pid_t helper_;
    bool replaced_ = false;
    std::map<std::string, plan> known_;             // by the image's own head
    std::map<unsigned, bool> all_changeable_later_; // by the kind of program
};

} // namespace kt::terminal
