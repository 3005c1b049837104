/** A board that knows the kinds of devices that the profiles name. */
#pragma once

#include "terminal/battery/battery.h"
#include "terminal/clock/real_time_clock.h"
#include "terminal/input/input_device.h"
#include "terminal/model/board.h"
#include "terminal/modem/modem.h"
#include "terminal/ports/port.h"
#include "terminal/reader/reader.h"
#include "terminal/secure/secure_processor.h"

#include <memory>

class equipped_board : public kt::terminal::board {
public:
    equipped_board()
    {
        kt::terminal::know_ports(*this);
        kt::terminal::know_inputs(*this);
        kt::terminal::know_secure_processor(*this);
        kt::terminal::know_real_time_clock(*this);
        kt::terminal::know_readers(*this);
    }

private:
    const std::unique_ptr<kt::terminal::fitted_modems> modems_ = kt::terminal::know_modems(*this);
    const std::unique_ptr<kt::terminal::fitted_battery> batteries_ = kt::terminal::know_batteries(*this);
};
