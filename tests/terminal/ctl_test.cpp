/** `kt-terminal ctl`: its words, how it finds the terminal, what it prints. */
#include "port_program.h"
#include "served_board.h"
#include "terminal/control/ctl.h"
#include "terminal/control/ctl_request.h"
#include "terminal/control/event_text.h"
#include "terminal/json/json.h"

#include <fstream>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using namespace kt::terminal;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using words = std::vector<std::string>;

std::string request(const std::string& command, const words& said)
{
    return ctl_request(command, said).dump();
}

std::string refusal(const std::string& command, const words& said)
{
    try {
        return request(command, said);
    } catch (const usage_error& error) {
        return error.what();
    }
}

TEST(CtlRequest, TurnsWordsIntoRequests)
{
    EXPECT_EQ(request("get", {"/sys/a"}), R"({"op":"get","path":"/sys/a"})");
    EXPECT_EQ(request("remove", {"/sys/a"}), R"({"op":"remove","path":"/sys/a"})");
    EXPECT_EQ(request("list", {}), R"({"op":"list","path":"/"})");
    EXPECT_EQ(request("set", {"/sys/a", "5"}), R"({"op":"set","path":"/sys/a","text":"5\n"})");
    EXPECT_EQ(request("set", {"/sys/a", "-n", "5", "--mode", "0200", "--kind", "integer"}),
              R"({"op":"set","path":"/sys/a","text":"5","mode":"0200","kind":"integer"})");
    EXPECT_EQ(request("set", {"/sys/a", "--", "-5"}), R"({"op":"set","path":"/sys/a","text":"-5\n"})");
    EXPECT_EQ(request("fail", {"/sys/a"}), R"({"op":"fail","path":"/sys/a","on":"open","error":"EIO"})");
    EXPECT_EQ(request("fail", {"/sys/a", "--on", "read", "--delay", "50", "--times", "2", "--skip", "1"}),
              R"({"op":"fail","path":"/sys/a","on":"read","delay_ms":50,"times":2,"skip":1})");
    EXPECT_EQ(request("fail", {"/sys/a", "--hang", "--errno", "EROFS"}),
              R"({"op":"fail","path":"/sys/a","on":"open","error":"EROFS","hang":true})");
    EXPECT_EQ(request("mend", {}), R"({"op":"mend"})");
    EXPECT_EQ(request("mend", {"3"}), R"({"op":"mend","rule":3})");
    EXPECT_EQ(request("wait", {"--kind", "write", "--data", "\xff", "--timeout", "5", "--after", "7"}),
              R"({"op":"wait","kind":"write","data_hex":"ff","after":7,"timeout_ms":5})");
    EXPECT_EQ(request("program", {"reboot", "--power", "none", "--status", "1"}),
              R"({"op":"program","name":"reboot","status":1,"power":""})");
    EXPECT_EQ(request("plug", {"dock"}), R"({"op":"act","verb":"plug","thing":"dock"})");
    EXPECT_EQ(request("act", {"tap", "card"}), R"({"op":"act","verb":"tap","thing":"card"})");
    EXPECT_EQ(request("stop", {}), R"({"op":"stop"})");
    EXPECT_EQ(request("frob", {}), "null");
}

TEST(CtlRequest, TurnsWordsAboutCardsIntoRequests)
{
    const own_folder folder;
    std::ofstream(folder.path() + "/card.json") << "// mine\n{\"card\": \"ntag213\"}";
    EXPECT_EQ(request("card", {"tap", folder.path() + "/card.json"}), R"({"op":"card","tap":{"card":"ntag213"}})");
    std::ofstream(folder.path() + "/twice.json") << R"({"card": "ntag213", "card": "ntag215"})";
    EXPECT_THAT(refusal("card", {"tap", folder.path() + "/twice.json"}), HasSubstr("\"card\" stands there twice"));
    EXPECT_THAT(refusal("card", {"tap", "/none.json"}), HasSubstr("\"/none.json\" is neither a card's file nor"));
    EXPECT_EQ(request("card", {"remove"}), R"({"op":"card","remove":true})");
    EXPECT_EQ(request("card", {"remove", "tag"}), R"({"op":"card","remove":"tag"})");
    EXPECT_EQ(request("card", {"show", "tag"}), R"({"op":"card","show":"tag"})");
    EXPECT_EQ(request("card", {"list"}), R"({"op":"card"})");
    EXPECT_THAT(refusal("card", {"frob"}), HasSubstr("behind \"card\" stands"));
    EXPECT_EQ(request("reader", {"delay_ms=5", "busy=on", "pull_after="}),
              R"({"op":"reader","set":{"delay_ms":5,"busy":true,"pull_after":null}})");
    EXPECT_EQ(request("apdu", {}), R"({"op":"apdu"})");
    EXPECT_EQ(request("apdu", {"50"}), R"({"op":"apdu","timeout_ms":50})");
    EXPECT_EQ(request("apdu", {"answer", "9000"}), R"({"op":"apdu","answer_hex":"9000"})");
    EXPECT_EQ(request("apdu", {"answer", "9000", "7"}), R"({"op":"apdu","answer_hex":"9000","number":7})");
    EXPECT_EQ(request("phone", {}), R"({"op":"phone"})");
}

