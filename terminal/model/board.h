/** The virtual board: a tree of nodes, the journal and the failure rules; all its other side is reached from here. */
#pragma once

#include "terminal/model/board_clock.h"
#include "terminal/model/faults.h"
#include "terminal/model/journal.h"
#include "terminal/model/request.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

class node;
class directory;

/** What woke the board: the number that the attribute kt_pm_event shows then. */
namespace wake_source {
inline constexpr int power_key = 1;
inline constexpr int keypad = 2;
inline constexpr int timer = 8;  /**< The board's wake-up timer, wakeup_msec. */
inline constexpr int other = 16; /**< Any other, such as the charger or a person's command. */
inline constexpr int wifi = 32;  /**< The Wi-Fi module. */
} // namespace wake_source

/** How an attribute takes what is written to it. */
enum class attribute_kind {
    text,    /**< Keeps the bytes as written. */
    integer, /**< Takes a number as drivers do (kstrtoll: base by prefix, one line feed), else EINVAL; shows "%d\n". */
};

/** One attribute file of the kernel. */
struct attribute_state {
    std::string text;          /**< What a read shows, the line feed included. */
    std::uint32_t mode = 0644; /**< Permission bits. */
    attribute_kind kind = attribute_kind::text;
};

/**
 * What stands before an attribute whose driver does more than keep a text. Each is called without locks when a program
 * reads (from the start) or writes, and ends with exactly one of: the request failed, counted or answered, or @p go_on
 * called with it, which shows or stores as for any attribute. Before or after that it may change the attribute by
 * put_attribute(). It may keep the request and end it later, from any thread.
 */
struct attribute_guard {
    using go_on = std::function<void(request_ptr)>;
    std::function<void(request_ptr asked, go_on show)> read{};
    std::function<void(request_ptr asked, const std::string& written, go_on store)> write{};
};

/** What a stand-in program does when the program runs it. */
struct program_answer {
    int status = 0;     /**< Exit status. */
    std::string output; /**< Printed on standard output first. */
    std::string run;    /**< If set: this program is run instead, with the same arguments. */
    std::string power;  /**< "restart" or "off": the board goes down; else empty. */
};

/** Threads: any. Paths are absolute and as the program sees them; they lie below /sys, /dev, /proc, /kt, /mnt/data or
 * /run. */
class board {
public:
    board();
    ~board();
    board(const board&) = delete;
    board& operator=(const board&) = delete;

    journal& events() { return journal_; }
    faults& failures() { return faults_; }
    board_clock& clock() { return clock_; }

    /** Something happened for which a sleeping board wakes up: input, the radio, a timer. @p source is a wake_source.
     */
    void wake(int source) const;
    /** Who is told of it, from any thread and without locks; may be called a last time just after it was replaced. */
    void set_wake_listener(std::function<void(int source)> listener);

    /** Makes or changes an attribute, its folders included. False: the place is taken by something else. */
    bool put_attribute(std::string_view path, attribute_state state);

    /** An attribute as it stands; nothing when there is none. */
    std::optional<attribute_state> attribute(std::string_view path) const;

    /** Called after a program wrote to the attribute, with the new text. False: no such attribute. */
    bool watch_attribute(std::string_view path, std::function<void(const std::string& text)> written) const;

    /** Changes what an attribute shows and nothing else of it: a device's own news, of which no follower is told.
     * False: no such attribute. */
    bool put_text(std::string_view path, std::string text) const;

    /**
     * Called, without locks, after the other side put this attribute or took it away, so that a device finds it again.
     * For good, so it may not own what ends before the board. Given before the board is filled.
     */
    void follow_attribute(std::string path, std::function<void()> changed);

    /** Puts a guard before an attribute; its guard goes with it when it is removed. False: no such attribute. */
    bool guard_attribute(std::string_view path, attribute_guard guard) const;

    /** Makes an empty folder and those above it. */
    bool put_directory(std::string_view path);

    /** Makes a symbolic link. */
    bool put_link(std::string_view path, std::string target);

    /** Makes or replaces an ordinary file: stored below /kt and /mnt/data, kept in memory elsewhere. */
    bool put_file(std::string_view path, std::string_view bytes, std::uint32_t mode);

    /** An ordinary file's bytes. */
    std::optional<std::string> file(std::string_view path) const;

    /** Puts a device's node at a place. False: the place is taken by a folder, or cannot be made. */
    bool put_device(std::string_view path, std::shared_ptr<node> device);

    /**
     * Makes what a profile calls a device: @p options is its JSON object as a text, "kind" included. Throws
     * std::invalid_argument with a sentence when the options do not fit.
     */
    using device_maker = std::function<void(board&, const std::string& path, const std::string& options)>;

    /** Makes devices of a kind ("port") known to profiles and the other side. */
    void set_device_maker(std::string kind, device_maker maker);

    /** Makes a device by its kind's maker. False: the kind is not known. */
    bool make_device(const std::string& kind, const std::string& path, const std::string& options);

    /** Takes a place off the board, with all below it. */
    bool remove(std::string_view path);

    /** The names in a folder, sorted; nothing when it is no folder. */
    std::optional<std::vector<std::string>> list(std::string_view path) const;

    /** Sets what a stand-in program does. */
    void set_program(std::string name, program_answer answer);

    /** What a stand-in program does; an unknown one exits with 0. */
    program_answer program(std::string_view name) const;

    /** All stand-in programs that the board knows, sorted. */
    std::vector<std::string> programs() const;

    /** Gives the folder (an open directory, owned from now on) in which /kt and /mnt/data are kept. Before any put_file
        there. False: it cannot be used, errno says why. */
    bool keep_state_in(int directory_fd);

    /** The node of a path, for the file system. */
    std::shared_ptr<node> find(std::string_view path) const;
    const std::shared_ptr<directory>& root() const { return root_; }

    /** Held around every use of the tree's nodes. */
    std::mutex& tree_mutex() const { return tree_mutex_; }

    /** Called, without the lock, after the other side took a folder off the board. */
    void set_vanished(std::function<void(std::uint64_t folder, const std::string& name)> vanished);

private:
    std::shared_ptr<node> find_locked(std::string_view path) const;
    bool put_attribute_locked(std::string_view path, attribute_state state);
    void tell_followers(std::string_view path) const;
    std::shared_ptr<node> make_folders(std::string_view path, std::string& last);

    /** What a new node may take the place of: only a device may replace one, others are unplugged first. */
    enum class over { files, devices };
    bool put_node(std::string_view path, std::shared_ptr<node> made, over allowed = over::files);

    mutable std::mutex tree_mutex_;
    std::function<void(std::uint64_t, const std::string&)> vanished_;
    mutable std::mutex programs_mutex_;
    std::map<std::string, program_answer, std::less<>> programs_;
    std::map<std::string, device_maker, std::less<>> device_makers_;           // set before the board is filled
    std::multimap<std::string, std::function<void()>, std::less<>> followers_; // set before the board is filled
    journal journal_;
    faults faults_;
    board_clock clock_;
    mutable std::mutex wake_mutex_;
    std::function<void(int)> wake_listener_;
    std::shared_ptr<directory> root_;
};

} // namespace kt::terminal
