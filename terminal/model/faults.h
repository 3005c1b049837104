/** Rules that make an access fail, wait or hang. */
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/** What a program can do to a place of the board. */
enum class access { lookup, open, read, write, ioctl, create, remove, run };

/** "lookup", "open" …; nothing for an unknown word. */
std::optional<access> access_named(std::string_view word);
std::string_view name_of(access kind);

/** One rule. Delay comes first, then the hang, then the error; without an error the access then goes through. */
struct fault {
    std::string
        path; /**< Exact, or a shell pattern (fnmatch); for access::run the stand-in's name, such as "reboot". */
    access on = access::open;
    int error = 0; /**< errno value, 0: none. */
    std::chrono::milliseconds delay{0};
    bool hang = false; /**< Waits until a signal ends the call (EINTR) or the rule is taken back. */
    int skip = 0;      /**< Lets this many accesses pass first. */
    int times = 0;     /**< Then acts this often; 0: for good. */
};

/** What to do with one access. */
struct verdict {
    int error = 0;
    std::chrono::milliseconds delay{0};
    bool hang = false;
    int rule = 0; /**< The rule's number, for rules taken back while an access hangs. */
};

/** Threads: any. */
class faults {
public:
    /** Adds a rule and returns its number; rules are tried in the order they were added, the first that acts decides.
     */
    int add(fault rule);

    /** Takes a rule back; what hangs on it goes on. False: there is none. */
    bool remove(int rule);

    /** Takes all rules back. */
    void clear();

    /** The verdict on an access that happens now; counts it. Nothing: let it through. */
    std::optional<verdict> next(std::string_view path, access on);

    /** True while @p rule has not been taken back. */
    bool stands(int rule) const;

    /** Called, without the lock, after rules were taken back. */
    void set_released(std::function<void()> released);

private:
    struct entry {
        int number;
        fault rule;
        int seen = 0;
    };

    mutable std::mutex mutex_;
    std::vector<entry> entries_;
    int last_number_ = 0;
    std::function<void()> released_;
};

} // namespace kt::terminal
