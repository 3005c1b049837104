/** The supervision's talk with the modem after a rebuild: port 21, what goes out, and which answer ends it. */
#include <kt_driver/net.h>

#include "modem_double.h"
#include "session_files.h"
#include "tests/support/captured_stdout.h"

#include <chrono>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;

namespace {

constexpr const char* channel = "/dev/chn/3";

/** A rebuild up to the port's opening, of a modem whose power brings back its line and whose script its channel. */
constexpr const char* rebuilt = "system: pidof -s gsm0710muxd_bp\n"
                                "task_check_run ret  256\n"
                                "system: pidof -s gsm0710muxd_bp\n"
                                "task_check_run ret  256\n"
                                "no gsm0710muxd_bp running,restart#####\n"
                                "system: rm -rf /dev/chn\n"
                                "find /dev/ttyS0\n"
                                "system: /kt/kt_module/gsm0710muxd_bp.sh &\n"
                                "#cmux_ready start#\n"
                                "find /dev/chn/3\n"
                                "#hal kt_serial_open 21#\n"
                                "KT_UART_COM21 uart_gsm_fd=FD\n";
constexpr const char* closed = "#hal kt_serial_close 21#\n";

constexpr const char* asked = "write\n"
                              "0000 : 41 54 0D 0A : AT..\n";

std::string waiting(int count)
{
    return "#UartGetRXBufCount " + std::to_string(count) + "#\n";
}

/** The modem's side, told by the test: it gets the channel's other end once the daemon's script has made the channel.
 */
using modem_side = std::function<void(virtual_terminal& board)>;

struct handshake {
    int result = 0;
    std::string text;
    std::chrono::nanoseconds took{};
};

/** A check that finds no daemon, in a process that has made its first one. */
handshake check_with(virtual_terminal& board, const modem_side& modem)
{
    {
        const ready_modem at_start(board);
        EXPECT_EQ(kt_gsm_cmux_run_check(), 1);
    }
    end_daemons();
    put_script("/kt/kt_module/gsm0710muxd_bp.sh", "echo > /tmp/script_ran");

    std::thread other_side([&] {
        virtual_terminal its_board;
        while (mode_of("/tmp/script_ran") == 0)
            std::this_thread::sleep_for(5ms);
        its_board.port(channel);
        modem(its_board);
    });
    handshake done;
    captured_stdout output;
    const auto begin = std::chrono::steady_clock::now();
    done.result = kt_gsm_cmux_run_check();
    done.took = std::chrono::steady_clock::now() - begin;
    done.text = output.take();
    other_side.join();

    const std::string number = "uart_gsm_fd="; // which one is free is no matter here
    if (const std::size_t at = done.text.find(number); at != std::string::npos)
        done.text.replace(at + number.size(), done.text.find('\n', at) - at - number.size(), "FD");
    return done;
}

/** Answers each "AT" with the next text. */
modem_side answering(std::vector<std::string> answers)
{
    return [answers](virtual_terminal& board) {
        for (const std::string& answer : answers) {
            ASSERT_TRUE(board.expect(channel, "AT\r\n", 10s));
            if (!answer.empty())
                board.send(channel, answer);
        }
    };
}

bool becomes_closed(virtual_terminal& board)
{
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (board.line(channel).open && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(5ms);
    return !board.line(channel).open;
}

} // namespace

TEST(ModemHandshake, EndsWithTheFirstOk)
{
    virtual_terminal board;
    kt::terminal::line_state line;
    const handshake done = check_with(board, [&](virtual_terminal& other) {
        ASSERT_TRUE(other.expect(channel, "AT\r\n", 10s));
        line = other.line(channel);
        other.send(channel, "\r\nOK\r\n");
    });
    EXPECT_EQ(done.text,
              std::string(rebuilt) + asked + waiting(6) + "read\n0000 : 0D 0A 4F 4B 0D 0A : ..OK..\n" + closed);
    EXPECT_EQ(done.result, 0);
    EXPECT_EQ(line.near, (kt::terminal::line_framing{460800, 8, 'N', 1}));
    EXPECT_EQ(board.writes(channel), std::vector<std::string>{"AT\r\n"});
    EXPECT_TRUE(becomes_closed(board)); // close(2) does not wait until the line knows of it
}

TEST(ModemHandshake, AsksASilentModemThirtyTimes)
{
    virtual_terminal board;
    const handshake done = check_with(board, [](virtual_terminal&) {});
    std::string attempts;
    for (int i = 0; i < 30; ++i)
        attempts += asked + waiting(0);
    EXPECT_EQ(done.text, rebuilt + attempts + closed);
    EXPECT_EQ(done.result, 0) << "it is the closing that counts";
    EXPECT_EQ(board.writes(channel), std::vector<std::string>(30, "AT\r\n"));
    EXPECT_GE(done.took, 30 * (500ms + 500ms));
}

TEST(ModemHandshake, GoesOnUntilAnAnswerHasOk)
{
    virtual_terminal board;
    const handshake done =
        check_with(board, answering({"ERROR\r\n", "ok\r\n", "", "O K\r\n", std::string("\0\xff\x7f~OK", 6)}));
    EXPECT_EQ(done.text, rebuilt + (asked + waiting(7)) + "read\n0000 : 45 52 52 4F 52 0D 0A : ERROR..\n" +
                             (asked + waiting(4)) + "read\n0000 : 6F 6B 0D 0A : ok..\n" + (asked + waiting(0)) +
                             (asked + waiting(5)) + "read\n0000 : 4F 20 4B 0D 0A : O K..\n" + (asked + waiting(6)) +
                             "read\n0000 : 00 FF 7F 7E 4F 4B : ...~OK\n" + closed);
    EXPECT_EQ(done.result, 0);
}

TEST(ModemHandshake, OkMustComeInOneRead)
{
    virtual_terminal board;
    const handshake done = check_with(board, answering({"O", "K\r\n", "OK"}));
    EXPECT_EQ(done.text, rebuilt + (asked + waiting(1)) + "read\n0000 : 4F : O\n" + (asked + waiting(3)) +
                             "read\n0000 : 4B 0D 0A : K..\n" + (asked + waiting(2)) + "read\n0000 : 4F 4B : OK\n" +
                             closed);
}

TEST(ModemHandshake, AReadTakes64BytesAndLeavesTheRestToTheNext)
{
    std::string line_of_x;
    for (int line = 0; line < 4; ++line) {
        line_of_x += "00" + std::to_string(line) + "0 : ";
        for (int i = 0; i < (line < 3 ? 16 : 15); ++i)
            line_of_x += "78 ";
        line_of_x += line < 3 ? ": xxxxxxxxxxxxxxxx\n" : "4F : xxxxxxxxxxxxxxxO\n";
    }
    virtual_terminal board;
    const handshake done = check_with(board, answering({std::string(63, 'x') + "OK", "", "OK"}));
    EXPECT_EQ(done.text, rebuilt + (asked + waiting(65)) + "read\n" + line_of_x + asked + waiting(1) +
                             "read\n0000 : 4B : K\n" + asked + waiting(2) + "read\n0000 : 4F 4B : OK\n" + closed);
}

TEST(ModemHandshake, AnAnswerMayComeWhileItIsReadFor)
{
    virtual_terminal board;
    const handshake done = check_with(board, [](virtual_terminal& other) {
        ASSERT_TRUE(other.expect(channel, "AT\r\n", 10s));
        std::this_thread::sleep_for(750ms); // the count was taken after 500 ms
        other.send(channel, "OK");
    });
    EXPECT_EQ(done.text, std::string(rebuilt) + asked + waiting(0) + "read\n0000 : 4F 4B : OK\n" + closed);
}

TEST(ModemHandshake, GoesOnAfterAHangUp)
{
    // Writes fail and reads give nothing at once, to the last attempt.
    virtual_terminal board;
    const handshake done = check_with(board, [](virtual_terminal& other) {
        ASSERT_TRUE(other.expect(channel, "AT\r\n", 10s));
        other.hang_up(channel);
    });
    std::string attempts = asked + waiting(0) + "read\n";
    for (int i = 1; i < 30; ++i)
        attempts += "write\n" + waiting(0) + "read\n";
    EXPECT_EQ(done.text, rebuilt + attempts + closed);
    EXPECT_EQ(done.result, 0);
    EXPECT_GE(done.took, 30 * 500ms);
}
