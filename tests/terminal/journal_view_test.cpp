/** What the journal tells of a program: who did what with which bytes, in the program's own order and numbers. */
#include "file_calls.h"
#include "tests/support/journal_lines.h"

#include <chrono>
#include <cstdlib>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>

using namespace kt::tests;
using namespace std::chrono_literals;
using kt::terminal::event;
using kt::terminal::virtual_terminal;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string place = "/sys/class/kt_misc/ioctl/tried";

/** The events on one place, of all kinds. */
std::vector<event> events_on(virtual_terminal& board, std::string_view path)
{
    std::vector<event> found;
    for (event& happened : board.events()) {
        if (happened.path == path)
            found.push_back(std::move(happened));
    }
    return found;
}

} // namespace

TEST(JournalView, AnAccessIsThereWhenTheCallReturns)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n"});
    for (int i = 0; i < 50; ++i) {
        board.forget();
        const std::string text = std::to_string(i);
        EXPECT_EQ(put(place, text), 0);
        EXPECT_THAT(board.writes(place), ElementsAre(text));
    }
}

TEST(JournalView, EventsStandInTheOrderOfTheCalls)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n"});
    board.forget();
    EXPECT_EQ(shown(place), "5\n");
    EXPECT_EQ(put(place, "6\n"), 0);
    EXPECT_THAT(told(board, {"open", "read", "write"}),
                ElementsAre("open O_RDONLY " + place, "read " + place + " 5\n", "read " + place + " ",
                            "open O_WRONLY " + place, "write " + place + " 6\n"));
    std::uint64_t seq = 0;
    double time_s = 0;
    for (const event& happened : board.events()) {
        EXPECT_TRUE(seq == 0 || happened.seq == seq + 1);
        EXPECT_GE(happened.time_s, time_s);
        seq = happened.seq;
        time_s = happened.time_s;
    }
    EXPECT_LT(time_s, 100);
}

TEST(JournalView, FlagsAreNamed)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n"});
    const std::pair<int, const char*> rows[] = {{O_RDONLY, "O_RDONLY"},
                                                {O_WRONLY, "O_WRONLY"},
                                                {O_RDWR | O_NONBLOCK, "O_RDWR|O_NONBLOCK"},
                                                {O_WRONLY | O_APPEND, "O_WRONLY|O_APPEND"}};
    for (const auto& [flags, names] : rows) {
        board.forget();
        EXPECT_EQ(open_error(place, flags), 0);
        EXPECT_EQ(board.last_open(place).flags, names);
        EXPECT_EQ(kt::terminal::open_flags(board.last_open(place)), flags);
    }
}

TEST(JournalView, BytesAreKeptAsTheyWere)
{
    virtual_terminal board;
    board.attribute(place, {.text = "\n"});
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    board.forget();
    EXPECT_EQ(put(place, all), 0);
    EXPECT_EQ(shown(place), all);
    EXPECT_THAT(board.writes(place), ElementsAre(all));
    EXPECT_EQ(board.text(place), all);
}

TEST(JournalView, SizeAndPlaceAreTold)
{
    virtual_terminal board;
    board.attribute(place, {.text = "abcdef\n"});
    const opened_file file(place, O_RDWR);
    board.forget();
    char bytes[100];
    EXPECT_EQ(pread(file.fd(), bytes, 100, 2), 5);
    EXPECT_EQ(pwrite(file.fd(), "x", 1, 3), 1);
    const std::vector<event> found = events_on(board, place);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].size, 100U);
    EXPECT_EQ(found[0].offset, 2U);
    EXPECT_EQ(found[0].data, "cdef\n");
    EXPECT_EQ(found[1].offset, 3U);
}

TEST(JournalView, TheProcessIsTheOneTheProgramKnows)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n"});
    board.forget();
    EXPECT_EQ(shown(place), "5\n");
    const pid_t child = fork();
    if (child == 0)
        _exit(open_error(place, O_WRONLY));
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    for (const event& happened : events_on(board, place)) {
        EXPECT_EQ(happened.pid, happened.flags == "O_WRONLY" ? child : getpid()) << happened.kind;
        EXPECT_EQ(happened.tid, happened.pid);
    }
    EXPECT_EQ(board.last_open(place).pid, child);
}

TEST(JournalView, ThreadsAreToldApart)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n"});
    board.forget();
    pid_t thread_id = 0;
    std::thread([&] {
        thread_id = gettid();
        EXPECT_EQ(open_error(place, O_RDONLY), 0);
    }).join();
    EXPECT_NE(thread_id, getpid());
    EXPECT_EQ(board.last_open(place).pid, getpid());
    EXPECT_EQ(board.last_open(place).tid, thread_id);
}

