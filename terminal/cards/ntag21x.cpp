/** The kinds of NTAG21x, their counter and their mirror. */
#include "terminal/cards/ntag21x.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <stdexcept>

namespace kt::terminal {

struct ntag21x_kind {
    std::string_view name;
    unsigned last_user_page; // dynamic locks, configuration, password and its acknowledgement follow
    unsigned pages_each_lock;
    std::uint32_t capability_container;
    std::uint32_t first_pages[2]; // from page 4: an empty NDEF message
    std::string_view version;
};

namespace {

using namespace std::string_view_literals;

constexpr ntag21x_kind kinds[] = {
    {"ntag213", 39, 2, 0x001210E1, {0x0CA00301, 0xFE000334}, "\x00\x04\x04\x02\x01\x00\x0F\x03"sv},
    {"ntag215", 129, 16, 0x003E10E1, {0x00FE0003, 0}, "\x00\x04\x04\x02\x01\x00\x11\x03"sv},
    {"ntag216", 225, 16, 0x006D10E1, {0x00FE0003, 0}, "\x00\x04\x04\x02\x01\x00\x13\x03"sv},
};

constexpr unsigned read_counter = 0x39;
constexpr unsigned counter_number = 2;
constexpr std::uint32_t counter_end = 0xFFFFFF;

// The byte ACCESS, beside what password_card knows of it.
constexpr unsigned counter_enabled = 0x10;
constexpr unsigned counter_protected = 0x08;

// The byte MIRROR of the first configuration page.
constexpr unsigned mirrors_uid = 0x40;
constexpr unsigned mirrors_counter = 0x80;

const ntag21x_kind& kind_of(const card_file& file)
{
    const std::string name = file.text("card", "");
    const auto* const found =
        std::find_if(std::begin(kinds), std::end(kinds), [&](const ntag21x_kind& each) { return each.name == name; });
    if (found == std::end(kinds))
        throw std::invalid_argument("there is no NTAG21x named \"" + name + "\"");
    return *found;
}

std::string digits(std::uint32_t value, int count)
{
    char text[9];
    (void)std::snprintf(text, sizeof text, "%0*X", count, value);
    return text;
}

} // namespace

ntag21x::ntag21x(const card_file& file) : ntag21x(file, kind_of(file)) {}

ntag21x::ntag21x(const card_file& file, const ntag21x_kind& kind)
    : password_card(card_family::ntag21x, file, kind.last_user_page + 6, kind.version),
      last_user_page_(kind.last_user_page)
{
    memory().put(page_memory::one_time_page, bytes_of_word(kind.capability_container));
    memory().put(4, bytes_of_word(kind.first_pages[0]));
    memory().put(5, bytes_of_word(kind.first_pages[1]));
    memory().lock_by_groups(last_user_page_ + 1, kind.pages_each_lock, last_user_page_);
    memory().put(first_configuration_page(), "\x04\x00\x00\xFF"sv); // strong modulation, no page protected
    fill(file);

    counter_ = 0;
    for (const auto& [number, value] : file.numbers("counters", counter_number + 1, counter_end)) {
        if (number != counter_number)
            throw std::invalid_argument("an NTAG21x has no counter but 2");
        counter_ = value;
    }
}

bool ntag21x::counter_readable() const
{
    return (access() & counter_enabled) != 0 && ((access() & counter_protected) == 0 || authenticated());
}

card_answer ntag21x::own_command(std::string_view frame)
{
    if (frame.size() == 2 && byte_at(frame, 0) == read_counter)
        return byte_at(frame, 1) == counter_number && counter_readable()
                   ? card_answer::of(bytes_of_word(counter_, 3))
                   : card_answer::refuse(page_card_refusal::invalid);
    return password_card::own_command(frame);
}

void ntag21x::reading()
{
    if (!counted_ && (access() & counter_enabled) != 0 && counter_ < counter_end)
        ++counter_;
    counted_ = true;
}

/** What appears in place of the memory's own bytes: the UID, the counter, or both with an x between. */
std::string ntag21x::mirrored() const
{
    const unsigned mirror = memory().byte(first_configuration_page(), 0);
    std::string text;
    if ((mirror & mirrors_uid) != 0)
        for (const char c : identity().uid)
            text += digits(static_cast<unsigned char>(c), 2);
    if ((mirror & mirrors_counter) != 0 && counter_readable())
        text += (text.empty() ? "" : "x") + digits(counter_, 6);
    return text;
}

std::string ntag21x::page_as_read(unsigned page) const
{
    std::string bytes = password_card::page_as_read(page);
    const unsigned mirror_page = memory().byte(first_configuration_page(), 2);
    const std::size_t start =
        mirror_page * page_memory::page_size + (memory().byte(first_configuration_page(), 0) >> 4U & 3U);
    const std::string text = mirrored();
    if (mirror_page < 4 || start + text.size() > (last_user_page_ + 1) * page_memory::page_size)
        return bytes; // none is wanted, or it would not fit
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        const std::size_t place = page * page_memory::page_size + at;
        if (place >= start && place < start + text.size())
            bytes[at] = text[place - start];
    }
    return bytes;
}

void ntag21x::powered()
{
    password_card::powered();
    counted_ = false;
}

void ntag21x::describe(card_file& into) const
{
    password_card::describe(into);
    into.put_numbers("counters", {{counter_number, counter_}});
}

} // namespace kt::terminal
