// CRC-32 by multiplication without carries, on the desk's processors: blocks of the data are folded onto later ones.
//
// A register of 128 bits stands for a polynomial whose highest power is in the lowest bit. A product of two of its
// halves lies one bit too low, that is, it comes multiplied by x; each constant below makes up for it.
#if defined(__x86_64__) || defined(__i386__)

#include "serial/crc32_polynomial.h"
#include "serial/crc32_ways.h"

#include <cpuid.h>
#include <cstddef>
// The compiler's own functions of 512-bit registers read variables that they leave to chance, where none is looked at.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>

#define KT_FOLDS __attribute__((target("sse4.1,pclmul")))
#define KT_FOLDS_WIDE __attribute__((target("sse4.1,pclmul,avx512f,vpclmulqdq")))

namespace kt {

namespace {

constexpr unsigned block = sizeof(__m128i);
constexpr unsigned wide_block = sizeof(__m512i);
// Four at a time, since the processor begins a multiplication long before it has ended the one before.
constexpr unsigned round = 4 * block;
constexpr unsigned wide_round = 4 * wide_block;

/** What a half of a register is multiplied by so that it counts as much as "Power" bits earlier in the data. */
template <unsigned Power>
constexpr std::uint64_t factor_of = std::uint64_t{power_of_x(Power - 1)} << 32;
template <unsigned Power>
constexpr auto moved_by = static_cast<long long>(factor_of<Power>);

/** The factors for both halves of a block that lies some blocks before the one it is folded onto. */
template <unsigned Blocks>
KT_FOLDS inline __m128i factors()
{
    constexpr unsigned bits = 8 * block * Blocks;
    return _mm_set_epi64x(moved_by<bits>, moved_by<bits + 64>);
}

KT_FOLDS inline __m128i folded(__m128i earlier, __m128i factors, __m128i later)
{
    const __m128i first = _mm_clmulepi64_si128(earlier, factors, 0x00);
    const __m128i second = _mm_clmulepi64_si128(earlier, factors, 0x11);
    return _mm_xor_si128(_mm_xor_si128(first, second), later);
}

KT_FOLDS inline __m128i block_at(const std::uint8_t* data, std::size_t number = 0)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + number * block));
}

/** Folds what is held onto the last bytes, fewer than a block: all but as many bytes of it are followed by them. */
KT_FOLDS inline __m128i folded_onto_rest(__m128i held, const std::uint8_t* data, unsigned length)
{
    // Read from its middle on, it moves a block's bytes towards the end, read later, towards the beginning.
    alignas(block) static constexpr std::uint8_t moves[3 * block] = {
        0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, //
        0,    1,    2,    3,    4,    5,    6,    7,    8,    9,    10,   11,   12,   13,   14,   15,   //
        0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
    };
    const __m128i to_the_end = block_at(moves + length);
    const __m128i to_the_beginning = block_at(moves + block + length);
    const __m128i ahead = _mm_shuffle_epi8(held, to_the_end);
    // The bytes before the rest belong to the block held already: they are replaced.
    const __m128i last =
        _mm_blendv_epi8(block_at(data + length - block), _mm_shuffle_epi8(held, to_the_beginning), to_the_end);
    return folded(ahead, factors<1>(), last);
}

/** The checksum, once nothing follows the block held. */
KT_FOLDS inline std::uint32_t reduced(__m128i held)
{
    const __m128i low_word = _mm_set_epi32(0, 0, 0, -1);
    // 32 zero bits follow, and the upper 64 bits are brought down in two steps: 96 bits are left, then 64.
    const __m128i to_96_and_64 = _mm_set_epi64x(moved_by<64>, moved_by<96>);
    __m128i left =
        _mm_xor_si128(_mm_clmulepi64_si128(held, to_96_and_64, 0x00), _mm_slli_si128(_mm_srli_si128(held, 8), 4));
    left = _mm_xor_si128(_mm_clmulepi64_si128(left, to_96_and_64, 0x10), left);
    left = _mm_srli_si128(left, 8);
    // The remainder of these, by the reciprocal: what the quotient times the polynomial leaves in the low 32 bits.
    const __m128i divisor = _mm_set_epi64x(static_cast<long long>(whole_crc32_polynomial()),
                                           static_cast<long long>(reciprocal_of_crc32_polynomial()));
    __m128i quotient = _mm_clmulepi64_si128(_mm_and_si128(left, low_word), divisor, 0x00);
    quotient = _mm_clmulepi64_si128(_mm_and_si128(quotient, low_word), divisor, 0x10);
    return ~static_cast<std::uint32_t>(_mm_extract_epi32(_mm_xor_si128(left, quotient), 1));
}

/** Folds what is held onto all the data behind it. */
KT_FOLDS inline std::uint32_t finished(__m128i held, const std::uint8_t* data, unsigned length)
{
    for (; length >= block; data += block, length -= block)
        held = folded(held, factors<1>(), block_at(data));
    if (length > 0)
        held = folded_onto_rest(held, data, length);
    return reduced(held);
}

