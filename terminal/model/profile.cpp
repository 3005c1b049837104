/** Finding profiles, and putting one on a board. */
#include "terminal/model/profile.h"

#include "terminal/model/node.h"
#include "terminal/model/profile_reader.h"
#include "terminal/own_folder.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <utility>

namespace kt::terminal {

namespace {

/** True below the two folders whose content may be older than this start. */
bool is_kept(const std::string& path)
{
    return path == "/kt" || path == "/mnt/data" || path.starts_with("/kt/") || path.starts_with("/mnt/data/");
}

bool is_number(const std::string& name)
{
    return !name.empty() &&
           std::all_of(name.begin(), name.end(), [](unsigned char each) { return std::isdigit(each); });
}

} // namespace

profile profile::load(const std::string& board, const std::string& boards_folder)
{
    profile loaded;
    profile_reader reader(loaded, boards_folder);
    const std::string file = reader.file_of(board, "");
    if (!std::filesystem::exists(file))
        throw profile_error(file.ends_with(board)
                                ? "there is no board file " + file
                                : "there is no board " + board + "; --list-boards shows those there are");
    loaded.name_ = std::filesystem::path(file).stem();
    reader.lay(file);
    return loaded;
}

std::vector<std::pair<std::string, std::string>> profile::list(const std::string& boards_folder)
{
    std::vector<std::pair<std::string, std::string>> boards;
    std::error_code unreadable;
    for (const auto& each : std::filesystem::directory_iterator(boards_folder, unreadable)) {
        const std::filesystem::path& file = each.path();
        if (file.extension() == ".json" && file.stem() != "common")
            boards.emplace_back(file.stem(), load(file, boards_folder).description());
    }
    std::sort(boards.begin(), boards.end(), [](const auto& one, const auto& other) {
        const auto key = [](const std::string& name) {
            return std::tuple{!is_number(name), is_number(name) ? name.size() : 0, name};
        };
        return key(one.first) < key(other.first);
    });
    return boards;
}

std::vector<std::string> profile::programs() const
{
    std::vector<std::string> names;
    for (const auto& [name, answer] : programs_)
        names.push_back(name);
    return names;
}

void profile::apply(board& target) const
{
    put_attributes(target, at_start_, "its attributes"); // first: devices look at their switches
    put_devices(target, at_start_);
    put_places(target, false);
    for (const auto& [name, answer] : programs_)
        target.set_program(name, answer);
}

void profile::fill_kept(board& target) const
{
    put_places(target, true);
}

void profile::put_places(board& target, bool kept) const
{
    const auto place = [&](const std::string& path, auto put) {
        if (is_kept(path) != kept || (kept && target.find(path) != nullptr))
            return;
        if (!put())
            throw profile_error("board " + name_ + ": " + path + ": the place is taken");
    };
    for (const std::string& path : folders_)
        place(path, [&] { return target.put_directory(path); });
    for (const std::string& path : scripts_) // their runs are recorded
        place(path, [&] { return target.put_link(path, own::standin); });
    for (const auto& [path, linked] : links_)
        place(path, [&, &path = path, &linked = linked] { return target.put_link(path, linked); });
    for (const auto& [path, content] : files_)
        place(path,
              [&, &path = path, &content = content] { return target.put_file(path, content.bytes, content.mode); });
}

bool profile::act(board& target, std::string_view verb, std::string_view thing) const
{
    const auto action = actions_.find(std::pair{std::string(verb), std::string(thing)});
    if (action == actions_.end())
        return false;
    put(target, action->second, std::string(verb) + " " + std::string(thing));
    return true;
}

std::vector<std::pair<std::string, std::string>> profile::actions() const
{
    std::vector<std::pair<std::string, std::string>> names;
    for (const auto& [name, wanted] : actions_)
        names.push_back(name);
    return names;
}

void profile::put(board& target, const changes& wanted, std::string_view reason) const
{
    put_devices(target, wanted); // first: what cannot be made has changed nothing
    put_attributes(target, wanted, reason);
}

void profile::put_attributes(board& target, const changes& wanted, std::string_view reason) const
{
    for (const auto& [path, state] : wanted.attributes) {
        if (!state)
            (void)target.remove(path); // gone already is as good
        else if (!target.put_attribute(path, *state))
            throw profile_error("board " + name_ + ": " + std::string(reason) + ": " + path + ": the place is taken");
    }
}

/** Plugging in what is there already leaves it as it is. */
void profile::put_devices(board& target, const changes& wanted) const
{
    for (const auto& [path, device] : wanted.devices) {
        if (!device) {
            (void)target.remove(path);
            continue;
        }
        if (const auto there = target.find(path); there != nullptr && !there->is_folder())
            continue; // a folder may hold attributes for the device that is to come
        try {
            if (!target.make_device(device->kind, path, device->options))
                throw profile_error(device->place + ": kind: there is no \"" + device->kind + "\"");
        } catch (const std::invalid_argument& wrong) {
            throw profile_error(device->place + ": " + wrong.what());
        }
    }
}

} // namespace kt::terminal
