/** Times as people write them, to seconds since 1970 and back. */
#include "terminal/control/ctl_clock_request.h"

#include "terminal/control/ctl_request.h"
#include "terminal/json/json.h"

#include <chrono>
#include <cmath>
#include <cstdio>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

/** "1700000000", "1700000000.5", or "2026-11-15 10:00:00" in UTC. */
json seconds_of(const std::string& text)
{
    using namespace std::chrono;
    int parts[6];
    int length = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%n", &parts[0], &parts[1], &parts[2], &parts[3], &parts[4],
                    &parts[5], &length) == 6 &&
        static_cast<std::size_t>(length) == text.size()) {
        const year_month_day date(year(parts[0]), month(static_cast<unsigned>(parts[1])),
                                  day(static_cast<unsigned>(parts[2])));
        const bool is_time =
            parts[3] >= 0 && parts[3] < 24 && parts[4] >= 0 && parts[4] < 60 && parts[5] >= 0 && parts[5] < 60;
        if (date.ok() && is_time)
            return (sys_days(date).time_since_epoch() + hours(parts[3]) + minutes(parts[4]) + seconds(parts[5]))
                .count();
    }
    json number = parsed_json(text, nullptr, false);
    if (!number.is_number())
        throw usage_error("a time is a number of seconds or \"YYYY-MM-DD HH:MM:SS\", not \"" + text + "\"");
    return number;
}

/** With milliseconds if @p time has them. */
std::string calendar_text(const json& time)
{
    const double all = time.get<double>();
    const double whole = std::floor(all);
    const auto count = static_cast<std::time_t>(whole);
    tm parts{};
    char text[48];
    gmtime_r(&count, &parts);
    std::string made(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts));
    if (time.is_number_float()) {
        std::snprintf(text, sizeof text, ".%03d", static_cast<int>((all - whole) * 1000));
        made += text;
    }
    return made + " UTC";
}

} // namespace

json ctl_clock_request(const std::string& command, const std::vector<std::string>& words)
{
    if (command != "clock")
        return nullptr;
    const ctl_words said(words, {}, {});
    const auto& operands = said.operands(0, 2);
    json request = {{"op", "clock"}};
    if (operands.empty())
        return request;
    if (operands.size() != 2 || (operands[0] != "set" && operands[0] != "advance"))
        throw usage_error("behind \"clock\" stands nothing, \"set TIME\" or \"advance MS\"");
    if (operands[0] == "set")
        request["set"] = seconds_of(operands[1]);
    else
        request["advance_ms"] = whole_number("MS", operands[1]);
    return request;
}

std::string ctl_clock_text(const json& answer)
{
    std::string text = calendar_text(answer.at("time")) + "\n";
    text += "offset_ms " + answer.at("offset_ms").dump() + "\n";
    text += "rtc " + (answer.at("rtc").is_null() ? "none" : calendar_text(answer.at("rtc"))) + "\n";
    return text;
}

} // namespace kt::terminal