/** Whether the kernel saves the 512-bit registers, all 32 of them, of a program that it interrupts. */
__attribute__((target("xsave"))) bool kernel_keeps_wide_registers()
{
    unsigned eax, ebx, ecx, edx;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 || (ecx & bit_OSXSAVE) == 0)
        return false;
    constexpr unsigned long long kept = 0xE6; // 128 bits, 256 bits, masks, 512 bits, registers 16 to 31
    return (_xgetbv(0) & kept) == kept;
}

template <unsigned Blocks>
KT_FOLDS_WIDE inline __m512i wide_factors()
{
    return _mm512_broadcast_i32x4(factors<Blocks>());
}

KT_FOLDS_WIDE inline __m512i wide_block_at(const std::uint8_t* data, std::size_t number = 0)
{
    return _mm512_loadu_si512(data + number * wide_block);
}

KT_FOLDS_WIDE inline __m512i folded(__m512i earlier, __m512i factors, __m512i later)
{
    constexpr int sum_of_three = 0x96;
    const __m512i first = _mm512_clmulepi64_epi128(earlier, factors, 0x00);
    const __m512i second = _mm512_clmulepi64_epi128(earlier, factors, 0x11);
    return _mm512_ternarylogic_epi64(first, second, later, sum_of_three);
}

/** Folds the first three blocks onto the fourth. */
KT_FOLDS_WIDE inline __m128i folded_to_one_block(__m512i held)
{
    const __m128i first = _mm512_castsi512_si128(held);
    const __m128i second = _mm512_extracti32x4_epi32(held, 1);
    const __m128i third = _mm512_extracti32x4_epi32(held, 2);
    const __m128i fourth = _mm512_extracti32x4_epi32(held, 3);
    return folded(first, factors<3>(), folded(second, factors<2>(), folded(third, factors<1>(), fourth)));
}

} // namespace

KT_FOLDS std::uint32_t crc32_by_folding(const std::uint8_t* data, unsigned length)
{
    if (length < block)
        return crc32_by_table(data, length);

    __m128i held = _mm_xor_si128(block_at(data), _mm_cvtsi32_si128(static_cast<int>(crc32_start)));
    if (length < round)
        return finished(held, data + block, length - block);

    __m128i second = block_at(data, 1);
    __m128i third = block_at(data, 2);
    __m128i fourth = block_at(data, 3);
    for (data += round, length -= round; length >= round; data += round, length -= round) {
        held = folded(held, factors<4>(), block_at(data));
        second = folded(second, factors<4>(), block_at(data, 1));
        third = folded(third, factors<4>(), block_at(data, 2));
        fourth = folded(fourth, factors<4>(), block_at(data, 3));
    }
    third = folded(held, factors<2>(), third);
    fourth = folded(second, factors<2>(), fourth);
    return finished(folded(third, factors<1>(), fourth), data, length);
}

KT_FOLDS_WIDE std::uint32_t crc32_by_wide_folding(const std::uint8_t* data, unsigned length)
{
    if (length < wide_round)
        return crc32_by_folding(data, length);

    const __m512i start = _mm512_zextsi128_si512(_mm_cvtsi32_si128(static_cast<int>(crc32_start)));
    __m512i first = _mm512_xor_si512(wide_block_at(data), start);
    __m512i second = wide_block_at(data, 1);
    __m512i third = wide_block_at(data, 2);
    __m512i fourth = wide_block_at(data, 3);
    data += wide_round;
    length -= wide_round;
    for (; length >= wide_round; data += wide_round, length -= wide_round) {
        first = folded(first, wide_factors<16>(), wide_block_at(data));
        second = folded(second, wide_factors<16>(), wide_block_at(data, 1));
        third = folded(third, wide_factors<16>(), wide_block_at(data, 2));
        fourth = folded(fourth, wide_factors<16>(), wide_block_at(data, 3));
    }
    third = folded(first, wide_factors<8>(), third);
    fourth = folded(second, wide_factors<8>(), fourth);
    __m512i held = folded(third, wide_factors<4>(), fourth);
    for (; length >= wide_block; data += wide_block, length -= wide_block)
        held = folded(held, wide_factors<4>(), wide_block_at(data));
    return finished(folded_to_one_block(held), data, length);
}

bool processor_folds()
{
    unsigned eax, ebx, ecx, edx;
    constexpr unsigned needed = bit_PCLMUL | bit_SSE4_1;
    return __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx & needed) == needed;
}

bool processor_folds_wide()
{
    unsigned eax, ebx, ecx, edx;
    return processor_folds() && kernel_keeps_wide_registers() && __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 &&
           (ebx & bit_AVX512F) != 0 && (ecx & bit_VPCLMULQDQ) != 0;
}

} // namespace kt

#endif
