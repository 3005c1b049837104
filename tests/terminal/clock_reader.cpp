/** Reads the time by every way and says whether all of them give the one named, or which does not. */
#include "tests/terminal/clock_calls.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    constexpr long long patience = 100;
    const long long from = argc > 1 ? std::atoll(argv[1]) : 0;
    int wrong = 0;
    for (const kt::tests::way_to_read& way : kt::tests::ways_to_read) {
        const long long now = way.read();
        if (now < from || now >= from + patience) {
            std::printf("%s: %lld\n", way.name, now);
            ++wrong;
        }
    }
    std::puts(wrong == 0 ? "all right" : "wrong");
    return wrong == 0 ? 0 : 1;
}
