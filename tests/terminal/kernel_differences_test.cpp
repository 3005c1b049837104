/** What the desk's kernel does otherwise than a board's: each line of docs/differences.md that can be shown. */
#include "file_calls.h"
#include "tests/support/journal_lines.h"

#include <chrono>
#include <csignal>
#include <ctime>
#include <grp.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/time.h>
#include <sys/timex.h>
#include <sys/wait.h>
#include <thread>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

namespace {

const std::string place = "/sys/class/kt_misc/ioctl/tried";

void nothing(int) {}

/** Starts a child that reads the place, which hangs, with a handler that would restart the call on a board. */
pid_t start_waiting_reader()
{
    const pid_t child = fork();
    if (child == 0) {
        struct sigaction action {};
        action.sa_handler = nothing;
        action.sa_flags = SA_RESTART;
        sigaction(SIGUSR1, &action, nullptr);
        _exit(shown(place) == "<EINTR>" ? EINTR : 0);
    }
    std::this_thread::sleep_for(300ms);
    return child;
}

} // namespace

TEST(KernelDifferences, ANodeOfTheDesksKernelCanNeitherBeRemovedNorChanged)
{
    for (const char* node : {"/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom", "/dev/tty"}) {
        EXPECT_EQ(error_of(unlink(node)), EBUSY) << node;
        EXPECT_EQ(error_of(rename(node, "/dev/moved")), EBUSY) << node;
        EXPECT_EQ(error_of(chmod(node, 0600)), EROFS) << node;
    }
    EXPECT_EQ(error_of(rmdir("/dev/shm")), EBUSY);
    EXPECT_EQ(put("/dev/null", "x"), 0);
}

TEST(KernelDifferences, DeviceNodesCannotBeMade)
{
    EXPECT_EQ(error_of(mknod("/dev/sda", S_IFBLK | 0600, makedev(8, 0))), EPERM);
    EXPECT_EQ(error_of(mknod("/tmp/sda", S_IFBLK | 0600, makedev(8, 0))), EPERM);
    EXPECT_EQ(error_of(mknod("/kt/null", S_IFCHR | 0600, makedev(1, 3))), EPERM);
}

TEST(KernelDifferences, ThereIsOneUserOnly)
{
    EXPECT_EQ(getuid(), 0U);
    EXPECT_EQ(getgid(), 0U);
    EXPECT_EQ(error_of(setuid(1)), EINVAL);
    EXPECT_EQ(error_of(setgid(1)), EINVAL);
    const gid_t group = 5;
    EXPECT_EQ(error_of(setgroups(1, &group)), EPERM);
    ASSERT_EQ(put("/kt/file", "", O_WRONLY | O_CREAT), 0);
    EXPECT_EQ(error_of(chown("/kt/file", 1, 1)), EINVAL);
    EXPECT_EQ(chown("/kt/file", 0, 0), 0);
}

TEST(KernelDifferences, TheClockIsSetButNotAdjusted)
{
    timex step{};
    step.modes = ADJ_SETOFFSET;
    step.time.tv_sec = 0; // nothing: harmless, should it ever work
    EXPECT_EQ(error_of(adjtimex(&step)), EPERM);
}

TEST(KernelDifferences, FilesCarryTheDesksTime)
{
    constexpr time_t past = 1'000'000'000;
    const timespec set{past, 0};
    ASSERT_EQ(clock_settime(CLOCK_REALTIME, &set), 0);
    for (const char* path : {"/tmp/file", "/kt/file"}) {
        ASSERT_EQ(put(path, "x", O_WRONLY | O_CREAT), 0);
        struct stat entry {};
        ASSERT_EQ(stat(path, &entry), 0);
        EXPECT_GT(entry.st_mtime, past + 1'000'000) << path;
    }
}

TEST(KernelDifferences, AWaitUntilATimeOfTheCalendarGoesByTheDesks)
{
    constexpr time_t past = 1'000'000'000;
    const timespec set{past, 0};
    ASSERT_EQ(clock_settime(CLOCK_REALTIME, &set), 0);
    const timespec in_an_hour{past + 3600, 0};
    EXPECT_EQ(clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &in_an_hour, nullptr), 0);
    EXPECT_LT(std::time(nullptr), past + 100) << "it did not wait";
}

