/** Attribute files as a program meets them: who may open them, what a store takes, what a read shows. */
#include "file_calls.h"
#include "tests/support/journal_lines.h"

#include <array>
#include <gmock/gmock.h>

using namespace kt::tests;
using kt::terminal::virtual_terminal;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string place = "/sys/class/kt_misc/ioctl/tried";

} // namespace

TEST(AttributeRules, WhatNobodyMayWriteIsRefusedToRootAtTheOpen)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n", .mode = 0444});
    EXPECT_EQ(geteuid(), 0U);
    EXPECT_EQ(open_error(place, O_WRONLY), EACCES);
    EXPECT_EQ(open_error(place, O_RDWR), EACCES);
    EXPECT_EQ(open_error(place, O_WRONLY | O_TRUNC), EACCES);
    EXPECT_EQ(shown(place), "5\n");
}

TEST(AttributeRules, WhatNobodyMayReadIsRefusedToRootAtTheOpen)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n", .mode = 0200});
    EXPECT_EQ(open_error(place, O_RDONLY), EACCES);
    EXPECT_EQ(open_error(place, O_RDWR), EACCES);
    EXPECT_EQ(put(place, "6\n"), 0);
    EXPECT_EQ(board.text(place), "6\n");
}

TEST(AttributeRules, AnyClassOfPermissionsCounts)
{
    virtual_terminal board;
    for (const mode_t readable : {mode_t{0400}, mode_t{0040}, mode_t{0004}}) {
        board.attribute(place, {.text = "5\n", .mode = readable});
        EXPECT_EQ(open_error(place, O_RDONLY), 0) << std::oct << readable;
        EXPECT_EQ(open_error(place, O_WRONLY), EACCES) << std::oct << readable;
    }
    for (const mode_t writable : {mode_t{0200}, mode_t{0020}, mode_t{0002}}) {
        board.attribute(place, {.text = "5\n", .mode = writable});
        EXPECT_EQ(open_error(place, O_WRONLY), 0) << std::oct << writable;
        EXPECT_EQ(open_error(place, O_RDONLY), EACCES) << std::oct << writable;
    }
}

TEST(AttributeRules, TruncatingStoresNothing)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n"});
    board.forget();
    EXPECT_EQ(open_error(place, O_WRONLY | O_TRUNC), 0);
    EXPECT_EQ(truncate(place.c_str(), 0), 0);
    EXPECT_THAT(board.writes(place), IsEmpty());
    EXPECT_EQ(shown(place), "5\n");
}

TEST(AttributeRules, EachWriteIsOneStore)
{
    virtual_terminal board;
    board.attribute(place, {.text = "\n"});
    board.forget();
    const opened_file file(place, O_WRONLY);
    EXPECT_EQ(write(file.fd(), "1", 1), 1);
    EXPECT_EQ(write(file.fd(), "22\n", 3), 3);
    EXPECT_THAT(board.writes(place), ElementsAre("1", "22\n"));
    EXPECT_EQ(shown(place), "22\n") << "the newest store replaces the older, wherever it stood";
}

TEST(AttributeRules, AppendingAndPlacedWritesAreStoresTooAndReplaceAll)
{
    virtual_terminal board;
    board.attribute(place, {.text = "old\n"});
    EXPECT_EQ(put(place, "new\n", O_WRONLY | O_APPEND), 0);
    EXPECT_EQ(shown(place), "new\n");
    const opened_file file(place, O_RDWR);
    EXPECT_EQ(pwrite(file.fd(), "x\n", 2, 100), 2);
    EXPECT_EQ(shown(place), "x\n");
}

TEST(AttributeRules, ANumberIsTakenAsDriversDo)
{
    virtual_terminal board;
    board.attribute(place, {.text = "0\n", .kind = "integer"});
    const std::array<std::pair<const char*, const char*>, 11> rows = {{
        {"7", "7\n"},
        {"7\n", "7\n"},
        {"0x1f", "31\n"},
        {"0X1F\n", "31\n"},
        {"017", "15\n"},
        {"0", "0\n"},
        {"-5", "-5\n"},
        {"+5\n", "5\n"},
        {"-0x10", "-16\n"},
        {"9223372036854775807", "9223372036854775807\n"},
        {"-9223372036854775807", "-9223372036854775807\n"},
    }};
    for (const auto& [written, shows] : rows) {
        EXPECT_EQ(put(place, written), 0) << written;
        EXPECT_EQ(shown(place), shows) << written;
    }
}

TEST(AttributeRules, TheSmallestNumberIsTaken)
{
    virtual_terminal board;
    board.attribute(place, {.text = "0\n", .kind = "integer"});
    EXPECT_EQ(put(place, "-9223372036854775808"), 0);
    EXPECT_EQ(shown(place), "-9223372036854775808\n");
}

