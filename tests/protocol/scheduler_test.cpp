// ComCommunication: which variables go into the next request. fairness_test.cpp holds the order of kinds.
#include <thread>

#include "tests/support/driver_test.h"
#include "tests/support/locks.h"

using namespace ac500::test;

namespace {

class SchedulerTest : public DriverTest {
protected:
    SchedulerTest() {
        connectToPlc();
        settings.firstPassDone = 0;
    }

    static void addReads(std::initializer_list<qint32> sizes) {
        for (qint32 size : sizes) {
            addRead(readVar(1, 0, size));
        }
    }

    static void addOnceReads(std::initializer_list<qint32> sizes) {
        for (qint32 size : sizes) {
            addOnceRead(readVar(2, 0, size));
        }
    }

    static void addWrites(std::initializer_list<qint32> sizes) {
        for (qint32 size : sizes) {
            RW_VAR var = writeVar(3, 0, "");
            var.data = QByteArray(size, '\x5A');
            var.size = size;
            addWrite(var);
        }
    }

    // How many variables the next request carries; -1 when there is none.
    static int nextBatchCount() { return ComCommunication() == nullptr ? -1 : PLC_driver.batchCount; }
};

TEST_F(SchedulerTest, NothingPendingGivesNullAndCompletesTheFirstPass) {
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(settings.firstPassDone, 1);
    EXPECT_EQ(PLC_driver.batchCount, 0);
    EXPECT_EQ(PLC_driver.writeTurns, 0);
    EXPECT_EQ(PLC_driver.onceReadTurns, 0);
}

TEST_F(SchedulerTest, NothingPendingWithoutConnectionGivesNullToo) {
    PLC_driver.connected = 0;
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(settings.firstPassDone, 1);
    EXPECT_EQ(PLC_driver.connected, 0);
}

TEST_F(SchedulerTest, PendingWorkDoesNotCompleteTheFirstPass) {
    addReads({2});
    EXPECT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(settings.firstPassDone, 0);
}

TEST_F(SchedulerTest, QueuedFrameIsOfferedAgainUnchanged) {
    addReads({2});
    const Protocol* request = ComCommunication();
    ASSERT_NE(request, nullptr);
    const std::string frame = hex(request->frame);
    addWrites({4});
    addOnceReads({4});
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(ComCommunication(), request);
    }
    EXPECT_EQ(nextFrame(), frame);
    EXPECT_EQ(PLC_driver.batchKind, 0);
    EXPECT_EQ(PLC_driver.batchCount, 1);
    EXPECT_EQ(PLC_driver.writeTurns, 0);
    EXPECT_EQ(PLC_driver.frameList.size(), 1);
}

TEST_F(SchedulerTest, QueuedFrameIsOfferedWithoutAnyLock) {
    addReads({2});
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, [] { ComCommunication(); }));
    EXPECT_TRUE(runsBeside(PLC_driver.localAreaMutex, [] { ComCommunication(); }));
}

TEST_F(SchedulerTest, ChoiceOfABatchWaitsForTheListLock) {
    addReads({2});
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { ComCommunication(); }));
    EXPECT_EQ(PLC_driver.frameList.size(), 1);
}

TEST_F(SchedulerTest, ChoiceOfAReadDoesNotWaitForTheImageLock) {
    addReads({2});
    EXPECT_TRUE(runsBeside(PLC_driver.localAreaMutex, [] { ComCommunication(); }));
}

// So that readers do not wait for it while replies are stored.
TEST_F(SchedulerTest, FirstReadOfAPassMakesRoomForAllOfThem) {
    addReads({2000, 2000, 2000});
    ComCommunication();
    EXPECT_GE(PLC_driver.localValues.capacity(), 3000);
    EXPECT_LT(PLC_driver.localValues.capacity(), 6000);
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
}

// Adding up what the list asks for takes a look at each of its entries.
TEST_F(SchedulerTest, LaterReadsOfAPassMakeNoRoom) {
    addReads({2000, 2000, 2000});
    PLC_driver.cyclicBatches = 1;
    ComCommunication();
    EXPECT_EQ(settings.firstPassDone, 0);
    EXPECT_LT(PLC_driver.localValues.capacity(), 100);
}

