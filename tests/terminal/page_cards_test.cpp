/** Memory cards with pages of four bytes, NTAG21x and Ultralight EV1, against what their data sheets say. */
#include "card_frames.h"

#include <gtest/gtest.h>

namespace {

using namespace kt::terminal;
using namespace kt::tests;

struct dialogue {
    const char* what;
    const char* file; // the members of the card's file
    const char* rows;
};

void talk(const dialogue& row)
{
    expect_dialogue(*selected_card("{" + std::string(row.file) + "}"), rows_of(row.rows), row.what);
}

#define NTAG213 R"("card": "ntag213", "uid": "04112233445566")"
#define UL11 R"("card": "ultralight_ev1", "uid": "04112233445566", "pages": 20)"
#define UL21 R"("card": "ultralight_ev1", "uid": "04112233445566", "pages": 41)"

const dialogue common[] = {
    // BCC0 is 88h xor 04h xor 11h xor 22h; BCC1 is 33h xor 44h xor 55h xor 66h.
    {"a read gives the UID with its check bytes", NTAG213, "30 00 > 041122BF33445566444800 00E1101200"},
    {"a read rolls over to page 0", NTAG213, "30 2A > 00000000 00000000 00000000 041122BF"},
    {"of EV1 too", UL11, "30 13 > 00000000 041122BF 33445566 44480000"},
    {"a read past the end", NTAG213,
     "30 2D > nak 0; 30 00 > silence; select; 30 2C > 00000000041122BF3344556644480000"},
    {"a write", NTAG213, "A2 06 01020304 > ack; 30 06 > 01020304000000000000000000000000"},
    {"the UID is not written", NTAG213,
     "A2 00 01020304 > nak 0; select; A2 01 01020304 > nak 0; select;"
     "A0 01 > nak 0; select; 30 00 > 041122BF334455664448000 0E1101200"},
    {"a write past the end", NTAG213, "A2 2D 01020304 > nak 0; select; A2 2C 01020304 > ack"},
    {"a write of EV1 past the end", UL11, "A2 14 01020304 > nak 0; select; A2 13 01020304 > ack"},
    {"a compatibility write keeps four bytes of sixteen", UL11,
     "A0 05 > ack; A2060708 090A0B0C 0D0E0F10 11121314 > ack; 30 05 > A2060708000000000000000000000000"},
    {"a compatibility write of another length", UL11,
     "A0 05 > ack; 01020304 > nak 0; select; 30 05 > 00000000000000000000000000000000"},
    {"a selection forgets a compatibility write", UL11,
     "A0 05 > ack; select; 30 05 > 00000000000000000000000000000000"},
    {"OTP bits are set and never cleared", UL11,
     "A2 03 0F000001 > ack; A2 03 F0000080 > ack; 30 03 > FF000081000000000000000000000000"},
    {"a halted card is silent until it is selected", UL11,
     "50 00 > silence; 60 > silence; select; 60 > 0004030101000B03"},
    {"unknown commands and lengths", UL11,
     "99 > nak 0; select; 30 > nak 0; select; 30 04 05 > nak 0; select;"
     "A2 04 010203 > nak 0; select; 1A 00 > nak 0; select; > nak 0"},
    // Byte 2 of page 2: L7 L6 L5 L4 L_CC BL15-10 BL9-4 BL_CC; byte 3: L15 to L8.
    {"a static lock", UL11,
     "A2 02 FFFF1080 > ack; A2 04 01020304 > nak 0; select; A2 0F 01020304 > nak 0; select;"
     "A0 04 > nak 0; select; A2 05 01020304 > ack; A2 0E 01020304 > ack;"
     "30 02 > 44481080 00000000 00000000 01020304"},
    {"the lock of page 3", NTAG213, "A2 02 00000800 > ack; A2 03 00000001 > nak 0; select; A2 04 00000000 > ack"},
    {"locks stay", UL11, "A2 02 00001000 > ack; A2 02 00000000 > ack; A2 04 01020304 > nak 0"},
    {"block-locking bits freeze the locks of 3, of 4 to 9, of 10 to 15", UL11,
     "A2 02 00000100 > ack; A2 02 00000800 > ack; A2 03 00000001 > ack; 30 02 > 444801000000000100000000 "
     "00000000;"
     "A2 02 00000200 > ack; A2 02 0000F003 > ack; A2 04 01020304 > ack; A2 09 01020304 > ack;"
     "A2 02 00000004 > ack; A2 0A 01020304 > nak 0; select;"
     "A2 02 00000400 > ack; A2 02 000000F8 > ack; A2 0B 01020304 > ack; 30 02 > 4448070400000001 01020304 "
     "00000000"},
    {"locks and their block-locking bits in one write", UL11,
     "A2 02 00001200 > ack; 30 02 > 44481200000000000000000000000000"},
    // NTAG213: two pages to a bit from 16 on; byte 2 freezes four pages to a bit.
    {"dynamic locks of NTAG213", NTAG213,
     "A2 28 01080000 > ack; A2 10 01020304 > nak 0; select; A2 11 01020304 > nak 0; select; A2 12 01020304 > ack;"
     ""
     "A2 25 01020304 > ack; A2 26 01020304 > nak 0; select; A2 27 01020304 > nak 0; select;"
     "A2 28 00000200 > ack; A2 28 0C000000 > ack; A2 15 01020304 > ack; 30 28 > 010802BD040000FF "
     "0000000000000000"},
    {"dynamic locks of NTAG215", R"("card": "ntag215")",
     "A2 82 81000000 > ack; A2 1F 00000000 > nak 0; select; A2 20 00000000 > ack; A2 7F 00000000 > ack;"
     "A2 80 00000000 > nak 0; select; A2 81 00000000 > nak 0; select;"
     "A2 82 00000200 > ack; A2 82 0C000000 > ack; 30 82 > 810002BD040000FF0000000000000000"},
    {"dynamic locks of NTAG216", R"("card": "ntag216")",
     "A2 E2 00200000 > ack; A2 DF 00000000 > ack; A2 E0 00000000 > nak 0; select; A2 E1 00000000 > nak 0; "
     "select;"
     "A2 E2 00004000 > ack; A2 E2 00300000 > ack; 30 E2 > 002040BD040000FF0000000000000000"},
    {"dynamic locks of MF0UL21", UL21,
     "A2 24 00020000 > ack; A2 22 00000000 > nak 0; select; A2 23 00000000 > nak 0; select; A2 21 00000000 > ack;"
     ""
     "A2 24 00001000 > ack; A2 24 00010000 > ack; 30 24 > 000210BD000000FF0005000000000000"},
    {"MF0UL11 has none", UL11, "A2 10 030000FF > ack; A2 0F 00000000 > ack"},
    {"a write that loses its power leaves the page", NTAG213,
     "A2 06 0A0B0C0D > ack; tear A2 06 01020304; 30 06 > silence; 60 > silence; select;"
     "30 06 > 0A0B0C0D000000000000000000000000"},
    {"a lost power forgets the password", NTAG213 R"(, "memory": {"41": "04000006"})",
     "1B FFFFFFFF > 0000; A2 06 01020304 > ack; tear 60; select; A2 06 01020304 > nak 0"},
};

TEST(PageCards, ReadWriteAndLockAsTheirDataSheetsSay)
{
    for (const dialogue& row : common)
        talk(row);
}

const dialogue passwords[] = {
    {"versions", NTAG213, "60 > 0004040201000F03"},
    {"of NTAG215", R"("card": "ntag215")",
     "60 > 0004040201001103; 30 87 > nak 0; select; 30 03 > E1103E0003 00FE000000000000000000"},
    {"of NTAG216", R"("card": "ntag216")",
     "60 > 0004040201001303; 30 E7 > nak 0; select; 30 03 > E1106D0003 00FE000000000000000000"},
    {"of MF0UL11", UL11, "60 > 0004030101000B03; 60 00 > nak 0"},
    {"of MF0UL21", UL21, "60 > 0004030101000E03; 30 29 > nak 0"},
    {"the signature", UL11 R"(, "signature": "000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F")",
     "3C 00 > 000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F; 3C 01 > nak 0"},
    {"a fast read", NTAG213, "3A 00 03 > 041122BF3344556644480000E1101200; 3A 04 04 > 0103A00C"},
    {"fast reads that are refused", NTAG213, "3A 05 04 > nak 0; select; 3A 00 2D > nak 0; select; 3A 2D 2D > nak 0"},
    {"password and acknowledgement read as 0", NTAG213 R"(, "password": "11223344", "pack": "5566")",
     "1B 11223344 > 5566; 3A 2B 2C > 0000000000000000; 30 2B > 0000000000000000041122BF33445566"},
    {"a password that is written", NTAG213,
     "1B FFFFFFFF > 0000; A2 2B 01020304 > ack; A2 2C AABBCCDD > ack;"
     "1B FFFFFFFF > nak 0; select; 1B 01020304 > AABB"},
    // AUTH0 8: from page 8 on. PROT is the highest bit of ACCESS.
    {"writing wants the password", UL11 R"(, "password": "11223344", "memory": {"16": "00000008"})",
     "A2 07 01020304 > ack; A2 08 01020304 > nak 0; select; A0 08 > nak 0; select; 30 08 > "
     "00000000000000000000000000000000;"
     "1B 11223344 > 0000; A2 08 01020304 > ack; select; A2 08 05060708 > nak 0; select; 30 08 > "
     "01020304000000000000000000000000"},
    {"reading wants the password",
     UL11 R"(, "password": "11223344", "memory": {"7": "07070707", "16": "00000008", "17": "80050000"})",
     "30 08 > nak 0; select; 30 06 > 00000000 07070707 041122BF 33445566; 3A 07 08 > nak 0; select; 3A 07 07 > "
     "07070707;"
     "1B 11223344 > 0000; 30 06 > 00000000070707070000000000000000; 3A 08 08 > 00000000; select; 30 08 > nak 0"},
    {"a refusal forgets the password", UL11 R"(, "memory": {"16": "00000008"})",
     "1B FFFFFFFF > 0000; 30 80 > nak 0; 30 00 > silence; select; A2 08 01020304 > nak 0"},
    {"failed attempts are limited, and a success forgets them", UL11 R"(, "memory": {"17": "02050000"})",
     "1B 00000000 > nak 0; select; 1B FFFFFFFF > 0000; 1B 00000000 > nak 0; select; 1B 00000000 > nak 0; select;"
     "1B 00000000 > nak 4; select; 1B FFFFFFFF > nak 4"},
    {"attempts that an earlier reader failed", NTAG213 R"(, "failed_attempts": 7, "memory": {"42": "07000000"})",
     "1B FFFFFFFF > nak 4"},
    {"without a limit none counts", NTAG213,
     "1B 00000000 > nak 0; select; 1B 00000000 > nak 0; select; 1B 00000000 > nak 0; select;"
     "A2 2A 01000000 > ack; 1B FFFFFFFF > 0000"},
    {"CFGLCK keeps the configuration once the card gets power", NTAG213,
     "A2 2A 40000000 > ack; A2 29 040000FE > ack; select; A2 29 040000FF > nak 0; select; A2 2A 00000000 > nak 0; "
     "select;"
     ""
     "A2 2B 01020304 > ack; A2 2C 05060000 > ack; 3A 29 2A > 040000FE40000000"},
};

TEST(PageCards, ProtectTheirPagesByAPassword)
{
    for (const dialogue& row : passwords)
        talk(row);
}

const dialogue tags[] = {
    // ACCESS: 10h enables the counter, 08h protects it.
    {"the counter is disabled at first", NTAG213, "30 00 > 041122BF3344556644480000E1101200; 39 02 > nak 0"},
    {"the first read of a selection counts", NTAG213 R"(, "memory": {"42": "10000000"}, "counters": {"2": 511})",
     "39 02 > FF0100; 30 80 > nak 0; select; 39 02 > FF0100; 3A 04 04 > 0103A00C; 39 02 > 000200;"
     "30 00 > 041122BF3344556644480000E1101200; 39 02 > 000200; select; 30 00 > 041122BF3344556644480000E1101200; 39 "
     "02 > 010200"},
    {"the counter ends", NTAG213 R"(, "memory": {"42": "10000000"}, "counters": {"2": 16777215})",
     "3A 04 04 > 0103A00C; 39 02 > FFFFFF"},
    {"there is no other counter", NTAG213 R"(, "memory": {"42": "10000000"})", "39 00 > nak 0"},
    {"a protected counter", NTAG213 R"(, "memory": {"42": "18000000"})",
     "39 02 > nak 0; select; 1B FFFFFFFF > 0000; 39 02 > 000000"},
    {"EV1's commands are not known", NTAG213,
     "A5 02 01000000 > nak 0; select; 3E 02 > nak 0; select;"
     "4B 000102030405060708090A0B0C0D0E0F 10111213 > nak 0"},
    // MIRROR: 40h the UID, 80h the counter, 30h the byte; then the page.
    {"the UID as text", NTAG213 R"(, "memory": {"41": "540005FF"})", "30 04 > 0103A00C 34303431 31323233 33343435"},
    {"the counter as text", NTAG213 R"(, "memory": {"41": "840006FF", "42": "10000000"}, "counters": {"2": 43774})",
     "30 06 > 30304141 46460000 00000000 00000000"},
    {"both as text", NTAG213 R"(, "memory": {"41": "C40006FF", "42": "10000000"}, "counters": {"2": 0})",
     "3A 06 0B > 30343131 32323333 34343535 36367830 30303030 31000000; A2 06 AAAAAAAA > ack; 3A 06 06 > 30343131"},
    {"a protected counter is not mirrored", NTAG213 R"(, "memory": {"41": "840006FF", "42": "18000000"})",
     "3A 06 06 > 00000000; 1B FFFFFFFF > 0000; 3A 06 07 > 3030303030310000"},
    {"a mirror that does not fit", NTAG213 R"(, "memory": {"41": "740024FF"})", "3A 24 24 > 00000000"},
    {"a mirror that just fits", NTAG213 R"(, "memory": {"41": "640024FF"})",
     "3A 24 27 > 00003034 31313232 33333434 35353636"},
    {"no mirror below page 4", NTAG213 R"(, "memory": {"41": "440003FF"})", "3A 03 03 > E1101200"},
};

TEST(PageCards, NtagCountsItsReadingsAndMirrorsItsUid)
{
    for (const dialogue& row : tags)
        talk(row);
}

const dialogue tickets[] = {
    {"counters go up, each by itself", UL11,
     "A5 00 01000000 > ack; A5 01 00020000 > ack; A5 02 00000300 > ack;"
     "39 00 > 010000; 39 01 > 000200; 39 02 > 000003; A5 00 FF0000AA > ack; 39 00 > 000100"},
    {"they last", UL11, "A5 00 05000000 > ack; select; 39 00 > 050000"},
    {"an overflow", UL11 R"(, "counters": {"1": 16777214})",
     "A5 01 02000000 > nak 4; select; 39 01 > FEFFFF; A5 01 01000000 > ack;"
     "39 01 > FFFFFF; A5 01 00000000 > ack; A5 01 01000000 > nak 4"},
    {"there are three", UL11,
     "A5 03 01000000 > nak 0; select; 39 03 > nak 0; select; 3E 03 > nak 0; select; A5 00 010000 > nak 0"},
    {"reading counts nothing", UL11, "30 00 > 041122BF334455664448000000000000; 39 02 > 000000"},
    {"no tear", UL11, "3E 00 > BD; 3E 01 > BD; 3E 02 > BD"},
    {"a torn increment is told until the next", UL11,
     "tear A5 01 07000000; select; 39 01 > 000000; 3E 01 > 00; 3E 00 > BD;"
     "A5 00 01000000 > ack; 3E 01 > 00; A5 01 07000000 > ack; 3E 01 > BD"},
    {"other commands tear nothing", UL11,
     "tear A2 02 00001000; select; tear 39 00; select; 50 00 > silence; tear A5 00 01000000; select; 3E 00 > BD; 3E 01 "
     "> BD; 3E 02 > BD"},
    {"an increment that would have been refused tears nothing", UL11 R"(, "counters": {"1": 16777214})",
     "tear A5 01 02000000; select; 3E 01 > BD; tear A5 03 01000000; select; A0 05 > ack; tear A5 00 01000000; select;"
     "3E 00 > BD; tear A5 01 01000000; select; 3E 01 > 00; 39 01 > FEFFFF"},
    {"a tear in the file", UL11 R"(, "torn": {"2": 1})", "3E 02 > 00; 3E 01 > BD"},
    {"VCSL", UL11,
     "4B 000102030405060708090A0B0C0D0E0F 10111213 > 05; A2 11 00770000 > ack;"
     "4B FF0102030405060708090A0B0C0D0E0F FF111213 > 77; 4B 00 > nak 0"},
};

TEST(PageCards, Ev1CountsAndTellsOfTears)
{
    for (const dialogue& row : tickets)
        talk(row);
}

TEST(PageCards, AreFoundAsTypeAWithoutIso14443Part4)
{
    const struct {
        const char* kind;
        card_family family;
    } rows[] = {{"ntag213", card_family::ntag21x},
                {"ntag215", card_family::ntag21x},
                {"ntag216", card_family::ntag21x},
                {"ultralight_ev1", card_family::ultralight_ev1},
                {"ultralight_c", card_family::ultralight_c}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.kind);
        const auto card = card_of_file(R"({"uid": "04010203040506", "card": ")" + std::string(row.kind) + "\"}");
        EXPECT_EQ(card->identity().family, row.family);
        EXPECT_EQ(digits_of_bytes(card->identity().uid), "04010203040506");
        EXPECT_EQ(card->identity().atqa, 0x0044);
        EXPECT_EQ(card->identity().sak, 0x00);
        EXPECT_EQ(card->identity().ats, "");
        EXPECT_EQ(answer_of(*card, "30 00"), "silence") << "it has no power yet";
    }
}

