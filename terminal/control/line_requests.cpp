/** The operations on serial lines. */
#include "terminal/control/line_requests.h"

#include "terminal/control/request_values.h"
#include "terminal/json/json.h"
#include "terminal/protocol/bytes_json.h"

#include <algorithm>
#include <array>
#include <sys/ioctl.h>
#include <utility>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

constexpr std::int64_t fastest = 4'000'000;
constexpr std::array framing_keys = {"speed", "data_bits", "parity", "stop_bits"};

struct modem_input {
    const char* name;
    unsigned bit;
};

constexpr modem_input modem_inputs[] = {
    {"cts", TIOCM_CTS},
    {"dsr", TIOCM_DSR},
    {"cd", TIOCM_CD},
    {"ri", TIOCM_RI},
};

json json_of(const framing& set)
{
    return {{"speed", set.speed},
            {"data_bits", set.data_bits},
            {"parity", std::string(1, set.parity)},
            {"stop_bits", set.stop_bits}};
}

bool gives_framing(const json& asked)
{
    return std::any_of(framing_keys.begin(), framing_keys.end(), [&](const char* key) { return asked.contains(key); });
}

/** A framing with what was given changed. */
framing framing_of(const json& asked, framing set)
{
    const auto number = [&](const char* name, unsigned now, std::int64_t least, std::int64_t most) {
        const std::int64_t given = number_of(asked, name, now, most);
        if (given < least)
            throw refusal("\"" + std::string(name) + "\" must be a whole number from " + std::to_string(least) +
                          " to " + std::to_string(most));
        return static_cast<unsigned>(given);
    };
    set.speed = number("speed", set.speed, 1, fastest);
    set.data_bits = number("data_bits", set.data_bits, 5, 8);
    set.stop_bits = number("stop_bits", set.stop_bits, 1, 2);
    if (asked.contains("parity")) {
        const std::string parity = text_of(asked, "parity");
        if (parity != "N" && parity != "E" && parity != "O")
            throw refusal("\"parity\" must be \"N\", \"E\" or \"O\"");
        set.parity = parity[0];
    }
    return set;
}

wire_error wire_error_of(const std::string& name)
{
    if (name == "parity")
        return wire_error::parity;
    if (name == "framing")
        return wire_error::framing;
    if (name == "overrun")
        return wire_error::overrun;
    throw refusal("\"error\" must be \"parity\", \"framing\" or \"overrun\"");
}

bridge_end bridge_end_of(const json& asked)
{
    const std::string to = text_of(asked, "to");
    if (to != "tcp" && asked.contains("tcp_port"))
        throw refusal("\"tcp_port\" goes with \"to\":\"tcp\"");
    if (to == "pty")
        return bridge_end::on_pty();
    if (to == "tcp")
        return bridge_end::on_tcp(static_cast<int>(number_of(asked, "tcp_port", 0, 65535)));
    throw refusal("\"to\" must be \"pty\", \"tcp\" or \"none\"");
}

} // namespace

line_requests::line_requests(board& asked, std::function<void()> try_again)
    : board_(asked), try_again_(std::move(try_again))
{
}

std::shared_ptr<line> line_requests::line_of(const json& asked) const
{
    const std::string path = path_of(asked);
    if (auto found = line_at(board_, path))
        return found;
    throw refusal(path + (board_.find(path) != nullptr ? " is no serial port" : " does not exist"));
}

std::shared_ptr<recorded_port> line_requests::recorded_of(const json& asked) const
{
    const std::string path = path_of(asked);
    if (auto found = recorded_port_at(board_, path))
        return found;
    (void)line_of(asked); // refuses what is no port at all
    throw refusal(path + ": the board serves its other end itself");
}

json line_requests::port(const json& asked)
{
    const std::string path = path_of(asked);
    if (!path.starts_with("/dev/"))
        throw refusal("a port lies below /dev");
    if (board_.find(path) != nullptr)
        throw refusal(path + ": the place is taken");
    json options = {{"kind", "port"}};
    if (gives_framing(asked))
        options.update(json_of(framing_of(asked, {})));
    if (!board_.make_device("port", path, options.dump()))
        throw refusal("this board knows no ports");
    return json::object();
}

