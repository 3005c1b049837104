/** Starting programs with their output in memory files, and finding their processes by an inherited mark. */
#include "desk.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace kt::tests {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

constexpr auto longest = 50s; // a sanitizer's terminal on a busy machine

/** A file in memory: what a child reads or prints. */
class memory {
public:
    explicit memory(const std::string& text = {}) : fd_(memfd_create("desk", MFD_CLOEXEC))
    {
        if (fd_ < 0 || write(fd_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            throw std::runtime_error("no memory file");
        lseek(fd_, 0, SEEK_SET);
    }
    ~memory() { close(fd_); }
    memory(const memory&) = delete;
    memory& operator=(const memory&) = delete;

    int fd() const { return fd_; }
    std::string text() const
    {
        std::string all;
        char part[4096];
        for (ssize_t length = 0; (length = pread(fd_, part, sizeof part, static_cast<off_t>(all.size()))) > 0;)
            all.append(part, static_cast<std::size_t>(length));
        return all;
    }

private:
    int fd_;
};

std::vector<char*> pointers(const words& all)
{
    std::vector<char*> made;
    for (const std::string& each : all)
        made.push_back(const_cast<char*>(each.c_str()));
    made.push_back(nullptr);
    return made;
}

pid_t spawn(const words& command, const words& added, const std::string& folder, int in, int out, int err)
{
    words environment = added; // the first of a name counts for getenv, so names are taken once
    for (char** each = environ; *each != nullptr; ++each) {
        const std::string variable = *each;
        const std::string name = variable.substr(0, variable.find('=') + 1);
        if (std::none_of(added.begin(), added.end(), [&](const std::string& own) { return own.starts_with(name); }))
            environment.push_back(variable);
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in, 0);
    posix_spawn_file_actions_adddup2(&actions, out, 1);
    posix_spawn_file_actions_adddup2(&actions, err, 2);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    pid_t child = -1;
    const int error = posix_spawnp(&child, command[0].c_str(), &actions, nullptr, pointers(command).data(),
                                   pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error("cannot start " + command[0]);
    return child;
}

words joined(words first, const words& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

} // namespace

int status_of_child(pid_t child)
{
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    pollfd waited{handle, POLLIN, 0};
    const bool in_time = poll(&waited, 1, std::chrono::milliseconds(longest).count()) == 1;
    if (!in_time)
        kill(child, SIGKILL);
    close(handle);
    int status = 0;
    if (waitpid(child, &status, 0) != child || !in_time)
        return -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string desk_file(const std::string& path)
{
    std::ostringstream all;
    all << std::ifstream(path).rdbuf();
    return all.str();
}

void write_desk_file(const std::string& path, const std::string& text)
{
    std::ofstream(path) << text;
}

running_terminal::running_terminal(pid_t process, std::string socket) : process_(process), socket_(std::move(socket)) {}

running_terminal::running_terminal(running_terminal&& other) noexcept
    : process_(std::exchange(other.process_, -1)), socket_(std::move(other.socket_))
{
}

running_terminal::~running_terminal()
{
    if (process_ <= 0)
        return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

terminal::virtual_terminal running_terminal::board() const
{
    const auto end = std::chrono::steady_clock::now() + longest;
    for (;;) {
        try {
            terminal::virtual_terminal made(socket_);
            (void)made.exchange(R"({"op":"hello"})");
            return made;
        } catch (const terminal::terminal_error&) {
            siginfo_t gone{};
            (void)waitid(P_PID, static_cast<id_t>(process_), &gone, WEXITED | WNOHANG | WNOWAIT);
            if (gone.si_pid != 0 || std::chrono::steady_clock::now() > end)
                throw;
        }
        std::this_thread::sleep_for(10ms);
    }
}

int running_terminal::status()
{
    return status_of_child(std::exchange(process_, -1));
}

desk::desk()
{
    char made[] = "/tmp/kt-desk-XXXXXX";
    if (mkdtemp(made) == nullptr)
        throw std::runtime_error("no folder in /tmp");
    folder_ = made;
    chmod(made, 0755);
    fs::create_directory(folder_ + "/run");
}

desk::~desk()
{
    for (const pid_t left : processes())
        kill(left, SIGKILL);
    std::error_code unused;
    fs::remove_all(folder_, unused);
}

words desk::environment() const
{
    return {"XDG_RUNTIME_DIR=" + folder_ + "/run", "KT_DESK=" + folder_};
}

ended desk::run(const words& command, const surroundings& within) const
{
    const memory in(within.input);
    const memory out;
    const memory err;
    ended result;
    result.status =
        status_of_child(spawn(command, joined(within.environment, environment()),
                              within.folder.empty() ? folder_ : within.folder, in.fd(), out.fd(), err.fd()));
    result.out = out.text();
    result.err = err.text();
    return result;
}

ended desk::terminal(const words& arguments, const surroundings& within) const
{
    return run(joined({KT_TERMINAL}, arguments), within);
}

ended desk::script(const std::string& text, const words& options) const
{
    return terminal(joined(options, {"--", "bash", "-c", text}));
}

running_terminal desk::start(const std::string& name, const words& arguments) const
{
    const memory in;
    const int out = open((folder_ + '/' + name).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
    const pid_t process =
        spawn(joined({KT_TERMINAL, "--name", name}, arguments), environment(), folder_, in.fd(), out, out);
    close(out);
    return {process, folder_ + "/run/kt-terminal/" + name + ".socket"};
}

std::vector<pid_t> desk::processes() const
{
    const std::string mark = '\0' + std::string("KT_DESK=") + folder_ + '\0';
    std::vector<pid_t> found;
    std::error_code gone;
    for (const auto& entry : fs::directory_iterator("/proc", gone)) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos)
            continue;
        if (('\0' + desk_file(entry.path() / "environ")).find(mark) != std::string::npos)
            found.push_back(std::stoi(name));
    }
    return found;
}

bool desk::becomes_quiet() const
{
    const auto end = std::chrono::steady_clock::now() + longest;
    while (!processes().empty()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(20ms);
    }
    return true;
}

} // namespace kt::tests
