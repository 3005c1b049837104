/** Mifare Classic as its data sheet has it: keys, access conditions, values, and what ends an authentication. */
#include "card_frames.h"

#include <array>
#include <gtest/gtest.h>

namespace {

using namespace kt::terminal;
using namespace kt::tests;

const std::string key_a = "A0A1A2A3A4A5";
const std::string key_b = "B0B1B2B3B4B5";
const std::string auth_1a = "60 04 " + key_a; // sector 1, that of blocks 4 to 7
const std::string auth_1b = "61 04 " + key_b;
const std::string hundred = "64000000 9BFFFFFF 64000000 04FB04FB";
const std::string ninety = "5A000000 A5FFFFFF 5A000000 04FB04FB";
const std::string some_data = "000102030405060708090A0B0C0D0E0F";
const std::string zeros(32, '0');

/** A selected card whose sector 1 has the keys above and these access bits. */
card_ptr card_with(const std::string& access, const std::string& blocks = "")
{
    card_ptr made =
        card_of_file(R"({"card": "classic_1k", "uid": "01020304", "sectors": [{"sector": 1, "key_a": ")" + key_a +
                     R"(", "key_b": ")" + key_b + R"(", "access": ")" + access + R"("}], "blocks": {)" + blocks + "}}");
    made->power_up();
    return made;
}

/** Blocks 4 and 5 hold 100, block 6 holds data; as delivered but for the keys. */
card_ptr wallet(const std::string& access = "FF0780")
{
    return card_with(access, R"("4": ")" + hundred + R"(", "5": ")" + hundred + R"(", "6": ")" + some_data + '"');
}

/** Access bytes for the conditions, "C1 C2 C3" as three digits, of data blocks 0 to 2 and the trailer, by the data
 * sheet's figure. */
std::string access_bytes(const std::array<std::string, 4>& conditions)
{
    const auto c = [&](unsigned which, unsigned block) { return conditions.at(block).at(which - 1) == '1' ? 1U : 0U; };
    unsigned byte_6 = 0;
    unsigned byte_7 = 0;
    unsigned byte_8 = 0;
    for (unsigned block = 0; block < 4; ++block) {
        byte_6 |= (1 - c(2, block)) << (4 + block) | (1 - c(1, block)) << block;
        byte_7 |= c(1, block) << (4 + block) | (1 - c(3, block)) << block;
        byte_8 |= c(3, block) << (4 + block) | c(2, block) << block;
    }
    return digits_of_bytes(
        std::string{static_cast<char>(byte_6), static_cast<char>(byte_7), static_cast<char>(byte_8)});
}

TEST(ClassicCard, CardsAreSelectedByFourOrSevenBytes)
{
    const card_ptr short_one = card_of_file(R"({"card": "classic_1k", "uid": "DEADBEEF"})");
    EXPECT_EQ(short_one->identity().family, card_family::classic);
    EXPECT_EQ(digits_of_bytes(short_one->identity().uid), "DEADBEEF");
    EXPECT_EQ(short_one->identity().atqa, 0x0004);
    EXPECT_EQ(short_one->identity().sak, 0x08);
    short_one->power_up();
    expect_dialogue(*short_one, {{"60 00 FFFFFFFFFFFF", "ack"}, {"30 00", "DEADBEEF 22 08 0400 0000000000000000"}});

    const card_ptr long_one = card_of_file(R"({"card": "classic_1k", "uid": "04112233445566"})");
    EXPECT_EQ(digits_of_bytes(long_one->identity().uid), "04112233445566");
    EXPECT_EQ(long_one->identity().atqa, 0x0044);
    EXPECT_EQ(long_one->identity().sak, 0x08);
    long_one->power_up();
    expect_dialogue(*long_one, {{"60 00 FFFFFFFFFFFF", "ack"}, {"30 00", "04112233445566 08 4400 000000000000"}});
}

TEST(ClassicCard, IsSilentUntilItIsSelected)
{
    const card_ptr card = card_of_file(R"({"card": "classic_1k"})");
    expect_dialogue(*card, {{"60 00 FFFFFFFFFFFF", "silence"}, {"30 00", "silence"}});
}

TEST(ClassicCard, EveryBlockOfANewCardIsReachedWithTheTransportKey)
{
    const card_ptr card = card_of_file(R"({"card": "classic_1k"})");
    card->power_up();
    for (unsigned block = 1; block < 64; ++block) {
        const std::string number = digits_of_bytes(std::string(1, static_cast<char>(block)));
        const bool trailer = block % 4 == 3;
        expect_dialogue(*card, {{"60" + number + "FFFFFFFFFFFF", "ack"},
                                {"30" + number, trailer ? "000000000000 FF0780 69 FFFFFFFFFFFF" : zeros}});
    }
}

