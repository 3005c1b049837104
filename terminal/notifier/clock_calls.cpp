/** The kernel's rules for its calls on the calendar's time, and the forms in which each way in has them. */
#include "terminal/notifier/clock_calls.h"

#include "terminal/notified_calls.h"

#include <cerrno>
#include <cstdio>

namespace kt::terminal {

namespace {

constexpr std::int64_t second_ns = 1'000'000'000;
constexpr std::int64_t microsecond_ns = 1000;
constexpr int farthest_zone = 15 * 60;

/** Seconds and a part of a second, as the caller's kind of program lays them out. */
struct time_pair {
    std::int64_t seconds = 0;
    std::int64_t part = 0;
};

bool short_words(const waiting_call& call)
{
    return call.way->short_words && call.number != call.way->clock_settime64 &&
           call.number != call.way->clock_gettime64;
}

bool copy_pair_in(const waiting_call& call, std::uint64_t address, time_pair& to)
{
    if (!short_words(call)) {
        std::int64_t words[2];
        if (!receiver::copy_in(call, words, address, sizeof words))
            return false;
        // A 32-bit program's upper half of the second word is padding.
        to = {words[0], call.way->short_words ? words[1] & 0xFFFF'FFFF : words[1]};
        return true;
    }
    std::int32_t words[2];
    if (!receiver::copy_in(call, words, address, sizeof words))
        return false;
    to = {words[0], words[1]};
    return true;
}

bool copy_pair_out(const waiting_call& call, std::uint64_t address, time_pair from)
{
    if (!short_words(call)) {
        const std::int64_t words[2] = {from.seconds, from.part};
        return receiver::copy_out(call, address, words, sizeof words);
    }
    const std::int32_t words[2] = {static_cast<std::int32_t>(from.seconds), static_cast<std::int32_t>(from.part)};
    return receiver::copy_out(call, address, words, sizeof words);
}

/** One word: stime's and time's. */
bool copy_seconds_in(const waiting_call& call, std::uint64_t address, std::int64_t& to)
{
    if (!short_words(call))
        return receiver::copy_in(call, &to, address, sizeof to);
    std::int32_t word = 0;
    const bool copied = receiver::copy_in(call, &word, address, sizeof word);
    to = word;
    return copied;
}

bool copy_seconds_out(const waiting_call& call, std::uint64_t address, std::int64_t from)
{
    const auto word = static_cast<std::int32_t>(from);
    return short_words(call) ? receiver::copy_out(call, address, &word, sizeof word)
                             : receiver::copy_out(call, address, &from, sizeof from);
}

/** The calendar may not go back behind the machine's start. */
bool before_start(const time_pair& time)
{
    timespec running{};
    clock_gettime(CLOCK_MONOTONIC, &running);
    return time.seconds < running.tv_sec || (time.seconds == running.tv_sec && time.part < running.tv_nsec);
}

bool acceptable(const time_pair& time)
{
    return board_clock::holds(time.seconds) && time.part >= 0 && time.part < second_ns && !before_start(time);
}

/** One of the calls that give a time and nothing else. */
clock_wish wish_for(const time_pair& time)
{
    if (!acceptable(time))
        return {.error = EINVAL};
    return {.time = timespec{static_cast<time_t>(time.seconds), static_cast<long>(time.part)}};
}

/** settimeofday's. */
clock_wish wish_with_zone(const waiting_call& call)
{
    const bool given = call.arguments[0] != 0;
    time_pair time;
    if (given && !copy_pair_in(call, call.arguments[0], time))
        return {.error = EFAULT};
    if (time.part < 0 || time.part > second_ns / microsecond_ns)
        return {.error = EINVAL};
    time.part *= microsecond_ns;
    std::optional<time_zone> zone;
    if (call.arguments[1] != 0) {
        zone.emplace();
        if (!receiver::copy_in(call, &*zone, call.arguments[1], sizeof *zone))
            return {.error = EFAULT};
        if (zone->minutes_west > farthest_zone || zone->minutes_west < -farthest_zone)
            return {.error = EINVAL};
    }
    clock_wish wish = given ? wish_for(time) : clock_wish{};
    wish.zone = zone;
    return wish;
}

} // namespace

std::string clock_wish::text() const
{
    if (!time)
        return {};
    char digits[48];
    std::snprintf(digits, sizeof digits, "%lld.%09lld", static_cast<long long>(time->tv_sec),
                  static_cast<long long>(time->tv_nsec));
    return digits;
}

bool clock_calls::sets(const waiting_call& call)
{
    return call.way != nullptr && (call.number == call.way->settimeofday || call.number == call.way->clock_settime ||
                                   call.number == call.way->clock_settime64 || call.number == call.way->stime);
}

bool clock_calls::reads(const waiting_call& call)
{
    return call.way != nullptr && (call.number == call.way->gettimeofday || call.number == call.way->clock_gettime ||
                                   call.number == call.way->clock_gettime64 || call.number == call.way->time);
}

clock_wish clock_calls::wish_of(const waiting_call& call)
{
    if (call.number == call.way->settimeofday)
        return wish_with_zone(call);
    time_pair time;
    const bool copied = call.number == call.way->stime ? copy_seconds_in(call, call.arguments[0], time.seconds)
                                                       : copy_pair_in(call, call.arguments[1], time);
    return copied ? wish_for(time) : clock_wish{.error = EFAULT};
}

int clock_calls::read(const waiting_call& call, const board_clock& clock, std::int64_t& result) const
{
    timespec now = clock.now();
    result = 0;
    if (call.number == call.way->time) {
        result = short_words(call) ? static_cast<std::int32_t>(now.tv_sec) : std::int64_t{now.tv_sec};
        return call.arguments[0] == 0 || copy_seconds_out(call, call.arguments[0], now.tv_sec) ? 0 : EFAULT;
    }
    if (call.number == call.way->gettimeofday) {
        if (call.arguments[0] != 0 &&
            !copy_pair_out(call, call.arguments[0], {now.tv_sec, now.tv_nsec / microsecond_ns}))
            return EFAULT;
        return call.arguments[1] == 0 || receiver::copy_out(call, call.arguments[1], &zone_, sizeof zone_) ? 0 : EFAULT;
    }
    if (static_cast<clockid_t>(call.arguments[0]) == CLOCK_TAI) {
        timespec atomic{};
        timespec calendar{};
        clock_gettime(CLOCK_REALTIME, &calendar);
        clock_gettime(CLOCK_TAI, &atomic); // whole seconds apart, but for the moment between the two calls
        now.tv_sec += atomic.tv_sec - calendar.tv_sec - (atomic.tv_nsec < calendar.tv_nsec ? 1 : 0);
    }
    return copy_pair_out(call, call.arguments[1], {now.tv_sec, now.tv_nsec}) ? 0 : EFAULT;
}

} // namespace kt::terminal
