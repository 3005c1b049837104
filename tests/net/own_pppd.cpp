/** The script's place in PATH, and waiting for what it does. */
#include "own_pppd.h"

#include "session_files.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>

namespace kt::tests {

namespace {

using namespace std::chrono_literals;

constexpr const char* folder = "/tmp/own_pppd";
constexpr const char* started = "/tmp/own_pppd/started";
constexpr auto longest_wait = 30s;

template <typename Condition>
bool wait_until(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + longest_wait;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

} // namespace

own_pppd::own_pppd(const std::string& script) : path_(std::getenv("PATH"))
{
    std::filesystem::create_directories(folder);
    std::filesystem::remove(started);
    put_script(std::string(folder) + "/pppd", "echo $$ > " + std::string(started) + ".new\n" + // whole or not at all
                                                  "mv " + started + ".new " + started + "\n" + script);
    setenv("PATH", (std::string(folder) + ":" + path_).c_str(), 1);
}

own_pppd::~own_pppd()
{
    setenv("PATH", path_.c_str(), 1);
    std::filesystem::remove_all(folder);
}

pid_t own_pppd::wait_for_start()
{
    if (!wait_until([] { return std::filesystem::exists(started); }))
        throw std::runtime_error("pppd was not started");
    const pid_t pid = std::stoi(bytes_of(started));
    std::filesystem::remove(started);
    return pid;
}

void own_pppd::remove()
{
    std::filesystem::remove(std::string(folder) + "/pppd");
    setenv("PATH", folder, 1);
    std::filesystem::create_symlink("/usr/bin/pidof", std::string(folder) + "/pidof"); // the modem's check needs it
}

int wait_for_end_of_child()
{
    siginfo_t ended{};
    if (waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT) < 0)
        throw std::runtime_error("there is no child");
    return ended.si_code == CLD_EXITED ? W_EXITCODE(ended.si_status, 0) : W_EXITCODE(0, ended.si_status);
}

bool wait_for_bytes(const std::string& path, const std::string& bytes)
{
    return wait_until([&] { return bytes_of(path) == bytes; });
}

void notify(const std::string& bytes)
{
    std::FILE* const pipe = std::fopen(pipe_path, "w");
    if (pipe == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), pipe) != bytes.size() || std::fclose(pipe) != 0)
        throw std::runtime_error("cannot write into the pipe");
}

} // namespace kt::tests
