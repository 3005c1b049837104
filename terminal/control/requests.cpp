/** The operations of the control protocol. */
#include "terminal/control/requests.h"

#include "terminal/control/request_values.h"
#include "terminal/model/errno_names.h"
#include "terminal/protocol/bytes_json.h"
#include "terminal/protocol/event_json.h"

#include <algorithm>
#include <array>
#include <fnmatch.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;
using namespace std::chrono_literals;

constexpr int protocol = 1;
constexpr std::int64_t longest_ms = std::int64_t{1000} * 3600 * 24 * 365;
constexpr std::int64_t most_exact = std::int64_t{1} << 53; // what JSON numbers hold exactly
constexpr std::int64_t many = 1'000'000'000;

std::string kind_text(attribute_kind kind)
{
    return kind == attribute_kind::integer ? "integer" : "text";
}

std::string joined(std::string_view verb, std::string_view thing)
{
    return std::string(verb) + " " + std::string(thing);
}

std::string refused(const std::string& reason)
{
    json answer = {{"ok", false}};
    put_bytes(answer, "error", reason);
    return answer.dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace

/** One operation: its name, its member function, and the keys that it takes besides "op". */
struct requests::operation {
    std::string_view name;
    json (requests::*act)(const json&);
    std::array<std::string_view, 7> keys;

    bool takes(std::string_view key) const
    {
        constexpr std::string_view of_bytes[] = {"path", "text", "data", "name", "output", "run", "verb", "thing"};
        if (key.ends_with("_hex")) {
            key.remove_suffix(4);
            if (std::find(std::begin(of_bytes), std::end(of_bytes), key) == std::end(of_bytes))
                return false;
        }
        return !key.empty() && std::find(keys.begin(), keys.end(), key) != keys.end();
    }
};

const requests::operation requests::operations[] = {
    {"hello", &requests::hello, {}},
    {"get", &requests::get, {"path"}},
    {"set", &requests::set, {"path", "text", "mode", "kind"}},
    {"remove", &requests::remove, {"path"}},
    {"list", &requests::list, {"path"}},
    {"fail", &requests::fail, {"path", "on", "error", "delay_ms", "hang", "skip", "times"}},
    {"mend", &requests::mend, {"rule"}},
    {"faults", &requests::faults, {}},
    {"journal", &requests::events, {"from", "most"}},
    {"wait", nullptr, {"after", "timeout_ms", "kind", "path", "data"}},
    {"program", &requests::program, {"name", "status", "output", "run", "power"}},
    {"act", &requests::act, {"verb", "thing"}},
    {"actions", &requests::actions, {}},
    {"stop", &requests::stop, {}},
};

requests::requests(board& asked, const profile& actions, terminal_identity identity, std::function<void()> stop)
    : board_(asked), profile_(actions), identity_(std::move(identity)), stop_(std::move(stop))
{
}

std::variant<std::string, parked_wait> requests::answer(std::string_view line)
{
    try {
        const json asked = json::parse(line);
        if (!asked.is_object())
            throw refusal("a request is one JSON object");
        const std::string name = text_of(asked, "op");
        const auto known = std::find_if(std::begin(operations), std::end(operations),
                                        [&](const operation& each) { return each.name == name; });
        if (known == std::end(operations))
            throw refusal("\"" + name + "\" is no operation");
        for (const auto& [key, value] : asked.items())
            if (key != "op" && !known->takes(key))
                throw refusal("\"" + name + "\" takes no \"" + key + "\"");
        if (known->act != nullptr) {
            json answer = {{"ok", true}};
            answer.update((this->*known->act)(asked));
            return answer.dump(-1, ' ', false, json::error_handler_t::replace);
        }
        parked_wait waiting = wait(asked);
        if (auto over = again(waiting))
            return *over;
        return waiting;
    } catch (const json::parse_error& error) {
        return refused("no JSON: byte " + std::to_string(error.byte));
    } catch (const std::exception& error) {
        return refused(error.what());
    }
}

std::optional<std::string> requests::again(parked_wait& waiting)
{
    const bool late = std::chrono::steady_clock::now() >= waiting.deadline; // asked first: what came in time counts
    const auto found = board_.events().find(waiting.after, waiting.fits);
    if (!found && !late)
        return std::nullopt;
    const json answer = {{"ok", true}, {"event", found ? json_of(*found) : json(nullptr)}};
    return answer.dump();
}

json requests::hello(const json&)
{
    return {{"protocol", protocol},         {"name", identity_.name}, {"board", profile_.name()},
            {"version", identity_.version}, {"pid", getpid()},        {"newest", board_.events().newest()}};
}

json requests::get(const json& asked)
{
    const std::string path = path_of(asked);
    json answer = json::object();
    if (const auto attribute = board_.attribute(path)) {
        put_bytes(answer, "text", attribute->text);
        answer["mode"] = permissions_text(attribute->mode);
        answer["kind"] = kind_text(attribute->kind);
    } else if (const auto bytes = board_.file(path)) {
        put_bytes(answer, "text", *bytes);
        answer["kind"] = "file";
    } else {
        throw refusal(path + (board_.list(path) ? " is a folder" : " does not exist"));
    }
    return answer;
}

json requests::set(const json& asked)
{
    const std::string path = path_of(asked);
    const auto known = board_.attribute(path);
    const bool kept = path.starts_with("/kt/") || path.starts_with("/mnt/data/");
    const bool is_file = !known && (kept || board_.file(path));
    const std::string kind = optional_text(asked, "kind")
                                 .value_or(known     ? kind_text(known->kind)
                                           : is_file ? "file"
                                                     : "text");
    const auto mode = optional_text(asked, "mode");
    bool taken = false;
    if (kind == "file") {
        const std::string bytes = optional_text(asked, "text").value_or(board_.file(path).value_or(""));
        taken = !board_.put_file(path, bytes, mode ? permissions_of(*mode) : 0644);
    } else if (kind == "text" || kind == "integer") {
        attribute_state state = known.value_or(attribute_state{});
        if (auto text = optional_text(asked, "text"))
            state.text = std::move(*text);
        if (mode)
            state.mode = permissions_of(*mode);
        state.kind = kind == "integer" ? attribute_kind::integer : attribute_kind::text;
        taken = !board_.put_attribute(path, std::move(state));
    } else {
        throw refusal("\"kind\" must be \"text\", \"integer\" or \"file\"");
    }
    if (taken)
        throw refusal(path + ": the place is taken by something else, or cannot be made");
    return json::object();
}

json requests::remove(const json& asked)
{
    const std::string path = path_of(asked);
    if (!board_.remove(path))
        throw refusal(path + " does not exist, or cannot be removed");
    return json::object();
}

json requests::list(const json& asked)
{
    const std::string path = path_of(asked);
    const auto names = board_.list(path);
    if (!names)
        throw refusal(path + " is no folder");
    return {{"names", *names}};
}

json requests::fail(const json& asked)
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

json requests::mend(const json& asked)
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

json requests::faults(const json&)
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

json requests::events(const json& asked)
{
    const auto first = static_cast<std::uint64_t>(number_of(asked, "from", 1, most_exact));
    const auto count = static_cast<std::size_t>(number_of(asked, "most", static_cast<std::int64_t>(journal::capacity),
                                                          static_cast<std::int64_t>(journal::capacity)));
    json list = json::array();
    for (const event& each : board_.events().from(first, count))
        list.push_back(json_of(each));
    return {{"newest", board_.events().newest()}, {"events", std::move(list)}};
}

json requests::program(const json& asked)
{
    const std::string name = text_of(asked, "name");
    program_answer answer = board_.program(name);
    if (asked.size() > 2) {
        answer.status = static_cast<int>(number_of(asked, "status", answer.status, 255));
        answer.output = optional_text(asked, "output").value_or(answer.output);
        answer.run = optional_text(asked, "run").value_or(answer.run);
        answer.power = optional_text(asked, "power").value_or(answer.power);
        if (!answer.power.empty() && answer.power != "restart" && answer.power != "off")
            throw refusal("\"power\" must be \"restart\", \"off\" or empty");
        board_.set_program(name, answer);
    }
    json state = {{"status", answer.status}};
    put_bytes(state, "output", answer.output);
    put_bytes(state, "run", answer.run);
    state["power"] = answer.power;
    return state;
}

json requests::act(const json& asked)
{
    const std::string verb = text_of(asked, "verb");
    const std::string thing = text_of(asked, "thing");
    if (profile_.act(board_, verb, thing))
        return json::object();
    std::string known;
    for (const auto& [each_verb, each_thing] : profile_.actions())
        known += (known.empty() ? "" : ", ") + joined(each_verb, each_thing);
    throw refusal("board " + profile_.name() + " cannot \"" + joined(verb, thing) + "\"; it can: " + known);
}

json requests::actions(const json&)
{
    json list = json::array();
    for (const auto& [verb, thing] : profile_.actions())
        list.push_back({{"verb", verb}, {"thing", thing}});
    return {{"actions", std::move(list)}};
}

json requests::stop(const json&)
{
    stop_();
    return json::object();
}

parked_wait requests::wait(const json& asked)
{
    parked_wait waiting;
    waiting.after = static_cast<std::uint64_t>(number_of(asked, "after", 0, most_exact));
    waiting.deadline = std::chrono::steady_clock::now() +
                       std::chrono::milliseconds(number_of(asked, "timeout_ms", 10'000, longest_ms));
    const std::string kind = optional_text(asked, "kind").value_or("");
    const std::string path = optional_text(asked, "path").value_or("");
    const auto data = optional_text(asked, "data");
    waiting.fits = [=](const event& happened) {
        return (kind.empty() || kind == happened.kind) &&
               (path.empty() || path == happened.path ||
                fnmatch(path.c_str(), happened.path.c_str(), FNM_PATHNAME) == 0) &&
               (!data || *data == happened.data);
    };
    return waiting;
}

} // namespace kt::terminal
