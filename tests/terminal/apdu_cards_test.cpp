/** Cards that answer whole commands: by a script, through an attached program, and as payment cards do. */
#include "card_talk.h"
#include "terminal/cards/attachable.h"
#include "terminal/cards/tlv.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using namespace kt::terminal;
using namespace kt::tests;
using namespace std::string_literals;

card_ptr scripted(const std::string& answers, const std::string& more = "")
{
    return card_of_file(R"({"card": "type_a", "answers": [)" + answers + "]" + more + "}");
}

TEST(CardIdentity, OfTypeAIsAsTheFileSays)
{
    const auto card = card_of_file(R"({"card": "type_a", "uid": "04112233445566", "atqa": "4403", "sak": "28",
        "ats": "06 75 77 81 02 80"})");
    EXPECT_EQ(card->identity().family, card_family::type_a);
    EXPECT_EQ(digits_of(card->identity().uid), "04112233445566");
    EXPECT_EQ(card->identity().atqa, 0x0344); // the lower byte comes first on the air
    EXPECT_EQ(card->identity().sak, 0x28);
    EXPECT_EQ(digits_of(card->identity().ats), "067577810280");
    EXPECT_EQ(card->identity().atqb, "");
}

TEST(CardIdentity, OfTypeAHasTheAtqaOfItsUidAndOrdinaryRest)
{
    const auto single = card_of_file(R"({"card": "type_a"})");
    EXPECT_EQ(digits_of(single->identity().uid), "08144403");
    EXPECT_EQ(single->identity().atqa, 0x0004);
    EXPECT_EQ(single->identity().sak, 0x20);
    EXPECT_EQ(digits_of(single->identity().ats), "0578807002");
    EXPECT_EQ(card_of_file(R"({"card": "type_a", "uid": "04112233445566"})")->identity().atqa, 0x0044);
    EXPECT_EQ(card_of_file(R"({"card": "type_a", "uid": "04112233445566778899"})")->identity().atqa, 0x0084);
}

TEST(CardIdentity, OfTypeBIsItsAtqb)
{
    const auto card = card_of_file(R"({"card": "type_b", "pupi": "A1A2A3A4", "application_data": "B1B2B3B4",
        "protocol_info": "C10183", "attrib": "0155"})");
    EXPECT_EQ(card->identity().family, card_family::type_b);
    EXPECT_EQ(digits_of(card->identity().uid), "A1A2A3A4");
    EXPECT_EQ(digits_of(card->identity().atqb), "50A1A2A3A4B1B2B3B4C10183");
    EXPECT_EQ(digits_of(card->identity().attrib), "0155");
    EXPECT_EQ(card->identity().ats, "");
    const auto ordinary = card_of_file(R"({"card": "type_b"})");
    EXPECT_EQ(digits_of(ordinary->identity().atqb), "500814440300000000008171");
    EXPECT_EQ(digits_of(ordinary->identity().attrib), "00");
    const auto longer = card_of_file(R"({"card": "type_b", "protocol_info": "00817140"})");
    EXPECT_EQ(digits_of(longer->identity().atqb), "50081444030000000000817140");
}

TEST(CardIdentity, ThatNoSuchCardHasIsRefused)
{
    const char* const rows[][2] = {
        {R"("type_a", "uid": "0102030405")", "a card's \"uid\" must be 4, 7 or 10 bytes in hexadecimal digits"},
        {R"("type_a", "atqa": "04")", "a card's \"atqa\" must be 2 bytes in hexadecimal digits"},
        {R"("type_a", "sak": "08")", "the \"sak\" of a card with ISO 14443-4 must have bit 20h and not 04h"},
        {R"("type_a", "sak": "24")", "the \"sak\" of a card with ISO 14443-4 must have bit 20h and not 04h"},
        {R"("type_a", "ats": "")", "a card's \"ats\" must be as long as its first and second byte say"},
        {R"("type_a", "ats": "0478")", "a card's \"ats\" must be as long as its first and second byte say"},
        {R"("type_a", "ats": "04788070")", "a card's \"ats\" must be as long as its first and second byte say"},
        {R"("type_a", "ats": "01")", "accepted"},
        {R"("type_a", "ats": "0200")", "accepted"},
        {R"("type_a", "pupi": "01020304")", "such a card has no \"pupi\""},
        {R"("type_b", "uid": "01020304")", "such a card has no \"uid\""},
        {R"("type_b", "pupi": "010203")", "a card's \"pupi\" must be 4 bytes in hexadecimal digits"},
        {R"("type_b", "protocol_info": "0001")",
         "a card's \"protocol_info\" must be 3 or 4 bytes in hexadecimal digits"},
        {R"("type_b", "protocol_info": "008071")",
         "the \"protocol_info\" of a card with ISO 14443-4 must have bit 01h in its second byte"},
        {R"("type_b", "attrib": "")", "a card's \"attrib\" must be at least 1 byte in hexadecimal digits"},
        {R"("payment", "type": "c")", "a card's \"type\" must be \"a\" or \"b\""},
    };
    for (const auto& [members, why] : rows)
        EXPECT_EQ(refusal(R"({"card": )"s + members + "}"), why) << members;
}

