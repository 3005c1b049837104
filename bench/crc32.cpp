// kt_crc32 against other libraries' CRC-32 and a plain table, and its way by tables alone against zlib.
#include "kt_driver/crc32.h"
#include "bench/side_by_side.h"
#include "serial/crc32_table.h"
#include "serial/crc32_ways.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdlib>
#include <isa-l/crc.h>
#include <libdeflate.h>
#include <string>
#include <vector>
#include <zlib.h>

namespace {

using checksum = std::uint32_t(const std::uint8_t* data, unsigned length);

std::uint32_t by_kt(const std::uint8_t* data, unsigned length)
{
    return kt_crc32(data, length);
}

std::uint32_t byte_by_byte(const std::uint8_t* data, unsigned length)
{
    std::uint32_t crc = kt::crc32_start;
    for (; length > 0; --length)
        crc = kt::kt_crc32tab[(crc ^ *data++) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

std::uint32_t by_zlib(const std::uint8_t* data, unsigned length)
{
    return static_cast<std::uint32_t>(crc32(0, data, length));
}

std::uint32_t by_libdeflate(const std::uint8_t* data, unsigned length)
{
    return libdeflate_crc32(0, data, length);
}

std::uint32_t by_isal(const std::uint8_t* data, unsigned length)
{
    return crc32_gzip_refl(0, data, length);
}

constexpr int blocks = 2000;
constexpr double no_limit = 0;

/** How long ours takes, as a multiple of the time of theirs. */
void compare(benchmark::State& state, const std::string& what, checksum* theirs, checksum* ours, double most)
{
    const auto length = static_cast<unsigned>(state.range(0));
    std::vector<std::uint8_t> data(length);
    for (unsigned at = 0; at < length; ++at)
        data[at] = static_cast<std::uint8_t>(at * 2654435761u >> 24);
    if (theirs(data.data(), length) != ours(data.data(), length))
        std::abort();

    const int calls = length > 1000 ? 20 : 1000; // some 20 us: a block is over before the scheduler looks
    const auto run = [&](checksum* sum) { return [&, sum] { benchmark::DoNotOptimize(sum(data.data(), length)); }; };
    const auto found = kt::bench::side_by_side(state, calls, run(theirs), run(ours));
    const std::string title = what + ", " + std::to_string(length) + " bytes";
    if (most == no_limit)
        kt::bench::figure(title.c_str(), found.ratio(), "x");
    else
        kt::bench::figure(title.c_str(), found.ratio(), "x", most);
}

void isal(benchmark::State& state)
{
    compare(state, "CRC-32 against isa-l", by_isal, by_kt, 1.05);
}

void libdeflate(benchmark::State& state)
{
    compare(state, "CRC-32 against libdeflate", by_libdeflate, by_kt, no_limit);
}

void zlib(benchmark::State& state)
{
    compare(state, "CRC-32 against zlib", by_zlib, by_kt, no_limit);
}

void plain_table(benchmark::State& state)
{
    compare(state, "CRC-32 against a byte-wise table", byte_by_byte, by_kt, no_limit);
}

void tables_and_zlib(benchmark::State& state)
{
    compare(state, "CRC-32 by tables against zlib", by_zlib, kt::crc32_by_table, 1);
}

BENCHMARK(isal)->Arg(64)->Arg(65536)->UseManualTime()->Iterations(blocks);
BENCHMARK(libdeflate)->Arg(64)->Arg(65536)->UseManualTime()->Iterations(blocks);
BENCHMARK(zlib)->Arg(64)->Arg(65536)->UseManualTime()->Iterations(blocks);
BENCHMARK(plain_table)->Arg(64)->Arg(65536)->UseManualTime()->Iterations(blocks / 10);
BENCHMARK(tables_and_zlib)->Arg(64)->Arg(65536)->UseManualTime()->Iterations(blocks);

} // namespace
