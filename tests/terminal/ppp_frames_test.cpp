/** PPP frames: the check sequence against a bitwise one, escapes, and what a noisy line does to them. */
#include "terminal/ppp/fcs16.h"
#include "terminal/ppp/hdlc.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

using namespace kt::terminal;

namespace {

/** The polynomial's division, bit by bit, as the standard draws it. */
std::uint16_t bitwise_fcs(const std::string& bytes)
{
    unsigned remainder = 0xFFFF;
    for (const char byte : bytes) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            const unsigned in = (static_cast<unsigned char>(byte) >> bit) & 1;
            const unsigned out = remainder & 1;
            remainder >>= 1;
            if (in != out)
                remainder ^= 0x8408;
        }
    }
    return static_cast<std::uint16_t>(remainder);
}

std::string random_bytes(std::mt19937& source, std::size_t size)
{
    std::string bytes(size, '\0');
    for (char& each : bytes)
        each = static_cast<char>(source());
    return bytes;
}

} // namespace

TEST(PppFrames, TheCheckSequenceIsThatOfTheStandard)
{
    EXPECT_EQ(static_cast<std::uint16_t>(~fcs16("123456789")), 0x906E); // the catalogue's check value
    std::mt19937 source(1);
    for (std::size_t size = 0; size < 300; ++size) {
        const std::string bytes = random_bytes(source, size);
        EXPECT_EQ(fcs16(bytes), bitwise_fcs(bytes)) << size;
    }
}

TEST(PppFrames, AWholeFrameLeavesTheGoodRemainder)
{
    const unsigned check = ~unsigned{bitwise_fcs("abc")};
    const std::string whole = std::string("abc") + static_cast<char>(check & 0xFF) + static_cast<char>(check >> 8);
    EXPECT_EQ(fcs16(whole), fcs16_good);
}

TEST(PppFrames, AKnownFrame)
{
    // Terminate-Request, number 5: FF 03 C0 21 05 05 00 04, its check sequence computed bit by bit.
    const std::string plain("\xFF\x03\xC0\x21\x05\x05\x00\x04", 8);
    const unsigned check = ~unsigned{bitwise_fcs(plain)};
    std::string expected("\x7E\xFF\x7D\x23\xC0\x21\x7D\x25\x7D\x25\x7D\x20\x7D\x24", 14);
    for (const unsigned byte : {check & 0xFF, (check >> 8) & 0xFF}) {
        if (byte < 0x20 || byte == 0x7D || byte == 0x7E)
            expected += {'\x7D', static_cast<char>(byte ^ 0x20)};
        else
            expected += static_cast<char>(byte);
    }
    expected += '\x7E';
    EXPECT_EQ(hdlc_frame({0xC021, std::string("\x05\x05\x00\x04", 4)}), expected);
}

TEST(PppFrames, AnyPacketComesThroughInAnyPieces)
{
    std::mt19937 source(2);
    hdlc_reader reader;
    for (std::size_t size = 0; size < 1600; size += 7) {
        const ppp_packet packet{0x0021, random_bytes(source, size)};
        const std::string frame = hdlc_frame(packet);
        for (std::size_t at = 1; at + 1 < frame.size(); ++at) {
            EXPECT_NE(frame[at], '\x7E');
            EXPECT_GE(static_cast<unsigned char>(frame[at]), 0x20);
        }
        std::vector<ppp_packet> came;
        for (std::size_t at = 0; at < frame.size();) {
            const std::size_t part = 1 + source() % 40;
            for (auto& each : reader.feed(std::string_view(frame).substr(at, part)))
                came.push_back(std::move(each));
            at += part;
        }
        ASSERT_EQ(came, std::vector<ppp_packet>{packet}) << size;
    }
    EXPECT_EQ(reader.dropped(), 0U);
}

TEST(PppFrames, EverySingleBitErrorIsFound)
{
    const std::string frame = hdlc_frame({0x8021, "addresses"});
    for (std::size_t at = 1; at + 1 < frame.size(); ++at) {
        for (int bit = 0; bit < 8; ++bit) {
            std::string damaged = frame;
            damaged[at] = static_cast<char>(damaged[at] ^ (1 << bit));
            hdlc_reader reader;
            EXPECT_TRUE(reader.feed(damaged).empty()) << at << " " << bit;
        }
    }
}

TEST(PppFrames, NoiseBetweenFramesIsDropped)
{
    const ppp_packet packet{0xC021, "x"};
    hdlc_reader reader;
    EXPECT_EQ(reader.feed("\r\nCONNECT\r\n" + hdlc_frame(packet)), std::vector<ppp_packet>{packet});
    EXPECT_EQ(reader.dropped(), 1U);
    EXPECT_EQ(reader.feed("\x7E\x7E\x7E" + hdlc_frame(packet) + "cut off \x7D\x7E" + hdlc_frame(packet)),
              (std::vector<ppp_packet>{packet, packet}));
    EXPECT_EQ(reader.dropped(), 2U);
    EXPECT_TRUE(reader.feed(std::string(100'000, 'x')).empty());
    EXPECT_EQ(reader.feed(hdlc_frame(packet)), std::vector<ppp_packet>{packet});
    EXPECT_EQ(reader.dropped(), 3U);
}

TEST(PppFrames, ShortenedHeadersAreUnderstood)
{
    // Without address and control, and the protocol 0021 in one byte.
    const std::string plain = "\x21\x45";
    const unsigned check = ~unsigned{bitwise_fcs(plain)};
    const std::string whole = plain + static_cast<char>(check & 0xFF) + static_cast<char>(check >> 8);
    std::string frame = "\x7E";
    for (const char each : whole) {
        const auto byte = static_cast<unsigned char>(each);
        if (byte < 0x20 || byte == 0x7D || byte == 0x7E)
            frame += {'\x7D', static_cast<char>(byte ^ 0x20)};
        else
            frame += each;
    }
    hdlc_reader reader;
    EXPECT_EQ(reader.feed(frame + "\x7E"), (std::vector<ppp_packet>{{0x0021, "\x45"}}));
}
