/** Requests on the contactless reader that wait, and what goes wrong on the air. */
#include "tests/terminal/reader_program.h"

#include <gmock/gmock.h>
#include <string>

using kt::terminal::virtual_terminal;
using namespace kt::tests;
using testing::HasSubstr;
using testing::Not;

namespace {

/** The number of the command that an answer to "apdu" holds. */
std::string number_in(const std::string& answer)
{
    const auto at = answer.find("\"number\":");
    return at == std::string::npos ? "none" : std::to_string(std::stoul(answer.substr(at + 9)));
}

} // namespace

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
