/** Board files: those that come with the terminal, and what is refused in one's own. */
#include "equipped_board.h"
#include "terminal/model/profile.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <unistd.h>

namespace {

using namespace kt::terminal;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string boards = KT_BOARDS;

class profile_file : public testing::Test {
protected:
    profile_file()
    {
        char made[] = "/tmp/kt-profile-XXXXXX";
        folder_ = mkdtemp(made);
    }
    ~profile_file() override { std::filesystem::remove_all(folder_); }

    std::string write(const std::string& name, const std::string& text)
    {
        const std::string path = folder_ + "/" + name;
        std::ofstream(path) << text;
        return path;
    }

    /** The message with which a file of this text is refused, from the file's name on. */
    std::string refusal(const std::string& text)
    {
        try {
            (void)profile::load(write("mine.json", text), boards);
        } catch (const profile_error& error) {
            const std::string what = error.what();
            return what.substr(what.find("mine.json"));
        }
        return "accepted";
    }

    std::string folder_;
};

std::string text_of(board& shown, const std::string& path)
{
    const auto state = shown.attribute(path);
    return state ? state->text : "(none)";
}

struct version_row {
    const char* name;
    const char* chip; // what the reader's driver says, or nothing where there is none
};

class each_board : public testing::TestWithParam<version_row> {};

TEST_P(each_board, HasItsVersionAndChip)
{
    equipped_board shown;
    const profile chosen = profile::load(GetParam().name, boards);
    chosen.apply(shown);
    EXPECT_EQ(chosen.name(), GetParam().name);
    EXPECT_THAT(chosen.description(), HasSubstr(std::string("hardware version ") + GetParam().name));
    EXPECT_EQ(text_of(shown, "/sys/class/kt_misc/sysinfo/hardwarever"), std::string(GetParam().name) + "\n");
    EXPECT_EQ(text_of(shown, "/sys/class/kt_misc/nfc/nfc_rfid_chip"), std::string(GetParam().chip) + "\n");
    EXPECT_THAT(text_of(shown, "/proc/cmdline"), HasSubstr("ktubver=V1.2.3 "));
    EXPECT_EQ(shown.attribute("/sys/class/kt_misc/sysinfo/hardwarever")->mode, 0444u);
    EXPECT_EQ(shown.attribute("/sys/class/kt_misc/ioctl/sp_tamper_reset")->mode, 0200u);
    EXPECT_EQ(shown.attribute("/proc/sys/vm/dirty_ratio")->kind, attribute_kind::integer);
    EXPECT_EQ(shown.program("reboot").power, "restart");
}

INSTANTIATE_TEST_SUITE_P(Boards, each_board,
                         testing::Values(version_row{"50", "4"}, version_row{"80", "3"}, version_row{"90", "6"},
                                         version_row{"100", "4"}, version_row{"200", "2"}, version_row{"300", "3"},
                                         version_row{"500", "1"}, version_row{"501", "3"}),
                         [](const auto& row) { return std::string("Version") + row.param.name; });

TEST(Profile, ListsTheBoardsByNumber)
{
    std::vector<std::string> names;
    for (const auto& [name, description] : profile::list(boards))
        names.push_back(name);
    EXPECT_THAT(names, ElementsAre("50", "80", "90", "100", "200", "300", "500", "501"));
}

TEST(Profile, ABoardLacksWhatItsFileTakesAway)
{
    equipped_board shown;
    profile::load("50", boards).apply(shown);
    EXPECT_FALSE(shown.list("/sys/class/power_supply/kt_bat"));
    EXPECT_TRUE(shown.list("/sys/class/power_supply/mains"));
    EXPECT_FALSE(shown.attribute("/sys/class/kt_misc/ioctl/kt_dock_exist"));
    EXPECT_FALSE(profile::load("50", boards).act(shown, "plug", "dock"));
}

TEST(Profile, ActionsChangeTheBoardAndBack)
{
    equipped_board shown;
    const profile chosen = profile::load("500", boards);
    chosen.apply(shown);
    EXPECT_TRUE(chosen.act(shown, "plug", "dock"));
    EXPECT_EQ(text_of(shown, "/sys/class/kt_misc/ioctl/kt_dock_exist"), "1\n");
    EXPECT_TRUE(shown.list("/sys/class/net/eth0"));
    EXPECT_TRUE(chosen.act(shown, "unplug", "dock"));
    EXPECT_EQ(text_of(shown, "/sys/class/kt_misc/ioctl/kt_dock_exist"), "0\n");
    EXPECT_FALSE(shown.list("/sys/class/net/eth0"));
    EXPECT_TRUE(chosen.act(shown, "unplug", "dock")); // already out
    EXPECT_TRUE(chosen.act(shown, "plug", "mains"));
    EXPECT_EQ(text_of(shown, "/sys/class/power_supply/kt_bat/status"), "Charging\n");
    EXPECT_FALSE(chosen.act(shown, "plug", "sun"));
}

TEST_F(profile_file, IsLaidOverTheOneThatItIsLike)
{
    write(
        "base.json",
        R"({ "description": "base", "attributes": { "/sys/x/": { "a": 1, "b": 2, "c": "3" }, "/sys/y/": { "d": 4 } } })");
    const std::string mine = write("mine.json", R"({
        // a comment
        "like": "./base.json",
        "attributes": { "/sys/x/": { "a": 10, "b": null }, "/sys/y/": null },
        "read_only": { "/sys/x/": { "c": "4", "e": { "text": "5\n", "mode": "0640", "kind": "integer" } } },
        "links": { "/dev/alias": "/dev/null" },
        "folders": ["/sys/empty"],
        "programs": { "beep": { "status": 3, "output": "beep\n" } }
    })");
    equipped_board shown;
    const profile chosen = profile::load(mine, boards);
    chosen.apply(shown);

