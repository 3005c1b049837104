/** The board's tree and its other side. */
#include "terminal/model/board.h"

#include "terminal/model/attribute.h"
#include "terminal/model/memory_file.h"
#include "terminal/model/node.h"
#include "terminal/model/report.h"
#include "terminal/model/stored.h"
#include "terminal/own_folder.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace kt::terminal {

namespace {

/** Takes the first name off a path; empty at its end. */
std::string_view next_name(std::string_view& path)
{
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    const std::string_view name = path.substr(0, path.find('/'));
    path.remove_prefix(name.size());
    return name;
}

std::shared_ptr<directory> folder_in(directory& above, std::string name, directory::growth allowed)
{
    auto made = std::make_shared<directory>(allowed);
    above.put(std::move(name), made);
    return made;
}

/** A node and, when it is a folder in memory, all below it. */
void add_all(const std::shared_ptr<node>& top, std::vector<std::shared_ptr<node>>& into)
{
    into.push_back(top);
    if (auto* folder = dynamic_cast<directory*>(top.get()))
        for (const auto& each : folder->entries())
            if (const auto below = folder->look_up(each.name))
                add_all(below, into);
}

} // namespace

board::board() : root_(std::make_shared<directory>(directory::growth::fixed))
{
    folder_in(*root_, "sys", directory::growth::fixed);
    const auto dev = folder_in(*root_, "dev", directory::growth::free);
    const auto proc = folder_in(*root_, "proc", directory::growth::fixed);
    folder_in(*proc, "sys", directory::growth::fixed);
    folder_in(*root_, "mnt", directory::growth::fixed);
    const auto run = folder_in(*root_, "run", directory::growth::fixed);
    run->be_quiet();
    run->put("report", std::make_shared<report>(*this));

    // The desk's own devices and file systems are laid over these.
    for (const char* device : {"null", "zero", "full", "random", "urandom", "tty"})
        dev->put(device, std::make_shared<memory_file>(mode_t{0666}, std::string{}));
    for (const char* folder : {"pts", "shm"})
        folder_in(*dev, folder, directory::growth::free);
    for (const auto& [name, target] :
         {std::pair{"ptmx", "pts/ptmx"}, std::pair{"fd", "/proc/self/fd"}, std::pair{"stdin", "/proc/self/fd/0"},
          std::pair{"stdout", "/proc/self/fd/1"}, std::pair{"stderr", "/proc/self/fd/2"}, std::pair{"log", own::log}})
        dev->put(name, std::make_shared<link_node>(target));
    program_answer real_shell;
    real_shell.run = "/bin/bash"; // the board's shell knows echo -e
    set_program("sh", std::move(real_shell));
}

board::~board() = default;

std::shared_ptr<node> board::find_locked(std::string_view path) const
{
    std::shared_ptr<node> at = root_;
    for (std::string_view name = next_name(path); at != nullptr && !name.empty(); name = next_name(path))
        at = at->look_up(name);
    return at;
}

std::shared_ptr<node> board::find(std::string_view path) const
{
    const std::lock_guard lock(tree_mutex_);
    return find_locked(path);
}

std::shared_ptr<node> board::make_folders(std::string_view path, std::string& last)
{
    std::shared_ptr<node> at = root_;
    std::string_view name = next_name(path);
    for (std::string_view next = next_name(path); !next.empty(); name = next, next = next_name(path)) {
        std::shared_ptr<node> below = at->look_up(name);
        if (below == nullptr) {
            if (auto* folder = dynamic_cast<directory*>(at.get())) {
                below = folder_in(*folder, std::string(name), folder->allowed());
            } else if (auto made = at->make_node(name, S_IFDIR | 0755)) {
                below = *made;
            }
        }
        if (below == nullptr || !below->is_folder())
            return nullptr;
        at = std::move(below);
    }
    last = name;
    return last.empty() ? nullptr : at;
}

