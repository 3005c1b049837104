/** Words, and the options they are. */
#include "terminal/standins/pppd_options.h"

#include "terminal/ppp/link.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

namespace kt::terminal {

namespace {

constexpr int most_files = 10; // a file may name files

bool is_blank(char each)
{
    return each == ' ' || (each >= '\t' && each <= '\r');
}

std::optional<unsigned> number_in(std::string_view word)
{
    unsigned value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc{} || end != word.data() + word.size())
        return std::nullopt;
    return value;
}

struct known_option {
    std::string_view name;
    int words; /**< Behind it. */
    void (*set)(pppd_options& options, const std::string& value);
};

void ignore(pppd_options&, const std::string&) {}

int count_in(const std::string& value)
{
    const auto number = number_in(value);
    if (!number || *number > 10'000)
        throw option_error("the number \"" + value + "\" is not understood");
    return static_cast<int>(*number);
}

/** Those that matter here, and those that a board's files may well have. */
constexpr known_option known_options[] = {
    {"connect", 1, [](pppd_options& o, const std::string& v) { o.connect = v; }},
    {"disconnect", 1, [](pppd_options& o, const std::string& v) { o.disconnect = v; }},
    {"user", 1, [](pppd_options& o, const std::string& v) { o.user = v; }},
    {"name", 1, [](pppd_options& o, const std::string& v) { o.user = v; }},
    {"password", 1, [](pppd_options& o, const std::string& v) { o.password = v; }},
    {"remotename", 1, [](pppd_options& o, const std::string& v) { o.remote_name = v; }},
    {"ipparam", 1, [](pppd_options& o, const std::string& v) { o.ip_parameter = v; }},
    {"nodetach", 0, [](pppd_options& o, const std::string&) { o.detach = false; }},
    {"-detach", 0, [](pppd_options& o, const std::string&) { o.detach = false; }},
    {"auth", 0, [](pppd_options& o, const std::string&) { o.authenticate_other = true; }},
    {"noauth", 0, [](pppd_options& o, const std::string&) { o.authenticate_other = false; }},
    {"modem", 0, [](pppd_options& o, const std::string&) { o.modem_lines = true; }},
    {"local", 0, [](pppd_options& o, const std::string&) { o.modem_lines = false; }},
    {"crtscts", 0, [](pppd_options& o, const std::string&) { o.hardware_flow = true; }},
    {"nocrtscts", 0, [](pppd_options& o, const std::string&) { o.hardware_flow = false; }},
    {"usepeerdns", 0, [](pppd_options& o, const std::string&) { o.wants_dns = true; }},
    {"lcp-echo-interval", 1, [](pppd_options& o, const std::string& v) { o.echo_interval_s = count_in(v); }},
    {"lcp-echo-failure", 1, [](pppd_options& o, const std::string& v) { o.echo_failures = count_in(v); }},
    {"lcp-restart", 1, [](pppd_options& o, const std::string& v) { o.lcp_restart_s = std::max(count_in(v), 1); }},
    {"lcp-max-configure", 1, [](pppd_options& o, const std::string& v) { o.lcp_requests = std::max(count_in(v), 1); }},
    // Without effect on a session that carries no packets.
    {"updetach", 0, ignore},
    {"debug", 0, ignore},
    {"nodebug", 0, ignore},
    {"lock", 0, ignore},
    {"nolock", 0, ignore},
    {"defaultroute", 0, ignore},
    {"nodefaultroute", 0, ignore},
    {"replacedefaultroute", 0, ignore},
    {"hide-password", 0, ignore},
    {"show-password", 0, ignore},
    {"noipdefault", 0, ignore},
    {"ipcp-accept-local", 0, ignore},
    {"ipcp-accept-remote", 0, ignore},
    {"persist", 0, ignore},
    {"nopersist", 0, ignore},
    {"passive", 0, ignore},
    {"silent", 0, ignore},
    {"noccp", 0, ignore},
    {"nobsdcomp", 0, ignore},
    {"nodeflate", 0, ignore},
    {"nopcomp", 0, ignore},
    {"noaccomp", 0, ignore},
    {"nomagic", 0, ignore},
    {"novj", 0, ignore},
    {"novjccomp", 0, ignore},
    {"noipx", 0, ignore},
    {"noipv6", 0, ignore},
    {"refuse-pap", 0, [](pppd_options& o, const std::string&) { o.user.clear(); }},
    {"refuse-chap", 0, ignore},
    {"refuse-mschap", 0, ignore},
    {"refuse-mschap-v2", 0, ignore},
    {"refuse-eap", 0, ignore},
    {"default-asyncmap", 0, ignore},
    {"nolog", 0, ignore},
    {"dump", 0, ignore},
    {"asyncmap", 1, ignore},
    {"mtu", 1, ignore},
    {"mru", 1, ignore},
    {"netmask", 1, ignore},
    {"escape", 1, ignore},
    {"holdoff", 1, ignore},
    {"maxfail", 1, ignore},
    {"idle", 1, ignore},
    {"unit", 1, ignore},
    {"linkname", 1, ignore},
    {"logfd", 1, ignore},
    {"logfile", 1, ignore},
    {"kdebug", 1, ignore},
    {"lcp-max-terminate", 1, ignore},
    {"lcp-max-failure", 1, ignore},
    {"ipcp-restart", 1, ignore},
    {"ipcp-max-configure", 1, ignore},
    {"ipcp-max-failure", 1, ignore},
    {"pap-restart", 1, ignore},
    {"pap-max-authreq", 1, ignore},
    {"ms-dns", 1, ignore},
};

class option_reader {
public:
    option_reader(const std::string& folder, const file_reader& read) : folder_(folder), read_(read) {}

    void words(const std::vector<std::string>& all, const std::string& place)
    {
        for (std::size_t at = 0; at < all.size(); ++at) {
            const std::string& word = all[at];
            const auto known = std::find_if(std::begin(known_options), std::end(known_options),
                                            [&](const known_option& each) { return each.name == word; });
            const bool names_file = word == "call" || word == "file";
            if (known == std::end(known_options) && !names_file) {
                bare(word, place);
                continue;
            }
            const bool wants_value = names_file || known->words == 1;
            if (wants_value && at + 1 == all.size())
                throw option_error(place + "too few parameters for option " + word);
            const std::string value = wants_value ? all[++at] : "";
            if (names_file)
                file(word == "call" ? peer(value) : value, true);
            else
                known->set(made, value);
        }
    }

    void file(const std::string& path, bool needed)
    {
        const auto text = read_(path);
        if (!text && needed)
            throw option_error("Can't open options file " + path);
        if (++files_ > most_files)
            throw option_error("Too many options files, at " + path);
        std::vector<std::string> all;
        for (const auto& line : option_lines(text.value_or("")))
            all.insert(all.end(), line.begin(), line.end());
        words(all, "In file " + path + ": ");
    }

    pppd_options made;

private:
    /** What stands without a name: the device, its speed, or the addresses. */
    void bare(const std::string& word, const std::string& place)
    {
        if (const auto speed = number_in(word)) {
            made.speed = *speed;
        } else if (word.starts_with("/dev/") || word.starts_with("tty")) {
            made.device = word.starts_with('/') ? word : "/dev/" + word;
        } else if (const std::size_t colon = word.find(':'); colon != std::string::npos) {
            made.own_address = address(word.substr(0, colon), word);
            made.other_address = address(word.substr(colon + 1), word);
        } else {
            throw option_error(place + "unrecognized option '" + word + "'");
        }
    }

    static std::uint32_t address(const std::string& text, const std::string& word)
    {
        const auto parsed = text.empty() ? std::optional<std::uint32_t>(0) : parse_address(text);
        if (!parsed)
            throw option_error("unrecognized option '" + word + "'");
        return *parsed;
    }

    std::string peer(const std::string& name) const
    {
        if (name.empty() || name[0] == '/' || name == ".." || name.starts_with("../") ||
            name.find("/../") != std::string::npos || name.ends_with("/.."))
            throw option_error("call option value may not contain .. or start with /");
        return folder_ + "/peers/" + name;
    }

    const std::string& folder_;
    const file_reader& read_;
    int files_ = 0;
};

} // namespace

std::vector<std::vector<std::string>> option_lines(std::string_view text)
{
    std::vector<std::vector<std::string>> lines(1);
    std::string word;
    bool in_word = false;
    bool comment = false;
    char quote = '\0';
    const auto end_word = [&] {
        if (in_word)
            lines.back().push_back(std::exchange(word, {}));
        in_word = false;
    };
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char each = text[at];
        if (comment && each != '\n')
            continue;
        if (each == '\\' && at + 1 < text.size()) {
            const char next = text[++at];
            if (next == '\n') // the line goes on
                continue;
            in_word = true;
            word += next == 'n' ? '\n' : next == 't' ? '\t' : next == 'r' ? '\r' : next;
        } else if (quote != '\0') {
            if (each == quote)
                quote = '\0';
            else
                word += each;
        } else if (each == '"' || each == '\'') {
            quote = each;
            in_word = true;
        } else if (each == '\n') {
            end_word();
            comment = false;
            lines.emplace_back();
        } else if (is_blank(each)) {
            end_word();
        } else if (each == '#' && !in_word) {
            comment = true;
        } else {
            in_word = true;
            word += each;
        }
    }
    end_word();
    std::erase_if(lines, [](const auto& line) { return line.empty(); });
    return lines;
}

pppd_options read_pppd_options(const std::vector<std::string>& arguments, const std::string& folder,
                               const file_reader& read)
{
    option_reader reader(folder, read);
    reader.file(folder + "/options", false);
    reader.words(arguments, "");
    if (reader.made.device.empty())
        throw option_error("no device specified and stdin is not a tty");
    return reader.made;
}

std::optional<std::string> secret_for(std::string_view secrets, std::string_view user, std::string_view remote_name)
{
    for (const auto& line : option_lines(secrets)) {
        if (line.size() < 3)
            continue;
        const bool for_user = line[0] == "*" || line[0] == user;
        const bool for_remote = line[1] == "*" || remote_name.empty() || line[1] == remote_name;
        if (for_user && for_remote)
            return line[2];
    }
    return std::nullopt;
}

} // namespace kt::terminal
