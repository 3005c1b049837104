/** Cards in the reader's field, as an application meets them: who they are, what goes wrong on the air, and the
 * terminal itself as a card. */
#include "tests/nfc/tapped_card.h"

#include <chrono>
#include <string>

using namespace kt::tests;
using namespace std::chrono_literals;

namespace {

struct identity {
    const char* file;
    int type;
    const char* uid;
    int sak; // -1: its technology has none, as an empty text of the others says
    const char* atqa;
    const char* rats;
    const char* atqb;
    const char* attrib;
};

// SAK and ATQA of the memory cards are what their data sheets say, those of 7 bytes of UID with 44h.
const identity identities[] = {
    {R"({"card": "type_a", "uid": "08112233", "atqa": "0803", "sak": "28", "ats": "06 77 80 81 02 80"})", 1,
     "08 11 22 33", 0x28, "08 03", "06 77 80 81 02 80", "", ""},
    {R"({"card": "type_a", "uid": "04112233445566778899"})", 1, "04 11 22 33 44 55 66 77 88 99", 0x20, "84 00",
     "05 78 80 70 02", "", ""},
    {R"({"card": "type_b", "pupi": "3A1077C4", "application_data": "01020304", "protocol_info": "008171",
         "attrib": "A1"})",
     2, "3A 10 77 C4", -1, "", "", "50 3A 10 77 C4 01 02 03 04 00 81 71", "A1"},
    {R"({"card": "classic_1k", "uid": "3A5C107E"})", 3, "3A 5C 10 7E", 0x08, "04 00", "", "", ""},
    {R"({"card": "ntag213", "uid": "045A1C72E26F80"})", 4, "04 5A 1C 72 E2 6F 80", 0x00, "44 00", "", "", ""},
    {R"({"card": "ntag215"})", 4, "04 11 22 33 44 55 66", 0x00, "44 00", "", "", ""},
    {R"({"card": "ntag216"})", 4, "04 11 22 33 44 55 66", 0x00, "44 00", "", "", ""},
    {R"({"card": "ultralight_ev1", "pages": 41})", 5, "04 11 22 33 44 55 66", 0x00, "44 00", "", "", ""},
    {R"({"card": "ultralight_c"})", 6, "04 11 22 33 44 55 66", 0x00, "44 00", "", "", ""},
    {R"({"card": "felica", "idm": "01010A1B2C3D4E5F"})", 7, "01 01 0A 1B 2C 3D 4E 5F", -1, "", "", "", ""},
};

/** What a "get" function copies, as digits; "" when this card has no such thing. */
std::string got(int (*get)(std::uint8_t*))
{
    std::uint8_t out[512];
    errno = 0;
    const int length = get(out);
    if (length >= 0)
        return digits(out, static_cast<std::size_t>(length));
    return errno == ENODEV ? "" : failure(errno);
}

} // namespace

TEST(TappedCard, TellsItsTypeAndWhatItsTechnologyHas)
{
    tapped_card reader;
    for (const identity& card : identities) {
        SCOPED_TRACE(card.file);
        reader.board.tap_card(card.file);
        EXPECT_EQ(kt_rfid_probe(), card.type);
        EXPECT_EQ(kt_rfid_get_sak(), card.sak);
        EXPECT_EQ(got(kt_rfid_getuid), card.uid);
        EXPECT_EQ(got(kt_rfid_get_atqa), card.atqa);
        EXPECT_EQ(got(kt_rfid_get_rats), card.rats);
        EXPECT_EQ(got(kt_rfid_get_atqb), card.atqb);
        EXPECT_EQ(got(kt_rfid_get_attrib), card.attrib);
        reader.board.remove_cards();
    }
}

TEST(TappedCard, IsNotThereBeforeItIsTappedNorAfterItIsTakenAway)
{
    tapped_card reader;
    EXPECT_EQ(kt_rfid_probe(), 0);
    EXPECT_EQ(done_by(kt_rfid_ntag21x_open), "failed: ENODEV");

    reader.board.tap_card(R"({"card": "ntag213"})");
    EXPECT_EQ(kt_rfid_probe(), 4);
    EXPECT_EQ(done_by(kt_rfid_ntag21x_open), "done");

    reader.board.remove_cards();
    EXPECT_EQ(kt_rfid_probe(), 0);
    EXPECT_EQ(got(kt_rfid_getuid), "");
}

