/** What the supervision of the modem looks at: the multiplexer's process and its data channel. */
#pragma once

#include "terminal/client/virtual_terminal.h"

#include <string>
#include <sys/types.h>

namespace kt::tests {

/** While this lives a process runs under the name of the multiplexer daemon. */
class running_daemon {
public:
    running_daemon();
    ~running_daemon();
    running_daemon(const running_daemon&) = delete;
    running_daemon& operator=(const running_daemon&) = delete;

private:
    pid_t pid_ = -1;
};

/** Ends all processes of that name: the daemon has crashed. */
void end_daemons();

/** A modem as the system leaves it at start: daemon and data channel are there, and no check has anything to do. */
class ready_modem {
public:
    explicit ready_modem(terminal::virtual_terminal& board);

private:
    running_daemon daemon_;
};

/** Text in which a process number that stands in a line of its own, as pidof prints it, is the word PID. */
std::string with_pid(const std::string& text);

/** What the check prints when it finds such a modem: in a process's first check, and in a later one. */
constexpr const char* first_check_finds = "find /dev/chn/3\n"
                                          "system: pidof -s gsm0710muxd_bp\n"
                                          "PID\n"
                                          "task_check_run ret  0\n";
constexpr const char* later_check_finds = "system: pidof -s gsm0710muxd_bp\n"
                                          "PID\n"
                                          "task_check_run ret  0\n";

} // namespace kt::tests
