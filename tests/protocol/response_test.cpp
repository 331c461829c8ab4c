// DataCom: measuring, judging, retrying and giving up. completion_test.cpp holds what happens to the lists and what the
// host is told.
#include "tests/support/driver_test.h"
#include "tests/support/locks.h"

using namespace ac500::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const char* kReadRequest = "BB BB 00 00 00 14 2E 00 00 00 00 01 00 02 00 00 00 10 00 00 00 04 0A 0B 0C 0D";

class ResponseTest : public DriverTest {
protected:
    ResponseTest() {
        connectToPlc();
        settings.firstPassDone = 0;
        settings.retryLimit = 2;
    }

    // One cyclic read of four bytes in flight.
    void requestRead(qint32 hostId = 0) {
        addRead(identified(readVar(2, 16, 4), hostId, -1));
        ASSERT_EQ(nextFrame(), kReadRequest);
    }

    // One write of two bytes in flight.
    void requestWrite(qint32 hostId = 21) {
        addWrite(identified(writeVar(1, 8, "12 34"), hostId, 22));
        ASSERT_NE(ComCommunication(), nullptr);
    }

    static int process(QByteArray reply, int received) { return DataCom(&reply, received)->status; }
};

constexpr const char* kGoodReadReply = "BB BB 00 00 00 0B 00 00 11 22 33 44 EE A1 A2 A3 A4";

// ----- nothing queued

TEST_F(ResponseTest, NothingQueuedGivesOneAndChangesNothing) {
    PLC_driver.resultVar.hostId = 5;
    PLC_driver.resultVar.status = 77;
    addWrite(writeVar(1, 8, "12 34"));
    EXPECT_EQ(dataCom(bytes(kGoodReadReply)), 1);
    EXPECT_EQ(answerNothing(), 1);
    EXPECT_EQ(PLC_driver.resultVar.hostId, 5);
    EXPECT_EQ(settings.retryCount, 0);
    EXPECT_EQ(settings.firstPassDone, 0);
    EXPECT_EQ(PLC_driver.cyclicBatches, 0);
    EXPECT_EQ(PLC_driver.connected, 1);
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
    EXPECT_THAT(callbackDiary, IsEmpty());
}

TEST_F(ResponseTest, ResultIsTheDriversOwnRecord) {
    QByteArray reply;
    EXPECT_EQ(DataCom(&reply, 0), &PLC_driver.resultVar);
    requestRead();
    EXPECT_EQ(DataCom(&reply, 0), &PLC_driver.resultVar);
}

TEST_F(ResponseTest, ResultCarriesTheVariableOfTheHeadFrameWithoutItsData) {  // quirk 11
    RW_VAR var = identified(writeVar(1, 8, "12 34"), 21, 22);
    var.labelName = "Main.setpoint";
    var.labelArg = "3";
    var.dataType = 4;
    var.comWord = 2424;
    addWrite(var);
    ComCommunication();
    PLC_driver.resultVar.data = bytes("FF");
    answer(writeReply());
    const RW_VAR& result = PLC_driver.resultVar;
    EXPECT_EQ(result.hostId, 21);
    EXPECT_EQ(result.hostSubId, 22);
    EXPECT_EQ(result.writeFlag, 1);
    EXPECT_EQ(result.labelName, QString("Main.setpoint"));
    EXPECT_EQ(result.labelArg, QString("3"));
    EXPECT_EQ(result.dataType, 4);
    EXPECT_EQ(result.offset, 8);
    EXPECT_EQ(result.comWord, 2424);
    EXPECT_EQ(result.size, 2);
    EXPECT_EQ(result.area, 1);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.data.isEmpty());
}

// ----- measuring

