/** What the options of kt-terminal do, each in a run of its own. */
#include "desk.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>

using namespace kt::tests;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

TEST(CommandLine, HelpVersionAndBoardsArePrinted)
{
    const desk user;
    const ended help = user.terminal({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    EXPECT_THAT(help.out, StartsWith("usage: kt-terminal "));
    for (const char* option : {"--board", "--list-boards", "--log", "--name", "--control", "--bind", "--state",
                               "--sysroot", "--version", "ctl"})
        EXPECT_THAT(help.out, HasSubstr(option));

    const ended version = user.terminal({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.out, MatchesRegex("kt-terminal [0-9]+\\.[0-9]+\\.[0-9]+\n"));

    const ended boards = user.terminal({"--list-boards"});
    EXPECT_EQ(boards.status, 0);
    for (const char* number : {"50", "80", "90", "100", "200", "300", "500", "501"})
        EXPECT_THAT('\n' + boards.out, HasSubstr('\n' + std::string(number) + ' '));
    EXPECT_THAT(boards.out, Not(HasSubstr("common")));
    EXPECT_THAT(boards.out, HasSubstr("(the default)"));
}

TEST(CommandLine, EachBoardShowsItsHardwareVersion)
{
    const desk user;
    for (const std::string number : {"50", "80", "90", "100", "200", "300", "500", "501"})
        EXPECT_EQ(user.terminal({"--board", number, "cat", "/sys/class/kt_misc/sysinfo/hardwarever"}).out,
                  number + "\n");
    EXPECT_EQ(user.terminal({"--board=90", "cat", "/sys/class/kt_misc/sysinfo/hardwarever"}).out, "90\n");
}

TEST(CommandLine, ABoardFileOfTheUsersOwnIsTaken)
{
    const desk user;
    write_desk_file(user.folder() + "/mine.json", R"({
        "like": "90", // laid over it
        "description": "mine",
        "attributes": { "/sys/class/own/": { "level": 3 } },
        "files": { "/kt/given": "text\n" }
    })");
    const ended run = user.script("cat /sys/class/own/level /kt/given /sys/class/kt_misc/sysinfo/hardwarever",
                                  {"--board", "./mine.json"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "3\ntext\n90\n");
}

TEST(CommandLine, AWrongBoardFileIsRefusedWithItsPlace)
{
    const desk user;
    const std::string file = user.folder() + "/wrong.json";
    const std::pair<const char*, const char*> rows[] = {
        {R"({ "like": "90", "atributes": {} })", "atributes"},
        {R"({ "like": "no-such" })", "no-such"},
        {R"({ "like": "90", "attributes": { "/etc/": { "passwd": 1 } } })", "/etc/"},
        {R"({ "like": "90", )", "wrong.json"},
    };
    for (const auto& [text, named] : rows) {
        write_desk_file(file, text);
        const ended run = user.terminal({"--board", file, "true"});
        EXPECT_EQ(run.status, 125) << text;
        EXPECT_THAT(run.err, AllOf(StartsWith("kt-terminal: "), HasSubstr("wrong.json"), HasSubstr(named))) << text;
    }
}

TEST(CommandLine, TheLogHoldsTheWholeRun)
{
    const desk user;
    const ended run =
        user.script("echo 2 > /sys/class/kt_misc/ioctl/gsm_pwr; hwclock -w; exit 7", {"--log", "journal"});
    EXPECT_EQ(run.status, 7);
    const std::string log = desk_file(user.folder() + "/journal");
    EXPECT_THAT(log, HasSubstr(R"("kind":"write","path":"/sys/class/kt_misc/ioctl/gsm_pwr","data":"2\n")"));
    EXPECT_THAT(log, HasSubstr(R"("arguments":["hwclock","-w"])"));
    EXPECT_THAT(log, AllOf(StartsWith(R"({"seq":1,)"), HasSubstr(R"("kind":"exit","result":7})"), EndsWith("}\n")));
}

TEST(CommandLine, StateIsKeptOverRunsAndElseThrownAway)
{
    const desk user;
    const std::string writes = "mkdir -p /kt/sub && echo a > /kt/sub/kept && echo b > /mnt/data/kept";
    const std::string reads = "cat /kt/sub/kept /mnt/data/kept";
    EXPECT_EQ(user.script(writes, {"--state", "state"}).status, 0);
    EXPECT_EQ(user.script(reads, {"--state", "state"}).out, "a\nb\n");

    EXPECT_EQ(user.script(writes).status, 0);
    EXPECT_NE(user.script(reads).status, 0);
    EXPECT_EQ(user.script(reads).out, "");
}

TEST(CommandLine, WhatABoundFolderHoldsIsTheDesks)
{
    const desk user;
    std::filesystem::create_directory(user.folder() + "/bound");
    write_desk_file(user.folder() + "/bound/given", "given\n");
    const ended run = user.script("cat bound/given; echo made > bound/made; rm bound/given", {"--bind", "bound"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "given\n");
    EXPECT_EQ(desk_file(user.folder() + "/bound/made"), "made\n");
    EXPECT_FALSE(std::filesystem::exists(user.folder() + "/bound/given"));
}

TEST(CommandLine, TheWorkingFolderIsShownAndCannotBeWritten)
{
    const desk user;
    write_desk_file(user.folder() + "/given", "given\n");
    const ended run = user.script("pwd; cat given; touch made; rm -f given; echo x > given");
    EXPECT_NE(run.status, 0);
    EXPECT_EQ(run.out, user.folder() + "\ngiven\n");
    EXPECT_THAT(run.err, HasSubstr("Read-only file system"));
    EXPECT_FALSE(std::filesystem::exists(user.folder() + "/made"));
    EXPECT_EQ(desk_file(user.folder() + "/given"), "given\n");
}

TEST(CommandLine, StandardInputOutputAndErrorAreTheCallers)
{
    const desk user;
    std::string much;
    for (int line = 0; line < 20'000; ++line)
        much += std::to_string(line) + '\n';
    const ended run = user.terminal({"--", "bash", "-c", "cat; echo problem >&2"}, {.input = much});
    EXPECT_EQ(run.out, much);
    EXPECT_EQ(run.err, "problem\n");
}

TEST(CommandLine, EnvironmentArgumentsAndMaskAreTheCallers)
{
    const desk user;
    const ended run = user.terminal({"--", "bash", "-c", R"(echo "$GIVEN|$1|$2|$#"; umask)", "name", "a  b", ""},
                                    {.environment = {"GIVEN=by caller"}});
    EXPECT_THAT(run.out, StartsWith("by caller|a  b||2\n"));
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(std::stoi(run.out.substr(run.out.find('\n') + 1), nullptr, 8), static_cast<int>(mask));
}

TEST(CommandLine, TheControlSocketCanLieElsewhere)
{
    const desk user;
    running_terminal running = user.start("one", {"--control", "here", "--", "sleep", "1000"});
    const std::string socket = user.folder() + "/here";
    ended got;
    for (int i = 0; i < 500 && got.status != 0; ++i)
        got = user.terminal({"ctl", "--control", socket, "get", "/sys/class/kt_misc/ioctl/gsm_pwr"});
    EXPECT_EQ(got.out, "1\n");
    EXPECT_EQ(user.terminal({"ctl", "--control", socket, "stop"}).status, 0);
    EXPECT_EQ(running.status(), 137);
    EXPECT_FALSE(std::filesystem::exists(socket));
}
