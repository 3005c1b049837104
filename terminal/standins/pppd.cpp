/**
 * The stand-in for pppd where the kernel offers no PPP: the same arguments, files, scripts, signals and exit statuses,
 * a link that is negotiated to its addresses, and no network interface behind it.
 */
#include "terminal/ppp/link.h"
#include "terminal/standins/pppd_line.h"
#include "terminal/standins/pppd_options.h"
#include "terminal/standins/pppd_scripts.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <random>
#include <syslog.h>
#include <unistd.h>

namespace kt::terminal {

namespace {

using namespace std::chrono_literals;

/** pppd's own exit statuses. */
enum status : int {
    fine = 0,
    fatal_error = 1,
    wrong_options = 2,
    asked_to_end = 5,
    open_failed = 7,
    connect_failed = 8,
    negotiation_failed = 10,
    other_refused = 11,
    no_echo = 15,
    hung_up = 16,
    loop = 17,
    not_accepted = 19,
};

constexpr const char* interface = "ppp0";
constexpr auto carrier_watch = 500ms; // a fallen carrier line tells nobody
constexpr auto hang_up_wait = 2s;     // from the other's goodbye to the modem's

// NOLINTNEXTLINE(cert-dcl50-cpp): as printf
[[gnu::format(printf, 2, 3)]] void tell(int priority, const char* format, ...)
{
    char text[512];
    std::va_list values;
    va_start(values, format);
    std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    syslog(priority, "%s", text);
    std::printf("%s\n", text);
    std::fflush(stdout);
}

std::optional<std::string> bytes_of(const std::string& path)
{
    std::FILE* file = std::fopen(path.c_str(), "re");
    if (file == nullptr)
        return std::nullopt;
    std::string all;
    char part[4096];
    for (std::size_t length = 0; (length = std::fread(part, 1, sizeof part, file)) > 0;)
        all.append(part, length);
    std::fclose(file);
    return all;
}

/** The board keeps its files in /kt/ppp, which a board shows as /etc/ppp. */
std::string configuration_folder()
{
    return access("/etc/ppp/peers", F_OK) == 0 ? "/etc/ppp" : "/kt/ppp"; // a host without the first cannot show it
}

int status_of(ppp_end why)
{
    switch (why) {
    case ppp_end::no_agreement:
        return negotiation_failed;
    case ppp_end::not_accepted:
        return not_accepted;
    case ppp_end::other_refused:
        return other_refused;
    case ppp_end::no_echo:
        return no_echo;
    case ppp_end::loop:
        return loop;
    case ppp_end::closed:
        return asked_to_end;
    default:
        return hung_up;
    }
}

class daemon {
public:
    daemon(pppd_options options, std::string folder) : options_(std::move(options)), folder_(std::move(folder)) {}

    int run()
    {
        const end_signals signals;
        signals_ = &signals;
        tell(LOG_NOTICE, "pppd stand-in started by process %d", static_cast<int>(getppid()));
        const pppd_line line(options_);
        if (!line) {
            tell(LOG_ERR, "Failed to open %s: %s", options_.device.c_str(), std::strerror(errno));
            return open_failed;
        }
        line_ = &line;
        const int result = connect();
        if (result == fine)
            return finish(talk());
        return finish(result);
    }

private:
    int connect()
    {
        if (!line_->set_up(true)) {
            tell(LOG_ERR, "Couldn't set tty attributes: %s", std::strerror(errno));
            return open_failed;
        }
        if (options_.connect.empty())
            return fine;
        line_->set_waiting(true);
        const int result = run_on_line(options_.connect, line_->fd(), STDOUT_FILENO, *signals_);
        line_->set_waiting(false);
        if (end_signals::seen() != 0) {
            tell(LOG_INFO, "Terminating on signal %d", end_signals::seen());
            return asked_to_end;
        }
        if (result != 0) {
            tell(LOG_ERR, "Connect script failed");
            return connect_failed;
        }
        tell(LOG_INFO, "Serial connection established.");
        return fine;
    }

