/** The 1164 bytes that pass between a program and the reader's driver, laid out by hand. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kt::tests {

struct wire_record {
    static constexpr std::size_t size = 1164;
    static constexpr std::size_t receive_at = 516;
    static constexpr std::size_t parameter_at = 1032;

    std::string bytes = std::string(size, '\0');

    /** Every byte unlike its neighbours, and unlike the same byte of another seed below 256. */
    static wire_record pattern(unsigned seed);

    wire_record& put(std::size_t offset, const void* data, std::size_t count);
    wire_record& put_word(std::size_t offset, std::uint32_t word); /**< Little-endian. */

    wire_record& transmit(const void* data, std::size_t count) { return put(0, data, count); }
    wire_record& transmit_length(std::uint32_t word) { return put_word(512, word); }
    wire_record& receive(std::string_view data) { return put(receive_at, data.data(), data.size()); }
    wire_record& receive_length(std::uint32_t word) { return put_word(1028, word); }
    wire_record& parameter(std::uint32_t word) { return put_word(parameter_at, word); }

    std::string received() const { return bytes.substr(receive_at, 512); }
    std::uint32_t receive_length() const { return word_at(1028); }
    std::uint32_t word_at(std::size_t offset) const;
};

/** In words where two differ: "512: 06 for 00, ..."; empty when they are the same. */
std::string difference(std::string_view seen, std::string_view expected);

std::string hex(std::string_view bytes);

} // namespace kt::tests
