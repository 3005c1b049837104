/** Makes one call that waits, and ends: the program whose system calls the delay tests look at. */
#include <kt_driver/base.h>
#include <kt_driver/misc.h>
#include <kt_driver/power.h>
#include <kt_driver/tamper.h>

#include <csignal>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

int main(int argc, char** argv)
{
    // A handler that does nothing: the signal ends the sleep, not the program.
    struct sigaction nothing = {};
    nothing.sa_handler = [](int) {};
    sigaction(SIGUSR1, &nothing, nullptr);

    if (argc != 3)
        _exit(2);
    const std::string_view delay = argv[1];
    const unsigned int amount = static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 10));
    if (delay == "mdelay")
        mdelay(amount);
    else if (delay == "udelay")
        udelay(amount);
    else if (delay == "kt_adc_suspend")
        kt_adc_suspend(static_cast<int>(amount));
    else if (delay == "kt_ap_tamper_read")
        _exit(static_cast<unsigned int>(kt_ap_tamper_read()) == amount ? 0 : 1);
    else if (delay == "kt_ap_tamper_reset")
        (void)kt_ap_tamper_reset();
    else if (delay == "kt_system_power_state") {
        kt_base_init(); // the module decides about the radio
        (void)kt_system_power_state(static_cast<int>(amount));
    } else
        _exit(2);
    _exit(0); // at once: an exit check of a sanitizer cannot run under a tracer
}
