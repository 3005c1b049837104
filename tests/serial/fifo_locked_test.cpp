/** The functions that hold the FIFO's lock, called from several threads. */
#include <kt_driver/fifo.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace {

struct locked_fifo : kt_sfifo {
    locked_fifo() : kt_sfifo{sizeof storage, storage, storage, storage, &mutex} {}

    std::uint8_t storage[101] = {};
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
};

/** The byte that is put in at a place of the whole traffic; its pattern does not repeat with the storage. */
std::uint8_t byte_at(unsigned place)
{
    return static_cast<std::uint8_t>(place * 2654435761u >> 24);
}

constexpr unsigned traffic = 400'000;

void produce(kt_sfifo& fifo)
{
    std::mt19937 numbers(1);
    std::uint8_t bytes[120];
    for (unsigned sent = 0; sent < traffic;) {
        const unsigned count = std::min(traffic - sent, 1 + static_cast<unsigned>(numbers() % sizeof bytes));
        for (unsigned at = 0; at < count; ++at)
            bytes[at] = byte_at(sent + at);
        const unsigned stored = kt_sfifo_put_safe(&fifo, bytes, count);
        sent += stored;
        if (stored == 0)
            std::this_thread::yield();
    }
}

/** Gives how many bytes differed from those put in. */
unsigned consume(kt_sfifo& fifo)
{
    std::mt19937 numbers(2);
    std::uint8_t bytes[120];
    unsigned wrong = 0;
    for (unsigned received = 0; received < traffic;) {
        const unsigned count = kt_sfifo_get_safe(&fifo, bytes, 1 + static_cast<unsigned>(numbers() % sizeof bytes));
        for (unsigned at = 0; at < count; ++at)
            wrong += bytes[at] != byte_at(received + at) ? 1 : 0;
        received += count;
        if (count == 0)
            std::this_thread::yield();
    }
    return wrong;
}

} // namespace

TEST(LockedFifo, PassesTrafficOnInOrderWhileAThirdThreadLooks)
{
    locked_fifo fifo;
    std::atomic<bool> over = false;
    unsigned impossible = 0;
    std::thread watcher([&] {
        while (!over) {
            const unsigned held = kt_sfifo_data_avail_safe(&fifo);
            const unsigned space = kt_sfifo_space_avail_safe(&fifo);
            impossible += held > 100 || space > 100 ? 1 : 0;
            std::this_thread::yield();
        }
    });
    std::thread producer([&] { produce(fifo); });
    const unsigned wrong = consume(fifo);
    producer.join();
    over = true;
    watcher.join();

    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(impossible, 0u);
    EXPECT_EQ(kt_sfifo_data_avail_safe(&fifo), 0u);
    EXPECT_EQ(kt_sfifo_space_avail_safe(&fifo), 100u);
}

TEST(LockedFifo, EachFunctionWaitsForTheLockAndGivesItBack)
{
    locked_fifo fifo;
    ASSERT_EQ(kt_sfifo_put(&fifo, "abc", 3), 3u);
    char out[4] = "";
    const std::function<int()> calls[] = {
        [&] { return static_cast<int>(kt_sfifo_space_avail_safe(&fifo)) - 97; },
        [&] { return static_cast<int>(kt_sfifo_data_avail_safe(&fifo)) - 3; },
        [&] { return static_cast<int>(kt_sfifo_put_safe(&fifo, "de", 2)) - 2; },
        [&] { return static_cast<int>(kt_sfifo_get_safe(&fifo, out, 3)) - 3; },
        [&] { return kt_sfifo_reset_safe(&fifo); },
    };
    for (const auto& call : calls) {
        const kt_sfifo before = fifo;
        pthread_mutex_lock(&fifo.mutex);
        std::future<int> result = std::async(std::launch::async, call);
        EXPECT_EQ(result.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout);
        EXPECT_EQ(fifo.read_pos, before.read_pos);
        EXPECT_EQ(fifo.write_pos, before.write_pos);
        pthread_mutex_unlock(&fifo.mutex);
        EXPECT_EQ(result.get(), 0);
        EXPECT_EQ(pthread_mutex_trylock(&fifo.mutex), 0);
        pthread_mutex_unlock(&fifo.mutex);
    }
    EXPECT_STREQ(out, "abc");
    EXPECT_EQ(kt_sfifo_data_avail(&fifo), 0u) << "the last call discarded \"de\"";
}
