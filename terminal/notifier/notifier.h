/** Answers in the place of the kernel: FIONREAD on the board's devices, and the calls on the calendar's time. */
#pragma once

#include "terminal/descriptor.h"
#include "terminal/model/node.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <sys/types.h>

namespace kt::terminal {

class board;

/** The terminal whose calls are answered. */
struct notified_terminal {
    descriptor receiver;
    unsigned board_device = 0; /**< The minor device number of the board's files. */
    pid_t helper = -1;         /**< The set-up helper. */
};

class notifier {
public:
    /** The node that the kernel knows by a number, or null. */
    using node_finder = std::function<node_ptr(std::uint64_t number)>;

    /**
     * Begins to answer, on a thread of its own, and listens to the board's clock. The board and what @p find uses must
     * outlive it. Throws std::runtime_error.
     */
    notifier(board& shown, notified_terminal from, node_finder find);

    /** Ends the thread; calls that wait fail with ENOSYS. */
    ~notifier();
    notifier(const notifier&) = delete;
    notifier& operator=(const notifier&) = delete;

private:
    struct parts;
    std::unique_ptr<parts> parts_;
};

} // namespace kt::terminal
