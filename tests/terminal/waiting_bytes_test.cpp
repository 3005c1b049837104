/** FIONREAD: what a program is told of a device's received bytes, and that nobody else's answer changes. */
#include "terminal/fuse/server.h"
#include "terminal/model/board.h"
#include "terminal/model/node.h"
#include "terminal/notifier/notifier.h"
#include "terminal/root/launch.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <optional>
#include <string>
#include <sys/ioctl.h>
#include <thread>
#include <vector>

namespace {

using namespace kt::terminal;
using namespace std::chrono_literals;

constexpr const char* place = "/dev/ttyTRIED";

/** A device of the test's own that only has a count. */
class counting_device : public node {
public:
    explicit counting_device(int count) : node(S_IFREG | 0666), count_(count) {}

    std::optional<int> waiting_bytes() const override { return count_; }
    struct stat status() const override
    {
        struct stat shown = node::status();
        shown.st_size = 4096; // what the kernel would tell
        return shown;
    }
    result<std::unique_ptr<open_file>> open(int) override { return std::unique_ptr<open_file>(new opened(*this)); }
    void receive(int count) { count_ = count; }

    std::function<void()> when_written = [] {};

private:
    class opened : public open_file {
    public:
        explicit opened(counting_device& device) : device_(device) {}
        void read(request_ptr asked, std::size_t, off_t) override { asked->fail(EAGAIN); }
        void write(request_ptr asked, std::string_view data, off_t) override
        {
            device_.when_written();
            asked->count(data.size());
        }

    private:
        counting_device& device_;
    };
    std::atomic<int> count_;
};

/** A terminal with a board, its files and the notifier, whose program asks for what the test names. */
class asking {
public:
    explicit asking(int count) : device(std::make_shared<counting_device>(count))
    {
        EXPECT_TRUE(shown.put_device(place, device));
        EXPECT_TRUE(shown.put_attribute("/sys/value", {.text = "1\n"}));
        EXPECT_TRUE(shown.put_attribute("/proc/cmdline", {.text = "\n"})); // no board is without
    }

    /** Runs a program to its end; its exit status. */
    int run(std::vector<std::string> words)
    {
        launch_options options;
        options.program = std::move(words);
        launch program(std::move(options));
        std::optional<fuse_server> files;
        std::optional<notifier> requests;
        const auto serve = [&](inner_descriptors inner) {
            files.emplace(shown, inner.fuse.release());
            ASSERT_TRUE(shown.keep_state_in(inner.state.release()));
            files->start();
        };
        std::mutex ending;
        end_answers = [&] {
            const std::lock_guard lock(ending);
            requests.reset();
        };
        const auto answer = [&](waiting_requests waiting) {
            const std::lock_guard lock(ending);
            requests.emplace(shown,
                             notified_terminal{std::move(waiting.receiver), waiting.board_device, waiting.helper},
                             [&files](std::uint64_t number) { return files->known(number); });
        };
        const launch_result ended = program.run({serve, answer});
        end_answers();
        if (files)
            files->stop();
        EXPECT_EQ(ended.how, launch_result::end::exited) << ended.message;
        return ended.value;
    }

    /** What the asker is told, by way of a file of the board. */
    std::string answers(const std::string& path, const std::vector<std::string>& what)
    {
        std::vector<std::string> words = {"bash", "-c", "exec \"$0\" \"$@\" >/dev/answers", KT_ASKER, path};
        words.insert(words.end(), what.begin(), what.end());
        EXPECT_EQ(run(words), 0);
        return shown.file("/dev/answers").value_or("none");
    }

    std::string answers(const std::vector<std::string>& what) { return answers(place, what); }

    /** The journal's lines of requests on the device. */
    std::vector<event> requests()
    {
        std::vector<event> found;
        for (event& each : shown.events().from(1))
            if (each.kind == "ioctl")
                found.push_back(std::move(each));
        return found;
    }

    void fail(int error, std::chrono::milliseconds delay = 0ms, bool hang = false)
    {
        fault rule;
        rule.path = place;
        rule.on = access::ioctl;
        rule.error = error;
        rule.delay = delay;
        rule.hang = hang;
        rule.times = 1;
        shown.failures().add(rule);
    }

