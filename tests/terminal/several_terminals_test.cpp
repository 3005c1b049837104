/** Terminals side by side, and how ctl finds the one that is meant. */
#include "desk.h"

#include <gmock/gmock.h>

using namespace kt::tests;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string power = "/sys/class/kt_misc/ioctl/gsm_pwr";

} // namespace

TEST(SeveralTerminals, CtlFindsTheOnlyOneByItself)
{
    const desk user;
    running_terminal only = user.start("only", {"--", "sleep", "1000"});
    (void)only.board();
    EXPECT_EQ(user.terminal({"ctl", "get", power}).out, "1\n");
    EXPECT_EQ(user.terminal({"ctl", "set", power, "0"}).status, 0);
    EXPECT_EQ(user.terminal({"ctl", "get", power}).out, "0\n");
    EXPECT_EQ(user.terminal({"ctl", "get", "/sys/no/such"}).status, 1);
    EXPECT_THAT(user.terminal({"ctl", "hello"}).out, HasSubstr("\"only\""));
    EXPECT_EQ(user.terminal({"ctl", "stop"}).status, 0);
    EXPECT_EQ(only.status(), 137);

    const ended none = user.terminal({"ctl", "get", power});
    EXPECT_EQ(none.status, 125);
    EXPECT_THAT(none.err, HasSubstr("no terminal is running"));
}

TEST(SeveralTerminals, CtlAsksWhichOfSeveral)
{
    const desk user;
    running_terminal one = user.start("one", {"--board", "90", "--", "sleep", "1000"});
    running_terminal two = user.start("two", {"--board", "50", "--", "sleep", "1000"});
    (void)one.board();
    (void)two.board();
    const ended unclear = user.terminal({"ctl", "get", power});
    EXPECT_EQ(unclear.status, 125);
    EXPECT_THAT(unclear.err, AllOf(HasSubstr("--name"), HasSubstr(" one"), HasSubstr(" two")));

    const std::string version = "/sys/class/kt_misc/sysinfo/hardwarever";
    EXPECT_EQ(user.terminal({"ctl", "--name", "one", "get", version}).out, "90\n");
    EXPECT_EQ(user.terminal({"ctl", "--name", "two", "get", version}).out, "50\n");
    const ended unknown = user.terminal({"ctl", "--name", "three", "get", version});
    EXPECT_EQ(unknown.status, 125);
    EXPECT_THAT(unknown.err, HasSubstr("three"));
    const ended list = user.terminal({"ctl", "terminals"});
    EXPECT_THAT(list.out, AllOf(StartsWith("one\tboard 90\tprocess " + std::to_string(one.process()) + "\n"),
                                HasSubstr("\ntwo\tboard 50\t")));
}

TEST(SeveralTerminals, ANameStandsForOneTerminal)
{
    const desk user;
    running_terminal first = user.start("same", {"--", "sleep", "1000"});
    (void)first.board();
    const ended second = user.terminal({"--name", "same", "true"});
    EXPECT_EQ(second.status, 125);
    EXPECT_THAT(second.err, AllOf(StartsWith("kt-terminal: "), HasSubstr("same")));
    EXPECT_EQ(user.terminal({"ctl", "get", power}).out, "1\n") << "the first goes on";
}

TEST(SeveralTerminals, OnATerminalCtlMeansThatOne)
{
    const desk user;
    const ended run = user.terminal({"--", KT_TERMINAL, "ctl", "get", power});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "1\n");
}

TEST(SeveralTerminals, EachHasABoardOfItsOwn)
{
    const desk user;
    std::vector<running_terminal> all;
    for (int i = 0; i < 8; ++i)
        all.push_back(user.start("t" + std::to_string(i),
                                 {"--", "bash", "-c",
                                  "until test -e /kt/go; do sleep 0.05; done; cat /kt/go " + power +
                                      "; echo $$ > /proc/sys/vm/swappiness; fw_printenv; exit $(cat /kt/go)"}));
    for (std::size_t i = 0; i < all.size(); ++i) {
        auto board = all[i].board();
        board.attribute(power, {.text = std::to_string(100 + i) + "\n"});
        (void)board.exchange(R"({"op":"set","path":"/kt/go","text":")" + std::to_string(i) + R"(\n"})");
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].status(), static_cast<int>(i));
        const std::string number = std::to_string(i);
        EXPECT_EQ(desk_file(user.folder() + "/t" + number), number + "\n" + std::to_string(100 + i) + "\n");
    }
    EXPECT_TRUE(user.becomes_quiet());
}

TEST(SeveralTerminals, OneRunsInsideAnother)
{
    const desk user;
    // The folder of sockets that the desk's user has is not writable there.
    const ended run = user.terminal({"--board", "90", "--", "env", "-u", "XDG_RUNTIME_DIR", KT_TERMINAL, "--board",
                                     "50", "--", "cat", "/sys/class/kt_misc/sysinfo/hardwarever"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "50\n");
}

TEST(SeveralTerminals, ASessionFolderThatIsNotThereIsNoHindrance)
{
    const desk user;
    const ended run = user.terminal({"--", "true"}, {.environment = {"XDG_RUNTIME_DIR=/no/such/folder"}});
    EXPECT_EQ(run.status, 0) << run.err;
}