bool board::put_node(std::string_view path, std::shared_ptr<node> made, over allowed)
{
    std::string name;
    auto* folder = dynamic_cast<directory*>(make_folders(path, name).get());
    if (folder == nullptr)
        return false;
    const auto old = folder->look_up(name);
    if (old != nullptr && (old->is_folder() || (allowed == over::files && old->is_device())))
        return false;
    folder->put(std::move(name), std::move(made));
    return true;
}

bool board::put_attribute(std::string_view path, attribute_state state)
{
    {
        const std::lock_guard lock(tree_mutex_);
        if (!put_attribute_locked(path, std::move(state)))
            return false;
    }
    tell_followers(path);
    return true;
}

bool board::put_attribute_locked(std::string_view path, attribute_state state)
{
    if (const auto old = find_locked(path)) {
        auto* known = dynamic_cast<attribute_file*>(old.get());
        if (known == nullptr)
            return false;
        known->set(std::move(state));
        return true;
    }
    return put_node(path, std::make_shared<attribute_file>(std::move(state)));
}

bool board::put_text(std::string_view path, std::string text) const
{
    const auto found = std::dynamic_pointer_cast<attribute_file>(find(path));
    if (found == nullptr)
        return false;
    found->set_text(std::move(text));
    return true;
}

void board::follow_attribute(std::string path, std::function<void()> changed)
{
    followers_.emplace(std::move(path), std::move(changed));
}

/** Those of a path and of all below it. */
void board::tell_followers(std::string_view path) const
{
    path = path.substr(0, path.find_last_not_of('/') + 1);
    for (auto each = followers_.lower_bound(path); each != followers_.end() && each->first.starts_with(path); ++each)
        if (each->first.size() == path.size() || each->first[path.size()] == '/')
            each->second();
}

std::optional<attribute_state> board::attribute(std::string_view path) const
{
    const auto found = std::dynamic_pointer_cast<attribute_file>(find(path));
    if (found == nullptr)
        return std::nullopt;
    return found->state();
}

bool board::watch_attribute(std::string_view path, std::function<void(const std::string& text)> written) const
{
    const auto found = std::dynamic_pointer_cast<attribute_file>(find(path));
    if (found == nullptr)
        return false;
    found->watch(std::move(written));
    return true;
}

bool board::guard_attribute(std::string_view path, attribute_guard guard) const
{
    const auto found = std::dynamic_pointer_cast<attribute_file>(find(path));
    if (found == nullptr)
        return false;
    found->guard(std::move(guard));
    return true;
}

void board::wake(int source) const
{
    std::function<void(int)> listener;
    {
        const std::lock_guard lock(wake_mutex_);
        listener = wake_listener_;
    }
    if (listener)
        listener(source);
}

void board::set_wake_listener(std::function<void(int source)> listener)
{
    const std::lock_guard lock(wake_mutex_);
    wake_listener_ = std::move(listener);
}

bool board::put_directory(std::string_view path)
{
    const std::lock_guard lock(tree_mutex_);
    std::string name;
    return make_folders(std::string(path) + "/.", name) != nullptr;
}

bool board::put_link(std::string_view path, std::string target)
{
    const std::lock_guard lock(tree_mutex_);
    std::string name;
    const auto folder = make_folders(path, name);
    if (auto* kept = dynamic_cast<stored*>(folder.get()))
        return static_cast<bool>(kept->make_link(name, target));
    return put_node(path, std::make_shared<link_node>(std::move(target)));
}

bool board::put_file(std::string_view path, std::string_view bytes, std::uint32_t mode)
{
    const std::lock_guard lock(tree_mutex_);
    std::string name;
    const auto folder = make_folders(path, name);
    auto* kept = dynamic_cast<stored*>(folder.get());
    if (kept == nullptr)
        return put_node(path, std::make_shared<memory_file>(mode, std::string(bytes)));
    return kept->put_file(name, bytes, mode);
}

