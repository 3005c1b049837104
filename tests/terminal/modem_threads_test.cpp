/** The modem under several hands at once: programs, power, the person at the board. For the thread sanitizer above all.
 */
#include "terminal/model/board.h"
#include "terminal/modem/modem.h"
#include "terminal/ports/port.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace kt::terminal;
using namespace std::chrono_literals;

namespace {

/** A call of a program that does not wait. */
class instant_request : public request {
public:
    explicit instant_request(std::string* into = nullptr, int* error = nullptr) : into_(into), error_(error) {}
    caller from() const override { return {}; }
    void fail(int error) override
    {
        if (error_ != nullptr)
            *error_ = error;
    }
    bool may_wait() const override { return false; }
    void bytes(std::string_view data) override
    {
        if (into_ != nullptr)
            *into_ += data;
    }
    void count(std::size_t) override {}

private:
    std::string* into_;
    int* error_;
};

void write_to(line& wire, std::string_view text)
{
    wire.write(std::make_unique<instant_request>(), text);
}

constexpr const char* power_path = modem::power_attribute;

/** As a program writes it. */
void write_power(const board& on, const char* text)
{
    auto opened = on.find(power_path)->open(1 /* O_WRONLY */);
    ASSERT_TRUE(opened);
    (*opened)->write(std::make_unique<instant_request>(), text, 0);
}

} // namespace

TEST(ModemThreads, PowerCallsAndRequestsMayComeAtOnce)
{
    board on;
    know_ports(on);
    const auto modems = know_modems(on);
    ASSERT_TRUE(on.put_attribute(power_path, {"1\n", 0644, attribute_kind::integer}));
    ASSERT_TRUE(on.make_device("modem", "/dev/ttyS0", R"({"kind":"modem","peer":"echo"})"));

    std::atomic<bool> over = false;
    std::vector<std::thread> hands;
    hands.emplace_back([&] {
        for (int round = 0; !over; ++round) {
            std::this_thread::sleep_for(20ms);
            write_power(on, round % 2 == 0 ? "0" : "1");
        }
    });
    hands.emplace_back([&] {
        while (!over) {
            const auto wire = line_at(on, "/dev/ttyS0");
            if (wire == nullptr || wire->open() != 0)
                continue;
            write_to(*wire, "AT+CMUX=0\r");
            std::this_thread::sleep_for(5ms);
            wire->close();
        }
    });
    hands.emplace_back([&] {
        while (!over) {
            const auto wire = line_at(on, "/dev/chn/3");
            if (wire == nullptr || wire->open() != 0)
                continue;
            write_to(*wire, "ATE0\rATD*99#\r");
            std::this_thread::sleep_for(1ms);
            write_to(*wire, "hello");
            wire->read(std::make_unique<instant_request>(), 4096);
            wire->close();
        }
    });
    hands.emplace_back([&] {
        while (!over) {
            const auto found = modem_at(on, "/dev/ttyS0");
            found->change([](modem_settings& settings) { change_settings(settings, R"({"delay_ms":0,"signal":7})"); });
            (void)found->drop_carrier(true);
            std::this_thread::sleep_for(1ms);
        }
    });
    std::this_thread::sleep_for(1s);
    over = true;
    for (std::thread& each : hands)
        each.join();

    // After all that it is a modem like any other.
    write_power(on, "0");
    EXPECT_EQ(line_at(on, "/dev/ttyS0"), nullptr);
    write_power(on, "1");
    const auto wire = line_at(on, "/dev/ttyS0");
    ASSERT_NE(wire, nullptr);
    ASSERT_EQ(wire->open(), 0);
    write_to(*wire, "AT\r");
    for (int left = 2000; wire->waiting() < 9 && left > 0; --left) // the echo and OK
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(wire->waiting(), 9);
}

TEST(ModemThreads, ABoardCanEndInTheMiddleOfACall)
{
    for (int round = 0; round < 50; ++round) {
        board on;
        know_ports(on);
        const auto modems = know_modems(on);
        ASSERT_TRUE(on.make_device("modem", "/dev/ttyS0", R"({"kind":"modem"})"));
        const auto wire = line_at(on, "/dev/ttyS0");
        ASSERT_NE(wire, nullptr);
        ASSERT_EQ(wire->open(), 0);
        write_to(*wire, "ATD*99#\r");
        std::this_thread::sleep_for(std::chrono::microseconds(50 * round));
        write_to(*wire, "\x7E\x7E");
        wire->close();
    }
}

TEST(ModemThreads, ThereIsOneModemAtAPlace)
{
    board on;
    know_ports(on);
    const auto modems = know_modems(on);
    ASSERT_TRUE(on.make_device("modem", "/dev/ttyS0", R"({"kind":"modem","channels":2})"));
    EXPECT_THROW((void)on.make_device("modem", "/dev/ttyS0", R"({"kind":"modem"})"), std::invalid_argument);
    EXPECT_THROW((void)on.make_device("modem", "/dev/ttyS1", R"({"kind":"modem","colour":"red"})"),
                 std::invalid_argument);
    EXPECT_NE(modem_at(on, "/dev/ttyS0"), nullptr);
    EXPECT_EQ(modem_at(on, "/dev/ttyS1"), nullptr);
    EXPECT_EQ(modem_at(on, "/dev/ttyS1"), nullptr);
}
