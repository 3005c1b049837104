/** Starting and ending what modem_double.h names. */
#include "modem_double.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace kt::tests {

running_daemon::running_daemon()
{
    const char* const path = "/tmp/gsm0710muxd_bp";
    std::filesystem::copy_file("/usr/bin/sleep", path, std::filesystem::copy_options::skip_existing);
    char name[] = "gsm0710muxd_bp";
    char amount[] = "1000";
    char* arguments[] = {name, amount, nullptr};
    if (posix_spawn(&pid_, path, nullptr, nullptr, arguments, environ) != 0)
        throw std::runtime_error("cannot start a daemon");
}

running_daemon::~running_daemon()
{
    if (kill(pid_, SIGKILL) == 0) // a test may have refused it to itself
        (void)waitpid(pid_, nullptr, 0);
}

void end_daemons()
{
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::string name;
        if (std::getline(std::ifstream(entry.path() / "comm"), name) && name == "gsm0710muxd_bp")
            (void)kill(std::stoi(entry.path().filename()), SIGKILL);
    }
}

ready_modem::ready_modem(terminal::virtual_terminal& board)
{
    if (access("/dev/chn/3", F_OK) != 0)
        board.attribute("/dev/chn/3", {.text = ""});
}

std::string with_pid(const std::string& text)
{
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);)
        result += (line.empty() || line.find_first_not_of("0123456789") != std::string::npos ? line : "PID") + '\n';
    return result;
}

} // namespace kt::tests
