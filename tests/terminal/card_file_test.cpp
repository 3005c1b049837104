/** How a card's file is read and written, and that every sample is one. */
#include "card_frames.h"
#include "terminal/cards/card_file.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <set>

namespace {

using namespace kt::terminal;
using namespace kt::tests;
using namespace std::string_literals;

/** What @p read throws; "nothing" if it does not. */
template <typename Read>
std::string complaint(const Read& read)
{
    try {
        read();
        return "nothing";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

card_file with(const std::string& value)
{
    return card_file("{\"it\": " + value + "}");
}

TEST(CardFile, IsOneObjectWithComments)
{
    EXPECT_EQ(card_file("// whose\n{\"it\": 7 /* of nine */}").number("it", 0, 9), 7U);
    for (const char* text : {"", "[]", "7", "{", "{} {}", "{\"it\": 7,}", "{it: 7}"})
        EXPECT_EQ(refusal_of(text), "a card's file is one JSON object") << text;
}

TEST(CardFile, AbsentMembersHaveTheirDefaults)
{
    const card_file file("{}");
    EXPECT_FALSE(file.has("it"));
    EXPECT_EQ(file.text("it", "default"), "default");
    EXPECT_EQ(file.number("it", 12, 3), 12U);
    EXPECT_TRUE(file.flag("it", true));
    EXPECT_EQ(file.bytes("it"), std::nullopt);
    EXPECT_EQ(file.bytes_like("it", "ab"), "ab");
    EXPECT_TRUE(file.blocks("it", 4, 16).empty());
    EXPECT_TRUE(file.numbers("it", 3, 9).empty());
    EXPECT_TRUE(file.list("it").empty());
}

TEST(CardFile, GivenMembersAreRead)
{
    EXPECT_TRUE(with("null").has("it"));
    EXPECT_EQ(with("\"\"").text("it", "default"), "");
    EXPECT_EQ(with("9").number("it", 0, 9), 9U);
    EXPECT_EQ(with("4294967295").number("it", 0, 0xFFFFFFFF), 0xFFFFFFFFU);
    EXPECT_FALSE(with("false").flag("it", true));
    EXPECT_EQ(with("\" 00 aF09Bc  \"").bytes("it"), "\x00\xAF\x09\xBC"s);
    EXPECT_EQ(with("\"\"").bytes("it"), "");
    EXPECT_EQ(with("\"4142\"").bytes_like("it", "xy"), "AB");
    EXPECT_EQ(with(R"({"0": "4142", "15": "43 44"})").blocks("it", 2, 16),
              (std::map<std::uint32_t, std::string>{{0, "AB"}, {15, "CD"}}));
    EXPECT_EQ(with(R"({"2": 9, "0": 0})").numbers("it", 3, 9),
              (std::map<std::uint32_t, std::uint32_t>{{0, 0}, {2, 9}}));
    const card_file file = with(R"([{"a": 1}, {"a": 2}])");
    const auto list = file.list("it");
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[1].number("a", 0, 9), 2U);
}

TEST(CardFile, ValuesThatDoNotFitAreRefused)
{
    for (const char* value : {"7", "null", "[]", "true"})
        EXPECT_EQ(complaint([&] { (void)with(value).text("it", ""); }), "a card's \"it\" must be a text") << value;
    for (const char* value : {"10", "-1", "1.0", "\"7\"", "null", "4294967296", "18446744073709551616"})
        EXPECT_EQ(complaint([&] { (void)with(value).number("it", 0, 9); }),
                  "a card's \"it\" must be a whole number up to 9")
            << value;
    for (const char* value : {"0", "\"true\"", "null"})
        EXPECT_EQ(complaint([&] { (void)with(value).flag("it", true); }), "a card's \"it\" must be true or false")
            << value;
    for (const char* value : {"12", "null", "[\"12\"]"})
        EXPECT_EQ(complaint([&] { (void)with(value).bytes("it"); }), "a card's \"it\" must be hexadecimal digits")
            << value;
    for (const char* value : {"\"1\"", "\"123\"", "\"1 2\"", "\"0x12\"", "\"1G\"", "\"12:34\""})
        EXPECT_EQ(complaint([&] { (void)with(value).bytes("it"); }),
                  "a card's \"it\" must be pairs of hexadecimal digits")
            << value;
    for (const char* value : {"\"\"", "\"12\"", "\"123456\""})
        EXPECT_EQ(complaint([&] { (void)with(value).bytes_like("it", "xy"); }),
                  "a card's \"it\" must be 2 bytes in hexadecimal digits")
            << value;
    for (const char* value : {"7", "{}", "null"})
        EXPECT_EQ(complaint([&] { (void)with(value).list("it"); }), "a card's \"it\" must be a list of objects")
            << value;
    EXPECT_EQ(complaint([&] { (void)with("[{}, 7]").list("it"); }), "a card's \"it\" must be a list of objects");
}

TEST(CardFile, NumberedBlocksThatDoNotFitAreRefused)
{
    const char* const blocks[][2] = {
        {"[\"4142\"]", "a card's \"it\" must be an object of numbered blocks"},
        {R"({"0": "41"})", "a card's \"it\" must be blocks of 2 bytes"},
        {R"({"0": "414243"})", "a card's \"it\" must be blocks of 2 bytes"},
        {R"({"0": 7})", "a card's \"it\" must be hexadecimal digits"},
        {R"({"4": "4142"})", "a card's \"it\" must be an object whose names are numbers below 4"},
        {R"({"-1": "4142"})", "a card's \"it\" must be an object whose names are numbers below 4"},
        {R"({"": "4142"})", "a card's \"it\" must be an object whose names are numbers below 4"},
        {R"({"1x": "4142"})", "a card's \"it\" must be an object whose names are numbers below 4"},
        {R"({"4294967297": "4142"})", "a card's \"it\" must be an object whose names are numbers below 4"},
    };
    for (const auto& [value, why] : blocks)
        EXPECT_EQ(complaint([&] { (void)with(value).blocks("it", 2, 4); }), why) << value;
    const char* const numbers[][2] = {
        {"[7]", "a card's \"it\" must be an object of numbers"},
        {R"({"0": 10})", "a card's \"it\" must be a whole number up to 9"},
        {R"({"0": "7"})", "a card's \"it\" must be a whole number up to 9"},
        {R"({"3": 7})", "a card's \"it\" must be an object whose names are numbers below 3"},
    };
    for (const auto& [value, why] : numbers)
        EXPECT_EQ(complaint([&] { (void)with(value).numbers("it", 3, 9); }), why) << value;
}

TEST(CardFile, WhatStandsTwiceIsRefused)
{
    EXPECT_EQ(refusal_of(R"({"card": "type_a", "uid": "01020304", "uid": "01020305"})"),
              "a card's file cannot be read: \"uid\" stands there twice");
    EXPECT_EQ(refusal_of(R"({"card": "type_a", "answers": [{"command": "00", "answer": "9000", "answer": ""}]})"),
              "a card's file cannot be read: \"answer\" stands there twice");
    EXPECT_EQ(refusal_of(R"({"card": "type_a", "answers": [{"command": "00", "answer": "9000"},
                                                         {"command": "01", "answer": "9000"}]})"),
              "accepted");
    EXPECT_EQ(complaint([] { (void)with(R"({"1": "4142", "01": "4142"})").blocks("it", 2, 4); }),
              "a card's \"it\" must be an object that has each number once");
    EXPECT_EQ(complaint([] { (void)with(R"({"1": 2, "01": 2})").numbers("it", 3, 9); }),
              "a card's \"it\" must be an object that has each number once");
}

