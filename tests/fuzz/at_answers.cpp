/** Fuzzes what a modem's command mode reads: any bytes, in any pieces, are answered alike and in whole lines. */
#include "terminal/modem/at_responder.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

using namespace kt::terminal;

namespace {

/** All that is said in answer. */
std::string answers(const std::vector<at_action>& actions)
{
    std::string all;
    for (const at_action& each : actions)
        if (each.what == at_action::kind::answer)
            all += each.text;
    return all;
}

/** All that is echoed. */
std::string echoes(const std::vector<at_action>& actions)
{
    std::string all;
    for (const at_action& each : actions)
        if (each.what == at_action::kind::echo)
            all += each.text;
    return all;
}

bool goes_elsewhere(const std::vector<at_action>& actions)
{
    return !actions.empty() &&
           (actions.back().what == at_action::kind::dial || actions.back().what == at_action::kind::go_online ||
            actions.back().what == at_action::kind::multiplex);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string typed(reinterpret_cast<const char*>(data), size);
    const modem_settings settings;
    at_responder at_once(settings, true);
    at_responder byte_by_byte(settings, true);

    const std::vector<at_action> whole = at_once.feed(typed);
    std::string said;
    std::string echoed;
    for (const char each : typed) {
        const std::vector<at_action> part = byte_by_byte.feed({&each, 1});
        said += answers(part);
        echoed += echoes(part);
        if (goes_elsewhere(part))
            break; // the rest of the bytes is nobody's
    }
    if (said != answers(whole) || echoed != echoes(whole))
        std::abort();
    if (echoed.size() > typed.size())
        std::abort();
    if (!said.empty() && (!said.starts_with("\r\n") || !said.ends_with("\r\n")))
        std::abort();
    return 0;
}
