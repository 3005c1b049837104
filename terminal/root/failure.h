/** A step of the set-up that could not be made, as the person at the desk is told of it. */
#pragma once

#include <string>

namespace kt::terminal {

/** The terminal's own exit statuses, as env and timeout use them. */
inline constexpr int terminal_failed = 125;
inline constexpr int program_not_executable = 126;
inline constexpr int program_not_found = 127;

/** What is thrown. */
struct setup_failure {
    int status;
    std::string sentence;
};

/** Throws "cannot STEP (what errno says)", and what helps against it if that is known. */
[[noreturn]] void fail_step(const std::string& step, const std::string& cure = {});

/** Throws for a mount(2) or a newer mount call on errno's account. */
[[noreturn]] void fail_mount(const std::string& step, const std::string& file_system = {});

} // namespace kt::terminal
