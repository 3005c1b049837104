/** Ultralight C: its authentication, whose other side OpenSSL computes, its protected pages and its counter. */
#include "card_frames.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <openssl/evp.h>

namespace {

using namespace kt::terminal;
using namespace kt::tests;

const std::string factory_key = bytes_of_digits("49454D4B41455242 214E4143554F5946");
const std::string other_key = bytes_of_digits("0001020304050607 08090A0B0C0D0E0F");

/** Two-key Triple DES in CBC. */
std::string ciphered(bool enciphers, const std::string& key, const std::string& iv, const std::string& text)
{
    const auto bytes = [](const std::string& of) { return reinterpret_cast<const unsigned char*>(of.data()); };
    std::string result(text.size() + 8, '\0');
    int length = 0;
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    EXPECT_EQ(EVP_CipherInit_ex(context, EVP_des_ede_cbc(), nullptr, bytes(key), bytes(iv), enciphers ? 1 : 0), 1);
    EVP_CIPHER_CTX_set_padding(context, 0);
    EXPECT_EQ(EVP_CipherUpdate(context, reinterpret_cast<unsigned char*>(result.data()), &length, bytes(text),
                               static_cast<int>(text.size())),
              1);
    EVP_CIPHER_CTX_free(context);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

std::string rotated(std::string bytes)
{
    std::rotate(bytes.begin(), bytes.begin() + 1, bytes.end());
    return bytes;
}

/** What a reader with this key finds: "mutual" when both sides have proved theirs. */
std::string authenticated(card& with, const std::string& key)
{
    const std::string rnd_a = bytes_of_digits("A8AF3B256C75ED40");
    const std::string first = bytes_of_digits(answer_of(with, "1A 00"));
    if (first.size() != 9 || first[0] != '\xAF')
        return "no challenge";
    const std::string enciphered_b = first.substr(1);
    const std::string rnd_b = ciphered(false, key, std::string(8, '\0'), enciphered_b);
    const std::string both = ciphered(true, key, enciphered_b, rnd_a + rotated(rnd_b));
    const std::string last = answer_of(with, "AF" + digits_of_bytes(both));
    if (last.size() != 18 || !last.starts_with("00"))
        return last;
    const std::string proof = ciphered(false, key, both.substr(8), bytes_of_digits(last.substr(2)));
    return proof == rotated(rnd_a) ? "mutual" : "another key";
}

/** A selected card; @p more are further members of its file. */
card_ptr ticket(const std::string& more = "")
{
    return selected_card(R"({"card": "ultralight_c", "uid": "04112233445566")" + more + "}");
}

TEST(UltralightC, IsDeliveredWithWhatTheManufacturerWrote)
{
    expect_dialogue(*ticket(), {{"30 03", "00000000 02000010 00060110 11FF0000"},
                                {"30 28", "00000000 00000000 30000000 00000000"}});
    expect_dialogue(*ticket(R"(, "memory": {"4": "01020304"})"), {{"30 04", "01020304 00060110 11FF0000 00000000"}});
}

TEST(UltralightC, EnciphersItsChallengeAsInTheDataSheetsExample)
{
    const auto card = ticket(R"(, "rnd_b": "51E764602678DF2B")");
    EXPECT_EQ(answer_of(*card, "1A 00"), "AF577293FD2F34CA51");
}

TEST(UltralightC, AuthenticatesBothSides)
{
    EXPECT_EQ(authenticated(*ticket(), factory_key), "mutual");
    EXPECT_EQ(authenticated(*ticket(R"(, "key": "000102030405060708090A0B0C0D0E0F")"), other_key), "mutual");
    EXPECT_EQ(authenticated(*ticket(R"(, "key": "00000000000000000000000000000000")"), std::string(16, '\0')), "mutual")
        << "a weak key is a key too";
}

TEST(UltralightC, RefusesAnotherKeyAndIsIdleThen)
{
    const auto card = ticket();
    EXPECT_EQ(authenticated(*card, other_key), "nak 0");
    expect_dialogue(*card, {{"30 00", "silence"}});
}

TEST(UltralightC, AsksSomethingElseEachTime)
{
    const auto card = ticket();
    const std::string first = answer_of(*card, "1A 00");
    card->power_up();
    EXPECT_NE(answer_of(*card, "1A 00"), first);
}

TEST(UltralightC, WantsTheAnswerNextToItsChallenge)
{
    const std::string answer = "AF 00000000000000000000000000000000";
    const auto card = ticket();
    expect_dialogue(*card, {{answer, "nak 0"}, {"select"}, {"1A 01", "nak 0"}, {"select"}, {"1A", "nak 0"}});
    for (const char* const between : {"30 00", "A2 04 00000000", "AF 00", "1A 00"}) {
        card->power_up();
        (void)answer_of(*card, "1A 00");
        EXPECT_EQ(answer_of(*card, between), "nak 0") << between;
    }
    card->power_up();
    (void)answer_of(*card, "1A 00");
    card->power_up();
    expect_dialogue(*card, {{answer, "nak 0"}});
}

TEST(UltralightC, HidesItsProtectedPages)
{
    // AUTH0 6; bit 0 of AUTH1: writing alone is protected.
    const std::string memory = R"(, "memory": {"5": "05050505", "6": "06060606", "42": "06000000")";
    const auto card = ticket(memory + "}");
    expect_dialogue(*card, {{"30 06", "nak 0"},
                            {"select"},
                            {"30 05", "05050505041122BF3344556644480000"},
                            {"A2 06 01020304", "nak 0"},
                            {"select"},
                            {"A0 06", "nak 0"},
                            {"select"},
                            {"A2 05 01020304", "ack"}});
    EXPECT_EQ(authenticated(*card, factory_key), "mutual");
    expect_dialogue(
        *card,
        {{"30 05", "01020304060606060000000000000000"}, {"A2 06 01020304", "ack"}, {"select"}, {"30 06", "nak 0"}});

    const auto readable = ticket(memory + R"(, "43": "01000000"})");
    expect_dialogue(*readable, {{"30 06", "06060606000000000000000000000000"}, {"A2 06 01020304", "nak 0"}});
}

TEST(UltralightC, NeverShowsItsKey)
{
    expect_dialogue(
        *ticket(), {{"30 2B", "00000000041122BF3344556644480000"}, {"30 2C", "nak 0"}, {"select"}, {"30 2F", "nak 0"}});
    const auto card = ticket();
    EXPECT_EQ(authenticated(*card, factory_key), "mutual");
    expect_dialogue(*card, {{"30 2C", "nak 0"}});
}

TEST(UltralightC, TakesANewKeyWithEachHalfFromItsLastByteOn)
{
    const auto card = ticket(); // the frames of the data sheet's example
    expect_dialogue(*card, {{"A2 2C 07060504", "ack"},
                            {"A2 2D 03020100", "ack"},
                            {"A2 2E 0F0E0D0C", "ack"},
                            {"A2 2F 0B0A0908", "ack"},
                            {"A2 30 00000000", "nak 0"},
                            {"select"}});
    EXPECT_EQ(authenticated(*card, other_key), "mutual");
    EXPECT_NE(card->file().find(R"("key": "000102030405060708090A0B0C0D0E0F")"), std::string::npos);
    EXPECT_EQ(card->file().find(R"("44")"), std::string::npos);
}

TEST(UltralightC, CountsInStepsOfFifteenAtMost)
{
    expect_dialogue(*ticket(), {{"A2 29 FF010000", "ack"}, // any value first
                                {"30 29", "FF0100003000000000000000041122BF"},
                                {"A2 29 0F00AABB", "ack"},
                                {"30 29", "0E0200003000000000000000041122BF"},
                                {"A2 29 00000000", "ack"},
                                {"A2 29 10000000", "nak 0"},
                                {"select"},
                                {"A2 29 01010000", "nak 0"},
                                {"select"},
                                {"A0 29", "ack"},
                                {"01000000 00000000 00000000 00000000", "ack"},
                                {"30 29", "0F0200003000000000000000041122BF"}});
    expect_dialogue(*ticket(R"(, "memory": {"41": "F8FFAABB"})"), {{"A2 29 08000000", "nak 0"},
                                                                   {"select"},
                                                                   {"30 29", "F8FF00003000000000000000041122BF"},
                                                                   {"A2 29 07000000", "ack"},
                                                                   {"30 29", "FFFF00003000000000000000041122BF"}});
}

TEST(UltralightC, LocksPagesForGood)
{
    const struct {
        const char* locks; // written to page 40
        int locked[3];     // the first, the last, and a page beside them
    } rows[] = {{"02000000", {16, 19, 20}}, {"04000000", {20, 23, 19}}, {"08000000", {24, 27, 28}},
                {"20000000", {28, 31, 32}}, {"40000000", {32, 35, 31}}, {"80000000", {36, 39, 35}},
                {"00100000", {41, 41, 42}}, {"00200000", {42, 42, 43}}, {"00400000", {43, 43, 41}},
                {"00800000", {44, 47, 39}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.locks);
        const auto card = ticket();
        EXPECT_EQ(answer_of(*card, "A2 28" + std::string(row.locks)), "ack");
        EXPECT_EQ(answer_of(*card, "A2 28 00000000"), "ack");
        for (const int page : row.locked) {
            card->power_up();
            const std::string write = "A2" + digits_of_bytes(std::string(1, static_cast<char>(page))) + "30000000";
            EXPECT_EQ(answer_of(*card, write), page == row.locked[2] ? "ack" : "nak 0") << page;
        }
    }
}

TEST(UltralightC, BlockLockingBitsFreezeTheLocks)
{
    const struct {
        const char* freezes;
        const char* open; // what can still be locked when all is tried
    } rows[] = {{"01000000", "F1FF"}, {"10000000", "1FFF"}, {"00010000", "FFEF"},
                {"00020000", "FFDF"}, {"00040000", "FFBF"}, {"00080000", "FF7F"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.freezes);
        const auto card = ticket();
        EXPECT_EQ(answer_of(*card, "A2 28" + std::string(row.freezes)), "ack");
        EXPECT_EQ(answer_of(*card, "A2 28 FFFFFFFF"), "ack");
        EXPECT_EQ(answer_of(*card, "30 28").substr(0, 8), std::string(row.open) + "0000");
    }
}

TEST(UltralightC, KnowsNoneOfTheLaterCommands)
{
    const auto card = ticket();
    for (const char* const frame : {"60", "3A 00 03", "1B FFFFFFFF", "3C 00", "39 00"}) {
        card->power_up();
        EXPECT_EQ(answer_of(*card, frame), "nak 0") << frame;
    }
}

TEST(UltralightC, IsTheSameOnceWrittenAndRead)
{
    const auto card = ticket(R"(, "key": "000102030405060708090A0B0C0D0E0F", "rnd_b": "51E764602678DF2B")");
    expect_dialogue(*card, {{"A2 29 11000000", "ack"}, {"A2 28 02000000", "ack"}, {"A2 2A 08000000", "ack"}});
    const auto again = selected_card(card->file());
    EXPECT_EQ(again->file(), card->file());
    EXPECT_EQ(answer_of(*again, "1A 00"), (card->power_up(), answer_of(*card, "1A 00")));
    again->power_up();
    EXPECT_EQ(authenticated(*again, other_key), "mutual");
    expect_dialogue(*again, {{"30 28", "02000000110000000800000000000000"}, {"A2 10 00000000", "nak 0"}});
}

} // namespace
