/** The operations of the control protocol. */
#include "terminal/control/requests.h"

#include "terminal/control/request_values.h"
#include "terminal/json/json.h"
#include "terminal/protocol/bytes_json.h"
#include "terminal/protocol/event_json.h"

#include <algorithm>
#include <array>
#include <fnmatch.h>
#include <unistd.h>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

constexpr int protocol = 1;
constexpr int deepest = 16;                                // what is nested is walked by functions that call themselves
constexpr std::int64_t most_exact = std::int64_t{1} << 53; // what JSON numbers hold exactly

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

/** One operation: its name, what carries it out at once or parks it, and the keys that it takes besides "op". */
struct requests::operation {
    std::string_view name;
    std::string (*act)(requests&, const json&);
    parked_request (*park)(requests&, const json&);
    std::array<std::string_view, 11> keys;

    bool takes(std::string_view key) const
    {
        constexpr std::string_view of_bytes[] = {"path", "text", "data",  "name",  "output",
                                                 "run",  "verb", "thing", "answer"};
        if (key.ends_with("_hex")) {
            key.remove_suffix(4);
            if (std::find(std::begin(of_bytes), std::end(of_bytes), key) == std::end(of_bytes))
                return false;
        }
        return !key.empty() && std::find(keys.begin(), keys.end(), key) != keys.end();
    }

    /** An operation of the requests themselves, of those about lines, or of those about failure rules. */
    template <json (requests::*Member)(const json&)>
    static std::string own(requests& all, const json& asked)
    {
        return accepted((all.*Member)(asked));
    }
    template <json (line_requests::*Member)(const json&)>
    static std::string lines(requests& all, const json& asked)
    {
        return accepted((all.lines_.*Member)(asked));
    }

    template <json (input_requests::*Member)(const json&)>
    static std::string inputs(requests& all, const json& asked)
    {
        return accepted((all.inputs_.*Member)(asked));
    }

    template <json (card_requests::*Member)(const json&)>
    static std::string cards(requests& all, const json& asked)
    {
        return accepted((all.cards_.*Member)(asked));
    }

    template <json (fault_requests::*Member)(const json&)>
    static std::string rules(requests& all, const json& asked)
    {
        return accepted((all.rules_.*Member)(asked));
    }

    static parked_request wait(requests& all, const json& asked) { return all.wait(asked); }
    static parked_request clock(requests& all, const json& asked) { return all.clock(asked); }
    static parked_request apdu(requests& all, const json& asked) { return all.cards_.apdu(asked); }
    static parked_request expect(requests& all, const json& asked) { return all.lines_.expect(asked); }
    static parked_request hold(requests& all, const json& asked) { return all.inputs_.hold(asked); }
    static parked_request drag(requests& all, const json& asked) { return all.inputs_.drag(asked); }
};

const requests::operation requests::operations[] = {
    {"hello", operation::own<&requests::hello>, nullptr, {}},
    {"get", operation::own<&requests::get>, nullptr, {"path"}},
    {"set", operation::own<&requests::set>, nullptr, {"path", "text", "mode", "kind"}},
    {"remove", operation::own<&requests::remove>, nullptr, {"path"}},
    {"list", operation::own<&requests::list>, nullptr, {"path"}},
    {"fail",
     operation::rules<&fault_requests::fail>,
     nullptr,
     {"path", "on", "error", "delay_ms", "hang", "skip", "times"}},
    {"mend", operation::rules<&fault_requests::mend>, nullptr, {"rule"}},
    {"faults", operation::rules<&fault_requests::faults>, nullptr, {}},
    {"journal", operation::own<&requests::events>, nullptr, {"from", "most"}},
    {"wait", nullptr, operation::wait, {"after", "timeout_ms", "kind", "path", "data"}},
    {"program", operation::own<&requests::program>, nullptr, {"name", "status", "output", "run", "power"}},
    {"act", operation::own<&requests::act>, nullptr, {"verb", "thing"}},
    {"actions", operation::own<&requests::actions>, nullptr, {}},
    {"port", operation::lines<&line_requests::port>, nullptr, {"path", "speed", "data_bits", "parity", "stop_bits"}},
    {"send", operation::lines<&line_requests::send>, nullptr, {"path", "data", "error", "break"}},
    {"expect", nullptr, operation::expect, {"path", "data", "timeout_ms"}},
    {"line",
     operation::lines<&line_requests::line>,
     nullptr,
     {"path", "cts", "dsr", "cd", "ri", "hold", "speed", "data_bits", "parity", "stop_bits", "follow"}},
    {"hang_up", operation::lines<&line_requests::hang_up>, nullptr, {"path"}},
    {"bridge", operation::lines<&line_requests::bridge>, nullptr, {"path", "to", "tcp_port"}},
    {"modem", operation::own<&requests::modem>, nullptr, {"path", "set", "do", "port"}},
    {"input_device",
     operation::inputs<&input_requests::input_device>,
     nullptr,
     {"path", "name", "bus", "vendor", "product", "version"}},
    {"press", operation::inputs<&input_requests::press>, nullptr, {"path", "key"}},
    {"release", operation::inputs<&input_requests::release>, nullptr, {"path", "key"}},
    {"type", operation::inputs<&input_requests::type>, nullptr, {"path", "keys"}},
    {"hold", nullptr, operation::hold, {"path", "key", "ms"}},
    {"tap", operation::inputs<&input_requests::tap>, nullptr, {"path", "x", "y"}},
    {"drag", nullptr, operation::drag, {"path", "from", "to", "steps", "ms"}},
    {"input", operation::inputs<&input_requests::input>, nullptr, {"path", "events"}},
    {"sleep", operation::own<&requests::sleep>, nullptr, {"fast", "pending_ms"}},
    {"wake", operation::own<&requests::wake>, nullptr, {"event"}},
    {"battery", operation::own<&requests::battery>, nullptr, {"set"}},
    {"tamper", operation::own<&requests::tamper>, nullptr, {"set"}},
    {"clock", nullptr, operation::clock, {"set", "advance_ms"}},
    {"reader", operation::cards<&card_requests::reader>, nullptr, {"set", "script", "forget"}},
    {"card", operation::cards<&card_requests::card>, nullptr, {"tap", "remove", "show"}},
    {"apdu", nullptr, operation::apdu, {"answer", "number", "name", "timeout_ms"}},
    {"phone", operation::cards<&card_requests::phone>, nullptr, {}},
    {"stop", operation::own<&requests::stop>, nullptr, {}},
};

