/** Requests, answers and time-outs of one option protocol. */
#include "terminal/ppp/negotiation.h"

namespace kt::terminal {

namespace {

constexpr int most_refusals = 20; // two ends that cannot agree would else talk for ever

std::uint8_t number(ppp_code code)
{
    return static_cast<std::uint8_t>(code);
}

unsigned byte_at(std::string_view bytes, std::size_t at)
{
    return static_cast<unsigned char>(bytes[at]);
}

} // namespace

std::optional<control_packet> control_packet::parse(std::string_view information)
{
    if (information.size() < 4)
        return std::nullopt;
    const std::size_t length = byte_at(information, 2) << 8 | byte_at(information, 3);
    if (length < 4 || length > information.size())
        return std::nullopt;
    return control_packet{static_cast<std::uint8_t>(information[0]), static_cast<std::uint8_t>(information[1]),
                          std::string(information.substr(4, length - 4))};
}

std::string control_packet::bytes() const
{
    const std::size_t length = data.size() + 4;
    std::string all{static_cast<char>(code), static_cast<char>(id), static_cast<char>((length >> 8) & 0xFF),
                    static_cast<char>(length & 0xFF)};
    return all + data;
}

std::optional<ppp_options> parse_options(std::string_view data)
{
    ppp_options options;
    while (!data.empty()) {
        const std::size_t length = data.size() < 2 ? 0 : byte_at(data, 1);
        if (length < 2 || length > data.size())
            return std::nullopt;
        options.push_back({static_cast<std::uint8_t>(data[0]), std::string(data.substr(2, length - 2))});
        data.remove_prefix(length);
    }
    return options;
}

std::string option_bytes(const ppp_options& options)
{
    std::string all;
    for (const ppp_option& each : options) {
        all += static_cast<char>(each.type);
        all += static_cast<char>(each.value.size() + 2);
        all += each.value;
    }
    return all;
}

void negotiation::start(moment now)
{
    state_ = state::asking;
    failed_ = ended_by_other_ = ours_agreed_ = theirs_agreed_ = false;
    refusals_ = 0;
    left_ = patience_.most_requests;
    ask(now);
}

void negotiation::close(moment now)
{
    if (state_ == state::closing || state_ == state::closed)
        return;
    if (state_ == state::idle)
        return end(false);
    state_ = state::closing;
    left_ = patience_.most_terminates - 1;
    deadline_ = now + patience_.restart;
    say(ppp_code::terminate_request, ++id_);
}

void negotiation::stop()
{
    state_ = state::idle;
    deadline_.reset();
}

bool negotiation::received(const control_packet& packet, moment now)
{
    const bool alive = state_ == state::asking || state_ == state::open;
    switch (static_cast<ppp_code>(packet.code)) {
    case ppp_code::configure_request:
        if (alive)
            answer(packet, now);
        else if (state_ == state::closed)
            say(ppp_code::terminate_ack, packet.id);
        return true;
    case ppp_code::configure_ack:
        if (state_ == state::asking && packet.id == id_ && packet.data == last_asked_) {
            ours_agreed_ = true;
            open_if_agreed();
        }
        return true;
    case ppp_code::configure_nak:
    case ppp_code::configure_reject:
        if (state_ == state::asking && packet.id == id_)
            change_request(packet, now);
        return true;
    case ppp_code::terminate_request:
        say(ppp_code::terminate_ack, packet.id);
        if (alive) {
            ended_by_other_ = true;
            end(false);
        }
        return true;
    case ppp_code::terminate_ack:
        if (state_ == state::closing)
            end(false);
        return true;
    case ppp_code::code_reject:
        return true; // we use none that can be missing
    default:
        return false;
    }
}

void negotiation::tick(moment now)
{
    if (!deadline_ || now < *deadline_)
        return;
    if (left_ <= 0)
        return end(state_ == state::asking);
    if (state_ == state::asking) {
        ours_agreed_ = false;
        ask(now);
    } else {
        --left_;
        deadline_ = now + patience_.restart;
        say(ppp_code::terminate_request, ++id_);
    }
}

void negotiation::ask(moment now)
{
    --left_;
    deadline_ = now + patience_.restart;
    last_asked_ = option_bytes(wishes_.wanted());
    say(ppp_code::configure_request, ++id_, last_asked_);
}

void negotiation::answer(const control_packet& request, moment now)
{
    const auto asked = parse_options(request.data);
    if (!asked)
        return;                // damaged: the other asks again
    if (state_ == state::open) // the other begins anew, and so do we
        start(now);
    ppp_options nak;
    ppp_options reject;
    wishes_.judge(*asked, nak, reject);
    theirs_agreed_ = nak.empty() && reject.empty();
    if (!reject.empty())
        return say(ppp_code::configure_reject, request.id, option_bytes(reject));
    if (!nak.empty())
        return say(ppp_code::configure_nak, request.id, option_bytes(nak));
    wishes_.use(*asked);
    say(ppp_code::configure_ack, request.id, request.data);
    open_if_agreed();
}

void negotiation::change_request(const control_packet& packet, moment now)
{
    const auto options = parse_options(packet.data);
    if (!options)
        return;
    if (++refusals_ > most_refusals)
        return end(true);
    if (static_cast<ppp_code>(packet.code) == ppp_code::configure_nak)
        wishes_.heed(*options);
    else
        wishes_.give_up(*options);
    left_ = patience_.most_requests;
    if (state_ == state::asking) // else the wishes have closed it
        ask(now);
}

void negotiation::open_if_agreed()
{
    if (!ours_agreed_ || !theirs_agreed_)
        return;
    state_ = state::open;
    deadline_.reset();
}

void negotiation::end(bool failed)
{
    failed_ = failed;
    state_ = state::closed;
    deadline_.reset();
}

void negotiation::say(ppp_code code, std::uint8_t id, std::string data)
{
    send_({number(code), id, std::move(data)});
}

} // namespace kt::terminal
