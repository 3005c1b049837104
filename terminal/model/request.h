/** A read, a write or a request on an open node that waits for its answer. */
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

namespace kt::terminal {

/** Who asks, as the program itself knows its numbers. */
struct caller {
    int pid = 0;
    int tid = 0;
};

/** Answered exactly once, at once or later, from any thread; the answer ends its life. A node that waits keeps it. */
class request {
public:
    virtual ~request() = default;
    request() = default;
    request(const request&) = delete;
    request& operator=(const request&) = delete;

    virtual caller from() const = 0;
    virtual void fail(int error) = 0;
    virtual void bytes(std::string_view data) = 0; /**< The answer to a read. */
    virtual void count(std::size_t taken) = 0;     /**< The answer to a write. */
};

using request_ptr = std::unique_ptr<request>;

} // namespace kt::terminal