    EXPECT_EQ(chosen.name(), "mine");
    EXPECT_EQ(chosen.description(), "base");
    EXPECT_EQ(text_of(shown, "/sys/x/a"), "10\n");
    EXPECT_EQ(text_of(shown, "/sys/x/b"), "(none)");
    EXPECT_EQ(text_of(shown, "/sys/x/c"), "4");
    EXPECT_EQ(shown.attribute("/sys/x/c")->mode, 0444u);
    EXPECT_EQ(shown.attribute("/sys/x/c")->kind, attribute_kind::text);
    EXPECT_EQ(shown.attribute("/sys/x/e")->mode, 0640u);
    EXPECT_EQ(shown.attribute("/sys/x/e")->kind, attribute_kind::integer);
    EXPECT_FALSE(shown.list("/sys/y"));
    EXPECT_TRUE(shown.list("/sys/empty"));
    EXPECT_EQ(shown.program("beep").status, 3);
    EXPECT_THAT(chosen.programs(), ElementsAre("beep"));
}

TEST_F(profile_file, AFolderCanBeTakenAwayAndFilledAnew)
{
    const std::string mine = write("mine.json", R"({ "like": "500",
        "attributes": { "/sys/class/power_supply/kt_bat/": null },
        "read_only": { "/sys/class/power_supply/kt_bat/": { "status": "Full\n" } } })");
    equipped_board shown;
    profile::load(mine, boards).apply(shown);
    EXPECT_THAT(*shown.list("/sys/class/power_supply/kt_bat"), ElementsAre("status"));
}

TEST_F(profile_file, ABatteryHasItsOptionsOrIsNotThere)
{
    const std::string folder = "/sys/class/power_supply/kt_bat";
    equipped_board own;
    profile::load(write("own.json", R"({ "like": "500",
        "devices": { "/sys/class/power_supply/kt_bat": { "kind": "battery", "capacity": 3, "health": "Cold" } },
        "read_only": { "/sys/class/power_supply/kt_bat/": { "temp": 451 } } })"),
                  boards)
        .apply(own);
    EXPECT_EQ(own.list(folder)->size(), 42u);
    EXPECT_EQ(text_of(own, folder + "/capacity"), "3\n");
    EXPECT_EQ(text_of(own, folder + "/capacity_level"), "Critical\n");
    EXPECT_EQ(text_of(own, folder + "/health"), "Cold\n");
    EXPECT_EQ(text_of(own, folder + "/temp"), "451\n");

    equipped_board none;
    profile::load(write("none.json", R"({ "like": "./own.json",
        "devices": { "/sys/class/power_supply/kt_bat": null } })"),
                  boards)
        .apply(none);
    EXPECT_FALSE(none.list(folder));
    EXPECT_TRUE(none.list("/sys/class/power_supply/mains"));
}

