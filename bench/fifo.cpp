// Bytes put into a FIFO and taken out again, against the two copies that this cannot do without, and another library.
#include "kt_driver/fifo.h"
#include "bench/require.h"
#include "bench/side_by_side.h"

#include <benchmark/benchmark.h>
#include <boost/lockfree/spsc_queue.hpp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

using kt::bench::require;

namespace {

constexpr unsigned ring_size = 65536;
alignas(64) std::uint8_t ring[ring_size];
alignas(64) std::uint8_t traffic[4096];
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

constexpr int blocks = 5000;

int calls(unsigned length)
{
    return length > 1000 ? 100 : 2000; // some 10 us: a block is over before the scheduler looks
}

/** A value that the compiler does not know: else it would write the copies out. */
template <typename Value>
Value unknown(Value value)
{
    asm volatile("" : "+r"(value) : : "memory");
    return value;
}

/** Copies in and out at the places where a FIFO would hold the bytes. */
class bare_copies {
public:
    void operator()(unsigned length)
    {
        std::memcpy(ring + place_, traffic, unknown(length));
        std::memcpy(traffic, ring + place_, unknown(length));
        place_ = place_ + length == ring_size ? 0 : place_ + length;
    }

private:
    unsigned place_ = 0;
};

kt_sfifo new_fifo()
{
    return {ring_size, ring, ring, ring, &mutex};
}

void figure(benchmark::State& state, const char* what, double ratio, double most)
{
    const std::string title = std::string(what) + ", " + std::to_string(state.range(0)) + " bytes";
    kt::bench::figure(title.c_str(), ratio, "x", most);
}

void put_and_get(kt_sfifo& fifo, unsigned length)
{
    require(kt_sfifo_put(&fifo, traffic, unknown(length)) == length);
    require(kt_sfifo_get(&fifo, traffic, unknown(length)) == length);
}

void against_copies(benchmark::State& state)
{
    const auto length = static_cast<unsigned>(state.range(0));
    bare_copies copies;
    kt_sfifo fifo = new_fifo();
    const auto found = kt::bench::side_by_side(
        state, calls(length), [&] { copies(length); }, [&] { put_and_get(fifo, length); });
    figure(state, "FIFO put and get against two copies", found.ratio(), length > 1000 ? 1.02 : 1.4);
}

void against_boost(benchmark::State& state)
{
    const auto length = static_cast<unsigned>(state.range(0));
    static boost::lockfree::spsc_queue<std::uint8_t, boost::lockfree::capacity<ring_size - 1>> queue;
    kt_sfifo fifo = new_fifo();
    const auto by_boost = [&] {
        require(queue.push(traffic, unknown(length)) == length);
        require(queue.pop(traffic, unknown(length)) == length);
    };
    const auto found = kt::bench::side_by_side(state, calls(length), by_boost, [&] { put_and_get(fifo, length); });
    figure(state, "FIFO put and get against Boost's", found.ratio(), 1);
}

void with_lock(benchmark::State& state)
{
    const auto length = static_cast<unsigned>(state.range(0));
    kt_sfifo fifo = new_fifo();
    const auto apart = [&] {
        put_and_get(fifo, length);
        for (int pairs = 2; pairs > 0; --pairs) {
            pthread_mutex_lock(&mutex);
            pthread_mutex_unlock(&mutex);
        }
    };
    const auto by_library = [&] {
        require(kt_sfifo_put_safe(&fifo, traffic, unknown(length)) == length);
        require(kt_sfifo_get_safe(&fifo, traffic, unknown(length)) == length);
    };
    const auto found = kt::bench::side_by_side(state, calls(length), apart, by_library);
    figure(state, "FIFO with its lock against plain and mutex", found.ratio(), 1.05);
}

BENCHMARK(against_copies)->Arg(64)->Arg(4096)->UseManualTime()->Iterations(blocks);
BENCHMARK(against_boost)->Arg(64)->Arg(4096)->UseManualTime()->Iterations(blocks);
BENCHMARK(with_lock)->Arg(64)->Arg(4096)->UseManualTime()->Iterations(blocks);

} // namespace
