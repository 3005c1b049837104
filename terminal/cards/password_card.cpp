/** Passwords, configuration, version and signature. */
#include "terminal/cards/password_card.h"

namespace kt::terminal {

namespace {

enum command : unsigned {
    password_authentication = 0x1B,
    fast_read_pages = 0x3A,
    read_signature = 0x3C,
    version = 0x60
};

// The byte ACCESS of the second configuration page.
constexpr unsigned protects_reading = 0x80;
constexpr unsigned locks_configuration = 0x40;
constexpr unsigned most_failed_attempts = 0x07; // none: any number

} // namespace

password_card::password_card(card_family family, const card_file& file, unsigned pages, std::string_view version)
    : page_card(family, file, pages, pages - 2),
      version_(version),
      signature_(file.bytes_like("signature", std::string(32, '\0'))),
      failed_attempts_(file.number("failed_attempts", 0, most_failed_attempts))
{
    memory().put(pages - 1, file.bytes_like("pack", std::string(2, '\0')));
    memory().put(password_page(), file.bytes_like("password", std::string(4, '\xFF')));
}

page_card::protection password_card::protected_pages() const
{
    return {memory().byte(first_configuration_page(), 3), (access() & protects_reading) != 0}; // AUTH0, PROT
}

bool password_card::writable(unsigned page) const
{
    const bool configuration = page == first_configuration_page() || page == first_configuration_page() + 1;
    return page_card::writable(page) && !(configuration_locked_ && configuration);
}

std::string password_card::page_as_read(unsigned page) const
{
    return page < password_page() ? page_card::page_as_read(page) : std::string(page_memory::page_size, '\0');
}

card_answer password_card::own_command(std::string_view frame)
{
    const unsigned code = frame.empty() ? 0 : byte_at(frame, 0);
    if (code == version && frame.size() == 1)
        return card_answer::of(version_);
    if (code == fast_read_pages && frame.size() == 3)
        return fast_read(byte_at(frame, 1), byte_at(frame, 2));
    if (code == password_authentication && frame.size() == 5)
        return password(frame.substr(1));
    if (code == read_signature && frame.size() == 2 && byte_at(frame, 1) == 0)
        return card_answer::of(signature_);
    return page_card::own_command(frame);
}

card_answer password_card::fast_read(unsigned first, unsigned last)
{
    if (first > last || last >= readable_end())
        return card_answer::refuse(page_card_refusal::invalid);
    reading();
    std::string bytes;
    for (unsigned page = first; page <= last; ++page)
        bytes += page_as_read(page);
    return card_answer::of(std::move(bytes));
}

card_answer password_card::password(std::string_view given)
{
    const unsigned most = access() & most_failed_attempts;
    if (most != 0 && failed_attempts_ >= most)
        return card_answer::refuse(page_card_refusal::overflow);
    if (given != memory().bytes(password_page())) {
        failed_attempts_ += most != 0 ? 1 : 0;
        return card_answer::refuse(page_card_refusal::invalid);
    }
    failed_attempts_ = 0;
    authenticate();
    return card_answer::of(pack());
}

void password_card::powered()
{
    page_card::powered();
    configuration_locked_ = (access() & locks_configuration) != 0;
}

void password_card::describe(card_file& into) const
{
    into.put_bytes("password", memory().bytes(password_page()));
    into.put_bytes("pack", pack());
    into.put_bytes("signature", signature_);
    if (failed_attempts_ != 0)
        into.put_number("failed_attempts", failed_attempts_);
}

} // namespace kt::terminal
