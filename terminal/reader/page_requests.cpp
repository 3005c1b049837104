/** NTAG21x, Ultralight EV1 and Ultralight C: the commands of their data sheets. */
#include "terminal/reader/requests.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string_view>

namespace kt::terminal {

namespace {

constexpr char authenticate_command = 0x1A;
constexpr char password_command = 0x1B;
constexpr char read_command = 0x30;
constexpr char read_counter_command = 0x39;
constexpr char fast_read_command = 0x3A;
constexpr char signature_command = 0x3C;
constexpr char tearing_command = 0x3E;
constexpr char virtual_card_command = 0x4B;
constexpr char version_command = 0x60;
constexpr char compatibility_command = static_cast<char>(0xA0);
constexpr char write_command = static_cast<char>(0xA2);
constexpr char increment_command = static_cast<char>(0xA5);
constexpr char authentication_goes_on = static_cast<char>(0xAF);

constexpr std::size_t page_size = 4;
constexpr std::size_t read_size = 4 * page_size;
constexpr std::size_t cipher_block = 8;

void give_answer(const request_turn& turn, const std::string& frame, std::size_t size, int refused = EIO)
{
    talk(turn, frame,
         [turn, size, refused](const card_answer& answer) { give(turn, bytes_of(answer, size, refused)); });
}

void acknowledged(const request_turn& turn, const std::string& frame)
{
    talk(turn, frame, [turn](const card_answer& answer) {
        must_acknowledge(answer, EIO);
        turn.call->done();
    });
}

constexpr std::size_t version_size = 8;

/** What a card of this GET_VERSION has; 0: it is none of those that are known. */
unsigned pages_of(const std::string& version)
{
    if (version.size() != version_size)
        return 0;
    struct storage {
        unsigned char type, size;
        unsigned pages;
    };
    constexpr storage known[] = {
        {0x04, 0x0F, 45}, {0x04, 0x11, 135}, {0x04, 0x13, 231}, // NTAG213, 215, 216
        {0x03, 0x0B, 20}, {0x03, 0x0E, 41},                     // Ultralight EV1
    };
    constexpr std::size_t type_at = 2;
    constexpr std::size_t size_at = 6;
    for (const storage& each : known)
        if (static_cast<unsigned char>(version[type_at]) == each.type &&
            static_cast<unsigned char>(version[size_at]) == each.size)
            return each.pages;
    return 0;
}

} // namespace

unsigned learn_pages(contact& card)
{
    const auto answer = card.ask(std::string_view(&version_command, 1));
    return answer ? pages_of(answer->bytes) : 0;
}

void read_pages(const request_turn& turn)
{
    give_answer(turn, {read_command, turn.call->parameter_byte()}, read_size);
}

/** The program's record tells no more than the sum of the first and the last page. */
void fast_read(const request_turn& turn)
{
    constexpr unsigned half = 16;
    constexpr std::uint32_t last_in_record = reader_record::most / page_size - 1;
    const std::uint32_t wanted = std::min(turn.call->record.parameter >> half, last_in_record);
    const unsigned pages = turn.on->with_state([](const reader_state& now) { return now.pages; });
    const std::uint32_t last = pages == 0 ? wanted : std::min(wanted, pages - 1);
    give_answer(turn, {fast_read_command, 0, static_cast<char>(last)}, (last + 1) * page_size);
}

void write_page(const request_turn& turn)
{
    acknowledged(turn, std::string{write_command, turn.call->parameter_byte()} + turn.call->operand(page_size));
}

void compatibility_write(const request_turn& turn)
{
    const std::string data = turn.call->operand(read_size);
    talk(turn, {compatibility_command, turn.call->parameter_byte()}, [turn, data](const card_answer& answer) {
        must_acknowledge(answer, EIO);
        acknowledged(turn, data);
    });
}

void read_counter(const request_turn& turn)
{
    constexpr std::size_t counter_size = 3;
    give_answer(turn, {read_counter_command, turn.call->parameter_byte()}, counter_size);
}

void increment_counter(const request_turn& turn)
{
    constexpr std::size_t operand_size = 4;
    acknowledged(turn, std::string{increment_command, turn.call->parameter_byte()} + turn.call->operand(operand_size));
}

void authenticate_password(const request_turn& turn)
{
    constexpr std::size_t password_size = 4;
    constexpr std::size_t pack_size = 2;
    give_answer(turn, password_command + turn.call->operand(password_size), pack_size, EACCES);
}

void read_signature(const request_turn& turn)
{
    constexpr std::size_t signature_size = 32;
    give_answer(turn, {signature_command, 0}, signature_size);
}

void get_version(const request_turn& turn)
{
    give_answer(turn, {version_command}, version_size);
}

void check_tearing(const request_turn& turn)
{
    give_answer(turn, {tearing_command, turn.call->parameter_byte()}, 1);
}

/** The length stands in the parameter's upper half; the transmit length is another request's. */
void select_virtual_card(const request_turn& turn)
{
    constexpr std::uint32_t operands = 20; // an installation identifier of 16, and the reader's capabilities
    constexpr unsigned half = 16;
    reader_record& record = turn.call->record;
    if (record.parameter >> half != operands)
        throw request_refused{EINVAL};
    give_answer(turn, virtual_card_command + std::string(reinterpret_cast<const char*>(record.transmit), operands), 1);
}

void authenticate_first(const request_turn& turn)
{
    talk(turn, {authenticate_command, 0}, [turn](const card_answer& answer) {
        const std::string& bytes = bytes_of(answer, 1 + cipher_block, EACCES);
        if (bytes[0] != authentication_goes_on)
            throw request_refused{EBADMSG};
        give(turn, bytes.substr(1));
    });
}

void authenticate_second(const request_turn& turn)
{
    talk(turn, authentication_goes_on + turn.call->operand(2 * cipher_block), [turn](const card_answer& answer) {
        const std::string& bytes = bytes_of(answer, 1 + cipher_block, EACCES);
        if (bytes[0] != 0)
            throw request_refused{EBADMSG};
        give(turn, bytes.substr(1));
    });
}

} // namespace kt::terminal
