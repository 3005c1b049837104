/** Termios records: first values, forms, speeds. */
#include "terminal/ports/settings.h"

#include <algorithm>
#include <cstring>
#include <sys/ioctl.h>

namespace kt::terminal {

namespace {

struct rate {
    tcflag_t code;
    unsigned speed;
};

constexpr rate rates[] = {
    {B0, 0},
    {B50, 50},
    {B75, 75},
    {B110, 110},
    {B134, 134},
    {B150, 150},
    {B200, 200},
    {B300, 300},
    {B600, 600},
    {B1200, 1200},
    {B1800, 1800},
    {B2400, 2400},
    {B4800, 4800},
    {B9600, 9600},
    {B19200, 19200},
    {B38400, 38400},
    {B57600, 57600},
    {B115200, 115200},
    {B230400, 230400},
    {B460800, 460800},
    {B500000, 500000},
    {B576000, 576000},
    {B921600, 921600},
    {B1000000, 1000000},
    {B1152000, 1152000},
    {B1500000, 1500000},
    {B2000000, 2000000},
    {B2500000, 2500000},
    {B3000000, 3000000},
    {B3500000, 3500000},
    {B4000000, 4000000},
};

/** The speed of a code; @p other for BOTHER. */
unsigned speed_of(tcflag_t code, unsigned other)
{
    if (code == BOTHER)
        return other;
    const auto* const known =
        std::find_if(std::begin(rates), std::end(rates), [code](const rate& each) { return each.code == code; });
    return known == std::end(rates) ? 0 : known->speed;
}

/** One flag word with its lower half replaced. */
tcflag_t lower_half(tcflag_t whole, unsigned short half)
{
    return (whole & ~tcflag_t{0xFFFF}) | half;
}

} // namespace

struct termios2 first_settings()
{
    struct termios2 first {};
    first.c_iflag = ICRNL | IXON;
    first.c_oflag = OPOST | ONLCR;
    first.c_cflag = B9600 | CS8 | CREAD | HUPCL | CLOCAL;
    first.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHOCTL | ECHOKE | IEXTEN;
    first.c_cc[VINTR] = 003;
    first.c_cc[VQUIT] = 034;
    first.c_cc[VERASE] = 0177;
    first.c_cc[VKILL] = 025;
    first.c_cc[VEOF] = 004;
    first.c_cc[VMIN] = 1;
    first.c_cc[VSTART] = 021;
    first.c_cc[VSTOP] = 023;
    first.c_cc[VSUSP] = 032;
    first.c_cc[VREPRINT] = 022;
    first.c_cc[VDISCARD] = 017;
    first.c_cc[VWERASE] = 027;
    first.c_cc[VLNEXT] = 026;
    return with_speeds(first);
}

struct termios short_form(const struct termios2& set)
{
    struct termios shown {};
    shown.c_iflag = set.c_iflag;
    shown.c_oflag = set.c_oflag;
    shown.c_cflag = set.c_cflag;
    shown.c_lflag = set.c_lflag;
    shown.c_line = set.c_line;
    std::copy(std::begin(set.c_cc), std::end(set.c_cc), std::begin(shown.c_cc));
    return shown;
}

struct termios2 with_short_form(const struct termios2& set, const struct termios& wanted)
{
    struct termios2 made = set;
    made.c_iflag = wanted.c_iflag;
    made.c_oflag = wanted.c_oflag;
    made.c_cflag = wanted.c_cflag;
    made.c_lflag = wanted.c_lflag;
    made.c_line = wanted.c_line;
    std::copy(std::begin(wanted.c_cc), std::end(wanted.c_cc), std::begin(made.c_cc));
    return with_speeds(made);
}

struct termios2 with_speeds(const struct termios2& wanted)
{
    struct termios2 made = wanted;
    made.c_ospeed = speed_of(wanted.c_cflag & CBAUD, wanted.c_ospeed);
    const tcflag_t input = (wanted.c_cflag & CIBAUD) >> IBSHIFT;
    made.c_ispeed = input == B0 ? made.c_ospeed : speed_of(input, wanted.c_ispeed); // B0: as the output
    return made;
}

struct termio oldest_form(const struct termios2& set)
{
    struct termio shown {};
    shown.c_iflag = static_cast<unsigned short>(set.c_iflag);
    shown.c_oflag = static_cast<unsigned short>(set.c_oflag);
    shown.c_cflag = static_cast<unsigned short>(set.c_cflag);
    shown.c_lflag = static_cast<unsigned short>(set.c_lflag);
    shown.c_line = static_cast<decltype(shown.c_line)>(set.c_line);
    std::memcpy(shown.c_cc, set.c_cc, NCC);
    return shown;
}

struct termios2 with_oldest_form(const struct termios2& set, const struct termio& wanted)
{
    struct termios2 made = set;
    made.c_iflag = lower_half(set.c_iflag, wanted.c_iflag);
    made.c_oflag = lower_half(set.c_oflag, wanted.c_oflag);
    made.c_cflag = lower_half(set.c_cflag, wanted.c_cflag);
    made.c_lflag = lower_half(set.c_lflag, wanted.c_lflag);
    made.c_line = static_cast<cc_t>(wanted.c_line);
    std::memcpy(made.c_cc, wanted.c_cc, NCC);
    return with_speeds(made);
}

framing framing_of(const struct termios2& set)
{
    framing made;
    made.speed = set.c_ospeed;
    switch (set.c_cflag & CSIZE) {
    case CS5:
        made.data_bits = 5;
        break;
    case CS6:
        made.data_bits = 6;
        break;
    case CS7:
        made.data_bits = 7;
        break;
    default:
        made.data_bits = 8;
    }
    if ((set.c_cflag & PARENB) != 0)
        made.parity = (set.c_cflag & PARODD) != 0 ? 'O' : 'E';
    made.stop_bits = (set.c_cflag & CSTOPB) != 0 ? 2 : 1;
    return made;
}

unsigned char size_mask(const struct termios2& set)
{
    return static_cast<unsigned char>((1U << framing_of(set).data_bits) - 1);
}

} // namespace kt::terminal
