#include "tools/host/reply_verdict.h"

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace ac500::host {
namespace {

using test::bytes;

// Two bytes of area 1: the reply has 12 + 1 + 2 bytes.
RequestFrame readOfTwoBytes() {
    return {Service::Read, {{1, 8, 2}}, 15};
}

TEST(ReplyVerdict, AReadReplyOfTheRightLengthIsGood) {
    EXPECT_EQ(judgeReply(readOfTwoBytes(), bytes("BBBB 00000009 0000 00000000 00 1234")).verdict, Verdict::Good);
}

TEST(ReplyVerdict, AReadReplyOneByteShortOrLongIsNone) {
    const ReplyVerdict shorter = judgeReply(readOfTwoBytes(), bytes("BBBB 00000008 0000 00000000 00 12"));
    EXPECT_EQ(shorter.verdict, Verdict::WrongLength);
    EXPECT_EQ(shorter.text, "the reply should have 15 bytes and has 14");
    EXPECT_EQ(judgeReply(readOfTwoBytes(), bytes("BBBB 0000000A 0000 00000000 00 123456")).verdict,
              Verdict::WrongLength);
}

TEST(ReplyVerdict, AStatusWordIsNamed) {
    const ReplyVerdict refused = judgeReply(readOfTwoBytes(), bytes("BBBB 00000002 0003"));
    EXPECT_EQ(refused.verdict, Verdict::Refused);
    EXPECT_EQ(refused.text, "the PLC refused it with status word 0x0003");
    EXPECT_EQ(judgeReply(readOfTwoBytes(), bytes("BBBB 00000009 0100 00000000 00 1234")).verdict, Verdict::Refused);
}

TEST(ReplyVerdict, ARefusalCarriesItsStatusWordAndOnlyOneWordMayPass) {
    const ReplyVerdict unknown = judgeReply(readOfTwoBytes(), bytes("BBBB 00000002 8003"));
    EXPECT_EQ(unknown.statusWord, 0x8003);
    EXPECT_FALSE(mayPass(unknown.statusWord));
    EXPECT_TRUE(mayPass(judgeReply(readOfTwoBytes(), bytes("BBBB 00000002 0F01")).statusWord));
    EXPECT_FALSE(mayPass(0x0201)) << "the session bytes of an earlier run: the frame would carry them again";
    EXPECT_FALSE(mayPass(0x0F00));
}

TEST(ReplyVerdict, SevenBytesCarryNoWholeStatusWord) {
    EXPECT_EQ(judgeReply(readOfTwoBytes(), bytes("BBBB 00000001 00")).verdict, Verdict::NoStatus);
    EXPECT_EQ(judgeReply(readOfTwoBytes(), bytes("BBBB 00000000")).verdict, Verdict::NoStatus);
}

TEST(ReplyVerdict, AGoodWriteReplyHasEightBytes) {
    const RequestFrame write = parseRequest(bytes("BBBB 00000016 3C 00 00000001 0001 00000008 00000002 1234 01020304"));
    EXPECT_EQ(judgeReply(write, bytes("BBBB 00000002 0000")).verdict, Verdict::Good);
    const ReplyVerdict longer = judgeReply(write, bytes("BBBB 00000003 0000 00"));
    EXPECT_EQ(longer.verdict, Verdict::WrongLength);
    EXPECT_EQ(longer.text, "the reply should have 8 bytes and has 9");
    EXPECT_EQ(judgeReply(write, bytes("BBBB 00000009 0000 00000000 00 1234")).verdict, Verdict::WrongLength)
        << "the answer to a read";
    EXPECT_EQ(judgeReply(write, bytes("BBBB 00000001 00")).verdict, Verdict::NoStatus);
    EXPECT_EQ(judgeReply(write, bytes("BBBB 00000002 0001")).verdict, Verdict::Refused);
}

TEST(ReplyVerdict, HandshakeRepliesAreLeftToTheDriver) {
    const RequestFrame handshake{Service::Hello, {}, -1};
    EXPECT_EQ(judgeReply(handshake, bytes("BBBB 00000002 FFFF")).verdict, Verdict::Good);
    EXPECT_EQ(judgeReply(handshake, bytes("BBBB 00000000")).verdict, Verdict::Good);
}

TEST(ReplyVerdict, AnotherMagicIsNamed) {
    const ReplyVerdict wrong = judgeReply(readOfTwoBytes(), bytes("BBBC 00000009 0000 00000000 00 1234"));
    EXPECT_EQ(wrong.verdict, Verdict::WrongMagic);
    EXPECT_EQ(wrong.text, "the reply begins with 0xBBBC instead of 0xBBBB");
}

TEST(ReplyVerdict, OnlyARefusalLeavesTheConnectionInStep) {
    EXPECT_TRUE(keepsConnection(Verdict::Good));
    EXPECT_TRUE(keepsConnection(Verdict::Refused));
    EXPECT_FALSE(keepsConnection(Verdict::NoStatus));
    EXPECT_FALSE(keepsConnection(Verdict::WrongLength));
    EXPECT_FALSE(keepsConnection(Verdict::WrongMagic));
}

}  // namespace
}  // namespace ac500::host
