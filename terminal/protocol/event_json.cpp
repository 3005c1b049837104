/** Events to JSON and back: a field that the event does not use is left out. */
#include "terminal/protocol/event_json.h"

#include "terminal/json/json.h"
#include "terminal/protocol/bytes_json.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

/** Requests are known by their hexadecimal numbers. */
std::string request_text(std::uint32_t request)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", request);
    return text;
}

std::uint32_t request_number(const std::string& text)
{
    std::uint32_t number = 0;
    const char* end = text.data() + text.size();
    if (!text.starts_with("0x") || std::from_chars(text.data() + 2, end, number, 16).ptr != end)
        throw std::invalid_argument("request must be a text \"0x…\"");
    return number;
}

bool carries_data(const event& happened)
{
    return !happened.data.empty() || happened.kind == "read" || happened.kind == "write" || happened.kind == "shell" ||
           happened.kind == "syslog";
}

} // namespace

json json_of(const event& happened)
{
    json object = {{"seq", happened.seq}, {"time", std::round(happened.time_s * 1e6) / 1e6}, {"pid", happened.pid}};
    if (happened.tid != happened.pid)
        object["tid"] = happened.tid;
    object["kind"] = happened.kind;
    if (happened.kind == "syslog" || happened.priority != 0)
        object["priority"] = happened.priority;
    if (!happened.path.empty())
        put_bytes(object, "path", happened.path);
    if (!happened.flags.empty())
        object["flags"] = happened.flags;
    if (happened.request != 0)
        object["request"] = request_text(happened.request);
    if (happened.size != 0)
        object["size"] = happened.size;
    if (happened.offset != 0)
        object["offset"] = happened.offset;
    if (carries_data(happened))
        put_bytes(object, "data", happened.data);
    if (!happened.arguments.empty()) {
        json& list = object["arguments"] = json::array();
        for (const std::string& each : happened.arguments) {
            json entry = json::object();
            put_bytes(entry, "text", each);
            list.push_back(entry.contains("text") ? entry["text"] : entry);
        }
    }
    const bool woken = happened.kind == "wake" && happened.error.empty();
    if (happened.kind == "exit" || woken || happened.result != 0)
        object["result"] = happened.result;
    if (happened.kind == "wake" || happened.slept_ms != 0)
        object["slept_ms"] = happened.slept_ms;
    if (!happened.error.empty())
        object["error"] = happened.error;
    return object;
}

event event_of(const json& object)
{
    event read;
    read.seq = object.value("seq", std::uint64_t{0});
    read.time_s = object.value("time", 0.0);
    read.pid = object.value("pid", 0);
    read.tid = object.value("tid", read.pid);
    read.kind = object.value("kind", "");
    read.path = get_bytes(object, "path").value_or("");
    read.flags = object.value("flags", "");
    read.data = get_bytes(object, "data").value_or("");
    read.size = object.value("size", std::uint64_t{0});
    read.offset = object.value("offset", std::uint64_t{0});
    if (object.contains("request"))
        read.request = request_number(object["request"].get<std::string>());
    read.priority = object.value("priority", 0);
    read.result = object.value("result", 0);
    read.slept_ms = object.value("slept_ms", std::uint64_t{0});
    if (object.contains("arguments"))
        for (const json& each : object["arguments"])
            read.arguments.push_back(each.is_object() ? get_bytes(each, "text").value_or("") : each.get<std::string>());
    read.error = object.value("error", "");
    return read;
}

std::string event_line(const event& happened)
{
    return json_of(happened).dump() + "\n";
}

} // namespace kt::terminal
