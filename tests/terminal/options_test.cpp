/** The command line of kt-terminal. */
#include "terminal/options.h"

#include <gmock/gmock.h>

namespace {

using namespace kt::terminal;
using testing::ElementsAre;
using testing::HasSubstr;
using wish = terminal_options::wish;

std::string refusal(const std::vector<std::string>& arguments)
{
    try {
        (void)parse_options(arguments);
        return "accepted";
    } catch (const options_error& error) {
        return error.what();
    }
}

TEST(Options, EndAtTheProgram)
{
    const auto bare = parse_options({"ls", "--help", "-l"});
    EXPECT_EQ(bare.wanted, wish::run);
    EXPECT_EQ(bare.board, default_board);
    EXPECT_THAT(bare.start.program, ElementsAre("ls", "--help", "-l"));
    EXPECT_THAT(parse_options({"--", "--odd"}).start.program, ElementsAre("--odd"));
    EXPECT_THAT(parse_options({"--board", "90", "--", "ls", "--"}).start.program, ElementsAre("ls", "--"));
}

TEST(Options, TakeTheirValues)
{
    const auto all =
        parse_options({"--board=90", "--log", "l.json", "--control", "/tmp/../tmp/c", "--name", "till-1", "--bind",
                       "/usr", "--bind", "/usr/..", "--state", "/tmp/none/here", "--sysroot", "/usr/./lib", "true"});
    EXPECT_EQ(all.board, "90");
    EXPECT_EQ(all.log, "l.json");
    EXPECT_EQ(all.control, "/tmp/c");
    EXPECT_EQ(all.name, "till-1");
    EXPECT_THAT(all.start.writable, ElementsAre("/usr", "/"));
    EXPECT_EQ(all.start.state, "/tmp/none/here");
    EXPECT_EQ(all.start.sysroot, "/usr/lib");
}

TEST(Options, CanAskForSomethingElse)
{
    EXPECT_EQ(parse_options({"--help"}).wanted, wish::help);
    EXPECT_EQ(parse_options({"--version", "x"}).wanted, wish::version);
    EXPECT_EQ(parse_options({"--list-boards"}).wanted, wish::list_boards);
    EXPECT_THAT(parse_options({"ctl", "get", "--help"}).ctl, ElementsAre("get", "--help"));
    EXPECT_THAT(options_help(), HasSubstr(std::string("your own (") + default_board + ")"));
}

TEST(Options, AreRefusedWithAReason)
{
    EXPECT_EQ(refusal({}), "a program to run is missing");
    EXPECT_EQ(refusal({"--"}), "a program to run is missing");
    EXPECT_EQ(refusal({""}), "a program to run is missing");
    EXPECT_EQ(refusal({"--frob", "ls"}), "unknown option --frob");
    EXPECT_EQ(refusal({"--frob=1", "ls"}), "unknown option --frob");
    EXPECT_EQ(refusal({"-x", "ls"}), "unknown option -x");
    EXPECT_EQ(refusal({"--board"}), "--board wants a value");
    EXPECT_EQ(refusal({"--board=", "ls"}), "--board wants a value");
    EXPECT_EQ(refusal({"--bind", "/none", "ls"}), "--bind /none is no folder");
    EXPECT_EQ(refusal({"--sysroot", "/etc/passwd", "ls"}), "--sysroot /etc/passwd is no folder");
    EXPECT_THAT(refusal({"--name", "a/b", "ls"}), HasSubstr("--name a/b: letters"));
    EXPECT_THAT(refusal({"--name", ".a", "ls"}), HasSubstr("--name .a"));
}

} // namespace