requests::requests(board& asked, const profile& actions, terminal_identity identity, std::function<void()> stop,
                   std::function<void()> try_again)
    : board_(asked),
      profile_(actions),
      identity_(std::move(identity)),
      stop_(std::move(stop)),
      try_again_(std::move(try_again)),
      rules_(asked),
      lines_(asked, try_again_),
      inputs_(asked, try_again_),
      cards_(asked, try_again_)
{
}

std::variant<std::string, parked_request> requests::answer(std::string_view line)
{
    try {
        const json asked = parsed_json(line, [](int depth, json::parse_event_t, const json&) {
            if (depth > deepest)
                throw refusal("the request is nested too deeply");
            return true;
        });
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
        refresh_battery(); // any operation may look at what it shows
        if (known->act != nullptr)
            return known->act(*this, asked);
        parked_request waiting = known->park(*this, asked);
        if (auto over = again(waiting))
            return *over;
        return waiting;
    } catch (const json::parse_error& error) {
        return refused("no JSON: byte " + std::to_string(error.byte));
    } catch (const std::exception& error) {
        return refused(error.what());
    }
}

std::optional<std::string> requests::again(const parked_request& waiting)
{
    return waiting.again(std::chrono::steady_clock::now() >= waiting.deadline);
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
        const bool stands = board_.find(path) != nullptr;
        throw refusal(path + (board_.list(path) ? " is a folder" : stands ? " is a device" : " does not exist"));
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
    if (path == "/run" || path.starts_with("/run/")) // the terminal's own
        throw refusal(path + " cannot be removed");
    if (!board_.remove(path))
        throw refusal(path + " does not exist, or cannot be removed");
    lines_.end_left_bridges();
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
    if (profile_.act(board_, verb, thing)) {
        lines_.end_left_bridges();
        return json::object();
    }
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

parked_request requests::wait(const json& asked)
{
    const std::string kind = optional_text(asked, "kind").value_or("");
    const std::string path = optional_text(asked, "path").value_or("");
    const auto data = optional_text(asked, "data");
    const auto fits = [=](const event& happened) {
        return (kind.empty() || kind == happened.kind) &&
               (path.empty() || path == happened.path ||
                fnmatch(path.c_str(), happened.path.c_str(), FNM_PATHNAME) == 0) &&
               (!data || *data == happened.data);
    };
    auto after = static_cast<std::uint64_t>(number_of(asked, "after", 0, most_exact));
    parked_request waiting;
    waiting.deadline = deadline_of(asked);
    waiting.again = [this, fits, after](bool late) mutable -> std::optional<std::string> {
        const auto found = board_.events().find(after, fits);
        if (!found && !late) // what came in time counts
            return std::nullopt;
        return accepted({{"event", found ? json_of(*found) : json(nullptr)}});
    };
    return waiting;
}

} // namespace kt::terminal
