/** What the control socket can be asked about keys and panels. */
#pragma once

#include "terminal/control/parked_request.h"
#include "terminal/input/gestures.h"
#include "terminal/model/board.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace kt::terminal {

class input_device;

/** Threads: one at a time. */
class input_requests {
public:
    using json = nlohmann::ordered_json;

    /** @p try_again has the parked requests asked again; it may be called from any thread, and after this object. */
    input_requests(board& asked, std::function<void()> try_again);

    json input_device(const json& asked);
    json press(const json& asked);
    json release(const json& asked);
    json type(const json& asked);
    json tap(const json& asked);
    json input(const json& asked);
    parked_request hold(const json& asked);
    parked_request drag(const json& asked);

private:
    class running;

    std::shared_ptr<class input_device> device_of(const json& asked) const;
    std::shared_ptr<class input_device> device_for(const json& asked, const char* name) const;
    std::shared_ptr<class input_device> keys_of(const json& asked, std::uint16_t code) const;
    std::shared_ptr<class input_device> panel_of(const json& asked) const;
    parked_request perform(std::shared_ptr<class input_device> on, gesture wanted) const;

    board& board_;
    const std::function<void()> try_again_;
};

} // namespace kt::terminal
