/** What the library refuses by itself: nothing printed, no request, neither record nor outputs touched. */
#include <kt_driver/nfc.h>

#include "tests/nfc/scripted_reader.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <climits>
#include <gtest/gtest.h>

using namespace kt::tests;

namespace {

/** Operands that a row accepts, changed. */
operands with_data(const request_row& row, const std::uint8_t* data, std::uint32_t size)
{
    operands in = sample(row);
    in.data = data;
    in.size = size;
    return in;
}

operands with_pieces(const std::uint8_t* a, std::uint32_t a_size, const std::uint8_t* b, std::uint32_t b_size)
{
    return {.data = a, .size = a_size, .more = b, .more_size = b_size};
}

/** A call that is refused. */
struct refused {
    const request_row* row;
    operands in;
    outputs out; /**< Those that are not null are the caller's. */
};

const std::uint8_t* const data = plenty();

/** All of them, for a caller's outputs. */
std::vector<refused> refused_calls(const outputs& all)
{
    std::vector<refused> calls;
    for (const request_row& row : request_rows()) {
        const operands fine = sample(row);
        // An output that is null; all are told with the others there and without.
        const outputs none = {};
        switch (row.answer) {
        case gives::uid:
        case gives::identification:
        case gives::block:
        case gives::bytes:
            calls.insert(calls.end(), {{&row, fine, {.length = all.length}}, {&row, fine, none}});
            break;
        case gives::packet:
            calls.insert(calls.end(), {{&row, fine, {.bytes = all.bytes}},
                                       {&row, fine, {.short_length = all.short_length}},
                                       {&row, fine, none}});
            break;
        case gives::place:
            calls.insert(calls.end(), {{&row, fine, {.place = all.place}},
                                       {&row, fine, {.short_length = all.short_length}},
                                       {&row, fine, none}});
            break;
        default:
            break;
        }
        if (takes_data(row)) {
            for (const std::uint32_t size : {513U, 0x10000U, 0x10001U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
                calls.insert(calls.end(),
                             {{&row, with_data(row, data, size), all}, {&row, with_data(row, nullptr, size), all}});
            for (const std::uint32_t size : {1U, 512U})
                calls.push_back({&row, with_data(row, nullptr, size), all});
            if (row.answer != gives::result)
                calls.push_back({&row, with_data(row, data, 513), none});
        }
    }

    calls.push_back({&row_of(0x0D), {.data = nullptr}, all}); // a key

    const request_row& vcsl = row_of(0x4B);
    const operands pieces[] = {
        with_pieces(data, 513, data, 0),
        with_pieces(data, 0, data, 513),
        with_pieces(data, 256, data, 257),
        with_pieces(data, 512, data, 1),
        with_pieces(data, 512, data, 512),
        with_pieces(data, 0xFFFFFFFF, data, 1),
        with_pieces(data, 1, data, 0xFFFFFFFF),
        with_pieces(data, 0xFFFFFFFF, data, 0xFFFFFFFF),
        with_pieces(data, 0x80000000, data, 0x80000000),
        with_pieces(data, 0xFFFFFFF0, data, 32),
        with_pieces(nullptr, 16, data, 4),
        with_pieces(data, 16, nullptr, 4),
        with_pieces(nullptr, 16, nullptr, 4),
        with_pieces(nullptr, 1, nullptr, 0),
        with_pieces(nullptr, 0, nullptr, 1),
    };
    for (const operands& in : pieces)
        calls.push_back({&vcsl, in, all});
    calls.push_back({&vcsl, pieces[0], {.length = all.length}});

    const auto negative = [](int length) { return static_cast<std::uint32_t>(length); };
    const request_row& config = row_of(0x4D);
    const operands configurations[] = {
        with_pieces(data, negative(-1), data, 4),       with_pieces(data, negative(INT_MIN), data, 4),
        with_pieces(nullptr, negative(-1), nullptr, 0), with_pieces(nullptr, 1, data, 4),
        with_pieces(nullptr, 128, data, 256),           with_pieces(data, 5, nullptr, 1),
        with_pieces(nullptr, 0, nullptr, 256),          with_pieces(nullptr, 3, nullptr, 3),
    };
    for (const operands& in : configurations)
        calls.push_back({&config, in, all});
    return calls;
}

std::string told(const refused& each)
{
    return each.row->name + (" size " + std::to_string(each.in.size)) + " more " + std::to_string(each.in.more_size) +
           (each.in.data == nullptr ? " null data" : "") + (each.out.bytes == nullptr ? " null bytes" : "");
}

void expect_refusals()
{
    caller held;
    const std::vector<refused> calls = refused_calls(held.all());
    EXPECT_GT(calls.size(), 250U);
    for (const refused& each : calls) {
        EXPECT_EQ(outcome_of(*each.row, each.in, each.out), failed(EINVAL, "")) << told(each);
        EXPECT_EQ(held.holds(), "nothing") << told(each);
    }
}

} // namespace

TEST(Refusals, TouchNothingAndReachNobody)
{
    scripted_reader reader;
    const wire_record record = wire_record::pattern(17);
    (void)reader.exchange_record(record);
    reader.board.forget();
    expect_refusals();
    EXPECT_EQ(reader.requests().size(), 0U);
    EXPECT_EQ(doings(reader.board), std::vector<std::string>{});
    EXPECT_EQ(difference(reader.exchange_record(record).bytes, record.bytes), "");
}

TEST(Refusals, AreTheSameOfAReaderThatIsNotOpen)
{
    expect_refusals();
    scripted_reader reader;
    EXPECT_EQ(difference(reader.exchange_record({}).bytes, std::string(1164, '\0')), "");
}

TEST(TransmittedData, FillsTheRecordUpToItsEnd)
{
    scripted_reader reader;
    const wire_record before = wire_record::pattern(3).receive_length(4);
    int rows = 0;
    for (const request_row& row : request_rows()) {
        if (!takes_data(row))
            continue;
        ++rows;
        const operands cases[] = {with_data(row, nullptr, 0), with_data(row, data, 0), with_data(row, data, 1),
                                  with_data(row, data, 511), with_data(row, data, 512)};
        for (const operands& in : cases) {
            SCOPED_TRACE(row.name + (" " + std::to_string(in.size)));
            (void)reader.exchange_record(before);
            reader.will_answer(row.number, {});
            wire_record sent = before;
            row.set(sent, in);
            caller held;
            reader.board.forget();
            EXPECT_EQ(row.call(in, held.all()), 0);
            const auto seen = reader.requests();
            ASSERT_EQ(seen.size(), 1U);
            EXPECT_EQ(difference(seen[0].record.bytes, sent.bytes), "");
        }
    }
    EXPECT_EQ(rows, 15);
}

TEST(VirtualCardSelect, SendsTwoPiecesUpToTheRecordsEndAndNoLength)
{
    scripted_reader reader;
    const wire_record before = wire_record::pattern(3).receive_length(1);
    struct {
        operands in;
        std::uint32_t parameter;
    } const cases[] = {
        {with_pieces(data, 16, data + 100, 4), 0x00140000},  {with_pieces(data, 256, data + 300, 256), 0x02000000},
        {with_pieces(data, 512, nullptr, 0), 0x02000000},    {with_pieces(nullptr, 0, data, 512), 0x02000000},
        {with_pieces(data, 512, data + 1, 0), 0x02000000},   {with_pieces(nullptr, 0, nullptr, 0), 0},
        {with_pieces(data, 1, data + 100, 511), 0x02000000},
    };
    for (const auto& [in, parameter] : cases) {
        SCOPED_TRACE(std::to_string(in.size) + " and " + std::to_string(in.more_size));
        (void)reader.exchange_record(before);
        reader.will_answer(0x4B, {});
        caller held;
        reader.board.forget();
        EXPECT_EQ(kt_rfid_mful_ev1_vcsl(in.data, in.size, in.more, in.more_size, held.bytes.data(), &held.length), 0);
        wire_record sent = before;
        sent.transmit(in.data, in.size).put(in.size, in.more, in.more_size).parameter(parameter);
        const auto seen = reader.requests();
        ASSERT_EQ(seen.size(), 1U);
        EXPECT_EQ(difference(seen[0].record.bytes, sent.bytes), "");
        EXPECT_EQ(held.length, 1U);
    }
}
