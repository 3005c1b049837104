/** Whoever is at the other end of a data call. */
#pragma once

#include "terminal/modem/settings.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace kt::terminal {

/**
 * The place behind a dialled call. The bytes of the call pass through here and nothing else does, so what answers need
 * not live in this program: a pty with a real pppd at its other end is a peer too, where the kernel offers PPP.
 * Threads: all calls, in both directions, come one at a time on the modem's strand.
 */
class data_peer {
public:
    /** What a peer can do; lives longer than the peer. */
    class call {
    public:
        virtual ~call() = default;
        virtual void send(std::string_view bytes) = 0; /**< To the terminal. */
        virtual void hang_up() = 0;                    /**< Ends the call: NO CARRIER. */
        /** Calls @p what after a time, unless the call is over by then. */
        virtual void later(std::chrono::milliseconds delay, std::function<void()> what) = 0;
    };

    virtual ~data_peer() = default;
    data_peer() = default;
    data_peer(const data_peer&) = delete;
    data_peer& operator=(const data_peer&) = delete;

    virtual void received(std::string_view bytes) = 0; /**< From the terminal. */
    virtual std::string user() const { return {}; }    /**< The name that the terminal gave, if it was asked. */
    virtual bool is_up() const { return false; }       /**< Both have their addresses. */
};

/** The peer that the settings name; they and the call live longer. */
std::unique_ptr<data_peer> make_data_peer(const modem_settings& settings, data_peer::call& over);

} // namespace kt::terminal
