/** The classes behind the attribute functions: their state, results and exceptions. */
#include "base/sysfs.h"

#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>
#include <unistd.h>

using namespace kt;
using namespace kt::tests;
using namespace std::string_literals;
using kt::terminal::virtual_terminal;

static_assert(std::is_base_of_v<std::exception, sysfs_exception>);
static_assert(std::is_same_v<decltype(sysfs_exception::message), std::string>);
static_assert(std::is_same_v<decltype(sysfs_exception::code), int>);
static_assert(!std::is_copy_constructible_v<sysfs_attribute> && !std::is_copy_assignable_v<sysfs_attribute>);

namespace {

const sysfs_helper ioctl_dir(KT_IOCTL_DIR);

/** The exception that an access throws. */
template <typename Access>
sysfs_exception thrown_by(Access access)
{
    try {
        access();
    } catch (const sysfs_exception& failure) {
        return failure;
    }
    ADD_FAILURE() << "nothing was thrown";
    return sysfs_exception("", 0);
}

} // namespace

TEST(SysfsException, HasMessageAndCode)
{
    const sysfs_exception failure("can't read /sys/x", EIO);
    EXPECT_EQ(failure.message, "can't read /sys/x");
    EXPECT_EQ(failure.code, EIO);
    const std::exception& base = failure;
    EXPECT_STREQ(base.what(), "can't read /sys/x");
}

TEST(SysfsHelper, AnAttributeIsNamedByPlainConcatenationAndIsNotOpen)
{
    EXPECT_EQ(ioctl_dir.dir, "/sys/class/kt_misc/ioctl/");
    const sysfs_attribute attribute = ioctl_dir["usb_route"];
    EXPECT_EQ(attribute.path, "/sys/class/kt_misc/ioctl/usb_route");
    EXPECT_EQ(attribute.fd, -1);
    EXPECT_EQ(attribute.buffer, nullptr);
    EXPECT_EQ(attribute.mode, 0);
    EXPECT_EQ(attribute.size, 0u);

    EXPECT_EQ(sysfs_helper("/sys/class")["x"].path, "/sys/classx");
}

TEST(SysfsAttribute, OpeningFillsItsMembers)
{
    const struct {
        std::uint32_t mode;
        int flags;
    } rows[] = {{0644, O_RDWR}, {0444, O_RDONLY}, {0200, O_WRONLY}};
    virtual_terminal board;
    const std::set<int> before = open_descriptors();
    for (const auto& row : rows) {
        board.attribute(KT_IOCTL_DIR "tried", {.text = "1\n", .mode = row.mode});
        sysfs_attribute attribute = ioctl_dir["tried"];
        EXPECT_EQ(attribute.open_sysfs_attribute(), 0);

        EXPECT_EQ(descriptor_target(attribute.fd), KT_IOCTL_DIR "tried");
        EXPECT_EQ(attribute.mode, row.flags);
        EXPECT_EQ(attribute.size, static_cast<unsigned int>(getpagesize()));
        ASSERT_NE(attribute.buffer, nullptr);
        const char* begin = attribute.buffer;
        const char* end = begin + attribute.size + 1;
        EXPECT_TRUE(std::all_of(begin, end, [](char byte) { return byte == '\0'; }));
    }
    EXPECT_EQ(open_descriptors(), before); // the destructor closed them
}

TEST(SysfsAttribute, ConvertsToTextAndNumber)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "12\n"});
    board.attribute(KT_IOCTL_DIR "with_nul", {.text = "3\0004\n"s});
    const std::set<int> before = open_descriptors();

    const std::string text = ioctl_dir["tried"];
    EXPECT_EQ(text, "12\n");
    EXPECT_EQ(static_cast<unsigned int>(ioctl_dir["tried"]), 12u);
    const std::string first_part = ioctl_dir["with_nul"];
    EXPECT_EQ(first_part, "3");
    EXPECT_EQ(static_cast<unsigned int>(ioctl_dir["with_nul"]), 3u);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(SysfsAttribute, KeepsWhatItReadUntilItIsDestroyed)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "12\n"});
    sysfs_attribute attribute = ioctl_dir["tried"];
    EXPECT_EQ(static_cast<std::string>(attribute), "12\n");
    EXPECT_STREQ(attribute.buffer, "12\n");
    EXPECT_NE(attribute.fd, -1);
    EXPECT_EQ(attribute.mode, O_RDWR);
}

