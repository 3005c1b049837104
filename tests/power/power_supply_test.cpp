/** A power supply's properties, by the class itself: which attribute, word or number, and what each failure leaves. */
#include "power/power_supply.h"

#include "own_supply.h"
#include "tests/base/short_of_memory.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <thread>

using namespace kt::tests;
using namespace std::string_literals;
using kt::kt_power_supply;
using kt::power_supply_property;
using kt::power_supply_propval;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

static_assert(sizeof(power_supply_propval) == 4 && std::is_same_v<decltype(power_supply_propval::value), int32_t>);

namespace {

constexpr std::int32_t untouched = 0x5a5a5a5a;

enum kind { word, number };

struct property {
    power_supply_property name;
    int value;
    const char* attribute;
    kind how;
};
const property properties[] = {
    {kt::property_status, 0, "status", word},
    {kt::property_charge_type, 1, "charge_type", word},
    {kt::property_health, 2, "health", word},
    {kt::property_present, 3, "present", number},
    {kt::property_online, 4, "online", number},
    {kt::property_technology, 5, "technology", word},
    {kt::property_cycle_count, 6, "cycle_count", number},
    {kt::property_voltage_max, 7, "voltage_max", number},
    {kt::property_voltage_min, 8, "voltage_min", number},
    {kt::property_voltage_max_design, 9, "voltage_max_design", number},
    {kt::property_voltage_min_design, 10, "voltage_min_design", number},
    {kt::property_voltage_now, 11, "voltage_now", number},
    {kt::property_voltage_avg, 12, "voltage_avg", number},
    {kt::property_current_now, 13, "current_now", number},
    {kt::property_current_avg, 14, "current_avg", number},
    {kt::property_power_now, 15, "power_now", number},
    {kt::property_power_avg, 16, "power_avg", number},
    {kt::property_charge_full_design, 17, "charge_full_design", number},
    {kt::property_charge_empty_design, 18, "charge_empty_design", number},
    {kt::property_charge_full, 19, "charge_full", number},
    {kt::property_charge_empty, 20, "charge_empty", number},
    {kt::property_charge_now, 21, "charge_now", number},
    {kt::property_charge_avg, 22, "charge_avg", number},
    {kt::property_charge_counter, 23, "charge_counter", number},
    {kt::property_energy_full_design, 24, "energy_full_design", number},
    {kt::property_energy_empty_design, 25, "energy_empty_design", number},
    {kt::property_energy_full, 26, "energy_full", number},
    {kt::property_energy_empty, 27, "energy_empty", number},
    {kt::property_energy_now, 28, "energy_now", number},
    {kt::property_energy_avg, 29, "energy_avg", number},
    {kt::property_capacity, 30, "capacity", number},
    {kt::property_capacity_level, 31, "capacity_level", word},
    {kt::property_temp, 32, "temp", number},
    {kt::property_temp_ambient, 33, "temp_ambient", number},
    {kt::property_time_to_empty_now, 34, "time_to_empty_now", number},
    {kt::property_time_to_empty_avg, 35, "time_to_empty_avg", number},
    {kt::property_time_to_full_now, 36, "time_to_full_now", number},
    {kt::property_time_to_full_avg, 37, "time_to_full_avg", number},
    {kt::property_type, 38, "type", word},
    {kt::property_model_name, 39, "model_name", word},
    {kt::property_manufacturer, 40, "manufacturer", number},
    {kt::property_serial_number, 41, "serial_number", number},
};
static_assert(std::size(properties) == 42);

using word_table = std::map<std::string, int>;

/** The tables by property; the model's name has none. */
const std::map<int, word_table> tables = {
    {38, {{"Battery", 0}, {"UPS", 1}, {"Mains", 2}, {"USB", 3}}},
    {0, {{"Unknown", 0}, {"Charging", 1}, {"Discharging", 2}, {"Not charging", 3}, {"Full", 4}}},
    {1, {{"Unknown", 0}, {"N/A", 1}, {"Trickle", 2}, {"Fast", 3}}},
    {2,
     {{"Unknown", 0},
      {"Good", 1},
      {"Overheat", 2},
      {"Dead", 3},
      {"Over voltage", 4},
      {"Unspecified failure", 5},
      {"Cold", 6}}},
    {5, {{"Unknown", 0}, {"NiMH", 1}, {"Li-ion", 2}, {"Li-poly", 3}, {"LiFe", 4}, {"NiCd", 5}, {"LiMn", 6}}},
    {31, {{"Unknown", 0}, {"Critical", 1}, {"Low", 2}, {"Normal", 3}, {"High", 4}, {"Full", 5}}},
    {39, {}},
};

int number_of(const word_table& table, const std::string& text)
{
    const auto found = table.find(text);
    return found == table.end() ? 0 : found->second;
}

/** A supply that was found. */
struct found_supply : kt_power_supply {
    found_supply() : kt_power_supply("kt_bat") { EXPECT_EQ(active(), 0); }
};

/** What a property yields. */
int value_of(const kt_power_supply& supply, int prop)
{
    power_supply_propval cell = {untouched};
    EXPECT_EQ(supply.get_property(static_cast<power_supply_property>(prop), &cell), 0) << prop;
    return cell.value;
}

/** Expects that a property is refused with @p cause, and that this is all. */
void expect_failure(virtual_terminal& board, const kt_power_supply& supply, int prop, int cause)
{
    board.forget();
    const std::set<int> before = open_descriptors();
    power_supply_propval cell = {untouched};
    int result = 0;
    errno = 0;
    const std::string text =
        printed([&] { result = supply.get_property(static_cast<power_supply_property>(prop), &cell); });
    EXPECT_EQ(errno, cause) << prop;
    EXPECT_EQ(result, -1) << prop;
    EXPECT_EQ(cell.value, untouched) << prop;
    EXPECT_EQ(text, "") << prop;
    EXPECT_EQ(told(board, {"syslog", "write"}), lines{}) << prop;
    EXPECT_EQ(open_descriptors(), before) << prop;
}

std::string with_case(std::string text, int (*changed)(int))
{
    for (char& each : text)
        each = static_cast<char>(changed(each));
    return text;
}

} // namespace

