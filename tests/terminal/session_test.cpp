/** kt-terminal as a whole: what a person at the shell sees of a run. */
#include "terminal/client/virtual_terminal.h"
#include "terminal/json/json.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <signal.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace kt::terminal;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

/** Every run has its sockets and files in a folder of the test's own. */
class session : public testing::Test {
protected:
    session()
    {
        char made[] = "/tmp/kt-session-XXXXXX";
        folder_ = mkdtemp(made);
        setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
    }
    ~session() override { std::filesystem::remove_all(folder_); }

    std::string in_folder(const std::string& name) const { return folder_ + "/" + name; }

    std::string text_of(const std::string& name) const
    {
        std::ifstream file(in_folder(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /** Runs a shell line in which $T is kt-terminal; its output goes to out and error. */
    int run(const std::string& line)
    {
        setenv("T", KT_TERMINAL, 1);
        const int status = std::system(("{ " + line + "\n} >" + in_folder("out") + " 2>" + in_folder("error")).c_str());
        out = text_of("out");
        error = text_of("error");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /** Starts a terminal that goes on; its name is its socket's. */
    pid_t start(const std::string& name, const std::vector<std::string>& program)
    {
        std::vector<std::string> words = {KT_TERMINAL, "--name", name, "--"};
        words.insert(words.end(), program.begin(), program.end());
        std::vector<char*> arguments;
        for (std::string& each : words)
            arguments.push_back(each.data());
        arguments.push_back(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            execv(KT_TERMINAL, arguments.data());
            _exit(99);
        }
        return child;
    }

    /** Connects as soon as the terminal is there. */
    virtual_terminal connect(const std::string& name)
    {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        for (;;) {
            try {
                return virtual_terminal(in_folder("kt-terminal/" + name + ".socket"));
            } catch (const terminal_error&) {
                if (std::chrono::steady_clock::now() > deadline)
                    throw;
                std::this_thread::sleep_for(5ms);
            }
        }
    }

    static int end_of(pid_t child)
    {
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string folder_;
    std::string out;
    std::string error;
};

TEST_F(session, ShowsTheBoardThatWasChosen)
{
    EXPECT_EQ(run("$T -- cat /sys/class/kt_misc/sysinfo/hardwarever && $T --board 90 cat "
                  "/sys/class/kt_misc/sysinfo/hardwarever"),
              0);
    EXPECT_EQ(out, "500\n90\n");
    EXPECT_EQ(error, "");
}

TEST_F(session, PassesTheExitStatusOn)
{
    EXPECT_EQ(run("$T -- true"), 0);
    EXPECT_EQ(run("$T -- sh -c 'exit 7'"), 7);
    EXPECT_EQ(run("$T -- bash -c 'kill -USR1 $$'"), 128 + SIGUSR1);
    EXPECT_EQ(error, "");
}

TEST_F(session, FailsInOneSentence)
{
    EXPECT_EQ(run("$T -- no-such-program"), 127);
    EXPECT_THAT(error, StartsWith("kt-terminal: cannot run no-such-program"));
    EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1);
    EXPECT_EQ(run("$T -- /etc/passwd"), 126);
    EXPECT_THAT(error, StartsWith("kt-terminal: cannot run /etc/passwd"));
    EXPECT_EQ(run("$T --board 7 -- true"), 125);
    EXPECT_EQ(error, "kt-terminal: there is no board 7; --list-boards shows those there are\n");
    EXPECT_EQ(run("$T"), 125);
    EXPECT_EQ(run("$T --log /no/such/folder/log -- true"), 125);
    EXPECT_EQ(error, "kt-terminal: log file /no/such/folder/log: No such file or directory\n");
    std::ofstream(in_folder("bad.json")) << R"({ "attributes": { "/dev/": { "pts": 1 } } })";
    EXPECT_EQ(run("$T --board " + in_folder("bad.json") + " -- true"), 125);
    EXPECT_EQ(error, "kt-terminal: board bad: its attributes: /dev/pts: the place is taken\n");
}

TEST_F(session, SaysWhenTheBoardGoesDown)
{
    EXPECT_EQ(run("$T -- sh -c 'reboot -f; sleep 20'"), 0);
    EXPECT_EQ(error, "kt-terminal: the board was restarted\n");
    EXPECT_EQ(run("$T -- sh -c 'poweroff; sleep 20'"), 0);
    EXPECT_EQ(error, "kt-terminal: the board was switched off\n");
}

TEST_F(session, TellsOfItself)
{
    EXPECT_EQ(run("$T --help"), 0);
    EXPECT_THAT(out, StartsWith("usage: kt-terminal"));
    EXPECT_EQ(run("$T --version"), 0);
    EXPECT_THAT(out, StartsWith("kt-terminal "));
    EXPECT_EQ(run("$T --list-boards"), 0);
    EXPECT_THAT(out, HasSubstr("500    hardware version 500"));
    EXPECT_EQ(run("$T ctl --help"), 0);
    EXPECT_THAT(out, StartsWith("usage: kt-terminal ctl"));
}

TEST_F(session, LogsEventsInOrder)
{
    EXPECT_EQ(run("$T --log " + in_folder("log") + R"( -- bash -c '
        echo 5 > /sys/class/kt_misc/ioctl/cam_led
        logger -t till -p user.err hello
        sh -c "hwclock -w"
        exit 3')"),
              3);
    std::ifstream log(in_folder("log"));
    std::vector<std::string> events;
    std::uint64_t number = 0;
    for (std::string line; std::getline(log, line);) {
        const auto happened = parsed_json(line);
        EXPECT_EQ(happened.at("seq"), ++number);
        const std::string kind = happened.at("kind");
        if (kind == "write" || kind == "syslog" || kind == "shell")
            events.push_back(kind + " " + happened.at("data").get<std::string>());
        else if (kind == "program")
            events.push_back(kind + " " + happened.at("path").get<std::string>());
        else if (kind == "exit")
            events.push_back(kind + " " + happened.at("result").dump());
    }
    EXPECT_THAT(events, ElementsAre("write 5\n", "syslog hello", "shell hwclock -w", "program hwclock", "exit 3"));
}

TEST_F(session, KeepsStateWhereItIsTold)
{
    EXPECT_EQ(run("$T --state " + in_folder("state") + " -- sh -c 'echo kept > /mnt/data/a'"), 0);
    EXPECT_EQ(run("$T --state " + in_folder("state") + " -- cat /mnt/data/a"), 0);
    EXPECT_EQ(out, "kept\n");
    EXPECT_EQ(run("$T -- cat /mnt/data/a"), 1);
}

TEST_F(session, ProgramsInsideReachTheirOwnTerminal)
{
    EXPECT_EQ(run("$T -- $T ctl get /sys/class/kt_misc/sysinfo/hardwarever"), 0);
    EXPECT_EQ(out, "500\n");
}

TEST_F(session, IsControlledFromOutside)
{
    const pid_t child = start("one", {"bash", "-c", "echo 1 > /sys/class/kt_misc/ioctl/cam_led; sleep 60"});
    virtual_terminal board = connect("one");
    const auto wrote = board.wait({.kind = "write", .path = "/sys/class/kt_misc/ioctl/cam_led"}, 20s);
    ASSERT_TRUE(wrote);
    EXPECT_EQ(wrote->data, "1\n");
    EXPECT_GT(wrote->pid, 0);
    EXPECT_LT(wrote->pid, 100); // as the program knows itself
    EXPECT_EQ(board.text("/sys/class/kt_misc/ioctl/cam_led"), "1\n");
    (void)board.exchange(R"({"op":"stop"})");
    EXPECT_EQ(end_of(child), 128 + SIGKILL);
    EXPECT_TRUE(std::filesystem::is_empty(in_folder("kt-terminal")));
}

TEST_F(session, EndsWhileTheBoardSleeps)
{
    for (const char* program :
         {"echo mem > /sys/power/state", "echo mem > /sys/power/state & echo freeze > /sys/power/state",
          "echo drv > /sys/power/wake_lock; cat /sys/power/wakeup_count & echo mem > /sys/power/state"}) {
        const pid_t child = start("sleeper", {"bash", "-c", program});
        virtual_terminal board = connect("sleeper");
        EXPECT_TRUE(board.wait({.kind = "sleep"}, 20s)) << program;
        EXPECT_EQ(run("$T ctl --name sleeper stop"), 0);
        EXPECT_EQ(end_of(child), 128 + SIGKILL) << program;
    }
}

TEST_F(session, EndsTheProgramOnSigtermAndSighup)
{
    for (const int number : {SIGTERM, SIGHUP}) {
        const pid_t child = start("one", {"bash", "-c", "echo 1 > /sys/class/kt_misc/ioctl/cam_led; sleep 60"});
        ASSERT_TRUE(connect("one").wait({.kind = "write"}, 20s)); // the program runs
        EXPECT_EQ(kill(child, number), 0);
        EXPECT_EQ(end_of(child), 128 + SIGKILL);
    }
}

TEST_F(session, LeavesSigintToTheProgram)
{
    const pid_t child = start("one", {"bash", "-c", "echo 1 > /sys/class/kt_misc/ioctl/cam_led; sleep 1; exit 4"});
    ASSERT_TRUE(connect("one").wait({.kind = "write"}, 20s));
    EXPECT_EQ(kill(child, SIGINT), 0); // not from the keyboard: only kt-terminal gets it
    EXPECT_EQ(end_of(child), 4);
}

TEST_F(session, RunsBesideOthers)
{
    std::vector<pid_t> children;
    for (int i = 0; i < 10; ++i)
        children.push_back(
            start("t" + std::to_string(i),
                  {"bash", "-c",
                   "echo $0 > /sys/class/kt_misc/ioctl/cam_led; read x < /sys/class/kt_misc/ioctl/cam_led; exit $x",
                   std::to_string(i)}));
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(end_of(children[static_cast<std::size_t>(i)]), i);
    EXPECT_TRUE(std::filesystem::is_empty(in_folder("kt-terminal")));
}

} // namespace
