/** FeliCa's packets, taken apart and answered. */
#include "terminal/cards/felica_card.h"

#include "terminal/cards/felica_packet.h"
#include "terminal/cards/felica_services.h"

#include <optional>

namespace kt::terminal {

namespace {

constexpr std::size_t idm_size = 8;
constexpr unsigned most_services = 16;
constexpr unsigned most_blocks = 15; // what an answer's length byte leaves room for
constexpr unsigned most_nodes = 32;
constexpr std::uint16_t no_such_node = 0xFFFF;

enum command : std::uint8_t {
    polling = 0x00,
    request_service = 0x02,
    request_response = 0x04,
    read_without_encryption = 0x06,
    write_without_encryption = 0x08,
    request_system_code = 0x0C,
};

class felica_card final : public card {
public:
    explicit felica_card(const card_file& file)
        : name_(file.text("name", "")),
          pmm_(file.bytes_like("pmm", "\x01\x20\xFF\xFF\xFF\xFF\xFF\xFF")),
          system_(file.bytes_like("system", "\xFE\xE1")),
          key_version_(static_cast<std::uint16_t>(file.number("key_version", 0, 0xFFFE))),
          services_(felica_services_of(file))
    {
        identity_.family = card_family::felica;
        identity_.uid = file.bytes_like("idm", "\x01\x01\x02\x03\x04\x05\x06\x07");
    }

    const card_identity& identity() const override { return identity_; }
    std::string file() const override;

private:
    using block_list = std::vector<std::string*>;

    void asked(std::string_view frame, reply answered) override;
    std::optional<std::string> answer(std::string_view frame);
    std::optional<std::string> polled(felica_packet packet) const;
    std::optional<std::string> key_versions(felica_packet packet) const;
    std::optional<std::string> read(felica_packet packet);
    std::optional<std::string> write(felica_packet packet);
    std::optional<felica_outcome> look_up(felica_packet& packet, bool writing, block_list& found);
    felica_service* service_of(std::uint16_t code);
    felica_outcome block_of(const felica_element& element, const std::vector<std::uint16_t>& codes, bool writing,
                            block_list& found);

