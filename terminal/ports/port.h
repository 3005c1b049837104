/** A serial port of the board: the device node at one end of a line. */
#pragma once

#include "terminal/model/node.h"
#include "terminal/ports/line.h"

#include <memory>

namespace kt::terminal {

class board;

class port : public node {
public:
    /** A node on a line of its own, or on one that somebody else (a modem) serves. */
    explicit port(std::shared_ptr<line> wire = std::make_shared<line>());
    ~port() override;

    const std::shared_ptr<line>& wire() const { return wire_; }

    std::optional<int> waiting_bytes() const override { return wire_->is_open() ? wire_->waiting() : -1; }
    struct stat status() const override;
    result<std::unique_ptr<open_file>> open(int flags) override;

    /** What is open is hung up, and who still knows the node cannot open it; a program's own unlink only takes the name
     * away. */
    void unplugged() override { wire_->set_dead(true); }

private:
    class opened;

    const std::shared_ptr<line> wire_;
};

/** The line of the port at a path; null when there is no port. */
std::shared_ptr<line> line_at(const board& searched, std::string_view path);

/**
 * Makes the kind "port" known to a board: options "speed", "data_bits", "parity" ("N", "E", "O") and "stop_bits" are
 * the other end's; with none of them it follows the terminal's.
 */
void know_ports(board& known);

} // namespace kt::terminal
