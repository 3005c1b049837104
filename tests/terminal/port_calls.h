/** Serial port calls as a program makes them, on a port that the test has plugged in. */
#pragma once

#include "file_calls.h"
#include "terminal/client/virtual_terminal.h"

#include <chrono>
#include <csignal>
#include <future>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>

namespace kt::tests {

using namespace std::chrono_literals;

/** How a call ended. */
struct call_result {
    int error = 0;
    std::string bytes{};
    std::size_t count = 0;
    std::chrono::steady_clock::duration took{};

    bool operator==(const call_result& other) const
    {
        return error == other.error && bytes == other.bytes && count == other.count;
    }
};

inline void PrintTo(const call_result& shown, std::ostream* out)
{
    *out << "error " << shown.error << ", bytes \"" << shown.bytes << "\", count " << shown.count;
}

inline call_result gave(std::string bytes)
{
    const std::size_t count = bytes.size();
    return {.bytes = std::move(bytes), .count = count};
}

inline call_result failed(int error)
{
    return {.error = error};
}

inline call_result read_now(int fd, std::size_t size)
{
    call_result result;
    result.bytes.resize(size);
    const auto start = std::chrono::steady_clock::now();
    const ssize_t got = read(fd, result.bytes.data(), size);
    result.error = error_of(got);
    result.took = std::chrono::steady_clock::now() - start;
    result.count = got < 0 ? 0 : static_cast<std::size_t>(got);
    result.bytes.resize(result.count);
    return result;
}

inline call_result write_now(int fd, std::string_view bytes)
{
    call_result result;
    const auto start = std::chrono::steady_clock::now();
    const ssize_t put = write(fd, bytes.data(), bytes.size());
    result.error = error_of(put);
    result.took = std::chrono::steady_clock::now() - start;
    result.count = put < 0 ? 0 : static_cast<std::size_t>(put);
    return result;
}

/** A call on a thread of its own, which a signal can interrupt. */
class waiting_call {
public:
    template <typename Call>
    explicit waiting_call(Call call)
    {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, nullptr);
        std::packaged_task<call_result()> task(std::move(call));
        result_ = task.get_future();
        thread_ = std::thread(std::move(task));
    }
    ~waiting_call()
    {
        while (result_.valid() && result_.wait_for(20ms) != std::future_status::ready)
            interrupt();
        if (thread_.joinable())
            thread_.join();
    }
    waiting_call(const waiting_call&) = delete;
    waiting_call& operator=(const waiting_call&) = delete;

    /** False when it ended within this time. */
    bool waits(std::chrono::milliseconds time = 150ms) { return result_.wait_for(time) == std::future_status::timeout; }
    void interrupt() { pthread_kill(thread_.native_handle(), SIGUSR1); }

    /** What it gave; a call that does not end is interrupted. */
    call_result result()
    {
        if (waits(20s))
            ADD_FAILURE() << "the call does not end";
        while (waits(20ms))
            interrupt();
        call_result result = result_.get();
        thread_.join();
        return result;
    }

private:
    std::future<call_result> result_;
    std::thread thread_;
};

/** Sets the port to raw bytes at 115200 8N1; a read waits for @p vmin bytes or @p vtime tenths of a second. */
inline void make_raw(int fd, cc_t vmin = 1, cc_t vtime = 0)
{
    struct termios wanted {};
    ASSERT_EQ(tcgetattr(fd, &wanted), 0);
    cfmakeraw(&wanted);
    ASSERT_EQ(cfsetspeed(&wanted, B115200), 0);
    wanted.c_cc[VMIN] = vmin;
    wanted.c_cc[VTIME] = vtime;
    ASSERT_EQ(tcsetattr(fd, TCSANOW, &wanted), 0);
}

inline struct termios settings_of(int fd)
{
    struct termios now {};
    EXPECT_EQ(tcgetattr(fd, &now), 0);
    return now;
}

inline int queued(int fd)
{
    int count = -1;
    EXPECT_EQ(ioctl(fd, TIOCOUTQ, &count), 0);
    return count;
}

inline int modem_lines(int fd)
{
    int lines = 0;
    EXPECT_EQ(ioctl(fd, TIOCMGET, &lines), 0);
    return lines;
}

/** A port of the test's own. */
class port_test : public testing::Test {
protected:
    static inline const std::string path = "/dev/ttyACM7";

    port_test() { board.port(path); }

    /** close(2) does not wait until the board has seen it. */
    bool becomes_closed()
    {
        for (int i = 0; i < 1000 && board.line(path).open; ++i)
            std::this_thread::sleep_for(5ms);
        return !board.line(path).open;
    }

    terminal::virtual_terminal board;
};

} // namespace kt::tests
