/** kt_read_timeout and kt_write_timeout: a wait, then one read or write. */
#include <kt_driver/tty.h>

#include "tests/serial/ends.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>

using namespace kt::tests;
using namespace std::chrono_literals;

namespace {

using clock_type = std::chrono::steady_clock;

timeval milliseconds(int count)
{
    return {count / 1000, count % 1000 * 1000};
}

bool is_non_blocking(int fd)
{
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
}

void make_non_blocking(int fd)
{
    ASSERT_EQ(fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK), 0);
}

/** A read that fails with this and leaves the room alone. */
void expect_no_bytes(int fd, int cause, timeval* timeout)
{
    char room[4] = {'#', '#', '#', '#'};
    errno = 0;
    EXPECT_EQ(kt_read_timeout(fd, room, sizeof room, timeout), -1);
    EXPECT_EQ(errno, cause);
    EXPECT_EQ(std::string(room, 4), "####");
}

} // namespace

TEST(TimedRead, GivesWhatIsThere)
{
    const pipe_to_read pipe;
    ASSERT_EQ(write(pipe.far, "abc", 3), 3);
    char room[8] = "#######";
    timeval timeout = milliseconds(5000);
    EXPECT_EQ(kt_read_timeout(pipe.near, room, sizeof room, &timeout), 3);
    EXPECT_STREQ(room, "abc####");
    EXPECT_FALSE(is_non_blocking(pipe.near));
}