TEST(EventText, ShowsTheFieldsOfAReadersRecord)
{
    event happened;
    happened.kind = "ioctl";
    happened.path = "/dev/kt_nfc";
    happened.data.assign(1164, '\0');
    happened.data.replace(0, 3, "\x01\xA4\x05")
        .replace(512, 1, "\x02")
        .replace(1028, 1, "\x09")
        .replace(1032, 1, "\x06");
    happened.request = 0xC0044D03;
    EXPECT_THAT(event_text(happened),
                HasSubstr("/dev/kt_nfc 0xC0044D03 tcl_exchange transmit 2 01a4 receive 9 parameter 6"));
    happened.data.replace(128, 1, "\x10").replace(1156, 1, "\x20");
    happened.request = 0xC0044D4D;
    EXPECT_THAT(event_text(happened), HasSubstr("0xC0044D4D emulate_config header 16 blocks 32"));
}

TEST(CtlRequest, TurnsWordsAboutLinesIntoRequests)
{
    EXPECT_EQ(request("port", {"/dev/a"}), R"({"op":"port","path":"/dev/a"})");
    EXPECT_EQ(request("port", {"/dev/a", "speed=9600", "parity=E"}),
              R"({"op":"port","path":"/dev/a","speed":9600,"parity":"E"})");
    EXPECT_EQ(request("send", {"/dev/a", R"(AT\r\n\t\\)"}), R"({"op":"send","path":"/dev/a","data":"AT\r\n\t\\"})");
    EXPECT_EQ(request("send", {"/dev/a", R"(\xfe\x00A)"}), R"({"op":"send","path":"/dev/a","data_hex":"fe0041"})");
    EXPECT_EQ(request("send", {"/dev/a", "x", "--error", "parity"}),
              R"({"op":"send","path":"/dev/a","data":"x","error":"parity"})");
    EXPECT_EQ(request("send", {"/dev/a", "--break"}), R"({"op":"send","path":"/dev/a","break":true})");
    EXPECT_EQ(request("expect", {"/dev/a"}), R"({"op":"expect","path":"/dev/a"})");
    EXPECT_EQ(request("expect", {"/dev/a", R"(OK\x0D)", "500"}),
              R"({"op":"expect","path":"/dev/a","data":"OK\r","timeout_ms":500})");
    EXPECT_EQ(request("line", {"/dev/a", "cts=off", "hold=on", "data_bits=7", "stop_bits=2", "speed=1200"}),
              R"({"op":"line","path":"/dev/a","cts":false,"hold":true,"data_bits":7,"stop_bits":2,"speed":1200})");
    EXPECT_EQ(request("hang-up", {"/dev/a"}), R"({"op":"hang_up","path":"/dev/a"})");
    EXPECT_EQ(request("bridge", {"/dev/a", "pty"}), R"({"op":"bridge","path":"/dev/a","to":"pty"})");
    EXPECT_EQ(request("bridge", {"/dev/a", "tcp"}), R"({"op":"bridge","path":"/dev/a","to":"tcp"})");
    EXPECT_EQ(request("bridge", {"/dev/a", "tcp:5000"}),
              R"({"op":"bridge","path":"/dev/a","to":"tcp","tcp_port":5000})");
}

