/** Calls: how they are made, answered, escaped from and ended, as the user of a channel sees it. */
#include "modem_board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

/** A channel in use by a program that has set it raw. */
class channel_user {
public:
    channel_user() : daemon_(start_daemon()), port_(data_channel, O_RDWR | O_NOCTTY)
    {
        EXPECT_TRUE(daemon_);
        EXPECT_EQ(port_.error(), 0);
        EXPECT_TRUE(set_raw(fd()));
        EXPECT_THAT(ask("ATE0"), EndsWith("\r\nOK\r\n"));
    }

    int fd() const { return port_.fd(); }
    void say(std::string_view bytes) const
    {
        EXPECT_EQ(write(fd(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    std::string hear(std::string_view end, std::chrono::milliseconds time = 5s) const
    {
        return read_until(fd(), end, time);
    }
    std::string ask(const std::string& line, std::string_view end = "OK\r\n") const
    {
        say(line + "\r");
        return hear(end);
    }
    bool has_carrier() const
    {
        int lines = 0;
        EXPECT_EQ(ioctl(fd(), TIOCMGET, &lines), 0);
        return (lines & TIOCM_CD) != 0;
    }

private:
    bool daemon_;
    opened_file port_;
};

} // namespace

TEST(ModemCall, EachResultIsSaidAsTheNetworkGivesIt)
{
    modem_board board;
    const channel_user user;
    for (const std::string result : {"BUSY", "NO CARRIER", "NO ANSWER", "NO DIALTONE", "ERROR"}) {
        board.set(R"({"dial":")" + result + R"("})");
        EXPECT_EQ(user.ask("ATD*99***1#", result + "\r\n"), "\r\n" + result + "\r\n");
        EXPECT_EQ(board.mode(), "command");
    }
    EXPECT_EQ(board.channel().at("dialled"), "*99***1#");
}

TEST(ModemCall, ItRingsFirst)
{
    modem_board board;
    const channel_user user;
    board.set(R"({"rings":2,"dial":"NO ANSWER"})");
    EXPECT_EQ(user.ask("ATD*99#", "ANSWER\r\n"), "\r\nRINGING\r\n\r\nRINGING\r\n\r\nNO ANSWER\r\n");
}

TEST(ModemCall, TheResultTakesItsTimeAndNothingIsHeardMeanwhile)
{
    modem_board board;
    const channel_user user;
    board.set(R"({"dial_delay_ms":300,"peer":"echo"})");
    const auto start = std::chrono::steady_clock::now();
    user.say("ATD*99#\r");
    EXPECT_TRUE(becomes([&] { return board.mode() == "dialling"; }));
    user.say("AT\r");
    EXPECT_EQ(user.hear("CONNECT\r\n"), "\r\nCONNECT\r\n");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
}

TEST(ModemCall, DataPassesAndTheEscapeLeadsBackToCommands)
{
    modem_board board;
    const channel_user user;
    board.set(R"({"peer":"echo","guard_ms":200})");
    EXPECT_EQ(user.ask("ATD*99#", "CONNECT\r\n"), "\r\nCONNECT\r\n");
    user.say("AT+CSQ\r");
    EXPECT_EQ(user.hear("\r"), "AT+CSQ\r") << "from the echo, and no answer";
    user.say("+++");
    EXPECT_EQ(user.hear("+++", 1s), "+++") << "they are data too";
    user.say("x");
    EXPECT_EQ(user.hear("x"), "x") << "too early: they were nothing but data";

    std::this_thread::sleep_for(300ms);
    user.say("+++");
    EXPECT_EQ(user.hear("OK\r\n"), "+++\r\nOK\r\n");
    EXPECT_EQ(board.mode(), "command");
    EXPECT_EQ(board.channel().at("in_call"), true);
    EXPECT_THAT(user.ask("AT+CSQ"), HasSubstr("+CSQ: 21,99"));
    EXPECT_EQ(user.ask("ATO", "CONNECT\r\n"), "\r\nCONNECT\r\n");
    user.say("again");
    EXPECT_EQ(user.hear("again"), "again");
}

TEST(ModemCall, HangingUpIsACommand)
{
    modem_board board;
    const channel_user user;
    board.set(R"({"peer":"none","guard_ms":50})");
    (void)user.ask("ATD*99#", "CONNECT\r\n");
    std::this_thread::sleep_for(100ms);
    user.say("+++");
    (void)user.hear("OK\r\n");
    EXPECT_EQ(user.ask("ATH"), "\r\nOK\r\n");
    EXPECT_EQ(board.channel().at("in_call"), false);
    EXPECT_EQ(user.ask("ATO", "CARRIER\r\n"), "\r\nNO CARRIER\r\n");
}

TEST(ModemCall, DtrsFallEndsTheCall)
{
    modem_board board;
    const channel_user user;
    board.set(R"({"peer":"none"})");
    (void)user.ask("AT&D2");
    (void)user.ask("ATD*99#", "CONNECT\r\n");
    unsigned dtr = TIOCM_DTR;
    ASSERT_EQ(ioctl(user.fd(), TIOCMBIC, &dtr), 0);
    EXPECT_EQ(user.hear("CARRIER\r\n"), "\r\nNO CARRIER\r\n");
    EXPECT_TRUE(becomes([&] { return !user.has_carrier(); }));
    EXPECT_EQ(board.mode(), "command");
    ASSERT_EQ(ioctl(user.fd(), TIOCMBIS, &dtr), 0);
    EXPECT_EQ(user.ask("AT"), "\r\nOK\r\n");
}

TEST(ModemCall, DtrMeansNothingWhereThatWasSaid)
{
    modem_board board;
    const channel_user user;
    board.set(R"({"peer":"echo"})");
    (void)user.ask("AT&D0");
    (void)user.ask("ATD*99#", "CONNECT\r\n");
    unsigned dtr = TIOCM_DTR;
    ASSERT_EQ(ioctl(user.fd(), TIOCMBIC, &dtr), 0);
    user.say("still here");
    EXPECT_EQ(user.hear("still here"), "still here");
}

TEST(ModemCall, ClosingThePortEndsTheCall)
{
    modem_board board;
    board.set(R"({"peer":"none"})");
    {
        const channel_user user;
        (void)user.ask("ATD*99#", "CONNECT\r\n");
        EXPECT_EQ(board.mode(), "data");
    }
    EXPECT_TRUE(becomes([&] { return board.mode() == "command" && board.channel().at("in_call") == false; }));
}

TEST(ModemCall, TheNetworkEndsTheCall)
{
    modem_board board;
    board.set(R"({"peer":"none"})");
    const channel_user user;
    (void)user.ask("ATD*99#", "CONNECT\r\n");
    (void)board.modem(R"({"do":"no_carrier"})");
    EXPECT_EQ(user.hear("CARRIER\r\n"), "\r\nNO CARRIER\r\n");
    EXPECT_TRUE(becomes([&] { return !user.has_carrier(); }));

    (void)user.ask("ATD*99#", "CONNECT\r\n");
    EXPECT_TRUE(user.has_carrier());
    (void)board.modem(R"({"do":"drop_carrier","port":"/dev/chn/3"})");
    char byte = 0;
    EXPECT_EQ(read(user.fd(), &byte, 1), 0) << "the tty hangs up";
    EXPECT_EQ(error_of(write(user.fd(), "A", 1)), EIO);
    const opened_file again(data_channel, O_RDWR | O_NOCTTY);
    EXPECT_EQ(again.error(), 0);
}

TEST(ModemCall, ChannelsCallIndependently)
{
    modem_board board;
    board.set(R"({"peer":"echo"})");
    const channel_user user;
    (void)user.ask("ATD*99#", "CONNECT\r\n");
    const opened_file other("/dev/chn/2", O_RDWR | O_NOCTTY);
    ASSERT_TRUE(set_raw(other.fd()));
    EXPECT_EQ(write(other.fd(), "AT\r", 3), 3);
    EXPECT_THAT(read_until(other.fd(), "OK\r\n"), HasSubstr("OK"));
    EXPECT_EQ(board.mode(), "data");
    EXPECT_EQ(board.mode("/dev/chn/2"), "command");
}

TEST(ModemCall, AnswersTakeTheirTime)
{
    modem_board board;
    const channel_user user;
    board.set(R"({"delay_ms":200})");
    const auto start = std::chrono::steady_clock::now();
    user.say("AT+CSQ\rAT\r");
    EXPECT_EQ(user.hear("OK\r\n\r\nOK\r\n"), "\r\n+CSQ: 21,99\r\n\r\nOK\r\n\r\nOK\r\n");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 200ms);
}

TEST(ModemCall, ASilentModemSaysNothingAndHearsAll)
{
    modem_board board;
    const channel_user user;
    board.set(R"({"silent":true})");
    EXPECT_EQ(user.ask("ATE1"), "");
    board.set(R"({"silent":false})");
    EXPECT_EQ(user.ask("AT"), "\r\nOK\r\n") << "a command that was not answered was not obeyed";
    EXPECT_THAT(board.state().at("heard").get<std::string>(), EndsWith("ATE1\rAT\r"));
}

TEST(ModemCall, GarbageStandsInThePlaceOfEveryAnswer)
{
    modem_board board;
    const channel_user user;
    board.set(R"({"garbage_hex":"00ff80fe"})");
    EXPECT_EQ(user.ask("AT", "\xFE"), std::string("\0\xFF\x80\xFE", 4));
    EXPECT_EQ(user.ask("ATD*99#", "\xFE"), std::string("\0\xFF\x80\xFE", 4));
    EXPECT_EQ(board.mode(), "command");
}

TEST(ModemCall, AnAnswerCanBeReplacedAndTakenBack)
{
    modem_board board;
    const channel_user user;
    board.set(R"({"answers":{"AT+CPIN?":"+CPIN: SIM PUK"}})");
    EXPECT_EQ(user.ask("AT+CPIN?"), "\r\n+CPIN: SIM PUK\r\n\r\nOK\r\n");
    board.set(R"({"answers":{"AT+CPIN?":null}})");
    EXPECT_EQ(user.ask("AT+CPIN?"), "\r\n+CPIN: READY\r\n\r\nOK\r\n");
}

TEST(ModemCall, WithoutASimThereIsNoCall)
{
    modem_board board;
    const channel_user user;
    board.set(R"({"sim":"missing"})");
    EXPECT_EQ(user.ask("AT+CPIN?", "inserted\r\n"), "\r\n+CME ERROR: SIM not inserted\r\n");
    EXPECT_EQ(user.ask("ATD*99#", "CARRIER\r\n"), "\r\nNO CARRIER\r\n");
}
