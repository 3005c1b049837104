/** LCP, PAP and IPCP, one after the other, and the echoes of a link that is up. */
#include "terminal/ppp/link.h"

#include "terminal/ppp/ipcp_wishes.h"
#include "terminal/ppp/lcp_wishes.h"

#include <algorithm>

namespace kt::terminal {

namespace {

enum protocol : std::uint16_t {
    internet = 0x0021,
    ipcp = 0x8021,
    lcp = 0xC021,
    pap = 0xC023,
};

enum class pap_code : std::uint8_t { request = 1, ack = 2, nak = 3 };

/** A length in one byte and the text itself; nothing when the text is not whole. */
std::optional<std::string> take_text(std::string_view& data)
{
    if (data.empty())
        return std::nullopt;
    const std::size_t length = static_cast<unsigned char>(data[0]);
    if (length > data.size() - 1)
        return std::nullopt;
    std::string text(data.substr(1, length));
    data.remove_prefix(1 + length);
    return text;
}

std::string with_length(std::string_view text)
{
    text = text.substr(0, 255);
    return static_cast<char>(text.size()) + std::string(text);
}

} // namespace

struct ppp_link::parts {
    enum class phase { before, establish, authenticate, network, up, terminate, over };

    parts(ppp_settings given, std::function<void(std::string_view)> out)
        : settings(std::move(given)),
          send(std::move(out)),
          line(settings),
          addresses(settings),
          lcp_talk(line, settings.patience, [this](const control_packet& packet) { say(lcp, packet); }),
          ipcp_talk(addresses, settings.patience, [this](const control_packet& packet) { say(ipcp, packet); })
    {
    }

    void say(std::uint16_t protocol, const control_packet& packet) { send(hdlc_frame({protocol, packet.bytes()})); }

    void take(const ppp_packet& packet, moment now);
    void take_lcp(const control_packet& packet, const std::string& information, moment now);
    void take_pap(const control_packet& packet, moment now);
    void follow(moment now);
    void authenticate(moment now);
    void name_ourselves(moment now);
    void start_network(moment now);
    void echo(moment now);
    void end(ppp_end reason, moment now);