TEST(SysfsAttribute, AssignmentGivesTheCountOfBytes)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "1\n"});
    board.forget();
    EXPECT_EQ((ioctl_dir["tried"] = "hello"s), 5);
    EXPECT_EQ((ioctl_dir["tried"] = "a\0b"s), 3);
    EXPECT_EQ((ioctl_dir["tried"] = 255u), 4);
    EXPECT_EQ((ioctl_dir["tried"] = 0u), 3);
    EXPECT_EQ((ioctl_dir["tried"] = 4294967295u), 10);
    EXPECT_EQ(board.writes(KT_IOCTL_DIR "tried"),
              (std::vector<std::string>{"hello", "a\0b"s, "0xff", "0x0", "0xffffffff"}));
}

TEST(SysfsAttribute, ThrowsWithTheStepAndItsErrno)
{
    virtual_terminal board;
    board.attribute(KT_IOCTL_DIR "tried", {.text = "1\n"});
    const std::set<int> before = open_descriptors();

    sysfs_exception failure = thrown_by([] { static_cast<void>(static_cast<std::string>(ioctl_dir["none"])); });
    EXPECT_STREQ(failure.what(), "stat /sys/class/kt_misc/ioctl/none");
    EXPECT_EQ(failure.code, ENOENT);

    board.fail(KT_IOCTL_DIR "tried", {.on = "open", .error = EBUSY, .times = 1});
    failure = thrown_by([] { static_cast<void>(static_cast<unsigned int>(ioctl_dir["tried"])); });
    EXPECT_STREQ(failure.what(), "can't open /sys/class/kt_misc/ioctl/tried");
    EXPECT_EQ(failure.code, EBUSY);

    board.fail(KT_IOCTL_DIR "tried", {.on = "read", .error = EIO});
    failure = thrown_by([] { static_cast<void>(static_cast<std::string>(ioctl_dir["tried"])); });
    EXPECT_STREQ(failure.what(), "can't read /sys/class/kt_misc/ioctl/tried");
    EXPECT_EQ(failure.code, EIO);
    failure = thrown_by([] { static_cast<void>(static_cast<unsigned int>(ioctl_dir["tried"])); });
    EXPECT_STREQ(failure.what(), "can't read /sys/class/kt_misc/ioctl/tried");
    EXPECT_EQ(failure.code, EIO);

    board.fail(KT_IOCTL_DIR "tried", {.on = "write", .error = EINVAL});
    failure = thrown_by([] { ioctl_dir["tried"] = "on"s; });
    EXPECT_STREQ(failure.what(), "can't write on to /sys/class/kt_misc/ioctl/tried");
    EXPECT_EQ(failure.code, EINVAL);
    failure = thrown_by([] { ioctl_dir["tried"] = 10u; });
    EXPECT_STREQ(failure.what(), "can't write 0xa to /sys/class/kt_misc/ioctl/tried");
    EXPECT_EQ(failure.code, EINVAL);

    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(board.syslog(), ""); // only the flat functions log
}

TEST(SysfsAttribute, AFailedStatLeavesItUnopened)
{
    sysfs_attribute attribute = ioctl_dir["none"];
    EXPECT_THROW(attribute.open_sysfs_attribute(), sysfs_exception);
    EXPECT_EQ(attribute.fd, -1);
    EXPECT_EQ(attribute.buffer, nullptr);
    EXPECT_EQ(attribute.mode, 0);
}

TEST(SysinfoHelper, ReadsOneVersionWhole)
{
    virtual_terminal board;
    board.attribute(KT_SYSINFO_DIR "kernelver", {.text = "a version of more than 11\n", .mode = 0444});
    std::string version;
    EXPECT_EQ(kt_sysinfo_helper::get_attr<std::string>("kernelver", version), 0);
    EXPECT_EQ(version, "a version of more than 11\n");
}

TEST(SysinfoHelper, AFailureIsLoggedUnderItsName)
{
    virtual_terminal board;
    board.forget();
    std::string version;
    errno = 0;
    EXPECT_EQ(kt_sysinfo_helper::get_attr<std::string>("none", version), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(board.syslog(), "get_attr stat /sys/class/kt_misc/sysinfo/none No such file or directory\n");
}
