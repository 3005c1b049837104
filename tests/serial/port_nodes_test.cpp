/** Opening ports: which node, with which flags and settings, what is printed, and what a failure leaves. */
#include "tests/serial/line_requests.h"
#include "tests/serial/ports.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <kt_driver/base.h>
#include <limits>
#include <termios.h>
#include <unistd.h>

using namespace kt::tests;
using kt::terminal::terminal_error;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

const std::string read_route = "open O_RDWR " KT_IOCTL_DIR "usb_route";

/** A board of that hardware version, with that node alone of all those that ports may open. */
void prepare(virtual_terminal& board, const char* version, const std::string& node)
{
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = std::string(version) + "\n", .mode = 0444});
    kt_base_init();
    for (const char* each : {"/dev/sp_uart0", "/dev/ttyS4", "/dev/ttyS5", "/dev/ttyGS0", "/dev/ttyUSB0", "/dev/ttyUSB1",
                             "/dev/ttyACM0", "/dev/chn"}) {
        try {
            board.remove(each);
        } catch (const terminal_error&) { // this board has none
        }
    }
    if (!node.empty())
        board.port(node);
    board.forget();
}

struct row {
    int port;
    const char* version;
    const char* node;
    const char* before; /**< What is printed between the trace line and the descriptor's number. */
    const char* after;
    const char* failure;
};
const row rows[] = {
    {20, "500", "/dev/ttyGS0", "usb_route 0\nopen /dev/ttyGS0,", "\n",
     "usb_route 0\nopen /dev/ttyGS0,-1\nKT_UART_COM20 error No such file or directory\n"},
    {21, "500", "/dev/chn/3", "KT_UART_COM21 uart_gsm_fd=", "\n", "KT_UART_COM21 error No such file or directory\n"},
    {25, "500", "/dev/ttyS5", nullptr, "", "kt_uart_usb_open error No such file or directory\n"},
    {25, "300", "/dev/ttyS5", nullptr, "", "kt_uart_usb_open error No such file or directory\n"},
    {25, "50", "/dev/ttyS5", nullptr, "", "kt_uart_usb_open error No such file or directory\n"},
    {26, "500", "/dev/sp_uart0", nullptr, "", "kt_uart_usb_open error No such file or directory\n"},
    {26, "300", "/dev/sp_uart0", nullptr, "", "kt_uart_usb_open error No such file or directory\n"},
    {27, "500", "/dev/ttyS4", "uart_gps_fd =", "\n",
     "uart_gps_fd =-1\nkt_uart_usb_open uart gps error No such file or directory\n"},
    {27, "300", "/dev/ttyS5", "uart_gps_fd =", "\n",
     "uart_gps_fd =-1\nkt_uart_usb_open uart gps error No such file or directory\n"},
    {27, "50", "/dev/ttyS4", "uart_gps_fd =", "\n",
     "uart_gps_fd =-1\nkt_uart_usb_open uart gps error No such file or directory\n"},
    {27, "301", "/dev/ttyS4", "uart_gps_fd =", "\n",
     "uart_gps_fd =-1\nkt_uart_usb_open uart gps error No such file or directory\n"},
    {61, "500", "/dev/ttyUSB0", nullptr, "", "kt_uart_usb_open error No such file or directory\n"},
    {61, "50", "/dev/ttyUSB0", nullptr, "", "kt_uart_usb_open error No such file or directory\n"},
    {62, "500", "/dev/ttyUSB1", nullptr, "", "kt_uart_usb_open error No such file or directory\n"},
    {62, "300", "/dev/ttyUSB1", nullptr, "", "kt_uart_usb_open error No such file or directory\n"},
    {62, "0", "/dev/ttyUSB1", nullptr, "", "kt_uart_usb_open error No such file or directory\n"},
    {62, "50", "/dev/ttyS4", nullptr, "", "kt_uart_usb_open error No such file or directory\n"},
    {63, "500", "/dev/ttyACM0", "kt_uart_usb_host_open success /dev/ttyACM0 fd=", "",
     "kt_uart_usb_host_open /dev/ttyACM (0~31) No such file or directory last\n"},
};

