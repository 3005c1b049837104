/** From the words of a `ctl` command to the request that it stands for. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace kt::terminal {

/** The words make no command; the text says why. */
class usage_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** A whole number of at least 0; @p what is it called in the refusal. */
long long whole_number(const std::string& what, const std::string& text);

/** A command's words, options apart from operands. */
class ctl_words {
public:
    /** @p words are those behind the command. "--x" options take a value, but for flags, which are named in @p flags.
     */
    ctl_words(const std::vector<std::string>& words, const std::vector<std::string>& options,
              const std::vector<std::string>& flags);

    /** Refuses fewer or more operands. */
    const std::vector<std::string>& operands(std::size_t least, std::size_t most) const;
    bool has(const std::string& option) const;
    const std::string& value(const std::string& option) const;
    long long number(const std::string& option) const;

private:
    std::vector<std::string> operands_;
    std::vector<std::pair<std::string, std::string>> options_;
};

/** The request of a command that is one request: "get", "set", "fail" … An unknown command gives null. */
nlohmann::ordered_json ctl_request(const std::string& command, const std::vector<std::string>& words);

} // namespace kt::terminal
