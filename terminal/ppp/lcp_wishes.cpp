/** The link's own options: receive unit, escaped characters, authentication, magic number, compressed headers. */
#include "terminal/ppp/lcp_wishes.h"

#include <algorithm>

namespace kt::terminal {

namespace {

enum option : std::uint8_t {
    receive_unit = 1,
    escaped_characters = 2,
    authentication = 3,
    magic_number = 5,
    short_protocol = 7,
    no_address = 8,
};

constexpr std::string_view by_pap = "\xC0\x23";

} // namespace

ppp_options lcp_wishes::wanted()
{
    ppp_options options;
    if (settings_.accepts)
        options.push_back({authentication, std::string(by_pap)});
    if (!without_magic_)
        options.push_back({magic_number, number_bytes(magic_)});
    return options;
}

void lcp_wishes::judge(const ppp_options& asked, ppp_options& nak, ppp_options& reject)
{
    for (const ppp_option& each : asked) {
        switch (each.type) {
        case receive_unit:
        case escaped_characters:
        case short_protocol:
        case no_address:
            break; // allows us to send what we never send, or what we always do
        case authentication:
            if (settings_.user.empty())
                reject.push_back(each);
            else if (each.value != by_pap)
                nak.push_back({authentication, std::string(by_pap)});
            break;
        case magic_number:
            if (number_in(each.value) == magic_) {
                ++loops_;
                magic_ = magic_ * 1664525 + 1013904223; // anything else
                nak.push_back({magic_number, number_bytes(magic_)});
            } else {
                loops_ = 0;
            }
            break;
        default:
            reject.push_back(each);
        }
    }
}

void lcp_wishes::use(const ppp_options& asked)
{
    must_name_ = std::any_of(asked.begin(), asked.end(), [](const auto& each) { return each.type == authentication; });
}

void lcp_wishes::heed(const ppp_options& better)
{
    for (const ppp_option& each : better) {
        if (each.type == magic_number)
            magic_ = number_in(each.value);
        else if (each.type == authentication)
            refused_ = true; // by another protocol, which is not spoken here
    }
}

void lcp_wishes::give_up(const ppp_options& not_liked)
{
    for (const ppp_option& each : not_liked) {
        if (each.type == magic_number)
            without_magic_ = true;
        else if (each.type == authentication)
            refused_ = true;
    }
}

} // namespace kt::terminal