TEST(CtlRequest, TurnsWordsAboutBatteryAndTamperIntoRequests)
{
    EXPECT_EQ(request("battery", {}), R"({"op":"battery"})");
    EXPECT_EQ(
        request("battery", {"capacity=15.5", "mains=on", "status=Not charging", "temp=-40", "health="}),
        R"({"op":"battery","set":{"capacity":15.5,"mains":true,"status":"Not charging","temp":-40,"health":null}})");
    EXPECT_EQ(request("tamper", {"status=0x10", "ram=5", "silent=3"}),
              R"({"op":"tamper","set":{"status":"0x10","ram":5,"silent":3}})");
    EXPECT_EQ(request("tamper", {"silent=off"}), R"({"op":"tamper","set":{"silent":false}})");
    EXPECT_EQ(refusal("battery", {"low"}), "\"low\" should be NAME=VALUE");
    EXPECT_EQ(refusal("tamper", {"=1"}), "\"=1\" should be NAME=VALUE");
}

TEST(CtlRequest, TurnsWordsAboutTheClockIntoRequests)
{
    EXPECT_EQ(request("clock", {}), R"({"op":"clock"})");
    EXPECT_EQ(request("clock", {"set", "1900000000"}), R"({"op":"clock","set":1900000000})");
    EXPECT_EQ(request("clock", {"set", "1.5"}), R"({"op":"clock","set":1.5})");
    EXPECT_EQ(request("clock", {"set", "2030-03-17 17:46:40"}), R"({"op":"clock","set":1900000000})");
    EXPECT_EQ(request("clock", {"advance", "500"}), R"({"op":"clock","advance_ms":500})");
    for (const char* wrong :
         {"x", "2030-02-30 00:00:00", "2030-03-17 24:00:00", "2030-03-17", "2030-03-17 17:46:40 UTC"})
        EXPECT_THAT(refusal("clock", {"set", wrong}), HasSubstr("YYYY-MM-DD HH:MM:SS")) << wrong;
    EXPECT_THAT(refusal("clock", {"set"}), HasSubstr("behind \"clock\""));
    EXPECT_THAT(refusal("clock", {"back", "5"}), HasSubstr("behind \"clock\""));
}

TEST(CtlRequest, RefusesOtherWordsAboutLines)
{
    for (const char* text : {R"(\)", R"(\q)", R"(\x)", R"(\x1)", R"(\xg0)", R"(\x1g)"})
        EXPECT_EQ(refusal("send", {"/dev/a", text}), R"(behind a backslash stands r, n, t, xHH or a backslash)")
            << text;
    EXPECT_EQ(refusal("send", {"/dev/a"}), "a word is missing");
    EXPECT_EQ(refusal("send", {"/dev/a", "x", "--break"}), "\"x\" is a word too many");
    EXPECT_EQ(refusal("expect", {"/dev/a", "x", "soon"}), "MS must be a whole number, not \"soon\"");
    EXPECT_EQ(refusal("line", {"/dev/a", "cts"}), "\"cts\" should be NAME=VALUE");
    EXPECT_EQ(refusal("line", {"/dev/a", "path=/dev/b"}), "\"path=/dev/b\" should be NAME=VALUE");
    EXPECT_EQ(refusal("line", {"/dev/a", "cts=1"}), "cts is on or off, not \"1\"");
    EXPECT_EQ(refusal("line", {"/dev/a", "speed=-1"}), "speed must be a whole number, not \"-1\"");
    EXPECT_EQ(refusal("bridge", {"/dev/a"}), "a word is missing");
    EXPECT_EQ(refusal("bridge", {"/dev/a", "tcp:"}), "the TCP port must be a whole number, not \"\"");
    EXPECT_EQ(refusal("hang-up", {"/dev/a", "now"}), "\"now\" is a word too many");
}

TEST(CtlRequest, TurnsWordsAboutTheSleepIntoRequests)
{
    EXPECT_EQ(request("sleep", {}), R"({"op":"sleep"})");
    EXPECT_EQ(request("sleep", {"fast"}), R"({"op":"sleep","fast":true})");
    EXPECT_EQ(request("sleep", {"real", "--pending", "500"}), R"({"op":"sleep","fast":false,"pending_ms":500})");
    EXPECT_EQ(request("wake", {}), R"({"op":"wake"})");
    EXPECT_EQ(request("wake", {"32"}), R"({"op":"wake","event":32})");
    EXPECT_EQ(request("wake", {"-3"}), R"({"op":"wake","event":-3})");
    EXPECT_EQ(refusal("sleep", {"deep"}), "the board sleeps \"fast\" or \"real\", not \"deep\"");
    EXPECT_EQ(refusal("sleep", {"fast", "real"}), "\"real\" is a word too many");
    EXPECT_EQ(refusal("wake", {"up"}), "the event must be a whole number, not \"up\"");
}

