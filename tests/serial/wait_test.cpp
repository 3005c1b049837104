/** kt_handle_ready on pipes, sockets and pseudo-terminals. */
#include <kt_driver/tty.h>

#include "tests/serial/ends.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <limits>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

using namespace kt::tests;
using namespace std::chrono_literals;

namespace {

using clock_type = std::chrono::steady_clock;

timeval milliseconds(int count)
{
    return {count / 1000, count % 1000 * 1000};
}

std::chrono::microseconds left_of(const timeval& time)
{
    return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
}

/** The wait failed with this. */
void expect_failure(int fd, int cause, timeval timeout)
{
    errno = 0;
    EXPECT_EQ(kt_handle_ready(fd, 1, 0, 0, &timeout), -1) << fd;
    EXPECT_EQ(errno, cause) << fd;
}

/** A process that interrupts this one every 10 ms, so often, and then does a last thing. */
template <typename Last>
pid_t interrupt_me(int times, Last last)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    const pid_t me = getpid();
    const pid_t child = fork();
    if (child == 0) {
        for (; times > 0; --times) {
            usleep(10'000);
            kill(me, SIGUSR1);
        }
        last();
        _exit(0);
    }
    return child;
}

} // namespace

TEST(Wait, IsReadyAtOnceWhenInputIsThere)
{
    const pipe_to_read pipe;
    ASSERT_EQ(write(pipe.far, "x", 1), 1);
    timeval timeout = milliseconds(5000);
    EXPECT_EQ(kt_handle_ready(pipe.near, 1, 0, 0, &timeout), 1);
    EXPECT_GT(left_of(timeout), 4s); // what was left of it
    EXPECT_LE(left_of(timeout), 5s);
}

TEST(Wait, LooksAtTheDirectionsThatAreAskedForOnly)
{
    const socket_pair sockets; // with room for output, and no input
    for (const int yes : {1, -1, 256}) {
        timeval none = {};
        EXPECT_EQ(kt_handle_ready(sockets.near, 0, yes, 0, &none), 1);
        errno = 0;
        EXPECT_EQ(kt_handle_ready(sockets.near, yes, 0, 0, &none), -1);
        EXPECT_EQ(errno, ETIME);
        errno = 0;
        EXPECT_EQ(kt_handle_ready(sockets.near, 0, 0, yes, &none), -1);
        EXPECT_EQ(errno, ETIME);
        EXPECT_EQ(kt_handle_ready(sockets.near, yes, yes, yes, &none), 1);
    }
}

TEST(Wait, AskedForNothingItOnlyWaits)
{
    const socket_pair sockets;
    ASSERT_EQ(write(sockets.far, "x", 1), 1);
    timeval timeout = milliseconds(30);
    const auto start = clock_type::now();
    errno = 0;
    EXPECT_EQ(kt_handle_ready(sockets.near, 0, 0, 0, &timeout), -1);
    EXPECT_EQ(errno, ETIME);
    EXPECT_GE(clock_type::now() - start, 30ms);
}

TEST(Wait, EndOfFileIsReady)
{
    pipe_to_read pipe;
    pipe.close_far();
    timeval none = {};
    EXPECT_EQ(kt_handle_ready(pipe.near, 1, 0, 0, &none), 1);
}

TEST(Wait, TwoDirectionsAreCountedAsSelectCountsThem)
{
    const socket_pair sockets;
    ASSERT_EQ(write(sockets.far, "x", 1), 1);
    fd_set reading;
    FD_ZERO(&reading);
    FD_SET(sockets.near, &reading);
    fd_set writing = reading;
    timeval none = {};
    const int counted = select(sockets.near + 1, &reading, &writing, nullptr, &none);
    none = {};
    EXPECT_EQ(kt_handle_ready(sockets.near, 1, 1, 0, &none), counted);
}

TEST(Wait, AnExceptionalConditionIsSeen)
{
    char slave[64];
    const int master = pty_master_open(slave, sizeof slave);
    ASSERT_GE(master, 0);
    const int line = open(slave, O_RDWR | O_NOCTTY);
    ASSERT_GE(line, 0);
    int packets = 1;
    ASSERT_EQ(ioctl(master, TIOCPKT, &packets), 0);

    timeval none = {};
    errno = 0;
    EXPECT_EQ(kt_handle_ready(master, 0, 0, 1, &none), -1);
    EXPECT_EQ(errno, ETIME);
    ASSERT_EQ(tcflush(line, TCIOFLUSH), 0); // in packet mode the master hears of it
    none = {};
    EXPECT_EQ(kt_handle_ready(master, 0, 0, 1, &none), 1);
    EXPECT_EQ(kt_handle_ready(master, 0, 0, -1, &none), 1);
    close(line);
    close(master);
}