    ppp_settings link_settings() const
    {
        ppp_settings made;
        made.magic = std::random_device{}();
        made.own_address = options_.own_address;
        made.given_address = options_.other_address;
        made.wants_dns = options_.wants_dns;
        made.user = options_.user;
        made.password = options_.password;
        if (made.password.empty() && !made.user.empty()) {
            const auto secrets = bytes_of(folder_ + "/pap-secrets");
            const auto secret = secret_for(secrets.value_or(""), made.user, options_.remote_name);
            if (secret)
                made.password = *secret;
            else
                made.user.clear(); // nobody that can be named
        }
        if (options_.authenticate_other)
            made.accepts = [this](const std::string& user, const std::string& password) {
                return secret_for(bytes_of(folder_ + "/pap-secrets").value_or(""), user, "") == password;
            };
        made.patience.restart = std::chrono::seconds(options_.lcp_restart_s);
        made.patience.most_requests = options_.lcp_requests;
        made.echo_interval = std::chrono::seconds(options_.echo_interval_s);
        made.echo_failures = options_.echo_failures;
        return made;
    }

    int talk()
    {
        if (!line_->set_up(false))
            return hung_up;
        tell(LOG_INFO, "Using interface %s", interface);
        tell(LOG_NOTICE, "Connect: %s <--> %s", interface, options_.device.c_str());
        bool gone = false;
        ppp_link link(link_settings(), [&](std::string_view bytes) { gone = gone || !line_->write_all(bytes); });
        link.start(ppp_link::moment::clock::now());
        bool closing = false;
        while (!link.is_over() && !gone) {
            if (end_signals::seen() != 0 && !closing) {
                closing = true;
                tell(LOG_INFO, "Terminating on signal %d", end_signals::seen());
                went_down();
                link.close(ppp_link::moment::clock::now());
                continue;
            }
            if (!wait_and_read(link))
                gone = true; // as a failed write within it says too
            link.tick(ppp_link::moment::clock::now());
            if (link.is_up())
                came_up(link);
            else
                went_down();
        }
        if (!gone && link.ending() == ppp_end::closed_by_other)
            wait_for_hang_up();
        went_down();
        if (closing)
            return asked_to_end;
        if (gone || link.ending() == ppp_end::closed_by_other)
            tell(LOG_NOTICE, "Modem hangup");
        else
            tell_why(link.ending());
        return gone ? static_cast<int>(hung_up) : status_of(link.ending());
    }

    static void tell_why(ppp_end why)
    {
        switch (why) {
        case ppp_end::not_accepted:
            return tell(LOG_ERR, "PAP authentication failed");
        case ppp_end::other_refused:
            return tell(LOG_ERR, "Peer failed to authenticate itself");
        case ppp_end::no_echo:
            return tell(LOG_INFO, "No response to echo-requests");
        case ppp_end::loop:
            return tell(LOG_NOTICE, "Serial line is looped back.");
        default:
            return tell(LOG_WARNING, "LCP: timeout sending Config-Requests");
        }
    }

    /** False: the line is gone. */
    bool wait_and_read(ppp_link& link) const
    {
        using clock = ppp_link::moment::clock;
        auto wait = std::chrono::duration_cast<std::chrono::nanoseconds>(carrier_watch);
        if (const auto due = link.deadline())
            wait = std::clamp(std::chrono::duration_cast<std::chrono::nanoseconds>(*due - clock::now()), 0ns, wait);
        const timespec time{wait.count() / 1'000'000'000, wait.count() % 1'000'000'000};
        pollfd line{line_->fd(), POLLIN, 0};
        const int ready = ppoll(&line, 1, &time, &signals_->while_waiting());
        if (ready <= 0)
            return line_->has_carrier();
        char bytes[4096];
        const ssize_t length = read(line_->fd(), bytes, sizeof bytes);
        if (length > 0)
            link.received({bytes, static_cast<std::size_t>(length)}, clock::now());
        return length > 0 || (length < 0 && (errno == EAGAIN || errno == EINTR));
    }

