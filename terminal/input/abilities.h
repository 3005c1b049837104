/** Which events a device says it can report. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kt::terminal {

struct abilities {
    std::vector<std::uint16_t> keys;
    std::vector<std::uint16_t> axes;
    bool repeats = false; /**< A key that is held down repeats. */

    bool can(unsigned type, unsigned code) const;

    /**
     * The bits of all codes of a type, of the types themselves for type 0, as the kernel hands them out: in words of
     * @p word_size bytes. Nothing: there is no such type.
     */
    std::optional<std::string> bits(unsigned type, std::size_t word_size) const;
};

/** The largest value of every axis; the smallest is 0. */
inline constexpr std::int32_t largest_axis_value = 4095;

namespace device_name {
inline constexpr const char* buttons = "gpio_keys";
inline constexpr const char* keypad = "Kestrel Keyboard";
inline constexpr const char* panel = "kt_touch";
} // namespace device_name

/** Those of the board's own devices; any other is a keypad. @p bus tells which kind of panel it is. */
abilities abilities_of(const std::string& name, unsigned bus);

} // namespace kt::terminal