TEST(CardFile, IsNotNestedDeeply)
{
    const auto nested = [](int lists) { return with(std::string(lists, '[') + std::string(lists, ']')); };
    EXPECT_EQ(complaint([&] { (void)nested(15); }), "nothing");
    EXPECT_EQ(complaint([&] { (void)nested(16); }), "a card's file cannot be read: it is nested more than 16 deep");
    EXPECT_EQ(refusal_of(std::string(1'000'000, '[')), "a card's file cannot be read: it is nested more than 16 deep");
}

TEST(CardFile, MembersThatNobodyAskedForAreRefused)
{
    const card_file file(R"({"known": 1, "looked_for": 2, "misspelt": 3})");
    (void)file.number("known", 0, 9);
    EXPECT_TRUE(file.has("looked_for"));
    EXPECT_EQ(complaint([&] { file.all_known(); }), "such a card has no \"misspelt\"");
    (void)file.has("misspelt");
    EXPECT_EQ(complaint([&] { file.all_known(); }), "nothing");
}

TEST(CardFile, IsWrittenInTheOrderOfItsMaking)
{
    card_file item;
    item.put_bytes("data", "\x00\xFF"s);
    std::vector<card_file> items;
    items.push_back(std::move(item));
    card_file file;
    file.put("text", "a \"b\"").put_number("number", 4294967295).put_flag("flag", false);
    file.put_blocks("blocks", {{3, "AB"}}).put_numbers("numbers", {{0, 7}}).put_list("list", items);
    EXPECT_EQ(file.written(), R"({
    "text": "a \"b\"",
    "number": 4294967295,
    "flag": false,
    "blocks": {
        "3": "4142"
    },
    "numbers": {
        "0": 7
    },
    "list": [
        {
            "data": "00FF"
        }
    ]
}
)");
}

