/** The version record: which attributes fill it, and how their texts are cut. */
#include <kt_driver/base.h>

#include "tests/support/captured_stdout.h"
#include "tests/support/journal_lines.h"
#include "tests/support/paths.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;

using lines = std::vector<std::string>;

static_assert(sizeof(kt_sysinfo) == 60);
static_assert(offsetof(kt_sysinfo, kernelver) == 12 && offsetof(kt_sysinfo, rootfsver) == 24);
static_assert(offsetof(kt_sysinfo, hardwarever) == 36 && offsetof(kt_sysinfo, wifimodule) == 48);

namespace {

void set(virtual_terminal& board, const std::string& name, const std::string& text)
{
    board.attribute(KT_SYSINFO_DIR + name, {.text = text, .mode = 0444});
}

/** A record that held something else everywhere. */
kt_sysinfo read_record()
{
    kt_sysinfo record;
    std::memset(&record, '#', sizeof(record));
    EXPECT_EQ(kt_get_sysinfo(&record), 0);
    return record;
}

std::string field(const char (&characters)[12])
{
    return std::string(characters, sizeof(characters));
}

/** A field whole, with the zeros behind its text. */
std::string filled(std::string text)
{
    text.resize(12, '\0');
    return text;
}

} // namespace

TEST(Sysinfo, EachFieldComesFromItsAttribute)
{
    virtual_terminal board;
    set(board, "ubootver", "U1\n");
    set(board, "kernelver", "K2\n");
    set(board, "rootfsver", "R3\n");
    set(board, "hardwarever", "300\n");
    set(board, "wifimodule", "4\n");
    board.forget();
    const kt_sysinfo record = read_record();

    EXPECT_EQ(field(record.ubootver), filled("U1"));
    EXPECT_EQ(field(record.kernelver), filled("K2"));
    EXPECT_EQ(field(record.rootfsver), filled("R3"));
    EXPECT_EQ(field(record.hardwarever), filled("300"));
    EXPECT_EQ(field(record.wifimodule), filled("4"));
    EXPECT_EQ(doings(board), (lines{
                                 "open O_RDONLY /sys/class/kt_misc/sysinfo/ubootver",
                                 "open O_RDONLY /sys/class/kt_misc/sysinfo/kernelver",
                                 "open O_RDONLY /sys/class/kt_misc/sysinfo/rootfsver",
                                 "open O_RDONLY /sys/class/kt_misc/sysinfo/hardwarever",
                                 "open O_RDONLY /sys/class/kt_misc/sysinfo/wifimodule",
                             }));
}

TEST(Sysinfo, TextsAreCutAtTheirLastLineFeedAndRootfsTwice)
{
    const struct {
        const char* text;
        const char* cut_once;
        const char* cut_twice;
    } rows[] = {
        {"", "", ""},
        {"\n", "", ""},
        {"\n\n", "\n", ""},
        {"1.2", "1.2", "1.2"},
        {"1.2\n", "1.2", "1.2"},
        {"1.2\nx", "1.2", "1.2"},
        {"1.2\nx\n", "1.2\nx", "1.2"},
        {"1.2\nx\ny", "1.2\nx", "1.2"},
        {"1.2\nx\ny\n", "1.2\nx\ny", "1.2\nx"},
        {" 1 \r\n", " 1 \r", " 1 \r"},
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        for (const char* name : {"ubootver", "kernelver", "rootfsver", "hardwarever", "wifimodule"})
            set(board, name, row.text);
        const kt_sysinfo record = read_record();
        EXPECT_EQ(field(record.ubootver), filled(row.cut_once));
        EXPECT_EQ(field(record.kernelver), filled(row.cut_once));
        EXPECT_EQ(field(record.rootfsver), filled(row.cut_twice));
        EXPECT_EQ(field(record.hardwarever), filled(row.cut_once));
        EXPECT_EQ(field(record.wifimodule), filled(row.cut_once));
    }
}

