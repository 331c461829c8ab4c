// The two fixed requests that open a connection, and what counts as an answer to them.
#include "tests/support/driver_test.h"
#include "tests/support/locks.h"

using namespace ac500::test;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class HandshakeRequestTest : public DriverTest {};

TEST_F(HandshakeRequestTest, QueuesBothFramesInOrder) {
    RW_VAR var = readVar(1, 0, 2);
    handshake_data(&var);
    ASSERT_EQ(PLC_driver.frameList.size(), 2);
    EXPECT_EQ(hex(PLC_driver.frameList.at(0).frame), kFirstHandshakeRequest);
    EXPECT_EQ(hex(PLC_driver.frameList.at(1).frame), kSecondHandshakeRequest);
}

TEST_F(HandshakeRequestTest, SetsEveryFieldOfTheQueuedRecords) {
    RW_VAR var = readVar(1, 0, 2);
    handshake_data(&var);
    ASSERT_EQ(PLC_driver.frameList.size(), 2);
    EXPECT_EQ(PLC_driver.frameList.at(0).frameLength, 20);
    EXPECT_EQ(PLC_driver.frameList.at(1).frameLength, 23);
    for (const Protocol& request : PLC_driver.frameList) {
        EXPECT_EQ(request.replyLength, -1);
        EXPECT_EQ(request.replyDataOffset, 0);
        EXPECT_EQ(request.minReplyLength, 6);
        EXPECT_EQ(request.reserved80, 0);
        EXPECT_EQ(request.reserved84, 0);
        EXPECT_EQ(request.reserved88, 0);
    }
}

TEST_F(HandshakeRequestTest, CopiesTheVariableIntoBothRecords) {
    RW_VAR var = identified(writeVar(3, 44, "AA BB"), 5, 6);
    var.labelName = "Main.counter";
    handshake_data(&var);
    ASSERT_EQ(PLC_driver.frameList.size(), 2);
    for (const Protocol& request : PLC_driver.frameList) {
        EXPECT_EQ(request.var.hostId, 5);
        EXPECT_EQ(request.var.hostSubId, 6);
        EXPECT_EQ(request.var.writeFlag, 1);
        EXPECT_EQ(request.var.area, 3);
        EXPECT_EQ(request.var.offset, 44);
        EXPECT_EQ(request.var.size, 2);
        EXPECT_EQ(request.var.labelName, QString("Main.counter"));
        EXPECT_EQ(hex(request.var.data), "AA BB");
    }
}

TEST_F(HandshakeRequestTest, CountsTwoFramesOfWhichNoneIsAnswered) {
    settings.frameTotal = 1;
    settings.frameDone = 1;
    RW_VAR var = readVar(1, 0, 2);
    handshake_data(&var);
    EXPECT_EQ(settings.frameTotal, 2);
    EXPECT_EQ(settings.frameDone, 0);
}

// handshake_data_check alone, without the loop around it.
class HandshakeReplyCheckTest : public DriverTest {
protected:
    HandshakeReplyCheckTest() {
        RW_VAR var = readVar(1, 0, 2);
        handshake_data(&var);
        setSessionBytes(0x51, 0x52, 0x53, 0x54);
    }

    static void setSessionBytes(quint8 first, quint8 second, quint8 third, quint8 fourth) {
        PLC_driver.handshakeBytes[0] = first;
        PLC_driver.handshakeBytes[1] = second;
        PLC_driver.handshakeBytes[2] = third;
        PLC_driver.handshakeBytes[3] = fourth;
    }

    static std::vector<int> sessionBytes() {
        return {PLC_driver.handshakeBytes[0], PLC_driver.handshakeBytes[1], PLC_driver.handshakeBytes[2],
                PLC_driver.handshakeBytes[3]};
    }

    int check(int framesDone, QByteArray reply) {
        settings.frameDone = framesDone;
        return handshake_data_check(&reply);
    }
};

