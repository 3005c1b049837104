/** The folders of attributes: nothing is made, moved or removed in them by a program. */
#include "file_calls.h"
#include "tests/support/journal_lines.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <set>
#include <sys/wait.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;
using testing::Contains;

namespace {

const std::string folder = "/sys/class/kt_misc/ioctl";

} // namespace

TEST(AttributeFolder, AShellsRedirectDoesNotMakeAnAttribute)
{
    const std::string missing = folder + "/no_such";
    const int status = std::system(("echo 1 2> /dev/null > " + missing).c_str());
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_NE(WEXITSTATUS(status), 0);
    EXPECT_FALSE(exists(missing));
    EXPECT_EQ(open_error(missing, O_RDONLY), ENOENT);
    EXPECT_EQ(open_error(missing, O_WRONLY), ENOENT);
    EXPECT_EQ(open_error(missing, O_WRONLY | O_CREAT | O_TRUNC), EACCES);
}

TEST(AttributeFolder, NothingIsMade)
{
    EXPECT_EQ(error_of(mkdir((folder + "/made").c_str(), 0755)), EPERM);
    EXPECT_EQ(error_of(mkdir("/sys/made", 0755)), EPERM);
    EXPECT_EQ(error_of(symlink("/dev/null", (folder + "/made").c_str())), EPERM);
    EXPECT_EQ(error_of(mkfifo((folder + "/made").c_str(), 0644)), EPERM);
    EXPECT_FALSE(exists(folder + "/made"));
    EXPECT_FALSE(exists("/sys/made"));
}

TEST(AttributeFolder, NothingIsRemovedOrMoved)
{
    const std::string attribute = folder + "/gsm_pwr";
    ASSERT_TRUE(exists(attribute));
    EXPECT_EQ(error_of(unlink(attribute.c_str())), EPERM);
    EXPECT_EQ(error_of(rmdir(folder.c_str())), EPERM);
    EXPECT_EQ(error_of(rename(attribute.c_str(), (folder + "/other").c_str())), EPERM);
    EXPECT_EQ(error_of(rename((folder + "/usb_route").c_str(), attribute.c_str())), EPERM);
    EXPECT_EQ(error_of(link(attribute.c_str(), (folder + "/other").c_str())), EPERM);
    EXPECT_TRUE(exists(attribute));
    EXPECT_TRUE(exists(folder + "/usb_route"));
}

TEST(AttributeFolder, ARecursiveRemovalLeavesTheBoardAsItIs)
{
    EXPECT_NE(std::system("rm -rf /sys/class/kt_misc 2> /dev/null"), 0);
    EXPECT_EQ(shown(folder + "/gsm_pwr"), "1\n");
}

TEST(AttributeFolder, ItListsWhatItHas)
{
    virtual_terminal board;
    board.attribute("/sys/class/kt_misc/shown/one", {.text = "1\n"});
    board.attribute("/sys/class/kt_misc/shown/two", {.text = "2\n", .mode = 0200});
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/kt_misc/shown"))
        names.insert(entry.path().filename());
    EXPECT_EQ(names, (std::set<std::string>{"one", "two"}));
    EXPECT_TRUE(S_ISDIR(mode_of("/sys/class/kt_misc/shown")));
    EXPECT_EQ(open_error("/sys/class/kt_misc/shown", O_WRONLY), EISDIR);
    EXPECT_EQ(open_error("/sys/class/kt_misc/shown/one/below", O_RDONLY), ENOTDIR);
}

TEST(AttributeFolder, AFolderComesAndGoesAtOnce)
{
    virtual_terminal board;
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(exists("/sys/class/power_supply/spare"));
        board.attribute("/sys/class/power_supply/spare/online", {.text = "1\n", .mode = 0444});
        EXPECT_EQ(shown("/sys/class/power_supply/spare/online"), "1\n");
        board.remove("/sys/class/power_supply/spare");
        EXPECT_FALSE(exists("/sys/class/power_supply/spare/online"));
    }
}

TEST(AttributeFolder, AMissingAttributeIsToldAsMissing)
{
    virtual_terminal board;
    board.forget();
    EXPECT_EQ(open_error(folder + "/no_such", O_RDONLY), ENOENT);
    EXPECT_THAT(told(board, {"missing"}), Contains("missing " + folder + "/no_such = ENOENT"));
}

TEST(AttributeFolder, NothingOfTheDesksDriversIsSeen)
{
    // A desk has these wherever its kernel runs; the board has not.
    for (const char* place : {"/sys/fs/cgroup", "/sys/kernel/security", "/sys/firmware", "/sys/module", "/sys/bus"})
        EXPECT_FALSE(exists(place)) << place;
}