TEST(CardOfFile, NamesTheFamiliesItKnows)
{
    const std::string known = "a card's \"card\" must be one of classic_1k, ntag213, ntag215, ntag216, ultralight_ev1, "
                              "ultralight_c, felica, type_a, type_b, payment";
    EXPECT_EQ(refusal_of("{}"), known);
    EXPECT_EQ(refusal_of(R"({"card": "TYPE_A"})"), known);
    EXPECT_EQ(refusal_of(R"({"card": 7})"), "a card's \"card\" must be a text");
    EXPECT_EQ(refusal_of(R"({"card": "type_a", "nam": "x"})"), "such a card has no \"nam\"");
}

TEST(CardOfFile, EveryKindHasACardThatNeedsNoMore)
{
    struct row {
        const char* kind;
        card_family family;
    };
    const row rows[] = {
        {"classic_1k", card_family::classic}, {"ntag213", card_family::ntag21x},
        {"ntag215", card_family::ntag21x},    {"ntag216", card_family::ntag21x},
        {"felica", card_family::felica},      {"ultralight_ev1", card_family::ultralight_ev1},
        {"type_a", card_family::type_a},      {"ultralight_c", card_family::ultralight_c},
        {"type_b", card_family::type_b},      {"payment", card_family::type_a},
    };
    for (const row& each : rows) {
        const std::string text = "{\"card\": \""s + each.kind + "\", \"name\": \"mine\"}";
        ASSERT_EQ(refusal_of(text), "accepted") << each.kind;
        const auto card = card_of_file(text);
        EXPECT_EQ(card->identity().family, each.family) << each.kind;
        EXPECT_FALSE(card->identity().uid.empty()) << each.kind;
        const card_file written(card->file());
        EXPECT_EQ(written.text("card", ""), each.kind);
        EXPECT_EQ(written.text("name", ""), "mine") << each.kind;
    }
}

struct sample_row {
    const char* name;
    const char* uid;
    std::vector<said> dialogue;
};

const std::string wallet_100 = "64000000 9BFFFFFF 64000000 04FB04FB";
const std::string wallet_90 = "5A000000 A5FFFFFF 5A000000 04FB04FB";
const std::string felica_idm = "01010A1B2C3D4E5F";
const std::string three_rides = "5469636B657420 000000000000000003";
const std::string two_rides = "5469636B657420 000000000000000002";

