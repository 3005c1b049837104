/** What the library does to the descriptors of event nodes, in order. */
#pragma once

#include "tests/support/interposed_calls.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace kt::tests {

/** Watches this thread's open, fcntl and close from construction to take(). */
class node_calls : call_watcher {
public:
    /** Runs directly before the open of an event node, the first of which is 1. */
    void before_open(int number, std::function<void()> what);

    /** "open /dev/input/event0 = 7", "non-blocking 7", "close 7": of event nodes, the second of any descriptor. */
    std::vector<std::string> take();

private:
    int begins(const c_call& call) override;
    void ended(const c_call& call, int result) override;

    std::vector<std::string> made_;
    std::vector<std::pair<int, std::function<void()>>> earlier_;
    int opens_ = 0;
};

} // namespace kt::tests