    const ppp_settings settings;
    const std::function<void(std::string_view)> send;
    lcp_wishes line;
    ipcp_wishes addresses;
    negotiation lcp_talk;
    negotiation ipcp_talk;
    hdlc_reader reader;
    phase at = phase::before;
    ppp_end why = ppp_end::none;
    bool naming = false;    // our name is not accepted yet
    bool listening = false; // the other's name is not known yet
    std::uint8_t id = 0;
    int names_left = 0;
    int echoes_missing = 0;
    std::string other_user;
    std::optional<moment> due; // of a name or an echo
};

ppp_link::ppp_link(ppp_settings settings, std::function<void(std::string_view bytes)> send)
    : parts_(std::make_unique<parts>(std::move(settings), std::move(send)))
{
}

ppp_link::~ppp_link() = default;

void ppp_link::start(moment now)
{
    parts_->at = parts::phase::establish;
    parts_->lcp_talk.start(now);
}

void ppp_link::received(std::string_view bytes, moment now)
{
    for (const ppp_packet& packet : parts_->reader.feed(bytes)) {
        parts_->take(packet, now);
        parts_->follow(now);
    }
}

void ppp_link::close(moment now)
{
    parts_->end(ppp_end::closed, now);
    parts_->follow(now);
}

void ppp_link::tick(moment now)
{
    parts& link = *parts_;
    link.lcp_talk.tick(now);
    link.ipcp_talk.tick(now);
    if (link.due && now >= *link.due) {
        link.due.reset();
        if (link.at == parts::phase::authenticate) {
            if (link.naming && link.names_left > 0)
                link.name_ourselves(now);
            else
                link.end(link.naming ? ppp_end::no_agreement : ppp_end::other_refused, now);
        } else if (link.at == parts::phase::up) {
            link.echo(now);
        }
    }
    link.follow(now);
}

std::optional<ppp_link::moment> ppp_link::deadline() const
{
    std::optional<moment> first;
    for (const auto& each : {parts_->lcp_talk.deadline(), parts_->ipcp_talk.deadline(), parts_->due})
        if (each && (!first || *each < *first))
            first = each;
    return first;
}

bool ppp_link::is_up() const
{
    return parts_->at == parts::phase::up;
}

bool ppp_link::is_over() const
{
    return parts_->at == parts::phase::over;
}

ppp_end ppp_link::ending() const
{
    return parts_->why;
}

std::uint32_t ppp_link::own_address() const
{
    return parts_->addresses.own();
}

std::uint32_t ppp_link::other_address() const
{
    return parts_->addresses.other();
}

std::uint32_t ppp_link::dns(int which) const
{
    return parts_->addresses.dns(which);
}

const std::string& ppp_link::other_user() const
{
    return parts_->other_user;
}

void ppp_link::parts::take(const ppp_packet& packet, moment now)
{
    if (at == phase::before || at == phase::over)
        return;
    const auto inner = control_packet::parse(packet.information);
    if (packet.protocol == lcp) {
        if (inner)
            take_lcp(*inner, packet.information, now);
        return;
    }
    if (lcp_talk.now() != negotiation::state::open)
        return; // nothing else is spoken yet
    if (packet.protocol == pap) {
        if (inner)
            take_pap(*inner, now);
    } else if (packet.protocol == ipcp) {
        if (inner && (at == phase::network || at == phase::up) && !ipcp_talk.received(*inner, now))
            say(ipcp, {static_cast<std::uint8_t>(ppp_code::code_reject), ++id, packet.information});
    } else if (packet.protocol != internet) {
        const std::string name{static_cast<char>(packet.protocol >> 8), static_cast<char>(packet.protocol & 0xFF)};
        say(lcp, {static_cast<std::uint8_t>(ppp_code::protocol_reject), ++id, name + packet.information});
    }
}

void ppp_link::parts::take_lcp(const control_packet& packet, const std::string& information, moment now)
{
    if (lcp_talk.received(packet, now))
        return;
    switch (static_cast<ppp_code>(packet.code)) {
    case ppp_code::echo_request:
        if (lcp_talk.now() == negotiation::state::open && packet.data.size() >= 4)
            say(lcp, {static_cast<std::uint8_t>(ppp_code::echo_reply), packet.id,
                      number_bytes(line.magic()) + packet.data.substr(4)});
        return;
    case ppp_code::echo_reply:
        echoes_missing = 0;
        return;
    case ppp_code::protocol_reject:
        if (packet.data.starts_with("\x80\x21"))
            end(ppp_end::no_agreement, now); // a link without addresses carries nothing
        return;
    case ppp_code::discard_request:
        return;
    default:
        say(lcp, {static_cast<std::uint8_t>(ppp_code::code_reject), ++id, information});
    }
}

void ppp_link::parts::take_pap(const control_packet& packet, moment now)
{
    const auto code = static_cast<pap_code>(packet.code);
    if (code == pap_code::request && settings.accepts) {
        std::string_view data = packet.data;
        const auto user = take_text(data);
        const auto password = take_text(data);
        if (!user || !password)
            return;
        const bool fine = settings.accepts(*user, *password);
        other_user = *user;
        // Again the same answer when it comes again: ours may have been lost.
        say(pap, {static_cast<std::uint8_t>(fine ? pap_code::ack : pap_code::nak), packet.id,
                  with_length(fine ? "" : "Login incorrect")});
        if (!fine)
            return end(ppp_end::other_refused, now);
        listening = false;
    } else if (naming && packet.id == id && code == pap_code::ack) {
        naming = false;
        due.reset();
    } else if (naming && packet.id == id && code == pap_code::nak) {
        return end(ppp_end::not_accepted, now);
    }
    if (at == phase::authenticate && !naming && !listening)
        start_network(now);
}

/** Draws the conclusions from what the negotiations have come to. */
void ppp_link::parts::follow(moment now)
{
    using state = negotiation::state;
    if (at == phase::before || at == phase::over)
        return;
    if (line.loops() >= lcp_wishes::most_loops)
        end(ppp_end::loop, now);
    if (line.refused())
        end(ppp_end::other_refused, now);
    if (lcp_talk.now() == state::closed) {
        if (why == ppp_end::none)
            why = lcp_talk.ended_by_other() ? ppp_end::closed_by_other : ppp_end::no_agreement;
        ipcp_talk.stop();
        due.reset();
        at = phase::over;
        return;
    }
    if (at == phase::terminate)
        return;
    if (lcp_talk.now() == state::open) {
        if (at == phase::establish)
            authenticate(now);
    } else if (at != phase::establish) { // the other began anew
        due.reset();
        ipcp_talk.stop();
        at = phase::establish;
    }
    if (at == phase::up && ipcp_talk.now() == state::asking) {
        at = phase::network;
        due.reset();
    }
    if (at == phase::network && ipcp_talk.now() == state::open) {
        at = phase::up;
        echoes_missing = 0;
        if (settings.echo_interval.count() > 0)
            due = now + settings.echo_interval;
    }
    if (ipcp_talk.now() == state::closed && (at == phase::network || at == phase::up))
        end(ipcp_talk.ended_by_other() ? ppp_end::closed_by_other : ppp_end::no_agreement, now);
}

void ppp_link::parts::authenticate(moment now)
{
    at = phase::authenticate;
    naming = line.must_name_ourselves();
    listening = static_cast<bool>(settings.accepts);
    names_left = settings.patience.most_requests;
    if (naming)
        name_ourselves(now);
    else if (listening)
        due = now + settings.patience.restart * settings.patience.most_requests;
    else
        start_network(now);
}

void ppp_link::parts::name_ourselves(moment now)
{
    --names_left;
    due = now + settings.patience.restart;
    say(pap, {static_cast<std::uint8_t>(pap_code::request), ++id,
              with_length(settings.user) + with_length(settings.password)});
}

void ppp_link::parts::start_network(moment now)
{
    at = phase::network;
    due.reset();
    ipcp_talk.start(now);
}

void ppp_link::parts::echo(moment now)
{
    if (settings.echo_failures > 0 && echoes_missing >= settings.echo_failures)
        return end(ppp_end::no_echo, now);
    ++echoes_missing;
    due = now + settings.echo_interval;
    say(lcp, {static_cast<std::uint8_t>(ppp_code::echo_request), ++id, number_bytes(line.magic())});
}

/** Says goodbye; over when the other has agreed, or does not answer. */
void ppp_link::parts::end(ppp_end reason, moment now)
{
    if (at == phase::terminate || at == phase::over)
        return;
    why = reason;
    due.reset();
    ipcp_talk.stop();
    lcp_talk.close(now);
    at = lcp_talk.now() == negotiation::state::closed ? phase::over : phase::terminate;
}

} // namespace kt::terminal
