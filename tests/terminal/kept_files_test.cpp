/** /kt and /mnt/data: an ordinary file system for the program, seen and made to fail from the other side. */
#include "file_calls.h"
#include "tests/support/journal_lines.h"

#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/wait.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

constexpr int make_new = O_WRONLY | O_CREAT | O_EXCL;

/** Both trees behave alike. */
class KeptFiles : public testing::TestWithParam<const char*> {
protected:
    std::string at(const std::string& name) const { return std::string(GetParam()) + "/" + name; }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(In, KeptFiles, testing::Values("/kt", "/mnt/data"),
                         [](const auto& each) { return std::strcmp(each.param, "/kt") == 0 ? "Kt" : "MntData"; });

TEST_P(KeptFiles, AFileIsMadeReadAppendedAndCut)
{
    const std::string file = at("file");
    EXPECT_EQ(put(file, "one\n", make_new, 0600), 0);
    EXPECT_EQ(mode_of(file), mode_t{S_IFREG | 0600});
    EXPECT_EQ(put(file, "two\n", O_WRONLY | O_APPEND), 0);
    EXPECT_EQ(shown(file), "one\ntwo\n");
    EXPECT_EQ(truncate(file.c_str(), 5), 0);
    EXPECT_EQ(shown(file), "one\nt");
    EXPECT_EQ(truncate(file.c_str(), 8), 0);
    EXPECT_EQ(shown(file), std::string("one\nt\0\0\0", 8));
    EXPECT_EQ(put(file, "new", O_WRONLY | O_TRUNC), 0);
    EXPECT_EQ(shown(file), "new");
    EXPECT_EQ(std::filesystem::file_size(file), 3U);
}

TEST_P(KeptFiles, WritingInTheMiddleKeepsTheRest)
{
    ASSERT_EQ(put(at("file"), "0123456789", make_new), 0);
    const opened_file file(at("file"), O_RDWR);
    EXPECT_EQ(pwrite(file.fd(), "ab", 2, 4), 2);
    EXPECT_EQ(lseek(file.fd(), 0, SEEK_END), 10);
    EXPECT_EQ(write(file.fd(), "c", 1), 1);
    EXPECT_EQ(shown(at("file")), "0123ab6789c");
}

TEST_P(KeptFiles, RenamingOverAFileReplacesIt)
{
    ASSERT_EQ(put(at("old"), "old", make_new), 0);
    ASSERT_EQ(put(at("new"), "new", make_new), 0);
    const opened_file reader(at("old"), O_RDONLY);
    EXPECT_EQ(rename(at("new").c_str(), at("old").c_str()), 0);
    EXPECT_EQ(shown(at("old")), "new");
    EXPECT_FALSE(exists(at("new")));
    char bytes[4] = {};
    EXPECT_EQ(read(reader.fd(), bytes, 3), 3);
    EXPECT_STREQ(bytes, "old") << "who had it open reads on";
}

TEST_P(KeptFiles, ARemovedFileIsUsableWhileItIsOpen)
{
    const opened_file file(at("gone"), O_RDWR | O_CREAT);
    ASSERT_EQ(file.error(), 0);
    EXPECT_EQ(write(file.fd(), "abc", 3), 3);
    EXPECT_EQ(unlink(at("gone").c_str()), 0);
    EXPECT_FALSE(exists(at("gone")));
    EXPECT_EQ(write(file.fd(), "def", 3), 3);
    char bytes[7] = {};
    EXPECT_EQ(pread(file.fd(), bytes, 6, 0), 6);
    EXPECT_STREQ(bytes, "abcdef");
    struct stat entry {};
    EXPECT_EQ(fstat(file.fd(), &entry), 0);
    EXPECT_EQ(entry.st_size, 6);
    EXPECT_EQ(entry.st_nlink, 0U);
}

TEST_P(KeptFiles, SharedMappingsAreWrittenBack)
{
    ASSERT_EQ(put(at("mapped"), std::string(8192, '.'), make_new), 0);
    {
        const opened_file file(at("mapped"), O_RDWR);
        void* at_page = mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_SHARED, file.fd(), 0);
        ASSERT_NE(at_page, MAP_FAILED);
        std::memcpy(static_cast<char*>(at_page) + 4096, "here", 4);
        EXPECT_EQ(msync(at_page, 8192, MS_SYNC), 0);
        EXPECT_EQ(munmap(at_page, 8192), 0);
    }
    EXPECT_EQ(shown(at("mapped")).substr(4094, 8), "..here..");
    EXPECT_EQ(virtual_terminal().text(at("mapped")).substr(4094, 8), "..here..") << "on the other side, too";
}

TEST_P(KeptFiles, AScriptCanBeExecuted)
{
    ASSERT_EQ(put(at("script"), "#!/bin/sh\necho ran $1 > " + at("result") + "\nexit 3\n", make_new, 0644), 0);
    const std::string command = at("script") + " well 2> /dev/null";
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 126);
    EXPECT_EQ(chmod(at("script").c_str(), 0755), 0);
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 3);
    EXPECT_EQ(shown(at("result")), "ran well\n");
}

