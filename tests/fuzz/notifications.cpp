/** Fuzzes what a session reads from its notification pipe, against the same bytes read backwards: the newest
 * notification, and the status that a poll makes of it. */
#include "net/pppd_task.h"

#include "base/shell.h"
#include "kt_driver/base.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

// What a session needs besides, without a board: its pauses and commands are none.
void mdelay(unsigned) {}

int system_helper(const char*, ...)
{
    return 0;
}

int kt::run_shell(const char*)
{
    return 0;
}

int kt_gsm_cmux_run_check(void)
{
    return 1;
}

namespace {

/** The newest byte that ends no line, as a signed character; -1 when there is none. */
int newest(std::string_view bytes)
{
    const std::size_t at = bytes.find_last_not_of("\r\n");
    return at == std::string_view::npos ? -1 : static_cast<signed char>(bytes[at]);
}

/** What a poll makes of it when pppd has gone while the link went down. */
int status_of(int news)
{
    if (news == '1')
        return PPPD_TASK_ENDED;
    return news == '2' || news == -1 ? PPPD_TASK_IDLE : -1;
}

void put(int writer, std::string_view bytes)
{
    if (write(writer, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        std::abort();
}

void expect(bool so)
{
    if (!so)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    expect(std::freopen("/dev/null", "w", stdout) != nullptr); // each poll prints its lines
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::string name = "kt_fuzz_" + std::to_string(getpid());
    const std::string path = "/tmp/" + name;
    const std::string_view bytes(reinterpret_cast<const char*>(data), std::min<std::size_t>(size, 65'536));

    pppd_task task(name, 0);
    expect(task.notify_fifo_open() == 0);
    const int writer = open(path.c_str(), O_WRONLY | O_NONBLOCK);
    expect(writer >= 0);

    put(writer, bytes);
    errno = 0;
    expect(task.get_latest_notify() == newest(bytes) && errno == EAGAIN);
    expect(task.get_latest_notify() == -1 && errno == EAGAIN); // it is empty now

    task.deactivate();
    put(writer, bytes);
    const int status = status_of(newest(bytes));
    expect(task.poll_status() == status);
    expect(task.status() == (status < 0 ? PPPD_TASK_DOWN : status));

    close(writer);
    task.notify_fifo_close();
    unlink(path.c_str());
    return 0;
}
