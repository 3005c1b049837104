/** The real chat against the modem: a connect script to its end, and to each of its aborts. */
#include "modem_board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kt::tests;
using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

constexpr int connected = 0;
constexpr int timed_out = 3;
constexpr int first_abort = 4; // BUSY, ERROR, NO ANSWER, NO CARRIER, NO DIALTONE, RINGING: in the script's order

/** chat's exit status and what it said. */
struct run {
    int status;
    std::string text;
};

run chat(modem_board& board, const std::string& settings)
{
    EXPECT_TRUE(start_daemon());
    board.set(settings);
    EXPECT_EQ(put("/tmp/script", connect_script(), O_WRONLY | O_CREAT | O_TRUNC, 0755), 0);
    const std::string channel = data_channel;
    const int status =
        ran("stty -F " + channel + " raw -echo 460800 && /tmp/script < " + channel + " > " + channel + " 2> /tmp/said");
    return {status, shown("/tmp/said")};
}

} // namespace

TEST(ModemChat, TheScriptConnects)
{
    modem_board board;
    const run ended = chat(board, "{}");
    EXPECT_EQ(ended.status, connected);
    EXPECT_THAT(ended.text, HasSubstr("Press CTRL-C to close the connection at any stage!"));
    EXPECT_THAT(ended.text, HasSubstr("+CSQ: 21,99"));
    EXPECT_THAT(ended.text, HasSubstr("Connected."));
    EXPECT_EQ(board.state().at("heard"), "AT+CMUX=0\rAT\rATE0\rATI;+CSUB;+CSQ;+CPIN?;+COPS?;+CGREG?;&D2\r"
                                         "AT+CGDCONT=1,\"IP\",\"CMNET\",\"\",0,0\rATD*99***1#\r");
    EXPECT_EQ(board.channel().at("dialled"), "*99***1#");
}

TEST(ModemChat, EachAbortIsFound)
{
    const struct {
        const char* settings;
        int status;
    } rows[] = {
        {R"({"dial":"BUSY"})", first_abort},
        {R"({"answers":{"AT+CGDCONT=1,\"IP\",\"CMNET\",\"\",0,0":"ERROR"}})", first_abort + 1},
        {R"({"answers":{},"dial":"NO ANSWER"})", first_abort + 2},
        {R"({"dial":"NO CARRIER"})", first_abort + 3},
        {R"({"dial":"NO DIALTONE"})", first_abort + 4},
        {R"({"dial":"CONNECT","dial_delay_ms":0,"rings":2})", first_abort + 5},
    };
    modem_board board;
    for (const auto& tried : rows) {
        EXPECT_EQ(chat(board, tried.settings).status, tried.status) << tried.settings;
        board.set(R"({"answers":{"AT+CGDCONT=1,\"IP\",\"CMNET\",\"\",0,0":null},"rings":0,"dial":"CONNECT"})");
    }
}

TEST(ModemChat, OneRingIsNoAbort)
{
    modem_board board;
    EXPECT_EQ(chat(board, R"({"rings":1})").status, connected);
}

TEST(ModemChat, ASilentModemTimesOut)
{
    modem_board board;
    EXPECT_EQ(chat(board, R"({"silent":true})").status, timed_out);
}

TEST(ModemChat, AMissingSimTimesOutSinceItsErrorIsOfAnotherForm)
{
    modem_board board;
    const run ended = chat(board, R"({"sim":"missing"})");
    EXPECT_EQ(ended.status, timed_out);
    EXPECT_THAT(ended.text, HasSubstr("+CME ERROR: SIM not inserted"));
}

TEST(ModemChat, GarbageTimesOut)
{
    modem_board board;
    EXPECT_EQ(chat(board, R"({"garbage_hex":"8f00c3ff0d0a"})").status, timed_out);
}
