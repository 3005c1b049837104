/** The configuration of an emulated card: its limits, its lines, its record over the shared one. */
#include <kt_driver/base.h>
#include <kt_driver/nfc.h>

#include "tests/nfc/scripted_reader.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <climits>
#include <gtest/gtest.h>

using namespace kt::tests;

namespace {

const std::uint8_t* const header = plenty();
const std::uint8_t* const blocks = plenty() + 200;

struct configuration {
    const std::uint8_t* header;
    int header_len;
    const std::uint8_t* blocks;
    std::uint32_t count;
};

int configure(const configuration& given)
{
    return kt_rfid_emulate_config(given.header, given.header_len, given.blocks, given.count);
}

const char* const chip_attribute = KT_NFC_DIR "nfc_rfid_chip";

/** The call's result and its lines for this chip. */
outcome emulation_type_of(kt::terminal::virtual_terminal& board, const std::string& chip)
{
    board.attribute(chip_attribute, {.text = chip + "\n", .mode = 0444});
    return outcome_of(kt_get_rfid_emulate_type);
}

} // namespace

TEST(EmulatedCard, LiesOverTheRecordWhoseLastFourBytesStay)
{
    const configuration cases[] = {
        {header, 128, blocks, 256}, {header, 128, blocks, 0}, {header, 0, blocks, 256}, {header, 1, blocks, 1},
        {header, 127, blocks, 255}, {nullptr, 0, nullptr, 0}, {nullptr, 0, blocks, 2},  {header, 3, nullptr, 0},
    };
    scripted_reader reader;
    for (const configuration& given : cases) {
        SCOPED_TRACE(std::to_string(given.header_len) + " and " + std::to_string(given.count));
        const wire_record before = wire_record::pattern(33);
        (void)reader.exchange_record(before);
        reader.will_answer(0x4D, {.result = 6});
        reader.board.forget();
        const outcome printed = {6, 0, "block_cap=" + std::to_string(given.count) + "\n"};
        EXPECT_EQ(outcome_of([&] { return configure(given); }), printed);

        std::string sent(1160, '\0');
        const auto length = static_cast<std::size_t>(given.header_len);
        for (std::size_t i = 0; i < length; ++i)
            sent[i] = static_cast<char>(header[i]);
        sent[128] = static_cast<char>(length);
        for (std::size_t i = 0; i < given.count * std::size_t{4}; ++i)
            sent[132 + i] = static_cast<char>(blocks[i]);
        sent[1156] = static_cast<char>(given.count % 256);
        sent[1157] = static_cast<char>(given.count / 256);
        sent += before.bytes.substr(1160);
        const auto seen = reader.requests();
        ASSERT_EQ(seen.size(), 1U);
        EXPECT_EQ(seen[0].number, 0xC0044D4DU);
        EXPECT_EQ(difference(seen[0].record.bytes, sent), "");
    }
}

TEST(EmulatedCard, BeyondItsLimitsIsToldWithoutALineFeedAndNotSent)
{
    const configuration cases[] = {
        {header, 129, blocks, 0},      {header, 0, blocks, 257},        {header, 129, blocks, 257},
        {header, INT_MAX, blocks, 1},  {header, 1, blocks, 0x7FFFFFFF}, {header, 1, blocks, 0x80000000},
        {header, 1, blocks, UINT_MAX}, {nullptr, 129, nullptr, 0},      {nullptr, 0, nullptr, 257},
        {header, 129, nullptr, 3},     {nullptr, 3, blocks, 257},       {header, -1, blocks, 257},
    };
    scripted_reader reader;
    const wire_record before = wire_record::pattern(33);
    (void)reader.exchange_record(before);
    reader.board.forget();
    for (const configuration& given : cases)
        EXPECT_EQ(outcome_of([&] { return configure(given); }), (outcome{1, 0, "param error "}))
            << given.header_len << ' ' << given.count;
    EXPECT_EQ(printed([&] {
                  configure(cases[0]);
                  configure(cases[1]);
              }),
              "param error param error ");
    EXPECT_EQ(reader.requests().size(), 0U);
    EXPECT_EQ(difference(reader.exchange_record(before).bytes, before.bytes), "");
}

TEST(EmulationType, FollowsFromTheChip)
{
    const int types[] = {0, 2, 1, 0, 0, 1, 2};
    kt::terminal::virtual_terminal board;
    for (int chip = 0; chip < 7; ++chip) {
        const std::string number = std::to_string(chip);
        EXPECT_EQ(emulation_type_of(board, number),
                  (outcome{types[chip], 0, "kt_get_rfid_chip ret=" + number + "\r\n"}));
    }
}

TEST(EmulationType, OfAChipThatIsNotKnownIsZeroWithALine)
{
    kt::terminal::virtual_terminal board;
    for (const char* chip : {"7", "8", "255", "65536", "65537", "-2", "2147483647"}) {
        const std::string number = chip;
        EXPECT_EQ(emulation_type_of(board, number),
                  (outcome{0, 0,
                           "kt_get_rfid_chip ret=" + number + "\r\nkt_get_rfid_emulate_type rfid_chip =" + number +
                               "  rfid_chip_type not exist\r\n"}));
    }
}

TEST(EmulationType, FollowsFromTheBoardWhenTheChipCannotBeRead)
{
    struct {
        int hardware, type;
    } const boards[] = {{50, 0}, {80, 0}, {90, 2}, {100, 0}, {200, 1}, {300, 0}, {500, 2}, {501, 0}};
    kt::terminal::virtual_terminal board;
    board.remove(chip_attribute);
    for (const auto& [hardware, type] : boards) {
        board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = std::to_string(hardware) + "\n", .mode = 0444});
        kt_base_init();
        EXPECT_EQ(outcome_of(kt_get_rfid_emulate_type), (outcome{type, 0, "kt_get_rfid_chip ret=-1\r\n"})) << hardware;
    }
    board.attribute(KT_SYSINFO_DIR "hardwarever", {.text = "85\n", .mode = 0444});
    kt_base_init();
    EXPECT_EQ(outcome_of(kt_get_rfid_emulate_type),
              (outcome{0, 0,
                       "kt_get_rfid_chip ret=-1\r\n"
                       "kt_get_rfid_emulate_type rfid_chip =-1  rfid_chip_type not exist\r\n"}));
}
