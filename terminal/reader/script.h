/** What the reader answers the next requests, whatever cards there are: a driver as a test wants it. */
#pragma once

#include "terminal/reader/record.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace kt::terminal {

/** One answer. Fields that it does not give stay as the program sent them. */
struct scripted_answer {
    std::optional<std::uint8_t> request{}; /**< The request's number; nothing: whichever comes next. */
    int result = 0;                        /**< What ioctl(2) returns; -1 to -4095 are errors to a program. */
    int error = 0; /**< An errno instead; fields that are given go to the program all the same. */
    std::chrono::milliseconds delay{0};
    std::optional<std::string> record{};   /**< All 1164 bytes; laid down first. */
    std::optional<std::string> transmit{}; /**< The first bytes, at most 512, and their number. */
    std::optional<std::string> receive{};
    std::optional<std::uint32_t> transmit_length{}; /**< Any number, also one that the bytes contradict. */
    std::optional<std::uint32_t> receive_length{};
    std::optional<std::uint32_t> parameter{};

    bool changes_record() const;
    void apply_to(reader_record& changed) const;
};

/** Threads: one at a time. */
class reader_script {
public:
    void add(const std::vector<scripted_answer>& answers);
    void forget() { answers_.clear(); }
    std::size_t left() const { return answers_.size(); }

    /** The first answer for this request, used up now. */
    std::optional<scripted_answer> take(std::uint8_t request);

private:
    std::deque<scripted_answer> answers_;
};

} // namespace kt::terminal
