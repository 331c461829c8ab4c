// Whatever a PLC or the network sends, in whatever state: the driver stays inside its buffers, answers with documented
// status codes only, and its state stays consistent. The seed is fixed, so a failure repeats.
#include <random>

#include "tests/support/driver_test.h"
#include "tests/support/pace.h"

using namespace ac500::test;

namespace {

class RandomRepliesTest : public DriverTest {
protected:
    RandomRepliesTest() : random(20240102) {}

    int pick(int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); }

    QByteArray noise(int size) {
        QByteArray data(size, '\0');
        for (int i = 0; i < size; ++i) {
            data[i] = static_cast<char>(random() & 0xFF);
        }
        return data;
    }

    // From pure noise to replies that are nearly, or entirely, right.
    QByteArray reply() {
        switch (pick(8)) {
            case 0:
                return QByteArray();
            case 1:
                return noise(pick(40));
            case 2:
                return bytes("BB BB") + noise(pick(40));
            case 3:
                return envelope(noise(pick(300)));
            case 4:
                return envelope(noise(pick(300))).left(pick(306));
            case 5:
                return zeroReply(pick(260));
            case 6:
                return envelope(bytes("00 00") + noise(pick(300)));
            default:
                return pick(2) == 0 ? firstHandshakeReply() : secondHandshakeReply("0D 0C 0B 0A");
        }
    }

    RW_VAR record() {
        RW_VAR var = pick(2) == 0 ? readVar(pick(4), pick(2000), pick(300)) : writeVar(pick(4), pick(2000), "01 02 03");
        return identified(var, pick(16) - 2, pick(4));
    }

    void addWork() {
        RW_VAR var = record();
        const int list = pick(3);
        if (list == 0) {
            var.writeFlag = 0;
            addRead(var);
        } else if (list == 1) {
            var.writeFlag = 1;
            addWrite(var);
        } else {
            var.writeFlag = 0;
            addOnceRead(var);
        }
    }

    // Hands over a reply as a careless host would: mostly with its true size, sometimes measured only.
    void deliver() {
        const QByteArray data = reply();
        for (int calls = 1 + pick(2); calls > 0; --calls) {
            QByteArray copy = data;
            const int received = pick(10) == 0 ? pick(400) - 50 : copy.size();
            expectDocumented(DataCom(&copy, received)->status);
        }
    }

    static void expectDocumented(int status) {
        const bool accepted = status == 0 || status == 1 || status == 100 || status == 201;
        const bool failed =
            (status >= 11 && status <= 22) || (status >= 41 && status <= 52) || (status >= 71 && status <= 82);
        EXPECT_TRUE(accepted || failed) << "status " << status;
    }

    void expectConsistentState() const {
        ASSERT_TRUE(PLC_driver.connected == 0 || PLC_driver.connected == 1);
        ASSERT_TRUE(PLC_driver.commFailed == 0 || PLC_driver.commFailed == 1);
        ASSERT_GE(PLC_driver.batchCount, 0);
        ASSERT_LE(PLC_driver.batchCount, 79);
        ASSERT_LE(settings.frameDone, settings.frameTotal);
        ASSERT_LE(settings.retryCount, settings.retryLimit);
        if (PLC_driver.connected == 1) {
            expectAtMostOneDataRequest();
        } else {
            expectHandshakeFramesOnly();
        }
    }

    static void expectAtMostOneDataRequest() {
        ASSERT_LE(PLC_driver.frameList.size(), 1);
        for (const Protocol& request : PLC_driver.frameList) {
            ASSERT_THAT(hex(request.frame.mid(6, 1)), ::testing::AnyOf("2E", "3C"));
        }
    }

    void expectHandshakeFramesOnly() const {
        const int queued = PLC_driver.frameList.size();
        ASSERT_TRUE(queued == 0 || queued + settings.frameDone == 2) << queued << " queued";
        for (int i = 0; i < queued; ++i) {
            const std::string service = hex(PLC_driver.frameList.at(i).frame.mid(6, 1));
            ASSERT_EQ(service, queued - i == 2 ? "01" : "31");
        }
    }

    std::mt19937 random;
};

TEST_F(RandomRepliesTest, NeverBreakTheStateOfTheConnection) {
    settings.retryLimit = 3;
    int connections = 0;
    int failures = 0;
    for (int turn = 0; turn < rounds(20000) && !HasFatalFailure(); ++turn) {
        SCOPED_TRACE(turn);
        if (pick(3) == 0) {
            addWork();
        }
        const int wasConnected = PLC_driver.connected;
        ComCommunication();
        expectConsistentState();
        deliver();
        expectConsistentState();
        connections += PLC_driver.connected > wasConnected;
        failures += PLC_driver.connected < wasConnected;
        if (PLC_driver.readList.size() > 50) {
            PLC_driver.readList.clear();
        }
    }
    EXPECT_GT(connections, rounds(100));
    EXPECT_GT(failures, rounds(100));
}

TEST_F(RandomRepliesTest, NeverConnectWithoutTwoLargeEnoughReplies) {
    settings.retryLimit = 1000000;
    addRead(readVar(1, 0, 2));
    for (int turn = 0; turn < rounds(5000); ++turn) {
        ComCommunication();
        QByteArray tooSmall = envelope(noise(pick(200)));
        DataCom(&tooSmall, tooSmall.size());
        DataCom(&tooSmall, tooSmall.size());
    }
    EXPECT_EQ(PLC_driver.connected, 0);
    EXPECT_EQ(settings.retryCount, 0);
}

TEST_F(RandomRepliesTest, NeverStoreBytesThatWereNotAskedFor) {
    connectToPlc();
    settings.retryLimit = 1000000;
    addRead(readVar(2, 16, 4));
    for (int turn = 0; turn < rounds(5000); ++turn) {
        ComCommunication();
        QByteArray data = reply();
        DataCom(&data, data.size());
        DataCom(&data, data.size());
    }
    EXPECT_LE(PLC_driver.localValues.size(), 4);
    EXPECT_EQ(image(2, 15, 1), "--");
    EXPECT_EQ(image(2, 20, 1), "--");
}

}  // namespace
