/** What the stand-in for pppd is told: its arguments and files of options. */
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/** An option is wrong; the text is pppd's own sort of sentence. */
class option_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct pppd_options {
    std::string device; /**< With its folder. */
    unsigned speed = 0; /**< 0: as it is. */
    std::string connect;
    std::string disconnect;
    std::string user;
    std::string password;
    std::string remote_name;
    std::string ip_parameter;
    std::uint32_t own_address = 0;
    std::uint32_t other_address = 0;
    bool detach = true;
    bool authenticate_other = false;
    bool modem_lines = true; /**< "local": pays no heed to them. */
    bool hardware_flow = false;
    bool wants_dns = false;
    int echo_interval_s = 0;
    int echo_failures = 0;
    int lcp_restart_s = 3;
    int lcp_requests = 10;

    bool operator==(const pppd_options&) const = default;
};

/** Gives a file's bytes, or nothing when it cannot be read. */
using file_reader = std::function<std::optional<std::string>(const std::string& path)>;

/** The words of a file of options or secrets, line by line: blanks, quotes, backslashes and # as pppd has them. */
std::vector<std::vector<std::string>> option_lines(std::string_view text);

/** Reads FOLDER/options and then the arguments, in which "call NAME" is FOLDER/peers/NAME. Throws option_error. */
pppd_options read_pppd_options(const std::vector<std::string>& arguments, const std::string& folder,
                               const file_reader& read);

/** The password for a user in the text of a secrets file; nothing when there is none for them. */
std::optional<std::string> secret_for(std::string_view secrets, std::string_view user, std::string_view remote_name);

} // namespace kt::terminal
