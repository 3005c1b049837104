// Copies of a few bytes, where calling memcpy would take as long as the copy itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace kt {

#if defined(__x86_64__) || defined(__i386__)

/** Copies and gives true, or leaves a piece to memcpy. */
inline bool copied_short(std::uint8_t* to, const std::uint8_t* from, unsigned count)
{
    using unit = std::uint8_t __attribute__((vector_size(16)));
    constexpr std::size_t size = sizeof(unit);
    if (count < 2 * size || count > 4 * size)
        return false;
    // Any address will do, so the last two may lie over the first two.
    unit units[4];
    std::memcpy(&units[0], from, size);
    std::memcpy(&units[1], from + size, size);
    std::memcpy(&units[2], from + count - 2 * size, size);
    std::memcpy(&units[3], from + count - size, size);
    std::memcpy(to, &units[0], size);
    std::memcpy(to + size, &units[1], size);
    std::memcpy(to + count - 2 * size, &units[2], size);
    std::memcpy(to + count - size, &units[3], size);
    return true;
}

#else

/** Copies whole units up to an end in the source; all lie at addresses of words. */
template <unsigned Size>
inline void copy_units(std::uint8_t*& to, const std::uint8_t*& from, const std::uint8_t* end)
{
    constexpr unsigned word_size = sizeof(std::uint32_t);
    for (; from != end; from += Size, to += Size)
        std::memcpy(std::assume_aligned<word_size>(to), std::assume_aligned<word_size>(from), Size);
}

/** Copies and gives true, or leaves a piece to memcpy. */
inline bool copied_short(std::uint8_t* to, const std::uint8_t* from, unsigned count)
{
    constexpr unsigned word_size = sizeof(std::uint32_t);
    constexpr unsigned block_size = 4 * word_size;
    const auto bits = reinterpret_cast<std::uintptr_t>(to) | reinterpret_cast<std::uintptr_t>(from) | count;
    if (count > 8 * block_size || bits % word_size != 0)
        return false;
    const std::uint8_t* const end = from + count;
    copy_units<block_size>(to, from, end - count % block_size);
    copy_units<word_size>(to, from, end);
    return true;
}

#endif

} // namespace kt
