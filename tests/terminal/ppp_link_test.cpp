/** Two ends of a PPP link on a line of the test's own, under a clock of the test's own. */
#include "terminal/ppp/link.h"
#include "terminal/ppp/number_bytes.h"

#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <string>

using namespace kt::terminal;
using namespace std::chrono_literals;

namespace {

ppp_settings network_settings()
{
    ppp_settings made;
    made.magic = 0x11111111;
    made.own_address = 0x0A400001;
    made.given_address = 0x0A400002;
    made.given_dns[0] = 0x0A400035;
    made.given_dns[1] = 0x0A400036;
    return made;
}

ppp_settings terminal_settings()
{
    ppp_settings made;
    made.magic = 0x22222222;
    made.wants_dns = true;
    return made;
}

/** Both ends, and the bytes on their way. */
class pair {
public:
    explicit pair(ppp_settings near_end = terminal_settings(), ppp_settings far_end = network_settings())
        : near(std::move(near_end), [this](std::string_view bytes) { to_far.emplace_back(bytes); }),
          far(std::move(far_end), [this](std::string_view bytes) { to_near.emplace_back(bytes); })
    {
    }

    void start()
    {
        near.start(now);
        far.start(now);
        settle();
    }

    /** Carries everything until nobody says anything more. */
    void settle()
    {
        while (!to_far.empty() || !to_near.empty()) {
            carry(to_far, far, to_far_lost);
            carry(to_near, near, to_near_lost);
        }
    }

    /** Lets time pass, in steps of what is due. */
    void pass(std::chrono::milliseconds time)
    {
        const auto end = now + time;
        for (;;) {
            auto next = end;
            for (const ppp_link* each : {&near, &far})
                if (const auto due = each->deadline(); due && *due < next)
                    next = *due;
            now = std::max(now, next);
            near.tick(now);
            far.tick(now);
            settle();
            if (now >= end)
                return;
        }
    }

    ppp_link near;
    ppp_link far;
    ppp_link::moment now{};
    std::deque<std::string> to_far;
    std::deque<std::string> to_near;
    int to_far_lost = 0; // so many of the next frames get lost
    int to_near_lost = 0;

private:
    void carry(std::deque<std::string>& way, ppp_link& to, int& lost)
    {
        if (way.empty())
            return;
        const std::string frame = way.front();
        way.pop_front();
        if (lost > 0)
            --lost;
        else
            to.received(frame, now);
    }
};

} // namespace

TEST(PppLink, ComesUpWithTheNetworksAddresses)
{
    pair link;
    link.start();
    ASSERT_TRUE(link.near.is_up());
    ASSERT_TRUE(link.far.is_up());
    EXPECT_EQ(address_text(link.near.own_address()), "10.64.0.2");
    EXPECT_EQ(address_text(link.near.other_address()), "10.64.0.1");
    EXPECT_EQ(address_text(link.far.other_address()), "10.64.0.2");
    EXPECT_EQ(address_text(link.near.dns(0)), "10.64.0.53");
    EXPECT_EQ(address_text(link.near.dns(1)), "10.64.0.54");
}

TEST(PppLink, ComesUpWhicheverFramesGetLost)
{
    for (int lost_to_far = 0; lost_to_far < 8; ++lost_to_far) {
        for (int lost_to_near = 0; lost_to_near < 8; ++lost_to_near) {
            pair link;
            link.to_far_lost = lost_to_far;
            link.to_near_lost = lost_to_near;
            link.start();
            link.pass(29s); // ten requests, 3 s apart
            EXPECT_TRUE(link.near.is_up()) << lost_to_far << " " << lost_to_near;
            EXPECT_TRUE(link.far.is_up()) << lost_to_far << " " << lost_to_near;
        }
    }
}

