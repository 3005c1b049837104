/** Finding the terminal, asking it, printing what it says. */
#include "terminal/control/ctl.h"

#include "terminal/client/virtual_terminal.h"
#include "terminal/control/ctl_card_request.h"
#include "terminal/control/ctl_clock_request.h"
#include "terminal/control/ctl_device_request.h"
#include "terminal/control/ctl_request.h"
#include "terminal/control/event_text.h"
#include "terminal/control/socket_folder.h"
#include "terminal/json/json.h"
#include "terminal/own_folder.h"
#include "terminal/protocol/bytes_json.h"
#include "terminal/protocol/event_json.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <unistd.h>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;
using word_list = std::vector<std::string>;

constexpr int done = 0;
constexpr int refused = 1;
constexpr int nothing_came = 124; // as timeout(1)
constexpr int cannot = 125;       // as env(1)

void print(std::string_view text)
{
    std::cout << text << std::flush;
}

/** The socket to speak to: the one that was named, or that of the only terminal there is. */
std::string find_terminal(const std::string& name, const std::string& socket)
{
    if (!socket.empty())
        return socket;
    const word_list names = running_terminals();
    if (!name.empty()) {
        if (std::find(names.begin(), names.end(), name) != names.end())
            return socket_of(name);
        throw usage_error("no terminal is called " + name + "; see: kt-terminal ctl terminals");
    }
    if (names.size() == 1)
        return socket_of(names[0]);
    if (names.empty()) {
        if (access(own::control, F_OK) == 0) // said on the terminal itself
            return own::control;
        throw usage_error("no terminal is running");
    }
    std::string all;
    for (const std::string& each : names)
        all += " " + each;
    throw usage_error("several terminals are running, choose one by --name:" + all);
}

virtual_terminal connect(const std::string& socket)
{
    try {
        return virtual_terminal(socket);
    } catch (const terminal_error& error) {
        throw std::runtime_error(error.what()); // nobody refused: there is nobody
    }
}

json ask(virtual_terminal& terminal, const json& request)
{
    json answer = parsed_json(terminal.exchange(request.dump()));
    if (!answer.value("ok", false))
        throw terminal_error(get_bytes(answer, "error").value_or("refused"));
    return answer;
}

int list_terminals()
{
    for (const std::string& name : running_terminals()) {
        try {
            virtual_terminal terminal(socket_of(name));
            const json is = ask(terminal, {{"op", "hello"}});
            print(name + "\tboard " + is.value("board", "") + "\tprocess " + std::to_string(is.value("pid", 0)) + "\n");
        } catch (const terminal_error&) {
            // It ended meanwhile.
        }
    }
    return done;
}

int print_journal(virtual_terminal& terminal, const word_list& words)
{
    const ctl_words said(words, {"--from"}, {"--follow", "--json"});
    (void)said.operands(0, 0);
    std::uint64_t next = said.has("--from") ? static_cast<std::uint64_t>(said.number("--from")) : 1;
    for (;;) {
        const json answer = ask(terminal, {{"op", "journal"}, {"from", next}, {"most", 1000}});
        for (const json& each : answer.at("events")) {
            next = each.at("seq").get<std::uint64_t>() + 1;
            print((said.has("--json") ? each.dump() : event_text(event_of(each))) + "\n");
        }
        if (!answer.at("events").empty())
            continue;
        if (!said.has("--follow"))
            return done;
        try {
            (void)ask(terminal, {{"op", "wait"}, {"after", next - 1}, {"timeout_ms", 3'600'000}});
        } catch (const terminal_error&) {
            return done; // the terminal has ended
        }
    }
}

std::string program_text(const json& answer)
{
    std::string text = "status " + std::to_string(answer.value("status", 0)) + "\n";
    for (const char* key : {"output", "run", "power"})
        if (const std::string value = get_bytes(answer, key).value_or(""); !value.empty())
            text += std::string(key) + " " + value + (value.ends_with('\n') ? "" : "\n");
    return text;
}