TEST_F(SchedulerTest, RoomIsMadeForAnImageThatHoldsBytesAlready) {
    setImage(1, 7, "AB CD");
    addReads({2000, 2000, 2000});
    ComCommunication();
    EXPECT_GE(PLC_driver.localValues.capacity(), 3000);
    EXPECT_EQ(image(1, 6, 4), "-- AB CD --");
}

TEST_F(SchedulerTest, ReadsAfterTheFirstPassMakeNoRoom) {
    settings.firstPassDone = 1;
    addReads({2000, 2000, 2000});
    ComCommunication();
    EXPECT_LT(PLC_driver.localValues.capacity(), 100);
}

TEST_F(SchedulerTest, MirroringAWriteWaitsForTheImageLock) {
    addWrites({2});
    EXPECT_TRUE(waitsFor(PLC_driver.localAreaMutex, [] { ComCommunication(); }));
    EXPECT_EQ(image(3, 0, 2), "5A 5A");
}

TEST_F(SchedulerTest, LocksAreFreeAfterEachCall) {
    ComCommunication();
    addReads({2});
    ComCommunication();
    for (QMutex* mutex : {&PLC_driver.listMutex, &PLC_driver.localAreaMutex, &PLC_driver.stationMutex}) {
        EXPECT_TRUE(mutex->tryLock());
        mutex->unlock();
    }
}

TEST_F(SchedulerTest, ReturnsTheHeadOfTheQueueItself) {
    addReads({2});
    Protocol* request = ComCommunication();
    ASSERT_FALSE(PLC_driver.frameList.isEmpty());
    EXPECT_EQ(request, &PLC_driver.frameList.first());
}

TEST_F(SchedulerTest, QueueIsUnsharedBeforeItsHeadIsHandedOut) {
    addReads({2});
    ComCommunication();
    const QList<Protocol> copy = PLC_driver.frameList;
    ComCommunication()->replyLength = 77;
    EXPECT_EQ(copy.at(0).replyLength, -1);
}

TEST_F(SchedulerTest, BatchHoldsWholeCopiesInListOrder) {
    RW_VAR first = identified(readVar(1, 10, 2), 31, 32);
    first.labelName = "Main.first";
    first.labelArg = "4";
    first.dataType = 3;
    first.comWord = 2424;
    first.aux3 = 1;
    first.aux4 = 2;
    first.status = 3;
    first.resolveResult = 4;
    addRead(first);
    addRead(identified(readVar(1, 20, 4), 33, 34));
    ComCommunication();
    ASSERT_EQ(PLC_driver.batchCount, 2);
    const RW_VAR& copied = PLC_driver.batch[0];
    EXPECT_EQ(copied.hostId, 31);
    EXPECT_EQ(copied.hostSubId, 32);
    EXPECT_EQ(copied.labelName, QString("Main.first"));
    EXPECT_EQ(copied.labelArg, QString("4"));
    EXPECT_EQ(copied.dataType, 3);
    EXPECT_EQ(copied.comWord, 2424);
    EXPECT_EQ(copied.aux3, 1);
    EXPECT_EQ(copied.aux4, 2);
    EXPECT_EQ(copied.status, 3);
    EXPECT_EQ(copied.resolveResult, 4);
    EXPECT_EQ(copied.offset, 10);
    EXPECT_EQ(copied.size, 2);
    EXPECT_EQ(PLC_driver.batch[1].hostId, 33);
    EXPECT_EQ(PLC_driver.batch[1].offset, 20);
}

TEST_F(SchedulerTest, QueuedRecordServesTheFirstVariableOfTheBatch) {
    addRead(identified(readVar(1, 10, 2), 31, 32));
    addRead(identified(readVar(1, 20, 4), 33, 34));
    const Protocol* request = ComCommunication();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->var.hostId, 31);
    EXPECT_EQ(request->var.hostSubId, 32);
    EXPECT_EQ(request->var.offset, 10);
}

TEST_F(SchedulerTest, ChoosingRemovesNothingFromTheLists) {
    addReads({2, 2});
    addWrites({2, 2, 2});
    addOnceReads({2});
    ComCommunication();
    EXPECT_EQ(PLC_driver.readList.size(), 2);
    EXPECT_EQ(PLC_driver.writeList.size(), 3);
    EXPECT_EQ(PLC_driver.onceReadList.size(), 1);
}

