// The driver object as the loader leaves it, and the entry points that answer the same in every state.
#include <cstring>

#include "tests/support/driver_test.h"
#include "tests/support/locks.h"

using namespace ac500::test;

namespace {

// A driver object constructed in memory that held something else before.
class ConstructedDriverTest : public ::testing::Test {
protected:
    ConstructedDriverTest() : driver(construct()) {}
    ~ConstructedDriverTest() override { driver->~Communication_Protocol(); }

    Communication_Protocol* construct() {
        std::memset(memory, 0xA5, sizeof memory);
        return new (static_cast<void*>(memory)) Communication_Protocol();
    }

    alignas(Communication_Protocol) char memory[sizeof(Communication_Protocol)];
    Communication_Protocol* driver;
};

TEST_F(ConstructedDriverTest, HasNoSettings) {
    EXPECT_EQ(driver->comInfo, nullptr);
}

TEST_F(ConstructedDriverTest, HasEmptyLists) {
    EXPECT_TRUE(driver->readList.isEmpty());
    EXPECT_TRUE(driver->writeList.isEmpty());
    EXPECT_TRUE(driver->onceReadList.isEmpty());
    EXPECT_TRUE(driver->spareList.isEmpty());
    EXPECT_TRUE(driver->frameList.isEmpty());
    EXPECT_TRUE(driver->extendList.isEmpty());
}

TEST_F(ConstructedDriverTest, HasEmptyTables) {
    EXPECT_TRUE(driver->disabledStations.isEmpty());
    EXPECT_TRUE(driver->labelTable.isEmpty());
    EXPECT_TRUE(driver->localValues.isEmpty());
}

TEST_F(ConstructedDriverTest, HasStartedNoBatch) {
    EXPECT_EQ(driver->batchKind, 100);
    EXPECT_EQ(driver->batchCount, 0);
    EXPECT_EQ(driver->writeTurns, 0);
    EXPECT_EQ(driver->onceReadTurns, 0);
    EXPECT_EQ(driver->cyclicBatches, 0);
}

TEST_F(ConstructedDriverTest, IsNotConnectedAndHasNotFailed) {
    EXPECT_EQ(driver->connected, 0);
    EXPECT_EQ(driver->commFailed, 0);
    EXPECT_EQ(driver->unusedFlag, 0);
}

TEST_F(ConstructedDriverTest, HasZeroSessionBytes) {
    EXPECT_EQ(driver->handshakeBytes[0], 0);
    EXPECT_EQ(driver->handshakeBytes[1], 0);
    EXPECT_EQ(driver->handshakeBytes[2], 0);
    EXPECT_EQ(driver->handshakeBytes[3], 0);
}

TEST_F(ConstructedDriverTest, HasRecordsWithoutTextsAndBytes) {
    EXPECT_TRUE(driver->resultVar.labelName.isEmpty());
    EXPECT_TRUE(driver->resultVar.labelArg.isEmpty());
    EXPECT_TRUE(driver->resultVar.data.isEmpty());
    for (const RW_VAR& var : driver->batch) {
        EXPECT_TRUE(var.labelName.isEmpty());
        EXPECT_TRUE(var.labelArg.isEmpty());
        EXPECT_TRUE(var.data.isEmpty());
    }
}

TEST_F(ConstructedDriverTest, HasAHundredBatchRecords) {
    EXPECT_EQ(sizeof driver->batch / sizeof driver->batch[0], 100u);
}

TEST_F(ConstructedDriverTest, HasLocksThatAreFreeAndNotRecursive) {
    for (QMutex* mutex : {&driver->listMutex, &driver->localAreaMutex, &driver->stationMutex}) {
        ASSERT_TRUE(mutex->tryLock());
        EXPECT_FALSE(mutex->tryLock());
        mutex->unlock();
    }
}

class ServicesNotOfferedTest : public DriverTest {
protected:
    static void expectFixedAnswers() {
        EXPECT_EQ(QueryFinishFlag(), 1);
        EXPECT_EQ(PLCAddressChangeIntef(), -1);
    }
};

TEST_F(ServicesNotOfferedTest, AnswerBeforeSettingsExist) {  // quirk 1
    PLC_driver.comInfo = nullptr;
    expectFixedAnswers();
    EXPECT_EQ(PLC_driver.comInfo, nullptr);
}

TEST_F(ServicesNotOfferedTest, AnswerTheSameInEveryStateOfTheConnection) {  // quirk 1
    expectFixedAnswers();
    addRead(readVar(1, 0, 2));
    nextFrame();
    expectFixedAnswers();
    PLC_driver.connected = 1;
    PLC_driver.commFailed = 1;
    expectFixedAnswers();
    EXPECT_EQ(PLC_driver.frameList.size(), 2);
}

TEST_F(ServicesNotOfferedTest, TakeNoLock) {
    EXPECT_TRUE(runsBeside(PLC_driver.listMutex, expectFixedAnswers));
    EXPECT_TRUE(runsBeside(PLC_driver.localAreaMutex, expectFixedAnswers));
    EXPECT_TRUE(runsBeside(PLC_driver.stationMutex, expectFixedAnswers));
}

TEST_F(ServicesNotOfferedTest, RemoteAccessToNothingGivesNothing) {  // quirk 1
    EXPECT_EQ(Remote_ReadVar(nullptr), nullptr);
    EXPECT_EQ(Remote_WriteVar(nullptr), nullptr);
}

TEST_F(ServicesNotOfferedTest, RemoteAccessHandsTheRecordBackUnchanged) {  // quirk 1
    RW_VAR var = identified(writeVar(3, 44, "AA BB"), 5, 6);
    var.labelName = "Main.counter";
    EXPECT_EQ(Remote_ReadVar(&var), &var);
    EXPECT_EQ(Remote_WriteVar(&var), &var);
    EXPECT_EQ(var.hostId, 5);
    EXPECT_EQ(var.hostSubId, 6);
    EXPECT_EQ(var.writeFlag, 1);
    EXPECT_EQ(var.area, 3);
    EXPECT_EQ(var.offset, 44);
    EXPECT_EQ(var.size, 2);
    EXPECT_EQ(var.labelName, QString("Main.counter"));
    EXPECT_EQ(hex(var.data), "AA BB");
}

TEST_F(ServicesNotOfferedTest, RemoteAccessQueuesAndStoresNothing) {  // quirk 1
    RW_VAR var = writeVar(3, 44, "AA BB");
    Remote_ReadVar(&var);
    Remote_WriteVar(&var);
    EXPECT_TRUE(PLC_driver.readList.isEmpty());
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(PLC_driver.onceReadList.isEmpty());
    EXPECT_TRUE(PLC_driver.localValues.isEmpty());
    EXPECT_EQ(nextFrame(), "nothing");
}

// A frame that some host queued itself: no ComCommunication has chosen a batch yet.
class NoBatchChosenTest : public DriverTest {
protected:
    NoBatchChosenTest() {
        Protocol request = Protocol();
        request.replyLength = -1;
        PLC_driver.frameList.append(request);
        PLC_driver.connected = 1;
        PLC_driver.batchCount = 1;
        settings.frameTotal = 1;
        addRead(readVar(1, 0, 2));
        addRead(readVar(1, 100, 2));
        addWrite(identified(writeVar(1, 0, "00"), 1, 1));
        addOnceRead(identified(readVar(1, 0, 2), 2, 2));
    }

    static void expectListsUntouched() {
        ASSERT_EQ(PLC_driver.readList.size(), 2);
        EXPECT_EQ(PLC_driver.readList.at(0).offset, 0);
        EXPECT_EQ(PLC_driver.writeList.size(), 1);
        EXPECT_EQ(PLC_driver.onceReadList.size(), 1);
    }
};

TEST_F(NoBatchChosenTest, GoodReplyNeitherTrimsNorRotatesAnyList) {
    EXPECT_EQ(PLC_driver.batchKind, 100);
    EXPECT_EQ(answer(readReply({"12"})), 1);
    expectListsUntouched();
    EXPECT_TRUE(callbackDiary.empty());
    EXPECT_TRUE(PLC_driver.frameList.isEmpty());
}

TEST_F(NoBatchChosenTest, AbandonedRequestNeitherTrimsNorRotatesAnyList) {
    settings.retryLimit = 0;
    EXPECT_EQ(answerNothing(), 41);
    expectListsUntouched();
    EXPECT_THAT(callbackDiary, ::testing::ElementsAre("commFail(empty, 0, 1)"));
}

}  // namespace
