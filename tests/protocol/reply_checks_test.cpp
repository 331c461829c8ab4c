// The two checks that every reply passes: is it complete, and is it a good answer to a read or a write? And the record
// that DataCom returns.
#include "tests/support/driver_test.h"

using namespace ac500::test;

namespace {

constexpr int kComplete = 0;
constexpr int kIncomplete = 8;

int completeness(QByteArray reply) {
    return infinite_length_data_reception(&reply);
}

TEST(ReplyCompletenessTest, SixBytesWithLengthZeroAreComplete) {
    EXPECT_EQ(completeness(bytes("BB BB 00 00 00 00")), kComplete);
}

TEST(ReplyCompletenessTest, SeventhByteWithLengthZeroIsTooMuch) {
    EXPECT_EQ(completeness(bytes("BB BB 00 00 00 00 00")), kIncomplete);
}

TEST(ReplyCompletenessTest, SevenBytesWithLengthOneAreComplete) {
    EXPECT_EQ(completeness(bytes("BB BB 00 00 00 01 00")), kComplete);
}

TEST(ReplyCompletenessTest, EveryTruncatedPrefixIsIncomplete) {
    const QByteArray reply = bytes("BB BB 00 00 00 0A 00 00 11 22 33 44 EE 01 02 03");
    ASSERT_EQ(completeness(reply), kComplete);
    for (int size = 0; size < 16; ++size) {
        EXPECT_EQ(completeness(reply.left(size)), kIncomplete) << size << " bytes";
    }
}

TEST(ReplyCompletenessTest, BytesBeyondTheReplyMakeItIncomplete) {
    EXPECT_EQ(completeness(bytes("BB BB 00 00 00 02 00 00 BB")), kIncomplete);
    EXPECT_EQ(completeness(bytes("BB BB 00 00 00 02 00 00 BB BB 00 00 00 02 00 00")), kIncomplete);
}

TEST(ReplyCompletenessTest, UpperHalfOfTheLengthDoesNotCount) {  // quirk 2
    EXPECT_EQ(completeness(bytes("BB BB FF FF 00 02 00 00")), kComplete);
    EXPECT_EQ(completeness(bytes("BB BB 00 01 00 00")), kComplete);
    EXPECT_EQ(completeness(bytes("BB BB 80 00 00 02 00 00")), kComplete);
}

TEST(ReplyCompletenessTest, MagicDoesNotCount) {  // quirk 2
    EXPECT_EQ(completeness(bytes("00 00 00 00 00 02 00 00")), kComplete);
    EXPECT_EQ(completeness(bytes("AA BB 00 00 00 02 2E 00")), kComplete);
}

TEST(ReplyCompletenessTest, LengthIsBigEndianAndUnsigned) {
    EXPECT_EQ(completeness(bytes("BB BB 00 00 01 00") + QByteArray(256, '\0')), kComplete);
    EXPECT_EQ(completeness(bytes("BB BB 00 00 01 00 00")), kIncomplete);
    EXPECT_EQ(completeness(bytes("BB BB 00 00 00 FF") + QByteArray(255, '\0')), kComplete);
    EXPECT_EQ(completeness(bytes("BB BB 00 00 80 80") + QByteArray(32896, '\0')), kComplete);
}

TEST(ReplyCompletenessTest, LargestLengthIsSixtyFiveThousandFiveHundredAndThirtyFive) {
    EXPECT_EQ(completeness(bytes("BB BB 00 00 FF FF") + QByteArray(65535, '\0')), kComplete);
    EXPECT_EQ(completeness(bytes("BB BB 00 00 FF FF") + QByteArray(65534, '\0')), kIncomplete);
    EXPECT_EQ(completeness(bytes("BB BB 00 01 00 00") + QByteArray(65536, '\0')), kIncomplete);
}

class DataReplyCheckTest : public DriverTest {
protected:
    DataReplyCheckTest() { serve(0); }

    // Queues a frame for a variable with this write flag.
    static void serve(qint32 writeFlag) {
        Protocol request = Protocol();
        request.var.writeFlag = writeFlag;
        PLC_driver.frameList = {request};
    }