TEST_F(SchedulerTest, EachKindSetsItsBatchKindAndTurns) {
    addReads({2});
    ComCommunication();
    EXPECT_EQ(PLC_driver.batchKind, 0);
    PLC_driver.frameList.clear();
    addOnceReads({2});
    ComCommunication();
    EXPECT_EQ(PLC_driver.batchKind, 2);
    EXPECT_EQ(PLC_driver.onceReadTurns, 1);
    PLC_driver.frameList.clear();
    addWrites({2});
    ComCommunication();
    EXPECT_EQ(PLC_driver.batchKind, 1);
    EXPECT_EQ(PLC_driver.writeTurns, 1);
}

TEST_F(SchedulerTest, RequestIsOneFrameNotYetAnswered) {
    settings.frameTotal = 2;
    settings.frameDone = 2;
    addReads({2});
    ComCommunication();
    EXPECT_EQ(settings.frameTotal, 1);
    EXPECT_EQ(settings.frameDone, 0);
}

TEST_F(SchedulerTest, NotConnectedWithWorkPendingGivesTheFirstHandshakeFrame) {  // quirk 7
    PLC_driver.connected = 0;
    addReads({2});
    EXPECT_EQ(nextFrame(), "BB BB 00 00 00 0E 01 00 00 00 02 00 00 00 06 00 00 00 00 00");
    EXPECT_EQ(PLC_driver.batchKind, 0);
    EXPECT_EQ(PLC_driver.batchCount, 1);
}

// Reads cost their size and 1; a request carries less than 800.

TEST_F(SchedulerTest, ReadsOneBelowTheBudgetShareARequest) {
    addReads({398, 399});
    EXPECT_EQ(nextBatchCount(), 2);
}

TEST_F(SchedulerTest, ReadsExactlyAtTheBudgetAreSplit) {
    addReads({398, 400});
    EXPECT_EQ(nextBatchCount(), 1);
}

TEST_F(SchedulerTest, ReadsOneAboveTheBudgetAreSplit) {
    addReads({399, 400});
    EXPECT_EQ(nextBatchCount(), 1);
}

TEST_F(SchedulerTest, ReadAloneIsSentWhateverItsSize) {
    addReads({5000, 1});
    EXPECT_EQ(nextBatchCount(), 1);
    EXPECT_EQ(nextFrame(), "BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00 13 88 0A 0B 0C 0D");
}

TEST_F(SchedulerTest, ReadThatDoesNotFitEndsTheBatchEvenIfALaterOneWould) {
    addReads({400, 500, 1});
    EXPECT_EQ(nextBatchCount(), 1);
}

TEST_F(SchedulerTest, ThirdReadCountsAgainstTheSumOfAll) {
    addReads({300, 300, 196, 0});
    EXPECT_EQ(nextBatchCount(), 3);  // 301 + 301 + 197 is 799; the fourth would make 800
}

TEST_F(SchedulerTest, ReadsOfLengthZeroStopAtSeventyNine) {
    for (int i = 0; i < 200; ++i) {
        addReads({0});
    }
    EXPECT_EQ(nextBatchCount(), 79);
}

TEST_F(SchedulerTest, SmallReadsStopAtSeventyNine) {
    for (int i = 0; i < 80; ++i) {
        addReads({1});
    }
    EXPECT_EQ(nextBatchCount(), 79);
}

TEST_F(SchedulerTest, SeventyNineReadsAreSentTogether) {
    for (int i = 0; i < 79; ++i) {
        addReads({2});
    }
    EXPECT_EQ(nextBatchCount(), 79);
}

TEST_F(SchedulerTest, ReadsOfTenBytesStopAtTheBudget) {
    for (int i = 0; i < 200; ++i) {
        addReads({10});
    }
    EXPECT_EQ(nextBatchCount(), 72);  // 72 times 11 is 792
}

TEST_F(SchedulerTest, OnceReadsAreGroupedLikeCyclicReads) {
    addOnceReads({398, 399, 0});
    EXPECT_EQ(nextBatchCount(), 2);
    EXPECT_EQ(PLC_driver.batchKind, 2);
}

