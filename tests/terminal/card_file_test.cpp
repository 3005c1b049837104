/** How a card's file is read and written, and that every sample is one. */
#include "card_talk.h"
#include "terminal/cards/card_file.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

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
        EXPECT_EQ(refusal(text), "a card's file is one JSON object") << text;
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
    EXPECT_EQ(refusal("{}"), known);
    EXPECT_EQ(refusal(R"({"card": "TYPE_A"})"), known);
    EXPECT_EQ(refusal(R"({"card": 7})"), "a card's \"card\" must be a text");
    EXPECT_EQ(refusal(R"({"card": "type_a", "nam": "x"})"), "such a card has no \"nam\"");
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
        ASSERT_EQ(refusal(text), "accepted") << each.kind;
        const auto card = card_of_file(text);
        EXPECT_EQ(card->identity().family, each.family) << each.kind;
        EXPECT_FALSE(card->identity().uid.empty()) << each.kind;
        const card_file written(card->file());
        EXPECT_EQ(written.text("card", ""), each.kind);
        EXPECT_EQ(written.text("name", ""), "mine") << each.kind;
    }
}

std::string content_of(const std::filesystem::path& file)
{
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(CardSamples, AreCardsAndStaySoWhenWritten)
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(KT_CARD_SAMPLES)) {
        SCOPED_TRACE(entry.path());
        const std::string text = content_of(entry.path());
        EXPECT_EQ(entry.path().extension(), ".json");
        ASSERT_EQ(refusal(text), "accepted");
        const auto card = card_of_file(text);
        const std::string written = card->file();
        ASSERT_EQ(refusal(written), "accepted");
        const auto again = card_of_file(written);
        EXPECT_EQ(again->file(), written);
        EXPECT_EQ(card_file(written).text("name", ""), card_file(text).text("name", ""));
        EXPECT_EQ(card_file(written).text("card", ""), card_file(text).text("card", "none"));
        EXPECT_EQ(again->identity().family, card->identity().family);
        EXPECT_EQ(again->identity().uid, card->identity().uid);
        EXPECT_EQ(again->identity().atqa, card->identity().atqa);
        EXPECT_EQ(again->identity().sak, card->identity().sak);
        EXPECT_EQ(again->identity().ats, card->identity().ats);
        EXPECT_EQ(again->identity().atqb, card->identity().atqb);
        EXPECT_EQ(again->identity().attrib, card->identity().attrib);
        count++;
    }
    EXPECT_GE(count, 4);
}

std::string sample(const char* name)
{
    return content_of(std::filesystem::path(KT_CARD_SAMPLES) / name);
}

TEST(CardSamples, OfTypeAIsSelectedAndRead)
{
    for (const std::string& text : {sample("type_a.json"), card_of_file(sample("type_a.json"))->file()}) {
        const auto card = card_of_file(text);
        EXPECT_EQ(digits_of(card->identity().uid), "04315C7A8E1280");
        EXPECT_EQ(asked(*card, "00B0000005"), "6985");
        EXPECT_EQ(asked(*card, "00A4040007F000000002000100"), "6F098407F00000000200019000");
        EXPECT_EQ(asked(*card, "00B0000005"), "30303034329000");
        EXPECT_EQ(asked(*card, "00B0000505"), "6B00");
        EXPECT_EQ(asked(*card, "00CA0000"), "6D00");
    }
}

TEST(CardSamples, OfTypeBHasThreeRides)
{
    auto card = card_of_file(sample("type_b.json"));
    EXPECT_EQ(digits_of(card->identity().atqb), "503A1077C400000000008171");
    for (int ride = 0; ride < 3; ride++) {
        EXPECT_EQ(asked(*card, "80100000"), "9000");
        card = card_of_file(card->file());
    }
    EXPECT_EQ(asked(*card, "80100000"), "6A83");
}

TEST(CardSamples, OfPaymentGoesFromTheDirectoryToTheRecord)
{
    for (const std::string& text : {sample("payment.json"), card_of_file(sample("payment.json"))->file()}) {
        const auto card = card_of_file(text);
        EXPECT_EQ(asked(*card, "00A404000E325041592E5359532E444446303100").substr(0, 4), "6F2E");
        EXPECT_EQ(asked(*card, "00A4040007F000000001000100"),
                  "6F1F8407F0000000010001A51450095445535420434152449F38069F66049F02069000");
        EXPECT_EQ(asked(*card, "80A800000C830AB620C00000000000099900"), "770F820200009404080101009F360200019000");
        EXPECT_EQ(asked(*card, "00B2010C00"), "702D570F9999990000000006D491220100000F5F2009544553542F43415244"
                                              "5A0899999900000000065F24034912319000");
    }
}

TEST(CardSamples, OfAProgramWaitsForIt)
{
    for (const std::string& text : {sample("program.json"), card_of_file(sample("program.json"))->file()})
        EXPECT_EQ(asked(*card_of_file(text), "00A40400"), "later");
}

} // namespace
