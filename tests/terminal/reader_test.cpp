/** The contactless reader's device, as a program's own requests meet it. */
#include "terminal/client/virtual_terminal.h"
#include "tests/support/in_thread.h"
#include "tests/terminal/file_calls.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <gmock/gmock.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

using kt::terminal::event;
using kt::terminal::virtual_terminal;
using namespace kt::tests;
using testing::HasSubstr;
using testing::Not;

namespace {

// Where the fields lie, from the driver's description.
constexpr std::size_t record_size = 1164;
constexpr std::size_t transmit = 0;
constexpr std::size_t transmit_length = 512;
constexpr std::size_t receive = 516;
constexpr std::size_t receive_length = 1028;
constexpr std::size_t parameter = 1032;

/** The device, open, and one record, as a program keeps it. */
class reader_program {
public:
    reader_program() : file_("/dev/kt_nfc", O_RDWR), record(record_size, '\0') {}

    /** 0 or the error number. */
    int ask(unsigned number) { return error_of(result_of(0xC0044D00U + number)); }
    int result_of(unsigned request) { return ioctl(file_.fd(), request, record.data()); }
    /** With a record that lies elsewhere. */
    int ask_at(unsigned number, void* place) { return error_of(ioctl(file_.fd(), 0xC0044D00U + number, place)); }
    bool is_terminal() const { return isatty(file_.fd()) == 1; }

    int ask(unsigned number, std::uint32_t with) { return set(parameter, with), ask(number); }
    int send(unsigned number, const std::string& bytes, std::uint32_t with = 0)
    {
        record.replace(transmit, bytes.size(), bytes);
        set(transmit_length, static_cast<std::uint32_t>(bytes.size()));
        return ask(number, with);
    }

    void set(std::size_t place, std::uint32_t word) { std::memcpy(record.data() + place, &word, sizeof word); }
    std::uint32_t word(std::size_t place) const
    {
        std::uint32_t found = 0;
        std::memcpy(&found, record.data() + place, sizeof found);
        return found;
    }
    std::string received() const { return record.substr(receive, word(receive_length)); }

    void close() { file_.close(); }

private:
    opened_file file_;

public:
    std::string record;
};

std::string bytes(std::initializer_list<int> all)
{
    std::string made;
    for (const int each : all)
        made += static_cast<char>(each);
    return made;
}

std::string counting_bytes()
{
    std::string made(record_size, '\0');
    for (std::size_t i = 0; i < made.size(); ++i)
        made[i] = static_cast<char>(i * 7 + 1);
    return made;
}

/** The reader's state, as soon as it says this: a close is told to the device a little later. */
std::string eventually(virtual_terminal& board, const std::string& wanted)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::string state = board.reader();
    while (state.find(wanted) == std::string::npos && std::chrono::steady_clock::now() < end)
        state = board.reader();
    return state;
}

/** Signals until the call has ended: the first may come before it waits. */
int interrupted(in_thread<int>& call)
{
    do
        call.interrupt();
    while (!call.ends_within(std::chrono::milliseconds(20)));
    return call.result();
}

constexpr const char* wallet = R"({"card":"classic_1k","name":"wallet","uid":"3A5C107E",
    "blocks":{"4":"640000009BFFFFFF6400000004FB04FB"}})";

TEST(Reader, JournalsTheWholeRecordOfEveryRequestAlsoOfOneThatFails)
{
    virtual_terminal board;
    reader_program program;
    const std::string before = program.record = counting_bytes();
    board.forget();

    EXPECT_EQ(program.ask(0x33), ENODEV); // no card is there
    board.fail("/dev/kt_nfc", {.on = "ioctl", .error = EROFS, .times = 1});
    EXPECT_EQ(program.ask(0x01), EROFS);
    EXPECT_EQ(program.ask(0x3C), 0);
    EXPECT_EQ(program.record, before);

    const auto told = board.events_of({"ioctl"});
    ASSERT_EQ(told.size(), 3U);
    for (const event& each : told)
        EXPECT_EQ(each.data, before) << each.request;
    EXPECT_EQ(told[0].request, 0xC0044D33U);
    EXPECT_EQ(told[0].error, "ENODEV");
    EXPECT_EQ(told[1].error, "EROFS");
    EXPECT_EQ(told[2].error, "");
}

TEST(Reader, KnowsTheDriversNumbersAndNoOthers)
{
    reader_program program;
    for (unsigned number = 0; number <= 0xFF; ++number) {
        const bool unused = number == 0 || (number >= 0x04 && number <= 0x09) || (number >= 0x18 && number <= 0x1D) ||
                            number == 0x32 || number == 0x3A || number == 0x3B || (number >= 0x50 && number <= 0x55) ||
                            number > 0x58;
        EXPECT_EQ(program.ask(number) == ENOTTY, unused) << number;
    }
    EXPECT_EQ(error_of(program.result_of(0xC0084D33)), ENOTTY); // another size

    virtual_terminal board;
    board.forget();
    EXPECT_FALSE(program.is_terminal());
    const auto told = board.events_of({"ioctl"});
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0].data, ""); // who asks that gives no record of the reader's
}