class PortNodes : public testing::TestWithParam<row> {};

} // namespace

TEST_P(PortNodes, IsOpenedForReadingAndWritingWithNoOtherFlags)
{
    const row& expected = GetParam();
    virtual_terminal board;
    prepare(board, expected.version, expected.node);

    const outcome done = open_port(expected.port);
    const int fd = kt_serial_get_fd(expected.port);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(done.result, 0);
    std::string text = open_line(expected.port);
    if (expected.before != nullptr)
        text += expected.before + std::to_string(fd) + expected.after;
    EXPECT_EQ(done.text, text);
    EXPECT_EQ(descriptor_target(fd), expected.node);

    lines opened;
    for (const std::string& line : doings(board)) {
        if (line.find("/dev/") != std::string::npos)
            opened.push_back(line);
    }
    EXPECT_EQ(opened, lines{"open O_RDWR " + std::string(expected.node)});
    EXPECT_EQ(board.last_open(expected.node).flags, "O_RDWR");
    EXPECT_EQ(doings(board).at(0), read_route);
    EXPECT_EQ(fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDWR);
}

TEST_P(PortNodes, ThatIsMissingIsToldAndLeavesThePortClosed)
{
    const row& expected = GetParam();
    virtual_terminal board;
    prepare(board, expected.version, "");
    const auto before = open_descriptors();
    EXPECT_EQ(open_port(expected.port), failed(ENOENT, open_line(expected.port) + expected.failure));
    EXPECT_EQ(outcome_of([&] { return kt_serial_get_fd(expected.port); }), failed(EBADF, "this serial don't init\n"));
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(PortNodes, ThatIsOpenIsClosedBeforeItIsOpenedAnew)
{
    const row& expected = GetParam();
    virtual_terminal board;
    prepare(board, expected.version, expected.node);
    ASSERT_EQ(open_port(expected.port).result, 0);
    const int first = kt_serial_get_fd(expected.port);
    const auto before = open_descriptors();
    const outcome again = open_port(expected.port);
    EXPECT_EQ(again.result, 0);
    EXPECT_EQ(kt_serial_get_fd(expected.port), first); // its number was free again
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(opens_of(board, expected.node), 2);

    board.fail(expected.node, {.on = "open", .error = EACCES});
    EXPECT_EQ(open_port(expected.port).result, -1);
    EXPECT_EQ(descriptor_target(first), ""); // closed, though nothing took its place
    EXPECT_EQ(outcome_of([&] { return kt_serial_get_fd(expected.port); }), failed(EBADF, "this serial don't init\n"));
}

INSTANTIATE_TEST_SUITE_P(Each, PortNodes, testing::ValuesIn(rows), [](const testing::TestParamInfo<row>& shown) {
    return "Port" + std::to_string(shown.param.port) + "OfVersion" + shown.param.version;
});

TEST(PortOpen, ConfiguresARawLocalLineAndDiscardsWhatWaits)
{
    virtual_terminal board;
    const int other = open(processor_node, O_RDWR | O_NOCTTY); // keeps the line up, so that bytes can wait
    ASSERT_GE(other, 0);
    ASSERT_EQ(tcflush(other, TCIFLUSH), 0);
    board.send(processor_node, "stale\n");
    board.forget();
    EXPECT_EQ(outcome_of([] { return kt_serial_open(26, 19200, 0, 8192, 1536); }), (outcome{0, 0, open_line(26)}));

    EXPECT_EQ(
        line_requests(board, processor_node),
        (lines{"TCGETS", "TIOCMGET DTR RTS CTS CD DSR", "TIOCMSET DTR RTS CTS CD DSR", "TCSETS", "TCFLSH TCIFLUSH"}));
    const line_settings now = settings_of(kt_serial_get_fd(26));
    EXPECT_EQ(now.control, static_cast<unsigned>(B19200 | CS8 | CSTOPB | PARENB | PARODD | CREAD | CLOCAL | HUPCL));
    EXPECT_EQ(now.input, static_cast<unsigned>(IGNPAR | INPCK | IGNBRK));
    EXPECT_EQ(now.characters.at(VMIN), 1);
    EXPECT_EQ(now.characters.at(VTIME), 0);
    EXPECT_EQ(board.line(processor_node).waiting, 0);
    close(other);
}

TEST(PortOpen, EachParityAndStopBitHasItsValue)
{
    virtual_terminal board;
    const struct {
        int stopbits, parity;
        unsigned stop_bits;
        char letter;
    } all[] = {{0, 0, 1, 'N'},    {0, 1024, 1, 'E'},    {0, 1536, 1, 'O'},
               {8192, 0, 2, 'N'}, {8192, 1024, 2, 'E'}, {8192, 1536, 2, 'O'}};
    for (const auto& [stopbits, parity, stop_bits, letter] : all) {
        EXPECT_EQ(kt_serial_open(26, 57600, 0, stopbits, parity), 0);
        EXPECT_EQ(
            board.line(processor_node).near,
            (kt::terminal::line_framing{.speed = 57600, .data_bits = 8, .parity = letter, .stop_bits = stop_bits}));
    }
}

TEST(PortOpen, ValuesThatAreNotInTheTableAreRefusedBeforeAnyDevice)
{
    virtual_terminal board;
    const struct {
        int databits, stopbits, parity;
    } wrong[] = {{8, 0, 0},    {7, 0, 0},    {9, 0, 0},    {4095, 0, 0},    {8192, 0, 0}, {-1, 0, 0},   {0, 1, 0},
                 {0, 2, 0},    {0, 4096, 0}, {0, 8191, 0}, {0, -1, 0},      {0, 0, 1},    {0, 0, 2},    {0, 0, 512},
                 {0, 0, 2560}, {0, 0, 1535}, {0, 0, -1},   {4096, 8192, 1}, {1024, 0, 0}, {0, 1536, 0}, {0, 0, 8192}};
    for (const int port : {26, 20, 21, 63, 99}) {
        for (const auto& [databits, stopbits, parity] : wrong) {
            board.forget();
            EXPECT_EQ(outcome_of([&] { return kt_serial_open(port, 115200, databits, stopbits, parity); }),
                      failed(EINVAL, open_line(port) + "params error\n"))
                << databits << ' ' << stopbits << ' ' << parity;
            EXPECT_EQ(doings(board), lines{read_route});
        }
    }
}

TEST(PortOpen, ARefusedValueLeavesAnOpenPortAlone)
{
    virtual_terminal board;
    ASSERT_EQ(open_port(26).result, 0);
    const int fd = kt_serial_get_fd(26);
    board.forget();
    EXPECT_EQ(outcome_of([] { return kt_serial_open(26, 9600, 0, 0, 1); }).result, -1);
    EXPECT_EQ(kt_serial_get_fd(26), fd);
    EXPECT_EQ(line_requests(board, processor_node), lines{});
}

TEST(PortOpen, UnknownPortsOpenNothing)
{
    virtual_terminal board;
    for (const int port : {0, 1, 19, 22, 23, 24, 28, 59, 64, 255, -1, -20, 256 + 26, std::numeric_limits<int>::max(),
                           std::numeric_limits<int>::min()}) {
        board.forget();
        EXPECT_EQ(open_port(port), failed(EINVAL, open_line(port) + "kt_uart_open error no this com\n"));
        EXPECT_EQ(doings(board), lines{read_route});
    }
}

TEST(PortOpen, OtherCausesOfAFailedOpenAreTold)
{
    virtual_terminal board;
    board.fail(processor_node, {.on = "open", .error = EBUSY});
    EXPECT_EQ(open_port(26), failed(EBUSY, open_line(26) + "kt_uart_usb_open error Device or resource busy\n"));
    board.fail("/dev/ttyS4", {.on = "open", .error = EACCES});
    EXPECT_EQ(open_port(27), failed(EACCES, open_line(27) + "uart_gps_fd =-1\nkt_uart_usb_open uart gps error "
                                                            "Permission denied\n"));
}
