/** What a test says to the board and finds in its journal, as requests. */
#include "terminal/client/connection.h"
#include "terminal/json/json.h"
#include "terminal/model/errno_names.h"
#include "terminal/model/open_flags.h"
#include "terminal/own_folder.h"
#include "terminal/protocol/bytes_json.h"
#include "terminal/protocol/event_json.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

std::string octal(std::uint32_t mode)
{
    char text[16];
    std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
    return text;
}

} // namespace

virtual_terminal::virtual_terminal() : virtual_terminal(own::control) {}

virtual_terminal::virtual_terminal(const std::string& socket_path)
    : connection_(std::make_unique<connection>(socket_path))
{
}

virtual_terminal::~virtual_terminal() = default;
virtual_terminal::virtual_terminal(virtual_terminal&&) noexcept = default;

void virtual_terminal::attribute(std::string_view path, const attribute_value& value)
{
    json request = request_about("set", path);
    put_bytes(request, "text", value.text);
    request["mode"] = octal(value.mode);
    request["kind"] = value.kind;
    connection_->ask(request);
}

std::string virtual_terminal::text(std::string_view path)
{
    return get_bytes(connection_->ask(request_about("get", path)), "text").value_or("");
}

void virtual_terminal::remove(std::string_view path)
{
    connection_->ask(request_about("remove", path));
}

int virtual_terminal::fail(std::string_view path, const failure& rule)
{
    json request = request_about("fail", path);
    request["on"] = rule.on;
    if (rule.error != 0)
        request["error"] = errno_name(rule.error);
    request["delay_ms"] = rule.delay.count();
    request["hang"] = rule.hang;
    request["skip"] = rule.skip;
    request["times"] = rule.times;
    return connection_->ask(request).at("rule").get<int>();
}

void virtual_terminal::mend(int rule)
{
    connection_->ask({{"op", "mend"}, {"rule", rule}});
}

void virtual_terminal::mend_all()
{
    connection_->ask({{"op", "mend"}});
}

void virtual_terminal::program(std::string_view name, int status, std::string_view output)
{
    json request = {{"op", "program"}, {"name", name}, {"status", status}};
    put_bytes(request, "output", std::string(output));
    request["run"] = "";
    request["power"] = "";
    connection_->ask(request);
}

void virtual_terminal::act(std::string_view verb, std::string_view thing)
{
    connection_->ask({{"op", "act"}, {"verb", verb}, {"thing", thing}});
}

void virtual_terminal::forget()
{
    first_ = connection_->ask({{"op", "hello"}}).at("newest").get<std::uint64_t>() + 1;
}

std::vector<event> virtual_terminal::events()
{
    const json answer = connection_->ask({{"op", "journal"}, {"from", first_}});
    std::vector<event> all;
    for (const json& each : answer.at("events"))
        all.push_back(event_of(each));
    return all;
}

std::vector<event> virtual_terminal::events_of(std::initializer_list<std::string_view> kinds)
{
    std::vector<event> wanted = events();
    std::erase_if(wanted,
                  [&](const event& each) { return std::find(kinds.begin(), kinds.end(), each.kind) == kinds.end(); });
    return wanted;
}

event virtual_terminal::last_open(std::string_view path)
{
    event last;
    for (event& each : events_of({"open"}))
        if (each.path == path)
            last = std::move(each);
    return last;
}

std::vector<std::string> virtual_terminal::writes(std::string_view path)
{
    std::vector<std::string> bytes;
    for (event& each : events_of({"write"}))
        if (each.path == path)
            bytes.push_back(std::move(each.data));
    return bytes;
}

std::vector<std::string> virtual_terminal::commands()
{
    std::vector<std::string> texts;
    for (event& each : events_of({"shell"}))
        texts.push_back(std::move(each.data));
    return texts;
}

std::string virtual_terminal::syslog()
{
    std::string text;
    for (const event& each : events_of({"syslog"}))
        text += each.data;
    return text;
}

std::optional<event> virtual_terminal::wait(const event_pattern& pattern, std::chrono::milliseconds timeout)
{
    json request = {{"op", "wait"}, {"after", first_ - 1}, {"timeout_ms", std::max<std::int64_t>(timeout.count(), 0)}};
    if (!pattern.kind.empty())
        request["kind"] = pattern.kind;
    if (!pattern.path.empty())
        put_bytes(request, "path", pattern.path);
    if (pattern.data)
        put_bytes(request, "data", *pattern.data);
    const json answer = connection_->ask(request);
    if (answer.at("event").is_null())
        return std::nullopt;
    return event_of(answer.at("event"));
}

std::string virtual_terminal::exchange(std::string_view line)
{
    connection_->send(std::string(line) + "\n");
    return connection_->receive();
}

int open_flags(const event& opened)
{
    return open_flags_number(opened.flags);
}

} // namespace kt::terminal