TEST(PppLink, NobodyThereIsNoticedAfterTenRequests)
{
    pair link;
    link.to_far_lost = 1000;
    link.near.start(link.now);
    link.settle();
    link.pass(29s);
    EXPECT_FALSE(link.near.is_over());
    EXPECT_EQ(link.to_far_lost, 990);
    link.pass(2s);
    EXPECT_TRUE(link.near.is_over());
    EXPECT_EQ(link.near.ending(), ppp_end::no_agreement);
    EXPECT_EQ(link.to_far_lost, 990);
}

TEST(PppLink, NameAndPasswordAreGivenWhenAsked)
{
    ppp_settings near = terminal_settings();
    near.user = "card";
    near.password = "gprs \xFF";
    ppp_settings far = network_settings();
    std::string heard;
    far.accepts = [&](const std::string& user, const std::string& password) {
        heard += user + "/" + password;
        return true;
    };
    pair link(near, far);
    link.start();
    EXPECT_TRUE(link.near.is_up());
    EXPECT_EQ(heard, "card/gprs \xFF");
    EXPECT_EQ(link.far.other_user(), "card");
}

TEST(PppLink, AWrongPasswordEndsIt)
{
    ppp_settings near = terminal_settings();
    near.user = "card";
    ppp_settings far = network_settings();
    far.accepts = [](const std::string&, const std::string& password) { return password == "right"; };
    pair link(near, far);
    link.start();
    EXPECT_TRUE(link.near.is_over());
    EXPECT_EQ(link.near.ending(), ppp_end::not_accepted);
    EXPECT_TRUE(link.far.is_over());
    EXPECT_EQ(link.far.ending(), ppp_end::other_refused);
}

TEST(PppLink, WhoHasNoNameIsNotLetIn)
{
    ppp_settings far = network_settings();
    far.accepts = [](const std::string&, const std::string&) { return true; };
    pair link(terminal_settings(), far);
    link.start();
    EXPECT_FALSE(link.near.is_up());
    EXPECT_EQ(link.far.ending(), ppp_end::other_refused);
    EXPECT_EQ(link.near.ending(), ppp_end::closed_by_other);
}

TEST(PppLink, ClosingEndsBothEnds)
{
    pair link;
    link.start();
    link.near.close(link.now);
    EXPECT_FALSE(link.near.is_over()); // the other has not agreed yet
    link.settle();
    EXPECT_TRUE(link.near.is_over());
    EXPECT_EQ(link.near.ending(), ppp_end::closed);
    EXPECT_TRUE(link.far.is_over());
    EXPECT_EQ(link.far.ending(), ppp_end::closed_by_other);
    EXPECT_FALSE(link.near.deadline());
    EXPECT_FALSE(link.far.deadline());
}

TEST(PppLink, ClosingOnADeadLineIsOverAfterTwoRequests)
{
    pair link;
    link.start();
    link.to_far_lost = 100;
    link.near.close(link.now);
    link.settle();
    link.pass(5900ms);
    EXPECT_FALSE(link.near.is_over());
    link.pass(200ms);
    EXPECT_TRUE(link.near.is_over());
    EXPECT_EQ(link.to_far_lost, 98);
    EXPECT_EQ(link.near.ending(), ppp_end::closed);
}

TEST(PppLink, MissingEchoesEndIt)
{
    ppp_settings near = terminal_settings();
    near.echo_interval = 10s;
    near.echo_failures = 3;
    pair link(near, network_settings());
    link.start();
    link.pass(10min);
    EXPECT_TRUE(link.near.is_up()) << "answered echoes keep it";
    link.to_far_lost = 1000;
    link.pass(29s);
    EXPECT_TRUE(link.near.is_up());
    link.pass(20s);
    EXPECT_TRUE(link.near.is_over());
    EXPECT_EQ(link.near.ending(), ppp_end::no_echo);
}

