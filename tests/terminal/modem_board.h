/** A terminal's modem as tests use it: its daemon, its state, and the real chat on its data channel. */
#pragma once

#include "terminal/client/virtual_terminal.h"
#include "terminal/json/json.h"
#include "tests/terminal/file_calls.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <vector>

namespace kt::tests {

inline constexpr const char* modem_port = "/dev/ttyS0";
inline constexpr const char* data_channel = "/dev/chn/3";
inline constexpr const char* power_switch = "/sys/class/kt_misc/ioctl/gsm_pwr";
inline constexpr const char* daemon_script = "/kt/kt_module/gsm0710muxd_bp.sh";
inline constexpr const char* daemon_kill_script = "/kt/kt_module/gsm0710muxd_bp-kill.sh";

/** Waits, generously, until something is so. */
inline bool becomes(const std::function<bool()>& so, std::chrono::milliseconds time = std::chrono::seconds(10))
{
    for (const auto end = std::chrono::steady_clock::now() + time; std::chrono::steady_clock::now() < end;) {
        if (so())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return so();
}

/** Exit status of a shell command; 128 and the signal when it was killed. */
inline int ran(const std::string& command)
{
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/** What a command prints. */
inline std::string output_of(const std::string& command)
{
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return "<no shell>";
    std::string all;
    for (int byte = std::getc(pipe); byte != EOF; byte = std::getc(pipe))
        all += static_cast<char>(byte);
    pclose(pipe);
    return all;
}

inline int daemon_process()
{
    return std::atoi(output_of("pidof -s gsm0710muxd_bp").c_str());
}

/** Starts the multiplexer daemon as the board does, and waits for the data channel. */
inline bool start_daemon()
{
    return ran(daemon_script) == 0 && becomes([] { return open_error(data_channel, O_RDWR | O_NOCTTY) == 0; });
}

class modem_board : public terminal::virtual_terminal {
public:
    /** Changes settings: the text is a JSON object. */
    void set(const std::string& settings) { (void)modem(R"({"set":)" + settings + "}"); }
    nlohmann::ordered_json state() { return terminal::parsed_json(modem()); }
    nlohmann::ordered_json channel(const std::string& path = data_channel)
    {
        const nlohmann::ordered_json now = state();
        for (const auto& each : now.at("ports"))
            if (each.at("path") == path)
                return each;
        return {};
    }
    std::string mode(const std::string& path = data_channel) { return channel(path).value("mode", "gone"); }
};

/** A port passes bytes as they are; by default it edits lines and echoes, as any tty. */
inline bool set_raw(int fd)
{
    termios settings{};
    if (tcgetattr(fd, &settings) != 0)
        return false;
    cfmakeraw(&settings);
    settings.c_cflag |= CLOCAL; // else the carrier's fall would hang it up
    return tcsetattr(fd, TCSANOW, &settings) == 0;
}

/** Reads from a descriptor until a text has come, or the time is over; all that came. */
inline std::string read_until(int fd, std::string_view text, std::chrono::milliseconds time = std::chrono::seconds(5))
{
    std::string all;
    for (const auto end = std::chrono::steady_clock::now() + time; all.find(text) == std::string::npos;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd waited{fd, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&waited, 1, static_cast<int>(left.count())) <= 0)
            break;
        char bytes[4096];
        const ssize_t length = ::read(fd, bytes, sizeof bytes);
        if (length <= 0)
            break;
        all.append(bytes, static_cast<std::size_t>(length));
    }
    return all;
}

/** A program of the test's own that runs beside it. Killed at the end of its life if it still does. */
class background_program {
public:
    explicit background_program(const std::vector<std::string>& words, const std::string& output = "/dev/null")
        : process_(fork())
    {
        if (process_ != 0)
            return;
        const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(file, STDOUT_FILENO);
        dup2(file, STDERR_FILENO);
        close_range(3, ~0U, 0);
        std::vector<char*> all;
        for (const std::string& each : words)
            all.push_back(const_cast<char*>(each.c_str()));
        all.push_back(nullptr);
        execvp(all[0], all.data());
        _exit(127);
    }
    ~background_program()
    {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }
    background_program(const background_program&) = delete;
    background_program& operator=(const background_program&) = delete;

    void signal(int number) const { kill(process_, number); }
    bool runs()
    {
        collect(WNOHANG);
        return process_ > 0;
    }
    /** Waits for its end: exit status, 128 and the signal, or -1 when it does not end in time. */
    int status(std::chrono::milliseconds time = std::chrono::seconds(15))
    {
        (void)becomes([&] { return !runs(); }, time);
        return status_;
    }

private:
    void collect(int how)
    {
        int status = 0;
        if (process_ <= 0 || waitpid(process_, &status, how) != process_)
            return;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        process_ = -1;
    }

    pid_t process_;
    int status_ = -1;
};

/** A connect script of the form that applications write, but with shorter waits. */
inline std::string connect_script()
{
    return R"(#!/bin/sh
exec /usr/sbin/chat \
TIMEOUT 3 \
ECHO ON \
ABORT '\nBUSY\r' \
ABORT '\nERROR\r' \
ABORT '\nNO ANSWER\r' \
ABORT '\nNO CARRIER\r' \
ABORT '\nNO DIALTONE\r' \
ABORT '\nRINGING\r\n\r\nRINGING\r' \
TIMEOUT 3 \
'' AT \
SAY "Press CTRL-C to close the connection at any stage!" \
SAY "\ndefining PDP context...\n" \
OK ATE0 \
OK "ATI;+CSUB;+CSQ;+CPIN?;+COPS?;+CGREG?;&D2" \
OK 'AT+CGDCONT=1,"IP","CMNET","",0,0' \
OK ATD*99***1# \
TIMEOUT 3 \
SAY "\nwaiting for connect...\n" \
CONNECT "" \
SAY "\nConnected." \
SAY "\nIf the following ppp negotiations fail,\n" \
SAY "\nwaiting for connect...\n" \
SAY "try restarting the phone.\n" \
)";
}

} // namespace kt::tests