TEST(KernelDifferences, NothingCanBeMountedOrNamed)
{
    EXPECT_EQ(error_of(mount("none", "/mnt", "tmpfs", 0, nullptr)), EPERM);
    EXPECT_EQ(error_of(mount(nullptr, "/usr", nullptr, MS_REMOUNT | MS_BIND, nullptr)), EPERM);
    EXPECT_EQ(error_of(umount("/proc/sys")), EPERM);
    EXPECT_EQ(error_of(umount2("/sys", MNT_DETACH)), EPERM);
    EXPECT_EQ(error_of(sethostname("other", 5)), EPERM);
}

TEST(KernelDifferences, AFileHasOneName)
{
    ASSERT_EQ(put("/kt/file", "x", O_WRONLY | O_CREAT), 0);
    ASSERT_EQ(put("/dev/file", "x", O_WRONLY | O_CREAT), 0);
    EXPECT_EQ(error_of(link("/kt/file", "/kt/second")), EPERM);
    EXPECT_EQ(error_of(link("/dev/file", "/dev/second")), EPERM);
    ASSERT_EQ(put("/tmp/file", "x", O_WRONLY | O_CREAT), 0);
    EXPECT_EQ(link("/tmp/file", "/tmp/second"), 0) << "/tmp is memory of the desk's kernel";
}

TEST(KernelDifferences, GroupAndSessionOfTheCallerHaveNoNumber)
{
    const bool person = open_error("/dev/tty", O_RDWR) == 0;
    EXPECT_EQ(getpgrp(), person ? 0 : getpid()) << "where nobody types, the program has a group of its own";
    EXPECT_EQ(getsid(0), 0);
    const pid_t child = fork();
    if (child == 0)
        _exit(setsid() == getpid() && getpgrp() == getpid() ? 0 : 1);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "a session of its own has one";
}

TEST(KernelDifferences, AHandlerThatRestartsEndsAWaitingReadAllTheSame)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    board.fail(place, {.on = "read", .hang = true});
    const pid_t child = start_waiting_reader();
    EXPECT_EQ(kill(child, SIGUSR1), 0);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), EINTR);
}

TEST(KernelDifferences, StoppingAndContinuingEndsAWaitingRead)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    board.fail(place, {.on = "read", .hang = true});
    const pid_t child = start_waiting_reader();
    EXPECT_EQ(kill(child, SIGSTOP), 0);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, WUNTRACED), child);
    EXPECT_TRUE(WIFSTOPPED(status));
    EXPECT_EQ(kill(child, SIGCONT), 0);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), EINTR);
}

TEST(KernelDifferences, WaitingBytesAreCountedFromTheFilesSize)
{
    virtual_terminal().attribute(place, {.text = "1\n"});
    const opened_file file(place, O_RDONLY);
    int count = -1;
    EXPECT_EQ(ioctl(file.fd(), FIONREAD, &count), 0);
    EXPECT_EQ(count, 4096);
}

TEST(KernelDifferences, NoProgramCanReceiveAnothersSystemCalls)
{
    sock_filter let_all_through = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    const sock_fprog filter{1, &let_all_through};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    EXPECT_EQ(error_of(static_cast<int>(
                  syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter))),
              EBUSY);
    EXPECT_EQ(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &filter), 0) << "other filters are allowed";
}

TEST(KernelDifferences, AttributesAreAlwaysReadyAndNeverTellOfAChange)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    const opened_file file(place, O_RDONLY);
    EXPECT_EQ(shown(place), "1\n");
    board.attribute(place, {.text = "2\n"});
    pollfd waited{file.fd(), POLLIN | POLLPRI, 0};
    EXPECT_EQ(poll(&waited, 1, 100), 1);
    EXPECT_EQ(waited.revents, POLLIN);
    pollfd change_only{file.fd(), POLLPRI, 0};
    EXPECT_EQ(poll(&change_only, 1, 100), 0);
}

TEST(KernelDifferences, RulesOnLookUpDoNotReachRememberedFolders)
{
    virtual_terminal board;
    const std::string folder = "/sys/class/kt_misc/ioctl";
    EXPECT_TRUE(exists(folder));
    board.fail(folder, {.on = "lookup", .error = EIO});
    board.fail(folder + "/gsm_pwr", {.on = "lookup", .error = EIO});
    EXPECT_TRUE(exists(folder));
    EXPECT_FALSE(exists(folder + "/gsm_pwr"));
}
