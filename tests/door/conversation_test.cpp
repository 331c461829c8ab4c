// A host's conversation with a PLC through the loaded library: every frame is spelled out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/door/loaded_driver.h"
#include "tests/support/callback_diary.h"
#include "tests/support/label_builders.h"
#include "tests/support/records.h"
#include "tests/support/wire.h"

using namespace ac500::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Eight bytes from offset 16 of area 2: the counter, a gap of two bytes, the level. Session 11 22 33 44.
constexpr const char* kReadRequest = "BB BB 00 00 00 14 2E 00 00 00 00 01 00 02 00 00 00 10 00 00 00 08 11 22 33 44";

// Two bytes to offset 8 of area 1: the setpoint becomes 42. Session 11 22 33 44.
constexpr const char* kWriteRequest =
    "BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 02 00 2A 11 22 33 44";

// Status word 0, four bytes of the PLC's own, lead byte, then 1234, the gap, and 10.0 as 41 20 00 00.
constexpr const char* kReadReply = "BB BB 00 00 00 0F 00 00 00 00 00 00 FF 12 34 00 00 41 20 00 00";

constexpr const char* kWriteReply = "BB BB 00 00 00 02 00 00";

class ConversationTest : public ::testing::Test {
protected:
    ConversationTest() : settings(testSettings()) {
        settings.retryLimit = 1;
        callbackDiary.clear();
        driver.SetComInfo(&settings);
        driver.RegistCallBackFuncIntf(recordVarDone, recordCommFail);
        driver.FlashLocalRegister(nullptr, nullptr, nullptr);
        passSymbols();
    }

    // A word, a 32-bit float and a setpoint. The host's list may go after the call.
    void passSymbols() {
        QList<Label_Type_Info> symbols = {scope(
            "Main",
            {inArea(variable("counter", 3, 16), 2), inArea(variable("level", 7, 20), 2), variable("setpoint", 4, 8)})};
        driver.PassVarName_2(&symbols);
    }

    int pollCounterAndLevel() {
        QList<HostTag> tags = {HostTag{0, 0, "", "Main.counter", 1}, HostTag{0, 0, "", "Main.level", 2}};
        return driver.ReCreatReadVarList(&tags);
    }

    std::string nextFrame() {
        const Protocol* request = driver.ComCommunication();
        return request == nullptr ? "nothing" : hex(request->frame);
    }

    int dataCom(QByteArray reply) { return driver.DataCom(&reply, reply.size())->status; }

    int answer(const QByteArray& reply) {
        EXPECT_EQ(dataCom(reply), 1) << "the measuring call did not find the reply complete";
        return dataCom(reply);
    }

    int answerNothing() { return dataCom(QByteArray()); }

    // Both handshake turns; `sessionBytes` as on the wire, in the reverse of the order in which they are sent back.
    void shakeHands(const char* sessionBytes) {
        ASSERT_EQ(nextFrame(), kFirstHandshakeRequest);
        ASSERT_EQ(answer(firstHandshakeReply()), 1);
        ASSERT_EQ(nextFrame(), kSecondHandshakeRequest);
        ASSERT_EQ(answer(secondHandshakeReply(sessionBytes)), 1);
    }

    std::string value(const char* tag, qint32 count) { return hex(driver.value(tag, count)); }

    LoadedDriver driver;
    ComInfo settings;
};

