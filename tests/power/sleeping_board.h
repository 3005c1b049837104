/** A board that a test sends to sleep by the library, and the words for what happens then. */
#pragma once

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <chrono>
#include <gtest/gtest.h>
#include <kt_driver/kt_driver.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kt::tests {

using lines = std::vector<std::string>;

inline constexpr const char* count_file = "/sys/power/wakeup_count";
inline constexpr const char* state_file = "/sys/power/state";
inline constexpr const char* event_file = KT_IOCTL_DIR "kt_pm_event";
inline constexpr const char* keepalive = KT_IOCTL_DIR "kt_wifi_keepalived";
inline constexpr const char* keypad = "/dev/input/event1";

inline const std::string no_heartbeat = "heartbeat_jiffies 0(ms),heartbeat_period 0(ms)\n";
inline const std::string to_sleep = "system: echo mem > /sys/power/state\n";
inline const std::string watches = "wifi wake up,will continue sleep after 5s \n";

inline std::string woken_by(int source)
{
    return "# hal kt_pm_wakeup_event " + std::to_string(source) + " #\n";
}

/** A board whose keys are open and untouched. */
class sleeping_board : public testing::Test {
protected:
    void SetUp() override
    {
        printed([] { kt_key_init(); });
        board.forget();
    }

    struct ended {
        int result = -2;
        std::string out;
        std::chrono::steady_clock::duration took{};
    };

    static ended run_loop()
    {
        ended end;
        const auto start = std::chrono::steady_clock::now();
        end.out = printed([&] { end.result = kt_auto_sleep_loop(); });
        end.took = std::chrono::steady_clock::now() - start;
        return end;
    }

    /** The person at the board: does things on a connection and thread of their own while the loop runs. */
    template <typename Doing>
    ended run_loop_while(Doing what)
    {
        terminal::virtual_terminal mine; // begins before the loop does, so that it misses nothing
        mine.forget();
        std::thread person([&] { what(mine); });
        const ended end = run_loop();
        person.join();
        return end;
    }

    /** Waits until the board has fallen asleep, and forgets what was before. */
    static void wait_asleep(terminal::virtual_terminal& mine)
    {
        ASSERT_TRUE(mine.wait({.kind = "sleep"}, std::chrono::seconds(60)));
        mine.forget();
    }

    terminal::virtual_terminal board;
};

inline int times_in(const std::string& text, const std::string& what)
{
    int times = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++times;
    return times;
}

/** All that the loop did to the board, its polling of keys apart. */
inline lines steps(terminal::virtual_terminal& board)
{
    lines seen = told(board, {"open", "read", "write", "shell", "syslog"});
    std::erase_if(seen, [](const std::string& line) { return line.find("/dev/input/") != std::string::npos; });
    return seen;
}

inline const lines looks_for_heartbeat = {std::string("open O_RDWR ") + keepalive,
                                          std::string("read ") + keepalive + " 0\n"};

/** What was written back of the counts of wake-up events, in order. */
inline lines counts(terminal::virtual_terminal& board)
{
    return board.writes(count_file);
}

inline lines handshake(const std::string& count)
{
    return {std::string("open O_RDONLY ") + count_file, std::string("read ") + count_file + " " + count,
            std::string("open O_WRONLY ") + count_file, std::string("write ") + count_file + " " + count};
}

/** From a handshake that the kernel took to the event that ended the sleep. */
inline lines night(const std::string& count, int source)
{
    return joined(
        {handshake(count), looks_for_heartbeat,
         lines{std::string("shell echo mem > ") + state_file, std::string("open O_WRONLY|O_TRUNC ") + state_file,
               std::string("write ") + state_file + " mem\n", std::string("open O_RDONLY ") + event_file,
               std::string("read ") + event_file + " " + std::to_string(source) + "\n"}});
}

} // namespace kt::tests
