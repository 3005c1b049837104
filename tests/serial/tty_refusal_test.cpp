/** kt_tty_control: what it refuses, how it tells, and that the line stays as it was; and the lines of a modem. */
#include <kt_driver/tty.h>

#include "tests/serial/line_requests.h"
#include "tests/support/captured_stdout.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits>
#include <syslog.h>
#include <unistd.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* node = "/dev/sp_uart0";

class TtyControlRefusal : public testing::Test {
protected:
    void SetUp() override
    {
        openlog(nullptr, LOG_NDELAY, LOG_USER); // lest its socket takes the number of a descriptor that is closed here
        fd = open(node, O_RDWR | O_NOCTTY);
        ASSERT_GE(fd, 0);
        board.forget();
        params.baudrate = 115200;
        params.paritymode = "odd";
        params.timeout_ms = -1;
        params.cread = 1;
        params.databits = 7;
        params.stopbits = 2;
        ASSERT_EQ(kt_tty_control(fd, KT_TTY_SET_PARAMS, &params), 0);
        before = settings_of(fd);
        passing = requests_before_set(board, node);
        board.send(node, "waiting");
        board.forget();
        // The refused records ask for something else altogether.
        params = {};
        params.baudrate = 9600;
        params.databits = 8;
        params.stopbits = 1;
        params.drop_dtr = 1;
    }
    void TearDown() override { close(fd); }

    /** The call fails with this, says so in the log only, and asks the line for its settings alone. */
    void expect_refusal(int cmd, kt_tty_params* record, int cause, const std::string& text)
    {
        SCOPED_TRACE(text);
        board.forget();
        int result = 0;
        int left = 0;
        const std::string said = printed([&] {
            errno = 0;
            result = kt_tty_control(fd, cmd, record);
            left = errno;
        });
        EXPECT_EQ(result, -1);
        EXPECT_EQ(left, cause);
        EXPECT_EQ(said, "");
        EXPECT_EQ(board.syslog(), text);
        for (const auto& told : board.events_of({"syslog"}))
            EXPECT_EQ(told.priority, LOG_ERR);
        EXPECT_EQ(line_requests(board, node), lines{"TCGETS"});
        EXPECT_EQ(settings_of(fd), before);
        const auto line = board.line(node);
        EXPECT_TRUE(line.dtr);
        EXPECT_EQ(line.waiting, 7);
    }
    void expect_refusal(int cause, const std::string& text) { expect_refusal(KT_TTY_SET_PARAMS, &params, cause, text); }

    virtual_terminal board;
    kt_tty_params params{};
    line_settings before;
    int fd = -1;
    int passing = 0; /**< Requests of a call before it sets the line. */
};

} // namespace

TEST_F(TtyControlRefusal, OfARateThatIsNotInTheTable)
{
    for (const int rate : {115201, 115199, 1, 49, 12345, 14400, 128000, 256000, 4000001, 2147483647, -1, -115200}) {
        params.baudrate = rate;
        expect_refusal(EINVAL, "[ERROR] kt_tty_control baudrate " + std::to_string(rate) + "\n");
    }
}

TEST_F(TtyControlRefusal, OfASizeOtherThanFiveToEight)
{
    for (const int size : {0, 1, 4, 9, 16, 255}) {
        params.databits = static_cast<std::uint8_t>(size);
        expect_refusal(EINVAL, "[ERROR] kt_tty_control databits " + std::to_string(size) + "\n");
    }
}

TEST_F(TtyControlRefusal, OfStopBitsOtherThanOneAndTwo)
{
    for (const int count : {0, 3, 15, 255}) {
        params.stopbits = static_cast<std::uint8_t>(count);
        expect_refusal(EINVAL, "[ERROR] kt_tty_control stopbits " + std::to_string(count) + "\n");
    }
}

TEST_F(TtyControlRefusal, OfAnUnknownParity)
{
    for (const char* const mode : {"mark", "space", "", "eve", "even ", "oddly", "n", "%s"}) {
        params.paritymode = mode;
        expect_refusal(EINVAL, "[ERROR] kt_tty_control paritymode " + std::string(mode) + "\n");
    }
}

TEST_F(TtyControlRefusal, TellsTheFirstOfSeveralFaults)
{
    params.baudrate = 7;
    params.databits = 9;
    params.stopbits = 3;
    params.paritymode = "mark";
    expect_refusal(EINVAL, "[ERROR] kt_tty_control baudrate 7\n");
    params.baudrate = 9600;
    expect_refusal(EINVAL, "[ERROR] kt_tty_control databits 9\n");
    params.databits = 8;
    expect_refusal(EINVAL, "[ERROR] kt_tty_control stopbits 3\n");
    params.stopbits = 1;
    expect_refusal(EINVAL, "[ERROR] kt_tty_control paritymode mark\n");
}

TEST_F(TtyControlRefusal, OfReadingTheParameters)
{
    expect_refusal(KT_TTY_GET_PARAMS, &params, ENOSYS, "[ERROR] kt_tty_control GETPARAMS Not yet implemented\n");
    expect_refusal(KT_TTY_GET_PARAMS, nullptr, ENOSYS, "[ERROR] kt_tty_control GETPARAMS Not yet implemented\n");
}

