/** The causes of failures, where what is printed about them cannot be printed. */
#include "tests/serial/ports.h"
#include "tests/support/failing_stdout.h"

#include "terminal/client/virtual_terminal.h"

#include <cerrno>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

constexpr const char* place = KT_IOCTL_DIR "small";

char room[8];

struct row {
    const char* what;
    int cause;
    int (*call)();
};
const row rows[] = {
    {"sys_read of nothing", EINVAL, [] { return sys_read(nullptr, room, 8); }},
    {"sys_read, open", ENOENT, [] { return sys_read("/mnt/data/none", room, 8); }},
    {"sys_read, read", EIO, [] { return sys_read(place, room, 8); }},
    {"sys_write of nothing", EINVAL, [] { return sys_write(place, nullptr); }},
    {"sys_write, open", ENOENT, [] { return sys_write("/mnt/data/none", "x"); }},
    {"sys_write, write", EBUSY, [] { return sys_write(place, "x"); }},
    {"port 20", ENOENT, [] { return kt_serial_open(20, 115200, 0, 0, 0); }},
    {"port 60", ENOENT, [] { return kt_serial_open(60, 115200, 0, 0, 0); }},
    {"port 21", EIO, [] { return kt_serial_open(21, 115200, 0, 0, 0); }},
    {"port 26", EACCES, [] { return kt_serial_open(26, 115200, 0, 0, 0); }},
    {"port 27", EPERM, [] { return kt_serial_open(27, 115200, 0, 0, 0); }},
    {"port 62", ENOENT, [] { return kt_serial_open(62, 115200, 0, 0, 0); }},
    {"port 63", ENOENT, [] { return kt_serial_open(63, 115200, 0, 0, 0); }},
    {"an unknown port", EINVAL, [] { return kt_serial_open(99, 115200, 0, 0, 0); }},
    {"an unknown value", EINVAL, [] { return kt_serial_open(26, 115200, 8, 0, 0); }},
    {"a closed port, close", EBADF, [] { return kt_serial_close(26); }},
    {"a closed port, read", EBADF, [] { return kt_serial_read(26, room, 8, 0); }},
    {"an unknown port, close", EINVAL, [] { return kt_serial_close(99); }},
};

/** A board where all of these fail as they say. */
void prepare(virtual_terminal& board)
{
    board.attribute(place, {.text = "on\n"});
    board.fail(place, {.on = "read", .error = EIO});
    board.fail(place, {.on = "write", .error = EBUSY});
    board.remove("/dev/ttyGS0");
    if (board.exchange(R"({"op":"get","path":"/dev/chn/3"})").find("does not exist") != std::string::npos)
        board.port("/dev/chn/3");
    board.fail("/dev/chn/3", {.on = "open", .error = EIO});
    board.fail(processor_node, {.on = "open", .error = EACCES});
    board.fail("/dev/ttyS4", {.on = "open", .error = EPERM});
}

} // namespace

TEST(SerialErrno, SurvivesPrintsThatFail)
{
    virtual_terminal board;
    prepare(board);
    for (const row& expected : rows) {
        int result = 0;
        int cause = 0;
        {
            const failing_stdout nowhere;
            errno = 0;
            result = expected.call();
            cause = errno;
        }
        EXPECT_EQ(result, -1) << expected.what;
        EXPECT_EQ(cause, expected.cause) << expected.what;
    }
}

TEST(SerialErrno, OfRefusedSettingsSurvivesPort60sPrint)
{
    virtual_terminal board;
    int result = 0;
    int cause = 0;
    {
        const failing_stdout nowhere;
        errno = 0;
        result = kt_serial_open(60, 115200, 4096, 0, 0);
        cause = errno;
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(cause, EINVAL);
}
