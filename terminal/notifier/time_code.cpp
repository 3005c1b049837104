/** Reads the image's symbols and first instructions, and plans the new code. */
#include "terminal/notifier/time_code.h"

#include <algorithm>
#include <cstring>
#include <elf.h>
#include <iterator>
#include <optional>

namespace kt::terminal {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t page = 4096;
constexpr std::size_t word = 8;      // what is changed at once
constexpr std::size_t long_jump = 5; // e9 and a distance of 32 bits
constexpr std::size_t most_pages = 16;

struct time_function {
    std::string_view name;
    std::uint32_t call_64, call_32; // 0: that kind of program has none
};

constexpr time_function time_functions_known[] = {{"__vdso_clock_gettime", 228, 265},
                                                  {"__vdso_clock_gettime64", 0, 403},
                                                  {"__vdso_gettimeofday", 96, 78},
                                                  {"__vdso_time", 201, 13}};

// What compilers fill the space between functions with.
constexpr std::string_view fillings[] = {"\x66\x2e\x0f\x1f\x84\0\0\0\0\0"sv,
                                         "\x66\x0f\x1f\x84\0\0\0\0\0"sv,
                                         "\x0f\x1f\x84\0\0\0\0\0"sv,
                                         "\x2e\x8d\xb4\x26\0\0\0\0"sv,
                                         "\x0f\x1f\x80\0\0\0\0"sv,
                                         "\x8d\xb4\x26\0\0\0\0"sv,
                                         "\x66\x0f\x1f\x44\0\0"sv,
                                         "\x8d\xb6\0\0\0\0"sv,
                                         "\x0f\x1f\x44\0\0"sv,
                                         "\x2e\x8d\x74\x26\0"sv,
                                         "\x90\x90\x90\x90\x90"sv,
                                         "\xcc\xcc\xcc\xcc\xcc"sv};

template <typename T>
std::optional<T> record_at(std::string_view image, std::size_t offset)
{
    if (offset > image.size() || image.size() - offset < sizeof(T))
        return std::nullopt;
    T record;
    std::memcpy(&record, image.data() + offset, sizeof record);
    return record;
}

std::string bytes_of(std::uint32_t number)
{
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

struct symbol {
    std::size_t offset = 0;
    std::size_t size = 0;
};

struct forms_64 {
    using header = Elf64_Ehdr;
    using section = Elf64_Shdr;
    using symbol = Elf64_Sym;
};

struct forms_32 {
    using header = Elf32_Ehdr;
    using section = Elf32_Shdr;
    using symbol = Elf32_Sym;
};

template <typename Forms>
std::size_t end_of(std::string_view image)
{
    const auto header = record_at<typename Forms::header>(image, 0);
    if (!header || header->e_shentsize != sizeof(typename Forms::section) || header->e_shoff > most_pages * page)
        return 0;
    return static_cast<std::size_t>(header->e_shoff) + std::size_t{header->e_shnum} * header->e_shentsize;
}

/** Where a function of the image's own table is: all of it in the image, whatever the table says. */
template <typename Forms>
std::optional<symbol> find(std::string_view image, std::string_view name)
{
    using section = typename Forms::section;
    using entry = typename Forms::symbol;
    const auto header = record_at<typename Forms::header>(image, 0);
    if (!header || header->e_shoff > image.size())
        return std::nullopt;
    const auto section_at = [&](std::size_t number) {
        return record_at<section>(image, static_cast<std::size_t>(header->e_shoff) + number * sizeof(section));
    };
    for (std::size_t number = 0; number < header->e_shnum; ++number) {
        const auto table = section_at(number);
        if (!table || table->sh_type != SHT_DYNSYM)
            continue;
        const auto names = section_at(table->sh_link);
        if (!names || names->sh_offset > image.size() || table->sh_offset > image.size())
            return std::nullopt;
        const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(table->sh_size, image.size()));
        for (std::size_t at = 0; at + sizeof(entry) <= size; at += sizeof(entry)) {
            const auto each = record_at<entry>(image, static_cast<std::size_t>(table->sh_offset) + at);
            if (!each)
                return std::nullopt;
            const std::size_t text = static_cast<std::size_t>(names->sh_offset) + each->st_name;
            if (text >= image.size() || image.substr(text, name.size() + 1) != std::string(name) + '\0')
                continue;
            if (each->st_size <= image.size() && each->st_value <= image.size() - each->st_size)
                return symbol{static_cast<std::size_t>(each->st_value), static_cast<std::size_t>(each->st_size)};
            return std::nullopt;
        }
    }
    return std::nullopt;
}

/** The first instruction of a function that can become a jump, and the pushes before it. */
struct place {
    std::size_t offset = 0;
    std::string pushes;
    bool is_long = false; // it has room for a jump of any distance
};

/** Nothing: what stands there is not known well enough. */
std::optional<place> place_in(std::string_view code, bool is_64)
{
    place found;
    const auto at = [&](std::size_t offset) { return static_cast<unsigned char>(code[offset]); };
    while (found.offset < 4 && at(found.offset) >= 0x50 && at(found.offset) <= 0x57)
        found.pushes += code[found.offset++];
    const unsigned char first = at(found.offset);
    const unsigned char second = at(found.offset + 1);
    const unsigned char third = at(found.offset + 2);
    const bool is_prefixed = is_64 && first >= 0x40 && first <= 0x4f;
    // A call; numbers of 32 bits; lea by the instruction's own address.
    if (first == 0xe8 || first == 0x81 || (first >= 0xb8 && first <= 0xbf) ||
        (is_prefixed && second == 0x8d && (third & 0xc7) == 0x05)) {
        found.is_long = found.offset + long_jump <= word;
        return found;
    }
    constexpr auto of_two_bytes_or_more = "\x0f\x31\x33\x39\x3b\x63\x66\x80\x83\x85\x89\x8b\x8d\xc7\xf3\xf6\xf7"sv;
    if (is_prefixed || of_two_bytes_or_more.find(static_cast<char>(first)) != std::string_view::npos)
        return found;
    return std::nullopt;
}

/** Plans one function after the other, and gives them the unused end of the image's last page. */
class planner {
public:
    /** @p entry is the image's own way into the kernel, of a 32-bit one. */
    planner(std::string_view image, bool is_64, std::size_t end, std::optional<symbol> entry)
        : image_(image), is_64_(is_64), entry_(entry), free_((end + 15) / 16 * 16)
    {
    }

