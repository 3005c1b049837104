/** The operations on failure rules. */
#include "terminal/control/fault_requests.h"

#include "terminal/control/request_values.h"
#include "terminal/json/json.h"
#include "terminal/model/errno_names.h"
#include "terminal/protocol/bytes_json.h"

namespace kt::terminal {

using json = nlohmann::ordered_json;
using namespace std::chrono_literals;

json fault_requests::fail(const json& asked)
{
    fault rule;
    rule.path = text_of(asked, "path"); // or a stand-in's name
    const std::string on = optional_text(asked, "on").value_or("open");
    const auto kind = access_named(on);
    if (!kind)
        throw refusal("\"on\": \"" + on + "\" is no access");
    rule.on = *kind;
    if (const auto name = optional_text(asked, "error")) {
        const auto error = errno_number(*name);
        if (!error)
            throw refusal("\"error\": \"" + *name + "\" is no name of an errno");
        rule.error = *error;
    }
    rule.delay = std::chrono::milliseconds(number_of(asked, "delay_ms", 0, longest_ms));
    rule.hang = flag_of(asked, "hang");
    rule.skip = static_cast<int>(number_of(asked, "skip", 0, many));
    rule.times = static_cast<int>(number_of(asked, "times", 0, many));
    if (rule.error == 0 && rule.delay == 0ms && !rule.hang)
        throw refusal("the rule does nothing: give \"error\", \"delay_ms\" or \"hang\"");
    const int number = board_.failures().add(rule);
    rules_.emplace(number, std::move(rule));
    return {{"rule", number}};
}

json fault_requests::mend(const json& asked)
{
    if (!asked.contains("rule")) {
        board_.failures().clear();
        rules_.clear();
        return json::object();
    }
    const auto number = static_cast<int>(number_of(asked, "rule", 0, many));
    if (!board_.failures().remove(number))
        throw refusal("there is no rule " + std::to_string(number));
    rules_.erase(number);
    return json::object();
}

json fault_requests::faults(const json&)
{
    json list = json::array();
    std::erase_if(rules_, [&](const auto& each) { return !board_.failures().stands(each.first); });
    for (const auto& [number, rule] : rules_) {
        json entry = {{"rule", number}};
        put_bytes(entry, "path", rule.path);
        entry["on"] = name_of(rule.on);
        if (rule.error != 0)
            entry["error"] = errno_name(rule.error);
        if (rule.delay != 0ms)
            entry["delay_ms"] = rule.delay.count();
        if (rule.hang)
            entry["hang"] = true;
        if (rule.skip != 0)
            entry["skip"] = rule.skip;
        if (rule.times != 0)
            entry["times"] = rule.times;
        list.push_back(std::move(entry));
    }
    return {{"faults", std::move(list)}};
}

} // namespace kt::terminal
