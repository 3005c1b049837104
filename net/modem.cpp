// The modem's power, its multiplexer daemon, and the check that rebuilds both.
#include "base/attributes.h"
#include "base/board_directories.h"
#include "base/failure.h"
#include "base/shell.h"
#include "kt_driver/base.h"
#include "kt_driver/net.h"
#include "kt_driver/serial.h"

#include <cerrno>
#include <cstdio>
#include <string_view>
#include <unistd.h>

namespace {

/** 1 while the modem counts as powered with its daemon started; so the system leaves it at boot. */
int kt_wireless_ready = 1;

/** Only a process's first check waits long for the channel: at boot the daemon may still be coming up. */
bool waited_for_boot = false;

constexpr const char* daemon_name = "gsm0710muxd_bp";
constexpr const char* data_channel = "/dev/chn/3";
constexpr const char* uart = "/dev/ttyS0";
constexpr int data_port = 21;

void switch_power(bool on)
{
    if (on)
        (void)kt::run_shell("echo 1 > /sys/class/kt_misc/ioctl/gsm_pwr");
    else
        (void)kt::run_shell("echo 0 > /sys/class/kt_misc/ioctl/gsm_pwr");
}

void start_daemon()
{
    (void)system_helper("/kt/kt_module/gsm0710muxd_bp.sh &");
}

void remove_channels()
{
    (void)system_helper("rm -rf /dev/chn");
}

/** Looks for a node so many times, with a pause after each that failed; goes on in any case. */
void wait_for(const char* node, int checks, unsigned pause_ms)
{
    for (; checks > 0; --checks) {
        if (access(node, F_OK) == 0) {
            std::printf("find %s\n", node);
            return;
        }
        mdelay(pause_ms);
    }
}

void rebuild()
{
    std::puts("no gsm0710muxd_bp running,restart#####");
    switch_power(false);
    remove_channels();
    mdelay(100);
    kt_wireless_ready = 1;
    switch_power(true);
    mdelay(100);
    wait_for(uart, 20, 50);
    start_daemon();
    std::puts("#cmux_ready start#");
    wait_for(data_channel, 15, 200);
}

/** One "AT", and whether what came within a second has the modem's "OK" in it. */
bool modem_answers()
{
    static constexpr unsigned char command[] = {'A', 'T', '\r', '\n'};
    const int written = kt_serial_write(data_port, command, sizeof command);
    std::puts("write");
    kt_log_hexdump(written, command);
    mdelay(500);
    std::printf("#UartGetRXBufCount %d#\n", UartGetRXBufCount(data_port));

    unsigned char answer[64];
    const int got = kt_serial_read(data_port, answer, sizeof answer, 500);
    if (got < 0)
        return false;
    std::puts("read");
    kt_log_hexdump(got, answer);
    const std::string_view text(reinterpret_cast<const char*>(answer), static_cast<std::size_t>(got));
    return text.find("OK") != std::string_view::npos;
}

} // namespace

int task_check_run(const char* name)
{
    if (name == nullptr) {
        errno = EINVAL;
        return 0;
    }
    const int result = system_helper("pidof -s %s", name);
    std::printf("task_check_run ret  %d\n", result);
    return result == 0 ? 1 : 0;
}

int kt_gsm_cmux_run_check(void)
{
    if (!waited_for_boot) {
        waited_for_boot = true;
        wait_for(data_channel, 300, 50);
    }
    if (task_check_run(daemon_name) == 1)
        return 1;
    mdelay(200);
    if (task_check_run(daemon_name) == 1)
        return 1;

    rebuild();
    (void)kt_serial_open(data_port, 460800, KT_SERIAL_8_DATA_BITS, KT_SERIAL_1_STOP_BIT, KT_SERIAL_NO_PARITY);
    (void)kt_serial_flush(data_port);
    for (int attempts = 30; attempts > 0 && !modem_answers(); --attempts) {
    }
    return kt_serial_close(data_port);
}

int kt_gsm_start(void)
{
    std::puts("kt_gsm_start ");
    switch_power(true);
    if (kt_wireless_ready != 0)
        return 0;
    kt_wireless_ready = 1;
    mdelay(100);
    wait_for(uart, 20, 50);
    start_daemon();
    mdelay(100);
    return 0;
}

int kt_gsm_stop(void)
{
    std::puts("kt_gsm_stop ");
    switch_power(false);
    if (kt_wireless_ready != 1)
        return 0;
    kt_wireless_ready = 0;
    (void)system_helper("/kt/kt_module/gsm0710muxd_bp-kill.sh");
    remove_channels();
    mdelay(100);
    return 0;
}

int kt_get_gsm_power(void)
{
    return kt::attribute_int(kt::ioctl_directory, "gsm_pwr");
}

void kt_gsm_suspend(void) {}

void kt_gsm_resume(void) {}

int kt_gsm_status(void)
{
    return 1;
}

int kt_is_support_dsss(void)
{
    return 1;
}
