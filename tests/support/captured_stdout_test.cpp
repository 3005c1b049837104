/** The capture itself: whole, in order, bytes as they are, and gone afterwards. */
#include "tests/support/captured_stdout.h"

#include "tests/support/descriptors.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace kt::tests;

TEST(CapturedStdout, HoldsTheStreamsTextAndTheCommandsInOrder)
{
    EXPECT_EQ(printed([] {
                  std::puts("one");
                  std::fflush(stdout);
                  EXPECT_EQ(std::system("echo two"), 0);
                  std::puts("four");
              }),
              "one\ntwo\nfour\n");
}

TEST(CapturedStdout, ShowsAMissingFlush)
{
    EXPECT_EQ(printed([] {
                  std::puts("late");
                  EXPECT_EQ(std::system("echo early"), 0);
              }),
              "early\nlate\n");
}

TEST(CapturedStdout, TellsWhatHasArrived)
{
    captured_stdout output;
    std::fputs("abc\n", stdout);
    const std::string unflushed = output.arrived();
    std::fflush(stdout);
    const std::string flushed = output.arrived();
    EXPECT_EQ(output.take(), "abc\n");
    EXPECT_EQ(unflushed, "");
    EXPECT_EQ(flushed, "abc\n");
}

TEST(CapturedStdout, KeepsEveryByte)
{
    EXPECT_EQ(printed([] { std::fwrite("\0\n\r\xff", 1, 4, stdout); }), std::string("\0\n\r\xff", 4));
}

TEST(CapturedStdout, LeavesDescriptorsAndErrnoAsTheyWere)
{
    const std::set<int> before = open_descriptors();
    const std::string target = descriptor_target(STDOUT_FILENO);
    errno = 0;
    printed([] { errno = EXDEV; });
    EXPECT_EQ(errno, EXDEV);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(descriptor_target(STDOUT_FILENO), target);
}

TEST(Descriptor0Free, GivesNumber0ToTheNextOpenAndRestores)
{
    const std::string before = descriptor_target(0);
    int number = -1;
    {
        const descriptor_0_free no_standard_input;
        EXPECT_EQ(descriptor_target(0), "");
        number = dup(STDERR_FILENO);
    }
    EXPECT_EQ(number, 0);
    EXPECT_EQ(descriptor_target(0), before);
}
