/** The ports over USB: the routes of 20 and 60, and the search of 63. */
#include "tests/serial/ports.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"

#include <gtest/gtest.h>
#include <syslog.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

void set_route(virtual_terminal& board, const std::string& route)
{
    board.attribute(route_attribute, {.text = route + "\n"});
    board.forget();
}

/** What happened to the nodes below /dev and to the debug bridge's marker: opens, and look-ups in vain. */
lines tries(virtual_terminal& board)
{
    lines found;
    for (const std::string& line : told(board, {"open", "missing"})) {
        if (line.find(" /dev/") != std::string::npos || line.find("0001.txt") != std::string::npos)
            found.push_back(line);
    }
    return found;
}

std::string route_line(const std::string& route)
{
    return "usb_route " + route + "\n";
}

std::string node_line(const std::string& node, int fd)
{
    return "open " + node + "," + std::to_string(fd) + "\n";
}

} // namespace

TEST(UsbPort, AsADeviceItIsTheGadget)
{
    for (const std::string route : {"0", "1"}) {
        virtual_terminal board;
        board.act("plug", "usb-acm");
        board.act("plug", "usb-serial");
        set_route(board, route);
        const outcome done = open_port(20);
        const int fd = kt_serial_get_fd(20);
        EXPECT_EQ(done, (outcome{0, 0, open_line(20) + route_line(route) + node_line("/dev/ttyGS0", fd)}));
        EXPECT_EQ(tries(board), (lines{"missing /kt/kt_module/0001.txt = ENOENT", "open O_RDWR /dev/ttyGS0"}));
    }
}

TEST(UsbPort, AsADeviceWithoutAGadgetItFails)
{
    virtual_terminal board;
    board.act("plug", "usb-acm");
    board.remove("/dev/ttyGS0");
    set_route(board, "1");
    for (const int port : {20, 60}) {
        EXPECT_EQ(open_port(port), failed(ENOENT, open_line(port) + route_line("1") + node_line("/dev/ttyGS0", -1) +
                                                      "KT_UART_COM20 error No such file or directory\n"));
    }
}

TEST(UsbPort, AsAHostItIsTheModemClassDevice)
{
    virtual_terminal board;
    board.act("plug", "usb-acm");
    board.act("plug", "usb-serial");
    set_route(board, "2");
    const outcome done = open_port(20);
    const int fd = kt_serial_get_fd(20);
    EXPECT_EQ(done, (outcome{0, 0, open_line(20) + route_line("2") + node_line("/dev/ttyACM0", fd)}));
    EXPECT_EQ(tries(board), lines{"open O_RDWR /dev/ttyACM0"});
}

TEST(UsbPort, AsAHostWithoutSuchADeviceItIsTheAdapter)
{
    virtual_terminal board;
    board.act("plug", "usb-serial");
    set_route(board, "2");
    const outcome done = open_port(60);
    const int fd = kt_serial_get_fd(60);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text, open_line(60) + route_line("2") + node_line("/dev/ttyACM0", -1) +
                             node_line("/dev/ttyUSB0", fd) + "KT_UART_COM60 set non blocking mode\n");
    EXPECT_EQ(tries(board), (lines{"missing /dev/ttyACM0 = ENOENT", "open O_RDWR /dev/ttyUSB0"}));
}

TEST(UsbPort, AsAHostOfNothingItTellsTheLastCause)
{
    virtual_terminal board;
    board.act("plug", "usb-acm");
    board.fail("/dev/ttyACM0", {.on = "open", .error = EBUSY});
    set_route(board, "2");
    EXPECT_EQ(open_port(20),
              failed(ENOENT, open_line(20) + route_line("2") + node_line("/dev/ttyACM0", -1) +
                                 node_line("/dev/ttyUSB0", -1) + "KT_UART_COM20 error No such file or directory\n"));
}

TEST(UsbPort, AnUnknownRouteOpensNothing)
{
    virtual_terminal board;
    for (const std::string route : {"3", "4", "-2", "2147483647"}) {
        set_route(board, route);
        EXPECT_EQ(open_port(20),
                  failed(ENODEV, open_line(20) + route_line(route) + "KT_UART_COM20 error No such device\n"));
        EXPECT_EQ(open_port(60),
                  failed(ENODEV, open_line(60) + route_line(route) + "KT_UART_COM20 error No such device\n"));
        EXPECT_EQ(tries(board), lines{});
    }
}

