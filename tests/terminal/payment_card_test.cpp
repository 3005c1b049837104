/** What a payment card answers, byte by byte, and the data objects that its answers are made of. */
#include "card_frames.h"
#include "terminal/cards/tlv.h"

#include <gtest/gtest.h>

namespace {

using namespace kt::terminal;
using namespace kt::tests;
using namespace std::string_literals;

// "2PAY.SYS.DDF01"
const std::string directory = "325041592E5359532E4444463031";
const std::string select_directory = "00A404000E" + directory + "00";
const std::string select_application = "00A4040007F000000001000100";
const std::string begin = "80A8000002830000";

TEST(Tlv, IsWrittenWithTheShortestLength)
{
    EXPECT_EQ(digits_of_bytes(tlv(0x5A, "\x12\x34")), "5A021234");
    EXPECT_EQ(digits_of_bytes(tlv(0x9F38, "")), "9F3800");
    EXPECT_EQ(digits_of_bytes(tlv(0xBF0C, "\x01")), "BF0C0101");
    EXPECT_EQ(digits_of_bytes(tlv(0xDF8101, "\x01")), "DF81010101");
    EXPECT_EQ(digits_of_bytes(tlv(0x70, std::string(127, 'x'))).substr(0, 6), "707F78");
    EXPECT_EQ(digits_of_bytes(tlv(0x70, std::string(128, 'x'))).substr(0, 8), "70818078");
    EXPECT_EQ(digits_of_bytes(tlv(0x70, std::string(255, 'x'))).substr(0, 8), "7081FF78");
    EXPECT_EQ(digits_of_bytes(tlv(0x70, std::string(256, 'x'))).substr(0, 10), "7082010078");
    EXPECT_EQ(tlv(0x70, std::string(65535, 'x')).size(), 65539U);
    EXPECT_THROW((void)tlv(0x70, std::string(65536, 'x')), std::length_error);
}

TEST(Tlv, IsReadWithItsRest)
{
    const std::string bytes = bytes_of_digits("9F3602 0001 5A00");
    const auto counter = first_tlv(bytes);
    ASSERT_TRUE(counter);
    EXPECT_EQ(counter->tag, 0x9F36U);
    EXPECT_EQ(digits_of_bytes(counter->value), "0001");
    EXPECT_EQ(digits_of_bytes(counter->rest), "5A00");
    const std::string longer = bytes_of_digits("70820003 010203");
    EXPECT_EQ(digits_of_bytes(first_tlv(longer).value_or(ber_tlv()).value), "010203");
}

TEST(Tlv, ThatIsNotWholeIsNone)
{
    for (const char* digits :
         {"", "5A", "9F", "9F81828301 00", "5A02 01", "5A80 0000", "5A81", "5A8201", "5A83000001 01"})
        EXPECT_FALSE(first_tlv(bytes_of_digits(digits))) << digits;
    EXPECT_TRUE(is_tlv_list(bytes_of_digits("5A0112 9F360200 01")));
    EXPECT_TRUE(is_tlv_list(""));
    EXPECT_FALSE(is_tlv_list(bytes_of_digits("5A0112 9F3602 00")));
}

TEST(Tlv, ListOfTagsAndLengthsIsSummedUp)
{
    EXPECT_EQ(asked_by_dol(bytes_of_digits("9F6604 9F0206 9A03 9F3704")), 17U);
    EXPECT_EQ(asked_by_dol(""), 0U);
    EXPECT_EQ(asked_by_dol(bytes_of_digits("9A81")), 0x81U);
    EXPECT_EQ(asked_by_dol(bytes_of_digits("9F66")), std::nullopt);
    EXPECT_EQ(asked_by_dol(bytes_of_digits("9A03 9F")), std::nullopt);
}

TEST(PaymentCard, IsReadFromTheDirectoryToTheRecord)
{
    const auto card = selected_card(R"({"card": "payment"})");
    EXPECT_EQ(answer_of(*card, select_directory), "6F2E"
                                                  "840E325041592E5359532E4444463031"
                                                  "A51C"
                                                  "BF0C19"
                                                  "6117"
                                                  "4F07F0000000010001"
                                                  "5009544553542043415244"
                                                  "870101"
                                                  "9000");
    EXPECT_EQ(answer_of(*card, select_application), "6F168407F0000000010001A50B50095445535420434152449000");
    EXPECT_EQ(answer_of(*card, begin), "770A820200009404080101009000");
    EXPECT_EQ(answer_of(*card, "00B2010C00"), "702D"
                                              "570F9999990000000006D491220100000F"
                                              "5F2009544553542F43415244"
                                              "5A089999990000000006"
                                              "5F2403491231"
                                              "9000");
}

TEST(PaymentCard, IsWhatItsFileSays)
{
    const auto card = selected_card(R"({"card": "payment", "type": "b", "pupi": "01020304", "aid": "F000000001",
        "label": "A", "priority": 15, "pdol": "9F6604 9F0206", "aip": "2080", "processing_data": "9F36020007",
        "records": [{"sfi": 2, "record": 3, "data": "5A01AA"}, {"sfi": 1, "record": 1, "data": ""},
                    {"sfi": 1, "record": 2, "data": "5A01BB"}, {"sfi": 1, "record": 4, "data": "5A01CC"}]})");
    EXPECT_EQ(card->identity().family, card_family::type_b);
    EXPECT_EQ(digits_of_bytes(card->identity().uid), "01020304");
    EXPECT_EQ(answer_of(*card, select_directory),
              "6F24840E" + directory + "A512BF0C0F610D4F05F00000000150014187010F9000");
    EXPECT_EQ(answer_of(*card, "00A4040005F000000001"), "6F158405F000000001A50C5001419F38069F66049F02069000");
    EXPECT_EQ(answer_of(*card, "80A800000C 830A 01020304050607080900 00"), // as many bytes as the PDOL asks for
              "7717"
              "82022080"
              "940C080102000804040010030300"
              "9F36020007"
              "9000");
    EXPECT_EQ(answer_of(*card, "00B2010C"), "70009000");
    EXPECT_EQ(answer_of(*card, "00B2020C00"), "70035A01BB9000");
    EXPECT_EQ(answer_of(*card, "00B2040C00"), "70035A01CC9000");
    EXPECT_EQ(answer_of(*card, "00B2031400"), "70035A01AA9000");
    EXPECT_EQ(answer_of(*card, "00B2030C00"), "6A83");
    EXPECT_EQ(answer_of(*card, "00B2011C00"), "6A82");

