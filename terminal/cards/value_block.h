/** The format in which Mifare Classic keeps a value: three times, once inverted, beside an address that is only kept.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kt::terminal {

struct value_block {
    std::int32_t value = 0;
    std::uint8_t address = 0; /**< Its writer's; moves with the value from block to block. */

    /** Of 16 bytes; nothing when the copies differ. */
    static std::optional<value_block> of(std::string_view block);

    std::string bytes() const;
};

} // namespace kt::terminal