TEST_F(ConversationTest, FromSettingsToReconnection) {
    // Two tags of one area become one request.
    ASSERT_EQ(pollCounterAndLevel(), 1);
    EXPECT_EQ(value("Main.counter", 1), "00 00");
    shakeHands("44 33 22 11");

    // A cyclic read brings both values.
    EXPECT_EQ(nextFrame(), kReadRequest);
    EXPECT_EQ(answer(bytes(kReadReply)), 1);
    EXPECT_EQ(value("Main.counter", 1), "34 12");
    EXPECT_EQ(value("Main.level", 2), "00 00 20 41");
    EXPECT_THAT(callbackDiary, IsEmpty());

    // A write is visible as soon as its request is built, and reported when it is answered.
    EXPECT_EQ(driver.setValue("Main.setpoint", bytes("2A 00"), 1, 501, 3), 1u);
    EXPECT_EQ(value("Main.setpoint", 1), "00 00");
    EXPECT_EQ(nextFrame(), kWriteRequest);
    EXPECT_EQ(value("Main.setpoint", 1), "2A 00");
    EXPECT_THAT(callbackDiary, IsEmpty());
    EXPECT_EQ(answer(bytes(kWriteReply)), 1);
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 501, 3, 1)"));
    callbackDiary.clear();

    // The PLC falls silent: one retry, then the next write fails and the connection is given up.
    EXPECT_EQ(driver.setValue("Main.setpoint", bytes("2A 00"), 1, 501, 3), 1u);
    EXPECT_EQ(nextFrame(), kWriteRequest);
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(nextFrame(), kWriteRequest);
    EXPECT_EQ(answerNothing(), 41);
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 501, 3, 2)", "commFail(empty, 501, 1)"));
    callbackDiary.clear();

    // Values stay readable; the next turn opens the connection anew, under other session bytes.
    EXPECT_EQ(value("Main.counter", 1), "34 12");
    shakeHands("A4 A3 A2 A1");
    EXPECT_EQ(nextFrame(), "BB BB 00 00 00 14 2E 00 00 00 00 01 00 02 00 00 00 10 00 00 00 08 A1 A2 A3 A4");
    EXPECT_EQ(answer(bytes("BB BB 00 00 00 0F 00 00 00 00 00 00 FF 12 35 00 00 C1 20 00 00")), 1);
    EXPECT_EQ(value("Main.counter", 1), "35 12");
    EXPECT_EQ(value("Main.level", 2), "00 00 20 C1");
    EXPECT_THAT(callbackDiary, IsEmpty());
}

TEST_F(ConversationTest, NothingToSayWithoutTagsAndWrites) {
    EXPECT_EQ(nextFrame(), "nothing");
    EXPECT_EQ(settings.firstPassDone, 1);
}

TEST_F(ConversationTest, FirstPassIsReportedAfterTheListWasReadThrough) {
    pollCounterAndLevel();
    shakeHands("44 33 22 11");
    nextFrame();
    answer(bytes(kReadReply));
    EXPECT_EQ(settings.firstPassDone, 0);
    nextFrame();
    answer(bytes(kReadReply));
    EXPECT_EQ(settings.firstPassDone, 1);
}

TEST_F(ConversationTest, OnceReadIsAnsweredAndReported) {
    RW_VAR once = identified(readVar(0, 0, 1), 601, 4);
    once.labelName = "Main.counter";
    EXPECT_EQ(driver.AddListOnceReadVar(&once), 1);
    shakeHands("44 33 22 11");
    EXPECT_EQ(nextFrame(), "BB BB 00 00 00 14 2E 00 00 00 00 01 00 02 00 00 00 10 00 00 00 02 11 22 33 44");
    EXPECT_EQ(answer(bytes("BB BB 00 00 00 09 00 00 00 00 00 00 FF 56 78")), 1);
    EXPECT_THAT(callbackDiary, ElementsAre("varDone(7, 601, 4, 1)"));
    EXPECT_EQ(value("Main.counter", 1), "78 56");
    EXPECT_EQ(nextFrame(), "nothing");
}

TEST_F(ConversationTest, ReplyThatArrivesByteByByteIsMeasuredUntilItIsComplete) {
    pollCounterAndLevel();
    shakeHands("44 33 22 11");
    nextFrame();
    const QByteArray reply = bytes(kReadReply);
    for (int size = 1; size < 21; ++size) {
        EXPECT_EQ(dataCom(reply.left(size)), 0) << size << " bytes";
    }
    EXPECT_EQ(answer(reply), 1);
    EXPECT_EQ(value("Main.counter", 1), "34 12");
}

