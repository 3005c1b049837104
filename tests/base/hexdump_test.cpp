/** The hexadecimal dump, line by line. */
#include <kt_driver/base.h>

#include "tests/support/captured_stdout.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string_view>

using namespace kt::tests;

namespace {

std::string dump(std::string_view bytes)
{
    return printed(
        [&] { kt_log_hexdump(static_cast<int>(bytes.size()), reinterpret_cast<const unsigned char*>(bytes.data())); });
}

} // namespace

TEST(Hexdump, ShortLastLineIsNotPadded)
{
    EXPECT_EQ(dump("ABCDEFGHIJKLMNOPQRST"),
              "0000 : 41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50 : ABCDEFGHIJKLMNOP\n"
              "0010 : 51 52 53 54 : QRST\n");
}

TEST(Hexdump, FullLinesOnlyEndWithoutAnEmptyOne)
{
    EXPECT_EQ(dump("ABCDEFGHIJKLMNOP"), "0000 : 41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50 : ABCDEFGHIJKLMNOP\n");
    EXPECT_EQ(dump("ABCDEFGHIJKLMNOPabcdefghijklmnop"),
              "0000 : 41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50 : ABCDEFGHIJKLMNOP\n"
              "0010 : 61 62 63 64 65 66 67 68 69 6A 6B 6C 6D 6E 6F 70 : abcdefghijklmnop\n");
}

TEST(Hexdump, SeventeenBytesNeedASecondLine)
{
    EXPECT_EQ(dump("ABCDEFGHIJKLMNOPQ"),
              "0000 : 41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50 : ABCDEFGHIJKLMNOP\n0010 : 51 : Q\n");
}

TEST(Hexdump, WhatCannotBePrintedIsADot)
{
    using namespace std::string_view_literals;
    EXPECT_EQ(dump("\0\x1f\x20\x7e\x7f\x80\xff\n\r\t%"sv), "0000 : 00 1F 20 7E 7F 80 FF 0A 0D 09 25 : .. ~......%\n");
}

TEST(Hexdump, OffsetsAreUpperCaseAndGrowBeyondFourDigits)
{
    const std::string text = dump(std::string(0x10011, 'x'));
    EXPECT_NE(text.find("\n00A0 : 78 "), std::string::npos);
    EXPECT_NE(text.find("\n0FF0 : 78 "), std::string::npos);
    EXPECT_NE(text.find("\nFFF0 : 78 "), std::string::npos);
    EXPECT_NE(text.find("\n10000 : 78 "), std::string::npos);
    EXPECT_TRUE(text.ends_with("\n10010 : 78 : x\n"));
}

TEST(Hexdump, NoBytesPrintNothing)
{
    const unsigned char bytes[] = {1, 2, 3};
    EXPECT_EQ(printed([&] { kt_log_hexdump(0, bytes); }), "");
    EXPECT_EQ(printed([&] { kt_log_hexdump(-1, bytes); }), "");
    EXPECT_EQ(printed([&] { kt_log_hexdump(-2147483647 - 1, bytes); }), "");
}

TEST(Hexdump, NoBufferIsRefused)
{
    errno = 0;
    EXPECT_EQ(printed([] { kt_log_hexdump(3, nullptr); }), "");
    EXPECT_EQ(errno, EINVAL);
}
