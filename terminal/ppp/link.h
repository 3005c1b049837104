/** One end of a PPP link: brought up, kept and ended. */
#pragma once

#include "terminal/ppp/hdlc.h"
#include "terminal/ppp/negotiation.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kt::terminal {

/** An IPv4 address, most significant byte first in its number; 0 is none. */
std::string address_text(std::uint32_t address);
/** Nothing unless the text is four numbers with dots. */
std::optional<std::uint32_t> parse_address(std::string_view text);

struct ppp_settings {
    std::uint32_t magic = 1;             /**< Another number at each end, by which a loop is known. */
    std::uint32_t own_address = 0;       /**< 0: asks the other for one. */
    std::uint32_t given_address = 0;     /**< What the other must take; 0: what it says. */
    std::uint32_t given_dns[2] = {0, 0}; /**< Name servers for the other; 0: refused. */
    bool wants_dns = false;              /**< Asks the other for name servers. */

    std::string user; /**< Who we are when the other wants to know; empty: we refuse to say. */
    std::string password;

    /** Set: the other must name itself, and goes on when this says true. */
    std::function<bool(const std::string& user, const std::string& password)> accepts;

    ppp_patience patience;
    std::chrono::milliseconds echo_interval{0}; /**< Between echo requests on a link that is up; 0: none. */
    int echo_failures = 0;                      /**< So many without an answer end the link; 0: never. */
};

/** Why a link is over. */
enum class ppp_end {
    none,   /**< It is not. */
    closed, /**< This end closed it. */
    closed_by_other,
    no_agreement,  /**< Nobody answered, or options were not agreed on. */
    not_accepted,  /**< The other did not take our name and password. */
    other_refused, /**< The other did not say who it is, or was not accepted. */
    no_echo,
    loop, /**< We talk to ourselves. */
};

/** Threads: one at a time. Nothing is called from outside its own calls. */
class ppp_link {
public:
    using moment = negotiation::moment;

    ppp_link(ppp_settings settings, std::function<void(std::string_view bytes)> send);
    ~ppp_link();
    ppp_link(const ppp_link&) = delete;
    ppp_link& operator=(const ppp_link&) = delete;

    void start(moment now);
    void received(std::string_view bytes, moment now);
    void close(moment now);
    /** Does what is due; to be called at deadline(). */
    void tick(moment now);
    std::optional<moment> deadline() const;

    bool is_up() const;   /**< Both ends have their addresses. */
    bool is_over() const; /**< Nothing more will be said. */
    ppp_end ending() const;

    std::uint32_t own_address() const;
    std::uint32_t other_address() const;
    std::uint32_t dns(int which) const;    /**< What the other gave: 0 and 1. */
    const std::string& other_user() const; /**< The name that the other gave. */

private:
    struct parts;
    std::unique_ptr<parts> parts_;
};

} // namespace kt::terminal