TEST_F(TtyControlRefusal, OfAnUnknownCommand)
{
    for (const int cmd : {2, 3, -1, 256, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        const std::string text = "[ERROR] kt_tty_control Unknow cmd " + std::to_string(cmd) + "\n";
        expect_refusal(cmd, &params, EINVAL, text);
        expect_refusal(cmd, nullptr, EINVAL, text);
    }
}

TEST_F(TtyControlRefusal, OfNoRecordIsSilent)
{
    expect_refusal(KT_TTY_SET_PARAMS, nullptr, EINVAL, "");
}

TEST_F(TtyControlRefusal, OfADescriptorIsToldWhateverTheCommand)
{
    const int closed = dup(fd);
    close(closed);
    for (const int number : {closed, -1}) {
        for (const int cmd : {0, 1, 2, -7}) {
            board.forget();
            errno = 0;
            EXPECT_EQ(kt_tty_control(number, cmd, cmd == 1 ? nullptr : &params), -1);
            EXPECT_EQ(errno, EBADF);
            EXPECT_EQ(board.syslog(), "[ERROR] fd " + std::to_string(number) + " tcgetattr Bad file descriptor\n");
            EXPECT_EQ(board.events_of({"syslog"}).at(0).priority, LOG_ERR);
        }
    }
}

TEST_F(TtyControlRefusal, OfWhatIsNoLine)
{
    const int other = open("/dev/null", O_RDWR);
    board.forget();
    errno = 0;
    EXPECT_EQ(kt_tty_control(other, KT_TTY_SET_PARAMS, &params), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(board.syslog(), "[ERROR] fd " + std::to_string(other) + " tcgetattr Inappropriate ioctl for device\n");
    close(other);
}

TEST_F(TtyControlRefusal, OfALineWhoseSettingsCannotBeRead)
{
    board.fail(node, {.on = "ioctl", .error = EIO, .times = 1});
    errno = 0;
    EXPECT_EQ(kt_tty_control(fd, KT_TTY_SET_PARAMS, &params), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(board.syslog(), "[ERROR] fd " + std::to_string(fd) + " tcgetattr Input/output error\n");
    EXPECT_EQ(line_requests(board, node), lines{"TCGETS = EIO"});
    EXPECT_EQ(settings_of(fd), before);
}

TEST_F(TtyControlRefusal, ByTheLineIsTheResultWithoutAMessage)
{
    board.fail(node, {.on = "ioctl", .error = EIO, .skip = passing, .times = 1});
    errno = 0;
    EXPECT_EQ(kt_tty_control(fd, KT_TTY_SET_PARAMS, &params), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(board.syslog(), "");
    EXPECT_EQ(line_requests(board, node),
              (lines{"TCGETS", "TIOCMGET DTR RTS CTS CD DSR", "TIOCMSET RTS CTS CD DSR", "TCSETS = EIO"}));
    EXPECT_EQ(settings_of(fd), before);
}

TEST_F(TtyControlRefusal, DoesNotComeFromTheLinesOfAModem)
{
    board.fail(node, {.on = "ioctl", .error = EIO, .skip = 1, .times = 2});
    errno = 0;
    EXPECT_EQ(kt_tty_control(fd, KT_TTY_SET_PARAMS, &params), 0);
    EXPECT_EQ(line_requests(board, node), (lines{"TCGETS", "TIOCMGET = EIO", "TIOCMSET = EIO", "TCSETS"}));
    EXPECT_NE(settings_of(fd), before);
    EXPECT_TRUE(board.line(node).dtr);
    EXPECT_EQ(board.syslog(), "");
}

TEST_F(TtyControlRefusal, OfTheModemsLinesToBeReadLeavesDtrToBeSetAlone)
{
    board.fail(node, {.on = "ioctl", .error = EIO, .skip = 1, .times = 1});
    params.drop_dtr = 0;
    EXPECT_EQ(kt_tty_control(fd, KT_TTY_SET_PARAMS, &params), 0);
    EXPECT_EQ(line_requests(board, node), (lines{"TCGETS", "TIOCMGET = EIO", "TIOCMSET DTR", "TCSETS"}));
    EXPECT_TRUE(board.line(node).dtr);
    EXPECT_FALSE(board.line(node).rts);
}

TEST_F(TtyControlRefusal, OfTheModemsLinesToBeReadLeavesNoneToBeSetWhenDtrFalls)
{
    board.fail(node, {.on = "ioctl", .error = EIO, .skip = 1, .times = 1});
    params.drop_dtr = 1;
    EXPECT_EQ(kt_tty_control(fd, KT_TTY_SET_PARAMS, &params), 0);
    EXPECT_EQ(line_requests(board, node), (lines{"TCGETS", "TIOCMGET = EIO", "TIOCMSET", "TCSETS"}));
    EXPECT_FALSE(board.line(node).dtr);
}
