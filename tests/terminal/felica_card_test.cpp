/** FeliCa's packets: polling, reading and writing without encryption, and the status flags of what is refused. */
#include "card_frames.h"

#include <gtest/gtest.h>

namespace {

using namespace kt::terminal;
using namespace kt::tests;

const std::string idm = "0101020304050607";
const std::string pmm = "01F0112233445566";
const std::string first = "000102030405060708090A0B0C0D0E0F";
const std::string second = "101112131415161718191A1B1C1D1E1F";
const std::string zeros(32, '0');

/** A selected card: service 1009/100B with four blocks, 200B with one, 3009 with 300. */
card_ptr ticket()
{
    return selected_card(R"({"card": "felica", "idm": ")" + idm + R"(", "pmm": ")" + pmm + R"(", "system": "12FC",
        "key_version": 2, "services": [
        {"codes": "1009 100B", "size": 4, "key_version": 258, "blocks": {"0": ")" +
                         first + R"(", "3": ")" + second + R"("}},
        {"codes": "200B", "blocks": {"0": ")" +
                         second + R"("}},
        {"codes": "3009", "size": 300, "blocks": {"299": ")" +
                         first + R"("}}]})");
}

/** Puts the length byte before a packet. */
std::string packet(const std::string& body)
{
    const std::string bytes = bytes_of_digits(body);
    return digits_of_bytes(static_cast<char>(bytes.size() + 1) + bytes);
}

std::string repeated(const std::string& text, unsigned times)
{
    std::string all;
    for (unsigned i = 0; i < times; ++i)
        all += text;
    return all;
}

TEST(FelicaCard, IsSelectedByItsIdm)
{
    EXPECT_EQ(ticket()->identity().family, card_family::felica);
    EXPECT_EQ(digits_of_bytes(ticket()->identity().uid), idm);
}

TEST(FelicaCard, PollingFindsItsSystem)
{
    const std::string found = "12 01" + idm + pmm;
    expect_dialogue(*ticket(), {
                                   {"06 00 12FC 00 00", found},
                                   {"06 00 FFFF 00 00", found},
                                   {"06 00 FFFC 00 00", found},
                                   {"06 00 12FF 00 00", found},
                                   {"06 00 12FC 00 01", found},
                                   {"06 00 12FC 00 03", found},
                                   {"06 00 12FC 00 07", found},
                                   {"06 00 12FC 00 0F", found},
                                   {"06 00 12FC 01 00", "14 01" + idm + pmm + "12FC"},
                                   {"06 00 FFFF 01 00", "14 01" + idm + pmm + "12FC"},
                                   {"06 00 12FC 02 00", "14 01" + idm + pmm + "0083"},
                                   {"06 00 12FC 03 00", found},
                                   {"06 00 12FD 00 00", "silence"},
                                   {"06 00 13FC 00 00", "silence"},
                                   {"06 00 FFFD 00 00", "silence"},
                                   {"06 00 FC12 00 00", "silence"},
                                   {"06 00 12FC 00 02", "silence"},
                                   {"06 00 12FC 00 1F", "silence"},
                                   {"05 00 12FC 00", "silence"},
                                   {"07 00 12FC 00 00 00", "silence"},
                               });
}

TEST(FelicaCard, AnswersByWhatItIsAsked)
{
    expect_dialogue(*ticket(),
                    {
                        {packet("04" + idm), "0B 05" + idm + "00"},
                        {packet("0C" + idm), "0D 0D" + idm + "01 12FC"},
                        {packet("02" + idm + "01 0910"), "0D 03" + idm + "01 0201"},
                        {packet("02" + idm + "06 0B10 0B20 0930 0920 0000 FFFF"),
                         "17 03" + idm + "06 0201 0000 0000 FFFF 0200 0200"},
                        {packet("02" + idm + "20" + repeated("0B20", 32)), "4B 03" + idm + "20" + repeated("0000", 32)},
                    });
}