struct dialogue {
    const char* about;
    std::vector<said> rows;
};

TEST(ClassicCard, AnswersByItsState)
{
    const std::string wrong = "60 04 FFFFFFFFFFFF";
    const std::string auth_2 = "60 08 FFFFFFFFFFFF";
    const dialogue table[] = {
        {"right key", {{auth_1a, "ack"}, {"30 06", some_data}, {"30 06", some_data}}},
        {"wrong key", {{wrong, "silence"}, {auth_1a, "silence"}, {"30 06", "silence"}}},
        {"wrong key after a right one", {{auth_1a, "ack"}, {wrong, "silence"}, {"30 06", "silence"}}},
        {"key A given as key B", {{"61 04 " + key_a, "silence"}, {auth_1a, "silence"}}},
        {"by any block of the sector", {{"60 07 " + key_a, "ack"}, {"30 04", hundred}}},
        {"no such sector", {{"60 40 FFFFFFFFFFFF", "silence"}, {auth_1a, "silence"}}},
        {"key cut short", {{"60 04 A0A1A2A3A4", "nak 5"}, {auth_1a, "silence"}}},
        {"key too long", {{auth_1a + "00", "nak 5"}}},
        {"unauthenticated read", {{"30 06", "nak 4"}, {auth_1a, "silence"}}},
        {"unauthenticated write", {{"A0 06", "nak 4"}, {some_data, "silence"}}},
        {"another sector", {{auth_1a, "ack"}, {"30 08", "nak 4"}, {"30 06", "silence"}}},
        {"the sector before", {{auth_1a, "ack"}, {"30 03", "nak 4"}}},
        {"beyond the card", {{auth_1a, "ack"}, {"30 44", "nak 4"}}},
        {"one sector at a time", {{auth_1a, "ack"}, {auth_2, "ack"}, {"30 08", zeros}, {"30 06", "nak 4"}}},
        {"unknown command", {{auth_1a, "ack"}, {"A2 06", "nak 4"}, {auth_1a, "silence"}}},
        {"empty frame", {{auth_1a, "ack"}, {"", "nak 5"}, {auth_1a, "silence"}}},
        {"read cut short", {{auth_1a, "ack"}, {"30", "nak 5"}, {auth_1a, "silence"}}},
        {"read too long", {{auth_1a, "ack"}, {"30 06 00", "nak 5"}}},
        {"halt", {{auth_1a, "ack"}, {"50 00", "silence"}, {"30 06", "silence"}, {auth_1a, "silence"}}},
        {"write", {{auth_1a, "ack"}, {"A0 06", "ack"}, {zeros, "ack"}, {"30 06", zeros}}},
        {"data like a command",
         {{auth_1a, "ack"},
          {"A0 06", "ack"},
          {hundred, "ack"},
          {"A0 05", "ack"},
          {"60 04 A0A1A2A3A4A5 30 06 30 06 30 06 50 00", "ack"},
          {"30 05", "60 04 A0A1A2A3A4A5 30 06 30 06 30 06 50 00"}}},
        {"write of 15 bytes", {{auth_1a, "ack"}, {"A0 06", "ack"}, {zeros.substr(2), "nak 5"}, {auth_1a, "silence"}}},
        {"write of 17 bytes", {{auth_1a, "ack"}, {"A0 06", "ack"}, {zeros + "00", "nak 5"}}},
        {"value command on data", {{auth_1a, "ack"}, {"C1 06", "nak 4"}, {auth_1a, "silence"}}},
        {"value command on a trailer", {{auth_1a, "ack"}, {"C2 07", "nak 4"}}},
        {"nothing to transfer", {{auth_1a, "ack"}, {"B0 04", "nak 4"}, {auth_1a, "silence"}}},
    };
    for (const dialogue& row : table)
        expect_dialogue(*wallet(), row.rows, row.about);
}

TEST(ClassicCard, ARefusedCardWorksAgainAfterItIsSelected)
{
    const card_ptr card = wallet();
    expect_dialogue(*card, {{auth_1a, "ack"}, {"A0 06", "ack"}, {"00", "nak 5"}, {auth_1a, "silence"}});
    expect_dialogue(*card, {{"select"}, {"30 06", "nak 4"}});
    expect_dialogue(*card, {{"select"}, {auth_1a, "ack"}, {"30 06", some_data}});
}

