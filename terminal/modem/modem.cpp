/** Power, nodes and channels. */
#include "terminal/modem/modem.h"

#include "terminal/model/board.h"
#include "terminal/modem/channel.h"
#include "terminal/ports/port.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace kt::terminal {

namespace {

constexpr const char* rack_place = "/run/modems"; // of the board's own, which no program sees
constexpr std::size_t most_heard = 4096;

bool is_on(const std::string& text)
{
    return !text.starts_with('0');
}

/** The modem's own port, which knows whether it was pulled off the board. */
class modem_port : public port {
public:
    bool is_gone() const { return gone_; }
    void unplugged() override
    {
        gone_ = true;
        port::unplugged();
    }

private:
    std::atomic<bool> gone_ = false;
};

} // namespace

struct modem::parts : std::enable_shared_from_this<modem::parts> {
    struct channel_port {
        std::string path;
        std::shared_ptr<modem_channel> served;
    };

    parts(board& on, std::string where, modem_settings given)
        : shown(on), path(std::move(where)), settings(std::move(given)), jobs(std::make_shared<strand>())
    {
    }

    void set_power(bool on);
    void appear();
    void multiplex();
    void end_multiplex();
    void hear(const std::string& bytes);

    board& shown;
    const std::string path;
    modem_settings settings;
    const std::shared_ptr<strand> jobs; // its lock is held around all below
    bool stopped = false;
    bool powered = false;
    bool multiplexed = false;
    unsigned starts = 0;              // each power-up's number: an appearance that is due of an older one is void
    std::shared_ptr<modem_port> node; // while powered
    std::shared_ptr<modem_channel> physical;
    std::vector<channel_port> channels;
    std::string heard;
};

modem::modem(board& on, std::string path, modem_settings settings, const std::string& power)
    : parts_(std::make_shared<parts>(on, std::move(path), std::move(settings)))
{
    const auto state = on.attribute(power);
    (void)on.watch_attribute(power, [weak = std::weak_ptr(parts_)](const std::string& text) {
        if (const auto alive = weak.lock()) {
            const auto lock = alive->jobs->lock(); // what the writer sees afterwards is the new state
            alive->set_power(is_on(text));
        }
    });
    const auto lock = parts_->jobs->lock();
    parts_->set_power(!state || is_on(state->text)); // a board without a switch has it on
}

modem::~modem()
{
    stop();
}

void modem::stop()
{
    parts_->jobs->stop();
    const auto lock = parts_->jobs->lock();
    parts_->stopped = true;
}

const std::string& modem::path() const
{
    return parts_->path;
}

bool modem::is_unplugged() const
{
    const auto lock = parts_->jobs->lock();
    return parts_->stopped || (parts_->node != nullptr && parts_->node->is_gone());
}

modem_settings modem::settings() const
{
    const auto lock = parts_->jobs->lock();
    return parts_->settings;
}

void modem::change(const std::function<void(modem_settings&)>& how)
{
    const auto lock = parts_->jobs->lock();
    how(parts_->settings);
}

modem_state modem::state() const
{
    const auto lock = parts_->jobs->lock();
    modem_state told{parts_->powered, parts_->multiplexed, {}, parts_->heard};
    const auto add = [&](const std::string& path, const modem_channel& port) {
        const data_peer* peer = port.peer();
        told.ports.push_back({path, port.mode_text(), port.is_open(), port.in_call(), port.dialled(),
                              peer != nullptr && peer->is_up(), peer != nullptr ? peer->user() : ""});
    };
    if (parts_->physical != nullptr)
        add(parts_->path, *parts_->physical);
    for (const auto& each : parts_->channels)
        add(each.path, *each.served);
    return told;
}

bool modem::drop_carrier(bool hung_up, std::string_view port)
{
    const auto lock = parts_->jobs->lock();
    bool found = port.empty();
    for (const auto& each : parts_->channels) {
        if (port.empty() ? each.served->in_call() : each.path == port) {
            each.served->lose_carrier(hung_up);
            found = true;
        }
    }
    if (parts_->physical != nullptr && !parts_->multiplexed &&
        (port.empty() ? parts_->physical->in_call() : parts_->path == port)) {
        parts_->physical->lose_carrier(hung_up);
        found = true;
    }
    return found;
}