    void wait_for_hang_up() const
    {
        const auto end = std::chrono::steady_clock::now() + hang_up_wait;
        char bytes[256];
        while (std::chrono::steady_clock::now() < end && line_->has_carrier()) {
            pollfd line{line_->fd(), POLLIN, 0};
            if (poll(&line, 1, 100) > 0 && read(line_->fd(), bytes, sizeof bytes) <= 0)
                return;
        }
    }

    void came_up(const ppp_link& link)
    {
        if (up_)
            return;
        up_ = true;
        local_ = address_text(link.own_address());
        remote_ = address_text(link.other_address());
        tell(LOG_NOTICE, "local  IP address %s", local_.c_str());
        tell(LOG_NOTICE, "remote IP address %s", remote_.c_str());
        std::vector<std::pair<std::string, std::string>> names;
        for (const int which : {0, 1}) {
            if (link.dns(which) == 0)
                continue;
            names.emplace_back("DNS" + std::to_string(which + 1), address_text(link.dns(which)));
            tell(LOG_NOTICE, "%s DNS address %s", which == 0 ? "primary  " : "secondary", names.back().second.c_str());
        }
        hook("ip-up", std::move(names));
    }

    void went_down()
    {
        if (!up_)
            return;
        up_ = false;
        hook("ip-down", {});
    }

    /** One after the other, so that whoever listens hears them in order. */
    void hook(const char* name, std::vector<std::pair<std::string, std::string>> variables)
    {
        wait_for_hook(hook_);
        const std::string speed = std::to_string(line_->speed());
        for (const auto& [variable, value] :
             std::initializer_list<std::pair<const char*, std::string>>{{"DEVICE", options_.device},
                                                                        {"IFNAME", interface},
                                                                        {"IPLOCAL", local_},
                                                                        {"IPREMOTE", remote_},
                                                                        {"SPEED", speed},
                                                                        {"PPPD_PID", std::to_string(getpid())},
                                                                        {"ORIG_UID", std::to_string(getuid())}})
            variables.emplace_back(variable, value);
        hook_ = start_hook(folder_ + "/" + name,
                           {interface, options_.device, speed, local_, remote_, options_.ip_parameter}, variables,
                           *signals_);
    }

    int finish(int result)
    {
        if (!options_.disconnect.empty() && result != open_failed && result != hung_up) {
            line_->set_waiting(true);
            end_signals::forget(); // the one that ended the link is not meant for the script
            (void)run_on_line(options_.disconnect, line_->fd(), STDOUT_FILENO, *signals_);
        }
        if (result != connect_failed)
            tell(LOG_NOTICE, "Connection terminated.");
        wait_for_hook(hook_);
        tell(LOG_INFO, "Exit.");
        return result;
    }

    const pppd_options options_;
    const std::string folder_;
    const end_signals* signals_ = nullptr;
    const pppd_line* line_ = nullptr;
    bool up_ = false;
    pid_t hook_ = 0;
    std::string local_;
    std::string remote_;
};

int run(const std::vector<std::string>& arguments)
{
    openlog("pppd", LOG_PID | LOG_NDELAY, LOG_DAEMON);
    const std::string folder = configuration_folder();
    pppd_options options;
    try {
        options = read_pppd_options(arguments, folder, bytes_of);
    } catch (const option_error& wrong) {
        std::fprintf(stderr, "pppd: %s\n", wrong.what());
        return wrong_options;
    }
    if (options.detach) {
        const pid_t child = fork();
        if (child != 0)
            return child > 0 ? fine : fatal_error;
        setsid();
        const descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
        for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            dup2(nothing.get(), number);
    }
    return daemon(std::move(options), folder).run();
}

} // namespace

} // namespace kt::terminal

int main(int argc, char** argv)
{
    return kt::terminal::run({argv + std::min(argc, 1), argv + argc});
}
