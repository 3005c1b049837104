/** How the kernel's time functions become system calls: the code that is written, and where nothing may be written. */
#include "terminal/notifier/time_code.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <elf.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/time.h>

namespace {

using namespace kt::terminal;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr std::size_t entry = 0x400;
constexpr std::size_t room = 0x800; // the image's end, and its unused bytes

/** A page with one function, clock_gettime, that begins with some bytes behind others. */
std::string image_with(std::string_view code, std::string_view before = "\x0f\x1f\x80\0\0\0\0"sv,
                       std::size_t size = 0x100)
{
    constexpr std::string_view names = "\0__vdso_clock_gettime\0"sv;
    std::string image(4096, '\0');
    const auto put = [&](std::size_t at, const auto& record) { std::memcpy(&image[at], &record, sizeof record); };
    constexpr std::size_t sections = room - 3 * sizeof(Elf64_Shdr);
    Elf64_Ehdr header{};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = ELFCLASS64;
    header.e_machine = EM_X86_64;
    header.e_shoff = sections;
    header.e_shentsize = sizeof(Elf64_Shdr);
    header.e_shnum = 3;
    put(0, header);
    Elf64_Shdr symbols{};
    symbols.sh_type = SHT_DYNSYM;
    symbols.sh_offset = 0x100;
    symbols.sh_size = 2 * sizeof(Elf64_Sym);
    symbols.sh_link = 2;
    put(sections + sizeof(Elf64_Shdr), symbols);
    Elf64_Shdr texts{};
    texts.sh_type = SHT_STRTAB;
    texts.sh_offset = 0x180;
    texts.sh_size = names.size();
    put(sections + 2 * sizeof(Elf64_Shdr), texts);
    Elf64_Sym function{};
    function.st_name = 1;
    function.st_value = entry;
    function.st_size = size;
    put(0x100 + sizeof(Elf64_Sym), function);
    image.replace(0x180, names.size(), names);
    image.replace(entry, 16, 16, '\xf4');
    image.replace(entry, code.size(), code);
    image.replace(entry - before.size(), before.size(), before);
    return image;
}

function_change planned(const std::string& image)
{
    const auto all = plain_calls(image);
    EXPECT_EQ(all.size(), 1U);
    return all.empty() ? function_change{} : all[0];
}

std::string changed(std::string image, const function_change& how)
{
    for (const code_change& each : how.changes) {
        EXPECT_EQ(image.substr(each.offset, each.before.size()), each.before);
        EXPECT_EQ(each.before.size(), each.after.size());
        image.replace(each.offset, each.after.size(), each.after);
    }
    return image;
}

constexpr std::string_view call = "\xb8\xe4\0\0\0\x0f\x05\xc3"sv; // mov $228, %eax; syscall; ret

} // namespace

TEST(TimeCode, AnInstructionThatIsLongEnoughBecomesTheJump)
{
    for (const auto code : {"\xe8\x11\x22\x33\x44\x90"sv, "\x81\x3d\x11\x22\x33\x44\xff\xff\xff\x7f"sv}) {
        const std::string image = image_with(code);
        const function_change how = planned(image);
        ASSERT_TRUE(how.while_running);
        ASSERT_EQ(how.changes.size(), 2U);
        EXPECT_EQ(how.changes[0].offset, room);
        EXPECT_EQ(how.changes[0].after, call);
        EXPECT_EQ(how.changes[1].offset, entry);
        EXPECT_EQ(changed(image, how).substr(entry, 8), "\xe9\xfb\x03\0\0"s + std::string(image, entry + 5, 3));
    }
}

TEST(TimeCode, AShortInstructionBecomesAJumpToTheSpaceBefore)
{
    const std::string image = image_with("\x48\x89\xe5\x41\x56\x53\x48\x83"sv);
    const function_change how = planned(image);
    ASSERT_TRUE(how.while_running);
    const std::string made = changed(image, how);
    EXPECT_EQ(made.substr(entry, 8), "\xeb\xf9\xe5\x41\x56\x53\x48\x83"sv);
    EXPECT_EQ(made.substr(entry - 5, 5), "\xe9\0\x04\0\0"sv);
    EXPECT_EQ(made.substr(room, call.size()), call);
    EXPECT_EQ(how.changes.back().offset, entry) << "what is jumped to is there before the jump";
}

TEST(TimeCode, WhatWasPushedBeforeTheJumpIsTakenBack)
{
    const std::string image = image_with("\x55\x53\x48\x89\xe5\x90\x90\x90"sv);
    const function_change how = planned(image);
    ASSERT_TRUE(how.while_running);
    const std::string made = changed(image, how);
    EXPECT_EQ(made.substr(entry, 8), "\x55\x53\xeb\xf7\xe5\x90\x90\x90"sv) << "a thread behind a push goes on";
    EXPECT_EQ(made.substr(room, 2 + call.size()), "\x5b\x5d"s + std::string(call));
}

