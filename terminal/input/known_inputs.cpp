/** The kind "input" of profiles and of the control socket: its options, its node and its attributes. */
#include "terminal/input/input_device.h"

#include "terminal/json/json.h"
#include "terminal/model/board.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <stdexcept>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

constexpr std::string_view node_prefix = "/dev/input/event";
constexpr std::size_t longest_name = 255;

/** The N of "/dev/input/eventN". */
unsigned index_in(const std::string& path)
{
    constexpr std::size_t most_digits = 5;
    const std::string_view digits = std::string_view(path).substr(std::min(path.size(), node_prefix.size()));
    unsigned index = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
    if (!path.starts_with(node_prefix) || digits.empty() || digits.size() > most_digits || error != std::errc{} ||
        end != digits.data() + digits.size() || digits != std::to_string(index))
        throw std::invalid_argument(path + ": an input device is called /dev/input/eventN, with a number N");
    return index;
}

std::uint16_t number_of(const std::string& key, const json& given)
{
    constexpr unsigned most = 0xFFFF;
    if (!given.is_number_unsigned() || given > most)
        throw std::invalid_argument("\"" + key + "\" must be a whole number from 0 to " + std::to_string(most));
    return given.get<std::uint16_t>();
}

input_identity identity_in(const json& options)
{
    input_identity made;
    for (const auto& [key, value] : options.items()) {
        if (key == "kind")
            continue;
        if (key == "name" && value.is_string())
            made.name = value.get<std::string>();
        else if (key == "bus")
            made.bus = number_of(key, value);
        else if (key == "vendor")
            made.vendor = number_of(key, value);
        else if (key == "product")
            made.product = number_of(key, value);
        else if (key == "version")
            made.version = number_of(key, value);
        else if (key != "name")
            throw std::invalid_argument("\"" + key + "\" is no option of an input device");
    }
    const bool is_line =
        std::none_of(made.name.begin(), made.name.end(), [](char each) { return each == '\n' || each == '\0'; });
    if (made.name.empty() || made.name.size() > longest_name || !is_line)
        throw std::invalid_argument("\"name\" must be the input device's name, such as \"kt_touch\"");
    return made;
}

std::string four_digits(unsigned number)
{
    char text[8];
    std::snprintf(text, sizeof text, "%04x\n", number);
    return text;
}

/** Where folders, nothing or an attribute stand. */
bool has_room_for_attribute(const board& on, const std::string& path)
{
    for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
        const auto folder = on.find(path.substr(0, end));
        if (folder != nullptr && !folder->is_folder())
            return false;
    }
    return on.find(path) == nullptr || on.attribute(path);
}

void make_input(board& on, const std::string& path, const std::string& options)
{
    const json read = parsed_json(options, nullptr, false);
    if (!read.is_object())
        throw std::invalid_argument("an input device's options must be an object");
    const unsigned index = index_in(path);
    const input_identity identity = identity_in(read);
    const std::string folder = "/sys/class/input/event" + std::to_string(index) + "/device/";
    const std::pair<const char*, std::string> attributes[] = {
        {"name", identity.name + "\n"},
        {"id/bustype", four_digits(identity.bus)},
        {"id/vendor", four_digits(identity.vendor)},
        {"id/product", four_digits(identity.product)},
        {"id/version", four_digits(identity.version)},
    };
    for (const auto& [name, text] : attributes) // before anything is made: what others put there stays theirs
        if (!has_room_for_attribute(on, folder + name))
            throw std::invalid_argument(folder + name + ": the place is taken");
    if (!on.put_device(path, std::make_shared<input_device>(on, index, identity)))
        throw std::invalid_argument(path + ": the place is taken");
    for (const auto& [name, text] : attributes)
        (void)on.put_attribute(folder + name, {.text = text, .mode = 0444});
}

} // namespace

void know_inputs(board& known)
{
    known.set_device_maker("input", make_input);
}

} // namespace kt::terminal
