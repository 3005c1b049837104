/** What the library does to the descriptors of event nodes, in order. */
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace kt::tests {

/**
 * Watches this thread's open, fcntl and close from construction to take(). A program that uses it has these calls in
 * the place of the C library's.
 */
class node_calls {
public:
    node_calls();
    ~node_calls();
    node_calls(const node_calls&) = delete;
    node_calls& operator=(const node_calls&) = delete;

    /** Runs directly before the open of an event node, the first of which is 1. */
    void before_open(int number, std::function<void()> what);

    /** "open /dev/input/event0 = 7", "non-blocking 7", "close 7": of event nodes, the second of any descriptor. */
    std::vector<std::string> take();

    /** Used by the calls themselves. */
    void opening();
    void opened(const std::string& node, int fd);
    void note(std::string call) { made_.push_back(std::move(call)); }

private:
    std::vector<std::string> made_;
    std::vector<std::pair<int, std::function<void()>>> earlier_;
    int opens_ = 0;
};

} // namespace kt::tests
