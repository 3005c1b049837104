/** The seed of the random numbers: the current second, as the battery's voltage is not known. */
#include <kt_driver/base.h>

#include "tests/support/captured_stdout.h"

#include <array>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

using namespace kt::tests;

namespace {

using numbers = std::array<int, 8>;

numbers next_numbers()
{
    numbers next;
    for (int& number : next)
        number = std::rand();
    return next;
}

/** True when the generator was seeded with one of the seconds from @p first to now. */
bool seeded_since(std::time_t first)
{
    const numbers given = next_numbers();
    for (std::time_t second = first; second <= std::time(nullptr); ++second) {
        std::srand(static_cast<unsigned int>(second));
        if (next_numbers() == given)
            return true;
    }
    return false;
}

} // namespace

TEST(Seed, IsTheCurrentSecond)
{
    std::srand(42);
    const std::time_t before = std::time(nullptr);
    EXPECT_EQ(printed([] { kt_srand_init(); }), "");
    EXPECT_TRUE(seeded_since(before));
}

TEST(Seed, IsSetByStartUp)
{
    std::srand(42);
    const std::time_t before = std::time(nullptr);
    printed([] { kt_driverlib_init(); });
    EXPECT_TRUE(seeded_since(before));
}