TEST(Reader, ChangesNothingInTheRecordBesidesItsAnswer)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(wallet);
    std::string expected = program.record = counting_bytes();
    EXPECT_EQ(program.ask(0x33), 0);
    expected[parameter] = 3;
    EXPECT_EQ(program.record, expected);
    EXPECT_EQ(program.ask(0x35), 0);
    expected.replace(receive, 4, "\x3A\x5C\x10\x7E").replace(receive_length, 4, bytes({4, 0, 0, 0}));
    EXPECT_EQ(program.record, expected);
    ASSERT_EQ(program.ask(0x0A), 0);
    ASSERT_EQ(program.send(0x0D, "\xFF\xFF\xFF\xFF\xFF\xFF"), 0);
    EXPECT_EQ(program.send(0x0E, bytes({0x60, 0, 0, 0, 4, 0, 0, 0})), 0);
    expected.replace(transmit, 8, bytes({0x60, 0, 0, 0, 4, 0, 0, 0}));
    expected.replace(transmit_length, 4, bytes({8, 0, 0, 0})).replace(parameter, 4, bytes({0, 0, 0, 0}));
    EXPECT_EQ(program.record, expected);

    board.remove_cards();
    board.tap_card(R"({"card":"ntag213","memory":{"4":"01020304","5":"05060708","6":"090A0B0C","7":"0D0E0F10"}})");
    ASSERT_EQ(program.ask(0x28), 0);
    expected = program.record = counting_bytes();
    EXPECT_EQ(program.ask(0x2A, 4), 0);
    expected.replace(parameter, 4, bytes({4, 0, 0, 0})).replace(receive_length, 4, bytes({16, 0, 0, 0}));
    expected.replace(receive, 16, bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
    EXPECT_EQ(program.record, expected);
}

TEST(Reader, RefusesARecordThatIsNotTheProgramsToReadOrWrite)
{
    virtual_terminal board;
    reader_program program;
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const map = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(map, MAP_FAILED);
    char* const pages = static_cast<char*>(map);
    ASSERT_EQ(mprotect(pages + page, page, PROT_NONE), 0);
    board.tap_card(wallet);
    EXPECT_EQ(program.ask_at(0x33, pages + page), EFAULT);
    EXPECT_EQ(program.ask_at(0x33, pages + page - 4), EFAULT); // only its beginning can be read
    EXPECT_EQ(program.ask_at(0x33, pages), 0);
    ASSERT_EQ(mprotect(pages, page, PROT_READ), 0);
    EXPECT_EQ(program.ask_at(0x33, pages), EFAULT);
    EXPECT_EQ(program.ask_at(0x15, pages), ENODEV); // a failure writes nothing
    munmap(map, 2 * page);
}

TEST(Reader, FindsNothingWithoutPower)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(wallet);
    ASSERT_EQ(program.ask(0x0A), 0);
    EXPECT_EQ(program.ask(0x3C, 0), 0);
    EXPECT_EQ(program.ask(0x0F, 4), ENOTCONN);
    EXPECT_EQ(program.ask(0x35), ENODEV);
    EXPECT_EQ(program.ask(0x33), ENODEV);
    EXPECT_EQ(program.ask(0x0A), ENODEV);
    EXPECT_EQ(program.ask(0x3C, 1), 0);
    EXPECT_EQ(program.ask(0x33), 0);
    EXPECT_EQ(program.ask(0x0A), 0);
}

TEST(Reader, ForgetsTheProgramAtTheLastClose)
{
    virtual_terminal board;
    reader_program first;
    board.tap_card(wallet);
    ASSERT_EQ(first.ask(0x3D), 0);
    ASSERT_EQ(first.ask(0x4C), 0);
    first.record = counting_bytes();
    first.set(128, 3);
    first.set(1156, 2);
    ASSERT_EQ(first.ask(0x4D), 0);
    ASSERT_EQ(first.ask(0x4E), 0);
    ASSERT_EQ(first.ask(0x3D), 0);
    ASSERT_EQ(first.ask(0x57), 0);
    ASSERT_EQ(first.ask(0x0A), 0);
    {
        reader_program second;
        first.close();
        EXPECT_THAT(eventually(board, "\"open\":1,"), HasSubstr(R"("family":"mfcl")"));
        EXPECT_EQ(second.ask(0x3C, 0), 0);
        EXPECT_THAT(board.phone(), HasSubstr("\"reads\":\"ndef\""));
    }
    EXPECT_THAT(eventually(board, "\"open\":0,"),
                HasSubstr(R"("family":null,"power":1,"type_a":[0,0],"type_b":[0,0,0])"));
    EXPECT_THAT(board.phone(), HasSubstr("\"reads\":null"));
    reader_program next;
    EXPECT_EQ(next.ask(0x35), ENODEV); // nothing was found yet
    EXPECT_EQ(next.ask(0x4E), ENOTCONN);
    EXPECT_EQ(next.ask(0x33), 0);
}

