/** The contactless reader's device, as a program's own requests meet it: records, scripts, configuration, emulation. */
#include "tests/terminal/reader_program.h"

#include <algorithm>
#include <cstdio>
#include <gmock/gmock.h>
#include <string>
#include <sys/mman.h>
#include <vector>

using kt::terminal::event;
using kt::terminal::virtual_terminal;
using namespace kt::tests;
using testing::HasSubstr;

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
