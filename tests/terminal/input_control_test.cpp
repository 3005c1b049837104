/** Keys and panels as the control socket and `ctl` work them, and what a board hears of them. */
#include "input_calls.h"
#include "served_board.h"
#include "terminal/client/virtual_terminal.h"
#include "terminal/control/ctl_request.h"
#include "terminal/json/json.h"
#include "terminal/model/node.h"

#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <linux/input.h>
#include <optional>

namespace {

using namespace kt::terminal;
using namespace kt::tests;
using testing::ElementsAre;
using testing::HasSubstr;
using words = std::vector<std::string>;

/** A program that has a device open and never waits. */
class reader {
public:
    reader(board& on, const std::string& path) : file_(std::move(*on.find(path)->open(O_RDONLY | O_NONBLOCK))) {}

    seen_events events() { return events_in(bytes()); }

    std::string bytes()
    {
        auto asked = std::make_unique<call>();
        std::optional<std::string> got;
        asked->got = &got;
        file_->read(std::move(asked), 4096, 0);
        return got.value_or("");
    }

    bool readable() const { return (file_->poll({}) & POLLIN) != 0; }

    /** ioctl(2) of a program of 32 bits: the result, or the negative error. */
    int control_of_32_bits(unsigned long number, void* record, std::function<void()> failed = {})
    {
        int result = 0;
        auto asked = std::make_unique<device_call>();
        asked->asked_for = static_cast<std::uint32_t>(number);
        asked->record = record;
        asked->result = &result;
        asked->failed = std::move(failed);
        file_->control(std::move(asked));
        return result;
    }

private:
    struct call : request {
        caller from() const override { return {1, 1}; }
        bool may_wait() const override { return false; }
        void fail(int error) override { EXPECT_EQ(error, EAGAIN); }
        void bytes(std::string_view data) override { *got = data; }
        void count(std::size_t) override {}
        std::optional<std::string>* got = nullptr;
    };
    struct device_call : device_request {
        caller from() const override { return {1, 1}; }
        void fail(int error) override
        {
            *result = -error;
            if (failed)
                failed();
        }
        std::uint32_t number() const override { return asked_for; }
        std::uint64_t argument() const override { return reinterpret_cast<std::uintptr_t>(record); }
        bool caller_has_32_bits() const override { return true; }
        bool copy_in(void*, std::uint64_t, std::size_t) override { return false; }
        bool copy_out(std::uint64_t address, const void* from, std::size_t size) override
        {
            std::memcpy(reinterpret_cast<void*>(static_cast<std::uintptr_t>(address)), from, size);
            return true;
        }
        void done(int value) override { *result = value; }
        std::uint32_t asked_for = 0;
        void* record = nullptr;
        int* result = nullptr;
        std::function<void()> failed;
    };

    std::unique_ptr<open_file> file_;
};

class input_control : public testing::Test {
protected:
    std::string error_of(const std::string& line)
    {
        const auto answer = parsed_json(client.exchange(line));
        EXPECT_EQ(answer.at("ok"), false) << line;
        return answer.value("error", "");
    }