TEST(ClassicCard, TheManufacturersBlockIsNeverWritten)
{
    const std::string value = "04000000 FBFFFFFF 04000000 00FF00FF";
    const card_ptr card = card_of_file(R"({"card": "classic_1k", "blocks": {"1": ")" + value + R"("}})");
    const std::string auth_0 = "60 00 FFFFFFFFFFFF";
    const std::vector<said> refused[] = {
        {{auth_0, "ack"}, {"A0 00", "nak 4"}},
        {{auth_0, "ack"}, {"C2 01", "ack"}, {"00000000", "silence"}, {"B0 00", "nak 0"}},
    };
    for (const auto& rows : refused) {
        card->power_up();
        expect_dialogue(*card, rows);
    }
    expect_dialogue(*card, {{"select"}, {auth_0, "ack"}, {"30 00", "3A5C107E 08 08 0400 0000000000000000"}});
}

TEST(ClassicCard, ValuesAreCountedInTheTransferBuffer)
{
    const dialogue table[] = {
        {"decrement",
         {{"C0 04", "ack"}, {"0A000000", "silence"}, {"30 04", hundred}, {"B0 04", "ack"}, {"30 04", ninety}}},
        {"increment",
         {{"C1 04", "ack"},
          {"9C000000", "silence"},
          {"B0 04", "ack"},
          {"30 04", "00010000 FFFEFFFF 00010000 04FB04FB"}}},
        {"restore looks at no number",
         {{"C2 04", "ack"}, {"FFFFFFFF", "silence"}, {"B0 06", "ack"}, {"30 06", hundred}}},
        {"into another block, its own address along",
         {{"C0 05", "ack"}, {"0A000000", "silence"}, {"B0 06", "ack"}, {"30 06", ninety}, {"30 05", hundred}}},
        {"twice", {{"C0 04", "ack"}, {"0A000000", "silence"}, {"B0 04", "ack"}, {"B0 05", "ack"}, {"30 05", ninety}}},
        {"the last one counts",
         {{"C0 04", "ack"},
          {"0A000000", "silence"},
          {"C0 04", "ack"},
          {"64000000", "silence"},
          {"B0 04", "ack"},
          {"30 04", "00000000 FFFFFFFF 00000000 04FB04FB"}}},
        {"below zero",
         {{"C0 04", "ack"},
          {"65000000", "silence"},
          {"B0 04", "ack"},
          {"30 04", "FFFFFFFF 00000000 FFFFFFFF 04FB04FB"}}},
        {"to the highest",
         {{"C1 04", "ack"},
          {"9BFFFF7F", "silence"},
          {"B0 04", "ack"},
          {"30 04", "FFFFFF7F 00000080 FFFFFF7F 04FB04FB"}}},
        {"beyond the highest", {{"C1 04", "ack"}, {"9CFFFF7F", "nak 4"}, {auth_1a, "silence"}}},
        {"to the lowest",
         {{"C0 04", "ack"},
          {"64000080", "silence"},
          {"B0 04", "ack"},
          {"30 04", "00000080 FFFFFF7F 00000080 04FB04FB"}}},
        {"below the lowest", {{"C0 04", "ack"}, {"65000080", "nak 4"}}},
        {"a decrement by a number with its highest bit does not add", {{"C0 04", "ack"}, {"FFFFFFFF", "nak 4"}}},
        {"number of 3 bytes", {{"C1 04", "ack"}, {"010000", "nak 5"}, {auth_1a, "silence"}}},
        {"number of 5 bytes", {{"C1 04", "ack"}, {"0100000000", "nak 5"}}},
        {"refused with a value waiting",
         {{"C1 04", "ack"}, {"01000000", "silence"}, {"C1 06", "nak 0"}, {"B0 04", "silence"}}},
        {"garbled with a value waiting",
         {{"C1 04", "ack"}, {"01000000", "silence"}, {"30", "nak 1"}, {"B0 04", "silence"}}},
        {"overflow with a value waiting",
         {{"C1 04", "ack"}, {"01000000", "silence"}, {"C1 04", "ack"}, {"FFFFFFFF", "nak 0"}}},
        {"not into a trailer", {{"C2 04", "ack"}, {"00000000", "silence"}, {"B0 07", "nak 0"}}},
        {"not kept over an authentication",
         {{"C1 04", "ack"}, {"01000000", "silence"}, {auth_1a, "ack"}, {"B0 04", "nak 4"}}},
    };
    for (const dialogue& row : table) {
        const card_ptr card = wallet();
        expect_dialogue(*card, {{auth_1a, "ack"}}, row.about);
        expect_dialogue(*card, row.rows, row.about);
    }
}