    function_change plan(const time_function& function, symbol where)
    {
        if (where.offset % word == 0 && where.size >= word)
            if (auto planned = safely(function, where))
                return *planned;
        function_change over{std::string(function.name), false, {}};
        const std::string code = call_code(function, {}, where.offset);
        if (where.size >= code.size())
            over.changes.push_back(change(where.offset, code));
        return over;
    }

private:
    std::string call_code(const time_function& function, const std::string& pushes, std::size_t at) const
    {
        std::string code;
        for (const char pushed : pushes)
            code.insert(code.begin(), static_cast<char>(pushed + 8)); // the pop of that register, last pushed first
        if (is_64_)
            return code + '\xb8' + bytes_of(function.call_64) + "\x0f\x05\xc3"; // syscall
        // Two arguments from the stack, past the register that is kept; where there is a faster way than int 0x80,
        // that.
        code += "\x53\x8b\x5c\x24\x08\x8b\x4c\x24\x0c\xb8" + bytes_of(function.call_32);
        const std::size_t here = at + code.size();
        code += entry_ ? '\xe8' + distance(here, entry_->offset) : std::string("\xcd\x80");
        return code + "\x5b\xc3";
    }

    code_change change(std::size_t offset, std::string after) const
    {
        return {offset, std::string(image_.substr(offset, after.size())), std::move(after)};
    }

    /** As jumps and calls of five bytes have it. */
    static std::string distance(std::size_t from, std::size_t to)
    {
        return bytes_of(static_cast<std::uint32_t>(to - from - long_jump));
    }

    static std::string jump(std::size_t from, std::size_t to) { return '\xe9' + distance(from, to); }

    /** The unused bytes just before a function, where a long jump fits; nothing: there are too few. */
    std::optional<std::size_t> filling_before(std::size_t offset) const
    {
        const std::string_view before = image_.substr(0, offset);
        const bool is_filled = std::any_of(std::begin(fillings), std::end(fillings),
                                           [&](std::string_view each) { return before.ends_with(each); });
        return is_filled ? std::optional(offset - long_jump) : std::nullopt;
    }

    std::optional<function_change> safely(const time_function& function, symbol where)
    {
        const auto start = place_in(image_.substr(where.offset, word + 3), is_64_);
        if (!start)
            return std::nullopt;
        const std::string code = call_code(function, start->pushes, free_);
        const std::string_view room = image_.substr(std::min(free_, image_.size()), code.size());
        if (room.size() < code.size() || room.find_first_not_of('\0') != std::string_view::npos)
            return std::nullopt;
        function_change planned{std::string(function.name), true, {change(free_, code)}};

        std::string entry(image_.substr(where.offset, word));
        const std::size_t from = where.offset + start->offset;
        if (start->is_long) {
            entry.replace(start->offset, long_jump, jump(from, free_));
        } else {
            const auto between = filling_before(where.offset);
            if (!between)
                return std::nullopt;
            planned.changes.push_back(change(*between, jump(*between, free_)));
            entry[start->offset] = '\xeb'; // a jump of two bytes
            entry[start->offset + 1] = static_cast<char>(*between - from - 2);
        }
        planned.changes.push_back(change(where.offset, entry));
        free_ = (free_ + code.size() + 15) / 16 * 16;
        return planned;
    }

    const std::string_view image_;
    const bool is_64_;
    const std::optional<symbol> entry_;
    std::size_t free_;
};

template <typename Forms>
std::vector<function_change> planned(std::string_view image, bool is_64)
{
    const auto entry = is_64 ? std::nullopt : find<Forms>(image, "__kernel_vsyscall");
    planner all(image, is_64, end_of<Forms>(image), entry);
    std::vector<function_change> changes;
    for (const time_function& each : time_functions_known)
        if ((is_64 ? each.call_64 : each.call_32) != 0)
            if (const auto where = find<Forms>(image, each.name))
                changes.push_back(all.plan(each, *where));
    return changes;
}

bool is_kind(std::string_view image, unsigned char width, unsigned machine)
{
    // Both kinds have the machine's number at the same place.
    const auto header = record_at<Elf32_Ehdr>(image, 0);
    return header && std::memcmp(header->e_ident, ELFMAG, SELFMAG) == 0 && header->e_ident[EI_CLASS] == width &&
           header->e_machine == machine;
}

} // namespace

std::size_t image_size(std::string_view first_page)
{
    std::size_t end = 0;
    if (is_kind(first_page, ELFCLASS64, EM_X86_64))
        end = end_of<forms_64>(first_page);
    else if (is_kind(first_page, ELFCLASS32, EM_386))
        end = end_of<forms_32>(first_page);
    const std::size_t size = (end + page - 1) / page * page;
    return size <= most_pages * page ? size : 0;
}

std::vector<function_change> plain_calls(std::string_view image)
{
    if (is_kind(image, ELFCLASS64, EM_X86_64))
        return planned<forms_64>(image, true);
    if (is_kind(image, ELFCLASS32, EM_386))
        return planned<forms_32>(image, false);
    return {};
}

} // namespace kt::terminal
