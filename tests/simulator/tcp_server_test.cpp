// The simulated PLC over real sockets: every fault, several clients, and clients that mean no good.
#include "tools/simulator/tcp_server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <list>
#include <string>
#include <thread>

#include "tests/simulator/raw_client.h"
#include "tools/simulator/embedded_simulator.h"

namespace ac500::sim {
namespace {

using End = RawClient::End;

// Reads Main.count, two bytes: area 1, offset 0, size 2. The value is 0000 from the start.
Bytes readCount(const Bytes& end) {
    return byteString("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00 00 02") + end;
}

constexpr const char* kCountReply = "BB BB 00 00 00 09 00 00 00 00 00 01 00 00 00";

// A simulator with one client that has done its handshake.
class TcpServerTest : public testing::Test {
protected:
    TcpServerTest() : plc_(smallPlant()), client_(plc_.port()), end_(client_.handshake()) {}

    EmbeddedSimulator plc_;
    RawClient client_;
    Bytes end_;
};

TEST_F(TcpServerTest, HandshakeReadWriteRead) {
    ASSERT_EQ(end_.size(), 4U);
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kModeReply);
    // area 1, offset 8, size 1, data 3C
    const Bytes write = byteString("BB BB 00 00 00 15 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 01 3C") + end_;
    EXPECT_EQ(hex(client_.ask(write)), "BB BB 00 00 00 02 00 00");
    EXPECT_EQ(hex(client_.ask(readMode(end_))), "BB BB 00 00 00 08 00 00 00 00 00 01 00 3C");
    EXPECT_EQ(hex(plc_.read({1, 8, 1})), "3C");
}

TEST_F(TcpServerTest, SessionBytesHoldForEveryConnectionOfTheBoot) {
    RawClient second(plc_.port());
    EXPECT_EQ(hex(second.ask(readMode(end_))), kModeReply) << "without a handshake of its own";
    EXPECT_EQ(hex(second.ask(readMode(byteString("00 00 00 00")))), "BB BB 00 00 00 02 02 01");
    EXPECT_EQ(hex(second.ask(readMode(end_))), kModeReply) << "a refusal leaves the connection as it was";
}

TEST_F(TcpServerTest, RequestsInOnePieceAreAnsweredInTheirOrder) {
    client_.send(readMode(end_) + readCount(end_) + readMode(end_));
    EXPECT_EQ(hex(client_.reply()), kModeReply);
    EXPECT_EQ(hex(client_.reply()), kCountReply);
    EXPECT_EQ(hex(client_.reply()), kModeReply);
}

TEST_F(TcpServerTest, ARequestByteByByteIsAnswered) {
    const Bytes request = readMode(end_);
    for (const char byte : request) {
        ASSERT_TRUE(client_.send(Bytes(1, byte)));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(hex(client_.reply()), kModeReply);
}

TEST_F(TcpServerTest, CountsWhatHappens) {
    client_.ask(readMode(end_));
    RawClient second(plc_.port());
    second.ask(readMode(byteString("00 00 00 00")));
    const Counters counters = plc_.counters();
    EXPECT_EQ(counters.connections, 2U);
    EXPECT_EQ(counters.hello, 1U);
    EXPECT_EQ(counters.symbols, 1U);
    EXPECT_EQ(counters.reads, 2U);
    EXPECT_EQ(counters.refused, 1U);
    EXPECT_EQ(counters.faults, 0U);
}

// ---- faults

TEST_F(TcpServerTest, DelayHoldsThisReplyAndTheNext) {
    plc_.inject({FaultKind::Delay, 300});
    const auto start = std::chrono::steady_clock::now();
    client_.send(readMode(end_) + readCount(end_));
    EXPECT_EQ(hex(client_.reply()), kModeReply);
    EXPECT_GE(elapsedMs(start), 295);
    EXPECT_EQ(hex(client_.reply()), kCountReply);
}

TEST_F(TcpServerTest, DelayOfOneClientDoesNotHoldAnother) {
    RawClient second(plc_.port());
    plc_.inject({FaultKind::Delay, 5000});
    client_.send(readMode(end_));
    // The fault is the first client's once it is counted.
    while (plc_.counters().faults == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(hex(second.ask(readCount(end_), 2000)), kCountReply);
}

TEST_F(TcpServerTest, SilenceLosesOneReply) {
    plc_.inject({FaultKind::Silence, 0});
    EXPECT_EQ(hex(client_.ask(readMode(end_), 200)), "");
    EXPECT_EQ(hex(client_.ask(readCount(end_))), kCountReply);
}

TEST_F(TcpServerTest, ALateReplyIsOvertakenAndComesUnasked) {
    plc_.inject({FaultKind::Late, 1000});
    const auto start = std::chrono::steady_clock::now();
    client_.send(readMode(end_));
    EXPECT_EQ(hex(client_.ask(readCount(end_))), kCountReply) << "the reply to the second request comes first";
    EXPECT_EQ(hex(client_.reply()), kModeReply);
    EXPECT_GE(elapsedMs(start), 995);
}

TEST_F(TcpServerTest, ALateReplyDoesNotLandInsideAnother) {
    plc_.inject({FaultKind::Late, 30});
    client_.send(readMode(end_));
    while (plc_.counters().faults == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    plc_.inject({FaultKind::Fragments, 10});  // 15 bytes, 140 ms
    EXPECT_EQ(hex(client_.ask(readCount(end_))), kCountReply);
    EXPECT_EQ(hex(client_.reply()), kModeReply);
}

TEST_F(TcpServerTest, TruncateEndsTheReplyEarly) {
    plc_.inject({FaultKind::Truncate, 9});
    client_.send(readMode(end_));
    EXPECT_EQ(hex(client_.receive(9)), "BB BB 00 00 00 08 00 00 00");
    EXPECT_EQ(hex(client_.receive(1, 100)), "") << "more of the reply";
}

TEST_F(TcpServerTest, LengthSaysMoreThanThereIs) {
    plc_.inject({FaultKind::Length, 5});
    client_.send(readMode(end_));
    EXPECT_EQ(hex(client_.receive(14)), "BB BB 00 00 00 0D 00 00 00 00 00 01 00 A5");
    EXPECT_EQ(hex(client_.receive(1, 100)), "") << "more of the reply";
}

TEST_F(TcpServerTest, StatusIsNotZero) {
    plc_.inject({FaultKind::Status, 0x1234});
    EXPECT_EQ(hex(client_.ask(readMode(end_))), "BB BB 00 00 00 08 12 34 00 00 00 01 00 A5");
    EXPECT_EQ(plc_.counters().refused, 0U);
    EXPECT_EQ(plc_.counters().faults, 1U);
}

TEST_F(TcpServerTest, FragmentsComeOneByOne) {
    plc_.inject({FaultKind::Fragments, 50});
    const auto start = std::chrono::steady_clock::now();
    client_.send(readMode(end_));
    Bytes reply;
    int pieces = 0;
    while (reply.size() < 14 && elapsedMs(start) < 10000) {
        const Bytes piece = client_.receive(14 - reply.size(), 10);
        pieces += piece.empty() ? 0 : 1;
        reply += piece;
    }
    EXPECT_EQ(hex(reply), kModeReply);
    EXPECT_GT(pieces, 1) << "all at once";
    EXPECT_GE(elapsedMs(start), 645) << "13 pauses of 50 ms";
    plc_.inject({FaultKind::Fragments, 10});
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kModeReply);
}

TEST_F(TcpServerTest, GlueSendsTheReplyTwice) {
    plc_.inject({FaultKind::Glue, 0});
    client_.send(readMode(end_));
    EXPECT_EQ(hex(client_.receive(28)), std::string(kModeReply) + " " + kModeReply);
    EXPECT_EQ(hex(client_.receive(1, 100)), "") << "a third one";
}

TEST_F(TcpServerTest, ARepeatComesUnaskedAfterTheReplyToAnotherRequest) {
    plc_.inject({FaultKind::Repeat, 500});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kModeReply);
    EXPECT_EQ(hex(client_.ask(readCount(end_))), kCountReply) << "the second reply is overtaken";
    EXPECT_EQ(hex(client_.reply()), kModeReply);
    EXPECT_GE(elapsedMs(start), 495);
    EXPECT_EQ(hex(client_.receive(1, 100)), "") << "a third one";
    EXPECT_EQ(plc_.counters().faults, 1U);
}

// Who takes whatever comes next for the answer is out of step from then on.
TEST_F(TcpServerTest, ARepeatIsTakenForTheReplyToTheNextRequest) {
    plc_.inject({FaultKind::Repeat, 20});
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kModeReply);
    plc_.inject({FaultKind::Delay, 300});
    EXPECT_EQ(hex(client_.ask(readCount(end_))), kModeReply);
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kCountReply);
    EXPECT_EQ(hex(client_.reply()), kModeReply);
}

