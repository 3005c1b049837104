/** pty_master_open: a working pair, the room for its name, and failures at each step. */
#include <kt_driver/tty.h>

#include "tests/serial/watched_calls.h"
#include "tests/support/descriptors.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>

using namespace kt::tests;

using calls = std::vector<std::string>;

namespace {

/** The call fails with this, writes no name and leaves nothing open. */
void expect_failure(size_t len, int cause)
{
    const auto before = open_descriptors();
    char name[64];
    std::memset(name, '#', sizeof name);
    errno = 0;
    EXPECT_EQ(pty_master_open(name, len), -1);
    EXPECT_EQ(errno, cause);
    EXPECT_EQ(std::string(name, sizeof name), std::string(sizeof name, '#'));
    EXPECT_EQ(open_descriptors(), before);
}

/** The name that the next pair will have, for only its length matters and names are given again. */
std::string next_name()
{
    char name[64] = "";
    const int master = pty_master_open(name, sizeof name);
    EXPECT_GE(master, 0);
    close(master);
    return name;
}

} // namespace

TEST(Pty, ItsOtherEndOpensUnderTheNameGiven)
{
    char name[64];
    std::memset(name, '#', sizeof name);
    const int master = pty_master_open(name, sizeof name);
    ASSERT_GE(master, 0);
    EXPECT_EQ(std::string(name).substr(0, 9), "/dev/pts/");
    EXPECT_STREQ(name, ptsname(master));

    const int slave = open(name, O_RDWR | O_NOCTTY);
    ASSERT_GE(slave, 0);
    EXPECT_TRUE(isatty(slave));
    ASSERT_EQ(write(slave, "abc", 3), 3);
    char room[8] = "";
    EXPECT_EQ(read(master, room, sizeof room), 3);
    EXPECT_STREQ(room, "abc");
    close(slave);
    close(master);
}

TEST(Pty, IsOpenedGrantedUnlockedAndNamed)
{
    char name[64];
    watched_calls library;
    const int master = pty_master_open(name, sizeof name);
    const calls made = library.take();
    ASSERT_GE(master, 0);
    EXPECT_EQ(made, (calls{"posix_openpt O_RDWR O_NOCTTY", "grantpt", "unlockpt", "ptsname_r"}));
    EXPECT_EQ(fcntl(master, F_GETFL) & O_ACCMODE, O_RDWR);
    close(master);
}

TEST(Pty, ANameNeedsRoomForItsTerminator)
{
    const std::string name = next_name();
    ASSERT_NE(name, "");
    expect_failure(name.size(), EOVERFLOW);
    expect_failure(name.size() - 1, EOVERFLOW);
    expect_failure(1, EOVERFLOW);
    expect_failure(0, EOVERFLOW);

    char room[64];
    std::memset(room, '#', sizeof room);
    const int master = pty_master_open(room, name.size() + 1);
    ASSERT_GE(master, 0);
    EXPECT_EQ(std::string(room, name.size() + 2), name + '\0' + '#');
    close(master);
}

TEST(Pty, NoPlaceForTheNameIsRefused)
{
    const auto before = open_descriptors();
    errno = 0;
    EXPECT_EQ(pty_master_open(nullptr, 64), -1);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(pty_master_open(nullptr, 0), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(Pty, AFailedStepIsTheCauseAndTheMasterIsClosed)
{
    for (const auto& [step, cause] : {std::pair{"posix_openpt", ENOSPC}, std::pair{"grantpt", EACCES},
                                      std::pair{"unlockpt", EIO}, std::pair{"ptsname_r", ENOTTY}}) {
        SCOPED_TRACE(step);
        watched_calls library;
        library.fail(step, cause);
        library.before("close", [] { errno = EXDEV; });
        expect_failure(64, cause);
    }
}
