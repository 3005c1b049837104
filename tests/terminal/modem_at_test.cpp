/** The modem's command mode: each command's answer, lines of commands, and what settings replace. */
#include "terminal/modem/at_responder.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace kt::terminal;
using kind = at_action::kind;

namespace {

/** All that is said in answer to one line; echoes left out. */
std::string said(at_responder& modem, const std::string& line)
{
    std::string all;
    for (const at_action& each : modem.feed(line + "\r"))
        if (each.what == kind::answer)
            all += each.text;
    return all;
}

std::string said(const modem_settings& settings, const std::string& line)
{
    at_responder modem(settings, false);
    return said(modem, line);
}

struct row {
    const char* line;
    const char* answer;
};

} // namespace

TEST(ModemCommands, EachHasItsAnswer)
{
    const row rows[] = {
        {"AT", "\r\nOK\r\n"},
        {"at", "\r\nOK\r\n"},
        {"ATE0", "\r\nOK\r\n"},
        {"ATE1V1", "\r\nOK\r\n"},
        {"ATE2", "\r\nERROR\r\n"},
        {"ATZ", "\r\nOK\r\n"},
        {"AT&F", "\r\nOK\r\n"},
        {"AT&D2", "\r\nOK\r\n"},
        {"AT&D3", "\r\nERROR\r\n"},
        {"AT&C1", "\r\nOK\r\n"},
        {"AT&", "\r\nERROR\r\n"},
        {"ATH", "\r\nOK\r\n"},
        {"ATH0", "\r\nOK\r\n"},
        {"ATS0=0", "\r\nOK\r\n"},
        {"ATS0?", "\r\n000\r\n\r\nOK\r\n"},
        {"ATX3", "\r\nOK\r\n"},
        {"ATX99", "\r\nERROR\r\n"},
        {"ATY", "\r\nERROR\r\n"},
        {"ATD", "\r\nERROR\r\n"},
        {"ATI1", "\r\nRevision: KT-M10 1.04\r\n\r\nOK\r\n"},
        {"AT+CSQ", "\r\n+CSQ: 21,99\r\n\r\nOK\r\n"},
        {"AT+csq", "\r\n+CSQ: 21,99\r\n\r\nOK\r\n"},
        {"AT+CPIN?", "\r\n+CPIN: READY\r\n\r\nOK\r\n"},
        {"AT+COPS?", "\r\n+COPS: 0,0,\"KT MOBILE\"\r\n\r\nOK\r\n"},
        {"AT+CGREG?", "\r\n+CGREG: 0,1\r\n\r\nOK\r\n"},
        {"AT+CREG?", "\r\n+CREG: 0,1\r\n\r\nOK\r\n"},
        {"AT+CGDCONT=1,\"IP\",\"CMNET\",\"\",0,0", "\r\nOK\r\n"},
        {"AT+CGDCONT=", "\r\nERROR\r\n"},
        {"AT+CFUN?", "\r\n+CFUN: 1\r\n\r\nOK\r\n"},
        {"AT+NONE", "\r\nERROR\r\n"},
        {"AT+CMUX=0", "\r\nERROR\r\n"}, // on a channel: only the port itself can be multiplexed
        {"", ""},
        {"hello", ""},
        {"noise AT", "\r\nOK\r\n"},
    };
    for (const row& tried : rows)
        EXPECT_EQ(said(modem_settings{}, tried.line), tried.answer) << tried.line;
}

TEST(ModemCommands, AContextIsKeptWithItsQuotedName)
{
    const modem_settings settings;
    at_responder modem(settings, false);
    EXPECT_EQ(said(modem, "AT+CGDCONT=1,\"IP\",\"CMnet;x\",\"\",0,0;+CSQ"), "\r\n+CSQ: 21,99\r\n\r\nOK\r\n");
    EXPECT_EQ(said(modem, "AT+CGDCONT?"), "\r\n+CGDCONT: 1,\"IP\",\"CMnet;x\",\"\",0,0\r\n\r\nOK\r\n");
}

TEST(ModemCommands, SeveralOnALineAreAnsweredInOrderWithOneOk)
{
    EXPECT_EQ(said(modem_settings{}, "ATI;+CSUB;+CSQ;+CPIN?;+COPS?;+CGREG?;&D2"),
              "\r\nKESTREL\r\n\r\nKT-M10\r\n\r\nRevision: KT-M10 1.04\r\n\r\n+CSUB: A1\r\n\r\n+CSQ: 21,99\r\n"
              "\r\n+CPIN: READY\r\n\r\n+COPS: 0,0,\"KT MOBILE\"\r\n\r\n+CGREG: 0,1\r\n\r\nOK\r\n");
}

TEST(ModemCommands, AnErrorEndsTheLine)
{
    EXPECT_EQ(said(modem_settings{}, "AT+CSQ;+NONE;+CPIN?"), "\r\n+CSQ: 21,99\r\n\r\nERROR\r\n");
}