TEST_F(TcpServerTest, ARepeatDiesWithItsConnection) {
    plc_.inject({FaultKind::Repeat, 50});
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kModeReply);
    plc_.dropConnections();
    EXPECT_EQ(client_.waitForEnd(), End::Closed);
    RawClient second(plc_.port());
    EXPECT_EQ(hex(second.receive(1, 200)), "");
    EXPECT_EQ(hex(second.ask(readCount(end_))), kCountReply);
}

TEST_F(TcpServerTest, ResetIsAResetOfThisConnectionOnly) {
    RawClient second(plc_.port());
    plc_.inject({FaultKind::Reset, 0});
    client_.send(readMode(end_));
    EXPECT_EQ(client_.waitForEnd(), End::Reset);
    EXPECT_EQ(hex(second.ask(readMode(end_))), kModeReply);
}

TEST_F(TcpServerTest, RestartClosesEveryConnectionAndChangesTheSession) {
    RawClient second(plc_.port());
    ASSERT_EQ(hex(second.ask(readMode(end_))), kModeReply);
    plc_.write(1, 0, byteString("12 34"));
    plc_.inject({FaultKind::Restart, 0});
    client_.send(readMode(end_));
    EXPECT_EQ(client_.waitForEnd(), End::Closed);
    EXPECT_EQ(second.waitForEnd(), End::Closed);
    RawClient third(plc_.port());
    EXPECT_EQ(hex(third.ask(readCount(end_))), "BB BB 00 00 00 02 02 01");
    EXPECT_EQ(hex(third.ask(readCount(third.handshake()))), "BB BB 00 00 00 09 00 00 00 00 00 01 00 12 34");
    EXPECT_EQ(plc_.identity().bootCount, 2U);
}

