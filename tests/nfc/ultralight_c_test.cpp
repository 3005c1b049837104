/** An application that authenticates to an Ultralight C: its own side of Triple DES is OpenSSL's. */
#include "tests/nfc/tapped_card.h"

#include <memory>
#include <openssl/evp.h>
#include <string>

using namespace kt::tests;

namespace {

constexpr std::size_t block = 8;

const std::string factory_key = "IEMKAERB!NACUOYF";
const std::string no_vector(block, '\0');

enum class direction { decipher, encipher };

/** Triple DES with two keys, in CBC, without padding. */
std::string triple_des(direction way, const std::string& key, const std::string& vector, const std::string& text)
{
    const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    std::string result(text.size(), '\0');
    int size = 0;
    EXPECT_EQ(EVP_CipherInit_ex(context.get(), EVP_des_ede_cbc(), nullptr, data_of(key), data_of(vector),
                                way == direction::encipher ? 1 : 0),
              1);
    EXPECT_EQ(EVP_CIPHER_CTX_set_padding(context.get(), 0), 1);
    EXPECT_EQ(EVP_CipherUpdate(context.get(), reinterpret_cast<unsigned char*>(result.data()), &size, data_of(text),
                               static_cast<int>(text.size())),
              1);
    EXPECT_EQ(static_cast<std::size_t>(size), result.size());
    return result;
}

std::string rotated(const std::string& number)
{
    return number.substr(1) + number[0];
}

/** The card's proof that it has the key, deciphered, as digits; or the failure. */
std::string proof(const std::string& key, const std::string& own_number)
{
    EXPECT_EQ(kt_rfid_mful_c_open(), 0);
    const std::string challenge = bytes(read_by(kt_rfid_mful_c_auth1));
    EXPECT_EQ(challenge.size(), block);
    const std::string number = triple_des(direction::decipher, key, no_vector, challenge);
    const std::string answer =
        triple_des(direction::encipher, key, challenge, own_number + rotated(number)); // chained to the challenge
    const std::string proved =
        read_by([&](auto* out, auto* length) { return kt_rfid_mful_c_auth2(data_of(answer), 2 * block, out, length); });
    if (proved.starts_with("failed"))
        return proved;
    const std::string own = triple_des(direction::decipher, key, answer.substr(block), bytes(proved));
    return digits(data_of(own), own.size());
}

std::string page(std::uint32_t number)
{
    return read_by([&](auto* out, auto* length) { return kt_rfid_mful_c_read(number, out, length); }).substr(0, 11);
}

std::string written(std::uint32_t number, const char* digits)
{
    return done_by([&] { return kt_rfid_mful_c_write(number, data_of(bytes(digits)), 4); });
}

// Pages from 8 on are read and written after authentication.
constexpr const char* ticket =
    R"({"card": "ultralight_c", "memory": {"8": "00000019", "42": "08000000", "43": "00000000"}})";

} // namespace

TEST(UltralightC, BothSidesProveThatTheyHaveTheKey)
{
    const tapped_card reader(ticket);
    ASSERT_EQ(kt_rfid_mful_c_open(), 0);
    EXPECT_EQ(page(8), "failed: EIO");

    EXPECT_EQ(proof(factory_key, bytes("01 02 03 04 05 06 07 08")), "02 03 04 05 06 07 08 01");
    EXPECT_EQ(page(8), "00 00 00 19");
    EXPECT_EQ(written(8, "00 00 00 18"), "done");
    EXPECT_EQ(page(8), "00 00 00 18");
    const std::string sixteen = bytes("11 22 33 44 55 66 77 88 00 00 00 00 00 00 00 00");
    EXPECT_EQ(done_by([&] { return kt_rfid_mful_c_compat_write(9, data_of(sixteen), 16); }), "done");
    EXPECT_EQ(page(9), "11 22 33 44");

    EXPECT_EQ(kt_rfid_mful_c_close(), 0);
    ASSERT_EQ(kt_rfid_mful_c_open(), 0);
    EXPECT_EQ(page(8), "failed: EIO"); // a new selection, a new authentication
}

TEST(UltralightC, WrongKeyIsRefused)
{
    const tapped_card reader(ticket);
    EXPECT_EQ(proof("another key here", bytes("01 02 03 04 05 06 07 08")), "failed: EACCES");
    ASSERT_EQ(kt_rfid_mful_c_open(), 0);
    EXPECT_EQ(page(8), "failed: EIO");
}

TEST(UltralightC, EveryChallengeIsAnother)
{
    const tapped_card reader(ticket);
    std::string last;
    for (int times = 0; times < 4; ++times) {
        ASSERT_EQ(kt_rfid_mful_c_open(), 0);
        const std::string challenge = read_by(kt_rfid_mful_c_auth1);
        EXPECT_NE(challenge, last);
        last = challenge;
    }
}