TEST(Reader, AFamilyStaysOpenAsLongAsItsCardIsFoundAlone)
{
    virtual_terminal board;
    reader_program program;
    const std::string key_a_of_block_4 = bytes({0x60, 0, 0, 0, 4, 0, 0, 0});
    board.tap_card(wallet);
    ASSERT_EQ(program.ask(0x0A), 0);
    ASSERT_EQ(program.send(0x0D, "\xFF\xFF\xFF\xFF\xFF\xFF"), 0);
    ASSERT_EQ(program.send(0x0E, key_a_of_block_4), 0);
    ASSERT_EQ(program.ask(0x0F, 4), 0);
    EXPECT_EQ(program.ask(0x33), 0);
    EXPECT_THAT(board.reader(), HasSubstr(R"("family":"mfcl")"));
    EXPECT_EQ(program.ask(0x0F, 4), EIO); // the card was selected anew: nobody is authenticated
    EXPECT_EQ(program.ask(0x33), 0);
    EXPECT_EQ(program.send(0x0E, key_a_of_block_4), 0); // the reader has kept the key
    EXPECT_EQ(program.ask(0x0F, 4), 0);

    board.tap_card(R"({"card":"felica","name":"other"})");
    EXPECT_EQ(program.ask(0x0F, 4), 0); // it does not disturb
    EXPECT_EQ(program.ask(0x33), ENOTUNIQ);
    EXPECT_THAT(board.reader(), HasSubstr(R"("family":null)"));
    EXPECT_EQ(program.ask(0x0F, 4), ENOTCONN);
    board.card(R"({"remove":"other"})");
    EXPECT_EQ(program.ask(0x33), 0);
    EXPECT_EQ(program.ask(0x0F, 4), ENOTCONN);
}

TEST(Reader, AScriptAnswersRequestsInTheirOrderAndLeavesWhatItDoesNotGive)
{
    virtual_terminal board;
    reader_program program;
    const std::string before = program.record = counting_bytes();
    EXPECT_THAT(board.reader(R"({"script":[{"request":53,"receive_hex":"0102"},{"error":"EROFS"},
        {"result":7,"parameter":9,"receive_hex":"aa","receive_length":600},
        {"request":53,"error":"EIO","transmit_hex":"bb"}]})"),
                HasSubstr("\"scripted\":4"));

    EXPECT_EQ(program.ask(0x01), EROFS); // the first that is not another request's
    EXPECT_EQ(program.record, before);
    EXPECT_EQ(program.ask(0x35), 0);
    std::string expected = before;
    expected.replace(receive, 2, "\x01\x02").replace(receive_length, 4, bytes({2, 0, 0, 0}));
    EXPECT_EQ(program.record, expected);
    EXPECT_EQ(program.result_of(0xC0044D33), 7);
    expected.replace(parameter, 4, bytes({9, 0, 0, 0})).replace(receive, 1, "\xAA");
    expected.replace(receive_length, 4, bytes({0x58, 2, 0, 0}));
    EXPECT_EQ(program.record, expected);
    EXPECT_EQ(program.ask(0x35), EIO); // a driver that fails may write all the same
    expected.replace(transmit, 1, "\xBB").replace(transmit_length, 4, bytes({1, 0, 0, 0}));
    EXPECT_EQ(program.record, expected);
    EXPECT_THAT(board.reader(), HasSubstr("\"scripted\":0"));
}

TEST(Reader, AScriptCanGiveTheWholeRecordLateAndCanBeForgotten)
{
    virtual_terminal board;
    reader_program program;
    const std::string wanted = counting_bytes();
    std::string digits;
    for (const char each : wanted) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned>(static_cast<unsigned char>(each)));
        digits += pair;
    }
    board.reader(R"({"script":[{"record_hex":")" + digits + R"(","delay_ms":200}]})");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(program.ask(0x0F), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(200));
    EXPECT_EQ(program.record, wanted);

    board.reader(R"({"script":[{"error":"EIO"}]})");
    EXPECT_THAT(board.reader(R"({"forget":true})"), HasSubstr("\"scripted\":0"));
    EXPECT_EQ(program.ask(0x33), ENODEV);
    board.reader(R"({"script":[{"error":"EIO"}]})");
    board.reader(R"({"script":[{"result":-4095},{"result":-4096}],"forget":true})"); // these two are left
    EXPECT_EQ(program.ask(0x33), 4095);                                              // an errno, whatever its name
    EXPECT_EQ(program.result_of(0xC0044D33), -4096);                                 // a result
    EXPECT_THROW(board.reader(R"({"script":[{"record_hex":"00"}]})"), std::runtime_error);
    EXPECT_THROW(board.reader(R"({"script":[{"receives":"00"}]})"), std::runtime_error);
}

