/** A power supply by its class: where it looks, when it is found, and what each failure leaves. */
#include "tests/power/supply_class.h"
#include "tests/power/supply_words.h"
#include "tests/support/short_of_memory.h"

#include <climits>
#include <thread>

using namespace kt::tests;
using namespace std::string_literals;
using kt::kt_power_supply;
using kt::power_supply_property;
using kt::power_supply_propval;

static_assert(sizeof(power_supply_propval) == 4 && std::is_same_v<decltype(power_supply_propval::value), int32_t>);

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
                        supply_words.at(each.value).empty() ? "x" : supply_words.at(each.value).rbegin()->first);
    }
    supply_says(board, "status", "Full\n");
    supply_says(board, "type", "USB\n");
    for (const auto& [prop, unused] : supply_words)
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
