// The one place where nlohmann's JSON is compiled.
#include "terminal/json/json.h"

template class nlohmann::basic_json<nlohmann::ordered_map>;
template class nlohmann::detail::serializer<nlohmann::ordered_json>;

namespace kt::terminal {

nlohmann::ordered_json parsed_json(std::string_view text, const json_filter& filter, bool throwing, bool comments)
{
    return nlohmann::ordered_json::parse(text, filter, throwing, comments);
}

} // namespace kt::terminal
