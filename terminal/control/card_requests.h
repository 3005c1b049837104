/** What the control socket can be asked about the contactless reader and the cards before it. */
#pragma once

#include "terminal/control/parked_request.h"
#include "terminal/model/board.h"

#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>

namespace kt::terminal {

class chip;
class field;

/** Threads: one at a time. */
class card_requests {
public:
    using json = nlohmann::ordered_json;

    /** @p try_again has the parked requests asked again; it may be called from any thread, and after this object. */
    card_requests(board& asked, std::function<void()> try_again);

    json reader(const json& asked); // reader_requests.cpp
    json card(const json& asked);
    json phone(const json& asked);
    parked_request apdu(const json& asked);

private:
    std::shared_ptr<chip> driver() const;
    json tap(field& into, const json& file) const;

    board& board_;
    const std::function<void()> try_again_;
};

} // namespace kt::terminal