    const auto told = selected_card(R"({"card": "payment", "afl": "08010300 10010101"})");
    EXPECT_EQ(answer_of(*told, select_application), "6F168407F0000000010001A50B50095445535420434152449000");
    EXPECT_EQ(answer_of(*told, begin), "770E82020000940808010300100101019000");
}

TEST(PaymentCard, HoldsTheAccountOfItsFile)
{
    const auto card =
        selected_card(R"({"card": "payment", "pan": "999999123456789", "expires": "3102", "holder": "A/B"})");
    (void)answer_of(*card, select_application);
    (void)answer_of(*card, begin);
    EXPECT_EQ(answer_of(*card, "00B2010C00"), "7026"
                                              "570E999999123456789D310220100000" // 15 + 1 + 4 + 3 + 5 digits
                                              "5F2003412F42"
                                              "5A08999999123456789F"
                                              "5F2403310228" // the month's last day
                                              "9000");
}

TEST(PaymentCard, SelectsByNameAndByItsBegin)
{
    const auto card = selected_card(R"({"card": "payment"})");
    const char* const rows[][2] = {
        {"00A4040005F000000001", "6F168407F0000000010001A50B50095445535420434152449000"},
        {"00A4040004F0000000", "6A82"},
        {"00A4040008F000000001000100", "6A82"},
        {"00A4040007F000000001000200", "6A82"},
        {"00A4040207F000000001000100", "6A82"}, // no other one
        {"00A4000007F000000001000100", "6A86"},
        {"00A4040C07F000000001000100", "6A86"},
        {"00A40400", "6700"},
        {"00A4040000", "6700"},
        {"00A4040007F0000000010001FF", "6700"},
        {"00A4040008F0000000010001", "6700"},
        {"00A4040006F000000001000100", "6700"},
        {"00A40400000007F0000000010001", "6700"}, // no extended lengths
    };
    for (const auto& [command, answer] : rows)
        EXPECT_EQ(answer_of(*card, command), answer) << command;
}

