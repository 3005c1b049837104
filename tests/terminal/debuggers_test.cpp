/** Debuggers work on a terminal as they do without one. */
#include "desk.h"

#include <filesystem>
#include <gmock/gmock.h>

using namespace kt::tests;
using testing::AllOf;
using testing::HasSubstr;

namespace {

bool installed(const std::string& program)
{
    return std::filesystem::exists("/usr/bin/" + program);
}

} // namespace

TEST(Debuggers, StraceSeesTheCallsOnAnAttribute)
{
    if (!installed("strace"))
        GTEST_SKIP() << "strace is not installed";
    const desk user;
    const std::string attribute = "/sys/class/kt_misc/ioctl/gsm_pwr";
    const ended run =
        user.terminal({"--", "strace", "-f", "-e", "trace=openat,read", "bash", "-c", "cat " + attribute + "; true"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "1\n");
    EXPECT_THAT(run.err, AllOf(HasSubstr("openat(AT_FDCWD, \"" + attribute + "\", O_RDONLY) = "),
                               HasSubstr(", \"1\\n\", "), HasSubstr("+++ exited with 0 +++")));
}

TEST(Debuggers, GdbRunsAProgram)
{
    if (!installed("gdb"))
        GTEST_SKIP() << "gdb is not installed";
    const desk user;
    const ended run = user.terminal({"--", "gdb", "-nx", "-batch", "-ex", "run", "-ex", "print $_exitcode + 1000",
                                     "--args", "/bin/bash", "-c", "cat /sys/class/kt_misc/ioctl/gsm_pwr; exit 7"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("\n1\n"), HasSubstr("= 1007")));
}

TEST(Debuggers, GdbStopsAtACall)
{
    if (!installed("gdb"))
        GTEST_SKIP() << "gdb is not installed";
    const desk user;
    const ended run =
        user.terminal({"--", "gdb", "-nx", "-batch", "-ex", "catch syscall nanosleep clock_nanosleep", "-ex", "run",
                       "-ex", "backtrace 1", "-ex", "kill", "--args", "/bin/sleep", "1000"});
    EXPECT_THAT(run.out, AllOf(HasSubstr("Catchpoint 1 (call to syscall"), HasSubstr("#0 ")));
}