TEST(ClassicCard, TheTransferBufferIsLostWithThePower)
{
    const card_ptr card = wallet();
    expect_dialogue(*card, {{auth_1a, "ack"}, {"C1 04", "ack"}, {"01000000", "silence"}});
    expect_dialogue(*card, {{"select"}, {auth_1a, "ack"}, {"B0 04", "nak 4"}});
}

TEST(ClassicCard, ABlockIsAValueOnlyIfAllItsCopiesAgree)
{
    const std::string bytes = bytes_of_digits(hundred);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::string damaged = bytes;
        damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
        const card_ptr card = card_with("FF0780", R"("4": ")" + digits_of_bytes(damaged) + '"');
        expect_dialogue(*card, {{auth_1a, "ack"}, {"C2 04", "nak 4"}}, "byte " + std::to_string(i));
    }
}

struct data_condition {
    const char* c1_c2_c3;
    const char* read;
    const char* write;
    const char* increment;
    const char* decrement_transfer_restore;
};

TEST(ClassicCard, AccessConditionsOfDataBlocksHoldForEachBlockAndKey)
{
    const data_condition table[] = {
        {"000", "AB", "AB", "AB", "AB"}, {"010", "AB", "", "", ""},   {"100", "AB", "B", "", ""},
        {"110", "AB", "B", "B", "AB"},   {"001", "AB", "", "", "AB"}, {"011", "B", "B", "", ""},
        {"101", "B", "", "", ""},        {"111", "", "", "", ""},
    };
    for (const data_condition& row : table)
        for (unsigned block = 0; block < 3; ++block)
            for (const char key : {'A', 'B'}) {
                std::array<std::string, 4> conditions = {"000", "000", "000", "011"}; // the others allow all
                conditions.at(block) = row.c1_c2_c3;
                const std::string number = digits_of_bytes(std::string(1, static_cast<char>(4 + block)));
                const std::string other = block == 0 ? "05" : "04";
                const std::string about = std::string(row.c1_c2_c3) + " block " + number + " key " + key;
                const auto tried = [&](const std::string& frame, const char* who, const std::string& allowed,
                                       bool value_waits = false) {
                    const card_ptr card =
                        card_with(access_bytes(conditions),
                                  R"("4": ")" + hundred + R"(", "5": ")" + hundred + R"(", "6": ")" + hundred + '"');
                    expect_dialogue(*card, {{key == 'A' ? auth_1a : auth_1b, "ack"}}, about);
                    if (value_waits)
                        expect_dialogue(*card, {{"C2" + other, "ack"}, {"00000000", "silence"}}, about);
                    const bool may = std::string_view(who).find(key) != std::string_view::npos;
                    const char* const nak = value_waits ? "nak 0" : "nak 4";
                    expect_dialogue(*card, {{frame + number, may ? allowed : nak}}, about);
                };
                tried("30", row.read, hundred);
                tried("A0", row.write, "ack");
                tried("C1", row.increment, "ack");
                tried("C0", row.decrement_transfer_restore, "ack");
                tried("C2", row.decrement_transfer_restore, "ack");
                tried("B0", row.decrement_transfer_restore, "ack", true);
            }
}

struct trailer_condition {
    const char* c1_c2_c3;
    const char* write_key_a;
    const char* read_bits;
    const char* write_bits;
    const char* read_key_b;
    const char* write_key_b;
};

