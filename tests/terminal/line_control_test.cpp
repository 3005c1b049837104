/** The other end of serial lines through the control socket and the C++ client. */
#include "port_program.h"
#include "served_board.h"
#include "terminal/client/virtual_terminal.h"
#include "terminal/json/json.h"
#include "terminal/ports/recorder.h"

#include <asm/termbits.h>
#include <cerrno>
#include <gmock/gmock.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <thread>

namespace {

using namespace kt::terminal;
using namespace std::chrono_literals;
using json = nlohmann::ordered_json;
using testing::HasSubstr;

constexpr const char* uart = "/dev/sp_uart0";

class line_control : public testing::Test {
protected:
    std::string socket() const { return folder_.path() + "/socket"; }

    std::string error_of(const std::string& line)
    {
        const json answer = parsed_json(client.exchange(line));
        EXPECT_EQ(answer.at("ok"), false) << line;
        return answer.value("error", "");
    }

    line& wire(const char* path = uart) { return *line_at(served.board, path); }

    own_folder folder_;
    served_board served{socket()};
    virtual_terminal client{socket()};
};

using LineControl = line_control;

TEST_F(LineControl, APortIsPluggedInAndUnplugged)
{
    EXPECT_EQ(client.exchange(R"({"op":"port","path":"/dev/ttyACM5"})"), R"({"ok":true})");
    ASSERT_NE(line_at(served.board, "/dev/ttyACM5"), nullptr);
    EXPECT_EQ(wire("/dev/ttyACM5").far_framing(), std::nullopt);
    client.remove("/dev/ttyACM5");
    EXPECT_EQ(served.board.find("/dev/ttyACM5"), nullptr);
    client.port("/dev/ttyACM5");
    EXPECT_TRUE(served.board.find("/dev/ttyACM5") != nullptr);
}

TEST_F(LineControl, APortCanHaveAFramingOfItsOwn)
{
    EXPECT_EQ(client.exchange(R"({"op":"port","path":"/dev/ttyUSB3","speed":115200,"parity":"E"})"), R"({"ok":true})");
    EXPECT_EQ(wire("/dev/ttyUSB3").far_framing(), (framing{.speed = 115200, .parity = 'E'}));
}

TEST_F(LineControl, WhatIsOpenIsHungUpWhenItsPortIsUnplugged)
{
    client.port("/dev/ttyUSB0");
    port_program program(served.board, "/dev/ttyUSB0");
    auto reading = program.start_read(1);
    client.remove("/dev/ttyUSB0");
    ASSERT_EQ(reading.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(reading.get().bytes, "");
    EXPECT_EQ(program.start_write("x").get().error, EIO);
}

TEST_F(LineControl, SendReachesTheProgram)
{
    port_program program(served.board, uart);
    program.be_raw();
    client.send(uart, "OK\r\n");
    EXPECT_EQ(program.read(4), "OK\r\n");
    EXPECT_EQ(client.exchange(R"({"op":"send","path":"/dev/sp_uart0","data_hex":"00ff0a"})"), R"({"ok":true})");
    EXPECT_EQ(program.read(3), std::string("\0\xff\n", 3));
}

TEST_F(LineControl, ExpectTakesUpToWhatItWaitsFor)
{
    port_program program(served.board, uart);
    program.write("noise AT\rmore");
    EXPECT_EQ(client.exchange(R"({"op":"expect","path":"/dev/sp_uart0","data":"AT\r"})"),
              R"({"ok":true,"found":true,"data":"noise "})");
    EXPECT_TRUE(client.expect(uart, "re")); // and "mo" with it
    EXPECT_EQ(client.sent(uart), "");
    program.write("a-b");
    EXPECT_EQ(client.received(uart, "-"), "a");
}

TEST_F(LineControl, ExpectKnowsBytesThatAreNoText)
{
    port_program program(served.board, uart);
    program.write(std::string("\xfe\0\xff!", 4));
    EXPECT_EQ(client.exchange(R"({"op":"expect","path":"/dev/sp_uart0","data_hex":"ff"})"),
              R"({"ok":true,"found":true,"data_hex":"fe00"})");
    EXPECT_EQ(client.exchange(R"({"op":"expect","path":"/dev/sp_uart0","data":"!"})"),
              R"({"ok":true,"found":true,"data":""})");
}

TEST_F(LineControl, WhatWasSentBeforeAnybodyAskedIsKept)
{
    port_program program(served.board, uart);
    program.write("one");
    program.write("two");
    EXPECT_TRUE(client.expect(uart, "onetwo"));
    program.write("rest");
    ASSERT_TRUE(client.expect(uart, "r"));
    EXPECT_EQ(client.exchange(R"({"op":"expect","path":"/dev/sp_uart0"})"), R"({"ok":true,"data":"est"})");
}

TEST_F(LineControl, ExpectIsOverWhenTheBytesCome)
{
    port_program program(served.board, uart);
    std::thread later([&] {
        std::this_thread::sleep_for(20ms);
        program.write("A");
        std::this_thread::sleep_for(20ms);
        program.write("T\r");
    });
    const auto start = std::chrono::steady_clock::now();
    const bool found = client.expect(uart, "AT\r", 20s);
    later.join();
    EXPECT_TRUE(found);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10s); // by the bytes, not by the end of its time
}

TEST_F(LineControl, ExpectThatEndsInTimeTakesNothing)
{
    port_program program(served.board, uart);
    program.write("AT+C");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.exchange(R"({"op":"expect","path":"/dev/sp_uart0","data":"AT+CSQ","timeout_ms":50})"),
              R"({"ok":true,"found":false,"data":"AT+C"})");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
    EXPECT_FALSE(client.expect(uart, "AT+CSQ", 0ms));
    EXPECT_EQ(client.sent(uart), "AT+C");
}

