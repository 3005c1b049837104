/** A program that has the contactless reader open, and what its tests say to it. */
#pragma once

#include "terminal/client/virtual_terminal.h"
#include "tests/support/in_thread.h"
#include "tests/terminal/file_calls.h"

#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

// Where the fields lie, from the driver's description.
inline constexpr std::size_t record_size = 1164;
inline constexpr std::size_t transmit = 0;
inline constexpr std::size_t transmit_length = 512;
inline constexpr std::size_t receive = 516;
inline constexpr std::size_t receive_length = 1028;
inline constexpr std::size_t parameter = 1032;

/** The device, open, and one record, as a program keeps it. */
class reader_program {
public:
    reader_program() : file_("/dev/kt_nfc", O_RDWR), record(record_size, '\0') {}

    /** 0 or the error number. */
    int ask(unsigned number) { return kt::tests::error_of(result_of(0xC0044D00U + number)); }
    int result_of(unsigned request) { return ioctl(file_.fd(), request, record.data()); }
    /** With a record that lies elsewhere. */
    int ask_at(unsigned number, void* place)
    {
        return kt::tests::error_of(ioctl(file_.fd(), 0xC0044D00U + number, place));
    }
    bool is_terminal() const { return isatty(file_.fd()) == 1; }

    int ask(unsigned number, std::uint32_t with) { return set(parameter, with), ask(number); }
    int send(unsigned number, const std::string& bytes, std::uint32_t with = 0)
    {
        record.replace(transmit, bytes.size(), bytes);
        set(transmit_length, static_cast<std::uint32_t>(bytes.size()));
        return ask(number, with);
    }

    void set(std::size_t place, std::uint32_t word) { std::memcpy(record.data() + place, &word, sizeof word); }
    std::uint32_t word(std::size_t place) const
    {
        std::uint32_t found = 0;
        std::memcpy(&found, record.data() + place, sizeof found);
        return found;
    }
    std::string received() const { return record.substr(receive, word(receive_length)); }

    void close() { file_.close(); }

private:
    kt::tests::opened_file file_;

public:
    std::string record;
};

inline std::string bytes(std::initializer_list<int> all)
{
    std::string made;
    for (const int each : all)
        made += static_cast<char>(each);
    return made;
}

inline std::string counting_bytes()
{
    std::string made(record_size, '\0');
    for (std::size_t i = 0; i < made.size(); ++i)
        made[i] = static_cast<char>(i * 7 + 1);
    return made;
}

/** The reader's state, as soon as it says this: a close is told to the device a little later. */
inline std::string eventually(kt::terminal::virtual_terminal& board, const std::string& wanted)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    std::string state = board.reader();
    while (state.find(wanted) == std::string::npos && std::chrono::steady_clock::now() < end)
        state = board.reader();
    return state;
}

/** Signals until the call has ended: the first may come before it waits. */
inline int interrupted(kt::tests::in_thread<int>& call)
{
    do
        call.interrupt();
    while (!call.ends_within(std::chrono::milliseconds(20)));
    return call.result();
}

inline constexpr const char* wallet = R"({"card":"classic_1k","name":"wallet","uid":"3A5C107E",
    "blocks":{"4":"640000009BFFFFFF6400000004FB04FB"}})";
