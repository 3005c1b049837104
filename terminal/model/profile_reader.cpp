/** The sections and values of a profile's file. */
#include "terminal/model/profile_reader.h"

#include "terminal/json/json.h"
#include "terminal/json/strict_json.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

constexpr int most_ancestors = 8;
constexpr int deepest = 32;
constexpr std::size_t page = 4096; // what an attribute can show

/** Takes away what places of another map are taken away for, with all below them. */
template <typename Changes, typename Others>
void take_away(Changes& below, const Others& above)
{
    for (const auto& [path, state] : above) {
        if (state)
            continue;
        const std::string inside = path + "/";
        std::erase_if(below, [&, &path = path](const auto& each) {
            return each.first == path || each.first.starts_with(inside);
        });
    }
}

/** Lays changes over changes. */
template <typename Changes>
void lay_over(Changes& below, const Changes& above)
{
    for (const auto& [path, state] : above)
        if (state)
            below.insert_or_assign(path, state);
}

json parse(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    if (!stream)
        throw profile_error(file + ": cannot be read");
    try {
        constexpr bool throwing = true;
        constexpr bool comments = true;
        return parsed_json(text, strict_json(deepest), throwing, comments);
    } catch (const json::parse_error& error) {
        const std::string what = error.what(); // "[json.exception.parse_error.101] parse error at line 3, column 5: …"
        throw profile_error(file + ": " + what.substr(std::min(what.find("] ") + 2, what.size())));
    } catch (const std::invalid_argument& error) {
        throw profile_error(file + ": " + error.what());
    }
}

bool is_file_name(const std::string& board)
{
    return board.find('/') != std::string::npos || board.ends_with(".json");
}

} // namespace

std::string profile_reader::file_of(const std::string& board, const std::string& folder) const
{
    if (is_file_name(board))
        return (std::filesystem::path(folder) / board).lexically_normal();
    return boards_folder_ + "/" + board + ".json";
}

void profile_reader::lay(const std::string& path, int depth)
{
    if (depth > most_ancestors)
        throw profile_error(path + ": like: is like itself, or goes too deep");
    const json top = parse(path);
    file_ = path;
    object(top, "the file");
    if (const auto like = top.find("like"); like != top.end()) {
        const std::string parent = file_of(text(*like, "like"), std::filesystem::path(path).parent_path());
        if (!std::filesystem::exists(parent))
            refuse("like", "there is no " + parent);
        lay(parent, depth + 1);
        file_ = path;
    }
    for (const auto& [key, value] : top.items()) {
        if (key == "like")
            continue;
        if (key == "description")
            profile_.description_ = text(value, key);
        else if (key == "folders")
            folders(value, key, profile_.folders_);
        else if (key == "scripts")
            folders(value, key, profile_.scripts_);
        else if (key == "links")
            links(value, key);
        else if (key == "files")
            files(value, key);
        else if (key == "programs")
            programs(value, key);
        else if (key == "actions")
            actions(value, key);
        else if (key != "attributes" && key != "read_only" && key != "write_only" && key != "devices")
            refuse(key, "unknown");
    }
    json sections = json::object();
    for (const char* key : {"attributes", "read_only", "write_only", "devices"})
        if (top.contains(key))
            sections[key] = top[key];
    profile::changes changed;
    action(sections, "", changed);
    // A supply is a device and a folder of attributes: either section takes all of it away.
    take_away(profile_.at_start_.attributes, changed.attributes);
    take_away(profile_.at_start_.attributes, changed.devices);
    take_away(profile_.at_start_.devices, changed.attributes);
    take_away(profile_.at_start_.devices, changed.devices);
    lay_over(profile_.at_start_.attributes, changed.attributes);
    lay_over(profile_.at_start_.devices, changed.devices);
}

/** What a board has at start and what an action changes: the sections of attributes differ in their permissions. */
void profile_reader::action(const json& section, const std::string& place, profile::changes& into)
{
    for (const auto& [key, value] : object(section, place).items()) {
        const std::string here = place.empty() ? key : place + ": " + key;
        if (key == "attributes")
            attributes(value, here, 0644, into);
        else if (key == "read_only")
            attributes(value, here, 0444, into);
        else if (key == "write_only")
            attributes(value, here, 0200, into);
        else if (key == "devices")
            devices(value, here, into);
        else
            refuse(here, "unknown");
    }
}