TEST_P(KeptFiles, FoldersAreMadeListedMovedAndRemoved)
{
    EXPECT_EQ(mkdir(at("folder").c_str(), 0700), 0);
    EXPECT_EQ(error_of(mkdir(at("folder").c_str(), 0700)), EEXIST);
    ASSERT_EQ(put(at("folder/x"), "x", make_new), 0);
    EXPECT_EQ(mkdir(at("folder/below").c_str(), 0755), 0);
    EXPECT_EQ(symlink("x", at("folder/link").c_str()), 0);
    EXPECT_EQ(rename(at("folder").c_str(), at("moved").c_str()), 0);
    EXPECT_EQ(shown(at("moved/link")), "x");
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(at("moved")))
        count += entry.exists();
    EXPECT_EQ(count, 3);
    EXPECT_EQ(error_of(rmdir(at("moved").c_str())), ENOTEMPTY);
    EXPECT_EQ(std::filesystem::remove_all(at("moved")), 4U);
    EXPECT_FALSE(exists(at("moved")));
}

TEST_P(KeptFiles, TimesAndPermissionsAreKept)
{
    ASSERT_EQ(put(at("file"), "x", make_new), 0);
    const timespec times[2] = {{1'000'000'000, 0}, {1'100'000'000, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, at("file").c_str(), times, 0), 0);
    EXPECT_EQ(chmod(at("file").c_str(), 0451), 0);
    struct stat entry {};
    EXPECT_EQ(stat(at("file").c_str(), &entry), 0);
    EXPECT_EQ(entry.st_mtime, 1'100'000'000);
    EXPECT_EQ(entry.st_mode & 07777, mode_t{0451});
    EXPECT_EQ(entry.st_uid, 0U);
}

TEST_P(KeptFiles, TheOtherSideSeesAndChangesThem)
{
    virtual_terminal board;
    ASSERT_EQ(put(at("file"), "mine", make_new), 0);
    EXPECT_EQ(board.text(at("file")), "mine");
    board.exchange(R"({"op":"set","path":")" + at("given") + R"(","text":"yours"})");
    EXPECT_EQ(shown(at("given")), "yours");
}

TEST_P(KeptFiles, TheyCanBeMadeToFail)
{
    virtual_terminal board;
    board.fail(at("full"), {.on = "create", .error = ENOSPC});
    EXPECT_EQ(put(at("full"), "x", make_new), ENOSPC);
    ASSERT_EQ(put(at("bad"), "x", make_new), 0);
    board.fail(at("bad"), {.on = "write", .error = EROFS});
    EXPECT_EQ(put(at("bad"), "y"), EROFS);
    board.fail(at("bad"), {.on = "remove", .error = EBUSY});
    EXPECT_EQ(error_of(unlink(at("bad").c_str())), EBUSY);
    board.mend_all();
    EXPECT_EQ(shown(at("bad")), "x");
}

TEST(KeptTrees, AreApart)
{
    ASSERT_EQ(put("/kt/file", "x", make_new), 0);
    EXPECT_FALSE(exists("/mnt/data/file"));
    EXPECT_EQ(error_of(rename("/kt/file", "/mnt/data/file")), EXDEV);
}

/** A program stands in a folder that goes: its calls fail, and the board lives on. */
TEST_P(KeptFiles, AWorkingFolderThatTheProgramRemovesFailsAndNoMore)
{
    ASSERT_EQ(mkdir(at("gone").c_str(), 0755), 0);
    ASSERT_EQ(chdir(at("gone").c_str()), 0);
    ASSERT_EQ(rmdir(at("gone").c_str()), 0);
    EXPECT_EQ(open_error("name", O_RDONLY), ENOENT);
    EXPECT_EQ(put("name", "x", make_new), ENOENT);
    EXPECT_EQ(error_of(mkdir("name", 0755)), ENOENT);
    EXPECT_EQ(std::system("ls > /dev/null 2>&1; true"), 0);
    EXPECT_EQ(put(at("still"), "here", make_new), 0);
}

TEST_P(KeptFiles, AWorkingFolderThatTheOtherSideRemovesFailsAndNoMore)
{
    virtual_terminal board;
    ASSERT_EQ(std::system(("mkdir -p " + at("above/below")).c_str()), 0);
    ASSERT_EQ(put(at("above/below/file"), "x", make_new), 0);
    ASSERT_EQ(chdir(at("above/below").c_str()), 0);
    board.remove(at("above"));
    EXPECT_EQ(open_error("file", O_RDONLY), ENOENT);
    EXPECT_EQ(put("name", "x", make_new), ENOENT);
    EXPECT_FALSE(exists("/name")) << "and nothing came to another place";
    EXPECT_EQ(std::system("ls > /dev/null 2>&1; stat x > /dev/null 2>&1; true"), 0);
    EXPECT_EQ(put(at("still"), "here", make_new), 0);
}

TEST_P(KeptFiles, AProgramCannotMakeASetUserIdFile)
{
    ASSERT_EQ(put(at("file"), "x", make_new, 04755), 0);
    EXPECT_EQ(mode_of(at("file")), mode_t{S_IFREG | 0755});
    EXPECT_EQ(chmod(at("file").c_str(), 06755), 0);
    EXPECT_EQ(std::system(("stat -c %a " + at("file") + " | grep -qx 755").c_str()), 0);
}