TEST(PowerSupply, EachPropertyIsReadFromItsOwnAttributeInOneAccess)
{
    virtual_terminal board;
    take_supply(board);
    for (const property& each : properties)
        supply_says(board, each.attribute, std::to_string(1000 + each.value) + "\n");
    const found_supply supply;
    for (const property& each : properties) {
        board.forget();
        EXPECT_EQ(each.name, each.value) << each.attribute;
        EXPECT_EQ(value_of(supply, each.value), each.how == number ? 1000 + each.value : 0) << each.attribute;
        EXPECT_EQ(told(board, {"missing", "open", "read", "write", "shell", "program", "syslog"}),
                  (lines{"open O_RDONLY " KT_SUPPLY_DIR + std::string(each.attribute),
                         "read " KT_SUPPLY_DIR + std::string(each.attribute) + " " + std::to_string(1000 + each.value) +
                             "\n"}));
    }
}

TEST(PowerSupply, AnAttributeIsOpenedByItsOwnersBits)
{
    virtual_terminal board;
    take_supply(board);
    board.attribute(KT_SUPPLY_DIR "capacity", {.text = "4\n", .mode = 0644});
    board.attribute(KT_SUPPLY_DIR "type", {.text = "USB\n", .mode = 0644});
    const found_supply supply;
    board.forget();
    EXPECT_EQ(value_of(supply, 30), 4);
    EXPECT_EQ(value_of(supply, 38), 3);
    EXPECT_EQ(doings(board), (lines{"open O_RDWR " KT_SUPPLY_DIR "capacity", "open O_RDWR " KT_SUPPLY_DIR "type"}));
}

TEST(PowerSupply, EachWordIsTheNumberOfItsTableAndOfNoOther)
{
    virtual_terminal board;
    take_supply(board);
    supply_says(board, "status", "");
    const found_supply supply;
    for (const auto& [prop, table] : tables) {
        for (const auto& [unused, any] : tables) {
            for (const auto& [text, value] : any) {
                supply_says(board, properties[prop].attribute, text + "\n");
                EXPECT_EQ(value_of(supply, prop), number_of(table, text)) << properties[prop].attribute << ' ' << text;
            }
        }
    }
}

