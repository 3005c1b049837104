/** Finding a card, opening and closing it for a family, and what the driver then knows of it. */
#include "terminal/reader/requests.h"

#include <cerrno>
#include <cstdint>
#include <memory>

namespace kt::terminal {

namespace {

/** The only card there is, selected anew; else an errno. */
result<contact_ptr> selected_card(chip& on)
{
    if (on.with_state([](const reader_state& now) { return now.power == 0; }))
        return result<contact_ptr>::failed(ENODEV);
    auto only = on.near().only();
    if (only)
        (*only)->select();
    return only;
}

/** Does a step when a card has had the time to be found, if the request is not over by then. */
template <typename Step>
void when_found(const request_turn& turn, Step step)
{
    turn.on->near().when_found(
        [on = std::weak_ptr<chip>(turn.on), call = std::weak_ptr<reader_call>(turn.call), family = turn.family, step] {
            const request_turn later{on.lock(), call.lock(), family, nullptr};
            if (later.on != nullptr && later.call != nullptr)
                guarded(later, [&] { step(later); });
        });
}

/** The parameter's upper bytes stay as the program sent them. */
void give_parameter_byte(const request_turn& turn, std::uint8_t byte)
{
    constexpr std::uint32_t upper_bytes = 0xFFFFFF00;
    std::uint32_t& parameter = turn.call->record.parameter;
    parameter = (parameter & upper_bytes) | byte;
    turn.call->done();
}

/** What probe reports. */
std::uint8_t type_of(card_family family)
{
    switch (family) {
    case card_family::type_a:
        return 1;
    case card_family::type_b:
        return 2;
    case card_family::classic:
        return 3;
    case card_family::ntag21x:
        return 4;
    case card_family::ultralight_ev1:
        return 5;
    case card_family::ultralight_c:
        return 6;
    case card_family::felica:
        return 7;
    }
    return 0;
}

bool fits(reader_family family, const card_identity& card)
{
    switch (family) {
    case reader_family::tcl:
    case reader_family::rid:
        return card.family == card_family::type_a || card.family == card_family::type_b;
    case reader_family::mfcl:
        return card.family == card_family::classic;
    case reader_family::felica:
        return card.family == card_family::felica;
    case reader_family::mful_c:
        return card.family == card_family::ultralight_c;
    case reader_family::ntag21x:
        return card.family == card_family::ntag21x;
    case reader_family::mful_ev1:
        return card.family == card_family::ultralight_ev1;
    case reader_family::none:
        break;
    }
    return false;
}

/** The card that was found, while it is in the field; else ENODEV. */
card_identity found_card(const request_turn& turn)
{
    const contact_ptr found = turn.on->with_state([](const reader_state& now) { return now.found; });
    if (!turn.on->near().is_here(found))
        throw request_refused{ENODEV};
    return found->what->identity();
}

bool is_type_a(const card_identity& card)
{
    return card.family != card_family::type_b && card.family != card_family::felica;
}

/** Ends a request with bytes that the card's technology has. */
void give_known(const request_turn& turn, const std::string& bytes)
{
    if (bytes.empty())
        throw request_refused{ENODEV};
    give(turn, bytes);
}

} // namespace

void probe(const request_turn& turn)
{
    when_found(turn, [](const request_turn& later) {
        auto found = selected_card(*later.on);
        change_state(later, [&](reader_state& now) {
            if (!found || now.card != *found)
                now.let_go();
            now.found = found ? *found : nullptr;
        });
        if (!found)
            throw request_refused{found.error()};
        give_parameter_byte(later, type_of((*found)->what->identity().family));
    });
}

void open_family(const request_turn& turn)
{
    when_found(turn, [](const request_turn& later) {
        change_state(later, [](reader_state& now) { now.let_go(); });
        auto found = selected_card(*later.on);
        if (!found)
            throw request_refused{found.error()};
        if (!fits(later.family, (*found)->what->identity()))
            throw request_refused{ENODEV};
        const bool tells = later.family == reader_family::ntag21x || later.family == reader_family::mful_ev1;
        const unsigned pages = tells ? learn_pages(**found) : 0;
        change_state(later, [&](reader_state& now) {
            now.pages = pages;
            now.found = *found;
            now.family = later.family;
            now.card = *found;
        });
        later.call->done();
    });
}

void close_family(const request_turn& turn)
{
    change_state(turn, [](reader_state& now) {
        now.family = reader_family::none;
        now.card = nullptr;
        now.key.clear();
    });
    turn.call->done();
}

void get_sak(const request_turn& turn)
{
    const card_identity card = found_card(turn);
    if (!is_type_a(card))
        throw request_refused{ENODEV};
    give_parameter_byte(turn, card.sak);
}

void get_uid(const request_turn& turn)
{
    give_known(turn, found_card(turn).uid);
}

void get_atqa(const request_turn& turn)
{
    const card_identity card = found_card(turn);
    if (!is_type_a(card))
        throw request_refused{ENODEV};
    const char on_the_air[] = {static_cast<char>(card.atqa & 0xFF), static_cast<char>(card.atqa >> 8)};
    give(turn, {on_the_air, sizeof on_the_air});
}

void get_atqb(const request_turn& turn)
{
    give_known(turn, found_card(turn).atqb);
}

void get_rats(const request_turn& turn)
{
    give_known(turn, found_card(turn).ats);
}

void get_attrib(const request_turn& turn)
{
    give_known(turn, found_card(turn).attrib);
}

void set_power(const request_turn& turn)
{
    change_state(turn, [&](reader_state& now) {
        now.power = turn.call->record.parameter;
        if (now.power == 0)
            now.let_go();
    });
    turn.call->done();
}

void configure_type_a(const request_turn& turn)
{
    const reader_record& given = turn.call->record;
    change_state(turn, [&](reader_state& now) { now.type_a = {given.receive_length, given.transmit_length}; });
    turn.call->done();
}

void configure_type_b(const request_turn& turn)
{
    const reader_record& given = turn.call->record;
    change_state(turn, [&](reader_state& now) {
        now.type_b = {given.receive_length, given.transmit_length, given.parameter};
    });
    turn.call->done();
}

} // namespace kt::terminal