TEST_F(SchedulerTest, OnceReadsExactlyAtTheBudgetAreSplit) {
    addOnceReads({398, 400});
    EXPECT_EQ(nextBatchCount(), 1);
}

TEST_F(SchedulerTest, OnceReadsOfLengthZeroStopAtSeventyNine) {
    for (int i = 0; i < 200; ++i) {
        addOnceReads({0});
    }
    EXPECT_EQ(nextBatchCount(), 79);
}

// Writes cost their size and 10; a request carries less than 800.

TEST_F(SchedulerTest, WritesOneBelowTheBudgetShareARequest) {
    addWrites({390, 389});
    EXPECT_EQ(nextBatchCount(), 2);
}

TEST_F(SchedulerTest, WritesExactlyAtTheBudgetAreSplit) {
    addWrites({390, 390});
    EXPECT_EQ(nextBatchCount(), 1);
}

TEST_F(SchedulerTest, WritesOneAboveTheBudgetAreSplit) {
    addWrites({391, 390});
    EXPECT_EQ(nextBatchCount(), 1);
}

TEST_F(SchedulerTest, WriteAloneIsSentWhateverItsSize) {
    addWrites({5000, 1});
    EXPECT_EQ(nextBatchCount(), 1);
    const Protocol* request = ComCommunication();
    EXPECT_EQ(request->frame.size(), 5026);
    EXPECT_EQ(hex(request->frame.left(22)), "BB BB 00 00 13 9C 3C 00 00 00 00 01 00 03 00 00 00 00 00 00 13 88");
}

TEST_F(SchedulerTest, WriteThatDoesNotFitEndsTheBatchEvenIfALaterOneWould) {
    addWrites({400, 500, 1});
    EXPECT_EQ(nextBatchCount(), 1);
}

TEST_F(SchedulerTest, WritesOfLengthZeroStopAtSeventyNine) {
    for (int i = 0; i < 200; ++i) {
        addWrites({0});
    }
    EXPECT_EQ(nextBatchCount(), 79);  // 79 times 10 is 790; the eightieth would make 800
}

TEST_F(SchedulerTest, WritesOfAnySmallLengthNeverExceedSeventyNine) {
    for (qint32 size = 0; size <= 100; ++size) {
        PLC_driver.frameList.clear();
        PLC_driver.writeList.clear();
        PLC_driver.writeTurns = 0;
        for (int i = 0; i < 100; ++i) {
            addWrites({size});
        }
        EXPECT_GE(nextBatchCount(), 7) << size << " bytes";
        EXPECT_LE(PLC_driver.batchCount, 79) << size << " bytes";
    }
}

TEST_F(SchedulerTest, WritesOfTenBytesStopAtTheBudget) {
    for (int i = 0; i < 100; ++i) {
        addWrites({10});
    }
    EXPECT_EQ(nextBatchCount(), 39);  // 39 times 20 is 780; the fortieth would make 800
}

TEST_F(SchedulerTest, WritesOfAHundredBytesStopAtTheBudget) {
    for (int i = 0; i < 20; ++i) {
        addWrites({100});
    }
    EXPECT_EQ(nextBatchCount(), 7);  // 7 times 110 is 770
}

// Records that contradict themselves must never fill the batch beyond its end.

TEST_F(SchedulerTest, NegativeSizesOfWritesNeverOverflowTheBatch) {
    for (qint32 size : {-1, -10, -11, -1000, -2147483647 - 1}) {
        SCOPED_TRACE(size);
        PLC_driver.frameList.clear();
        PLC_driver.writeList.clear();
        PLC_driver.writeTurns = 0;
        for (int i = 0; i < 300; ++i) {
            RW_VAR var = writeVar(3, 0, "AA");
            var.size = size;
            addWrite(var);
        }
        EXPECT_EQ(nextBatchCount(), 79);  // like writes of length 0
    }
}

TEST_F(SchedulerTest, NegativeSizesOfReadsNeverOverflowTheBatch) {
    for (qint32 size : {-1, -2, -1000, -2147483647 - 1}) {
        SCOPED_TRACE(size);
        PLC_driver.frameList.clear();
        PLC_driver.readList.clear();
        PLC_driver.onceReadList.clear();
        for (int i = 0; i < 300; ++i) {
            addReads({size});
            addOnceReads({size});
        }
        EXPECT_EQ(nextBatchCount(), 79);
        PLC_driver.frameList.clear();
        PLC_driver.onceReadList.clear();
        EXPECT_EQ(nextBatchCount(), 79);
    }
}

