/** A serial line led out of the terminal: to a pty or a TCP port of the desk. */
#pragma once

#include "terminal/control/bridge_end.h"
#include "terminal/ports/recorder.h"

#include <memory>
#include <string>
#include <thread>

namespace kt::terminal {

/** Carries bytes both ways, on a thread of its own, until it is destroyed. Threads: the owner's. */
class line_bridge {
public:
    /** What the desk's end does not take beyond this is lost, as on a line without handshake. */
    static constexpr std::size_t most_kept = std::size_t{1} << 20;

    line_bridge(std::shared_ptr<line> wire, std::shared_ptr<recorder> other_end, bridge_end end);
    ~line_bridge();
    line_bridge(const line_bridge&) = delete;
    line_bridge& operator=(const line_bridge&) = delete;

    const std::string& pty() const { return end_.pty; }
    int tcp_port() const { return end_.tcp_port; }

private:
    class outlet;

    void run();
    void take_in();
    void put_out();
    void leave();

    const std::shared_ptr<line> wire_;
    const std::shared_ptr<recorder> other_end_;
    bridge_end end_;
    const std::shared_ptr<outlet> outlet_;
    std::thread thread_;
};

} // namespace kt::terminal
