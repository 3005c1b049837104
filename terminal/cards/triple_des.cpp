/** Two-key Triple DES by Nettle. */
#include "terminal/cards/triple_des.h"

#include <nettle/cbc.h>
#include <nettle/des.h>

namespace kt::terminal {

static_assert(triple_des_block == DES_BLOCK_SIZE);

std::string triple_des(cipher way, std::string_view key, std::array<std::uint8_t, triple_des_block>& chained,
                       std::string_view text)
{
    const std::string three_keys = std::string(key) + std::string(key.substr(0, DES_KEY_SIZE));
    des3_ctx context;
    (void)des3_set_key(&context, reinterpret_cast<const std::uint8_t*>(three_keys.data())); // weak ones are used too
    std::string result(text.size(), '\0');
    auto* const out = reinterpret_cast<std::uint8_t*>(result.data());
    const auto* const in = reinterpret_cast<const std::uint8_t*>(text.data());
    if (way == cipher::encipher)
        cbc_encrypt(
            &context,
            [](const void* with, std::size_t length, std::uint8_t* to, const std::uint8_t* from) {
                des3_encrypt(static_cast<const des3_ctx*>(with), length, to, from);
            },
            chained.size(), chained.data(), text.size(), out, in);
    else
        cbc_decrypt(
            &context,
            [](const void* with, std::size_t length, std::uint8_t* to, const std::uint8_t* from) {
                des3_decrypt(static_cast<const des3_ctx*>(with), length, to, from);
            },
            chained.size(), chained.data(), text.size(), out, in);
    return result;
}

} // namespace kt::terminal
