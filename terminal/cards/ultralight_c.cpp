/** The pages of Ultralight C, and its authentication. */
#include "terminal/cards/ultralight_c.h"

#include <algorithm>
#include <cerrno>
#include <sys/random.h>
#include <utility>

namespace kt::terminal {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view ask_frame = "\x1A\x00"sv;
constexpr unsigned authenticate_next = 0xAF;

constexpr char more_follows = '\xAF';
constexpr char complete = '\x00';

constexpr unsigned page_count = 48;
constexpr unsigned lock_page = 40;
constexpr unsigned counter_page = 41;
constexpr unsigned auth0_page = 42;
constexpr unsigned auth1_page = 43;
constexpr unsigned key_page = 44;
constexpr unsigned key_pages = 4;
constexpr std::uint32_t counter_end = 0xFFFF;
constexpr std::uint32_t largest_increment = 15;

// Locks of groups of four pages, then of the counter, of AUTH0, of AUTH1 and of the key.
constexpr page_lock locks[] = {
    {lock_page, 1, 16, 19, 0},
    {lock_page, 2, 20, 23, 0},
    {lock_page, 3, 24, 27, 0},
    {lock_page, 5, 28, 31, 4},
    {lock_page, 6, 32, 35, 4},
    {lock_page, 7, 36, 39, 4},
    {lock_page, 12, counter_page, counter_page, 8},
    {lock_page, 13, auth0_page, auth0_page, 9},
    {lock_page, 14, auth1_page, auth1_page, 10},
    {lock_page, 15, key_page, key_page + key_pages - 1, 11},
};

constexpr std::string_view factory_key = "IEMKAERB!NACUOYF";

/** Each half of the key stands in its two pages with its last byte first; this is its own inverse. */
std::string halves_reversed(std::string bytes)
{
    const auto middle = bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2);
    std::reverse(bytes.begin(), middle);
    std::reverse(middle, bytes.end());
    return bytes;
}

std::string rotated(std::string bytes)
{
    std::rotate(bytes.begin(), bytes.begin() + 1, bytes.end());
    return bytes;
}

/** Nothing: the kernel gives none. */
std::optional<std::string> random_bytes(std::size_t count)
{
    std::string bytes(count, '\0');
    ssize_t given = 0;
    do
        given = getrandom(bytes.data(), count, 0); // whole up to 256 bytes
    while (given < 0 && errno == EINTR);
    return given == static_cast<ssize_t>(count) ? std::optional(std::move(bytes)) : std::nullopt;
}

} // namespace

ultralight_c::ultralight_c(const card_file& file) : page_card(card_family::ultralight_c, file, page_count, key_page)
{
    std::uint32_t lock_bits = 0;
    for (const page_lock& each : locks) {
        memory().lock_by(each);
        lock_bits |= 1U << each.bit | 1U << each.frozen_by;
    }
    memory().one_way(lock_page, lock_bits);
    memory().settable(counter_page, counter_end);
    memory().put(4, "\x02\x00\x00\x10"sv); // as delivered; what these three say is the manufacturer's
    memory().put(5, "\x00\x06\x01\x10"sv);
    memory().put(6, "\x11\xFF\x00\x00"sv);
    memory().put(auth0_page, "\x30\x00\x00\x00"sv); // no page protected
    fill(file);
    put_key(file.bytes_like("key", std::string(factory_key)));
    if (file.has("rnd_b"))
        rnd_b_ = file.bytes_like("rnd_b", std::string(block, '\0'));
}

std::string ultralight_c::key() const
{
    std::string stored;
    for (unsigned page = 0; page < key_pages; ++page)
        stored += memory().bytes(key_page + page);
    return halves_reversed(std::move(stored));
}

void ultralight_c::put_key(std::string_view key)
{
    const std::string stored = halves_reversed(std::string(key));
    for (unsigned page = 0; page < key_pages; ++page)
        memory().put(key_page + page,
                     std::string_view(stored).substr(page * page_memory::page_size, page_memory::page_size));
}

page_card::protection ultralight_c::protected_pages() const
{
    const bool only_writing = (memory().byte(auth1_page, 0) & 1U) != 0;
    return {memory().byte(auth0_page, 0), !only_writing};
}

unsigned ultralight_c::readable_pages() const
{
    return key_page;
}

void ultralight_c::powered()
{
    page_card::powered();
    asked_.reset();
}

card_answer ultralight_c::store(unsigned page, std::string_view bytes)
{
    if (page != counter_page)
        return page_card::store(page, bytes);
    const std::uint32_t value = memory().word(counter_page);
    const std::uint32_t by = word_of(bytes.substr(0, 2));
    if (value != 0 && (by > largest_increment || by > counter_end - value))
        return card_answer::refuse(page_card_refusal::invalid);
    return page_card::store(page, bytes_of_word(value + by));
}

card_answer ultralight_c::answer_to(std::string_view frame)
{
    if (!asked_)
        return page_card::answer_to(frame);
    challenge asked = *std::move(asked_);
    asked_.reset();
    if (frame.size() != 1 + 2 * block || byte_at(frame, 0) != authenticate_next)
        return card_answer::refuse(page_card_refusal::invalid);
    return check(asked, frame.substr(1));
}

card_answer ultralight_c::own_command(std::string_view frame)
{
    if (frame == ask_frame)
        return ask();
    return page_card::own_command(frame);
}

card_answer ultralight_c::ask()
{
    auto rnd_b = rnd_b_ ? rnd_b_ : random_bytes(block);
    if (!rnd_b)
        return card_answer::silent();
    challenge asked;
    asked.rnd_b = *std::move(rnd_b);
    const std::string enciphered = triple_des(cipher::encipher, key(), asked.chained, asked.rnd_b);
    asked_ = std::move(asked);
    return card_answer::of(more_follows + enciphered);
}

card_answer ultralight_c::check(challenge& asked, std::string_view enciphered)
{
    const std::string both = triple_des(cipher::decipher, key(), asked.chained, enciphered);
    if (both.substr(block) != rotated(asked.rnd_b))
        return card_answer::refuse(page_card_refusal::invalid);
    authenticate();
    return card_answer::of(complete +
                           triple_des(cipher::encipher, key(), asked.chained, rotated(both.substr(0, block))));
}

void ultralight_c::describe(card_file& into) const
{
    into.put_bytes("key", key());
    if (rnd_b_)
        into.put_bytes("rnd_b", *rnd_b_);
}

} // namespace kt::terminal
