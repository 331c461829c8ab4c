// The read request, service 2E, byte by byte.
#include "tests/support/batch_test.h"

using namespace ac500::test;

namespace {

class ReadServiceTest : public BatchTest {
protected:
    // The frame for the current batch.
    static std::string readFrame() {
        RW_VAR var = labelledVar();
        ReadRegister(&var);
        return hex(queued().frame);
    }
};

TEST_F(ReadServiceTest, OneItem) {
    fillBatch({readVar(2, 0x1234, 4)});
    EXPECT_EQ(readFrame(), lines("BB BB 00 00 00 14",              // magic, length 20
                                 "2E 00 00 00 00 01",              // service, one item
                                 "00 02 00 00 12 34 00 00 00 04",  // area 2, offset 1234, four bytes
                                 "01 02 03 04"));                  // session bytes
}

TEST_F(ReadServiceTest, SeveralItemsFollowInBatchOrder) {
    fillBatch({readVar(2, 0x10, 4), readVar(1, 0x20, 200), readVar(2, 0x10, 4)});
    EXPECT_EQ(readFrame(), lines("BB BB 00 00 00 28", "2E 00 00 00 00 03",  //
                                 "00 02 00 00 00 10 00 00 00 04",           //
                                 "00 01 00 00 00 20 00 00 00 C8",           //
                                 "00 02 00 00 00 10 00 00 00 04",           //
                                 "01 02 03 04"));
}

TEST_F(ReadServiceTest, EmptyBatchIsNotRefused) {
    fillBatch({});
    EXPECT_EQ(readFrame(), "BB BB 00 00 00 0A 2E 00 00 00 00 00 01 02 03 04");
    EXPECT_EQ(queued().frameLength, 16);
}

TEST_F(ReadServiceTest, NumbersAreBigEndian) {
    fillBatch({readVar(0x0102, 0x03040506, 0x0708090A)});
    EXPECT_EQ(readFrame(), "BB BB 00 00 00 14 2E 00 00 00 00 01 01 02 03 04 05 06 07 08 09 0A 01 02 03 04");
}

TEST_F(ReadServiceTest, AreaIsCutToSixteenBits) {
    fillBatch({readVar(0x12345678, 0, 1), readVar(-2, 0, 1), readVar(65536, 0, 1)});
    EXPECT_EQ(readFrame(), lines("BB BB 00 00 00 28", "2E 00 00 00 00 03",  //
                                 "56 78 00 00 00 00 00 00 00 01",           //
                                 "FF FE 00 00 00 00 00 00 00 01",           //
                                 "00 00 00 00 00 00 00 00 00 01",           //
                                 "01 02 03 04"));
}

TEST_F(ReadServiceTest, NegativeAreaAndOffsetTravelAsTheirBits) {
    fillBatch({readVar(-1, -1, 1), readVar(0, -2147483647 - 1, 2147483647)});
    EXPECT_EQ(readFrame(), lines("BB BB 00 00 00 1E", "2E 00 00 00 00 02",  //
                                 "FF FF FF FF FF FF 00 00 00 01",           //
                                 "00 00 80 00 00 00 7F FF FF FF",           //
                                 "01 02 03 04"));
}

TEST_F(ReadServiceTest, NegativeSizeTravelsAsZero) {
    fillBatch({readVar(2, 0x10, -1), readVar(2, 0x10, -2147483647 - 1)});
    EXPECT_EQ(readFrame(), lines("BB BB 00 00 00 1E", "2E 00 00 00 00 02",  //
                                 "00 02 00 00 00 10 00 00 00 00",           //
                                 "00 02 00 00 00 10 00 00 00 00",           //
                                 "01 02 03 04"));
}

TEST_F(ReadServiceTest, SessionBytesAreSentInStoredOrder) {
    setSessionBytes("FF 80 7F 00");
    fillBatch({readVar(0, 0, 0)});
    EXPECT_EQ(readFrame(), "BB BB 00 00 00 14 2E 00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 FF 80 7F 00");
}

TEST_F(ReadServiceTest, SeventyNineItemsNeedBothBytesOfTheLength) {
    fillBatch(79, readVar(2, 0x10, 4));
    readFrame();
    EXPECT_EQ(queued().frameLength, 806);
    EXPECT_EQ(hex(queued().frame.left(12)), "BB BB 00 00 03 20 2E 00 00 00 00 4F");
    EXPECT_EQ(hex(queued().frame.mid(792)), "00 02 00 00 00 10 00 00 00 04 01 02 03 04");
}

TEST_F(ReadServiceTest, WholeBatchCapacityIsEncoded) {
    fillBatch(100, readVar(2, 0x10, 4));
    readFrame();
    EXPECT_EQ(queued().frame.size(), 1016);
    EXPECT_EQ(hex(queued().frame.left(12)), "BB BB 00 00 03 F2 2E 00 00 00 00 64");
    EXPECT_EQ(hex(queued().frame.mid(1002)), "00 02 00 00 00 10 00 00 00 04 01 02 03 04");
}

TEST_F(ReadServiceTest, QueuedRecordSaysWhatReplyToExpect) {
    fillBatch({readVar(2, 0x1234, 4)});
    readFrame();
    const Protocol request = queued();
    EXPECT_EQ(request.frameLength, 26);
    EXPECT_EQ(request.frame.size(), 26);
    EXPECT_EQ(request.replyLength, -1);
    EXPECT_EQ(request.replyDataOffset, 12);
    EXPECT_EQ(request.minReplyLength, 0);
    EXPECT_EQ(request.reserved80, 0);
    EXPECT_EQ(request.reserved84, 0);
    EXPECT_EQ(request.reserved88, 0);
}

TEST_F(ReadServiceTest, QueuedVariableIsTheArgumentWithItsData) {
    fillBatch({readVar(2, 0x1234, 4)});
    readFrame();
    expectLabelledVar(queued().var);
}

TEST_F(ReadServiceTest, OneUnansweredFrameIsCounted) {
    fillBatch({readVar(2, 0x1234, 4)});
    readFrame();
    EXPECT_EQ(settings.frameTotal, 1);
    EXPECT_EQ(settings.frameDone, 0);
}

TEST_F(ReadServiceTest, SecondCallQueuesASecondRecordBehindTheFirst) {
    fillBatch({readVar(2, 0x10, 4)});
    readFrame();
    fillBatch({readVar(2, 0x20, 4)});
    readFrame();
    ASSERT_EQ(PLC_driver.frameList.size(), 2);
    EXPECT_EQ(hex(PLC_driver.frameList.at(0).frame),
              "BB BB 00 00 00 14 2E 00 00 00 00 01 00 02 00 00 00 10 00 00 00 04 01 02 03 04");
    EXPECT_EQ(hex(PLC_driver.frameList.at(1).frame),
              "BB BB 00 00 00 14 2E 00 00 00 00 01 00 02 00 00 00 20 00 00 00 04 01 02 03 04");
    EXPECT_EQ(settings.frameTotal, 1);
}

TEST_F(ReadServiceTest, BothEntryPointsQueueTheSame) {
    fillBatch({readVar(2, 0x1234, 4)});
    RW_VAR var = labelledVar();
    ReadAnalog(&var);
    ASSERT_EQ(PLC_driver.frameList.size(), 1);
    EXPECT_EQ(hex(queued().frame), "BB BB 00 00 00 14 2E 00 00 00 00 01 00 02 00 00 12 34 00 00 00 04 01 02 03 04");
    EXPECT_EQ(queued().replyDataOffset, 12);
    expectLabelledVar(queued().var);
    EXPECT_EQ(settings.frameTotal, 1);
    EXPECT_EQ(settings.frameDone, 0);
}

TEST_F(ReadServiceTest, NothingElseChanges) {
    fillBatch({readVar(2, 0x1234, 4)});
    RW_VAR var = labelledVar();
    ReadRegister(&var);
    expectLabelledVar(var);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
    EXPECT_EQ(PLC_driver.batchCount, 1);
    EXPECT_EQ(PLC_driver.batch[0].offset, 0x1234);
    EXPECT_EQ(PLC_driver.batchKind, 100);
    EXPECT_EQ(PLC_driver.connected, 0);
}

}  // namespace
