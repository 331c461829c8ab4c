// The host's settings record, word by word, and the registration of its callbacks.
#include <array>

#include "tests/support/driver_test.h"
#include "tests/support/label_builders.h"

using namespace ac500::test;

namespace {

// Settings as a host holds them: a block of words that is longer than what the driver knows of it. Every word starts
// with a value of its own, 1000 + its byte offset.
class SettingsWordsTest : public DriverTest {
protected:
    using Words = std::array<qint32, 24>;

    SettingsWordsTest() { fill(words); }

    static void fill(Words& block) {
        qint32 value = 1000;
        for (qint32& word : block) {
            word = value;
            value += 4;
        }
    }

    static ComInfo* record(Words& block) { return reinterpret_cast<ComInfo*>(block.data()); }

    qint32& wordAt(int byteOffset) { return words[static_cast<size_t>(byteOffset / 4)]; }

    // Byte offsets of the words that are no longer as filled.
    static std::vector<int> changedOffsets(const Words& block) {
        Words untouched;
        fill(untouched);
        std::vector<int> offsets;
        for (size_t i = 0; i < block.size(); ++i) {
            if (block[i] != untouched[i]) {
                offsets.push_back(static_cast<int>(i) * 4);
            }
        }
        return offsets;
    }

    // Handshake, a write and a cyclic read, both answered, and a request given up. REQUIRES: retryLimit 0.
    static void holdConversation() {
        connectToPlc();
        addRead(readVar(1, 0, 2));
        addWrite(identified(writeVar(1, 0, "AA"), 21, 22));
        nextFrame();
        answer(writeReply());
        nextFrame();
        answer(readReply({"12 34"}));
        nextFrame();
        answerNothing();
    }

    Words words;
};

TEST_F(SettingsWordsTest, HandingOverClearsTwoWordsAndNoOther) {
    SetComInfo(record(words));
    EXPECT_EQ(wordAt(40), 0);
    EXPECT_EQ(wordAt(52), 0);
    EXPECT_THAT(changedOffsets(words), ::testing::ElementsAre(40, 52));
}

TEST_F(SettingsWordsTest, HandingOverKeepsThePointer) {
    SetComInfo(record(words));
    EXPECT_EQ(PLC_driver.comInfo, record(words));
}

TEST_F(SettingsWordsTest, SecondRecordReplacesTheFirstWhichIsNotTouchedAgain) {
    Words first;
    SetComInfo(record(first));
    fill(first);
    wordAt(28) = 0;
    SetComInfo(record(words));
    EXPECT_EQ(PLC_driver.comInfo, record(words));
    holdConversation();
    EXPECT_THAT(changedOffsets(first), ::testing::IsEmpty());
}

TEST_F(SettingsWordsTest, ConversationChangesTheDriversWordsOnly) {
    wordAt(28) = 0;  // retryLimit, set by the host
    SetComInfo(record(words));
    wordAt(40) = 4040;
    wordAt(52) = 5252;
    holdConversation();
    // 28, 40 and 52 were changed above; retryCount, frameTotal, frameDone and firstPassDone belong to the driver.
    EXPECT_THAT(changedOffsets(words), ::testing::ElementsAre(28, 32, 40, 44, 48, 52, 68));
    EXPECT_EQ(wordAt(28), 0);
    EXPECT_EQ(wordAt(40), 4040);
    EXPECT_EQ(wordAt(52), 5252);
}

TEST_F(SettingsWordsTest, RetryLimitIsTheWordAtTwentyEight) {
    wordAt(28) = 1;
    wordAt(32) = 0;
    SetComInfo(record(words));
    connectToPlc();
    addRead(readVar(1, 0, 2));
    nextFrame();
    EXPECT_EQ(answerNothing(), 0);
    EXPECT_EQ(answerNothing(), 41);
}

TEST_F(SettingsWordsTest, RetryCountIsTheWordAtThirtyTwo) {
    wordAt(28) = 8;
    wordAt(32) = 5;
    SetComInfo(record(words));
    connectToPlc();
    addRead(readVar(1, 0, 2));
    nextFrame();
    answerNothing();
    EXPECT_EQ(wordAt(32), 6);
}

TEST_F(SettingsWordsTest, FrameCountersAreTheWordsAtFortyFourAndFortyEight) {
    SetComInfo(record(words));
    addRead(readVar(1, 0, 2));
    nextFrame();
    EXPECT_EQ(wordAt(44), 2);
    EXPECT_EQ(wordAt(48), 0);
    answer(firstHandshakeReply());
    EXPECT_EQ(wordAt(44), 2);
    EXPECT_EQ(wordAt(48), 1);
    answer(secondHandshakeReply("00 00 00 00"));
    EXPECT_EQ(wordAt(44), 2);
    EXPECT_EQ(wordAt(48), 2);
    nextFrame();
    EXPECT_EQ(wordAt(44), 1);
    EXPECT_EQ(wordAt(48), 0);
    answer(readReply({"12 34"}));
    EXPECT_EQ(wordAt(44), 1);
    EXPECT_EQ(wordAt(48), 1);
}

TEST_F(SettingsWordsTest, FirstPassDoneIsTheWordAtSixtyEight) {
    SetComInfo(record(words));
    EXPECT_EQ(nextFrame(), "nothing");
    EXPECT_EQ(wordAt(68), 1);
}

TEST_F(SettingsWordsTest, StationIdIsTheWordAtSeventyTwo) {
    SetComInfo(record(words));
    connectToPlc();
    addWrite(identified(writeVar(1, 0, "AA"), 21, 22));
    nextFrame();
    answer(writeReply());
    EXPECT_THAT(callbackDiary, ::testing::ElementsAre("varDone(1072, 21, 22, 1)"));
}

// The words that shape a written value: a text of six characters, written as it is.
class WriteSettingsWordsTest : public SettingsWordsTest {
protected:
    WriteSettingsWordsTest() {
        QList<Label_Type_Info> symbols = {scope("Main", {variable("text", 10, 8)})};
        PassVarName_2(&symbols);
        wordAt(16) = 100;
        wordAt(64) = 2;
        SetComInfo(record(words));
    }

