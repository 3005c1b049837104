/** The exchange of APDUs: where the answer stands, and how long; and how the card is activated. */
#include <kt_driver/nfc.h>

#include "tests/nfc/scripted_reader.h"
#include "tests/support/failing_stdout.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>

using namespace kt::tests;

namespace {

constexpr int tcl = 0x03, rid = 0x17;

const std::uint8_t command[] = {0x00, 0xA4, 0x04, 0x00};

/** Where an exchange's answer stands. */
std::uint8_t* place_of(int (*exchange)(const std::uint8_t*, std::uint32_t, std::uint8_t**, std::uint16_t*))
{
    std::uint8_t* place = nullptr;
    std::uint16_t length = 0;
    EXPECT_EQ(exchange(command, sizeof command, &place, &length), 0);
    return place;
}

std::string bytes_at(const std::uint8_t* place)
{
    return {reinterpret_cast<const char*>(place), 512};
}

} // namespace

TEST(Exchange, GivesThePlaceInTheRecordItselfOnBothNumbers)
{
    scripted_reader reader;
    const wire_record before = wire_record::pattern(3).receive_length(9);
    (void)reader.exchange_record(before);
    reader.will_answer(tcl, {});
    reader.will_answer(rid, {});
    std::uint8_t* const place = place_of(kt_rfid_tcl_exchange);
    EXPECT_EQ(place_of(kt_rfid_rid_exchange), place);

    ASSERT_NE(place, nullptr);
    std::memset(place, 0x99, 512); // the next request carries it
    wire_record sent = before;
    sent.receive(std::string(512, '\x99')).transmit(command, sizeof command).transmit_length(sizeof command);
    EXPECT_EQ(difference(reader.exchange_record(before).bytes, sent.bytes), "");
}

TEST(Exchange, ItsAnswerStaysUntilTheNextRequestAndIsOverwrittenByIt)
{
    scripted_reader reader;
    const wire_record first = wire_record::pattern(20).receive_length(512);
    const wire_record second = wire_record::pattern(21).receive_length(2);
    reader.will_answer(tcl, {}, &first);
    const std::uint8_t* const place = place_of(kt_rfid_tcl_exchange);
    EXPECT_EQ(difference(bytes_at(place), first.received()), "");

    std::uint8_t* other = nullptr;
    std::uint16_t length = 0;
    EXPECT_EQ(kt_rfid_tcl_exchange(command, 513, &other, &length), -1); // refused: no request
    EXPECT_EQ(kt_rfid_getuid(nullptr), -1);
    EXPECT_EQ(kt_rfid_gettype(), 0);
    EXPECT_EQ(difference(bytes_at(place), first.received()), "");

    reader.will_answer(0x33, {}, &second);
    (void)kt_rfid_probe();
    EXPECT_EQ(difference(bytes_at(place), second.received()), "");
}

TEST(Exchange, TakesItsCommandFromTheAnswerBefore)
{
    scripted_reader reader;
    const wire_record first = wire_record::pattern(20).receive_length(512);
    reader.will_answer(tcl, {}, &first);
    std::uint8_t* const place = place_of(kt_rfid_tcl_exchange);

    reader.will_answer(tcl, {});
    std::uint8_t* again = nullptr;
    std::uint16_t length = 0;
    reader.board.forget();
    EXPECT_EQ(kt_rfid_tcl_exchange(place, 512, &again, &length), 0);
    wire_record sent = first;
    sent.transmit(first.received().data(), 512).transmit_length(512);
    const auto seen = reader.requests();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(difference(seen[0].record.bytes, sent.bytes), "");
    EXPECT_EQ(length, 512);
}

TEST(Exchange, ItsAnswersPlaceCanTakeAnotherAnswer)
{
    scripted_reader reader;
    const wire_record first = wire_record::pattern(20).receive_length(512);
    const wire_record second = wire_record::pattern(21).receive_length(300);
    for (const std::size_t offset : {0, 1, 100}) {
        reader.will_answer(tcl, {}, &first);
        std::uint8_t* const place = place_of(kt_rfid_tcl_exchange);
        reader.will_answer(0x2B, {}, &second);
        std::uint32_t length = 0;
        EXPECT_EQ(kt_rfid_ntag21x_fast_read(4, 78, place + offset, &length), 0);
        EXPECT_EQ(length, 300U);
        EXPECT_EQ(difference(bytes_at(place).substr(offset, 300), second.received().substr(0, 300)), "");
    }
}

TEST(Activation, WithoutAnOpenReaderSaysSoAndAsksNobody)
{
    kt::terminal::virtual_terminal board;
    const outcome refused = {-1, EBADF, "kt_rfid_tcl_open nfc fd error\n"};
    board.forget();
    EXPECT_EQ(outcome_of(kt_rfid_tcl_open), refused);
    kt_rfid_init();
    kt_rfid_fini();
    EXPECT_EQ(outcome_of(kt_rfid_tcl_open), refused);
    EXPECT_EQ(board.events_of({"ioctl"}).size(), 0U);

    int result = 0, cause = 0;
    {
        const failing_stdout full;
        errno = 0;
        result = kt_rfid_tcl_open();
        cause = errno;
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(cause, EBADF);
}

TEST(Activation, TellsOnlyErofsFromOtherFailures)
{
    scripted_reader reader;
    for (const int error : {EROFS, EIO, ENODEV, EPERM, EBADF, EINVAL}) {
        reader.will_answer(0x01, {.error = error});
        const outcome expected = {error == EROFS ? -30 : -1, error, ""};
        EXPECT_EQ(outcome_of(kt_rfid_tcl_open), expected);
    }
    for (const int result : {0, 1, 30}) {
        reader.will_answer(0x01, {.result = result});
        errno = EROFS; // somebody's, of before
        EXPECT_EQ(kt_rfid_tcl_open(), result);
    }
    reader.will_answer(0x15, {.error = EROFS}); // the other activation has no such number
    EXPECT_EQ(outcome_of(kt_rfid_rid_open), failed(EROFS, ""));
}
