// What a finished or abandoned request does to the lists, and what the host is told of it, in which order.
#include "tests/support/driver_test.h"
#include "tests/support/locks.h"

using namespace ac500::test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

class CompletionTest : public DriverTest {
protected:
    CompletionTest() {
        connectToPlc();
        settings.retryLimit = 0;
    }

    // A pending write under this identity.
    static void write(qint32 hostId, qint32 hostSubId) {
        addWrite(identified(writeVar(1, 8, "12 34"), hostId, hostSubId));
    }

    // A pending one-shot read under this identity.
    static void onceRead(qint32 hostId, qint32 hostSubId) {
        addOnceRead(identified(readVar(2, 16, 4), hostId, hostSubId));
    }

    // The whole turn of one request.
    static int turnAnsweredBy(const QByteArray& reply) {
        EXPECT_NE(ComCommunication(), nullptr);
        return reply.isEmpty() ? answerNothing() : answer(reply);
    }

    static int goodTurn() { return turnAnsweredBy(zeroReply(2)); }
    static int failedTurn() { return turnAnsweredBy(QByteArray()); }

    // Turns in which nothing but writes is pending: the sixth in a row has nothing to send.
    static void answerWrites(int batches) {
        for (int i = 0; i < batches; ++i) {
            if (ComCommunication() == nullptr) {
                ASSERT_NE(ComCommunication(), nullptr);
            }
            ASSERT_EQ(answer(writeReply()), 1);
        }
    }

    // The offsets of a list's entries, in order.
    static std::vector<int> offsets(const QList<RW_VAR>& list) {
        std::vector<int> result;
        for (const RW_VAR& var : list) {
            result.push_back(var.offset);
        }
        return result;
    }
};

// ----- finished writes and one-shot reads

TEST_F(CompletionTest, FinishedWriteIsRemovedAndReported) {
    write(21, 22);
    EXPECT_EQ(goodTurn(), 1);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 1)"));
}

TEST_F(CompletionTest, FinishedOnceReadIsRemovedAndReported) {
    onceRead(31, 32);
    EXPECT_EQ(goodTurn(), 1);
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 31, 32, 1)"));
}

TEST_F(CompletionTest, StationIdIsReadWhenTheReportIsMade) {
    write(21, 22);
    ComCommunication();
    settings.stationId = -3;
    answer(writeReply());
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(-3, 21, 22, 1)"));
}

TEST_F(CompletionTest, VariablesAreReportedByLastOccurrenceFromTheEnd) {  // quirk 10
    write(1, 0);
    write(2, 0);
    write(1, 0);
    write(3, 0);
    write(2, 0);
    goodTurn();
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 2, 0, 1)", "varDone(7, 3, 0, 1)", "varDone(7, 1, 0, 1)"));
}

TEST_F(CompletionTest, OnceReadsAreReportedByLastOccurrenceFromTheEnd) {  // quirk 10
    onceRead(1, 0);
    onceRead(2, 0);
    onceRead(1, 0);
    goodTurn();
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 1, 0, 1)", "varDone(7, 2, 0, 1)"));
}

TEST_F(CompletionTest, TwoWritesOfOneVariableAreReportedOnce) {  // quirk 10
    write(21, 22);
    write(21, 22);
    goodTurn();
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 1)"));
}

TEST_F(CompletionTest, BothIdentityWordsTellVariablesApart) {
    write(21, 22);
    write(21, 23);
    write(20, 22);
    goodTurn();
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 20, 22, 1)", "varDone(7, 21, 23, 1)", "varDone(7, 21, 22, 1)"));
}

TEST_F(CompletionTest, IdentityWordsMayBeNegative) {
    write(-1, -2);
    goodTurn();
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, -1, -2, 1)"));
}

TEST_F(CompletionTest, OnlyTheBatchIsRemoved) {
    for (int offset : {0, 100, 200}) {
        RW_VAR var = identified(writeVar(1, offset, ""), 21, offset);
        var.size = 400;
        addWrite(var);
    }
    goodTurn();
    EXPECT_THAT(offsets(PLC_driver.writeList), ElementsAre(100, 200));
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 0, 1)"));
}

TEST_F(CompletionTest, NewerWriteOfTheSameVariableSuppressesTheSuccess) {  // quirk 10
    write(21, 22);
    write(21, 22);
    ComCommunication();
    write(21, 22);
    answer(writeReply());
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_THAT(callbackDiary, IsEmpty());
    goodTurn();
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 1)"));
}

TEST_F(CompletionTest, NewerWriteOfAnotherVariableDoesNotSuppressTheSuccess) {
    write(21, 22);
    ComCommunication();
    write(21, 23);
    answer(writeReply());
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 1)"));
}