TEST(TappedCard, OpensAsItsOwnFamilyOnly)
{
    tapped_card reader(R"({"card": "ultralight_ev1"})");
    for (const auto open : {kt_rfid_tcl_open, kt_rfid_rid_open, kt_rfid_mfcl_open, kt_rfid_ntag21x_open,
                            kt_rfid_mful_c_open, kt_rfid_felica_open})
        EXPECT_EQ(done_by(open), "failed: ENODEV");
    EXPECT_EQ(read_by([](auto* out, auto* length) { return kt_rfid_mful_ev1_read(0, out, length); }),
              "failed: ENOTCONN");
    EXPECT_EQ(done_by(kt_rfid_mful_ev1_open), "done");
    EXPECT_EQ(read_by([](auto* out, auto* length) { return kt_rfid_mful_ev1_read(4, out, length); }),
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
}

TEST(Field, TwoCardsAtOnceAreToldApartFromNone)
{
    tapped_card reader(R"({"card": "ntag213", "name": "first"})");
    reader.board.tap_card(R"({"card": "classic_1k", "name": "second"})");

    errno = 0;
    EXPECT_EQ(kt_rfid_probe(), 0);
    EXPECT_EQ(errno, ENOTUNIQ);
    EXPECT_EQ(done_by(kt_rfid_ntag21x_open), "failed: ENOTUNIQ");
    EXPECT_EQ(done_by(kt_rfid_mfcl_open), "failed: ENOTUNIQ");

    (void)reader.board.card(R"({"remove": "first"})");
    EXPECT_EQ(kt_rfid_probe(), 3);
    EXPECT_EQ(done_by(kt_rfid_mfcl_open), "done");
}

TEST(Field, CardPulledAwayInTheMiddleOfAnExchangeDoesNotAnswer)
{
    tapped_card reader(R"({"card": "ntag213", "memory": {"4": "01020304", "5": "00000000"}})");
    const auto first_page = [] {
        return read_by([](auto* out, auto* length) { return kt_rfid_ntag21x_read(4, out, length); }).substr(0, 17);
    };
    ASSERT_EQ(done_by(kt_rfid_ntag21x_open), "done");
    (void)reader.board.reader(R"({"set": {"pull_after": 1}})");

    EXPECT_EQ(first_page(), "01 02 03 04 00 00");
    EXPECT_EQ(first_page(), "failed: ETIMEDOUT");
    errno = 0;
    EXPECT_EQ(kt_rfid_probe(), 0);
    EXPECT_EQ(errno, ENODEV);
}

TEST(Field, SlowCardAnswersLateAndRight)
{
    tapped_card reader(R"({"card": "ntag213", "memory": {"4": "01020304", "5": "00000000"}})");
    ASSERT_EQ(done_by(kt_rfid_ntag21x_open), "done");
    (void)reader.board.reader(R"({"set": {"delay_ms": 150}})");

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(read_by([](auto* out, auto* length) { return kt_rfid_ntag21x_read(4, out, length); }),
              "01 02 03 04 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 150ms);
}

TEST(Field, NoiseGarblesEveryAnswerUntilItEnds)
{
    tapped_card reader(R"({"card": "ntag213"})");
    ASSERT_EQ(done_by(kt_rfid_ntag21x_open), "done");
    const auto version = [] { return read_by(kt_rfid_ntag21x_getversion); };

    (void)reader.board.reader(R"({"set": {"noise": 100}})");
    for (int times = 0; times < 5; ++times)
        EXPECT_EQ(version(), "failed: EBADMSG");

    (void)reader.board.reader(R"({"set": {"noise": 0}})");
    EXPECT_EQ(version(), "00 04 04 02 01 00 0F 03");
}

TEST(Phone, ReadsTheEmulatedCardWhileItIsAnswered)
{
    tapped_card reader;
    const std::string header = bytes("04 11 22 33"), blocks = bytes("01 02 03 04 A1 A2 A3 A4");
    const auto configure = [&] { return kt_rfid_emulate_config(data_of(header), 4, data_of(blocks), 2); };
    EXPECT_EQ(done_by(kt_rfid_emulate_process), "failed: ENOTCONN");

    EXPECT_EQ(kt_rfid_emulate_init(), 0);
    EXPECT_EQ(printed([&] { EXPECT_EQ(configure(), 0); }), "block_cap=2\n");
    EXPECT_NE(reader.board.phone().find(R"("reads":null)"), std::string::npos);

    EXPECT_EQ(kt_rfid_emulate_process(), 0);
    const std::string seen = reader.board.phone();
    EXPECT_NE(seen.find(R"("reads":"card","header_hex":"04112233","blocks_hex":"01020304a1a2a3a4","block_count":2)"),
              std::string::npos)
        << seen;

    EXPECT_EQ(kt_rfid_emulate_deinit(), 0);
    EXPECT_NE(reader.board.phone().find(R"("reads":null)"), std::string::npos);
}

TEST(Phone, ReadsTheMessageWhileHostCardEmulationIsOpen)
{
    tapped_card reader;
    const std::string message = bytes("D1 01 0C 55 04") + "example.com";
    EXPECT_EQ(kt_rfid_hce_set_ndef(data_of(message), static_cast<std::uint32_t>(message.size())), 0);
    EXPECT_NE(reader.board.phone().find(R"("reads":null)"), std::string::npos);

    EXPECT_EQ(kt_rfid_hce_open(), 0);
    const std::string seen = reader.board.phone();
    EXPECT_NE(seen.find(R"("reads":"ndef","ndef_hex":"d1010c55046578616d706c652e636f6d")"), std::string::npos) << seen;

    EXPECT_EQ(kt_rfid_hce_close(), 0);
    EXPECT_NE(reader.board.phone().find(R"("reads":null)"), std::string::npos);
}
