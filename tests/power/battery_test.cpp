/** The battery's state and the mains: what is read in which order, and what each failure fills, prints and leaves. */
#include <kt_driver/base.h>
#include <kt_driver/power.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/failing_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/outcome.h"
#include "tests/support/own_supply.h"
#include "tests/support/paths.h"
#include "tests/support/short_of_memory.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

static_assert(sizeof(kt_battery_attr) == 7 * sizeof(int32_t));
static_assert(offsetof(kt_battery_attr, capacity) == 0 && offsetof(kt_battery_attr, voltage) == 4 &&
              offsetof(kt_battery_attr, level) == 8 && offsetof(kt_battery_attr, voltage_full) == 12 &&
              offsetof(kt_battery_attr, voltage_empty) == 16 && offsetof(kt_battery_attr, status) == 20 &&
              offsetof(kt_battery_attr, mains_flag) == 24);

namespace {

using record = std::array<int32_t, 7>;

constexpr int32_t junk = 0x5a5a5a5a;
constexpr record all_junk = {junk, junk, junk, junk, junk, junk, junk};
constexpr const char* no_status = "ac_supply get ac online error\n";

/** The battery's state; the record is full of junk before. */
outcome ask(record& values)
{
    kt_battery_attr attr;
    static_assert(sizeof attr == sizeof values);
    values = all_junk;
    std::memcpy(&attr, values.data(), sizeof attr);
    const outcome seen = outcome_of([&] { return kt_power_battery_attr(&attr); });
    std::memcpy(values.data(), &attr, sizeof attr);
    return seen;
}

void has_version(virtual_terminal& board, const std::string& version)
{
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = version + "\n", .mode = 0444});
    kt_base_init();
}

/** A board whose battery was found. */
void find_supply(virtual_terminal& board, const std::string& status = "Discharging\n")
{
    give_supply(board, status);
    has_version(board, "200");
    printed([] { kt_supplypower_init(); });
    board.forget();
}

lines all_of(virtual_terminal& board)
{
    return told(board, {"missing", "open", "read", "write", "shell", "program", "syslog", "create", "remove"});
}

} // namespace

TEST(SupplypowerInit, FindsTheBatteryAndReadsNothingOfIt)
{
    virtual_terminal board;
    give_supply(board);
    board.forget();
    const std::set<int> before = open_descriptors();
    EXPECT_EQ(outcome_of(kt_supplypower_init), (outcome{0, 0, "kt_supplypower_init kt_bat\n"}));
    EXPECT_EQ(told(board, {"read", "write", "shell", "program", "syslog"}), lines{});
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{0, 0, ""}));
}

TEST(SupplypowerInit, TellsWhyThereIsNone)
{
    virtual_terminal board;
    take_supply(board);
    board.forget();
    const std::set<int> before = open_descriptors();
    EXPECT_EQ(outcome_of(kt_supplypower_init), (outcome{-1, ENOENT,
                                                        "kt_supplypower_init kt_bat\n"
                                                        "kt_power_supply_open error No such file or directory\n"}));
    EXPECT_EQ(told(board, {"open", "read", "write", "shell", "program", "syslog"}), lines{});
    EXPECT_EQ(open_descriptors(), before);

    board.attribute("/sys/class/power_supply/kt_bat", {.text = "no folder\n"});
    EXPECT_EQ(outcome_of(kt_supplypower_init), (outcome{-1, ENOTDIR,
                                                        "kt_supplypower_init kt_bat\n"
                                                        "kt_power_supply_open error Not a directory\n"}));
    board.remove("/sys/class/power_supply/kt_bat");
    give_supply(board);
    board.fail("/sys/class/power_supply/kt_bat", {.on = "lookup", .error = EACCES});
    EXPECT_EQ(outcome_of(kt_supplypower_init), (outcome{-1, EACCES,
                                                        "kt_supplypower_init kt_bat\n"
                                                        "kt_power_supply_open error Permission denied\n"}));
}

TEST(SupplypowerInit, ALaterCallFindsIt)
{
    virtual_terminal board;
    take_supply(board);
    has_version(board, "200");
    printed([] { kt_supplypower_init(); });
    give_supply(board, "Full\n");
    EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{-1, ENODEV, ""})); // that it is there is not enough

    EXPECT_EQ(outcome_of(kt_supplypower_init), (outcome{0, 0, "kt_supplypower_init kt_bat\n"}));
    EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{1, 0, ""}));
    record values;
    EXPECT_EQ(ask(values), (outcome{0, 0, ""}));
    EXPECT_EQ(values, (record{57, 7421, 4, 8400, 6600, 4, 100}));
}