TEST_F(HandshakeReplyCheckTest, ReplyShorterThanAnEnvelopeGivesEight) {
    for (int size = 0; size < 6; ++size) {
        EXPECT_EQ(check(0, QByteArray(size, '\xFF')), 8) << size << " bytes";
        EXPECT_EQ(check(1, QByteArray(size, '\xFF')), 8) << size << " bytes";
    }
}

TEST_F(HandshakeReplyCheckTest, ShortestAllowedReplyIsAFieldOfTheHeadFrame) {
    PLC_driver.frameList[0].minReplyLength = 250;
    EXPECT_EQ(check(0, zeroReply(243)), 8);
    EXPECT_EQ(check(0, zeroReply(244)), 0);
}

TEST_F(HandshakeReplyCheckTest, FirstReplyNeedsTwoHundredBytesOfPayload) {
    EXPECT_EQ(check(0, zeroReply(0)), 9);
    EXPECT_EQ(check(0, zeroReply(199)), 9);
    EXPECT_EQ(check(0, zeroReply(200)), 0);
    EXPECT_EQ(check(0, zeroReply(65535)), 0);
}

TEST_F(HandshakeReplyCheckTest, FirstReplyDoesNotSetTheSessionBytes) {
    check(0, zeroReply(200));
    EXPECT_THAT(sessionBytes(), ElementsAre(0x51, 0x52, 0x53, 0x54));
}

TEST_F(HandshakeReplyCheckTest, SecondReplyNeedsThirtyBytesOfPayload) {
    EXPECT_EQ(check(1, zeroReply(0)), 13);
    EXPECT_EQ(check(1, zeroReply(29)), 13);
    EXPECT_EQ(check(1, zeroReply(30)), 0);
    EXPECT_EQ(check(1, zeroReply(65535)), 0);
}

TEST_F(HandshakeReplyCheckTest, SecondReplySetsTheSessionBytesInReverseOrder) {
    EXPECT_EQ(check(1, secondHandshakeReply("11 22 33 44")), 0);
    EXPECT_THAT(sessionBytes(), ElementsAre(0x44, 0x33, 0x22, 0x11));
    EXPECT_EQ(check(1, secondHandshakeReply("80 FF 00 7F")), 0);
    EXPECT_THAT(sessionBytes(), ElementsAre(0x7F, 0x00, 0xFF, 0x80));
}

TEST_F(HandshakeReplyCheckTest, RejectedSecondReplyLeavesTheSessionBytes) {
    check(1, bytes("BB BB 00 00 00 1D") + QByteArray(29, '\x77'));
    EXPECT_THAT(sessionBytes(), ElementsAre(0x51, 0x52, 0x53, 0x54));
}

TEST_F(HandshakeReplyCheckTest, UpperHalfOfTheLengthDoesNotCount) {  // quirk 2
    EXPECT_EQ(check(0, bytes("BB BB 00 01 00 C7") + QByteArray(199, '\0')), 9);
    EXPECT_EQ(check(0, bytes("BB BB 00 01 00 C8") + QByteArray(200, '\0')), 0);
}

TEST_F(HandshakeReplyCheckTest, LengthIsBigEndianAndUnsigned) {
    EXPECT_EQ(check(0, bytes("BB BB 00 00 01 00") + QByteArray(256, '\0')), 0);
    EXPECT_EQ(check(0, bytes("BB BB 00 00 80 00") + QByteArray(32768, '\0')), 0);
}

TEST_F(HandshakeReplyCheckTest, OnlyTheSizeOfAReplyIsLookedAt) {  // quirk 7
    // Another magic, another service, a status that looks like a failure.
    EXPECT_EQ(check(0, bytes("12 34 00 00 00 C8") + QByteArray(200, '\xFF')), 0);
    EXPECT_EQ(check(1, bytes("12 34 00 00 00 1E") + QByteArray(30, '\xFF')), 0);
}

