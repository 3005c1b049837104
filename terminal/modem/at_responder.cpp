/** Reading command lines and answering them. */
#include "terminal/modem/at_responder.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>
#include <utility>

namespace kt::terminal {

namespace {

constexpr char carriage_return = '\r';
constexpr char backspace = '\b';

char capital(char letter)
{
    return static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
}

bool is_digit(char letter)
{
    return letter >= '0' && letter <= '9';
}

std::string in_capitals(std::string_view command)
{
    std::string all;
    bool quoted = false;
    for (const char each : command) {
        quoted = quoted != (each == '"');
        all += quoted ? each : capital(each);
    }
    return all;
}

/** A result code, behind which no OK follows. */
bool is_result(std::string_view text)
{
    static constexpr std::string_view results[] = {"OK",        "ERROR",       "NO CARRIER", "BUSY",
                                                   "NO ANSWER", "NO DIALTONE", "+CME ERROR", "+CMS ERROR"};
    return text.starts_with("CONNECT") || std::any_of(std::begin(results), std::end(results), [&](auto result) {
               return text.starts_with(result) && (text.size() == result.size() || text[result.size()] == ':');
           });
}

/** Where "AT" begins in what was typed; nothing when it is no command line. */
std::optional<std::string_view> behind_attention(std::string_view line)
{
    for (std::size_t at = 0; at + 1 < line.size(); ++at)
        if (capital(line[at]) == 'A' && capital(line[at + 1]) == 'T')
            return line.substr(at + 2);
    return std::nullopt;
}

/** Takes the next command off a line of them: "+CSQ", "E0", "&D2", "D*99***1#"; a lone letter has no number. */
std::string next_command(std::string_view& left)
{
    while (!left.empty() && (left[0] == ' ' || left[0] == ';'))
        left.remove_prefix(1);
    if (left.empty())
        return {};
    std::size_t end = 1;
    if (left[0] == '+' || left[0] == '^' || left[0] == '$' || left[0] == '%') {
        bool quoted = false;
        for (; end < left.size() && (quoted || left[end] != ';'); ++end)
            quoted = quoted != (left[end] == '"');
    } else if (capital(left[0]) == 'D') {
        end = left.size();
    } else {
        if (left[0] == '&' && left.size() > 1)
            end = 2;
        while (end < left.size() &&
               (is_digit(left[end]) || (capital(left[0]) == 'S' && (left[end] == '=' || left[end] == '?'))))
            ++end;
    }
    std::string command = in_capitals(left.substr(0, end));
    left.remove_prefix(end);
    while (command.ends_with(' '))
        command.pop_back();
    return command;
}

} // namespace

std::string at_line(std::string_view text)
{
    return "\r\n" + std::string(text) + "\r\n";
}

/** One command line being carried out. */
class at_responder::line_run {
public:
    line_run(at_responder& modem, std::vector<at_action>& into) : modem_(modem), into_(into) {}

    void all(std::string_view left)
    {
        for (std::string command = next_command(left); !command.empty(); command = next_command(left)) {
            if (!one(command))
                return finish();
        }
        tell("OK");
        finish();
    }

private:
    /** False: the line is over. */
    bool one(const std::string& command)
    {
        if (const auto replaced = modem_.settings_.answers.find("AT" + command);
            replaced != modem_.settings_.answers.end())
            return replacement(replaced->second);
        if (command[0] == 'D')
            return dial(command.substr(1));
        return command[0] == '+' ? extended(command) : basic(command);
    }

    bool replacement(const std::string& text)
    {
        if (text.find(carriage_return) != std::string::npos) {
            said_ += text;
            return false;
        }
        if (text.empty())
            return true;
        tell(text);
        return !is_result(text) || text == "OK";
    }

    bool dial(std::string number)
    {
        std::erase(number, ' ');
        if (number.empty() || number == ";")
            return error();
        finish();
        into_.push_back({at_action::kind::dial, number});
        return false;
    }

    bool basic(const std::string& command)
    {
        const bool has_prefix = command[0] == '&';
        const std::size_t letters = has_prefix ? 2 : 1;
        if (command.size() < letters)
            return error();
        const std::string name = command.substr(0, letters);
        const std::string value = command.substr(letters);
        const int number = value.empty() ? 0 : value.size() == 1 && is_digit(value[0]) ? value[0] - '0' : 10;
        if (name == "S")
            return setting(value);
        if (number > 9)
            return error();
        if (name == "E" && number <= 1)
            modem_.echo_ = number == 1;
        else if (name == "I")
            identify(number);
        else if (name == "Z" || name == "&F") {
            hang_up();
            modem_.reset();
        } else if (name == "H" && number <= 1)
            hang_up();
        else if (name == "O") {
            finish();
            into_.push_back({at_action::kind::go_online, ""});
            return false;
        } else if (name == "&D" && number <= 2)
            modem_.on_dtr_drop_ = number;
        else if (name == "&C" && number <= 1)
            modem_.shows_carrier_ = number == 1;
        else if (!(name == "V" && number == 1) && !(name == "Q" && number == 0) && name != "X" && name != "L" &&
                 name != "M" && name != "&K" && name != "&S" && name != "&W")
            return error();
        return true;
    }

