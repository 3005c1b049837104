/**
 * nlohmann's JSON, compiled once: its templates are the dearest part of the terminal's build, and of its sanitized
 * build above all. Include this instead of <nlohmann/json.hpp>, and read texts with parsed_json() instead of
 * json::parse(), which would compile a parser of its own into each source.
 */
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string_view>

// Defined in json.cpp.
extern template class nlohmann::basic_json<nlohmann::ordered_map>;
extern template class nlohmann::detail::serializer<nlohmann::ordered_json>;

namespace kt::terminal {

/** As nlohmann's callback: which parts of a text are kept. */
using json_filter = std::function<bool(int depth, nlohmann::ordered_json::parse_event_t, nlohmann::ordered_json& part)>;

/** As nlohmann's parse(): throws its parse_error for what is no JSON, or (not @p throwing) gives a discarded value. */
nlohmann::ordered_json parsed_json(std::string_view text, const json_filter& filter = nullptr, bool throwing = true,
                                   bool comments = false);

} // namespace kt::terminal