TEST_F(TcpServerTest, AClientProvokesAFaultByWriting) {
    // area 9, offset 0, size 4: kind 6 (status), count 1
    const Bytes arm =
        byteString("BB BB 00 00 00 18 3C 00 00 00 00 01 00 09 00 00 00 00 00 00 00 04 00 06 00 01") + end_;
    EXPECT_EQ(hex(client_.ask(arm)), "BB BB 00 00 00 02 00 00");
    EXPECT_EQ(hex(client_.ask(readMode(end_))), "BB BB 00 00 00 08 0F 01 00 00 00 01 00 A5");
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kModeReply);
}

// What a client sees of sixty reads when half of the replies get a wrong status: one letter each.
std::string storyOf(std::uint64_t seed) {
    EmbeddedSimulator plc(smallPlant(), {seed, {rule("status:rate=0.5,service=read")}});
    RawClient client(plc.port());
    const Bytes end = client.handshake();
    std::string story;
    for (int i = 0; i < 60; ++i) {
        story += hex(client.ask(readMode(end))) == kModeReply ? '.' : 'S';
    }
    return story;
}

TEST(TcpServerFaults, ARunRepeatsWithItsSeed) {
    const std::string first = storyOf(4);
    EXPECT_EQ(storyOf(4), first);
    EXPECT_NE(storyOf(5), first);
}

// ---- clients that mean no good