TEST_F(profile_file, IsRefusedWithFileAndPlace)
{
    EXPECT_EQ(refusal(R"({ "likes": "500" })"), "mine.json: likes: unknown");
    EXPECT_EQ(refusal(R"({ "like": 500 })"), "mine.json: like: must be a text");
    EXPECT_THAT(refusal(R"({ "like": "7" })"), HasSubstr("mine.json: like: there is no "));
    EXPECT_THAT(refusal(R"({ "like": "./mine.json" })"), HasSubstr("mine.json: like: is like itself"));
    EXPECT_EQ(refusal(R"([])"), "mine.json: the file: must be an object { … }");
    EXPECT_EQ(refusal(R"({ "attributes": { "/sys/x": { "a": 1 } } })"),
              "mine.json: attributes: /sys/x: must be a folder, ending in \"/\"");
    EXPECT_THAT(refusal(R"({ "attributes": { "/sys/x/": { "a": 1.5 } } })"),
                HasSubstr("mine.json: attributes: /sys/x/: a: must be a text, a whole number"));
    EXPECT_EQ(refusal(R"({ "attributes": { "/sys/x/": { "a/b": 1 } } })"),
              "mine.json: attributes: /sys/x/: a/b: must be one name");
    EXPECT_THAT(refusal(R"({ "attributes": { "/etc/": { "passwd": "" } } })"),
                HasSubstr("/etc/passwd must lie below /sys"));
    EXPECT_THAT(refusal(R"({ "attributes": { "/proc/": { "self": "" } } })"), HasSubstr("/proc/self must lie below"));
    EXPECT_THAT(refusal(R"({ "attributes": { "/sys/../": { "a": "" } } })"), HasSubstr("must be a plain path"));
    EXPECT_EQ(refusal(R"({ "attributes": { "/sys/x/": { "a": { "mode": 644 } } } })"),
              "mine.json: attributes: /sys/x/: a: mode: must be octal permissions in quotes, such as \"0644\"");
    EXPECT_EQ(refusal(R"({ "attributes": { "/sys/x/": { "a": { "kind": "float" } } } })"),
              "mine.json: attributes: /sys/x/: a: kind: must be \"text\" or \"integer\"");
    EXPECT_EQ(refusal(R"({ "attributes": { "/sys/x/": { "a": { "txt": "" } } } })"),
              "mine.json: attributes: /sys/x/: a: txt: unknown");
    EXPECT_EQ(refusal(R"({ "attributes": { "/sys/x/": { "a": 1 } }, "read_only": { "/sys/x/": { "a": 1 } } })"),
              "mine.json: read_only: /sys/x/: a: stands in two sections");
    EXPECT_EQ(refusal(R"({ "attributes": { "/kt/x/": { "a": 1 } } })"),
              "mine.json: attributes: /kt/x/: a: holds files, not attributes");
    EXPECT_EQ(refusal(R"({ "folders": "/sys/x" })"), "mine.json: folders: must be a list of paths");
    EXPECT_EQ(refusal(R"({ "programs": { "a": { "status": 256 } } })"),
              "mine.json: programs: a: status: must be a number from 0 to 255");
    EXPECT_EQ(refusal(R"({ "programs": { "a": { "power": "up" } } })"),
              "mine.json: programs: a: power: must be \"restart\" or \"off\"");
    EXPECT_EQ(refusal(R"({ "actions": { "plug": { "x": { "folders": [] } } } })"),
              "mine.json: actions: plug: x: folders: unknown");
    EXPECT_THAT(refusal("{\n \"attributes\": { \"/sys/x/\": { \"a\": } } }"),
                HasSubstr("mine.json: parse error at line 2, column 36"));
    EXPECT_EQ(refusal(R"({ "description": "a", "description": "b" })"),
              "mine.json: \"description\" stands there twice");
    EXPECT_THAT(refusal(R"({ "attributes": { "/sys/x/": { "a": ")" + std::string(4097, 'x') + "\" } } }"),
                HasSubstr("4096"));
}