TEST(PageCards, AreTheSameOnceWrittenAndRead)
{
    const struct {
        const char* file;
        const char* change;
        const char* question;
        const char* answer;
    } rows[] = {
        {NTAG213 R"(, "memory": {"42": "10000000"})", "3A 04 04", "39 02", "010000"},
        {NTAG213 R"(, "memory": {"42": "01000000"})", "1B 00000000", "1B FFFFFFFF", "nak 4"},
        {NTAG213 R"(, "pack": "0102")", "A2 2B 01020304", "1B 01020304", "0102"},
        {NTAG213, "A2 28 01000000", "A2 10 00000000", "nak 0"},
        {NTAG213, "A2 02 00001000", "A2 04 00000000", "nak 0"},
        {NTAG213 R"(, "signature": "AA0102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F")", "60", "3C 00",
         "AA0102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F"},
        {UL21, "A5 01 01000000", "39 01", "010000"},
        {UL21, "A2 24 01000000", "30 24", "010000BD000000FF0005000000000000"},
        {UL11 R"(, "torn": {"1": 1})", "60", "3E 01", "00"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.file) + " " + row.change);
        const auto card = selected_card("{" + std::string(row.file) + R"(, "name": "mine")" + "}");
        (void)answer_of(*card, row.change);
        const auto again = selected_card(card->file());
        EXPECT_EQ(again->file(), card->file());
        EXPECT_NE(card->file().find(R"("name": "mine")"), std::string::npos);
        EXPECT_EQ(answer_of(*again, row.question), row.answer);
    }
}

TEST(PageCards, RefuseFilesThatDoNotFit)
{
    EXPECT_EQ(refusal_of("{" UL11 "}"), "accepted");
    EXPECT_EQ(refusal_of(R"({"card": "ultralight_ev1", "pages": 21})"), "an Ultralight EV1 has 20 or 41 \"pages\"");
    EXPECT_EQ(refusal_of(R"({"card": "ntag213", "uid": "01020304"})"),
              "a card's \"uid\" must be 7 bytes in hexadecimal digits");
    EXPECT_EQ(refusal_of("{" NTAG213 R"(, "memory": {"1": "00000000"}})"),
              "a card's pages 0 and 1 are its \"uid\", not part of its \"memory\"");
    EXPECT_EQ(refusal_of("{" NTAG213 R"(, "memory": {"43": "00000000"}})"),
              "a card's \"memory\" must be an object whose names are numbers below 43");
    EXPECT_EQ(refusal_of("{" NTAG213 R"(, "counters": {"1": 1}})"), "an NTAG21x has no counter but 2");
    EXPECT_EQ(refusal_of("{" UL11 R"(, "rnd_b": "0102030405060708"})"), "such a card has no \"rnd_b\"");
}

} // namespace
