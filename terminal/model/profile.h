/** A board's profile: what it has at start and what can be done to it, read from a file. */
#pragma once

#include "terminal/model/board.h"

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kt::terminal {

/** A profile cannot be read, or does not fit the board; the text names file and place. */
class profile_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The form of the files is told in boards/README.md. */
class profile {
public:
    /** What stands at the other end of a path of /dev is made by its kind (board::set_device_maker). */
    struct device {
        std::string kind;
        std::string options; /**< The device's JSON object. */
        std::string place;   /**< File and place, for messages. */
    };

    /** What is put, or (nothing) a place that is taken away with all below it. */
    struct changes {
        std::map<std::string, std::optional<attribute_state>, std::less<>> attributes;
        std::map<std::string, std::optional<device>, std::less<>> devices;
    };

    struct file {
        std::string bytes;
        std::uint32_t mode = 0644;
    };

    /** Reads the board @p board: a name in @p boards_folder ("500"), or (with a '/' or ending in ".json") a file. */
    static profile load(const std::string& board, const std::string& boards_folder);

    /** Name and description of every board in the folder; numbers first, in their order. */
    static std::vector<std::pair<std::string, std::string>> list(const std::string& boards_folder);

    const std::string& name() const { return name_; }
    const std::string& description() const { return description_; }

    /** The programs that the board's stand-ins lie over. */
    std::vector<std::string> programs() const;

    /** Puts it on a board, but for what belongs below /kt and /mnt/data. */
    void apply(board& target) const;

    /** Puts the rest below /kt and /mnt/data, once the board has them. What is there already stays as it is. */
    void fill_kept(board& target) const;

    /** Does @p verb to @p thing ("plug", "mains"). False: the profile knows no such action. */
    bool act(board& target, std::string_view verb, std::string_view thing) const;

    /** All actions, verb and thing, sorted. */
    std::vector<std::pair<std::string, std::string>> actions() const;

private:
    friend class profile_reader;

    void put(board& target, const changes& wanted, std::string_view reason) const;
    void put_attributes(board& target, const changes& wanted, std::string_view reason) const;
    void put_devices(board& target, const changes& wanted) const;
    void put_places(board& target, bool kept) const;

    std::string name_;
    std::string description_;
    changes at_start_;
    std::vector<std::string> folders_;
    std::vector<std::string> scripts_;
    std::map<std::string, std::string> links_;
    std::map<std::string, file> files_;
    std::map<std::string, program_answer> programs_;
    std::map<std::pair<std::string, std::string>, changes> actions_;
};

} // namespace kt::terminal
