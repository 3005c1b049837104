/** A session's parameters as a test names them. */
#pragma once

#include <kt_driver/net.h>

#include <algorithm>
#include <string_view>

namespace kt::tests {

struct session_texts {
    std::string_view context_command{};
    std::string_view dial_string{};
    std::string_view user{};
    std::string_view password{};
};

/** The block of these texts; one of 128 characters or more fills its field and leaves no room for a terminator. */
inline pppd_task_params parameters(const session_texts& texts)
{
    pppd_task_params params{};
    const auto fill = [](char(&field)[128], std::string_view text) { text.copy(field, sizeof field); };
    fill(params.context_command, texts.context_command);
    fill(params.dial_string, texts.dial_string);
    fill(params.user, texts.user);
    fill(params.password, texts.password);
    return params;
}

} // namespace kt::tests