TEST_F(CompletionTest, SeveralNewerWritesOfOneVariableSuppressItsSuccessAlone) {  // quirk 10
    write(21, 22);
    write(23, 24);
    ComCommunication();
    write(21, 22);
    write(21, 22);
    answer(writeReply());
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 23, 24, 1)"));
}

TEST_F(CompletionTest, SuppressionIsDecidedVariableByVariable) {  // quirk 10
    write(1, 0);
    write(2, 0);
    write(3, 0);
    ComCommunication();
    write(2, 0);
    answer(writeReply());
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 3, 0, 1)", "varDone(7, 1, 0, 1)"));
}

// With so many of them that the driver counts them.
TEST_F(CompletionTest, NewerWriteAmongThousandsSuppressesTheSuccess) {  // quirk 10
    for (int i = 0; i < 2000; ++i) {
        write(1 + i % 1999, 5);  // the first variable is the last one, too
    }
    answerWrites(1);  // 66 of 12 bytes each stay below 800
    ASSERT_EQ(PLC_driver.writeList.size(), 2000 - 66);
    ASSERT_EQ(callbackDiary.size(), 65U);
    EXPECT_EQ(callbackDiary.front(), "varDone(7, 66, 5, 1)");
    EXPECT_EQ(callbackDiary.back(), "varDone(7, 2, 5, 1)");
    write(100, 5);  // in the batch that is chosen next
    callbackDiary.clear();
    answerWrites(1);
    ASSERT_EQ(callbackDiary.size(), 65U);
    EXPECT_EQ(callbackDiary.front(), "varDone(7, 132, 5, 1)");
    EXPECT_THAT(callbackDiary, Not(Contains("varDone(7, 100, 5, 1)")));
    answerWrites(29);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_THAT(callbackDiary, Contains("varDone(7, 100, 5, 1)"));
    EXPECT_EQ(callbackDiary.back(), "varDone(7, 1981, 5, 1)");
}

TEST_F(CompletionTest, AbandonedBatchOfThousandsIsReportedAndTheRestDropped) {  // quirk 10
    for (int i = 0; i < 2000; ++i) {
        write(1 + i % 1999, 5);
    }
    answerWrites(1);
    callbackDiary.clear();
    settings.retryLimit = 0;
    turnAnsweredBy(QByteArray());
    ASSERT_EQ(callbackDiary.size(), 67U) << "66 variables, then the failure itself";
    EXPECT_EQ(callbackDiary.front(), "varDone(7, 132, 5, 2)");
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

TEST_F(CompletionTest, NewerOnceReadOfTheSameVariableSuppressesTheSuccess) {  // quirk 10
    onceRead(31, 32);
    ComCommunication();
    onceRead(31, 32);
    answer(zeroReply(2));
    EXPECT_EQ(PLC_driver.onceReadList.size(), 1);
    EXPECT_THAT(callbackDiary, IsEmpty());
}

TEST_F(CompletionTest, PendingWriteDoesNotSuppressAOnceReadOfTheSameIdentity) {
    onceRead(21, 22);
    ComCommunication();
    write(21, 22);
    answer(zeroReply(2));
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 1)"));
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
}

TEST_F(CompletionTest, ListShorterThanTheBatchIsCleared) {
    write(1, 0);
    write(2, 0);
    write(3, 0);
    ComCommunication();
    PLC_driver.writeList.removeLast();
    answer(writeReply());
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 2, 0, 1)", "varDone(7, 1, 0, 1)"));
}

TEST_F(CompletionTest, ListThatWasEmptiedMeanwhileReportsNothing) {
    write(1, 0);
    ComCommunication();
    PLC_driver.writeList.clear();
    EXPECT_EQ(answer(writeReply()), 1);
    EXPECT_THAT(callbackDiary, IsEmpty());
}

TEST_F(CompletionTest, FullBatchIsFinishedAtOnce) {
    for (int i = 0; i < 80; ++i) {
        addWrite(identified(writeVar(1, i, ""), 5, i));
    }
    goodTurn();
    EXPECT_THAT(offsets(PLC_driver.writeList), ElementsAre(79));
    ASSERT_EQ(callbackDiary.size(), 79u);
    EXPECT_EQ(callbackDiary.front(), "varDone(7, 5, 78, 1)");
    EXPECT_EQ(callbackDiary.back(), "varDone(7, 5, 0, 1)");
}

TEST_F(CompletionTest, OtherListsStayAsTheyAre) {
    write(21, 22);
    onceRead(31, 32);
    addRead(readVar(1, 0, 700));
    addRead(readVar(1, 1000, 700));
    goodTurn();
    EXPECT_EQ(PLC_driver.onceReadList.size(), 1);
    EXPECT_THAT(offsets(PLC_driver.readList), ElementsAre(0, 1000));
}

// ----- cyclic reads