TEST(PowerSupply, AWordIsComparedWhole)
{
    virtual_terminal board;
    take_supply(board);
    supply_says(board, "status", "");
    const found_supply supply;
    for (const auto& [prop, table] : tables) {
        for (const auto& [text, value] : table) {
            const auto yields = [&, prop = prop](const std::string& given) {
                supply_says(board, properties[prop].attribute, given);
                return value_of(supply, prop);
            };
            EXPECT_EQ(yields(text), value) << "without a line feed: " << text;
            EXPECT_EQ(yields(text + "\nand more"), value) << text;
            EXPECT_EQ(yields(text + "\n\0Full\n"s), value) << text; // the text ends at its first NUL
            for (const std::string& other :
                 {with_case(text, std::tolower), with_case(text, std::toupper), text + " ", " " + text, text + "\r",
                  text + "x", text.substr(0, text.size() - 1), text.substr(1), text + "\n" + text})
                EXPECT_EQ(yields(other + "\n"), number_of(table, other)) << other;
            EXPECT_EQ(yields(text + "\n\n"), 0) << text; // cut at the last line feed: the first belongs to the word
            EXPECT_EQ(yields("\n" + text + "\n"), 0) << text;
        }
    }
}

TEST(PowerSupply, UnknownWordsAndEmptyTextsAreZero)
{
    virtual_terminal board;
    take_supply(board);
    supply_says(board, "status", "");
    const found_supply supply;
    for (const auto& [prop, table] : tables) {
        for (const std::string& text :
             {""s, "\n"s, "\n\n"s, " \n"s, "4\n"s, "4"s, "-1\n"s, "Melting\n"s, "charging\n"s,
              "Full\nCharging\nFull\n"s, "\0Full\n"s, std::string(4096, 'x'), std::string(4096, '\n')}) {
            supply_says(board, properties[prop].attribute, text);
            EXPECT_EQ(value_of(supply, prop), 0) << properties[prop].attribute << ' ' << text;
        }
    }
    EXPECT_EQ(board.syslog(), "");
}

TEST(PowerSupply, TheModelsNameIsAlwaysZero)
{
    virtual_terminal board;
    take_supply(board);
    for (const char* text : {"KT-B2600\n", "Full\n", "USB\n", "12\n", ""}) {
        supply_says(board, "model_name", text);
        EXPECT_EQ(value_of(found_supply(), 39), 0) << text;
    }
}

TEST(PowerSupply, NumbersAreReadAsAStreamReadsThem)
{
    const struct {
        std::string text;
        std::int32_t value;
    } rows[] = {
        {"3950000\n", 3950000},
        {"-120", -120},
        {"-120\n", -120},
        {"+7\n", 7},
        {"0\n", 0},
        {"-0\n", 0},
        {"0013\n", 13},
        {"-0013\n", -13},
        {"0x1f\n", 0},
        {"", 0},
        {"\n", 0},
        {" \t\v\f\r\n", 0},
        {"  \t\n 42 43\n", 42},
        {"\t\v\f\r -44\n", -44},
        {"none\n", 0},
        {"Full\n", 0},
        {"-\n", 0},
        {"+\n", 0},
        {"- 5\n", 0},
        {"+-5\n", 0},
        {"-+5\n", 0},
        {"--5\n", 0},
        {"12abc\n", 12},
        {"3.9\n", 3},
        {"1e3\n", 1},
        {"1,000\n", 1},
        {"7\n8\n", 7},
        {"2147483647\n", 2147483647},
        {"2147483648\n", 2147483647},
        {"4294967295\n", 2147483647},
        {"4294967297\n", 2147483647},
        {"99999999999999999999999\n", 2147483647},
        {"-2147483647\n", -2147483647},
        {"-2147483648\n", -2147483647 - 1},
        {"-2147483649\n", -2147483647 - 1},
        {"-4294967295\n", -2147483647 - 1},
        {"-4294967297\n", -2147483647 - 1},
        {"-99999999999999999999999\n", -2147483647 - 1},
        {"00000000000000000000000000000000000000012\n", 12},
        {"1\0002\n"s, 1},
        {std::string(4094, ' ') + "12", 12},
    };
    virtual_terminal board;
    take_supply(board);
    supply_says(board, "current_now", "");
    const found_supply supply;
    for (const auto& row : rows) {
        supply_says(board, "current_now", row.text);
        EXPECT_EQ(value_of(supply, 13), row.value) << row.text;
    }
    EXPECT_EQ(board.syslog(), ""); // none of these is a failure
}

