/** Settings of the line and its modem lines. */
#include "terminal/standins/pppd_line.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace kt::terminal {

namespace {

struct rate {
    unsigned speed;
    speed_t code;
};
constexpr std::array rates = {rate{1200, B1200},      rate{2400, B2400},     rate{4800, B4800},
                              rate{9600, B9600},      rate{19200, B19200},   rate{38400, B38400},
                              rate{57600, B57600},    rate{115200, B115200}, rate{230400, B230400},
                              rate{460800, B460800},  rate{921600, B921600}, rate{1500000, B1500000},
                              rate{3000000, B3000000}};

constexpr int longest_wait_ms = 5000;

} // namespace

pppd_line::pppd_line(const pppd_options& options)
    : options_(options), fd_(open(options.device.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC))
{
}

pppd_line::~pppd_line()
{
    const unsigned dtr = TIOCM_DTR;
    if (fd_ && options_.modem_lines)
        ioctl(fd_.get(), TIOCMBIC, &dtr); // gone already when the line has hung up
}

bool pppd_line::set_up(bool connecting) const
{
    termios settings{};
    if (tcgetattr(fd_.get(), &settings) != 0)
        return false;
    cfmakeraw(&settings);
    settings.c_iflag |= IGNBRK | IGNPAR;
    settings.c_cflag |= CREAD | HUPCL;
    settings.c_cflag &= ~static_cast<tcflag_t>(CLOCAL | CRTSCTS);
    if (connecting || !options_.modem_lines)
        settings.c_cflag |= CLOCAL;
    if (options_.hardware_flow)
        settings.c_cflag |= CRTSCTS;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    for (const rate& each : rates)
        if (each.speed == options_.speed)
            cfsetspeed(&settings, each.code);
    return tcsetattr(fd_.get(), TCSAFLUSH, &settings) == 0 || errno == EINTR;
}

void pppd_line::set_waiting(bool waiting) const
{
    const int flags = fcntl(fd_.get(), F_GETFL);
    fcntl(fd_.get(), F_SETFL, waiting ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
}

bool pppd_line::has_carrier() const
{
    int lines = 0;
    return !options_.modem_lines || ioctl(fd_.get(), TIOCMGET, &lines) != 0 || (lines & TIOCM_CD) != 0;
}

unsigned pppd_line::speed() const
{
    termios settings{};
    if (tcgetattr(fd_.get(), &settings) != 0)
        return options_.speed;
    for (const rate& each : rates)
        if (each.code == cfgetospeed(&settings))
            return each.speed;
    return options_.speed;
}

bool pppd_line::write_all(std::string_view bytes) const
{
    while (!bytes.empty()) {
        const ssize_t written = write(fd_.get(), bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (written < 0 && errno == EAGAIN) {
            pollfd room{fd_.get(), POLLOUT, 0};
            if (poll(&room, 1, longest_wait_ms) == 0)
                return false;
        } else if (written < 0 && errno != EINTR) {
            return false;
        }
    }
    return true;
}

} // namespace kt::terminal