json line_requests::send(const json& asked)
{
    const auto wire = line_of(asked);
    const auto bytes = optional_text(asked, "data");
    const auto error = optional_text(asked, "error");
    if (flag_of(asked, "break")) {
        if (bytes || error)
            throw refusal("a break has no data");
        wire->send_break();
    } else if (!bytes) {
        throw refusal("\"data\" is missing");
    } else if (error) {
        const wire_error wrong = wire_error_of(*error);
        for (const char each : *bytes)
            wire->send_bad(each, wrong);
    } else {
        wire->send(*bytes);
    }
    return json::object();
}

parked_request line_requests::expect(const json& asked)
{
    const auto recorded = recorded_of(asked);
    const auto wanted = optional_text(asked, "data");
    parked_request waiting;
    waiting.deadline = deadline_of(asked);
    waiting.again = [from = recorded->other_end(), wanted, more = try_again_](bool late) -> std::optional<std::string> {
        json answer;
        if (!wanted) {
            put_bytes(answer, "data", from->take_all());
        } else if (const auto before = from->take_through(*wanted, more)) {
            answer["found"] = true;
            put_bytes(answer, "data", *before);
        } else if (late) {
            answer["found"] = false;
            put_bytes(answer, "data", from->kept());
        } else {
            return std::nullopt;
        }
        return accepted(answer);
    };
    return waiting;
}

json line_requests::line(const json& asked)
{
    const auto wire = line_of(asked);
    unsigned inputs = wire->inputs();
    for (const auto& [name, bit] : modem_inputs)
        if (asked.contains(name))
            inputs = flag_of(asked, name) ? inputs | bit : inputs & ~bit;
    const bool follows = flag_of(asked, "follow");
    const bool frames = gives_framing(asked);
    if (follows && frames)
        throw refusal("\"follow\" goes without a framing");
    framing wanted; // only looked at when it is given: a terminal that hung up has speed 0, which no other end has
    if (frames)
        wanted = framing_of(asked, wire->far_framing().value_or(wire->near_framing()));
    const bool held = flag_of(asked, "hold");

    // Nothing is refused from here on.
    if (inputs != wire->inputs())
        wire->set_inputs(inputs);
    if (frames)
        wire->set_far_framing(wanted);
    else if (follows)
        wire->set_far_framing(std::nullopt);
    if (asked.contains("hold"))
        wire->hold(held);
    return state_of(*wire, recorded_port_at(board_, path_of(asked)).get());
}

json line_requests::state_of(class line& asked, const recorded_port* recorded) const
{
    json state = json_of(asked.near_framing());
    const unsigned outputs = asked.outputs();
    state["dtr"] = (outputs & TIOCM_DTR) != 0;
    state["rts"] = (outputs & TIOCM_RTS) != 0;
    for (const auto& [name, bit] : modem_inputs)
        state[name] = (asked.inputs() & bit) != 0;
    const auto far = asked.far_framing();
    state["far"] = far ? json_of(*far) : json(nullptr);
    state["waiting"] = asked.waiting();
    state["unsent"] = asked.unsent();
    state["open"] = asked.is_open();
    if (recorded != nullptr) {
        state["breaks"] = recorded->other_end()->breaks();
        state["lost"] = recorded->other_end()->lost();
    }
    return state;
}

json line_requests::hang_up(const json& asked)
{
    line_of(asked)->hang_up();
    return json::object();
}

json line_requests::bridge(const json& asked)
{
    const auto recorded = recorded_of(asked);
    const std::string path = path_of(asked);
    if (text_of(asked, "to") == "none" && !asked.contains("tcp_port")) {
        bridges_.erase(path);
        return json::object();
    }
    // The old one goes once the new end is there; but it must leave its TCP port first when that is asked for again.
    const auto old = bridges_.find(path);
    if (old != bridges_.end() && asked.contains("tcp_port") && asked["tcp_port"] == old->second.bridge->tcp_port())
        bridges_.erase(old);
    bridge_end end = bridge_end_of(asked);
    bridges_.erase(path);
    bridged made{recorded, std::make_unique<line_bridge>(recorded->wire(), recorded->other_end(), std::move(end))};
    json answer = json::object();
    if (made.bridge->tcp_port() != 0)
        answer["tcp_port"] = made.bridge->tcp_port();
    else
        answer["pty"] = made.bridge->pty();
    bridges_.emplace(path, std::move(made));
    return answer;
}

void line_requests::end_left_bridges()
{
    std::erase_if(bridges_, [&](const auto& each) { return recorded_port_at(board_, each.first) != each.second.port; });
}

} // namespace kt::terminal