TEST_F(TcpServerTest, GarbageIsAnsweredAndTheConnectionEnds) {
    RawClient hostile(plc_.port());
    hostile.send("GET / HTTP/1.1\r\nHost: plc\r\n\r\n");
    EXPECT_EQ(hex(hostile.receive(100, 5000)), "BB BB 00 00 00 02 01 01");
    EXPECT_EQ(hostile.waitForEnd(), End::Closed) << "an orderly end, so that the answer is not lost";
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kModeReply);
}

TEST_F(TcpServerTest, UnreadGarbageDoesNotTurnTheEndIntoAReset) {
    RawClient hostile(plc_.port());
    hostile.send(Bytes(400000, 'x'));  // more than the server takes in before it refuses
    EXPECT_EQ(hex(hostile.receive(8, 5000)), "BB BB 00 00 00 02 01 01");
    EXPECT_EQ(hostile.waitForEnd(), End::Closed);
}

TEST_F(TcpServerTest, AGarbageFloodIsCutOff) {
    RawClient hostile(plc_.port());
    const Bytes garbage(64 * 1024, 'x');
    const auto start = std::chrono::steady_clock::now();
    while (elapsedMs(start) < 8000 && hostile.send(garbage)) {
    }
    EXPECT_NE(hostile.waitForEnd(), End::Open);
    EXPECT_LT(elapsedMs(start), 8000);
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kModeReply);
}

TEST_F(TcpServerTest, AnAnnouncedGiantIsRefusedBeforeItComes) {
    RawClient hostile(plc_.port());
    // length 0x7FFFFFFF
    hostile.send(byteString("BB BB 7F FF FF FF 3C"));
    EXPECT_EQ(hex(hostile.receive(100, 5000)), "BB BB 00 00 00 02 01 02");
    EXPECT_EQ(hostile.waitForEnd(), End::Closed);
}

TEST_F(TcpServerTest, HalfAFrameWaitsAndDisturbsNobody) {
    RawClient half(plc_.port());
    const Bytes request = readMode(end_);
    half.send(request.substr(0, 11));
    EXPECT_EQ(hex(half.receive(100, 100)), "");
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kModeReply);
    half.send(request.substr(11));
    EXPECT_EQ(hex(half.reply()), kModeReply);
}

TEST_F(TcpServerTest, CountsThatLieAreRefusedOverTheWireToo) {
    const Bytes lie = byteString("BB BB 00 00 00 14 2E 00 FF FF FF FF 00 01 00 00 00 08 00 00 00 01") + end_;
    EXPECT_EQ(hex(client_.ask(lie)), "BB BB 00 00 00 02 01 03");
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kModeReply);
}

TEST_F(TcpServerTest, ConnectionsBeyondTheLimitAreClosedAndTheOthersServed) {
    std::list<RawClient> crowd;
    for (int i = 0; i < 200; ++i) {
        crowd.emplace_back(plc_.port());
        EXPECT_TRUE(crowd.back().connected());
    }
    while (plc_.counters().connections < 201) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    int served = 0;
    for (RawClient& member : crowd) {
        const Bytes reply = member.ask(readMode(end_), 3000);
        ASSERT_TRUE(!reply.empty() || member.waitForEnd(0) != End::Open) << "neither served nor closed";
        served += hex(reply) == kModeReply ? 1 : 0;
    }
    EXPECT_EQ(served, 63) << "64 clients, one of them the fixture's";
    EXPECT_EQ(hex(client_.ask(readMode(end_))), kModeReply);
    crowd.clear();
    // Places are free again once the server has noticed.
    Bytes reply;
    for (int attempt = 0; attempt < 100 && reply.empty(); ++attempt) {
        RawClient late(plc_.port());
        reply = late.ask(readMode(end_), 100);
    }
    EXPECT_EQ(hex(reply), kModeReply);
}

// Kilobytes of memory that this process has in use.
long residentKilobytes() {
    std::ifstream status("/proc/self/statm");
    long total = 0;
    long resident = 0;
    status >> total >> resident;
    return resident * 4;
}

