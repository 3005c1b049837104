/** Modem lines, breaks, errors on the wire and what is counted of them. */
#include "port_calls.h"

#include <linux/serial.h>

using namespace kt::tests;

namespace {

class PortLines : public port_test {
protected:
    serial_icounter_struct counted(int fd)
    {
        serial_icounter_struct counts{};
        EXPECT_EQ(ioctl(fd, TIOCGICOUNT, &counts), 0);
        return counts;
    }

    /** Sets input flags on a raw port. */
    void set_input_flags(int fd, tcflag_t flags)
    {
        struct termios wanted = settings_of(fd);
        wanted.c_iflag = flags;
        ASSERT_EQ(tcsetattr(fd, TCSANOW, &wanted), 0);
    }
};

} // namespace

TEST_F(PortLines, OpeningRaisesAndClosingLowers)
{
    EXPECT_FALSE(board.line(path).dtr);
    {
        const opened_file first(path, O_RDWR);
        EXPECT_EQ(modem_lines(first.fd()), TIOCM_DTR | TIOCM_RTS | TIOCM_CTS | TIOCM_DSR | TIOCM_CD);
        {
            const opened_file second(path, O_RDWR);
        }
        EXPECT_TRUE(board.line(path).dtr);
        EXPECT_TRUE(board.line(path).rts);
    }
    ASSERT_TRUE(becomes_closed());
    EXPECT_FALSE(board.line(path).dtr);
    EXPECT_FALSE(board.line(path).rts);
}

TEST_F(PortLines, WithoutHangUpOnCloseTheyStay)
{
    {
        const opened_file port(path, O_RDWR);
        struct termios wanted = settings_of(port.fd());
        wanted.c_cflag &= ~tcflag_t{HUPCL};
        ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0);
    }
    ASSERT_TRUE(becomes_closed());
    EXPECT_TRUE(board.line(path).dtr);
    EXPECT_TRUE(board.line(path).rts);
}

TEST_F(PortLines, SpeedZeroLowersThem)
{
    const opened_file port(path, O_RDWR);
    struct termios wanted = settings_of(port.fd());
    cfsetspeed(&wanted, B0);
    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0);
    EXPECT_EQ(modem_lines(port.fd()) & (TIOCM_DTR | TIOCM_RTS), 0);
    cfsetspeed(&wanted, B9600);
    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0);
    EXPECT_EQ(modem_lines(port.fd()) & (TIOCM_DTR | TIOCM_RTS), TIOCM_DTR | TIOCM_RTS);
}

TEST_F(PortLines, TheProgramDrivesItsOwn)
{
    const opened_file port(path, O_RDWR);
    int lines = TIOCM_RTS;
    ASSERT_EQ(ioctl(port.fd(), TIOCMSET, &lines), 0);
    EXPECT_FALSE(board.line(path).dtr);
    EXPECT_TRUE(board.line(path).rts);
    lines = TIOCM_DTR;
    ASSERT_EQ(ioctl(port.fd(), TIOCMBIS, &lines), 0);
    EXPECT_TRUE(board.line(path).dtr);
    EXPECT_TRUE(board.line(path).rts);
    lines = TIOCM_RTS | TIOCM_CTS;
    ASSERT_EQ(ioctl(port.fd(), TIOCMBIC, &lines), 0);
    EXPECT_TRUE(board.line(path).dtr);
    EXPECT_FALSE(board.line(path).rts);
    EXPECT_NE(modem_lines(port.fd()) & TIOCM_CTS, 0) << "that one is the other side's";
}

TEST_F(PortLines, TheOtherSidesAreSeenAndCounted)
{
    const opened_file port(path, O_RDWR);
    board.set_line(path, {.cts = false, .dsr = false, .ri = true});
    EXPECT_EQ(modem_lines(port.fd()) & (TIOCM_CTS | TIOCM_DSR | TIOCM_CD | TIOCM_RI), TIOCM_CD | TIOCM_RI);
    board.set_line(path, {.cts = true, .ri = false});
    board.set_line(path, {.cd = false});
    EXPECT_EQ(modem_lines(port.fd()) & (TIOCM_CTS | TIOCM_DSR | TIOCM_CD | TIOCM_RI), TIOCM_CTS);
    const serial_icounter_struct counts = counted(port.fd());
    EXPECT_EQ(counts.cts, 2);
    EXPECT_EQ(counts.dsr, 1);
    EXPECT_EQ(counts.dcd, 1);
    EXPECT_EQ(counts.rng, 1);
}

TEST_F(PortLines, LosingTheCarrierHangsUpAPortThatHeedsIt)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    struct termios wanted = settings_of(port.fd());
    wanted.c_cflag &= ~tcflag_t{CLOCAL};
    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0);
    waiting_call reader([&] { return read_now(port.fd(), 10); });
    EXPECT_TRUE(reader.waits());
    board.set_line(path, {.cd = false});
    EXPECT_EQ(reader.result(), gave(""));
}

