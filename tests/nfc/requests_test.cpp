/** Every request of the reader: its number, the whole record before and after, result, outputs, failure. */
#include <kt_driver/nfc.h>

#include "tests/nfc/scripted_reader.h"

#include <cerrno>
#include <gtest/gtest.h>

using namespace kt::tests;

namespace {

constexpr std::uint32_t numbers = 0xC0044D00; // _IOWR('M', 0, int) as MIPS encodes it, on every machine

wire_record before()
{
    return wire_record::pattern(3);
}

/** What the driver answers; unlike before() in every byte, but perhaps of the length. */
wire_record answer(std::uint32_t receive_length = 41)
{
    return wire_record::pattern(90).receive_length(receive_length);
}

/** The record that a row sends when the one before was so. */
wire_record sent(const request_row& row, const operands& in, wire_record record = before())
{
    row.set(record, in);
    return record;
}

/** One request reached the driver since forget(): this row's, with this record. */
void expect_request(scripted_reader& reader, const request_row& row, const wire_record& record)
{
    const auto seen = reader.requests();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].number, numbers + row.number);
    EXPECT_EQ(difference(seen[0].record.bytes, record.bytes), "");
}

/** The call does and gives what it owes for the driver's answer. */
void expect_call(scripted_reader& reader, const request_row& row, const operands& in, const driver_answer& how,
                 const wire_record& answered)
{
    caller held;
    const expectation owed = expected(row, in, how, answered);
    reader.board.forget();
    EXPECT_EQ(outcome_of(row, in, held.all()), owed.done);
    EXPECT_EQ(held.holds(), owed.held);
}

bool uses_length(const request_row& row)
{
    return row.answer != gives::result && row.answer != gives::nothing && row.answer != gives::card_type &&
           row.answer != gives::low_byte;
}

} // namespace

TEST(Requests, AreTheDriversNumbersWithoutThoseThatAreUnused)
{
    std::string seen, used;
    for (const request_row& row : request_rows())
        seen += std::to_string(row.number) + ' ';
    for (int number = 1; number <= 0x58; ++number) {
        const bool unused = (number >= 0x04 && number <= 0x09) || (number >= 0x18 && number <= 0x1D) ||
                            number == 0x32 || number == 0x3A || number == 0x3B || (number >= 0x50 && number <= 0x55);
        if (!unused)
            used += std::to_string(number) + ' ';
    }
    EXPECT_EQ(seen, used);
}

TEST(Requests, TheFirstSendsARecordOfZeros)
{
    scripted_reader reader;
    EXPECT_EQ(difference(reader.exchange_record(before()).bytes, std::string(1164, '\0')), "");
}

TEST(Requests, SendTheirFieldsKeepTheOthersAndTakeTheAnswer)
{
    scripted_reader reader;
    for (const request_row& row : request_rows()) {
        for (const int result : {0, 7}) {
            SCOPED_TRACE(row.name + (" = " + std::to_string(result)));
            const operands in = sample(row);
            const wire_record answered = answer();
            (void)reader.exchange_record(before());
            reader.will_answer(row.number, {.result = result}, &answered);
            expect_call(reader, row, in, {.result = result}, answered);
            expect_request(reader, row, sent(row, in));
            EXPECT_EQ(difference(reader.exchange_record(before()).bytes, answered.bytes), "");
        }
    }
}

TEST(Requests, KeepWhatTheySentWhenTheDriverChangesNothing)
{
    scripted_reader reader;
    wire_record record = before().receive_length(12);
    (void)reader.exchange_record(record);
    for (const request_row& row : request_rows()) { // with no other request between them
        SCOPED_TRACE(row.name);
        operands in = sample(row);
        in.a = row.set == two_words || row.set == three_words ? 12 : row.number * 0x01010101U; // 12: the receive length
        row.set(record, in);
        reader.will_answer(row.number, {});
        expect_call(reader, row, in, {}, record);
        expect_request(reader, row, record);
    }
    EXPECT_EQ(difference(reader.exchange_record(record).bytes, record.bytes), "");
}

TEST(Requests, FailWithTheDriversErrnoAndTouchNoOutput)
{
    scripted_reader reader;
    for (const request_row& row : request_rows()) {
        for (const int error : {EIO, EROFS, ETIMEDOUT}) {
            SCOPED_TRACE(row.name + (" " + std::to_string(error)));
            const operands in = sample(row);
            (void)reader.exchange_record(before());
            reader.will_answer(row.number, {.error = error});
            expect_call(reader, row, in, {.error = error}, sent(row, in));
            expect_request(reader, row, sent(row, in));
            EXPECT_EQ(difference(reader.exchange_record(before()).bytes, sent(row, in).bytes), "");
        }
    }
}

TEST(Requests, TouchNoOutputWhenTheDriverFailsAndAnswersToo)
{
    scripted_reader reader;
    for (const request_row& row : request_rows()) {
        SCOPED_TRACE(row.name);
        const operands in = sample(row);
        for (const std::uint32_t length : {5U, 513U}) {
            const wire_record answered = answer(length);
            reader.will_answer(row.number, {.error = ENODEV}, &answered);
            expect_call(reader, row, in, {.error = ENODEV}, answered);
            EXPECT_EQ(difference(reader.exchange_record(before()).bytes, answered.bytes), "");
        }
    }
}

