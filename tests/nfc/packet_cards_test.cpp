/** Applications on cards that take whole commands: FeliCa, a program behind an ISO 14443-4 card, a payment card. */
#include "tests/nfc/tapped_card.h"
#include "tests/support/in_thread.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

using namespace kt::tests;
using kt::terminal::virtual_terminal;
using namespace std::chrono_literals;

namespace {

using exchange = int (*)(const std::uint8_t*, std::uint32_t, std::uint8_t**, std::uint16_t*);

/** An APDU's answer as digits, or its failure. */
std::string answer_to(const std::string& apdu, exchange call = kt_rfid_tcl_exchange)
{
    std::uint8_t* answer = nullptr;
    std::uint16_t length = 0;
    const std::string done =
        done_by([&] { return call(data_of(apdu), static_cast<std::uint32_t>(apdu.size()), &answer, &length); });
    return done == "done" ? digits(answer, length) : done;
}

std::string packet(const std::string& command)
{
    std::uint8_t answer[512];
    std::uint16_t length = 0;
    const std::string done = done_by([&] {
        return kt_rfid_felica_exchange(data_of(command), static_cast<std::uint32_t>(command.size()), answer, &length,
                                       0);
    });
    return done == "done" ? digits(answer, length) : done;
}

/** As the control protocol writes bytes. */
std::string hex(const std::string& bytes)
{
    std::string text;
    for (const char c : bytes) {
        text += "0123456789abcdef"[static_cast<unsigned char>(c) >> 4];
        text += "0123456789abcdef"[static_cast<unsigned char>(c) & 0xF];
    }
    return text;
}

/** The next command for the card, "null" when none came; it is answered. */
std::string answered_command(virtual_terminal& board, const std::string& answer)
{
    const std::string asked = board.apdu(R"({"timeout_ms": 10000})");
    const std::string label = "\"apdu_hex\":\"";
    const std::size_t from = asked.find(label);
    if (from == std::string::npos)
        return "null";
    (void)board.apdu("{\"answer_hex\": \"" + hex(answer) + "\"}");
    const std::size_t begin = from + label.size();
    return asked.substr(begin, asked.find('"', begin) - begin);
}

std::string long_bytes(std::size_t count, unsigned first)
{
    std::string bytes;
    for (std::size_t at = 0; at < count; ++at)
        bytes += static_cast<char>(first + at * 3);
    return bytes;
}

/** The value of a data object (BER-TLV with tags of one or two bytes, lengths below 128), also inside of templates. */
std::optional<std::string> value_of(const std::string& objects, unsigned wanted)
{
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(objects[at]); };
    for (std::size_t at = 0; at + 1 < objects.size();) {
        const bool is_template = (byte(at) & 0x20U) != 0;
        unsigned tag = byte(at++);
        if ((tag & 0x1FU) == 0x1FU)
            tag = tag << 8 | byte(at++);
        const std::string value = objects.substr(at + 1, byte(at));
        if (tag == wanted)
            return value;
        if (is_template)
            if (auto inside = value_of(value, wanted))
                return inside;
        at += 1 + value.size();
    }
    return std::nullopt;
}

/** The data objects of a good answer: all but the status word 9000. */
std::string good_data(const std::string& apdu)
{
    const std::string answer = bytes(answer_to(apdu));
    EXPECT_GE(answer.size(), 2U);
    const std::size_t data = answer.size() - 2;
    EXPECT_EQ(hex(answer.substr(data)), "9000");
    return answer.substr(0, data);
}

std::string value_in(const std::string& objects, unsigned tag)
{
    return hex(value_of(objects, tag).value_or("none"));
}

} // namespace

TEST(Felica, IsPolledAndReadWithoutEncryption)
{
    const tapped_card reader(
        R"({"card": "felica", "idm": "01010A1B2C3D4E5F", "pmm": "0120FFFFFFFFFFFF", "system": "FEE1",
        "services": [{"codes": "1009 100B", "size": 2, "blocks": {"1": "000102030405060708090A0B0C0D0E0F"}}]})");
    ASSERT_EQ(kt_rfid_felica_open(), 0);
    // Any system, and tell its code: IDm, PMm, code.
    EXPECT_EQ(packet(bytes("06 00 FF FF 01 00")), "14 01 01 01 0A 1B 2C 3D 4E 5F 01 20 FF FF FF FF FF FF FE E1");

    // One service, 100B; two blocks, 1 and 0.
    EXPECT_EQ(packet(bytes("12 06 01010A1B2C3D4E5F 01 0B10 02 8001 8000")),
              "2D 07 01 01 0A 1B 2C 3D 4E 5F 00 00 02 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
    // Written by 1009.
    EXPECT_EQ(packet(bytes("20 08 01010A1B2C3D4E5F 01 0910 01 8000 F0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF")),
              "0C 09 01 01 0A 1B 2C 3D 4E 5F 00 00");
    EXPECT_EQ(packet(bytes("10 06 01010A1B2C3D4E5F 01 0B10 01 8000")),
              "1D 07 01 01 0A 1B 2C 3D 4E 5F 00 00 01 F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF");

    EXPECT_EQ(packet(bytes("07 00 FF FF 01 00")), "failed: EINVAL"); // the length byte counts itself
    EXPECT_EQ(packet(bytes("10 06 0101010101010101 01 0B10 01 8000")), "failed: ETIMEDOUT"); // another card's IDm
    EXPECT_EQ(kt_rfid_felica_close(), 0);
}