    /** S registers are taken, and not kept. */
    bool setting(const std::string& value)
    {
        if (value.ends_with('?'))
            tell("000");
        else if (value.find('=') == std::string::npos)
            return error();
        return true;
    }

    void identify(int which)
    {
        if (which == 0) {
            tell("KESTREL");
            tell("KT-M10");
        }
        tell("Revision: KT-M10 1.04");
    }

    bool extended(const std::string& command)
    {
        const modem_settings& settings = modem_.settings_;
        const bool has_sim = settings.sim != "missing";
        const bool found = has_sim && !settings.network.empty();
        const auto is = [&](std::string_view name) { return command == name; };
        const auto value_of = [&](std::string_view name) -> std::optional<std::string> {
            return command.starts_with(name) ? std::optional(command.substr(name.size())) : std::nullopt;
        };
        if (is("+CSQ"))
            tell("+CSQ: " + std::to_string(settings.signal) + ",99");
        else if (is("+CPIN?")) {
            if (!has_sim)
                return error(10, "SIM not inserted");
            tell("+CPIN: " + settings.sim);
        } else if (is("+COPS?"))
            tell(found ? "+COPS: 0,0,\"" + settings.network + "\"" : "+COPS: 0");
        else if (is("+CREG?") || is("+CGREG?"))
            tell(command.substr(0, command.size() - 1) + (found ? ": 0,1" : ": 0,0"));
        else if (is("+CGATT?"))
            tell(found ? "+CGATT: 1" : "+CGATT: 0");
        else if (is("+CSUB"))
            tell("+CSUB: A1");
        else if (is("+CFUN?"))
            tell("+CFUN: 1");
        else if (is("+CGMI"))
            tell("KESTREL");
        else if (is("+CGMM"))
            tell("KT-M10");
        else if (is("+CGMR"))
            tell("KT-M10 1.04");
        else if (is("+CGSN"))
            tell("004401234567895");
        else if (is("+CIMI") && has_sim)
            tell("001010123456789");
        else if (is("+CGDCONT?"))
            tell("+CGDCONT: " + modem_.context_);
        else if (const auto context = value_of("+CGDCONT="); context && !context->empty())
            modem_.context_ = *context;
        else if (const auto detail = value_of("+CMEE=");
                 detail && detail->size() == 1 && (*detail)[0] <= '2' && (*detail)[0] >= '0')
            modem_.error_detail_ = (*detail)[0] - '0';
        else if (is("+CMUX=0") && modem_.physical_) {
            finish();
            into_.push_back({at_action::kind::multiplex, ""});
            return false;
        } else if (!is("+CFUN=1") && !is("+COPS=0") && !value_of("+CREG=") && !value_of("+CGREG="))
            return error();
        return true;
    }

    void hang_up()
    {
        finish();
        into_.push_back({at_action::kind::hang_up, ""});
    }

    bool error()
    {
        tell("ERROR");
        return false;
    }

    bool error(int number, const char* text)
    {
        if (modem_.error_detail_ == 0)
            return error();
        tell("+CME ERROR: " + (modem_.error_detail_ == 1 ? std::to_string(number) : text));
        return false;
    }

    void tell(std::string_view text) { said_ += at_line(text); }

    void finish()
    {
        if (!said_.empty())
            into_.push_back({at_action::kind::answer, std::exchange(said_, {})});
    }

    at_responder& modem_;
    std::vector<at_action>& into_;
    std::string said_;
};

std::vector<at_action> at_responder::feed(std::string_view bytes)
{
    std::vector<at_action> actions;
    std::string echo;
    const auto tell_echo = [&] {
        if (!echo.empty())
            actions.push_back({at_action::kind::echo, std::exchange(echo, {})});
    };
    for (const char byte : bytes) {
        if (echo_)
            echo += byte;
        if (byte == carriage_return) {
            tell_echo();
            const std::string line = std::exchange(line_, {});
            const std::size_t before = actions.size();
            if (line.size() > longest_line)
                actions.push_back({at_action::kind::answer, at_line("ERROR")});
            else
                run(line, actions);
            if (std::any_of(actions.begin() + static_cast<std::ptrdiff_t>(before), actions.end(),
                            [](const at_action& each) {
                                return each.what == at_action::kind::dial || each.what == at_action::kind::go_online ||
                                       each.what == at_action::kind::multiplex;
                            }))
                return actions;
        } else if (byte == backspace) {
            if (!line_.empty())
                line_.pop_back();
        } else if (byte != '\n' && line_.size() <= longest_line) {
            line_ += byte;
        }
    }
    tell_echo();
    return actions;
}

void at_responder::reset()
{
    echo_ = true;
    on_dtr_drop_ = 2;
    shows_carrier_ = false;
    error_detail_ = 2;
}

void at_responder::run(std::string_view line, std::vector<at_action>& into)
{
    if (const auto commands = behind_attention(line))
        line_run(*this, into).all(*commands);
}

} // namespace kt::terminal
