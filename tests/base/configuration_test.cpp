/** Keys of INI files read and written, with iniparser itself as the judge of what a file holds. */
#include <kt_driver/config.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/descriptors.h"
#include "tests/support/journal_lines.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iniparser/iniparser.h>
#include <iterator>
#include <map>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;
using entries = std::map<std::string, std::string>;

namespace {

constexpr char file[] = "/mnt/data/kept.ini";
constexpr char not_loaded[] = "dictionary_new error\n";
constexpr char cannot_open[] = "cannot open /mnt/data/kept.ini\n";
constexpr char property[] = "; kept by the terminal\n[Property]\ntimeout=60 ; minutes\nAutoRest = \"30\"\n";
constexpr char section_only[] = "(section)"; // what a section's own entry holds

void put(const std::string& text)
{
    std::ofstream(file, std::ios::trunc) << text;
}

std::string held()
{
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

/** All that a file holds, as iniparser loads it: "section" and "section:key". */
entries loaded()
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

/** What a call leaves: its result, errno, both outputs. */
struct outcome {
    int result = -2;
    int error = 0;
    std::string output, errors;
};

template <typename Call>
outcome tried(Call call)
{
    outcome left;
    const int kept = dup(STDERR_FILENO);
    const int errors = memfd_create("errors", MFD_CLOEXEC);
    dup2(errors, STDERR_FILENO);
    left.output = printed([&] {
        errno = 0;
        left.result = call();
        left.error = errno;
    });
    dup2(kept, STDERR_FILENO);
    close(kept);
    char bytes[4096];
    lseek(errors, 0, SEEK_SET);
    for (ssize_t count = 0; (count = read(errors, bytes, sizeof bytes)) > 0;)
        left.errors.append(bytes, static_cast<std::size_t>(count));
    close(errors);
    return left;
}

outcome write_key(const char* section, const char* key, const char* value, const char* path = file)
{
    return tried([&] { return kt_ini_config(path, section, key, value); });
}

/** A reading call's outcome and the text that it gave; '#' where it wrote nothing. */
struct reading : outcome {
    std::string text;
};

reading read_key(const char* section, const char* key, const char* path = file)
{
    std::vector<char> out(2048, '#');
    out.back() = '\0';
    reading got;
    static_cast<outcome&>(got) = tried([&] { return kt_ini_read(path, section, key, out.data()); });
    got.text = out.data();
    return got;
}

void expect_read(const char* section, const char* key, const std::string& text)
{
    const reading got = read_key(section, key);
    EXPECT_EQ(got.result, 0) << section << ':' << key;
    EXPECT_EQ(got.text, text) << section << ':' << key;
    EXPECT_EQ(got.output, "") << section << ':' << key;
    EXPECT_EQ(got.errors, "") << section << ':' << key;
}

lines file_events(virtual_terminal& board)
{
    return told(board, {"open", "write", "create", "remove", "rename", "shell", "syslog", "missing"});
}

} // namespace

TEST(ConfigurationReading, GivesTheKeysText)
{
    put("[Property]\ntimeout=60\n autorest_timeout =  -5  \nname=two words\nquoted=\"a ; b\"\nnothing=\n"
        "[Other]\ntimeout=7 # comment\n");
    expect_read("Property", "timeout", "60");
    expect_read("Property", "autorest_timeout", "-5");
    expect_read("Property", "name", "two words");
    expect_read("Property", "quoted", "a ; b");
    expect_read("Property", "nothing", "");
    expect_read("Other", "timeout", "7");
}

TEST(ConfigurationReading, TellsNoUpperFromLowerCaseInNames)
{
    put("[PROPERTY]\nTimeOut=Sixty\n");
    expect_read("Property", "timeout", "Sixty");
    expect_read("property", "TIMEOUT", "Sixty");
}

TEST(ConfigurationReading, AKeyThatIsNotThereIsZero)
{
    put(property);
    expect_read("Property", "absent", "0");
    expect_read("Absent", "timeout", "0");
    expect_read("", "timeout", "0");
    expect_read("", "", "0");
    put("");
    expect_read("Property", "timeout", "0");
}

TEST(ConfigurationReading, ASectionThatIsAskedForAsAKeyHasNoText)
{
    // "Property:" is no entry, and the section's own entry, which has no text, cannot be named by two parts.
    put(property);
    expect_read("Property", "", "0");
}

TEST(ConfigurationReading, ALongTextIsGivenWhole)
{
    const std::string text(1000, 'x');
    put("[Property]\nlong=" + text + "\n");
    expect_read("Property", "long", text);
}

TEST(ConfigurationReading, OpensTheFileOnceForReadingAndAfreshEachTime)
{
    put(property);
    virtual_terminal board;
    for (const char* text : {"60", "61"}) {
        put("[Property]\ntimeout=" + std::string(text) + "\n");
        board.forget();
        expect_read("Property", "timeout", text);
        EXPECT_EQ(file_events(board), lines{"open O_RDONLY " + std::string(file)});
    }
}

TEST(ConfigurationReading, AFileThatCannotBeLoadedGivesAnEmptyText)
{
    virtual_terminal board;
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
        unlink(file);
        if (row.contents != nullptr)
            put(row.contents);
        const int rule = row.error != 0 ? board.fail(file, {.on = "open", .error = row.error}) : 0;
        const auto before = open_descriptors();
        const reading got = read_key("Property", "timeout");
        EXPECT_EQ(got.result, -1) << row.text;
        EXPECT_EQ(got.text, "") << row.text;
        EXPECT_EQ(got.output, not_loaded) << row.text;
        EXPECT_EQ(open_descriptors(), before) << row.text;
        if (rule != 0)
            board.mend(rule);
    }
}

