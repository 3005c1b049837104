/** Applications on memory cards: a Classic wallet, an NTAG with password and counter, an Ultralight EV1 ticket. */
#include "tests/nfc/tapped_card.h"

#include <string>

using namespace kt::tests;

namespace {

constexpr std::uint32_t key_a = 0x60, key_b = 0x61;

// Values in sector 1: key A reads and takes off, key B also puts on. A value stands three times, the second time
// inverted, and its block's number four times.
constexpr const char* wallet = R"({
    "card": "classic_1k",
    "sectors": [{"sector": 1, "key_a": "A0A1A2A3A4A5", "access": "08778F", "key_b": "B0B1B2B3B4B5"}],
    "blocks": {
        "4": "64000000 9BFFFFFF 64000000 04FB04FB",
        "5": "64000000 9BFFFFFF 64000000 05FA05FA"
    }
})";

std::string with_key(std::uint32_t type, const char* key, std::uint32_t block)
{
    EXPECT_EQ(kt_rfid_mfcl_open(), 0); // a card that has refused something answers when it is selected anew
    EXPECT_EQ(kt_rfid_mfcl_setkey(data_of(bytes(key))), 0);
    return done_by([&] { return kt_rfid_mfcl_auth(type, block); });
}

std::string block(std::uint32_t number)
{
    return read_by([&](auto* out, auto* length) { return kt_rfid_mfcl_read(number, out, length); });
}

std::string incremented(std::uint32_t number, std::uint32_t by)
{
    return done_by([&] { return kt_rfid_mfcl_increment(number, by); });
}

std::string decremented(std::uint32_t number, std::uint32_t by)
{
    return done_by([&] { return kt_rfid_mfcl_decrement(number, by); });
}

std::string transferred(std::uint32_t number)
{
    return done_by([&] { return kt_rfid_mfcl_transfer(number); });
}

// An NTAG213 that wants a password for writing from page 16 on, and counts its readings.
constexpr const char* tag = R"({
    "card": "ntag213", "uid": "045A1C72E26F80", "password": "12345678", "pack": "ABCD", "counters": {"2": 7},
    "signature": "0102030405060708090A0B0C0D0E0F10 1112131415161718191A1B1C1D1E1F20",
    "memory": {"4": "10111213", "5": "14151617", "16": "00000000", "41": "04000010", "42": "10000000"}
})";

std::string ntag_pages(std::uint32_t page)
{
    return read_by([&](auto* out, auto* length) { return kt_rfid_ntag21x_read(page, out, length); });
}

std::string ntag_written(std::uint32_t page, const char* digits)
{
    const std::string data = bytes(digits);
    return done_by([&] { return kt_rfid_ntag21x_write(page, data_of(data), static_cast<std::uint32_t>(data.size())); });
}

std::string ntag_pack(const char* digits)
{
    const std::string password = bytes(digits);
    return read_by(
        [&](auto* out, auto* length) { return kt_rfid_ntag21x_pwd_auth(data_of(password), 4, out, length); });
}

std::string ntag_counter()
{
    return read_by([](auto* out, auto* length) { return kt_rfid_ntag21x_read_cnt(2, out, length); });
}

std::string counter(std::uint32_t number)
{
    return read_by([&](auto* out, auto* length) { return kt_rfid_mful_ev1_read_cnt(number, out, length); });
}

std::string counted(std::uint32_t number, const char* digits)
{
    return done_by([&] { return kt_rfid_mful_ev1_incr_cnt(number, data_of(bytes(digits)), 4); });
}

std::string tearing(std::uint32_t number)
{
    return read_by([&](auto* out, auto* length) { return kt_rfid_mful_ev1_check_tearing_event(number, out, length); });
}

} // namespace

TEST(ClassicWallet, TakesOffAndPutsOnWhatIsTransferred)
{
    const tapped_card reader(wallet);
    ASSERT_EQ(with_key(key_b, "B0B1B2B3B4B5", 4), "done");
    EXPECT_EQ(kt_rfid_mfcl_atqa(), 0x0004);

    EXPECT_EQ(decremented(4, 30), "done");
    EXPECT_EQ(block(4), "64 00 00 00 9B FF FF FF 64 00 00 00 04 FB 04 FB"); // not yet
    EXPECT_EQ(transferred(4), "done");
    EXPECT_EQ(block(4), "46 00 00 00 B9 FF FF FF 46 00 00 00 04 FB 04 FB");

    EXPECT_EQ(incremented(4, 0x01000005), "done");
    EXPECT_EQ(transferred(4), "done");
    EXPECT_EQ(block(4), "4B 00 00 01 B4 FF FF FE 4B 00 00 01 04 FB 04 FB");
}