TEST(ClassicCard, AccessConditionsOfTrailersHoldForEachPartAndKey)
{
    const trailer_condition table[] = {
        {"000", "A", "A", "", "A", "A"}, {"010", "", "A", "", "A", ""},    {"100", "B", "AB", "", "", "B"},
        {"110", "", "AB", "", "", ""},   {"001", "A", "A", "A", "A", "A"}, {"011", "B", "AB", "B", "", "B"},
        {"101", "", "AB", "B", "", ""},  {"111", "", "AB", "", "", ""},
    };
    for (const trailer_condition& row : table)
        for (const char key : {'A', 'B'}) {
            const std::string about = std::string(row.c1_c2_c3) + " key " + key;
            const auto may = [&](const char* who) { return std::string_view(who).find(key) != std::string_view::npos; };
            const std::string bits = access_bytes({"000", "000", "000", row.c1_c2_c3});
            const card_ptr card = card_with(bits);
            const std::string auth = key == 'A' ? auth_1a : auth_1b;
            const std::string shown =
                std::string(12, '0') + bits + "69" + (may(row.read_key_b) ? key_b : "000000000000");
            expect_dialogue(*card, {{auth, "ack"}, {"30 07", may(row.read_bits) ? shown : "nak 4"}}, about);

            card->power_up();
            const bool any = may(row.write_key_a) || may(row.write_bits) || may(row.write_key_b);
            const std::string before = card->file();
            expect_dialogue(*card,
                            {{auth, "ack"},
                             {"A0 07", any ? "ack" : "nak 4"},
                             {"111111111111 787788 AA 222222222222", any ? "ack" : "silence"}},
                            about);
            const auto changed = [&](const char* member, const std::string& value) {
                return card->file().find(std::string(member) + "\": \"" + value + '"') != std::string::npos;
            };
            EXPECT_EQ(changed("key_a", "111111111111"), may(row.write_key_a)) << about;
            EXPECT_EQ(changed("access", "787788"), may(row.write_bits)) << about;
            EXPECT_EQ(changed("user_byte", "AA"), may(row.write_bits)) << about;
            EXPECT_EQ(changed("key_b", "222222222222"), may(row.write_key_b)) << about;
            EXPECT_EQ(card->file() == before, !any) << about;
        }
}

TEST(ClassicCard, AKeyBThatCanBeReadOpensNothing)
{
    for (const char* const trailer : {"000", "010", "001"})
        for (const char* const frame : {"30 06", "A0 06", "C1 04", "C0 04", "C2 04", "30 07", "A0 07"})
            expect_dialogue(*wallet(access_bytes({"000", "000", "000", trailer})), {{auth_1b, "ack"}, {frame, "nak 4"}},
                            trailer);
}

TEST(ClassicCard, WellKnownAccessBytesAreUnderstood)
{
    const dialogue table[] = {
        {"7F0788", {{auth_1b, "ack"}, {"A0 06", "ack"}}},
        {"787788", {{auth_1a, "ack"}, {"30 06", some_data}, {"A0 06", "nak 4"}}},
        {"08778F", {{auth_1a, "ack"}, {"C0 04", "ack"}, {"01000000", "silence"}, {"C1 04", "nak 0"}}},
    };
    for (const dialogue& row : table)
        expect_dialogue(*wallet(row.about), row.rows, row.about);
}

TEST(ClassicCard, BitsWhoseInvertedCopiesDoNotFitBlockTheSectorForGood)
{
    const std::string right = bytes_of_digits("FF0780");
    for (std::size_t bit = 0; bit < 24; ++bit) {
        std::string wrong = right;
        wrong[bit / 8] = static_cast<char>(wrong[bit / 8] ^ 1 << bit % 8);
        const card_ptr card = wallet(digits_of_bytes(wrong));
        expect_dialogue(*card, {{auth_1a, "silence"}}, "bit " + std::to_string(bit));
    }
    const card_ptr card = wallet();
    expect_dialogue(*card,
                    {{auth_1a, "ack"}, {"A0 07", "ack"}, {key_a + "FF0781 69" + key_b, "ack"}, {"30 06", "nak 4"}});
    expect_dialogue(*card, {{"select"}, {auth_1a, "silence"}});
    expect_dialogue(*card, {{"select"}, {"60 08 FFFFFFFFFFFF", "ack"}, {"30 08", zeros}});
}

TEST(ClassicCard, ANewKeyCountsFromTheNextAuthentication)
{
    const card_ptr card = wallet();
    expect_dialogue(
        *card, {{auth_1a, "ack"}, {"A0 07", "ack"}, {"C0C1C2C3C4C5 FF0780 69" + key_b, "ack"}, {"30 06", some_data}});
    expect_dialogue(*card, {{auth_1a, "silence"}});
    expect_dialogue(*card, {{"select"}, {"60 04 C0C1C2C3C4C5", "ack"}, {"30 06", some_data}});
}

