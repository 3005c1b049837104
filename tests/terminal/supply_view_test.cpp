/** The battery and the tamper words, as the program sees them and the other side changes them. */
#include "file_calls.h"
#include "tests/support/journal_lines.h"

#include <gmock/gmock.h>
#include <string>
#include <vector>

using namespace kt::tests;
using kt::terminal::terminal_error;
using kt::terminal::virtual_terminal;
using testing::HasSubstr;

namespace {

const std::string supply = "/sys/class/power_supply/kt_bat/";
const std::string limit = "/sys/class/kt_misc/ioctl/kt_bat_protect_cap";
const std::string tamper_status = "/sys/class/kt_misc/ioctl/sp_tamper_status";
const std::string tamper_reset = "/sys/class/kt_misc/ioctl/sp_tamper_reset";

void write_text(const std::string& path, std::string_view text)
{
    const opened_file file(path, O_WRONLY);
    ASSERT_EQ(file.error(), 0) << path;
    ASSERT_EQ(::write(file.fd(), text.data(), text.size()), static_cast<ssize_t>(text.size())) << path;
}

struct property_row {
    const char* name;
    const char* text; // of a fresh board's battery whose time stands still
};

// 80 percent of 2600 mAh between 6600 and 8400 mV, giving 12 percent an hour.
const property_row properties[] = {
    {"status", "Discharging\n"},
    {"charge_type", "N/A\n"},
    {"health", "Good\n"},
    {"present", "1\n"},
    {"online", "0\n"},
    {"technology", "Li-ion\n"},
    {"cycle_count", "12\n"},
    {"voltage_max", "8400\n"},
    {"voltage_min", "6600\n"},
    {"voltage_max_design", "8400\n"},
    {"voltage_min_design", "6600\n"},
    {"voltage_now", "8040\n"},
    {"voltage_avg", "8040\n"},
    {"current_now", "-312\n"},
    {"current_avg", "-312\n"},
    {"power_now", "-2508\n"},
    {"power_avg", "-2508\n"},
    {"charge_full_design", "2600\n"},
    {"charge_empty_design", "0\n"},
    {"charge_full", "2600\n"},
    {"charge_empty", "0\n"},
    {"charge_now", "2080\n"},
    {"charge_avg", "2080\n"},
    {"charge_counter", "2080\n"},
    {"energy_full_design", "19500\n"},
    {"energy_empty_design", "0\n"},
    {"energy_full", "19500\n"},
    {"energy_empty", "0\n"},
    {"energy_now", "15226\n"},
    {"energy_avg", "15226\n"},
    {"capacity", "80\n"},
    {"capacity_level", "Normal\n"},
    {"temp", "265\n"},
    {"temp_ambient", "250\n"},
    {"time_to_empty_now", "24000\n"},
    {"time_to_empty_avg", "24000\n"},
    {"time_to_full_now", "0\n"},
    {"time_to_full_avg", "0\n"},
    {"type", "Battery\n"},
    {"model_name", "KT-B2600\n"},
    {"manufacturer", "Kestrel\n"},
    {"serial_number", "20240612\n"},
};

} // namespace

TEST(Supply, EveryPropertyIsAReadOnlyAttribute)
{
    virtual_terminal board;
    board.battery(R"({"set":{"speed":0,"capacity":80}})");
    std::size_t count = 0;
    for (const auto& each : std::filesystem::directory_iterator(supply))
        count += each.is_regular_file() ? 1 : 0;
    EXPECT_EQ(count, std::size(properties));
    for (const property_row& each : properties) {
        EXPECT_EQ(shown(supply + each.name), each.text) << each.name;
        EXPECT_EQ(open_error(supply + each.name, O_WRONLY), EACCES) << each.name;
    }
}

TEST(Supply, EveryPropertyCanBeSetRemovedAndMadeToFail)
{
    virtual_terminal board;
    for (const property_row& each : properties) {
        const std::string path = supply + each.name;
        board.attribute(path, {.text = "mine\n", .mode = 0444});
        EXPECT_EQ(shown(path), "mine\n");
        const int rule = board.fail(path, {.on = "read", .error = ENODATA});
        EXPECT_EQ(shown(path), "<ENODATA>");
        board.mend(rule);
        board.remove(path);
        EXPECT_EQ(shown(path), "<ENOENT>");
    }
}

