/** Answers FIONREAD on the board's devices with what the device says, in the place of the kernel. */
#pragma once

#include "terminal/descriptor.h"
#include "terminal/model/node.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace kt::terminal {

class board;

class notifier {
public:
    /** The node that the kernel knows by a number, or null. */
    using node_finder = std::function<node_ptr(std::uint64_t number)>;

    /** Begins to answer, on a thread of its own. The board and what @p find uses must outlive it. Throws
        std::runtime_error. */
    notifier(board& shown, descriptor receiver, unsigned board_device, node_finder find);

    /** Ends the thread; calls that wait fail with ENOSYS. */
    ~notifier();
    notifier(const notifier&) = delete;
    notifier& operator=(const notifier&) = delete;

private:
    struct parts;
    std::unique_ptr<parts> parts_;
};

} // namespace kt::terminal