TEST(PaymentCard, KeepsItsOrder)
{
    const auto card = selected_card(R"({"card": "payment"})");
    const std::string read = "00B2010C00";
    EXPECT_EQ(answer_of(*card, begin), "6985");
    EXPECT_EQ(answer_of(*card, read), "6985");
    (void)answer_of(*card, select_application);
    (void)answer_of(*card, select_directory);
    EXPECT_EQ(answer_of(*card, begin), "6985");
    (void)answer_of(*card, select_application);
    EXPECT_EQ(answer_of(*card, read), "6985");
    EXPECT_EQ(answer_of(*card, "00A4040005F000000009"), "6A82"); // leaves selected what was
    EXPECT_EQ(answer_of(*card, begin), "770A820200009404080101009000");
    EXPECT_EQ(answer_of(*card, begin), "6985");
    EXPECT_EQ(answer_of(*card, read).substr(0, 2), "70");
    (void)answer_of(*card, select_application);
    EXPECT_EQ(answer_of(*card, read), "6985");
    EXPECT_EQ(answer_of(*card, begin).substr(0, 2), "77");
    card->power_up();
    EXPECT_EQ(answer_of(*card, read), "6985");
    EXPECT_EQ(answer_of(*card, begin), "6985");
}

TEST(PaymentCard, RefusesCommandsItDoesNotKnow)
{
    const auto card = selected_card(R"({"card": "payment", "pdol": "9F3704"})");
    (void)answer_of(*card, select_application);
    const char* const rows[][2] = {
        {"", "6700"},
        {"00A404", "6700"},
        {"00B0000000", "6D00"},
        {"80CA9F3600", "6D00"},
        {"00A8000002830000", "6D00"},
        {"84A8000002830000", "6E00"},
        {"FFCA000000", "6E00"},
        {"80A80100028300", "6A86"},
        {"80A80001028300", "6A86"},
        {"80A80000", "6700"},
        {"80A8000000", "6700"},
        {"80A8000002830000", "6700"}, // four bytes are asked for
        {"80A80000078305010203040500", "6700"},
        {"80A8000006840401020304", "6A80"},
        {"80A8000005830401020300", "6A80"},
        {"80A8000007830401020304FF00", "6A80"},
        {"80A80000068304010203040000", "6700"},
    };
    for (const auto& [command, answer] : rows)
        EXPECT_EQ(answer_of(*card, command), answer) << command;
    EXPECT_EQ(answer_of(*card, "80A8000006830401020304"), "770A820200009404080101009000"); // without Le
    EXPECT_EQ(answer_of(*card, "00B2010D00"), "6A86");
    EXPECT_EQ(answer_of(*card, "00B2010C0100"), "6700");
    EXPECT_EQ(answer_of(*card, "00B2010C10"), "6700");
    EXPECT_EQ(answer_of(*card, "00B2010C0000"), "6700");
    EXPECT_EQ(answer_of(*card, "00B2000C00"), "6A83");
    EXPECT_EQ(answer_of(*card, "00B2020C00"), "6A83");
    EXPECT_EQ(answer_of(*card, "00B2011400"), "6A82");
    EXPECT_EQ(answer_of(*card, "00B2010C").substr(0, 2), "70");
}

TEST(PaymentCard, IsWrittenWithAllItHas)
{
    const std::string begin_of_file = R"({
    "card": "payment",
    "name": "mine",
    "type": "b",
    "pupi": "A1A2A3A4",
    "application_data": "B1B2B3B4",
    "protocol_info": "C10183",
    "attrib": "01",
    "aid": "F000000002",
    "label": "MINE",
    "priority": 3,
    "pdol": "9A03",
    "aip": "2080",
    "afl": "10010100",
    "processing_data": "9F36020007",
    "blocked": "application",
)";
    const char* const ends[] = {"    \"pan\": \"99999912\",\n    \"expires\": \"3102\",\n    \"holder\": \"A/B\"\n}\n",
                                R"(    "records": [
        {
            "sfi": 2,
            "record": 1,
            "data": "5A0199"
        }
    ]
}
)"};
    for (const char* end : ends)
        EXPECT_EQ(card_of_file(begin_of_file + end)->file(), begin_of_file + end);
}

TEST(PaymentCard, IsSilentWithoutPower)
{
    const auto card = card_of_file(R"({"card": "payment"})");
    expect_dialogue(*card, {{select_directory, "silence"},
                            {"select"},
                            {"00A404", "6700"},
                            {"tear 00A404"},
                            {select_directory, "silence"}});
}

