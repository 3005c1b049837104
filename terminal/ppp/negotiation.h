/** The option negotiation that LCP and IPCP share: who asks for what, and whether both have agreed. */
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/** The codes of the control protocols' packets. */
enum class ppp_code : std::uint8_t {
    configure_request = 1,
    configure_ack = 2,
    configure_nak = 3,
    configure_reject = 4,
    terminate_request = 5,
    terminate_ack = 6,
    code_reject = 7,
    protocol_reject = 8,
    echo_request = 9,
    echo_reply = 10,
    discard_request = 11,
};

/** A control packet in the information of a PPP packet. */
struct control_packet {
    std::uint8_t code = 0;
    std::uint8_t id = 0;
    std::string data;

    /** Nothing when the length does not fit; padding behind the packet is dropped. */
    static std::optional<control_packet> parse(std::string_view information);
    std::string bytes() const;
};

struct ppp_option {
    std::uint8_t type = 0;
    std::string value;

    bool operator==(const ppp_option&) const = default;
};

using ppp_options = std::vector<ppp_option>;

/** Nothing when a length does not fit. */
std::optional<ppp_options> parse_options(std::string_view data);
std::string option_bytes(const ppp_options& options);

/** How long to wait for an answer, and how often to ask. */
struct ppp_patience {
    std::chrono::milliseconds restart{3000};
    int most_requests = 10;
    int most_terminates = 2;
};

class negotiation {
public:
    using moment = std::chrono::steady_clock::time_point;

    /** The two ends' wishes; called by the negotiation. */
    class wishes {
    public:
        virtual ~wishes() = default;

        virtual ppp_options wanted() = 0; /**< What our next request says. */
        /** What is wrong with the other's request; puts better values into @p nak, options unknown into @p reject. */
        virtual void judge(const ppp_options& asked, ppp_options& nak, ppp_options& reject) = 0;
        virtual void use(const ppp_options& asked) = 0;         /**< The other's request was accepted. */
        virtual void heed(const ppp_options& better) = 0;       /**< The other naked some of our values. */
        virtual void give_up(const ppp_options& not_liked) = 0; /**< The other rejected some of our options. */
    };

    enum class state {
        idle,
        asking,
        open,
        closing, /**< We said that we end. */
        closed,
    };

    negotiation(wishes& ours, ppp_patience patience, std::function<void(const control_packet&)> send)
        : wishes_(ours), patience_(patience), send_(std::move(send))
    {
    }

    state now() const { return state_; }
    /** Closed because nobody answered, or because no agreement was found. */
    bool failed() const { return failed_; }
    /** Closed because the other end wanted it. */
    bool ended_by_other() const { return ended_by_other_; }

    void start(moment now);
    void close(moment now);
    /** Forgets everything, without a word. */
    void stop();
    /** False: the code is none of the negotiation's. */
    bool received(const control_packet& packet, moment now);
    void tick(moment now);
    std::optional<moment> deadline() const { return deadline_; }

private:
    void ask(moment now);
    void answer(const control_packet& request, moment now);
    void change_request(const control_packet& packet, moment now);
    void open_if_agreed();
    void end(bool failed);
    void say(ppp_code code, std::uint8_t id, std::string data = {});

    wishes& wishes_;
    const ppp_patience patience_;
    const std::function<void(const control_packet&)> send_;
    state state_ = state::idle;
    bool failed_ = false;
    bool ended_by_other_ = false;
    bool ours_agreed_ = false;
    bool theirs_agreed_ = false;
    std::uint8_t id_ = 0;
    int left_ = 0;     // requests without an answer
    int refusals_ = 0; // naks and rejects in a row
    std::string last_asked_;
    std::optional<moment> deadline_;
};

} // namespace kt::terminal
