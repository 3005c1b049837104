/** What a test says to the other end of a serial line, as requests. */
#include "terminal/client/connection.h"
#include "terminal/json/json.h"
#include "terminal/protocol/bytes_json.h"

#include <algorithm>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

json request_with_data(const char* operation, std::string_view path, std::string_view bytes)
{
    json request = request_about(operation, path);
    put_bytes(request, "data", std::string(bytes));
    return request;
}

line_framing framing_in(const json& answer)
{
    return {.speed = answer.at("speed").get<unsigned>(),
            .data_bits = answer.at("data_bits").get<unsigned>(),
            .parity = answer.at("parity").get<std::string>().at(0),
            .stop_bits = answer.at("stop_bits").get<unsigned>()};
}

line_state state_in(const json& answer)
{
    line_state state;
    state.near = framing_in(answer);
    if (!answer.at("far").is_null())
        state.far = framing_in(answer["far"]);
    state.dtr = answer.at("dtr").get<bool>();
    state.rts = answer.at("rts").get<bool>();
    state.cts = answer.at("cts").get<bool>();
    state.dsr = answer.at("dsr").get<bool>();
    state.cd = answer.at("cd").get<bool>();
    state.ri = answer.at("ri").get<bool>();
    state.waiting = answer.at("waiting").get<int>();
    state.unsent = answer.at("unsent").get<int>();
    state.open = answer.at("open").get<bool>();
    state.breaks = answer.value("breaks", std::uint64_t{0});
    return state;
}

} // namespace

void virtual_terminal::port(std::string_view path)
{
    connection_->ask(request_about("port", path));
}

void virtual_terminal::send(std::string_view path, std::string_view bytes)
{
    connection_->ask(request_with_data("send", path, bytes));
}

void virtual_terminal::send_bad(std::string_view path, char byte, std::string_view error)
{
    json request = request_with_data("send", path, {&byte, 1});
    request["error"] = error;
    connection_->ask(request);
}

void virtual_terminal::send_break(std::string_view path)
{
    json request = request_about("send", path);
    request["break"] = true;
    connection_->ask(request);
}

bool virtual_terminal::expect(std::string_view path, std::string_view bytes, std::chrono::milliseconds timeout)
{
    return received(path, bytes, timeout).has_value();
}

std::optional<std::string> virtual_terminal::received(std::string_view path, std::string_view bytes,
                                                      std::chrono::milliseconds timeout)
{
    json request = request_with_data("expect", path, bytes);
    request["timeout_ms"] = std::max<std::int64_t>(timeout.count(), 0);
    const json answer = connection_->ask(request);
    if (!answer.at("found").get<bool>())
        return std::nullopt;
    return get_bytes(answer, "data");
}

std::string virtual_terminal::sent(std::string_view path)
{
    return get_bytes(connection_->ask(request_about("expect", path)), "data").value_or("");
}

line_state virtual_terminal::line(std::string_view path)
{
    return state_in(connection_->ask(request_about("line", path)));
}

line_state virtual_terminal::set_line(std::string_view path, const line_change& change)
{
    json request = request_about("line", path);
    const auto give = [&](const char* name, const auto& value) {
        if (value)
            request[name] = *value;
    };
    give("cts", change.cts);
    give("dsr", change.dsr);
    give("cd", change.cd);
    give("ri", change.ri);
    give("hold", change.hold);
    give("speed", change.speed);
    give("data_bits", change.data_bits);
    if (change.parity)
        request["parity"] = std::string(1, *change.parity);
    give("stop_bits", change.stop_bits);
    if (change.follow)
        request["follow"] = true;
    return state_in(connection_->ask(request));
}

void virtual_terminal::hold(std::string_view path, bool held)
{
    set_line(path, {.hold = held});
}

void virtual_terminal::hang_up(std::string_view path)
{
    connection_->ask(request_about("hang_up", path));
}

std::string virtual_terminal::bridge_pty(std::string_view path)
{
    json request = request_about("bridge", path);
    request["to"] = "pty";
    return connection_->ask(request).at("pty").get<std::string>();
}

int virtual_terminal::bridge_tcp(std::string_view path, int port)
{
    json request = request_about("bridge", path);
    request["to"] = "tcp";
    request["tcp_port"] = port;
    return connection_->ask(request).at("tcp_port").get<int>();
}

void virtual_terminal::bridge_none(std::string_view path)
{
    json request = request_about("bridge", path);
    request["to"] = "none";
    connection_->ask(request);
}

} // namespace kt::terminal
