/** Which family makes the card of a file. */
#include "terminal/cards/apdu_card.h"
#include "terminal/cards/card.h"
#include "terminal/cards/card_file.h"
#include "terminal/cards/classic_card.h"
#include "terminal/cards/felica_card.h"
#include "terminal/cards/ntag21x.h"
#include "terminal/cards/payment_card.h"
#include "terminal/cards/ultralight_c.h"
#include "terminal/cards/ultralight_ev1.h"

#include <memory>
#include <stdexcept>
#include <string>

namespace kt::terminal {

namespace {

struct maker {
    std::string_view kind;
    card_ptr (*make)(const card_file&);
};

template <typename Card>
card_ptr made(const card_file& file)
{
    return std::make_shared<Card>(file);
}

constexpr maker makers[] = {
    {"classic_1k", classic_card_of},
    {"ntag213", made<ntag21x>},
    {"ntag215", made<ntag21x>},
    {"ntag216", made<ntag21x>},
    {"ultralight_ev1", made<ultralight_ev1>},
    {"ultralight_c", made<ultralight_c>},
    {"felica", felica_card_of},
    {"type_a", apdu_card_of},
    {"type_b", apdu_card_of},
    {"payment", payment_card_of},
};

} // namespace

card_ptr card_of_file(std::string_view text)
{
    const card_file file(text);
    const std::string kind = file.text("card", "");
    std::string known;
    for (const maker& each : makers) {
        if (each.kind == kind) {
            card_ptr made = each.make(file);
            file.all_known();
            return made;
        }
        known += (known.empty() ? "" : ", ") + std::string(each.kind);
    }
    throw std::invalid_argument("a card's \"card\" must be one of " + known);
}

} // namespace kt::terminal