TEST_F(HandshakeReplyCheckTest, ReplyThatNothingWaitsForGivesOne) {
    EXPECT_EQ(check(2, zeroReply(200)), 1);
    EXPECT_EQ(check(3, zeroReply(200)), 1);
    EXPECT_EQ(check(-1, zeroReply(200)), 1);
    EXPECT_THAT(sessionBytes(), ElementsAre(0x51, 0x52, 0x53, 0x54));
}

TEST_F(HandshakeReplyCheckTest, ReplyWithoutAQueuedFrameGivesOne) {
    PLC_driver.frameList.clear();
    EXPECT_EQ(check(0, zeroReply(200)), 1);
    EXPECT_EQ(check(1, secondHandshakeReply("11 22 33 44")), 1);
    EXPECT_EQ(check(0, QByteArray()), 1);
    EXPECT_THAT(sessionBytes(), ElementsAre(0x51, 0x52, 0x53, 0x54));
}

TEST_F(HandshakeReplyCheckTest, ShortReplyThatNothingWaitsForGivesEight) {
    EXPECT_EQ(check(2, QByteArray(5, '\0')), 8);
}

TEST_F(HandshakeReplyCheckTest, SecondReplyWhoseLengthLiesIsNotReadBeyondItsEnd) {
    for (int size = 6; size < 28; ++size) {
        const QByteArray reply = (bytes("BB BB 00 00 FF FF") + QByteArray(22, '\x77')).left(size);
        EXPECT_THAT(check(1, reply), AnyOf(0, 8, 13)) << size << " bytes";
    }
    EXPECT_EQ(check(1, bytes("BB BB 00 00 FF FF") + QByteArray(22, '\x77')), 0) << "ends with the session bytes";
}

// The handshake as the loop runs it, on behalf of a pending cyclic read and a pending write.
class HandshakeTest : public DriverTest {
protected:
    HandshakeTest() {
        addRead(readVar(2, 16, 4));
        addWrite(identified(writeVar(1, 8, "12 34"), 21, 22));
    }

    static void expectPendingListsUntouched() {
        EXPECT_EQ(PLC_driver.readList.size(), 1);
        EXPECT_EQ(PLC_driver.writeList.size(), 1);
        EXPECT_THAT(callbackDiary, IsEmpty());
    }
};

TEST_F(HandshakeTest, IsNotSentWithoutWork) {
    PLC_driver.readList.clear();
    PLC_driver.writeList.clear();
    EXPECT_EQ(nextFrame(), "nothing");
    EXPECT_TRUE(PLC_driver.frameList.isEmpty());
    EXPECT_EQ(PLC_driver.connected, 0);
}

TEST_F(HandshakeTest, ReplacesTheRequestThatWasJustBuilt) {  // quirk 7
    EXPECT_EQ(nextFrame(), kFirstHandshakeRequest);
    ASSERT_EQ(PLC_driver.frameList.size(), 2);
    EXPECT_EQ(hex(PLC_driver.frameList.at(1).frame), kSecondHandshakeRequest);
    EXPECT_EQ(settings.frameTotal, 2);
    EXPECT_EQ(settings.frameDone, 0);
}

TEST_F(HandshakeTest, ServesTheFirstVariableOfTheChosenBatch) {
    const Protocol* request = ComCommunication();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->var.hostId, 21);
    EXPECT_EQ(request->var.hostSubId, 22);
    EXPECT_EQ(hex(request->var.data), "12 34");
    EXPECT_EQ(PLC_driver.batchKind, 1);
    EXPECT_EQ(PLC_driver.batchCount, 1);
}

TEST_F(HandshakeTest, AcceptedFirstReplyBringsTheSecondRequest) {
    nextFrame();
    EXPECT_EQ(answer(firstHandshakeReply()), 1);
    EXPECT_EQ(settings.frameDone, 1);
    EXPECT_EQ(PLC_driver.connected, 0);
    EXPECT_EQ(PLC_driver.frameList.size(), 1);
    EXPECT_EQ(nextFrame(), kSecondHandshakeRequest);
    expectPendingListsUntouched();
}

