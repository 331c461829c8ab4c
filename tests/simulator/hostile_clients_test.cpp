// Clients that occupy places, time and memory: what they cost the simulator, and that they cost the others nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>

#include <QtCore/QTemporaryDir>

#include "tests/simulator/raw_client.h"
#include "tests/support/child_process.h"
#include "tools/simulator/embedded_simulator.h"

namespace ac500::sim {
namespace {

using End = RawClient::End;
using Moment = std::chrono::steady_clock::time_point;

constexpr int kServiceMs = 5000;  // a loaded machine may take a while; a client that is kept out would wait for ever

int elapsedMs(Moment start) {
    const auto passed = std::chrono::steady_clock::now() - start;
    return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

void sleepMs(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Reads Main.mode of the small plant: area 1, offset 8, size 1. The value is A5 from the start.
Bytes readMode(const Bytes& end) {
    return raw("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 08 00 00 00 01") + end;
}
const char* const kModeReply = "BB BB 00 00 00 08 00 00 00 00 00 01 00 A5";

// The beginning of the longest request there is: 65535 bytes of payload, of which `payload` are sent.
Bytes halfRequest(std::size_t payload) {
    return raw("BB BB 00 00 FF FF 3C") + Bytes(payload, 'x');
}

// A thousand connections at both ends take more descriptors than a shell grants.
void allowManyDescriptors() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

// A simulator with one client that has done its handshake.
class HostileClients : public testing::Test {
protected:
    void start(const TcpLimits& limits = {}) {
        TcpSettings settings;
        settings.limits = limits;
        plc_ = std::make_unique<EmbeddedSimulator>(smallPlant(), PlcSettings(), settings);
        client_ = std::make_unique<RawClient>(plc_->port());
        end_ = client_->handshake();
    }

    std::string ask(RawClient& client) { return hex(client.ask(readMode(end_), kServiceMs)); }

    // Waits until the simulator has accepted so many connections in all.
    void awaitConnections(std::uint64_t count) {
        for (const Moment start = std::chrono::steady_clock::now();
             plc_->counters().connections < count && elapsedMs(start) < kServiceMs;) {
            sleepMs(1);
        }
        EXPECT_EQ(plc_->counters().connections, count);
    }

    void expectServiceForOldAndNew() {
        EXPECT_EQ(ask(*client_), kModeReply) << "who was there before";
        RawClient newcomer(plc_->port());
        EXPECT_EQ(ask(newcomer), kModeReply) << "a newcomer";
    }

    std::unique_ptr<EmbeddedSimulator> plc_;
    std::unique_ptr<RawClient> client_;
    Bytes end_;
};

// ---- unfinished requests

TEST_F(HostileClients, AnUnfinishedRequestIsClosedAfterItsTime) {
    TcpLimits limits;
    limits.requestMs = 300;
    start(limits);
    RawClient half(plc_->port());
    const Moment began = std::chrono::steady_clock::now();
    half.send(halfRequest(10));
    EXPECT_NE(half.waitForEnd(kServiceMs), End::Open);
    EXPECT_GE(elapsedMs(began), 295);
    EXPECT_EQ(ask(*client_), kModeReply);
}

TEST_F(HostileClients, MoreBytesGiveARequestNoMoreTime) {
    TcpLimits limits;
    limits.requestMs = 300;
    start(limits);
    RawClient trickle(plc_->port());
    const Moment began = std::chrono::steady_clock::now();
    trickle.send(halfRequest(0));
    // Byte by byte the request would take more than ten minutes.
    while (trickle.waitForEnd(10) == End::Open && elapsedMs(began) < kServiceMs) {
        trickle.send("x");
    }
    EXPECT_LT(elapsedMs(began), kServiceMs);
}

TEST_F(HostileClients, ARequestWithinItsTimeAndASilentClientKeepTheirConnection) {
    TcpLimits limits;
    limits.requestMs = 300;
    start(limits);
    RawClient silent(plc_->port());
    const Bytes request = readMode(end_);
    for (int i = 0; i < 2; ++i) {  // the time is one for each request
        client_->send(request.substr(0, 11));
        sleepMs(100);
        client_->send(request.substr(11));
        EXPECT_EQ(hex(client_->reply()), kModeReply);
        sleepMs(200);
    }
    EXPECT_EQ(ask(silent), kModeReply) << "nothing limits the time before a request";
}

// ---- places

TEST_F(HostileClients, HalfRequestsOnAllPlacesKeepNobodyOut) {
    TcpLimits limits;
    limits.requestMs = 600000;
    start(limits);
    std::list<RawClient> crowd;
    for (int i = 0; i < limits.maxClients - 1; ++i) {
        crowd.emplace_back(plc_->port());
        crowd.back().send(halfRequest(100));
    }
    awaitConnections(static_cast<std::uint64_t>(limits.maxClients));
    expectServiceForOldAndNew();
    EXPECT_NE(crowd.front().waitForEnd(kServiceMs), End::Open) << "who has waited longest makes place";
    EXPECT_EQ(std::next(crowd.begin())->waitForEnd(100), End::Open) << "and nobody else";
}

TEST_F(HostileClients, AThousandSilentConnectionsKeepNobodyOut) {
    allowManyDescriptors();
    start();
    std::list<RawClient> crowd;
    for (int i = 0; i < 1000; ++i) {
        crowd.emplace_back(plc_->port());
        ASSERT_TRUE(crowd.back().connected()) << i;
        if (i % 100 == 0) {
            EXPECT_EQ(ask(*client_), kModeReply) << "after " << i;
        }
    }
    awaitConnections(1001);
    expectServiceForOldAndNew();
}

TEST_F(HostileClients, ClientsThatAskKeepTheirPlaces) {
    TcpLimits limits;
    limits.maxClients = 3;
    limits.idleMs = 600000;
    start(limits);
    std::list<RawClient> others;
    for (int i = 0; i < 2; ++i) {
        others.emplace_back(plc_->port());
        ASSERT_EQ(ask(others.back()), kModeReply);
    }
    RawClient newcomer(plc_->port());
    EXPECT_NE(newcomer.waitForEnd(kServiceMs), End::Open) << "all places are in use";
    EXPECT_EQ(ask(*client_), kModeReply);
    EXPECT_EQ(ask(others.front()), kModeReply);
    EXPECT_EQ(ask(others.back()), kModeReply);
}

TEST_F(HostileClients, AClientThatAskedLongAgoMakesPlaceOnlyWhenPlacesRunOut) {
    TcpLimits limits;
    limits.maxClients = 3;
    limits.idleMs = 200;
    start(limits);
    RawClient idle(plc_->port());
    ASSERT_EQ(ask(idle), kModeReply);
    sleepMs(limits.idleMs + 100);
    ASSERT_EQ(ask(*client_), kModeReply);
    RawClient third(plc_->port());
    EXPECT_EQ(ask(third), kModeReply);
    EXPECT_EQ(idle.waitForEnd(100), End::Open) << "there was a place left";
    ASSERT_EQ(ask(*client_), kModeReply);
    RawClient fourth(plc_->port());
    EXPECT_EQ(ask(fourth), kModeReply);
    EXPECT_NE(idle.waitForEnd(kServiceMs), End::Open);
    EXPECT_EQ(ask(*client_), kModeReply);
    EXPECT_EQ(ask(third), kModeReply);
}

TEST_F(HostileClients, RefusedRequestsEarnNoPlace) {
    TcpLimits limits;
    limits.maxClients = 3;
    limits.idleMs = 600000;
    start(limits);
    std::list<RawClient> strangers;
    for (int i = 0; i < 2; ++i) {
        strangers.emplace_back(plc_->port());
        ASSERT_EQ(hex(strangers.back().ask(readMode(raw("00 00 00 00")))), "BB BB 00 00 00 02 02 01");
    }
    expectServiceForOldAndNew();
    EXPECT_NE(strangers.front().waitForEnd(kServiceMs), End::Open);
}

// ---- load

// Sends requests without a pause and takes the replies.
void flood(std::uint16_t port, const Bytes& request, const std::atomic<bool>& stop) {
    RawClient client(port);
    Bytes many;
    while (many.size() < 30000) {
        many += request;
    }
    while (!stop && client.send(many, kServiceMs)) {
        client.receive(many.size() / request.size() * 14, kServiceMs);
    }
}

TEST_F(HostileClients, ClientsThatAskWithoutAPauseLeaveTheOthersTheirTurn) {
    start();
    std::atomic<bool> stop{false};
    std::vector<std::thread> greedy;
    for (int i = 0; i < 3; ++i) {
        greedy.emplace_back([&] { flood(plc_->port(), readMode(end_), stop); });
    }
    while (plc_->counters().reads < 200) {
        sleepMs(1);
    }
    const std::uint64_t before = plc_->counters().reads;
    int longestMs = 0;
    for (int i = 0; i < 20; ++i) {
        const Moment asked = std::chrono::steady_clock::now();
        EXPECT_EQ(ask(*client_), kModeReply);
        longestMs = std::max(longestMs, elapsedMs(asked));
    }
    EXPECT_GT(plc_->counters().reads - before, 200U) << "this was no flood";
    stop = true;
    for (std::thread& thread : greedy) {
        thread.join();
    }
    EXPECT_LT(longestMs, 2000);
}

// ---- memory, of the program as it is shipped

// The most that a process has had in main memory.
long peakKilobytes(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            long kilobytes = 0;
            status >> kilobytes;
            return kilobytes;
        }
    }
    return 0;
}

// 64 places of at most 64 KB for a request and 64 KB for what was read ahead, and in addition 1 MB and one reply on their
// way. A checked program also keeps what it has freed, up to 256 MB, and a byte for each 8 of it; how much more its heap
// takes from the system varies, so that the bound has its teeth in the program that is not checked.
#ifdef __SANITIZE_ADDRESS__
constexpr long kKeptByCheckerKilobytes = 2 * 256 * 1024 / 8 * 9;
#else
constexpr long kKeptByCheckerKilobytes = 0;
#endif
// What the emulator keeps of the code that it has translated counts as the program's.
#ifdef AC500_EMULATED
constexpr long kKeptByOthersKilobytes = kKeptByCheckerKilobytes + 64 * 1024;
#else
constexpr long kKeptByOthersKilobytes = kKeptByCheckerKilobytes;
#endif
constexpr long kMostOfRequestsKilobytes =
    64 * (64 + 64) * 2 + kKeptByOthersKilobytes;  // half of it unused: heaps do that
constexpr long kMostKilobytes = 64 * (64 + 64 + 1024 + 64) + kKeptByOthersKilobytes;

const char* const kLargePlant = R"({
    "format": "ac500-symbols", "version": 1,
    "areas": [{"number": 1, "bytes": 65000}],
    "scopes": [{"name": "Main", "variables": [{"name": "count", "type": "WORD", "area": 1, "offset": 0}]}]
})";

