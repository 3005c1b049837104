/** system_helper: echo, run, result, and the cut. */
#include <kt_driver/base.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/wait.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using commands = std::vector<std::string>;

TEST(SystemHelper, EchoesTheFormattedCommandAndRunsIt)
{
    virtual_terminal board;
    int status = -1;
    const std::string text = printed([&] { status = system_helper("echo %d %s 100%% %04x", 7, "seven", 0xab); });

    EXPECT_EQ(text, "system: echo 7 seven 100% 00ab\n7 seven 100% 00ab\n");
    EXPECT_EQ(board.commands(), commands{"echo 7 seven 100% 00ab"});
    EXPECT_EQ(status, 0);
}

TEST(SystemHelper, GivesTheShellsWaitStatus)
{
    int status = 0;
    printed([&] { status = system_helper("exit %d", 3); });
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);

    printed([&] { status = system_helper("kill -%s $$", "KILL"); });
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);

    printed([&] { status = system_helper("%s", "no-such-program-on-this-board 2>/dev/null"); });
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 127);
}

TEST(SystemHelper, CutsACommandAt511Characters)
{
    for (const std::size_t length : {510u, 511u, 512u, 513u, 600u, 5000u}) {
        virtual_terminal board;
        board.forget();
        std::string command = "echo " + std::string(length - 6, 'x') + "y"; // the last character shows where the cut is
        int status = -1;
        const std::string text = printed([&] { status = system_helper("%s", command.c_str()); });

        command = command.substr(0, 511);
        EXPECT_EQ(text, "system: " + command + "\n" + command.substr(5) + "\n") << length;
        EXPECT_EQ(board.commands(), commands{command}) << length;
        EXPECT_EQ(status, 0) << length;
    }
}

TEST(SystemHelper, TheCutCountsTheFormattedText)
{
    virtual_terminal board;
    board.forget();
    const std::string part(300, 'x');
    printed([&] { system_helper("echo %s%s%d", part.c_str(), part.c_str(), 12345); });

    EXPECT_EQ(board.commands(), commands{"echo " + std::string(506, 'x')});
}

TEST(SystemHelper, AnEmptyCommandIsEchoedAndRun)
{
    int status = -1;
    EXPECT_EQ(printed([&] { status = system_helper("%s", ""); }), "system: \n");
    EXPECT_EQ(status, 0);
}

TEST(SystemHelper, APercentSignInAnArgumentIsText)
{
    EXPECT_EQ(printed([] { system_helper("echo %s", "%s%n%d"); }), "system: echo %s%n%d\n%s%n%d\n");
}

TEST(SystemHelper, WhatWasPrintedBeforeStandsBeforeTheCommandsOutput)
{
    const std::string text = printed([] {
        std::fputs("before\n", stdout);
        system_helper("echo %s", "first");
        std::fputs("between\n", stdout);
        system_helper("echo %s", "second");
        std::fputs("after\n", stdout);
    });
    EXPECT_EQ(text, "before\nsystem: echo first\nfirst\nbetween\nsystem: echo second\nsecond\nafter\n");
}

TEST(SystemHelper, NoFormatIsRefused)
{
    virtual_terminal board;
    board.forget();
    const char* no_format = nullptr;
    int status = 0;
    errno = 0;
    EXPECT_EQ(printed([&] { status = system_helper(no_format); }), "");
    EXPECT_EQ(status, -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(board.commands(), commands{});
}
