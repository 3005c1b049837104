// A request of the contactless reader through the library against the bare ioctl on the same device, on a terminal.
#include "bench/on_terminal.h"
#include "bench/require.h"
#include "bench/side_by_side.h"
#include "kt_driver/nfc.h"
#include "terminal/client/virtual_terminal.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>

using kt::bench::require;

namespace {

constexpr std::uint32_t setpower = 0xC0044D3C;
constexpr std::uint32_t ntag21x_read = 0xC0044D2A;
constexpr std::uint32_t tcl_exchange = 0xC0044D03;

constexpr const char* tag = R"({"card": "ntag213"})";
constexpr const char* smart_card = R"({"card": "type_a", "otherwise": "9000"})";

constexpr int calls = 20;
constexpr int blocks = 1000;
constexpr double most = 1.03;

struct {
    std::uint8_t transmit[512];
    std::uint32_t transmit_length;
    std::uint8_t receive[512];
    std::uint32_t receive_length;
    std::uint32_t parameter;
    std::uint8_t unused[128];
} record;
static_assert(sizeof record == 1164);

/** The reader, opened by the library and once more for the bare calls, with a card in its field. */
int open_reader(const char* card)
{
    kt::bench::require_terminal();
    kt::terminal::virtual_terminal board;
    board.remove_cards();
    if (card != nullptr)
        board.tap_card(card);
    require(kt_rfid_init() == 0);
    const int fd = open("/dev/kt_nfc", O_RDWR);
    require(fd >= 0);
    return fd;
}

template <typename Bare, typename Library>
void compare(benchmark::State& state, const char* what, Bare bare, Library library)
{
    const auto found = kt::bench::side_by_side(state, calls, bare, library);
    kt::bench::figure(what, found.ratio(), "x", most, kt::bench::side_by_side_noise);
    state.counters["more_ns"] = (found.library - found.bare) * 1e9;
}

void plain(benchmark::State& state)
{
    const int fd = open_reader(nullptr);
    record.parameter = 1;
    compare(
        state, "kt_rfid_setpower, against a bare ioctl", [&] { require(ioctl(fd, setpower, &record) == 0); },
        [] { require(kt_rfid_setpower(1) == 0); });
}

void read(benchmark::State& state)
{
    const int fd = open_reader(tag);
    require(kt_rfid_ntag21x_open() == 0);
    static std::uint8_t pages[512];
    record.parameter = 4;
    compare(
        state, "kt_rfid_ntag21x_read, against a bare ioctl",
        [&] { require(ioctl(fd, ntag21x_read, &record) == 0 && record.receive_length == 16); },
        [] {
            std::uint32_t length = 0;
            require(kt_rfid_ntag21x_read(4, pages, &length) == 0 && length == 16);
        });
}

void exchange(benchmark::State& state)
{
    const int fd = open_reader(smart_card);
    require(kt_rfid_tcl_open() == 0);
    static constexpr std::uint8_t apdu[] = {0x00, 0xB0, 0x00, 0x00, 0x10};
    std::memcpy(record.transmit, apdu, sizeof apdu);
    record.transmit_length = sizeof apdu;
    compare(
        state, "kt_rfid_tcl_exchange, against a bare ioctl",
        [&] { require(ioctl(fd, tcl_exchange, &record) == 0 && record.receive_length == 2); },
        [] {
            std::uint8_t* answer = nullptr;
            std::uint16_t length = 0;
            require(kt_rfid_tcl_exchange(apdu, sizeof apdu, &answer, &length) == 0 && length == 2);
        });
}

BENCHMARK(plain)->UseManualTime()->Iterations(blocks)->Unit(benchmark::kMicrosecond);
BENCHMARK(read)->UseManualTime()->Iterations(blocks)->Unit(benchmark::kMicrosecond);
BENCHMARK(exchange)->UseManualTime()->Iterations(blocks)->Unit(benchmark::kMicrosecond);

} // namespace
