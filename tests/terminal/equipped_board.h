/** A board that knows the kinds of devices that the profiles name. */
#pragma once

#include "terminal/model/board.h"
#include "terminal/modem/modem.h"
#include "terminal/ports/port.h"

#include <memory>

class equipped_board : public kt::terminal::board {
public:
    equipped_board() { kt::terminal::know_ports(*this); }

private:
    const std::unique_ptr<kt::terminal::fitted_modems> modems_ = kt::terminal::know_modems(*this);
};