TEST(Reader, OpensForAnyNumberUnlessItIsBusy)
{
    virtual_terminal board;
    reader_program first;
    {
        const reader_program second;
        EXPECT_THAT(board.reader(), HasSubstr("\"open\":2"));
    }
    board.reader(R"({"set":{"busy":true}})");
    EXPECT_EQ(open_error("/dev/kt_nfc", O_RDWR), EBUSY);
    board.reader(R"({"set":{"busy":false}})");
    EXPECT_EQ(open_error("/dev/kt_nfc", O_RDWR), 0);
}

TEST(Reader, TakesItsConfigurationFromTheLengthsAndTheParameter)
{
    virtual_terminal board;
    reader_program program;
    program.set(receive_length, 1);
    program.set(transmit_length, 4'000'000'000);
    EXPECT_EQ(program.ask(0x3D), 0);
    program.set(receive_length, 3);
    program.set(transmit_length, 4);
    EXPECT_EQ(program.ask(0x3E, 5), 0);
    EXPECT_EQ(program.ask(0x3C, 6), 0);
    EXPECT_THAT(board.reader(), HasSubstr(R"("power":6,"type_a":[1,4000000000],"type_b":[3,4,5])"));
}

TEST(Reader, FindsTheOnlyCardAndTellsItsType)
{
    virtual_terminal board;
    reader_program program;
    EXPECT_EQ(program.ask(0x35), ENODEV); // nothing was found yet
    struct row {
        const char* file;
        std::uint32_t type;
        unsigned opens; // the request that opens it
    };
    for (const row& each : {row{R"({"card":"type_a"})", 1, 0x01}, row{R"({"card":"type_b"})", 2, 0x15},
                            row{R"({"card":"classic_1k"})", 3, 0x0A}, row{R"({"card":"ntag215"})", 4, 0x28},
                            row{R"({"card":"ultralight_ev1"})", 5, 0x3F}, row{R"({"card":"ultralight_c"})", 6, 0x21},
                            row{R"({"card":"felica"})", 7, 0x1E}}) {
        board.tap_card(each.file);
        EXPECT_EQ(program.ask(0x33, 0xFFFFFFFF), 0) << each.file;
        EXPECT_EQ(program.word(parameter), 0xFFFFFF00 | each.type) << each.file; // only the lowest byte is the driver's
        EXPECT_EQ(program.ask(0x35), 0) << each.file;
        for (const unsigned open : {0x01U, 0x15U, 0x0AU, 0x28U, 0x3FU, 0x21U, 0x1EU}) {
            const bool iso = (open == 0x01 || open == 0x15) && each.type <= 2;
            EXPECT_EQ(program.ask(open), open == each.opens || iso ? 0 : ENODEV) << each.file << open;
        }
        board.remove_cards();
        EXPECT_EQ(program.ask(0x33), ENODEV);
    }
    board.tap_card(wallet);
    board.tap_card(R"({"card":"felica"})");
    EXPECT_EQ(program.ask(0x33), ENOTUNIQ);
    EXPECT_EQ(program.ask(0x0A), ENOTUNIQ);
}

TEST(Reader, RefusesAFamilysRequestBeforeItsOpenAndAfterItsClose)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(wallet);
    EXPECT_EQ(program.send(0x0D, "\xFF\xFF\xFF\xFF\xFF\xFF"), ENOTCONN);
    ASSERT_EQ(program.ask(0x0A), 0);
    EXPECT_EQ(program.ask(0x2A, 0), ENOTCONN); // another family's
    EXPECT_EQ(program.ask(0x0C), 0);
    EXPECT_EQ(program.received(), bytes({0x04, 0x00}));
    EXPECT_EQ(program.ask(0x0B), 0);
    EXPECT_EQ(program.ask(0x0B), ENOTCONN);
    EXPECT_EQ(program.ask(0x0C), ENOTCONN);
}

