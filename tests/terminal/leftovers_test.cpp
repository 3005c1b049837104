/** However a terminal ends, no process and no socket of it is left. */
#include "desk.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <unistd.h>

using namespace kt::tests;
using namespace std::chrono_literals;

namespace {

pid_t parent_of(pid_t process)
{
    const std::string line = desk_file("/proc/" + std::to_string(process) + "/stat");
    const std::size_t name_end = line.rfind(')');
    return name_end == std::string::npos ? 0 : std::stoi(line.substr(name_end + 4));
}

/** The set-up helper: the child of kt-terminal that has the terminal's process 1 below it. */
pid_t helper_of(const desk& user, pid_t terminal)
{
    for (const pid_t each : user.processes()) {
        if (parent_of(each) == terminal)
            return each;
    }
    return -1;
}

/** Starts a terminal whose program, its child and a reader that hangs all wait. */
running_terminal start_busy(const desk& user)
{
    running_terminal running = user.start("busy", {"--", "bash", "-c",
                                                   "until test -e /kt/go; do sleep 0.02; done; sleep 1000 & "
                                                   "cat /sys/class/kt_misc/ioctl/gsm_pwr & echo > /kt/ready; wait"});
    auto board = running.board();
    board.fail("/sys/class/kt_misc/ioctl/gsm_pwr", {.on = "read", .hang = true});
    (void)board.exchange(R"({"op":"set","path":"/kt/go","text":""})");
    EXPECT_TRUE(board.wait({.kind = "create", .path = "/kt/ready"}, 60s).has_value());
    EXPECT_TRUE(board.wait({.kind = "open", .path = "/sys/class/kt_misc/ioctl/gsm_pwr"}, 60s).has_value());
    EXPECT_GE(user.processes().size(), 5U);
    return running;
}

} // namespace

TEST(Leftovers, BackgroundProcessesEndWithTheProgram)
{
    const desk user;
    EXPECT_EQ(user.script("sleep 1000 & (setsid sleep 1000 &) ; nohup sleep 1000 > /dev/null 2>&1 & exit 3").status, 3);
    EXPECT_TRUE(user.becomes_quiet());
    EXPECT_TRUE(std::filesystem::is_empty(user.folder() + "/run/kt-terminal"));
}

TEST(Leftovers, NothingOutlivesATerminalThatIsKilled)
{
    const desk user;
    running_terminal running = start_busy(user);
    EXPECT_EQ(kill(running.process(), SIGKILL), 0);
    EXPECT_EQ(running.status(), 137);
    EXPECT_TRUE(user.becomes_quiet());
}

TEST(Leftovers, NothingOutlivesItsHelper)
{
    const desk user;
    running_terminal running = start_busy(user);
    const pid_t helper = helper_of(user, running.process());
    ASSERT_GT(helper, 0);
    EXPECT_EQ(kill(helper, SIGKILL), 0);
    EXPECT_EQ(running.status(), 125);
    EXPECT_TRUE(user.becomes_quiet());
}

TEST(Leftovers, AHangingReaderIsEndedByStop)
{
    const desk user;
    running_terminal running = start_busy(user);
    (void)running.board().exchange(R"({"op":"stop"})");
    EXPECT_EQ(running.status(), 137);
    EXPECT_TRUE(user.becomes_quiet());
}

TEST(Leftovers, AKilledTerminalsNameCanBeUsedAgain)
{
    const desk user;
    {
        running_terminal first = user.start("same", {"--", "sleep", "1000"});
        (void)first.board();
        EXPECT_EQ(kill(first.process(), SIGKILL), 0);
        EXPECT_EQ(first.status(), 137);
    }
    EXPECT_TRUE(user.becomes_quiet());
    EXPECT_EQ(user.terminal({"ctl", "terminals"}).out, "");
    EXPECT_EQ(user.terminal({"--name", "same", "true"}).status, 0);
}