TEST(UsbPort, AnUnknownRouteConfiguresTheNumberOfWhatItClosed)
{
    openlog(nullptr, LOG_NDELAY, LOG_USER); // lest its socket takes the number that is closed
    for (const std::string route : {"3", "-2"}) {
        virtual_terminal board;
        set_route(board, "0");
        ASSERT_EQ(open_port(20).result, 0);
        const int fd = kt_serial_get_fd(20);
        set_route(board, route);
        const std::string log = "[ERROR] fd " + std::to_string(fd) + " tcgetattr Bad file descriptor\n";

        EXPECT_EQ(open_port(20), failed(EBADF, open_line(20) + route_line(route)));
        EXPECT_EQ(board.syslog(), log);
        EXPECT_EQ(descriptor_target(fd), "");
        EXPECT_EQ(kt_serial_get_fd(20), fd);

        board.forget();
        EXPECT_EQ(open_port(60),
                  failed(EBADF, open_line(60) + route_line(route) + "KT_UART_COM60 set non blocking mode\n"));
        EXPECT_EQ(board.syslog(), log);
        EXPECT_EQ(tries(board), lines{});

        char room[4];
        EXPECT_EQ(outcome_of([&] { return kt_serial_read(20, room, sizeof room, 10); }), failed(EBADF, ""));
        EXPECT_EQ(outcome_of([] { return kt_serial_flush(20); }), failed(EBADF, ""));

        set_route(board, "0");
        EXPECT_EQ(open_port(20).result, 0); // and it recovers
        EXPECT_EQ(kt_serial_close(20), 0);
    }
}

TEST(UsbPort, ARouteThatCannotBeReadIsADevice)
{
    virtual_terminal board;
    set_route(board, "-1"); // no different from a failure
    EXPECT_EQ(open_port(20).text.find(open_line(20) + route_line("0")), 0u);
    board.remove(route_attribute);
    const outcome done = open_port(20);
    EXPECT_EQ(done, (outcome{0, 0, open_line(20) + route_line("0") + node_line("/dev/ttyGS0", kt_serial_get_fd(20))}));
}

TEST(UsbHostPort, FindsTheFirstDeviceThatOpens)
{
    virtual_terminal board;
    board.port("/dev/ttyACM5");
    board.port("/dev/ttyACM7");
    board.forget();
    const outcome done = open_port(63);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text,
              open_line(63) + "kt_uart_usb_host_open success /dev/ttyACM5 fd=" + std::to_string(kt_serial_get_fd(63)));
    EXPECT_EQ(tries(board),
              (lines{"missing /dev/ttyACM0 = ENOENT", "missing /dev/ttyACM1 = ENOENT", "missing /dev/ttyACM2 = ENOENT",
                     "missing /dev/ttyACM3 = ENOENT", "missing /dev/ttyACM4 = ENOENT", "open O_RDWR /dev/ttyACM5"}));
}

TEST(UsbHostPort, PassesDevicesThatDoNotOpen)
{
    virtual_terminal board;
    board.port("/dev/ttyACM0");
    board.port("/dev/ttyACM31");
    board.fail("/dev/ttyACM0", {.on = "open", .error = EBUSY});
    const outcome done = open_port(63);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(done.text,
              open_line(63) + "kt_uart_usb_host_open success /dev/ttyACM31 fd=" + std::to_string(kt_serial_get_fd(63)));
}

TEST(UsbHostPort, GivesUpAfterThirtyTwo)
{
    virtual_terminal board;
    board.port("/dev/ttyACM32");
    board.forget();
    EXPECT_EQ(
        open_port(63),
        failed(ENOENT, open_line(63) + "kt_uart_usb_host_open /dev/ttyACM (0~31) No such file or directory last\n"));
    lines all;
    for (int number = 0; number < 32; ++number)
        all.push_back("missing /dev/ttyACM" + std::to_string(number) + " = ENOENT");
    EXPECT_EQ(tries(board), all);
    EXPECT_EQ(outcome_of([] { return kt_serial_get_fd(63); }), failed(EBADF, "this serial don't init\n"));
}

TEST(UsbHostPort, TellsTheLastCause)
{
    virtual_terminal board;
    board.port("/dev/ttyACM31");
    board.fail("/dev/ttyACM31", {.on = "open", .error = EACCES});
    EXPECT_EQ(open_port(63),
              failed(EACCES, open_line(63) + "kt_uart_usb_host_open /dev/ttyACM (0~31) Permission denied last\n"));
}