TEST(Reader, CountsAWalletUp)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(wallet);
    ASSERT_EQ(program.ask(0x0A), 0);
    const std::string key_a_of_block_4 = bytes({0x60, 0, 0, 0, 4, 0, 0, 0});
    EXPECT_EQ(program.send(0x0E, key_a_of_block_4), EINVAL); // no key is set
    EXPECT_EQ(program.send(0x0D, "\x01\x02\x03\x04\x05"), EINVAL);
    EXPECT_EQ(program.send(0x0D, "\x01\x02\x03\x04\x05\x06"), 0);
    EXPECT_EQ(program.send(0x0E, key_a_of_block_4), EACCES);
    EXPECT_EQ(program.ask(0x0F, 4), ETIMEDOUT); // a card that has refused waits to be selected anew

    ASSERT_EQ(program.ask(0x0A), 0);
    EXPECT_EQ(program.send(0x0D, "\xFF\xFF\xFF\xFF\xFF\xFF"), 0);
    EXPECT_EQ(program.send(0x0E, bytes({0x62, 0, 0, 0, 4, 0, 0, 0})), EINVAL);
    EXPECT_EQ(program.send(0x0E, key_a_of_block_4), 0);
    EXPECT_EQ(program.send(0x11, bytes({5, 0, 0, 0}), 4), 0);
    EXPECT_EQ(program.ask(0x13, 4), 0);
    EXPECT_EQ(program.ask(0x0F, 4), 0);
    EXPECT_EQ(program.received(), bytes({0x69, 0, 0, 0, 0x96, 0xFF, 0xFF, 0xFF, 0x69, 0, 0, 0, 4, 0xFB, 4, 0xFB}));
    EXPECT_EQ(program.send(0x12, bytes({6, 0, 0, 0}), 4), 0);
    EXPECT_EQ(program.ask(0x13, 5), 0); // 99, into the block beside it
    EXPECT_EQ(program.ask(0x14, 4), 0);
    EXPECT_EQ(program.ask(0x13, 6), 0); // 105
    EXPECT_EQ(program.ask(0x0F, 5), 0);
    EXPECT_EQ(program.received().substr(0, 4), bytes({0x63, 0, 0, 0}));
    EXPECT_EQ(program.ask(0x0F, 6), 0);
    EXPECT_EQ(program.received().substr(0, 4), bytes({0x69, 0, 0, 0}));
    EXPECT_EQ(program.send(0x10, std::string(15, 'x'), 5), EINVAL);
    EXPECT_EQ(program.send(0x10, std::string(16, 'x'), 5), 0);
    EXPECT_EQ(program.ask(0x0F, 5), 0);
    EXPECT_EQ(program.received(), std::string(16, 'x'));
    EXPECT_EQ(program.ask(0x0F, 256), EINVAL);
    EXPECT_EQ(program.ask(0x0F, 8), EIO); // of another sector
}

TEST(Reader, ReadsAndWritesATagsPages)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(R"({"card":"ntag213","name":"tag","password":"12345678","pack":"ABCD","memory":{"4":"01020304"},
        "signature":"000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F"})");
    ASSERT_EQ(program.ask(0x28), 0);
    EXPECT_EQ(program.ask(0x2A, 4), 0);
    EXPECT_EQ(program.received().size(), 16U);
    EXPECT_EQ(program.received().substr(0, 4), "\x01\x02\x03\x04");
    EXPECT_EQ(program.send(0x2C, "abcd", 5), 0);
    EXPECT_EQ(program.send(0x2C, "abc", 5), EINVAL);
    EXPECT_EQ(program.send(0x2D, "efgh............", 6), 0);
    EXPECT_EQ(program.ask(0x2B, 6U << 16), 0); // all pages up to the sum of the two numbers
    EXPECT_EQ(program.received().size(), 7 * 4U);
    EXPECT_EQ(program.received().substr(16), "\x01\x02\x03\x04"
                                             "abcdefgh");
    EXPECT_EQ(program.ask(0x2B, 0xFFFF0000), 0);
    EXPECT_EQ(program.received().size(), 45 * 4U); // the card's end
    EXPECT_EQ(program.ask(0x31), 0);
    EXPECT_EQ(program.received(), bytes({0, 4, 4, 2, 1, 0, 0x0F, 3}));
    EXPECT_EQ(program.ask(0x30), 0);
    EXPECT_EQ(program.received(), bytes({0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                                         16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31}));
    EXPECT_EQ(program.send(0x2F, "\x12\x34\x56\x78"), 0);
    EXPECT_EQ(program.received(), "\xAB\xCD");
    EXPECT_EQ(program.send(0x2F, "\x12\x34\x56\x79"), EACCES);

    board.remove_cards();
    EXPECT_EQ(program.ask(0x2A, 4), ETIMEDOUT);
    board.tap_card(R"({"card":"ntag216"})");
    ASSERT_EQ(program.ask(0x28), 0);
    EXPECT_EQ(program.ask(0x2B, 0xFFFF0000), 0);
    EXPECT_EQ(program.received().size(), 512U); // the record's end
}

