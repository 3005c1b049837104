/** Writing to a serial port: what leaves, what stays queued, and who waits for it. */
#include "port_calls.h"

#include <poll.h>

using namespace kt::tests;

namespace {

class PortWriting : public port_test {};

constexpr std::size_t queue = 4096;

} // namespace

TEST_F(PortWriting, BytesReachTheOtherEndAtOnce)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    const std::string all("AT\r\n\0\xFF\x11\x13", 8);
    EXPECT_EQ(write_now(port.fd(), all).count, all.size());
    ASSERT_EQ(tcdrain(port.fd()), 0);
    EXPECT_EQ(board.sent(path), all);
    EXPECT_EQ(queued(port.fd()), 0);
}

TEST_F(PortWriting, AFreshPortWritesLinesWithReturns)
{
    const opened_file port(path, O_RDWR);
    EXPECT_EQ(write_now(port.fd(), "a\nb\n").count, 4U);
    EXPECT_EQ(tcdrain(port.fd()), 0);
    EXPECT_EQ(board.sent(path), "a\r\nb\r\n");
}

TEST_F(PortWriting, WhatIsHeldIsCountedAndWaitedFor)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    board.hold(path, true);
    EXPECT_EQ(write_now(port.fd(), "held").count, 4U);
    EXPECT_EQ(queued(port.fd()), 4);
    EXPECT_EQ(board.line(path).unsent, 4);
    EXPECT_EQ(board.sent(path), "");
    waiting_call drain([&] { return failed(error_of(tcdrain(port.fd()))); });
    EXPECT_TRUE(drain.waits());
    board.hold(path, false);
    EXPECT_EQ(drain.result(), failed(0));
    EXPECT_EQ(board.sent(path), "held");
    EXPECT_EQ(queued(port.fd()), 0);
}

TEST_F(PortWriting, ASignalEndsTheWaitingForWhatIsHeld)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    board.hold(path, true);
    EXPECT_EQ(write_now(port.fd(), "held").count, 4U);
    waiting_call drain([&] { return failed(error_of(tcdrain(port.fd()))); });
    EXPECT_TRUE(drain.waits());
    drain.interrupt();
    EXPECT_EQ(drain.result(), failed(EINTR));
}

TEST_F(PortWriting, SettingsThatWaitAreSetOnceAllIsSent)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    board.hold(path, true);
    EXPECT_EQ(write_now(port.fd(), "held").count, 4U);
    struct termios wanted = settings_of(port.fd());
    cfsetspeed(&wanted, B9600);
    waiting_call setter([&] { return failed(error_of(tcsetattr(port.fd(), TCSADRAIN, &wanted))); });
    EXPECT_TRUE(setter.waits());
    EXPECT_EQ(board.line(path).near.speed, 115200U);
    board.hold(path, false);
    EXPECT_EQ(setter.result(), failed(0));
    EXPECT_EQ(board.line(path).near.speed, 9600U);
}

TEST_F(PortWriting, AFullQueueMakesAWriterWait)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    board.hold(path, true);
    const std::string much(queue + 1000, 'm');
    waiting_call writer([&] { return write_now(port.fd(), much); });
    EXPECT_TRUE(writer.waits());
    EXPECT_EQ(queued(port.fd()), static_cast<int>(queue));

    // The one who waits keeps nobody else from the port.
    const opened_file other(path, O_RDWR | O_NONBLOCK);
    EXPECT_EQ(write_now(other.fd(), "no room"), failed(EAGAIN));
    board.send(path, "in");
    EXPECT_EQ(read_now(other.fd(), 10), gave("in"));
    pollfd waited{other.fd(), POLLOUT, 0};
    EXPECT_EQ(poll(&waited, 1, 0), 0);

    board.hold(path, false);
    EXPECT_EQ(writer.result().count, much.size());
    EXPECT_EQ(tcdrain(port.fd()), 0);
    EXPECT_EQ(board.sent(path), much);
    EXPECT_EQ(poll(&waited, 1, 0), 1);
}

