/** The driver's side of the reader, which answers as a test says, and what a caller of the library holds. */
#pragma once

#include "terminal/client/virtual_terminal.h"
#include "tests/nfc/request_rows.h"
#include "tests/support/outcome.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace kt::tests {

/** How the driver ends a request. */
struct driver_answer {
    int result = 0;
    int error = 0; /**< This machine's errno; 0: the result. */
};

/** The reader, open, with a driver that answers from scripts only. */
class scripted_reader {
public:
    scripted_reader();

    terminal::virtual_terminal board;

    /** The next request of this number is answered with this record, or with the one that it sent. */
    void will_answer(int number, const driver_answer& how, const wire_record* record = nullptr);
    /** The same, with nothing but the receive length changed. */
    void will_answer_with_length(int number, std::uint32_t receive_length);

    /** The records of all requests since forget(), behind their numbers: each must have come to the reader. */
    struct request {
        std::uint32_t number;
        wire_record record;
    };
    std::vector<request> requests();

    /** What the library's record held: seen by a request of its own, which puts the next one in its place. */
    wire_record exchange_record(const wire_record& next);
};

/** What a caller hands over for outputs, filled so that what is written shows. */
struct caller {
    static constexpr std::uint8_t filled = 0xC5;

    std::array<std::uint8_t, 1024> bytes;
    std::uint32_t length = 0xC5C5C5C5;
    std::uint8_t* place = bytes.data();
    std::uint16_t short_length = 0xC5C5;

    caller() { bytes.fill(filled); }
    caller(const caller&) = delete;
    caller& operator=(const caller&) = delete;

    outputs all() { return {bytes.data(), &length, &place, &short_length}; }
    /** In words what it holds: the bytes that were written, the lengths; "nothing" when all is as it was. */
    std::string holds() const;
};

/** What holds() says of a success, and the call's outcome, when the driver answered so. */
struct expectation {
    outcome done;
    std::string held;
};
expectation expected(const request_row& row, const operands& in, const driver_answer& how, const wire_record& answer);

/** A call of the row. */
outcome outcome_of(const request_row& row, const operands& in, const outputs& out);

} // namespace kt::tests
