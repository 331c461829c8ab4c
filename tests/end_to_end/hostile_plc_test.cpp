// PLCs that mean no good: each costs the host one time limit per request at most, and a bounded number of bytes.
#include <algorithm>
#include <atomic>

#include "tests/end_to_end/plant.h"
#include "tests/support/hostile_plc.h"

namespace ac500 {
namespace {

using test::HostilePlc;
using Connection = HostilePlc::Connection;
using Moment = std::chrono::steady_clock::time_point;

constexpr int kReplyTimeoutMs = test::paced(400);
constexpr int kSlackMs =
    test::paced(4000);  // for a loaded machine; what these PLCs ask for would take minutes, or for ever

// All that a host may have taken of one connection when it gives it up: the handshake, one reply, and one portion too
// many of what can be read at a time.
constexpr std::int64_t kMostBytesPerConnection = 206 + 36 + 65541 + 65536;

const std::string kLongestHead = byteString("BB BB 00 00 FF FF");  // announces 65535 bytes of payload

// The answer to a read of two bytes, 0x1234.
const std::string kIntReply = byteString("BB BB 00 00 00 09 00 00 00 00 00 00 00 12 34");

int elapsedMs(Moment start) {
    const auto passed = std::chrono::steady_clock::now() - start;
    return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

class HostilePlcTest : public PlantTest {
protected:
    // A PLC that behaves until the first read and then does `answer`; the time it takes the host to end the connection
    // is measured from there.
    void meet(const std::function<void(Connection&)>& answer) {
        meetFromTheStart([this, answer](Connection& connection) {
            if (connection.handshake() && !connection.request().empty()) {
                const Moment start = std::chrono::steady_clock::now();
                answer(connection);
                connection.waitForEnd();
                longestMs_ = std::max(longestMs_.load(), elapsedMs(start));
            }
        });
    }

    void meetFromTheStart(const HostilePlc::Behaviour& behaviour) {
        hostile_ = std::make_unique<HostilePlc>(behaviour);
        ASSERT_NE(hostile_->port(), 0);
        settings.loop.plc.port = hostile_->port();
        begin({"Main.int"});
    }

    void expectFailure(const std::string& text) {
        EXPECT_TRUE(eventually([&] { return anyFailureContains(text); })) << lastFailure();
    }
    // The host goes on: it comes back after each of these.
    void expectConnections(int count) {
        EXPECT_TRUE(eventually([&] { return hostile_->connections() >= count; })) << lastFailure();
    }
    void expectBoundedBytes() {
        const host::Statistics statistics = session->status().statistics;
        EXPECT_LE(statistics.bytesReceived, statistics.connections * kMostBytesPerConnection);
    }

    void TearDown() override {
        const Moment start = std::chrono::steady_clock::now();
        session.reset();
        EXPECT_LT(elapsedMs(start), kSlackMs) << "the end of the session hung";
    }

    std::unique_ptr<HostilePlc> hostile_;
    std::atomic<int> longestMs_{0};
};

// ---- time

TEST_F(HostilePlcTest, ATrickleCostsOneTimeLimit) {
    meet([](Connection& connection) {
        connection.send(kLongestHead);
        while (connection.send(std::string(1, '\0')) && connection.sleep(10)) {
        }
    });
    expectFailure("of 65541 bytes within " + std::to_string(kReplyTimeoutMs) + " ms");
    expectConnections(3);
    EXPECT_GE(longestMs_, kReplyTimeoutMs - 5);
    EXPECT_LT(longestMs_, kReplyTimeoutMs + kSlackMs);
}

TEST_F(HostilePlcTest, ATrickleInTheHandshakeCostsOneTimeLimit) {
    meetFromTheStart([this](Connection& connection) {
        connection.request();
        const Moment start = std::chrono::steady_clock::now();
        connection.send(kLongestHead);
        while (connection.send(std::string(1, '\0')) && connection.sleep(10)) {
        }
        longestMs_ = std::max(longestMs_.load(), elapsedMs(start));
    });
    expectFailure("of 65541 bytes within " + std::to_string(kReplyTimeoutMs) + " ms");
    expectConnections(3);
    EXPECT_LT(longestMs_, kReplyTimeoutMs + kSlackMs);
}

TEST_F(HostilePlcTest, AnAnnouncedGiantThatDoesNotComeCostsOneTimeLimit) {
    meet([](Connection& connection) { connection.send(kLongestHead); });
    expectFailure("6 of 65541 bytes within " + std::to_string(kReplyTimeoutMs) + " ms");
    expectConnections(3);
    EXPECT_LT(longestMs_, kReplyTimeoutMs + kSlackMs);
}

TEST_F(HostilePlcTest, ConnectionsThatNobodyReadsCostOneTimeLimitEach) {
    meetFromTheStart([](Connection& connection) {
        while (connection.sleep(20)) {
        }
    });
    EXPECT_TRUE(eventually([&] { return session->status().statistics.timeouts >= 3; })) << lastFailure();
    EXPECT_EQ(session->status().statistics.bytesReceived, 0);
}

TEST_F(HostilePlcTest, AnEndInTheMiddleOfAReplyCostsNoTimeLimit) {
    settings.loop.replyTimeout = host::Milliseconds(600000);
    meetFromTheStart([](Connection& connection) {
        if (connection.handshake() && !connection.request().empty()) {
            connection.send(kIntReply.substr(0, 10));
        }
    });
    expectFailure("the connection was lost before the reply");
    expectConnections(3);
    EXPECT_EQ(session->status().statistics.timeouts, 0);
}

TEST_F(HostilePlcTest, APlcThatClosesAtOnceIsNotBesieged) {
    meetFromTheStart([](Connection&) {});
    expectConnections(1);
    const Moment start = std::chrono::steady_clock::now();
    const int before = hostile_->connections();
    while (elapsedMs(start) < 1000) {
        session->waitForChange(host::Milliseconds(10));
    }
    // Pauses of 20, 40, 80, 160 and then 200 ms.
    EXPECT_LE(hostile_->connections() - before, elapsedMs(start) / 200 + 6);
}

// ---- bytes

TEST_F(HostilePlcTest, AFloodAfterARequestIsCutOff) {
    meet([](Connection& connection) {
        connection.send(kLongestHead);
        while (connection.send(std::string(65536, '\0'))) {
        }
    });
    expectConnections(4);
    expectBoundedBytes();
    EXPECT_LT(longestMs_, kReplyTimeoutMs + kSlackMs);
    EXPECT_EQ(stateOf("Main.int"), host::ValueState::NeverReceived);
}

TEST_F(HostilePlcTest, AFloodThatWaitsForNoRequestIsCutOff) {
    meetFromTheStart([](Connection& connection) {
        while (connection.send(std::string(65536, '\xBB'))) {
        }
    });
    expectConnections(4);
    expectBoundedBytes();
    EXPECT_EQ(session->status().statistics.handshakes, 0);
}

TEST_F(HostilePlcTest, ALengthWithItsUpperHalfSetMeansItsLowerHalf) {
    meetFromTheStart([](Connection& connection) {
        const std::string reply = std::string(kIntReply).replace(2, 2, 2, '\xFF');
        for (bool open = connection.handshake(); open && !connection.request().empty();) {
            open = connection.send(reply);
        }
    });
    EXPECT_EQ(read("Main.int"), "4660");
    EXPECT_EQ(session->status().statistics.timeouts, 0);
}

TEST_F(HostilePlcTest, AReplyOfTheWrongLengthIsDroppedBeforeItsTimeIsOver) {
    settings.loop.replyTimeout = host::Milliseconds(600000);
    meet([](Connection& connection) { connection.send(test::zeroReply(65535).toStdString()); });
    expectFailure("the reply should have 15 bytes and has 65541");
    expectConnections(3);
    expectBoundedBytes();
    EXPECT_EQ(stateOf("Main.int"), host::ValueState::NeverReceived);
}

TEST_F(HostilePlcTest, AWriteReplyOfAnotherLengthIsNoReplyToAWrite) {
    settings.loop.replyTimeout = host::Milliseconds(600000);
    meetFromTheStart([](Connection& connection) {
        for (std::string request = connection.handshake() ? connection.request() : ""; !request.empty();
             request = connection.request()) {
            connection.send(kIntReply);  // to a write, too
        }
    });
    const std::int32_t serial = order("Main.int", "5");
    EXPECT_TRUE(eventually([&] { return hasEnded(serial); }));
    EXPECT_EQ(stepOf(serial), host::OrderStep::Failed);
    EXPECT_NE(failureOf(serial).find("the PLC may or may not have it"), std::string::npos) << failureOf(serial);
    expectFailure("the reply should have 8 bytes and has 15; the connection is dropped");
    expectConnections(2);
}

TEST_F(HostilePlcTest, GarbageGluedToAGoodReplyDropsBoth) {
    meet([](Connection& connection) { connection.send(kIntReply + "\x01\x02\x03"); });
    expectFailure("more than a reply arrived; the connection is dropped");
    expectConnections(3);
    EXPECT_EQ(stateOf("Main.int"), host::ValueState::NeverReceived);
}

TEST_F(HostilePlcTest, GarbageBehindAGoodReplyEndsTheConnection) {
    settings.loop.cycle = host::Milliseconds(2000);
    meet([](Connection& connection) {
        connection.send(kIntReply);
        connection.sleep(200);
        connection.send("\x01\x02\x03");
    });
    expectFailure("3 bytes arrived that nobody asked for");
    expectConnections(3);
    EXPECT_TRUE(session->value(tag("Main.int")).isKnown) << "the reply itself was good";
}

// ---- sending

class TransportTest : public PlantTest {
protected:
    // How long sending 64 MB takes to fail.
    int failingMs(const HostilePlc::Behaviour& behaviour) {
        const HostilePlc peer(behaviour, 64 * 1024);
        host::TcpTransport transport;
        transport.connect({"127.0.0.1", peer.port()});
        EXPECT_EQ(transport.waitConnected(host::Milliseconds(5000)).status, host::ConnectStatus::Connected);
        const Moment start = std::chrono::steady_clock::now();
        EXPECT_FALSE(transport.send(QByteArray(64 * 1024 * 1024, 'x')));
        return elapsedMs(start);
    }
};

TEST_F(TransportTest, APeerThatNeverReadsEndsSending) {
    EXPECT_LT(failingMs([](Connection& connection) {
                  while (connection.sleep(20)) {
                  }
              }),
              1000 + kSlackMs);
}

TEST_F(TransportTest, APeerThatReadsALittleAtATimeGetsNoMoreTime) {
    EXPECT_LT(failingMs([](Connection& connection) {
                  // At this pace the whole would take more than ten seconds, with progress several times a second.
                  while (connection.take(512 * 1024) && connection.sleep(100)) {
                  }
              }),
              1000 + kSlackMs);
}

// What the kernel has received while the host was busy must not come all at once.
TEST_F(TransportTest, OnePortionOfAFloodIsBounded) {
    const HostilePlc peer([](Connection& connection) { connection.send(std::string(16 * 1024 * 1024, '\0')); });
    host::TcpTransport transport;
    transport.connect({"127.0.0.1", peer.port()});
    ASSERT_EQ(transport.waitConnected(host::Milliseconds(5000)).status, host::ConnectStatus::Connected);
    int largest = 0;
    for (int i = 0; i < 10; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        largest = std::max(largest, transport.receive(host::Milliseconds(5000)).bytes.size());
    }
    EXPECT_GT(largest, 0);
    EXPECT_LE(largest, 65536);
}

}  // namespace
}  // namespace ac500
