/** The control protocol, line by line, and the C++ client that speaks it. */
#include "served_board.h"
#include "terminal/client/virtual_terminal.h"
#include "terminal/json/json.h"

#include <cerrno>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>

namespace {

using namespace kt::terminal;
using namespace std::chrono_literals;
using json = nlohmann::ordered_json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

event of(std::string kind, std::string path, std::string data = {})
{
    event made;
    made.kind = std::move(kind);
    made.path = std::move(path);
    made.data = std::move(data);
    return made;
}

std::size_t threads_of_this_process()
{
    const auto all = std::filesystem::directory_iterator("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

class control : public testing::Test {
protected:
    std::string path() const { return folder_.path() + "/socket"; }

    std::string error_of(const std::string& line)
    {
        const json answer = parsed_json(client.exchange(line));
        EXPECT_EQ(answer.at("ok"), false) << line;
        return answer.value("error", "");
    }

    /** A bare connection, for what the client does not do. */
    descriptor raw_connection() const
    {
        descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        return made;
    }

    static std::string line_from(const descriptor& connection)
    {
        std::string line;
        for (char each = 0; read(connection.get(), &each, 1) == 1 && each != '\n';)
            line += each;
        return line;
    }

    static void say(const descriptor& connection, std::string_view text)
    {
        ASSERT_EQ(write(connection.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    own_folder folder_;
    served_board served{path()};
    virtual_terminal client{path()};
};

TEST_F(control, HelloTellsWhoAnswers)
{
    const json answer = parsed_json(client.exchange(R"({"op":"hello"})"));
    EXPECT_EQ(answer.at("ok"), true);
    EXPECT_EQ(answer.at("protocol"), 1);
    EXPECT_EQ(answer.at("name"), "test");
    EXPECT_EQ(answer.at("board"), "500");
    EXPECT_EQ(answer.at("version"), "1.2.3");
    EXPECT_EQ(answer.at("pid"), getpid());
    EXPECT_EQ(answer.at("newest"), 0);
}

TEST_F(control, SetsAndGetsAttributes)
{
    client.attribute("/sys/class/x/a", {.text = "12\n", .mode = 0200, .kind = "integer"});
    EXPECT_EQ(client.text("/sys/class/x/a"), "12\n");
    EXPECT_EQ(served.board.attribute("/sys/class/x/a")->mode, 0200u);
    EXPECT_EQ(served.board.attribute("/sys/class/x/a")->kind, attribute_kind::integer);

    // What is not said stays as it is.
    EXPECT_EQ(client.exchange(R"({"op":"set","path":"/sys/class/x/a","text":"13\n"})"), R"({"ok":true})");
    EXPECT_EQ(client.exchange(R"({"op":"get","path":"/sys/class/x/a"})"),
              R"({"ok":true,"text":"13\n","mode":"0200","kind":"integer"})");
    EXPECT_EQ(client.exchange(R"({"op":"set","path":"/sys/class/x/a","mode":"0644"})"), R"({"ok":true})");
    EXPECT_EQ(client.text("/sys/class/x/a"), "13\n");
}

TEST_F(control, CarriesBytesThatAreNoText)
{
    const std::string bytes("\0\xff\n", 3);
    client.attribute("/sys/class/x/a", {.text = bytes});
    EXPECT_EQ(client.text("/sys/class/x/a"), bytes);
    EXPECT_EQ(parsed_json(client.exchange(R"({"op":"get","path":"/sys/class/x/a"})")).at("text_hex"), "00ff0a");
}

TEST_F(control, TakesPathsThatAreNoText)
{
    client.attribute("/sys/class/x/\xff", {.text = "1\n"});
    EXPECT_EQ(client.text("/sys/class/x/\xff"), "1\n");
    EXPECT_TRUE(served.board.attribute("/sys/class/x/\xff"));
    EXPECT_EQ(client.exchange(R"({"op":"get","path_hex":"2fff"})"),
              R"({"ok":false,"error_hex":"2fff20646f6573206e6f74206578697374"})");
}

TEST_F(control, SetsAndGetsFiles)
{
    ASSERT_TRUE(served.board.keep_state_in(open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    EXPECT_EQ(client.exchange(R"({"op":"set","path":"/mnt/data/a.ini","text":"[x]\n"})"), R"({"ok":true})");
    EXPECT_EQ(served.board.file("/mnt/data/a.ini"), "[x]\n");
    EXPECT_EQ(client.exchange(R"({"op":"get","path":"/mnt/data/a.ini"})"),
              R"({"ok":true,"text":"[x]\n","kind":"file"})");
    client.remove("/mnt/data/a.ini");
    EXPECT_THAT(error_of(R"({"op":"get","path":"/mnt/data/a.ini"})"), HasSubstr("does not exist"));
}

TEST_F(control, RemovesAndLists)
{
    client.attribute("/sys/class/x/a", {.text = "1\n"});
    client.attribute("/sys/class/x/b", {.text = "1\n"});
    EXPECT_EQ(client.exchange(R"({"op":"list","path":"/sys/class/x"})"), R"({"ok":true,"names":["a","b"]})");
    client.remove("/sys/class/x/a");
    EXPECT_EQ(client.exchange(R"({"op":"list","path":"/sys/class/x"})"), R"({"ok":true,"names":["b"]})");
    EXPECT_THROW(client.remove("/sys/class/x/a"), terminal_error);
    EXPECT_THAT(error_of(R"({"op":"list","path":"/sys/class/x/b"})"), HasSubstr("is no folder"));
    EXPECT_THAT(error_of(R"({"op":"get","path":"/sys/class/x"})"), HasSubstr("is a folder"));
}

TEST_F(control, MakesAccessesFail)
{
    const int rule = client.fail("/sys/class/x/*",
                                 {.on = "write", .error = EROFS, .delay = 5ms, .hang = true, .skip = 1, .times = 2});
    EXPECT_EQ(
        client.exchange(R"({"op":"faults"})"),
        R"({"ok":true,"faults":[{"rule":)" + std::to_string(rule) +
            R"(,"path":"/sys/class/x/*","on":"write","error":"EROFS","delay_ms":5,"hang":true,"skip":1,"times":2}]})");
    EXPECT_FALSE(served.board.failures().next("/sys/class/x/a", access::write)); // the one to skip
    const auto hit = served.board.failures().next("/sys/class/x/a", access::write);
    ASSERT_TRUE(hit);
    EXPECT_EQ(hit->error, EROFS);
    EXPECT_EQ(hit->delay, 5ms);
    EXPECT_TRUE(hit->hang);

    client.mend(rule);
    EXPECT_FALSE(served.board.failures().next("/sys/class/x/a", access::write));
    EXPECT_EQ(client.exchange(R"({"op":"faults"})"), R"({"ok":true,"faults":[]})");
    EXPECT_THROW(client.mend(rule), terminal_error);

    client.fail("reboot", {.on = "run", .error = ENOENT});
    client.mend_all();
    EXPECT_FALSE(served.board.failures().next("reboot", access::run));
}

TEST_F(control, TellsStandInProgramsWhatToDo)
{
    EXPECT_EQ(client.exchange(R"({"op":"program","name":"reboot"})"),
              R"({"ok":true,"status":0,"output":"","run":"","power":"restart"})");
    client.program("reboot", 3, "not now\n");
    EXPECT_EQ(served.board.program("reboot").status, 3);
    EXPECT_EQ(served.board.program("reboot").output, "not now\n");
    EXPECT_EQ(served.board.program("reboot").power, ""); // only recorded now
    EXPECT_EQ(client.exchange(R"({"op":"program","name":"sh","run":"/bin/busybox"})"),
              R"({"ok":true,"status":0,"output":"","run":"/bin/busybox","power":""})");
}

TEST_F(control, ActsOnTheBoard)
{
    client.act("plug", "mains");
    EXPECT_EQ(client.text("/sys/class/power_supply/mains/online"), "1\n");
    EXPECT_THAT(error_of(R"({"op":"act","verb":"plug","thing":"sun"})"), HasSubstr("it can: plug dock, plug mains"));
    EXPECT_THAT(client.exchange(R"({"op":"actions"})"), HasSubstr(R"({"verb":"plug","thing":"dock"})"));
}

TEST_F(control, StopsTheProgram)
{
    EXPECT_EQ(client.exchange(R"({"op":"stop"})"), R"({"ok":true})");
    EXPECT_TRUE(served.stopped);
}

TEST_F(control, GivesTheJournal)
{
    served.board.events().append(of("open", "/sys/a"));
    client.forget();
    EXPECT_THAT(client.events(), IsEmpty());
    event opened = of("open", "/sys/b");
    opened.flags = "O_RDWR|O_NONBLOCK";
    served.board.events().append(opened);
    served.board.events().append(of("write", "/sys/b", "0x1"));
    served.board.events().append(of("write", "/sys/c", "2"));
    served.board.events().append(of("write", "/sys/b", std::string("\xff", 1)));
    served.board.events().append(of("shell", "sh", "echo 1"));
    served.board.events().append(of("syslog", "app", "a\n"));
    served.board.events().append(of("syslog", "app", "b\n"));

    EXPECT_EQ(client.events().size(), 7u);
    EXPECT_EQ(client.events_of({"shell", "syslog"}).size(), 3u);
    EXPECT_EQ(open_flags(client.last_open("/sys/b")), O_RDWR | O_NONBLOCK);
    EXPECT_EQ(client.last_open("/sys/c").kind, "");
    EXPECT_THAT(client.writes("/sys/b"), ElementsAre("0x1", "\xff"));
    EXPECT_THAT(client.commands(), ElementsAre("echo 1"));
    EXPECT_EQ(client.syslog(), "a\nb\n");
    const json two = parsed_json(client.exchange(R"({"op":"journal","from":2,"most":2})"));
    EXPECT_EQ(two.at("newest"), 8);
    EXPECT_EQ(two.at("events").size(), 2u);
    EXPECT_EQ(two.at("events")[0].at("seq"), 2);
}

TEST_F(control, WaitFindsWhatIsThere)
{
    served.board.events().append(of("write", "/sys/a", "1"));
    served.board.events().append(of("write", "/sys/b", "2"));
    EXPECT_EQ(client.wait({.kind = "write", .path = "/sys/b"}, 0ms)->seq, 2u);
    EXPECT_EQ(client.wait({.path = "/sys/*", .data = "1"}, 0ms)->seq, 1u);
    EXPECT_EQ(client.wait({}, 0ms)->seq, 1u);
    EXPECT_FALSE(client.wait({.path = "/*"}, 0ms));
    client.forget();
    EXPECT_FALSE(client.wait({}, 0ms));
}

TEST_F(control, WaitIsOverWhenTheEventComes)
{
    std::thread program([&] {
        for (int n = 0; n < 50; ++n)
            served.board.events().append(of("read", "/sys/a"));
        std::this_thread::sleep_for(20ms);
        served.board.events().append(of("write", "/sys/a", "5"));
    });
    const auto found = client.wait({.kind = "write"}, 20s);
    program.join();
    ASSERT_TRUE(found);
    EXPECT_EQ(found->data, "5");
}

TEST_F(control, WaitEndsInTime)
{
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(client.wait({.kind = "write"}, 50ms));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
}

TEST_F(control, AWaitHoldsNobodyElse)
{
    const descriptor waiting = raw_connection();
    say(waiting, "{\"op\":\"wait\",\"kind\":\"write\",\"timeout_ms\":60000}\n{\"op\":\"hello\"}\n");
    client.attribute("/sys/class/x/a", {.text = "1"});
    EXPECT_EQ(client.text("/sys/class/x/a"), "1");
    served.board.events().append(of("write", "/sys/a"));
    EXPECT_THAT(line_from(waiting), HasSubstr(R"("kind":"write")"));
    EXPECT_THAT(line_from(waiting), HasSubstr(R"("protocol":1)")); // what was asked behind it waited its turn
}

TEST_F(control, ManyWaitAtOnce)
{
    std::vector<std::thread> waiting;
    std::atomic<int> found = 0;
    for (int i = 0; i < 20; ++i)
        waiting.emplace_back([&, i] {
            virtual_terminal own(path());
            if (own.wait({.kind = "write", .data = std::to_string(i)}, 20s))
                ++found;
        });
    for (int i = 0; i < 20; ++i)
        served.board.events().append(of("write", "/sys/a", std::to_string(i)));
    for (auto& each : waiting)
        each.join();
    EXPECT_EQ(found, 20);
}

TEST_F(control, WhoLeavesInAWaitCostsNothing)
{
    const std::size_t before = threads_of_this_process();
    const auto descriptors = [] {
        const auto all = std::filesystem::directory_iterator("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    (void)client.exchange(R"({"op":"hello"})");
    const auto open_before = descriptors();
    for (int i = 0; i < 50; ++i) {
        const descriptor leaving = raw_connection();
        say(leaving, "{\"op\":\"wait\",\"timeout_ms\":3600000}\n");
    }
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (descriptors() > open_before && std::chrono::steady_clock::now() < deadline)
        (void)client.exchange(R"({"op":"hello"})");
    EXPECT_EQ(descriptors(), open_before);
    EXPECT_EQ(threads_of_this_process(), before);
}

TEST_F(control, AnswersWhoSendsNoMore)
{
    const descriptor asking = raw_connection();
    say(asking, "{\"op\":\"wait\",\"timeout_ms\":30}\n{\"op\":\"list\",\"path\":\"/sys/power\"}\n");
    ASSERT_EQ(shutdown(asking.get(), SHUT_WR), 0);
    EXPECT_EQ(line_from(asking), R"({"ok":true,"event":null})");
    EXPECT_THAT(line_from(asking), HasSubstr("wakeup_count"));
    char none = 0;
    EXPECT_EQ(read(asking.get(), &none, 1), 0);
}

TEST_F(control, AnswersOfAnySizeReachASlowReader)
{
    for (int i = 0; i < 20'000; ++i)
        served.board.events().append(of("write", "/sys/a", std::string(40, 'x')));
    const descriptor slow = raw_connection();
    say(slow, "{\"op\":\"journal\"}\n{\"op\":\"journal\",\"from\":20000}\n");
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(client.text("/sys/power/state"), "freeze mem\n"); // nobody else waits for the slow one
    std::string all;
    char part[65536];
    while (std::count(all.begin(), all.end(), '\n') < 2) {
        const ssize_t length = read(slow.get(), part, sizeof part);
        ASSERT_GT(length, 0);
        all.append(part, static_cast<std::size_t>(length));
    }
    EXPECT_EQ(parsed_json(all.substr(0, all.find('\n'))).at("events").size(), 20'000u);
}

TEST_F(control, RefusesWhatItDoesNotKnow)
{
    EXPECT_EQ(error_of("nonsense"), "no JSON: byte 2");
    EXPECT_EQ(error_of(""), "no JSON: byte 1");
    EXPECT_EQ(error_of("[]"), "a request is one JSON object");
    EXPECT_EQ(error_of("{}"), "\"op\" is missing");
    EXPECT_EQ(error_of(R"({"op":5})"), "op: op must be a text");
    EXPECT_EQ(error_of(R"({"op":"fly"})"), "\"fly\" is no operation");
    EXPECT_EQ(error_of(R"({"op":"get","path":"/sys","deep":true})"), "\"get\" takes no \"deep\"");
    EXPECT_EQ(error_of(R"({"op":"fail","path":"/sys/a","hang_hex":"00"})"), "\"fail\" takes no \"hang_hex\"");
    EXPECT_EQ(error_of(R"({"op":"get"})"), "\"path\" is missing");
    EXPECT_EQ(error_of(R"({"op":"get","path":"sys"})"), "\"path\" must be absolute");
    EXPECT_EQ(error_of(R"({"op":"set","path":"/sys/a","text":"1","mode":"rw"})"),
              "\"mode\" must be octal permissions, such as \"0644\"");
    EXPECT_EQ(error_of(R"({"op":"set","path":"/sys/a","text":"1","kind":"x"})"),
              "\"kind\" must be \"text\", \"integer\" or \"file\"");
    EXPECT_THAT(error_of(R"({"op":"set","path":"/sys/power","text":"1"})"), HasSubstr("the place is taken"));
    EXPECT_EQ(error_of(R"({"op":"fail","path":"/sys/a","error":"EFOO"})"),
              "\"error\": \"EFOO\" is no name of an errno");
    EXPECT_EQ(error_of(R"({"op":"fail","path":"/sys/a","error":"EIO","on":"close"})"),
              "\"on\": \"close\" is no access");
    EXPECT_THAT(error_of(R"({"op":"fail","path":"/sys/a"})"), HasSubstr("the rule does nothing"));
    EXPECT_EQ(error_of(R"({"op":"fail","path":"/sys/a","error":"EIO","times":-1})"),
              "\"times\" must be a whole number from 0 to 1000000000");
    EXPECT_EQ(error_of(R"({"op":"fail","path":"/sys/a","hang":1})"), "\"hang\" must be true or false");
    EXPECT_EQ(error_of(R"({"op":"program","name":"a","power":"up"})"),
              "\"power\" must be \"restart\", \"off\" or empty");
    EXPECT_EQ(error_of(R"({"op":"program","name":"a","status":256})"),
              "\"status\" must be a whole number from 0 to 255");
    EXPECT_THAT(error_of(R"({"op":"wait","data_hex":"0"})"), HasSubstr("hexadecimal"));
    EXPECT_EQ(error_of("{\"op\":\"\xff\"}").substr(0, 8), "no JSON:");
    EXPECT_EQ(client.exchange(R"({"op":"list","path":"/sys/power"})").substr(0, 10), R"({"ok":true)"); // and goes on
}

TEST_F(control, EndsConnectionsWhenItStops)
{
    const descriptor waiting = raw_connection();
    say(waiting, "{\"op\":\"wait\",\"timeout_ms\":3600000}\n");
    (void)client.exchange(R"({"op":"hello"})");
    served.server.stop();
    char none = 0;
    EXPECT_LE(read(waiting.get(), &none, 1), 0); // the end, or a reset when the line was not even read
    EXPECT_THROW(client.exchange(R"({"op":"hello"})"), terminal_error);
    served.board.events().append(of("write", "/sys/a")); // the board lives on
}

TEST(Client, SaysThatThereIsNoTerminal)
{
    EXPECT_THROW(virtual_terminal("/tmp/there-is-no-such-socket"), terminal_error);
    EXPECT_THROW(virtual_terminal(std::string(200, 'x')), terminal_error);
}

} // namespace

TEST_F(control, RefusesWhatIsNestedTooDeeply)
{
    EXPECT_EQ(error_of(R"({"op":"get","path":)" + std::string(200'000, '[') + std::string(200'000, ']') + "}"),
              "the request is nested too deeply");
    EXPECT_EQ(error_of(R"({"op":"modem","set":)" + std::string(17, '[') + std::string(17, ']') + "}"),
              "the request is nested too deeply");
    EXPECT_EQ(parsed_json(client.exchange(R"({"op":"hello"})")).at("ok"), true);
}

TEST_F(control, RefusesNamesThatNoFileCanHave)
{
    for (const std::string& name :
         {std::string("."), std::string(".."), std::string("a/../b"), std::string("a//b"), std::string(256, 'n')})
        EXPECT_EQ(error_of(R"({"op":"port","path":"/dev/)" + name + R"("})"),
                  "\"path\" has a name that no file can have");
    EXPECT_EQ(error_of(R"({"op":"remove","path":"/run/modems"})"), "/run/modems cannot be removed");
}

TEST_F(control, AFileDoesNotTakeAPortsPlace)
{
    EXPECT_EQ(error_of(R"({"op":"set","path":"/dev/sp_uart0","text":"x","kind":"file"})"),
              "/dev/sp_uart0: the place is taken by something else, or cannot be made");
    EXPECT_EQ(parsed_json(client.exchange(R"({"op":"line","path":"/dev/sp_uart0"})")).at("ok"), true);
}