TEST(ModemCommands, AMissingSimIsToldInTheDetailAskedFor)
{
    modem_settings settings;
    settings.sim = "missing";
    at_responder modem(settings, false);
    EXPECT_EQ(said(modem, "AT+CPIN?"), "\r\n+CME ERROR: SIM not inserted\r\n");
    EXPECT_EQ(said(modem, "AT+CMEE=1;+CPIN?"), "\r\n+CME ERROR: 10\r\n");
    EXPECT_EQ(said(modem, "AT+CMEE=0;+CPIN?"), "\r\nERROR\r\n");
    EXPECT_EQ(said(modem, "AT+COPS?"), "\r\n+COPS: 0\r\n\r\nOK\r\n");
    EXPECT_EQ(said(modem, "AT+CGREG?"), "\r\n+CGREG: 0,0\r\n\r\nOK\r\n");
    EXPECT_EQ(said(modem, "AT+CIMI"), "\r\nERROR\r\n");
}

TEST(ModemCommands, AnswersAreReplaced)
{
    modem_settings settings;
    settings.answers["AT+CSQ"] = "+CSQ: 99,99";
    settings.answers["AT+CPIN?"] = "+CME ERROR: SIM busy";
    settings.answers["AT+CGREG?"] = "";
    settings.answers["AT+CSUB"] = "half an answ\r";
    EXPECT_EQ(said(settings, "AT+csq"), "\r\n+CSQ: 99,99\r\n\r\nOK\r\n");
    EXPECT_EQ(said(settings, "AT+CSQ;+CPIN?;+COPS?"), "\r\n+CSQ: 99,99\r\n\r\n+CME ERROR: SIM busy\r\n");
    EXPECT_EQ(said(settings, "AT+CGREG?"), "\r\nOK\r\n");
    EXPECT_EQ(said(settings, "AT+CSUB;+CSQ"), "half an answ\r");
}

TEST(ModemCommands, WhatIsTypedIsEchoedUntilThatIsSwitchedOff)
{
    const modem_settings settings;
    at_responder modem(settings, false);
    using actions = std::vector<at_action>;
    EXPECT_EQ(modem.feed("A"), (actions{{kind::echo, "A"}}));
    EXPECT_EQ(modem.feed("T\r"), (actions{{kind::echo, "T\r"}, {kind::answer, "\r\nOK\r\n"}}));
    EXPECT_EQ(modem.feed("ATE0\r"), (actions{{kind::echo, "ATE0\r"}, {kind::answer, "\r\nOK\r\n"}}));
    EXPECT_EQ(modem.feed("AT\r\n"), (actions{{kind::answer, "\r\nOK\r\n"}}));
    EXPECT_EQ(modem.feed("ATZ\r"), (actions{{kind::hang_up, ""}, {kind::answer, "\r\nOK\r\n"}}));
    EXPECT_EQ(modem.feed("AT\r").front(), (at_action{kind::echo, "AT\r"}));
}

TEST(ModemCommands, ALineThatIsTooLongIsOneError)
{
    EXPECT_EQ(said(modem_settings{}, "AT" + std::string(5000, ' ')), "\r\nERROR\r\n");
    EXPECT_EQ(said(modem_settings{}, "AT" + std::string(1022, ' ')), "\r\nOK\r\n");
}

TEST(ModemCommands, TypingMistakesCanBeTakenBack)
{
    EXPECT_EQ(said(modem_settings{}, "AT+CXX\b\bSQ"), "\r\n+CSQ: 21,99\r\n\r\nOK\r\n");
}

TEST(ModemCommands, ACallEndsTheLine)
{
    const modem_settings settings;
    at_responder modem(settings, false);
    (void)modem.feed("ATE0\r");
    using actions = std::vector<at_action>;
    EXPECT_EQ(modem.feed("AT+CSQ;D*99***1#\rAT\r"),
              (actions{{kind::answer, "\r\n+CSQ: 21,99\r\n"}, {kind::dial, "*99***1#"}}));
    EXPECT_EQ(modem.feed("ATDT 0 12 34;+CSQ\r"), (actions{{kind::dial, "T01234;+CSQ"}}));
}

TEST(ModemCommands, ThePortItselfTakesTheMultiplexer)
{
    const modem_settings settings;
    at_responder modem(settings, true);
    (void)modem.feed("ATE0\r");
    EXPECT_EQ(modem.feed("AT+CMUX=0\r"), (std::vector<at_action>{{kind::multiplex, ""}}));
    EXPECT_EQ(said(modem, "AT+CMUX=1"), "\r\nERROR\r\n");
}

TEST(ModemCommands, DtrAndCarrierFollowTheirCommands)
{
    const modem_settings settings;
    at_responder modem(settings, false);
    EXPECT_EQ(modem.on_dtr_drop(), 2);
    EXPECT_FALSE(modem.shows_carrier());
    (void)modem.feed("AT&D0&C1\r");
    EXPECT_EQ(modem.on_dtr_drop(), 0);
    EXPECT_TRUE(modem.shows_carrier());
    (void)modem.feed("AT&F\r");
    EXPECT_EQ(modem.on_dtr_drop(), 2);
    EXPECT_FALSE(modem.shows_carrier());
}
