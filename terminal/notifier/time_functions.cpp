/** Finds the code that the kernel lends a program, and changes it in the program's memory. */
#include "terminal/notifier/time_functions.h"

#include "terminal/descriptor.h"
#include "terminal/notifier/inner_processes.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <unistd.h>

namespace kt::terminal {

namespace {

constexpr std::size_t page = 4096;
constexpr int most_walks = 20;
constexpr std::size_t most_known = 16; // there are two or three; a program may forge any number

descriptor open_of(pid_t thread, const char* name, int flags)
{
    char path[48];
    std::snprintf(path, sizeof path, "/proc/%d/%s", thread, name);
    return descriptor(open(path, flags | O_CLOEXEC));
}

std::string bytes_at(int memory, std::uint64_t address, std::size_t size)
{
    std::string bytes(size, '\0');
    const ssize_t got = pread(memory, bytes.data(), size, static_cast<off_t>(address));
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
}

template <typename Entry>
std::uint64_t address_in(const char* vector, std::size_t size)
{
    for (std::size_t at = 0; at + sizeof(Entry) <= size; at += sizeof(Entry)) {
        Entry entry;
        std::memcpy(&entry, vector + at, sizeof entry);
        if (entry.a_type == AT_SYSINFO_EHDR)
            return entry.a_un.a_val;
    }
    return 0;
}

/** Where the code lies, told by what the kernel gave the program at its start; 0: not known, or it has none. */
std::uint64_t code_of(pid_t thread)
{
    const descriptor file = open_of(thread, "auxv", O_RDONLY);
    char vector[2048];
    const ssize_t got = file ? read(file.get(), vector, sizeof vector) : -1;
    if (got < static_cast<ssize_t>(sizeof(Elf64_auxv_t)))
        return 0;
    Elf64_auxv_t first;
    std::memcpy(&first, vector, sizeof first);
    // Types are small numbers: a large one is the type and the value of a 32-bit program.
    return first.a_type > UINT32_MAX ? address_in<Elf32_auxv_t>(vector, static_cast<std::size_t>(got))
                                     : address_in<Elf64_auxv_t>(vector, static_cast<std::size_t>(got));
}

bool stands(int memory, std::uint64_t base, const code_change& change, const std::string code_change::*bytes)
{
    return bytes_at(memory, base + change.offset, (change.*bytes).size()) == change.*bytes;
}

} // namespace

/**
 * Nothing: there is no image, or it could not be read whole. It is the same in all programs of its kind; it was never
 * seen changed before it was seen as it is.
 */
std::optional<time_functions::plan> time_functions::changes_for(int memory, std::uint64_t base)
{
    const std::string first_page = bytes_at(memory, base, page);
    if (first_page.size() < page)
        return std::nullopt;
    const std::string head = first_page.substr(0, sizeof(Elf64_Ehdr));
    const auto known = known_.find(head);
    if (known != known_.end())
        return known->second;
    const std::size_t size = image_size(first_page);
    const std::string image = bytes_at(memory, base, size);
    if (size == 0 || image.size() < size)
        return std::nullopt;
    plan made = plain_calls(image);
    if (known_.size() < most_known)
        known_[head] = made;
    return made;
}

time_functions::finding time_functions::change(pid_t thread, part which)
{
    const std::uint64_t base = code_of(thread);
    const descriptor memory = base != 0 ? open_of(thread, "mem", O_RDWR) : descriptor();
    const auto changes = memory ? changes_for(memory.get(), base) : std::nullopt;
    if (!changes)
        return finding::unreachable;
    finding found = finding::nothing_to_do;
    for (const function_change& function : *changes) {
        const bool is_wanted = which == part::all || function.while_running == (which == part::changeable_later);
        if (!function.changes.empty() && is_wanted)
            found = std::max(found, change(memory.get(), base, function));
    }
    return found;
}

time_functions::finding time_functions::change(int memory, std::uint64_t base, const function_change& function)
{
    if (stands(memory, base, function.changes.back(), &code_change::after))
        return finding::was_changed;
    bool goes_on = stands(memory, base, function.changes.back(), &code_change::before);
    for (const code_change& each : function.changes) {
        const auto size = static_cast<ssize_t>(each.after.size());
        goes_on = goes_on &&
                  pwrite(memory, each.after.data(), each.after.size(), static_cast<off_t>(base + each.offset)) == size;
    }
    return goes_on ? finding::changed : finding::unreachable;
}

void time_functions::replace()
{
    if (replaced_)
        return;
    replaced_ = true;
    // A child that was forked from a program before its turn came may be missed by one walk: the last one finds none.
    bool found = true;
    for (int walk = 0; found && walk < most_walks; ++walk) {
        found = false;
        for (const pid_t each : inner_processes(helper_))
            found = change(each, part::changeable_later) == finding::changed || found;
    }
}

void time_functions::begin(pid_t thread, unsigned kind)
{
    if (replaced_) {
        (void)change(thread, part::all);
        return;
    }
    const auto known = all_changeable_later_.find(kind);
    if (known != all_changeable_later_.end() && known->second)
        return; // that is how it costs nothing
    all_changeable_later_[kind] = change(thread, part::not_changeable_later) == finding::nothing_to_do;
}

} // namespace kt::terminal
