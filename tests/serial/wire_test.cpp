/** What an open port makes of a bad wire: wrong settings, wrong parity, breaks. */
#include "terminal/client/virtual_terminal.h"
#include "tests/serial/ports.h"

#include <chrono>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

constexpr const char* node = processor_node;

/** All that waits; empty when nothing came. */
std::string received()
{
    char room[64];
    const int got = kt_serial_read(26, room, sizeof room, 100);
    return got < 0 ? std::string() : std::string(room, static_cast<std::size_t>(got));
}

void expect_noise(virtual_terminal& board, const kt::terminal::line_change& other_end)
{
    board.set_line(node, other_end);
    board.send(node, "hello");
    EXPECT_NE(received(), "hello");
    EXPECT_EQ(kt_serial_write(26, "world", 5), 5);
    EXPECT_FALSE(board.expect(node, "world", std::chrono::milliseconds(50)));
    (void)board.sent(node);

    board.set_line(node, {.follow = true});
    board.send(node, "hello");
    EXPECT_EQ(received(), "hello");
    EXPECT_EQ(kt_serial_write(26, "world", 5), 5);
    EXPECT_TRUE(board.expect(node, "world"));
}

} // namespace

TEST(Wire, AnotherSpeedIsNoise)
{
    virtual_terminal board;
    ASSERT_EQ(open_port(26).result, 0);
    expect_noise(board, {.speed = 9600});
}

TEST(Wire, AnotherParityIsNoise)
{
    virtual_terminal board;
    ASSERT_EQ(outcome_of([] { return kt_serial_open(26, 115200, 0, 0, 1024); }).result, 0);
    expect_noise(board, {.parity = 'O'});
    expect_noise(board, {.parity = 'N'});
}

TEST(Wire, TheSettingsOfThePortMatter)
{
    virtual_terminal board;
    board.set_line(node, {.speed = 460800, .parity = 'E'});
    ASSERT_EQ(outcome_of([] { return kt_serial_open(26, 460800, 0, 0, 0); }).result, 0);
    board.send(node, "hello");
    EXPECT_NE(received(), "hello");
    ASSERT_EQ(outcome_of([] { return kt_serial_open(26, 460800, 0, 0, 1024); }).result, 0);
    board.send(node, "hello");
    EXPECT_EQ(received(), "hello");
}

TEST(Wire, BytesOfWrongParityOrFrameAreDropped)
{
    virtual_terminal board;
    ASSERT_EQ(outcome_of([] { return kt_serial_open(26, 115200, 0, 0, 1024); }).result, 0);
    board.send(node, "a");
    board.send_bad(node, 'b', "parity");
    board.send(node, "c");
    board.send_bad(node, 'd', "framing");
    board.send(node, "e");
    EXPECT_EQ(received(), "ace");
}

TEST(Wire, ABreakIsIgnoredOnALocalLine)
{
    virtual_terminal board;
    ASSERT_EQ(open_port(26).result, 0);
    board.send(node, "a");
    board.send_break(node);
    board.send(node, "b");
    EXPECT_EQ(received(), "ab");
}

TEST(Wire, ABreakIsAZeroByteWhereTheModemsLinesCount)
{
    virtual_terminal board;
    ASSERT_EQ(open_port(26).result, 0);
    kt_tty_params params{};
    params.baudrate = 115200;
    params.timeout_ms = -1;
    params.modem_lines = 1;
    params.cread = 1;
    params.databits = 8;
    params.stopbits = 1;
    ASSERT_EQ(kt_tty_control(kt_serial_get_fd(26), KT_TTY_SET_PARAMS, &params), 0);
    board.send(node, "a");
    board.send_break(node);
    board.send(node, "b");
    EXPECT_EQ(received(), std::string("a\0b", 3));
}

TEST(Wire, ALineWithoutAReceiverReceivesNothing)
{
    virtual_terminal board;
    ASSERT_EQ(open_port(26).result, 0);
    kt_tty_params params{};
    params.baudrate = 115200;
    params.timeout_ms = -1;
    params.databits = 8;
    params.stopbits = 1;
    ASSERT_EQ(kt_tty_control(kt_serial_get_fd(26), KT_TTY_SET_PARAMS, &params), 0);
    board.send(node, "lost");
    EXPECT_EQ(received(), "");
    params.cread = 1;
    ASSERT_EQ(kt_tty_control(kt_serial_get_fd(26), KT_TTY_SET_PARAMS, &params), 0);
    board.send(node, "kept");
    EXPECT_EQ(received(), "kept");
}

TEST(Wire, AnOpenPortRaisesDtr)
{
    virtual_terminal board;
    ASSERT_EQ(open_port(26).result, 0);
    EXPECT_TRUE(board.line(node).dtr);
    EXPECT_EQ(kt_serial_close(26), 0);
    EXPECT_TRUE(soon([&] { return !board.line(node).dtr; })); // hangs up on close
}