    board shown;
    std::shared_ptr<counting_device> device;
    std::function<void()> end_answers; // of the program that runs
};

TEST(WaitingBytes, ADeviceTellsItsOwnCount)
{
    EXPECT_EQ(asking(12).answers({"device", "high-half"}), "12 12 ");
    EXPECT_EQ(asking(0).answers({"device"}), "0 ");
    EXPECT_EQ(asking(1 << 30).answers({"device"}), "1073741824 ");
}

TEST(WaitingBytes, EachRequestIsToldThePresentCount)
{
    asking board(0);
    board.device->when_written = [&] { board.device->receive(1); };
    EXPECT_EQ(board.answers({"device", "write", "device"}), "0 1 1 ");
}

TEST(WaitingBytes, ADeviceThatWasHungUpFails)
{
    asking board(5);
    board.device->when_written = [&] { board.device->receive(-1); };
    EXPECT_EQ(board.answers({"device", "write", "device"}), "5 1 EIO ");
}

TEST(WaitingBytes, AnOpenDeviceWhoseNameIsGoneStillTellsItsCount)
{
    asking board(5);
    board.device->when_written = [&] { board.shown.remove(place); };
    EXPECT_EQ(board.answers({"device", "write", "device"}), "5 1 5 ");
}

TEST(WaitingBytes, ThreadsAndChildrenAreToldToo)
{
    EXPECT_EQ(asking(77).answers({"thread", "grandchild", "many-77"}), "77 77 0 ");
}

TEST(WaitingBytes, AProgramThatCannotBeLookedIntoIsToldToo)
{
    EXPECT_EQ(asking(77).answers({"hide", "device", "thread"}), "0 77 77 ");
}

TEST(WaitingBytes, OtherDescriptorsAreAnsweredByTheKernel)
{
    EXPECT_EQ(asking(12).answers({"pipe", "socket", "file", "closed", "negative", "path-only"}),
              "3 4 2 EBADF EBADF EBADF ");
    EXPECT_EQ(asking(12).answers("/sys/value", {"device"}), "4096 ");
}

TEST(WaitingBytes, AnAddressThatCannotBeWrittenIsEfault)
{
    asking board(12);
    EXPECT_EQ(board.answers({"null", "constant", "device"}), "EFAULT EFAULT 12 ");
    ASSERT_EQ(board.requests().size(), 3U);
    EXPECT_EQ(board.requests()[0].error, "EFAULT");
    EXPECT_EQ(board.requests()[0].data, "");
}

TEST(WaitingBytes, TheJournalTellsOfEachRequest)
{
    asking board(0x01020304);
    (void)board.answers({"device"});
    (void)board.answers("/sys/value", {"device", "pipe", "file"});
    ASSERT_EQ(board.requests().size(), 1U);
    const event told = board.requests()[0];
    EXPECT_EQ(told.path, place);
    EXPECT_EQ(told.request, FIONREAD);
    const int count = 0x01020304;
    EXPECT_EQ(told.data, std::string(reinterpret_cast<const char*>(&count), sizeof count));
    EXPECT_EQ(told.error, "");
    EXPECT_GT(told.pid, 1);
    EXPECT_LT(told.pid, 100) << "as the program knows itself";
    EXPECT_EQ(told.tid, told.pid);
}

TEST(WaitingBytes, ARuleMakesItFail)
{
    asking board(5);
    board.fail(EIO);
    EXPECT_EQ(board.answers({"device", "device"}), "EIO 5 ");
    ASSERT_EQ(board.requests().size(), 2U);
    EXPECT_EQ(board.requests()[0].error, "EIO");
    EXPECT_EQ(board.requests()[1].error, "");
}

TEST(WaitingBytes, ARuleMakesItSlow)
{
    asking board(5);
    board.fail(EBUSY, 300ms);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(board.answers({"device", "device"}), "EBUSY 5 ");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
}

TEST(WaitingBytes, AHangEndsWhenItsRuleIsTakenBackAndHoldsNobodyElse)
{
    asking board(5);
    board.fail(0, 0ms, true);
    std::thread other_side([&] {
        // A second program of the same terminal goes on meanwhile: it makes the file that this thread waits for.
        const auto end = std::chrono::steady_clock::now() + 20s;
        while (board.shown.file("/dev/other").value_or("") != "3 5 " && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(5ms);
        EXPECT_EQ(board.requests().size(), 1U) << "the other's request alone was answered";
        board.device->receive(6);
        board.shown.failures().clear();
    });
    EXPECT_EQ(
        board.run({"bash", "-c", R"("$0" "$1" device >/dev/hung & sleep 0.3; "$0" "$1" pipe device >/dev/other; wait)",
                   KT_ASKER, place}),
        0);
    other_side.join();
    EXPECT_EQ(board.shown.file("/dev/hung"), "6 ");
}

TEST(WaitingBytes, ACallerThatHangsCanBeKilled)
{
    asking board(5);
    board.fail(0, 0ms, true);
    EXPECT_EQ(board.run({"bash", "-c",
                         R"("$0" "$1" device & hung=$!; sleep 0.3; kill -KILL $hung; wait $hung; [ $? = 137 ] &&
                            "$0" "$1" device >/dev/answers)",
                         KT_ASKER, place}),
              0);
    EXPECT_EQ(board.shown.file("/dev/answers"), "5 ");
    EXPECT_EQ(board.requests().size(), 1U) << "nobody was told that the first one was answered";
}

TEST(WaitingBytes, WithoutANotifierNobodyIsLeftHanging)
{
    asking board(5);
    board.device->when_written = [&] { board.end_answers(); }; // as by the death of who answers
    EXPECT_EQ(board.answers({"device", "write", "device"}), "5 1 ENOSYS ");
}

} // namespace
