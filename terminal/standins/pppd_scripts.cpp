/** Starting programs and waiting for them. */
#include "terminal/standins/pppd_scripts.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <initializer_list>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kt::terminal {

namespace {

constexpr int longest_wait_ms = 5000;
constexpr int step_ms = 10;
constexpr const char* known_path = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

volatile sig_atomic_t seen_signal = 0;

void note(int number)
{
    if (number != SIGCHLD)
        seen_signal = number;
}

void put_at(int fd, int number)
{
    if (fd == number)
        fcntl(fd, F_SETFD, 0);
    else
        dup2(fd, number);
}

} // namespace

end_signals::end_signals()
{
    sigset_t ends;
    sigemptyset(&ends);
    struct sigaction noted {};
    noted.sa_handler = note;
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) {
        sigaddset(&ends, number);
        sigaction(number, &noted, nullptr);
    }
    signal(SIGPIPE, SIG_IGN);
    sigprocmask(SIG_BLOCK, &ends, &before_);
    waiting_ = before_;
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) {
        sigdelset(&waiting_, number);
        sigdelset(&before_, number);
    }
}

int end_signals::seen()
{
    return seen_signal;
}

void end_signals::restore() const
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGPIPE})
        signal(number, SIG_DFL);
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

void end_signals::forget()
{
    seen_signal = 0;
}

int run_on_line(const std::string& command, int line, int log, const end_signals& signals)
{
    const pid_t child = fork();
    if (child < 0)
        return -1;
    if (child == 0) {
        setpgid(0, 0); // ended as a whole
        const int to_log = fcntl(log, F_DUPFD_CLOEXEC, 3);
        put_at(line, STDIN_FILENO);
        put_at(line, STDOUT_FILENO);
        put_at(to_log, STDERR_FILENO);
        signals.restore();
        execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    setpgid(child, child);
    bool told = false;
    for (;;) {
        int status = 0;
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child)
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        if (ended < 0)
            return -1;
        if (end_signals::seen() != 0 && !told) {
            told = true;
            kill(-child, SIGTERM);
        }
        ppoll(nullptr, 0, nullptr, &signals.while_waiting()); // until the child's end, or ours
    }
}

pid_t start_hook(const std::string& path, const std::vector<std::string>& arguments,
                 const std::vector<std::pair<std::string, std::string>>& variables, const end_signals& signals)
{
    if (access(path.c_str(), X_OK) != 0)
        return 0;
    const pid_t child = fork();
    if (child != 0)
        return child > 0 ? child : 0;
    setsid();
    const int nothing = open("/dev/null", O_RDWR);
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        put_at(nothing, number);
    close_range(3, ~0U, 0);
    signals.restore();
    clearenv();
    setenv("PATH", known_path, 1);
    for (const auto& [name, value] : variables)
        setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> words{const_cast<char*>(path.c_str())};
    for (const std::string& each : arguments)
        words.push_back(const_cast<char*>(each.c_str()));
    words.push_back(nullptr);
    execv(path.c_str(), words.data());
    _exit(127);
}

void wait_for_hook(pid_t hook)
{
    for (int left = longest_wait_ms; hook > 0 && left > 0; left -= step_ms) {
        if (waitpid(hook, nullptr, WNOHANG) != 0)
            return;
        poll(nullptr, 0, step_ms);
    }
}

} // namespace kt::terminal
