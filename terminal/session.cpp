/** Board, journal, control, program: in the order in which they need each other. */
#include "terminal/session.h"

#include "terminal/battery/battery.h"
#include "terminal/clock/real_time_clock.h"
#include "terminal/control/control_server.h"
#include "terminal/control/log_file.h"
#include "terminal/control/socket_folder.h"
#include "terminal/fuse/server.h"
#include "terminal/input/input_device.h"
#include "terminal/model/board.h"
#include "terminal/model/profile.h"
#include "terminal/model/syslog_source.h"
#include "terminal/modem/modem.h"
#include "terminal/notifier/notifier.h"
#include "terminal/ports/port.h"
#include "terminal/reader/reader.h"
#include "terminal/secure/secure_processor.h"
#include "terminal/signals.h"
#include "terminal/sleep/suspend.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <unistd.h>

namespace kt::terminal {

namespace {

/** The numbers by which programs tell one start of a machine from another, where the board has them. */
void make_start_unique(board& started)
{
    for (const char* path : {"/proc/sys/kernel/random/boot_id", "/proc/sys/kernel/random/uuid"}) {
        auto state = started.attribute(path);
        std::ifstream host("/proc/sys/kernel/random/uuid");
        if (std::string fresh; state && std::getline(host, fresh)) {
            state->text = fresh + "\n";
            (void)started.put_attribute(path, *state);
        }
    }
}

event end_of(const launch_result& result)
{
    event end;
    end.kind = "exit";
    end.result = result.how == launch_result::end::killed ? 128 + result.value : result.value;
    return end;
}

} // namespace

launch_result run_session(const terminal_options& options, const std::string& boards_folder, const std::string& version)
{
    const profile chosen = profile::load(options.board, boards_folder);
    std::optional<log_file> log;
    if (!options.log.empty())
        log.emplace(options.log);
    const std::string name = options.name.empty() ? std::to_string(getpid()) : options.name;
    host_socket outside = options.control.empty() ? host_socket::named(name) : host_socket(options.control);

    std::optional<syslog_source> syslog; // the journal asks it as long as the board lives
    board shown;
    know_ports(shown);
    know_inputs(shown);
    know_secure_processor(shown);
    know_real_time_clock(shown);
    know_readers(shown);
    const auto modems = know_modems(shown);
    const auto batteries = know_batteries(shown);
    chosen.apply(shown);
    make_start_unique(shown);
    if (log)
        shown.events().set_listener([&log](const event& happened) { log->add(happened); });

    launch_options start = options.start;
    start.stand_ins = chosen.programs();
    launch program(std::move(start));
    std::optional<fuse_server> files;       // ended before the helper is waited for, who may be waiting for a file
    const auto sleep = know_suspend(shown); // ended before the files, which show what waits in it
    std::optional<notifier> requests;       // finds its nodes through the files
    control_server control(shown, chosen, {name, version}, [&program] { program.stop(); });
    control.listen_on(outside.take());

    const signals handled([&program] { program.stop(); });
    const auto serve = [&](inner_descriptors inner) {
        files.emplace(shown, inner.fuse.release());
        control.listen_on(std::move(inner.control));
        syslog.emplace(inner.log.release(), innermost_pid);
        shown.events().set_source([&syslog] { return syslog->next(); });
        if (!shown.keep_state_in(inner.state.release()))
            throw std::runtime_error(std::string("the state folder cannot be used: ") + std::strerror(errno));
        chosen.fill_kept(shown);
        syslog->start(shown.events());
        control.start();
        files->start();
    };
    const auto answer = [&](waiting_requests waiting) {
        requests.emplace(shown, notified_terminal{std::move(waiting.receiver), waiting.board_device, waiting.helper},
                         [&files](std::uint64_t number) { return files->known(number); });
    };
    launch_result result = program.run({serve, answer});
    requests.reset();
    sleep->stop();
    if (files)
        files->stop();
    shown.events().append(end_of(result));
    shown.events().close();
    control.stop();
    return result;
}

} // namespace kt::terminal
