// What systemd is told, and when.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "tests/gateway/gateway_plant.h"
#include "tests/gateway/manager_socket.h"
#include "tools/gateway/service_manager.h"

namespace ac500::test {
namespace {

using gateway::Heartbeat;
using gateway::ServiceManager;
using gateway::watchdogInterval;
using host::Time;

TEST(ServiceManagerTest, NobodyIsToldWithoutAManager) {
    const ServiceManager manager{""};
    EXPECT_FALSE(manager.isThere());
    EXPECT_FALSE(manager.tellReady());
}

TEST(ServiceManagerTest, EachMessageIsADatagramOfItsOwn) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/notify";
    const ManagerSocket socket(path);
    ASSERT_TRUE(socket.isBound());
    const ServiceManager manager{path};
    EXPECT_TRUE(manager.tellReady());
    EXPECT_TRUE(manager.tellStatus("serving 5 tags"));
    EXPECT_TRUE(manager.tellBeat());
    EXPECT_TRUE(manager.tellStopping());
    EXPECT_EQ(socket.next(), "READY=1");
    EXPECT_EQ(socket.next(), "STATUS=serving 5 tags");
    EXPECT_EQ(socket.next(), "WATCHDOG=1");
    EXPECT_EQ(socket.next(), "STOPPING=1");
    EXPECT_EQ(socket.next(), "");
}

TEST(ServiceManagerTest, AbstractSocketsAreReached) {
    const std::string name = "@ac500-gateway-test-" + std::to_string(::getpid());
    const ManagerSocket socket(name);
    ASSERT_TRUE(socket.isBound());
    EXPECT_TRUE(ServiceManager{name}.tellReady());
    EXPECT_EQ(socket.next(), "READY=1");
}

TEST(ServiceManagerTest, AManagerThatIsGoneHarmsNobody) {
    EXPECT_FALSE(ServiceManager{"/nonexistent/notify"}.tellReady());
    EXPECT_FALSE(ServiceManager{std::string(200, 'x')}.tellReady());
}

TEST(WatchdogTest, IntervalIsForTheProcessThatIsNamed) {
    EXPECT_EQ(watchdogInterval("30000000", nullptr, 7), Time(30000000));
    EXPECT_EQ(watchdogInterval("30000000", "7", 7), Time(30000000));
    EXPECT_EQ(watchdogInterval("30000000", "8", 7), std::nullopt);
    EXPECT_EQ(watchdogInterval(nullptr, nullptr, 7), std::nullopt);
    EXPECT_EQ(watchdogInterval("0", nullptr, 7), std::nullopt);
    EXPECT_EQ(watchdogInterval("30s", nullptr, 7), std::nullopt);
}

TEST(HeartbeatTest, BeatsWhileTheLoopTurnsAndPassesEnd) {
    Heartbeat heartbeat{Time(100)};
    EXPECT_TRUE(heartbeat.beats({1, 0, false}, Time(0)));
    EXPECT_TRUE(heartbeat.beats({2, 1, false}, Time(90)));
    EXPECT_TRUE(heartbeat.beats({3, 1, false}, Time(190)));
    EXPECT_TRUE(heartbeat.beats({4, 2, false}, Time(400)));
}

TEST(HeartbeatTest, ALoopThatHangsHasNoBeat) {
    Heartbeat heartbeat{Time(100)};
    EXPECT_TRUE(heartbeat.beats({1, 0, false}, Time(0)));
    EXPECT_FALSE(heartbeat.beats({1, 1, false}, Time(10)));
    EXPECT_TRUE(heartbeat.beats({2, 1, false}, Time(20)));
}

TEST(HeartbeatTest, PassesThatDoNotEndHaveNoBeat) {
    Heartbeat heartbeat{Time(100)};
    EXPECT_TRUE(heartbeat.beats({1, 5, false}, Time(0)));
    EXPECT_FALSE(heartbeat.beats({2, 5, false}, Time(101)));
    EXPECT_FALSE(heartbeat.beats({3, 5, false}, Time(500)));
    EXPECT_TRUE(heartbeat.beats({4, 6, false}, Time(501)));
}

TEST(HeartbeatTest, APlcThatIsAwayIsNoReasonToBeRestarted) {
    Heartbeat heartbeat{Time(100)};
    EXPECT_TRUE(heartbeat.beats({1, 5, false}, Time(0)));
    EXPECT_TRUE(heartbeat.beats({2, 5, true}, Time(1000)));
    EXPECT_FALSE(heartbeat.beats({2, 5, true}, Time(2000)));
    EXPECT_TRUE(heartbeat.beats({3, 5, false}, Time(1090)));
}

}  // namespace
}  // namespace ac500::test
