/** The client's connection: lines out, answers in. */
#pragma once

#include "terminal/client/virtual_terminal.h"

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace kt::terminal {

/** Throws terminal_error when nobody is there, or nobody is any more. */
struct virtual_terminal::connection {
    explicit connection(const std::string& path);
    ~connection();
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;

    void send(std::string_view line) const;
    std::string receive();

    /** Sends a request; a refusal becomes a terminal_error. */
    nlohmann::ordered_json ask(const nlohmann::ordered_json& request);

private:
    int socket_;
    std::string buffer_; // received, not yet used
};

/** A request about a place. */
nlohmann::ordered_json request_about(const char* operation, std::string_view path);

} // namespace kt::terminal
