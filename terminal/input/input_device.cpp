/** Events to every open, and the reads that wait for them. */
#include "terminal/input/input_device.h"

#include "terminal/model/board.h"
#include "terminal/model/shown_number.h"

#include <algorithm>
#include <cstring>
#include <linux/input.h>
#include <utility>

namespace kt::terminal {

namespace {

constexpr const char* sampling_switch = "/sys/class/kt_misc/touch/touch_start";

} // namespace

class input_device::opened : public open_file {
public:
    explicit opened(std::shared_ptr<input_device> device) : device_(std::move(device)) {}
    ~opened() override { device_->end(client_); }

    bool begin() { return device_->begin(client_); }

    bool stream() const override { return true; }
    void read(request_ptr asked, std::size_t size, off_t) override { device_->read(client_, std::move(asked), size); }
    void write(request_ptr asked, std::string_view data, off_t) override { device_->write(std::move(asked), data); }
    void control(device_request_ptr asked) override { device_->control(client_, std::move(asked)); }
    unsigned poll(std::function<void()> changed) override { return device_->poll(client_, std::move(changed)); }

private:
    const std::shared_ptr<input_device> device_;
    client client_;
};

input_device::input_device(board& on, unsigned index, input_identity identity)
    : node(S_IFREG | 0660),
      board_(on),
      index_(index),
      identity_(std::move(identity)),
      abilities_(abilities_of(identity_.name, identity_.bus))
{
}

input_device::~input_device() = default;

bool input_device::is_panel() const
{
    return identity_.name == device_name::panel;
}

bool input_device::is_resistive() const
{
    return is_panel() && identity_.bus == BUS_HOST;
}

void input_device::consequences::carry_out()
{
    for (auto& [asked, bytes] : answers)
        asked->bytes(bytes);
    for (auto& [asked, error] : refusals)
        asked->fail(error);
    for (const auto& tell : changed)
        if (tell)
            tell();
}

void input_device::report(const event_list& events)
{
    if (!pass_on(events) || is_panel())
        return;
    for (const reported_event& each : events)
        if (each.type == EV_KEY && each.value == 1)
            board_.wake(each.code == KEY_POWER ? wake_source::power_key : wake_source::keypad);
}

void input_device::touch(const event_list& events)
{
    if (is_resistive()) {
        const auto sampling = board_.attribute(sampling_switch);
        if (sampling && shown_number(sampling->text) == 0)
            return;
    }
    report(events);
}

/** False: the device is gone. */
bool input_device::pass_on(const event_list& events)
{
    const timespec now = board_.clock().now();
    consequences after;
    {
        const std::lock_guard lock(mutex_);
        if (gone_)
            return false;
        for (const reported_event& each : events)
            if (each.type == EV_ABS)
                axes_[each.code] = each.value;
        for (client* each : clients_) {
            if (grabbed_by_ != nullptr && grabbed_by_ != each)
                continue;
            for (const reported_event& happened : events)
                each->queue.put(now, happened);
            serve(*each, after);
            after.changed.push_back(std::exchange(each->changed, {}));
        }
    }
    after.carry_out();
    return true;
}

/** Readers of one open take turns. */
void input_device::serve(client& to, consequences& after)
{
    while (!to.queue.empty() && !to.reads.empty()) {
        waiting_read& first = to.reads.front();
        after.answers.emplace_back(std::move(first.asked), to.queue.take(first.size));
        to.reads.pop_front();
    }
}

bool input_device::begin(client& opening)
{
    const std::lock_guard lock(mutex_);
    clients_.push_back(&opening);
    return !gone_;
}

void input_device::end(client& closing)
{
    const std::lock_guard lock(mutex_);
    clients_.remove(&closing);
    if (grabbed_by_ == &closing)
        grabbed_by_ = nullptr;
}

void input_device::read(client& by, request_ptr asked, std::size_t size)
{
    consequences after;
    {
        const std::lock_guard lock(mutex_);
        if (size != 0 && size < sizeof(event_record)) {
            after.refusals.emplace_back(std::move(asked), EINVAL);
        } else if (gone_) {
            after.refusals.emplace_back(std::move(asked), ENODEV);
        } else if (!by.queue.empty() || (size == 0 && asked->may_wait())) {
            after.answers.emplace_back(std::move(asked), by.queue.take(size));
        } else if (!asked->may_wait()) {
            after.refusals.emplace_back(std::move(asked), EAGAIN);
        } else {
            // A signal that is there already finds the read all the same: who is told of it waits for the lock.
            asked->when_interrupted([self = weak_from_this(), number = ++last_number_] {
                if (const auto there = std::static_pointer_cast<input_device>(self.lock()))
                    there->interrupted(number);
            });
            by.reads.push_back({last_number_, std::move(asked), size});
        }
    }
    after.carry_out();
}

void input_device::interrupted(std::uint64_t number)
{
    consequences after;
    {
        const std::lock_guard lock(mutex_);
        for (client* each : clients_) {
            const auto found = std::find_if(each->reads.begin(), each->reads.end(),
                                            [&](const waiting_read& read) { return read.number == number; });
            if (found == each->reads.end())
                continue;
            after.refusals.emplace_back(std::move(found->asked), EINTR);
            each->reads.erase(found);
            break;
        }
    }
    after.carry_out();
}

/** As the kernel passes on what a program writes: what the device cannot report is taken and comes to nothing. */
void input_device::write(request_ptr asked, std::string_view data)
{
    if (!data.empty() && data.size() < sizeof(event_record))
        return asked->fail(EINVAL);
    event_list events;
    const std::size_t taken = data.size() / sizeof(event_record) * sizeof(event_record);
    for (std::size_t at = 0; at < taken; at += sizeof(event_record)) {
        event_record written;
        std::memcpy(&written, data.data() + at, sizeof written);
        if (abilities_.can(written.type, written.code))
            events.push_back({written.type, written.code, written.value});
    }
    if (!pass_on(events))
        return asked->fail(ENODEV);
    asked->count(taken);
}

unsigned input_device::poll(client& by, std::function<void()> changed)
{
    const std::lock_guard lock(mutex_);
    if (changed)
        by.changed = std::move(changed);
    const unsigned readable = by.queue.empty() ? 0 : POLLIN | POLLRDNORM;
    return readable | (gone_ ? POLLHUP | POLLERR : POLLOUT | POLLWRNORM);
}

result<std::unique_ptr<open_file>> input_device::open(int)
{
    auto made = std::make_unique<opened>(std::static_pointer_cast<input_device>(shared_from_this()));
    if (!made->begin())
        return result<std::unique_ptr<open_file>>::failed(ENODEV);
    std::unique_ptr<open_file> file = std::move(made);
    return file;
}

void input_device::unplugged()
{
    consequences after;
    {
        const std::lock_guard lock(mutex_);
        gone_ = true;
        for (client* each : clients_) {
            for (waiting_read& read : each->reads)
                after.refusals.emplace_back(std::move(read.asked), ENODEV);
            each->reads.clear();
            after.changed.push_back(std::exchange(each->changed, {}));
        }
    }
    (void)board_.remove("/sys/class/input/event" + std::to_string(index_)); // gone already is as good
    after.carry_out();
}

std::shared_ptr<input_device> input_device_at(const board& searched, std::string_view path)
{
    return std::dynamic_pointer_cast<input_device>(searched.find(path));
}

std::shared_ptr<input_device> input_device_named(const board& searched, std::string_view name)
{
    std::shared_ptr<input_device> first;
    for (const std::string& each : searched.list("/dev/input").value_or(std::vector<std::string>{})) {
        const auto found = input_device_at(searched, "/dev/input/" + each);
        if (found != nullptr && found->identity().name == name && (first == nullptr || found->index() < first->index()))
            first = found;
    }
    return first;
}

} // namespace kt::terminal
