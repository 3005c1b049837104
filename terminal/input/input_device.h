/** An input device of the board: its event node, and all that is open of it. */
#pragma once

#include "terminal/input/abilities.h"
#include "terminal/input/event_queue.h"
#include "terminal/model/node.h"

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

class board;

/** What the attributes "name" and "id" show. */
struct input_identity {
    std::string name;
    std::uint16_t bus = 0; /**< 0x18: I2C, 0x19: the board itself. */
    std::uint16_t vendor = 0;
    std::uint16_t product = 0;
    std::uint16_t version = 0;
};

/** Threads: any. The board lives longer. */
class input_device : public node {
public:
    /** @p index is the number N of /dev/input/eventN. */
    input_device(board& on, unsigned index, input_identity identity);
    ~input_device() override;

    const input_identity& identity() const { return identity_; }
    unsigned index() const { return index_; }
    bool is_panel() const;
    /** A panel that reports only while the attribute touch_start is not 0. */
    bool is_resistive() const;

    /**
     * Events happen: every open gets them, to be read as soon as this returns, and then the board is told of keys that
     * went down, for which it wakes up; a panel wakes nobody.
     */
    void report(const event_list& events);

    /** The same of a finger on a panel, which is lost while a resistive one is not sampled. */
    void touch(const event_list& events);

    bool is_device() const override { return true; }
    result<std::unique_ptr<open_file>> open(int flags) override;

    /** Takes its attributes away too; what is open gets ENODEV. */
    void unplugged() override;

private:
    class opened;

    struct waiting_read {
        std::uint64_t number = 0; // by which a signal finds it
        request_ptr asked;
        std::size_t size = 0;
    };

    /** One open. */
    struct client {
        event_queue queue;
        std::list<waiting_read> reads;
        std::function<void()> changed;
    };

    /** What is done once the lock is free. */
    struct consequences {
        std::vector<std::pair<request_ptr, std::string>> answers;
        std::vector<std::pair<request_ptr, int>> refusals;
        std::vector<std::function<void()>> changed;

        void carry_out();
    };

    bool pass_on(const event_list& events);
    static void serve(client& to, consequences& after);
    bool begin(client& opening);
    void end(client& closing);
    void read(client& by, request_ptr asked, std::size_t size);
    void interrupted(std::uint64_t number);
    void write(request_ptr asked, std::string_view data);
    unsigned poll(client& by, std::function<void()> changed);

    // device_requests.cpp
    void control(client& by, device_request_ptr asked);
    int grab(client& by, bool wanted);
    std::int32_t axis_value(std::uint16_t axis) const;

    board& board_;
    const unsigned index_;
    const input_identity identity_;
    const abilities abilities_;

    mutable std::mutex mutex_; // answers, pollers and the board are called without it
    std::list<client*> clients_;
    const client* grabbed_by_ = nullptr; // the only one that gets events
    std::map<std::uint16_t, std::int32_t> axes_;
    std::uint64_t last_number_ = 0;
    bool gone_ = false;
};

/** The device at a path, or the first one (by its index) of a name; null: there is none. */
std::shared_ptr<input_device> input_device_at(const board& searched, std::string_view path);
std::shared_ptr<input_device> input_device_named(const board& searched, std::string_view name);

/** Makes the kind "input" known to a board: options "name", and "bus", "vendor", "product", "version" (0 if absent). */
void know_inputs(board& known);

} // namespace kt::terminal