TEST(CtlRequest, RefusesOtherWords)
{
    EXPECT_EQ(refusal("get", {}), "a word is missing");
    EXPECT_EQ(refusal("get", {"/a", "/b"}), "\"/b\" is a word too many");
    EXPECT_EQ(refusal("get", {"--deep", "/a"}), "unknown option --deep (behind \"--\" it is a text)");
    EXPECT_EQ(refusal("fail", {"/a", "--delay"}), "--delay wants a value");
    EXPECT_EQ(refusal("fail", {"/a", "--delay", "soon"}), "--delay must be a whole number, not \"soon\"");
    EXPECT_EQ(refusal("mend", {"-1"}), "unknown option -1 (behind \"--\" it is a text)");
    EXPECT_EQ(refusal("stop", {"now"}), "\"now\" is a word too many");
}

/** The user's folder of sockets is the test's own. */
class ctl_command : public testing::Test {
protected:
    ctl_command() { setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1); }

    /** Makes the folder as a terminal does, and gives a terminal's place in it. */
    std::string place(const std::string& name)
    {
        mkdir(socket_folder().c_str(), 0700);
        return socket_of(name);
    }

    int run(const words& said)
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = ctl(said);
        out = testing::internal::GetCapturedStdout();
        error = testing::internal::GetCapturedStderr();
        return status;
    }

    own_folder folder_;
    std::string out;
    std::string error;
};

TEST_F(ctl_command, PrintsBatteryAndTamperWords)
{
    const served_board one(place("one"), "one");
    EXPECT_EQ(run({"battery", "speed=0", "capacity=20", "temp=300", "status=Full"}), 0);
    EXPECT_THAT(out, testing::StartsWith("capacity 20.0\nmains off\nlimit 100\n"));
    EXPECT_THAT(out, HasSubstr("fixed status temp\nproperties:\n  status Full\n  charge_type N/A\n"));
    EXPECT_THAT(out, HasSubstr("\n  temp 300\n"));
    EXPECT_EQ(run({"battery", "status=", "temp="}), 0);
    EXPECT_THAT(out, HasSubstr("\nfixed none\n"));
    EXPECT_EQ(run({"battery", "status=Strange"}), 1);
    EXPECT_THAT(error, HasSubstr("status: must be one of \"Unknown\", \"Charging\""));
    EXPECT_EQ(run({"tamper", "status=0x5", "silent=2"}), 0);
    EXPECT_EQ(out, "status 0x5\nram 0x0\nsilent 2\nresets 0\n");
}

TEST_F(ctl_command, PrintsTheClocks)
{
    const served_board one(place("one"), "one");
    EXPECT_EQ(run({"clock", "set", "2030-03-17 17:46:40"}), 0);
    EXPECT_THAT(out, testing::StartsWith("2030-03-17 17:4"));
    EXPECT_THAT(out, HasSubstr(" UTC\noffset_ms "));
    EXPECT_THAT(out, HasSubstr(" UTC\n"));
    EXPECT_EQ(run({"remove", "/dev/rtc0"}), 0);
    EXPECT_EQ(run({"clock"}), 0);
    EXPECT_THAT(out, testing::EndsWith("\nrtc none\n"));
    EXPECT_EQ(run({"clock", "set", "4294967296"}), 1);
    EXPECT_THAT(error, HasSubstr("seconds since 1970"));
}

TEST_F(ctl_command, FindsTheOnlyTerminal)
{
    const served_board one(place("one"), "one");
    EXPECT_EQ(run({"get", "/sys/class/kt_misc/sysinfo/hardwarever"}), 0);
    EXPECT_EQ(out, "500\n");
    EXPECT_EQ(error, "");
}

TEST_F(ctl_command, SaysThatNoneIsRunning)
{
    EXPECT_EQ(run({"get", "/sys/a"}), 125);
    EXPECT_THAT(error, HasSubstr("kt-terminal: ctl: no terminal is running"));
    EXPECT_EQ(run({"terminals"}), 0);
    EXPECT_EQ(out, "");
}