TEST(Reader, CountsWithAnUltralightAndSelectsItsVirtualCard)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(R"({"card":"ultralight_ev1","counters":{"0":3}})");
    ASSERT_EQ(program.ask(0x3F), 0);
    EXPECT_EQ(program.send(0x47, bytes({2, 0, 0, 0}), 0), 0);
    EXPECT_EQ(program.ask(0x46, 0), 0);
    EXPECT_EQ(program.received(), bytes({5, 0, 0}));
    EXPECT_EQ(program.ask(0x4A, 0), 0);
    EXPECT_EQ(program.received(), "\xBD"); // nothing was torn
    program.set(transmit_length, 0);       // another request's
    EXPECT_EQ(program.ask(0x4B, 20U << 16), 0);
    EXPECT_EQ(program.received(), "\x05"); // its type's identifier, as delivered
    EXPECT_EQ(program.ask(0x4B, 19U << 16), EINVAL);
}

TEST(Reader, CarriesCommandsAndPacketsAsTheyStand)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(R"({"card":"type_a","answers":[{"command":"00A4 *","answer":"6F009000"}]})");
    ASSERT_EQ(program.ask(0x01), 0);
    EXPECT_EQ(program.send(0x03, bytes({0, 0xA4, 4, 0})), 0);
    EXPECT_EQ(program.received(), bytes({0x6F, 0, 0x90, 0}));
    EXPECT_EQ(program.send(0x03, ""), EINVAL);
    program.set(transmit_length, 513);
    EXPECT_EQ(program.ask(0x03), EINVAL);
    EXPECT_EQ(program.ask(0x34, 0x12345678), 0);
    EXPECT_EQ(program.word(parameter), 0x12345620U);
    EXPECT_EQ(program.ask(0x38), 0);
    EXPECT_EQ(program.received(), bytes({5, 0x78, 0x80, 0x70, 2}));
    EXPECT_EQ(program.ask(0x37), ENODEV); // it is not of type B

    board.remove_cards();
    board.tap_card(R"({"card":"type_b","pupi":"11223344","application_data":"55667788","protocol_info":"008171",
        "attrib":"00"})");
    ASSERT_EQ(program.ask(0x33), 0);
    EXPECT_EQ(program.ask(0x35), 0);
    EXPECT_EQ(program.received(), bytes({0x11, 0x22, 0x33, 0x44}));
    EXPECT_EQ(program.ask(0x37), 0);
    EXPECT_EQ(program.received(), bytes({0x50, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0, 0x81, 0x71}));
    EXPECT_EQ(program.ask(0x39), 0);
    EXPECT_EQ(program.received(), bytes({0}));
    EXPECT_EQ(program.ask(0x34), ENODEV); // nor of type A

    board.remove_cards();
    board.tap_card(R"({"card":"felica","idm":"0101010203040506"})");
    ASSERT_EQ(program.ask(0x1E), 0);
    EXPECT_EQ(program.send(0x20, bytes({6, 0, 0xFF, 0xFF, 0, 0})), 0);
    EXPECT_EQ(program.received().substr(0, 10), bytes({18, 1, 1, 1, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(program.send(0x20, bytes({7, 0, 0xFF, 0xFF, 0, 0})), EINVAL);
}

/** The number of the command that an answer to "apdu" holds. */
std::string number_in(const std::string& answer)
{
    const auto at = answer.find("\"number\":");
    return at == std::string::npos ? "none" : std::to_string(std::stoul(answer.substr(at + 9)));
}

TEST(Reader, WaitsForAnAttachedProgram)
{
    virtual_terminal board;
    reader_program program;
    EXPECT_THAT(board.apdu(R"({"timeout_ms":0})"), HasSubstr("\"apdu_hex\":null"));
    board.tap_card(R"({"card":"type_a","name":"far","program":true})");
    ASSERT_EQ(program.ask(0x15), 0);
    {
        in_thread<int> exchange([&] { return program.send(0x17, bytes({0, 0xB0, 0, 0, 0})); });
        EXPECT_THAT(board.apdu(), HasSubstr(R"("apdu_hex":"00b0000000","name":"far")"));
        EXPECT_THROW(board.apdu(R"({"answer_hex":"9000","name":"near"})"), std::runtime_error);
        board.apdu(R"({"answer_hex":"01029000"})");
        EXPECT_EQ(exchange.result(), 0);
    }
    EXPECT_EQ(program.received(), bytes({1, 2, 0x90, 0}));
    {
        in_thread<int> exchange([&] { return program.send(0x17, bytes({0, 0xB0, 0, 0, 1})); });
        const std::string number = number_in(board.apdu());
        EXPECT_THROW(board.apdu(R"({"answer_hex":"9000","number":0})"), std::runtime_error);
        board.apdu(R"({"answer_hex":"9000","name":"far","number":)" + number + "}");
        EXPECT_EQ(exchange.result(), 0);
        EXPECT_THROW(board.apdu(R"({"answer_hex":"9000","number":)" + number + "}"), std::runtime_error);
    }
    EXPECT_THROW(board.apdu(R"({"number":1})"), std::runtime_error);
    {
        in_thread<int> exchange([&] { return program.send(0x17, bytes({0, 0xB0, 0, 0, 0})); });
        EXPECT_THAT(board.apdu(), HasSubstr("far"));
        board.remove_cards(); // pulled away while it thinks
        EXPECT_EQ(exchange.result(), ETIMEDOUT);
    }
    EXPECT_THROW(board.apdu(R"({"answer_hex":"9000"})"), std::runtime_error);
}

TEST(Reader, ASignalEndsAnExchangeThatWaits)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(R"({"card":"type_a","name":"far","program":true})");
    ASSERT_EQ(program.ask(0x01), 0);
    let_signals_interrupt();
    std::string interrupted;
    {
        in_thread<int> exchange([&] { return program.send(0x03, bytes({0, 0xB0, 0, 0, 0})); });
        interrupted = number_in(board.apdu());
        exchange.interrupt();
        EXPECT_EQ(exchange.result(), EINTR);
    }
    EXPECT_EQ(program.ask(0x34), 0); // and the next request goes on
    EXPECT_THAT(board.apdu(R"({"timeout_ms":0})"), HasSubstr("\"apdu_hex\":null"));

    in_thread<int> next([&] { return program.send(0x03, bytes({0, 0xB0, 0, 0, 1})); });
    const std::string number = number_in(board.apdu());
    EXPECT_THROW(board.apdu(R"({"answer_hex":"6F00","number":)" + interrupted + "}"), std::runtime_error);
    board.apdu(R"({"answer_hex":"9000","number":)" + number + "}");
    EXPECT_EQ(next.result(), 0);
    EXPECT_EQ(program.received(), bytes({0x90, 0}));
}

TEST(Reader, ACardThatIsTornAwayKeepsWhatItHadAndIsGone)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(R"({"card":"ntag213","name":"tag"})");
    ASSERT_EQ(program.ask(0x28), 0);
    EXPECT_THAT(board.reader(R"({"set":{"pull_after":1}})"), HasSubstr("\"pull_after\":1"));
    EXPECT_EQ(program.send(0x2C, "abcd", 4), 0);
    EXPECT_EQ(program.send(0x2C, "efgh", 5), ETIMEDOUT);
    EXPECT_EQ(program.ask(0x33), ENODEV);
    EXPECT_THAT(board.card(), HasSubstr(R"("cards":[],"pulled":[{"name":"tag")"));
    EXPECT_THAT(board.card(R"({"show":"tag"})"), HasSubstr(R"("4":"61626364")"));
    EXPECT_THAT(board.card(R"({"show":"tag"})"), Not(HasSubstr("65666768"))); // torn before it was written
    EXPECT_THAT(board.reader(), HasSubstr("\"pull_after\":null"));

    board.tap_card(R"({"card":"ntag213","name":"tag"})");
    ASSERT_EQ(program.ask(0x28), 0);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(program.send(0x2C, "ijkl", 5), 0); // once was enough
    EXPECT_EQ(program.ask(0x2A, 5), 0);
    EXPECT_EQ(program.received().substr(0, 4), "ijkl");
}

