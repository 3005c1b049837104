/** Watches the names of all open objects while a text is parsed. */
#include "terminal/json/strict_json.h"

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace kt::terminal {

namespace {

class strict_filter {
public:
    using json = nlohmann::ordered_json;

    explicit strict_filter(int deepest) : deepest_(deepest) {}

    bool operator()(int depth, json::parse_event_t event, const json& parsed)
    {
        using part = json::parse_event_t;
        if ((event == part::object_start || event == part::array_start) && depth >= deepest_)
            throw std::invalid_argument("it is nested more than " + std::to_string(deepest_) + " deep");
        if (event == part::object_start)
            open_.emplace_back();
        else if (event == part::object_end)
            open_.pop_back();
        else if (event == part::key && !open_.back().insert(parsed.get<std::string>()).second)
            throw std::invalid_argument("\"" + parsed.get<std::string>() + "\" stands there twice");
        return true;
    }

private:
    int deepest_;
    std::vector<std::set<std::string>> open_{};
};

} // namespace

json_filter strict_json(int deepest)
{
    return strict_filter(deepest);
}

} // namespace kt::terminal