TEST_F(ResponseTest, CompleteReplyIsMeasuredFirstAndProcessedBySecondCall) {
    requestRead();
    EXPECT_EQ(dataCom(bytes(kGoodReadReply)), 1);
    ASSERT_EQ(PLC_driver.frameList.size(), 1);
    EXPECT_EQ(PLC_driver.frameList.at(0).replyLength, 17);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
    EXPECT_EQ(settings.frameDone, 0);
    EXPECT_EQ(dataCom(bytes(kGoodReadReply)), 1);
    EXPECT_TRUE(PLC_driver.frameList.isEmpty());
    EXPECT_EQ(image(2, 16, 4), "A1 A2 A3 A4");
    EXPECT_EQ(settings.frameDone, 1);
}

TEST_F(ResponseTest, EveryTruncatedPrefixIsIncompleteAndChangesNothing) {
    requestRead();
    for (int size = 1; size < 17; ++size) {
        SCOPED_TRACE(size);
        EXPECT_EQ(dataCom(bytes(kGoodReadReply).left(size)), 0);
        EXPECT_EQ(PLC_driver.frameList.at(0).replyLength, -1);
        EXPECT_EQ(settings.retryCount, 0);
    }
    EXPECT_EQ(nextFrame(), kReadRequest);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
    EXPECT_EQ(answer(bytes(kGoodReadReply)), 1);
}

TEST_F(ResponseTest, ReplyWithALyingLengthStaysIncomplete) {
    requestRead();
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 0C 00 00 11 22 33 44 EE A1 A2 A3 A4")), 0);  // claims one byte more
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 0A 00 00 11 22 33 44 EE A1 A2 A3 A4")), 0);  // claims one byte less
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 00 00 00 11 22 33 44 EE A1 A2 A3 A4")), 0);
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 FF FF 00 00 11 22 33 44 EE A1 A2 A3 A4")), 0);
    EXPECT_EQ(PLC_driver.frameList.at(0).replyLength, -1);
    EXPECT_EQ(settings.retryCount, 0);
}

TEST_F(ResponseTest, UpperHalfOfTheLengthDoesNotCount) {  // quirk 2
    requestRead();
    EXPECT_EQ(answer(bytes("BB BB AB CD 00 0B 00 00 11 22 33 44 EE A1 A2 A3 A4")), 1);
    EXPECT_EQ(image(2, 16, 4), "A1 A2 A3 A4");
}

TEST_F(ResponseTest, MagicAndOtherReplyFieldsDoNotCount) {  // quirk 2
    requestRead();
    EXPECT_EQ(answer(bytes("00 FF 00 00 00 0B 00 00 99 99 99 99 00 A1 A2 A3 A4")), 1);
    EXPECT_EQ(image(2, 16, 4), "A1 A2 A3 A4");
}

TEST_F(ResponseTest, MeasuringTakesNoLock) {
    requestRead();
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [] { dataCom(bytes(kGoodReadReply).left(7)); }));
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [] { dataCom(bytes(kGoodReadReply)); }));
    EXPECT_EQ(PLC_driver.frameList.at(0).replyLength, 17);
}

TEST_F(ResponseTest, ReplyOfSixBytesIsCompleteButNoGoodAnswer) {
    settings.retryLimit = 0;
    requestRead();
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 00")), 1);
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 00")), 11);
}

TEST_F(ResponseTest, ReplyOfSevenBytesIsCompleteButNoGoodAnswer) {
    settings.retryLimit = 0;
    requestWrite(3);
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 01 00")), 1);
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 01 00")), 14);
}

TEST_F(ResponseTest, BarestReplyToAReadIsGoodAndReadsZeros) {
    setImage(2, 16, "51 52 53 54 55");
    requestRead();
    EXPECT_EQ(answer(bytes("BB BB 00 00 00 02 00 00")), 1);
    EXPECT_EQ(image(2, 16, 5), "00 00 00 00 55");
}

TEST_F(ResponseTest, LargestReplyIsAccepted) {
    requestRead();
    EXPECT_EQ(answer(zeroReply(65535)), 1);
    EXPECT_EQ(image(2, 16, 5), "00 00 00 00 --");
}

// ----- storing