TEST_F(HandshakeTest, AcceptedSecondReplyConnectsAndCompletesNoBatch) {
    nextFrame();
    answer(firstHandshakeReply());
    nextFrame();
    EXPECT_EQ(answer(secondHandshakeReply("11 22 33 44")), 1);
    EXPECT_EQ(settings.frameDone, 2);
    EXPECT_EQ(PLC_driver.connected, 1);
    EXPECT_TRUE(PLC_driver.frameList.isEmpty());
    expectPendingListsUntouched();
}

TEST_F(HandshakeTest, RealRequestIsBuiltAfterwardsWithTheSessionBytes) {  // quirk 7
    nextFrame();
    answer(firstHandshakeReply());
    nextFrame();
    answer(secondHandshakeReply("11 22 33 44"));
    EXPECT_EQ(nextFrame(), "BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 02 12 34 44 33 22 11");
    EXPECT_EQ(settings.frameTotal, 1);
    EXPECT_EQ(settings.frameDone, 0);
}

TEST_F(HandshakeTest, FirstReplyOneByteTooSmallIsRejectedAndTheHandshakeRestarts) {
    nextFrame();
    EXPECT_EQ(answer(zeroReply(199)), 201);
    EXPECT_TRUE(PLC_driver.frameList.isEmpty());
    EXPECT_EQ(PLC_driver.connected, 0);
    EXPECT_EQ(nextFrame(), kFirstHandshakeRequest);
    EXPECT_EQ(PLC_driver.frameList.size(), 2);
    expectPendingListsUntouched();
}

TEST_F(HandshakeTest, SecondReplyOneByteTooSmallIsRejectedAndTheHandshakeRestarts) {
    nextFrame();
    answer(firstHandshakeReply());
    nextFrame();
    EXPECT_EQ(answer(zeroReply(29)), 201);
    EXPECT_TRUE(PLC_driver.frameList.isEmpty());
    EXPECT_EQ(PLC_driver.connected, 0);
    EXPECT_EQ(nextFrame(), kFirstHandshakeRequest);
    EXPECT_EQ(settings.frameTotal, 2);
    EXPECT_EQ(settings.frameDone, 0);
    expectPendingListsUntouched();
}

TEST_F(HandshakeTest, RejectionIsReportedUnderTheIdentityOfTheVariable) {
    nextFrame();
    answer(zeroReply(0));
    EXPECT_EQ(PLC_driver.resultVar.hostId, 21);
    EXPECT_EQ(PLC_driver.resultVar.hostSubId, 22);
}

TEST_F(HandshakeTest, RejectionsDoNotCountAgainstTheRetryLimit) {
    settings.retryLimit = 0;
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(nextFrame(), kFirstHandshakeRequest);
        ASSERT_EQ(answer(zeroReply(6)), 201);
    }
    EXPECT_EQ(settings.retryCount, 0);
    EXPECT_EQ(PLC_driver.commFailed, 0);
    expectPendingListsUntouched();
}

TEST_F(HandshakeTest, SessionBytesKeepTheirValueUntilTheNextAcceptedSecondReply) {
    PLC_driver.readList.clear();
    PLC_driver.writeList.clear();
    connectToPlc();
    addRead(readVar(2, 16, 4));
    settings.retryLimit = 0;
    nextFrame();
    ASSERT_EQ(answerNothing(), 41);
    nextFrame();
    answer(firstHandshakeReply());
    nextFrame();
    answer(bytes("BB BB 00 00 00 1D") + QByteArray(29, '\x77'));
    EXPECT_EQ(PLC_driver.handshakeBytes[0], 0x0A);
    EXPECT_EQ(PLC_driver.handshakeBytes[3], 0x0D);
    nextFrame();
    answer(firstHandshakeReply());
    nextFrame();
    answer(secondHandshakeReply("91 92 93 94"));
    EXPECT_EQ(nextFrame(), "BB BB 00 00 00 14 2E 00 00 00 00 01 00 02 00 00 00 10 00 00 00 04 94 93 92 91");
}

