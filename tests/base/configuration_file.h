/** A configuration file: calls that read and write its keys, and iniparser itself as the judge of what it holds. */
#pragma once

#include <kt_driver/config.h>

#include "tests/support/descriptors.h"
#include "tests/support/files.h"
#include "tests/support/journal_lines.h"
#include "tests/support/outcome.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <iniparser/iniparser.h>
#include <map>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace kt::tests {

using lines = std::vector<std::string>;
using entries = std::map<std::string, std::string>;

inline constexpr char file[] = "/mnt/data/kept.ini";
inline constexpr char not_loaded[] = "dictionary_new error\n";
inline constexpr char property[] = "; kept by the terminal\n[Property]\ntimeout=60 ; minutes\nAutoRest = \"30\"\n";
inline constexpr char section_only[] = "(section)"; // what a section's own entry holds

/** All that a file holds, as iniparser loads it: "section" and "section:key". */
inline entries loaded()
{
    dictionary* const found = iniparser_load(file);
    if (found == nullptr)
        return {{"no", "dictionary"}};
    entries all;
    for (ssize_t at = 0; at < found->size; ++at) {
        if (found->key[at] != nullptr)
            all[found->key[at]] = found->val[at] != nullptr ? found->val[at] : section_only;
    }
    iniparser_freedict(found);
    return all;
}

/** A call's outcome, and what reached standard error. */
struct traced : outcome {
    std::string errors;
};

template <typename Call>
inline traced tried(Call call)
{
    traced left;
    const int kept = dup(STDERR_FILENO);
    const int errors = memfd_create("errors", MFD_CLOEXEC);
    dup2(errors, STDERR_FILENO);
    static_cast<outcome&>(left) = outcome_of(call);
    dup2(kept, STDERR_FILENO);
    close(kept);
    char bytes[4096];
    lseek(errors, 0, SEEK_SET);
    for (ssize_t count = 0; (count = read(errors, bytes, sizeof bytes)) > 0;)
        left.errors.append(bytes, static_cast<std::size_t>(count));
    close(errors);
    return left;
}

inline traced write_key(const char* section, const char* key, const char* value, const char* path = file)
{
    return tried([&] { return kt_ini_config(path, section, key, value); });
}

/** A reading call's outcome and the text that it gave; '#' where it wrote nothing. */
struct reading : traced {
    std::string value;
};

inline reading read_key(const char* section, const char* key, const char* path = file)
{
    std::vector<char> out(2048, '#');
    out.back() = '\0';
    reading got;
    static_cast<traced&>(got) = tried([&] { return kt_ini_read(path, section, key, out.data()); });
    got.value = out.data();
    return got;
}

inline void expect_read(const char* section, const char* key, const std::string& text)
{
    const reading got = read_key(section, key);
    EXPECT_EQ(got.result, 0) << section << ':' << key;
    EXPECT_EQ(got.value, text) << section << ':' << key;
    EXPECT_EQ(got.text, "") << section << ':' << key;
    EXPECT_EQ(got.errors, "") << section << ':' << key;
}

inline lines file_events(terminal::virtual_terminal& board)
{
    return told(board, {"open", "write", "create", "remove", "rename", "shell", "syslog", "missing"});
}

/** Makes a call in the face of each file that cannot be loaded: it leaves no descriptor, and all as it was. */
template <typename Call>
void with_each_unloadable_file(terminal::virtual_terminal& board, Call call)
{
    const struct {
        const char* text;
        const char* contents; // null: there is no file
        int error;            // of the rule that lets the open fail
    } rows[] = {
        {"missing", nullptr, 0},
        {"not to be opened", property, EACCES},
        {"a line that is neither section nor key", "[Property]\njust words\n", 0},
        {"a section that is not closed", "[Property\ntimeout=1\n", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        unlink(file);
        if (row.contents != nullptr)
            put(file, row.contents);
        const int rule = row.error != 0 ? board.fail(file, {.on = "open", .error = row.error}) : 0;
        const auto before = open_descriptors();
        board.forget();
        call();
        EXPECT_EQ(told(board, {"create", "write", "remove"}), lines{});
        EXPECT_EQ(open_descriptors(), before);
        if (rule != 0)
            board.mend(rule);
        EXPECT_EQ(std::filesystem::exists(file), row.contents != nullptr);
        EXPECT_EQ(held(file), row.contents != nullptr ? row.contents : "");
    }
}

} // namespace kt::tests