TEST_F(LineControl, SeveralExpectAtOnceAndHoldNobodyElse)
{
    port_program one(served.board, uart);
    port_program other(served.board, "/dev/ttyS5");
    const auto waits_for = [&](const char* path, const char* bytes) {
        return std::async(std::launch::async, [this, path, bytes] {
            virtual_terminal own(socket());
            return own.expect(path, bytes, 20s);
        });
    };
    auto first = waits_for(uart, "1");
    auto second = waits_for(uart, "2");
    auto third = waits_for("/dev/ttyS5", "3");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.text("/sys/power/state"), "freeze mem\n");
    other.write("3");
    EXPECT_TRUE(third.get());
    one.write("1");
    EXPECT_TRUE(first.get());
    one.write("2");
    EXPECT_TRUE(second.get());
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
}

TEST_F(LineControl, TheNewestMebibyteIsKept)
{
    const auto kept = recorded_port_at(served.board, uart)->other_end();
    const std::string kilobyte(1024, 'x');
    kept->received("first");
    for (int i = 0; i < 5 * 1024; ++i)
        kept->received(kilobyte);
    kept->received("last");
    const std::string all = client.sent(uart);
    EXPECT_GE(all.size(), recorder::capacity);
    EXPECT_LE(all.size(), 2 * recorder::capacity);
    EXPECT_TRUE(all.ends_with("xlast"));
    const json state = parsed_json(client.exchange(R"({"op":"line","path":"/dev/sp_uart0"})"));
    EXPECT_EQ(state.at("lost").get<std::size_t>() + all.size(), 5u + 5 * 1024 * 1024 + 4);
}

TEST_F(LineControl, TellsTheStateOfALine)
{
    EXPECT_FALSE(client.line(uart).open);
    port_program program(served.board, uart);
    program.be_raw();
    termios2 set{};
    ASSERT_EQ(program.control(TCGETS2, &set), 0);
    set.c_cflag = (set.c_cflag & ~unsigned{CBAUD | CSIZE | PARODD}) | B19200 | CS7 | PARENB | CSTOPB;
    ASSERT_EQ(program.control(TCSETS2, &set), 0);
    int driven = TIOCM_RTS;
    ASSERT_EQ(program.control(TIOCMSET, &driven), 0);
    client.send(uart, "four");

    const line_state state = client.line(uart);
    EXPECT_EQ(state.near, (line_framing{.speed = 19200, .data_bits = 7, .parity = 'E', .stop_bits = 2}));
    EXPECT_EQ(state.far, std::nullopt);
    EXPECT_FALSE(state.dtr);
    EXPECT_TRUE(state.rts);
    EXPECT_TRUE(state.cts);
    EXPECT_TRUE(state.dsr);
    EXPECT_TRUE(state.cd);
    EXPECT_FALSE(state.ri);
    EXPECT_EQ(state.waiting, 4);
    EXPECT_EQ(state.unsent, 0);
    EXPECT_TRUE(state.open);
    EXPECT_EQ(state.breaks, 0u);
}

