// From line parameters to the kernel's raw line settings.
#include "base/failure.h"
#include "kt_driver/tty.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <strings.h>
#include <sys/ioctl.h>
#include <syslog.h>
#include <termios.h>

static_assert(sizeof(void*) != 4 ||
              sizeof(kt_tty_params) == 64); // applications of the terminal are compiled against it

namespace {

constexpr const char* function = "kt_tty_control";

struct rate {
    int baudrate;
    speed_t code;
};

constexpr rate rates[] = {
    {0, B0},
    {50, B50},
    {75, B75},
    {110, B110},
    {134, B134},
    {150, B150},
    {200, B200},
    {300, B300},
    {600, B600},
    {1200, B1200},
    {1800, B1800},
    {2400, B2400},
    {4800, B4800},
    {9600, B9600},
    {19200, B19200},
    {38400, B38400},
    {57600, B57600},
    {115200, B115200},
    {230400, B230400},
    {460800, B460800},
    {500000, B500000},
    {576000, B576000},
    {921600, B921600},
    {1000000, B1000000},
    {1152000, B1152000},
    {1500000, B1500000},
    {2000000, B2000000},
    {2500000, B2500000},
    {3000000, B3000000},
    {3500000, B3500000},
    {4000000, B4000000},
};

void set_or_clear(tcflag_t& flags, tcflag_t flag, bool on)
{
    flags = on ? flags | flag : flags & ~flag;
}

/** The result of the libc call that failed, and its line in the log. */
int failed(const char* call, int result)
{
    const kt::errno_keeper keeper;
    syslog(LOG_ERR, "[ERROR] %s %s\n", function, call);
    return result;
}

int set_speeds(termios& line, int baudrate)
{
    const auto known =
        std::find_if(std::begin(rates), std::end(rates), [=](const rate& each) { return each.baudrate == baudrate; });
    if (known == std::end(rates)) {
        syslog(LOG_ERR, "[ERROR] %s baudrate %d\n", function, baudrate);
        return kt::refuse(EINVAL);
    }
    if (const int result = cfsetospeed(&line, known->code); result != 0)
        return failed("cfsetospeed", result);
    if (const int result = cfsetispeed(&line, known->code); result != 0)
        return failed("cfsetispeed", result);
    return 0;
}

int set_data_bits(termios& line, int databits)
{
    line.c_cflag &= ~static_cast<tcflag_t>(CSIZE);
    switch (databits) {
    case 5:
        line.c_cflag |= CS5;
        return 0;
    case 6:
        line.c_cflag |= CS6;
        return 0;
    case 7:
        line.c_cflag |= CS7;
        return 0;
    case 8:
        line.c_cflag |= CS8;
        return 0;
    default:
        syslog(LOG_ERR, "[ERROR] %s databits %d\n", function, databits);
        return kt::refuse(EINVAL);
    }
}

int set_stop_bits(termios& line, int stopbits)
{
    if (stopbits != 1 && stopbits != 2) {
        syslog(LOG_ERR, "[ERROR] %s stopbits %d\n", function, stopbits);
        return kt::refuse(EINVAL);
    }
    set_or_clear(line.c_cflag, CSTOPB, stopbits == 2);
    return 0;
}

int set_parity(termios& line, const char* mode)
{
    if (mode == nullptr || strcasecmp(mode, "none") == 0) {
        line.c_cflag &= ~static_cast<tcflag_t>(PARENB); // without parity PARODD says nothing: it stays as it was
    } else if (strcasecmp(mode, "odd") == 0) {
        line.c_cflag |= PARENB | PARODD;
    } else if (strcasecmp(mode, "even") == 0) {
        line.c_cflag |= PARENB;
        line.c_cflag &= ~static_cast<tcflag_t>(PARODD);
    } else {
        syslog(LOG_ERR, "[ERROR] %s paritymode %s\n", function, mode);
        return kt::refuse(EINVAL);
    }
    return 0;
}

void set_control(termios& line, const kt_tty_params& params)
{
    set_or_clear(line.c_cflag, CRTSCTS, params.rtscts != 0 || params.hwflow != 0);
    set_or_clear(line.c_cflag, CREAD, params.cread != 0);
    set_or_clear(line.c_cflag, CLOCAL, params.modem_lines == 0);
    line.c_cflag |= HUPCL;
}

void set_raw(termios& line, const kt_tty_params& params)
{
    line.c_iflag = IGNPAR | INPCK;
    set_or_clear(line.c_iflag, ISTRIP, params.databits < 8);
    set_or_clear(line.c_iflag, IGNBRK, params.modem_lines == 0);
    set_or_clear(line.c_iflag, IXOFF, params.ixoff != 0);
    set_or_clear(line.c_iflag, IXON, params.ixon != 0);
    line.c_lflag &= ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | ECHOE);
    line.c_oflag &= ~static_cast<tcflag_t>(OPOST);
}

void set_read_timing(termios& line, const kt_tty_params& params)
{
    const bool timer = params.timeout_ms >= 0;
    line.c_cc[VTIME] = timer ? static_cast<cc_t>(params.timeout_ms / 100) : cc_t{0};
    // Without a timer and without a least count a read would never wait.
    line.c_cc[VMIN] = static_cast<cc_t>(std::clamp<uint32_t>(params.vmin, timer ? 0 : 1, 255));
}

void drive_dtr(int fd, bool raised)
{
    int lines = 0;
    (void)ioctl(fd, TIOCMGET, &lines);
    lines = raised ? lines | TIOCM_DTR : lines & ~TIOCM_DTR;
    (void)ioctl(fd, TIOCMSET, &lines);
}

} // namespace

int kt_tty_control(int fd, int cmd, kt_tty_params* params)
{
    // Every edit goes to a copy, so that a refused record leaves the line exactly as it was.
    termios line;
    if (tcgetattr(fd, &line) < 0) {
        const kt::errno_keeper keeper;
        syslog(LOG_ERR, "[ERROR] fd %d tcgetattr %m\n", fd);
        return -1;
    }
    if (cmd == KT_TTY_GET_PARAMS) {
        syslog(LOG_ERR, "[ERROR] %s GETPARAMS Not yet implemented\n", function);
        return kt::refuse(ENOSYS);
    }
    if (cmd != KT_TTY_SET_PARAMS) {
        syslog(LOG_ERR, "[ERROR] %s Unknow cmd %d\n", function, cmd);
        return kt::refuse(EINVAL);
    }
    if (params == nullptr)
        return kt::refuse(EINVAL);

    if (const int result = set_speeds(line, params->baudrate); result != 0)
        return result;
    if (set_data_bits(line, params->databits) < 0 || set_stop_bits(line, params->stopbits) < 0 ||
        set_parity(line, params->paritymode) < 0)
        return -1;
    set_control(line, *params);
    set_raw(line, *params);
    set_read_timing(line, *params);
    drive_dtr(fd, params->drop_dtr == 0); // a line without modem signals refuses this; it is usable all the same
    return tcsetattr(fd, TCSANOW, &line);
}