TEST(ApduSession, AProgramAnswersCommandsOf512Bytes)
{
    const tapped_card reader(R"({"card": "type_a", "program": true})");
    constexpr unsigned rounds = 4;
    in_thread<std::vector<std::string>> program([] {
        virtual_terminal board;
        std::vector<std::string> commands;
        for (unsigned round = 0; round < rounds; ++round)
            commands.push_back(answered_command(board, long_bytes(512, 128 + round)));
        return commands;
    });
    ASSERT_EQ(kt_rfid_tcl_open(), 0);
    std::vector<std::string> sent;
    for (unsigned round = 0; round < rounds; ++round) {
        const std::string apdu = long_bytes(512, round);
        sent.push_back(hex(apdu));
        EXPECT_EQ(answer_to(apdu), digits(data_of(long_bytes(512, 128 + round)), 512)) << round;
    }
    EXPECT_EQ(program.result(), sent);
    EXPECT_EQ(kt_rfid_tcl_close(), 0);
}

TEST(ApduSession, AnAnswerStaysWhereItIsUntilTheNextRequest)
{
    const tapped_card reader(R"({"card": "type_b", "answers": [{"command": "01", "answer": "1122339000"},
                                                               {"command": "02", "answer": "445566778899"}]})");
    ASSERT_EQ(kt_rfid_rid_open(), 0);
    const std::uint8_t commands[] = {1, 2};
    std::uint8_t *first = nullptr, *second = nullptr;
    std::uint16_t length = 0;
    ASSERT_EQ(kt_rfid_rid_exchange(&commands[0], 1, &first, &length), 0);
    EXPECT_EQ(digits(first, length), "11 22 33 90 00");
    EXPECT_EQ(kt_rfid_getatr(), 0); // no request
    EXPECT_EQ(digits(first, length), "11 22 33 90 00");

    ASSERT_EQ(kt_rfid_rid_exchange(&commands[1], 1, &second, &length), 0);
    EXPECT_EQ(second, first);
    EXPECT_EQ(digits(first, length), "44 55 66 77 88 99");
    EXPECT_EQ(kt_rfid_rid_close(), 0);
}

TEST(ApduSession, ACardThatIsTakenAwayWhileItsProgramThinksIsATimeout)
{
    const tapped_card reader(R"({"card": "type_a", "program": true})");
    in_thread<bool> person([] {
        virtual_terminal board;
        const bool asked = board.apdu(R"({"timeout_ms": 10000})").find("\"apdu_hex\":\"00b0\"") != std::string::npos;
        board.remove_cards();
        return asked;
    });
    ASSERT_EQ(kt_rfid_tcl_open(), 0);
    EXPECT_EQ(answer_to(bytes("00 B0")), "failed: ETIMEDOUT");
    EXPECT_TRUE(person.result());
}

TEST(PaymentCard, IsReadFromItsDirectoryToItsRecords)
{
    const tapped_card reader(R"({"card": "payment", "type": "a", "aid": "F0000000010001", "label": "TEST CARD",
        "priority": 1, "pdol": "9F6604 9F0206", "aip": "0000", "processing_data": "9F36020001",
        "pan": "9999990000000006", "expires": "4912", "holder": "TEST/CARD"})");
    EXPECT_EQ(kt_rfid_probe(), 1);
    ASSERT_EQ(kt_rfid_tcl_open(), 0);

    const std::string directory = "2PAY.SYS.DDF01";
    const std::string ppse = good_data(bytes("00A40400 0E") + directory + '\0');
    EXPECT_EQ(value_in(ppse, 0x84), hex(directory));
    EXPECT_EQ(value_in(ppse, 0x4F), "f0000000010001");
    EXPECT_EQ(value_in(ppse, 0x50), hex("TEST CARD"));

    const std::string application = good_data(bytes("00A40400 07 F0000000010001 00"));
    EXPECT_EQ(value_in(application, 0x84), "f0000000010001");
    EXPECT_EQ(value_in(application, 0x9F38), "9f66049f0206");

    // Qualifiers, and an amount of 12.34.
    const std::string options = good_data(bytes("80A80000 0C 830A 26000000 000000001234 00"));
    EXPECT_EQ(value_in(options, 0x82), "0000");
    EXPECT_EQ(value_in(options, 0x9F36), "0001");
    const std::string files = value_of(options, 0x94).value_or("");
    ASSERT_EQ(hex(files), "08010100"); // file 1, record 1 to 1, none authenticated offline

    // The reference is the file in the upper five bits, as in the list, and 4.
    const std::string record = good_data(bytes("00B2") + files[1] + static_cast<char>(files[0] | 4) + '\0');
    EXPECT_EQ(value_in(record, 0x5A), "9999990000000006");
    EXPECT_EQ(value_in(record, 0x5F24), "491231");
    EXPECT_EQ(value_in(record, 0x5F20), hex("TEST/CARD"));

    EXPECT_EQ(answer_to(bytes("00B2 02 0C 00")), "6A 83");
    EXPECT_EQ(kt_rfid_tcl_close(), 0);
}