TEST_F(ResponseTest, EveryItemIsStoredWithoutItsLeadByte) {
    addRead(readVar(2, 16, 2));
    addRead(readVar(3, 0x1000, 4));
    nextFrame();
    EXPECT_EQ(answer(bytes("BB BB 00 00 00 0E 00 00 11 22 33 44 EE 12 34 EE 01 02 03 04")), 1);
    EXPECT_EQ(image(2, 15, 4), "-- 12 34 --");
    EXPECT_EQ(image(3, 0x0FFF, 6), "-- 01 02 03 04 --");
}

TEST_F(ResponseTest, GoodReplyToAWriteStoresNothing) {
    requestWrite();
    PLC_driver.localValues.clear();
    EXPECT_EQ(answer(bytes("BB BB 00 00 00 09 00 00 11 22 33 44 EE 77 77")), 1);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(ResponseTest, BadReplyStoresNothing) {
    requestRead();
    EXPECT_EQ(answer(bytes("BB BB 00 00 00 0B 00 01 11 22 33 44 EE A1 A2 A3 A4")), 0);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(ResponseTest, StoringWaitsForTheImageLock) {
    requestRead();
    dataCom(bytes(kGoodReadReply));
    EXPECT_TRUE(waitsFor(PLC_driver.localAreaMutex, [] { dataCom(bytes(kGoodReadReply)); }));
    EXPECT_EQ(image(2, 16, 4), "A1 A2 A3 A4");
}

TEST_F(ResponseTest, CompletionWaitsForTheListLock) {
    requestWrite();
    dataCom(writeReply());
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { dataCom(writeReply()); }));
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 1)"));
}

TEST_F(ResponseTest, LocksAreFreeAfterEveryOutcome) {
    settings.retryLimit = 1;
    requestRead();
    answer(bytes(kGoodReadReply));
    nextFrame();
    answerNothing();
    answerNothing();
    for (QMutex* mutex : {&PLC_driver.listMutex, &PLC_driver.localAreaMutex, &PLC_driver.stationMutex}) {
        EXPECT_TRUE(mutex->tryLock());
        mutex->unlock();
    }
}

// ----- judging one reply

TEST_F(ResponseTest, EmptyReplyIsFortyOneWhateverTheHostId) {
    settings.retryLimit = 0;
    requestRead(3);
    EXPECT_EQ(answerNothing(), 41);
}

TEST_F(ResponseTest, ReplyThatBecameIncompleteIsSeventyOneWhateverTheHostId) {
    settings.retryLimit = 0;
    requestRead(3);
    ASSERT_EQ(dataCom(bytes(kGoodReadReply)), 1);
    EXPECT_EQ(dataCom(bytes(kGoodReadReply).left(16)), 71);
}

TEST_F(ResponseTest, FrameThatExpectsNoReplyIsDoneWithAnIncompleteOne) {
    for (const char* reply : {"", "BB BB 00"}) {
        requestWrite();
        PLC_driver.frameList[0].replyLength = 0;
        EXPECT_EQ(dataCom(bytes(reply)), 1) << reply;
        EXPECT_TRUE(PLC_driver.frameList.isEmpty()) << reply;
        EXPECT_TRUE(PLC_driver.writeList.isEmpty()) << reply;
    }
}

TEST_F(ResponseTest, IncompleteReplyOfAFrameMeasuredAsOneByteIsSeventyOne) {
    settings.retryLimit = 0;
    requestRead(3);
    PLC_driver.frameList[0].replyLength = 1;
    EXPECT_EQ(dataCom(bytes("BB")), 71);
}

TEST_F(ResponseTest, EmptyReplyAfterMeasuringIsSeventyOne) {
    settings.retryLimit = 0;
    requestRead(3);
    ASSERT_EQ(dataCom(bytes(kGoodReadReply)), 1);
    EXPECT_EQ(answerNothing(), 71);
}

