/** Ports whose line refuses its settings, and port 60's mode. */
#include "tests/serial/line_requests.h"
#include "tests/serial/ports.h"
#include "tests/support/descriptors.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* usb_node = "/dev/ttyGS0";
constexpr const char* non_blocking_line = "KT_UART_COM60 set non blocking mode\n";

std::string usb_lines(int port, int fd)
{
    return open_line(port) + "usb_route 0\nopen /dev/ttyGS0," + std::to_string(fd) + "\n";
}

bool is_non_blocking(int fd)
{
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
}

/** A line that is up, under settings that no port asks for, with bytes that wait. */
class UsedLine {
public:
    UsedLine(virtual_terminal& board, const char* node) : fd(open(node, O_RDWR | O_NOCTTY))
    {
        line_settings odd = settings_of(fd);
        odd.control = B300 | CS5 | CSTOPB | CREAD;
        odd.input = INLCR;
        odd.local = 0;
        set_settings(fd, odd);
        before = settings_of(fd);
        board.send(node, "wait");
        board.forget();
    }
    UsedLine(const UsedLine&) = delete;
    UsedLine& operator=(const UsedLine&) = delete;
    ~UsedLine() { close(fd); }

    const int fd;
    line_settings before;
};

} // namespace

TEST(PortSettings, NineDataBitsLeaveThePortOpenUnderItsOldSettings)
{
    virtual_terminal board;
    const UsedLine line(board, processor_node);
    EXPECT_EQ(outcome_of([] { return kt_serial_open(26, 115200, 4096, 0, 0); }), failed(EINVAL, open_line(26)));
    EXPECT_EQ(board.syslog(), "[ERROR] kt_tty_control databits 9\n");
    EXPECT_EQ(line_requests(board, processor_node), (lines{"TCGETS", "TCFLSH TCIFLUSH"}));
    EXPECT_EQ(settings_of(line.fd), line.before);
    EXPECT_EQ(board.line(processor_node).waiting, 0);

    const int fd = kt_serial_get_fd(26);
    EXPECT_EQ(descriptor_target(fd), processor_node);
    EXPECT_EQ(kt_serial_close(26), 0);
}

TEST(PortSettings, AnUnknownRateLeavesThePortOpenUnderItsOldSettings)
{
    virtual_terminal board;
    const UsedLine line(board, processor_node);
    EXPECT_EQ(outcome_of([] { return kt_serial_open(26, 115201, 0, 0, 0); }), failed(EINVAL, open_line(26)));
    EXPECT_EQ(board.syslog(), "[ERROR] kt_tty_control baudrate 115201\n");
    EXPECT_EQ(line_requests(board, processor_node), (lines{"TCGETS", "TCFLSH TCIFLUSH"}));
    EXPECT_EQ(settings_of(line.fd), line.before);
    EXPECT_GE(kt_serial_get_fd(26), 0);
}

TEST(PortSettings, ALineThatTakesNoneKeepsItsCauseOverTheFlush)
{
    virtual_terminal board;
    ASSERT_EQ(open_port(26).result, 0);
    const int passing = requests_before_set(board, processor_node);
    // The setting fails with the one, all that follows with the other.
    board.fail(processor_node, {.on = "ioctl", .error = EIO, .skip = passing, .times = 1});
    board.fail(processor_node, {.on = "ioctl", .error = EPERM, .skip = passing});
    EXPECT_EQ(open_port(26), failed(EIO, open_line(26)));
    EXPECT_EQ(line_requests(board, processor_node).back(), "TCFLSH TCIFLUSH = EPERM");
    EXPECT_GE(kt_serial_get_fd(26), 0);
}

TEST(PortSettings, AFailedFlushIsNoFailureOfTheOpen)
{
    virtual_terminal board;
    ASSERT_EQ(open_port(26).result, 0);
    board.forget();
    ASSERT_EQ(open_port(26).result, 0);
    const auto requests = static_cast<int>(board.events_of({"ioctl"}).size()); // the flush is the last of them
    board.fail(processor_node, {.on = "ioctl", .error = EIO, .skip = requests - 1, .times = 1});
    board.forget();
    EXPECT_EQ(open_port(26), (outcome{0, 0, open_line(26)}));
    EXPECT_EQ(line_requests(board, processor_node).back(), "TCFLSH TCIFLUSH = EIO");
}

TEST(PortSettings, Port60IsTheUsbLinkInNonBlockingMode)
{
    virtual_terminal board;
    const outcome done = open_port(60);
    const int fd = kt_serial_get_fd(60);
    EXPECT_EQ(done, (outcome{0, 0, usb_lines(60, fd) + non_blocking_line}));
    EXPECT_EQ(board.last_open(usb_node).flags, "O_RDWR"); // set afterwards
    EXPECT_TRUE(is_non_blocking(fd));

    // It stays so over reads, those with and those without bytes.
    char room[8];
    EXPECT_EQ(outcome_of([&] { return kt_serial_read(60, room, sizeof room, 20); }), failed(ETIME, ""));
    board.send(usb_node, "abc");
    EXPECT_EQ(kt_serial_read(60, room, sizeof room, 5000), 3);
    EXPECT_TRUE(is_non_blocking(fd));
}

TEST(PortSettings, Port60IsNonBlockingEvenUnderOldSettings)
{
    virtual_terminal board;
    const outcome done = outcome_of([] { return kt_serial_open(60, 115200, 4096, 0, 0); });
    const int fd = kt_serial_get_fd(60);
    EXPECT_EQ(done, failed(EINVAL, usb_lines(60, fd) + non_blocking_line));
    EXPECT_TRUE(is_non_blocking(fd));
}

TEST(PortSettings, Ports20And60AreOneLinkAndTheLaterOpenWins)
{
    virtual_terminal board;
    const auto closed = open_descriptors();
    ASSERT_EQ(open_port(60).result, 0);
    const int fd = kt_serial_get_fd(20);
    EXPECT_EQ(kt_serial_get_fd(60), fd);
    const auto opened = open_descriptors();

    EXPECT_EQ(open_port(20), (outcome{0, 0, usb_lines(20, fd)}));
    EXPECT_EQ(kt_serial_get_fd(60), fd);
    EXPECT_FALSE(is_non_blocking(fd));
    EXPECT_EQ(open_descriptors(), opened);

    EXPECT_EQ(open_port(60).result, 0);
    EXPECT_TRUE(is_non_blocking(kt_serial_get_fd(20)));
    EXPECT_EQ(open_descriptors(), opened);

    EXPECT_EQ(outcome_of([] { return kt_serial_close(20); }), (outcome{0, 0, close_line(20)}));
    EXPECT_EQ(outcome_of([] { return kt_serial_get_fd(60); }), failed(EBADF, "this serial don't init\n"));
    EXPECT_EQ(open_descriptors(), closed);

    ASSERT_EQ(open_port(20).result, 0);
    EXPECT_EQ(outcome_of([] { return kt_serial_close(60); }), (outcome{0, 0, close_line(60)}));
    EXPECT_EQ(outcome_of([] { return kt_serial_get_fd(20); }), failed(EBADF, "this serial don't init\n"));
}