TEST(SupplypowerInit, AFailedSecondCallForgetsTheBattery)
{
    virtual_terminal board;
    find_supply(board, "Full\n");
    const std::set<int> before = open_descriptors();
    EXPECT_EQ(outcome_of(kt_supplypower_init), (outcome{0, 0, "kt_supplypower_init kt_bat\n"}));
    EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{1, 0, ""}));

    take_supply(board);
    EXPECT_EQ(outcome_of(kt_supplypower_init).result, -1);
    give_supply(board);
    EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{-1, ENODEV, ""}));
    record values;
    EXPECT_EQ(ask(values), (outcome{-1, ENODEV, ""}));
    EXPECT_EQ(values, all_junk);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(SupplypowerInit, WithoutMemoryIsAFailureThatPasses)
{
    virtual_terminal board;
    give_supply(board, "Full\n");
    const outcome seen = outcome_of([] {
        const short_of_memory now;
        return kt_supplypower_init();
    });
    EXPECT_EQ(seen.result, -1);
    EXPECT_EQ(seen.cause, ENOMEM);
    EXPECT_EQ(outcome_of(kt_supplypower_init), (outcome{0, 0, "kt_supplypower_init kt_bat\n"}));
    EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{1, 0, ""}));
}

TEST(PowerAcOnline, BeforeTheBatteryWasLookedForItFails)
{
    virtual_terminal board;
    give_supply(board);
    for (const char* version : {"", "0", "5", "49", "51", "90", "200", "500", "501", "-50"}) {
        has_version(board, version);
        board.forget();
        EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{-1, ENODEV, ""})) << version;
        EXPECT_EQ(all_of(board), lines{}) << version;
    }
}

TEST(PowerAcOnline, HardwareVersion50HasMainsAlone)
{
    virtual_terminal board;
    give_supply(board, "Discharging\n");
    has_version(board, "50");
    board.forget();
    EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{1, 0, ""}));
    EXPECT_EQ(all_of(board), lines{});

    printed([] { kt_supplypower_init(); });
    board.fail(KT_SUPPLY_DIR "status", {.on = "read", .error = EIO});
    board.forget();
    EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{1, 0, ""}));
    EXPECT_EQ(all_of(board), lines{});
}

TEST(PowerAcOnline, FollowsFromTheStatus)
{
    const struct {
        const char* status;
        int online;
    } rows[] = {
        {"Unknown\n", 1},
        {"Charging\n", 1},
        {"Discharging\n", 0},
        {"Not charging\n", 0},
        {"Full\n", 1},
        {"discharging\n", 1},
        {"Melting\n", 1},
        {"", 1},
        {"2\n", 1},
        {"Discharging", 0},
        {"Not charging", 0},
        {"Discharging\n\n", 1},
        {"Not Charging\n", 1},
    };
    virtual_terminal board;
    find_supply(board);
    for (const char* version : {"200", "90", "501"}) {
        has_version(board, version);
        for (const auto& row : rows) {
            supply_says(board, "status", row.status);
            board.forget();
            EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{row.online, 0, ""})) << row.status;
            EXPECT_EQ(all_of(board), (lines{"open O_RDONLY " KT_SUPPLY_DIR "status",
                                            "read " KT_SUPPLY_DIR "status " + std::string(row.status)}));
        }
    }
}

TEST(PowerAcOnline, TellsThatTheStatusCannotBeRead)
{
    virtual_terminal board;
    find_supply(board);
    for (const int cause : {EIO, EACCES, ENODEV}) {
        board.fail(KT_SUPPLY_DIR "status", {.on = "read", .error = cause});
        EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{-1, cause, no_status}));
        board.mend_all();
    }
    board.remove(KT_SUPPLY_DIR "status");
    EXPECT_EQ(outcome_of(kt_power_ac_online), (outcome{-1, ENOENT, no_status}));
    EXPECT_EQ(board.syslog(), "");
}

