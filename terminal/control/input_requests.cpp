/** The operations on keys and panels. */
#include "terminal/control/input_requests.h"

#include "terminal/control/request_values.h"
#include "terminal/input/input_device.h"
#include "terminal/input/keys.h"
#include "terminal/json/json.h"
#include "terminal/model/timers.h"

#include <limits>
#include <linux/input-event-codes.h>
#include <utility>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;
using std::chrono::milliseconds;

constexpr std::int64_t longest_gesture_ms = 600'000;
constexpr std::int64_t usual_steps = 8;
constexpr std::int64_t most_steps = 10'000;
constexpr std::int64_t most_events = 100'000;

std::uint16_t code_of(const json& key)
{
    if (key.is_number_unsigned() && key <= std::numeric_limits<std::uint16_t>::max())
        return key.get<std::uint16_t>();
    if (key.is_string())
        if (const auto code = key_code(key.get<std::string>()))
            return *code;
    throw refusal(key.dump(-1, ' ', false, json::error_handler_t::replace) + " is no key; keys are " + key_names() +
                  ", or the number of an input code");
}

const json& value_of(const json& asked, const char* name)
{
    const auto value = asked.find(name);
    if (value == asked.end())
        throw refusal("\"" + std::string(name) + "\" is missing");
    return *value;
}

std::int32_t coordinate(const json& value, const std::string& name)
{
    if (!value.is_number_unsigned() || value > std::numeric_limits<std::int32_t>::max())
        throw refusal("\"" + name + "\" must be a whole number, 0 or more");
    return value.get<std::int32_t>();
}

panel_point point_of(const json& asked, const char* name)
{
    const json& value = value_of(asked, name);
    if (!value.is_array() || value.size() != 2)
        throw refusal("\"" + std::string(name) + "\" must be two numbers, [x,y]");
    return {coordinate(value[0], name), coordinate(value[1], name)};
}

/** A whole number between the limits of a part of an event. */
template <typename Part>
Part part_of(const json& value)
{
    if (!value.is_number_integer() || (value.is_number_unsigned() && value > std::numeric_limits<Part>::max()) ||
        (!value.is_number_unsigned() && value < std::numeric_limits<Part>::min()))
        throw refusal("each of \"events\" must be [type,code,value]: two numbers of 16 bits and one of 32 with a sign");
    return value.get<Part>();
}

event_list events_of(const json& asked)
{
    const json& given = value_of(asked, "events");
    if (!given.is_array() || given.size() > most_events)
        throw refusal("\"events\" must be a list of [type,code,value]");
    event_list events;
    for (const json& each : given) {
        if (!each.is_array() || each.size() != 3)
            throw refusal("each of \"events\" must be [type,code,value]");
        events.push_back(
            {part_of<std::uint16_t>(each[0]), part_of<std::uint16_t>(each[1]), part_of<std::int32_t>(each[2])});
    }
    return events;
}

panel_kind kind_of(const input_device& panel)
{
    return panel.is_resistive() ? panel_kind::resistive : panel_kind::capacitive;
}

} // namespace

/** A gesture under way. If its request is given up, it ends at once: no key stays down because somebody went away. */
class input_requests::running {
public:
    running(std::shared_ptr<class input_device> on, gesture wanted, std::function<void()> try_again)
        : device_(std::move(on)), gesture_(std::move(wanted)), try_again_(std::move(try_again))
    {
    }
    ~running()
    {
        if (next_ > 0 && next_ < gesture_.size())
            happen(gesture_.back());
    }
    running(const running&) = delete;
    running& operator=(const running&) = delete;

    /** Lets happen what is due, in order and nothing left out. True: that was all. */
    bool go_on(bool all)
    {
        const auto now = timers::clock::now();
        for (; next_ < gesture_.size() && (all || begin_ + gesture_[next_].at <= now); ++next_)
            happen(gesture_[next_]);
        if (next_ == gesture_.size())
            return true;
        if (armed_for_ != next_)
            timers::shared().at(begin_ + gesture_[next_].at, try_again_);
        armed_for_ = next_;
        return false;
    }

    timers::clock::time_point end() const { return begin_ + gesture_.back().at; }

private:
    void happen(const timed_events& now) const { device_->touch(now.events); } // of a key too: only panels lose any

    const std::shared_ptr<class input_device> device_;
    const gesture gesture_;
    const std::function<void()> try_again_;
    const timers::clock::time_point begin_ = timers::clock::now();
    std::size_t next_ = 0;
    std::size_t armed_for_ = 0; // 0: for none, since the first step never waits
};