const sample_row samples[] = {
    {"classic_1k",
     "3A5C107E",
     {{"60 04 FFFFFFFFFFFF", "ack"},
      {"30 04", wallet_100},
      {"30 05", wallet_100},
      {"C0 04", "ack"},
      {"0A000000", "silence"},
      {"B0 04", "ack"},
      {"30 04", wallet_90}}},
    {"felica",
     "01010A1B2C3D4E5F",
     {{"06 00 FFFF 01 00", "14 01" + felica_idm + "0120FFFFFFFFFFFF FEE1"},
      {"10 06" + felica_idm + "01 0B10 01 8000", "1D 07" + felica_idm + "0000 01" + three_rides},
      {"20 08" + felica_idm + "01 0910 01 8000" + two_rides, "0C 09" + felica_idm + "0000"},
      {"10 06" + felica_idm + "01 0B10 01 8000", "1D 07" + felica_idm + "0000 01" + two_rides},
      {"10 06" + felica_idm + "01 0B20 01 8000", "1D 07" + felica_idm + "0000 01 4E756D62657220 303030303030303432"}}},
    // A lock control TLV, then a message of one short record of the well-known type U, whose 04 stands for "https://".
    {"ntag213", "045A1C72E26F80",
     rows_of("60 > 0004040201000F03; 39 02 > 070000;"
             "3A 04 09 > 0103A00C 34 0310 D1010C55 04 6578616D706C652E636F6D FE; 39 02 > 080000;"
             "A2 08 00000000 > nak 0; select; 1B 12345678 > ABCD; A2 08 00000000 > ack")},
    {"ntag215", "048B330AD14881", rows_of("60 > 0004040201001103; 30 00 > 048B3334 0AD14881 12480000 E1103E00")},
    {"ntag216", "04C6275E915480", rows_of("60 > 0004040201001303; 30 00 > 04C6276D 5E915480 1B480000 E1106D00")},
    {"payment",
     "249A7125",
     {{"00A404000E325041592E5359532E444446303100",
       "6F2E 840E325041592E5359532E4444463031 A51C BF0C19 6117 4F07F0000000010001 50095445535420434152448701019000"},
      {"00A4040007F000000001000100", "6F1F8407F0000000010001A51450095445535420434152449F38069F66049F02069000"},
      {"80A800000C830AB620C00000000000099900", "770F820200009404080101009F360200019000"},
      {"00B2010C00",
       "702D570F9999990000000006D491220100000F5F2009544553542F434152445A0899999900000000065F24034912319000"}}},
    {"program", "24506070", {{"00A40400", "later"}}},
    {"type_a",
     "04315C7A8E1280",
     {{"00B0000005", "6985"},
      {"00A4040007F000000002000100", "6F098407F00000000200019000"},
      {"00B0000005", "30303034329000"},
      {"00B0000505", "6B00"},
      {"00CA0000", "6D00"}}},
    {"type_b", "3A1077C4", rows_of("80100000 > 9000; 80100000 > 9000; 8010000000 > 9000; 80100000 > 6A83")},
    {"ultralight_c", "042F9641B53880",
     rows_of("30 04 > 5449434B 45540000 00000000 00000000; 30 07 > 00000000 042F9635 41B53880 4C480000;"
             "30 08 > nak 0; select; A2 08 00000000 > nak 0; select; A2 07 00000000 > ack")},
    {"ultralight_ev1", "0461B8137A2D84",
     rows_of("39 00 > 030000; 30 04 > 0A000000 00000000 00000000 00000000; A2 04 09000000 > nak 0; select;"
             "1B A1B2C3D4 > 5A5B; A2 04 09000000 > ack; A5 00 01000000 > ack; 39 00 > 040000; 3E 00 > BD")},
};

TEST(CardSamples, AreTheseAlone)
{
    std::set<std::string> expected;
    for (const sample_row& row : samples)
        expected.insert(row.name + ".json"s);
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(KT_CARD_SAMPLES))
        found.insert(entry.path().filename());
    EXPECT_EQ(found, expected);
}

TEST(CardSamples, AreUsedAsWhatTheyAreAlsoWhenWrittenAndRead)
{
    for (const sample_row& row : samples) {
        SCOPED_TRACE(row.name);
        const std::string text = sample(row.name);
        ASSERT_EQ(refusal_of(text), "accepted");
        const auto card = selected_card(text);
        const std::string written = card->file();
        ASSERT_EQ(refusal_of(written), "accepted");
        const auto again = selected_card(written);
        EXPECT_EQ(again->file(), written);
        EXPECT_EQ(card_file(written).text("name", ""), card_file(text).text("name", ""));
        EXPECT_EQ(card_file(written).text("card", ""), card_file(text).text("card", "none"));
        for (const auto& each : {card, again}) {
            EXPECT_EQ(digits_of_bytes(each->identity().uid), row.uid);
            EXPECT_EQ(each->identity().family, card->identity().family);
            EXPECT_EQ(each->identity().atqa, card->identity().atqa);
            EXPECT_EQ(each->identity().sak, card->identity().sak);
            EXPECT_EQ(each->identity().ats, card->identity().ats);
            EXPECT_EQ(each->identity().atqb, card->identity().atqb);
            EXPECT_EQ(each->identity().attrib, card->identity().attrib);
            expect_dialogue(*each, row.dialogue, row.name);
        }
    }
}

} // namespace