TEST(PppLink, ALoopIsKnownByItsOwnNumber)
{
    std::deque<std::string> back;
    ppp_link alone(terminal_settings(), [&](std::string_view bytes) { back.emplace_back(bytes); });
    ppp_link::moment now{};
    alone.start(now);
    for (int round = 0; round < 1000 && !alone.is_over(); ++round) {
        if (back.empty()) {
            now += 3s;
            alone.tick(now);
            continue;
        }
        const std::string frame = back.front();
        back.pop_front();
        alone.received(frame, now);
    }
    EXPECT_TRUE(alone.is_over());
    EXPECT_EQ(alone.ending(), ppp_end::loop);
}

TEST(PppLink, AnEndThatBeginsAnewIsFollowed)
{
    pair link;
    link.start();
    link.near.start(link.now);
    link.settle();
    link.pass(10s);
    EXPECT_TRUE(link.near.is_up());
    EXPECT_TRUE(link.far.is_up());
}

TEST(PppLink, UnknownProtocolsAndCodesAreRefusedByName)
{
    std::string said;
    ppp_link near(terminal_settings(), [&](std::string_view bytes) { said += bytes; });
    ppp_link far(network_settings(), [&](std::string_view bytes) { near.received(bytes, {}); });
    near.start({});
    for (int round = 0; round < 20; ++round) {
        const std::string now_said = std::exchange(said, {});
        if (round == 0)
            far.start({});
        far.received(now_said, {});
    }
    ASSERT_TRUE(near.is_up());
    said.clear();
    near.received(hdlc_frame({0x80FD, "compress me"}), {});
    hdlc_reader reader;
    std::vector<ppp_packet> answer = reader.feed(said);
    ASSERT_EQ(answer.size(), 1U);
    EXPECT_EQ(answer[0].protocol, 0xC021);
    EXPECT_EQ(answer[0].information[0], 8);
    EXPECT_EQ(answer[0].information.substr(4), "\x80\xFD"
                                               "compress me");

    said.clear();
    const std::string odd("\x63\x07\x00\x05\x2A", 5);
    near.received(hdlc_frame({0xC021, odd}), {});
    answer = reader.feed(said);
    ASSERT_EQ(answer.size(), 1U);
    EXPECT_EQ(answer[0].information[0], 7);
    EXPECT_EQ(answer[0].information.substr(4), odd);

    said.clear();
    near.received(hdlc_frame({0xC021, std::string("\x09\x21\x00\x0C\0\0\0\0ping", 12)}), {});
    answer = reader.feed(said);
    ASSERT_EQ(answer.size(), 1U);
    EXPECT_EQ(answer[0].information, std::string("\x0A\x21\x00\x0C\x22\x22\x22\x22ping", 12));
}

TEST(PppLink, RubbishIsSurvived)
{
    pair link;
    link.start();
    for (const std::string& rubbish :
         {std::string(), std::string("\x01"), std::string("\x01\x01\x00\x03", 4), std::string("\x01\x01\xFF\xFF", 4),
          std::string("\x01\x01\x00\x06\x03\x01", 6), std::string("\x01\x01\x00\x06\x03\xFF", 6)})
        for (const unsigned protocol : {0xC021u, 0xC023u, 0x8021u, 0x0021u})
            link.near.received(hdlc_frame({static_cast<std::uint16_t>(protocol), rubbish}), link.now);
    link.settle();
    EXPECT_TRUE(link.near.is_up());
}

TEST(PppAddresses, TextsAndNumbers)
{
    EXPECT_EQ(parse_address("10.64.0.2"), 0x0A400002U);
    EXPECT_EQ(parse_address("255.255.255.255"), 0xFFFFFFFFU);
    for (const char* wrong : {"", "1.2.3", "1.2.3.4.", "1.2.3.256", "1.2.3.-4", " 1.2.3.4", "1..2.3", "a.b.c.d"})
        EXPECT_FALSE(parse_address(wrong)) << wrong;
    EXPECT_EQ(address_text(0xC0A80001), "192.168.0.1");
}
