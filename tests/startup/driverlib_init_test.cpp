/** Start-up: its steps, their order, and that nothing stops it. */
#include <kt_driver/kt_driver.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

void prepare(virtual_terminal& board)
{
    board.attribute(KT_SYSINFO_DIR "ubootver", {.text = "U1\n", .mode = 0444});
    board.attribute(KT_SYSINFO_DIR "kernelver", {.text = "K2\n", .mode = 0444});
    board.attribute(KT_SYSINFO_DIR "rootfsver", {.text = "R3\nbuilt today\n", .mode = 0444});
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = "90\n", .mode = 0444});
    board.attribute(KT_SYSINFO_DIR "wifimodule", {.text = "2\n", .mode = 0444});
    board.attribute(KT_IOCTL_DIR "usb_route", {.text = "1\n"});
    board.forget();
}

/** The steps that reach the board, in order. */
const lines steps = {
    "open O_RDONLY /sys/class/kt_misc/sysinfo/ubootver",
    "open O_RDONLY /sys/class/kt_misc/sysinfo/kernelver",
    "open O_RDONLY /sys/class/kt_misc/sysinfo/rootfsver",
    "open O_RDONLY /sys/class/kt_misc/sysinfo/hardwarever",
    "open O_RDONLY /sys/class/kt_misc/sysinfo/wifimodule",
    "open O_RDWR /sys/class/kt_misc/ioctl/usb_route",
    "shell echo 5  > /proc/sys/vm/dirty_background_ratio",
    "write /proc/sys/vm/dirty_background_ratio 5\n",
    "shell echo 10 >  /proc/sys/vm/dirty_ratio",
    "write /proc/sys/vm/dirty_ratio 10\n",
    "shell echo 0 > /proc/sys/kernel/hung_task_timeout_secs",
    "write /proc/sys/kernel/hung_task_timeout_secs 0\n",
};

/** The steps that the board saw; what a shell opens for its redirects is left out. */
lines steps_seen(virtual_terminal& board)
{
    lines seen = told(board, {"open", "shell", "write", "program", "syslog"});
    std::erase_if(seen, [](const std::string& line) {
        return line.starts_with("open ") && line.find(" /proc/sys/") != std::string::npos;
    });
    return seen;
}

void (*handler_of(int number))(int)
{
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    return action.sa_handler;
}

} // namespace

TEST(DriverlibInit, RunsItsStepsInOrder)
{
    virtual_terminal board;
    prepare(board);
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_driverlib_init(); }), "usb route 1\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(steps_seen(board), steps);
}

TEST(DriverlibInit, TheBoardIsKnownAfterwards)
{
    virtual_terminal board;
    prepare(board);
    printed([] { kt_driverlib_init(); });
    EXPECT_EQ(kt_hardware_ver(), 90);
    EXPECT_EQ(kt_wifimodule_ver(), 2);
    EXPECT_STREQ(kt_hal_ver(), "K2");
    EXPECT_STREQ(kt_fatfs_ver(), "R3");
    EXPECT_EQ(kt_get_device_type(), 92);
    EXPECT_EQ(kt_usb_mode(1), 1); // the route that was read
}

TEST(DriverlibInit, ASecondCallRepeatsEveryStep)
{
    virtual_terminal board;
    prepare(board);
    printed([] { kt_driverlib_init(); });
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = "300\n", .mode = 0444});
    board.attribute(KT_IOCTL_DIR "usb_route", {.text = "0\n"});
    signal(SIGPIPE, SIG_DFL);
    const std::set<int> before = open_descriptors();
    board.forget();

    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_driverlib_init(); }), "usb route 0\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(steps_seen(board), steps);
    EXPECT_EQ(kt_hardware_ver(), 300);
    EXPECT_EQ(kt_usb_mode(0), 0);
    EXPECT_EQ(handler_of(SIGPIPE), SIG_IGN);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(DriverlibInit, AClosedPipeIsAnErrorAndNoEnd)
{
    signal(SIGPIPE, SIG_DFL);
    printed([] { kt_driverlib_init(); });
    EXPECT_EQ(handler_of(SIGPIPE), SIG_IGN);

    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    EXPECT_EQ(write(ends[1], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
    close(ends[1]);
}

TEST(DriverlibInit, ThePartsOfStartUpLeaveTheSignalAlone)
{
    signal(SIGPIPE, SIG_DFL);
    printed([] {
        kt_base_init();
        kt_misc_init();
        kt_srand_init();
    });
    EXPECT_EQ(handler_of(SIGPIPE), SIG_DFL);
}

TEST(DriverlibInit, ABareBoardStartsAllTheSame)
{
    virtual_terminal board;
    board.remove("/sys/class/kt_misc");
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_driverlib_init(); }), "usb route -1\n");
    EXPECT_EQ(result, 0);

    const std::string end = " No such file or directory\n";
    EXPECT_EQ(told(board, {"syslog", "shell"}),
              (lines{
                  "syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/ubootver" + end,
                  "syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/kernelver" + end,
                  "syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/rootfsver" + end,
                  "syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/hardwarever" + end,
                  "syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/wifimodule" + end,
                  "syslog 3 kt_sys_attr_get_int stat /sys/class/kt_misc/ioctl/usb_route" + end,
                  "shell echo 5  > /proc/sys/vm/dirty_background_ratio",
                  "shell echo 10 >  /proc/sys/vm/dirty_ratio",
                  "shell echo 0 > /proc/sys/kernel/hung_task_timeout_secs",
              }));
    EXPECT_EQ(handler_of(SIGPIPE), SIG_IGN);
}

TEST(DriverlibInit, ItsLineComesOutBetweenWhatTheCallerPrints)
{
    virtual_terminal board;
    prepare(board);
    EXPECT_EQ(printed([] {
                  std::fputs("before\n", stdout);
                  kt_driverlib_init();
                  std::fputs("after\n", stdout);
              }),
              "before\nusb route 1\nafter\n");
}
