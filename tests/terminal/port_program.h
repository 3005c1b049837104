/** A program's end of a serial port, without a kernel between. */
#pragma once

#include "terminal/model/board.h"
#include "terminal/model/node.h"

#include <asm/termbits.h>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/ioctl.h>

class port_program {
public:
    /** How a call ended: its errno, or 0 and what it gave. */
    struct outcome {
        int error = 0;
        std::string bytes{};
        std::size_t count = 0;
    };

    port_program(kt::terminal::board& on, const std::string& path)
    {
        const auto node = on.find(path);
        if (node == nullptr)
            throw std::runtime_error(path + " is not there");
        auto opened = node->open(O_RDWR);
        if (!opened)
            throw std::runtime_error(path + " cannot be opened");
        file_ = std::move(*opened);
    }

    std::future<outcome> start_read(std::size_t size)
    {
        auto asked = std::make_unique<call>(true);
        auto answer = asked->promise.get_future();
        file_->read(std::move(asked), size, 0);
        return answer;
    }

    std::future<outcome> start_write(std::string_view bytes)
    {
        auto asked = std::make_unique<call>(true);
        auto answer = asked->promise.get_future();
        file_->write(std::move(asked), bytes, 0);
        return answer;
    }

    /** Reads until so many bytes are there; throws when they do not come. */
    std::string read(std::size_t size)
    {
        std::string all;
        while (all.size() < size) {
            auto answer = start_read(size - all.size());
            if (answer.wait_for(std::chrono::seconds(10)) != std::future_status::ready)
                throw std::runtime_error("no more than \"" + all + "\" came");
            const outcome part = answer.get();
            if (part.error != 0 || part.bytes.empty())
                throw std::runtime_error("the port ended behind \"" + all + "\": " + std::strerror(part.error));
            all += part.bytes;
        }
        return all;
    }

    /** Writes all of it; throws when it is not taken. */
    void write(std::string_view bytes)
    {
        while (!bytes.empty()) {
            auto answer = start_write(bytes);
            if (answer.wait_for(std::chrono::seconds(10)) != std::future_status::ready)
                throw std::runtime_error("the port takes nothing");
            const outcome part = answer.get();
            if (part.error != 0)
                throw std::runtime_error(std::string("the port takes nothing: ") + std::strerror(part.error));
            bytes.remove_prefix(part.count);
        }
    }

    /** Sets the line so that it changes no byte: a tty begins with whole lines, echo and line ends of its own. */
    void be_raw()
    {
        termios2 set{};
        (void)control(TCGETS2, &set);
        set.c_iflag = 0;
        set.c_oflag = 0;
        set.c_lflag = 0;
        set.c_cc[VMIN] = 1;
        set.c_cc[VTIME] = 0;
        (void)control(TCSETS2, &set);
    }

    /** ioctl(2) on a record or a number. */
    int control(unsigned long number, void* argument)
    {
        auto asked = std::make_unique<device_call>(number, argument);
        auto answer = asked->promise.get_future();
        file_->control(std::move(asked));
        return answer.get();
    }

private:
    struct call : kt::terminal::request {
        explicit call(bool waits) : waits(waits) {}
        kt::terminal::caller from() const override { return {1, 1}; }
        bool may_wait() const override { return waits; }
        void fail(int error) override { promise.set_value({.error = error}); }
        void bytes(std::string_view data) override { promise.set_value({.bytes = std::string(data)}); }
        void count(std::size_t taken) override { promise.set_value({.count = taken}); }

        const bool waits;
        std::promise<outcome> promise;
    };

    struct device_call : kt::terminal::device_request {
        device_call(unsigned long number, void* argument)
            : number_(static_cast<std::uint32_t>(number)), argument_(reinterpret_cast<std::uintptr_t>(argument))
        {
        }
        kt::terminal::caller from() const override { return {1, 1}; }
        std::uint32_t number() const override { return number_; }
        std::uint64_t argument() const override { return argument_; }
        bool caller_has_32_bits() const override { return false; }
        bool copy_in(void* to, std::uint64_t address, std::size_t size) override
        {
            std::memcpy(to, reinterpret_cast<const void*>(static_cast<std::uintptr_t>(address)), size);
            return true;
        }
        bool copy_out(std::uint64_t address, const void* from, std::size_t size) override
        {
            std::memcpy(reinterpret_cast<void*>(static_cast<std::uintptr_t>(address)), from, size);
            return true;
        }
        void fail(int error) override { promise.set_value(error); }
        void done(int) override { promise.set_value(0); }

        const std::uint32_t number_;
        const std::uint64_t argument_;
        std::promise<int> promise;
    };

    std::unique_ptr<kt::terminal::open_file> file_;
};
