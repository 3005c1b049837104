/** Cards with ISO 14443-4: what they say of themselves, and their answers by a script or through a program. */
#include "card_frames.h"
#include "terminal/cards/attachable.h"
#include "terminal/reader/field.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using namespace kt::terminal;
using namespace kt::tests;
using namespace std::string_literals;

card_ptr scripted(const std::string& answers, const std::string& more = "")
{
    return selected_card(R"({"card": "type_a", "answers": [)" + answers + "]" + more + "}");
}

TEST(CardIdentity, OfTypeAIsAsTheFileSays)
{
    const auto card = card_of_file(R"({"card": "type_a", "uid": "04112233445566", "atqa": "4403", "sak": "28",
        "ats": "06 75 77 81 02 80"})");
    EXPECT_EQ(card->identity().family, card_family::type_a);
    EXPECT_EQ(digits_of_bytes(card->identity().uid), "04112233445566");
    EXPECT_EQ(card->identity().atqa, 0x0344); // the lower byte comes first on the air
    EXPECT_EQ(card->identity().sak, 0x28);
    EXPECT_EQ(digits_of_bytes(card->identity().ats), "067577810280");
    EXPECT_EQ(card->identity().atqb, "");
}

TEST(CardIdentity, OfTypeAHasTheAtqaOfItsUidAndOrdinaryRest)
{
    const auto single = card_of_file(R"({"card": "type_a"})");
    EXPECT_EQ(digits_of_bytes(single->identity().uid), "24144403");
    EXPECT_EQ(single->identity().atqa, 0x0004);
    EXPECT_EQ(single->identity().sak, 0x20);
    EXPECT_EQ(digits_of_bytes(single->identity().ats), "0578807002");
    EXPECT_EQ(card_of_file(R"({"card": "type_a", "uid": "04112233445566"})")->identity().atqa, 0x0044);
    EXPECT_EQ(card_of_file(R"({"card": "type_a", "uid": "04112233445566778899"})")->identity().atqa, 0x0084);
}

TEST(CardIdentity, OfTypeBIsItsAtqb)
{
    const auto card = card_of_file(R"({"card": "type_b", "pupi": "A1A2A3A4", "application_data": "B1B2B3B4",
        "protocol_info": "C10183", "attrib": "0155"})");
    EXPECT_EQ(card->identity().family, card_family::type_b);
    EXPECT_EQ(digits_of_bytes(card->identity().uid), "A1A2A3A4");
    EXPECT_EQ(digits_of_bytes(card->identity().atqb), "50A1A2A3A4B1B2B3B4C10183");
    EXPECT_EQ(digits_of_bytes(card->identity().attrib), "0155");
    EXPECT_EQ(card->identity().ats, "");
    const auto ordinary = card_of_file(R"({"card": "type_b"})");
    EXPECT_EQ(digits_of_bytes(ordinary->identity().atqb), "500814440300000000008171");
    EXPECT_EQ(digits_of_bytes(ordinary->identity().attrib), "00");
    const auto longer = card_of_file(R"({"card": "type_b", "protocol_info": "00817140"})");
    EXPECT_EQ(digits_of_bytes(longer->identity().atqb), "50081444030000000000817140");
}

