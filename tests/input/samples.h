/** Touch samples as a call gives them. */
#pragma once

#include <kt_driver/input.h>

#include <cstdint>
#include <ostream>

namespace kt::tests {

/** A call's result and the sample as it is then. */
struct touched {
    int result = -2;
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t pressure = 0;
    std::int32_t reserved = 0;

    bool operator==(const touched&) const = default;
};

inline void PrintTo(const touched& shown, std::ostream* out)
{
    *out << shown.result << " {" << shown.x << ", " << shown.y << ", " << shown.pressure << ", " << shown.reserved
         << "}";
}

/** What the sample's fields that are no input hold before a call. */
inline constexpr std::int32_t marked = -1515870811;

/** No sample, and all fields as they were. */
inline constexpr touched no_touch{0, 0, 0, marked, marked};

inline touched read_touch(kt_ts_sample& sample)
{
    const int result = kt_ts_read(&sample);
    return {result, sample.x, sample.y, sample.pressure, sample.reserved};
}

/** Reads into a sample that is clear, or has these coordinates. */
inline touched read_touch(std::int32_t x = 0, std::int32_t y = 0)
{
    kt_ts_sample sample{x, y, marked, marked};
    return read_touch(sample);
}

} // namespace kt::tests