    static int check(const char* reply, int unused = 0) {
        const QByteArray data = bytes(reply);
        return CheckGetData(&data, unused);
    }
};

constexpr const char* kGoodReply = "BB BB 00 00 00 02 00 00";

TEST_F(DataReplyCheckTest, GoodReplyToAReadGivesOne) {
    EXPECT_EQ(check(kGoodReply), 1);
    EXPECT_EQ(check("BB BB 00 00 00 09 00 00 11 22 33 44 EE 12 34"), 1);
}

TEST_F(DataReplyCheckTest, GoodReplyToAWriteGivesTwo) {
    serve(1);
    EXPECT_EQ(check(kGoodReply), 2);
}

TEST_F(DataReplyCheckTest, AnyWriteFlagButZeroIsAWrite) {
    for (qint32 writeFlag : {2, -1, 256, 65536}) {
        serve(writeFlag);
        EXPECT_EQ(check(kGoodReply), 2) << writeFlag;
    }
}

TEST_F(DataReplyCheckTest, HeadFrameDecidesWhenSeveralAreQueued) {
    Protocol write = Protocol();
    write.var.writeFlag = 1;
    PLC_driver.frameList.append(write);
    EXPECT_EQ(check(kGoodReply), 1);
}

TEST_F(DataReplyCheckTest, StatusWordOtherThanZeroGivesZero) {
    EXPECT_EQ(check("BB BB 00 00 00 02 00 01"), 0);
    EXPECT_EQ(check("BB BB 00 00 00 02 01 00"), 0);
    EXPECT_EQ(check("BB BB 00 00 00 02 80 00"), 0);
    EXPECT_EQ(check("BB BB 00 00 00 02 00 FF"), 0);
    serve(1);
    EXPECT_EQ(check("BB BB 00 00 00 02 00 01"), 0);
}

TEST_F(DataReplyCheckTest, ReplyWithoutAWholeStatusWordGivesZero) {
    EXPECT_EQ(check("BB BB 00 00 00 00"), 0);
    EXPECT_EQ(check("BB BB 00 00 00 01 00"), 0);
}

TEST_F(DataReplyCheckTest, EveryTruncatedPrefixGivesZero) {
    const QByteArray reply = bytes("BB BB 00 00 00 09 00 00 11 22 33 44 EE 12 34");
    for (int size = 0; size < 15; ++size) {
        const QByteArray prefix = reply.left(size);
        EXPECT_EQ(CheckGetData(&prefix, 15), 0) << size << " bytes";
    }
}

TEST_F(DataReplyCheckTest, ReplyWithALyingLengthGivesZero) {
    EXPECT_EQ(check("BB BB 00 00 00 03 00 00"), 0);
    EXPECT_EQ(check("BB BB 00 00 00 01 00 00"), 0);
    EXPECT_EQ(check("BB BB 00 00 FF FF 00 00"), 0);
}

TEST_F(DataReplyCheckTest, UpperHalfOfTheLengthAndMagicDoNotCount) {  // quirk 2
    EXPECT_EQ(check("BB BB FF FF 00 02 00 00"), 1);
    EXPECT_EQ(check("00 00 00 00 00 02 00 00"), 1);
}

TEST_F(DataReplyCheckTest, SecondArgumentIsNotUsed) {
    EXPECT_EQ(check(kGoodReply, -1), 1);
    EXPECT_EQ(check(kGoodReply, 8), 1);
    EXPECT_EQ(check(kGoodReply, 65541), 1);
    EXPECT_EQ(check("BB BB 00 00 00 03 00 00", 9), 0);
}

TEST_F(DataReplyCheckTest, ReplyWithNothingQueuedGivesZero) {
    PLC_driver.frameList.clear();
    EXPECT_EQ(check(kGoodReply), 0);
}

RW_VAR fullRecord() {
    RW_VAR var = RW_VAR();
    var.hostId = 101;
    var.hostSubId = 102;
    var.writeFlag = 103;
    var.aux3 = 104;
    var.aux4 = 105;
    var.status = 106;
    var.labelName = "Main.values[%%]";
    var.labelArg = "3";
    var.dataType = 107;
    var.offset = 108;
    var.comWord = 109;
    var.size = 110;
    var.resolveResult = 111;
    var.area = 112;
    var.data = "\x12\x34";
    return var;
}

// quirk 11
TEST(PassRetValue, CopiesEveryFieldButTheDataWhichItClears) {
    const RW_VAR source = fullRecord();
    RW_VAR target = RW_VAR();
    target.data = "old";
    passRetValue(source, target);
    EXPECT_EQ(target.hostId, 101);
    EXPECT_EQ(target.hostSubId, 102);
    EXPECT_EQ(target.writeFlag, 103);
    EXPECT_EQ(target.aux3, 104);
    EXPECT_EQ(target.aux4, 105);
    EXPECT_EQ(target.status, 106);
    EXPECT_EQ(target.labelName, "Main.values[%%]");
    EXPECT_EQ(target.labelArg, "3");
    EXPECT_EQ(target.dataType, 107);
    EXPECT_EQ(target.offset, 108);
    EXPECT_EQ(target.comWord, 109);
    EXPECT_EQ(target.size, 110);
    EXPECT_EQ(target.resolveResult, 111);
    EXPECT_EQ(target.area, 112);
    EXPECT_TRUE(target.data.isEmpty());
}

TEST(PassRetValue, LeavesTheSourceAlone) {
    const RW_VAR source = fullRecord();
    RW_VAR target = RW_VAR();
    passRetValue(source, target);
    EXPECT_EQ(source.data, "\x12\x34");
    EXPECT_EQ(source.labelName, "Main.values[%%]");
}

}  // namespace
