// The order in which writes, one-shot reads and cyclic reads get their turns. Every request here carries one variable,
// and a letter per turn says which kind it was:
//
//     W  write        O  one-shot read        C  cyclic read        -  nothing to send
#include "tests/support/driver_test.h"

using namespace ac500::test;

namespace {

class FairnessTest : public DriverTest {
protected:
    // Two variables of this size never share a request.
    static constexpr qint32 kAlone = 400;

    FairnessTest() { connectToPlc(); }

    static void addReads(int count) {
        for (int i = 0; i < count; ++i) {
            addRead(readVar(1, 1000 * i, kAlone));
        }
    }

    static void addOnceReads(int count) {
        for (int i = 0; i < count; ++i) {
            addOnceRead(readVar(2, 1000 * i, kAlone));
        }
    }

    static void addWrites(int count) {
        for (int i = 0; i < count; ++i) {
            RW_VAR var = writeVar(3, 1000 * i, "");
            var.data = QByteArray(kAlone, '\x5A');
            var.size = kAlone;
            addWrite(var);
        }
    }

    // Plays this many turns, each answered well at once.
    static std::string turns(int count) {
        std::string kinds;
        for (int i = 0; i < count; ++i) {
            const Protocol* request = ComCommunication();
            kinds += kindOf(request);
            if (request != nullptr) {
                answer(zeroReply(2));
            }
        }
        return kinds;
    }

private:
    // The areas tell cyclic from one-shot reads.
    static char kindOf(const Protocol* request) {
        if (request == nullptr) {
            return '-';
        }
        const bool isWrite = request->frame.at(6) == '\x3C';
        return isWrite ? 'W' : request->frame.at(13) == '\x02' ? 'O' : 'C';
    }
};

TEST_F(FairnessTest, AllThreeKindsTakeFiveWritesFiveOnceReadsOneCyclicRead) {
    addReads(2);
    addOnceReads(50);
    addWrites(50);
    EXPECT_EQ(turns(33), "WWWWWOOOOOCWWWWWOOOOOCWWWWWOOOOOC");
}

TEST_F(FairnessTest, SixthTurnOfPendingWritesGoesToAOnceRead) {
    addReads(1);
    addOnceReads(1);
    addWrites(10);
    EXPECT_EQ(turns(6), "WWWWWO");
}

TEST_F(FairnessTest, WritesAndCyclicReadsTakeFiveToOne) {
    addReads(3);
    addWrites(50);
    EXPECT_EQ(turns(18), "WWWWWCWWWWWCWWWWWC");
}

TEST_F(FairnessTest, OnceReadsAndCyclicReadsTakeFiveToOne) {
    addReads(3);
    addOnceReads(50);
    EXPECT_EQ(turns(18), "OOOOOCOOOOOCOOOOOC");
}

TEST_F(FairnessTest, WritesAndOnceReadsTakeFiveEachAndThenIdle) {  // quirk 6
    addOnceReads(50);
    addWrites(50);
    EXPECT_EQ(turns(22), "WWWWWOOOOO-WWWWWOOOOO-");
}

TEST_F(FairnessTest, WritesAloneIdleAfterEveryFifth) {  // quirk 6
    addWrites(50);
    EXPECT_EQ(turns(18), "WWWWW-WWWWW-WWWWW-");
}

TEST_F(FairnessTest, OnceReadsAloneIdleAfterEveryFifth) {
    addOnceReads(50);
    EXPECT_EQ(turns(18), "OOOOO-OOOOO-OOOOO-");
}

TEST_F(FairnessTest, CyclicReadsAloneNeverIdle) {
    addReads(3);
    EXPECT_EQ(turns(12), "CCCCCCCCCCCC");
}

TEST_F(FairnessTest, IdleTurnReportsTheFirstPassAndClearsBothCounters) {  // quirk 6
    addWrites(50);
    turns(5);
    settings.firstPassDone = 0;
    PLC_driver.onceReadTurns = 3;
    EXPECT_EQ(PLC_driver.writeTurns, 5);
    EXPECT_EQ(ComCommunication(), nullptr);
    EXPECT_EQ(settings.firstPassDone, 1);
    EXPECT_EQ(PLC_driver.writeTurns, 0);
    EXPECT_EQ(PLC_driver.onceReadTurns, 0);
    EXPECT_EQ(turns(1), "W");
}

TEST_F(FairnessTest, FewWritesGiveWayAtOnceToReads) {
    addReads(2);
    addOnceReads(2);
    addWrites(2);
    EXPECT_EQ(turns(8), "WWOOCCCC");
}

TEST_F(FairnessTest, WritesThatArriveLateUseUpTheTurnsLeft) {
    addReads(2);
    addOnceReads(50);
    addWrites(3);
    EXPECT_EQ(turns(5), "WWWOO");
    addWrites(50);
    EXPECT_EQ(turns(12), "WWOOOCWWWWWO");
}

TEST_F(FairnessTest, CyclicReadResetsBothCounters) {
    addReads(1);
    addOnceReads(2);
    addWrites(2);
    turns(4);
    EXPECT_EQ(PLC_driver.writeTurns, 2);
    EXPECT_EQ(PLC_driver.onceReadTurns, 2);
    turns(1);
    EXPECT_EQ(PLC_driver.writeTurns, 0);
    EXPECT_EQ(PLC_driver.onceReadTurns, 0);
}

TEST_F(FairnessTest, OfferingAFrameAgainIsNoNewTurn) {
    addReads(1);
    addWrites(50);
    for (int i = 0; i < 20; ++i) {
        ComCommunication();
    }
    EXPECT_EQ(PLC_driver.writeTurns, 1);
    answer(zeroReply(2));
    EXPECT_EQ(turns(5), "WWWWC");
}

TEST_F(FairnessTest, RetriedFrameIsNoNewTurn) {
    settings.retryLimit = 100;
    addReads(1);
    addWrites(50);
    for (int i = 0; i < 20; ++i) {
        ComCommunication();
        EXPECT_EQ(answerNothing(), 0);
    }
    answer(zeroReply(2));
    EXPECT_EQ(turns(5), "WWWWC");
}

TEST_F(FairnessTest, BatchChosenForTheHandshakeCountsAsATurn) {
    PLC_driver.connected = 0;
    addReads(1);
    addWrites(50);
    ComCommunication();
    answer(firstHandshakeReply());
    answer(secondHandshakeReply("00 00 00 00"));
    EXPECT_EQ(turns(6), "WWWWCW");
}

TEST_F(FairnessTest, SuccessiveCyclicBatchesWalkThroughTheWholeList) {
    addReads(3);
    std::vector<int> offsets;
    for (int i = 0; i < 7; ++i) {
        offsets.push_back(ComCommunication()->var.offset);
        answer(zeroReply(2));
    }
    EXPECT_THAT(offsets, ::testing::ElementsAre(0, 1000, 2000, 0, 1000, 2000, 0));
}

}  // namespace
