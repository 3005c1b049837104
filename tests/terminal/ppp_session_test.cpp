/** A whole dial-up session: the board's files, the real chat, pppd's stand-in, the modem and the network behind it. */
#include "modem_board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* notices = "/tmp/kt_wireless_module";
constexpr const char* script = "/kt/ppp/peers/gprs-connect-chat-kt_wireless_module";
constexpr const char* log_file = "/tmp/pppd.log";
const std::vector<std::string> call = {"pppd", "call", "kt_wireless_module"};

/** What an application prepares: daemon, pipe and connect script. */
class session {
public:
    explicit session(const std::string& settings = "{}")
    {
        EXPECT_TRUE(start_daemon());
        board.set(settings);
        unlink(notices);
        EXPECT_EQ(mkfifo(notices, 0777), 0);
        pipe_ = ::open(notices, O_RDWR | O_CLOEXEC);
        EXPECT_GE(pipe_, 0);
        set_script(connect_script());
        board.forget();
    }
    ~session() { close(pipe_); }

    static void set_script(const std::string& text)
    {
        EXPECT_EQ(put(script, text, O_WRONLY | O_CREAT | O_TRUNC, 0777), 0);
        EXPECT_EQ(chmod(script, 0777), 0);
    }

    /** The notifications that come until @p end has come. */
    std::string notice(std::string_view end, std::chrono::milliseconds time = 15s) const
    {
        return read_until(pipe_, end, time);
    }

    modem_board board;

private:
    int pipe_ = -1;
};

/** Without chat: the modem answers at once. */
const char* const quick_script = "#!/bin/sh\nprintf 'ATD*99#\\r'\nread line\nread line\nexit 0\n";

} // namespace

TEST(PppSession, ComesUpAndEndsWhenAsked)
{
    session line;
    background_program pppd(call, log_file);
    EXPECT_EQ(line.notice("1\n"), "1\n");
    EXPECT_TRUE(line.board.channel().at("up").get<bool>());
    EXPECT_EQ(ran("pidof -s pppd > /dev/null"), 0);
    pppd.signal(SIGTERM);
    EXPECT_EQ(line.notice("2\n"), "2\n");
    EXPECT_EQ(pppd.status(), 5);
    EXPECT_TRUE(becomes([&] { return line.board.mode() == "command"; }));
    const std::string told = shown(log_file);
    for (const char* text :
         {"Serial connection established.", "Connect: ppp0 <--> /dev/chn/3", "local  IP address 10.64.0.2",
          "remote IP address 10.64.0.1", "Terminating on signal 15", "Connection terminated."})
        EXPECT_THAT(told, HasSubstr(text));
}

TEST(PppSession, IsRecordedWithItsArgumentsAndHooks)
{
    session line;
    session::set_script(quick_script);
    background_program pppd(call, log_file);
    EXPECT_EQ(line.notice("1\n"), "1\n");
    std::vector<std::vector<std::string>> runs;
    for (const auto& each : line.board.events_of({"program"}))
        runs.push_back(each.arguments);
    EXPECT_THAT(runs, Contains(std::vector<std::string>(call)));
    EXPECT_THAT(runs, Contains(std::vector<std::string>{"/bin/sh", "/etc/ppp/ip-up", "ppp0", "/dev/chn/3", "460800",
                                                        "10.64.0.2", "10.64.0.1", "kt_wireless_module"}));
    EXPECT_THAT(line.board.commands(), Contains(std::string(script)));
}

TEST(PppSession, TheKillScriptEndsIt)
{
    session line;
    session::set_script(quick_script);
    background_program pppd(call, log_file);
    EXPECT_EQ(line.notice("1\n"), "1\n");
    EXPECT_EQ(ran("/kt/ppp/kt-ppp-kill"), 0);
    pppd.signal(SIGTERM); // as an application does besides
    EXPECT_EQ(pppd.status(), 5);
    EXPECT_EQ(line.notice("2\n"), "2\n");
    EXPECT_EQ(ran("/kt/ppp/kt-ppp-kill"), 0) << "with nothing to kill";
}

TEST(PppSession, EachEndingSignalEndsIt)
{
    for (const int number : {SIGINT, SIGHUP}) {
        session line;
        session::set_script(quick_script);
        background_program pppd(call, log_file);
        EXPECT_EQ(line.notice("1\n"), "1\n");
        pppd.signal(number);
        EXPECT_EQ(pppd.status(), 5) << number;
        EXPECT_EQ(line.notice("2\n"), "2\n");
    }
}

TEST(PppSession, AnotherCallFollows)
{
    session line;
    session::set_script(quick_script);
    for (int time = 0; time < 3; ++time) {
        background_program pppd(call, log_file);
        EXPECT_EQ(line.notice("1\n"), "1\n");
        pppd.signal(SIGTERM);
        EXPECT_EQ(line.notice("2\n"), "2\n");
        EXPECT_EQ(pppd.status(), 5);
    }
}

TEST(PppSession, LossOfTheCarrierEndsIt)
{
    session line;
    session::set_script(quick_script);
    background_program pppd(call, log_file);
    EXPECT_EQ(line.notice("1\n"), "1\n");
    (void)line.board.modem(R"({"do":"drop_carrier"})");
    EXPECT_EQ(line.notice("2\n"), "2\n");
    EXPECT_EQ(pppd.status(), 16);
    EXPECT_THAT(shown(log_file), HasSubstr("Modem hangup"));
}