TEST(ScriptedCard, AnswersByTheFirstRowThatFits)
{
    const auto card = scripted(R"({"command": "00b0 0000", "answer": "11 9000"},
        {"command": "00B0 ..", "answer": "22 9000"}, {"command": "00B0 *", "answer": "33 9000"},
        {"command": "00 ..00 .. 01", "answer": "44 9000"})");
    EXPECT_EQ(asked(*card, "00B00000"), "119000");
    EXPECT_EQ(asked(*card, "00B000"), "229000");
    EXPECT_EQ(asked(*card, "00B0FF"), "229000");
    EXPECT_EQ(asked(*card, "00B0"), "339000");
    EXPECT_EQ(asked(*card, "00B000000102"), "339000");
    EXPECT_EQ(asked(*card, "00B1"), "6D00");
    EXPECT_EQ(asked(*card, "00"), "6D00");
    EXPECT_EQ(asked(*card, ""), "6D00");
    EXPECT_EQ(asked(*card, "00C1007701"), "449000");
    EXPECT_EQ(asked(*card, "00C1007702"), "6D00");
    EXPECT_EQ(asked(*card, "00C100770100"), "6D00");
}

TEST(ScriptedCard, AnswersTheRestAsToldAndMayBeSilent)
{
    EXPECT_EQ(asked(*scripted("", R"(, "otherwise": "6E00")"), "00"), "6E00");
    const auto card = scripted(R"({"command": "*", "answer": "", "times": 1})", R"(, "otherwise": "6F00")");
    EXPECT_EQ(asked(*card, "00"), "silence");
    EXPECT_EQ(asked(*card, "00"), "6F00");
    EXPECT_EQ(asked(*scripted("", R"(, "otherwise": "")"), "00"), "silence");
}

TEST(ScriptedCard, UsesRowsUpAndSaysSoInItsFile)
{
    const auto card = scripted(R"({"command": "80*", "answer": "9001", "times": 2},
        {"command": "80*", "answer": "9002", "times": 1}, {"command": "80*", "answer": "6A83"})");
    EXPECT_EQ(asked(*card, "80"), "9001");
    card->power_up(); // what is used up stays so
    const auto again = card_of_file(card->file());
    for (const auto& each : {card, again}) {
        EXPECT_EQ(asked(*each, "80"), "9001");
        EXPECT_EQ(asked(*each, "80"), "9002");
        EXPECT_EQ(asked(*each, "80"), "6A83");
    }
    EXPECT_EQ(asked(*card_of_file(card->file()), "80"), "6A83");
}

TEST(ScriptedCard, LeadsFromStateToState)
{
    const auto card = scripted(R"({"command": "A4", "answer": "9000", "then": "selected"},
        {"command": "B0", "answer": "01 9000", "state": "selected", "then": "read"},
        {"command": "B0", "answer": "02 9000", "state": "read", "then": ""},
        {"command": "C0", "answer": "03 9000", "state": ""}, {"command": "B0", "answer": "6985"})");
    EXPECT_EQ(asked(*card, "B0"), "6985");
    EXPECT_EQ(asked(*card, "C0"), "039000");
    EXPECT_EQ(asked(*card, "A4"), "9000");
    EXPECT_EQ(asked(*card, "C0"), "6D00");
    EXPECT_EQ(asked(*card, "B0"), "019000");
    EXPECT_EQ(asked(*card, "B0"), "029000");
    EXPECT_EQ(asked(*card, "C0"), "039000");
    EXPECT_EQ(asked(*card, "A4"), "9000");
    card->power_up();
    EXPECT_EQ(asked(*card, "B0"), "6985");
}

TEST(ScriptedCard, TakesAndGivesLongCommands)
{
    const std::string much(1200, '7');
    const auto card = scripted(R"({"command": "00D6 )" + much + R"(", "answer": ")" + much + R"(9000"})");
    EXPECT_EQ(asked(*card, "00D6" + much), much + "9000");
    EXPECT_EQ(asked(*card, "00D6" + much + "77"), "6D00");
}

TEST(ScriptedCard, RefusesRowsThatCannotBe)
{
    const char* const rows[][2] = {
        {R"({"command": "0", "answer": "9000"})",
         "a card's \"command\" must be pairs of hexadecimal digits, or \"..\" for any byte"},
        {R"({"command": "0.", "answer": "9000"})",
         "a card's \"command\" must be pairs of hexadecimal digits, or \"..\" for any byte"},
        {R"({"command": "00 * 00", "answer": "9000"})", "a card's \"command\" must end with its \"*\""},
        {R"({"command": "00**", "answer": "9000"})", "a card's \"command\" must end with its \"*\""},
        {R"({"command": " ", "answer": "9000"})", "each of a card's \"answers\" must have a \"command\""},
        {R"({"answer": "9000"})", "each of a card's \"answers\" must have a \"command\""},
        {R"({"command": "00"})", "each of a card's \"answers\" must have a \"answer\""},
        {R"({"command": "00", "answer": "9"})", "a card's \"answer\" must be pairs of hexadecimal digits"},
        {R"({"command": "00", "answer": "9000", "time": 2})", "such a card has no \"time\""},
        {R"({"command": "00", "answer": "9000", "times": -1})",
         "a card's \"times\" must be a whole number up to 4294967295"},
    };
    for (const auto& [row, why] : rows)
        EXPECT_EQ(refusal(R"({"card": "type_b", "answers": [)"s + row + "]}"), why) << row;
}