TEST_F(PortLines, BreaksGoBothWays)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(tcsendbreak(port.fd(), 0), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 250ms);
    ASSERT_EQ(ioctl(port.fd(), TIOCSBRK), 0);
    ASSERT_EQ(ioctl(port.fd(), TIOCCBRK), 0);
    EXPECT_EQ(board.line(path).breaks, 2U);

    board.send_break(path);
    EXPECT_EQ(read_now(port.fd(), 10), gave(std::string(1, '\0')));
    set_input_flags(port.fd(), IGNBRK);
    board.send_break(path);
    EXPECT_EQ(read_now(port.fd(), 10), failed(EAGAIN));
    set_input_flags(port.fd(), PARMRK);
    board.send_break(path);
    EXPECT_EQ(read_now(port.fd(), 10), gave(std::string("\377\0\0", 3)));
    set_input_flags(port.fd(), BRKINT);
    board.send(path, "dropped");
    board.send_break(path);
    EXPECT_EQ(read_now(port.fd(), 10), failed(EAGAIN));
    EXPECT_EQ(counted(port.fd()).brk, 4);
}

TEST_F(PortLines, ParityErrorsFollowTheInputFlags)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    const auto received_with = [&](tcflag_t flags) {
        set_input_flags(port.fd(), flags);
        board.send(path, "a");
        board.send_bad(path, 'b', "parity");
        board.send(path, "c");
        return read_now(port.fd(), 10);
    };
    EXPECT_EQ(received_with(0), gave("abc")) << "nobody checks";
    EXPECT_EQ(received_with(IGNPAR), gave("abc"));
    EXPECT_EQ(received_with(INPCK), gave(std::string("a\0c", 3)));
    EXPECT_EQ(received_with(INPCK | IGNPAR), gave("ac"));
    EXPECT_EQ(received_with(INPCK | PARMRK), gave(std::string("a\377\0bc", 5)));
    EXPECT_EQ(counted(port.fd()).parity, 5);
    board.send_bad(path, 'b', "framing");
    board.send_bad(path, 'b', "overrun");
    EXPECT_EQ(counted(port.fd()).frame, 1);
    EXPECT_EQ(counted(port.fd()).overrun, 1);
    set_input_flags(port.fd(), PARMRK);
    ASSERT_EQ(tcflush(port.fd(), TCIFLUSH), 0);
    board.send(path, "\377");
    EXPECT_EQ(read_now(port.fd(), 10), gave("\377\377")) << "told from a mark by being doubled";
}

TEST_F(PortLines, InputIsTranslatedAsAsked)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    const auto received_with = [&](tcflag_t flags) {
        set_input_flags(port.fd(), flags);
        board.send(path, "\r\n\xC1");
        return read_now(port.fd(), 10);
    };
    EXPECT_EQ(received_with(0), gave("\r\n\xC1"));
    EXPECT_EQ(received_with(ICRNL), gave("\n\n\xC1"));
    EXPECT_EQ(received_with(INLCR), gave("\r\r\xC1"));
    EXPECT_EQ(received_with(IGNCR), gave("\n\xC1"));
    EXPECT_EQ(received_with(ISTRIP), gave("\r\nA"));
}

TEST_F(PortLines, ASmallerCharacterSizeCutsBits)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    struct termios wanted = settings_of(port.fd());
    wanted.c_cflag = (wanted.c_cflag & ~tcflag_t{CSIZE}) | CS7;
    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0);
    board.send(path, "\xC1\x42");
    EXPECT_EQ(read_now(port.fd(), 10), gave("AB"));
    EXPECT_EQ(write_now(port.fd(), "\xC3\x44").count, 2U);
    EXPECT_TRUE(board.expect(path, "CD", 10s));
}

TEST_F(PortLines, WithoutAReceiverInputIsLost)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    struct termios wanted = settings_of(port.fd());
    wanted.c_cflag &= ~tcflag_t{CREAD};
    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0);
    board.send(path, "lost");
    EXPECT_EQ(read_now(port.fd(), 10), failed(EAGAIN));
}

TEST_F(PortLines, AnotherFramingTurnsBytesIntoNoise)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    const std::string clear = "clear text";
    board.set_line(path, {.speed = 9600});
    board.send(path, clear);
    const call_result noise = read_now(port.fd(), 100);
    ASSERT_EQ(noise.count, clear.size());
    for (std::size_t i = 0; i < clear.size(); ++i)
        EXPECT_NE(noise.bytes[i], clear[i]);
    EXPECT_EQ(counted(port.fd()).frame, static_cast<int>(clear.size()));
    board.send(path, clear);
    EXPECT_EQ(read_now(port.fd(), 100), gave(noise.bytes)) << "the same each time";
    EXPECT_EQ(write_now(port.fd(), clear).count, clear.size());
    ASSERT_EQ(tcdrain(port.fd()), 0);
    const std::string sent = board.sent(path);
    ASSERT_EQ(sent.size(), clear.size());
    EXPECT_EQ(sent.find_first_of(clear[0]), std::string::npos);

    board.set_line(path, {.speed = 115200});
    board.send(path, clear);
    EXPECT_EQ(read_now(port.fd(), 100), gave(clear)) << "alike again";
    board.set_line(path, {.parity = 'E'});
    board.send(path, "x");
    EXPECT_NE(read_now(port.fd(), 100), gave("x"));
    board.set_line(path, {.follow = true});
    board.send(path, clear);
    EXPECT_EQ(read_now(port.fd(), 100), gave(clear));
}

TEST_F(PortLines, MoreThanTheQueueHoldsIsOverrun)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    board.send(path, std::string(66000, 'x'));
    EXPECT_EQ(board.line(path).waiting, 65536);
    EXPECT_EQ(counted(port.fd()).buf_overrun, 66000 - 65536);
}
