/** Whole data sessions: the library, chat, pppd, the multiplexer and the modem with its network. */
#include <kt_driver/net.h>

#include "modem_double.h"
#include "session_files.h"
#include "session_parameters.h"
#include "tests/support/journal_lines.h"

#include <chrono>
#include <cstdlib>
#include <gmock/gmock.h>
#include <thread>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

using statuses = std::vector<int>;

/** A board whose multiplexer runs, as after its start. */
class DataSession : public testing::Test {
protected:
    DataSession()
    {
        EXPECT_EQ(std::system("/kt/kt_module/gsm0710muxd_bp.sh"), 0);
        EXPECT_TRUE(becomes([] { return mode_of("/dev/chn/3") != 0; }));
    }

    template <typename Condition>
    static bool becomes(Condition so)
    {
        for (const auto end = std::chrono::steady_clock::now() + 60s; std::chrono::steady_clock::now() < end;) {
            if (so())
                return true;
            std::this_thread::sleep_for(50ms);
        }
        return so();
    }

    void set_modem(const std::string& settings) { (void)board_.modem(R"({"set":)" + settings + "}"); }

    void open(const pppd_task_params* params = nullptr)
    {
        task_ = pppd_task_create(session_name, params, 0);
        ASSERT_NE(task_, nullptr);
    }

    /** Polls as an application does until one of these comes; all that it saw, each change once. */
    statuses poll_until(std::initializer_list<int> ends)
    {
        statuses seen;
        (void)becomes([&] {
            const int status = pppd_task_poll(task_);
            if (seen.empty() || seen.back() != status)
                seen.push_back(status);
            return std::find(ends.begin(), ends.end(), status) != ends.end();
        });
        return seen;
    }

    virtual_terminal board_;
    pppd_task* task_ = nullptr;
};

} // namespace