void modem::parts::set_power(bool on)
{
    if (stopped || on == powered)
        return;
    powered = on;
    ++starts;
    if (!on) {
        end_multiplex();
        if (physical != nullptr) {
            physical->leave();
            physical = nullptr;
            stopped = node->is_gone(); // a modem that is not there any more does not come back by its switch
            if (shown.find(path) == node)
                (void)shown.remove(path);
            node = nullptr;
        }
        return;
    }
    if (settings.boot_delay.count() == 0)
        return appear();
    jobs->after(settings.boot_delay, [weak = weak_from_this(), start = starts] {
        if (const auto alive = weak.lock(); alive != nullptr && alive->starts == start)
            alive->appear();
    });
}

void modem::parts::appear()
{
    node = std::make_shared<modem_port>();
    modem_channel::news told;
    told.heard = [this](const std::string& bytes) { hear(bytes); };
    told.multiplex = [this] { multiplex(); };
    told.closed = [this] { end_multiplex(); };
    physical = std::make_shared<modem_channel>(node->wire(), settings, jobs, true, std::move(told));
    physical->serve();
    (void)shown.put_device(path, node);
}

void modem::parts::multiplex()
{
    if (!settings.garbage.empty())
        return physical->answer(at_line("OK")); // garbage in its place, so it is not done either
    end_multiplex();
    std::vector<channel_port> made;
    for (unsigned number = 1; number <= settings.channels; ++number) {
        const auto made_node = std::make_shared<port>();
        modem_channel::news told;
        told.heard = [this](const std::string& bytes) { hear(bytes); };
        made.push_back({settings.channels_folder + "/" + std::to_string(number),
                        std::make_shared<modem_channel>(made_node->wire(), settings, jobs, false, std::move(told))});
        made.back().served->serve();
        if (!shown.put_device(made.back().path, made_node)) {
            for (const auto& each : made)
                each.served->leave();
            return physical->answer(at_line("ERROR"));
        }
    }
    channels = std::move(made);
    multiplexed = true;
    physical->answer(at_line("OK"));
    physical->be_multiplexed();
}

void modem::parts::end_multiplex()
{
    if (!multiplexed)
        return;
    multiplexed = false;
    for (const auto& each : channels)
        each.served->leave();
    channels.clear();
    physical->be_plain();
}

void modem::parts::hear(const std::string& bytes)
{
    heard += bytes;
    heard.erase(0, heard.size() - std::min(heard.size(), most_heard));
}

/** Stands in the board's tree, so that who has the board has its modems. */
class fitted_modems::rack : public node {
public:
    rack() : node(S_IFREG) {}

    void add(std::shared_ptr<modem> made)
    {
        const std::lock_guard lock(mutex_);
        modems_.insert_or_assign(made->path(), std::move(made));
    }
    std::shared_ptr<modem> find(std::string_view path) const
    {
        const std::lock_guard lock(mutex_);
        const auto found = modems_.find(path);
        return found == modems_.end() ? nullptr : found->second;
    }
    void stop()
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [path, each] : modems_)
            each->stop();
    }

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::shared_ptr<modem>, std::less<>> modems_;
};

fitted_modems::fitted_modems(board& fitted) : board_(fitted), rack_(std::make_shared<rack>())
{
    (void)board_.put_device(rack_place, rack_);
    board_.set_device_maker("modem", [shared = rack_](board& on, const std::string& path, const std::string& options) {
        if (!path.starts_with("/dev/"))
            throw std::invalid_argument("a modem must lie below /dev");
        if (const auto older = shared->find(path); older != nullptr) {
            if (!older->is_unplugged())
                throw std::invalid_argument("there is a modem at " + path + " already");
            older->stop();
        }
        modem_settings settings;
        change_settings(settings, options);
        shared->add(std::make_shared<modem>(on, path, std::move(settings)));
    });
}

fitted_modems::~fitted_modems()
{
    rack_->stop();
}

std::shared_ptr<modem> modem_at(const board& searched, std::string_view path)
{
    const auto found = std::dynamic_pointer_cast<fitted_modems::rack>(searched.find(rack_place));
    return found != nullptr ? found->find(path) : nullptr;
}

} // namespace kt::terminal