TEST_F(CompletionTest, CyclicListIsRotatedByTheBatch) {
    for (int offset : {0, 1000, 2000, 3000, 4000}) {
        addRead(readVar(1, offset, 390));
    }
    goodTurn();
    EXPECT_THAT(offsets(PLC_driver.readList), ElementsAre(2000, 3000, 4000, 0, 1000));
    goodTurn();
    EXPECT_THAT(offsets(PLC_driver.readList), ElementsAre(4000, 0, 1000, 2000, 3000));
    EXPECT_THAT(callbackDiary, IsEmpty());
}

TEST_F(CompletionTest, CyclicListOfOneBatchComesBackToItsOrder) {
    for (int offset : {0, 1000, 2000}) {
        addRead(readVar(1, offset, 2));
    }
    goodTurn();
    EXPECT_THAT(offsets(PLC_driver.readList), ElementsAre(0, 1000, 2000));
}

TEST_F(CompletionTest, CyclicListRebuiltMeanwhileIsRotatedAllTheSame) {
    for (int offset : {0, 1000, 2000}) {
        addRead(readVar(1, offset, 2));
    }
    ComCommunication();
    PLC_driver.readList = {readVar(1, 50, 2), readVar(1, 60, 2)};
    answer(zeroReply(2));
    // Three steps through a list of two.
    EXPECT_THAT(offsets(PLC_driver.readList), ElementsAre(60, 50));
}

TEST_F(CompletionTest, CyclicListEmptiedMeanwhileIsLeftAlone) {
    addRead(readVar(1, 0, 2));
    ComCommunication();
    PLC_driver.readList.clear();
    EXPECT_EQ(answer(zeroReply(2)), 1);
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
}

TEST_F(CompletionTest, CyclicListIsNotRotatedByAnEmptyBatch) {
    addRead(readVar(1, 0, 2));
    addRead(readVar(1, 1000, 2));
    ComCommunication();
    PLC_driver.batchCount = 0;
    answer(zeroReply(2));
    EXPECT_THAT(offsets(PLC_driver.readList), ElementsAre(0, 1000));
}

// ----- abandoned requests

TEST_F(CompletionTest, AbandonedWritesAreReportedFailedThenTheFailureItself) {
    write(1, 0);
    write(2, 0);
    write(1, 0);
    EXPECT_EQ(failedTurn(), 41);
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 1, 0, 2)", "varDone(7, 2, 0, 2)", "commFail(empty, 1, 1)"));
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

TEST_F(CompletionTest, AbandonedOnceReadsAreReportedFailedThenTheFailureItself) {
    onceRead(31, 32);
    EXPECT_EQ(failedTurn(), 41);
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 31, 32, 2)", "commFail(empty, 31, 1)"));
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
}

TEST_F(CompletionTest, WritesOutsideTheAbandonedBatchAreDroppedUnreported) {  // quirk 10
    for (int hostId : {1, 2, 3}) {
        RW_VAR var = identified(writeVar(1, 0, ""), hostId, 0);
        var.size = 400;
        addWrite(var);
    }
    failedTurn();
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 1, 0, 2)", "commFail(empty, 1, 1)"));
}

TEST_F(CompletionTest, OnceReadsOutsideTheAbandonedBatchAreDroppedUnreported) {  // quirk 10
    addOnceRead(identified(readVar(2, 16, 700), 1, 0));
    addOnceRead(identified(readVar(2, 16, 700), 2, 0));
    failedTurn();
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 1, 0, 2)", "commFail(empty, 1, 1)"));
}

TEST_F(CompletionTest, NewerWriteDoesNotSuppressAFailure) {  // quirk 10
    write(21, 22);
    ComCommunication();
    write(21, 22);
    write(99, 99);
    answerNothing();
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 2)", "commFail(empty, 21, 1)"));
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

TEST_F(CompletionTest, AbandonedWritesLeaveTheOtherListsAlone) {
    addRead(readVar(1, 0, 700));
    addRead(readVar(1, 1000, 700));
    onceRead(31, 32);
    write(21, 22);
    failedTurn();
    EXPECT_EQ(PLC_driver.onceReadList.size(), 1);
    EXPECT_THAT(offsets(PLC_driver.readList), ElementsAre(0, 1000));
}

TEST_F(CompletionTest, AbandonedOnceReadsLeaveLaterWritesAlone) {
    onceRead(31, 32);
    ComCommunication();
    write(21, 22);
    answerNothing();
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
}

TEST_F(CompletionTest, AbandonedCyclicReadsAreKeptAndRotated) {
    addRead(identified(readVar(1, 0, 700), 5, -1));
    addRead(readVar(1, 1000, 700));
    EXPECT_EQ(failedTurn(), 41);
    EXPECT_THAT(offsets(PLC_driver.readList), ElementsAre(1000, 0));
    EXPECT_THAT(callbackDiary, ElementsAre("commFail(empty, 5, 1)"));
}