TEST(Supply, EveryWordCanBeShown)
{
    virtual_terminal board;
    const std::vector<std::pair<std::string, std::vector<std::string>>> all = {
        {"type", {"Battery", "UPS", "Mains", "USB"}},
        {"status", {"Unknown", "Charging", "Discharging", "Not charging", "Full"}},
        {"charge_type", {"Unknown", "N/A", "Trickle", "Fast"}},
        {"health", {"Unknown", "Good", "Overheat", "Dead", "Over voltage", "Unspecified failure", "Cold"}},
        {"technology", {"Unknown", "NiMH", "Li-ion", "Li-poly", "LiFe", "NiCd", "LiMn"}},
        {"capacity_level", {"Unknown", "Critical", "Low", "Normal", "High", "Full"}},
    };
    for (const auto& [name, words] : all) {
        const std::string before = shown(supply + name);
        for (const std::string& word : words) {
            board.battery(R"({"set":{")" + name + R"(":")" + word + R"("}})");
            EXPECT_EQ(shown(supply + name), word + "\n") << name;
        }
        EXPECT_THROW(board.battery(R"({"set":{")" + name + R"(":"charging"}})"), terminal_error);
        board.battery(R"({"set":{")" + name + R"(":null}})");
        EXPECT_EQ(shown(supply + name), before) << name;
    }
}

TEST(Supply, MainsChargeTheBatteryUpToTheLimitThatTheProgramWrites)
{
    virtual_terminal board;
    board.battery(R"({"set":{"speed":0,"capacity":60}})");
    board.act("plug", "mains");
    EXPECT_EQ(shown(supply + "status"), "Charging\n");
    EXPECT_EQ(shown(supply + "charge_type"), "Fast\n");
    write_text(limit, "60");
    EXPECT_EQ(shown(supply + "status"), "Not charging\n");
    EXPECT_EQ(shown(supply + "charge_type"), "N/A\n");
    write_text(limit, "61\n");
    EXPECT_EQ(shown(supply + "status"), "Charging\n");
    board.battery(R"({"set":{"capacity":100}})");
    EXPECT_EQ(shown(supply + "status"), "Full\n");
    EXPECT_EQ(shown(supply + "voltage_now"), "8400\n");
    EXPECT_EQ(shown(supply + "capacity_level"), "Full\n");
    board.battery(R"({"set":{"mains":false}})");
    EXPECT_EQ(shown("/sys/class/power_supply/mains/online"), "0\n");
    EXPECT_EQ(shown(supply + "status"), "Discharging\n");
}

