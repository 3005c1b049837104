/** The programs that lie over the system's: what is recorded of them, and what they are made to do. */
#include "file_calls.h"
#include "tests/support/journal_lines.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <gmock/gmock.h>
#include <sys/wait.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::event;
using kt::terminal::virtual_terminal;
using testing::ElementsAre;

namespace {

/** Exit status of a shell command. */
int ran(const std::string& command)
{
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/** What a command prints. */
std::string output_of(const std::string& command)
{
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return "<no shell>";
    std::string all;
    for (int byte = std::getc(pipe); byte != EOF; byte = std::getc(pipe))
        all += static_cast<char>(byte);
    pclose(pipe);
    return all;
}

} // namespace

TEST(StandIns, EachShellCommandIsTold)
{
    virtual_terminal board;
    board.forget();
    EXPECT_EQ(ran("exit 3"), 3);
    EXPECT_EQ(output_of("echo a  'b c'"), "a b c\n");
    EXPECT_EQ(ran("sh -c 'exit 4'"), 4);
    EXPECT_THAT(board.commands(), ElementsAre("exit 3", "echo a  'b c'", "sh -c 'exit 4'", "exit 4"));
    const std::vector<event> shells = board.events_of({"shell"});
    ASSERT_FALSE(shells.empty());
    EXPECT_THAT(shells[0].arguments, ElementsAre("sh", "-c", "exit 3"));
    EXPECT_NE(shells[0].pid, getpid()) << "the shell is a child";
}

TEST(StandIns, TheShellKnowsEscapesInEcho)
{
    EXPECT_EQ(output_of("echo -e 'a\\tb'"), "a\tb\n");
}

TEST(StandIns, AProgramIsToldWithItsArgumentsAndDoesNothing)
{
    virtual_terminal board;
    board.forget();
    EXPECT_EQ(ran("hwclock -w; rfkill block 'a b' ''"), 0);
    const std::vector<event> programs = board.events_of({"program"});
    ASSERT_EQ(programs.size(), 2U);
    EXPECT_EQ(programs[0].path, "hwclock");
    EXPECT_THAT(programs[0].arguments, ElementsAre("hwclock", "-w"));
    EXPECT_EQ(programs[1].path, "rfkill");
    EXPECT_THAT(programs[1].arguments, ElementsAre("rfkill", "block", "a b", ""));
}

TEST(StandIns, ExitStatusAndOutputAreSetFromTheOtherSide)
{
    virtual_terminal board;
    board.program("fw_printenv", 0, "bootdelay=3\n");
    EXPECT_EQ(output_of("fw_printenv bootdelay"), "bootdelay=3\n");
    board.program("fw_printenv", 5);
    EXPECT_EQ(ran("fw_printenv"), 5);
    board.program("rfkill", 255);
    EXPECT_EQ(ran("/usr/sbin/rfkill list"), 255) << "by its path as by its name";
}

TEST(StandIns, LongOutputComesWhole)
{
    virtual_terminal board;
    const std::string text(30'000, 'x');
    board.program("aplay", 0, text);
    EXPECT_EQ(output_of("aplay"), text);
}

TEST(StandIns, LongArgumentsAreToldWhole)
{
    virtual_terminal board;
    board.forget();
    const std::string word(100'000, 'w');
    EXPECT_EQ(ran("madplay " + word), 0);
    const std::vector<event> programs = board.events_of({"program"});
    ASSERT_EQ(programs.size(), 1U);
    EXPECT_THAT(programs[0].arguments, ElementsAre("madplay", word));
}

TEST(StandIns, AnotherProgramCanRunInItsPlace)
{
    virtual_terminal board;
    board.exchange(R"({"op":"program","name":"aplay","run":"/bin/echo"})");
    EXPECT_EQ(output_of("aplay one two"), "one two\n");
}

TEST(StandIns, ARunCanFail)
{
    virtual_terminal board;
    board.fail("hwclock", {.on = "run", .error = EIO, .times = 1});
    board.forget();
    EXPECT_EQ(ran("hwclock 2> /dev/null"), 126);
    EXPECT_EQ(ran("hwclock"), 0);
    const std::vector<event> programs = board.events_of({"program"});
    ASSERT_EQ(programs.size(), 2U);
    EXPECT_EQ(programs[0].error, "EIO");
    EXPECT_EQ(programs[1].error, "");
}

TEST(StandIns, ARunCanTakeTime)
{
    virtual_terminal board;
    board.fail("hwclock", {.on = "run", .delay = 300ms});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ran("hwclock"), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
}

TEST(StandIns, TheShellCanFail)
{
    virtual_terminal board;
    board.fail("sh", {.on = "run", .error = ENOMEM, .times = 1});
    EXPECT_EQ(ran("echo never > /kt/ran 2> /dev/null"), 126);
    EXPECT_FALSE(exists("/kt/ran"));
}

TEST(StandIns, ARebootCanBeOnlyRecorded)
{
    virtual_terminal board;
    board.exchange(R"({"op":"program","name":"reboot","power":"","status":1})");
    board.forget();
    EXPECT_EQ(ran("reboot -f"), 1);
    const std::vector<event> programs = board.events_of({"program", "power"});
    ASSERT_EQ(programs.size(), 1U);
    EXPECT_THAT(programs[0].arguments, ElementsAre("reboot", "-f"));
}

TEST(StandIns, TheBoardsScriptsAreRecordedWhereTheyLie)
{
    virtual_terminal board;
    board.program("flash_logo.sh", 9, "shown\n");
    board.forget();
    EXPECT_EQ(output_of("/kt/root/flash_logo.sh now"), "shown\n");
    const std::vector<event> programs = board.events_of({"program"});
    ASSERT_EQ(programs.size(), 1U);
    EXPECT_EQ(programs[0].path, "flash_logo.sh");
    EXPECT_THAT(programs[0].arguments, ElementsAre("/kt/root/flash_logo.sh", "now"));
}