TEST_F(CompletionTest, AbandonedCyclicReadsKeepWritesThatArrivedMeanwhile) {
    addRead(readVar(1, 0, 2));
    ComCommunication();
    write(21, 22);
    onceRead(31, 32);
    answerNothing();
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_EQ(PLC_driver.onceReadList.size(), 1);
}

TEST_F(CompletionTest, FailureOfAnyKindOfReplyIsReportedOnce) {
    write(21, 22);
    EXPECT_EQ(turnAnsweredBy(bytes("BB BB 00 00 00 02 00 05")), 11);
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 2)", "commFail(empty, 21, 1)"));
}

TEST_F(CompletionTest, RetriesAfterAFailureReportNothingUntilTheNextIsAbandoned) {
    write(21, 22);
    failedTurn();
    callbackDiary.clear();
    settings.retryLimit = 2;
    write(21, 22);
    ComCommunication();
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(PLC_driver.commFailed, 1);
    EXPECT_THAT(callbackDiary, IsEmpty());
    EXPECT_EQ(answerNothing(), 41);
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 2)", "commFail(empty, 21, 1)"));
}

TEST_F(CompletionTest, FirstGoodReplyAfterAFailureIsReportedAsSuccess) {
    write(21, 22);
    failedTurn();
    callbackDiary.clear();
    write(21, 22);
    ComCommunication();
    answer(firstHandshakeReply());
    answer(secondHandshakeReply("0D 0C 0B 0A"));
    EXPECT_THAT(callbackDiary, IsEmpty());
    goodTurn();
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 21, 22, 1)"));
}

TEST_F(CompletionTest, RetryKeepsTheListsAndReportsNothing) {
    settings.retryLimit = 1;
    write(21, 22);
    EXPECT_EQ(failedTurn(), 0);
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_THAT(callbackDiary, IsEmpty());
}

// ----- how the callbacks are called

bool listLockWasHeld = false;
bool imageLockWasHeld = true;

// Notes which locks are held during a callback.
void noteLocks() {
    listLockWasHeld = !PLC_driver.listMutex.tryLock();
    imageLockWasHeld = !PLC_driver.localAreaMutex.tryLock();
    if (!imageLockWasHeld) {
        PLC_driver.localAreaMutex.unlock();
    }
}

quint32 varDoneUnderLocks(quint32, quint32, quint32, quint32) {
    noteLocks();
    return 0;
}

quint32 commFailUnderLocks(QList<RW_VAR>*, quint32, quint32) {
    noteLocks();
    return 0;
}

TEST_F(CompletionTest, VariablesAreReportedUnderTheListLockOnly) {
    RegistCallBackFuncIntf(varDoneUnderLocks, recordCommFail);
    write(21, 22);
    listLockWasHeld = false;
    imageLockWasHeld = true;
    goodTurn();
    EXPECT_TRUE(listLockWasHeld);
    EXPECT_FALSE(imageLockWasHeld);
}

TEST_F(CompletionTest, FailuresAreReportedUnderTheListLockOnly) {
    RegistCallBackFuncIntf(recordVarDone, commFailUnderLocks);
    addRead(readVar(1, 0, 2));
    listLockWasHeld = false;
    imageLockWasHeld = true;
    failedTurn();
    EXPECT_TRUE(listLockWasHeld);
    EXPECT_FALSE(imageLockWasHeld);
}

int writesPendingDuringFailure = -1;
qint32 connectedDuringFailure = -1;

quint32 commFailLookingAtLists(QList<RW_VAR>* list, quint32, quint32) {
    list->append(readVar(1, 2, 3));  // the list is the driver's, for the duration of the call
    writesPendingDuringFailure = PLC_driver.writeList.size();
    connectedDuringFailure = PLC_driver.connected;
    return 0;
}

TEST_F(CompletionTest, RestOfAnAbandonedListIsDroppedAfterTheFailureIsReported) {
    RegistCallBackFuncIntf(recordVarDone, commFailLookingAtLists);
    for (int hostId : {1, 2, 3}) {
        RW_VAR var = identified(writeVar(1, 0, ""), hostId, 0);
        var.size = 400;
        addWrite(var);
    }
    failedTurn();
    EXPECT_EQ(writesPendingDuringFailure, 2);
    EXPECT_EQ(connectedDuringFailure, 0);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
}

TEST_F(CompletionTest, ListHandedToTheFailureCallbackIsEmptyEveryTime) {
    RegistCallBackFuncIntf(recordVarDone, commFailLookingAtLists);
    addRead(readVar(1, 0, 2));
    failedTurn();
    RegistCallBackFuncIntf(recordVarDone, recordCommFail);
    failedTurn();
    EXPECT_THAT(callbackDiary, ElementsAre("commFail(empty, 0, 1)"));
    EXPECT_TRUE(PLC_driver.spareList.isEmpty());
}

}  // namespace
