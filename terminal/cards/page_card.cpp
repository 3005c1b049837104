/** The commands that all cards with pages of four bytes know. */
#include "terminal/cards/page_card.h"

#include <algorithm>
#include <stdexcept>

namespace kt::terminal {

namespace {

enum command : unsigned { read_pages = 0x30, halt = 0x50, compatibility_write = 0xA0, write_page = 0xA2 };

constexpr std::size_t compatibility_data = 16; // of which the card keeps four
constexpr unsigned pages_of_a_read = 4;
constexpr unsigned first_writable_page = 2;

constexpr std::string_view usual_uid = "\x04\x11\x22\x33\x44\x55\x66";

} // namespace

page_card::page_card(card_family family, const card_file& file, unsigned pages, unsigned secret_from)
    : kind_(file.text("card", "")),
      name_(file.text("name", "")),
      identity_{family, file.bytes_like("uid", std::string(usual_uid)), 0x0044, 0x00},
      memory_(identity_.uid, pages),
      secret_from_(secret_from)
{
}

void page_card::fill(const card_file& file)
{
    for (const auto& [page, bytes] : file.blocks("memory", page_memory::page_size, secret_from_)) {
        if (page < page_memory::static_lock_page)
            throw std::invalid_argument("a card's pages 0 and 1 are its \"uid\", not part of its \"memory\"");
        memory_.put(page, bytes);
    }
}

void page_card::powered()
{
    authenticated_ = false;
    to_write_.reset();
}

void page_card::asked(std::string_view frame, reply answered)
{
    card_answer answer = answer_to(frame);
    if (answer.is != card_answer::form::bytes && !answer.is_acknowledgement())
        fall_silent();
    answered(std::move(answer));
}

void page_card::torn(std::string_view frame)
{
    if (!to_write_)
        torn_command(frame);
}

card_answer page_card::answer_to(std::string_view frame)
{
    if (to_write_) {
        const unsigned page = *to_write_;
        to_write_.reset();
        return frame.size() == compatibility_data ? write(page, frame.substr(0, page_memory::page_size))
                                                  : card_answer::refuse(page_card_refusal::invalid);
    }
    const unsigned code = frame.empty() ? 0 : byte_at(frame, 0);
    if (code == read_pages && frame.size() == 2)
        return read(byte_at(frame, 1));
    if (code == write_page && frame.size() == 2 + page_memory::page_size)
        return write(byte_at(frame, 1), frame.substr(2));
    if (code == compatibility_write && frame.size() == 2 && writable(byte_at(frame, 1))) {
        to_write_ = byte_at(frame, 1);
        return card_answer::acknowledge();
    }
    if (code == halt && frame.size() == 2 && byte_at(frame, 1) == 0)
        return card_answer::silent();
    return own_command(frame);
}

unsigned page_card::readable_end() const
{
    const protection wanted = protected_pages();
    return wanted.reads && !authenticated_ ? std::min(wanted.first, readable_pages()) : readable_pages();
}

card_answer page_card::read(unsigned page)
{
    const unsigned end = readable_end();
    if (page >= end)
        return card_answer::refuse(page_card_refusal::invalid);
    reading();
    std::string bytes;
    for (unsigned at = 0; at < pages_of_a_read; ++at)
        bytes += page_as_read((page + at) % end); // rolls over to page 0
    return card_answer::of(std::move(bytes));
}

bool page_card::writable(unsigned page) const
{
    return page >= first_writable_page && page < memory_.count() &&
           (authenticated_ || page < protected_pages().first) && !memory_.locked(page);
}

card_answer page_card::write(unsigned page, std::string_view bytes)
{
    return writable(page) ? store(page, bytes) : card_answer::refuse(page_card_refusal::invalid);
}

card_answer page_card::store(unsigned page, std::string_view bytes)
{
    memory_.write(page, bytes);
    return card_answer::acknowledge();
}

card_answer page_card::own_command(std::string_view /*frame*/)
{
    return card_answer::refuse(page_card_refusal::invalid);
}

std::string page_card::file() const
{
    card_file written;
    written.put_head(kind_, name_).put_bytes("uid", identity_.uid);
    describe(written);
    std::map<std::uint32_t, std::string> pages;
    for (unsigned page = page_memory::static_lock_page; page < secret_from_; ++page)
        pages[page] = memory_.bytes(page);
    written.put_blocks("memory", pages);
    return written.written();
}

} // namespace kt::terminal
