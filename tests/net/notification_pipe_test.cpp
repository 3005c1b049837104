/** The pipe through which a session hears of its link: made anew, open at both ends, and what may stand in its way. */
#include <kt_driver/net.h>

#include "refused_call.h"
#include "session_files.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace kt::tests;

namespace {

/** Opens a deferred session that must fail; errno. */
int cause_of_failure()
{
    errno = 0;
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    const int cause = errno;
    EXPECT_EQ(task, nullptr);
    return cause;
}

/** Opens and ends a deferred session. */
void expect_success()
{
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    ASSERT_NE(task, nullptr);
    EXPECT_EQ(mode_of(pipe_path) & S_IFMT, mode_t{S_IFIFO});
    EXPECT_EQ(pppd_task_exit(task), 0);
}

} // namespace

TEST(NotificationPipe, IsForEverybodyThatTheMaskAdmits)
{
    for (const mode_t mask : {0, 022, 077}) {
        umask(mask);
        pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
        ASSERT_NE(task, nullptr);
        EXPECT_EQ(mode_of(pipe_path), S_IFIFO | (0777 & ~mask));
        EXPECT_EQ(pppd_task_exit(task), 0);
    }
}

TEST(NotificationPipe, IsOpenAtBothEndsUntilTheSessionEnds)
{
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    ASSERT_NE(task, nullptr);
    EXPECT_EQ(descriptors_on(pipe_path), 2);
    const int reader = reader_of(pipe_path);
    const int writer = writer_of(pipe_path);
    ASSERT_GE(reader, 0);
    ASSERT_GE(writer, 0);
    EXPECT_EQ(fcntl(reader, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    EXPECT_EQ(fcntl(writer, F_GETFL) & O_NONBLOCK, 0);

    // A writer that comes and goes leaves no end of file behind.
    close(open(pipe_path, O_WRONLY | O_NONBLOCK));
    char byte = 0;
    errno = 0;
    EXPECT_EQ(read(reader, &byte, 1), -1);
    EXPECT_EQ(errno, EAGAIN);

    EXPECT_EQ(pppd_task_exit(task), 0);
    EXPECT_EQ(descriptors_on(pipe_path), 0);
    EXPECT_EQ(mode_of(pipe_path) & S_IFMT, mode_t{S_IFIFO}) << "its name stays";
}

TEST(NotificationPipe, ReplacesAnOlderFile)
{
    put_file(pipe_path, "older\n");
    expect_success();
}

TEST(NotificationPipe, ReplacesALinkAndNotItsTarget)
{
    put_file("/tmp/other", "other\n");
    ASSERT_EQ(symlink("/tmp/other", pipe_path), 0);
    expect_success();
    EXPECT_EQ(bytes_of("/tmp/other"), "other\n");
}

TEST(NotificationPipe, ReplacesAnOlderPipeWithWhatWaitsInIt)
{
    ASSERT_EQ(mkfifo(pipe_path, 0600), 0);
    const int older = open(pipe_path, O_RDWR | O_NONBLOCK);
    ASSERT_EQ(write(older, "1", 1), 1);
    pppd_task* const task = pppd_task_create(session_name, nullptr, 1);
    ASSERT_NE(task, nullptr);
    pollfd asked{reader_of(pipe_path), POLLIN, 0};
    EXPECT_EQ(poll(&asked, 1, 0), 0) << "the new one is empty";
    EXPECT_EQ(pppd_task_exit(task), 0);
    close(older);
}

TEST(NotificationPipe, AFolderInItsPlaceFailsTheSession)
{
    std::filesystem::create_directory(pipe_path);
    EXPECT_EQ(cause_of_failure(), EISDIR); // a folder cannot be opened to be made
    EXPECT_EQ(descriptors_on(pipe_path), 0) << "nor is it opened for reading";
    EXPECT_EQ(mode_of(chat_script_path), mode_t{S_IFREG | 0777}) << "the script comes before the pipe";
    std::filesystem::remove(pipe_path);
    expect_success();
}

TEST(NotificationPipe, ThatCannotBeMadeFailsTheSession)
{
    refuse_system_call(SYS_mknodat, ENOSPC);
#ifdef SYS_mknod
    refuse_system_call(SYS_mknod, ENOSPC);
#endif
    std::string text = printed([] { EXPECT_EQ(cause_of_failure(), ENOSPC); });
    EXPECT_EQ(text, "#hal pppd_task_create #\n"
                    "[WARNING] auth_script skip pap/chap auth\n");
    EXPECT_EQ(mode_of(pipe_path), mode_t{0});
    EXPECT_EQ(cause_of_failure(), ENOSPC) << "and not EBUSY: the failed session is gone";
}

TEST(NotificationPipe, ThatCannotBeOpenedForWritingFailsTheSessionWithItsReaderOpen)
{
    expect_success(); // a sanitizer needs descriptors for what it sees for the first time
    const int next = dup(0);
    ASSERT_GE(next, 0);
    close(next);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit one_more{static_cast<rlim_t>(next) + 1, before.rlim_max}; // for the script, then for the reader
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &one_more), 0);
    const int cause = cause_of_failure();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(cause, EMFILE);
    EXPECT_EQ(descriptor_target(next), pipe_path);
    EXPECT_EQ(descriptors_on(pipe_path), 1);
    expect_success();
}
