/** What each function of the reader asks of the driver, and what it makes of the answer: the tests' own table. */
#pragma once

#include "tests/nfc/wire_record.h"

#include <cstdint>
#include <span>
#include <string>

namespace kt::tests {

/** A function's arguments; each takes those that it has. */
struct operands {
    std::uint32_t a = 0, b = 0, c = 0;
    const std::uint8_t* data = nullptr;
    std::uint32_t size = 0;
    const std::uint8_t* more = nullptr;
    std::uint32_t more_size = 0;
};

/** Where a function puts what it gives. */
struct outputs {
    std::uint8_t* bytes = nullptr;
    std::uint32_t* length = nullptr;
    std::uint8_t** place = nullptr;
    std::uint16_t* short_length = nullptr;
};

/** What becomes of an answer. */
enum class gives {
    result,         /**< The driver's. */
    nothing,        /**< 0, whatever the driver says. */
    card_type,      /**< The parameter's low byte; 0 when the request failed. */
    low_byte,       /**< The parameter's low byte. */
    uid,            /**< At most 16 bytes, and their number as the result. */
    identification, /**< All bytes, and their number as the result. */
    number,         /**< The first two bytes, little-endian. */
    block,          /**< Always 16 bytes, and 16. */
    bytes,          /**< All bytes, and their number. */
    packet,         /**< The same, with a number of 16 bits. */
    place,          /**< Where the bytes stand, and their number of 16 bits. */
};

struct request_row {
    std::uint8_t number;
    const char* name; /**< Without kt_rfid_. */
    int (*call)(const operands&, const outputs&);
    void (*set)(wire_record&, const operands&); /**< What it sets in the record. */
    gives answer;
};

/** All 67 that make a request, in the order of their numbers. */
std::span<const request_row> request_rows();
/** The row of a number. */
const request_row& row_of(int number);

/** What a row may set. */
void nothing(wire_record& sent, const operands& in);
void page(wire_record& sent, const operands& in);    /**< Block, page, counter, level. */
void pages(wire_record& sent, const operands& in);   /**< First and last of a fast read. */
void written(wire_record& sent, const operands& in); /**< Data for a page, or with another parameter. */
void bare(wire_record& sent, const operands& in);    /**< Data alone. */
void message(wire_record& sent, const operands& in); /**< Data whose size is the parameter. */
void two_pieces(wire_record& sent, const operands& in);
void key(wire_record& sent, const operands& in);
void key_and_block(wire_record& sent, const operands& in);
void value(wire_record& sent, const operands& in);
void two_words(wire_record& sent, const operands& in);
void three_words(wire_record& sent, const operands& in);
void emulated(wire_record& sent, const operands& in);

/** True: data and size are arguments of it. */
bool takes_data(const request_row& row);

/** Operands that can be told from each other and from any pattern's bytes around them. */
operands sample(const request_row& row);

/** At least 2048 bytes to take data from. */
const std::uint8_t* plenty();

} // namespace kt::tests
