#include "tools/simulator/embedded_simulator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/simulator/raw_client.h"

namespace ac500::sim {
namespace {

TEST(EmbeddedSimulator, TwoRunBesideEachOther) {
    EmbeddedSimulator one(smallPlant());
    EmbeddedSimulator two(smallPlant());
    EXPECT_NE(one.port(), 0);
    EXPECT_NE(one.port(), two.port());
    RawClient client(two.port());
    EXPECT_EQ(client.ask(helloRequest()).size(), 206U);
    EXPECT_EQ(one.counters().hello, 0U);
    EXPECT_EQ(two.counters().hello, 1U);
}

TEST(EmbeddedSimulator, StopEndsConnectionsAndFreesThePort) {
    EmbeddedSimulator plc(smallPlant());
    RawClient client(plc.port());
    client.handshake();
    plc.stop();
    EXPECT_NE(client.waitForEnd(), RawClient::End::Open);
    EXPECT_FALSE(RawClient(plc.port()).connected());
    EXPECT_EQ(hex(plc.read({1, 8, 1})), "A5") << "the memory can still be looked at";
    EXPECT_EQ(plc.counters().hello, 1U);
    plc.stop();
    plc.dropConnections();
}

TEST(EmbeddedSimulator, DroppedConnectionsLeaveThePlcAsItWas) {
    EmbeddedSimulator plc(smallPlant());
    RawClient client(plc.port());
    const Bytes end = client.handshake();
    plc.dropConnections();
    EXPECT_NE(client.waitForEnd(), RawClient::End::Open);
    RawClient again(plc.port());
    EXPECT_EQ(again.handshake(), end);
}

TEST(EmbeddedSimulator, RestartGivesNewSessionBytes) {
    EmbeddedSimulator plc(smallPlant());
    RawClient client(plc.port());
    const Bytes end = client.handshake();
    plc.restart();
    EXPECT_NE(client.waitForEnd(), RawClient::End::Open);
    RawClient again(plc.port());
    EXPECT_NE(again.handshake(), end);
}

TEST(EmbeddedSimulator, InjectedFaultsHaveTheirCountAndService) {
    EmbeddedSimulator plc(smallPlant());
    RawClient client(plc.port());
    plc.inject({FaultKind::Status, 0}, 2, Service::Symbols);
    const auto statusOf = [](const Bytes& reply) { return hex(reply.substr(6, 2)); };
    EXPECT_EQ(statusOf(client.ask(helloRequest())), "00 00");
    EXPECT_EQ(statusOf(client.ask(symbolsRequest())), "0F 01");
    EXPECT_EQ(statusOf(client.ask(symbolsRequest())), "0F 01");
    EXPECT_EQ(statusOf(client.ask(symbolsRequest())), "00 00");
}

TEST(EmbeddedSimulator, TheClockIsTheCallers) {
    std::atomic<std::int64_t> nowMs{1000};
    TcpSettings settings;
    settings.clock = [&nowMs] { return nowMs.load(); };
    EmbeddedSimulator plc(smallPlant(), {}, settings);
    RawClient client(plc.port());
    nowMs = 1000 + 0x0A0B;
    client.ask(helloRequest());
    EXPECT_EQ(hex(plc.read({9, 36, 4})), "00 00 0A 0B") << "Sim.uptime_ms counts from the start";
}

TEST(EmbeddedSimulator, AFileWithProblemsThrows) {
    SymbolFile file = smallPlant();
    file.areas[0].number = 9;
    EXPECT_THROW(EmbeddedSimulator{file}, std::runtime_error);
}

TEST(EmbeddedSimulator, MemoryAndNetworkMayBeUsedAtOnce) {
    EmbeddedSimulator plc(smallPlant());
    std::atomic<bool> done{false};
    std::thread writer([&] {
        while (!done) {
            plc.write(1, 0, byteString("AA AA"));
            plc.write(1, 0, byteString("55 55"));
            plc.inject({FaultKind::None, 0});
            plc.counters();
        }
    });
    RawClient client(plc.port());
    // area 1, offset 0, size 2
    const Bytes read =
        byteString("BB BB 00 00 00 14 2E 00 00 00 00 01 00 01 00 00 00 00 00 00 00 02") + client.handshake();
    for (int i = 0; i < 300; ++i) {
        const std::string value = hex(client.ask(read)).substr(39);
        EXPECT_TRUE(value == "AA AA" || value == "55 55" || value == "00 00") << value;
    }
    done = true;
    writer.join();
}

}  // namespace
}  // namespace ac500::sim