TEST_F(SchedulerTest, NegativeSizeMakesNoRoomForOthers) {
    addReads({-1000, 798, 798});
    EXPECT_EQ(nextBatchCount(), 1);  // 1 + 799 is 800
    PLC_driver.frameList.clear();
    addWrites({0, 780});
    PLC_driver.writeList[0].size = -1000;
    EXPECT_EQ(nextBatchCount(), 1);  // 10 + 790 is 800
}

TEST_F(SchedulerTest, HugeSizesOfReadsNeverOverflowTheBatch) {
    for (int i = 0; i < 300; ++i) {
        addReads({2147483647});
    }
    EXPECT_GE(nextBatchCount(), 1);
    EXPECT_LE(PLC_driver.batchCount, 79);
}

// A write whose size no frame has room for: it must not keep everything behind it from going out.
class WriteTooLargeForAFrame : public SchedulerTest {
protected:
    WriteTooLargeForAFrame() {
        RW_VAR var = identified(writeVar(3, 0, "12 34"), 101, 1);
        var.size = 0x40000000;
        addWrite(var);
        callbackDiary.clear();
    }
};

TEST_F(WriteTooLargeForAFrame, IsReportedAsFailedByTheCallThatWouldHaveSentIt) {
    EXPECT_EQ(nextFrame(), "nothing");
    EXPECT_THAT(callbackDiary, ::testing::ElementsAre("varDone(7, 101, 1, 2)"));
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
    EXPECT_EQ(PLC_driver.commFailed, 0) << "the line is not to blame";
    EXPECT_EQ(nextFrame(), "nothing");
    EXPECT_EQ(callbackDiary.size(), 1U);
}

TEST_F(WriteTooLargeForAFrame, IsReportedUnderTheListLock) {
    EXPECT_TRUE(waitsFor(PLC_driver.listMutex, [] { nextFrame(); }));
    static bool lockWasFree;
    lockWasFree = true;
    RW_VAR var = identified(writeVar(3, 0, "12 34"), 101, 2);
    var.size = 0x40000000;
    addWrite(var);
    const auto tryTheLock = [](quint32, quint32, quint32, quint32) -> quint32 {
        std::thread([] {
            lockWasFree = PLC_driver.listMutex.tryLock();
            if (lockWasFree) {
                PLC_driver.listMutex.unlock();
            }
        }).join();
        return 0;
    };
    RegistCallBackFuncIntf(tryTheLock, recordCommFail);
    nextFrame();
    EXPECT_FALSE(lockWasFree);
}

TEST_F(WriteTooLargeForAFrame, IsReportedWithoutASession) {
    PLC_driver.connected = 0;
    addReads({4});
    EXPECT_EQ(nextFrame(), "nothing");
    EXPECT_THAT(callbackDiary, ::testing::ElementsAre("varDone(7, 101, 1, 2)"));
    EXPECT_EQ(nextFrame(), "BB BB 00 00 00 0E 01 00 00 00 02 00 00 00 06 00 00 00 00 00");
}

TEST_F(WriteTooLargeForAFrame, LetsTheOtherWritesAndTheCyclicReadsGoOn) {
    addReads({4});
    addWrite(identified(writeVar(3, 8, "56 78"), 101, 1));
    EXPECT_EQ(nextFrame(), "nothing");
    EXPECT_THAT(callbackDiary, ::testing::ElementsAre("varDone(7, 101, 1, 2)")) << "also while a newer write waits";
    EXPECT_EQ(nextFrame(), "BB BB 00 00 00 16 3C 00 00 00 00 01 00 03 00 00 00 08 00 00 00 02 56 78 0A 0B 0C 0D");
    answer(writeReply());
    EXPECT_THAT(callbackDiary, ::testing::ElementsAre("varDone(7, 101, 1, 2)", "varDone(7, 101, 1, 1)"));
    EXPECT_EQ(nextFrame(), "BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00 00 04 0A 0B 0C 0D");
}

}  // namespace
