/** Each way an access can fail: result, errno, and the one line in syslog. */
#include <kt_driver/base.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>

using namespace kt::tests;
using kt::terminal::event;
using kt::terminal::virtual_terminal;

namespace {

constexpr const char* path = KT_IOCTL_DIR "tried";

char room[8];
unsigned int room_length = sizeof(room);

/** The four functions on the attribute "tried", with the value that their message names. */
struct attempt {
    const char* function;
    const char* value; /**< Null: a read. */
    int (*call)();
};
const attempt attempts[] = {
    {"kt_sys_attr_get_string", nullptr,
     [] { return kt_sys_attr_get_string(KT_IOCTL_DIR, "tried", room, &room_length); }},
    {"kt_sys_attr_get_int", nullptr, [] { return kt_sys_attr_get_int(KT_IOCTL_DIR, "tried"); }},
    {"kt_sys_attr_set_string", "on", [] { return kt_sys_attr_set_string(KT_IOCTL_DIR, "tried", "on"); }},
    {"kt_sys_attr_set_int", "0xff", [] { return kt_sys_attr_set_int(KT_IOCTL_DIR, "tried", 255); }},
};

struct cause {
    int error;
    const char* text;
};
const cause causes[] = {
    {EIO, "Input/output error"},         {EACCES, "Permission denied"}, {EBUSY, "Device or resource busy"},
    {EINVAL, "Invalid argument"},        {ENODEV, "No such device"},    {EPERM, "Operation not permitted"},
    {ETIMEDOUT, "Connection timed out"},
};

/** Makes the call and expects it to fail at @p step ("stat ", "can't read " …) with @p why. */
void expect_failure(virtual_terminal& board, const attempt& tried, const std::string& step, const cause& why)
{
    board.forget();
    errno = 0;
    EXPECT_EQ(tried.call(), -1) << tried.function;
    EXPECT_EQ(errno, why.error) << tried.function;

    const std::vector<event> logged = board.events_of({"syslog"});
    ASSERT_EQ(logged.size(), 1u) << tried.function;
    EXPECT_EQ(logged[0].data, std::string(tried.function) + " " + step + path + " " + why.text + "\n");
    EXPECT_EQ(logged[0].priority, LOG_ERR);
}

} // namespace

TEST(AttributeFailure, AMissingAttributeFailsAtTheStat)
{
    virtual_terminal board;
    for (const attempt& tried : attempts) {
        expect_failure(board, tried, "stat ", {ENOENT, "No such file or directory"});
        EXPECT_EQ(opens_of(board, path), 0);
    }
}

TEST(AttributeFailure, ARefusedStat)
{
    virtual_terminal board;
    board.attribute(path, {.text = "1\n"});
    for (const cause& why : {causes[0], causes[1]}) {
        board.fail(path, {.on = "lookup", .error = why.error});
        for (const attempt& tried : attempts) {
            expect_failure(board, tried, "stat ", why);
            EXPECT_EQ(opens_of(board, path), 0);
        }
        board.mend_all();
    }
}

TEST(AttributeFailure, ARefusedOpen)
{
    virtual_terminal board;
    board.attribute(path, {.text = "1\n"});
    for (const cause& why : causes) {
        board.fail(path, {.on = "open", .error = why.error});
        for (const attempt& tried : attempts)
            expect_failure(board, tried, "can't open ", why);
        board.mend_all();
    }
}

TEST(AttributeFailure, ADriverWithoutReadersRefusesTheOpen)
{
    virtual_terminal board;
    board.attribute(path, {.text = "1\n", .mode = 0022}); // opened for reading, by the owner's bits
    for (const attempt& tried : attempts)
        expect_failure(board, tried, "can't open ", {EACCES, "Permission denied"});
}