TEST(ClassicWallet, IsRestoredFromItsBackup)
{
    const tapped_card reader(wallet);
    ASSERT_EQ(with_key(key_a, "A0A1A2A3A4A5", 4), "done");
    EXPECT_EQ(decremented(4, 100), "done");
    EXPECT_EQ(transferred(4), "done");
    EXPECT_EQ(block(4), "00 00 00 00 FF FF FF FF 00 00 00 00 04 FB 04 FB");

    EXPECT_EQ(done_by([] { return kt_rfid_mfcl_restore(5); }), "done");
    EXPECT_EQ(transferred(4), "done");
    EXPECT_EQ(block(4), "64 00 00 00 9B FF FF FF 64 00 00 00 05 FA 05 FA"); // the number of where it came from
}

TEST(ClassicWallet, KeyAMayOnlyTakeOff)
{
    const tapped_card reader(wallet);
    ASSERT_EQ(with_key(key_a, "A0A1A2A3A4A5", 4), "done");
    EXPECT_EQ(incremented(4, 1), "failed: EIO");
    ASSERT_EQ(with_key(key_a, "A0A1A2A3A4A5", 4), "done");
    EXPECT_EQ(done_by([] { return kt_rfid_mfcl_write(4, data_of(std::string(16, '\1')), 16); }), "failed: EIO");
    ASSERT_EQ(with_key(key_a, "A0A1A2A3A4A5", 4), "done");
    EXPECT_EQ(block(4), "64 00 00 00 9B FF FF FF 64 00 00 00 04 FB 04 FB");
}

TEST(ClassicWallet, WrongKeyIsRefusedAndNothingIsReadWithoutOne)
{
    const tapped_card reader(wallet);
    EXPECT_EQ(with_key(key_a, "FFFFFFFFFFFF", 4), "failed: EACCES");
    EXPECT_EQ(with_key(key_a, "B0B1B2B3B4B5", 4), "failed: EACCES"); // the other key's
    EXPECT_EQ(with_key(0x62, "A0A1A2A3A4A5", 4), "failed: EINVAL");
    ASSERT_EQ(kt_rfid_mfcl_open(), 0);
    EXPECT_EQ(block(4), "failed: EIO");
}

TEST(ClassicWallet, AnotherSectorWantsItsOwnAuthentication)
{
    const tapped_card reader(wallet);
    ASSERT_EQ(with_key(key_a, "A0A1A2A3A4A5", 4), "done");
    EXPECT_EQ(block(8), "failed: EIO");
    ASSERT_EQ(with_key(key_a, "FFFFFFFFFFFF", 8), "done");
    EXPECT_EQ(done_by([] { return kt_rfid_mfcl_write(8, data_of("0123456789ABCDEF"), 16); }), "done");
    EXPECT_EQ(block(8), "30 31 32 33 34 35 36 37 38 39 41 42 43 44 45 46");
    EXPECT_EQ(block(4), "failed: EIO");
    EXPECT_EQ(kt_rfid_mfcl_close(), 0);
}

TEST(Ntag, IsReadByPagesAndQuickly)
{
    const tapped_card reader(tag);
    ASSERT_EQ(kt_rfid_ntag21x_open(), 0);
    EXPECT_EQ(read_by(kt_rfid_ntag21x_getversion), "00 04 04 02 01 00 0F 03");
    EXPECT_EQ(read_by(kt_rfid_ntag21x_read_sig),
              "01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F 20");
    EXPECT_EQ(ntag_pages(4), "10 11 12 13 14 15 16 17 00 00 00 00 00 00 00 00");

    // The UID with its two check bytes: 88h with the first three bytes, and the last four, by exclusive or.
    EXPECT_EQ(
        read_by([](auto* out, auto* length) { return kt_rfid_ntag21x_fast_read(0, 2, out, length); }).substr(0, 26),
        "04 5A 1C CA 72 E2 6F 80 7F");
    EXPECT_EQ(ntag_pages(45), "failed: EIO"); // its last page is 44
}

