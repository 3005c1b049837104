/** Ultralight EV1, of 20 pages (MF0UL11) or 41 (MF0UL21): a ticket with three counters. */
#pragma once

#include "terminal/cards/password_card.h"

namespace kt::terminal {

/**
 * An increment that loses its power leaves the counter as it was and is told by CHECK_TEARING_EVENT until the counter's
 * next increment that is acknowledged. VCSL answers with the card's own VCTID, whatever installation it names.
 */
class ultralight_ev1 : public password_card {
public:
    explicit ultralight_ev1(const card_file& file);

protected:
    card_answer own_command(std::string_view frame) override;
    void torn_command(std::string_view frame) override;
    void describe(card_file& into) const override;

private:
    struct counter {
        std::uint32_t value = 0;
        bool torn = false;
    };
    static constexpr unsigned counter_count = 3;

    static bool fits(const counter& into, std::uint32_t by);
    card_answer increment(counter& each, std::uint32_t by);
    ultralight_ev1(const card_file& file, unsigned pages);

    counter counters_[counter_count];
};

} // namespace kt::terminal
