/** The reader's chip with its driver: carries out one request after the other. */
#pragma once

#include "terminal/reader/call.h"
#include "terminal/reader/emulation.h"
#include "terminal/reader/field.h"
#include "terminal/reader/script.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/** Which requests a card has been opened for; rid is tcl on numbers of its own. */
enum class reader_family { none, tcl, rid, mfcl, felica, mful_c, ntag21x, mful_ev1 };

/** As in its requests' names; empty: none. */
std::string_view name_of(reader_family family);

/** What the driver remembers. */
struct reader_state {
    std::uint32_t power = 1; /**< setpower's level; at 0 there is no field. */
    std::array<std::uint32_t, 2> type_a{};
    std::array<std::uint32_t, 3> type_b{};
    bool busy = false;
    unsigned opened = 0;
    contact_ptr found{}; /**< By probe, or by the open of a family. */
    reader_family family = reader_family::none;
    contact_ptr card{}; /**< The one that the family was opened for. */
    std::string key{};  /**< Of Mifare Classic. */
    unsigned pages = 0; /**< Of NTAG21x and Ultralight EV1; 0: unknown. */
    emulated_card emulated{};
    emulated_tag tag{};

    void let_go(); /**< Of all cards. */
};

class chip;

/** One step of a request: where, which, and the card that is open for its family. */
struct request_turn {
    std::shared_ptr<chip> on;
    call_ptr call;
    reader_family family;
    contact_ptr card;
};

/** Threads: any. */
class chip : public std::enable_shared_from_this<chip> {
public:
    // The program's side.
    int open(); /**< 0, or EBUSY. */
    void close();
    void control(device_request_ptr asked);

    field& near() { return *field_; } /**< The cards. */

    // Around each step of a request: the next one begins when none is under way, also where a signal has ended the
    // request in the middle of its step.
    void step_begins();
    void step_ends();

    /** Looks at the state, or changes it, under the chip's lock. */
    template <typename Use>
    auto with_state(Use use)
    {
        const std::lock_guard lock(mutex_);
        return use(state_);
    }

    void add_script(const std::vector<scripted_answer>& answers);
    void forget_script();
    std::size_t scripted() const;

private:
    void begin_next();
    void over(std::uint64_t number);
    void begin(const call_ptr& call);
    static void answer(const call_ptr& call, const scripted_answer& how);
    void carry_out(const call_ptr& call);

    struct queued {
        std::uint64_t number = 0;
        call_ptr call{};
    };

    mutable std::mutex mutex_;
    reader_state state_;
    reader_script script_;
    std::deque<queued> queue_;    // the first one may be under way
    std::uint64_t under_way_ = 0; // 0: none is
    unsigned steps_ = 0;          // that run now
    std::uint64_t last_number_ = 0;
    const std::shared_ptr<field> field_ = std::make_shared<field>();
};

} // namespace kt::terminal