TEST(Wait, RunsOutNoEarlierThanAsked)
{
    const pipe_to_read pipe;
    timeval timeout = milliseconds(120);
    const auto start = clock_type::now();
    errno = 0;
    EXPECT_EQ(kt_handle_ready(pipe.near, 1, 0, 0, &timeout), -1);
    EXPECT_EQ(errno, ETIME);
    EXPECT_GE(clock_type::now() - start, 120ms);
    EXPECT_EQ(left_of(timeout), 0us);
}

TEST(Wait, NoTimeAtAllPolls)
{
    const pipe_to_read pipe;
    const auto start = clock_type::now();
    expect_failure(pipe.near, ETIME, {});
    EXPECT_LT(clock_type::now() - start, 1s);
}

TEST(Wait, SignalsDoNotEndItAndTheTimeGoesOn)
{
    const pipe_to_read pipe;
    timeval timeout = milliseconds(300);
    const auto start = clock_type::now();
    const pid_t child = interrupt_me(1000, [] {});
    errno = 0;
    const int result = kt_handle_ready(pipe.near, 1, 0, 0, &timeout);
    const int cause = errno;
    const auto took = clock_type::now() - start;
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(cause, ETIME);
    EXPECT_GE(took, 300ms);
    EXPECT_LT(took, 5s); // given anew by each signal the time would last until the last of them, 10 s
}

TEST(Wait, AfterSignalsInputStillEndsIt)
{
    const pipe_to_read pipe;
    timeval timeout = milliseconds(20'000);
    const pid_t child = interrupt_me(12, [&] { (void)!write(pipe.far, "x", 1); });
    const int result = kt_handle_ready(pipe.near, 1, 0, 0, &timeout);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_EQ(result, 1);
    EXPECT_GT(left_of(timeout), 1s);
    EXPECT_LE(left_of(timeout), 20s - 60ms);
}

TEST(Wait, WithoutATimeItWaitsUntilSomethingComes)
{
    const pipe_to_read pipe;
    const pid_t child = fork();
    if (child == 0) {
        usleep(80'000);
        (void)!write(pipe.far, "x", 1);
        _exit(0);
    }
    const auto start = clock_type::now();
    EXPECT_EQ(kt_handle_ready(pipe.near, 1, 0, 0, nullptr), 1);
    EXPECT_GE(clock_type::now() - start, 40ms);
}

TEST(Wait, ADescriptorThatIsNotOpenIsRefused)
{
    pipe_to_read pipe;
    const int fd = pipe.near;
    pipe.close_near();
    expect_failure(fd, EBADF, milliseconds(5000));
    expect_failure(-1, EBADF, milliseconds(5000));
    expect_failure(std::numeric_limits<int>::min(), EBADF, milliseconds(5000));
}

TEST(Wait, ADescriptorThatNoSetHoldsIsRefused)
{
    const pipe_to_read pipe;
    ASSERT_EQ(write(pipe.far, "x", 1), 1);
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, FD_SETSIZE + 2);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);

    const int last = fcntl(pipe.near, F_DUPFD, FD_SETSIZE - 1);
    ASSERT_EQ(last, FD_SETSIZE - 1);
    timeval none = {};
    EXPECT_EQ(kt_handle_ready(last, 1, 0, 0, &none), 1);
    if (limit.rlim_cur > FD_SETSIZE) {
        ASSERT_EQ(fcntl(pipe.near, F_DUPFD, FD_SETSIZE), FD_SETSIZE); // open and ready, and beyond the set
    }
    expect_failure(FD_SETSIZE, EINVAL, {});
    expect_failure(FD_SETSIZE + 1, EINVAL, {});
    expect_failure(std::numeric_limits<int>::max(), EINVAL, {});
}

TEST(Wait, ANegativeTimeIsRefused)
{
    const pipe_to_read pipe;
    ASSERT_EQ(write(pipe.far, "x", 1), 1);
    expect_failure(pipe.near, EINVAL, {-1, 0});
    expect_failure(pipe.near, EINVAL, {0, -1});
}