TEST(ConfigurationWriting, SetsOneKeyAndKeepsTheOthers)
{
    put("[Property]\ntimeout=60\nautorest_timeout=30\n[Other]\ntimeout=7\nname=two words\n");
    const outcome left = write_key("Property", "timeout", "120");
    EXPECT_EQ(left.result, 0);
    EXPECT_EQ(left.output, "");
    EXPECT_EQ(loaded(), (entries{{"property", section_only},
                                 {"property:timeout", "120"},
                                 {"property:autorest_timeout", "30"},
                                 {"other", section_only},
                                 {"other:timeout", "7"},
                                 {"other:name", "two words"}}));
    expect_read("Property", "timeout", "120");
    expect_read("Other", "timeout", "7");
}

TEST(ConfigurationWriting, AddsAKeyToItsSection)
{
    put("[A]\nk=1\n[B]\nk=2\n");
    EXPECT_EQ(write_key("a", "More", "Text As It Is").result, 0);
    EXPECT_EQ(
        loaded(),
        (entries{{"a", section_only}, {"a:k", "1"}, {"a:more", "Text As It Is"}, {"b", section_only}, {"b:k", "2"}}));
}

TEST(ConfigurationWriting, MakesASectionThatIsNotThere)
{
    put(property);
    EXPECT_EQ(write_key("New", "key", "value").result, 0);
    EXPECT_EQ(loaded(), (entries{{"property", section_only},
                                 {"property:timeout", "60"},
                                 {"property:autorest", "30"},
                                 {"new", section_only},
                                 {"new:key", "value"}}));

    put(""); // of an empty file the first
    EXPECT_EQ(write_key("Property", "timeout", "5").result, 0);
    EXPECT_EQ(loaded(), (entries{{"property", section_only}, {"property:timeout", "5"}}));
}

TEST(ConfigurationWriting, ASectionThatIsCalledLikeAKeyDoesNotEmptyIt)
{
    put(property);
    EXPECT_EQ(write_key("Property:timeout", "key", "1").result, 0);
    expect_read("Property", "timeout", "60");
    expect_read("Property", "timeout:key", "1");
}

TEST(ConfigurationWriting, DropsCommentsAndLayout)
{
    put("; first\n\n\n[Property]\n; second\n# third\n   timeout   =   60   ; fourth\n");
    EXPECT_EQ(write_key("Property", "other", "1").result, 0);
    const std::string text = held();
    for (const char* gone : {"first", "second", "third", "fourth", ";", "#"})
        EXPECT_EQ(text.find(gone), std::string::npos) << text;
    EXPECT_EQ(loaded(), (entries{{"property", section_only}, {"property:timeout", "60"}, {"property:other", "1"}}));
}

TEST(ConfigurationWriting, WritesWhatIniparserWrites)
{
    put("[Property]\ntimeout=60\n[Other]\nname=two words\n[Empty]\n");
    dictionary* const expected = iniparser_load(file);
    ASSERT_NE(expected, nullptr);
    iniparser_set(expected, "property:timeout", "99");
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const stream = open_memstream(&text, &size);
    iniparser_dump_ini(expected, stream);
    (void)std::fclose(stream);
    iniparser_freedict(expected);

    EXPECT_EQ(write_key("Property", "timeout", "99").result, 0);
    EXPECT_EQ(held(), std::string(text, size));
    std::free(text);
}