TEST_F(ResponseTest, EveryTruncatedPrefixAfterMeasuringIsAFailure) {
    settings.retryLimit = 100;
    requestRead();
    ASSERT_EQ(dataCom(bytes(kGoodReadReply)), 1);
    for (int size = 0; size < 17; ++size) {
        EXPECT_EQ(dataCom(bytes(kGoodReadReply).left(size)), 0) << size << " bytes";
    }
    EXPECT_EQ(settings.retryCount, 17);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

// What each kind of failed reply gives for each identity of the variable, when the first failure abandons.
struct FailureRow {
    qint32 hostId;
    int badStatusWord;
    int nothingReceived;
    int otherLength;
};

constexpr FailureRow kFailureRows[] = {
    {-2147483647 - 1, 11, 41, 71},
    {-1, 11, 41, 71},
    {0, 11, 41, 71},
    {1, 12, 42, 72},
    {2, 13, 43, 73},
    {3, 14, 44, 74},
    {4, 15, 45, 75},
    {5, 16, 46, 76},
    {6, 17, 47, 77},
    {7, 18, 48, 78},
    {8, 19, 49, 79},
    {9, 20, 50, 80},
    {10, 21, 51, 81},
    {11, 22, 52, 82},
    {12, 11, 41, 71},
    {2147483647, 11, 41, 71},
};

class FailureCodesTest : public ResponseTest {
protected:
    // The code for a measured reply that is handed over for processing as `received` bytes.
    int codeOf(qint32 hostId, const char* reply, int received) {
        PLC_driver.readList.clear();
        PLC_driver.frameList.clear();
        PLC_driver.connected = 1;
        settings.retryLimit = 0;
        requestRead(hostId);
        EXPECT_EQ(dataCom(bytes(reply)), 1);
        return process(bytes(reply), received);
    }
};

TEST_F(FailureCodesTest, BadStatusWordOfEachHostId) {
    for (const FailureRow& row : kFailureRows) {
        EXPECT_EQ(codeOf(row.hostId, "BB BB 00 00 00 02 00 05", 8), row.badStatusWord) << row.hostId;
    }
}

TEST_F(FailureCodesTest, NothingReceivedForEachHostId) {
    for (const FailureRow& row : kFailureRows) {
        EXPECT_EQ(codeOf(row.hostId, kGoodReadReply, 0), row.nothingReceived) << row.hostId;
    }
}

TEST_F(FailureCodesTest, ReceivedLengthThatDiffersForEachHostId) {
    for (const FailureRow& row : kFailureRows) {
        EXPECT_EQ(codeOf(row.hostId, kGoodReadReply, 16), row.otherLength) << row.hostId;
        EXPECT_EQ(codeOf(row.hostId, kGoodReadReply, 18), row.otherLength) << row.hostId;
        EXPECT_EQ(codeOf(row.hostId, kGoodReadReply, -17), row.otherLength) << row.hostId;
    }
}

TEST_F(FailureCodesTest, LengthIsJudgedBeforeTheStatusWord) {
    EXPECT_EQ(codeOf(3, "BB BB 00 00 00 02 00 05", 9), 74);
    EXPECT_EQ(codeOf(3, "BB BB 00 00 00 02 00 05", 0), 44);
}

// ----- DealDataOfLocalArea alone

class ReplyJudgementTest : public ResponseTest {
protected:
    ReplyJudgementTest() {
        addRead(identified(readVar(2, 16, 4), 3, -1));
        nextFrame();
    }

    static int judge(int replyLength, const char* reply, int received) {
        PLC_driver.frameList[0].replyLength = replyLength;
        QByteArray data = bytes(reply);
        return DealDataOfLocalArea(&data, received);
    }
};

TEST_F(ReplyJudgementTest, GoodReadReplyIsStored) {
    EXPECT_EQ(judge(17, kGoodReadReply, 17), 1);
    EXPECT_EQ(image(2, 16, 4), "A1 A2 A3 A4");
}

TEST_F(ReplyJudgementTest, NothingReceivedThoughDataIsExpected) {
    EXPECT_EQ(judge(17, "", 0), 44);
    EXPECT_EQ(judge(-1, "", 0), 44);
}

TEST_F(ReplyJudgementTest, FrameThatExpectsNoReplyIsAlwaysGood) {
    EXPECT_EQ(judge(0, "", 0), 1);
    EXPECT_EQ(judge(0, "BB BB 00 00 00 02 00 05", 8), 1);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(ReplyJudgementTest, ReceivedLengthMustBeTheMeasuredOne) {
    EXPECT_EQ(judge(17, kGoodReadReply, 16), 74);
    EXPECT_EQ(judge(16, kGoodReadReply, 17), 74);
    EXPECT_EQ(judge(18, kGoodReadReply, 17), 74);
}

TEST_F(ReplyJudgementTest, UnmeasuredFrameTakesAnyReceivedLength) {
    EXPECT_EQ(judge(-1, kGoodReadReply, 17), 1);
    EXPECT_EQ(judge(-1, kGoodReadReply, 5), 1);
}

TEST_F(ReplyJudgementTest, ReplyThatFailsItsCheck) {
    EXPECT_EQ(judge(8, "BB BB 00 00 00 02 00 05", 8), 14);
    EXPECT_EQ(judge(8, "BB BB 00 00 00 03 00 00", 8), 14);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(ReplyJudgementTest, WithoutAQueuedFrameNoReplyIsGood) {
    PLC_driver.frameList.clear();
    QByteArray reply = bytes(kGoodReadReply);
    EXPECT_EQ(DealDataOfLocalArea(&reply, 17), 11);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(ReplyJudgementTest, GoodWriteReplyStoresNothing) {
    PLC_driver.frameList[0].var.writeFlag = 1;
    EXPECT_EQ(judge(17, kGoodReadReply, 17), 1);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

// ----- retrying and giving up

TEST_F(ResponseTest, RetryLimitZeroAbandonsAtTheFirstFailure) {
    settings.retryLimit = 0;
    requestRead();
    EXPECT_EQ(answerNothing(), 41);
    EXPECT_EQ(PLC_driver.connected, 0);
    EXPECT_EQ(settings.retryCount, 0);
}

TEST_F(ResponseTest, NegativeRetryLimitAbandonsAtTheFirstFailure) {
    settings.retryLimit = -5;
    requestRead();
    EXPECT_EQ(answerNothing(), 41);
}

TEST_F(ResponseTest, FailuresWithinTheLimitKeepTheFrame) {
    requestRead();
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(settings.retryCount, 1);
    EXPECT_EQ(nextFrame(), kReadRequest);
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(settings.retryCount, 2);
    EXPECT_EQ(nextFrame(), kReadRequest);
    EXPECT_EQ(PLC_driver.connected, 1);
    EXPECT_EQ(PLC_driver.commFailed, 0);
    EXPECT_THAT(callbackDiary, IsEmpty());
}

TEST_F(ResponseTest, FailureBeyondTheLimitGivesTheConnectionUp) {
    requestRead();
    PLC_driver.cyclicBatches = 1;
    settings.firstPassDone = 1;
    answerNothing();
    answerNothing();
    EXPECT_EQ(answerNothing(), 41);
    EXPECT_EQ(PLC_driver.commFailed, 1);
    EXPECT_EQ(PLC_driver.cyclicBatches, 0);
    EXPECT_EQ(settings.firstPassDone, 0);
    EXPECT_EQ(settings.retryCount, 0);
    EXPECT_TRUE(PLC_driver.frameList.isEmpty());
    EXPECT_EQ(PLC_driver.connected, 0);
    EXPECT_EQ(nextFrame(), kFirstHandshakeRequest);
}

TEST_F(ResponseTest, CodeIsThatOfTheLastFailure) {
    requestRead(3);
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 02 00 05")), 1);
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 02 00 05")), 0);
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 02 00 05")), 14);
}

TEST_F(ResponseTest, FailuresAccumulateOverGoodReplies) {  // quirk 8
    requestRead();
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(answer(bytes(kGoodReadReply)), 1);
    EXPECT_EQ(settings.retryCount, 1);
    nextFrame();
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(answer(bytes(kGoodReadReply)), 1);
    EXPECT_EQ(settings.retryCount, 2);
    nextFrame();
    EXPECT_EQ(answerNothing(), 41);
    EXPECT_EQ(settings.retryCount, 0);
}

TEST_F(ResponseTest, FailuresAccumulateOverAHandshake) {  // quirk 8
    settings.retryLimit = 1;
    PLC_driver.connected = 0;
    addRead(readVar(2, 16, 4));
    nextFrame();
    EXPECT_EQ(answerNothing(), 0);
    answer(firstHandshakeReply());
    answer(secondHandshakeReply("0D 0C 0B 0A"));
    ASSERT_EQ(nextFrame(), kReadRequest);
    EXPECT_EQ(answerNothing(), 41);
}

TEST_F(ResponseTest, IncompleteRepliesAreNoFailures) {
    settings.retryLimit = 0;
    requestRead();
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(dataCom(bytes("BB BB 00")), 0);
    }
    EXPECT_EQ(settings.retryCount, 0);
    EXPECT_EQ(answer(bytes(kGoodReadReply)), 1);
}

TEST_F(ResponseTest, RetriedFrameKeepsItsMeasuredLength) {  // quirk 9
    requestRead(3);
    ASSERT_EQ(dataCom(bytes("BB BB 00 00 00 02 00 05")), 1);
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 02 00 05")), 0);
    EXPECT_EQ(PLC_driver.frameList.at(0).replyLength, 8);
    EXPECT_EQ(nextFrame(), kReadRequest);
    // No measuring call now: a good reply of another length fails at once, and again.
    EXPECT_EQ(dataCom(bytes(kGoodReadReply)), 0);
    EXPECT_EQ(settings.retryCount, 2);
    EXPECT_EQ(dataCom(bytes(kGoodReadReply)), 74);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

TEST_F(ResponseTest, RetriedFrameTakesAReplyOfItsMeasuredLengthInOneCall) {  // quirk 9
    requestRead();
    ASSERT_EQ(dataCom(bytes(kGoodReadReply)), 1);
    EXPECT_EQ(process(bytes(kGoodReadReply), 3), 0);
    EXPECT_EQ(dataCom(bytes(kGoodReadReply)), 1);
    EXPECT_TRUE(PLC_driver.frameList.isEmpty());
    EXPECT_EQ(image(2, 16, 4), "A1 A2 A3 A4");
}

TEST_F(ResponseTest, EmptyReplyLeavesTheFrameUnmeasured) {  // quirk 9
    requestRead();
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(PLC_driver.frameList.at(0).replyLength, -1);
    EXPECT_EQ(answer(bytes(kGoodReadReply)), 1);
}

TEST_F(ResponseTest, FailedMarkStaysThroughTheNewHandshakeUntilAGoodDataReply) {
    settings.retryLimit = 0;
    requestRead();
    answerNothing();
    nextFrame();
    answer(firstHandshakeReply());
    EXPECT_EQ(PLC_driver.commFailed, 1);
    answer(secondHandshakeReply("0D 0C 0B 0A"));
    EXPECT_EQ(PLC_driver.commFailed, 1);
    ASSERT_EQ(nextFrame(), kReadRequest);
    EXPECT_EQ(dataCom(bytes(kGoodReadReply)), 1);
    EXPECT_EQ(PLC_driver.commFailed, 1);
    EXPECT_EQ(dataCom(bytes(kGoodReadReply)), 1);
    EXPECT_EQ(PLC_driver.commFailed, 0);
}

// ----- counting frames and passes

TEST_F(ResponseTest, RequestOfSeveralFramesIsDoneWithItsLast) {
    requestWrite();
    PLC_driver.frameList.append(PLC_driver.frameList.at(0));
    settings.frameTotal = 2;
    EXPECT_EQ(answer(writeReply()), 1);
    EXPECT_EQ(settings.frameDone, 1);
    EXPECT_EQ(PLC_driver.frameList.size(), 1);
    EXPECT_EQ(settings.firstPassDone, 0);
    EXPECT_THAT(callbackDiary, IsEmpty());
    EXPECT_EQ(answer(writeReply()), 1);
    EXPECT_EQ(settings.frameDone, 2);
    EXPECT_EQ(settings.firstPassDone, 1) << "one reply more than the list, which is empty, has entries";
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 1)"));
}

TEST_F(ResponseTest, MoreFramesDoneThanCountedIsDoneToo) {
    requestWrite();
    settings.frameDone = 5;
    EXPECT_EQ(answer(writeReply()), 1);
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 1)"));
}

TEST_F(ResponseTest, FirstPassIsDoneOneReplyAfterTheWholeListWasRead) {
    addRead(readVar(2, 0, 700));
    addRead(readVar(2, 1000, 700));
    for (int reply = 1; reply <= 2; ++reply) {
        nextFrame();
        answer(zeroReply(2));
        EXPECT_EQ(PLC_driver.cyclicBatches, reply);
        EXPECT_EQ(settings.firstPassDone, 0);
    }
    nextFrame();
    answer(zeroReply(2));
    EXPECT_EQ(PLC_driver.cyclicBatches, 0);
    EXPECT_EQ(settings.firstPassDone, 1);
}

TEST_F(ResponseTest, RepliesToWritesCountForTheFirstPassToo) {
    addRead(readVar(2, 0, 700));
    requestWrite();
    answer(writeReply());
    EXPECT_EQ(PLC_driver.cyclicBatches, 1);
    requestWrite();
    answer(writeReply());
    EXPECT_EQ(PLC_driver.cyclicBatches, 0);
    EXPECT_EQ(settings.firstPassDone, 1);
}

TEST_F(ResponseTest, RepliesAreNotCountedOnceTheFirstPassIsDone) {
    settings.firstPassDone = 1;
    requestRead();
    answer(bytes(kGoodReadReply));
    EXPECT_EQ(PLC_driver.cyclicBatches, 0);
}

TEST_F(ResponseTest, FailedRepliesDoNotCountForTheFirstPass) {
    requestRead();
    answerNothing();
    EXPECT_EQ(PLC_driver.cyclicBatches, 0);
}

// ----- copying a record

TEST(PassRetValueTest, CopiesEveryFieldButTheDataWhichItClears) {  // quirk 11
    RW_VAR source = identified(writeVar(9, 7, "AA BB CC"), 1, 2);
    source.writeFlag = 3;
    source.aux3 = 4;
    source.aux4 = 5;
    source.status = 6;
    source.labelName = "Main.counter";
    source.labelArg = "17";
    source.dataType = 10;
    source.comWord = 11;
    source.size = 12;
    source.resolveResult = 13;
    RW_VAR target = identified(writeVar(99, 98, "DD"), 97, 96);
    passRetValue(source, target);
    EXPECT_EQ(target.hostId, 1);
    EXPECT_EQ(target.hostSubId, 2);
    EXPECT_EQ(target.writeFlag, 3);
    EXPECT_EQ(target.aux3, 4);
    EXPECT_EQ(target.aux4, 5);
    EXPECT_EQ(target.status, 6);
    EXPECT_EQ(target.labelName, QString("Main.counter"));
    EXPECT_EQ(target.labelArg, QString("17"));
    EXPECT_EQ(target.dataType, 10);
    EXPECT_EQ(target.offset, 7);
    EXPECT_EQ(target.comWord, 11);
    EXPECT_EQ(target.size, 12);
    EXPECT_EQ(target.resolveResult, 13);
    EXPECT_EQ(target.area, 9);
    EXPECT_TRUE(target.data.isEmpty());
    EXPECT_EQ(hex(source.data), "AA BB CC");
}

}  // namespace