    own_folder folder_;
    served_board served{folder_.path() + "/socket"};
    virtual_terminal client{folder_.path() + "/socket"};
};

using InputControl = input_control;

TEST_F(InputControl, EveryKeyHasItsNameAndCode)
{
    const std::pair<const char*, unsigned> keys[] = {
        {"esc", 1},      {"1", 2},      {"2", 3},   {"3", 4},     {"4", 5},     {"5", 6},
        {"6", 7},        {"7", 8},      {"8", 9},   {"9", 10},    {"0", 11},    {"enter", 28},
        {"dot", 52},     {"slash", 53}, {"f1", 59}, {"f2", 60},   {"up", 103},  {"down", 108},
        {"delete", 111}, {"10", 10},    {"28", 28}, {"255", 255}, {"256", 256}, {"65535", 65535}};
    reader keypad(served.board, keypad_node);
    for (const auto& [name, code] : keys) {
        client.type({name});
        EXPECT_EQ(keypad.events(), (seen_events{{1, code, 1}, report_end, {1, code, 0}, report_end})) << name;
    }
    EXPECT_EQ(client.exchange(R"({"op":"press","key":2})"), R"({"ok":true})"); // a number is a code in any case
    EXPECT_EQ(keypad.events(), (seen_events{{1, 2, 1}, report_end}));
}

TEST_F(InputControl, TheWakeKeyIsThePowerButtonUnlessAPathSaysOtherwise)
{
    reader buttons(served.board, buttons_node);
    reader keypad(served.board, keypad_node);
    client.press("116");
    client.release("power");
    EXPECT_EQ(buttons.events(), (seen_events{{1, 116, 1}, report_end, {1, 116, 0}, report_end}));
    EXPECT_EQ(client.exchange(R"({"op":"press","key":"power","path":"/dev/input/event1"})"), R"({"ok":true})");
    EXPECT_EQ(client.exchange(R"({"op":"type","keys":["1"],"path":"/dev/input/event0"})"), R"({"ok":true})");
    EXPECT_EQ(keypad.events(), (seen_events{{1, 116, 1}, report_end}));
    EXPECT_EQ(buttons.events(), (seen_events{{1, 2, 1}, report_end, {1, 2, 0}, report_end}));
}

TEST_F(InputControl, RefusesWhatDoesNotFit)
{
    reader keypad(served.board, keypad_node);
    EXPECT_EQ(
        error_of(R"({"op":"press","key":"shift"})"),
        "\"shift\" is no key; keys are esc, 1 to 9, 0, enter, dot, slash, f1, f2, up, down, delete, power, or the "
        "number of an input code");
    for (const char* key : {"\"65536\"", "65536", "-1", "\"-1\"", "\"\"", "\"1 \"", "true", "[]"})
        EXPECT_THAT(error_of(std::string(R"({"op":"press","key":)") + key + "}"), HasSubstr(" is no key; ")) << key;
    EXPECT_EQ(error_of(R"({"op":"release"})"), "\"key\" is missing");
    EXPECT_EQ(error_of(R"({"op":"type","keys":"1"})"), "\"keys\" must be a list of keys");
    EXPECT_THAT(error_of(R"({"op":"type","keys":["1","shift"]})"), HasSubstr("\"shift\" is no key"));
    EXPECT_EQ(error_of(R"({"op":"hold","key":"1"})"), "\"ms\" is missing");
    EXPECT_EQ(error_of(R"({"op":"hold","key":"1","ms":600001})"), "\"ms\" must be a whole number from 0 to 600000");
    EXPECT_EQ(error_of(R"({"op":"tap","x":1})"), "\"y\" is missing");
    EXPECT_EQ(error_of(R"({"op":"tap"})"), "\"x\" is missing");
    EXPECT_EQ(error_of(R"({"op":"tap","x":-1,"y":1})"), "\"x\" must be a whole number, 0 or more");
    EXPECT_EQ(error_of(R"({"op":"tap","x":1,"y":2147483648})"), "\"y\" must be a whole number, 0 or more");
    EXPECT_EQ(error_of(R"({"op":"drag","from":[1,2]})"), "\"to\" is missing");
    EXPECT_EQ(error_of(R"({"op":"drag","from":[1],"to":[2,3]})"), "\"from\" must be two numbers, [x,y]");
    EXPECT_EQ(error_of(R"({"op":"drag","from":[1,2],"to":[2,3],"steps":0})"), "\"steps\" must be 1 or more");
    EXPECT_EQ(error_of(R"({"op":"input","events":[]})"), "\"path\" is missing");
    EXPECT_EQ(error_of(R"({"op":"input","path":"/dev/input/event1"})"), "\"events\" is missing");
    for (const char* events : {"1", "[1,2,3]", "[[1,2]]", "[[1,2,3,4]]", "[[65536,2,3]]", "[[1,-2,3]]",
                               "[[1,2,2147483648]]", "[[1,2,-2147483649]]", "[[1,2,\"3\"]]", "[[1,2,0.5]]"})
        EXPECT_THAT(error_of(R"({"op":"input","path":"/dev/input/event1","events":)" + std::string(events) + "}"),
                    HasSubstr("\"events\" must be"))
            << events;
    EXPECT_EQ(error_of(R"({"op":"press","key":"1","path":"/dev/input/event9"})"), "/dev/input/event9 does not exist");
    EXPECT_EQ(error_of(R"({"op":"press","key":"1","path":"/dev/sp_uart0"})"), "/dev/sp_uart0 is no input device");
    EXPECT_FALSE(keypad.readable()) << "a refused request does nothing";
    client.remove(keypad_node);
    EXPECT_EQ(error_of(R"({"op":"press","key":"1"})"),
              "the board has no input device \"Kestrel Keyboard\"; \"path\" can name another one");
}

TEST_F(InputControl, ADeviceIsRefusedWhoseOptionsDoNotFit)
{
    const auto refused = [&](const std::string& members) {
        return error_of(R"({"op":"input_device",)" + members + "}");
    };
    EXPECT_EQ(refused(R"("path":"/dev/input/event1","name":"x")"), "/dev/input/event1: the place is taken");
    for (const char* path : {"/dev/input/mouse0", "/dev/event3", "/dev/input/event", "/dev/input/event03",
                             "/dev/input/event123456", "/dev/input/event-1", "/dev/input/event3x"})
        EXPECT_EQ(refused("\"path\":\"" + std::string(path) + "\",\"name\":\"x\""),
                  std::string(path) + ": an input device is called /dev/input/eventN, with a number N");
    EXPECT_EQ(refused(R"("path":"/dev/input/event3")"), "\"name\" is missing");
    EXPECT_THAT(refused(R"("path":"/dev/input/event3","name":"")"), HasSubstr("\"name\" must be"));
    EXPECT_THAT(refused(R"("path":"/dev/input/event3","name":"a\nb")"), HasSubstr("\"name\" must be"));
    EXPECT_EQ(refused(R"("path":"/dev/input/event3","name":"x","bus":65536)"),
              "\"bus\" must be a whole number from 0 to 65535");
    EXPECT_EQ(served.board.find("/dev/input/event3"), nullptr);
    EXPECT_EQ(served.board.find("/sys/class/input/event3"), nullptr);
    client.attribute("/sys/class/input/event3/device/id", {.text = "in the way\n"});
    client.attribute("/sys/class/input/event3/device/phys", {.text = "somebody's\n"});
    EXPECT_THAT(refused(R"("path":"/dev/input/event3","name":"x")"), HasSubstr("the place is taken"));
    EXPECT_EQ(served.board.find("/dev/input/event3"), nullptr);
    EXPECT_EQ(client.text("/sys/class/input/event3/device/id"), "in the way\n");
    EXPECT_EQ(client.text("/sys/class/input/event3/device/phys"), "somebody's\n");
    EXPECT_FALSE(served.board.attribute("/sys/class/input/event3/device/name"));
    client.attribute("/sys/class/input/event4/device/name/inner", {.text = "a folder in the way\n"});
    EXPECT_THAT(refused(R"("path":"/dev/input/event4","name":"x")"), HasSubstr("device/name: the place is taken"));
    EXPECT_EQ(client.text("/sys/class/input/event4/device/name/inner"), "a folder in the way\n");
}

TEST(InputDevice, TheBoardIsToldOfAKeyOnceEveryOpenHasIt)
{
    equipped_board board;
    std::vector<std::string> told;
    std::vector<std::unique_ptr<reader>> readers;
    board.set_wake_listener([&](int source) {
        for (const auto& each : readers)
            told.push_back(std::to_string(source) + (each->readable() ? " readable" : " too early"));
    });
    for (const auto& [path, name] : {std::pair{buttons_node, "gpio_keys"}, std::pair{keypad_node, "Kestrel Keyboard"},
                                     std::pair{panel_node, "kt_touch"}})
        ASSERT_TRUE(board.make_device("input", path, std::string(R"({"kind":"input","name":")") + name + "\"}"));

    readers.push_back(std::make_unique<reader>(board, buttons_node));
    readers.push_back(std::make_unique<reader>(board, buttons_node));
    input_device_named(board, "gpio_keys")->report({{1, 116, 1}, {0, 0, 0}});
    EXPECT_THAT(told, ElementsAre("1 readable", "1 readable"));

    told.clear();
    readers.clear();
    readers.push_back(std::make_unique<reader>(board, keypad_node));
    const auto keypad = input_device_named(board, "Kestrel Keyboard");
    keypad->report({{1, 28, 0}, {0, 0, 0}, {1, 28, 2}, {0, 0, 0}, {3, 0, 1}});
    EXPECT_THAT(told, ElementsAre()) << "neither a release nor an autorepeat wakes";
    keypad->report({{1, 28, 1}, {0, 0, 0}, {1, 116, 1}, {0, 0, 0}});
    EXPECT_THAT(told, ElementsAre("2 readable", "1 readable"));

    told.clear();
    const auto panel = input_device_named(board, "kt_touch");
    panel->touch({{1, 330, 1}, {3, 53, 1}, {0, 0, 0}});
    panel->report({{1, 330, 1}, {0, 0, 0}});
    board.remove(keypad_node);
    keypad->report({{1, 28, 1}, {0, 0, 0}});
    EXPECT_THAT(told, ElementsAre()) << "neither a panel nor a device that is gone wakes";
    EXPECT_EQ(input_device_named(board, "Kestrel Keyboard"), nullptr);
}

TEST(InputDevice, EventsCarryTheBoardsTime)
{
    equipped_board board;
    ASSERT_TRUE(board.make_device("input", keypad_node, R"({"kind":"input","name":"Kestrel Keyboard"})"));
    const auto keypad = input_device_at(board, keypad_node);
    event_queue queue;
    queue.put({4'000'000'000, 999'999'999}, {1, 28, 1}); // beyond 31 bits
    EXPECT_EQ(time_at(queue.take(16), 0), 4'000'000'000.999999);
    reader open(board, keypad_node);
    board.clock().set({1000, 0});
    keypad->report({{1, 28, 1}});
    const std::string bytes = open.bytes();
    ASSERT_EQ(bytes.size(), 16U);
    EXPECT_GE(time_at(bytes, 0), 1000);
    EXPECT_LT(time_at(bytes, 0), 1100);
}

TEST(InputDevice, WhoIsRefusedMayAskAgainAtOnce)
{
    equipped_board board;
    ASSERT_TRUE(board.make_device("input", keypad_node, R"({"kind":"input","name":"Kestrel Keyboard"})"));
    reader open(board, keypad_node);
    board.remove(keypad_node);
    int version = 0;
    int again = 0;
    EXPECT_EQ(open.control_of_32_bits(EVIOCGVERSION, &version,
                                      [&] { again = open.control_of_32_bits(EVIOCGVERSION, &version); }),
              -ENODEV);
    EXPECT_EQ(again, -ENODEV);
}

TEST(InputDevice, AProgramOf32BitsGetsBitsInItsOwnWords)
{
    equipped_board board;
    ASSERT_TRUE(board.make_device("input", keypad_node, R"({"kind":"input","name":"Kestrel Keyboard"})"));
    reader open(board, keypad_node);
    unsigned char bits[96] = {};
    EXPECT_EQ(open.control_of_32_bits(EVIOCGBIT(0, sizeof bits), bits), 4);
    EXPECT_EQ(bits[0] | bits[1] << 8 | bits[2] << 16, 1 << 0 | 1 << 1 | 1 << 20);
    EXPECT_EQ(open.control_of_32_bits(EVIOCGBIT(EV_KEY, sizeof bits), bits), 96);
}

TEST(InputProfile, ABoardCanHaveAnyIndices)
{
    const own_folder folder;
    const std::string path = folder.path() + "/mine.json";
    std::ofstream(path) << R"({ "like": "500",
        "devices": { "/dev/input/event1": null, "/dev/input/event2": null,
                     "/dev/input/event7": { "kind": "input", "name": "Kestrel Keyboard", "bus": 25 } },
        "actions": { "unplug": { "keys": { "devices": { "/dev/input/event7": null } } },
                     "plug": { "keys": { "devices": { "/dev/input/event30": { "kind": "input", "name": "keys" } } } } } })";
    equipped_board board;
    const profile mine = profile::load(path, KT_BOARDS);
    mine.apply(board);
    EXPECT_EQ(board.list("/dev/input"), (words{"event0", "event7"}));
    EXPECT_EQ(board.list("/sys/class/input"), (words{"event0", "event7"}));
    ASSERT_TRUE(mine.act(board, "unplug", "keys"));
    EXPECT_EQ(board.list("/sys/class/input"), (words{"event0"}));
    ASSERT_TRUE(mine.act(board, "plug", "keys"));
    EXPECT_EQ(board.list("/dev/input"), (words{"event0", "event30"}));
    EXPECT_EQ(board.attribute("/sys/class/input/event30/device/name")->text, "keys\n");
    board.remove("/dev/input");
    EXPECT_EQ(board.list("/sys/class/input"), words{});
}

TEST(InputProfile, ThePanelIsOfTheBoardsKind)
{
    const std::pair<const char*, const char*> panels[] = {{"50", "0019\n"},  {"80", "0019\n"},  {"90", "0018\n"},
                                                          {"100", "0019\n"}, {"200", "0019\n"}, {"300", "0018\n"},
                                                          {"500", "0018\n"}, {"501", "0018\n"}};
    for (const auto& [name, bus] : panels) {
        equipped_board board;
        profile::load(name, KT_BOARDS).apply(board);
        EXPECT_EQ(board.attribute("/sys/class/input/event2/device/id/bustype")->text, bus) << name;
        const auto panel = input_device_named(board, "kt_touch");
        ASSERT_NE(panel, nullptr) << name;
        EXPECT_EQ(panel->is_resistive(), std::string(bus) == "0019\n") << name;
    }
}

TEST(InputWords, TurnIntoRequests)
{
    const auto request = [](const std::string& command, const words& said) {
        return ctl_request(command, said).dump();
    };
    EXPECT_EQ(request("press", {"enter"}), R"({"op":"press","key":"enter"})");
    EXPECT_EQ(request("release", {"5", "--path", "/dev/input/event4"}),
              R"({"op":"release","path":"/dev/input/event4","key":"5"})");
    EXPECT_EQ(request("type", {"1", "0", "enter"}), R"({"op":"type","keys":["1","0","enter"]})");
    EXPECT_EQ(request("hold", {"down", "700"}), R"({"op":"hold","key":"down","ms":700})");
    EXPECT_EQ(request("tap", {"10", "20"}), R"({"op":"tap","x":10,"y":20})");
    EXPECT_EQ(request("drag", {"1", "2", "3", "4"}), R"({"op":"drag","from":[1,2],"to":[3,4]})");
    EXPECT_EQ(request("drag", {"1", "2", "3", "4", "--steps", "5", "--ms", "300"}),
              R"({"op":"drag","from":[1,2],"to":[3,4],"steps":5,"ms":300})");
    EXPECT_EQ(request("input", {"/dev/input/event1", "1,28,1", "3,0,-5"}),
              R"({"op":"input","path":"/dev/input/event1","events":[[1,28,1],[3,0,-5]]})");
    EXPECT_EQ(request("input-device", {"/dev/input/event5", "Kestrel Keyboard", "bus=25"}),
              R"({"op":"input_device","path":"/dev/input/event5","name":"Kestrel Keyboard","bus":25})");
}

TEST(InputWords, AreRefusedWhenTheyMakeNoCommand)
{
    const std::pair<const char*, words> wrong[] = {
        {"press", {}},          {"press", {"1", "2"}},        {"type", {}},
        {"hold", {"1"}},        {"hold", {"1", "long"}},      {"tap", {"1"}},
        {"tap", {"a", "b"}},    {"drag", {"1", "2", "3"}},    {"input", {"/dev/input/event1"}},
        {"input", {"/d", "1"}}, {"input", {"/d", "1,2,3,4"}}, {"input", {"/d", "1,2,"}},
        {"input", {"/d", ""}},  {"input-device", {"/d"}},     {"input-device", {"/d", "n", "op=1"}}};
    for (const auto& [command, said] : wrong)
        EXPECT_THROW((void)ctl_request(command, said), usage_error) << command;
}

} // namespace
