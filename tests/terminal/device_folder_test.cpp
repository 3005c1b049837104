/** /dev as a program meets it: it can be changed as on the board, and stays a terminal's own. */
#include "file_calls.h"
#include "tests/support/journal_lines.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <sys/wait.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;
using testing::UnorderedElementsAre;

TEST(DeviceFolder, FilesCanBeMadeWrittenAndRemoved)
{
    const std::string made = "/dev/made";
    EXPECT_EQ(put(made, "abc", O_WRONLY | O_CREAT | O_EXCL, 0640), 0);
    EXPECT_EQ(mode_of(made) & 07777, mode_t{0640} & ~mode_t{0022});
    EXPECT_EQ(open_error(made, O_WRONLY | O_CREAT | O_EXCL), EEXIST);
    EXPECT_EQ(put(made, "def", O_WRONLY | O_APPEND), 0);
    EXPECT_EQ(shown(made), "abcdef");
    EXPECT_EQ(put(made, "x", O_WRONLY | O_TRUNC), 0);
    EXPECT_EQ(shown(made), "x");
    EXPECT_EQ(unlink(made.c_str()), 0);
    EXPECT_FALSE(exists(made));
    EXPECT_EQ(error_of(unlink(made.c_str())), ENOENT);
}

TEST(DeviceFolder, ChannelsCanBeMadeAndRemovedWithAllBelow)
{
    virtual_terminal board;
    EXPECT_EQ(std::system("mkdir /dev/chn && echo 1 > /dev/chn/1 && mkdir /dev/chn/2 && ln -s ../1 /dev/chn/2/link"),
              0);
    EXPECT_EQ(shown("/dev/chn/2/link"), "1\n");
    EXPECT_EQ(error_of(rmdir("/dev/chn")), ENOTEMPTY);
    board.forget();
    EXPECT_EQ(std::system("rm -rf /dev/chn"), 0);
    EXPECT_FALSE(exists("/dev/chn"));
    std::vector<std::string> removed;
    for (const auto& happened : board.events_of({"remove"}))
        removed.push_back(happened.path);
    EXPECT_THAT(removed, UnorderedElementsAre("/dev/chn/1", "/dev/chn/2/link", "/dev/chn/2", "/dev/chn"));
    EXPECT_EQ(removed.back(), "/dev/chn");
}

TEST(DeviceFolder, LinksAreFollowedRenamedAndReplaced)
{
    EXPECT_EQ(put("/dev/one", "1", O_WRONLY | O_CREAT), 0);
    EXPECT_EQ(symlink("one", "/dev/kt_gsm"), 0);
    EXPECT_EQ(shown("/dev/kt_gsm"), "1");
    char target[16] = {};
    EXPECT_EQ(readlink("/dev/kt_gsm", target, sizeof target), 3);
    EXPECT_STREQ(target, "one");

    EXPECT_EQ(put("/dev/two", "2", O_WRONLY | O_CREAT), 0);
    EXPECT_EQ(symlink("two", "/dev/kt_gsm.new"), 0);
    EXPECT_EQ(rename("/dev/kt_gsm.new", "/dev/kt_gsm"), 0);
    EXPECT_EQ(shown("/dev/kt_gsm"), "2") << "a replaced link leads to its new target at once";
    EXPECT_FALSE(exists("/dev/kt_gsm.new"));
}

TEST(DeviceFolder, APipeJoinsTwoPrograms)
{
    EXPECT_EQ(mkfifo("/dev/pipe", 0600), 0);
    EXPECT_TRUE(S_ISFIFO(mode_of("/dev/pipe")));
    EXPECT_EQ(std::system("echo through > /dev/pipe & cat /dev/pipe > /tmp/came; wait"), 0);
    EXPECT_EQ(shown("/tmp/came"), "through\n");
}

TEST(DeviceFolder, RenamingReplacesAFileButNoFullFolder)
{
    ASSERT_EQ(put("/dev/a", "a", O_WRONLY | O_CREAT), 0);
    ASSERT_EQ(put("/dev/b", "b", O_WRONLY | O_CREAT), 0);
    EXPECT_EQ(rename("/dev/a", "/dev/b"), 0);
    EXPECT_EQ(shown("/dev/b"), "a");
    ASSERT_EQ(std::system("mkdir -p /dev/filled/x /dev/empty"), 0);
    EXPECT_EQ(error_of(rename("/dev/empty", "/dev/filled")), ENOTEMPTY);
    EXPECT_EQ(error_of(rename("/dev/b", "/dev/empty")), EISDIR);
    EXPECT_EQ(error_of(rename("/dev/empty", "/dev/b")), ENOTDIR);
    EXPECT_EQ(error_of(rename("/dev/filled", "/dev/filled/x/y")), EINVAL);
    EXPECT_EQ(rename("/dev/filled/x", "/dev/empty"), 0);
}

TEST(DeviceFolder, TheKernelsOwnNodesWork)
{
    EXPECT_EQ(put("/dev/null", "gone"), 0);
    EXPECT_EQ(shown("/dev/null"), "");
    EXPECT_EQ(put("/dev/full", "x"), ENOSPC);
    char zeros[4] = {1, 1, 1, 1};
    const opened_file zero("/dev/zero", O_RDONLY);
    EXPECT_EQ(read(zero.fd(), zeros, sizeof zeros), 4);
    EXPECT_EQ(std::string(zeros, sizeof zeros), std::string(4, '\0'));
    const opened_file random("/dev/urandom", O_RDONLY);
    EXPECT_EQ(read(random.fd(), zeros, sizeof zeros), 4);
    EXPECT_TRUE(S_ISCHR(mode_of("/dev/null")));
}

TEST(DeviceFolder, ShellsFindTheirDescriptors)
{
    EXPECT_EQ(std::system("echo a | cat /dev/stdin > /tmp/stdin && cat <(echo b) > /tmp/fd"), 0);
    EXPECT_EQ(shown("/tmp/stdin"), "a\n");
    EXPECT_EQ(shown("/tmp/fd"), "b\n");
}

TEST(DeviceFolder, ATerminalOfItsOwnCanBeMade)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    EXPECT_EQ(grantpt(master), 0);
    EXPECT_EQ(unlockpt(master), 0);
    const char* name = ptsname(master);
    ASSERT_NE(name, nullptr);
    EXPECT_STREQ(name, "/dev/pts/0") << "the desk's terminals are not among them";
    const opened_file slave(name, O_RDWR | O_NOCTTY);
    EXPECT_EQ(isatty(slave.fd()), 1);
    close(master);
}

TEST(DeviceFolder, SharedMemoryIsTheTerminalsOwn)
{
    EXPECT_TRUE(std::filesystem::is_empty("/dev/shm"));
    EXPECT_EQ(put("/dev/shm/mine", "x", O_WRONLY | O_CREAT), 0);
}
