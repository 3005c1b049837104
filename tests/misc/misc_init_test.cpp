/** Misc initialisation: the USB route and the kernel's tuning. */
#include <kt_driver/misc.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

TEST(MiscInit, ReadsTheUsbRouteThenTunesTheKernel)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "usb_route", {.text = "1\n"});
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_misc_init(); }), "usb route 1\n");

    EXPECT_EQ(result, 0);
    EXPECT_EQ(told(board, {"read", "shell", "write"}), (lines{
                                                           "read /sys/class/kt_misc/ioctl/usb_route 1\n",
                                                           "shell echo 5  > /proc/sys/vm/dirty_background_ratio",
                                                           "write /proc/sys/vm/dirty_background_ratio 5\n",
                                                           "shell echo 10 >  /proc/sys/vm/dirty_ratio",
                                                           "write /proc/sys/vm/dirty_ratio 10\n",
                                                           "shell echo 0 > /proc/sys/kernel/hung_task_timeout_secs",
                                                           "write /proc/sys/kernel/hung_task_timeout_secs 0\n",
                                                       }));
    EXPECT_EQ(board.text("/proc/sys/vm/dirty_background_ratio"), "5\n");
    EXPECT_EQ(board.text("/proc/sys/vm/dirty_ratio"), "10\n");
    EXPECT_EQ(board.text("/proc/sys/kernel/hung_task_timeout_secs"), "0\n");
}

TEST(MiscInit, PrintsWhateverTheRouteIs)
{
    const struct {
        const char* text;
        const char* line;
    } rows[] = {
        {"0\n", "usb route 0\n"},
        {"2\n", "usb route 2\n"},
        {"4294967294\n", "usb route -2\n"},
        {"", "usb route 0\n"},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        board.attribute(KT_IOCTL_DIR "usb_route", {.text = row.text});
        EXPECT_EQ(printed([] { kt_misc_init(); }), row.line) << row.text;
    }
}

TEST(MiscInit, AMissingRouteIsMinusOneAndTheRestGoesOn)
{
    virtual_terminal board;
    board.remove(KT_IOCTL_DIR "usb_route");
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_misc_init(); }), "usb route -1\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(board.syslog(),
              "kt_sys_attr_get_int stat /sys/class/kt_misc/ioctl/usb_route No such file or directory\n");
    EXPECT_EQ(board.commands().size(), 3u);
}

TEST(MiscInit, RefusedTuningIsIgnored)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "usb_route", {.text = "0\n"});
    board.fail("/proc/sys/vm/*", {.on = "write", .error = EINVAL});
    board.forget();
    int result = -1;
    EXPECT_EQ(printed([&] { result = kt_misc_init(); }), "usb route 0\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(board.commands().size(), 3u);
    EXPECT_EQ(board.writes("/proc/sys/kernel/hung_task_timeout_secs"), lines{"0\n"});
}
