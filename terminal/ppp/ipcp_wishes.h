/** What an end of a link wants of the addresses. */
#pragma once

#include "terminal/ppp/link.h"
#include "terminal/ppp/number_bytes.h"

namespace kt::terminal {

class ipcp_wishes : public negotiation::wishes {
public:
    explicit ipcp_wishes(const ppp_settings& settings)
        : settings_(settings), own_(settings.own_address), asks_dns_{settings.wants_dns, settings.wants_dns}
    {
    }

    std::uint32_t own() const { return own_; }
    std::uint32_t other() const { return other_; }
    std::uint32_t dns(int which) const { return dns_[which]; }

    ppp_options wanted() override;
    void judge(const ppp_options& asked, ppp_options& nak, ppp_options& reject) override;
    void use(const ppp_options& asked) override;
    void heed(const ppp_options& better) override;
    void give_up(const ppp_options& not_liked) override;

private:
    const ppp_settings& settings_;
    std::uint32_t own_;
    std::uint32_t other_ = 0;
    std::uint32_t dns_[2] = {0, 0};
    bool asks_dns_[2];
    bool asks_address_ = true;
};

} // namespace kt::terminal