TEST_F(ConversationTest, RefusedHandshakeStartsAgain) {
    pollCounterAndLevel();
    EXPECT_EQ(nextFrame(), kFirstHandshakeRequest);
    EXPECT_EQ(answer(zeroReply(199)), 201);
    EXPECT_EQ(nextFrame(), kFirstHandshakeRequest);
    EXPECT_EQ(answer(zeroReply(200)), 1);
    EXPECT_EQ(nextFrame(), kSecondHandshakeRequest);
    EXPECT_EQ(answer(zeroReply(29)), 201);
    shakeHands("44 33 22 11");
    EXPECT_EQ(nextFrame(), kReadRequest);
}

TEST_F(ConversationTest, RefusedReadIsRetriedAndGivenUpWithItsCode) {
    pollCounterAndLevel();
    shakeHands("44 33 22 11");
    nextFrame();
    EXPECT_EQ(answer(bytes("BB BB 00 00 00 02 00 05")), 0);
    EXPECT_EQ(nextFrame(), kReadRequest);
    EXPECT_EQ(dataCom(bytes("BB BB 00 00 00 02 00 05")), 11);
    EXPECT_THAT(callbackDiary, ElementsAre("commFail(empty, 0, 1)"));
    EXPECT_EQ(nextFrame(), kFirstHandshakeRequest);
}

TEST_F(ConversationTest, WritesWhileCommunicationHasFailedShowAtOnce) {  // quirk 25
    settings.retryLimit = 0;
    pollCounterAndLevel();
    nextFrame();
    EXPECT_EQ(answerNothing(), 41);
    EXPECT_EQ(driver.setValue("Main.setpoint", bytes("2A 00"), 1, 501, 3), 1u);
    EXPECT_EQ(value("Main.setpoint", 1), "2A 00");
    shakeHands("44 33 22 11");
    EXPECT_EQ(nextFrame(), kWriteRequest);
}

TEST_F(ConversationTest, WritesWithoutAccessToThePlcReachTheImageOnly) {  // quirk 25
    settings.accessMode = 1;
    EXPECT_EQ(driver.setValue("Main.setpoint", bytes("2A 00"), 1, 501, 3), 0u);
    EXPECT_EQ(value("Main.setpoint", 1), "2A 00");
    EXPECT_EQ(nextFrame(), "nothing");
    EXPECT_THAT(callbackDiary, IsEmpty());
}

TEST_F(ConversationTest, UnknownTagsAreRefusedWithoutATrace) {
    quint32 resolved = 77;
    EXPECT_EQ(hex(driver.value("Main.unknown", 2, &resolved)), "00 00 00 00");
    EXPECT_EQ(resolved, 0u);
    EXPECT_EQ(driver.setValue("Main.unknown", bytes("2A 00"), 1, 501, 3), 0u);
    QList<HostTag> tags = {HostTag{0, 0, "", "Main.unknown", 1}};
    EXPECT_EQ(driver.ReCreatReadVarList(&tags), 0);
    EXPECT_EQ(nextFrame(), "nothing");
}

TEST_F(ConversationTest, ResultRecordNamesTheRequestThatFailed) {
    settings.retryLimit = 0;
    driver.setValue("Main.setpoint", bytes("2A 00"), 1, 3, 9);
    shakeHands("44 33 22 11");
    nextFrame();
    QByteArray reply = bytes("BB BB 00 00 00 02 00 05");
    ASSERT_EQ(driver.DataCom(&reply, 8)->status, 1);
    const RW_VAR* result = driver.DataCom(&reply, 8);
    EXPECT_EQ(result->status, 14);
    EXPECT_EQ(result->hostId, 3);
    EXPECT_EQ(result->hostSubId, 9);
    EXPECT_EQ(result->labelName, QString("Main.setpoint"));
    EXPECT_TRUE(result->data.isEmpty());
}

}  // namespace
