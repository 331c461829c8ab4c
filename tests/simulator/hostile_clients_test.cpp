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
#include "tests/support/pace.h"
#include "tests/support/places.h"
#include "tools/simulator/embedded_simulator.h"

namespace ac500::sim {
namespace {

using End = RawClient::End;
using Moment = std::chrono::steady_clock::time_point;

constexpr int kServiceMs = 5000;  // a loaded machine may take a while; a client that is kept out would wait for ever

void sleepMs(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// The beginning of the longest request there is: 65535 bytes of payload, of which `payload` are sent.
Bytes halfRequest(std::size_t payload) {
    return byteString("BB BB 00 00 FF FF 3C") + Bytes(payload, 'x');
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
    limits.requestMs = test::paced(1500);
    start(limits);
    RawClient silent(plc_->port());
    const Bytes request = readMode(end_);
    for (int i = 0; i < 2; ++i) {  // the time is one for each request
        client_->send(request.substr(0, 11));
        sleepMs(100);
        client_->send(request.substr(11));
        EXPECT_EQ(hex(client_->reply()), kModeReply);
        sleepMs(i == 0 ? limits.requestMs : 0);
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
        ASSERT_EQ(hex(strangers.back().ask(readMode(byteString("00 00 00 00")))), "BB BB 00 00 00 02 02 01");
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

// What the others in the process may hold: the address sanitizer marks a byte for each 8 of the heap, fences each piece
// and keeps what was freed (as little as it can be told to, see below); an emulator keeps the code that it translated.
#ifdef __SANITIZE_ADDRESS__
constexpr long kKeptByCheckerKilobytes = 24 * 1024;
#else
constexpr long kKeptByCheckerKilobytes = 0;
#endif
#ifdef AC500_EMULATED
constexpr long kKeptByEmulatorKilobytes = 64 * 1024;
#else
constexpr long kKeptByEmulatorKilobytes = 0;
#endif
constexpr long kKeptByOthersKilobytes = kKeptByCheckerKilobytes + kKeptByEmulatorKilobytes;

// There are 64 places for clients. A heap may hold twice what is in use.
constexpr long kHeapFactor = 2;

constexpr const char* kLargePlant = R"({
    "format": "ac500-symbols", "version": 1,
    "areas": [{"number": 1, "bytes": 65000}],
    "scopes": [{"name": "Main", "variables": [{"name": "count", "type": "WORD", "area": 1, "offset": 0}]}]
})";

// A simulator of its own for each test, so that nothing that one crowd cost is counted for another.
class MemoryOfTheProgram : public testing::Test {
protected:
    void SetUp() override {
        allowManyDescriptors();
        const std::string plant = folder_.filePath("plant.json").toStdString();
        std::ofstream(plant) << kLargePlant;
        ::setenv("ASAN_OPTIONS", "quarantine_size_mb=1:thread_local_quarantine_size_kb=64", 1);
        ASSERT_TRUE(simulator_.start(test::kSimulatorProgram, {"--symbols", plant, "--port", "0", "--quiet"}));
        const std::string first = simulator_.takeLine(20000);
        ASSERT_NE(first.find("listening on 127.0.0.1:"), std::string::npos) << first;
        port_ = static_cast<std::uint16_t>(std::stoi(first.substr(first.rfind(':') + 1)));
        steady_ = std::make_unique<RawClient>(port_);
        end_ = steady_->handshake();
        expectService();
        before_ = peakKilobytes(simulator_.id());
        ASSERT_GT(before_, 0);
    }

    Bytes readOf(const char* sizeBytes) const {
        return byteString("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00") + byteString(sizeBytes) + end_;
    }

    void expectService() {
        EXPECT_EQ(hex(steady_->ask(readOf("00 02"))), "BB BB 00 00 00 09 00 00 00 00 00 01 00 00 00");
    }

    // What the simulator grew by at most, once it has not grown for half a second; emulated, it may never come to that.
    long grownKilobytes() {
        long peak = peakKilobytes(simulator_.id());
        const Moment start = std::chrono::steady_clock::now();
        for (Moment grew = start; elapsedMs(grew) < 500 && elapsedMs(start) < kServiceMs;) {
            sleepMs(20);
            expectService();
            const long now = peakKilobytes(simulator_.id());
            if (now > peak) {
                grew = std::chrono::steady_clock::now();
                peak = now;
            }
        }
        return peak - before_;
    }

    std::uint16_t port_ = 0;
    std::unique_ptr<RawClient> steady_;

private:
    QTemporaryDir folder_;
    test::ChildProcess simulator_;
    Bytes end_;
    long before_ = 0;
};

TEST_F(MemoryOfTheProgram, RepliesThatNobodyTakesAreBounded) {
    // Reads of 60000 (EA60) bytes: 200 of each client, 12 MB if they were all kept.
    Bytes manyGreedy;
    for (int i = 0; i < 200; ++i) {
        manyGreedy += readOf("EA 60");
    }
    std::list<RawClient> crowd;
    for (int i = 0; i < 20; ++i) {
        crowd.emplace_back(port_, 4096);
        crowd.back().send(manyGreedy, 100);
    }
    // Of each the replies up to 1 MB and one beyond, what was read ahead and the request.
    EXPECT_LT(grownKilobytes(), kHeapFactor * 20 * (1024 + 64 + 64 + 64) + kKeptByOthersKilobytes);
    crowd.clear();
    expectService();
}

TEST_F(MemoryOfTheProgram, RequestsThatLackTheirEndAreBounded) {
    // A thousand: 60 MB if they were all kept.
    std::list<RawClient> crowd;
    for (int i = 0; i < 1000; ++i) {
        crowd.emplace_back(port_);
        crowd.back().send(halfRequest(60000), 100);
    }
    EXPECT_LT(grownKilobytes(), kHeapFactor * 64 * (64 + 64) + kKeptByOthersKilobytes);
    crowd.clear();
    expectService();
}

}  // namespace
}  // namespace ac500::sim
