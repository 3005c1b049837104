/** Requests to text and records to settings; the kernel's termios record goes by the name of the C library's. */
#include "tests/serial/line_requests.h"

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <asm/termios.h>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <sys/syscall.h>
#include <unistd.h>

namespace kt::tests {

using terminal::event;
using terminal::virtual_terminal;

namespace {

struct named {
    const char* name;
    std::uint32_t number;
};

constexpr named requests[] = {
    {"TCGETS", TCGETS},     {"TCSETS", TCSETS},     {"TCSETSW", TCSETSW},   {"TCSETSF", TCSETSF},
    {"TIOCMGET", TIOCMGET}, {"TIOCMSET", TIOCMSET}, {"TIOCMBIS", TIOCMBIS}, {"TIOCMBIC", TIOCMBIC},
    {"TCFLSH", TCFLSH},     {"TIOCOUTQ", TIOCOUTQ}, {"FIONREAD", FIONREAD},
};

constexpr named modem_lines[] = {
    {"DTR", TIOCM_DTR}, {"RTS", TIOCM_RTS}, {"CTS", TIOCM_CTS}, {"CD", TIOCM_CD}, {"DSR", TIOCM_DSR}, {"RI", TIOCM_RI},
};

constexpr named queues[] = {{"TCIFLUSH", TCIFLUSH}, {"TCOFLUSH", TCOFLUSH}, {"TCIOFLUSH", TCIOFLUSH}};

line_settings settings_from(const struct termios& record)
{
    line_settings settings;
    settings.input = record.c_iflag;
    settings.output = record.c_oflag;
    settings.control = record.c_cflag;
    settings.local = record.c_lflag;
    settings.discipline = record.c_line;
    settings.characters.assign(std::begin(record.c_cc), std::end(record.c_cc));
    return settings;
}

std::uint32_t number_in(const event& request)
{
    std::uint32_t number = 0;
    if (request.data.size() == sizeof number)
        std::memcpy(&number, request.data.data(), sizeof number);
    return number;
}

std::string text_of(const event& request)
{
    std::string text;
    for (const auto& [name, number] : requests) {
        if (request.request == number)
            text = name;
    }
    if (text.empty())
        text = std::to_string(request.request);
    if (request.request == TIOCMGET || request.request == TIOCMSET) {
        for (const auto& [name, bit] : modem_lines) {
            if ((number_in(request) & bit) != 0)
                text.append(" ").append(name);
        }
    }
    if (request.request == TCFLSH) {
        for (const auto& [name, queue] : queues) {
            if (number_in(request) == queue)
                text.append(" ").append(name);
        }
    }
    if (!request.error.empty())
        text.append(" = ").append(request.error);
    return text;
}

void require(long result)
{
    if (result < 0)
        throw std::runtime_error("the line refuses its settings");
}

} // namespace

line_settings settings_of(int fd)
{
    struct termios record {};
    require(syscall(SYS_ioctl, fd, TCGETS, &record));
    return settings_from(record);
}

void set_settings(int fd, const line_settings& wanted)
{
    struct termios record {};
    record.c_iflag = wanted.input;
    record.c_oflag = wanted.output;
    record.c_cflag = wanted.control;
    record.c_lflag = wanted.local;
    record.c_line = static_cast<cc_t>(wanted.discipline);
    for (std::size_t i = 0; i < wanted.characters.size() && i < sizeof record.c_cc; ++i)
        record.c_cc[i] = wanted.characters[i];
    require(syscall(SYS_ioctl, fd, TCSETS, &record));
}

std::vector<std::string> line_requests(virtual_terminal& board, std::string_view path)
{
    std::vector<std::string> texts;
    for (const event& request : board.events_of({"ioctl"})) {
        if (request.path != path || request.request == FIONREAD)
            continue;
        const std::string before = texts.empty() ? "" : texts.back();
        if (request.request == TCGETS && before == "TCSETS")
            continue;
        if (request.request == TCSETS && before.starts_with("TCGETS"))
            texts.pop_back();
        texts.push_back(text_of(request));
    }
    return texts;
}

int requests_before_set(virtual_terminal& board, std::string_view path)
{
    int count = 0;
    for (const event& request : board.events_of({"ioctl"})) {
        if (request.path != path)
            continue;
        if (request.request == TCSETS)
            break;
        ++count;
    }
    return count;
}

std::vector<line_settings> settings_asked(virtual_terminal& board, std::string_view path)
{
    std::vector<line_settings> all;
    for (const event& request : board.events_of({"ioctl"})) {
        if (request.path != path || request.request != TCSETS)
            continue;
        struct termios record {};
        if (request.data.size() != sizeof record)
            throw std::runtime_error("a TCSETS without its record");
        std::memcpy(&record, request.data.data(), sizeof record);
        all.push_back(settings_from(record));
    }
    return all;
}

} // namespace kt::tests
