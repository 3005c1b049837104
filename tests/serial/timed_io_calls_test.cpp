/** Timed reads and writes as the kernel is asked: which calls, in which order, and what is done when one fails. */
#include <kt_driver/tty.h>

#include "tests/serial/ends.h"
#include "tests/serial/watched_calls.h"

#include <cerrno>
#include <gtest/gtest.h>

using namespace kt::tests;

using calls = std::vector<std::string>;

namespace {

constexpr timeval long_enough = {10, 0};

const calls timed_read = {"select r", "fcntl F_GETFL", "fcntl F_SETFL O_NONBLOCK", "read 16", "fcntl F_SETFL"};

/** What a read gave, and how. */
struct outcome {
    int result = -2;
    int cause = 0;
    calls made;
};

outcome read_at(int fd, watched_calls& library, timeval timeout = long_enough)
{
    char room[16];
    outcome done;
    errno = 0;
    done.result = kt_read_timeout(fd, room, sizeof room, &timeout);
    done.cause = errno;
    done.made = library.take();
    return done;
}

bool is_non_blocking(int fd)
{
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
}

} // namespace

TEST(TimedIoCalls, AReadIsOneWaitAndOneReadInNonBlockingMode)
{
    const pipe_to_read pipe;
    ASSERT_EQ(write(pipe.far, "abc", 3), 3);
    watched_calls library;
    const outcome done = read_at(pipe.near, library);
    EXPECT_EQ(done.result, 3);
    EXPECT_EQ(done.made, timed_read);
}

TEST(TimedIoCalls, AWriteIsOneWaitAndOneWriteInNonBlockingMode)
{
    const pipe_to_write pipe;
    timeval timeout = long_enough;
    watched_calls library;
    const int result = kt_write_timeout(pipe.near, "AT\r\n", 4, &timeout);
    const calls made = library.take();
    EXPECT_EQ(result, 4);
    EXPECT_EQ(made, (calls{"select w", "fcntl F_GETFL", "fcntl F_SETFL O_NONBLOCK", "write 4", "fcntl F_SETFL"}));
}

TEST(TimedIoCalls, WithoutALimitThereIsTheReadOrWriteAlone)
{
    const socket_pair sockets;
    ASSERT_EQ(write(sockets.far, "abc", 3), 3);
    char room[16];
    watched_calls library;
    const int got = kt_read_timeout(sockets.near, room, sizeof room, nullptr);
    const int written = kt_write_timeout(sockets.near, "AT\r\n", 4, nullptr);
    const calls made = library.take();
    EXPECT_EQ(got, 3);
    EXPECT_EQ(written, 4);
    EXPECT_EQ(made, (calls{"read 16", "write 4"}));
}

TEST(TimedIoCalls, AfterATimeOutNothingElseIsCalled)
{
    const pipe_to_read pipe;
    watched_calls library;
    const outcome done = read_at(pipe.near, library, {0, 1000});
    EXPECT_EQ(done.result, -1);
    EXPECT_EQ(done.cause, ETIME);
    EXPECT_EQ(done.made, calls{"select r"});
}

TEST(TimedIoCalls, OnANonBlockingDescriptorTheFlagsAreOnlyLookedAt)
{
    const pipe_to_read pipe;
    ASSERT_EQ(write(pipe.far, "abc", 3), 3);
    ASSERT_EQ(fcntl(pipe.near, F_SETFL, O_NONBLOCK), 0);
    watched_calls library;
    const outcome done = read_at(pipe.near, library);
    EXPECT_EQ(done.result, 3);
    EXPECT_EQ(done.made, (calls{"select r", "fcntl F_GETFL", "read 16"}));
}

TEST(TimedIoCalls, BytesThatSomebodyElseTookMeanwhileAreMissed)
{
    const pipe_to_read pipe;
    ASSERT_EQ(write(pipe.far, "abc", 3), 3);
    watched_calls library;
    library.before("read", [&] {
        char taken[16];
        EXPECT_EQ(read(pipe.near, taken, sizeof taken), 3);
    });
    const outcome done = read_at(pipe.near, library);
    EXPECT_EQ(done.result, -1);
    EXPECT_EQ(done.cause, EAGAIN);
    EXPECT_EQ(done.made, timed_read);
    EXPECT_FALSE(is_non_blocking(pipe.near));
}

