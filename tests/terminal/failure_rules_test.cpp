/** Accesses that the other side makes fail or wait, as the program meets them. */
#include "file_calls.h"
#include "tests/support/journal_lines.h"

#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <thread>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::virtual_terminal;
using testing::Contains;

namespace {

const std::string place = "/sys/class/kt_misc/ioctl/tried";
using clock_type = std::chrono::steady_clock;

/** A child that opens the place for reading and ends with the error number. */
pid_t start_opening()
{
    const pid_t child = fork();
    if (child == 0)
        _exit(open_error(place, O_RDONLY));
    return child;
}

int status_of(pid_t child)
{
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

/** Whether the child still runs after a moment in which an open would have been done. */
bool still_waits(pid_t child)
{
    std::this_thread::sleep_for(200ms);
    return waitpid(child, nullptr, WNOHANG) == 0;
}

void nothing(int) {}

} // namespace

TEST(FailureRules, EachKindOfAccessFailsWithItsError)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    board.forget();

    board.fail(place, {.on = "open", .error = ENODEV});
    EXPECT_EQ(open_error(place, O_RDONLY), ENODEV);
    board.mend_all();

    board.fail(place, {.on = "read", .error = EIO});
    EXPECT_EQ(shown(place), "<EIO>");
    EXPECT_EQ(put(place, "2\n"), 0) << "writing is another access";
    board.mend_all();

    board.fail(place, {.on = "write", .error = EBUSY});
    EXPECT_EQ(put(place, "3\n"), EBUSY);
    EXPECT_EQ(shown(place), "2\n");
    board.mend_all();

    board.fail(place, {.on = "lookup", .error = EACCES});
    struct stat entry {};
    EXPECT_EQ(error_of(stat(place.c_str(), &entry)), EACCES);
    board.mend_all();

    board.fail("/dev/made", {.on = "create", .error = ENOSPC});
    EXPECT_EQ(open_error("/dev/made", O_WRONLY | O_CREAT), ENOSPC);
    EXPECT_EQ(error_of(mkdir("/dev/made", 0755)), ENOSPC);
    board.mend_all();
    EXPECT_EQ(put("/dev/made", "", O_WRONLY | O_CREAT), 0);

    board.fail("/dev/made", {.on = "remove", .error = EPERM});
    EXPECT_EQ(error_of(unlink("/dev/made")), EPERM);
    EXPECT_EQ(error_of(rename("/dev/made", "/dev/moved")), EPERM);
    board.mend_all();
    EXPECT_EQ(unlink("/dev/made"), 0);

    const std::vector<std::string> all = told(board, {"open", "read", "write", "missing", "create", "remove"});
    for (const char* line : {"open O_RDONLY", "read", "write", "missing"})
        EXPECT_THAT(all, Contains(testing::AllOf(testing::StartsWith(line), testing::HasSubstr(" = E")))) << line;
}

TEST(FailureRules, ARuleSkipsAndCounts)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    board.fail(place, {.on = "open", .error = EIO, .skip = 2, .times = 3});
    std::vector<int> met;
    for (int i = 0; i < 7; ++i)
        met.push_back(open_error(place, O_RDONLY));
    EXPECT_EQ(met, (std::vector<int>{0, 0, EIO, EIO, EIO, 0, 0}));
}

TEST(FailureRules, APatternHoldsWithinOneFolder)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    board.fail("/sys/class/kt_misc/ioctl/tr*", {.error = EROFS});
    EXPECT_EQ(open_error(place, O_RDONLY), EROFS);
    EXPECT_EQ(open_error("/sys/class/kt_misc/ioctl/gsm_pwr", O_RDONLY), 0);
    board.mend_all();
    board.fail("/sys/class/*", {.error = EROFS});
    EXPECT_EQ(open_error(place, O_RDONLY), 0);
}

