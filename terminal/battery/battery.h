/** A battery on a board: its supply's attributes, which follow the charge, the mains and the protection limit. */
#pragma once

#include "terminal/battery/cell.h"
#include "terminal/model/board.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kt::terminal {

/** What to change; what is not given stays as it is. */
struct battery_change {
    std::optional<double> capacity{};                      /**< In percent. */
    std::optional<double> charge_rate{}, discharge_rate{}; /**< In percent an hour. */
    std::optional<double> speed{};                         /**< Hours pass so many times as fast; 0: not at all. */
    std::optional<bool> mains{};                           /**< Sets the mains' attribute. */
    std::map<supply_property, std::optional<std::string>> fixed{}; /**< Shown whatever happens; nothing: given back. */
};

struct battery_state {
    double capacity = 0; /**< In percent, with its fraction. */
    bool mains = false;
    int limit = 100;
    double charge_rate = 0;
    double discharge_rate = 0;
    double speed = 1;
    std::vector<supply_property> fixed;
    supply_values values; /**< As the battery has them; an attribute may have been set to something else. */
};

/** Threads: any. */
class battery : public std::enable_shared_from_this<battery> {
public:
    using time_point = std::chrono::steady_clock::time_point;
    using clock = std::function<time_point()>;

    static constexpr const char* mains_attribute = "/sys/class/power_supply/mains/online";
    static constexpr const char* limit_attribute = "/sys/class/kt_misc/ioctl/kt_bat_protect_cap";

    /** @p folder is where its attributes will be. The board lives longer; stop() comes before the board's end. */
    battery(board& on, std::string folder, clock now);

    /** Makes the attributes; those that are there stay. Throws std::invalid_argument when that cannot be done. */
    void begin(const battery_change& at_start);

    const std::string& folder() const { return folder_; }
    /** Its folder was taken off the board. */
    bool is_gone() const;

    /** Lets the time pass that has passed, looks at mains and limit, and shows what is new. */
    void refresh();
    void change(const battery_change& how);
    battery_state state() const;

    /** Waits for those who are at the board; then nothing of it is touched any more. Not from the board's listeners. */
    void stop();

private:
    class turn;

    bool is_gone_locked() const;
    void set_mains(bool present);
    void apply_locked(const battery_change& how);
    bool follow_locked();
    void show_locked();
    void tick_later_locked();
    std::string path_of(std::size_t property) const;
    supply_values values_locked() const;

    board& board_;
    const std::string folder_;
    const clock now_;
    mutable std::mutex mutex_;
    bool stopped_ = false;
    int turns_ = 0; // those who may be at the board
    std::condition_variable turn_over_;
    std::weak_ptr<node> place_; // the folder that it was given: another of that name is not its own
    battery_cell cell_;
    double speed_ = 1;
    time_point last_;
    std::map<supply_property, std::string> fixed_;
    std::array<std::optional<std::string>, supply_properties> shown_; // what it put last
    std::optional<time_point> due_;                                   // of the next tick
};

/** The board's battery; null: it has none. */
std::shared_ptr<battery> battery_of(const board& searched);

/** The battery of a board; it stops at this object's end, which must come before the board's. */
class fitted_battery {
public:
    explicit fitted_battery(board& fitted, const battery::clock& now = std::chrono::steady_clock::now);
    ~fitted_battery();
    fitted_battery(const fitted_battery&) = delete;
    fitted_battery& operator=(const fitted_battery&) = delete;

private:
    class bay;
    friend std::shared_ptr<battery> battery_of(const board& searched);

    const std::shared_ptr<bay> bay_;
};

/** Makes the kind "battery" known to a board; its options are those of a change (docs/control-protocol.md). */
[[nodiscard]] inline std::unique_ptr<fitted_battery> know_batteries(board& known)
{
    return std::make_unique<fitted_battery>(known);
}

/** A change as a JSON object says it. Throws std::invalid_argument with a sentence. */
battery_change read_battery_change(const std::string& text);

} // namespace kt::terminal