void profile_reader::attributes(const json& section, const std::string& place, std::uint32_t mode,
                                profile::changes& into)
{
    const auto add = [&](const std::string& path, const std::string& here, std::optional<attribute_state> state) {
        if (path.starts_with("/kt") || path.starts_with("/mnt/data"))
            refuse(here, "holds files, not attributes");
        if (!into.attributes.emplace(path, std::move(state)).second)
            refuse(here, "stands in two sections");
    };
    for (const auto& [folder, names] : object(section, place).items()) {
        const std::string inside = place + ": " + folder;
        if (!folder.ends_with('/'))
            refuse(inside, "must be a folder, ending in \"/\"");
        if (names.is_null()) {
            add(path(folder.substr(0, folder.size() - 1), inside), inside, std::nullopt);
            continue;
        }
        for (const auto& [name, value] : object(names, inside).items()) {
            const std::string here = inside + ": " + name;
            if (name.empty() || name.find('/') != std::string::npos)
                refuse(here, "must be one name");
            if (value.is_null())
                add(path(folder + name, here), here, std::nullopt);
            else
                add(path(folder + name, here), here, attribute(value, here, mode));
        }
    }
}

attribute_state profile_reader::attribute(const json& value, const std::string& place, std::uint32_t mode)
{
    attribute_state state{.text = {}, .mode = mode, .kind = attribute_kind::text};
    if (value.is_number_integer()) {
        state.text = value.dump() + "\n";
        state.kind = attribute_kind::integer;
    } else if (value.is_string()) {
        state.text = text(value, place);
    } else if (value.is_object()) {
        for (const auto& [key, inner] : value.items()) {
            const std::string here = place + ": " + key;
            if (key == "text")
                state.text = text(inner, here);
            else if (key == "mode")
                state.mode = permissions(inner, here);
            else if (key == "kind" && inner == "integer")
                state.kind = attribute_kind::integer;
            else if (key != "kind" || inner != "text")
                refuse(here, key == "kind" ? "must be \"text\" or \"integer\"" : "unknown");
        }
    } else {
        refuse(place, "must be a text, a whole number, null, or an object with text, mode and kind");
    }
    if (state.text.size() > page)
        refuse(place, "is longer than the 4096 bytes that an attribute can show");
    return state;
}

/** The kind's own options are read by its maker, when the device is made. */
void profile_reader::devices(const json& section, const std::string& place, profile::changes& into)
{
    for (const auto& [at, value] : object(section, place).items()) {
        const std::string here = place + ": " + at;
        if (!path(at, here).starts_with("/dev/") && !at.starts_with("/sys/class/power_supply/"))
            refuse(here, "must lie below /dev or /sys/class/power_supply");
        if (value.is_null()) {
            into.devices.emplace(at, std::nullopt);
            continue;
        }
        if (!object(value, here).contains("kind"))
            refuse(here, "\"kind\" is missing");
        std::string kind = text(value["kind"], here + ": kind");
        into.devices.emplace(at, profile::device{std::move(kind), value.dump(), file_ + ": " + here});
    }
}

void profile_reader::folders(const json& section, const std::string& place, std::vector<std::string>& into)
{
    if (!section.is_array())
        refuse(place, "must be a list of paths");
    for (const json& each : section) {
        std::string wanted = path(text(each, place), place);
        if (std::find(into.begin(), into.end(), wanted) == into.end())
            into.push_back(std::move(wanted));
    }
}

void profile_reader::links(const json& section, const std::string& place)
{
    for (const auto& [from, target] : object(section, place).items()) {
        const std::string here = place + ": " + from;
        if (target.is_null())
            profile_.links_.erase(path(from, here));
        else
            profile_.links_.insert_or_assign(path(from, here), text(target, here));
    }
}

