/** The exit status and the last line of kt-terminal, for each way in which a program ends. */
#include "desk.h"

#include <csignal>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kt::tests;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(ExitStatus, IsTheProgramsOwn)
{
    const desk user;
    for (const int status : {0, 1, 7, 125, 255}) {
        const ended run = user.terminal({"--", "bash", "-c", "exit " + std::to_string(status)});
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(run.out, "");
    }
    EXPECT_EQ(user.terminal({"true"}).status, 0) << "without -- too";
}

TEST(ExitStatus, IsThatOfTheSignal)
{
    const desk user;
    EXPECT_EQ(user.script("kill -KILL $$").status, 128 + SIGKILL);
    EXPECT_EQ(user.script("kill -TERM $$").status, 128 + SIGTERM);
    EXPECT_EQ(user.script("ulimit -c 0; kill -SEGV $$").status, 128 + SIGSEGV);
}

TEST(ExitStatus, IsTheTerminalsOwnWhenItCannotStart)
{
    const desk user;
    for (const words& wrong : {words{"--board", "no-such", "true"}, words{"--frob", "true"}, words{"--board"}, words{},
                               words{"--bind", "/no/such", "true"}, words{"--log", "/no/such/log", "true"},
                               words{"--name", "a/b", "true"}}) {
        const ended run = user.terminal(wrong);
        EXPECT_EQ(run.status, 125);
        EXPECT_THAT(run.err, StartsWith("kt-terminal: "));
        EXPECT_EQ(run.out, "");
    }
}

TEST(ExitStatus, TellsAProgramThatCannotBeRun)
{
    const desk user;
    const std::string text = user.folder() + "/text";
    write_desk_file(text, "exit 9\n");
    const ended run = user.terminal({"--", "./text"});
    EXPECT_EQ(run.status, 126);
    EXPECT_THAT(run.err, AllOf(StartsWith("kt-terminal: cannot run ./text"), HasSubstr("chmod +x ./text")));
    EXPECT_EQ(user.terminal({"--", user.folder()}).status, 126);

    EXPECT_EQ(chmod(text.c_str(), 0755), 0);
    EXPECT_EQ(user.terminal({"--", "./text"}).status, 9) << "without a first line it is a script of the shell";
    write_desk_file(text, std::string("\177ELF\1\1\1\0garbage", 14));
    EXPECT_EQ(user.terminal({"--", "./text"}).status, 126);
}

TEST(ExitStatus, TellsAProgramThatIsNotFound)
{
    const desk user;
    const ended run = user.terminal({"--", "no-such-program"});
    EXPECT_EQ(run.status, 127);
    EXPECT_THAT(run.err, StartsWith("kt-terminal: cannot run no-such-program"));
    EXPECT_EQ(user.terminal({"--", "./no-such-program"}).status, 127);
    EXPECT_EQ(user.terminal({"--", "/usr/bin/no-such-program"}).status, 127);

    write_desk_file(user.folder() + "/script", "#!/no/such/interpreter\n");
    EXPECT_EQ(chmod((user.folder() + "/script").c_str(), 0755), 0);
    const ended script = user.terminal({"--", "./script"});
    EXPECT_EQ(script.status, 127);
    EXPECT_THAT(script.err, HasSubstr("its script's interpreter"));
}

TEST(ExitStatus, IsGoodWhenTheBoardWasRestarted)
{
    const desk user;
    for (const char* command : {"reboot", "/sbin/reboot -f", "exec reboot"}) {
        const ended run = user.script(std::string(command) + "; sleep 1000; exit 9");
        EXPECT_EQ(run.status, 0) << command;
        EXPECT_EQ(run.err, "kt-terminal: the board was restarted\n");
    }
}

TEST(ExitStatus, IsGoodWhenTheBoardWasSwitchedOff)
{
    const desk user;
    for (const char* command : {"poweroff", "halt", "poweroff -f"}) {
        const ended run = user.script(std::string(command) + "; sleep 1000; exit 9");
        EXPECT_EQ(run.status, 0) << command;
        EXPECT_EQ(run.err, "kt-terminal: the board was switched off\n");
    }
}

TEST(ExitStatus, KnowsTheSystemCallsBehind)
{
    const desk user;
    const ended restart = user.terminal({"--", KT_DESK_HELPER, "restart"});
    EXPECT_EQ(restart.status, 0);
    EXPECT_EQ(restart.err, "kt-terminal: the board was restarted\n");
    const ended off = user.terminal({"--", KT_DESK_HELPER, "power-off"});
    EXPECT_EQ(off.status, 0);
    EXPECT_EQ(off.err, "kt-terminal: the board was switched off\n");
}

TEST(ExitStatus, IsThatOfAKillWhenItIsStopped)
{
    const desk user;
    running_terminal by_control = user.start("one", {"--", "sleep", "1000"});
    (void)by_control.board().exchange(R"({"op":"stop"})");
    EXPECT_EQ(by_control.status(), 128 + SIGKILL);

    running_terminal by_signal = user.start("two", {"--", "sh", "-c", "exec sleep 1000"});
    EXPECT_TRUE(by_signal.board().wait({.kind = "shell"}, std::chrono::seconds(50)).has_value());
    EXPECT_EQ(kill(by_signal.process(), SIGTERM), 0);
    EXPECT_EQ(by_signal.status(), 128 + SIGKILL);
    EXPECT_TRUE(user.becomes_quiet());
}
