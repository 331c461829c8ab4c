// The write request, service 3C, byte by byte, and the mirror of written values in the byte image.
#include "tests/support/batch_test.h"

using namespace ac500::test;

namespace {

class WriteServiceTest : public BatchTest {
protected:
    // The frame for the current batch; the variable to mirror is another one.
    static std::string writeFrame() {
        RW_VAR var = labelledVar();
        WriteRegister(&var);
        return hex(queued().frame);
    }

    // A write whose `size` is not that of its data.
    static RW_VAR sized(RW_VAR var, qint32 size) {
        var.size = size;
        return var;
    }
};

TEST_F(WriteServiceTest, OneItem) {
    setSessionBytes("0A 0B 0C 0D");
    fillBatch({writeVar(1, 8, "12 34")});
    EXPECT_EQ(writeFrame(),
              lines("BB BB 00 00 00 16",                    // magic, length 22
                    "3C 00 00 00 00 01",                    // service, one item
                    "00 01 00 00 00 08 00 00 00 02 12 34",  // area 1, offset 8, two bytes and their values
                    "0A 0B 0C 0D"));                        // session bytes
}

TEST_F(WriteServiceTest, SeveralItemsFollowEachOtherDirectly) {
    fillBatch({writeVar(1, 8, "12 34"), writeVar(2, 0x1000, "A1 A2 A3 A4")});
    EXPECT_EQ(writeFrame(), lines("BB BB 00 00 00 24", "3C 00 00 00 00 02",     //
                                  "00 01 00 00 00 08 00 00 00 02 12 34",        //
                                  "00 02 00 00 10 00 00 00 00 04 A1 A2 A3 A4",  //
                                  "01 02 03 04"));
    EXPECT_EQ(queued().frameLength, 42);
}

TEST_F(WriteServiceTest, ItemsKeepTheBatchOrder) {
    fillBatch({writeVar(2, 9, "33"), writeVar(1, 8, "22"), writeVar(2, 9, "11")});
    EXPECT_EQ(writeFrame(), lines("BB BB 00 00 00 2B", "3C 00 00 00 00 03",  //
                                  "00 02 00 00 00 09 00 00 00 01 33",        //
                                  "00 01 00 00 00 08 00 00 00 01 22",        //
                                  "00 02 00 00 00 09 00 00 00 01 11",        //
                                  "01 02 03 04"));
}

TEST_F(WriteServiceTest, EmptyBatchIsNotRefused) {
    fillBatch({});
    EXPECT_EQ(writeFrame(), "BB BB 00 00 00 0A 3C 00 00 00 00 00 01 02 03 04");
}

TEST_F(WriteServiceTest, ItemWithoutBytes) {
    fillBatch({writeVar(1, 8, "")});
    EXPECT_EQ(writeFrame(), "BB BB 00 00 00 14 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 00 01 02 03 04");
}

TEST_F(WriteServiceTest, NumbersAreBigEndianAndBytesKeepTheirOrder) {
    fillBatch({writeVar(0x0102, 0x03040506, "01 02 03 04 05 06 07 08")});
    EXPECT_EQ(writeFrame(), lines("BB BB 00 00 00 1C", "3C 00 00 00 00 01",                    //
                                  "01 02 03 04 05 06 00 00 00 08", "01 02 03 04 05 06 07 08",  //
                                  "01 02 03 04"));
}

TEST_F(WriteServiceTest, AreaIsCutToSixteenBits) {
    fillBatch({writeVar(0x12345678, -1, "00"), writeVar(-2, -2147483647 - 1, "00")});
    EXPECT_EQ(writeFrame(), lines("BB BB 00 00 00 20", "3C 00 00 00 00 02",  //
                                  "56 78 FF FF FF FF 00 00 00 01 00",        //
                                  "FF FE 80 00 00 00 00 00 00 01 00",        //
                                  "01 02 03 04"));
}

TEST_F(WriteServiceTest, SessionBytesAreSentInStoredOrder) {
    setSessionBytes("FF 80 7F 00");
    fillBatch({writeVar(1, 8, "EE")});
    EXPECT_EQ(writeFrame(), "BB BB 00 00 00 15 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 01 EE FF 80 7F 00");
}

TEST_F(WriteServiceTest, OnlyTheFirstBytesOfLongerDataAreSent) {
    fillBatch({sized(writeVar(1, 8, "11 22 33 44"), 2)});
    EXPECT_EQ(writeFrame(), "BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 02 11 22 01 02 03 04");
}

TEST_F(WriteServiceTest, MissingBytesOfShorterDataAreZeros) {
    fillBatch({sized(writeVar(1, 8, "11"), 4), sized(writeVar(1, 9, ""), 2)});
    EXPECT_EQ(writeFrame(), lines("BB BB 00 00 00 24", "3C 00 00 00 00 02",     //
                                  "00 01 00 00 00 08 00 00 00 04 11 00 00 00",  //
                                  "00 01 00 00 00 09 00 00 00 02 00 00",        //
                                  "01 02 03 04"));
}

TEST_F(WriteServiceTest, NegativeSizeTravelsAsZeroWithoutBytes) {  // quirk 37
    fillBatch({sized(writeVar(1, 8, "11 22"), -1), writeVar(1, 9, "33")});
    EXPECT_EQ(writeFrame(), lines("BB BB 00 00 00 1F", "3C 00 00 00 00 02",  //
                                  "00 01 00 00 00 08 00 00 00 00",           //
                                  "00 01 00 00 00 09 00 00 00 01 33",        //
                                  "01 02 03 04"));
}

TEST_F(WriteServiceTest, TypeIsNotSent) {
    RW_VAR bit = writeVar(1, 17, "01");
    bit.dataType = 13;
    fillBatch({bit});
    EXPECT_EQ(writeFrame(), "BB BB 00 00 00 15 3C 00 00 00 00 01 00 01 00 00 00 11 00 00 00 01 01 01 02 03 04");
}

TEST_F(WriteServiceTest, LengthNeedsBothBytes) {
    fillBatch({sized(writeVar(1, 8, ""), 780)});
    writeFrame();
    EXPECT_EQ(queued().frameLength, 806);
    EXPECT_EQ(hex(queued().frame.left(22)), "BB BB 00 00 03 20 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 03 0C");
}

TEST_F(WriteServiceTest, LengthOfALargerFrameIsCutToSixteenBits) {
    fillBatch({sized(writeVar(1, 8, "77"), 65536)});
    writeFrame();
    EXPECT_EQ(queued().frameLength, 65562);
    EXPECT_EQ(queued().frame.size(), 65562);
    EXPECT_EQ(hex(queued().frame.left(24)), "BB BB 00 00 00 14 3C 00 00 00 00 01 00 01 00 00 00 08 00 01 00 00 77 00");
    EXPECT_EQ(hex(queued().frame.right(5)), "00 01 02 03 04");
}

TEST_F(WriteServiceTest, WholeBatchCapacityIsEncoded) {
    fillBatch(100, writeVar(1, 8, "77"));
    writeFrame();
    EXPECT_EQ(queued().frame.size(), 1116);
    EXPECT_EQ(hex(queued().frame.left(12)), "BB BB 00 00 04 56 3C 00 00 00 00 64");
    EXPECT_EQ(hex(queued().frame.mid(1101)), "00 01 00 00 00 08 00 00 00 01 77 01 02 03 04");
}

TEST_F(WriteServiceTest, QueuedRecordSaysWhatReplyToExpect) {
    fillBatch({writeVar(1, 8, "12 34")});
    writeFrame();
    const Protocol request = queued();
    EXPECT_EQ(request.frameLength, 28);
    EXPECT_EQ(request.frame.size(), 28);
    EXPECT_EQ(request.replyLength, -1);
    EXPECT_EQ(request.replyDataOffset, 0);
    EXPECT_EQ(request.minReplyLength, 0);
    EXPECT_EQ(request.reserved80, 0);
    EXPECT_EQ(request.reserved84, 0);
    EXPECT_EQ(request.reserved88, 0);
}

TEST_F(WriteServiceTest, QueuedVariableIsTheArgumentWithItsData) {
    fillBatch({writeVar(1, 8, "12 34")});
    writeFrame();
    expectLabelledVar(queued().var);
}

TEST_F(WriteServiceTest, OneUnansweredFrameIsCounted) {
    fillBatch({writeVar(1, 8, "12 34")});
    writeFrame();
    EXPECT_EQ(settings.frameTotal, 1);
    EXPECT_EQ(settings.frameDone, 0);
}

TEST_F(WriteServiceTest, SecondCallQueuesASecondRecordBehindTheFirst) {
    fillBatch({writeVar(1, 8, "11")});
    writeFrame();
    fillBatch({writeVar(1, 8, "22")});
    writeFrame();
    ASSERT_EQ(PLC_driver.frameList.size(), 2);
    EXPECT_EQ(hex(PLC_driver.frameList.at(0).frame.mid(22)), "11 01 02 03 04");
    EXPECT_EQ(hex(PLC_driver.frameList.at(1).frame.mid(22)), "22 01 02 03 04");
}

TEST_F(WriteServiceTest, ArgumentIsMirroredIntoTheByteImage) {  // quirk 25
    fillBatch({writeVar(1, 8, "12 34")});
    writeFrame();
    EXPECT_EQ(image(3, 43, 4), "-- AA BB --");
}

TEST_F(WriteServiceTest, OnlyTheFirstVariableOfABatchIsMirrored) {  // quirk 29
    connectToPlc();
    addWrite(writeVar(1, 8, "12 34"));
    addWrite(writeVar(1, 20, "56 78"));
    EXPECT_EQ(nextFrame(), lines("BB BB 00 00 00 22", "3C 00 00 00 00 02",  //
                                 "00 01 00 00 00 08 00 00 00 02 12 34",     //
                                 "00 01 00 00 00 14 00 00 00 02 56 78",     //
                                 "0A 0B 0C 0D"));
    EXPECT_EQ(image(1, 8, 2), "12 34");
    EXPECT_EQ(image(1, 20, 2), "-- --");
    answer(writeReply());
    EXPECT_EQ(image(1, 20, 2), "-- --");
}

TEST_F(WriteServiceTest, BitIsMirroredIntoItsWord) {
    RW_VAR bit = writeVar(1, 17, "01");
    bit.dataType = 13;
    fillBatch({bit});
    WriteRegister(&bit);
    EXPECT_EQ(image(1, 2, 2), "00 02");
    EXPECT_EQ(image(1, 17, 1), "--");
}

TEST_F(WriteServiceTest, FailedCommunicationMirrorsNothing) {  // quirk 25
    PLC_driver.commFailed = 1;
    fillBatch({writeVar(1, 8, "12 34")});
    EXPECT_EQ(writeFrame(), "BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 02 12 34 01 02 03 04");
    EXPECT_EQ(PLC_driver.frameList.size(), 1);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(WriteServiceTest, ValueIsMirroredAlreadyWhenTheHandshakeReplacesItsRequest) {  // quirk 25
    addWrite(writeVar(1, 8, "12 34"));
    EXPECT_EQ(nextFrame(), "BB BB 00 00 00 0E 01 00 00 00 02 00 00 00 06 00 00 00 00 00");
    EXPECT_EQ(image(1, 8, 2), "12 34");
}

TEST_F(WriteServiceTest, ValueIsNotMirroredWhileItOnlyWaits) {  // quirk 25
    addWrite(writeVar(1, 8, "12 34"));
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(WriteServiceTest, RetriedRequestIsNotMirroredAgain) {
    connectToPlc();
    addWrite(writeVar(1, 8, "12 34"));
    nextFrame();
    setImage(1, 8, "55 66");
    answerNothing();
    nextFrame();
    EXPECT_EQ(image(1, 8, 2), "55 66");
}

TEST_F(WriteServiceTest, EncodingAloneMirrorsNothing) {
    fillBatch({writeVar(1, 8, "12 34")});
    RW_VAR var = labelledVar();
    WriteAnalog(&var);
    ASSERT_EQ(PLC_driver.frameList.size(), 1);
    EXPECT_EQ(hex(queued().frame),
              "BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 02 12 34 01 02 03 04");
    expectLabelledVar(queued().var);
    EXPECT_EQ(settings.frameTotal, 1);
    EXPECT_EQ(settings.frameDone, 0);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

// Sizes without sense: the frame would not fit into a byte array.
TEST_F(WriteServiceTest, FrameBeyondAGibibyteIsNotQueued) {
    RW_VAR var = labelledVar();
    settings.frameTotal = 7;
    settings.frameDone = 7;
    fillBatch({sized(writeVar(1, 8, "12 34"), 0x40000000)});
    WriteAnalog(&var);
    fillBatch({sized(writeVar(1, 8, "12 34"), 0x20000000), sized(writeVar(1, 8, "12 34"), 0x20000000)});
    WriteAnalog(&var);
    fillBatch({sized(writeVar(1, 8, "12 34"), 0x7FFFFFFF), sized(writeVar(1, 8, "12 34"), 0x7FFFFFFF)});
    WriteAnalog(&var);
    EXPECT_TRUE(PLC_driver.frameList.isEmpty());
    EXPECT_EQ(settings.frameTotal, 7);
    EXPECT_EQ(settings.frameDone, 7);
}

TEST_F(WriteServiceTest, FrameBeyondAGibibyteIsNotMirroredEither) {
    RW_VAR var = labelledVar();
    fillBatch({sized(writeVar(1, 8, "12 34"), 0x40000000)});
    WriteRegister(&var);
    EXPECT_TRUE(PLC_driver.frameList.isEmpty());
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(WriteServiceTest, NothingElseChanges) {
    fillBatch({writeVar(1, 8, "12 34")});
    RW_VAR var = labelledVar();
    WriteRegister(&var);
    expectLabelledVar(var);
    EXPECT_EQ(PLC_driver.batchCount, 1);
    EXPECT_EQ(hex(PLC_driver.batch[0].data), "12 34");
    EXPECT_EQ(PLC_driver.batchKind, 100);
    EXPECT_EQ(PLC_driver.connected, 0);
}

}  // namespace