TEST_F(LineControl, SetsTheLinesThatTheTerminalSees)
{
    port_program program(served.board, uart);
    const line_state state = client.set_line(uart, {.cts = false, .ri = true});
    EXPECT_FALSE(state.cts);
    EXPECT_TRUE(state.dsr);
    EXPECT_TRUE(state.ri);
    int seen = 0;
    ASSERT_EQ(program.control(TIOCMGET, &seen), 0);
    EXPECT_EQ(seen & (TIOCM_CTS | TIOCM_DSR | TIOCM_CD | TIOCM_RI), TIOCM_DSR | TIOCM_CD | TIOCM_RI);
    client.set_line(uart, {.cts = true, .dsr = false, .cd = false, .ri = false});
    ASSERT_EQ(program.control(TIOCMGET, &seen), 0);
    EXPECT_EQ(seen & (TIOCM_CTS | TIOCM_DSR | TIOCM_CD | TIOCM_RI), TIOCM_CTS);
}

TEST_F(LineControl, AHeldLineKeepsWhatTheTerminalSends)
{
    port_program program(served.board, uart);
    client.hold(uart, true);
    program.write("later");
    EXPECT_EQ(client.line(uart).unsent, 5);
    EXPECT_FALSE(client.expect(uart, "later", 0ms));
    client.hold(uart, false);
    EXPECT_TRUE(client.expect(uart, "later"));
    EXPECT_EQ(client.line(uart).unsent, 0);
}

TEST_F(LineControl, TheOtherEndHasAFramingUntilItFollowsAgain)
{
    const line_state changed = client.set_line(uart, {.speed = 57600, .parity = 'O'});
    const framing near = wire().near_framing();
    EXPECT_EQ(changed.far, (line_framing{57600, near.data_bits, 'O', near.stop_bits}));
    EXPECT_EQ(wire().far_framing(), (framing{57600, near.data_bits, 'O', near.stop_bits}));
    EXPECT_EQ(client.set_line(uart, {.stop_bits = 2}).far, (line_framing{57600, near.data_bits, 'O', 2}));
    EXPECT_EQ(client.set_line(uart, {.follow = true}).far, std::nullopt);
    EXPECT_EQ(wire().far_framing(), std::nullopt);
}

TEST_F(LineControl, ErrorsAndBreaksReachTheProgram)
{
    port_program program(served.board, uart);
    termios2 set{}; // raw, and errors are marked in the bytes
    ASSERT_EQ(program.control(TCGETS2, &set), 0);
    set.c_iflag = PARMRK | INPCK;
    set.c_lflag = 0;
    set.c_cc[VMIN] = 1;
    ASSERT_EQ(program.control(TCSETS2, &set), 0);
    client.send_bad(uart, 'p', "parity");
    EXPECT_EQ(program.read(3), std::string("\xff\0p", 3));
    client.send_bad(uart, 'f', "framing");
    EXPECT_EQ(program.read(3), std::string("\xff\0f", 3));
    client.send_break(uart);
    EXPECT_EQ(program.read(3), std::string("\xff\0\0", 3));
    EXPECT_EQ(client.exchange(R"({"op":"send","path":"/dev/sp_uart0","data":"ab","error":"parity"})"),
              R"({"ok":true})");
    EXPECT_EQ(program.read(6), std::string("\xff\0a\xff\0b", 6));
}

TEST_F(LineControl, AnOverrunIsCounted)
{
    port_program program(served.board, uart);
    client.send_bad(uart, 'o', "overrun");
    serial_icounter_struct counted{};
    ASSERT_EQ(program.control(TIOCGICOUNT, &counted), 0);
    EXPECT_EQ(counted.overrun, 1);
}

TEST_F(LineControl, CountsTheTerminalsBreaks)
{
    port_program program(served.board, uart);
    ASSERT_EQ(program.control(TCSBRK, nullptr), 0);
    EXPECT_EQ(client.line(uart).breaks, 1u);
}