TEST(TimedRead, DoesNotGatherBytes)
{
    const pipe_to_read pipe;
    std::thread sender([&] {
        EXPECT_EQ(write(pipe.far, "a", 1), 1);
        std::this_thread::sleep_for(300ms);
        EXPECT_EQ(write(pipe.far, "bcd", 3), 3);
    });
    char room[4];
    timeval timeout = milliseconds(10'000);
    EXPECT_EQ(kt_read_timeout(pipe.near, room, sizeof room, &timeout), 1);
    sender.join();
    EXPECT_EQ(kt_read_timeout(pipe.near, room, 2, &timeout), 2); // no more than asked for
    EXPECT_EQ(std::string(room, 2), "bc");
}

TEST(TimedRead, WaitsForTheFirstByte)
{
    const pipe_to_read pipe;
    std::thread sender([&] {
        std::this_thread::sleep_for(80ms);
        EXPECT_EQ(write(pipe.far, "a", 1), 1);
    });
    char room[4];
    timeval timeout = milliseconds(10'000);
    const auto start = clock_type::now();
    EXPECT_EQ(kt_read_timeout(pipe.near, room, sizeof room, &timeout), 1);
    EXPECT_GE(clock_type::now() - start, 40ms);
    sender.join();
}

TEST(TimedRead, TellsThatNothingCameInTime)
{
    const pipe_to_read pipe;
    timeval timeout = milliseconds(100);
    const auto start = clock_type::now();
    expect_no_bytes(pipe.near, ETIME, &timeout);
    EXPECT_GE(clock_type::now() - start, 100ms);
}

TEST(TimedRead, PollsWithoutTime)
{
    const pipe_to_read pipe;
    timeval none = {};
    const auto start = clock_type::now();
    expect_no_bytes(pipe.near, ETIME, &none);
    EXPECT_LT(clock_type::now() - start, 1s);
}

TEST(TimedRead, EndOfFileIsZero)
{
    pipe_to_read pipe;
    pipe.close_far();
    char room[4] = {'#', '#', '#', '#'};
    timeval timeout = milliseconds(5000);
    EXPECT_EQ(kt_read_timeout(pipe.near, room, sizeof room, &timeout), 0);
    EXPECT_EQ(kt_read_timeout(pipe.near, room, sizeof room, nullptr), 0);
    EXPECT_EQ(std::string(room, 4), "####");
}

TEST(TimedRead, WithoutALimitItReadsAsTheDescriptorIs)
{
    const pipe_to_read pipe;
    std::thread sender([&] {
        std::this_thread::sleep_for(80ms);
        EXPECT_EQ(write(pipe.far, "abc", 3), 3);
    });
    char room[8];
    EXPECT_EQ(kt_read_timeout(pipe.near, room, sizeof room, nullptr), 3);
    sender.join();

    make_non_blocking(pipe.near);
    expect_no_bytes(pipe.near, EAGAIN, nullptr);
}

TEST(TimedRead, ANonBlockingDescriptorStaysSo)
{
    const pipe_to_read pipe;
    make_non_blocking(pipe.near);
    timeval timeout = milliseconds(50);
    expect_no_bytes(pipe.near, ETIME, &timeout); // it waits all the same
    ASSERT_EQ(write(pipe.far, "abc", 3), 3);
    char room[8];
    timeout = milliseconds(5000);
    EXPECT_EQ(kt_read_timeout(pipe.near, room, sizeof room, &timeout), 3);
    EXPECT_TRUE(is_non_blocking(pipe.near));
}

TEST(TimedRead, OtherFlagsOfTheDescriptorStay)
{
    const socket_pair sockets;
    ASSERT_EQ(fcntl(sockets.near, F_SETFL, fcntl(sockets.near, F_GETFL) | O_APPEND), 0);
    const int before = fcntl(sockets.near, F_GETFL);
    ASSERT_EQ(write(sockets.far, "abc", 3), 3);
    char room[8];
    timeval timeout = milliseconds(5000);
    EXPECT_EQ(kt_read_timeout(sockets.near, room, sizeof room, &timeout), 3);
    EXPECT_EQ(kt_write_timeout(sockets.near, "x", 1, &timeout), 1);
    EXPECT_EQ(fcntl(sockets.near, F_GETFL), before);
}

TEST(TimedRead, AFailedReadKeepsItsCause)
{
    const int folder = open("/", O_RDONLY | O_DIRECTORY); // always ready, and no file to read
    ASSERT_GE(folder, 0);
    timeval timeout = milliseconds(1000);
    expect_no_bytes(folder, EISDIR, &timeout);
    expect_no_bytes(folder, EISDIR, nullptr);
    EXPECT_FALSE(is_non_blocking(folder));
    close(folder);
}

TEST(TimedRead, WhatWouldCrashIsRefused)
{
    const pipe_to_read pipe;
    ASSERT_EQ(write(pipe.far, "abc", 3), 3);
    timeval timeout = milliseconds(1000);
    errno = 0;
    EXPECT_EQ(kt_read_timeout(pipe.near, nullptr, 3, &timeout), -1);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(kt_read_timeout(pipe.near, nullptr, 3, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(kt_read_timeout(pipe.near, nullptr, 0, &timeout), 0); // no byte has a place to go to, and none is taken

    char room[4];
    expect_no_bytes(-1, EBADF, &timeout);
    expect_no_bytes(-1, EBADF, nullptr);
    EXPECT_EQ(kt_read_timeout(pipe.near, room, 4, &timeout), 3);
}

TEST(TimedWrite, WritesWhatThereIsRoomFor)
{
    pipe_to_write pipe;
    timeval timeout = milliseconds(5000);
    EXPECT_EQ(kt_write_timeout(pipe.near, "abc", 3, &timeout), 3);
    char room[8] = "";
    EXPECT_EQ(read(pipe.far, room, sizeof room), 3);
    EXPECT_STREQ(room, "abc");

    pipe.fill();
    std::string page(4096, ' ');
    ASSERT_EQ(read(pipe.far, page.data(), page.size()), 4096);
    const std::string much(65536, 'y');
    EXPECT_EQ(kt_write_timeout(pipe.near, much.data(), 65536, &timeout), 4096); // short, and no second attempt
    EXPECT_FALSE(is_non_blocking(pipe.near));
}

TEST(TimedWrite, TellsThatThereWasNoRoomInTime)
{
    pipe_to_write pipe;
    const std::size_t held = pipe.fill();
    timeval timeout = milliseconds(100);
    const auto start = clock_type::now();
    errno = 0;
    EXPECT_EQ(kt_write_timeout(pipe.near, "abc", 3, &timeout), -1);
    EXPECT_EQ(errno, ETIME);
    EXPECT_GE(clock_type::now() - start, 100ms);

    timeval none = {};
    errno = 0;
    EXPECT_EQ(kt_write_timeout(pipe.near, "abc", 3, &none), -1);
    EXPECT_EQ(errno, ETIME);
    std::string all(held + 8, ' ');
    EXPECT_EQ(read(pipe.far, all.data(), all.size()), static_cast<ssize_t>(held));
}

TEST(TimedWrite, WithoutALimitItWritesAsTheDescriptorIs)
{
    pipe_to_write pipe;
    pipe.fill();
    std::thread reader([&] {
        std::this_thread::sleep_for(80ms);
        std::string page(4096, ' ');
        EXPECT_EQ(read(pipe.far, page.data(), page.size()), 4096);
    });
    const auto start = clock_type::now();
    EXPECT_EQ(kt_write_timeout(pipe.near, "abc", 3, nullptr), 3);
    EXPECT_GE(clock_type::now() - start, 40ms);
    reader.join();

    pipe.fill();
    make_non_blocking(pipe.near);
    errno = 0;
    EXPECT_EQ(kt_write_timeout(pipe.near, "abc", 3, nullptr), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_TRUE(is_non_blocking(pipe.near));
}

TEST(TimedWrite, AFailedWriteKeepsItsCause)
{
    std::signal(SIGPIPE, SIG_IGN);
    pipe_to_write pipe;
    pipe.close_far();
    timeval timeout = milliseconds(1000);
    errno = 0;
    EXPECT_EQ(kt_write_timeout(pipe.near, "abc", 3, &timeout), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_FALSE(is_non_blocking(pipe.near));
}

TEST(TimedWrite, WhatWouldCrashIsRefused)
{
    const pipe_to_write pipe;
    timeval timeout = milliseconds(1000);
    errno = 0;
    EXPECT_EQ(kt_write_timeout(pipe.near, nullptr, 3, &timeout), -1);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(kt_write_timeout(pipe.near, nullptr, 3, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(kt_write_timeout(-1, "abc", 3, &timeout), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(kt_write_timeout(pipe.near, nullptr, 0, &timeout), 0);
}
