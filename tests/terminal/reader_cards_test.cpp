/** Cards in the contactless reader's field, by their families' requests. */
#include "tests/terminal/reader_program.h"

#include <gmock/gmock.h>
#include <string>

using kt::terminal::virtual_terminal;
using namespace kt::tests;
using testing::HasSubstr;

TEST(Reader, FindsTheOnlyCardAndTellsItsType)
{
    virtual_terminal board;
    reader_program program;
    EXPECT_EQ(program.ask(0x35), ENODEV); // nothing was found yet
    struct row {
        const char* file;
        std::uint32_t type;
        unsigned opens; // the request that opens it
    };
    for (const row& each : {row{R"({"card":"type_a"})", 1, 0x01}, row{R"({"card":"type_b"})", 2, 0x15},
                            row{R"({"card":"classic_1k"})", 3, 0x0A}, row{R"({"card":"ntag215"})", 4, 0x28},
                            row{R"({"card":"ultralight_ev1"})", 5, 0x3F}, row{R"({"card":"ultralight_c"})", 6, 0x21},
                            row{R"({"card":"felica"})", 7, 0x1E}}) {
        board.tap_card(each.file);
        EXPECT_EQ(program.ask(0x33, 0xFFFFFFFF), 0) << each.file;
        EXPECT_EQ(program.word(parameter), 0xFFFFFF00 | each.type) << each.file; // only the lowest byte is the driver's
        EXPECT_EQ(program.ask(0x35), 0) << each.file;
        for (const unsigned open : {0x01U, 0x15U, 0x0AU, 0x28U, 0x3FU, 0x21U, 0x1EU}) {
            const bool iso = (open == 0x01 || open == 0x15) && each.type <= 2;
            EXPECT_EQ(program.ask(open), open == each.opens || iso ? 0 : ENODEV) << each.file << open;
        }
        board.remove_cards();
        EXPECT_EQ(program.ask(0x33), ENODEV);
    }
    board.tap_card(wallet);
    board.tap_card(R"({"card":"felica"})");
    EXPECT_EQ(program.ask(0x33), ENOTUNIQ);
    EXPECT_EQ(program.ask(0x0A), ENOTUNIQ);
}

TEST(Reader, RefusesAFamilysRequestBeforeItsOpenAndAfterItsClose)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(wallet);
    EXPECT_EQ(program.send(0x0D, "\xFF\xFF\xFF\xFF\xFF\xFF"), ENOTCONN);
    ASSERT_EQ(program.ask(0x0A), 0);
    EXPECT_EQ(program.ask(0x2A, 0), ENOTCONN); // another family's
    EXPECT_EQ(program.ask(0x0C), 0);
    EXPECT_EQ(program.received(), bytes({0x04, 0x00}));
    EXPECT_EQ(program.ask(0x0B), 0);
    EXPECT_EQ(program.ask(0x0B), ENOTCONN);
    EXPECT_EQ(program.ask(0x0C), ENOTCONN);
}

TEST(Reader, CountsAWalletUp)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(wallet);
    ASSERT_EQ(program.ask(0x0A), 0);
    const std::string key_a_of_block_4 = bytes({0x60, 0, 0, 0, 4, 0, 0, 0});
    EXPECT_EQ(program.send(0x0E, key_a_of_block_4), EINVAL); // no key is set
    EXPECT_EQ(program.send(0x0D, "\x01\x02\x03\x04\x05"), EINVAL);
    EXPECT_EQ(program.send(0x0D, "\x01\x02\x03\x04\x05\x06"), 0);
    EXPECT_EQ(program.send(0x0E, key_a_of_block_4), EACCES);
    EXPECT_EQ(program.ask(0x0F, 4), ETIMEDOUT); // a card that has refused waits to be selected anew

    ASSERT_EQ(program.ask(0x0A), 0);
    EXPECT_EQ(program.send(0x0D, "\xFF\xFF\xFF\xFF\xFF\xFF"), 0);
    EXPECT_EQ(program.send(0x0E, bytes({0x62, 0, 0, 0, 4, 0, 0, 0})), EINVAL);
    EXPECT_EQ(program.send(0x0E, key_a_of_block_4), 0);
    EXPECT_EQ(program.send(0x11, bytes({5, 0, 0, 0}), 4), 0);
    EXPECT_EQ(program.ask(0x13, 4), 0);
    EXPECT_EQ(program.ask(0x0F, 4), 0);
    EXPECT_EQ(program.received(), bytes({0x69, 0, 0, 0, 0x96, 0xFF, 0xFF, 0xFF, 0x69, 0, 0, 0, 4, 0xFB, 4, 0xFB}));
    EXPECT_EQ(program.send(0x12, bytes({6, 0, 0, 0}), 4), 0);
    EXPECT_EQ(program.ask(0x13, 5), 0); // 99, into the block beside it
    EXPECT_EQ(program.ask(0x14, 4), 0);
    EXPECT_EQ(program.ask(0x13, 6), 0); // 105
    EXPECT_EQ(program.ask(0x0F, 5), 0);
    EXPECT_EQ(program.received().substr(0, 4), bytes({0x63, 0, 0, 0}));
    EXPECT_EQ(program.ask(0x0F, 6), 0);
    EXPECT_EQ(program.received().substr(0, 4), bytes({0x69, 0, 0, 0}));
    EXPECT_EQ(program.send(0x10, std::string(15, 'x'), 5), EINVAL);
    EXPECT_EQ(program.send(0x10, std::string(16, 'x'), 5), 0);
    EXPECT_EQ(program.ask(0x0F, 5), 0);
    EXPECT_EQ(program.received(), std::string(16, 'x'));
    EXPECT_EQ(program.ask(0x0F, 256), EINVAL);
    EXPECT_EQ(program.ask(0x0F, 8), EIO); // of another sector
}