TEST(TimedIoCalls, RoomThatSomebodyElseTookMeanwhileIsMissed)
{
    pipe_to_write pipe;
    watched_calls library;
    library.before("write", [&] { pipe.fill(); });
    timeval timeout = long_enough;
    errno = 0;
    const int result = kt_write_timeout(pipe.near, "AT\r\n", 4, &timeout);
    const int cause = errno;
    library.take();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(cause, EAGAIN);
    EXPECT_FALSE(is_non_blocking(pipe.near));
}

TEST(TimedIoCalls, OnlyTheWaitIsRepeatedAfterASignal)
{
    const pipe_to_read pipe;
    ASSERT_EQ(write(pipe.far, "abc", 3), 3);
    watched_calls library;
    library.fail("select", EINTR);
    library.fail("select", EINTR);
    library.fail("read", EINTR);
    const outcome done = read_at(pipe.near, library);
    EXPECT_EQ(done.result, -1);
    EXPECT_EQ(done.cause, EINTR);
    EXPECT_EQ(done.made, (calls{"select r", "select r", "select r", "fcntl F_GETFL", "fcntl F_SETFL O_NONBLOCK",
                                "read 16", "fcntl F_SETFL"}));
}

TEST(TimedIoCalls, AnotherFailureOfTheWaitIsTheResult)
{
    const pipe_to_read pipe;
    watched_calls library;
    library.fail("select", ENOMEM);
    const outcome done = read_at(pipe.near, library);
    EXPECT_EQ(done.result, -1);
    EXPECT_EQ(done.cause, ENOMEM);
    EXPECT_EQ(done.made, calls{"select r"});
}

TEST(TimedIoCalls, TheCauseOfAFailedReadSurvivesTheRestoring)
{
    const pipe_to_read pipe;
    ASSERT_EQ(write(pipe.far, "abc", 3), 3);
    watched_calls library;
    library.fail("fcntl F_SETFL O_NONBLOCK", EPERM);
    library.fail("read", EIO);
    library.fail("fcntl F_SETFL", EBADF);
    const outcome done = read_at(pipe.near, library);
    EXPECT_EQ(done.result, -1);
    EXPECT_EQ(done.cause, EIO);
    EXPECT_EQ(done.made, timed_read);
}

TEST(TimedIoCalls, FlagsThatCannotBeReadAreNeitherSetNorPutBack)
{
    const pipe_to_read pipe;
    ASSERT_EQ(write(pipe.far, "abc", 3), 3);
    watched_calls library;
    library.fail("fcntl F_GETFL", EPERM);
    const outcome done = read_at(pipe.near, library);
    EXPECT_EQ(done.result, 3);
    EXPECT_EQ(done.made, (calls{"select r", "fcntl F_GETFL", "read 16"}));
}

TEST(TimedIoCalls, AModeThatCannotBeSetIsTheRecordersResult)
{
    const pipe_to_read pipe;
    int saved = -5;
    watched_calls library;
    library.fail("fcntl F_SETFL", EPERM);
    errno = 0;
    const int result = record_and_set_non_blocking_mode(pipe.near, &saved);
    const int cause = errno;
    library.take();
    EXPECT_EQ(result, -1);
    EXPECT_EQ(cause, EPERM);
    EXPECT_EQ(saved, fcntl(pipe.near, F_GETFL));
}

TEST(TimedIoCalls, RestoringLeavesADescriptorThatWasNonBlockingAlone)
{
    const pipe_to_read pipe;
    watched_calls library;
    restore_non_blocking_mode(pipe.near, O_NONBLOCK);
    restore_non_blocking_mode(pipe.near, -1);
    restore_non_blocking_mode(pipe.near, 0);
    EXPECT_EQ(library.take(), calls{"fcntl F_SETFL"});
}

TEST(TimedIoCalls, TheWaitIsGivenTheSetsThatAreAskedFor)
{
    const socket_pair sockets;
    ASSERT_EQ(write(sockets.far, "abc", 3), 3);
    watched_calls library;
    timeval none = {};
    (void)kt_handle_ready(sockets.near, 1, 1, 1, &none);
    (void)kt_handle_ready(sockets.near, 0, 0, 1, &none);
    (void)kt_handle_ready(sockets.near, 0, 0, 0, &none);
    EXPECT_EQ(library.take(), (calls{"select rwe", "select e", "select "}));
}
