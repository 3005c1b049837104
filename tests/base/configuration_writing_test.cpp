/** Keys of INI files written: what the file holds afterwards, and what a failure leaves of it. */
#include "tests/base/configuration_file.h"

#include <cstdio>
#include <cstdlib>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

namespace {

constexpr char cannot_open[] = "cannot open /mnt/data/kept.ini\n";

} // namespace

TEST(ConfigurationWriting, SetsOneKeyAndKeepsTheOthers)
{
    put(file, "[Property]\ntimeout=60\nautorest_timeout=30\n[Other]\ntimeout=7\nname=two words\n");
    const traced left = write_key("Property", "timeout", "120");
    EXPECT_EQ(left.result, 0);
    EXPECT_EQ(left.text, "");
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
    put(file, "[A]\nk=1\n[B]\nk=2\n");
    EXPECT_EQ(write_key("a", "More", "Text As It Is").result, 0);
    EXPECT_EQ(
        loaded(),
        (entries{{"a", section_only}, {"a:k", "1"}, {"a:more", "Text As It Is"}, {"b", section_only}, {"b:k", "2"}}));
}

TEST(ConfigurationWriting, MakesASectionThatIsNotThere)
{
    put(file, property);
    EXPECT_EQ(write_key("New", "key", "value").result, 0);
    EXPECT_EQ(loaded(), (entries{{"property", section_only},
                                 {"property:timeout", "60"},
                                 {"property:autorest", "30"},
                                 {"new", section_only},
                                 {"new:key", "value"}}));

    put(file, ""); // of an empty file the first
    EXPECT_EQ(write_key("Property", "timeout", "5").result, 0);
    EXPECT_EQ(loaded(), (entries{{"property", section_only}, {"property:timeout", "5"}}));
}

TEST(ConfigurationWriting, ASectionThatIsCalledLikeAKeyDoesNotEmptyIt)
{
    put(file, property);
    EXPECT_EQ(write_key("Property:timeout", "key", "1").result, 0);
    expect_read("Property", "timeout", "60");
    expect_read("Property", "timeout:key", "1");
}

TEST(ConfigurationWriting, DropsCommentsAndLayout)
{
    put(file, "; first\n\n\n[Property]\n; second\n# third\n   timeout   =   60   ; fourth\n");
    EXPECT_EQ(write_key("Property", "other", "1").result, 0);
    const std::string text = held(file);
    for (const char* gone : {"first", "second", "third", "fourth", ";", "#"})
        EXPECT_EQ(text.find(gone), std::string::npos) << text;
    EXPECT_EQ(loaded(), (entries{{"property", section_only}, {"property:timeout", "60"}, {"property:other", "1"}}));
}

TEST(ConfigurationWriting, WritesWhatIniparserWrites)
{
    put(file, "[Property]\ntimeout=60\n[Other]\nname=two words\n[Empty]\n");
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
    EXPECT_EQ(held(file), std::string(text, size));
    std::free(text);
}

TEST(ConfigurationWriting, TracesTheOldContentsOnStandardError)
{
    put(file, property);
    EXPECT_EQ(write_key("Property", "timeout", "120").errors,
              "[property]=UNDEF\n[property:timeout]=[60]\n[property:autorest]=[30]\n");
    EXPECT_EQ(write_key("New", "key", "1").errors,
              "[property]=UNDEF\n[property:timeout]=[120]\n[property:autorest]=[30]\n");
    put(file, "");
    EXPECT_EQ(write_key("New", "key", "1").errors, "");
}

TEST(ConfigurationWriting, RepeatedWritesDoNotGrowTheFile)
{
    put(file, property);
    EXPECT_EQ(write_key("Property", "timeout", "1").result, 0);
    const std::string once = held(file);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(write_key("Property", "timeout", "1").result, 0);
    EXPECT_EQ(held(file), once);
}

TEST(ConfigurationWriting, LoadsThenCutsThenWrites)
{
    put(file, property);
    virtual_terminal board;
    board.forget();
    const auto before = open_descriptors();
    EXPECT_EQ(write_key("Property", "timeout", "120").result, 0);
    EXPECT_EQ(open_descriptors(), before);
    const lines events = file_events(board);
    ASSERT_EQ(events.size(), 3u) << testing::PrintToString(events);
    EXPECT_EQ(events[0], "open O_RDONLY " + std::string(file));
    EXPECT_EQ(events[1], "open O_WRONLY|O_TRUNC " + std::string(file));
    EXPECT_EQ(events[2], "write " + std::string(file) + " " + held(file));
}

TEST(ConfigurationWriting, AFileThatCannotBeLoadedIsNotMadeOrChanged)
{
    virtual_terminal board;
    with_each_unloadable_file(board, [] {
        const traced left = write_key("Property", "timeout", "1");
        EXPECT_EQ(left.result, 0);
        EXPECT_EQ(left.text, not_loaded);
    });
}

TEST(ConfigurationWriting, AFileThatCannotBeOpenedForWritingStaysAsItIs)
{
    virtual_terminal board;
    for (const int error : {EACCES, EROFS, ENOSPC}) {
        put(file, property);
        const auto before = open_descriptors();
        const int rule = board.fail(file, {.on = "open", .error = error, .skip = 1}); // it is read before
        const traced left = write_key("Property", "timeout", "1");
        board.mend(rule);
        EXPECT_EQ(left.result, 0) << error;
        EXPECT_EQ(left.text, cannot_open) << error;
        EXPECT_EQ(left.errors, "") << "the old contents are not traced" << error;
        EXPECT_EQ(held(file), property) << error;
        EXPECT_EQ(open_descriptors(), before) << error;
    }
}

TEST(ConfigurationWriting, AFailedWriteLeavesTheFileEmpty)
{
    virtual_terminal board;
    put(file, property);
    const int rule = board.fail(file, {.on = "write", .error = ENOSPC});
    const traced left = write_key("Property", "timeout", "1");
    board.mend(rule);
    EXPECT_EQ(left.result, 0);
    EXPECT_EQ(left.text, "");
    EXPECT_EQ(held(file), "");
}

TEST(ConfigurationWriting, AFolderLoadsAsNothingAndCannotBeOpened)
{
    constexpr char folder[] = "/mnt/data/folder";
    std::filesystem::create_directory(folder);
    const traced left = write_key("Property", "timeout", "1", folder);
    EXPECT_EQ(left.result, 0);
    EXPECT_EQ(left.text, "cannot open /mnt/data/folder\n");
    const reading got = read_key("Property", "timeout", folder);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.value, "0");
    EXPECT_TRUE(std::filesystem::is_directory(folder));
}

TEST(ConfigurationWriting, TextsComeBackAsTheyWere)
{
    put(file, property);
    const std::string long_text(900, 'x');
    for (const char* text :
         {"0", "-1", "2147483647", "two words", "a=b", "[c]", "", "%s%n", "\xC3\xA4", long_text.c_str()}) {
        EXPECT_EQ(write_key("Property", "text", text).result, 0) << text;
        expect_read("Property", "text", text);
        expect_read("Property", "timeout", "60");
    }
}
