/** record_and_set_non_blocking_mode and restore_non_blocking_mode. */
#include <kt_driver/tty.h>

#include "tests/serial/ends.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>

using namespace kt::tests;

TEST(NonBlockingMode, IsRecordedSetAndPutBack)
{
    const pipe_to_read pipe;
    const int before = fcntl(pipe.near, F_GETFL);
    int saved = -5;
    EXPECT_EQ(record_and_set_non_blocking_mode(pipe.near, &saved), 0);
    EXPECT_EQ(saved, before);
    EXPECT_EQ(fcntl(pipe.near, F_GETFL), before | O_NONBLOCK);
    restore_non_blocking_mode(pipe.near, saved);
    EXPECT_EQ(fcntl(pipe.near, F_GETFL), before);
}

TEST(NonBlockingMode, ThatWasThereAlreadyStays)
{
    const pipe_to_read pipe;
    ASSERT_EQ(fcntl(pipe.near, F_SETFL, fcntl(pipe.near, F_GETFL) | O_NONBLOCK), 0);
    const int before = fcntl(pipe.near, F_GETFL);
    int saved = -5;
    EXPECT_EQ(record_and_set_non_blocking_mode(pipe.near, &saved), before); // the flags, not 0
    EXPECT_EQ(saved, before);
    restore_non_blocking_mode(pipe.near, saved);
    EXPECT_EQ(fcntl(pipe.near, F_GETFL), before);
}

TEST(NonBlockingMode, OfNoDescriptorIsAFailureThatRestoringIgnores)
{
    int saved = -5;
    errno = 0;
    EXPECT_EQ(record_and_set_non_blocking_mode(-1, &saved), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(saved, -1);
    errno = 0;
    EXPECT_EQ(record_and_set_non_blocking_mode(-1, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);

    const pipe_to_read pipe;
    const int before = fcntl(pipe.near, F_GETFL);
    restore_non_blocking_mode(pipe.near, -1);
    EXPECT_EQ(fcntl(pipe.near, F_GETFL), before);
}
