/** The file through which the stand-in programs say that they were run, and learn what to do. */
#pragma once

#include "terminal/model/node.h"

namespace kt::terminal {

class board;

/**
 * One write: the arguments, each ended by a NUL. One read: a line "exit N", "run PATH", "restart", "off" or "fail
 * TEXT", and behind it what to print.
 */
class report : public node {
public:
    explicit report(board& owner) : node(S_IFREG | 0666), board_(owner) {}

    bool journalled() const override { return false; }
    result<std::unique_ptr<open_file>> open(int flags) override;

private:
    class opened;

    board& board_;
};

} // namespace kt::terminal