TEST(BatteryAttr, HoldsAllSevenFields)
{
    const struct {
        const char* status;
        int32_t number, mains_flag;
    } rows[] = {{"Unknown\n", 0, 100},     {"Charging\n", 1, 100}, {"Discharging\n", 2, -1},
                {"Not charging\n", 3, -1}, {"Full\n", 4, 100},     {"Melting\n", 0, 100}};
    virtual_terminal board;
    find_supply(board);
    const std::set<int> before = open_descriptors();
    for (const auto& row : rows) {
        supply_says(board, "status", row.status);
        board.forget();
        record values;
        EXPECT_EQ(ask(values), (outcome{0, 0, ""})) << row.status;
        EXPECT_EQ(values, (record{57, 7421, 4, 8400, 6600, row.number, row.mains_flag})) << row.status;
        EXPECT_EQ(all_of(board), (lines{
                                     "open O_RDONLY " KT_SUPPLY_DIR "status",
                                     "read " KT_SUPPLY_DIR "status " + std::string(row.status),
                                     "open O_RDONLY " KT_SUPPLY_DIR "capacity",
                                     "read " KT_SUPPLY_DIR "capacity 57\n",
                                     "open O_RDONLY " KT_SUPPLY_DIR "voltage_now",
                                     "read " KT_SUPPLY_DIR "voltage_now 7421\n",
                                     "open O_RDONLY " KT_SUPPLY_DIR "capacity_level",
                                     "read " KT_SUPPLY_DIR "capacity_level High\n",
                                     "open O_RDONLY " KT_SUPPLY_DIR "status",
                                     "read " KT_SUPPLY_DIR "status " + std::string(row.status),
                                 }));
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(BatteryAttr, GivesWhatTheDriverWrites)
{
    const struct {
        const char *capacity, *voltage, *level;
        int32_t expected[3];
    } rows[] = {
        {"0\n", "0\n", "Unknown\n", {0, 0, 0}},
        {"1\n", "6600\n", "Critical\n", {1, 6600, 1}},
        {"15\n", "7000\n", "Low\n", {15, 7000, 2}},
        {"50\n", "7600\n", "Normal\n", {50, 7600, 3}},
        {"100\n", "8400\n", "Full\n", {100, 8400, 5}},
        {"101\n", "7600000\n", "high\n", {101, 7600000, 0}},
        {"-1\n", "-7600\n", "\n", {-1, -7600, 0}},
        {"99999999999\n", "-99999999999\n", "", {2147483647, -2147483647 - 1, 0}},
        {"full\n", "0x1f\n", "4\n", {0, 0, 0}},
    };
    virtual_terminal board;
    find_supply(board);
    for (const auto& row : rows) {
        supply_says(board, "capacity", row.capacity);
        supply_says(board, "voltage_now", row.voltage);
        supply_says(board, "capacity_level", row.level);
        record values;
        EXPECT_EQ(ask(values), (outcome{0, 0, ""})) << row.capacity;
        EXPECT_EQ(values, (record{row.expected[0], row.expected[1], row.expected[2], 8400, 6600, 2, -1}))
            << row.capacity;
    }
}

TEST(BatteryAttr, StopsAtTheFirstThatCannotBeRead)
{
    const struct {
        const char* attribute;
        const char* line;
        record filled;
        lines opened;
    } rows[] = {
        {"capacity", "battery_supply get capacity error\n", {0, 0, 0, 8400, 6600, 0, 100}, {"status", "capacity"}},
        {"voltage_now",
         "battery_supply get voliage error\n",
         {57, 0, 0, 8400, 6600, 0, 100},
         {"status", "capacity", "voltage_now"}},
        {"capacity_level",
         "batter get level error\n",
         {57, 7421, 0, 8400, 6600, 0, 100},
         {"status", "capacity", "voltage_now", "capacity_level"}},
    };
    virtual_terminal board;
    find_supply(board, "Charging\n");
    const std::set<int> before = open_descriptors();
    for (const auto& row : rows) {
        const std::string path = KT_SUPPLY_DIR + std::string(row.attribute);
        for (const int cause : {EIO, EACCES}) {
            board.fail(path, {.on = "open", .error = cause});
            board.forget();
            record values;
            EXPECT_EQ(ask(values), (outcome{-1, cause, row.line}));
            EXPECT_EQ(values, row.filled) << row.attribute;
            lines opened;
            for (const std::string& each : row.opened)
                opened.push_back("open O_RDONLY " KT_SUPPLY_DIR + each);
            opened.back() += cause == EIO ? " = EIO" : " = EACCES";
            EXPECT_EQ(doings(board), opened) << row.attribute; // no line in syslog either
            board.mend_all();
        }
        const std::string text = board.text(path);
        board.remove(path);
        record values;
        EXPECT_EQ(ask(values), (outcome{-1, ENOENT, row.line}));
        EXPECT_EQ(values, row.filled) << row.attribute;
        supply_says(board, row.attribute, text);
        EXPECT_EQ(ask(values), (outcome{0, 0, ""}));
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(BatteryAttr, AnUnreadableStatusIsToldTwice)
{
    virtual_terminal board;
    find_supply(board);
    board.fail(KT_SUPPLY_DIR "status", {.on = "read", .error = EIO});
    record values;
    EXPECT_EQ(ask(values), (outcome{-1, EIO,
                                    "ac_supply get ac online error\n"
                                    "battery_supply get status error\n"}));
    EXPECT_EQ(values, (record{57, 7421, 4, 8400, 6600, 0, -1}));
    EXPECT_EQ(board.syslog(), "");

    board.fail(KT_SUPPLY_DIR "capacity", {.on = "read", .error = ENODEV});
    EXPECT_EQ(ask(values), (outcome{-1, ENODEV,
                                    "ac_supply get ac online error\n"
                                    "battery_supply get capacity error\n"}));
    EXPECT_EQ(values, (record{0, 0, 0, 8400, 6600, 0, -1}));
}

TEST(BatteryAttr, TheStatusIsReadOnceForTheMainsAndOnceForItself)
{
    virtual_terminal board;
    find_supply(board, "Charging\n");
    board.fail(KT_SUPPLY_DIR "status", {.on = "read", .error = EIO, .times = 1});
    record values;
    EXPECT_EQ(ask(values).result, 0); // the battery is told all the same
    EXPECT_EQ(values, (record{57, 7421, 4, 8400, 6600, 1, -1}));
    board.mend_all();

    board.fail(KT_SUPPLY_DIR "status", {.on = "read", .error = EIO, .times = 1});
    EXPECT_EQ(ask(values).text, no_status);
    board.mend_all();

    board.fail(KT_SUPPLY_DIR "status", {.on = "read", .error = EIO, .skip = 1});
    EXPECT_EQ(ask(values), (outcome{-1, EIO, "battery_supply get status error\n"}));
    EXPECT_EQ(values, (record{57, 7421, 4, 8400, 6600, 0, 100}));
}

TEST(BatteryAttr, OnHardwareVersion50TheMainsNeedNoStatus)
{
    virtual_terminal board;
    find_supply(board, "Discharging\n");
    has_version(board, "50");
    board.forget();
    record values;
    EXPECT_EQ(ask(values), (outcome{0, 0, ""}));
    EXPECT_EQ(values, (record{57, 7421, 4, 8400, 6600, 2, 100}));
    EXPECT_EQ(told(board, {"open"}), (lines{
                                         "open O_RDONLY " KT_SUPPLY_DIR "capacity",
                                         "open O_RDONLY " KT_SUPPLY_DIR "voltage_now",
                                         "open O_RDONLY " KT_SUPPLY_DIR "capacity_level",
                                         "open O_RDONLY " KT_SUPPLY_DIR "status",
                                     }));
    board.remove(KT_SUPPLY_DIR "status");
    EXPECT_EQ(ask(values), (outcome{-1, ENOENT, "battery_supply get status error\n"}));
    EXPECT_EQ(values, (record{57, 7421, 4, 8400, 6600, 0, 100}));
}

TEST(BatteryAttr, WithoutABatteryTheRecordIsNotTouched)
{
    virtual_terminal board;
    give_supply(board);
    record values;
    for (const char* version : {"200", "50"}) { // version 50 knows of the mains, but of no battery
        has_version(board, version);
        board.forget();
        EXPECT_EQ(ask(values), (outcome{-1, ENODEV, ""})) << version;
        EXPECT_EQ(values, all_junk) << version;
        EXPECT_EQ(all_of(board), lines{}) << version;
    }
}

TEST(BatteryAttr, NoRecordIsRefused)
{
    virtual_terminal board;
    EXPECT_EQ(outcome_of([] { return kt_power_battery_attr(nullptr); }), (outcome{-1, EINVAL, ""}));
    find_supply(board);
    board.fail(KT_SUPPLY_DIR "status", {.on = "read", .error = EIO}); // would be told
    EXPECT_EQ(outcome_of([] { return kt_power_battery_attr(nullptr); }), (outcome{-1, EINVAL, ""}));
    EXPECT_EQ(all_of(board), lines{});
}

TEST(Battery, TheCauseOutlivesALineThatCannotBePrinted)
{
    virtual_terminal board;
    find_supply(board);
    board.fail(KT_SUPPLY_DIR "status", {.on = "read", .error = EIO});
    const auto cause_of = [](int (*call)()) {
        const failing_stdout now;
        errno = 0;
        EXPECT_EQ(call(), -1);
        return errno;
    };
    EXPECT_EQ(cause_of(kt_power_ac_online), EIO);
    EXPECT_EQ(cause_of([] {
                  kt_battery_attr attr;
                  return kt_power_battery_attr(&attr);
              }),
              EIO);
    take_supply(board);
    EXPECT_EQ(cause_of(kt_supplypower_init), ENOENT);
}