TEST(CardIdentity, ThatNoSuchCardHasIsRefused)
{
    const char* const rows[][2] = {
        {R"("type_a", "uid": "0102030405")", "a card's \"uid\" must be 4, 7 or 10 bytes in hexadecimal digits"},
        {R"("type_a", "uid": "88020304")", "a \"uid\" of 4 bytes must not begin with 88, which announces a longer one"},
        {R"("type_a", "uid": "08020304")", "accepted"},
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
        EXPECT_EQ(refusal_of(R"({"card": )"s + members + "}"), why) << members;
}

TEST(ScriptedCard, AnswersByTheFirstRowThatFits)
{
    const auto card = scripted(R"({"command": "00b0 0000", "answer": "11 9000"},
        {"command": "00B0 ..", "answer": "22 9000"}, {"command": "00B0 *", "answer": "33 9000"},
        {"command": "00 ..00 .. 01", "answer": "44 9000"})");
    EXPECT_EQ(answer_of(*card, "00B00000"), "119000");
    EXPECT_EQ(answer_of(*card, "00B000"), "229000");
    EXPECT_EQ(answer_of(*card, "00B0FF"), "229000");
    EXPECT_EQ(answer_of(*card, "00B0"), "339000");
    EXPECT_EQ(answer_of(*card, "00B000000102"), "339000");
    EXPECT_EQ(answer_of(*card, "00B1"), "6D00");
    EXPECT_EQ(answer_of(*card, "00"), "6D00");
    EXPECT_EQ(answer_of(*card, ""), "6D00");
    EXPECT_EQ(answer_of(*card, "00C1007701"), "449000");
    EXPECT_EQ(answer_of(*card, "00C1007702"), "6D00");
    EXPECT_EQ(answer_of(*card, "00C100770100"), "6D00");
}

TEST(ScriptedCard, AnswersTheRestAsToldAndMayBeSilent)
{
    EXPECT_EQ(answer_of(*scripted("", R"(, "otherwise": "6E00")"), "00"), "6E00");
    const auto card = scripted(R"({"command": "*", "answer": "", "times": 1})", R"(, "otherwise": "6F00")");
    EXPECT_EQ(answer_of(*card, "00"), "silence");
    EXPECT_EQ(answer_of(*card, "00"), "6F00");
    EXPECT_EQ(answer_of(*scripted("", R"(, "otherwise": "")"), "00"), "silence");
}

TEST(ScriptedCard, UsesRowsUpAndSaysSoInItsFile)
{
    const auto card = scripted(R"({"command": "80*", "answer": "9001", "times": 2},
        {"command": "80*", "answer": "9002", "times": 1}, {"command": "80*", "answer": "6A83"})");
    EXPECT_EQ(answer_of(*card, "80"), "9001");
    card->power_up(); // what is used up stays so
    const auto again = selected_card(card->file());
    for (const auto& each : {card, again}) {
        EXPECT_EQ(answer_of(*each, "80"), "9001");
        EXPECT_EQ(answer_of(*each, "80"), "9002");
        EXPECT_EQ(answer_of(*each, "80"), "6A83");
    }
    EXPECT_EQ(answer_of(*selected_card(card->file()), "80"), "6A83");
}

TEST(ScriptedCard, LeadsFromStateToState)
{
    const auto card = scripted(R"({"command": "A4", "answer": "9000", "then": "selected"},
        {"command": "B0", "answer": "01 9000", "state": "selected", "then": "read"},
        {"command": "B0", "answer": "02 9000", "state": "read", "then": ""},
        {"command": "C0", "answer": "03 9000", "state": ""}, {"command": "B0", "answer": "6985"})");
    EXPECT_EQ(answer_of(*card, "B0"), "6985");
    EXPECT_EQ(answer_of(*card, "C0"), "039000");
    EXPECT_EQ(answer_of(*card, "A4"), "9000");
    EXPECT_EQ(answer_of(*card, "C0"), "6D00");
    EXPECT_EQ(answer_of(*card, "B0"), "019000");
    EXPECT_EQ(answer_of(*card, "B0"), "029000");
    EXPECT_EQ(answer_of(*card, "C0"), "039000");
    EXPECT_EQ(answer_of(*card, "A4"), "9000");
    card->power_up();
    EXPECT_EQ(answer_of(*card, "B0"), "6985");
    expect_dialogue(*card, {{"tear A4"}, {"A4", "silence"}, {"select"}, {"B0", "6985"}});
}

TEST(ScriptedCard, TakesAndGivesLongCommands)
{
    const std::string much(1200, '7');
    const auto card = scripted(R"({"command": "00D6 )" + much + R"(", "answer": ")" + much + R"(9000"})");
    EXPECT_EQ(answer_of(*card, "00D6" + much), much + "9000");
    EXPECT_EQ(answer_of(*card, "00D6" + much + "77"), "6D00");
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
        EXPECT_EQ(refusal_of(R"({"card": "type_b", "answers": [)"s + row + "]}"), why) << row;
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

/** A selected card with its program's side, and what it has answered so far. */
struct attached {
    card_ptr card = selected_card(R"({"card": "type_b", "program": true})");
    attachable& program = dynamic_cast<attachable&>(*card);
    std::string answers{};

    /** The command that waits, "none" if there is none. */
    std::string waiting() const
    {
        const auto command = program.waiting_command();
        return command ? digits_of_bytes(command->bytes) : "none";
    }
    std::uint64_t number() const
    {
        const auto command = program.waiting_command();
        return command ? command->number : 0;
    }
    void ask(const std::string& frame)
    {
        card->exchange(bytes_of_digits(frame),
                       [this, frame](const card_answer& given) { answers += frame + ":" + text_of(given) + " "; });
    }
};

TEST(AttachedCard, WaitsForItsProgram)
{
    attached one;
    EXPECT_EQ(one.waiting(), "none");
    EXPECT_FALSE(one.program.answer(0, "\x90\x00"s));

    std::string told;
    one.program.when_command([&] { told += one.waiting() + " "; });
    one.ask("00A40400");
    EXPECT_EQ(told, "00A40400 ");
    EXPECT_EQ(one.answers, "");
    const std::uint64_t number = one.number();
    EXPECT_TRUE(one.program.answer(number, "\x90\x00"s));
    EXPECT_EQ(one.answers, "00A40400:9000 ");
    EXPECT_EQ(one.waiting(), "none");
    EXPECT_FALSE(one.program.answer(number, "\x90\x00"s));

    one.program.when_command({});
    one.ask("01");
    EXPECT_TRUE(one.program.answer(one.number(), ""));
    EXPECT_EQ(one.answers, "00A40400:9000 01:silence ");
    EXPECT_EQ(told, "00A40400 ");
}

TEST(AttachedCard, AnAnswerThatComesLateGoesToNoOtherCommand)
{
    attached one;
    attached other;
    one.ask("01");
    const std::uint64_t first = one.number();
    one.ask("02");
    other.ask("03");
    EXPECT_NE(one.number(), first);
    EXPECT_NE(one.number(), other.number());
    EXPECT_FALSE(one.program.answer(first, "\x90\x00"s));
    EXPECT_FALSE(one.program.answer(other.number(), "\x90\x00"s));
    EXPECT_EQ(one.answers, "01:silence ");
    EXPECT_TRUE(one.program.answer(one.number(), "\x90\x00"s));
    EXPECT_EQ(one.answers, "01:silence 02:9000 ");
    EXPECT_EQ(other.answers, "");
}

TEST(AttachedCard, ForgetsACommandThatNobodyWaitsFor)
{
    const struct {
        const char* what;
        void (*act)(card&);
        bool has_power;
    } rows[] = {{"selected", [](card& on) { on.power_up(); }, true},
                {"torn away", [](card& on) { on.lose_power_during("x"); }, false},
                {"given up", [](card& on) { on.give_up(); }, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        attached one;
        one.ask("01");
        const std::uint64_t number = one.number();
        row.act(*one.card);
        EXPECT_EQ(one.waiting(), "none");
        EXPECT_FALSE(one.program.answer(number, "\x90\x00"s));
        EXPECT_EQ(one.answers, "01:silence ");
        one.ask("02");
        EXPECT_EQ(one.waiting(), row.has_power ? "02" : "none");
    }
    attached idle;
    idle.card->give_up();
    EXPECT_EQ(idle.answers, "");
}

TEST(AttachedCard, MayBeAskedOneCommandFromTheAnswerOfAnother)
{
    attached one;
    one.card->exchange("x", [&](const card_answer& given) {
        EXPECT_EQ(text_of(given), "01");
        one.ask("02");
    });
    EXPECT_TRUE(one.program.answer(one.number(), "\x01"));
    EXPECT_EQ(one.waiting(), "02");
    EXPECT_TRUE(one.program.answer(one.number(), "\x02"));
    EXPECT_EQ(one.answers, "02:02 ");
}

TEST(AttachedCard, LosesNoReplyWhenTheOneThatIsDroppedAsksAgain)
{
    attached one;
    one.card->exchange("\x01", [&](const card_answer&) { one.ask("02"); });
    one.ask("03"); // drops 01, and what that asks takes the place of 03
    EXPECT_EQ(one.waiting(), "02");
    EXPECT_EQ(one.answers, "03:silence ");
    one.card->give_up();
    EXPECT_EQ(one.answers, "03:silence 02:silence ");
}

constexpr std::chrono::seconds long_time{10};

TEST(AttachedCard, IsAnsweredFromAnotherThread)
{
    attached one;
    const std::jthread other([&](const std::stop_token& over) {
        while (!over.stop_requested())
            if (const auto waiting = one.program.waiting_command())
                (void)one.program.answer(waiting->number, waiting->bytes + "!");
            else
                std::this_thread::yield();
    });
    for (int i = 0; i < 500; i++) {
        const auto answered = std::make_shared<std::promise<std::string>>();
        one.card->exchange(std::to_string(i),
                           [answered](const card_answer& given) { answered->set_value(given.bytes); });
        auto answer = answered->get_future();
        ASSERT_EQ(answer.wait_for(long_time), std::future_status::ready);
        ASSERT_EQ(answer.get(), std::to_string(i) + "!");
    }
}

TEST(AttachedCard, AnswersEachCommandOnceWhoeverIsFirst)
{
    attached one;
    std::atomic<int> answers = 0;
    std::atomic<int> answered = 0;
    constexpr int asked = 2000;
    {
        const std::jthread other([&](const std::stop_token& over) {
            while (!over.stop_requested())
                if (const auto waiting = one.program.waiting_command())
                    answered += one.program.answer(waiting->number, waiting->bytes) ? 1 : 0;
        });
        for (int i = 0; i < asked; i++) // each drops the one before, unless the program was faster
            one.card->exchange("x", [&](const card_answer&) { ++answers; });
        one.card->give_up();
    }
    EXPECT_EQ(answers, asked);
    EXPECT_LE(answered, asked);
}

/** An attached card in a reader's field. */
struct attached_in_field {
    attached one;
    std::shared_ptr<field> near = std::make_shared<field>();
    contact_ptr there = tapped();
    std::string came{};

    contact_ptr tapped()
    {
        near->tap("far", one.card);
        return *near->only();
    }
    std::uint64_t ask(const std::string& frame)
    {
        return near->exchange(there, bytes_of_digits(frame), [this, frame](const field::outcome& outcome) {
            came += frame + ":" + (outcome.error == ETIMEDOUT ? "gone" : text_of(outcome.answer)) + " ";
        });
    }
};

TEST(AttachedCardInAField, MayBeAskedFromTheAnswerToACommandThatWasDropped)
{
    attached_in_field on;
    const auto asks_again = [&](const std::string& frame) {
        return [&on, frame](const field::outcome& outcome) {
            EXPECT_EQ(text_of(outcome.answer), "silence");
            (void)on.ask(frame);
        };
    };
    on.near->exchange(on.there, "\x01", asks_again("02"));
    on.there->select(); // under the card's lock it drops what waits
    EXPECT_EQ(on.one.waiting(), "02");
    on.near->exchange(on.there, "\x03", asks_again("04"));
    EXPECT_EQ(on.came, "02:silence ");
    on.there->select();
    EXPECT_EQ(on.one.waiting(), "04");
}

TEST(AttachedCardInAField, ForgetsWhatWasGivenUpAndNothingElse)
{
    attached_in_field on;
    on.near->give_up(on.ask("01"));
    EXPECT_EQ(on.one.waiting(), "none");
    const std::uint64_t dropped = on.ask("02");
    (void)on.ask("03");
    on.near->give_up(dropped);
    EXPECT_EQ(on.one.waiting(), "03");
    EXPECT_EQ(on.came, "02:silence "); // nobody hears of what was given up
    on.near->remove_all();
    EXPECT_EQ(on.one.waiting(), "none");
    EXPECT_EQ(on.came, "02:silence 03:gone ");

    attached_in_field slow; // so that the silence of the one that is dropped is still to come
    slow.near->change([&](field_settings& air) { air.delay = long_time; });
    const std::uint64_t first = slow.ask("01");
    (void)slow.ask("02");
    slow.near->give_up(first);
    EXPECT_EQ(slow.one.waiting(), "02");
}

TEST(AttachedCardInAField, IsGivenUpWhileItsProgramAnswers)
{
    attached_in_field on;
    std::atomic<int> came = 0;
    {
        const std::jthread program([&](const std::stop_token& over) {
            while (!over.stop_requested())
                if (const auto waiting = on.one.program.waiting_command())
                    (void)on.one.program.answer(waiting->number, "x");
        });
        for (int i = 0; i < 1000; i++)
            on.near->give_up(on.near->exchange(on.there, "x", [&](const field::outcome& outcome) {
                EXPECT_EQ(outcome.answer.bytes, "x");
                ++came;
            }));
    }
    EXPECT_EQ(on.one.waiting(), "none");
    EXPECT_LE(came, 1000);
}

TEST(AttachedCard, HasNoScript)
{
    EXPECT_EQ(refusal_of(R"({"card": "type_a", "program": true, "answers": []})"), "such a card has no \"answers\"");
    EXPECT_EQ(refusal_of(R"({"card": "type_a", "program": false, "answers": []})"), "accepted");
    EXPECT_EQ(dynamic_cast<attachable*>(card_of_file(R"({"card": "type_a"})").get()), nullptr);
}

} // namespace
