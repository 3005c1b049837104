/** The kind "port" of profiles and of the control socket: its options. */
#include "terminal/ports/recorder.h"

#include "terminal/json/json.h"
#include "terminal/model/board.h"

#include <algorithm>
#include <stdexcept>

namespace kt::terminal {

namespace {

using json = nlohmann::ordered_json;

constexpr unsigned fastest = 4'000'000;

unsigned number_of(const std::string& key, const json& given, unsigned least, unsigned most)
{
    if (!given.is_number_unsigned() || given < least || given > most)
        throw std::invalid_argument("\"" + key + "\" must be a whole number from " + std::to_string(least) + " to " +
                                    std::to_string(most));
    return given.get<unsigned>();
}

/** The other end's framing; none when nothing of it is given. */
std::optional<framing> framing_in(const json& options)
{
    framing wanted;
    bool given = false;
    for (const auto& [key, value] : options.items()) {
        if (key == "kind")
            continue;
        given = true;
        if (key == "speed")
            wanted.speed = number_of(key, value, 1, fastest);
        else if (key == "data_bits")
            wanted.data_bits = number_of(key, value, 5, 8);
        else if (key == "stop_bits")
            wanted.stop_bits = number_of(key, value, 1, 2);
        else if (key != "parity")
            throw std::invalid_argument("\"" + key + "\" is no option of a port");
        else if (value != "N" && value != "E" && value != "O")
            throw std::invalid_argument("\"parity\" must be \"N\", \"E\" or \"O\"");
        else
            wanted.parity = value.get<std::string>()[0];
    }
    return given ? std::optional(wanted) : std::nullopt;
}

void make_port(board& on, const std::string& path, const std::string& options)
{
    if (!path.starts_with("/dev/"))
        throw std::invalid_argument("a port must lie below /dev");
    const json read = parsed_json(options, nullptr, false);
    if (!read.is_object())
        throw std::invalid_argument("a port's options must be an object");
    const auto other = framing_in(read);
    const auto made = std::make_shared<recorded_port>();
    made->wire()->set_far_framing(other);
    if (!on.put_device(path, made))
        throw std::invalid_argument(path + ": the place is taken");
}

} // namespace

void know_ports(board& known)
{
    known.set_device_maker("port", make_port);
}

} // namespace kt::terminal