TEST(TimeCode, WhatIsNotKnownWellEnoughIsLeftToProgramsThatBegin)
{
    for (const auto& image :
         {image_with("\xc3\x48\x89\xe5\x41\x56\x53\x48"sv),                                       // a single byte
          image_with("\x48\x89\xe5\x41\x56\x53\x48\x83"sv, "\x48\x89\xe5\x41\x56\x53\x48\x83"sv), // no space before
          image_with("\x50\x51\x52\x53\x54\x55\x56\x57"sv),                                       // pushes only
          image_with("\xe8\x11\x22\x33\x44\x90"sv).replace(room + 4, 1, "x")}) {                  // no room at the end
        const function_change how = planned(image);
        EXPECT_FALSE(how.while_running);
        ASSERT_EQ(how.changes.size(), 1U);
        EXPECT_EQ(how.changes[0].offset, entry);
        EXPECT_EQ(how.changes[0].after, call);
    }
    EXPECT_TRUE(planned(image_with("\xc3"sv, ""sv, 4)).changes.empty()) << "too short for the call";
}

TEST(TimeCode, NothingIsPlannedForWhatIsNoImage)
{
    EXPECT_EQ(image_size(image_with("\xc3"sv)), 4096U);
    EXPECT_EQ(image_size(std::string(4096, '\0')), 0U);
    EXPECT_TRUE(plain_calls("").empty());
    EXPECT_TRUE(plain_calls(std::string(4096, '\x7f')).empty());
    const std::string whole = image_with("\xe8\x11\x22\x33\x44\x90"sv);
    for (std::size_t length = 0; length < whole.size(); length += 7)
        (void)plain_calls(whole.substr(0, length));
    for (std::size_t at = 0; at < room; ++at) { // no byte of a strange image leads outside of it
        std::string strange = whole;
        strange[at] = '\xff';
        (void)plain_calls(strange);
    }
}

TEST(TimeCode, AFunctionThatReachesPastTheImageIsLeftAlone)
{
    const std::string whole = image_with("\xe8\x11\x22\x33\x44\x90"sv);
    const auto forged = [&](std::uint64_t value, std::uint64_t size) {
        Elf64_Sym function{};
        constexpr std::size_t at = 0x100 + sizeof function;
        std::memcpy(&function, &whole[at], sizeof function);
        function.st_value = value;
        function.st_size = size;
        std::string image = whole;
        std::memcpy(&image[at], &function, sizeof function);
        return plain_calls(image);
    };
    ASSERT_EQ(forged(entry, 0x100).size(), 1U);
    const auto below = [](std::uint64_t number) { return UINT64_MAX - number + 1; };
    EXPECT_TRUE(forged(below(8), 16).empty()) << "offset and size together are small again";
    EXPECT_TRUE(forged(below(8), 8).empty());
    EXPECT_TRUE(forged(entry, below(entry)).empty());
    EXPECT_TRUE(forged(entry, below(8)).empty());
    EXPECT_TRUE(forged(4096, 8).empty());
    EXPECT_TRUE(forged(4088, 16).empty());
}

TEST(TimeCode, AnImageThatIsSaidToEndBeforeItBeginsIsNone)
{
    std::string image = image_with("\xe8\x11\x22\x33\x44\x90"sv);
    Elf64_Ehdr header;
    std::memcpy(&header, image.data(), sizeof header);
    header.e_shoff = UINT64_MAX - 3 * sizeof(Elf64_Shdr) + 2; // the sections would end at the image's second byte
    std::memcpy(image.data(), &header, sizeof header);
    EXPECT_EQ(image_size(image), 0U);
    EXPECT_TRUE(plain_calls(image).empty());
}

#ifdef __x86_64__
TEST(TimeCode, TheKernelsOwnFunctionsStillTellTheTime)
{
    const auto* const own = reinterpret_cast<const char*>(getauxval(AT_SYSINFO_EHDR));
    if (own == nullptr)
        GTEST_SKIP() << "this kernel lends no time functions";
    const std::size_t size = image_size(std::string_view(own, 4096));
    const std::string image(own, size);
    const auto all = plain_calls(image);
    ASSERT_EQ(all.size(), 3U);
    void* const copy = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(copy, MAP_FAILED);
    std::string made = image;
    for (const function_change& each : all) {
        ASSERT_FALSE(each.changes.empty()) << each.name;
        made = changed(made, each);
    }
    std::memcpy(copy, made.data(), size);
    ASSERT_EQ(mprotect(copy, size, PROT_READ | PROT_EXEC), 0);
    const auto function = [&](std::size_t number) {
        return static_cast<char*>(copy) + all[number].changes.back().offset;
    };

    const std::time_t now = std::time(nullptr);
    timespec precise{};
    EXPECT_EQ(reinterpret_cast<int (*)(clockid_t, timespec*)>(function(0))(CLOCK_REALTIME, &precise), 0);
    EXPECT_LE(precise.tv_sec - now, 60);
    EXPECT_GE(precise.tv_sec, now);
    EXPECT_EQ(reinterpret_cast<int (*)(clockid_t, timespec*)>(function(0))(12345, &precise), -EINVAL);
    timeval time{};
    EXPECT_EQ(reinterpret_cast<int (*)(timeval*, void*)>(function(1))(&time, nullptr), 0);
    EXPECT_GE(time.tv_sec, now);
    EXPECT_GE(reinterpret_cast<std::time_t (*)(std::time_t*)>(function(2))(nullptr), now);
    munmap(copy, size);
}
#endif
