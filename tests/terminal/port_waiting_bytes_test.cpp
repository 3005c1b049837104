/** FIONREAD on a serial port: the bytes that were received and not read, in 32- and 64-bit programs. */
#include "port_calls.h"

#include <sys/wait.h>

using namespace kt::tests;

namespace {

class PortWaitingBytes : public port_test {};

/** The count, or the negative error number. */
int waiting(int fd)
{
    int count = -1000;
    return ioctl(fd, FIONREAD, &count) == 0 ? count : -errno;
}

} // namespace

TEST_F(PortWaitingBytes, AreCountedAsTheyComeAndAreRead)
{
    const opened_file port(path, O_RDWR | O_NOCTTY);
    make_raw(port.fd());
    EXPECT_EQ(waiting(port.fd()), 0);
    board.send(path, "twelve bytes");
    EXPECT_EQ(waiting(port.fd()), 12);
    EXPECT_EQ(read_now(port.fd(), 5), gave("twelv"));
    EXPECT_EQ(waiting(port.fd()), 7);
    EXPECT_EQ(tcflush(port.fd(), TCIFLUSH), 0);
    EXPECT_EQ(waiting(port.fd()), 0);
}

TEST_F(PortWaitingBytes, AreNotCountedFromWhatWasWritten)
{
    const opened_file port(path, O_RDWR | O_NOCTTY);
    make_raw(port.fd());
    EXPECT_EQ(write_now(port.fd(), std::string(1000, 'w')).count, 1000U);
    EXPECT_EQ(waiting(port.fd()), 0);
}

TEST_F(PortWaitingBytes, AreToldToThreadsAndChildren)
{
    const opened_file port(path, O_RDWR | O_NOCTTY);
    make_raw(port.fd());
    board.send(path, "abc");
    int in_thread = -1;
    std::thread([&] { in_thread = waiting(port.fd()); }).join();
    EXPECT_EQ(in_thread, 3);
    const pid_t child = fork();
    if (child == 0)
        _exit(waiting(port.fd()));
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(PortWaitingBytes, ARuleMakesTheRequestFailAndTheJournalTellsOfIt)
{
    const opened_file port(path, O_RDWR | O_NOCTTY);
    make_raw(port.fd());
    board.send(path, "abc");
    board.forget();
    board.fail(path, {.on = "ioctl", .error = EIO, .times = 1});
    EXPECT_EQ(waiting(port.fd()), -EIO);
    EXPECT_EQ(waiting(port.fd()), 3);
    EXPECT_EQ(error_of(ioctl(port.fd(), FIONREAD, nullptr)), EFAULT);

    const auto told = board.events_of({"ioctl"});
    ASSERT_EQ(told.size(), 3U);
    for (const auto& each : told) {
        EXPECT_EQ(each.path, path);
        EXPECT_EQ(each.request, static_cast<std::uint32_t>(FIONREAD));
        EXPECT_EQ(each.pid, getpid());
    }
    EXPECT_EQ(told[0].error, "EIO");
    const int count = 3;
    EXPECT_EQ(told[1].data, std::string(reinterpret_cast<const char*>(&count), sizeof count));
    EXPECT_EQ(told[2].error, "EFAULT");
}

TEST_F(PortWaitingBytes, APortThatWasUnpluggedFails)
{
    const opened_file port(path, O_RDWR | O_NOCTTY);
    board.remove(path);
    EXPECT_EQ(waiting(port.fd()), -EIO);
}

TEST_F(PortWaitingBytes, OtherDescriptorsTellTheirOwn)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "abc", 3), 3);
    EXPECT_EQ(waiting(ends[0]), 3);
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(waiting(ends[0]), -EBADF);
    EXPECT_EQ(waiting(opened_file(path, O_PATH).fd()), -EBADF);
}

TEST_F(PortWaitingBytes, AreAnErrorOnceTheOtherSideHungUp)
{
    const opened_file port(path, O_RDWR | O_NOCTTY);
    make_raw(port.fd());
    board.send(path, "abc");
    board.hang_up(path);
    EXPECT_EQ(waiting(port.fd()), -EIO);
}

TEST_F(PortWaitingBytes, AreCountedWhenTheProgramTookTheNameAway)
{
    const opened_file port(path, O_RDWR | O_NOCTTY);
    make_raw(port.fd());
    board.send(path, "abc");
    ASSERT_EQ(unlink(path.c_str()), 0);
    EXPECT_EQ(waiting(port.fd()), 3);
}
