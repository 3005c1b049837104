/** A line's two ends without a kernel between: what the far end is told, in which order, and from within what. */
#include "port_program.h"
#include "terminal/ports/port.h"
#include "terminal/ports/recorder.h"

#include <asm/termbits.h>
#include <atomic>
#include <cerrno>
#include <gmock/gmock.h>
#include <mutex>
#include <poll.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <thread>
#include <vector>

namespace {

using namespace kt::terminal;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* path = "/dev/ttyS0";

/** Writes down what it is told. */
class witness : public far_end {
public:
    void received(std::string_view bytes) override { add("bytes " + std::string(bytes)); }
    void received_break() override { add("break"); }
    void lines_changed(unsigned outputs) override { add(outputs == 0 ? "lines off" : "lines on"); }
    void opened() override { add("opened"); }
    void closed() override { add("closed"); }

    /** What was told, once there are so many; the opening is told from another thread. */
    std::vector<std::string> told(std::size_t count)
    {
        for (int i = 0; i < 2000; ++i) {
            {
                const std::lock_guard lock(mutex_);
                if (told_.size() >= count)
                    return told_;
            }
            std::this_thread::sleep_for(5ms);
        }
        const std::lock_guard lock(mutex_);
        return told_;
    }

private:
    void add(std::string what)
    {
        EXPECT_FALSE(busy_.exchange(true)) << "one at a time";
        {
            const std::lock_guard lock(mutex_);
            told_.push_back(std::move(what));
        }
        busy_ = false;
    }

    std::mutex mutex_;
    std::vector<std::string> told_;
    std::atomic<bool> busy_ = false;
};

/** Sends back what it receives, from within, as a modem does. */
class echo : public far_end {
public:
    explicit echo(line& wire) : wire_(wire) {}
    void received(std::string_view bytes) override { wire_.send(bytes); }

private:
    line& wire_;
};

class PortLine : public testing::Test {
protected:
    PortLine() { shown.put_device(path, device); }

    void make_raw(port_program& program)
    {
        struct termios raw {};
        raw.c_cflag = B9600 | CS8 | CREAD | HUPCL | CLOCAL;
        raw.c_cc[VMIN] = 1;
        ASSERT_EQ(program.control(TCSETS, &raw), 0);
    }

    board shown;
    std::shared_ptr<port> device = std::make_shared<port>();
    line& wire = *device->wire();
};

} // namespace

TEST_F(PortLine, TheFarEndIsToldEverythingInOrder)
{
    const auto other = std::make_shared<witness>();
    wire.connect(other);
    {
        port_program first(shown, path);
        port_program second(shown, path);
        make_raw(first);
        first.write("a");
        second.write("b");
        EXPECT_EQ(first.control(TCSBRKP, reinterpret_cast<void*>(1)), 0);
        first.write("c");
    }
    EXPECT_THAT(other->told(8),
                ElementsAre("opened", "lines on", "bytes a", "bytes b", "break", "bytes c", "lines off", "closed"));
}

TEST_F(PortLine, TheFarEndMayAnswerFromWithin)
{
    wire.connect(std::make_shared<echo>(wire));
    port_program program(shown, path);
    make_raw(program);
    auto waiting = program.start_read(100);
    program.write("ping");
    EXPECT_EQ(waiting.get().bytes, "ping");
    program.write("pong");
    EXPECT_EQ(program.read(4), "pong");
}

TEST_F(PortLine, ManyWritersReachTheFarEndWhole)
{
    const auto other = std::make_shared<witness>();
    wire.connect(other);
    port_program program(shown, path);
    make_raw(program);
    std::vector<std::thread> writers;
    for (char name = 'a'; name < 'e'; ++name)
        writers.emplace_back([&, name] {
            for (int i = 0; i < 500; ++i)
                program.write(std::string(10, name));
        });
    for (int i = 0; i < 500; ++i) {
        wire.hold(true);
        wire.hold(false);
    }
    for (std::thread& each : writers)
        each.join();
    std::size_t all = 0;
    for (const std::string& each : other->told(2)) {
        if (!each.starts_with("bytes "))
            continue;
        const std::string bytes = each.substr(6);
        ASSERT_EQ(bytes.size() % 10, 0U);
        for (std::size_t at = 0; at < bytes.size(); at += 10)
            ASSERT_EQ(bytes.substr(at, 10), std::string(10, bytes[at]));
        all += bytes.size();
    }
    EXPECT_EQ(all, 4U * 500 * 10);
}