TEST(Reader, ReadsAndWritesATagsPages)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(R"({"card":"ntag213","name":"tag","password":"12345678","pack":"ABCD","memory":{"4":"01020304"},
        "signature":"000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F"})");
    ASSERT_EQ(program.ask(0x28), 0);
    EXPECT_EQ(program.ask(0x2A, 4), 0);
    EXPECT_EQ(program.received().size(), 16U);
    EXPECT_EQ(program.received().substr(0, 4), "\x01\x02\x03\x04");
    EXPECT_EQ(program.send(0x2C, "abcd", 5), 0);
    EXPECT_EQ(program.send(0x2C, "abc", 5), EINVAL);
    EXPECT_EQ(program.send(0x2D, "efgh............", 6), 0);
    EXPECT_EQ(program.ask(0x2B, 6U << 16), 0); // all pages up to the sum of the two numbers
    EXPECT_EQ(program.received().size(), 7 * 4U);
    EXPECT_EQ(program.received().substr(16), "\x01\x02\x03\x04"
                                             "abcdefgh");
    EXPECT_EQ(program.ask(0x2B, 0xFFFF0000), 0);
    EXPECT_EQ(program.received().size(), 45 * 4U); // the card's end
    EXPECT_EQ(program.ask(0x31), 0);
    EXPECT_EQ(program.received(), bytes({0, 4, 4, 2, 1, 0, 0x0F, 3}));
    EXPECT_EQ(program.ask(0x30), 0);
    EXPECT_EQ(program.received(), bytes({0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                                         16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31}));
    EXPECT_EQ(program.send(0x2F, "\x12\x34\x56\x78"), 0);
    EXPECT_EQ(program.received(), "\xAB\xCD");
    EXPECT_EQ(program.send(0x2F, "\x12\x34\x56\x79"), EACCES);

    board.remove_cards();
    EXPECT_EQ(program.ask(0x2A, 4), ETIMEDOUT);
    board.tap_card(R"({"card":"ntag216"})");
    ASSERT_EQ(program.ask(0x28), 0);
    EXPECT_EQ(program.ask(0x2B, 0xFFFF0000), 0);
    EXPECT_EQ(program.received().size(), 512U); // the record's end
}

TEST(Reader, CountsWithAnUltralightAndSelectsItsVirtualCard)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(R"({"card":"ultralight_ev1","counters":{"0":3}})");
    ASSERT_EQ(program.ask(0x3F), 0);
    EXPECT_EQ(program.send(0x47, bytes({2, 0, 0, 0}), 0), 0);
    EXPECT_EQ(program.ask(0x46, 0), 0);
    EXPECT_EQ(program.received(), bytes({5, 0, 0}));
    EXPECT_EQ(program.ask(0x4A, 0), 0);
    EXPECT_EQ(program.received(), "\xBD"); // nothing was torn
    program.set(transmit_length, 0);       // another request's
    EXPECT_EQ(program.ask(0x4B, 20U << 16), 0);
    EXPECT_EQ(program.received(), "\x05"); // its type's identifier, as delivered
    EXPECT_EQ(program.ask(0x4B, 19U << 16), EINVAL);
}

TEST(Reader, CarriesCommandsAndPacketsAsTheyStand)
{
    virtual_terminal board;
    reader_program program;
    board.tap_card(R"({"card":"type_a","answers":[{"command":"00A4 *","answer":"6F009000"}]})");
    ASSERT_EQ(program.ask(0x01), 0);
    EXPECT_EQ(program.send(0x03, bytes({0, 0xA4, 4, 0})), 0);
    EXPECT_EQ(program.received(), bytes({0x6F, 0, 0x90, 0}));
    EXPECT_EQ(program.send(0x03, ""), EINVAL);
    program.set(transmit_length, 513);
    EXPECT_EQ(program.ask(0x03), EINVAL);
    EXPECT_EQ(program.ask(0x34, 0x12345678), 0);
    EXPECT_EQ(program.word(parameter), 0x12345620U);
    EXPECT_EQ(program.ask(0x38), 0);
    EXPECT_EQ(program.received(), bytes({5, 0x78, 0x80, 0x70, 2}));
    EXPECT_EQ(program.ask(0x37), ENODEV); // it is not of type B

    board.remove_cards();
    board.tap_card(R"({"card":"type_b","pupi":"11223344","application_data":"55667788","protocol_info":"008171",
        "attrib":"00"})");
    ASSERT_EQ(program.ask(0x33), 0);
    EXPECT_EQ(program.ask(0x35), 0);
    EXPECT_EQ(program.received(), bytes({0x11, 0x22, 0x33, 0x44}));
    EXPECT_EQ(program.ask(0x37), 0);
    EXPECT_EQ(program.received(), bytes({0x50, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0, 0x81, 0x71}));
    EXPECT_EQ(program.ask(0x39), 0);
    EXPECT_EQ(program.received(), bytes({0}));
    EXPECT_EQ(program.ask(0x34), ENODEV); // nor of type A

    board.remove_cards();
    board.tap_card(R"({"card":"felica","idm":"0101010203040506"})");
    ASSERT_EQ(program.ask(0x1E), 0);
    EXPECT_EQ(program.send(0x20, bytes({6, 0, 0xFF, 0xFF, 0, 0})), 0);
    EXPECT_EQ(program.received().substr(0, 10), bytes({18, 1, 1, 1, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(program.send(0x20, bytes({7, 0, 0xFF, 0xFF, 0, 0})), EINVAL);
}