TEST(ConfigurationWriting, TracesTheOldContentsOnStandardError)
{
    put(property);
    EXPECT_EQ(write_key("Property", "timeout", "120").errors,
              "[property]=UNDEF\n[property:timeout]=[60]\n[property:autorest]=[30]\n");
    EXPECT_EQ(write_key("New", "key", "1").errors,
              "[property]=UNDEF\n[property:timeout]=[120]\n[property:autorest]=[30]\n");
    put("");
    EXPECT_EQ(write_key("New", "key", "1").errors, "");
}

TEST(ConfigurationWriting, RepeatedWritesDoNotGrowTheFile)
{
    put(property);
    EXPECT_EQ(write_key("Property", "timeout", "1").result, 0);
    const std::string once = held();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(write_key("Property", "timeout", "1").result, 0);
    EXPECT_EQ(held(), once);
}

TEST(ConfigurationWriting, LoadsThenCutsThenWrites)
{
    put(property);
    virtual_terminal board;
    board.forget();
    const auto before = open_descriptors();
    EXPECT_EQ(write_key("Property", "timeout", "120").result, 0);
    EXPECT_EQ(open_descriptors(), before);
    const lines events = file_events(board);
    ASSERT_EQ(events.size(), 3u) << testing::PrintToString(events);
    EXPECT_EQ(events[0], "open O_RDONLY " + std::string(file));
    EXPECT_EQ(events[1], "open O_WRONLY|O_TRUNC " + std::string(file));
    EXPECT_EQ(events[2], "write " + std::string(file) + " " + held());
}

TEST(ConfigurationWriting, AFileThatCannotBeLoadedIsNotMadeOrChanged)
{
    virtual_terminal board;
    const struct {
        const char* text;
        const char* contents; // null: there is no file
        int error;            // of the rule that lets the open fail
    } rows[] = {
        {"missing", nullptr, 0},
        {"not to be opened", property, EACCES},
        {"broken", "[Property]\njust words\n", 0},
    };
    for (const auto& row : rows) {
        unlink(file);
        if (row.contents != nullptr)
            put(row.contents);
        const int rule = row.error != 0 ? board.fail(file, {.on = "open", .error = row.error}) : 0;
        const auto before = open_descriptors();
        board.forget();
        const outcome left = write_key("Property", "timeout", "1");
        EXPECT_EQ(told(board, {"create", "write", "remove"}), lines{}) << row.text;
        EXPECT_EQ(left.result, 0) << row.text;
        EXPECT_EQ(left.output, not_loaded) << row.text;
        EXPECT_EQ(open_descriptors(), before) << row.text;
        if (rule != 0)
            board.mend(rule);
        EXPECT_EQ(std::filesystem::exists(file), row.contents != nullptr) << row.text;
        if (row.contents != nullptr) {
            EXPECT_EQ(held(), row.contents) << row.text;
        }
    }
}

TEST(ConfigurationWriting, AFileThatCannotBeOpenedForWritingStaysAsItIs)
{
    virtual_terminal board;
    for (const int error : {EACCES, EROFS, ENOSPC}) {
        put(property);
        const auto before = open_descriptors();
        const int rule = board.fail(file, {.on = "open", .error = error, .skip = 1}); // it is read before
        const outcome left = write_key("Property", "timeout", "1");
        board.mend(rule);
        EXPECT_EQ(left.result, 0) << error;
        EXPECT_EQ(left.output, cannot_open) << error;
        EXPECT_EQ(left.errors, "") << "the old contents are not traced" << error;
        EXPECT_EQ(held(), property) << error;
        EXPECT_EQ(open_descriptors(), before) << error;
    }
}

TEST(ConfigurationWriting, AFailedWriteLeavesTheFileEmpty)
{
    virtual_terminal board;
    put(property);
    const int rule = board.fail(file, {.on = "write", .error = ENOSPC});
    const outcome left = write_key("Property", "timeout", "1");
    board.mend(rule);
    EXPECT_EQ(left.result, 0);
    EXPECT_EQ(left.output, "");
    EXPECT_EQ(held(), "");
}