TEST_F(ctl_command, ChoosesAmongSeveralByName)
{
    const served_board one(place("one"), "one");
    const served_board two(place("two"), "two");
    EXPECT_EQ(run({"hello"}), 125);
    EXPECT_THAT(error, HasSubstr("choose one by --name: one two"));
    EXPECT_EQ(run({"--name", "two", "hello"}), 0);
    EXPECT_THAT(out, HasSubstr("\"name\": \"two\""));
    EXPECT_EQ(run({"--control", socket_of("one"), "hello"}), 0);
    EXPECT_THAT(out, HasSubstr("\"name\": \"one\""));
    EXPECT_EQ(run({"--name", "three", "hello"}), 125);
    EXPECT_THAT(error, HasSubstr("no terminal is called three"));
    EXPECT_EQ(run({"terminals"}), 0);
    EXPECT_EQ(out, "one\tboard 500\tprocess " + std::to_string(getpid()) + "\ntwo\tboard 500\tprocess " +
                       std::to_string(getpid()) + "\n");
}

TEST_F(ctl_command, RemovesSocketsOfTerminalsThatCrashed)
{
    const served_board one(place("one"), "one");
    {
        const descriptor left = host_socket(place("crashed")).take();
        ASSERT_EQ(link(socket_of("one").c_str(), (socket_folder() + "/other").c_str()),
                  0); // no socket of a terminal: left alone
    }
    const std::string gone = place("gone");
    {
        host_socket crashed(place("tmp"));
        ASSERT_EQ(rename(socket_of("tmp").c_str(), gone.c_str()), 0); // so its destructor does not find it
        (void)crashed.take();
    }
    ASSERT_EQ(::access(gone.c_str(), F_OK), 0);
    EXPECT_THAT(running_terminals(), ElementsAre("one"));
    EXPECT_NE(::access(gone.c_str(), F_OK), 0);
    EXPECT_EQ(::access((socket_folder() + "/other").c_str(), F_OK), 0);
}

TEST_F(ctl_command, ANameThatIsInUseIsRefused)
{
    const host_socket one = host_socket::named("one");
    EXPECT_THROW(host_socket::named("one"), std::runtime_error);
    EXPECT_THAT(running_terminals(), ElementsAre("one"));
}

TEST_F(ctl_command, AFolderThatOthersCanReachIsRefused)
{
    ASSERT_EQ(mkdir(socket_folder().c_str(), 0700), 0);
    ASSERT_EQ(chmod(socket_folder().c_str(), 0755), 0);
    EXPECT_THROW(running_terminals(), std::runtime_error);
    EXPECT_EQ(run({"hello"}), 125);
    EXPECT_THAT(error, HasSubstr("must be a folder of your own"));
}

TEST_F(ctl_command, PrintsWhatWasAskedFor)
{
    served_board one(place("one"), "one");
    EXPECT_EQ(run({"set", "/sys/class/x/a", "5", "--kind", "integer"}), 0);
    EXPECT_EQ(run({"get", "/sys/class/x/a"}), 0);
    EXPECT_EQ(out, "5\n");
    EXPECT_EQ(run({"list", "/sys/class/x"}), 0);
    EXPECT_EQ(out, "a\n");
    EXPECT_EQ(run({"fail", "/sys/class/x/a", "--errno", "EROFS"}), 0);
    EXPECT_EQ(out, "1\n");
    EXPECT_EQ(run({"faults"}), 0);
    EXPECT_EQ(out, R"({"rule":1,"path":"/sys/class/x/a","on":"open","error":"EROFS"})"
                   "\n");
    EXPECT_EQ(run({"mend", "1"}), 0);
    EXPECT_EQ(run({"program", "reboot", "--power", "none", "--output", "no\n"}), 0);
    EXPECT_EQ(out, "status 0\noutput no\n");
    EXPECT_EQ(run({"plug", "dock"}), 0);
    EXPECT_EQ(run({"actions"}), 0);
    EXPECT_THAT(out, HasSubstr("plug dock\nplug mains\n"));
    EXPECT_EQ(run({"json", R"({"op":"list","path":"/sys/class/x"})"}), 0);
    EXPECT_EQ(out, "{\"ok\":true,\"names\":[\"a\"]}\n");
    EXPECT_EQ(run({"json", "{}"}), 1);
    EXPECT_EQ(run({"get", "/sys/none"}), 1);
    EXPECT_EQ(error, "kt-terminal: ctl: /sys/none does not exist\n");
    EXPECT_EQ(run({"stop"}), 0);
    EXPECT_TRUE(one.stopped);
}

