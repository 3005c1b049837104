/** One access to an attribute: its path, its open flags, its bytes. */
#include <kt_driver/base.h>

#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace kt::tests;
using kt::terminal::event;
using kt::terminal::open_flags;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* path = KT_IOCTL_DIR "tried";

} // namespace

TEST(Attribute, APathIsDirectoryAndNameAndNothingBetween)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "usb_route", {.text = "1\n"});
    board.forget();

    EXPECT_EQ(kt_sys_attr_get_int(KT_IOCTL_DIR, "usb_route"), 1);
    EXPECT_EQ(kt_sys_attr_get_int("/sys/class/kt_misc/", "ioctl/usb_route"), 1);
    EXPECT_EQ(kt_sys_attr_get_int("", KT_IOCTL_DIR "usb_route"), 1);
    EXPECT_EQ(opens_of(board, KT_IOCTL_DIR "usb_route"), 3);

    EXPECT_EQ(kt_sys_attr_get_int("/sys/class/kt_misc/ioctl", "usb_route"), -1);
    EXPECT_EQ(board.syslog(), "kt_sys_attr_get_int stat /sys/class/kt_misc/ioctlusb_route No such file or directory\n");
}

TEST(Attribute, OpenFlagsFollowTheOwnersBits)
{
    const struct {
        std::uint32_t mode;
        int flags;
    } rows[] = {
        {0600, O_RDWR},   {0400, O_RDONLY}, {0200, O_WRONLY}, {0444, O_RDONLY}, {0644, O_RDWR},   {0222, O_WRONLY},
        {0664, O_RDWR},   {0666, O_RDWR},   {0440, O_RDONLY}, {0220, O_WRONLY}, {0640, O_RDWR},   {0755, O_RDWR},
        {0500, O_RDONLY}, {0300, O_WRONLY}, {0466, O_RDONLY}, {0244, O_WRONLY}, {0044, O_RDONLY}, {0066, O_RDONLY},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        board.attribute(path, {.text = "7\n", .mode = row.mode});

        board.forget();
        EXPECT_EQ(kt_sys_attr_get_int(KT_IOCTL_DIR, "tried"), row.flags == O_WRONLY ? -1 : 7) << std::oct << row.mode;
        EXPECT_EQ(open_flags(board.last_open(path)), row.flags) << std::oct << row.mode;
        EXPECT_EQ(opens_of(board, path), 1) << std::oct << row.mode;

        board.forget();
        const int written = row.flags == O_RDONLY ? -1 : 0;
        EXPECT_EQ(kt_sys_attr_set_int(KT_IOCTL_DIR, "tried", 7), written) << std::oct << row.mode;
        EXPECT_EQ(open_flags(board.last_open(path)), row.flags) << std::oct << row.mode;
        EXPECT_EQ(opens_of(board, path), 1) << std::oct << row.mode;
    }
}

TEST(Attribute, AllFourFunctionsOpenTheSameWay)
{
    virtual_terminal board;
    board.attribute(path, {.text = "7\n", .mode = 0644});
    char text[8] = {};
    unsigned int length = sizeof(text);

    board.forget();
    kt_sys_attr_get_int(KT_IOCTL_DIR, "tried");
    kt_sys_attr_get_string(KT_IOCTL_DIR, "tried", text, &length);
    kt_sys_attr_set_int(KT_IOCTL_DIR, "tried", 8);
    kt_sys_attr_set_string(KT_IOCTL_DIR, "tried", "9");

    EXPECT_EQ(doings(board), (lines{
                                 "open O_RDWR /sys/class/kt_misc/ioctl/tried",
                                 "open O_RDWR /sys/class/kt_misc/ioctl/tried",
                                 "open O_RDWR /sys/class/kt_misc/ioctl/tried",
                                 "write /sys/class/kt_misc/ioctl/tried 0x8",
                                 "open O_RDWR /sys/class/kt_misc/ioctl/tried",
                                 "write /sys/class/kt_misc/ioctl/tried 9",
                             }));
}

TEST(Attribute, IsReadOnceForOnePageFromItsStart)
{
    virtual_terminal board;
    board.attribute(path, {.text = "12\n"});
    char text[8] = {};
    unsigned int length = sizeof(text);

    board.forget();
    kt_sys_attr_get_int(KT_IOCTL_DIR, "tried");
    kt_sys_attr_get_string(KT_IOCTL_DIR, "tried", text, &length);

    const std::vector<event> reads = board.events_of({"read"});
    ASSERT_EQ(reads.size(), 2u);
    for (const event& read : reads) {
        EXPECT_EQ(read.path, path);
        EXPECT_EQ(read.size, static_cast<std::uint64_t>(getpagesize()));
        EXPECT_EQ(read.offset, 0u);
        EXPECT_EQ(read.data, "12\n");
    }
}

TEST(Attribute, EveryAccessSeesTheCurrentValue)
{
    virtual_terminal board;
    for (const int value : {1, 2, 3}) {
        board.attribute(path, {.text = std::to_string(value) + "\n"});
        EXPECT_EQ(kt_sys_attr_get_int(KT_IOCTL_DIR, "tried"), value);
    }
}

TEST(Attribute, NoDescriptorStaysOpen)
{
    virtual_terminal board;
    board.attribute(path, {.text = "1\n"});
    board.attribute(KT_IOCTL_DIR "write_only", {.text = "", .mode = 0200});
    board.attribute(KT_IOCTL_DIR "refused", {.text = "1\n"});
    board.fail(KT_IOCTL_DIR "refused", {.on = "write", .error = EIO});
    kt_sys_attr_get_int(KT_IOCTL_DIR, "none"); // opens the syslog connection, which stays
    const std::set<int> before = open_descriptors();

    char text[8];
    unsigned int length = sizeof(text);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(kt_sys_attr_get_int(KT_IOCTL_DIR, "tried"), 1);
        EXPECT_EQ(kt_sys_attr_get_string(KT_IOCTL_DIR, "tried", text, &length), 0);
        EXPECT_EQ(kt_sys_attr_set_string(KT_IOCTL_DIR, "tried", "1"), 0);
        EXPECT_EQ(kt_sys_attr_set_int(KT_IOCTL_DIR, "write_only", 1), 0);
        EXPECT_EQ(kt_sys_attr_get_int(KT_IOCTL_DIR, "write_only"), -1);
        EXPECT_EQ(kt_sys_attr_set_int(KT_IOCTL_DIR, "refused", 1), -1);
        EXPECT_EQ(kt_sys_attr_get_int(KT_IOCTL_DIR, "none"), -1);
    }
    EXPECT_EQ(open_descriptors(), before);
}
