/** The peers there are: a network that speaks PPP, an echo, and nobody. */
#include "terminal/modem/data_peer.h"

#include "terminal/ppp/link.h"

#include <algorithm>
#include <optional>
#include <random>
#include <utility>

namespace kt::terminal {

namespace {

constexpr char first_flag = 0x7E;
constexpr std::chrono::milliseconds last_words{100}; // a hang-up overtakes what was not read

class echo_peer : public data_peer {
public:
    explicit echo_peer(call& over) : call_(over) {}
    void received(std::string_view bytes) override { call_.send(bytes); }

private:
    call& call_;
};

class silent_peer : public data_peer {
public:
    void received(std::string_view) override {}
};

/** The network's end of a PPP link. It waits for the terminal's first frame: what it said earlier would be lost. */
class ppp_peer : public data_peer {
public:
    ppp_peer(const modem_settings& settings, call& over)
        : settings_(settings),
          call_(over),
          link_(link_settings(settings), [this](std::string_view bytes) { call_.send(bytes); })
    {
    }

    void received(std::string_view bytes) override
    {
        if (link_.is_up() && !settings_.answers_echoes)
            return;
        const auto now = std::chrono::steady_clock::now();
        if (!started_ && bytes.find(first_flag) == std::string_view::npos)
            return; // a connect script's last words
        if (!std::exchange(started_, true))
            link_.start(now);
        link_.received(bytes, now);
        follow();
    }

    std::string user() const override { return link_.other_user(); }
    bool is_up() const override { return link_.is_up(); }

private:
    static ppp_settings link_settings(const modem_settings& modem)
    {
        ppp_settings made;
        made.magic = std::random_device{}();
        made.own_address = modem.own_address;
        made.given_address = modem.given_address;
        made.given_dns[0] = modem.dns[0];
        made.given_dns[1] = modem.dns[1];
        if (modem.asks_user)
            made.accepts = [&modem](const std::string& user, const std::string& password) {
                return (modem.user.empty() || modem.user == user) &&
                       (modem.password.empty() || modem.password == password);
            };
        return made;
    }

    /** Waits for what is due next; the call ends with the link. */
    void follow()
    {
        if (link_.is_over()) {
            if (!std::exchange(leaving_, true))
                call_.later(last_words, [this] { call_.hang_up(); });
            return;
        }
        const auto due = link_.deadline();
        if (!due || (waiting_ && *waiting_ <= *due))
            return;
        waiting_ = due;
        const auto delay = std::chrono::ceil<std::chrono::milliseconds>(*due - std::chrono::steady_clock::now());
        call_.later(std::max(delay, std::chrono::milliseconds(0)), [this] {
            waiting_.reset();
            link_.tick(std::chrono::steady_clock::now());
            follow();
        });
    }

    const modem_settings& settings_;
    call& call_;
    ppp_link link_;
    bool started_ = false;
    bool leaving_ = false;
    std::optional<ppp_link::moment> waiting_;
};

} // namespace

std::unique_ptr<data_peer> make_data_peer(const modem_settings& settings, data_peer::call& over)
{
    if (settings.peer == "echo")
        return std::make_unique<echo_peer>(over);
    if (settings.peer == "none")
        return std::make_unique<silent_peer>();
    return std::make_unique<ppp_peer>(settings, over);
}

} // namespace kt::terminal
