/** The options of an Internet link: addresses and name servers, as numbers and as texts. */
#include "terminal/ppp/ipcp_wishes.h"

#include <charconv>

namespace kt::terminal {

namespace {

enum option : std::uint8_t { address = 3, first_dns = 129, second_dns = 131 };

/** 0 or 1 for a name server's option, -1 for another. */
int dns_of(std::uint8_t type)
{
    return type == first_dns ? 0 : type == second_dns ? 1 : -1;
}

} // namespace

std::string address_text(std::uint32_t address)
{
    std::string text;
    for (const unsigned shift : {24u, 16u, 8u, 0u}) {
        text += std::to_string((address >> shift) & 0xFF);
        if (shift > 0)
            text += '.';
    }
    return text;
}

std::optional<std::uint32_t> parse_address(std::string_view text)
{
    std::uint32_t address = 0;
    for (int part = 0; part < 4; ++part) {
        unsigned value = 256;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc{} || value > 255)
            return std::nullopt;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (part < 3) {
            if (!text.starts_with('.'))
                return std::nullopt;
            text.remove_prefix(1);
        }
        address = address << 8 | value;
    }
    return text.empty() ? std::optional(address) : std::nullopt;
}

ppp_options ipcp_wishes::wanted()
{
    ppp_options options;
    if (asks_address_)
        options.push_back({option::address, number_bytes(own_)});
    for (int which = 0; which < 2; ++which)
        if (asks_dns_[which])
            options.push_back({which == 0 ? first_dns : second_dns, number_bytes(dns_[which])});
    return options;
}

void ipcp_wishes::judge(const ppp_options& asked, ppp_options& nak, ppp_options& reject)
{
    for (const ppp_option& each : asked) {
        const std::uint32_t value = number_in(each.value);
        std::uint32_t right = 0;
        if (each.type == option::address)
            right = settings_.given_address != 0 ? settings_.given_address : value;
        else if (const int which = dns_of(each.type); which >= 0)
            right = settings_.given_dns[which];
        if (right == 0)
            reject.push_back(each); // such as header compression, or an address of nobody
        else if (value != right)
            nak.push_back({each.type, number_bytes(right)});
    }
}

void ipcp_wishes::use(const ppp_options& asked)
{
    for (const ppp_option& each : asked)
        if (each.type == option::address)
            other_ = number_in(each.value);
}

void ipcp_wishes::heed(const ppp_options& better)
{
    for (const ppp_option& each : better) {
        if (each.type == option::address && settings_.own_address == 0)
            own_ = number_in(each.value);
        else if (const int which = dns_of(each.type); which >= 0)
            dns_[which] = number_in(each.value);
    }
}

void ipcp_wishes::give_up(const ppp_options& not_liked)
{
    for (const ppp_option& each : not_liked) {
        if (each.type == option::address)
            asks_address_ = false;
        else if (const int which = dns_of(each.type); which >= 0) {
            asks_dns_[which] = false;
            dns_[which] = 0;
        }
    }
}

} // namespace kt::terminal