TEST_F(DataSession, ComesUpAndGoesDownWhenStopped)
{
    board_.forget();
    open();
    EXPECT_THAT(poll_until({1, 3, 4, -1}), ElementsAre(0, 1));
    EXPECT_THAT(board_.modem(), HasSubstr(R"("dialled":"*99***1#","up":true)"));
    EXPECT_THAT(told(board_, {"program"}), Contains("program pppd call kt_wireless_module"));

    EXPECT_EQ(pppd_task_stop(task_), 0);
    const statuses end = poll_until({3, 4, -1});
    EXPECT_EQ(end.back(), 3);
    EXPECT_THAT(end, Not(Contains(1)));
    EXPECT_TRUE(becomes([&] { return board_.modem().find(R"("in_call":true)") == std::string::npos; }));
    EXPECT_EQ(pppd_task_exit(task_), 0);
}

TEST_F(DataSession, DialsAgainAfterItsEnd)
{
    open();
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(poll_until({1, 3, 4, -1}), ElementsAre(0, 1)) << i;
        EXPECT_EQ(pppd_task_stop(task_), 0);
        EXPECT_EQ(poll_until({3, 4, -1}).back(), 3) << i;
        EXPECT_EQ(pppd_task_start(task_), 0);
    }
    EXPECT_THAT(poll_until({1, 3, 4, -1}), ElementsAre(0, 1));
    EXPECT_EQ(pppd_task_exit(task_), 0);
    EXPECT_TRUE(becomes([&] { return board_.modem().find(R"("in_call":true)") == std::string::npos; }));
}

TEST_F(DataSession, TellsOfALostCarrier)
{
    open();
    EXPECT_EQ(poll_until({1, 3, 4, -1}).back(), 1);
    (void)board_.modem(R"({"do":"drop_carrier"})");
    const statuses end = poll_until({3, 4, -1});
    EXPECT_EQ(end.back(), 3) << "pppd said that the link is down";
    EXPECT_EQ(pppd_task_exit(task_), 0);
}

TEST_F(DataSession, TellsOfAModemThatLostItsPower)
{
    open();
    EXPECT_EQ(poll_until({1, 3, 4, -1}).back(), 1);
    EXPECT_EQ(kt_gsm_stop(), 0);
    EXPECT_EQ(poll_until({3, 4, -1}).back(), 3);
    EXPECT_EQ(pppd_task_exit(task_), 0);
}

TEST_F(DataSession, NeverComesUpWithoutASim)
{
    set_modem(R"({"sim":"missing"})");
    open(); // chat knows no such answer, and waits half a minute for another
    EXPECT_THAT(poll_until({1, 3, 4, -1}), ElementsAre(0, 3));
    EXPECT_EQ(pppd_task_exit(task_), 0);
}

TEST_F(DataSession, NeverComesUpWhenTheCallFails)
{
    for (const char* result : {"BUSY", "NO CARRIER", "NO ANSWER", "NO DIALTONE"}) {
        set_modem(R"({"dial":")" + std::string(result) + R"("})");
        open();
        EXPECT_THAT(poll_until({1, 3, 4, -1}), ElementsAre(0, 3)) << result;
        EXPECT_EQ(pppd_task_exit(task_), 0);
    }
}

TEST_F(DataSession, ASilentModemIsGivenUpWhenStopped)
{
    set_modem(R"({"silent":true})");
    open();
    std::this_thread::sleep_for(1s);
    EXPECT_EQ(pppd_task_poll(task_), 0);
    EXPECT_EQ(pppd_task_stop(task_), 0);
    EXPECT_THAT(poll_until({3, 4, -1}).back(), 3);
    EXPECT_EQ(pppd_task_exit(task_), 0);
}

TEST_F(DataSession, NamesItselfToTheNetwork)
{
    set_modem(R"({"asks_user":true,"user":"card","password":"secret"})");
    pppd_task_params params = parameters({.context_command = "AT+CGDCONT=1,\"IP\",\"apn\",\"\",0,0",
                                          .dial_string = "*99***2#",
                                          .user = "card",
                                          .password = "secret"});
    open(&params);
    EXPECT_THAT(poll_until({1, 3, 4, -1}), ElementsAre(0, 1));
    EXPECT_THAT(board_.modem(), HasSubstr(R"("dialled":"*99***2#","up":true,"user":"card")"));
    EXPECT_EQ(pppd_task_stop(task_), 0);
    EXPECT_EQ(poll_until({3, 4, -1}).back(), 3);

    params = parameters({.dial_string = "*99***2#", .user = "card", .password = "wrong"});
    EXPECT_EQ(pppd_task_set_param(task_, &params), 0);
    EXPECT_EQ(pppd_task_start(task_), 0);
    EXPECT_THAT(poll_until({1, 3, 4, -1}), ElementsAre(0, 3));
    EXPECT_EQ(pppd_task_exit(task_), 0);
}

TEST_F(DataSession, BringsBackADeadMultiplexerFirst)
{
    end_daemons();
    board_.forget();
    open();
    EXPECT_THAT(poll_until({1, 3, 4, -1}), ElementsAre(0, 1));
    EXPECT_EQ(board_.writes("/sys/class/kt_misc/ioctl/gsm_pwr"), (std::vector<std::string>{"0\n", "1\n"}));
    EXPECT_EQ(pppd_task_exit(task_), 0);
}

TEST_F(DataSession, TheModemsSwitchesRestartTheMultiplexer)
{
    EXPECT_EQ(kt_gsm_stop(), 0);
    EXPECT_TRUE(becomes([] { return task_check_run("gsm0710muxd_bp") == 0; }));
    EXPECT_EQ(mode_of("/dev/chn/3"), mode_t{0});
    EXPECT_EQ(mode_of("/dev/ttyS0"), mode_t{0});
    EXPECT_EQ(kt_get_gsm_power(), 0);
    EXPECT_EQ(kt_gsm_start(), 0);
    EXPECT_TRUE(becomes([] { return mode_of("/dev/chn/3") != 0; }));
    EXPECT_EQ(kt_get_gsm_power(), 1);
    EXPECT_EQ(kt_gsm_cmux_run_check(), 1);
}