TEST(AttributeRules, WhatIsNoNumberIsRefusedAndChangesNothing)
{
    virtual_terminal board;
    board.attribute(place, {.text = "3\n", .kind = "integer"});
    for (const char* garbage : {"x", "1x", " 1", "1 ", "1\n\n", "\n", "--1", "+-1", "0x", "08", "1 2", "1.0", "0xg"})
        EXPECT_EQ(put(place, garbage), EINVAL) << garbage;
    for (const char* large :
         {"9223372036854775808", "-9223372036854775809", "99999999999999999999", "0xffffffffffffffff"})
        EXPECT_EQ(put(place, large), ERANGE) << large;
    EXPECT_EQ(shown(place), "3\n");
}

TEST(AttributeRules, AReadFromTheStartAsksTheDriverAgain)
{
    virtual_terminal board;
    board.attribute(place, {.text = "first\n"});
    const opened_file file(place, O_RDONLY);
    char bytes[16] = {};
    EXPECT_EQ(read(file.fd(), bytes, 3), 3);
    board.attribute(place, {.text = "second\n"});
    EXPECT_EQ(read(file.fd(), bytes + 3, 13), 3) << "one reading shows one value";
    EXPECT_EQ(std::string(bytes), "first\n");

    EXPECT_EQ(lseek(file.fd(), 0, SEEK_SET), 0);
    EXPECT_EQ(read(file.fd(), bytes, sizeof bytes), 7);
    EXPECT_EQ(std::string(bytes), "second\n");
    EXPECT_EQ(read(file.fd(), bytes, sizeof bytes), 0);
}

TEST(AttributeRules, TwoOpensReadIndependently)
{
    virtual_terminal board;
    board.attribute(place, {.text = "abcdef\n"});
    const opened_file one(place, O_RDONLY);
    const opened_file other(place, O_RDONLY);
    char bytes[3] = {};
    EXPECT_EQ(read(one.fd(), bytes, 2), 2);
    EXPECT_EQ(read(other.fd(), bytes, 2), 2);
    EXPECT_STREQ(bytes, "ab");
    EXPECT_EQ(pread(one.fd(), bytes, 2, 4), 2);
    EXPECT_STREQ(bytes, "ef");
}

TEST(AttributeRules, APageIsTheMostThatIsShownAndTaken)
{
    constexpr std::size_t page = 4096;
    virtual_terminal board;
    board.attribute(place, {.text = std::string(page + 500, 'x')});
    EXPECT_EQ(shown(place), std::string(page, 'x'));

    const std::string much(page + 500, 'y');
    const opened_file file(place, O_WRONLY);
    EXPECT_EQ(write(file.fd(), much.data(), much.size()), static_cast<ssize_t>(page));
    EXPECT_EQ(shown(place), std::string(page, 'y'));
}

TEST(AttributeRules, ItHasTheSizeOfAPageAndItsMode)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n", .mode = 0640});
    struct stat entry {};
    ASSERT_EQ(stat(place.c_str(), &entry), 0);
    EXPECT_EQ(entry.st_mode, mode_t{S_IFREG | 0640});
    EXPECT_EQ(entry.st_size, 4096);
    EXPECT_EQ(entry.st_uid, 0U);
    EXPECT_EQ(entry.st_gid, 0U);
}

TEST(AttributeRules, ChangedPermissionsAreHonoured)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n", .mode = 0644});
    EXPECT_EQ(chmod(place.c_str(), 0444), 0);
    EXPECT_EQ(mode_of(place), mode_t{S_IFREG | 0444});
    EXPECT_EQ(open_error(place, O_WRONLY), EACCES);
    EXPECT_EQ(chmod(place.c_str(), 0200), 0);
    EXPECT_EQ(open_error(place, O_RDONLY), EACCES);
    EXPECT_EQ(put(place, "6\n"), 0);
}

TEST(AttributeRules, WhatTheOtherSideChangesIsSeenAtOnce)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n", .mode = 0644});
    EXPECT_EQ(shown(place), "5\n");
    board.attribute(place, {.text = "6\n", .mode = 0444});
    EXPECT_EQ(shown(place), "6\n");
    EXPECT_EQ(mode_of(place), mode_t{S_IFREG | 0444});
    board.remove(place);
    EXPECT_FALSE(exists(place));
    EXPECT_EQ(open_error(place, O_RDONLY), ENOENT);
}

TEST(AttributeRules, AnOpenFileOutlivesItsAttribute)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n"});
    const opened_file file(place, O_RDONLY);
    board.remove(place);
    char byte = 0;
    EXPECT_EQ(read(file.fd(), &byte, 1), 1);
    EXPECT_EQ(byte, '5');
}