    // Returns the number of pending writes.
    static quint32 writeText() {
        QString label = "Main.text";
        QString argument;
        QByteArray in = "ABCDEF";
        return SetRegisterData(&label, 0, &argument, 0, &in, 3, 21, 22);
    }
};

TEST_F(WriteSettingsWordsTest, LargestRequestIsTheWordAtSixteen) {
    wordAt(16) = 2;
    EXPECT_EQ(writeText(), 2u);
    EXPECT_EQ(PLC_driver.writeList.at(0).data, QByteArray("ABCD"));
    EXPECT_EQ(PLC_driver.writeList.at(1).data, QByteArray("EF"));
}

TEST_F(WriteSettingsWordsTest, CarriedWordsAreThoseAtTwentyFourFiftySixAndSixty) {
    ASSERT_EQ(writeText(), 1u);
    EXPECT_EQ(PLC_driver.writeList.at(0).comWord, 1024);
    EXPECT_EQ(PLC_driver.writeList.at(0).aux3, 1056);
    EXPECT_EQ(PLC_driver.writeList.at(0).aux4, 1060);
}

TEST_F(WriteSettingsWordsTest, AccessModeIsTheWordAtSixtyFour) {
    wordAt(64) = 1;
    EXPECT_EQ(writeText(), 0u);
    EXPECT_EQ(image(1, 8, 6), "41 42 43 44 45 46");
}

TEST_F(WriteSettingsWordsTest, WritingAValueChangesNoWord) {
    writeText();
    EXPECT_THAT(changedOffsets(words), ::testing::ElementsAre(16, 40, 52, 64));
}

class CallbackRegistrationTest : public DriverTest {};

quint32 otherVarDone(quint32, quint32, quint32, quint32) {
    callbackDiary.push_back("other varDone");
    return 0;
}

quint32 otherCommFail(QList<RW_VAR>*, quint32, quint32) {
    callbackDiary.push_back("other commFail");
    return 0;
}

TEST_F(CallbackRegistrationTest, KeepsTheFirstForVariablesAndTheSecondForFailures) {
    RegistCallBackFuncIntf(otherVarDone, otherCommFail);
    EXPECT_EQ(PLC_driver.varDoneCallback, &otherVarDone);
    EXPECT_EQ(PLC_driver.commFailCallback, &otherCommFail);
}

TEST_F(CallbackRegistrationTest, SecondRegistrationReplacesTheFirst) {
    RegistCallBackFuncIntf(otherVarDone, otherCommFail);
    settings.retryLimit = 0;
    connectToPlc();
    addWrite(writeVar(1, 0, "AA"));
    nextFrame();
    answerNothing();
    EXPECT_THAT(callbackDiary, ::testing::ElementsAre("other varDone", "other commFail"));
}

TEST_F(CallbackRegistrationTest, NullIsStoredUnseen) {
    RegistCallBackFuncIntf(nullptr, nullptr);
    EXPECT_EQ(PLC_driver.varDoneCallback, nullptr);
    EXPECT_EQ(PLC_driver.commFailCallback, nullptr);
}

}  // namespace
