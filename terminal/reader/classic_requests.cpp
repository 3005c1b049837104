/** Mifare Classic: two frames where the card first acknowledges the command. The cipher is not modelled. */
#include "terminal/reader/requests.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace kt::terminal {

namespace {

constexpr char key_a = 0x60;
constexpr char key_b = 0x61;
constexpr char read_command = 0x30;
constexpr char write_command = static_cast<char>(0xA0);
constexpr char transfer_command = static_cast<char>(0xB0);
constexpr char decrement_command = static_cast<char>(0xC0);
constexpr char increment_command = static_cast<char>(0xC1);
constexpr char restore_command = static_cast<char>(0xC2);
constexpr std::size_t block_size = 16;
constexpr std::size_t key_size = 6;
constexpr std::size_t value_size = 4;

std::uint32_t word_at(const std::string& bytes, std::size_t place)
{
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + place, sizeof word);
    return word;
}

/** A value command takes its operand without a word; only a refusal is heard. */
void change_value(const request_turn& turn, char command, const std::string& operand)
{
    talk(turn, {command, turn.call->parameter_byte()}, [turn, operand](const card_answer& first) {
        must_acknowledge(first, EIO);
        talk(turn, operand, [turn](const card_answer& second) {
            if (second.is != card_answer::form::silence)
                throw request_refused{second.is == card_answer::form::bits ? EIO : EBADMSG};
            turn.call->done();
        });
    });
}

} // namespace

void set_key(const request_turn& turn)
{
    const std::string key = turn.call->operand(key_size);
    change_state(turn, [&](reader_state& now) { now.key = key; });
    turn.call->done();
}

void authenticate(const request_turn& turn)
{
    const std::string operands = turn.call->operand(2 * sizeof(std::uint32_t));
    const std::uint32_t type = word_at(operands, 0);
    const std::uint32_t block = word_at(operands, sizeof type);
    constexpr std::uint32_t last_number = 0xFF;
    const std::string key = turn.on->with_state([](const reader_state& now) { return now.key; });
    if ((type != key_a && type != key_b) || block > last_number || key.empty())
        throw request_refused{EINVAL};
    talk(turn, std::string{static_cast<char>(type), static_cast<char>(block)} + key, [turn](const card_answer& answer) {
        if (answer.is == card_answer::form::silence) // how the card refuses a key
            throw request_refused{EACCES};
        must_acknowledge(answer, EACCES);
        turn.call->done();
    });
}

void read_block(const request_turn& turn)
{
    talk(turn, {read_command, turn.call->parameter_byte()},
         [turn](const card_answer& answer) { give(turn, bytes_of(answer, block_size, EIO)); });
}

void write_block(const request_turn& turn)
{
    const std::string block = turn.call->operand(block_size);
    talk(turn, {write_command, turn.call->parameter_byte()}, [turn, block](const card_answer& first) {
        must_acknowledge(first, EIO);
        talk(turn, block, [turn](const card_answer& second) {
            must_acknowledge(second, EIO);
            turn.call->done();
        });
    });
}

void increment(const request_turn& turn)
{
    change_value(turn, increment_command, turn.call->operand(value_size));
}

void decrement(const request_turn& turn)
{
    change_value(turn, decrement_command, turn.call->operand(value_size));
}

void restore_value(const request_turn& turn)
{
    change_value(turn, restore_command, std::string(value_size, '\0')); // it has one too, without a meaning
}

void transfer_value(const request_turn& turn)
{
    talk(turn, {transfer_command, turn.call->parameter_byte()}, [turn](const card_answer& answer) {
        must_acknowledge(answer, EIO);
        turn.call->done();
    });
}

} // namespace kt::terminal
