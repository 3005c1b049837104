/** What one call gives, prints and leaves in errno. */
#pragma once

#include "tests/support/captured_stdout.h"

#include <cerrno>
#include <ostream>
#include <string>

namespace kt::tests {

struct outcome {
    int result = -2;
    int cause = 0; /**< errno of a failed call, which was 0 before it. */
    std::string text{};

    bool operator==(const outcome&) const = default;
};

inline std::ostream& operator<<(std::ostream& to, const outcome& shown)
{
    return to << shown.result << ", errno " << shown.cause << ", text \"" << shown.text << '"';
}

template <typename Call>
outcome outcome_of(Call call)
{
    outcome done;
    done.text = printed([&] {
        errno = 0;
        done.result = call();
        done.cause = done.result < 0 ? errno : 0;
    });
    return done;
}

/** A failed call: -1, its cause, its text. */
inline outcome failed(int cause, const std::string& text)
{
    return {-1, cause, text};
}

} // namespace kt::tests
