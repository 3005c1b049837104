/** Serial settings through a C library's eyes: kept as asked, and kept for the next open. */
#include "port_calls.h"

#include <algorithm>

using namespace kt::tests;

namespace {

class PortSettings : public port_test {};

constexpr speed_t all_rates[] = {B50,      B75,      B110,     B134,     B150,     B200,    B300,     B600,
                                 B1200,    B1800,    B2400,    B4800,    B9600,    B19200,  B38400,   B57600,
                                 B115200,  B230400,  B460800,  B500000,  B576000,  B921600, B1000000, B1152000,
                                 B1500000, B2000000, B2500000, B3000000, B3500000, B4000000};

} // namespace

TEST_F(PortSettings, APortIsATerminal)
{
    const opened_file port(path, O_RDWR | O_NOCTTY);
    ASSERT_EQ(port.error(), 0);
    EXPECT_EQ(isatty(port.fd()), 1);
    struct winsize window {
        1, 2, 3, 4
    };
    EXPECT_EQ(ioctl(port.fd(), TIOCGWINSZ, &window), 0);
    EXPECT_EQ(window.ws_row, 0);
    EXPECT_EQ(error_of(ioctl(port.fd(), TIOCGPGRP, &window)), ENOTTY);
}

TEST_F(PortSettings, AFreshPortIsSetAsSerialDriversLeaveIt)
{
    const opened_file port(path, O_RDWR);
    const struct termios fresh = settings_of(port.fd());
    EXPECT_EQ(fresh.c_iflag, tcflag_t{ICRNL | IXON});
    EXPECT_EQ(fresh.c_oflag, tcflag_t{OPOST | ONLCR});
    EXPECT_EQ(fresh.c_cflag, tcflag_t{B9600 | CS8 | CREAD | HUPCL | CLOCAL});
    EXPECT_EQ(fresh.c_lflag, tcflag_t{ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHOCTL | ECHOKE | IEXTEN});
    EXPECT_EQ(cfgetospeed(&fresh), speed_t{B9600});
    EXPECT_EQ(fresh.c_cc[VINTR], 'C' - '@');
    EXPECT_EQ(fresh.c_cc[VEOF], 'D' - '@');
    EXPECT_EQ(fresh.c_cc[VSTART], 'Q' - '@');
    EXPECT_EQ(fresh.c_cc[VSTOP], 'S' - '@');
    EXPECT_EQ(fresh.c_cc[VERASE], 0x7F);
    EXPECT_EQ(fresh.c_cc[VMIN], 1);
    EXPECT_EQ(fresh.c_cc[VTIME], 0);
}

TEST_F(PortSettings, EveryRateSizeParityAndStopBitIsKeptAsAsked)
{
    const opened_file port(path, O_RDWR);
    for (const speed_t rate : all_rates)
        for (const tcflag_t size : {CS5, CS6, CS7, CS8})
            for (const tcflag_t parity : {0, PARENB, PARENB | PARODD, PARODD})
                for (const tcflag_t stop : {0, CSTOPB}) {
                    struct termios wanted = settings_of(port.fd());
                    cfmakeraw(&wanted);
                    ASSERT_EQ(cfsetspeed(&wanted, rate), 0);
                    wanted.c_cflag &= ~tcflag_t{CSIZE | PARENB | PARODD | CSTOPB};
                    wanted.c_cflag |= size | parity | stop;
                    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0) << rate << ' ' << size << ' ' << parity;
                    const struct termios kept = settings_of(port.fd());
                    ASSERT_EQ(kept.c_cflag, wanted.c_cflag);
                    ASSERT_EQ(cfgetospeed(&kept), rate);
                    ASSERT_EQ(cfgetispeed(&kept), rate);
                }
}

TEST_F(PortSettings, TheOtherSideSeesThem)
{
    const opened_file port(path, O_RDWR);
    struct termios wanted = settings_of(port.fd());
    cfmakeraw(&wanted);
    cfsetspeed(&wanted, B460800);
    wanted.c_cflag &= ~tcflag_t{CSIZE};
    wanted.c_cflag |= CS7 | PARENB | PARODD | CSTOPB;
    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0);
    EXPECT_EQ(board.line(path).near,
              (kt::terminal::line_framing{.speed = 460800, .data_bits = 7, .parity = 'O', .stop_bits = 2}));
}

TEST_F(PortSettings, EvenParityCanBeSetBySecondOpenToo)
{
    for (int i = 0; i < 2; ++i) {
        const opened_file port(path, O_RDWR);
        struct termios wanted = settings_of(port.fd());
        cfmakeraw(&wanted);
        wanted.c_cflag &= ~tcflag_t{CSIZE};
        wanted.c_cflag |= CS7 | PARENB;
        EXPECT_EQ(error_of(tcsetattr(port.fd(), TCSANOW, &wanted)), 0) << i;
        EXPECT_EQ(settings_of(port.fd()).c_cflag, wanted.c_cflag);
    }
}