TEST(FailureRules, ADelayedAccessWaitsAndThenGoesOn)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    board.fail(place, {.on = "read", .delay = 300ms, .times = 1});
    const auto start = clock_type::now();
    EXPECT_EQ(shown(place), "1\n");
    const auto took = clock_type::now() - start;
    EXPECT_GE(took, 300ms);
    EXPECT_LT(took, 20s);

    board.fail(place, {.on = "write", .error = EIO, .delay = 100ms});
    const auto second = clock_type::now();
    EXPECT_EQ(put(place, "2"), EIO);
    EXPECT_GE(clock_type::now() - second, 100ms);
}

TEST(FailureRules, OthersGoOnWhileOneWaits)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    board.fail(place, {.on = "open", .hang = true});
    const pid_t child = start_opening();
    EXPECT_TRUE(still_waits(child));
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(shown("/sys/class/kt_misc/ioctl/gsm_pwr"), "1\n");
    EXPECT_EQ(kill(child, SIGKILL), 0);
    EXPECT_TRUE(WIFSIGNALED(status_of(child)));
}

TEST(FailureRules, AHangingOpenIsKilled)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    board.fail(place, {.hang = true});
    const pid_t child = start_opening();
    EXPECT_TRUE(still_waits(child));
    EXPECT_EQ(kill(child, SIGKILL), 0);
    const int status = status_of(child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST(FailureRules, AHangingAccessEndsWithASignal)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    for (const char* access : {"open", "read", "write"}) {
        const int rule = board.fail(place, {.on = access, .hang = true});
        const pid_t child = fork();
        if (child == 0) {
            struct sigaction action {};
            action.sa_handler = nothing; // without SA_RESTART
            sigaction(SIGUSR1, &action, nullptr);
            if (std::string(access) == "write")
                _exit(put(place, "1\n"));
            _exit(shown(place) == "<EINTR>" ? EINTR : 0);
        }
        EXPECT_TRUE(still_waits(child)) << access;
        EXPECT_EQ(kill(child, SIGUSR1), 0);
        const int status = status_of(child);
        ASSERT_TRUE(WIFEXITED(status)) << access;
        EXPECT_EQ(WEXITSTATUS(status), EINTR) << access;
        board.mend(rule);
    }
}

TEST(FailureRules, AHangingAccessGoesOnWhenItsRuleIsTakenBack)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    const int rule = board.fail(place, {.hang = true});
    const pid_t child = start_opening();
    EXPECT_TRUE(still_waits(child));
    board.mend(rule);
    EXPECT_EQ(status_of(child), 0);
}

TEST(FailureRules, AHangWithAnErrorFailsAfterwards)
{
    virtual_terminal board;
    board.attribute(place, {.text = "1\n"});
    const int rule = board.fail(place, {.error = ETIMEDOUT, .hang = true});
    const pid_t child = start_opening();
    EXPECT_TRUE(still_waits(child));
    board.mend(rule);
    const int status = status_of(child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), ETIMEDOUT);
}

TEST(FailureRules, AHangingLookUpHoldsNobodyAtTheOtherSide)
{
    virtual_terminal board;
    board.attribute("/sys/class/kt_misc/passing/one", {.text = "1\n"});
    ASSERT_EQ(shown("/sys/class/kt_misc/passing/one"), "1\n") << "the kernel knows the folder now";
    const int rule = board.fail("/sys/class/kt_misc/hung", {.on = "lookup", .hang = true});
    const pid_t child = fork();
    if (child == 0)
        _exit(open_error("/sys/class/kt_misc/hung", O_RDONLY));
    EXPECT_TRUE(still_waits(child));
    board.remove("/sys/class/kt_misc/passing");
    board.mend(rule);
    EXPECT_EQ(WEXITSTATUS(status_of(child)), ENOENT);
    // The kernel learns of it when the look-up no longer holds it.
    const auto deadline = clock_type::now() + 10s;
    while (exists("/sys/class/kt_misc/passing") && clock_type::now() < deadline)
        std::this_thread::sleep_for(10ms);
    EXPECT_FALSE(exists("/sys/class/kt_misc/passing"));
}
