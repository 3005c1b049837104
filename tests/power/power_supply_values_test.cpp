/** What the texts of a power supply's attributes stand for: words by their tables, numbers as a stream reads them. */
#include "tests/power/supply_class.h"
#include "tests/power/supply_words.h"

#include <cctype>

using namespace kt::tests;
using namespace std::string_literals;

namespace {

std::string with_case(std::string text, int (*changed)(int))
{
    for (char& each : text)
        each = static_cast<char>(changed(each));
    return text;
}

} // namespace

TEST(PowerSupply, EachWordIsTheNumberOfItsTableAndOfNoOther)
{
    virtual_terminal board;
    take_supply(board);
    supply_says(board, "status", "");
    const found_supply supply;
    for (const auto& [prop, table] : supply_words) {
        for (const auto& [unused, any] : supply_words) {
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
    for (const auto& [prop, table] : supply_words) {
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
    for (const auto& [prop, table] : supply_words) {
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