TEST(Sysinfo, AVersionHasAtMostElevenCharacters)
{
    const struct {
        const char* text;
        const char* kept;
    } rows[] = {
        {"1234567890\n", "1234567890"},       {"12345678901\n", "12345678901"},
        {"123456789012\n", "12345678901"},    {"1234567890123456789\n", "12345678901"},
        {"123456789012\nx\n", "12345678901"}, {"123456789\nabc\n", "123456789\na"}, // the line feed counts
    };
    virtual_terminal board;
    for (const auto& row : rows) {
        set(board, "kernelver", row.text);
        const kt_sysinfo record = read_record();
        EXPECT_EQ(field(record.kernelver), filled(row.kept)) << row.text;
    }
}

TEST(Sysinfo, TheCutComesBeforeTheElevenCharacters)
{
    virtual_terminal board;
    set(board, "kernelver", "1234\n678901234\n"); // eleven characters first would leave only 1234
    set(board, "rootfsver", "12345678901234\nx\n");
    const kt_sysinfo record = read_record();
    EXPECT_EQ(field(record.kernelver), filled("1234\n678901"));
    EXPECT_EQ(field(record.rootfsver), filled("12345678901"));
}

TEST(Sysinfo, AMissingAttributeLeavesItsFieldEmptyAndTheOthersAreRead)
{
    virtual_terminal board;
    for (const char* name : {"ubootver", "kernelver", "rootfsver", "hardwarever", "wifimodule"})
        set(board, name, "7\n");
    board.remove(KT_SYSINFO_DIR "ubootver");
    board.remove(KT_SYSINFO_DIR "rootfsver");
    board.forget();
    const kt_sysinfo record = read_record();

    EXPECT_EQ(field(record.ubootver), filled(""));
    EXPECT_EQ(field(record.kernelver), filled("7"));
    EXPECT_EQ(field(record.rootfsver), filled(""));
    EXPECT_EQ(field(record.hardwarever), filled("7"));
    EXPECT_EQ(field(record.wifimodule), filled("7"));
    const std::string line_end = " No such file or directory\n";
    EXPECT_EQ(told(board, {"syslog"}),
              (lines{"syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/ubootver" + line_end,
                     "syslog 3 get_attr stat /sys/class/kt_misc/sysinfo/rootfsver" + line_end}));
}

TEST(Sysinfo, AnUnreadableAttributeLeavesItsFieldEmpty)
{
    virtual_terminal board;
    set(board, "kernelver", "7\n");
    set(board, "hardwarever", "90\n");
    board.fail(KT_SYSINFO_DIR "kernelver", {.on = "open", .error = EACCES});
    board.fail(KT_SYSINFO_DIR "hardwarever", {.on = "read", .error = EIO});
    board.forget();
    const kt_sysinfo record = read_record();

    EXPECT_EQ(field(record.kernelver), filled(""));
    EXPECT_EQ(field(record.hardwarever), filled(""));
    EXPECT_EQ(board.syslog(), "get_attr can't open /sys/class/kt_misc/sysinfo/kernelver Permission denied\n"
                              "get_attr can't read /sys/class/kt_misc/sysinfo/hardwarever Input/output error\n");
}

TEST(Sysinfo, ABoardWithoutVersionsGivesAnEmptyRecord)
{
    virtual_terminal board;
    board.remove("/sys/class/kt_misc/sysinfo");
    board.forget();
    const kt_sysinfo record = read_record();
    const char* bytes = reinterpret_cast<const char*>(&record);
    EXPECT_TRUE(std::all_of(bytes, bytes + sizeof(record), [](char byte) { return byte == '\0'; }));
    EXPECT_EQ(board.events_of({"syslog"}).size(), 5u);
}

TEST(Sysinfo, NoRecordIsRefused)
{
    virtual_terminal board;
    board.forget();
    int result = 0;
    errno = 0;
    const std::string text = printed([&] { result = kt_get_sysinfo(nullptr); });
    const int cause = errno;
    EXPECT_EQ(text, "");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(cause, EINVAL);
    EXPECT_EQ(doings(board), lines{});
}

TEST(Sysinfo, NothingIsPrinted)
{
    kt_sysinfo record;
    EXPECT_EQ(printed([&] { kt_get_sysinfo(&record); }), "");
}
