// Requests and replies byte by byte. The session bytes of these tests are 11 22 33 44, so requests end in 44 33 22 11.
#include "tools/simulator/request_server.h"

#include <gtest/gtest.h>

#include "tests/simulator/support.h"
#include "tools/simulator/reserved_variables.h"

namespace ac500::sim {

using symbol_file::TypeCode;

namespace {

class RequestServerTest : public testing::Test {
protected:
    RequestServerTest() : server_(memory_) {
        memory_.addArea(1, 64);
        memory_.addArea(3, 8);
        memory_.addArea(9, 40);
        memory_.write(1, 0, byteString("00 01 02 03 04 05 06 07 08 09 0A 0B"));
        identity_.session = {0x11, 0x22, 0x33, 0x44};
        identity_.bootCount = 2;
    }

    Reply answer(const Bytes& request) { return server_.answer(request, identity_); }
    std::string reply(const std::string& request) { return hex(answer(byteString(request)).bytes); }
    std::string memoryAt(int area, std::int64_t address, std::int64_t size) const {
        return hex(memory_.read({area, address, size}));
    }

    PlcMemory memory_;
    Identity identity_;
    RequestServer server_;
};

// ---- handshake

TEST_F(RequestServerTest, HelloIsAnsweredWithTwoHundredBytesOfPayload) {
    const Bytes bytes = answer(helloRequest()).bytes;
    ASSERT_EQ(bytes.size(), 206U);
    // magic, length 200, status 0
    EXPECT_EQ(hex(bytes.substr(0, 8)), "BB BB 00 00 00 C8 00 00");
    // service 01 and three zeros, boot count 2, longest request and longest reply 65535 bytes of payload
    EXPECT_EQ(hex(bytes.substr(8, 16)), "01 00 00 00 00 00 00 02 00 00 FF FF 00 00 FF FF");
    EXPECT_STREQ(bytes.substr(24, 32).c_str(), "AC500-SIM");
    EXPECT_STREQ(bytes.substr(56, 32).c_str(), "CODESYS V2 simulation 1.0");
    EXPECT_EQ(bytes.substr(88), Bytes(118, '\0'));
}

TEST_F(RequestServerTest, SymbolFileRequestIsAnsweredWithTheSessionBytesAtTwentyFour) {
    EXPECT_EQ(hex(answer(symbolsRequest()).bytes),
              // magic, length 30, status 0, service 31 and three zeros, boot count 2
              "BB BB 00 00 00 1E 00 00 31 00 00 00 00 00 00 02 "
              // eight zeros, session bytes at 24..27, eight zeros
              "00 00 00 00 00 00 00 00 11 22 33 44 00 00 00 00 00 00 00 00");
}

TEST_F(RequestServerTest, AnotherFileIsUnknown) {
    // length 17, service 31, 13 bytes "DOWNLOAD.SDX" and terminator
    EXPECT_EQ(reply("BB BB 00 00 00 11 31 00 00 0D 44 4F 57 4E 4C 4F 41 44 2E 53 44 58 00"), "BB BB 00 00 00 02 02 02");
    // the right name without its terminator: 12 bytes
    EXPECT_EQ(reply("BB BB 00 00 00 10 31 00 00 0C 44 4F 57 4E 4C 4F 41 44 2E 53 44 42"), "BB BB 00 00 00 02 02 02");
    // no name at all
    EXPECT_EQ(reply("BB BB 00 00 00 04 31 00 00 00"), "BB BB 00 00 00 02 02 02");
}

TEST_F(RequestServerTest, HandshakeRequestsOfAnotherLengthAreRefused) {
    // service 01 with 13 and with 15 bytes of payload
    EXPECT_EQ(reply("BB BB 00 00 00 0D 01 00 00 00 02 00 00 00 06 00 00 00 00"), "BB BB 00 00 00 02 01 03");
    EXPECT_EQ(reply("BB BB 00 00 00 0F 01 00 00 00 02 00 00 00 06 00 00 00 00 00 00"), "BB BB 00 00 00 02 01 03");
    // service 31 that announces 14 bytes of name and brings 13; one that ends within its head
    EXPECT_EQ(reply("BB BB 00 00 00 11 31 00 00 0E 44 4F 57 4E 4C 4F 41 44 2E 53 44 42 00"), "BB BB 00 00 00 02 01 03");
    EXPECT_EQ(reply("BB BB 00 00 00 03 31 00 00"), "BB BB 00 00 00 02 01 03");
}

// ---- reading

TEST_F(RequestServerTest, ReadOfOneItem) {
    // length 20, service 2E, 1 item: area 1, offset 2, size 4
    EXPECT_EQ(reply("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 02 00 00 00 04 44 33 22 11"),
              // length 11, status 0, 1 item, lead byte, the bytes 2..5
              "BB BB 00 00 00 0B 00 00 00 00 00 01 00 02 03 04 05");
}

TEST_F(RequestServerTest, ReadOfTwoItemsOfTwoAreas) {
    memory_.write(3, 6, byteString("AA BB"));
    // length 30, service 2E, 2 items: area 1, offset 0, size 2; area 3, offset 6, size 2
    EXPECT_EQ(reply("BB BB 00 00 00 1E 2E 00 00 00 00 02 "
                    "00 01 00 00 00 00 00 00 00 02 00 03 00 00 00 06 00 00 00 02 44 33 22 11"),
              // length 12, status 0, 2 items, lead byte and 00 01, lead byte and AA BB
              "BB BB 00 00 00 0C 00 00 00 00 00 02 00 00 01 00 AA BB");
}

TEST_F(RequestServerTest, ReadOfNothing) {
    // no items: the header alone
    EXPECT_EQ(reply("BB BB 00 00 00 0A 2E 00 00 00 00 00 44 33 22 11"), "BB BB 00 00 00 06 00 00 00 00 00 00");
    // one item of no bytes: its lead byte alone
    EXPECT_EQ(reply("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 02 00 00 00 00 44 33 22 11"),
              "BB BB 00 00 00 07 00 00 00 00 00 01 00");
}

TEST_F(RequestServerTest, SessionBytesInTheOrderOfTheReplyAreWrong) {
    EXPECT_EQ(reply("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 02 00 00 00 04 11 22 33 44"),
              "BB BB 00 00 00 02 02 01");
    EXPECT_EQ(reply("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 02 00 00 00 04 00 00 00 00"),
              "BB BB 00 00 00 02 02 01");
}

TEST_F(RequestServerTest, ReadsOutsideTheMemoryAreRefusedAsAWhole) {
    // area 2 does not exist
    EXPECT_EQ(reply("BB BB 00 00 00 14 2E 00 00 00 00 01 00 02 00 00 00 00 00 00 00 01 44 33 22 11"),
              "BB BB 00 00 00 02 03 01");
    // area 1 has 64 bytes: offset 63, size 1 is its last one; size 2 is one too many
    EXPECT_EQ(reply("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 3F 00 00 00 01 44 33 22 11"),
              "BB BB 00 00 00 08 00 00 00 00 00 01 00 00");
    EXPECT_EQ(reply("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 3F 00 00 00 02 44 33 22 11"),
              "BB BB 00 00 00 02 03 02");
    // offset FFFFFFFF, size FFFFFFFF
    EXPECT_EQ(reply("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 FF FF FF FF FF FF FF FF 44 33 22 11"),
              "BB BB 00 00 00 02 03 02");
    // the first item is good, the second is not
    EXPECT_EQ(reply("BB BB 00 00 00 1E 2E 00 00 00 00 02 "
                    "00 01 00 00 00 00 00 00 00 02 00 02 00 00 00 06 00 00 00 02 44 33 22 11"),
              "BB BB 00 00 00 02 03 01");
}

TEST_F(RequestServerTest, AReplyMayHaveSixtyFiveThousandFiveHundredThirtyFiveBytesOfPayload) {
    memory_.addArea(7, 70000);
    // status and count take 6 bytes, the lead byte 1: 65528 = 0xFFF8 are left
    const Bytes longest =
        answer(byteString("BB BB 00 00 00 14 2E 00 00 00 00 01 00 07 00 00 00 00 00 00 FF F8 44 33 22 11")).bytes;
    EXPECT_EQ(longest.size(), 65541U);
    EXPECT_EQ(hex(longest.substr(0, 6)), "BB BB 00 00 FF FF");
    EXPECT_EQ(reply("BB BB 00 00 00 14 2E 00 00 00 00 01 00 07 00 00 00 00 00 00 FF F9 44 33 22 11"),
              "BB BB 00 00 00 02 03 03");
}

TEST_F(RequestServerTest, AReplyMayBeLimitedToFewerBytes) {
    server_.setMostReplyBytes(9);
    // status and count take 6 bytes, the lead byte 1: 2 are left
    EXPECT_EQ(reply("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00 00 03 44 33 22 11"),
              "BB BB 00 00 00 02 03 03");
    EXPECT_EQ(answer(byteString("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00 00 02 44 33 22 11"))
                  .bytes.size(),
              15U);
}

TEST_F(RequestServerTest, ItemCountsThatLieAreRefused) {
    // one item is there; announced are 0, 2, and FFFFFFFF
    for (const char* count : {"00 00 00 00", "00 00 00 02", "FF FF FF FF", "80 00 00 01"}) {
        EXPECT_EQ(reply(std::string("BB BB 00 00 00 14 2E 00 ") + count + " 00 01 00 00 00 02 00 00 00 04 44 33 22 11"),
                  "BB BB 00 00 00 02 01 03")
            << count;
    }
    // 10 * 0x1999999A is 4 modulo 2^32: four bytes where items should be
    EXPECT_EQ(reply("BB BB 00 00 00 0E 2E 00 19 99 99 9A 00 01 00 00 44 33 22 11"), "BB BB 00 00 00 02 01 03");
}

TEST_F(RequestServerTest, RequestsTooShortForTheirSessionBytesAreRefused) {
    EXPECT_EQ(reply("BB BB 00 00 00 09 2E 00 00 00 00 33 22 11 44"), "BB BB 00 00 00 02 01 03");
    EXPECT_EQ(reply("BB BB 00 00 00 01 2E"), "BB BB 00 00 00 02 01 03");
    EXPECT_EQ(reply("BB BB 00 00 00 01 3C"), "BB BB 00 00 00 02 01 03");
}

// ---- writing

TEST_F(RequestServerTest, WriteOfOneItem) {
    // length 22, service 3C, 1 item: area 1, offset 8, size 2, data 12 34
    EXPECT_EQ(reply("BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 02 12 34 44 33 22 11"),
              // length 2, status 0
              "BB BB 00 00 00 02 00 00");
    EXPECT_EQ(memoryAt(1, 7, 4), "07 12 34 0A");
}

TEST_F(RequestServerTest, WriteOfTwoItemsInTheirOrder) {
    // length 36, 2 items: area 1, offset 0, size 2, AA AA; area 1, offset 1, size 4, 01 02 03 04 (over the first)
    EXPECT_EQ(reply("BB BB 00 00 00 24 3C 00 00 00 00 02 00 01 00 00 00 00 00 00 00 02 AA AA "
                    "00 01 00 00 00 01 00 00 00 04 01 02 03 04 44 33 22 11"),
              "BB BB 00 00 00 02 00 00");
    EXPECT_EQ(memoryAt(1, 0, 6), "AA 01 02 03 04 05");
}

TEST_F(RequestServerTest, ARefusedWriteWritesNothing) {
    // the first item is good; the second goes to area 2, which does not exist
    EXPECT_EQ(reply("BB BB 00 00 00 20 3C 00 00 00 00 02 00 01 00 00 00 00 00 00 00 01 AA "
                    "00 02 00 00 00 00 00 00 00 01 BB 44 33 22 11"),
              "BB BB 00 00 00 02 03 01");
    EXPECT_EQ(memoryAt(1, 0, 1), "00");
    // two bytes at the last byte of area 1
    EXPECT_EQ(reply("BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 3F 00 00 00 02 12 34 44 33 22 11"),
              "BB BB 00 00 00 02 03 02");
    EXPECT_EQ(memoryAt(1, 63, 1), "00");
    // wrong session bytes
    EXPECT_EQ(reply("BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 02 12 34 44 33 22 12"),
              "BB BB 00 00 00 02 02 01");
    EXPECT_EQ(memoryAt(1, 8, 2), "08 09");
}

TEST_F(RequestServerTest, WriteItemsThatLieAreRefused) {
    // size 3 with two bytes of data; size FFFFFFFF; a second item of which only four bytes are there; two announced
    for (const char* request : {
             "BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 03 12 34 44 33 22 11",
             "BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 08 FF FF FF FF 12 34 44 33 22 11",
             "BB BB 00 00 00 1A 3C 00 00 00 00 02 00 01 00 00 00 08 00 00 00 02 12 34 00 01 00 00 44 33 22 11",
             "BB BB 00 00 00 16 3C 00 00 00 00 02 00 01 00 00 00 08 00 00 00 02 12 34 44 33 22 11",
             "BB BB 00 00 00 16 3C 00 FF FF FF FF 00 01 00 00 00 08 00 00 00 02 12 34 44 33 22 11",
             "BB BB 00 00 00 16 3C 00 00 00 00 00 00 01 00 00 00 08 00 00 00 02 12 34 44 33 22 11",
             "BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 01 12 34 44 33 22 11",
         }) {
        EXPECT_EQ(reply(request), "BB BB 00 00 00 02 01 03") << request;
    }
    EXPECT_EQ(memoryAt(1, 8, 2), "08 09");
}

TEST_F(RequestServerTest, EveryTruncatedWriteIsRefusedWithoutHarm) {
    const Bytes whole =
        byteString("BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 02 12 34 44 33 22 11");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_NE(answer(whole.substr(0, length)).status, Status::Good) << length << " bytes";
        if (length >= 7) {
            Bytes consistent = whole.substr(0, length);  // with a length field that fits what is there
            consistent[5] = static_cast<char>(length - 6);
            EXPECT_NE(answer(consistent).status, Status::Good) << length << " bytes, length field fits";
        }
    }
    EXPECT_EQ(memoryAt(1, 8, 2), "08 09");
}

TEST_F(RequestServerTest, OneByteWriteToABitVariableSetsThatBit) {
    Leaf lamp;
    lamp.code = TypeCode::Bit;
    lamp.area = 3;
    lamp.address = 17;
    server_.setBits(BitLayout({lamp}));
    memory_.write(3, 0, byteString("FF FF 00 00"));
    // length 21, 1 item: area 3, bit address 17, size 1, data 01: the word at 2, bit 1, which stands in byte 3
    EXPECT_EQ(reply("BB BB 00 00 00 15 3C 00 00 00 00 01 00 03 00 00 00 11 00 00 00 01 01 44 33 22 11"),
              "BB BB 00 00 00 02 00 00");
    EXPECT_EQ(memoryAt(3, 0, 4), "FF FF 00 02");
    // the same with data 00
    EXPECT_EQ(reply("BB BB 00 00 00 15 3C 00 00 00 00 01 00 03 00 00 00 11 00 00 00 01 00 44 33 22 11"),
              "BB BB 00 00 00 02 00 00");
    EXPECT_EQ(memoryAt(3, 0, 4), "FF FF 00 00");
}

TEST_F(RequestServerTest, OtherWritesToAnAreaOfBitsAreBytes) {
    Leaf lamp;
    lamp.code = TypeCode::Bit;
    lamp.area = 3;
    lamp.address = 2;
    server_.setBits(BitLayout({lamp}));
    // two bytes at byte 2
    EXPECT_EQ(reply("BB BB 00 00 00 16 3C 00 00 00 00 01 00 03 00 00 00 02 00 00 00 02 12 34 44 33 22 11"),
              "BB BB 00 00 00 02 00 00");
    // one byte at byte 5, where no bit variable has its address
    EXPECT_EQ(reply("BB BB 00 00 00 15 3C 00 00 00 00 01 00 03 00 00 00 05 00 00 00 01 77 44 33 22 11"),
              "BB BB 00 00 00 02 00 00");
    EXPECT_EQ(memoryAt(3, 0, 8), "00 00 12 34 00 77 00 00");
}

// ---- what is no request

TEST_F(RequestServerTest, WhatIsNoRequestIsRefused) {
    struct Row {
        const char* situation;
        const char* request;
        const char* reply;
    };
    const Row rows[] = {
        {"nothing", "", "BB BB 00 00 00 02 01 01"},
        {"one byte", "BB", "BB BB 00 00 00 02 01 01"},
        {"wrong magic", "BB BA 00 00 00 01 2E", "BB BB 00 00 00 02 01 01"},
        {"magic alone", "BB BB", "BB BB 00 00 00 02 01 03"},
        {"no payload", "BB BB 00 00 00 00", "BB BB 00 00 00 02 01 03"},
        {"length below what is there", "BB BB 00 00 00 01 2E 00", "BB BB 00 00 00 02 01 03"},
        {"length above what is there", "BB BB 00 00 00 03 2E 00", "BB BB 00 00 00 02 01 03"},
        {"upper half of the length", "BB BB 00 01 00 02 2E 00", "BB BB 00 00 00 02 01 03"},
        {"service 00", "BB BB 00 00 00 02 00 00", "BB BB 00 00 00 02 01 04"},
        {"service FF", "BB BB 00 00 00 02 FF 00", "BB BB 00 00 00 02 01 04"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(reply(row.request), row.reply) << row.situation;
    }
}

// ---- the simulator's own variables

TEST_F(RequestServerTest, WritingFaultKindArms) {
    // 2 items: area 9, offset 4, size 4, argument 250; area 9, offset 0, size 4, kind 1 (delay), count 3
    const Reply answered =
        answer(byteString("BB BB 00 00 00 26 3C 00 00 00 00 02 00 09 00 00 00 04 00 00 00 04 00 00 00 FA "
                          "00 09 00 00 00 00 00 00 00 04 00 01 00 03 44 33 22 11"));
    EXPECT_EQ(hex(answered.bytes), "BB BB 00 00 00 02 00 00");
    ASSERT_TRUE(answered.armed);
    EXPECT_EQ(answered.armed->fault.kind, FaultKind::Delay);
    EXPECT_EQ(answered.armed->fault.argument, 250);
    EXPECT_EQ(answered.armed->count, 3U);
    EXPECT_FALSE(answered.armed->service);
}

TEST_F(RequestServerTest, CountZeroArmsOneReplyAndTheServiceIsKept) {
    memory_.write(9, 8, byteString("00 3C"));  // Sim.fault_service = write
    // area 9, offset 0, size 2, kind 9 (reset)
    const Reply answered =
        answer(byteString("BB BB 00 00 00 16 3C 00 00 00 00 01 00 09 00 00 00 00 00 00 00 02 00 09 44 33 22 11"));
    ASSERT_TRUE(answered.armed);
    EXPECT_EQ(answered.armed->fault.kind, FaultKind::Reset);
    EXPECT_EQ(answered.armed->count, 1U);
    EXPECT_EQ(answered.armed->service, Service::Write);
}

TEST_F(RequestServerTest, HalfOfFaultKindArmsAsWell) {
    // area 9, offset 1, size 1: the low byte of the kind, 4 (truncate)
    const Reply answered =
        answer(byteString("BB BB 00 00 00 15 3C 00 00 00 00 01 00 09 00 00 00 01 00 00 00 01 04 44 33 22 11"));
    ASSERT_TRUE(answered.armed);
    EXPECT_EQ(answered.armed->fault.kind, FaultKind::Truncate);
}

TEST_F(RequestServerTest, WritingTheOtherVariablesArmsNothing) {
    // area 9, offset 2, size 2, count 5
    const Reply answered =
        answer(byteString("BB BB 00 00 00 16 3C 00 00 00 00 01 00 09 00 00 00 02 00 00 00 02 00 05 44 33 22 11"));
    EXPECT_EQ(answered.status, Status::Good);
    EXPECT_FALSE(answered.armed);
    EXPECT_EQ(memoryAt(9, 0, 4), "00 00 00 05");
}

TEST_F(RequestServerTest, CommandsWithoutSenseAreRefused) {
    // kind 11
    EXPECT_EQ(reply("BB BB 00 00 00 16 3C 00 00 00 00 01 00 09 00 00 00 00 00 00 00 02 00 0C 44 33 22 11"),
              "BB BB 00 00 00 02 03 05");
    // kind 8 (glue), count 1, argument 17: at most 16 copies
    EXPECT_EQ(reply("BB BB 00 00 00 1C 3C 00 00 00 00 01 00 09 00 00 00 00 00 00 00 08 00 08 00 01 00 00 00 11 "
                    "44 33 22 11"),
              "BB BB 00 00 00 02 03 05");
    // kind 2 (silence) and service 0x99 at offset 8, in two items
    EXPECT_EQ(reply("BB BB 00 00 00 22 3C 00 00 00 00 02 00 09 00 00 00 00 00 00 00 02 00 02 "
                    "00 09 00 00 00 08 00 00 00 02 00 99 44 33 22 11"),
              "BB BB 00 00 00 02 03 05");
    EXPECT_EQ(memoryAt(9, 0, 10), "00 00 00 00 00 00 00 00 00 00");
}

TEST_F(RequestServerTest, TheSimulatorsOwnCountersAreReadOnly) {
    // area 9, offset 20 (boot count), size 4; then offset 11, size 2: its second byte is the first that is read-only
    EXPECT_EQ(reply("BB BB 00 00 00 18 3C 00 00 00 00 01 00 09 00 00 00 14 00 00 00 04 00 00 00 07 44 33 22 11"),
              "BB BB 00 00 00 02 03 04");
    EXPECT_EQ(reply("BB BB 00 00 00 16 3C 00 00 00 00 01 00 09 00 00 00 0B 00 00 00 02 00 07 44 33 22 11"),
              "BB BB 00 00 00 02 03 04");
    EXPECT_EQ(memoryAt(9, 20, 4), "00 00 00 00");
    // offset 39, size 1: the last byte; offset 12, size 1: the first
    EXPECT_EQ(reply("BB BB 00 00 00 15 3C 00 00 00 00 01 00 09 00 00 00 27 00 00 00 01 07 44 33 22 11"),
              "BB BB 00 00 00 02 03 04");
    EXPECT_EQ(reply("BB BB 00 00 00 15 3C 00 00 00 00 01 00 09 00 00 00 0C 00 00 00 01 07 44 33 22 11"),
              "BB BB 00 00 00 02 03 04");
}

}  // namespace
}  // namespace ac500::sim