TEST_F(ctl_command, SpeaksToTheOtherEndOfALine)
{
    served_board one(place("one"), "one");
    EXPECT_EQ(run({"port", "/dev/ttyUSB7"}), 0);
    EXPECT_EQ(out, "");
    port_program program(one.board, "/dev/ttyUSB7");
    program.be_raw();
    EXPECT_EQ(run({"send", "/dev/ttyUSB7", R"(\xfeA)"}), 0);
    EXPECT_EQ(program.read(2), "\xfe"
                               "A");
    program.write("one two");
    EXPECT_EQ(run({"expect", "/dev/ttyUSB7", "two"}), 0);
    EXPECT_EQ(out, "one ");
    program.write("three");
    EXPECT_EQ(run({"expect", "/dev/ttyUSB7", "four", "10"}), 124);
    EXPECT_EQ(out, "");
    EXPECT_EQ(run({"expect", "/dev/ttyUSB7"}), 0);
    EXPECT_EQ(out, "three");
    EXPECT_EQ(run({"line", "/dev/ttyUSB7", "ri=on", "speed=1200"}), 0);
    EXPECT_THAT(out, HasSubstr("\nri on\nfar speed=1200 data_bits="));
    EXPECT_EQ(run({"line", "/dev/ttyUSB7", "follow=on"}), 0);
    EXPECT_THAT(out, HasSubstr("\nfar follows\nwaiting 0\nunsent 0\nopen on\n"));
    EXPECT_EQ(run({"bridge", "/dev/ttyUSB7", "pty"}), 0);
    EXPECT_THAT(out, testing::MatchesRegex("/dev/pts/[0-9]+\n"));
    EXPECT_EQ(run({"bridge", "/dev/ttyUSB7", "tcp"}), 0);
    EXPECT_THAT(out, testing::MatchesRegex("[0-9]+\n"));
    EXPECT_EQ(run({"bridge", "/dev/ttyUSB7", "none"}), 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(run({"hang-up", "/dev/ttyUSB7"}), 0);
    EXPECT_EQ(program.start_write("x").get().error, EIO);
    EXPECT_EQ(run({"line", "/dev/none"}), 1);
    EXPECT_EQ(error, "kt-terminal: ctl: /dev/none does not exist\n");
}

TEST_F(ctl_command, TellsOfTheSleepAndWakesTheBoard)
{
    const served_board one(place("one"));
    EXPECT_EQ(run({"wake", "2"}), 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(run({"sleep", "fast"}), 0);
    EXPECT_EQ(out, "asleep off\nwakeup_count 2\npending off\nevent none\nfast on\ntimer_ms none\nslept_ms 0\n");
    EXPECT_EQ(run({"sleep", "--pending", "60000"}), 0);
    EXPECT_THAT(out, HasSubstr("pending on\n"));
    EXPECT_EQ(run({"wake", "99999999999"}), 1);
    EXPECT_EQ(error, "kt-terminal: ctl: \"event\" must be a whole number from -2147483648 to 2147483647\n");
}

TEST_F(ctl_command, PrintsTheJournal)
{
    served_board one(place("one"), "one");
    EXPECT_EQ(run({"journal"}), 0);
    EXPECT_THAT(out, IsEmpty());
    for (int i = 0; i < 1500; ++i) { // more than it asks for at once
        event wrote;
        wrote.kind = "write";
        wrote.path = "/sys/a";
        wrote.data = std::to_string(i);
        one.board.events().append(wrote);
    }
    EXPECT_EQ(run({"journal"}), 0);
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1500);
    EXPECT_EQ(run({"journal", "--from", "1500", "--json"}), 0);
    EXPECT_EQ(parsed_json(out).at("data"), "1499");
    EXPECT_EQ(run({"wait", "--data", "7"}), 0);
    EXPECT_THAT(out, HasSubstr("write    /sys/a \"7\"\n"));
    EXPECT_EQ(run({"wait", "--kind", "none", "--timeout", "10"}), 124);
}

TEST_F(ctl_command, RefusesWrongWords)
{
    EXPECT_EQ(run({}), 125);
    EXPECT_EQ(run({"frob"}), 125);
    EXPECT_THAT(error, HasSubstr("\"frob\" is no command"));
    EXPECT_EQ(run({"--help"}), 0);
    EXPECT_EQ(out, ctl_help());
}

} // namespace