TEST_F(LineControl, HangsUp)
{
    port_program program(served.board, uart);
    auto reading = program.start_read(1);
    client.hang_up(uart);
    ASSERT_EQ(reading.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(reading.get().bytes, "");
    EXPECT_EQ(program.start_write("x").get().error, EIO);
    port_program anew(served.board, uart);
    anew.write("again");
    EXPECT_TRUE(client.expect(uart, "again"));
}

TEST_F(LineControl, WhoServesALineIsNotReplaced)
{
    struct server : far_end {};
    const auto served_port = std::make_shared<port>();
    served_port->wire()->connect(std::make_shared<server>());
    ASSERT_TRUE(served.board.put_device("/dev/ttyS0", served_port));
    EXPECT_EQ(error_of(R"({"op":"expect","path":"/dev/ttyS0"})"), "/dev/ttyS0: the board serves its other end itself");
    EXPECT_EQ(error_of(R"({"op":"bridge","path":"/dev/ttyS0","to":"pty"})"),
              "/dev/ttyS0: the board serves its other end itself");
    client.send("/dev/ttyS0", "x");
    client.hang_up("/dev/ttyS0");
    EXPECT_FALSE(parsed_json(client.exchange(R"({"op":"line","path":"/dev/ttyS0"})")).contains("breaks"));
}

TEST_F(LineControl, RefusesWhatDoesNotFit)
{
    EXPECT_EQ(error_of(R"({"op":"send","path":"/dev/none","data":"x"})"), "/dev/none does not exist");
    EXPECT_EQ(error_of(R"({"op":"line","path":"/sys/power/state"})"), "/sys/power/state is no serial port");
    EXPECT_EQ(error_of(R"({"op":"expect","path":"/dev"})"), "/dev is no serial port");
    EXPECT_EQ(error_of(R"({"op":"hang_up"})"), "\"path\" is missing");
    EXPECT_EQ(error_of(R"({"op":"port","path":"/dev/sp_uart0"})"), "/dev/sp_uart0: the place is taken");
    EXPECT_EQ(error_of(R"({"op":"port","path":"/sys/tty"})"), "a port lies below /dev");
    EXPECT_EQ(error_of(R"({"op":"port","path":"/dev/ttyX","speed":0})"),
              "\"speed\" must be a whole number from 1 to 4000000");
    EXPECT_EQ(error_of(R"({"op":"port","path":"/dev/ttyX","speed":"fast"})"),
              "\"speed\" must be a whole number from 0 to 4000000");
    EXPECT_EQ(error_of(R"({"op":"port","path":"/dev/ttyX","cts":true})"), "\"port\" takes no \"cts\"");
    EXPECT_EQ(served.board.find("/dev/ttyX"), nullptr);
    EXPECT_EQ(error_of(R"({"op":"send","path":"/dev/sp_uart0"})"), "\"data\" is missing");
    EXPECT_EQ(error_of(R"({"op":"send","path":"/dev/sp_uart0","data":"x","break":true})"), "a break has no data");
    EXPECT_EQ(error_of(R"({"op":"send","path":"/dev/sp_uart0","data":"x","error":"noise"})"),
              "\"error\" must be \"parity\", \"framing\" or \"overrun\"");
    EXPECT_THAT(error_of(R"({"op":"send","path":"/dev/sp_uart0","data_hex":"0"})"), HasSubstr("hexadecimal"));
    EXPECT_EQ(error_of(R"({"op":"line","path":"/dev/sp_uart0","cts":false,"data_bits":9})"),
              "\"data_bits\" must be a whole number from 0 to 8");
    EXPECT_TRUE(client.line(uart).cts); // a refused request changes nothing
    EXPECT_EQ(error_of(R"({"op":"line","path":"/dev/sp_uart0","data_bits":4})"),
              "\"data_bits\" must be a whole number from 5 to 8");
    EXPECT_EQ(error_of(R"({"op":"line","path":"/dev/sp_uart0","parity":"M"})"),
              "\"parity\" must be \"N\", \"E\" or \"O\"");
    EXPECT_EQ(error_of(R"({"op":"line","path":"/dev/sp_uart0","stop_bits":2,"follow":true})"),
              "\"follow\" goes without a framing");
    EXPECT_EQ(error_of(R"({"op":"line","path":"/dev/sp_uart0","hold":1})"), "\"hold\" must be true or false");
    EXPECT_EQ(error_of(R"({"op":"line","path":"/dev/sp_uart0","dtr":true})"), "\"line\" takes no \"dtr\"");
    EXPECT_EQ(error_of(R"({"op":"expect","path":"/dev/sp_uart0","timeout_ms":-1})"),
              "\"timeout_ms\" must be a whole number from 0 to 31536000000");
    EXPECT_EQ(error_of(R"({"op":"get","path":"/dev/sp_uart0"})"), "/dev/sp_uart0 is a device");
    EXPECT_THROW(client.send("/dev/none", "x"), terminal_error);
}

} // namespace