TEST(JournalView, ManyThreadsAreEachToldWithTheirOwnNumber)
{
    virtual_terminal board;
    std::vector<std::thread> all;
    std::vector<pid_t> ids(8);
    for (std::size_t i = 0; i < ids.size(); ++i)
        board.attribute(place + std::to_string(i), {.text = "5\n"});
    board.forget();
    for (std::size_t i = 0; i < ids.size(); ++i) {
        all.emplace_back([&ids, i] {
            ids[i] = gettid();
            for (int round = 0; round < 20; ++round)
                EXPECT_EQ(shown(place + std::to_string(i)), "5\n");
        });
    }
    for (std::thread& each : all)
        each.join();
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const std::vector<event> found = events_on(board, place + std::to_string(i));
        EXPECT_EQ(found.size(), 60U) << "an open and two reads a round";
        for (const event& happened : found)
            EXPECT_EQ(happened.tid, ids[i]);
    }
}

TEST(JournalView, SyslogLinesStandBetweenTheAccessesWithTheirPriority)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n"});
    openlog("payment", LOG_PID, LOG_USER);
    board.forget();
    for (const int priority : {LOG_EMERG, LOG_ERR, LOG_WARNING, LOG_DEBUG}) {
        EXPECT_EQ(put(place, std::to_string(priority)), 0);
        syslog(priority, "said at %d", priority);
    }
    EXPECT_EQ(put(place, "end"), 0);
    EXPECT_THAT(told(board, {"write", "syslog"}),
                ElementsAre("write " + place + " 0", "syslog 0 said at 0", "write " + place + " 3",
                            "syslog 3 said at 3", "write " + place + " 4", "syslog 4 said at 4",
                            "write " + place + " 7", "syslog 7 said at 7", "write " + place + " end"));
    for (const event& happened : board.events_of({"syslog"})) {
        EXPECT_EQ(happened.path, "payment");
        EXPECT_EQ(happened.pid, getpid());
    }
}

TEST(JournalView, AChildsSyslogLineHasTheChildsNumber)
{
    virtual_terminal board;
    board.forget();
    const pid_t child = fork();
    if (child == 0) {
        syslog(LOG_INFO, "from the child");
        pause(); // a sender that is gone cannot be asked for its number
    }
    const auto line = board.wait({.kind = "syslog", .data = "from the child"}, 10s);
    EXPECT_EQ(kill(child, SIGKILL), 0);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(line->pid, child);
}

TEST(JournalView, WaitingFindsWhatComesLater)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n"});
    board.forget();
    EXPECT_EQ(board.wait({.kind = "write", .path = place}, 50ms), std::nullopt);
    const pid_t child = fork();
    if (child == 0) {
        std::this_thread::sleep_for(200ms);
        _exit(put(place, "late") + put(place, "later"));
    }
    const auto found = board.wait({.kind = "write", .path = "/sys/class/*/ioctl/tri*", .data = "later"}, 20s);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->data, "later");
    EXPECT_EQ(found->pid, child);
}

TEST(JournalView, TheOtherSidesOwnDoingIsNotTold)
{
    virtual_terminal board;
    board.forget();
    board.attribute(place, {.text = "5\n"});
    EXPECT_EQ(board.text(place), "5\n");
    board.remove(place);
    EXPECT_THAT(events_on(board, place), IsEmpty());
}

TEST(JournalView, RenamesAreToldWithBothNames)
{
    virtual_terminal board;
    ASSERT_EQ(put("/kt/a", "", O_WRONLY | O_CREAT), 0);
    board.forget();
    EXPECT_EQ(rename("/kt/a", "/kt/b"), 0);
    const std::vector<event> found = board.events_of({"rename"});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].path, "/kt/a");
    EXPECT_THAT(found[0].arguments, ElementsAre("/kt/b"));
}

TEST(JournalView, ARequestOnWhatIsNoDeviceIsToldAndRefused)
{
    virtual_terminal board;
    board.attribute(place, {.text = "5\n"});
    const opened_file file(place, O_RDWR);
    board.forget();
    EXPECT_EQ(isatty(file.fd()), 0);
    EXPECT_EQ(errno, ENOTTY);
    const std::vector<event> found = board.events_of({"ioctl"});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].path, place);
    EXPECT_EQ(found[0].error, "ENOTTY");
}