TEST_F(HandshakeTest, FiveBytesAreIncompleteForEitherFrame) {
    nextFrame();
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00")), 0);
    EXPECT_EQ(PLC_driver.frameList.size(), 2);
    EXPECT_EQ(PLC_driver.frameList.at(0).replyLength, -1);
    answer(firstHandshakeReply());
    nextFrame();
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00")), 0);
    EXPECT_EQ(PLC_driver.frameList.size(), 1);
    EXPECT_EQ(PLC_driver.frameList.at(0).replyLength, -1);
    EXPECT_EQ(settings.retryCount, 0);
}

TEST_F(HandshakeTest, EmptyReplyIsRetriedAndThenAbandons) {
    settings.retryLimit = 1;
    nextFrame();
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(settings.retryCount, 1);
    EXPECT_EQ(nextFrame(), kFirstHandshakeRequest);
    EXPECT_EQ(answerNothing(), 41);
    EXPECT_EQ(settings.retryCount, 0);
    EXPECT_EQ(PLC_driver.connected, 0);
    EXPECT_EQ(PLC_driver.commFailed, 1);
    EXPECT_TRUE(PLC_driver.frameList.isEmpty());
}

TEST_F(HandshakeTest, AbandonedHandshakeFailsTheBatchChosenForIt) {
    settings.retryLimit = 0;
    nextFrame();
    EXPECT_EQ(answerNothing(), 41);
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 2)", "commFail(empty, 21, 1)"));
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_EQ(PLC_driver.readList.size(), 1);
}

TEST_F(HandshakeTest, SecondRequestIsRetriedAloneWithoutTheFirst) {
    settings.retryLimit = 1;
    nextFrame();
    answer(firstHandshakeReply());
    nextFrame();
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(nextFrame(), kSecondHandshakeRequest);
    EXPECT_EQ(answer(secondHandshakeReply("11 22 33 44")), 1);
    EXPECT_EQ(PLC_driver.connected, 1);
}

TEST_F(HandshakeTest, AbandonedSecondRequestStartsAgainWithTheFirst) {
    settings.retryLimit = 0;
    nextFrame();
    answer(firstHandshakeReply());
    nextFrame();
    EXPECT_EQ(answerNothing(), 41);
    EXPECT_EQ(nextFrame(), kFirstHandshakeRequest);
    EXPECT_EQ(settings.frameDone, 0);
}

TEST_F(HandshakeTest, ReplyTruncatedAfterItWasMeasuredCountsAsAFailure) {
    settings.retryLimit = 1;
    nextFrame();
    ASSERT_EQ(dataCom(firstHandshakeReply()), 1);
    EXPECT_EQ(dataCom(firstHandshakeReply().left(205)), 0);
    EXPECT_EQ(settings.retryCount, 1);
    EXPECT_EQ(dataCom(firstHandshakeReply().left(205)), 71);
    EXPECT_EQ(PLC_driver.commFailed, 1);
}

TEST_F(HandshakeTest, RepliesTakeNoLock) {
    nextFrame();
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [] { answer(firstHandshakeReply()); }));
    EXPECT_EQ(nextFrame(), kSecondHandshakeRequest);
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [] { answer(zeroReply(29)); }));
    EXPECT_EQ(PLC_driver.resultVar.status, 201);
}

TEST_F(HandshakeTest, LastReplyTakesNoLock) {
    nextFrame();
    answer(firstHandshakeReply());
    nextFrame();
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [] { answer(secondHandshakeReply("11 22 33 44")); }));
    EXPECT_EQ(PLC_driver.connected, 1);
}

}  // namespace