TEST(TcpServerLimits, AClientThatNeverReadsIsReset) {
    SymbolFile file = smallPlant();
    file.areas[0].sizeBytes = 65000;
    TcpSettings settings;
    settings.limits.maxUnsentBytes = 256 * 1024;
    EmbeddedSimulator plc(file, {}, settings);
    RawClient other(plc.port());
    const Bytes end = other.handshake();
    // Reads of 60000 (0xEA60) bytes, again and again; the replies are never taken.
    const Bytes greedy = byteString("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00 EA 60") + end;
    RawClient hostile(plc.port(), 4096);
    const long before = residentKilobytes();
    int sent = 0;
    while (sent < 3000 && hostile.send(greedy, 2000)) {
        ++sent;
    }
    // 3000 replies would be 180 MB.
    EXPECT_LT(residentKilobytes() - before, 100 * 1024);
    EXPECT_NE(hostile.waitForEnd(), End::Open);
    EXPECT_LT(plc.counters().reads, 1000U);
    EXPECT_EQ(hex(other.ask(readMode(end))), kModeReply);
}

TEST_F(TcpServerTest, RequestsBehindADeliveryWaitInTheClientsOwnBuffer) {
    plc_.inject({FaultKind::Delay, 600000});
    client_.send(readMode(end_));
    const Bytes many(readMode(end_));
    Bytes flood;
    while (flood.size() < 1024 * 1024) {
        flood += many;
    }
    // The kernel takes some megabytes at most; then sending stops, because nobody reads.
    int megabytes = 0;
    while (megabytes < 64 && client_.send(flood, 300)) {
        ++megabytes;
    }
    EXPECT_LT(megabytes, 64);
    EXPECT_EQ(plc_.counters().reads, 1U);
    RawClient second(plc_.port());
    EXPECT_EQ(hex(second.ask(readMode(end_))), kModeReply);
}

TEST(TcpServerLimits, PendingLateRepliesAreBounded) {
    TcpSettings settings;
    settings.limits.maxLateReplies = 3;
    EmbeddedSimulator plc(smallPlant(), {1, {rule("late:ms=1000,service=read")}}, settings);
    RawClient client(plc.port());
    const Bytes end = client.handshake();
    Bytes requests;
    for (int i = 0; i < 5; ++i) {
        requests += readMode(end);
    }
    client.send(requests);
    // What was read before the first reply could be received.
    std::uint64_t reads = 0;
    Bytes firstReply;
    for (int i = 0; i < 1000 && firstReply.empty(); ++i) {
        const std::uint64_t readsNow = plc.counters().reads;
        firstReply = client.reply(10);
        reads = firstReply.empty() ? readsNow : reads;
    }
    EXPECT_EQ(reads, 3U) << "the fourth waits until one of the three has gone out";
    EXPECT_EQ(hex(firstReply), kModeReply);
    for (int i = 1; i < 5; ++i) {
        EXPECT_EQ(hex(client.reply()), kModeReply);
    }
}

TEST(TcpServerLimits, ARandomFloodHurtsNobody) {
    EmbeddedSimulator plc(smallPlant());
    RawClient steady(plc.port());
    const Bytes end = steady.handshake();
    Random random(99);
    for (int round = 0; round < 200; ++round) {
        RawClient hostile(plc.port());
        // Half of them begin like a request with a length that fits, a service that exists and right session bytes.
        Bytes bytes;
        for (std::uint64_t size = random.next() % 60; bytes.size() < size;) {
            bytes += static_cast<char>(random.next());
        }
        if (round % 2 == 0) {
            const char services[] = {0x01, 0x31, 0x2E, 0x3C};
            Bytes payload = Bytes(1, services[random.next() % 4]) + bytes + end;
            bytes = byteString("BB BB 00 00 00") + static_cast<char>(payload.size()) + payload;
        }
        hostile.send(bytes);
        hostile.reply(round % 20 == 0 ? 20 : 1);
        ASSERT_EQ(hex(steady.ask(readMode(end))).substr(0, 17), "BB BB 00 00 00 08") << "round " << round;
    }
}

}  // namespace
}  // namespace ac500::sim