struct port_row {
    const char* name;
    std::vector<std::string> ports;
};

class each_boards_ports : public testing::TestWithParam<port_row> {};

TEST_P(each_boards_ports, AreThere)
{
    equipped_board shown;
    profile::load(GetParam().name, boards).apply(shown);
    std::vector<std::string> ports;
    for (const char* path :
         {"/dev/sp_uart0", "/dev/ttyACM0", "/dev/ttyGS0", "/dev/ttyS4", "/dev/ttyS5", "/dev/ttyUSB0", "/dev/ttyUSB1"})
        if (line_at(shown, path) != nullptr)
            ports.emplace_back(path);
    EXPECT_EQ(ports, GetParam().ports);
}

const std::vector<std::string> usual = {"/dev/sp_uart0", "/dev/ttyGS0", "/dev/ttyS4", "/dev/ttyS5"};

INSTANTIATE_TEST_SUITE_P(Boards, each_boards_ports,
                         testing::Values(port_row{"50", usual}, port_row{"80", usual}, port_row{"90", usual},
                                         port_row{"100", usual}, port_row{"200", usual},
                                         port_row{"300", {"/dev/sp_uart0", "/dev/ttyGS0", "/dev/ttyS5"}},
                                         port_row{"500", usual}, port_row{"501", usual}),
                         [](const auto& row) { return std::string("Version") + row.param.name; });

TEST(Profile, ActionsPlugPortsInAndOut)
{
    equipped_board shown;
    const profile chosen = profile::load("500", boards);
    chosen.apply(shown);
    EXPECT_TRUE(chosen.act(shown, "plug", "dock"));
    const auto first = line_at(shown, "/dev/ttyUSB0");
    EXPECT_NE(first, nullptr);
    EXPECT_NE(line_at(shown, "/dev/ttyUSB1"), nullptr);
    EXPECT_TRUE(chosen.act(shown, "plug", "usb-serial"));
    EXPECT_EQ(line_at(shown, "/dev/ttyUSB0"), first); // in already
    EXPECT_TRUE(chosen.act(shown, "unplug", "dock"));
    EXPECT_EQ(shown.find("/dev/ttyUSB0"), nullptr);
    EXPECT_EQ(shown.find("/dev/ttyUSB1"), nullptr);
    EXPECT_TRUE(chosen.act(shown, "plug", "usb-serial"));
    EXPECT_TRUE(chosen.act(shown, "plug", "usb-acm"));
    EXPECT_NE(line_at(shown, "/dev/ttyACM0"), nullptr);
    EXPECT_TRUE(chosen.act(shown, "unplug", "usb-acm"));
    EXPECT_EQ(shown.find("/dev/ttyACM0"), nullptr);
    EXPECT_NE(line_at(shown, "/dev/ttyUSB0"), nullptr);
}

TEST_F(profile_file, DevicesAreMadeByTheirKind)
{
    write("base.json", R"({ "devices": { "/dev/a": { "kind": "port" }, "/dev/b": { "kind": "port" } } })");
    const std::string mine = write("mine.json", R"({ "like": "./base.json", "devices": {
        "/dev/a": null, "/dev/c": { "kind": "port", "speed": 115200, "data_bits": 7, "parity": "E", "stop_bits": 2 } } })");
    equipped_board shown;
    profile::load(mine, boards).apply(shown);
    EXPECT_EQ(shown.find("/dev/a"), nullptr);
    ASSERT_NE(line_at(shown, "/dev/b"), nullptr);
    EXPECT_EQ(line_at(shown, "/dev/b")->far_framing(), std::nullopt);
    ASSERT_NE(line_at(shown, "/dev/c"), nullptr);
    EXPECT_EQ(line_at(shown, "/dev/c")->far_framing(),
              (framing{.speed = 115200, .data_bits = 7, .parity = 'E', .stop_bits = 2}));
}

