/** The `ctl` commands for serial lines, each a few lines from words to keys. */
#include "terminal/control/ctl_line_request.h"

#include "terminal/control/ctl_request.h"
#include "terminal/json/json.h"
#include "terminal/protocol/bytes_json.h"

#include <algorithm>
#include <charconv>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;
using word_list = std::vector<std::string>;

json about(const char* operation, const std::string& path)
{
    json request = {{"op", operation}};
    put_bytes(request, "path", path);
    return request;
}

/** NAME=VALUE: a number, a letter for the parity, or on and off. */
void set_value(json& request, const std::string& word)
{
    const std::size_t sign = word.find('=');
    const std::string name = word.substr(0, sign);
    if (sign == std::string::npos || name.empty() || name == "op" || name == "path")
        throw usage_error("\"" + word + "\" should be NAME=VALUE");
    const std::string value = word.substr(sign + 1);
    if (name == "speed" || name == "data_bits" || name == "stop_bits")
        request[name] = whole_number(name, value);
    else if (name == "parity")
        request[name] = value;
    else if (value == "on" || value == "off")
        request[name] = value == "on";
    else
        throw usage_error(name + " is on or off, not \"" + value + "\"");
}

json with_values(const char* operation, const word_list& words)
{
    const ctl_words said(words, {}, {});
    const auto& operands = said.operands(1, 12);
    json request = about(operation, operands[0]);
    std::for_each(operands.begin() + 1, operands.end(), [&](const auto& word) { set_value(request, word); });
    return request;
}

json send_request(const word_list& words)
{
    const ctl_words said(words, {"--error"}, {"--break"});
    const bool is_break = said.has("--break");
    const auto& operands = is_break ? said.operands(1, 1) : said.operands(2, 2);
    json request = about("send", operands[0]);
    if (is_break)
        request["break"] = true;
    else
        put_bytes(request, "data", unescaped(operands[1]));
    if (said.has("--error"))
        request["error"] = said.value("--error");
    return request;
}

json expect_request(const word_list& words)
{
    const ctl_words said(words, {}, {});
    const auto& operands = said.operands(1, 3);
    json request = about("expect", operands[0]);
    if (operands.size() > 1)
        put_bytes(request, "data", unescaped(operands[1]));
    if (operands.size() > 2)
        request["timeout_ms"] = whole_number("MS", operands[2]);
    return request;
}

json bridge_request(const word_list& words)
{
    const ctl_words said(words, {}, {});
    const auto& operands = said.operands(2, 2);
    json request = about("bridge", operands[0]);
    request["to"] = operands[1];
    if (operands[1].starts_with("tcp:")) {
        request["to"] = "tcp";
        request["tcp_port"] = whole_number("the TCP port", operands[1].substr(4));
    }
    return request;
}

} // namespace

std::string unescaped(const std::string& text)
{
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
            continue;
        }
        const char kind = ++i < text.size() ? text[i] : '\0';
        if (kind == 'r') {
            bytes += '\r';
        } else if (kind == 'n') {
            bytes += '\n';
        } else if (kind == 't') {
            bytes += '\t';
        } else if (kind == '\\') {
            bytes += '\\';
        } else {
            unsigned value = 0;
            const char* digits = text.data() + std::min(i + 1, text.size());
            const char* end = text.data() + std::min(i + 3, text.size());
            if (kind != 'x' || std::from_chars(digits, end, value, 16).ptr != digits + 2)
                throw usage_error(R"(behind a backslash stands r, n, t, xHH or a backslash)");
            bytes += static_cast<char>(value);
            i += 2;
        }
    }
    return bytes;
}

json ctl_line_request(const std::string& command, const word_list& words)
{
    if (command == "port" || command == "line")
        return with_values(command.c_str(), words);
    if (command == "send")
        return send_request(words);
    if (command == "expect")
        return expect_request(words);
    if (command == "hang-up")
        return about("hang_up", ctl_words(words, {}, {}).operands(1, 1)[0]);
    if (command == "bridge")
        return bridge_request(words);
    return nullptr;
}

} // namespace kt::terminal