TEST(Ntag, IsWrittenWithItsPassword)
{
    const tapped_card reader(tag);
    ASSERT_EQ(kt_rfid_ntag21x_open(), 0);
    EXPECT_EQ(ntag_written(5, "A1 A2 A3 A4"), "done"); // not protected
    EXPECT_EQ(ntag_written(16, "B1 B2 B3 B4"), "failed: EIO");

    ASSERT_EQ(kt_rfid_ntag21x_open(), 0);
    EXPECT_EQ(ntag_pack("00 00 00 00"), "failed: EACCES");
    ASSERT_EQ(kt_rfid_ntag21x_open(), 0);
    EXPECT_EQ(ntag_pack("12 34 56 78"), "AB CD");
    EXPECT_EQ(ntag_written(16, "B1 B2 B3 B4"), "done");
    const std::string sixteen = bytes("C1 C2 C3 C4 00 00 00 00 00 00 00 00 00 00 00 00");
    EXPECT_EQ(done_by([&] { return kt_rfid_ntag21x_compat_write(17, data_of(sixteen), 16); }), "done");
    EXPECT_EQ(ntag_written(18, "D1 D2 D3"), "failed: EINVAL"); // no page

    EXPECT_EQ(ntag_pages(5).substr(0, 11), "A1 A2 A3 A4");
    EXPECT_EQ(ntag_pages(16), "B1 B2 B3 B4 C1 C2 C3 C4 00 00 00 00 00 00 00 00");
    EXPECT_EQ(kt_rfid_ntag21x_close(), 0);
}

TEST(Ntag, CountsTheFirstReadingOfEachTap)
{
    const tapped_card reader(tag);
    ASSERT_EQ(kt_rfid_ntag21x_open(), 0);
    EXPECT_EQ(ntag_counter(), "07 00 00");
    (void)ntag_pages(4);
    EXPECT_EQ(ntag_counter(), "08 00 00");
    (void)ntag_pages(4);
    EXPECT_EQ(ntag_counter(), "08 00 00");

    ASSERT_EQ(kt_rfid_ntag21x_open(), 0);
    (void)ntag_pages(4);
    EXPECT_EQ(ntag_counter(), "09 00 00");
}

TEST(UltralightEv1, CountsRidesUpToTheEnd)
{
    const tapped_card reader(R"({"card": "ultralight_ev1", "counters": {"0": 3, "1": 16777214}})");
    ASSERT_EQ(kt_rfid_mful_ev1_open(), 0);
    EXPECT_EQ(counted(0, "05 01 00 00"), "done");
    EXPECT_EQ(counter(0), "08 01 00");
    EXPECT_EQ(counted(1, "01 00 00 00"), "done");
    EXPECT_EQ(counter(1), "FF FF FF");
    EXPECT_EQ(counted(1, "01 00 00 00"), "failed: EIO");

    ASSERT_EQ(kt_rfid_mful_ev1_open(), 0);
    EXPECT_EQ(counter(1), "FF FF FF");
    EXPECT_EQ(counter(2), "00 00 00");
    EXPECT_EQ(counter(3), "failed: EIO"); // there are three
}

TEST(UltralightEv1, TellsThatAnIncrementWasTorn)
{
    tapped_card reader(R"({"card": "ultralight_ev1", "name": "ticket", "counters": {"0": 3}})");
    ASSERT_EQ(kt_rfid_mful_ev1_open(), 0);
    EXPECT_EQ(tearing(0), "BD");
    (void)reader.board.reader(R"({"set": {"pull_after": 0}})");
    EXPECT_EQ(counted(0, "01 00 00 00"), "failed: ETIMEDOUT");

    (void)reader.board.reader(R"({"set": {"pull_after": null}})");
    reader.tap_again("ticket");
    ASSERT_EQ(kt_rfid_mful_ev1_open(), 0);
    EXPECT_EQ(tearing(0), "00");
    EXPECT_EQ(tearing(1), "BD");
    EXPECT_EQ(counter(0), "03 00 00");
    EXPECT_EQ(counted(0, "01 00 00 00"), "done");
    EXPECT_EQ(tearing(0), "BD");
    EXPECT_EQ(counter(0), "04 00 00");
}

TEST(UltralightEv1, AnswersVersionSignatureAndVirtualCardSelection)
{
    // VCTID stands in the second byte of page 17, the second of the configuration.
    tapped_card reader(R"({"card": "ultralight_ev1", "memory": {"17": "00 7C 00 00"}})");
    ASSERT_EQ(kt_rfid_mful_ev1_open(), 0);
    EXPECT_EQ(read_by(kt_rfid_mful_ev1_getversion), "00 04 03 01 01 00 0B 03");
    EXPECT_EQ(read_by(kt_rfid_mful_ev1_read_sig), digits(data_of(std::string(32, '\0')), 32));

    const std::string installation(16, '\x21'), capabilities(4, '\x02');
    const auto select = [&](std::uint32_t length) {
        return read_by([&](auto* out, auto* got) {
            return kt_rfid_mful_ev1_vcsl(data_of(installation), length, data_of(capabilities), 4, out, got);
        });
    };
    EXPECT_EQ(select(16), "7C");
    EXPECT_EQ(reader.board.events_of({"ioctl"}).back().data.substr(0, 20), installation + capabilities);
    EXPECT_EQ(select(15), "failed: EINVAL");
    EXPECT_EQ(kt_rfid_mful_ev1_close(), 0);
}
