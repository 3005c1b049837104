/** What NTAG21x and Ultralight EV1 have in common: configuration pages, a password, a signature, a version. */
#pragma once

#include "terminal/cards/page_card.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace kt::terminal {

/**
 * The last four pages hold two of configuration, the password (PWD) and its acknowledgement (PACK).
 *
 * A failed attempt counts while AUTHLIM is not 0; once as many have failed, every PWD_AUTH is refused as overflow, the
 * right password too. CFGLCK takes effect when the card next gets power, everything else at once.
 */
class password_card : public page_card {
protected:
    password_card(card_family family, const card_file& file, unsigned pages, std::string_view version);

    protection protected_pages() const override;
    bool writable(unsigned page) const override;
    std::string page_as_read(unsigned page) const override;
    card_answer own_command(std::string_view frame) override;
    void powered() override;
    void describe(card_file& into) const override;

    unsigned first_configuration_page() const { return memory().count() - 4; }
    std::uint8_t access() const { return memory().byte(first_configuration_page() + 1, 0); }

private:
    unsigned password_page() const { return memory().count() - 2; }
    card_answer fast_read(unsigned first, unsigned last);
    card_answer password(std::string_view given);
    std::string pack() const { return memory().bytes(memory().count() - 1).substr(0, 2); }

    std::string version_;
    std::string signature_;
    std::uint32_t failed_attempts_;
    bool configuration_locked_ = false;
};

} // namespace kt::terminal
