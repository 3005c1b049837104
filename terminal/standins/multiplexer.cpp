/** The board's multiplexer daemon, gsm0710muxd_bp: switches the modem to channels and holds its port for as long as it
 * lives. */
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <initializer_list>
#include <poll.h>
#include <string_view>
#include <syslog.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr const char* port_path = "/dev/ttyS0";
constexpr const char* channels_path = "/dev/chn";
constexpr int tries = 200; // a modem that has just got power needs its time: 10 s
constexpr int pause_us = 50'000;
constexpr int questions = 3;
constexpr int answer_ms = 2000;

volatile sig_atomic_t asked_to_end = 0;

void note(int)
{
    asked_to_end = 1;
}

/** Blocked but while the port is waited for, so that no signal falls between a look and a wait. */
sigset_t take_signals()
{
    sigset_t ends;
    sigset_t before;
    sigemptyset(&ends);
    struct sigaction noted {};
    noted.sa_handler = note;
    for (const int number : {SIGTERM, SIGINT}) {
        sigaddset(&ends, number);
        sigaction(number, &noted, nullptr);
    }
    signal(SIGHUP, SIG_IGN);
    sigprocmask(SIG_BLOCK, &ends, &before);
    sigdelset(&before, SIGTERM);
    sigdelset(&before, SIGINT);
    return before;
}

/** Waits for input; true if there is some, or the line is gone. */
bool wait_for(int port, int ms, const sigset_t& open_to_signals)
{
    pollfd waited{port, POLLIN, 0};
    const timespec time{ms / 1000, (ms % 1000) * 1'000'000L};
    return ppoll(&waited, 1, ms < 0 ? nullptr : &time, &open_to_signals) > 0;
}

int open_port(const sigset_t& open_to_signals)
{
    for (int left = tries; left > 0 && asked_to_end == 0; --left) {
        const int port = open(port_path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (port >= 0)
            return port;
        const timespec time{0, pause_us * 1000L};
        ppoll(nullptr, 0, &time, &open_to_signals);
    }
    return -1;
}

void set_raw(int port)
{
    termios settings{};
    if (tcgetattr(port, &settings) != 0)
        return;
    cfmakeraw(&settings);
    cfsetspeed(&settings, B115200);
    settings.c_cflag |= CLOCAL | CREAD;
    tcsetattr(port, TCSANOW, &settings);
    tcflush(port, TCIOFLUSH);
}

/** Asks for channels until the modem says OK. */
bool multiplex(int port, const sigset_t& open_to_signals)
{
    constexpr const char command[] = "AT+CMUX=0\r";
    for (int left = questions; left > 0 && asked_to_end == 0; --left) {
        if (write(port, command, sizeof command - 1) < 0)
            return false;
        char answer[256];
        std::size_t length = 0;
        const auto has = [&](std::string_view text) { // in bytes: noise may hold a NUL
            return std::string_view(answer, length).find(text) != std::string_view::npos;
        };
        while (length < sizeof answer && wait_for(port, answer_ms, open_to_signals)) {
            const ssize_t came = read(port, answer + length, sizeof answer - length);
            if (came <= 0)
                return false;
            length += static_cast<std::size_t>(came);
            if (has("\r\nOK\r\n"))
                return true;
            if (has("ERROR"))
                break;
        }
    }
    return false;
}

void remove_channels()
{
    DIR* folder = opendir(channels_path);
    if (folder == nullptr)
        return;
    while (const dirent* entry = readdir(folder))
        if (entry->d_name[0] != '.')
            unlinkat(dirfd(folder), entry->d_name, 0);
    closedir(folder);
    rmdir(channels_path);
}

/** 0 when a signal ended it, 1 when the line did. */
int hold(int port, const sigset_t& open_to_signals)
{
    while (asked_to_end == 0) {
        if (!wait_for(port, -1, open_to_signals))
            continue;
        char ignored[256];
        const ssize_t came = read(port, ignored, sizeof ignored);
        if (came == 0 || (came < 0 && errno != EAGAIN && errno != EINTR))
            return 1;
    }
    return 0;
}

} // namespace

int main()
{
    const sigset_t open_to_signals = take_signals();
    close_range(3, ~0U, 0); // whoever started it may have had ports open
    openlog("gsm0710muxd_bp", LOG_PID, LOG_DAEMON);

    const int port = open_port(open_to_signals);
    if (port < 0) {
        if (asked_to_end != 0)
            return 0;
        syslog(LOG_ERR, "cannot open %s: %m", port_path);
        return 1;
    }
    set_raw(port);
    if (!multiplex(port, open_to_signals)) {
        if (asked_to_end != 0)
            return 0;
        syslog(LOG_ERR, "the modem on %s does not take AT+CMUX=0", port_path);
        return 1;
    }
    syslog(LOG_INFO, "channels in %s", channels_path);
    const int status = hold(port, open_to_signals);
    if (status == 0)
        remove_channels();
    else
        syslog(LOG_ERR, "%s has hung up", port_path);
    return status;
}
