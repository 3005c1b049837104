/** The only source of the cards that sees JSON. */
#include "terminal/cards/card_file.h"

#include "terminal/json/json.h"
#include "terminal/json/strict_json.h"

#include <charconv>
#include <set>
#include <stdexcept>
#include <utility>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

[[noreturn]] void wrong(const std::string& name, const std::string& what)
{
    throw std::invalid_argument("a card's \"" + name + "\" must be " + what);
}

unsigned digit(const std::string& name, char c)
{
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A' + 10);
    wrong(name, "pairs of hexadecimal digits");
}

std::string bytes_of(const std::string& name, const json& value)
{
    if (!value.is_string())
        wrong(name, "hexadecimal digits");
    std::string digits;
    for (const char c : value.get_ref<const std::string&>())
        if (c != ' ' || digits.size() % 2 != 0)
            digits += c;
    if (digits.size() % 2 != 0)
        wrong(name, "pairs of hexadecimal digits");
    std::string bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2)
        bytes += static_cast<char>(digit(name, digits[at]) << 4 | digit(name, digits[at + 1]));
    return bytes;
}

std::string digits_of(std::string_view bytes)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::uint32_t number_of(const std::string& name, const json& value, std::uint32_t most)
{
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most)
        wrong(name, "a whole number up to " + std::to_string(most));
    return static_cast<std::uint32_t>(value.get<std::uint64_t>());
}

std::uint32_t key_of(const std::string& name, const std::string& key, std::uint32_t count)
{
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), number);
    if (error != std::errc() || end != key.data() + key.size() || number >= count)
        wrong(name, "an object whose names are numbers below " + std::to_string(count));
    return number;
}

} // namespace

struct card_file::content {
    json object = json::object();
    mutable std::set<std::string, std::less<>> asked{};

    const json* find(const std::string& name) const
    {
        asked.insert(name);
        const auto found = object.find(name);
        return found == object.end() ? nullptr : &*found;
    }
};

card_file::card_file() : content_(std::make_unique<content>()) {}

card_file::card_file(std::unique_ptr<content> held) : content_(std::move(held)) {}

card_file::card_file(std::string_view text) : card_file()
{
    constexpr int deepest = 16;
    try {
        content_->object = parsed_json(text, strict_json(deepest), false, true);
    } catch (const std::invalid_argument& refused) {
        throw std::invalid_argument(std::string("a card's file cannot be read: ") + refused.what());
    }
    if (!content_->object.is_object())
        throw std::invalid_argument("a card's file is one JSON object");
}

card_file::~card_file() = default;
card_file::card_file(card_file&&) noexcept = default;
card_file& card_file::operator=(card_file&&) noexcept = default;

bool card_file::has(const std::string& name) const
{
    return content_->find(name) != nullptr;
}

std::string card_file::text(const std::string& name, const std::string& absent) const
{
    const json* const value = content_->find(name);
    if (value == nullptr)
        return absent;
    if (!value->is_string())
        wrong(name, "a text");
    return value->get<std::string>();
}

std::uint32_t card_file::number(const std::string& name, std::uint32_t absent, std::uint32_t most) const
{
    const json* const value = content_->find(name);
    return value == nullptr ? absent : number_of(name, *value, most);
}

bool card_file::flag(const std::string& name, bool absent) const
{
    const json* const value = content_->find(name);
    if (value == nullptr)
        return absent;
    if (!value->is_boolean())
        wrong(name, "true or false");
    return value->get<bool>();
}

std::optional<std::string> card_file::bytes(const std::string& name) const
{
    const json* const value = content_->find(name);
    if (value == nullptr)
        return std::nullopt;
    return bytes_of(name, *value);
}

std::string card_file::bytes_like(const std::string& name, const std::string& absent) const
{
    std::string given = bytes(name).value_or(absent);
    if (given.size() != absent.size())
        wrong(name, std::to_string(absent.size()) + " bytes in hexadecimal digits");
    return given;
}

std::map<std::uint32_t, std::string> card_file::blocks(const std::string& name, std::size_t size,
                                                       std::uint32_t count) const
{
    std::map<std::uint32_t, std::string> read;
    const json* const value = content_->find(name);
    if (value == nullptr)
        return read;
    if (!value->is_object())
        wrong(name, "an object of numbered blocks");
    for (const auto& [key, block] : value->items()) {
        std::string given = bytes_of(name, block);
        if (given.size() != size)
            wrong(name, "blocks of " + std::to_string(size) + " bytes");
        if (!read.emplace(key_of(name, key, count), std::move(given)).second)
            wrong(name, "an object that has each number once");
    }
    return read;
}

std::map<std::uint32_t, std::uint32_t> card_file::numbers(const std::string& name, std::uint32_t count,
                                                          std::uint32_t most) const
{
    std::map<std::uint32_t, std::uint32_t> read;
    const json* const value = content_->find(name);
    if (value == nullptr)
        return read;
    if (!value->is_object())
        wrong(name, "an object of numbers");
    for (const auto& [key, each] : value->items())
        if (!read.emplace(key_of(name, key, count), number_of(name, each, most)).second)
            wrong(name, "an object that has each number once");
    return read;
}

std::vector<card_file> card_file::list(const std::string& name) const
{
    std::vector<card_file> read;
    const json* const value = content_->find(name);
    if (value == nullptr)
        return read;
    if (!value->is_array())
        wrong(name, "a list of objects");
    for (const json& each : *value) {
        if (!each.is_object())
            wrong(name, "a list of objects");
        auto held = std::make_unique<content>();
        held->object = each;
        read.push_back(card_file(std::move(held)));
    }
    return read;
}

void card_file::all_known() const
{
    for (const auto& [name, value] : content_->object.items())
        if (!content_->asked.contains(name))
            throw std::invalid_argument("such a card has no \"" + name + "\"");
}

card_file& card_file::put_head(const std::string& kind, const std::string& name)
{
    put("card", kind);
    return name.empty() ? *this : put("name", name);
}

card_file& card_file::put(const std::string& name, const std::string& text)
{
    content_->object[name] = text;
    return *this;
}

card_file& card_file::put_number(const std::string& name, std::uint32_t value)
{
    content_->object[name] = value;
    return *this;
}

card_file& card_file::put_flag(const std::string& name, bool value)
{
    content_->object[name] = value;
    return *this;
}

card_file& card_file::put_bytes(const std::string& name, std::string_view bytes)
{
    content_->object[name] = digits_of(bytes);
    return *this;
}

card_file& card_file::put_blocks(const std::string& name, const std::map<std::uint32_t, std::string>& blocks)
{
    json object = json::object();
    for (const auto& [number, bytes] : blocks)
        object[std::to_string(number)] = digits_of(bytes);
    content_->object[name] = std::move(object);
    return *this;
}

card_file& card_file::put_numbers(const std::string& name, const std::map<std::uint32_t, std::uint32_t>& numbers)
{
    json object = json::object();
    for (const auto& [number, value] : numbers)
        object[std::to_string(number)] = value;
    content_->object[name] = std::move(object);
    return *this;
}

card_file& card_file::put_list(const std::string& name, const std::vector<card_file>& items)
{
    json list = json::array();
    for (const card_file& each : items)
        list.push_back(each.content_->object);
    content_->object[name] = std::move(list);
    return *this;
}

std::string card_file::written() const
{
    return content_->object.dump(4, ' ', false, json::error_handler_t::replace) + "\n";
}

} // namespace kt::terminal
