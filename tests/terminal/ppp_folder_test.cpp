/** The settings of pppd: the board's, at the place where the desk's own pppd looks for them. */
#include "desk.h"

#include <filesystem>
#include <gmock/gmock.h>

using namespace kt::tests;
namespace fs = std::filesystem;

namespace {

/** A name that no desk has in its settings. */
const std::string tried = "kt-terminal-tried";

/** All below a folder, with sizes and times. */
std::vector<std::string> all_in(const fs::path& folder)
{
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        found.push_back(entry.path().string() + ' ' +
                        std::to_string(fs::last_write_time(entry).time_since_epoch().count()));
    return found;
}

} // namespace

TEST(PppFolder, TheBoardsSettingsLieWherePppdLooksForThem)
{
    if (!fs::is_directory("/etc/ppp"))
        GTEST_SKIP() << "this desk has no /etc/ppp, so nothing is shown there";
    const auto before = all_in("/etc/ppp");
    const ended result = desk().script("cd /kt/ppp && echo one > " + tried + " && cat /etc/ppp/" + tried +
                                       " && echo two > /etc/ppp/peers/" + tried + " && cat peers/" + tried +
                                       " && rm /etc/ppp/" + tried + " && ls /etc/ppp /kt/ppp");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, testing::StartsWith("one\ntwo\n/etc/ppp:\n"));
    EXPECT_THAT(result.out, testing::Not(testing::HasSubstr(tried))) << "it was removed";
    EXPECT_EQ(all_in("/etc/ppp"), before) << "the desk's own";
}

TEST(PppFolder, TheyAreKeptWithTheState)
{
    if (!fs::is_directory("/etc/ppp"))
        GTEST_SKIP() << "this desk has no /etc/ppp, so nothing is shown there";
    const desk user;
    EXPECT_EQ(user.script("echo kept > /etc/ppp/" + tried, {"--state", user.folder() + "/state"}).status, 0);
    EXPECT_EQ(desk_file(user.folder() + "/state/kt/ppp/" + tried), "kept\n");
}

TEST(PppFolder, ABoardWithoutThemShowsTheDesksOwn)
{
    const desk user;
    write_desk_file(user.folder() + "/bare.json", R"({ "attributes": { "/proc/cmdline": "" } })");
    const ended result = user.script("ls -A /kt; [ ! -d /etc/ppp ] || touch /etc/ppp/" + tried,
                                     {"--board", user.folder() + "/bare.json"});
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(fs::exists("/etc/ppp/" + tried), false);
}