TEST(AttributeFailure, ARefusedReadOrWrite)
{
    virtual_terminal board;
    board.attribute(path, {.text = "1\n"});
    for (const cause& why : causes) {
        board.fail(path, {.on = "read", .error = why.error});
        board.fail(path, {.on = "write", .error = why.error});
        for (const attempt& tried : attempts) {
            const std::string step = tried.value ? std::string("can't write ") + tried.value + " to " : "can't read ";
            expect_failure(board, tried, step, why);
        }
        board.mend_all();
    }
}

TEST(AttributeFailure, AWriteOnlyAttributeFailsAtTheRead)
{
    virtual_terminal board;
    board.attribute(path, {.text = "1\n", .mode = 0200});
    for (const attempt& tried : attempts) {
        if (tried.value == nullptr)
            expect_failure(board, tried, "can't read ", {EBADF, "Bad file descriptor"});
        else
            EXPECT_EQ(tried.call(), 0) << tried.function;
    }
}

TEST(AttributeFailure, AReadOnlyAttributeFailsAtTheWrite)
{
    virtual_terminal board;
    board.attribute(path, {.text = "1\n", .mode = 0444});
    for (const attempt& tried : attempts) {
        if (tried.value != nullptr)
            expect_failure(board, tried, std::string("can't write ") + tried.value + " to ",
                           {EBADF, "Bad file descriptor"});
    }
    EXPECT_EQ(board.text(path), "1\n");
}

TEST(AttributeFailure, ADriverRefusesAValue)
{
    virtual_terminal board;
    board.attribute(path, {.text = "1\n", .kind = "integer"});
    expect_failure(board, attempts[2], "can't write on to ", {EINVAL, "Invalid argument"});
    EXPECT_EQ(board.text(path), "1\n");
}

TEST(AttributeFailure, ADirectoryCannotBeRead)
{
    mkdir("/tmp/directory", 0500);
    virtual_terminal board;
    board.forget();
    errno = 0;
    EXPECT_EQ(kt_sys_attr_get_int("/tmp/", "directory"), -1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(board.syslog(), "kt_sys_attr_get_int can't read /tmp/directory Is a directory\n");
}

TEST(AttributeFailure, OneFailureIsOverAtTheNextAccess)
{
    virtual_terminal board;
    board.attribute(path, {.text = "5\n"});
    board.fail(path, {.on = "read", .error = EIO, .times = 1});
    EXPECT_EQ(kt_sys_attr_get_int(KT_IOCTL_DIR, "tried"), -1);
    EXPECT_EQ(kt_sys_attr_get_int(KT_IOCTL_DIR, "tried"), 5);
}

TEST(AttributeFailure, APercentSignInAPathOrValueIsText)
{
    virtual_terminal board;
    board.forget();
    kt_sys_attr_set_string(KT_IOCTL_DIR, "%s%n", "%d");
    EXPECT_EQ(board.syslog(), "kt_sys_attr_set_string stat /sys/class/kt_misc/ioctl/%s%n No such file or directory\n");

    board.attribute(path, {.text = "1\n", .mode = 0444});
    board.forget();
    kt_sys_attr_set_string(KT_IOCTL_DIR, "tried", "%d%s");
    EXPECT_EQ(board.syslog(),
              "kt_sys_attr_set_string can't write %d%s to /sys/class/kt_misc/ioctl/tried Bad file descriptor\n");
}

TEST(AttributeFailure, ALongPathIsNamedWhole)
{
    // Longer than any name the board has, shorter than what a syslog datagram carries.
    const std::string name(200, 'n');
    std::string dir = "/sys/class/";
    for (int i = 0; i < 4; ++i)
        dir += name + "/";
    virtual_terminal board;
    board.forget();
    EXPECT_EQ(kt_sys_attr_get_int(dir.c_str(), name.c_str()), -1);
    EXPECT_EQ(board.syslog(), "kt_sys_attr_get_int stat " + dir + name + " No such file or directory\n");
}

TEST(AttributeFailure, NothingIsPrinted)
{
    // What goes to syslog does not go to standard output as well.
    virtual_terminal board;
    EXPECT_EQ(printed([] {
                  for (const attempt& tried : attempts)
                      tried.call();
              }),
              "");
}