TEST(ConfigurationWriting, AFolderLoadsAsNothingAndCannotBeOpened)
{
    constexpr char folder[] = "/mnt/data/folder";
    std::filesystem::create_directory(folder);
    const outcome left = write_key("Property", "timeout", "1", folder);
    EXPECT_EQ(left.result, 0);
    EXPECT_EQ(left.output, "cannot open /mnt/data/folder\n");
    const reading got = read_key("Property", "timeout", folder);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.text, "0");
    EXPECT_TRUE(std::filesystem::is_directory(folder));
}

TEST(ConfigurationWriting, TextsComeBackAsTheyWere)
{
    put(property);
    const std::string long_text(900, 'x');
    for (const char* text :
         {"0", "-1", "2147483647", "two words", "a=b", "[c]", "", "%s%n", "\xC3\xA4", long_text.c_str()}) {
        EXPECT_EQ(write_key("Property", "text", text).result, 0) << text;
        expect_read("Property", "text", text);
        expect_read("Property", "timeout", "60");
    }
}

TEST(ConfigurationNames, HaveUpTo1023CharactersTogether)
{
    const struct {
        std::size_t section, key;
        bool fits;
    } rows[] = {{500, 522, true}, {500, 523, false}, {1, 1021, true},  {1, 1022, false},   {1022, 0, true},
                {1023, 0, false}, {0, 1022, true},   {0, 1023, false}, {4000, 4000, false}};
    virtual_terminal board;
    for (const auto& row : rows) {
        const std::string section(row.section, 's');
        const std::string key(row.key, 'k');
        put(property);
        board.forget();
        const reading got = read_key(section.c_str(), key.c_str());
        EXPECT_EQ(got.result, row.fits ? 0 : -1) << row.section << ' ' << row.key;
        EXPECT_EQ(got.error, row.fits ? got.error : EINVAL) << row.section << ' ' << row.key;
        EXPECT_EQ(got.text, row.fits ? "0" : std::string(2047, '#')) << row.section << ' ' << row.key;
        EXPECT_EQ(got.output, "") << row.section << ' ' << row.key;

        const outcome left = write_key(section.c_str(), key.c_str(), "1");
        EXPECT_EQ(left.result, row.fits ? 0 : -1) << row.section << ' ' << row.key;
        EXPECT_EQ(left.error, row.fits ? left.error : EINVAL) << row.section << ' ' << row.key;
        EXPECT_EQ(left.output, "") << row.section << ' ' << row.key;
        const std::size_t opens = row.fits ? 3 : 0; // of both calls
        EXPECT_EQ(board.events_of({"open"}).size(), opens) << row.section << ' ' << row.key;
        if (!row.fits) {
            EXPECT_EQ(held(), property) << row.section << ' ' << row.key;
        }
    }
}

TEST(ConfigurationNames, ALongNameIsFoundAgain)
{
    put(property);
    const std::string section(500, 's');
    const std::string key(500, 'k');
    EXPECT_EQ(write_key(section.c_str(), key.c_str(), "value").result, 0);
    expect_read(section.c_str(), key.c_str(), "value");
    expect_read("Property", "timeout", "60");
}

TEST(ConfigurationRefusals, NothingIsTouchedOrPrinted)
{
    virtual_terminal board;
    put(property);
    board.forget();
    char out[8] = "before";
    const struct {
        const char* text;
        int (*call)(char* out);
    } rows[] = {
        {"write: path", [](char*) { return kt_ini_config(nullptr, "Property", "timeout", "1"); }},
        {"write: section", [](char*) { return kt_ini_config(file, nullptr, "timeout", "1"); }},
        {"write: key", [](char*) { return kt_ini_config(file, "Property", nullptr, "1"); }},
        {"write: value", [](char*) { return kt_ini_config(file, "Property", "timeout", nullptr); }},
        {"read: path", [](char* to) { return kt_ini_read(nullptr, "Property", "timeout", to); }},
        {"read: section", [](char* to) { return kt_ini_read(file, nullptr, "timeout", to); }},
        {"read: key", [](char* to) { return kt_ini_read(file, "Property", nullptr, to); }},
        {"read: out", [](char*) { return kt_ini_read(file, "Property", "timeout", nullptr); }},
    };
    for (const auto& row : rows) {
        const outcome left = tried([&] { return row.call(out); });
        EXPECT_EQ(left.result, -1) << row.text;
        EXPECT_EQ(left.error, EINVAL) << row.text;
        EXPECT_EQ(left.output, "") << row.text;
        EXPECT_EQ(left.errors, "") << row.text;
        EXPECT_STREQ(out, "before") << row.text;
    }
    EXPECT_EQ(file_events(board), lines{});
    EXPECT_EQ(held(), property);
}
