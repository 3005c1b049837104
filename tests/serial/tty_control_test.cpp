/** kt_tty_control: the control word that the kernel is asked for, over every rate, parity, size and stop bit. */
#include "tests/serial/tty_line.h"

using namespace kt::tests;

namespace {

using TtyControl = tty_line;

struct rate {
    int baudrate;
    unsigned code;
};
const rate rates[] = {
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

struct parity {
    const char* mode;
    unsigned flags;
    char letter;
};
const parity parities[] = {
    {nullptr, 0, 'N'},     {"none", 0, 'N'}, {"even", PARENB, 'E'},         {"odd", PARENB | PARODD, 'O'},
    {"EVEN", PARENB, 'E'}, {"NoNe", 0, 'N'}, {"oDD", PARENB | PARODD, 'O'},
};

struct size {
    unsigned bits;
    unsigned flag;
    unsigned strip;
};
const size sizes[] = {{5, CS5, ISTRIP}, {6, CS6, ISTRIP}, {7, CS7, ISTRIP}, {8, CS8, 0}};

} // namespace

TEST_F(TtyControl, EveryRateParitySizeAndStopBitIsSetAsOneControlWord)
{
    line_settings expected = everything(false);
    expected.input = IGNPAR | INPCK | IGNBRK;
    expected.characters = settings_of(fd).characters;
    expected.characters[VMIN] = 1;
    expected.characters[VTIME] = 0;

    std::vector<line_settings> all_expected;
    for (const auto& [baudrate, code] : rates) {
        for (const auto& [mode, parity_flags, letter] : parities) {
            for (const auto& [bits, size_flag, strip] : sizes) {
                for (const unsigned stop_bits : {1u, 2u}) {
                    line_settings start = everything(false);
                    start.characters = expected.characters;
                    set_settings(fd, start);
                    params.baudrate = baudrate;
                    params.paritymode = mode;
                    params.databits = static_cast<std::uint8_t>(bits);
                    params.stopbits = static_cast<std::uint8_t>(stop_bits);
                    SCOPED_TRACE(testing::Message() << baudrate << ' ' << bits << letter << stop_bits);
                    ASSERT_EQ(kt_tty_control(fd, KT_TTY_SET_PARAMS, &params), 0);

                    expected.control =
                        code | size_flag | parity_flags | (stop_bits == 2 ? CSTOPB : 0) | CREAD | CLOCAL | HUPCL;
                    expected.input = IGNPAR | INPCK | IGNBRK | strip;
                    ASSERT_EQ(settings_of(fd), expected);
                    all_expected.push_back(start);
                    all_expected.push_back(expected);
                }
            }
        }
        const auto wire = board.line(tty_node).near; // how the other side sees the last of them
        EXPECT_EQ(wire.speed, static_cast<unsigned>(baudrate));
        EXPECT_EQ(wire.data_bits, 8u);
        EXPECT_EQ(wire.parity, 'O');
        EXPECT_EQ(wire.stop_bits, 2u);
    }
    EXPECT_EQ(settings_asked(board, tty_node), all_expected);
    EXPECT_EQ(board.syslog(), "");
}

TEST_F(TtyControl, BothSpeedsAreTheRate)
{
    params.baudrate = 460800;
    set();
    termios line;
    ASSERT_EQ(tcgetattr(fd, &line), 0);
    EXPECT_EQ(cfgetospeed(&line), static_cast<speed_t>(B460800));
    EXPECT_EQ(cfgetispeed(&line), static_cast<speed_t>(B460800));
}
