/** A FeliCa card's services: blocks that can be reached under one or more service codes, and how a file describes them.
 */
#pragma once

#include "terminal/cards/card_file.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kt::terminal {

/** Codes of the same blocks differ in the attribute, their low six bits, only. */
struct felica_service {
    static constexpr std::uint16_t random_read_write = 0x09; // without encryption, as is the other
    static constexpr std::uint16_t random_read_only = 0x0B;
    static constexpr std::uint16_t attribute_bits = 0x3F;
    static constexpr std::size_t block_size = 16;

    std::vector<std::uint16_t> codes{};
    std::uint16_t key_version = 0;
    std::vector<std::string> blocks{};

    bool has(std::uint16_t code) const;
};

/** Throws std::invalid_argument with a sentence. */
std::vector<felica_service> felica_services_of(const card_file& file);
void put_felica_services(const std::vector<felica_service>& services, card_file& file);

} // namespace kt::terminal
