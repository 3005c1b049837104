/** A line that is hung up, a port that is unplugged, and one whose name is removed. */
#include "port_calls.h"

#include <poll.h>
#include <sys/wait.h>

using namespace kt::tests;

namespace {

class PortHangUp : public port_test {
protected:
    void expect_hung_up(int fd)
    {
        EXPECT_EQ(read_now(fd, 10), gave(""));
        EXPECT_EQ(write_now(fd, "x"), failed(EIO));
        struct termios now {};
        EXPECT_EQ(error_of(tcgetattr(fd, &now)), EIO);
        pollfd waited{fd, POLLIN | POLLOUT, 0};
        EXPECT_EQ(poll(&waited, 1, 0), 1);
        EXPECT_EQ(waited.revents, POLLIN | POLLOUT | POLLHUP | POLLERR);
    }
};

} // namespace

TEST_F(PortHangUp, EndsWhatIsOpenAndNothingThatComesLater)
{
    const opened_file old(path, O_RDWR);
    make_raw(old.fd());
    board.send(path, "unread");
    board.hang_up(path);
    expect_hung_up(old.fd());
    EXPECT_FALSE(board.line(path).dtr);
    EXPECT_FALSE(board.line(path).open);

    const opened_file fresh(path, O_RDWR | O_NONBLOCK);
    EXPECT_TRUE(board.line(path).dtr);
    EXPECT_EQ(read_now(fresh.fd(), 10), failed(EAGAIN));
    board.send(path, "x");
    EXPECT_EQ(read_now(fresh.fd(), 10), gave("x"));
    expect_hung_up(old.fd());
}

TEST_F(PortHangUp, EndsEveryWaitingCall)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    board.hold(path, true);
    waiting_call reader([&] { return read_now(port.fd(), 10); });
    EXPECT_TRUE(reader.waits());
    EXPECT_EQ(write_now(port.fd(), std::string(4096, 'x')).count, 4096U);
    waiting_call writer([&] { return write_now(port.fd(), "more"); });
    waiting_call drain([&] { return failed(error_of(tcdrain(port.fd()))); });
    waiting_call waiter([&] {
        pollfd waited{port.fd(), POLLIN, 0};
        EXPECT_EQ(poll(&waited, 1, 20000), 1);
        return call_result{.count = static_cast<std::size_t>(waited.revents)};
    });
    EXPECT_TRUE(writer.waits());
    EXPECT_TRUE(drain.waits());
    EXPECT_TRUE(waiter.waits());
    board.hang_up(path);
    EXPECT_EQ(reader.result(), gave(""));
    EXPECT_EQ(writer.result(), failed(EIO));
    EXPECT_EQ(drain.result(), failed(EIO));
    EXPECT_EQ(waiter.result().count, std::size_t{POLLIN | POLLHUP | POLLERR});
}

TEST_F(PortHangUp, UnpluggingHangsUp)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    waiting_call reader([&] { return read_now(port.fd(), 10); });
    EXPECT_TRUE(reader.waits());
    board.remove(path);
    EXPECT_EQ(reader.result(), gave(""));
    expect_hung_up(port.fd());
    EXPECT_EQ(open_error(path, O_RDWR), ENOENT);

    board.port(path);
    const opened_file again(path, O_RDWR | O_NONBLOCK);
    EXPECT_EQ(again.error(), 0);
    EXPECT_NE(settings_of(again.fd()).c_lflag & ICANON, 0U) << "another device, as nobody has set it up yet";
    board.send(path, "x\n");
    EXPECT_EQ(read_now(again.fd(), 10), gave("x\n"));
    expect_hung_up(port.fd());
}

TEST_F(PortHangUp, AProgramsOwnRemovalOnlyTakesTheName)
{
    const opened_file port(path, O_RDWR);
    make_raw(port.fd());
    waiting_call reader([&] { return read_now(port.fd(), 10); });
    EXPECT_TRUE(reader.waits());
    ASSERT_EQ(unlink(path.c_str()), 0);
    EXPECT_EQ(open_error(path, O_RDWR), ENOENT);
    EXPECT_TRUE(reader.waits());
    EXPECT_EQ(write_now(port.fd(), "x").count, 1U);
    reader.interrupt();
    EXPECT_EQ(reader.result(), failed(EINTR));
}

TEST_F(PortHangUp, AProgramThatIsKilledWhileItWaitsLeavesThePortUsable)
{
    const pid_t child = fork();
    if (child == 0) {
        const int fd = open(path.c_str(), O_RDWR);
        char byte = 0;
        (void)!read(fd, &byte, 1);
        _exit(0);
    }
    for (int i = 0; i < 1000 && !board.line(path).open; ++i)
        std::this_thread::sleep_for(5ms);
    std::this_thread::sleep_for(100ms);
    ASSERT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    ASSERT_TRUE(becomes_closed());
    const opened_file port(path, O_RDWR | O_NONBLOCK);
    make_raw(port.fd());
    board.send(path, "mine");
    EXPECT_EQ(read_now(port.fd(), 10), gave("mine"));
}

TEST_F(PortHangUp, ATerminalCanEndWhileAReaderWaits)
{
    // The case's own end is the test: nobody ends this read but the terminal's going.
    const pid_t child = fork();
    if (child == 0) {
        const int fd = open(path.c_str(), O_RDWR);
        char byte = 0;
        (void)!read(fd, &byte, 1);
        _exit(0);
    }
    for (int i = 0; i < 1000 && !board.line(path).open; ++i)
        std::this_thread::sleep_for(5ms);
    EXPECT_TRUE(board.line(path).open);
}

TEST_F(PortHangUp, AnUnpluggedPortCannotBeOpenedAgainByWhoHasItStill)
{
    const opened_file port(path, O_RDWR);
    board.remove(path);
    const std::string again = "/proc/self/fd/" + std::to_string(port.fd());
    EXPECT_EQ(error_of(open(again.c_str(), O_RDWR)), EIO);
}