/** A line's state as names and values; a framing of the other end's own in one line. */
std::string line_text(const json& answer)
{
    const auto value_text = [](const json& value) -> std::string {
        if (value.is_boolean())
            return value.get<bool>() ? "on" : "off";
        return value.is_string() ? value.get<std::string>() : value.dump();
    };
    std::string text;
    for (const auto& [name, value] : answer.items()) {
        if (name == "ok")
            continue;
        text += name;
        if (value.is_null())
            text += " follows";
        else if (!value.is_object())
            text += " " + value_text(value);
        else
            for (const auto& [inner_name, inner] : value.items())
                text += " " + inner_name + "=" + value_text(inner);
        text += "\n";
    }
    return text;
}

/** What a command that is one request prints of its answer. */
int print_answer(const std::string& command, const json& answer)
{
    if (command == "get") {
        print(get_bytes(answer, "text").value_or(""));
    } else if (command == "list") {
        for (const json& each : answer.at("names"))
            print(each.get<std::string>() + "\n");
    } else if (command == "fail") {
        print(answer.at("rule").dump() + "\n");
    } else if (command == "faults") {
        for (const json& each : answer.at("faults"))
            print(each.dump() + "\n");
    } else if (command == "actions") {
        for (const json& each : answer.at("actions"))
            print(each.at("verb").get<std::string>() + " " + each.at("thing").get<std::string>() + "\n");
    } else if (command == "program") {
        print(program_text(answer));
    } else if (command == "expect") {
        if (!answer.value("found", true))
            return nothing_came;
        print(get_bytes(answer, "data").value_or(""));
    } else if (command == "line") {
        print(line_text(answer));
    } else if (command == "bridge") {
        for (const char* end : {"pty", "tcp_port"})
            if (answer.contains(end))
                print((answer[end].is_string() ? answer[end].get<std::string>() : answer[end].dump()) + "\n");
    } else if (command == "card" || command == "apdu" || command == "phone") {
        if (command == "apdu" && answer.contains("apdu_hex") && answer["apdu_hex"].is_null())
            return nothing_came;
        print(ctl_card_text(answer));
    } else if (command == "clock") {
        print(ctl_clock_text(answer));
    } else if (command == "battery" || command == "tamper" || command == "sleep" || command == "reader") {
        print(ctl_state_text(answer));
    } else if (command == "hello") {
        print(answer.dump(4) + "\n");
    } else if (command == "wait") {
        if (answer.at("event").is_null())
            return nothing_came;
        print(event_text(event_of(answer.at("event"))) + "\n");
    }
    return done;
}

int run(word_list words)
{
    std::string name;
    std::string socket;
    while (words.size() >= 2 && (words[0] == "--name" || words[0] == "--control")) {
        (words[0] == "--name" ? name : socket) = words[1];
        words.erase(words.begin(), words.begin() + 2);
    }
    if (words.empty())
        throw usage_error("a command is missing");
    const std::string command = words[0];
    words.erase(words.begin());
    if (command == "--help" || command == "help") {
        print(ctl_help());
        return done;
    }
    if (command == "terminals")
        return list_terminals();

    const json request = ctl_request(command, words);
    if (request.is_null() && command != "journal" && command != "json")
        throw usage_error("\"" + command + "\" is no command");
    virtual_terminal terminal = connect(find_terminal(name, socket));
    if (command == "journal")
        return print_journal(terminal, words);
    if (command == "json") {
        const std::string answer = terminal.exchange(ctl_words(words, {}, {}).operands(1, 1)[0]);
        print(answer + "\n");
        return parsed_json(answer).value("ok", false) ? done : refused;
    }
    return print_answer(command, ask(terminal, request));
}

} // namespace

int ctl(const word_list& arguments)
{
    try {
        return run(arguments);
    } catch (const usage_error& error) {
        std::fprintf(stderr, "kt-terminal: ctl: %s (kt-terminal ctl --help tells more)\n", error.what());
        return cannot;
    } catch (const terminal_error& error) {
        std::fprintf(stderr, "kt-terminal: ctl: %s\n", error.what());
        return refused;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kt-terminal: ctl: %s\n", error.what());
        return cannot;
    }
}

} // namespace kt::terminal