TEST(HostileClientsOfTheProgram, ItsMemoryIsBounded) {
    allowManyDescriptors();
    const QTemporaryDir folder;
    const std::string plant = folder.filePath("plant.json").toStdString();
    std::ofstream(plant) << kLargePlant;
    test::ChildProcess simulator;
    ASSERT_TRUE(simulator.start(AC500_SIM_PROGRAM, {"--symbols", plant, "--port", "0", "--quiet"}));
    const std::string first = simulator.takeLine(20000);
    ASSERT_NE(first.find("listening on 127.0.0.1:"), std::string::npos) << first;
    const auto port = static_cast<std::uint16_t>(std::stoi(first.substr(first.rfind(':') + 1)));

    RawClient steady(port);
    const Bytes end = steady.handshake();
    const Bytes readCount = raw("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00 00 02") + end;
    const std::string countReply = "BB BB 00 00 00 09 00 00 00 00 00 01 00 00 00";
    ASSERT_EQ(hex(steady.ask(readCount)), countReply);
    const long before = peakKilobytes(simulator.id());
    ASSERT_GT(before, 0);

    // Reads of 60000 (EA60) bytes whose replies nobody takes: 200 of each client, 12 MB if they were all kept.
    const Bytes greedy = raw("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00 EA 60") + end;
    Bytes manyGreedy;
    for (int i = 0; i < 200; ++i) {
        manyGreedy += greedy;
    }
    std::list<RawClient> crowd;
    for (int i = 0; i < 20; ++i) {
        crowd.emplace_back(port, 4096);
        crowd.back().send(manyGreedy, 100);
    }
    ASSERT_EQ(hex(steady.ask(readCount)), countReply);
    const long grown = peakKilobytes(simulator.id()) - before;
    EXPECT_LT(grown, kMostKilobytes);
    // A thousand requests that lack their end: 60 MB if they were all kept.
    for (int i = 0; i < 1000; ++i) {
        crowd.emplace_back(port);
        crowd.back().send(halfRequest(60000), 100);
    }
    // Half a second to take in what is still under way.
    for (int i = 0; i < 25; ++i) {
        sleepMs(20);
        ASSERT_EQ(hex(steady.ask(readCount)), countReply);
    }
    EXPECT_LT(peakKilobytes(simulator.id()) - before - grown, kMostOfRequestsKilobytes);
    crowd.clear();
    EXPECT_EQ(hex(steady.ask(readCount)), countReply);
}

}  // namespace
}  // namespace ac500::sim
