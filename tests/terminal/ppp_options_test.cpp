/** What the stand-in for pppd makes of its arguments and files. */
#include "terminal/standins/pppd_options.h"

#include <gtest/gtest.h>
#include <map>

using namespace kt::terminal;

namespace {

using files = std::map<std::string, std::string>;

pppd_options read(const std::vector<std::string>& arguments, const files& there = {})
{
    return read_pppd_options(arguments, "/etc/ppp", [&](const std::string& path) -> std::optional<std::string> {
        const auto found = there.find(path);
        return found == there.end() ? std::nullopt : std::optional(found->second);
    });
}

std::string refusal_of(const std::vector<std::string>& arguments, const files& there = {})
{
    try {
        (void)read(arguments, there);
    } catch (const option_error& wrong) {
        return wrong.what();
    }
    return "taken";
}

} // namespace

TEST(PppdOptions, APeerIsReadFromItsFile)
{
    const pppd_options made =
        read({"call", "net"}, {{"/etc/ppp/peers/net", "# the modem\n/dev/chn/3 460800\nconnect \"/bin/chat -f 'x y'\"\n"
                                                      "nodetach noauth usepeerdns\nuser 'a b' # who\n"
                                                      "ipparam kt\\ x\nlcp-echo-interval 30\nlcp-echo-failure 4\n"}});
    EXPECT_EQ(made.device, "/dev/chn/3");
    EXPECT_EQ(made.speed, 460800U);
    EXPECT_EQ(made.connect, "/bin/chat -f 'x y'");
    EXPECT_FALSE(made.detach);
    EXPECT_TRUE(made.wants_dns);
    EXPECT_EQ(made.user, "a b");
    EXPECT_EQ(made.ip_parameter, "kt x");
    EXPECT_EQ(made.echo_interval_s, 30);
    EXPECT_EQ(made.echo_failures, 4);
}

TEST(PppdOptions, TheGeneralFileComesFirstAndArgumentsWin)
{
    const files there = {{"/etc/ppp/options", "user card\nauth\ntty9\n"}, {"/etc/ppp/more", "noauth"}};
    const pppd_options made = read({"file", "/etc/ppp/more", "ttyS1", "9600", "10.0.0.1:10.0.0.2"}, there);
    EXPECT_EQ(made.user, "card");
    EXPECT_FALSE(made.authenticate_other);
    EXPECT_EQ(made.device, "/dev/ttyS1");
    EXPECT_EQ(made.own_address, 0x0A000001U);
    EXPECT_EQ(made.other_address, 0x0A000002U);
}

TEST(PppdOptions, WhatIsNotUnderstoodIsRefusedByName)
{
    EXPECT_EQ(refusal_of({"ttyS0", "nonsense"}), "unrecognized option 'nonsense'");
    EXPECT_EQ(refusal_of({"call", "x"}, {{"/etc/ppp/peers/x", "ttyS0 nonsense"}}),
              "In file /etc/ppp/peers/x: unrecognized option 'nonsense'");
    EXPECT_EQ(refusal_of({"call", "x"}), "Can't open options file /etc/ppp/peers/x");
    EXPECT_EQ(refusal_of({"ttyS0", "connect"}), "too few parameters for option connect");
    EXPECT_EQ(refusal_of({"call", "../x"}), "call option value may not contain .. or start with /");
    EXPECT_EQ(refusal_of({"call", "/x"}), "call option value may not contain .. or start with /");
    EXPECT_EQ(refusal_of({"nodetach"}), "no device specified and stdin is not a tty");
    EXPECT_EQ(refusal_of({"ttyS0", "1.2.3:4"}), "unrecognized option '1.2.3:4'");
    EXPECT_EQ(refusal_of({"call", "x"}, {{"/etc/ppp/peers/x", "call x"}}),
              "Too many options files, at /etc/ppp/peers/x");
}

TEST(PppdOptions, SecretsAreFoundByUser)
{
    // As the application writes them: a carriage return and an empty line at the end of each.
    const std::string secrets = "other\t*\tnot this\t*\r\n\ncard\t*\tgprs\t*\r\n\n";
    EXPECT_EQ(secret_for(secrets, "card", ""), "gprs");
    EXPECT_EQ(secret_for(secrets, "nobody", ""), std::nullopt);
    EXPECT_EQ(secret_for("* net pw\n", "anyone", "net"), "pw");
    EXPECT_EQ(secret_for("* net pw\n", "anyone", "other"), std::nullopt);
    EXPECT_EQ(secret_for("card * \"two words\"", "card", "net"), "two words");
    EXPECT_EQ(secret_for("card *", "card", "net"), std::nullopt);
}
