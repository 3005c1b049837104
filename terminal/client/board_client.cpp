/** What a test does to keys, panel, battery, sleep and clock, as requests. */
#include "terminal/client/connection.h"
#include "terminal/json/json.h"
#include "terminal/json/strict_json.h"

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

json with_members(const char* operation, std::string_view members)
{
    json request = {{"op", operation}};
    request.update(parsed_json(members));
    return request;
}

} // namespace

void virtual_terminal::press(std::string_view key)
{
    (void)connection_->ask({{"op", "press"}, {"key", key}});
}

void virtual_terminal::release(std::string_view key)
{
    (void)connection_->ask({{"op", "release"}, {"key", key}});
}

void virtual_terminal::type(std::initializer_list<std::string_view> keys)
{
    json all = json::array();
    for (const std::string_view key : keys)
        all.push_back(key);
    (void)connection_->ask({{"op", "type"}, {"keys", std::move(all)}});
}

void virtual_terminal::hold_key(std::string_view key, std::chrono::milliseconds time)
{
    (void)connection_->ask({{"op", "hold"}, {"key", key}, {"ms", time.count()}});
}

void virtual_terminal::tap(int x, int y)
{
    (void)connection_->ask({{"op", "tap"}, {"x", x}, {"y", y}});
}

void virtual_terminal::drag(int from_x, int from_y, int to_x, int to_y)
{
    (void)connection_->ask({{"op", "drag"}, {"from", {from_x, from_y}}, {"to", {to_x, to_y}}});
}

void virtual_terminal::input(std::string_view path, const std::vector<input_event_value>& events)
{
    json all = json::array();
    for (const input_event_value& each : events)
        all.push_back({each.type, each.code, each.value});
    (void)connection_->ask({{"op", "input"}, {"path", path}, {"events", std::move(all)}});
}

void virtual_terminal::wake(int event)
{
    (void)connection_->ask({{"op", "wake"}, {"event", event}});
}

std::string virtual_terminal::sleep(std::string_view members)
{
    return connection_->ask(with_members("sleep", members)).dump();
}

std::string virtual_terminal::battery(std::string_view members)
{
    return connection_->ask(with_members("battery", members)).dump();
}

std::string virtual_terminal::tamper(std::string_view members)
{
    return connection_->ask(with_members("tamper", members)).dump();
}

std::string virtual_terminal::clock(std::string_view members)
{
    return connection_->ask(with_members("clock", members)).dump();
}

std::string virtual_terminal::reader(std::string_view members)
{
    return connection_->ask(with_members("reader", members)).dump();
}

std::string virtual_terminal::card(std::string_view members)
{
    return connection_->ask(with_members("card", members)).dump();
}

std::string virtual_terminal::apdu(std::string_view members)
{
    return connection_->ask(with_members("apdu", members)).dump();
}

std::string virtual_terminal::phone(std::string_view members)
{
    return connection_->ask(with_members("phone", members)).dump();
}

void virtual_terminal::tap_card(std::string_view file)
{
    constexpr int deepest = 16; // what the terminal takes
    (void)connection_->ask({{"op", "card"}, {"tap", parsed_json(file, strict_json(deepest), true, true)}});
}

void virtual_terminal::remove_cards()
{
    (void)connection_->ask({{"op", "card"}, {"remove", true}});
}

} // namespace kt::terminal
