/** The `ctl` commands for keys and panels, each a few lines from words to keys. */
#include "terminal/control/ctl_input_request.h"

#include "terminal/control/ctl_request.h"
#include "terminal/json/json.h"
#include "terminal/protocol/bytes_json.h"

#include <charconv>
#include <limits>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;
using word_list = std::vector<std::string>;

/** The operation, and the device if one is named. */
json request_of(const std::string& operation, const ctl_words& said)
{
    json request = {{"op", operation}};
    if (said.has("--path"))
        put_bytes(request, "path", said.value("--path"));
    return request;
}

json key_request(const std::string& operation, const ctl_words& said)
{
    json request = request_of(operation, said);
    request["key"] = said.operands(1, 1)[0];
    return request;
}

json type_request(const ctl_words& said)
{
    json request = request_of("type", said);
    request["keys"] = said.operands(1, std::numeric_limits<std::size_t>::max());
    return request;
}

json hold_request(const ctl_words& said)
{
    json request = request_of("hold", said);
    const auto& operands = said.operands(2, 2);
    request["key"] = operands[0];
    request["ms"] = whole_number("MS", operands[1]);
    return request;
}

json tap_request(const ctl_words& said)
{
    json request = request_of("tap", said);
    const auto& operands = said.operands(2, 2);
    request["x"] = whole_number("X", operands[0]);
    request["y"] = whole_number("Y", operands[1]);
    return request;
}

json drag_request(const word_list& words)
{
    const ctl_words said(words, {"--path", "--steps", "--ms"}, {});
    json request = request_of("drag", said);
    const auto& operands = said.operands(4, 4);
    request["from"] = {whole_number("X1", operands[0]), whole_number("Y1", operands[1])};
    request["to"] = {whole_number("X2", operands[2]), whole_number("Y2", operands[3])};
    if (said.has("--steps"))
        request["steps"] = said.number("--steps");
    if (said.has("--ms"))
        request["ms"] = said.number("--ms");
    return request;
}

/** TYPE,CODE,VALUE: the value may have a sign. */
json event_of(const std::string& word)
{
    json event = json::array();
    const char* at = word.data();
    const char* const end = word.data() + word.size();
    for (;;) {
        long long number = 0;
        const auto [behind, error] = std::from_chars(at, end, number);
        if (error != std::errc{})
            break;
        event.push_back(number);
        if (behind == end && event.size() == 3)
            return event;
        if (behind == end || *behind != ',')
            break;
        at = behind + 1;
    }
    throw usage_error("\"" + word + "\" should be TYPE,CODE,VALUE: three numbers");
}

json raw_request(const word_list& words)
{
    const ctl_words said(words, {}, {});
    const auto& operands = said.operands(2, std::numeric_limits<std::size_t>::max());
    json request = {{"op", "input"}};
    put_bytes(request, "path", operands[0]);
    request["events"] = json::array();
    for (std::size_t i = 1; i < operands.size(); ++i)
        request["events"].push_back(event_of(operands[i]));
    return request;
}

json device_request_of(const word_list& words)
{
    const ctl_words said(words, {}, {});
    const auto& operands = said.operands(2, 6);
    json request = {{"op", "input_device"}};
    put_bytes(request, "path", operands[0]);
    put_bytes(request, "name", operands[1]);
    for (std::size_t i = 2; i < operands.size(); ++i) {
        const std::size_t sign = operands[i].find('=');
        const std::string name = operands[i].substr(0, sign);
        if (sign == std::string::npos || (name != "bus" && name != "vendor" && name != "product" && name != "version"))
            throw usage_error("\"" + operands[i] + "\" should be bus=, vendor=, product= or version= and a number");
        request[name] = whole_number(name, operands[i].substr(sign + 1));
    }
    return request;
}

} // namespace

json ctl_input_request(const std::string& command, const word_list& words)
{
    const auto said = [&] { return ctl_words(words, {"--path"}, {}); };
    if (command == "press" || command == "release")
        return key_request(command, said());
    if (command == "type")
        return type_request(said());
    if (command == "hold")
        return hold_request(said());
    if (command == "tap")
        return tap_request(said());
    if (command == "drag")
        return drag_request(words);
    if (command == "input")
        return raw_request(words);
    if (command == "input-device")
        return device_request_of(words);
    return nullptr;
}

} // namespace kt::terminal
