/** The answers to programs' calls, put together under a lock and given without it. */
#pragma once

#include "terminal/model/board.h"

#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

namespace kt::terminal {

/** What a change of the sleep brings about, in order. */
class outcome {
public:
    void skip(std::chrono::nanoseconds time) { skipped_ += time; }
    void fail(request_ptr asked, int error) { answers_.push_back({std::move(asked), 0, error, {}}); }
    void count(request_ptr asked, std::size_t taken) { answers_.push_back({std::move(asked), taken, 0, {}}); }
    void go_on(request_ptr asked, attribute_guard::go_on on)
    {
        answers_.push_back({std::move(asked), 0, 0, std::move(on)});
    }

    /** Without locks: the clock and the calls belong to others. */
    void happen(board& on)
    {
        if (skipped_.count() > 0)
            on.clock().advance(skipped_);
        for (answer& each : answers_) {
            if (each.on)
                each.on(std::move(each.asked));
            else if (each.error != 0)
                each.asked->fail(each.error);
            else
                each.asked->count(each.taken);
        }
    }

private:
    struct answer {
        request_ptr asked;
        std::size_t taken;
        int error;
        attribute_guard::go_on on;
    };
    std::chrono::nanoseconds skipped_{0};
    std::vector<answer> answers_;
};

} // namespace kt::terminal