TEST(Reader, NoiseGarblesAnswersAndASlowCardTakesItsTime)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(R"({"card":"ntag213"})");
    ASSERT_EQ(program.ask(0x28), 0);
    board.reader(R"({"set":{"noise":100}})");
    EXPECT_EQ(program.ask(0x2A, 4), EBADMSG);
    EXPECT_EQ(program.send(0x2C, "abcd", 4), EBADMSG); // the card has got it
    board.reader(R"({"set":{"noise":0,"delay_ms":300}})");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(program.ask(0x2A, 4), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));
    EXPECT_EQ(program.received().substr(0, 4), "abcd");
    for (const unsigned finds : {0x33U, 0x28U}) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(program.ask(finds), 0);
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
    }
}

TEST(Reader, ASignalEndsAnOpenWhoseCardIsStillToBeFound)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(wallet);
    board.reader(R"({"set":{"delay_ms":500}})");
    let_signals_interrupt();
    {
        in_thread<int> open([&] { return program.ask(0x0A); });
        EXPECT_EQ(interrupted(open), EINTR);
    }
    EXPECT_EQ(program.ask(0x33), 0); // found later than the open would have found it
    EXPECT_THAT(board.reader(), HasSubstr(R"("family":null)"));
}

TEST(Reader, ASignalEndsARequestThatAScriptDelays)
{
    virtual_terminal board;
    reader_program program;
    board.reader(R"({"script":[{"delay_ms":60000},{"request":52,"result":5}]})");
    let_signals_interrupt();
    {
        in_thread<int> delayed([&] { return program.ask(0x33); });
        EXPECT_THAT(eventually(board, "\"scripted\":1,"), HasSubstr("\"scripted\":1,"));
        EXPECT_EQ(interrupted(delayed), EINTR);
    }
    EXPECT_EQ(program.ask(0x33), ENODEV); // and the next request goes on
    EXPECT_EQ(program.result_of(0xC0044D34), 5);
}

