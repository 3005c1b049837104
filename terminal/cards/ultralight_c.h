/** Ultralight C: a ticket whose pages are protected by a key of Triple DES. */
#pragma once

#include "terminal/cards/page_card.h"
#include "terminal/cards/triple_des.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace kt::terminal {

/**
 * 48 pages, of which the last four, its key, cannot be read. All that is written takes effect at once.
 *
 * The counter of page 41 takes any value first; when it is no longer 0, what is written is added, 15 at most.
 */
class ultralight_c : public page_card {
public:
    explicit ultralight_c(const card_file& file);

protected:
    protection protected_pages() const override;
    unsigned readable_pages() const override;
    card_answer store(unsigned page, std::string_view bytes) override;
    card_answer answer_to(std::string_view frame) override;
    card_answer own_command(std::string_view frame) override;
    void powered() override;
    void describe(card_file& into) const override;

private:
    static constexpr std::size_t block = triple_des_block;
    struct challenge {
        std::string rnd_b;
        std::array<std::uint8_t, block> chained{}; // the last enciphered block, sent or received
    };

    std::string key() const;
    void put_key(std::string_view key);
    card_answer ask();
    card_answer check(challenge& asked, std::string_view enciphered);

    std::optional<std::string> rnd_b_; // the file's own
    std::optional<challenge> asked_;   // its answer comes next, or nothing does
};

} // namespace kt::terminal
