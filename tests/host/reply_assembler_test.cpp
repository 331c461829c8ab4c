#include "tools/host/reply_assembler.h"

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace ac500::host {
namespace {

using test::bytes;

TEST(ReplyAssembler, CollectsAReplyByteByByte) {
    const QByteArray reply = bytes("BBBB 00000004 0000 1234");
    ReplyAssembler assembler;
    for (int i = 0; i < reply.size(); ++i) {
        EXPECT_FALSE(assembler.isComplete()) << i;
        assembler.append(reply.mid(i, 1));
    }
    EXPECT_TRUE(assembler.isComplete());
    EXPECT_EQ(assembler.surplus(), 0);
    EXPECT_EQ(assembler.takeReply(), reply);
    EXPECT_EQ(assembler.received(), 0);
}

TEST(ReplyAssembler, KnowsTheLengthOnceTheEnvelopeIsThere) {
    ReplyAssembler assembler;
    assembler.append(bytes("BBBB 000001"));
    EXPECT_EQ(assembler.announced(), -1);
    assembler.append(bytes("02"));
    EXPECT_EQ(assembler.announced(), 6 + 0x102);
}

TEST(ReplyAssembler, OnlyTheLowHalfOfTheLengthCounts) {
    ReplyAssembler assembler;
    assembler.append(bytes("BBBB FFFF0002 0000"));
    EXPECT_TRUE(assembler.isComplete());
}

TEST(ReplyAssembler, AnEmptyPayloadIsComplete) {
    ReplyAssembler assembler;
    assembler.append(bytes("BBBB 00000000"));
    EXPECT_TRUE(assembler.isComplete());
    EXPECT_EQ(assembler.reply().size(), 6);
}

TEST(ReplyAssembler, ReportsSurplusAndKeepsItAsTheNextBeginning) {
    ReplyAssembler assembler;
    assembler.append(bytes("BBBB 00000002 0000 BBBB 00"));
    EXPECT_EQ(assembler.surplus(), 3);
    EXPECT_EQ(assembler.takeReply(), bytes("BBBB 00000002 0000"));
    EXPECT_FALSE(assembler.isComplete());
    EXPECT_EQ(assembler.received(), 3);
}

TEST(ReplyAssembler, TellsAfterOneByteThatThisIsNoReply) {
    ReplyAssembler assembler;
    EXPECT_TRUE(assembler.mayBeReply());
    assembler.append("H");
    EXPECT_FALSE(assembler.mayBeReply());
    assembler.clear();
    assembler.append(bytes("BB"));
    EXPECT_TRUE(assembler.mayBeReply());
    assembler.append(bytes("BA"));
    EXPECT_FALSE(assembler.mayBeReply());
}

}  // namespace
}  // namespace ac500::host