TEST(ClassicCard, ACardThatIsTornAwayHasWrittenNothing)
{
    const dialogue table[] = {
        {"00112233445566778899AABBCCDDEEFF", {{auth_1a, "ack"}, {"A0 06", "ack"}}},
        {"B0 06", {{auth_1a, "ack"}, {"C2 04", "ack"}, {"00000000", "silence"}}},
    };
    for (const dialogue& row : table) {
        const card_ptr card = wallet();
        const std::string before = card->file();
        expect_dialogue(*card, row.rows);
        expect_dialogue(*card, {{std::string("tear ") + row.about}, {"30 06", "silence"}, {auth_1a, "silence"}});
        EXPECT_EQ(card->file(), before);
        expect_dialogue(*card, {{"select"}, {auth_1a, "ack"}, {"30 06", some_data}, {"B0 06", "nak 4"}});
    }
}

TEST(ClassicCard, ItsFileDescribesItAsItIsNow)
{
    const card_ptr card = wallet();
    expect_dialogue(*card, {{auth_1a, "ack"}, {"C0 04", "ack"}, {"0A000000", "silence"}, {"B0 04", "ack"}});
    expect_dialogue(*card,
                    {{"60 3C FFFFFFFFFFFF", "ack"}, {"A0 3F", "ack"}, {"111111111111 7F0788 42 222222222222", "ack"}});
    const std::string written = R"({
    "card": "classic_1k",
    "uid": "01020304",
    "sectors": [
        {
            "sector": 1,
            "key_a": "A0A1A2A3A4A5",
            "access": "FF0780",
            "user_byte": "69",
            "key_b": "B0B1B2B3B4B5"
        },
        {
            "sector": 15,
            "key_a": "111111111111",
            "access": "7F0788",
            "user_byte": "42",
            "key_b": "222222222222"
        }
    ],
    "blocks": {
        "4": "5A000000A5FFFFFF5A00000004FB04FB",
        "5": "640000009BFFFFFF6400000004FB04FB",
        "6": "000102030405060708090A0B0C0D0E0F"
    }
}
)";
    EXPECT_EQ(card->file(), written);
    const card_ptr again = card_of_file(written);
    EXPECT_EQ(again->file(), written);
    again->power_up();
    expect_dialogue(*again, {{auth_1a, "ack"}, {"30 04", ninety}, {"61 3C 222222222222", "ack"}});
}

TEST(ClassicCard, BlockZeroKeepsWhatTheFileGivesIt)
{
    const std::string text = R"({"card": "classic_1k", "name": "old", "uid": "01020304",
        "blocks": {"0": "01020304 04 88 0400 6263646566676869"}})";
    const card_ptr card = card_of_file(card_of_file(text)->file());
    EXPECT_NE(card->file().find(R"("name": "old")"), std::string::npos);
    expect_dialogue(*card,
                    {{"select"}, {"60 00 FFFFFFFFFFFF", "ack"}, {"30 00", "01020304 04 88 0400 6263646566676869"}});
}

TEST(ClassicCard, AFileThatDescribesNoSuchCardIsRefused)
{
    const struct {
        const char* members;
        const char* sentence;
    } table[] = {
        {R"("uid": "88010203")", "a \"uid\" of 4 bytes must not begin with 88, which announces a longer one"},
        {R"("uid": "88010203040506")", "accepted"},
        {R"("uid": "010203")", "a classic card's \"uid\" must be 4 or 7 bytes in hexadecimal digits"},
        {R"("blocks": {"7": "00000000000000000000000000000000"})",
         "a classic card's block 7 is a trailer: its keys and access bits stand in \"sectors\""},
        {R"("blocks": {"0": "3A5C107E000000000000000000000000"})",
         "a classic card's block 0 must begin with its \"uid\", of 4 bytes followed by their exclusive or"},
        {R"("blocks": {"64": "00000000000000000000000000000000"})",
         "a card's \"blocks\" must be an object whose names are numbers below 64"},
        {R"("sectors": [{"key_a": "000000000000"}])",
         "each of a classic card's \"sectors\" has a \"sector\" of its own, 0 to 15"},
        {R"("sectors": [{"sector": 16}])", "a card's \"sector\" must be a whole number up to 15"},
        {R"("sectors": [{"sector": 3}, {"sector": 3}])",
         "each of a classic card's \"sectors\" has a \"sector\" of its own, 0 to 15"},
        {R"("sectors": [{"sector": 3, "key": "000000000000"}])", "such a card has no \"key\""},
        {R"("sectors": [{"sector": 3, "key_b": "0000"}])", "a card's \"key_b\" must be 6 bytes in hexadecimal digits"},
    };
    for (const auto& row : table)
        EXPECT_EQ(refusal_of(R"({"card": "classic_1k", )" + std::string(row.members) + "}"), row.sentence);
}

} // namespace
