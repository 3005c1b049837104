/** What the driver does for each request; request_table.cpp gives them their numbers. */
#pragma once

#include "terminal/reader/chip.h"

#include <cerrno>
#include <exception>
#include <functional>
#include <string>
#include <string_view>

namespace kt::terminal {

/**
 * Does a step, unless the request is over (by a signal); what it refuses is the request's end. What nobody foresaw
 * fails the request with EIO: the terminal goes on.
 */
template <typename Step>
void guarded(const request_turn& turn, Step step)
{
    turn.on->step_begins();
    try {
        if (!turn.call->is_over())
            step();
    } catch (const request_refused& refused) {
        turn.call->fail(refused.error);
    } catch (const std::exception&) {
        turn.call->fail(EIO);
    }
    turn.on->step_ends();
}

/** Changes what the driver remembers, unless a signal has ended the request: the program may have closed the reader. */
template <typename Change>
void change_state(const request_turn& turn, Change change)
{
    turn.on->with_state([&](reader_state& now) {
        if (!turn.call->is_over())
            change(now);
    });
}

// selection.cpp: which card, and what it says of itself.
void probe(const request_turn& turn);
void open_family(const request_turn& turn);
void close_family(const request_turn& turn);
void get_sak(const request_turn& turn);
void get_uid(const request_turn& turn);
void get_atqa(const request_turn& turn);
void get_atqb(const request_turn& turn);
void get_rats(const request_turn& turn);
void get_attrib(const request_turn& turn);
void set_power(const request_turn& turn);
void configure_type_a(const request_turn& turn);
void configure_type_b(const request_turn& turn);

// classic_requests.cpp
void set_key(const request_turn& turn);
void authenticate(const request_turn& turn);
void read_block(const request_turn& turn);
void write_block(const request_turn& turn);
void increment(const request_turn& turn);
void decrement(const request_turn& turn);
void transfer_value(const request_turn& turn);
void restore_value(const request_turn& turn);

// page_requests.cpp
unsigned learn_pages(contact& card); /**< By GET_VERSION, when it is selected; 0: it tells none. */
void read_pages(const request_turn& turn);
void fast_read(const request_turn& turn);
void write_page(const request_turn& turn);
void compatibility_write(const request_turn& turn);
void read_counter(const request_turn& turn);
void increment_counter(const request_turn& turn);
void authenticate_password(const request_turn& turn);
void read_signature(const request_turn& turn);
void get_version(const request_turn& turn);
void check_tearing(const request_turn& turn);
void select_virtual_card(const request_turn& turn);
void authenticate_first(const request_turn& turn);
void authenticate_second(const request_turn& turn);

// packet_requests.cpp
void exchange_apdu(const request_turn& turn);
void exchange_packet(const request_turn& turn);

// emulation.cpp
void emulate_init(const request_turn& turn);
void emulate_config(const request_turn& turn);
void emulate_process(const request_turn& turn);
void emulate_deinit(const request_turn& turn);
void hce_set_ndef(const request_turn& turn);
void hce_open(const request_turn& turn);
void hce_close(const request_turn& turn);

// talk.cpp: what they share.

/** Sends a frame to the turn's card; @p then gets its answer unless the air spoilt it, which ends the request. */
void talk(const request_turn& turn, const std::string& frame, std::function<void(const card_answer&)> then);

/** Bytes from the card, of this size unless it is 0; throws request_refused: @p refused for a NAK, ETIMEDOUT for
 * silence, EBADMSG for bytes of another size. */
const std::string& bytes_of(const card_answer& answer, std::size_t size, int refused);
void must_acknowledge(const card_answer& answer, int refused);

/** Ends a request with bytes; throws request_refused (EBADMSG) when the record cannot hold them. */
void give(const request_turn& turn, std::string_view bytes);

} // namespace kt::terminal
