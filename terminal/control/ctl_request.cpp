/** The commands of `ctl`, each a few lines from words to keys. */
#include "terminal/control/ctl_request.h"

#include "terminal/control/ctl_card_request.h"
#include "terminal/control/ctl_clock_request.h"
#include "terminal/control/ctl_device_request.h"
#include "terminal/control/ctl_input_request.h"
#include "terminal/control/ctl_line_request.h"
#include "terminal/control/ctl_sleep_request.h"
#include "terminal/json/json.h"
#include "terminal/protocol/bytes_json.h"

#include <algorithm>
#include <charconv>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;
using word_list = std::vector<std::string>;

bool contains(const word_list& list, const std::string& word)
{
    return std::find(list.begin(), list.end(), word) != list.end();
}

json about_path(const char* operation, const std::string& path)
{
    json request = {{"op", operation}};
    put_bytes(request, "path", path);
    return request;
}

json set_request(const word_list& words)
{
    const ctl_words said(words, {"--mode", "--kind"}, {"-n"});
    const auto& operands = said.operands(2, 2);
    json request = about_path("set", operands[0]);
    put_bytes(request, "text", operands[1] + (said.has("-n") ? "" : "\n"));
    if (said.has("--mode"))
        request["mode"] = said.value("--mode");
    if (said.has("--kind"))
        request["kind"] = said.value("--kind");
    return request;
}

json fail_request(const word_list& words)
{
    const ctl_words said(words, {"--on", "--errno", "--delay", "--times", "--skip"}, {"--hang"});
    json request = about_path("fail", said.operands(1, 1)[0]);
    request["on"] = said.has("--on") ? said.value("--on") : "open";
    if (said.has("--errno"))
        request["error"] = said.value("--errno");
    else if (!said.has("--delay") && !said.has("--hang"))
        request["error"] = "EIO";
    if (said.has("--delay"))
        request["delay_ms"] = said.number("--delay");
    if (said.has("--hang"))
        request["hang"] = true;
    if (said.has("--times"))
        request["times"] = said.number("--times");
    if (said.has("--skip"))
        request["skip"] = said.number("--skip");
    return request;
}

json mend_request(const word_list& words)
{
    const ctl_words said(words, {}, {});
    json request = {{"op", "mend"}};
    if (const auto& operands = said.operands(0, 1); !operands.empty())
        request["rule"] = whole_number("the rule", operands[0]);
    return request;
}

json wait_request(const word_list& words)
{
    const ctl_words said(words, {"--kind", "--path", "--data", "--after", "--timeout"}, {});
    (void)said.operands(0, 0);
    json request = {{"op", "wait"}};
    for (const char* name : {"kind", "path", "data"})
        if (const std::string option = std::string("--") + name; said.has(option))
            put_bytes(request, name, said.value(option));
    if (said.has("--after"))
        request["after"] = said.number("--after");
    if (said.has("--timeout"))
        request["timeout_ms"] = said.number("--timeout");
    return request;
}

json program_request(const word_list& words)
{
    const ctl_words said(words, {"--status", "--output", "--run", "--power"}, {});
    json request = {{"op", "program"}};
    put_bytes(request, "name", said.operands(1, 1)[0]);
    if (said.has("--status"))
        request["status"] = said.number("--status");
    for (const char* name : {"output", "run"})
        if (const std::string option = std::string("--") + name; said.has(option))
            put_bytes(request, name, said.value(option));
    if (said.has("--power"))
        request["power"] = said.value("--power") == "none" ? "" : said.value("--power");
    return request;
}

json act_request(const std::string& verb, const std::string& thing)
{
    json request = {{"op", "act"}};
    put_bytes(request, "verb", verb);
    put_bytes(request, "thing", thing);
    return request;
}

} // namespace

long long whole_number(const std::string& what, const std::string& text)
{
    long long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() || number < 0)
        throw usage_error(what + " must be a whole number, not \"" + text + "\"");
    return number;
}

ctl_words::ctl_words(const word_list& words, const word_list& options, const word_list& flags)
{
    bool only_operands = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (only_operands || word.size() < 2 || word[0] != '-') {
            operands_.push_back(word);
        } else if (word == "--") {
            only_operands = true;
        } else if (contains(flags, word)) {
            options_.emplace_back(word, "");
        } else if (contains(options, word)) {
            if (i + 1 == words.size())
                throw usage_error(word + " wants a value");
            options_.emplace_back(word, words[++i]);
        } else {
            throw usage_error("unknown option " + word + " (behind \"--\" it is a text)");
        }
    }
}

const word_list& ctl_words::operands(std::size_t least, std::size_t most) const
{
    if (operands_.size() < least)
        throw usage_error("a word is missing");
    if (operands_.size() > most)
        throw usage_error("\"" + operands_[most] + "\" is a word too many");
    return operands_;
}

bool ctl_words::has(const std::string& option) const
{
    return std::any_of(options_.begin(), options_.end(), [&](const auto& each) { return each.first == option; });
}

/** The last one said; has() must be true. */
const std::string& ctl_words::value(const std::string& option) const
{
    return std::find_if(options_.rbegin(), options_.rend(), [&](const auto& each) { return each.first == option; })
        ->second;
}

long long ctl_words::number(const std::string& option) const
{
    return whole_number(option, value(option));
}

json ctl_request(const std::string& command, const word_list& words)
{
    if (command == "get" || command == "remove")
        return about_path(command.c_str(), ctl_words(words, {}, {}).operands(1, 1)[0]);
    if (command == "list") {
        const ctl_words said(words, {}, {});
        return about_path("list", said.operands(0, 1).empty() ? "/" : said.operands(0, 1)[0]);
    }
    if (command == "set")
        return set_request(words);
    if (command == "fail")
        return fail_request(words);
    if (command == "mend")
        return mend_request(words);
    if (command == "wait")
        return wait_request(words);
    if (command == "program")
        return program_request(words);
    if (command == "plug" || command == "unplug")
        return act_request(command, ctl_words(words, {}, {}).operands(1, 1)[0]);
    if (command == "act") {
        const ctl_words said(words, {}, {});
        return act_request(said.operands(2, 2)[0], said.operands(2, 2)[1]);
    }
    if (command == "faults" || command == "actions" || command == "stop" || command == "hello") {
        (void)ctl_words(words, {}, {}).operands(0, 0);
        return {{"op", command}};
    }
    if (json request = ctl_input_request(command, words); !request.is_null())
        return request;
    if (json about_sleep = ctl_sleep_request(command, words); !about_sleep.is_null())
        return about_sleep;
    if (json about_device = ctl_device_request(command, words); !about_device.is_null())
        return about_device;
    if (json about_card = ctl_card_request(command, words); !about_card.is_null())
        return about_card;
    if (json about_clock = ctl_clock_request(command, words); !about_clock.is_null())
        return about_clock;
    return ctl_line_request(command, words);
}

} // namespace kt::terminal