TEST(PowerSupply, NamesOfMakerAndSerialNumberAreReadAsNumbers)
{
    const struct {
        const char* text;
        int value;
    } rows[] = {{"20240612\n", 20240612}, {"Kestrel\n", 0}, {"3M\n", 3}, {"  0815-A\n", 815}, {"Full\n", 0}};
    virtual_terminal board;
    take_supply(board);
    for (const int prop : {40, 41}) {
        for (const auto& row : rows) {
            supply_says(board, properties[prop].attribute, row.text);
            EXPECT_EQ(value_of(found_supply(), prop), row.value) << row.text;
        }
    }
}

TEST(PowerSupply, IsMadeWithoutALookAtTheBoard)
{
    virtual_terminal board;
    take_supply(board);
    board.forget();
    const std::set<int> before = open_descriptors();
    EXPECT_EQ(printed([] { const kt_power_supply supply("kt_bat"); }), "");
    EXPECT_TRUE(told(board, {"missing", "open", "read", "write", "shell", "program", "syslog"}).empty());
    EXPECT_EQ(open_descriptors(), before);
}

TEST(PowerSupply, ActiveOnlyLooksWhetherTheFolderIsThere)
{
    virtual_terminal board;
    give_supply(board);
    kt_power_supply supply("kt_bat");
    board.forget();
    const std::set<int> before = open_descriptors();
    int result = -1;
    EXPECT_EQ(printed([&] { result = supply.active(); }), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(told(board, {"read", "write", "shell", "program", "syslog"}), lines{});
    for (const char* attribute : {"status", "capacity", "voltage_now", "capacity_level"})
        EXPECT_EQ(opens_of(board, KT_SUPPLY_DIR + std::string(attribute)), 0) << attribute;
    EXPECT_EQ(open_descriptors(), before);

    EXPECT_EQ(supply.active(), 0); // again: nothing else
    EXPECT_EQ(value_of(supply, 0), 2);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(PowerSupply, AMissingFolderIsAFailure)
{
    virtual_terminal board;
    take_supply(board);
    kt_power_supply supply("kt_bat");
    board.forget();
    const std::set<int> before = open_descriptors();
    int result = 0;
    errno = 0;
    EXPECT_EQ(printed([&] { result = supply.active(); }), "");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(told(board, {"open", "read", "write", "shell", "program", "syslog"}), lines{});
    EXPECT_EQ(open_descriptors(), before);

    board.attribute("/sys/class/power_supply/kt_bat", {.text = "no folder\n"});
    EXPECT_EQ(supply.active(), -1);
    EXPECT_EQ(errno, ENOTDIR);
}

TEST(PowerSupply, KnowsNoWordBeforeItWasFound)
{
    virtual_terminal board;
    take_supply(board);
    kt_power_supply supply("kt_bat");
    EXPECT_EQ(supply.active(), -1);
    give_supply(board, "Full\n");
    for (const property& each : properties) {
        if (each.how == word)
            supply_says(board, each.attribute,
                        tables.at(each.value).empty() ? "x" : tables.at(each.value).rbegin()->first);
    }
    supply_says(board, "status", "Full\n");
    supply_says(board, "type", "USB\n");
    for (const auto& [prop, unused] : tables)
        EXPECT_EQ(value_of(supply, prop), 0) << prop;
    EXPECT_EQ(value_of(supply, 30), 57); // numbers need no table

    EXPECT_EQ(supply.active(), 0);
    EXPECT_EQ(value_of(supply, 0), 4);
    EXPECT_EQ(value_of(supply, 38), 3);
}

TEST(PowerSupply, AMissingAttributeLeavesTheResultAndSaysNothing)
{
    virtual_terminal board;
    take_supply(board);
    supply_says(board, "other", "1\n");
    const found_supply supply;
    for (const property& each : properties) {
        expect_failure(board, supply, each.value, ENOENT);
        EXPECT_EQ(told(board, {"open"}), lines{}) << each.attribute;
    }
}

TEST(PowerSupply, AnUnreadableAttributeLeavesTheResultAndSaysNothing)
{
    const struct {
        const char* step;
        int cause;
    } rows[] = {{"read", EIO}, {"read", ENODEV}, {"open", EACCES}, {"open", EIO}, {"lookup", EACCES}};
    virtual_terminal board;
    take_supply(board);
    for (const char* attribute : {"status", "temp", "model_name", "serial_number"})
        supply_says(board, attribute, "1\n");
    const found_supply supply;
    for (const int prop : {0, 32, 39, 41}) {
        for (const auto& row : rows) {
            board.fail(KT_SUPPLY_DIR + std::string(properties[prop].attribute), {.on = row.step, .error = row.cause});
            expect_failure(board, supply, prop, row.cause);
            board.mend_all();
            board.attribute(KT_SUPPLY_DIR + std::string(properties[prop].attribute), {.text = "1\n", .mode = 0200});
            expect_failure(board, supply, prop, EBADF);
            supply_says(board, properties[prop].attribute, "1\n");
            EXPECT_EQ(value_of(supply, prop), prop == 32 || prop == 41 ? 1 : 0); // over as soon as it is readable
        }
    }
}

TEST(PowerSupply, WhatIsNoPropertyIsRefused)
{
    virtual_terminal board;
    give_supply(board);
    const found_supply supply;
    for (const int prop : {-1, 42, 43, 256, INT_MAX, INT_MIN}) {
        expect_failure(board, supply, prop, EINVAL);
        EXPECT_EQ(told(board, {"missing", "open", "read"}), lines{}) << prop;
    }
}

TEST(PowerSupply, NoRoomForTheResultIsRefused)
{
    virtual_terminal board;
    give_supply(board);
    const found_supply supply;
    for (const power_supply_property prop : {kt::property_status, kt::property_capacity}) {
        board.forget();
        errno = 0;
        EXPECT_EQ(supply.get_property(prop, nullptr), -1);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(told(board, {"missing", "open", "read", "syslog"}), lines{});
    }
}

TEST(PowerSupply, EachNameHasItsOwnFolder)
{
    virtual_terminal board;
    give_supply(board);
    for (const std::string& name : {"mains2"s, std::string(250, 'n')}) {
        const std::string folder = "/sys/class/power_supply/" + name + "/";
        kt_power_supply supply(name);
        EXPECT_EQ(supply.active(), -1);
        board.attribute(folder + "type", {.text = "Mains\n", .mode = 0444});
        board.attribute(folder + "time_to_empty_now", {.text = "77\n", .mode = 0444});
        EXPECT_EQ(supply.active(), 0);
        board.forget();
        EXPECT_EQ(value_of(supply, 38), 2);
        EXPECT_EQ(value_of(supply, 34), 77);
        EXPECT_EQ(doings(board),
                  (lines{"open O_RDONLY " + folder + "type", "open O_RDONLY " + folder + "time_to_empty_now"}));
    }
}

TEST(PowerSupply, EachQueryReadsAnew)
{
    virtual_terminal board;
    give_supply(board);
    const found_supply supply;
    for (const int voltage : {8399, 7000, 6600}) {
        supply_says(board, "voltage_now", std::to_string(voltage) + "\n");
        EXPECT_EQ(value_of(supply, 11), voltage);
    }
}

TEST(PowerSupply, SeveralThreadsReadSideBySide)
{
    virtual_terminal board;
    give_supply(board);
    const found_supply supply;
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&supply] {
            for (int left = 25; left > 0; --left) {
                EXPECT_EQ(value_of(supply, 0), 2);
                EXPECT_EQ(value_of(supply, 11), 7421);
            }
        });
    }
    for (std::thread& each : readers)
        each.join();
}

TEST(PowerSupply, AFailureWithoutMemoryIsEnomem)
{
    virtual_terminal board;
    take_supply(board);
    supply_says(board, "other", "1\n");
    const found_supply supply;
    power_supply_propval cell = {untouched};
    int result = 0;
    {
        const short_of_memory now;
        errno = 0;
        result = supply.get_property(kt::property_time_to_empty_now, &cell); // its failure's text needs memory
    }
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(cell.value, untouched);
}