TEST(FelicaCard, WhatDoesNotHoldTogetherIsNotAnswered)
{
    const std::string other = "0101020304050608";
    const std::string bodies[] = {
        "04" + other,
        "0C" + other,
        "02" + other + "01 0910",
        "06" + other + "01 0910 01 8000", // another's
        "08" + other + "01 0910 01 8000" + zeros,
        "04",
        "04" + idm.substr(2),
        "04" + idm + "00",
        "0C" + idm + "00", // too short, too long
        "02" + idm,
        "02" + idm + "00",
        "02" + idm + "02 0910",
        "02" + idm + "01 0910 0B10",
        "02" + idm + "21" + repeated("0B20", 33),
        "06" + idm,
        "06" + idm + "01",
        "06" + idm + "01 09",
        "06" + idm + "01 0910",
        "06" + idm + "01 0910 01",
        "06" + idm + "01 0910 01 80",
        "06" + idm + "01 0940 01 80",
        "06" + idm + "01 0910 01 00 00",
        "06" + idm + "01 0910 02 8000",
        "06" + idm + "01 0910 01 8000 00",
        "08" + idm,
        "08" + idm + "01 0910 01 8000",
        "08" + idm + "01 0910 01 8000" + zeros.substr(2),
        "08" + idm + "01 0910 01 8000" + zeros + "00",
        "05" + idm,
        "0A" + idm,
        "10" + idm,
        "FF" + idm, // other commands
    };
    const card_ptr card = ticket();
    const std::string before = card->file();
    for (const std::string& body : bodies)
        EXPECT_EQ(answer_of(*card, packet(body)), "silence") << body;
    for (const std::string& frame :
         {std::string(), std::string("00"), std::string("01"), "0B 04" + idm, "09 04" + idm, "04" + idm})
        EXPECT_EQ(answer_of(*card, frame), "silence") << frame;
    EXPECT_EQ(card->file(), before);
}

TEST(FelicaCard, ReadsBlocksByElementsOfTwoAndThreeBytes)
{
    const std::string read = "06" + idm;
    const std::string answer = "07" + idm + "0000";
    const said rows[] = {
        {"01 0910 01 8000", "01" + first},
        {"01 0B10 01 8003", "01" + second},
        {"01 0B20 01 8000", "01" + second},
        {"01 0910 01 00 0300", "01" + second},
        {"01 0930 01 00 2B01", "01" + first},
        {"01 0910 03 8000 00 0300 8001", "03" + first + second + zeros},
        {"02 0910 0B20 02 8000 8100", "02" + first + second},
        {"02 0B20 0910 02 8000 01 0000", "02" + second + first},
        {"01 0910 0F" + repeated("8000", 15), "0F" + repeated(first, 15)},
        {"10" + repeated("0910", 15) + "0B20 01 8F00", "01" + second},
    };
    for (const said& row : rows)
        EXPECT_EQ(answer_of(*ticket(), packet(read + row.frame)), packet(answer + row.answer)) << row.frame;
}

TEST(FelicaCard, WritesAllBlocksOrNone)
{
    const std::string write = "08" + idm;
    const std::string done = packet("09" + idm + "0000");
    const card_ptr card = ticket();
    expect_dialogue(*card, {
                               {packet(write + "01 0910 02 8001 00 0200" + first + second), done},
                               {packet("06" + idm + "01 0B10 04 8000 8001 8002 8003"),
                                packet("07" + idm + "0000 04" + first + first + second + second)},
                               {packet(write + "02 0910 0930 02 8000 01 2B01" + zeros + second), done},
                               {packet("06" + idm + "02 0910 0930 02 8000 01 2B01"),
                                packet("07" + idm + "0000 02" + zeros + second)},
                               {packet(write + "01 0910 02 8000 8004" + first + first), packet("09" + idm + "02A8")},
                               {packet("06" + idm + "01 0910 01 8000"), packet("07" + idm + "0000 01" + zeros)},
                           });
}

TEST(FelicaCard, StatusFlagsTellWhatWasRefusedAndWhere)
{
    const said rows[] = {
        {"00 01 8000", "FFA1"},                            // no service
        {"11" + repeated("0910", 17) + "01 8000", "FFA1"}, // more than 16
        {"01 0910 00", "FFA2"},                            // no block
        {"01 0910 10" + repeated("8000", 16), "FFA2"},     // more than 15
        {"01 0910 01 8100", "01A3"},                       // second of one service
        {"01 0910 03 8000 8100 8100", "02A3"},             // the first one that is wrong
        {"01 0940 01 8000", "FFA6"},                       // no such service
        {"02 0910 0940 01 8000", "FFA6"},                  // also when no block is asked of it
        {"01 0920 01 8000", "FFA6"},                       // only its read-only sister is there
        {"01 1009 01 8000", "FFA6"},                       // highest byte first
        {"01 0910 01 9000", "01A7"},                       // access mode 1
        {"01 0910 01 70 0000", "01A7"},                    // access mode 7
        {"01 0910 01 8004", "01A8"},
        {"01 0910 02 8000 00 0004", "02A8"},
        {"01 0910 01 00 0400", "01A8"},
        {"02 0910 0930 02 8001 01 2C01", "02A8"},
    };
    for (const said& row : rows) {
        const card_ptr card = ticket();
        const std::string before = card->file();
        EXPECT_EQ(answer_of(*card, packet("06" + idm + row.frame)), packet("07" + idm + row.answer)) << row.frame;
        EXPECT_EQ(answer_of(*card, packet("08" + idm + row.frame)), packet("09" + idm + row.answer)) << row.frame;
        EXPECT_EQ(card->file(), before);
    }
}