TEST(Supply, TimePassesWithoutARequest)
{
    virtual_terminal board;
    board.battery(R"({"set":{"speed":1000000,"capacity":100}})"); // 8 h 20 min in 30 ms, looked at each second
    for (int tries = 0; tries < 2000 && shown(supply + "capacity") != "0\n"; ++tries)
        ::usleep(10'000);
    EXPECT_EQ(shown(supply + "capacity"), "0\n");
    EXPECT_EQ(shown(supply + "capacity_level"), "Critical\n");
}

TEST(Supply, TheOtherSideIsToldItsState)
{
    virtual_terminal board;
    const std::string state =
        board.battery(R"({"set":{"speed":0,"capacity":12.5,"temp":451,"charge_rate":20,"discharge_rate":6}})");
    EXPECT_THAT(state, HasSubstr(R"("capacity":12.5,"mains":false,"limit":100,"charge_rate":20.0,"discharge_rate":6.0,)"
                                 R"("speed":0.0,"fixed":["temp"],"properties":{"status":"Discharging")"));
    EXPECT_THAT(state, HasSubstr(R"("capacity":13,"capacity_level":"Low","temp":451,)"));
    EXPECT_THROW(board.battery(R"({"set":{"capacity":90,"temp":"hot"}})"), terminal_error); // all or nothing
    EXPECT_EQ(shown(supply + "capacity"), "13\n");
}

TEST(Supply, ABatteryThatIsTakenOutIsGone)
{
    virtual_terminal board;
    board.remove("/sys/class/power_supply/kt_bat");
    EXPECT_FALSE(exists("/sys/class/power_supply/kt_bat"));
    EXPECT_THROW(board.battery(), terminal_error);
    board.act("plug", "mains");
    write_text(limit, "50");
    EXPECT_FALSE(exists("/sys/class/power_supply/kt_bat"));
}

TEST(Tamper, TheWordsAreShownInHexadecimal)
{
    virtual_terminal board;
    EXPECT_EQ(shown(tamper_status), "0x0,0x0\n");
    EXPECT_THAT(board.tamper(R"({"set":{"status":16,"ram":"0x12345678"}})"),
                HasSubstr(R"("status":"0x10","ram":"0x12345678","silent":false,"resets":0)"));
    EXPECT_EQ(shown(tamper_status), "0x10,0x12345678\n");
    board.tamper(R"({"set":{"status":"0xFFFFFFFF"}})");
    EXPECT_EQ(shown(tamper_status), "0xffffffff,0x12345678\n");
    for (const char* wrong :
         {R"({"status":-1})", R"({"status":4294967296})", R"({"ram":"12"})", R"({"ram":"0x"})",
          R"({"ram":"0x100000000"})", R"({"ram":"0x1g"})", R"({"silent":"yes"})", R"({"x":1})", "3"})
        EXPECT_THROW(board.tamper(R"({"set":)" + std::string(wrong) + "}"), terminal_error) << wrong;
    EXPECT_EQ(shown(tamper_status), "0xffffffff,0x12345678\n");
}

TEST(Tamper, AProgramResetsTheStatusWord)
{
    virtual_terminal board;
    board.tamper(R"({"set":{"status":3,"ram":7}})");
    write_text(tamper_reset, "1\n");
    EXPECT_EQ(shown(tamper_status), "0x3,0x7\n");
    write_text(tamper_reset, "0\n");
    EXPECT_EQ(shown(tamper_status), "0x0,0x7\n");
    EXPECT_THAT(board.tamper(), HasSubstr(R"("resets":1)"));
    EXPECT_THAT(board.writes(tamper_reset), testing::ElementsAre("1\n", "0\n"));
    EXPECT_EQ(open_error(tamper_reset, O_RDONLY), EACCES);
}

TEST(Tamper, ASilentProcessorAnswersNothingForSoManyReads)
{
    virtual_terminal board;
    board.tamper(R"({"set":{"status":5,"ram":6,"silent":3}})");
    EXPECT_EQ(board.text(tamper_status), "0xcccccccc,0x0\n"); // the other side's look is no read
    for (int count = 0; count < 3; ++count)
        EXPECT_EQ(shown(tamper_status), "0xcccccccc,0x0\n") << count;
    EXPECT_EQ(shown(tamper_status), "0x5,0x6\n");
    EXPECT_THAT(board.tamper(), HasSubstr(R"("silent":false)"));
}

TEST(Tamper, ASilentProcessorTakesNoReset)
{
    virtual_terminal board;
    board.tamper(R"({"set":{"status":5,"silent":true}})");
    for (int count = 0; count < 20; ++count)
        EXPECT_EQ(shown(tamper_status), "0xcccccccc,0x0\n");
    write_text(tamper_reset, "0");
    EXPECT_THAT(board.tamper(R"({"set":{"silent":false}})"),
                HasSubstr(R"("status":"0x5","ram":"0x0","silent":false,"resets":0)"));
    EXPECT_EQ(shown(tamper_status), "0x5,0x0\n");
}

TEST(Tamper, PermissionsAloneDoNotEndTheSilence)
{
    virtual_terminal board;
    board.tamper(R"({"set":{"status":5,"ram":6,"silent":2}})");
    EXPECT_THAT(board.exchange(R"({"op":"set","path":")" + tamper_status + R"(","mode":"0400"})"),
                HasSubstr(R"("ok":true)"));
    EXPECT_THAT(board.tamper(), HasSubstr(R"("status":"0x5","ram":"0x6","silent":2,"resets":0)"));
    EXPECT_EQ(shown(tamper_status), "0xcccccccc,0x0\n");
    EXPECT_EQ(shown(tamper_status), "0xcccccccc,0x0\n");
    EXPECT_EQ(shown(tamper_status), "0x5,0x6\n");
    board.attribute(tamper_status, {.text = "by hand\n", .mode = 0444});
    board.attribute(tamper_status, {.text = "0x5,0x6\n", .mode = 0444}); // the words as before: words again
    write_text(tamper_reset, "0");
    EXPECT_EQ(shown(tamper_status), "0x0,0x6\n");
}

TEST(Tamper, ATextThatIsSetIsShownAsGiven)
{
    virtual_terminal board;
    board.tamper(R"({"set":{"silent":true}})");
    board.attribute(tamper_status, {.text = "0x9,0xa\n", .mode = 0444}); // words: they are the processor's from now on
    EXPECT_EQ(shown(tamper_status), "0x9,0xa\n");
    write_text(tamper_reset, "0");
    EXPECT_EQ(shown(tamper_status), "0x0,0xa\n");
    board.attribute(tamper_status, {.text = "nonsense", .mode = 0444}); // no words: it stays
    write_text(tamper_reset, "0");
    EXPECT_EQ(shown(tamper_status), "nonsense");
    board.tamper(R"({"set":{"status":1}})");
    EXPECT_EQ(shown(tamper_status), "0x1,0xa\n");
    board.remove(tamper_status);
    EXPECT_THROW(board.tamper(), terminal_error);
    board.attribute(tamper_status, {.text = "0x2,0x3\n", .mode = 0444}); // a new place has its driver again
    board.tamper(R"({"set":{"silent":1}})");
    EXPECT_EQ(shown(tamper_status), "0xcccccccc,0x0\n");
    EXPECT_EQ(shown(tamper_status), "0x2,0x3\n");
    const int rule = board.fail(tamper_status, {.on = "read", .error = EIO});
    EXPECT_EQ(shown(tamper_status), "<EIO>");
    board.mend(rule);
}