    std::string name_;
    std::string pmm_;
    std::string system_;
    std::uint16_t key_version_;
    std::vector<felica_service> services_;
    card_identity identity_;
};

std::string felica_card::file() const
{
    card_file file;
    file.put_head("felica", name_).put_bytes("idm", identity_.uid).put_bytes("pmm", pmm_).put_bytes("system", system_);
    file.put_number("key_version", key_version_);
    put_felica_services(services_, file);
    return file.written();
}

/** Puts the length byte before the answer. */
void felica_card::asked(std::string_view frame, reply answered)
{
    const auto body = answer(frame);
    answered(body ? card_answer::of(static_cast<char>(body->size() + 1) + *body) : card_answer::silent());
}

std::optional<std::string> felica_card::answer(std::string_view frame)
{
    felica_packet packet(frame);
    if (packet.byte() != frame.size())
        return std::nullopt;
    const std::uint8_t command = packet.byte();
    if (command == polling)
        return polled(packet);
    if (packet.bytes(idm_size) != identity_.uid)
        return std::nullopt;
    const std::string head = static_cast<char>(command + 1) + identity_.uid;
    std::optional<std::string> rest;
    switch (command) {
    case request_service:
        rest = key_versions(packet);
        break;
    case request_response:
        if (packet.ended_well())
            rest = std::string(1, '\0');
        break;
    case read_without_encryption:
        rest = read(packet);
        break;
    case write_without_encryption:
        rest = write(packet);
        break;
    case request_system_code:
        if (packet.ended_well())
            rest = '\x01' + system_;
        break;
    default:
        break;
    }
    return rest ? std::optional(head + *rest) : std::nullopt;
}

std::optional<std::string> felica_card::polled(felica_packet packet) const
{
    for (const char own : system_) {
        const std::uint8_t asked = packet.byte();
        if (asked != 0xFF && asked != static_cast<std::uint8_t>(own))
            return std::nullopt;
    }
    const std::uint8_t request = packet.byte();
    const std::uint8_t last_slot = packet.byte();
    if (!packet.ended_well() || last_slot > 0x0F || (last_slot & (last_slot + 1)) != 0) // 1, 2, 4, 8 or 16 slots
        return std::nullopt;
    std::string found = '\x01' + identity_.uid + pmm_;
    if (request == 0x01)
        found += system_;
    else if (request == 0x02)
        found += std::string("\x00\x83", 2); // 212 and 424 kbit/s, told apart by itself
    return found;                            // other codes are reserved: as if nothing was asked for
}

std::optional<std::string> felica_card::key_versions(felica_packet packet) const
{
    const std::uint8_t count = packet.byte();
    if (count == 0 || count > most_nodes)
        return std::nullopt;
    std::string versions(1, static_cast<char>(count));
    for (unsigned i = 0; i < count; ++i) {
        const std::uint16_t code = packet.little();
        std::uint16_t version = code == 0x0000 || code == 0xFFFF ? key_version_ : no_such_node; // root area, system
        for (const felica_service& service : services_)
            if (service.has(code))
                version = service.key_version;
        versions += felica_number(version);
    }
    return packet.ended_well() ? std::optional(versions) : std::nullopt;
}

std::optional<std::string> felica_card::read(felica_packet packet)
{
    block_list found;
    const auto result = look_up(packet, false, found);
    if (!result || (result->why == felica_status::success && !packet.ended_well()))
        return std::nullopt;
    std::string shown = result->flags();
    if (result->why != felica_status::success)
        return shown;
    shown += static_cast<char>(found.size());
    for (const std::string* const block : found)
        shown += *block;
    return shown;
}

std::optional<std::string> felica_card::write(felica_packet packet)
{
    block_list found;
    const auto result = look_up(packet, true, found);
    if (!result || result->why != felica_status::success)
        return result ? std::optional(result->flags()) : std::nullopt;
    const std::string_view data = packet.bytes(found.size() * felica_service::block_size);
    if (!packet.ended_well())
        return std::nullopt;
    for (std::size_t i = 0; i < found.size(); ++i)
        *found[i] = data.substr(i * felica_service::block_size, felica_service::block_size);
    return result->flags();
}

/** Takes services and block list off the packet; nothing when it ends before them. */
std::optional<felica_outcome> felica_card::look_up(felica_packet& packet, bool writing, block_list& found)
{
    const std::uint8_t service_count = packet.byte();
    if (packet.spoilt())
        return std::nullopt;
    if (service_count == 0 || service_count > most_services)
        return felica_outcome{felica_status::number_of_services};
    std::vector<std::uint16_t> codes;
    for (unsigned i = 0; i < service_count; ++i)
        codes.push_back(packet.little());
    const std::uint8_t block_count = packet.byte();
    if (packet.spoilt())
        return std::nullopt;
    if (block_count == 0 || block_count > most_blocks)
        return felica_outcome{felica_status::number_of_blocks};
    std::vector<felica_element> list;
    for (unsigned i = 0; i < block_count; ++i)
        list.push_back(felica_element_of(packet));
    if (packet.spoilt())
        return std::nullopt;
    for (const std::uint16_t code : codes)
        if (service_of(code) == nullptr)
            return felica_outcome{felica_status::service_code};
    for (std::size_t i = 0; i < list.size(); ++i) {
        felica_outcome each = block_of(list[i], codes, writing, found);
        each.where = static_cast<std::uint8_t>(i + 1);
        if (each.why != felica_status::success)
            return each;
    }
    return felica_outcome{};
}

felica_service* felica_card::service_of(std::uint16_t code)
{
    for (felica_service& service : services_)
        if (service.has(code))
            return &service;
    return nullptr;
}

felica_outcome felica_card::block_of(const felica_element& element, const std::vector<std::uint16_t>& codes,
                                     bool writing, block_list& found)
{
    if (element.order >= codes.size())
        return {felica_status::service_order};
    if (element.mode != 0)
        return {felica_status::access_mode};
    const std::uint16_t code = codes[element.order];
    if (writing && (code & felica_service::attribute_bits) != felica_service::random_read_write)
        return {felica_status::not_allowed};
    felica_service* const service = service_of(code);
    if (service == nullptr || element.number >= service->blocks.size())
        return {felica_status::block_number};
    found.push_back(&service->blocks[element.number]);
    return {};
}

} // namespace

card_ptr felica_card_of(const card_file& file)
{
    return std::make_shared<felica_card>(file);
}

} // namespace kt::terminal