/** The message with which a board refuses a file of this text, from the file's name on. */
std::string board_refusal(const std::string& file)
{
    equipped_board shown;
    try {
        profile::load(file, boards).apply(shown);
    } catch (const profile_error& error) {
        const std::string what = error.what();
        return what.substr(what.find("mine.json"));
    }
    return "accepted";
}

TEST_F(profile_file, DevicesThatCannotBeMadeAreRefusedWithFileAndPlace)
{
    EXPECT_EQ(refusal(R"({ "devices": { "/sys/a": { "kind": "port" } } })"),
              "mine.json: devices: /sys/a: must lie below /dev or /sys/class/power_supply");
    EXPECT_EQ(refusal(R"({ "devices": { "/dev/a": "port" } })"), "mine.json: devices: /dev/a: must be an object { … }");
    EXPECT_EQ(refusal(R"({ "devices": { "/dev/a": { "speed": 9600 } } })"),
              "mine.json: devices: /dev/a: \"kind\" is missing");
    EXPECT_EQ(refusal(R"({ "actions": { "plug": { "x": { "devices": { "/dev/a": { "kind": 1 } } } } } })"),
              "mine.json: actions: plug: x: devices: /dev/a: kind: must be a text");
    EXPECT_EQ(board_refusal(write("mine.json", R"({ "devices": { "/dev/a": { "kind": "toaster" } } })")),
              "mine.json: devices: /dev/a: kind: there is no \"toaster\"");
    EXPECT_EQ(board_refusal(write("mine.json", R"({ "devices": { "/dev/a": { "kind": "battery" } } })")),
              "mine.json: devices: /dev/a: a battery must lie below /sys/class/power_supply");
    for (const auto& [kind, sentence] :
         {std::pair{"port", "a port must lie below /dev"}, std::pair{"modem", "a modem must lie below /dev"},
          std::pair{"rtc", "a hardware clock must lie below /dev"},
          std::pair{"input",
                    "/sys/class/power_supply/a: an input device is called /dev/input/eventN, with a number N"}})
        EXPECT_EQ(board_refusal(write("mine.json", R"({ "devices": { "/sys/class/power_supply/a": { "kind": ")" +
                                                       std::string(kind) + "\" } } }")),
                  "mine.json: devices: /sys/class/power_supply/a: " + std::string(sentence));
    EXPECT_THAT(board_refusal(write("mine.json", R"({ "devices": { "/dev/a": { "kind": "port", "speed": "x" } } })")),
                HasSubstr("mine.json: devices: /dev/a: "));
    EXPECT_THAT(board_refusal(write("mine.json", R"({ "devices": { "/dev/a": { "kind": "port", "sped": 1 } } })")),
                HasSubstr("mine.json: devices: /dev/a: "));
}

TEST_F(profile_file, ThatIsNotThereIsRefused)
{
    EXPECT_THROW(profile::load("7", boards), profile_error);
    EXPECT_THROW(profile::load(folder_ + "/none.json", boards), profile_error);
}

TEST_F(profile_file, WhatAKeptFolderHasStays)
{
    const std::string mine = write("mine.json", R"({ "files": { "/mnt/data/a.ini": "new", "/mnt/data/b.ini": "b" },
                                                     "scripts": ["/kt/root/go.sh"] })");
    const profile chosen = profile::load(mine, boards);
    for (int start = 0; start < 2; ++start) {
        equipped_board shown;
        ASSERT_TRUE(shown.keep_state_in(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
        if (start == 0) {
            ASSERT_TRUE(shown.put_file("/mnt/data/a.ini", "old", 0600));
        }
        chosen.fill_kept(shown);
        EXPECT_EQ(shown.file("/mnt/data/a.ini"), "old");
        EXPECT_EQ(shown.file("/mnt/data/b.ini"), "b");
        EXPECT_THAT(*shown.list("/kt/root"), ElementsAre("go.sh"));
    }
}

TEST_F(profile_file, APlaceThatIsTakenIsRefused)
{
    equipped_board shown;
    shown.put_directory("/sys/x/a");
    const std::string mine = write("mine.json", R"({ "attributes": { "/sys/x/": { "a": 1 } } })");
    EXPECT_THROW(profile::load(mine, boards).apply(shown), profile_error);
}

} // namespace
