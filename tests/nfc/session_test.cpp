/** The reader's session: opened, opened again, closed, missing; and what needs no session. */
#include <kt_driver/nfc.h>

#include "tests/nfc/scripted_reader.h"
#include "tests/support/descriptors.h"
#include "tests/support/failing_stdout.h"
#include "tests/support/journal_lines.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <iterator>
#include <thread>
#include <unistd.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

namespace {

constexpr const char* node = "/dev/kt_nfc";

const outcome succeeds = {0, 0, ""};

/** The descriptors that are open now and were not before. */
std::vector<int> new_since(const std::set<int>& before)
{
    const std::set<int> now = open_descriptors();
    std::vector<int> added;
    std::set_difference(now.begin(), now.end(), before.begin(), before.end(), std::back_inserter(added));
    return added;
}

/** Waits until so many descriptors lead to the reader: it hears of a closing after the program that closes. */
bool open_times(virtual_terminal& board, int count)
{
    const std::string member = "\"open\":" + std::to_string(count) + ",";
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (board.reader().find(member) == std::string::npos) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void expect_closed()
{
    EXPECT_EQ(outcome_of(kt_rfid_mfcl_open), failed(EBADF, ""));
    EXPECT_EQ(outcome_of(kt_rfid_probe), succeeds);
}

} // namespace

TEST(Session, OpensTheReaderToReadAndWrite)
{
    virtual_terminal board;
    const std::set<int> before = open_descriptors();
    board.forget();
    EXPECT_EQ(outcome_of(kt_rfid_init), succeeds);
    EXPECT_EQ(doings(board), lines{"open O_RDWR /dev/kt_nfc"});
    const std::vector<int> added = new_since(before);
    ASSERT_EQ(added.size(), 1U);
    EXPECT_EQ(descriptor_target(added[0]), node);
    EXPECT_EQ(fcntl(added[0], F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_EQ(fcntl(added[0], F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(added[0], F_GETFD), FD_CLOEXEC);
    EXPECT_TRUE(open_times(board, 1));
}

TEST(Session, SaysWhenThereIsNoReaderAndGoesOn)
{
    virtual_terminal board;
    board.remove(node);
    const std::set<int> before = open_descriptors();
    EXPECT_EQ(outcome_of(kt_rfid_init), (outcome{0, 0, "nfc dev open error\n"}));
    EXPECT_EQ(open_descriptors(), before);
    expect_closed();
    EXPECT_EQ(outcome_of(kt_rfid_tcl_open), failed(EBADF, "kt_rfid_tcl_open nfc fd error\n"));
    EXPECT_EQ(outcome_of(kt_rfid_fini), succeeds);
}

TEST(Session, LeavesTheCauseOfAFailedOpening)
{
    virtual_terminal board;
    for (const int error : {EACCES, ENODEV, EMFILE}) {
        board.fail(node, {.on = "open", .error = error, .times = 2});
        int cause = 0;
        EXPECT_EQ(printed([&] {
                      kt_rfid_init();
                      cause = errno;
                  }),
                  "nfc dev open error\n");
        EXPECT_EQ(cause, error);
        int result = -2;
        {
            const failing_stdout full;
            result = kt_rfid_init();
            cause = errno;
        }
        EXPECT_EQ(result, 0);
        EXPECT_EQ(cause, error);
    }
    EXPECT_EQ(outcome_of(kt_rfid_init), succeeds); // and later there is one
    EXPECT_TRUE(open_times(board, 1));
}

TEST(Session, OpenedAgainClosesTheOldOneFirst)
{
    virtual_terminal board;
    kt_rfid_init();
    const std::set<int> before = open_descriptors();
    board.forget();
    EXPECT_EQ(outcome_of(kt_rfid_init), succeeds);
    EXPECT_EQ(doings(board), lines{"open O_RDWR /dev/kt_nfc"});
    EXPECT_EQ(open_descriptors(), before); // the number was free again
    EXPECT_TRUE(open_times(board, 1));

    board.fail(node, {.on = "open", .error = EIO, .times = 1});
    EXPECT_EQ(outcome_of(kt_rfid_init), (outcome{0, 0, "nfc dev open error\n"}));
    EXPECT_TRUE(open_times(board, 0));
    EXPECT_EQ(open_descriptors().size(), before.size() - 1);
    expect_closed();
}

TEST(Session, ClosesOnceAndNobodyElsesDescriptor)
{
    virtual_terminal board;
    const std::set<int> before = open_descriptors();
    EXPECT_EQ(outcome_of(kt_rfid_fini), succeeds); // never opened
    EXPECT_EQ(open_descriptors(), before);

    kt_rfid_init();
    const std::vector<int> added = new_since(before);
    ASSERT_EQ(added.size(), 1U);
    EXPECT_EQ(outcome_of(kt_rfid_fini), succeeds);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(open_times(board, 0));
    expect_closed();

    const int somebodys = dup(STDERR_FILENO);
    EXPECT_EQ(somebodys, added[0]);
    EXPECT_EQ(outcome_of(kt_rfid_fini), succeeds);
    EXPECT_NE(fcntl(somebodys, F_GETFD), -1);
    close(somebodys);
}

TEST(Session, KeepsTheRecordFromOneToTheNext)
{
    scripted_reader reader;
    const wire_record record = wire_record::pattern(5);
    (void)reader.exchange_record(record);
    kt_rfid_init();
    EXPECT_EQ(difference(reader.exchange_record(record).bytes, record.bytes), "");
    kt_rfid_fini();
    kt_rfid_init();
    EXPECT_EQ(difference(reader.exchange_record(record).bytes, record.bytes), "");
}

TEST(Session, WorksOnDescriptorZeroAndLeavesItOpen)
{
    virtual_terminal board;
    std::string target, after;
    int opened = -1, closed = -1, then = -1, cause = 0;
    (void)board.reader(R"({"script":[{"request":1,"result":5}]})");
    {
        const descriptor_0_free free;
        kt_rfid_init();
        target = descriptor_target(0);
        opened = kt_rfid_tcl_open();
        closed = kt_rfid_fini();
        after = descriptor_target(0);
        then = kt_rfid_mfcl_open();
        cause = errno;
    }
    EXPECT_EQ(target, node);
    EXPECT_EQ(opened, 5);
    EXPECT_EQ(closed, 0);
    EXPECT_EQ(after, node);
    EXPECT_EQ(then, -1);
    EXPECT_EQ(cause, EBADF);
}

TEST(Session, OpenedAgainLeavesDescriptorZeroOpen)
{
    virtual_terminal board;
    const std::set<int> before = open_descriptors();
    std::string target;
    bool both = false;
    std::vector<int> added;
    {
        const descriptor_0_free free;
        kt_rfid_init();
        kt_rfid_init();
        target = descriptor_target(0);
        both = open_times(board, 2);
    }
    for (const int each : new_since(before))
        if (descriptor_target(each) == node)
            added.push_back(each);
    EXPECT_EQ(target, node);
    EXPECT_TRUE(both);
    EXPECT_EQ(added.size(), 1U); // the second one
    kt_rfid_fini();
    EXPECT_TRUE(open_times(board, 0));
}

TEST(Session, IsNothingToFunctionsWithoutARequest)
{
    const auto all_do_nothing = [] {
        EXPECT_EQ(outcome_of(kt_rfid_getatr), succeeds);
        EXPECT_EQ(outcome_of(kt_rfid_gettype), succeeds);
        EXPECT_EQ(outcome_of(kt_rfid_hal_config), succeeds);
        EXPECT_EQ(outcome_of([] { return kt_rfid_ntag21x_exchange(); }), succeeds);
        caller held;
        EXPECT_EQ(outcome_of([&] {
                      return kt_rfid_ntag21x_exchange(plenty(), 600, held.bytes.data(), &held.length, nullptr);
                  }),
                  succeeds);
        EXPECT_EQ(held.holds(), "nothing");
    };
    all_do_nothing();
    scripted_reader reader;
    const wire_record record = wire_record::pattern(6);
    (void)reader.exchange_record(record);
    reader.board.forget();
    all_do_nothing();
    EXPECT_EQ(reader.requests().size(), 0U);
    EXPECT_EQ(difference(reader.exchange_record(record).bytes, record.bytes), "");
}