TEST_F(PortLine, ADeadLineCannotBeOpened)
{
    port_program open_before(shown, path);
    auto waiting = open_before.start_read(1);
    wire.set_dead(true);
    EXPECT_EQ(waiting.get().bytes, "");
    auto refused = device->open(O_RDWR);
    EXPECT_EQ(refused.error(), EIO);
    wire.set_dead(false);
    EXPECT_TRUE(static_cast<bool>(device->open(O_RDWR)));
}

TEST_F(PortLine, AHangUpIsTheEndOfItsUse)
{
    const auto other = std::make_shared<witness>();
    wire.connect(other);
    {
        port_program program(shown, path);
        EXPECT_THAT(other->told(2), ElementsAre("opened", "lines on"));
        wire.hang_up();
        EXPECT_FALSE(wire.is_open());
        EXPECT_THAT(other->told(4), ElementsAre("opened", "lines on", "lines off", "closed"));
    }
    wire.hang_up();
    EXPECT_EQ(other->told(4).size(), 4U) << "once only";
}

TEST_F(PortLine, WhatWasHeldLeavesAfterTheCloseToo)
{
    const auto other = std::make_shared<recorder>();
    wire.connect(other);
    {
        port_program program(shown, path);
        make_raw(program);
        wire.hold(true);
        program.write("kept");
    }
    EXPECT_EQ(other->take_all(), "");
    wire.hold(false);
    EXPECT_EQ(other->take_all(), "kept");
}

TEST_F(PortLine, ClosingAnswersWhatWaits)
{
    auto program = std::make_unique<port_program>(shown, path);
    auto read = program->start_read(1);
    wire.hold(true);
    auto write = program->start_write(std::string(5000, 'x'));
    program.reset();
    EXPECT_EQ(read.get().error, EIO);
    EXPECT_EQ(write.get().count, 4096U);
}

TEST_F(PortLine, PollTellsOnceForEachAsking)
{
    auto opened = device->open(O_RDWR);
    ASSERT_TRUE(static_cast<bool>(opened));
    int told = 0;
    EXPECT_EQ((*opened)->poll([&] { ++told; }) & POLLIN, 0U);
    EXPECT_EQ((*opened)->poll({}) & POLLIN, 0U) << "and the one above stays";
    wire.send("line\n");
    wire.send("line\n");
    EXPECT_EQ(told, 1);
    EXPECT_NE((*opened)->poll([&] { ++told; }) & POLLIN, 0U);
    wire.hang_up();
    EXPECT_EQ(told, 2);
    EXPECT_NE((*opened)->poll({}) & POLLHUP, 0U);
}

TEST_F(PortLine, OptionsAreChecked)
{
    know_ports(shown);
    const auto refusal = [&](const std::string& options) -> std::string {
        try {
            shown.make_device("port", "/dev/ttyS9", options);
        } catch (const std::invalid_argument& failure) {
            return failure.what();
        }
        return "";
    };
    EXPECT_THAT(refusal(R"({"kind":"port","color":"red"})"), HasSubstr("color"));
    EXPECT_THAT(refusal(R"({"kind":"port","speed":"fast"})"), HasSubstr("speed"));
    EXPECT_THAT(refusal(R"({"kind":"port","data_bits":9})"), HasSubstr("data_bits"));
    EXPECT_THAT(refusal(R"({"kind":"port","stop_bits":-1})"), HasSubstr("stop_bits"));
    EXPECT_THAT(refusal(R"({"kind":"port","parity":1})"), HasSubstr("parity"));
    EXPECT_THAT(refusal("[]"), HasSubstr("object"));
    EXPECT_EQ(line_at(shown, "/dev/ttyS9"), nullptr);
    EXPECT_EQ(refusal(R"({"kind":"port","speed":57600,"data_bits":7,"parity":"O","stop_bits":2})"), "");
    EXPECT_EQ(line_at(shown, "/dev/ttyS9")->far_framing(), (framing{57600, 7, 'O', 2}));
    EXPECT_EQ(line_at(shown, "/dev/null"), nullptr);
}