TEST(FelicaCard, AReadOnlyServiceIsNotWritten)
{
    const card_ptr card = ticket();
    const std::string before = card->file();
    expect_dialogue(*card,
                    {{packet("08" + idm + "01 0B10 01 8000" + zeros), packet("09" + idm + "01A5")},
                     {packet("08" + idm + "02 0910 0B20 02 8000 8100" + zeros + zeros), packet("09" + idm + "02A5")}});
    EXPECT_EQ(card->file(), before);
}

TEST(FelicaCard, IsSilentWithoutPowerAndHasWrittenNothingWhenItWasTornAway)
{
    const std::string write = packet("08" + idm + "01 0910 01 8000" + second);
    const std::string read = packet("06" + idm + "01 0910 01 8000");
    const card_ptr card = ticket();
    expect_dialogue(*card, {{"tear " + write},
                            {read, "silence"},
                            {"06 00 12FC 00 00", "silence"},
                            {"select"},
                            {read, packet("07" + idm + "0000 01" + first)},
                            {write, packet("09" + idm + "0000")},
                            {read, packet("07" + idm + "0000 01" + second)}});
    const card_ptr unselected = card_of_file(R"({"card": "felica"})");
    expect_dialogue(
        *unselected,
        {{"06 00 FFFF 00 00", "silence"}, {"select"}, {"06 00 FFFF 00 00", "12 01 0101020304050607 0120FFFFFFFFFFFF"}});
}

TEST(FelicaCard, ItsFileDescribesItAsItIsNow)
{
    const card_ptr card = selected_card(R"({"card": "felica", "name": "pass", "services": [
        {"codes": "1009 100B", "size": 2}, {"codes": "200B", "key_version": 7, "blocks": {"0": ")" +
                                        first + R"("}}]})");
    expect_dialogue(*card, {{packet("08" + idm + "01 0910 01 8001" + second), packet("09" + idm + "0000")}});
    const std::string written = R"({
    "card": "felica",
    "name": "pass",
    "idm": "0101020304050607",
    "pmm": "0120FFFFFFFFFFFF",
    "system": "FEE1",
    "key_version": 0,
    "services": [
        {
            "codes": "1009 100B",
            "key_version": 0,
            "size": 2,
            "blocks": {
                "1": "101112131415161718191A1B1C1D1E1F"
            }
        },
        {
            "codes": "200B",
            "key_version": 7,
            "size": 1,
            "blocks": {
                "0": "000102030405060708090A0B0C0D0E0F"
            }
        }
    ]
}
)";
    EXPECT_EQ(card->file(), written);
    EXPECT_EQ(card_of_file(written)->file(), written);
}

TEST(FelicaCard, AFileThatDescribesNoSuchCardIsRefused)
{
    const struct {
        const char* members;
        const char* sentence;
    } table[] = {
        {R"("idm": "01")", "a card's \"idm\" must be 8 bytes in hexadecimal digits"},
        {R"("pmm": "01")", "a card's \"pmm\" must be 8 bytes in hexadecimal digits"},
        {R"("system": "01")", "a card's \"system\" must be 2 bytes in hexadecimal digits"},
        {R"("services": [{}])", "a FeliCa service's \"codes\" must be service codes of 4 hexadecimal digits"},
        {R"("services": [{"codes": "100900"}])",
         "a FeliCa service's \"codes\" must be service codes of 4 hexadecimal digits"},
        {R"("services": [{"codes": "1008"}])",
         "the FeliCa service 1008 is neither random read/write (attribute 09) nor "
         "random read-only (0B) without encryption"},
        {R"("services": [{"codes": "1009"}, {"codes": "1009"}])",
         "the FeliCa service 1009 stands twice in the card's file"},
        {R"("services": [{"codes": "1009 200B"}])",
         "FeliCa services that share blocks differ in their low six bits only, 1009 and 200B do not"},
        {R"("services": [{"codes": "1009", "blocks": {"1": "00000000000000000000000000000000"}}])",
         "a card's \"blocks\" must be an object whose names are numbers below 1"},
        {R"("services": [{"codes": "1009", "size": 1024}])", "accepted"},
        {R"("services": [{"codes": "1009", "size": 1025}])", "a card's \"size\" must be a whole number up to 1024"},
        {R"("services": [{"codes": "1009", "size": 1000}, {"codes": "2009", "size": 25}])",
         "the services of a FeliCa card must have no more than 1024 blocks together"},
        {R"("services": [{"codes": "1009", "key": 1}])", "such a card has no \"key\""},
    };
    for (const auto& row : table)
        EXPECT_EQ(refusal_of(R"({"card": "felica", )" + std::string(row.members) + "}"), row.sentence);
}

} // namespace