TEST(ScriptedCard, IsWrittenWithAllItHas)
{
    const std::string type_a = R"({
    "card": "type_a",
    "name": "mine",
    "uid": "04112233445566",
    "atqa": "4403",
    "sak": "28",
    "ats": "067577810280",
    "answers": [
        {
            "command": "00a4 *",
            "answer": "9000",
            "times": 7,
            "state": "",
            "then": "on"
        }
    ],
    "otherwise": "6E00"
}
)";
    const std::string type_b = R"({
    "card": "type_b",
    "pupi": "A1A2A3A4",
    "application_data": "B1B2B3B4",
    "protocol_info": "C1018340",
    "attrib": "0155",
    "program": true
}
)";
    for (const std::string& text : {type_a, type_b})
        EXPECT_EQ(card_of_file(text)->file(), text);
}

TEST(AttachedCard, WaitsForItsProgram)
{
    const auto card = card_of_file(R"({"card": "type_b", "program": true})");
    auto* const program = dynamic_cast<attachable*>(card.get());
    ASSERT_NE(program, nullptr);
    EXPECT_EQ(program->waiting_command(), std::nullopt);
    EXPECT_FALSE(program->answer("\x90\x00"s));

    std::vector<std::string> answers;
    const auto note = [&](const card_answer& given) {
        answers.push_back(given.is == card_answer::form::bytes ? digits_of(given.bytes) : "silence");
        EXPECT_EQ(program->waiting_command(), std::nullopt); // and without the card's lock
    };
    std::string told;
    program->when_command([&] { told += digits_of(program->waiting_command().value_or("none")); });
    card->exchange(bytes_of("00A40400"), note);
    EXPECT_EQ(told, "00A40400");
    EXPECT_EQ(program->waiting_command(), bytes_of("00A40400"));
    EXPECT_TRUE(answers.empty());
    EXPECT_TRUE(program->answer("\x90\x00"s));
    EXPECT_EQ(answers, std::vector<std::string>{"9000"});
    EXPECT_FALSE(program->answer("\x90\x00"s));

    program->when_command({});
    card->exchange("1", note);
    card->power_up(); // what waits is dropped
    EXPECT_EQ(program->waiting_command(), std::nullopt);
    card->exchange("2", note);
    card->exchange("3", note); // as by another command
    EXPECT_EQ(program->waiting_command(), "3");
    EXPECT_TRUE(program->answer(""));
    EXPECT_EQ(answers, (std::vector<std::string>{"9000", "silence", "silence", "silence"}));
    EXPECT_EQ(told, "00A40400");
}

TEST(AttachedCard, MayBeAskedOneCommandFromTheAnswerOfAnother)
{
    const auto card = card_of_file(R"({"card": "type_a", "program": true})");
    auto& program = dynamic_cast<attachable&>(*card);
    std::string last;
    card->exchange("first", [&](const card_answer&) {
        card->exchange("second", [&](const card_answer& given) { last = given.bytes; });
    });
    EXPECT_TRUE(program.answer("1"));
    EXPECT_EQ(program.waiting_command(), "second");
    EXPECT_TRUE(program.answer("2"));
    EXPECT_EQ(last, "2");
}

TEST(AttachedCard, IsAnsweredFromAnotherThread)
{
    const auto card = card_of_file(R"({"card": "type_a", "program": true})");
    auto& program = dynamic_cast<attachable&>(*card);
    std::atomic<bool> over = false;
    std::thread other([&] {
        while (!over)
            if (const auto waiting = program.waiting_command())
                (void)program.answer(*waiting + "!");
            else
                std::this_thread::yield();
    });
    for (int i = 0; i < 500; i++) {
        std::atomic<int> answers = 0;
        std::string answer; // written before the count
        card->exchange(std::to_string(i), [&](const card_answer& given) {
            answer = given.bytes;
            ++answers;
        });
        while (answers == 0)
            std::this_thread::yield();
        ASSERT_EQ(answer, std::to_string(i) + "!");
        ASSERT_EQ(answers, 1);
    }
    over = true;
    other.join();
}

TEST(AttachedCard, HasNoScript)
{
    EXPECT_EQ(refusal(R"({"card": "type_a", "program": true, "answers": []})"), "such a card has no \"answers\"");
    EXPECT_EQ(refusal(R"({"card": "type_a", "program": false, "answers": []})"), "accepted");
    EXPECT_EQ(dynamic_cast<attachable*>(card_of_file(R"({"card": "type_a"})").get()), nullptr);
}

} // namespace