TEST(PppSession, AFallenCarrierLineEndsItWithoutAHangUp)
{
    session line;
    session::set_script(quick_script);
    background_program pppd(call, log_file);
    EXPECT_EQ(line.notice("1\n"), "1\n");
    (void)line.board.modem(R"({"do":"no_carrier"})");
    EXPECT_EQ(pppd.status(), 16);
    EXPECT_EQ(line.notice("2\n"), "2\n");
}

TEST(PppSession, PowerLossEndsIt)
{
    session line;
    session::set_script(quick_script);
    background_program pppd(call, log_file);
    EXPECT_EQ(line.notice("1\n"), "1\n");
    EXPECT_EQ(put(power_switch, "0\n"), 0);
    EXPECT_EQ(line.notice("2\n"), "2\n");
    EXPECT_EQ(pppd.status(), 16);
}

TEST(PppSession, ASilentNetworkIsNoticedByItsMissingEchoes)
{
    session line;
    session::set_script(quick_script);
    std::vector<std::string> impatient = call;
    for (const char* word : {"lcp-echo-interval", "1", "lcp-echo-failure", "2"})
        impatient.emplace_back(word);
    background_program pppd(impatient, log_file);
    EXPECT_EQ(line.notice("1\n"), "1\n");
    line.board.set(R"({"answers_echoes":false})");
    EXPECT_EQ(line.notice("2\n"), "2\n");
    EXPECT_EQ(pppd.status(), 15);
}

TEST(PppSession, ADeadNetworkEndsTheNegotiation)
{
    session line(R"({"peer":"none"})");
    session::set_script(quick_script);
    std::vector<std::string> impatient = call;
    for (const char* word : {"lcp-restart", "1", "lcp-max-configure", "2"})
        impatient.emplace_back(word);
    background_program pppd(impatient, log_file);
    EXPECT_EQ(pppd.status(), 10);
    EXPECT_EQ(line.notice("\n", 200ms), "") << "a link that never was up does not go down";
}

TEST(PppSession, AnEchoingNetworkIsALoop)
{
    session line(R"({"peer":"echo"})");
    session::set_script(quick_script);
    background_program pppd(call, log_file);
    EXPECT_EQ(pppd.status(), 17);
}

TEST(PppSession, UserAndPasswordAreTheApplications)
{
    session line(R"({"asks_user":true,"user":"card","password":"gprs"})");
    session::set_script(quick_script);
    // As the application writes them.
    ASSERT_EQ(put("/kt/ppp/pap-secrets", "card\t*\tgprs\t*\r\n\n", O_WRONLY | O_CREAT), 0);
    ASSERT_EQ(put("/kt/ppp/options", "user card\n", O_WRONLY | O_CREAT), 0);
    {
        background_program pppd(call, log_file);
        EXPECT_EQ(line.notice("1\n"), "1\n");
        EXPECT_EQ(line.board.channel().at("user"), "card");
    }
    line.board.set(R"({"password":"other"})");
    background_program pppd(call, log_file);
    EXPECT_EQ(pppd.status(), 19);
    EXPECT_THAT(shown(log_file), HasSubstr("PAP authentication failed"));
}

TEST(PppSession, AFailedConnectScriptIsAnExitOfItsOwn)
{
    session line(R"({"dial":"BUSY"})");
    background_program pppd(call, log_file);
    EXPECT_EQ(pppd.status(), 8);
    EXPECT_THAT(shown(log_file), HasSubstr("Connect script failed"));
    EXPECT_EQ(line.notice("\n", 200ms), "");
}

TEST(PppSession, ASilentModemFailsTheConnectScript)
{
    session line(R"({"silent":true})");
    background_program pppd(call, log_file);
    EXPECT_EQ(pppd.status(), 8);
}

TEST(PppSession, ASignalEndsTheConnectScriptToo)
{
    session line;
    session::set_script("#!/bin/sh\nsleep 1000\n");
    background_program pppd(call, log_file);
    EXPECT_TRUE(becomes([] { return ran("pidof sleep > /dev/null") == 0; }));
    pppd.signal(SIGTERM);
    EXPECT_EQ(pppd.status(), 5);
    EXPECT_TRUE(becomes([] { return ran("pidof sleep > /dev/null") == 1; }));
}

TEST(PppSession, AMissingChannelIsAnExitOfItsOwn)
{
    background_program pppd(call, log_file);
    EXPECT_EQ(pppd.status(), 7);
    EXPECT_THAT(shown(log_file), HasSubstr("Failed to open /dev/chn/3: No such file or directory"));
}

TEST(PppSession, WrongOptionsAreAnExitOfTheirOwn)
{
    EXPECT_EQ(ran("pppd call nobody 2> /tmp/error"), 2);
    EXPECT_EQ(shown("/tmp/error"), "pppd: Can't open options file /etc/ppp/peers/nobody\n");
    EXPECT_EQ(ran("pppd nonsense 2> /tmp/error"), 2);
    EXPECT_EQ(shown("/tmp/error"), "pppd: unrecognized option 'nonsense'\n");
}

TEST(PppSession, NobodyListeningDoesNotHoldIt)
{
    session line;
    session::set_script(quick_script);
    unlink(notices);
    background_program pppd(call, log_file);
    EXPECT_TRUE(becomes([&] { return line.board.channel().value("up", false); }));
    pppd.signal(SIGTERM);
    EXPECT_EQ(pppd.status(), 5);
    EXPECT_FALSE(exists(notices));
}