TEST_F(PortWriting, ASignalEndsAWriteWithWhatWasTaken)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    board.hold(path, true);
    waiting_call writer([&] { return write_now(port.fd(), std::string(queue + 1000, 'm')); });
    EXPECT_TRUE(writer.waits());
    writer.interrupt();
    EXPECT_EQ(writer.result().count, queue);
    waiting_call second([&] { return write_now(port.fd(), "x"); });
    EXPECT_TRUE(second.waits());
    second.interrupt();
    EXPECT_EQ(second.result(), failed(EINTR));
}

TEST_F(PortWriting, NonBlockingTakesWhatFits)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    board.hold(path, true);
    EXPECT_EQ(write_now(port.fd(), std::string(queue + 1000, 'm')).count, queue);
    EXPECT_EQ(write_now(port.fd(), "x"), failed(EAGAIN));
}

TEST_F(PortWriting, FlushingDropsOneDirectionOrBoth)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    board.hold(path, true);
    const auto fill = [&] {
        board.send(path, "in");
        EXPECT_EQ(write_now(port.fd(), "out").count, 3U);
    };
    fill();
    ASSERT_EQ(tcflush(port.fd(), TCIFLUSH), 0);
    EXPECT_EQ(read_now(port.fd(), 10), failed(EAGAIN));
    EXPECT_EQ(queued(port.fd()), 3);
    board.send(path, "in");
    ASSERT_EQ(tcflush(port.fd(), TCOFLUSH), 0);
    EXPECT_EQ(queued(port.fd()), 0);
    EXPECT_EQ(read_now(port.fd(), 10), gave("in"));
    fill();
    ASSERT_EQ(tcflush(port.fd(), TCIOFLUSH), 0);
    EXPECT_EQ(queued(port.fd()), 0);
    EXPECT_EQ(read_now(port.fd(), 10), failed(EAGAIN));
    EXPECT_EQ(error_of(tcflush(port.fd(), 77)), EINVAL);
    board.hold(path, false);
    EXPECT_EQ(tcdrain(port.fd()), 0);
    EXPECT_EQ(board.sent(path), "");
}

TEST_F(PortWriting, SoftwareFlowControlStopsAndResumes)
{
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    struct termios wanted = settings_of(port.fd());
    wanted.c_iflag |= IXON;
    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0);
    board.send(path, "\x13");
    EXPECT_EQ(write_now(port.fd(), "later").count, 5U);
    EXPECT_EQ(queued(port.fd()), 5);
    board.send(path, "\x11");
    EXPECT_TRUE(board.expect(path, "later", 10s));
    EXPECT_EQ(read_now(port.fd(), 10), failed(EAGAIN)) << "the two are taken out";
    wanted.c_iflag &= ~tcflag_t{IXON};
    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0);
    board.send(path, "\x13\x11");
    EXPECT_EQ(read_now(port.fd(), 10), gave("\x13\x11"));
}

TEST_F(PortWriting, TheProgramCanStopEitherSide)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    ASSERT_EQ(tcflow(port.fd(), TCOOFF), 0);
    EXPECT_EQ(write_now(port.fd(), "x").count, 1U);
    EXPECT_EQ(queued(port.fd()), 1);
    ASSERT_EQ(tcflow(port.fd(), TCOON), 0);
    EXPECT_TRUE(board.expect(path, "x", 10s));
    ASSERT_EQ(tcflow(port.fd(), TCIOFF), 0);
    ASSERT_EQ(tcflow(port.fd(), TCION), 0);
    EXPECT_TRUE(board.expect(path, "\x13\x11", 10s));
    EXPECT_EQ(error_of(tcflow(port.fd(), 77)), EINVAL);
}

TEST_F(PortWriting, HardwareFlowControlHeedsClearToSend)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    board.set_line(path, {.cts = false});
    EXPECT_EQ(write_now(port.fd(), "free").count, 4U);
    EXPECT_TRUE(board.expect(path, "free", 10s)) << "nobody asked for it";
    struct termios wanted = settings_of(port.fd());
    wanted.c_cflag |= CRTSCTS;
    ASSERT_EQ(tcsetattr(port.fd(), TCSANOW, &wanted), 0);
    EXPECT_EQ(write_now(port.fd(), "bound").count, 5U);
    EXPECT_EQ(queued(port.fd()), 5);
    board.set_line(path, {.cts = true});
    EXPECT_TRUE(board.expect(path, "bound", 10s));
    EXPECT_EQ(queued(port.fd()), 0);
}
