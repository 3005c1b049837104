/** Words about the sleep to requests, and the answer to words. */
#include "terminal/control/ctl_sleep_request.h"

#include "terminal/control/ctl_request.h"
#include "terminal/json/json.h"

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;
using word_list = std::vector<std::string>;

json sleep_request(const word_list& words)
{
    const ctl_words said(words, {"--pending"}, {});
    json request = {{"op", "sleep"}};
    if (const auto& operands = said.operands(0, 1); !operands.empty()) {
        if (operands[0] != "fast" && operands[0] != "real")
            throw usage_error("the board sleeps \"fast\" or \"real\", not \"" + operands[0] + "\"");
        request["fast"] = operands[0] == "fast";
    }
    if (said.has("--pending"))
        request["pending_ms"] = said.number("--pending");
    return request;
}

json wake_request(const word_list& words)
{
    const bool negative = !words.empty() && words.back().size() > 1 && words.back()[0] == '-' && words.back() != "--";
    word_list plain = words;
    if (negative) // a number, no option
        plain.back().erase(0, 1);
    const ctl_words said(plain, {}, {});
    json request = {{"op", "wake"}};
    if (const auto& operands = said.operands(0, 1); !operands.empty()) {
        const long long event = whole_number("the event", operands[0]);
        request["event"] = negative ? -event : event;
    }
    return request;
}

} // namespace

json ctl_sleep_request(const std::string& command, const word_list& words)
{
    if (command == "sleep")
        return sleep_request(words);
    if (command == "wake")
        return wake_request(words);
    return nullptr;
}

} // namespace kt::terminal
