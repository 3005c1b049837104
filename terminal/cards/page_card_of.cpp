/** Which card with pages of four bytes a file describes. */
#include "terminal/cards/ntag21x.h"
#include "terminal/cards/page_card.h"
#include "terminal/cards/ultralight_c.h"
#include "terminal/cards/ultralight_ev1.h"

#include <memory>

namespace kt::terminal {

card_ptr page_card_of(const card_file& file)
{
    const std::string kind = file.text("card", "");
    if (kind == "ultralight_ev1")
        return std::make_shared<ultralight_ev1>(file);
    if (kind == "ultralight_c")
        return std::make_shared<ultralight_c>(file);
    return std::make_shared<ntag21x>(file);
}

} // namespace kt::terminal