input_requests::input_requests(board& asked, std::function<void()> try_again)
    : board_(asked), try_again_(std::move(try_again))
{
}

/** The one at "path". */
std::shared_ptr<input_device> input_requests::device_of(const json& asked) const
{
    const std::string path = path_of(asked);
    if (auto found = input_device_at(board_, path))
        return found;
    throw refusal(path + (board_.find(path) != nullptr ? " is no input device" : " does not exist"));
}

/** The one at "path", if that is given, else the one of this name. */
std::shared_ptr<input_device> input_requests::device_for(const json& asked, const char* name) const
{
    if (optional_text(asked, "path"))
        return device_of(asked);
    if (auto found = input_device_named(board_, name))
        return found;
    throw refusal("the board has no input device \"" + std::string(name) + "\"; \"path\" can name another one");
}

std::shared_ptr<input_device> input_requests::keys_of(const json& asked, std::uint16_t code) const
{
    return device_for(asked, code == KEY_POWER ? device_name::buttons : device_name::keypad);
}

std::shared_ptr<input_device> input_requests::panel_of(const json& asked) const
{
    return device_for(asked, device_name::panel);
}

parked_request input_requests::perform(std::shared_ptr<class input_device> on, gesture wanted) const
{
    const auto under_way = std::make_shared<running>(std::move(on), std::move(wanted), try_again_);
    parked_request waiting;
    waiting.deadline = under_way->end();
    waiting.again = [under_way](bool late) -> std::optional<std::string> {
        if (!under_way->go_on(late))
            return std::nullopt;
        return accepted(json::object());
    };
    return waiting;
}

json input_requests::input_device(const json& asked)
{
    const std::string path = path_of(asked);
    if (board_.find(path) != nullptr)
        throw refusal(path + ": the place is taken");
    json options = {{"kind", "input"}, {"name", text_of(asked, "name")}};
    for (const char* number : {"bus", "vendor", "product", "version"})
        if (asked.contains(number))
            options[number] = asked[number];
    if (!board_.make_device("input", path, options.dump(-1, ' ', false, json::error_handler_t::replace)))
        throw refusal("this board knows no input devices");
    return json::object();
}

json input_requests::press(const json& asked)
{
    const std::uint16_t code = code_of(value_of(asked, "key"));
    keys_of(asked, code)->report(key_report(code, true));
    return json::object();
}

json input_requests::release(const json& asked)
{
    const std::uint16_t code = code_of(value_of(asked, "key"));
    keys_of(asked, code)->report(key_report(code, false));
    return json::object();
}

json input_requests::type(const json& asked)
{
    const json& keys = value_of(asked, "keys");
    if (!keys.is_array())
        throw refusal("\"keys\" must be a list of keys");
    std::vector<std::pair<std::shared_ptr<class input_device>, std::uint16_t>> all;
    for (const json& each : keys) {
        const std::uint16_t code = code_of(each);
        all.emplace_back(keys_of(asked, code), code);
    }
    for (const auto& [device, code] : all) { // nothing is refused from here on
        device->report(key_report(code, true));
        device->report(key_report(code, false));
    }
    return json::object();
}

parked_request input_requests::hold(const json& asked)
{
    const std::uint16_t code = code_of(value_of(asked, "key"));
    (void)value_of(asked, "ms");
    const milliseconds time(number_of(asked, "ms", 0, longest_gesture_ms));
    return perform(keys_of(asked, code), held_key(code, time));
}

json input_requests::tap(const json& asked)
{
    const panel_point at{coordinate(value_of(asked, "x"), "x"), coordinate(value_of(asked, "y"), "y")};
    const auto panel = panel_of(asked);
    for (const timed_events& each : tapped(kind_of(*panel), at))
        panel->touch(each.events);
    return json::object();
}

parked_request input_requests::drag(const json& asked)
{
    const panel_point from = point_of(asked, "from");
    const panel_point to = point_of(asked, "to");
    const auto steps = static_cast<int>(number_of(asked, "steps", usual_steps, most_steps));
    const milliseconds time(number_of(asked, "ms", 0, longest_gesture_ms));
    if (steps == 0)
        throw refusal("\"steps\" must be 1 or more");
    const auto panel = panel_of(asked);
    return perform(panel, dragged(kind_of(*panel), from, to, steps, time));
}

json input_requests::input(const json& asked)
{
    const auto device = device_of(asked);
    device->report(events_of(asked));
    return json::object();
}

} // namespace kt::terminal