TEST(Reader, ASignalEndsARequestThatWaitsForAnother)
{
    virtual_terminal board;
    reader_program first;
    reader_program second;
    reader_program third;
    board.tap_card(R"({"card":"type_a","name":"far","program":true})");
    ASSERT_EQ(first.ask(0x01), 0);
    let_signals_interrupt();
    in_thread<int> exchange([&] { return first.send(0x03, bytes({0, 0xB0, 0, 0, 0})); });
    EXPECT_THAT(board.apdu(), HasSubstr("far"));
    board.reader(R"({"script":[{"request":52,"result":5}]})");
    {
        in_thread<int> queued([&] { return second.ask(0x34); });
        EXPECT_FALSE(queued.ends_within(std::chrono::milliseconds(50)));
        EXPECT_EQ(interrupted(queued), EINTR);
    }
    in_thread<int> waits([&] { return third.result_of(0xC0044D34); });
    EXPECT_FALSE(exchange.ends_within(std::chrono::milliseconds(50))); // it goes on
    EXPECT_FALSE(waits.ends_within(std::chrono::milliseconds(0)));
    board.apdu(R"({"answer_hex":"9000"})");
    EXPECT_EQ(exchange.result(), 0);
    EXPECT_EQ(first.received(), bytes({0x90, 0}));
    EXPECT_EQ(waits.result(), 5); // who was interrupted has not used its answer up
}

TEST(Reader, HalfOfTheAnswersAreGarbledByNoiseOfFifty)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(R"({"card":"ntag213"})");
    ASSERT_EQ(program.ask(0x28), 0);
    std::string runs[2];
    for (std::string& run : runs) {
        board.reader(R"({"set":{"noise":50,"seed":7}})");
        for (int i = 0; i < 200; ++i)
            run += program.ask(0x2A, 4) == 0 ? '.' : '#';
    }
    EXPECT_EQ(runs[0], runs[1]); // the same seed, the same noise
    EXPECT_NEAR(static_cast<double>(std::count(runs[0].begin(), runs[0].end(), '#')), 100, 40);
}

TEST(Reader, APhoneReadsTheEmulatedCardAndTheMessage)
{
    virtual_terminal board;
    reader_program program;
    EXPECT_THAT(board.phone(), HasSubstr("\"reads\":null"));
    EXPECT_EQ(program.ask(0x4E), ENOTCONN);
    ASSERT_EQ(program.ask(0x4C), 0);
    program.record.replace(0, 3, "\x01\x02\x03");
    program.set(128, 3);
    program.record.replace(132, 8, "abcdefgh");
    program.set(1156, 2);
    EXPECT_EQ(program.ask(0x4D), 0);
    EXPECT_THAT(board.phone(), HasSubstr("\"reads\":null"));
    EXPECT_EQ(program.ask(0x4E), 0);
    EXPECT_THAT(board.phone(),
                HasSubstr(R"("reads":"card","header_hex":"010203","blocks_hex":"6162636465666768","block_count":2)"));
    program.set(128, 129);
    EXPECT_EQ(program.ask(0x4D), EINVAL);
    EXPECT_EQ(program.ask(0x4F), 0);
    EXPECT_THAT(board.phone(), HasSubstr("\"reads\":null"));

    program.record.replace(0, 4, "\xD1\x01\x00\x00");
    EXPECT_EQ(program.ask(0x56, 2), 0); // as many bytes as the parameter says
    EXPECT_EQ(program.ask(0x57), 0);
    EXPECT_THAT(board.phone(), HasSubstr(R"("reads":"ndef","ndef_hex":"d101")"));
    EXPECT_EQ(program.ask(0x56, 513), EINVAL);
    EXPECT_EQ(program.ask(0x58), 0);
    EXPECT_THAT(board.phone(), HasSubstr("\"reads\":null"));
}

} // namespace
