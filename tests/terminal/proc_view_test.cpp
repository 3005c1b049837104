/** /proc as a program meets it: the kernel's settings are the board's, the processes are the terminal's. */
#include "file_calls.h"
#include "tests/support/journal_lines.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <sys/wait.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(ProcView, ASettingShowsWhatTheProgramWrote)
{
    virtual_terminal board;
    board.forget();
    EXPECT_EQ(put("/proc/sys/vm/dirty_ratio", "77\n"), 0);
    EXPECT_EQ(shown("/proc/sys/vm/dirty_ratio"), "77\n");
    EXPECT_EQ(put("/proc/sys/vm/dirty_ratio", "many\n"), EINVAL);
    EXPECT_EQ(shown("/proc/sys/vm/dirty_ratio"), "77\n");
    EXPECT_THAT(board.writes("/proc/sys/vm/dirty_ratio"), ElementsAre("77\n", "many\n"));
    EXPECT_EQ(std::system("echo 3 > /proc/sys/vm/drop_caches"), 0);
    EXPECT_EQ(open_error("/proc/sys/vm/drop_caches", O_RDONLY), EACCES);
}

TEST(ProcView, SettingsAreTheBoardsAndNotTheDesks)
{
    EXPECT_EQ(shown("/proc/sys/kernel/hostname"), "kestrel\n");
    EXPECT_EQ(shown("/proc/sys/vm/swappiness"), "60\n");
    EXPECT_EQ(open_error("/proc/sys/vm/no_such", O_WRONLY), ENOENT);
    EXPECT_EQ(put("/proc/sys/kernel/osrelease", "x"), EACCES);
}

TEST(ProcView, TheKernelsCommandLineIsTheBoards)
{
    EXPECT_THAT(shown("/proc/cmdline"), HasSubstr(" ktubver=V1.2.3 "));
    virtual_terminal().attribute("/proc/cmdline", {.text = "ktubver=V9\n", .mode = 0444});
    EXPECT_EQ(shown("/proc/cmdline"), "ktubver=V9\n");
    EXPECT_EQ(put("/proc/cmdline", "x"), EACCES);
}

TEST(ProcView, ProcessesAreTheTerminalsOwn)
{
    EXPECT_EQ(std::filesystem::read_symlink("/proc/self"), std::to_string(getpid()));
    EXPECT_EQ(std::system("kill -0 $$ && test -d /proc/$$"), 0);
    int processes = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc"))
        processes += std::isdigit(static_cast<unsigned char>(entry.path().filename().string()[0])) != 0;
    EXPECT_LE(processes, 10) << "process 1, the program, a sanitizer's helpers; none of the desk's";
    EXPECT_EQ(getppid(), 1);
}

TEST(ProcView, WhatReachesTheDesksKernelIsReadOnly)
{
    for (const char* path : {"/proc/sysrq-trigger", "/proc/irq/default_smp_affinity"}) {
        if (!exists(path))
            continue; // not in every kernel
        EXPECT_EQ(open_error(path, O_WRONLY), EROFS) << path;
    }
    // An attempt on a terminal's own settings that would reach the desk if these were its files.
    for (const char* path : {"/proc/sys/kernel/core_pattern", "/proc/sys/kernel/modprobe"}) {
        const std::string before = shown(path);
        EXPECT_EQ(put(path, before), 0) << path;
        EXPECT_EQ(shown(path), before);
    }
}