TEST(PaymentCard, MayBeBlocked)
{
    const auto card = selected_card(R"({"card": "payment", "blocked": "card"})");
    EXPECT_EQ(answer_of(*card, select_directory), "6A81");
    EXPECT_EQ(answer_of(*card, select_application), "6A81");
    const auto application = selected_card(R"({"card": "payment", "blocked": "application"})");
    EXPECT_EQ(answer_of(*application, select_directory).substr(0, 2), "6F");
    EXPECT_EQ(answer_of(*application, select_application), "6F168407F0000000010001A50B50095445535420434152446283");
    EXPECT_EQ(answer_of(*application, begin), "6985");
}

TEST(PaymentCard, RefusesFilesOfNoSuchCard)
{
    const std::string much(2 * 254, '0'); // many data objects of tag 00, without a value
    const std::string rows[][2] = {
        {R"("aid": "F0000000")", "a card's \"aid\" must be 5 to 16 bytes in hexadecimal digits"},
        {R"("label": "")", "a card's \"label\" must be 1 to 16 ASCII characters"},
        {R"("label": "\u00e4")", "a card's \"label\" must be 1 to 16 ASCII characters"},
        {R"("priority": 16)", "a card's \"priority\" must be a whole number up to 15"},
        {R"("pdol": "9F66")", "a card's \"pdol\" must be whole pairs of tag and length that ask for at most 252 bytes"},
        {R"("pdol": "9FFD")", "a card's \"pdol\" must be whole pairs of tag and length that ask for at most 252 bytes"},
        {R"("pdol": "9AFC")", "accepted"},
        {R"("pdol": "9AFD")", "a card's \"pdol\" must be whole pairs of tag and length that ask for at most 252 bytes"},
        {R"("pdol": ")" + much + R"(")", "a payment card's application must fit into an answer of 256 bytes"},
        {R"("aip": "00")", "a card's \"aip\" must be 2 bytes in hexadecimal digits"},
        {R"("afl": "080101")", "a card's \"afl\" must be entries of 4 bytes"},
        {R"("processing_data": "9F3602")",
         "a card's \"processing_data\" must be whole data objects: tags, lengths, values"},
        {R"("processing_data": ")" + much + R"(")",
         "a payment card's processing options must fit into an answer of 256 bytes"},
        {R"("processing_data": ")" + much + R"(0000 0000")",
         "a card's \"processing_data\" must be 0 to 256 bytes in hexadecimal digits"},
        {R"("blocked": "yes")", "a card's \"blocked\" must be \"application\" or \"card\""},
        {R"("pan": "9999990")", "a card's \"pan\" must be 8 to 19 ASCII characters"},
        {R"("pan": "9999990000000006D")", "a card's \"pan\" must be digits"},
        {R"("expires": "123")", "a card's \"expires\" must be four digits, year and month"},
        {R"("expires": "4900")", "a card's \"expires\" must be four digits, year and month"},
        {R"("expires": "4913")", "a card's \"expires\" must be four digits, year and month"},
        {R"("expires": "49x2")", "a card's \"expires\" must be four digits, year and month"},
        {R"("records": [], "pan": "9999990000000006")", "such a card has no \"pan\""},
        {R"("records": [{"sfi": 31, "record": 1}])", "a card's \"sfi\" must be a whole number up to 30"},
        {R"("records": [{"sfi": 0, "record": 1}])",
         "a card's \"records\" must be numbered from \"sfi\" 1 and \"record\" 1 on"},
        {R"("records": [{"sfi": 1, "record": 0}])",
         "a card's \"records\" must be numbered from \"sfi\" 1 and \"record\" 1 on"},
        {R"("records": [{"sfi": 1, "record": 1}, {"sfi": 1, "record": 1}])",
         "a card's \"records\" must be given once each"},
        {R"("records": [{"data": "5A02"}])", "a card's \"data\" must be whole data objects: tags, lengths, values"},
        {R"("records": [{"data": ")" + much + R"("}])", "a payment card's record must fit into an answer of 256 bytes"},
        {R"("records": [{"sfi": 1, "name": "x"}])", "such a card has no \"name\""},
    };
    for (const auto& [members, why] : rows)
        EXPECT_EQ(refusal_of(R"({"card": "payment", )" + members + "}"), why) << members;
}

} // namespace
