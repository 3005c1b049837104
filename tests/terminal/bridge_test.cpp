/** Serial lines led out to a pty and to TCP: a tool of the desk talks to the program. */
#include "port_program.h"
#include "served_board.h"
#include "terminal/client/virtual_terminal.h"
#include "terminal/json/json.h"

#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <future>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace kt::terminal;
using namespace std::chrono_literals;
using json = nlohmann::ordered_json;
using testing::HasSubstr;

constexpr const char* uart = "/dev/sp_uart0";

/** What a tool of the desk has open: a pty or a socket. */
class tool {
public:
    explicit tool(const std::string& pty) : fd_(open(pty.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {}
    explicit tool(int tcp_port) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(tcp_port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = connect(fd_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }

    bool is_connected() const { return connected_; }

    void say(std::string_view bytes) const
    {
        while (!bytes.empty()) {
            const ssize_t length = write(fd_.get(), bytes.data(), bytes.size());
            ASSERT_GT(length, 0);
            bytes.remove_prefix(static_cast<std::size_t>(length));
        }
    }

    /** So many bytes, or what came before the end or within 10 s. */
    std::string hear(std::size_t size) const
    {
        std::string all;
        char part[4096];
        pollfd watched{fd_.get(), POLLIN, 0};
        while (all.size() < size && poll(&watched, 1, 10'000) == 1) {
            const ssize_t length = read(fd_.get(), part, std::min(sizeof part, size - all.size()));
            if (length <= 0)
                break;
            all.append(part, static_cast<std::size_t>(length));
        }
        return all;
    }

    /** True when the connection ends, without a byte before, within 10 s. */
    bool sees_the_end() const
    {
        pollfd watched{fd_.get(), POLLIN, 0};
        char none = 0;
        return poll(&watched, 1, 10'000) == 1 && read(fd_.get(), &none, 1) <= 0;
    }

private:
    descriptor fd_;
    bool connected_ = false;
};

class Bridge : public testing::Test {
protected:
    std::string error_of(const std::string& line)
    {
        const json answer = parsed_json(client.exchange(line));
        EXPECT_EQ(answer.at("ok"), false) << line;
        return answer.value("error", "");
    }

    /** Every byte passes as it is, both ways. */
    void talk(port_program& program, const tool& other)
    {
        std::string all_bytes;
        for (int i = 0; i < 256; ++i)
            all_bytes += static_cast<char>(i);
        program.write(all_bytes);
        EXPECT_EQ(other.hear(256), all_bytes);
        other.say(all_bytes);
        EXPECT_EQ(program.read(256), all_bytes);
    }

    own_folder folder_;
    served_board served{folder_.path() + "/socket"};
    virtual_terminal client{folder_.path() + "/socket"};
};

TEST_F(Bridge, ToAPtyCarriesBytesBothWays)
{
    port_program program(served.board, uart);
    program.be_raw();
    const tool other(client.bridge_pty(uart));
    talk(program, other);
}

TEST_F(Bridge, APtyOutlivesTheToolThatHadItOpen)
{
    port_program program(served.board, uart);
    program.be_raw();
    const std::string pty = client.bridge_pty(uart);
    for (int i = 0; i < 3; ++i)
        talk(program, tool(pty));
}

TEST_F(Bridge, ToTcpCarriesBytesBothWays)
{
    port_program program(served.board, uart);
    program.be_raw();
    const int port = client.bridge_tcp(uart);
    for (int i = 0; i < 3; ++i) { // one after the other
        const tool other(port);
        ASSERT_TRUE(other.is_connected());
        other.say("hello"); // from here on it is the one that is served
        EXPECT_EQ(program.read(5), "hello");
        talk(program, other);
    }
}

TEST_F(Bridge, OneTcpConnectionIsServedAtATime)
{
    port_program program(served.board, uart);
    program.be_raw();
    const int port = client.bridge_tcp(uart);
    {
        const tool first(port);
        first.say("first");
        EXPECT_EQ(program.read(5), "first");
        const tool second(port);
        second.say("second");
        program.write("x");
        EXPECT_EQ(first.hear(1), "x");
        EXPECT_EQ(client.line(uart).waiting, 0); // the second has to wait
    }
    const tool third(port);
    third.say("third");
    EXPECT_EQ(program.read(11), "secondthird");
}

TEST_F(Bridge, ListensOnTheLoopbackOnly)
{
    const int port = client.bridge_tcp(uart);
    std::ifstream table("/proc/net/tcp");
    char wanted[32];
    std::snprintf(wanted, sizeof wanted, "0100007F:%04X 00000000:0000 0A", static_cast<unsigned>(port));
    const std::string all{std::istreambuf_iterator<char>(table), {}};
    EXPECT_THAT(all, HasSubstr(wanted));
}

TEST_F(Bridge, TakesTheTcpPortThatIsNamed)
{
    const int port = client.bridge_tcp(uart);
    EXPECT_THAT(error_of(R"({"op":"bridge","path":"/dev/ttyS5","to":"tcp","tcp_port":)" + std::to_string(port) + "}"),
                HasSubstr("TCP port " + std::to_string(port) + ": Address already in use"));
    client.bridge_none(uart);
    EXPECT_FALSE(tool(port).is_connected());
    EXPECT_EQ(client.bridge_tcp("/dev/ttyS5", port), port);
    EXPECT_TRUE(tool(port).is_connected());
}

TEST_F(Bridge, MoreThanThePortHoldsIsNotLost)
{
    port_program program(served.board, uart);
    program.be_raw();
    const tool other(client.bridge_tcp(uart));
    std::string much;
    for (int i = 0; much.size() < 300'000; ++i)
        much += std::to_string(i) + " ";
    auto sending = std::async(std::launch::async, [&] { other.say(much); });
    std::this_thread::sleep_for(100ms); // long enough to overrun a line that is not held back
    EXPECT_EQ(program.read(much.size()), much);
    sending.get();
}

TEST_F(Bridge, ExpectAndSendGoOnBesideIt)
{
    port_program program(served.board, uart);
    program.be_raw();
    const tool other(client.bridge_pty(uart));
    program.write("AT\r");
    EXPECT_EQ(other.hear(3), "AT\r");
    EXPECT_TRUE(client.expect(uart, "AT\r"));
    client.send(uart, "OK");
    EXPECT_EQ(program.read(2), "OK");
}

TEST_F(Bridge, EndsWhenItIsTakenBackAndWhenThePortGoes)
{
    port_program program(served.board, uart);
    const int port = client.bridge_tcp(uart);
    const tool other(port);
    client.bridge_none(uart);
    EXPECT_TRUE(other.sees_the_end());
    client.bridge_none(uart); // there is none any more
    program.write("on");
    EXPECT_TRUE(client.expect(uart, "on"));

    client.act("plug", "usb-serial");
    const tool adapter(client.bridge_tcp("/dev/ttyUSB0"));
    client.act("unplug", "usb-serial");
    EXPECT_TRUE(adapter.sees_the_end());
    client.port("/dev/ttyUSB0");
    const tool anew(client.bridge_tcp("/dev/ttyUSB0"));
    client.remove("/dev/ttyUSB0");
    EXPECT_TRUE(anew.sees_the_end());
}

TEST_F(Bridge, ANewOneReplacesTheOld)
{
    port_program program(served.board, uart);
    program.be_raw();
    const tool old(client.bridge_tcp(uart));
    const tool other(client.bridge_pty(uart));
    EXPECT_TRUE(old.sees_the_end());
    talk(program, other);
}

TEST_F(Bridge, EndsWithTheTerminal)
{
    const tool other(client.bridge_tcp(uart));
    served.server.stop();
    EXPECT_TRUE(other.sees_the_end());
}

TEST_F(Bridge, RefusesWhatItDoesNotKnow)
{
    EXPECT_EQ(error_of(R"({"op":"bridge","path":"/dev/sp_uart0"})"), "\"to\" is missing");
    EXPECT_EQ(error_of(R"({"op":"bridge","path":"/dev/sp_uart0","to":"udp"})"),
              "\"to\" must be \"pty\", \"tcp\" or \"none\"");
    EXPECT_EQ(error_of(R"({"op":"bridge","path":"/dev/sp_uart0","to":"pty","tcp_port":1})"),
              "\"tcp_port\" goes with \"to\":\"tcp\"");
    EXPECT_EQ(error_of(R"({"op":"bridge","path":"/dev/sp_uart0","to":"none","tcp_port":1})"),
              "\"tcp_port\" goes with \"to\":\"tcp\"");
    EXPECT_EQ(error_of(R"({"op":"bridge","path":"/dev/sp_uart0","to":"tcp","tcp_port":65536})"),
              "\"tcp_port\" must be a whole number from 0 to 65535");
    EXPECT_EQ(error_of(R"({"op":"bridge","path":"/dev/none","to":"pty"})"), "/dev/none does not exist");
}

} // namespace

TEST_F(Bridge, ANewOneMayHaveTheTcpPortOfTheOld)
{
    const int port = client.bridge_tcp(uart);
    EXPECT_EQ(client.bridge_tcp(uart, port), port);
    EXPECT_TRUE(tool(port).is_connected());
}
