/** Services from a FeliCa card's file and back; blocks of zeros are not written. */
#include "terminal/cards/felica_services.h"

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>

namespace kt::terminal {

namespace {

constexpr std::size_t most_blocks = 1024; // several times what such cards have

std::string digits_of(std::uint16_t code)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (int shift = 12; shift >= 0; shift -= 4)
        text += digits[code >> shift & 0xF];
    return text;
}

std::vector<std::uint16_t> codes_of(const card_file& file, std::set<std::uint16_t>& taken)
{
    const std::string bytes = file.bytes("codes").value_or("");
    if (bytes.empty() || bytes.size() % 2 != 0)
        throw std::invalid_argument("a FeliCa service's \"codes\" must be service codes of 4 hexadecimal digits");
    std::vector<std::uint16_t> codes;
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        const auto code = static_cast<std::uint16_t>(static_cast<std::uint8_t>(bytes[i]) << 8 |
                                                     static_cast<std::uint8_t>(bytes[i + 1]));
        const unsigned attribute = code & felica_service::attribute_bits;
        if (attribute != felica_service::random_read_write && attribute != felica_service::random_read_only)
            throw std::invalid_argument(
                "the FeliCa service " + digits_of(code) +
                " is neither random read/write (attribute 09) nor random read-only (0B) without "
                "encryption");
        if (!taken.insert(code).second)
            throw std::invalid_argument("the FeliCa service " + digits_of(code) + " stands twice in the card's file");
        if (!codes.empty() && (code ^ codes[0]) > felica_service::attribute_bits)
            throw std::invalid_argument("FeliCa services that share blocks differ in their low six bits only, " +
                                        digits_of(codes[0]) + " and " + digits_of(code) + " do not");
        codes.push_back(code);
    }
    return codes;
}

} // namespace

bool felica_service::has(std::uint16_t code) const
{
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

std::vector<felica_service> felica_services_of(const card_file& file)
{
    std::vector<felica_service> services;
    std::set<std::uint16_t> taken;
    std::size_t all_blocks = 0;
    for (const card_file& each : file.list("services")) {
        felica_service service;
        service.codes = codes_of(each, taken);
        service.key_version = static_cast<std::uint16_t>(each.number("key_version", 0, 0xFFFE)); // FFFF: no service
        const std::uint32_t count = each.number("size", 1, most_blocks);
        all_blocks += count;
        if (all_blocks > most_blocks)
            throw std::invalid_argument("the services of a FeliCa card must have no more than " +
                                        std::to_string(most_blocks) + " blocks together");
        service.blocks.assign(count, std::string(felica_service::block_size, '\0'));
        for (auto& [number, bytes] : each.blocks("blocks", felica_service::block_size, count))
            service.blocks[number] = bytes;
        each.all_known();
        services.push_back(std::move(service));
    }
    return services;
}

void put_felica_services(const std::vector<felica_service>& services, card_file& file)
{
    std::vector<card_file> written;
    for (const felica_service& service : services) {
        std::string codes;
        for (const std::uint16_t code : service.codes)
            codes += (codes.empty() ? "" : " ") + digits_of(code);
        std::map<std::uint32_t, std::string> used;
        for (std::uint32_t number = 0; number < service.blocks.size(); ++number)
            if (service.blocks[number].find_first_not_of('\0') != std::string::npos)
                used[number] = service.blocks[number];
        card_file each;
        each.put("codes", codes).put_number("key_version", service.key_version);
        each.put_number("size", static_cast<std::uint32_t>(service.blocks.size())).put_blocks("blocks", used);
        written.push_back(std::move(each));
    }
    file.put_list("services", written);
}

} // namespace kt::terminal
