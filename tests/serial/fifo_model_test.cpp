/** Millions of random operations on FIFOs of many sizes, beside a queue of the C++ library's. */
#include <kt_driver/fifo.h>

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

/** A FIFO, and a queue that is to hold the same. */
class pair_of_queues {
public:
    pair_of_queues(std::mt19937& numbers, unsigned size)
        : numbers_(numbers),
          memory_(size + 2 * fence, fence_byte),
          fifo_{size, &memory_[fence], nullptr, nullptr, nullptr}
    {
        fifo_.read_pos = fifo_.write_pos = fifo_.buffer + below(size);
    }

    void put()
    {
        std::vector<std::uint8_t> bytes(random_count());
        for (std::uint8_t& byte : bytes)
            byte = next_byte_++;
        const std::size_t fits = std::min(bytes.size(), fifo_.size - 1 - model_.size());
        ASSERT_EQ(kt_sfifo_put(&fifo_, bytes.data(), static_cast<unsigned>(bytes.size())), fits);
        model_.insert(model_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(fits));
    }

    void get()
    {
        std::vector<std::uint8_t> bytes(random_count() + 1, fence_byte);
        const auto there = static_cast<std::ptrdiff_t>(std::min(bytes.size() - 1, model_.size()));
        ASSERT_EQ(kt_sfifo_get(&fifo_, bytes.data(), static_cast<unsigned>(bytes.size() - 1)), there);
        ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + there, model_.begin()));
        ASSERT_TRUE(std::all_of(bytes.begin() + there, bytes.end(), [](auto byte) { return byte == fence_byte; }));
        model_.erase(model_.begin(), model_.begin() + there);
    }

    void reset()
    {
        const std::uint8_t* const writer = fifo_.write_pos;
        ASSERT_EQ(kt_sfifo_reset(&fifo_), 0);
        ASSERT_EQ(fifo_.read_pos, writer);
        model_.clear();
    }

    void check() const
    {
        ASSERT_EQ(kt_sfifo_data_avail(&fifo_), model_.size());
        ASSERT_EQ(kt_sfifo_space_avail(&fifo_), fifo_.size - 1 - model_.size());
        for (const std::uint8_t* position : {fifo_.read_pos, fifo_.write_pos}) {
            ASSERT_GE(position, fifo_.buffer);
            ASSERT_LT(position, fifo_.buffer + fifo_.size);
        }
        for (unsigned outside = 0; outside < fence; ++outside) {
            ASSERT_EQ(memory_[outside], fence_byte);
            ASSERT_EQ(memory_[fence + fifo_.size + outside], fence_byte);
        }
    }

    unsigned below(unsigned limit) { return static_cast<unsigned>(numbers_() % limit); }

private:
    static constexpr unsigned fence = 8;
    static constexpr std::uint8_t fence_byte = 0xFE; // next_byte_ passes it, but an untouched byte is never put

    /** Mostly few bytes, at times more than there can be. */
    unsigned random_count() { return below(4) == 0 ? below(fifo_.size + 8) : below(std::min(fifo_.size, 80u) + 1); }

    std::mt19937& numbers_;
    std::vector<std::uint8_t> memory_;
    kt_sfifo fifo_;
    std::deque<std::uint8_t> model_;
    std::uint8_t next_byte_ = 0;
};

} // namespace

TEST(Fifo, HoldsWhatAQueueHoldsOverMillionsOfOperations)
{
    std::mt19937 numbers(1);
    constexpr unsigned operations_each = 8000;
    for (unsigned size = 1; size <= 300; ++size) {
        pair_of_queues queues(numbers, size);
        for (unsigned left = operations_each; left > 0; --left) {
            const unsigned choice = queues.below(100);
            if (choice == 0)
                queues.reset();
            else if (choice % 2 == 0)
                queues.put();
            else
                queues.get();
            queues.check();
            ASSERT_FALSE(HasFatalFailure()) << "size " << size << ", " << left << " operations before the end";
        }
    }
}
