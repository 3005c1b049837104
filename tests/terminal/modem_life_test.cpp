/** The modem's life on the board: power, multiplexer daemon, channels, and what stays when one of them goes. */
#include "modem_board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

void power(bool on)
{
    ASSERT_EQ(put(power_switch, on ? "1\n" : "0\n"), 0);
}

/** Talks to a port: what comes back until @p end. */
std::string answer(int fd, std::string_view line, std::string_view end = "OK\r\n")
{
    EXPECT_TRUE(set_raw(fd));
    EXPECT_EQ(write(fd, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    return read_until(fd, end);
}

constexpr int port_flags = O_RDWR | O_NOCTTY;

} // namespace

TEST(ModemLife, ThePortIsThereWithItsPower)
{
    EXPECT_TRUE(exists(modem_port)) << "a board has started its modem";
    power(false);
    EXPECT_FALSE(exists(modem_port));
    EXPECT_EQ(open_error(modem_port, port_flags), ENOENT);
    power(false);
    EXPECT_FALSE(exists(modem_port));
    power(true);
    EXPECT_EQ(open_error(modem_port, port_flags), 0);
}

TEST(ModemLife, AModemTakesItsTimeToStart)
{
    modem_board board;
    board.set(R"({"boot_delay_ms":300})");
    power(false);
    const auto start = std::chrono::steady_clock::now();
    power(true);
    EXPECT_FALSE(exists(modem_port));
    EXPECT_TRUE(becomes([] { return exists(modem_port); }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
    power(false);
    power(true);
    power(false); // before it was there
    std::this_thread::sleep_for(500ms);
    EXPECT_FALSE(exists(modem_port));
}

TEST(ModemLife, PowerLossHangsUp)
{
    const opened_file port(modem_port, port_flags);
    ASSERT_EQ(port.error(), 0);
    EXPECT_THAT(answer(port.fd(), "AT\r"), HasSubstr("\r\nOK\r\n"));
    power(false);
    char byte = 0;
    EXPECT_EQ(read(port.fd(), &byte, 1), 0);
    EXPECT_EQ(error_of(write(port.fd(), "A", 1)), EIO);
    power(true);
    const opened_file again(modem_port, port_flags);
    EXPECT_THAT(answer(again.fd(), "AT\r"), HasSubstr("\r\nOK\r\n"));
}

TEST(ModemLife, TheDaemonMakesTheChannelsAndIsFoundByName)
{
    EXPECT_FALSE(exists("/dev/chn"));
    EXPECT_EQ(ran("pidof -s gsm0710muxd_bp > /dev/null"), 1);
    ASSERT_TRUE(start_daemon());
    EXPECT_EQ(ran("pidof -s gsm0710muxd_bp > /dev/null"), 0);
    for (const char* channel : {"/dev/chn/1", "/dev/chn/2", "/dev/chn/3", "/dev/chn/4"}) {
        const opened_file port(channel, port_flags);
        ASSERT_EQ(port.error(), 0) << channel;
        EXPECT_THAT(answer(port.fd(), "AT\r\n"), HasSubstr("\r\nOK\r\n")) << channel;
    }
    EXPECT_FALSE(exists("/dev/chn/5"));
    modem_board board;
    EXPECT_EQ(board.state().at("multiplexed"), true);
    EXPECT_EQ(board.mode(modem_port), "multiplexed");
}

TEST(ModemLife, ASecondStartLeavesTheFirstDaemon)
{
    ASSERT_TRUE(start_daemon());
    const int first = daemon_process();
    EXPECT_EQ(ran(daemon_script), 0);
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(daemon_process(), first);
}

TEST(ModemLife, TheRunOfEachScriptIsRecorded)
{
    modem_board board;
    board.forget();
    ASSERT_TRUE(start_daemon());
    EXPECT_EQ(ran(daemon_kill_script), 0);
    std::vector<std::vector<std::string>> runs;
    for (const auto& each : board.events_of({"program"}))
        runs.push_back(each.arguments);
    EXPECT_THAT(runs, testing::ElementsAre(std::vector<std::string>{"/bin/sh", daemon_script},
                                           std::vector<std::string>{"/bin/sh", daemon_kill_script}));
}

TEST(ModemLife, TheKillScriptTakesDaemonAndChannelsAway)
{
    ASSERT_TRUE(start_daemon());
    const opened_file channel(data_channel, port_flags);
    EXPECT_EQ(ran(daemon_kill_script), 0);
    EXPECT_TRUE(becomes([] { return daemon_process() == 0; }));
    EXPECT_FALSE(exists("/dev/chn"));
    char byte = 0;
    EXPECT_EQ(read(channel.fd(), &byte, 1), 0);
    EXPECT_EQ(error_of(write(channel.fd(), "A", 1)), EIO);
    EXPECT_EQ(ran(daemon_kill_script), 0) << "with nothing to kill";
    EXPECT_TRUE(start_daemon()) << "and it can be started again";
}

TEST(ModemLife, AKilledDaemonLeavesDeadNamesBehind)
{
    ASSERT_TRUE(start_daemon());
    const opened_file held(data_channel, port_flags);
    kill(daemon_process(), SIGKILL);
    EXPECT_TRUE(becomes([] { return open_error(data_channel, port_flags) == EIO; }));
    EXPECT_TRUE(exists("/dev/chn/1"));
    char byte = 0;
    EXPECT_EQ(read(held.fd(), &byte, 1), 0);

    ASSERT_TRUE(start_daemon()) << "over the old names";
    const opened_file port(data_channel, port_flags);
    EXPECT_THAT(answer(port.fd(), "AT\r"), HasSubstr("OK"));
    EXPECT_EQ(error_of(write(held.fd(), "A", 1)), EIO) << "the old channel stays dead";
}

TEST(ModemLife, StaleNamesCanBeRemoved)
{
    ASSERT_TRUE(start_daemon());
    kill(daemon_process(), SIGKILL);
    EXPECT_TRUE(becomes([] { return open_error(data_channel, port_flags) == EIO; }));
    EXPECT_EQ(ran("rm -rf /dev/chn"), 0);
    EXPECT_FALSE(exists("/dev/chn"));
    EXPECT_TRUE(start_daemon());
}

TEST(ModemLife, PowerLossEndsDaemonAndChannels)
{
    background_program daemon({"/kt/kt_module/gsm0710muxd_bp"});
    ASSERT_TRUE(becomes([] { return exists("/dev/chn/4"); }));
    power(false);
    EXPECT_EQ(open_error(data_channel, port_flags), EIO);
    EXPECT_TRUE(exists(data_channel));
    EXPECT_EQ(daemon.status(), 1) << "its line has hung up";
}

TEST(ModemLife, TheDaemonEndsWellWhenAsked)
{
    background_program daemon({"/kt/kt_module/gsm0710muxd_bp"});
    ASSERT_TRUE(becomes([] { return exists("/dev/chn/4"); }));
    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.status(), 0);
    EXPECT_FALSE(exists("/dev/chn"));
}

TEST(ModemLife, TheDaemonWaitsForAModemThatStarts)
{
    power(false);
    background_program daemon({"/kt/kt_module/gsm0710muxd_bp"});
    std::this_thread::sleep_for(300ms);
    EXPECT_TRUE(daemon.runs());
    power(true);
    EXPECT_TRUE(becomes([] { return exists(data_channel); }));
}

TEST(ModemLife, ADaemonWithASilentModemGivesUp)
{
    modem_board board;
    board.set(R"({"silent":true})");
    background_program daemon({"/kt/kt_module/gsm0710muxd_bp"});
    EXPECT_EQ(daemon.status(), 1);
    EXPECT_FALSE(exists("/dev/chn"));
}

TEST(ModemLife, ProgramsInheritNoPortsThroughTheDaemon)
{
    const int held = ::open("/dev/sp_uart0", port_flags); // as an application's, open in its children too
    ASSERT_GE(held, 0);
    ASSERT_TRUE(start_daemon());
    close(held);
    modem_board board;
    EXPECT_TRUE(becomes([&] { return !board.line("/dev/sp_uart0").open; }));
}

TEST(ModemLife, WhatIsNoModemIsRefused)
{
    modem_board board;
    EXPECT_THROW((void)board.modem(R"({"path":"/dev/sp_uart0"})"), kt::terminal::terminal_error);
    for (const char* wrong :
         {R"({"set":{"delay_ms":-1}})", R"({"set":{"none":1}})", R"({"do":"explode"})", R"({"set":{"peer":"nobody"}})",
          R"({"set":{"dns":["1.2.3"]}})", R"({"set":7})", R"({"do":"no_carrier","port":"/dev/chn/9"})"})
        EXPECT_THROW((void)board.modem(wrong), kt::terminal::terminal_error) << wrong;
    EXPECT_NO_THROW((void)board.modem(R"({"set":{"signal":5,"answers":{"AT+CSQ":null}}})"));
}

TEST(ModemLife, AnUnpluggedModemDoesNotComeBackByItsSwitch)
{
    modem_board board;
    board.remove(modem_port);
    EXPECT_FALSE(exists(modem_port));
    power(false);
    power(true);
    EXPECT_FALSE(exists(modem_port));
}

TEST(ModemLife, AnotherPortInItsPlaceIsNoneOfItsBusiness)
{
    modem_board board;
    board.remove(modem_port);
    board.port(modem_port);
    power(false);
    EXPECT_TRUE(exists(modem_port));
    board.send(modem_port, "x");
    power(true);
    EXPECT_TRUE(exists(modem_port));
    EXPECT_EQ(board.sent(modem_port), "");
}

TEST(ModemLife, AModemThatTalksGarbageIsNotMultiplexed)
{
    modem_board board;
    board.set(R"({"garbage":"?x?"})");
    const opened_file port(modem_port, port_flags);
    EXPECT_EQ(answer(port.fd(), "AT+CMUX=0\r", "?x?"), "AT+CMUX=0\r?x?");
    EXPECT_FALSE(exists(data_channel));
}
