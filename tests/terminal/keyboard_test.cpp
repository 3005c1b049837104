/** A person at a keyboard: keys, signals and window of the caller's terminal reach the program as without kt-terminal.
 */
#include "desk.h"

#include <chrono>
#include <gmock/gmock.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr auto longest = 50s;

/** A program on a pseudo terminal, with what it prints and a person who types. */
class seat {
public:
    seat(const desk& user, const words& command)
    {
        const words environment = user.environment();
        std::vector<char*> arguments;
        for (const std::string& each : command)
            arguments.push_back(const_cast<char*>(each.c_str()));
        arguments.push_back(nullptr);
        const winsize size{33, 77, 0, 0};
        child_ = forkpty(&screen_, nullptr, nullptr, &size);
        if (child_ != 0)
            return;
        for (const std::string& each : environment)
            putenv(const_cast<char*>(each.c_str()));
        execv(arguments[0], arguments.data());
        _exit(99);
    }
    ~seat()
    {
        close(screen_);
        if (child_ > 0)
            (void)status_of_child(child_);
    }
    seat(const seat&) = delete;
    seat& operator=(const seat&) = delete;

    /** Reads until this text has come; false: it does not come. */
    bool sees(const std::string& text)
    {
        const auto end = std::chrono::steady_clock::now() + longest;
        while (seen_.find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > end || !read_some(100ms))
                return false;
        }
        return true;
    }

    void types(const std::string& keys) const
    {
        EXPECT_EQ(write(screen_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    /** Types these keys again and again until this text has come: a shell drops keys while it changes what it does. */
    bool gets(const std::string& text, const std::string& keys)
    {
        const auto end = std::chrono::steady_clock::now() + longest;
        while (seen_.find(text) == std::string::npos && std::chrono::steady_clock::now() < end) {
            types(keys);
            for (int i = 0; i < 5 && seen_.find(text) == std::string::npos; ++i)
                (void)read_some(100ms);
        }
        return seen_.find(text) != std::string::npos;
    }

    /** From here on only what comes later is seen. */
    void forgets() { seen_.clear(); }

    void resizes(unsigned short rows, unsigned short columns) const
    {
        const winsize size{rows, columns, 0, 0};
        EXPECT_EQ(ioctl(screen_, TIOCSWINSZ, &size), 0);
    }

    /** Reads on to the end; types these keys again and again meanwhile. */
    int status(const std::string& keys = {})
    {
        using clock = std::chrono::steady_clock;
        const auto end = clock::now() + longest;
        auto typed = clock::now();
        while (read_some(500ms) && clock::now() < end) {
            if (clock::now() - typed < 500ms)
                continue; // it was the echo of the last keys
            types(keys);
            typed = clock::now();
        }
        const int status = status_of_child(child_);
        child_ = -1;
        return status;
    }

    const std::string& screen() const { return seen_; }

private:
    /** False: the other side has closed. */
    bool read_some(std::chrono::milliseconds most)
    {
        pollfd waited{screen_, POLLIN, 0};
        if (poll(&waited, 1, static_cast<int>(most.count())) != 1)
            return true;
        char part[1024];
        const ssize_t length = read(screen_, part, sizeof part);
        if (length > 0)
            seen_.append(part, static_cast<std::size_t>(length));
        return length > 0;
    }

    int screen_ = -1;
    pid_t child_ = -1;
    std::string seen_;
};

const std::string interrupt = "\x03";
const std::string quit = "\x1c";
const std::string suspend = "\x1a";

} // namespace

TEST(Keyboard, InterruptEndsTheProgram)
{
    const desk user;
    seat person(user, {KT_TERMINAL, "--", "bash", "-c", "echo ready; exec sleep 1000"});
    ASSERT_TRUE(person.sees("ready"));
    person.types(interrupt);
    EXPECT_EQ(person.status(), 130);
    EXPECT_TRUE(user.becomes_quiet());
}

TEST(Keyboard, QuitEndsTheProgram)
{
    const desk user;
    seat person(user, {KT_TERMINAL, "--", "bash", "-c", "ulimit -c 0; echo ready; exec sleep 1000"});
    ASSERT_TRUE(person.sees("ready"));
    EXPECT_EQ(person.status(quit), 131) << "bash itself takes no notice, until it has become sleep";
}

TEST(Keyboard, AProgramCanTakeTheInterrupt)
{
    const desk user;
    seat person(user, {KT_TERMINAL, "--", "bash", "-c",
                       "trap 'echo caught; exit 5' INT; echo ready; while true; do sleep 0.1; done"});
    ASSERT_TRUE(person.sees("ready"));
    person.types(interrupt);
    EXPECT_EQ(person.status(), 5);
    EXPECT_THAT(person.screen(), HasSubstr("caught"));
}

TEST(Keyboard, TypedLinesReachTheProgram)
{
    const desk user;
    seat person(
        user, {KT_TERMINAL, "--", "bash", "-c", "echo ready; read line; echo \"got <$line>\"; read line || echo end"});
    ASSERT_TRUE(person.sees("ready"));
    person.types("a word\n");
    ASSERT_TRUE(person.sees("got <a word>"));
    person.types("\x04");
    EXPECT_TRUE(person.sees("end"));
    EXPECT_EQ(person.status(), 0);
}

TEST(Keyboard, TheWindowsSizeIsSeenAndItsChangeTold)
{
    const desk user;
    seat person(user, {KT_TERMINAL, "--", "bash", "-c",
                       "trap 'stty size; exit 4' WINCH; stty size; echo ready; while true; do sleep 0.1; done"});
    ASSERT_TRUE(person.sees("ready"));
    EXPECT_THAT(person.screen(), HasSubstr("33 77"));
    person.resizes(44, 88);
    EXPECT_TRUE(person.sees("44 88"));
    EXPECT_EQ(person.status(), 4);
}

TEST(Keyboard, AShellInsideControlsItsJobs)
{
    const desk user;
    seat person(user, {KT_TERMINAL, "--", "bash", "--norc", "--noprofile", "-i"});
    person.types("PS1=; echo rea''dy\n");
    ASSERT_TRUE(person.sees("ready"));
    person.types("echo beg''un; sleep 1000; echo status=$?\n");
    ASSERT_TRUE(person.sees("begun"));
    ASSERT_TRUE(person.gets("status=148", suspend)) << "128 + SIGTSTP";
    EXPECT_THAT(person.screen(), HasSubstr("Stopped"));
    person.forgets();
    person.types("fg\n");
    ASSERT_TRUE(person.sees("sleep 1000"));
    EXPECT_TRUE(person.gets("after", interrupt + "echo aft''er\n"));
    EXPECT_EQ(person.status("exit 4\n"), 4);
}

TEST(Keyboard, TheCallersShellHasItsTerminalBackAfterwards)
{
    const desk user;
    seat person(user,
                {"/bin/bash", "-c",
                 std::string(KT_TERMINAL) + " -- bash --norc --noprofile -i; read -t 30 x; echo \"back: $x\"; exit 6"});
    person.types("PS1=; echo rea''dy\n");
    ASSERT_TRUE(person.sees("ready"));
    person.types("exit\n");
    std::this_thread::sleep_for(500ms);
    person.types("word\n");
    EXPECT_TRUE(person.sees("back: word"));
    EXPECT_EQ(person.status(), 6);
}

TEST(Keyboard, SuspendingStopsTheWholeTerminal)
{
    const desk user;
    seat person(user, {"/bin/bash", "--norc", "--noprofile", "-i"});
    person.types(std::string("PS1=; ") + KT_TERMINAL + " -- bash -c 'echo rea\"\"dy; sleep 5; exit 8'\n");
    ASSERT_TRUE(person.sees("ready"));
    person.types(suspend);
    ASSERT_TRUE(person.sees("Stopped"));
    person.types("fg; echo status=$?\n");
    EXPECT_TRUE(person.sees("status=8")) << person.screen();
    person.types("exit\n");
    EXPECT_EQ(person.status(), 0);
}

TEST(Keyboard, TheNameOfTheCallersTerminalIsUnknownInside)
{
    const desk user;
    seat person(user, {KT_TERMINAL, "--", "bash", "-c",
                       "test -t 0 && echo is one; tty; echo \"tty says $?\"; echo k > /dev/tty"});
    EXPECT_EQ(person.status(), 0);
    EXPECT_THAT(person.screen(), HasSubstr("is one"));
    EXPECT_THAT(person.screen(), Not(HasSubstr("/dev/pts/"))) << "that name would be another terminal inside";
    EXPECT_THAT(person.screen(), HasSubstr("tty says 1"));
    EXPECT_THAT(person.screen(), HasSubstr("k\r\n")) << "/dev/tty leads to it all the same";
}