TEST(Requests, OfAReaderThatIsNotOpenSetTheirFieldsAndFailWithEbadf)
{
    wire_record record;
    for (const request_row& row : request_rows()) {
        if (row.number == 0x01)
            continue; // looks before it asks
        SCOPED_TRACE(row.name);
        const operands in = sample(row);
        caller held;
        EXPECT_EQ(outcome_of(row, in, held.all()), expected(row, in, {.error = EBADF}, record).done);
        EXPECT_EQ(held.holds(), "nothing");
        row.set(record, in);
    }
    scripted_reader reader;
    EXPECT_EQ(difference(reader.exchange_record(record).bytes, record.bytes), "");
}

TEST(ReceiveLength, IsWhatIsHandedOutUpToTheRecordsEnd)
{
    scripted_reader reader;
    (void)reader.exchange_record(before());
    for (const request_row& row : request_rows()) {
        if (!uses_length(row))
            continue;
        for (const std::uint32_t length : {0U, 1U, 2U, 10U, 15U, 16U, 17U, 20U, 511U, 512U}) {
            SCOPED_TRACE(row.name + (" " + std::to_string(length)));
            reader.will_answer_with_length(row.number, length);
            expect_call(reader, row, sample(row), {}, sent(row, sample(row), before().receive_length(length)));
        }
    }
}

TEST(ReceiveLength, BeyondTheRecordIsRefusedWithNothingHandedOut)
{
    scripted_reader reader;
    for (const request_row& row : request_rows()) {
        if (!uses_length(row))
            continue;
        for (const std::uint32_t length : {513U, 0x10004U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
            SCOPED_TRACE(row.name + (" " + std::to_string(length)));
            const wire_record answered = answer(length);
            reader.will_answer(row.number, {.result = 3}, &answered);
            expect_call(reader, row, sample(row), {.result = 3}, answered);
            EXPECT_EQ(difference(reader.exchange_record(before()).bytes, answered.bytes), "");
        }
    }
}

TEST(ReceiveLength, BeyondTheRecordIsNobodysConcernWhoDoesNotUseIt)
{
    scripted_reader reader;
    for (const request_row& row : request_rows()) {
        if (uses_length(row))
            continue;
        SCOPED_TRACE(row.name);
        const wire_record answered = answer(0xFFFFFFFF);
        reader.will_answer(row.number, {.result = 1}, &answered);
        expect_call(reader, row, sample(row), {.result = 1}, answered);
    }
}

TEST(ReceiveLength, MayGoUnaskedInTheReadShape)
{
    scripted_reader reader;
    int rows = 0;
    for (const request_row& row : request_rows()) {
        if (row.answer != gives::bytes && row.answer != gives::block)
            continue;
        SCOPED_TRACE(row.name);
        ++rows;
        const wire_record answered = answer();
        caller with, without;
        reader.will_answer(row.number, {.result = 2}, &answered);
        EXPECT_EQ(row.call(sample(row), with.all()), 2);
        reader.will_answer(row.number, {.result = 2}, &answered);
        EXPECT_EQ(row.call(sample(row), {.bytes = without.bytes.data()}), 2);
        EXPECT_EQ(without.bytes, with.bytes);
        EXPECT_NE(without.holds(), "nothing");
    }
    EXPECT_EQ(rows, 18);
}

TEST(Parameter, GivesItsLowByteAsANumber)
{
    scripted_reader reader;
    for (const int number : {0x33, 0x34}) {
        for (const std::uint32_t parameter : {0U, 1U, 7U, 0x7FU, 0x80U, 0xFFU, 0x100U, 0xFFFFFFFFU, 0x12345608U}) {
            const wire_record answered = answer().parameter(parameter);
            reader.will_answer(number, {}, &answered);
            EXPECT_EQ(row_of(number).call({}, {}), static_cast<int>(parameter % 256)) << parameter;
        }
    }
}

TEST(Parameter, IsTheSumOfPagesInTheUpperHalfOfAFastRead)
{
    struct {
        std::uint32_t start, end, parameter;
    } const cases[] = {
        {4, 7, 0x000B0000},          {0, 0, 0},
        {0, 0xFFFF, 0xFFFF0000},     {0x8000, 0x8000, 0},
        {0xFFFFFFFF, 2, 0x00010000}, {0x12345678, 0x11111111, 0x67890000},
    };
    scripted_reader reader;
    for (const int number : {0x2B, 0x43}) {
        for (const auto& each : cases) {
            const wire_record record = before().receive_length(0);
            (void)reader.exchange_record(record);
            reader.will_answer(number, {});
            caller held;
            reader.board.forget();
            EXPECT_EQ(row_of(number).call({.a = each.start, .b = each.end}, held.all()), 0);
            expect_request(reader, row_of(number), wire_record(record).parameter(each.parameter));
        }
    }
}

TEST(Atqa, IsTwoBytesWhateverTheLengthSays)
{
    scripted_reader reader;
    const wire_record answered = wire_record().receive("\xFE\xFF").receive_length(0);
    reader.will_answer(0x0C, {.result = 4}, &answered);
    EXPECT_EQ(kt_rfid_mfcl_atqa(), 0xFFFE);
    const wire_record other = wire_record().receive(std::string("\x04\x00", 2)).receive_length(0x10000);
    reader.will_answer(0x0C, {}, &other);
    EXPECT_EQ(kt_rfid_mfcl_atqa(), 4);
}