TEST_F(PortSettings, SettingsOutliveTheCloseAndOldInputDoesNot)
{
    struct termios wanted {};
    {
        const opened_file port(path, O_RDWR);
        make_raw(port.fd(), 3, 7);
        wanted = settings_of(port.fd());
        board.send(path, "old");
        EXPECT_EQ(board.line(path).waiting, 3);
    }
    ASSERT_TRUE(becomes_closed());
    board.send(path, "lost");
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    const struct termios kept = settings_of(port.fd());
    EXPECT_EQ(kept.c_iflag, wanted.c_iflag);
    EXPECT_EQ(kept.c_oflag, wanted.c_oflag);
    EXPECT_EQ(kept.c_cflag, wanted.c_cflag);
    EXPECT_EQ(kept.c_lflag, wanted.c_lflag);
    EXPECT_EQ(kept.c_cc[VMIN], 3);
    EXPECT_EQ(kept.c_cc[VTIME], 7);
    EXPECT_EQ(read_now(port.fd(), 10), failed(EAGAIN));
}

TEST_F(PortSettings, FlushingSettingsDropWhatWaits)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    board.send(path, "one");
    struct termios wanted = settings_of(port.fd());
    ASSERT_EQ(tcsetattr(port.fd(), TCSADRAIN, &wanted), 0);
    EXPECT_EQ(read_now(port.fd(), 10), gave("one"));
    board.send(path, "two");
    ASSERT_EQ(tcsetattr(port.fd(), TCSAFLUSH, &wanted), 0);
    EXPECT_EQ(read_now(port.fd(), 10), failed(EAGAIN));
}

TEST_F(PortSettings, ABadAddressIsRefused)
{
    const opened_file port(path, O_RDWR);
    auto* const nowhere = reinterpret_cast<void*>(16);
    EXPECT_EQ(error_of(ioctl(port.fd(), TCGETS, nowhere)), EFAULT);
    EXPECT_EQ(error_of(ioctl(port.fd(), TCSETS, nowhere)), EFAULT);
    EXPECT_EQ(error_of(ioctl(port.fd(), TIOCMGET, nowhere)), EFAULT);
}

TEST_F(PortSettings, TheJournalHoldsTheRecords)
{
    const opened_file port(path, O_RDWR);
    struct termios wanted = settings_of(port.fd());
    cfmakeraw(&wanted);
    cfsetspeed(&wanted, B230400);
    board.forget();
    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0);
    int lines = TIOCM_RTS;
    ASSERT_EQ(ioctl(port.fd(), TIOCMSET, &lines), 0);
    ASSERT_EQ(tcflush(port.fd(), TCIOFLUSH), 0);
    EXPECT_EQ(error_of(ioctl(port.fd(), TIOCGPGRP, &lines)), ENOTTY);

    const auto asked = board.events_of({"ioctl"});
    const auto first =
        std::find_if(asked.begin(), asked.end(), [](const auto& each) { return each.request == TCSETS; });
    ASSERT_NE(first, asked.end());
    ASSERT_GE(asked.end() - first, 4);
    EXPECT_EQ(first->path, path);
    tcflag_t flags[4]; // input, output, control, local
    ASSERT_GE(first->data.size(), sizeof flags);
    std::memcpy(flags, first->data.data(), sizeof flags);
    EXPECT_EQ(flags[0], wanted.c_iflag);
    EXPECT_EQ(flags[1], wanted.c_oflag);
    EXPECT_EQ(flags[2], wanted.c_cflag);
    EXPECT_EQ(flags[3], wanted.c_lflag);
    const auto& set = asked[asked.size() - 3];
    EXPECT_EQ(set.request, unsigned{TIOCMSET});
    EXPECT_EQ(set.data, std::string(reinterpret_cast<const char*>(&lines), sizeof lines));
    const int both = TCIOFLUSH;
    const auto& flush = asked[asked.size() - 2];
    EXPECT_EQ(flush.request, unsigned{TCFLSH});
    EXPECT_EQ(flush.data, std::string(reinterpret_cast<const char*>(&both), sizeof both));
    EXPECT_EQ(asked.back().error, "ENOTTY");
}

TEST_F(PortSettings, RequestsCanBeMadeToFail)
{
    const opened_file port(path, O_RDWR);
    const int rule = board.fail(path, {.on = "ioctl", .error = EIO, .times = 1});
    struct termios now {};
    EXPECT_EQ(error_of(tcgetattr(port.fd(), &now)), EIO);
    EXPECT_EQ(tcgetattr(port.fd(), &now), 0);
    board.mend(rule);
}
