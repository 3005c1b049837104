/** Keeping what the program gives, for the phone that looks. */
#include "terminal/reader/requests.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace kt::terminal {

namespace {

/** Does something to the emulated card, which must have begun. */
template <typename Change>
void change_emulated(const request_turn& turn, Change change)
{
    change_state(turn, [&](reader_state& now) {
        if (!now.emulated.begun)
            throw request_refused{ENOTCONN};
        change(now.emulated);
    });
    turn.call->done();
}

} // namespace

void emulate_init(const request_turn& turn)
{
    change_state(turn, [](reader_state& now) { now.emulated = {.begun = true}; });
    turn.call->done();
}

void emulate_config(const request_turn& turn)
{
    emulation_record given{};
    std::memcpy(&given, &turn.call->record, sizeof given);
    if (given.header_length > emulation_record::most_header || given.block_count > emulation_record::most_blocks)
        throw request_refused{EINVAL};
    change_emulated(turn, [&](emulated_card& card) {
        card.header.assign(reinterpret_cast<const char*>(given.header), given.header_length);
        card.blocks.assign(reinterpret_cast<const char*>(given.blocks),
                           std::size_t{given.block_count} * emulation_record::block_size);
        card.configured = true;
    });
}

void emulate_process(const request_turn& turn)
{
    change_emulated(turn, [](emulated_card& card) {
        if (!card.configured)
            throw request_refused{EINVAL};
        card.running = true;
    });
}

void emulate_deinit(const request_turn& turn)
{
    change_emulated(turn, [](emulated_card& card) { card = {}; });
}

void hce_set_ndef(const request_turn& turn)
{
    const reader_record& given = turn.call->record;
    if (given.parameter > reader_record::most)
        throw request_refused{EINVAL};
    change_state(turn, [&](reader_state& now) {
        now.tag.ndef.assign(reinterpret_cast<const char*>(given.transmit), given.parameter);
    });
    turn.call->done();
}

void hce_open(const request_turn& turn)
{
    change_state(turn, [](reader_state& now) { now.tag.open = true; });
    turn.call->done();
}

void hce_close(const request_turn& turn)
{
    change_state(turn, [](reader_state& now) {
        if (!std::exchange(now.tag.open, false))
            throw request_refused{ENOTCONN};
    });
    turn.call->done();
}

} // namespace kt::terminal