void profile_reader::files(const json& section, const std::string& place)
{
    for (const auto& [name, value] : object(section, place).items()) {
        const std::string here = place + ": " + name;
        if (value.is_null()) {
            profile_.files_.erase(path(name, here));
            continue;
        }
        profile::file read;
        if (value.is_object()) {
            for (const auto& [key, inner] : value.items()) {
                if (key == "text")
                    read.bytes = text(inner, here + ": text");
                else if (key == "mode")
                    read.mode = permissions(inner, here + ": mode");
                else
                    refuse(here + ": " + key, "unknown");
            }
        } else {
            read.bytes = text(value, here);
        }
        profile_.files_.insert_or_assign(path(name, here), std::move(read));
    }
}

void profile_reader::programs(const json& section, const std::string& place)
{
    for (const auto& [name, value] : object(section, place).items()) {
        const std::string here = place + ": " + name;
        if (name.empty() || name.find('/') != std::string::npos)
            refuse(here, "must be a program's name without its folder");
        if (value.is_null())
            profile_.programs_.erase(name);
        else
            profile_.programs_.insert_or_assign(name, program(value, here));
    }
}

program_answer profile_reader::program(const json& value, const std::string& place)
{
    program_answer answer;
    for (const auto& [key, inner] : object(value, place).items()) {
        const std::string here = place + ": " + key;
        if (key == "status") {
            if (!inner.is_number_integer() || inner < 0 || inner > 255)
                refuse(here, "must be a number from 0 to 255");
            answer.status = inner.get<int>();
        } else if (key == "output") {
            answer.output = text(inner, here);
        } else if (key == "run") {
            answer.run = text(inner, here);
        } else if (key == "power") {
            answer.power = text(inner, here);
            if (answer.power != "restart" && answer.power != "off" && !answer.power.empty())
                refuse(here, "must be \"restart\" or \"off\"");
        } else {
            refuse(here, "unknown");
        }
    }
    return answer;
}

void profile_reader::actions(const json& section, const std::string& place)
{
    for (const auto& [verb, things] : object(section, place).items()) {
        for (const auto& [thing, changed] : object(things, place + ": " + verb).items()) {
            const std::pair key{verb, thing};
            if (changed.is_null()) {
                profile_.actions_.erase(key);
                continue;
            }
            profile::changes wanted;
            action(changed, place + ": " + verb + ": " + thing, wanted);
            profile_.actions_.insert_or_assign(key, std::move(wanted));
        }
    }
}

std::string profile_reader::text(const json& value, const std::string& place)
{
    if (!value.is_string())
        refuse(place, "must be a text");
    return value.get<std::string>();
}

std::uint32_t profile_reader::permissions(const json& value, const std::string& place)
{
    const std::string digits = value.is_string() ? value.get<std::string>() : "";
    if (digits.empty() || digits.size() > 4 || digits.find_first_not_of("01234567") != std::string::npos)
        refuse(place, "must be octal permissions in quotes, such as \"0644\"");
    return static_cast<std::uint32_t>(std::stoul(digits, nullptr, 8));
}

const profile_reader::json& profile_reader::object(const json& value, const std::string& place)
{
    if (!value.is_object())
        refuse(place, "must be an object { … }");
    return value;
}

/** A path that is the board's to fill; the rest of the tree belongs to the kernel or to the desk. */
std::string profile_reader::path(const std::string& path, const std::string& place)
{
    static constexpr std::string_view tops[] = {"/sys/", "/proc/sys/", "/dev/", "/kt/", "/mnt/data/"};
    const bool inside = path == "/proc/cmdline" || path == "/kt" || path == "/mnt/data" ||
                        std::any_of(std::begin(tops), std::end(tops), [&](auto top) { return path.starts_with(top); });
    if (!inside)
        refuse(place, path + " must lie below /sys, /proc/sys, /dev, /kt or /mnt/data, or be /proc/cmdline");
    for (const auto& part : std::filesystem::path(path))
        if (part.empty() || part == "." || part == "..")
            refuse(place, path + " must be a plain path: no empty part, \".\" or \"..\"");
    return path;
}

void profile_reader::refuse(const std::string& place, const std::string& reason) const
{
    throw profile_error(file_ + ": " + place + ": " + reason);
}

} // namespace kt::terminal
