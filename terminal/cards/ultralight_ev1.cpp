/** The counters of Ultralight EV1, and what tears them. */
#include "terminal/cards/ultralight_ev1.h"

#include <stdexcept>

namespace kt::terminal {

namespace {

using namespace std::string_view_literals;

enum command : unsigned {
    read_counter = 0x39,
    check_tearing = 0x3E,
    virtual_card_select = 0x4B,
    increment_counter = 0xA5
};

constexpr unsigned small = 20;
constexpr unsigned large = 41;
constexpr std::uint32_t counter_end = 0xFFFFFF;
constexpr std::size_t increment_frame = 6; // three bytes to add, and one that the card ignores
constexpr std::size_t select_frame = 21;   // 16 of the installation, 4 of the reader's capabilities

constexpr char whole = '\xBD'; // any other value tells of a tear
constexpr char broken = '\x00';

unsigned pages_of(const card_file& file)
{
    const unsigned pages = file.number("pages", small, large);
    if (pages != small && pages != large)
        throw std::invalid_argument("an Ultralight EV1 has 20 or 41 \"pages\"");
    return pages;
}

} // namespace

ultralight_ev1::ultralight_ev1(const card_file& file) : ultralight_ev1(file, pages_of(file)) {}

ultralight_ev1::ultralight_ev1(const card_file& file, unsigned pages)
    : password_card(card_family::ultralight_ev1, file, pages,
                    pages == small ? "\x00\x04\x03\x01\x01\x00\x0B\x03"sv : "\x00\x04\x03\x01\x01\x00\x0E\x03"sv)
{
    if (pages == large)
        memory().lock_by_groups(36, 2, 35);
    memory().put(first_configuration_page(), "\x00\x00\x00\xFF"sv);     // no page protected
    memory().put(first_configuration_page() + 1, "\x00\x05\x00\x00"sv); // VCTID
    fill(file);
    for (const auto& [number, value] : file.numbers("counters", counter_count, counter_end))
        counters_[number].value = value;
    for (const auto& [number, value] : file.numbers("torn", counter_count, 1))
        counters_[number].torn = value != 0;
}

card_answer ultralight_ev1::own_command(std::string_view frame)
{
    if (frame.size() < 2)
        return password_card::own_command(frame);
    const unsigned code = byte_at(frame, 0);
    if (code == virtual_card_select && frame.size() == select_frame)
        return card_answer::of(memory().bytes(first_configuration_page() + 1).substr(1, 1));
    if (byte_at(frame, 1) < counter_count) {
        counter& each = counters_[byte_at(frame, 1)];
        if (code == read_counter && frame.size() == 2)
            return card_answer::of(bytes_of_word(each.value, 3));
        if (code == check_tearing && frame.size() == 2)
            return card_answer::of({each.torn ? broken : whole});
        if (code == increment_counter && frame.size() == increment_frame)
            return increment(each, word_of(frame.substr(2, 3)));
    }
    return password_card::own_command(frame);
}

bool ultralight_ev1::fits(const counter& into, std::uint32_t by)
{
    return by <= counter_end - into.value;
}

card_answer ultralight_ev1::increment(counter& each, std::uint32_t by)
{
    if (!fits(each, by))
        return card_answer::refuse(page_card_refusal::overflow);
    each.value += by;
    each.torn = false;
    return card_answer::acknowledge();
}

/** An increment that would have been refused has begun nothing that could tear. */
void ultralight_ev1::torn_command(std::string_view frame)
{
    if (frame.size() != increment_frame || byte_at(frame, 0) != increment_counter || byte_at(frame, 1) >= counter_count)
        return;
    counter& each = counters_[byte_at(frame, 1)];
    if (fits(each, word_of(frame.substr(2, 3))))
        each.torn = true;
}

void ultralight_ev1::describe(card_file& into) const
{
    into.put_number("pages", memory().count());
    password_card::describe(into);
    std::map<std::uint32_t, std::uint32_t> values;
    std::map<std::uint32_t, std::uint32_t> torn;
    for (unsigned number = 0; number < counter_count; ++number) {
        values[number] = counters_[number].value;
        if (counters_[number].torn)
            torn[number] = 1;
    }
    into.put_numbers("counters", values);
    if (!torn.empty())
        into.put_numbers("torn", torn);
}

} // namespace kt::terminal
