/** What an end of a link wants of the line itself: names, and to know itself from the other. */
#pragma once

#include "terminal/ppp/link.h"
#include "terminal/ppp/number_bytes.h"

namespace kt::terminal {

class lcp_wishes : public negotiation::wishes {
public:
    static constexpr int most_loops = 10; /**< So many requests with our own number, and it is us. */

    explicit lcp_wishes(const ppp_settings& settings) : settings_(settings), magic_(settings.magic) {}

    std::uint32_t magic() const { return magic_; }
    bool must_name_ourselves() const { return must_name_; }
    bool refused() const { return refused_; } /**< The other will not say who it is. */
    int loops() const { return loops_; }

    ppp_options wanted() override;
    void judge(const ppp_options& asked, ppp_options& nak, ppp_options& reject) override;
    void use(const ppp_options& asked) override;
    void heed(const ppp_options& better) override;
    void give_up(const ppp_options& not_liked) override;

private:
    const ppp_settings& settings_;
    std::uint32_t magic_;
    bool without_magic_ = false;
    bool must_name_ = false;
    bool refused_ = false;
    int loops_ = 0;
};

} // namespace kt::terminal
