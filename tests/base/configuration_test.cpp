/** Keys of INI files read; which names and arguments are taken. */
#include "tests/base/configuration_file.h"

using namespace kt::tests;
using kt::terminal::virtual_terminal;

TEST(ConfigurationReading, GivesTheKeysText)
{
    put(file, "[Property]\ntimeout=60\n autorest_timeout =  -5  \nname=two words\nquoted=\"a ; b\"\nnothing=\n"
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
    put(file, "[PROPERTY]\nTimeOut=Sixty\n");
    expect_read("Property", "timeout", "Sixty");
    expect_read("property", "TIMEOUT", "Sixty");
}

TEST(ConfigurationReading, AKeyThatIsNotThereIsZero)
{
    put(file, property);
    expect_read("Property", "absent", "0");
    expect_read("Absent", "timeout", "0");
    expect_read("", "timeout", "0");
    expect_read("", "", "0");
    put(file, "");
    expect_read("Property", "timeout", "0");
}

TEST(ConfigurationReading, ASectionThatIsAskedForAsAKeyHasNoText)
{
    // "Property:" is no entry, and the section's own entry, which has no text, cannot be named by two parts.
    put(file, property);
    expect_read("Property", "", "0");
}

TEST(ConfigurationReading, ALongTextIsGivenWhole)
{
    const std::string text(1000, 'x');
    put(file, "[Property]\nlong=" + text + "\n");
    expect_read("Property", "long", text);
}

TEST(ConfigurationReading, OpensTheFileOnceForReadingAndAfreshEachTime)
{
    put(file, property);
    virtual_terminal board;
    for (const char* text : {"60", "61"}) {
        put(file, "[Property]\ntimeout=" + std::string(text) + "\n");
        board.forget();
        expect_read("Property", "timeout", text);
        EXPECT_EQ(file_events(board), lines{"open O_RDONLY " + std::string(file)});
    }
}

TEST(ConfigurationReading, AFileThatCannotBeLoadedGivesAnEmptyText)
{
    virtual_terminal board;
    with_each_unloadable_file(board, [] {
        const reading got = read_key("Property", "timeout");
        EXPECT_EQ(got.result, -1);
        EXPECT_EQ(got.value, "");
        EXPECT_EQ(got.text, not_loaded);
    });
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
        put(file, property);
        board.forget();
        const reading got = read_key(section.c_str(), key.c_str());
        EXPECT_EQ(got.result, row.fits ? 0 : -1) << row.section << ' ' << row.key;
        if (!row.fits) {
            EXPECT_EQ(got.cause, EINVAL) << row.section << ' ' << row.key;
        }
        EXPECT_EQ(got.value, row.fits ? "0" : std::string(2047, '#')) << row.section << ' ' << row.key;
        EXPECT_EQ(got.text, "") << row.section << ' ' << row.key;

        const traced left = write_key(section.c_str(), key.c_str(), "1");
        EXPECT_EQ(left.result, row.fits ? 0 : -1) << row.section << ' ' << row.key;
        EXPECT_EQ(left.text, "") << row.section << ' ' << row.key;
        const std::size_t opens = row.fits ? 3 : 0; // of both calls
        EXPECT_EQ(board.events_of({"open"}).size(), opens) << row.section << ' ' << row.key;
        if (!row.fits) {
            EXPECT_EQ(left.cause, EINVAL) << row.section << ' ' << row.key;
            EXPECT_EQ(held(file), property) << row.section << ' ' << row.key;
        }
    }
}

TEST(ConfigurationNames, ALongNameIsFoundAgain)
{
    put(file, property);
    const std::string section(500, 's');
    const std::string key(500, 'k');
    EXPECT_EQ(write_key(section.c_str(), key.c_str(), "value").result, 0);
    expect_read(section.c_str(), key.c_str(), "value");
    expect_read("Property", "timeout", "60");
}

TEST(ConfigurationRefusals, NothingIsTouchedOrPrinted)
{
    virtual_terminal board;
    put(file, property);
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
        const traced left = tried([&] { return row.call(out); });
        EXPECT_EQ(left.result, -1) << row.text;
        EXPECT_EQ(left.cause, EINVAL) << row.text;
        EXPECT_EQ(left.text, "") << row.text;
        EXPECT_EQ(left.errors, "") << row.text;
        EXPECT_STREQ(out, "before") << row.text;
    }
    EXPECT_EQ(file_events(board), lines{});
    EXPECT_EQ(held(file), property);
}
