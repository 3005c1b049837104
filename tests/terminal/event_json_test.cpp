/** Events in JSON: what is left out, what is kept byte for byte, and the way back. */
#include "terminal/control/event_text.h"
#include "terminal/json/json.h"
#include "terminal/model/errno_names.h"
#include "terminal/protocol/event_json.h"

#include <cerrno>
#include <gmock/gmock.h>

namespace {

using namespace kt::terminal;
using namespace std::string_literals;
using json = nlohmann::ordered_json;
using testing::ElementsAre;

TEST(EventJson, LeavesOutWhatTheEventDoesNotUse)
{
    event opened;
    opened.seq = 3;
    opened.time_s = 0.0123456789;
    opened.pid = opened.tid = 5;
    opened.kind = "open";
    opened.path = "/sys/a";
    opened.flags = "O_RDWR";
    EXPECT_EQ(event_line(opened), R"({"seq":3,"time":0.012346,"pid":5,"kind":"open","path":"/sys/a","flags":"O_RDWR"})"
                                  "\n");
}

TEST(EventJson, SaysZeroWhereZeroMeansSomething)
{
    event line;
    line.kind = "syslog";
    EXPECT_EQ(json_of(line).at("priority"), 0);
    EXPECT_EQ(json_of(line).at("data"), "");
    line.kind = "exit";
    EXPECT_EQ(json_of(line).at("result"), 0);
    line.kind = "wake";
    EXPECT_EQ(json_of(line).at("result"), 0);
    EXPECT_EQ(json_of(line).at("slept_ms"), 0);
    line.error = "EINTR"; // no event woke it
    EXPECT_FALSE(json_of(line).contains("result"));
}

TEST(EventJson, EveryFieldComesBack)
{
    event full;
    full.seq = 1ull << 40;
    full.time_s = 12.5;
    full.pid = 2;
    full.tid = 9;
    full.kind = "ioctl";
    full.path = "/dev/\xff";
    full.flags = "O_RDONLY|O_NONBLOCK";
    full.data = "a\0\xc3\n"s;
    full.size = 1164;
    full.offset = 4096;
    full.request = 0xC0044D01;
    full.priority = 3;
    full.result = -30;
    full.slept_ms = 1ull << 33;
    full.arguments = {"sh", "-c", "echo \xfe", "\xc3\xa9", ""};
    full.error = "EROFS";

    const event back = event_of(parsed_json(event_line(full)));

    EXPECT_EQ(back.seq, full.seq);
    EXPECT_EQ(back.time_s, full.time_s);
    EXPECT_EQ(back.pid, full.pid);
    EXPECT_EQ(back.tid, full.tid);
    EXPECT_EQ(back.kind, full.kind);
    EXPECT_EQ(back.path, full.path);
    EXPECT_EQ(back.flags, full.flags);
    EXPECT_EQ(back.data, full.data);
    EXPECT_EQ(back.size, full.size);
    EXPECT_EQ(back.offset, full.offset);
    EXPECT_EQ(back.request, full.request);
    EXPECT_EQ(back.priority, full.priority);
    EXPECT_EQ(back.result, full.result);
    EXPECT_EQ(back.slept_ms, full.slept_ms);
    EXPECT_EQ(back.arguments, full.arguments);
    EXPECT_EQ(back.error, full.error);
}

TEST(EventJson, BytesThatAreNoTextAreHexadecimal)
{
    event wrote;
    wrote.kind = "write";
    wrote.data = "\x00\xff"s;
    EXPECT_EQ(json_of(wrote).at("data_hex"), "00ff");
    wrote.data = "gr\xc3\xbc\xc3\x9f \"\\\n\0"s;
    EXPECT_EQ(json_of(wrote).at("data"), wrote.data);
}

TEST(EventJson, RefusesWhatIsNoEvent)
{
    EXPECT_ANY_THROW(event_of(parsed_json(R"({"data_hex":"0"})")));
    EXPECT_ANY_THROW(event_of(parsed_json(R"({"data_hex":"zz"})")));
    EXPECT_ANY_THROW(event_of(parsed_json(R"({"data":5})")));
    EXPECT_ANY_THROW(event_of(parsed_json(R"({"request":"12"})")));
    EXPECT_ANY_THROW(event_of(parsed_json(R"({"pid":"x"})")));
}

TEST(EventText, ShowsBytesAsEscapes)
{
    event wrote;
    wrote.seq = 1;
    wrote.time_s = 0.5;
    wrote.pid = 7;
    wrote.kind = "write";
    wrote.path = "/sys/a";
    wrote.data = "0x5\n\"\x01";
    wrote.error = "EINVAL";
    EXPECT_EQ(event_text(wrote), "     1    0.500000     7  write    /sys/a \"0x5\\n\\\"\\x01\" -> EINVAL");
}

TEST(EventText, TellsTheSleep)
{
    event line;
    line.pid = 2;
    line.kind = "sleep";
    line.data = "mem";
    EXPECT_EQ(event_text(line), "     0    0.000000     2  sleep    \"mem\"");
    line.kind = "wake";
    line.data.clear();
    line.result = 8;
    line.slept_ms = 30000;
    EXPECT_EQ(event_text(line), "     0    0.000000     2  wake     8 after 30000 ms");
    line.result = 0;
    line.error = "EINTR";
    EXPECT_EQ(event_text(line), "     0    0.000000     2  wake     after 30000 ms -> EINTR");
}

TEST(ErrnoNames, BothWays)
{
    for (const int error : {EPERM, EIO, EROFS, ENOSYS, ELOOP, ETIME, EDQUOT})
        EXPECT_EQ(errno_number(errno_name(error)), error);
    EXPECT_EQ(errno_number("EWOULDBLOCK"), EAGAIN);
    EXPECT_EQ(errno_number("EOPNOTSUPP"), EOPNOTSUPP);
    EXPECT_FALSE(errno_number("ENOTHING"));
    EXPECT_FALSE(errno_number("5"));
}

} // namespace
