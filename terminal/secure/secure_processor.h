/** The secure processor's tamper words, as the misc driver's attributes show and reset them. */
#pragma once

#include "terminal/model/board.h"
#include "terminal/model/node.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace kt::terminal {

/** What to change; what is not given stays as it is. */
struct tamper_change {
    std::optional<std::uint32_t> status{};
    std::optional<std::uint32_t> ram{};
    std::optional<std::optional<unsigned>> silent_reads{}; /**< As in tamper_state. */
};

struct tamper_state {
    std::uint32_t status = 0; /**< The tamper status word. */
    std::uint32_t ram = 0;    /**< The word of the tamper RAM. */
    /** It does not answer so many reads, 0: it answers; nothing: it never does. */
    std::optional<unsigned> silent_reads = 0;
    unsigned resets = 0; /**< Resets that it carried out: a silent one carries out none. */
};

/** Stands in the board's tree, so that who has the board has it. Threads: any. */
class secure_processor : public node {
public:
    static constexpr const char* status_attribute = "/sys/class/kt_misc/ioctl/sp_tamper_status";
    static constexpr const char* reset_attribute = "/sys/class/kt_misc/ioctl/sp_tamper_reset";

    explicit secure_processor(board& on) : node(S_IFREG), board_(on) {}

    /**
     * The other side put the attributes anew. A text of the form "0x%x,0x%x" is taken as the words; one that was shown
     * already (the permissions alone were set) changes nothing.
     */
    void found_status();
    void found_reset();

    tamper_state state() const;
    /** Also puts an end to what was set by hand. False: the board has no such attribute. */
    bool change(const tamper_change& how);

private:
    void answer_read(request_ptr asked, const attribute_guard::go_on& show);
    void reset(const std::string& written);
    void take_over_locked(const std::string& text);
    void show_locked();

    board& board_;
    mutable std::mutex mutex_;
    tamper_state state_;
    bool by_hand_ = false; // a text that is no pair of words stands until change()
    bool shows_silent_ = false;
    std::optional<std::string> shown_; // what the attribute was last known to show; nothing: there is none
};

/** Gives a board its secure processor, before the board is filled. */
void know_secure_processor(board& known);

/** The board's; null: it was given none, or its attribute is not there. */
std::shared_ptr<secure_processor> secure_processor_of(const board& searched);

} // namespace kt::terminal