std::optional<std::string> board::file(std::string_view path) const
{
    const std::lock_guard lock(tree_mutex_);
    const auto found = find_locked(path);
    if (const auto* kept = dynamic_cast<const stored*>(found.get()))
        return kept->file_bytes();
    if (const auto* held = dynamic_cast<const memory_file*>(found.get()))
        return held->bytes();
    return std::nullopt;
}

bool board::put_device(std::string_view path, std::shared_ptr<node> device)
{
    const std::lock_guard lock(tree_mutex_);
    return put_node(path, std::move(device), over::devices);
}

void board::set_device_maker(std::string kind, device_maker maker)
{
    device_makers_.insert_or_assign(std::move(kind), std::move(maker));
}

bool board::make_device(const std::string& kind, const std::string& path, const std::string& options)
{
    const auto known = device_makers_.find(kind);
    if (known == device_makers_.end())
        return false;
    known->second(*this, path, options);
    return true;
}

bool board::remove(std::string_view path)
{
    std::function<void()> announce;
    std::vector<std::shared_ptr<node>> all_gone;
    {
        const std::lock_guard lock(tree_mutex_);
        const auto gone = find_locked(path);
        if (gone == nullptr || gone->parent() == nullptr || gone->parent() == root_.get())
            return false;
        add_all(gone, all_gone);
        node& above = *gone->parent();
        const std::string name = gone->name();
        if (auto* folder = dynamic_cast<directory*>(&above))
            folder->take(name);
        else if (auto* kept = dynamic_cast<stored*>(&above))
            kept->remove_all(name);
        if (gone->is_folder() && vanished_)
            announce = [vanished = vanished_, ino = above.ino(), name] { vanished(ino, name); };
    }
    if (announce) // the kernel may just be asking for a name of that folder, and waits for the lock
        announce();
    for (const auto& each : all_gone)
        each->unplugged();
    tell_followers(path);
    return true;
}

std::optional<std::vector<std::string>> board::list(std::string_view path) const
{
    const std::lock_guard lock(tree_mutex_);
    const auto found = find_locked(path);
    if (found == nullptr || !found->is_folder())
        return std::nullopt;
    std::vector<std::string> names;
    for (auto& each : found->entries())
        names.push_back(std::move(each.name));
    std::sort(names.begin(), names.end());
    return names;
}

void board::set_program(std::string name, program_answer answer)
{
    const std::lock_guard lock(programs_mutex_);
    programs_.insert_or_assign(std::move(name), std::move(answer));
}

program_answer board::program(std::string_view name) const
{
    const std::lock_guard lock(programs_mutex_);
    const auto known = programs_.find(name);
    return known == programs_.end() ? program_answer{} : known->second;
}

std::vector<std::string> board::programs() const
{
    const std::lock_guard lock(programs_mutex_);
    std::vector<std::string> names;
    for (const auto& [name, answer] : programs_)
        names.push_back(name);
    return names;
}

bool board::keep_state_in(int directory_fd)
{
    const std::lock_guard lock(tree_mutex_);
    const descriptor state(directory_fd);
    auto* mnt = dynamic_cast<directory*>(root_->look_up("mnt").get());
    for (const auto& [folder, name, kept_in] :
         {std::tuple{root_.get(), "kt", "kt"}, std::tuple{mnt, "data", "mnt-data"}}) {
        if (mkdirat(state.get(), kept_in, 0755) != 0 && errno != EEXIST)
            return false;
        descriptor kept(openat(state.get(), kept_in, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!kept)
            return false;
        folder->put(name, stored::top(std::move(kept)));
    }
    return true;
}

void board::set_vanished(std::function<void(std::uint64_t folder, const std::string& name)> vanished)
{
    const std::lock_guard lock(tree_mutex_);
    vanished_ = std::move(vanished);
}

} // namespace kt::terminal
