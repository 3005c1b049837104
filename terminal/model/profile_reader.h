/** Reads the file of a profile, and those that it is like, into one profile. */
#pragma once

#include "terminal/model/profile.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace kt::terminal {

class profile_reader {
public:
    profile_reader(profile& read, const std::string& boards_folder) : profile_(read), boards_folder_(boards_folder) {}

    /** Lays the file @p path, and before it the one it is like, over what the profile has so far. */
    void lay(const std::string& path, int depth = 0);

    /** The file of a board that is named in a command or in "like"; relative paths start at @p folder. */
    std::string file_of(const std::string& board, const std::string& folder) const;

private:
    using json = nlohmann::ordered_json;

    // The sections; @p place says where in the file they stand.
    void attributes(const json& section, const std::string& place, std::uint32_t mode, profile::changes& into);
    void devices(const json& section, const std::string& place, profile::changes& into);
    void folders(const json& section, const std::string& place, std::vector<std::string>& into);
    void links(const json& section, const std::string& place);
    void files(const json& section, const std::string& place);
    void programs(const json& section, const std::string& place);
    void actions(const json& section, const std::string& place);
    void action(const json& section, const std::string& place, profile::changes& into);

    // Single values.
    attribute_state attribute(const json& value, const std::string& place, std::uint32_t mode);
    program_answer program(const json& value, const std::string& place);
    std::string text(const json& value, const std::string& place);
    std::uint32_t permissions(const json& value, const std::string& place);
    const json& object(const json& value, const std::string& place);
    std::string path(const std::string& path, const std::string& place);

    [[noreturn]] void refuse(const std::string& place, const std::string& reason) const;

    profile& profile_;
    const std::string boards_folder_;
    std::string file_; // being read, for the messages
};

} // namespace kt::terminal
