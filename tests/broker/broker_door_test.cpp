// The gateway's door to a broker: a simulated PLC, a Plant, the door, Debian's mosquitto, and a subscriber.
#include "tools/gateway/broker_door.h"

#include <algorithm>
#include <csignal>
#include <map>
#include <numeric>

#include "tests/broker/breaking_broker.h"
#include "tests/broker/mosquitto_process.h"
#include "tests/broker/mqtt_subscriber.h"
#include "tests/support/child_process.h"
#include "tests/support/json_schema.h"
#include "tools/broker/broker_trial.h"
#include "tools/text/utc.h"

namespace ac500::test {
namespace {

using broker::Protocol;
using gateway::BrokerDoor;
using host::Milliseconds;
using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;

constexpr int kEnough = paced(20000);

std::string utcNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return text::utcTextOf(std::chrono::duration_cast<Milliseconds>(now).count());
}

class BrokerDoorTest : public GatewayTest {
protected:
    BrokerDoorTest() {
        settings.tags = {"Main"};
        at.servers = {{"127.0.0.1", broker.port(), false}};
        at.client = "gateway";
        at.topic = "plant/mixer";
        at.keep.file = folder.path() + "/store";
    }
    ~BrokerDoorTest() override { door.reset(); }

    void open() {
        if (plant == nullptr) {
            start();
        }
        BrokerDoor::Parts parts{*plant, at, "c0ffee", "0.1.0", [this](events::EventId event, const std::string& text) {
                                    const std::lock_guard<std::mutex> lock(toldMutex);
                                    told.push_back(std::string(events::rowOf(event).id) + ": " + text);
                                }};
        parts.pause.first = Milliseconds(20);
        parts.pause.largest = Milliseconds(100);
        parts.silence = silence;
        parts.farewell = farewell;
        host::Failure failure;
        door = BrokerDoor::open(std::move(parts), &failure);
        ASSERT_NE(door, nullptr) << failure.text;
    }

    bool isTold(const std::string& what) {
        const std::lock_guard<std::mutex> lock(toldMutex);
        return std::any_of(told.begin(), told.end(),
                           [&](const std::string& line) { return line.find(what) != std::string::npos; });
    }
    // Has the door told each tag once? What it has not looked at yet can change without its telling.
    bool hasToldAll() {
        return eventually([&] { return plant->valueCounts().published >= plant->tags().size(); });
    }
    // Changes the value, and waits until the door has seen that.
    void tell(const std::string& tag, double value) {
        const std::uint64_t before = plant->valueCounts().published;
        put(tag, value);
        EXPECT_TRUE(eventually([&] { return plant->valueCounts().published > before; }));
    }
    bool isConnected() {
        return eventually([&] { return door->figures().isConnected; });
    }

    // The values of a tag, in the order in which they came, as "4711: 21.5 fresh"; without the numbers as "21.5 fresh".
    static std::vector<std::string> valuesOf(const MqttSubscriber& subscriber, const std::string& tag) {
        std::vector<std::string> values;
        for (const json& message : subscriber.on("plant/mixer/values")) {
            for (const json& value : message.value("values", json::array())) {
                if (value["tag"] == tag) {
                    values.push_back(value.value("value", json()).dump() + " " + value["state"].get<std::string>());
                }
            }
        }
        return values;
    }
    static bool hasValue(const MqttSubscriber& subscriber, const std::string& tag, const std::string& value) {
        const std::vector<std::string> values = valuesOf(subscriber, tag);
        return std::find(values.begin(), values.end(), value) != values.end();
    }

    MosquittoProcess broker;
    broker::BrokerSettings at;
    Milliseconds silence{paced(500)};
    Milliseconds farewell{2000};
    std::mutex toldMutex;
    std::vector<std::string> told;
    std::unique_ptr<BrokerDoor> door;
};

class BrokerDoorProtocolTest : public BrokerDoorTest, public testing::WithParamInterface<Protocol> {};

TEST_P(BrokerDoorProtocolTest, ValuesArriveWithTheirTagsStatesAndNumbers) {
    at.protocol = GetParam();
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    open();
    ASSERT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "0 fresh"); }));
    put("Main.int", 17);
    put("Main.on", 1);
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "17 fresh"); }));
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.on", "true fresh"); }));
    std::int64_t number = 0;
    for (const json& message : subscriber.on("plant/mixer/values")) {
        EXPECT_EQ(outputComplaints("broker-values", message.dump()), "") << message;
        EXPECT_EQ(message["plc"], "Plant 1");
        EXPECT_EQ(message["clock"], "set");
        EXPECT_GT(message["sequence"], number);
        number = message["sequence"];
    }
    EXPECT_TRUE(eventually([&] { return door->figures().acknowledged == door->figures().published; }));
    // As long as the store would keep them, the broker may.
    for (const MqttSubscriber::Received& one : subscriber.received()) {
        if (one.topic == "plant/mixer/values") {
            EXPECT_NEAR(one.expirySeconds, GetParam() == Protocol::Mqtt5 ? 7 * 86400 : 0, 60);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Protocols, BrokerDoorProtocolTest, testing::Values(Protocol::Mqtt5, Protocol::Mqtt311),
                         [](const auto& row) { return row.param == Protocol::Mqtt5 ? "Mqtt5" : "Mqtt311"; });

TEST_F(BrokerDoorTest, StatusAndInfoAreKeptByTheBrokerAndSayWhatGoesOn) {
    ASSERT_TRUE(broker.start());
    open();
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    EXPECT_TRUE(eventually([&] { return subscriber.last("plant/mixer/status", "state") == "up"; }));
    ASSERT_TRUE(eventually([&] { return !subscriber.on("plant/mixer/info").empty(); }));
    const json info = subscriber.on("plant/mixer/info").back();
    EXPECT_EQ(outputComplaints("broker-info", info.dump()), "") << info;
    EXPECT_EQ(info["build"], "0.1.0");
    EXPECT_EQ(info["symbols"], plant->fingerprint());
    EXPECT_EQ(info["settings"], "c0ffee");
    EXPECT_EQ(info["session"], subscriber.last("plant/mixer/status", "session"));

    simulator.inject({sim::FaultKind::Reset, 0}, 1000000);
    EXPECT_TRUE(eventually([&] { return subscriber.last("plant/mixer/status", "state") == "plc away"; }));
    EXPECT_TRUE(eventually([&] { return subscriber.last("plant/mixer/status", "text").is_string(); })) << "and why";
    simulator.inject({sim::FaultKind::Reset, 0}, 0);
    EXPECT_TRUE(eventually([&] { return subscriber.last("plant/mixer/status", "state") == "up"; }));

    door->end();
    EXPECT_TRUE(eventually([&] { return subscriber.last("plant/mixer/status", "state") == "ended"; }));
    for (const json& status : subscriber.on("plant/mixer/status")) {
        EXPECT_EQ(outputComplaints("broker-status", status.dump()), "") << status;
    }
    const MqttSubscriber late(broker.port(), "plant/#");
    EXPECT_TRUE(eventually([&] { return late.last("plant/mixer/status", "state") == "ended"; }));
}

TEST_F(BrokerDoorTest, APlcThatWasNeverThereIsToldWithTheReason) {
    ASSERT_TRUE(broker.start());
    simulator.stop();
    open();
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    EXPECT_TRUE(eventually([&] {
        const json text = subscriber.last("plant/mixer/status", "text");
        return text.is_string() && text.get<std::string>().find("Connection refused") != std::string::npos;
    }));
    EXPECT_EQ(subscriber.last("plant/mixer/status", "state"), "plc away");
}

TEST_F(BrokerDoorTest, AWrongPasswordIsTold) {
    broker.requireLogin("mixer", "right");
    ASSERT_TRUE(broker.start());
    open();
    EXPECT_TRUE(eventually([&] { return isTold("broker.lost: mqtt://127.0.0.1:"); }));
    EXPECT_TRUE(isTold("compare \"user\" and \"passwordFile\""));
    EXPECT_FALSE(door->figures().isConnected);
}

TEST_F(BrokerDoorTest, WithoutRightsValuesAreKeptUntilThereAreSome) {
    broker.restrict("topic write plant/mixer/status\ntopic write plant/mixer/info\n");
    ASSERT_TRUE(broker.start());
    open();
    EXPECT_TRUE(eventually(
        [&] { return isTold("the broker refuses what is published on plant/mixer/values: not authorized"); }));
    ASSERT_TRUE(hasToldAll());
    tell("Main.int", 5);
    EXPECT_EQ(door->figures().acknowledged, 0u);
    ASSERT_TRUE(broker.stop());
    broker.folder().file("rights", "topic readwrite #\n");
    ASSERT_TRUE(broker.start());
    EXPECT_TRUE(eventually([&] { return door->figures().acknowledged > 1 && door->figures().backlogMessages == 0; }));
    EXPECT_EQ(door->figures().dropped, 0u);
}

TEST_F(BrokerDoorTest, AStatusThatWasRefusedIsToldAgainUntilItIsTaken) {
    const BreakingBroker refusing(BreakingStep::Refusing);
    at.servers = {{"127.0.0.1", refusing.port(), false}};
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    open();
    const auto statuses = [&] {
        const std::string bytes = refusing.received();
        const std::string status = "\"state\":\"up\"";
        int count = 0;
        for (std::size_t place = bytes.find(status); place != std::string::npos;
             place = bytes.find(status, place + 1)) {
            ++count;
        }
        return count;
    };
    ASSERT_TRUE(eventually([&] { return statuses() >= 3; })) << "two are refused";
    EXPECT_TRUE(isTold("the broker refuses what is published on plant/mixer/status: not authorized"));
    tell("Main.int", 1);
    ASSERT_TRUE(eventually([&] { return door->figures().acknowledged == door->figures().published; }));
    EXPECT_EQ(statuses(), 3);
    EXPECT_EQ(door->figures().reconnects, 0u);
}

TEST_F(BrokerDoorTest, GapRecordsAreNotRetainedWhereValuesAre) {
    at.isRetained = true;
    at.keep.file.clear();
    at.keep.memoryBytes = 1;  // nothing can be held for a broker that is away
    ASSERT_TRUE(broker.start());
    // The broker keeps for it what comes before it is back.
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    ASSERT_TRUE(broker.stop());
    open();
    ASSERT_TRUE(hasToldAll());
    ASSERT_TRUE(broker.start());
    ASSERT_TRUE(eventually([&] { return subscriber.last("plant/mixer/values", "gap").is_object(); }));
    // What the broker keeps comes before what is published afterwards.
    MqttSubscriber late(broker.port(), "plant/#");
    late.publish("plant/marker", "{}");
    ASSERT_TRUE(eventually([&] { return !late.on("plant/marker").empty(); }));
    EXPECT_TRUE(late.on("plant/mixer/values").empty()) << late.on("plant/mixer/values").back();
    EXPECT_EQ(late.on("plant/mixer/info").size(), 1u);
}

// Each message of values by its number, as it came first. Fails when one comes again otherwise.
std::map<std::int64_t, std::string> byNumber(const MqttSubscriber& subscriber) {
    std::map<std::int64_t, std::string> messages;
    for (const MqttSubscriber::Received& one : subscriber.received()) {
        if (one.topic == "plant/mixer/values") {
            const std::int64_t number = json::parse(one.payload)["sequence"];
            const auto [place, isNew] = messages.emplace(number, one.payload);
            EXPECT_TRUE(isNew || place->second == one.payload) << number << " came again otherwise";
        }
    }
    return messages;
}

TEST_F(BrokerDoorTest, ABrokerThatIsRestartedLeavesNoHole) {
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    open();
    ASSERT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "0 fresh"); }));
    int value = 0;
    const auto change = [&](int times) {
        for (const int last = value + times; value < last;) {
            tell("Main.int", ++value);
        }
    };
    change(5);
    ASSERT_TRUE(broker.stop());
    change(10);
    ASSERT_TRUE(eventually([&] { return door->figures().backlogMessages >= 10; })) << "what waits for a broker counts";
    ASSERT_TRUE(broker.start());
    change(5);
    ASSERT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "20 fresh"); }));
    ASSERT_TRUE(eventually([&] { return door->figures().backlogMessages == 0; }));
    ASSERT_TRUE(eventually([&] {
        const std::map<std::int64_t, std::string> messages = byNumber(subscriber);
        return messages.rbegin()->first - messages.begin()->first + 1 == static_cast<std::int64_t>(messages.size());
    })) << "a number is missing";
    // Whoever orders them has each step once.
    std::vector<int> steps;
    for (const auto& [number, payload] : byNumber(subscriber)) {
        for (const json& each : json::parse(payload).value("values", json::array())) {
            if (each["tag"] == "Main.int") {
                steps.push_back(each["value"]);
            }
        }
    }
    std::vector<int> expected(21);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(steps, expected);
    EXPECT_EQ(door->figures().reconnects, 1u);
}

TEST_F(BrokerDoorTest, ABrokerThatHangsIsLeftAndGetsAllWhenItGoesOn) {
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    open();
    ASSERT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "0 fresh"); }));
    broker.pause();
    tell("Main.int", 7);
    ASSERT_TRUE(eventually([&] { return isTold("the broker has acknowledged nothing"); }));
    put("Main.int", 8);
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 8"));
    broker.resume();
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "7 fresh"); }));
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "8 fresh"); }));
    byNumber(subscriber);
}

TEST_F(BrokerDoorTest, WhatWasNotAcknowledgedComesAfterTheGatewayHasStartedAgain) {
    open();
    ASSERT_TRUE(hasToldAll());
    ASSERT_TRUE(eventually([&] { return door->figures().backlogMessages > 0; }));
    const std::size_t before = door->figures().backlogMessages;
    put("Main.int", 3);
    ASSERT_TRUE(eventually([&] { return door->figures().backlogMessages > before; }));
    door.reset();
    put("Main.int", 4);
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    open();
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "4 fresh"); }));
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "3 fresh"); }));
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "0 fresh"); }));
    byNumber(subscriber);
}

TEST_F(BrokerDoorTest, TheSecondBrokerOfTheListTakesOver) {
    MosquittoProcess second;
    at.servers.push_back({"127.0.0.1", second.port(), false});
    ASSERT_TRUE(broker.start());
    ASSERT_TRUE(second.start());
    const MqttSubscriber subscriber(second.port(), "plant/#");
    open();
    ASSERT_TRUE(isConnected());
    broker.kill();
    put("Main.int", 9);
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "9 fresh"); }));
    EXPECT_TRUE(eventually(
        [&] { return isTold("broker.connected: connected to mqtt://127.0.0.1:" + std::to_string(second.port())); }));
}

TEST_F(BrokerDoorTest, MessagesAreCutToWhatTheBrokerTakes) {
    broker.configure("max_packet_size 600");
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    at.tags = {"Main.int"};
    open();
    ASSERT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "0 fresh"); }));
    ASSERT_TRUE(eventuallyShown("Main.recipe", "fresh 0 g, 0 g, 0 g"));
    // All that there is, told in one go, is more than one message holds.
    broker::BrokerSettings all = at;
    all.tags.clear();
    host::Failure failure;
    ASSERT_TRUE(door->reload(all, "", &failure)) << failure.text;
    EXPECT_TRUE(eventually([&] {
        std::set<std::string> tags;
        for (const json& message : subscriber.on("plant/mixer/values")) {
            for (const json& value : message.value("values", json::array())) {
                tags.insert(value["tag"]);
            }
        }
        return tags.size() == plant->tags().size();
    })) << "a value is missing";
    EXPECT_EQ(door->figures().dropped, 0u);
    std::int64_t number = 0;
    std::map<json, int> messagesOfPass;
    for (const MqttSubscriber::Received& one : subscriber.received()) {
        if (one.topic == "plant/mixer/values") {
            const json message = json::parse(one.payload);
            EXPECT_LT(one.payload.size(), 600u);
            EXPECT_FALSE(message.contains("gap")) << message;
            EXPECT_TRUE(number == 0 || message["sequence"] == number + 1) << message;
            number = message["sequence"];
            ++messagesOfPass[message["pass"]];
        }
    }
    EXPECT_TRUE(std::any_of(messagesOfPass.begin(), messagesOfPass.end(), [](const auto& pass) {
        return pass.second > 1;
    })) << "nothing was cut";
}

TEST_F(BrokerDoorTest, WhatTheBrokerIsTooSmallForIsDroppedAndTold) {
    broker.configure("max_packet_size 300");
    open();
    ASSERT_TRUE(hasToldAll());
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    EXPECT_TRUE(eventually([&] { return isTold("is dropped: the packet is larger than the broker takes (149)"); }));
    EXPECT_TRUE(eventually([&] { return door->figures().dropped > 0; }));
    put("Main.int", 4);
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "4 fresh"); }));
}

TEST_F(BrokerDoorTest, ASlowBrokerGetsAllAndIsNotLeft) {
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    open();
    ASSERT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "0 fresh"); }));
    for (int value = 1; value <= 4; ++value) {
        broker.pause();
        tell("Main.int", value);
        std::this_thread::sleep_for(std::chrono::milliseconds(paced(100)));  // that slow it is
        broker.resume();
    }
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "4 fresh"); }));
    EXPECT_THAT(valuesOf(subscriber, "Main.int"),
                testing::ElementsAre("0 fresh", "1 fresh", "2 fresh", "3 fresh", "4 fresh"));
    EXPECT_EQ(door->figures().reconnects, 0u);
}

TEST_F(BrokerDoorTest, OtherServersAreTakenOverWithWhatIsKeptForThem) {
    open();
    ASSERT_TRUE(eventually([&] { return door->figures().backlogMessages > 0 && isTold("broker.lost"); }));
    MosquittoProcess other;
    ASSERT_TRUE(other.start());
    const MqttSubscriber subscriber(other.port(), "plant/#");
    broker::BrokerSettings changed = at;
    changed.servers = {{"127.0.0.1", other.port(), false}};
    host::Failure failure;
    ASSERT_TRUE(door->reload(changed, "decade", &failure)) << failure.text;
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "0 fresh"); }));
    EXPECT_TRUE(eventually([&] { return subscriber.last("plant/mixer/info", "settings") == "decade"; }));
}

TEST_F(BrokerDoorTest, TagsAndTermsAreTakenOver) {
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    at.tags = {"Main.int"};
    open();
    ASSERT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "0 fresh"); }));
    EXPECT_FALSE(hasValue(subscriber, "Main.fixed", "0 fresh"));
    broker::BrokerSettings changed = at;
    changed.tags = {"Main.int", "Main.fixed"};
    changed.report = {{{"Main.int"}, {10, Milliseconds(0), Milliseconds(0)}}};
    host::Failure failure;
    ASSERT_TRUE(door->reload(changed, "", &failure)) << failure.text;
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.fixed", "0 fresh"); }));
    put("Main.int", 9);
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 9"));
    put("Main.int", 12);
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "12 fresh"); }));
    EXPECT_FALSE(hasValue(subscriber, "Main.int", "9 fresh"));
    changed.tags = {"Main.nit"};
    EXPECT_FALSE(door->reload(changed, "", &failure));
    EXPECT_THAT(failure.text, HasSubstr("broker.tags: "));
}

TEST_F(BrokerDoorTest, EndingIsQuickWhateverTheBrokerDoes) {
    ASSERT_TRUE(broker.start());
    open();
    ASSERT_TRUE(isConnected());
    broker.pause();
    const auto begun = std::chrono::steady_clock::now();
    door->end();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(paced(4000)));
    broker.resume();
}

// So that no more may be on its way: a broker that acknowledges nothing.
class BrokerFarewellTest : public BrokerDoorTest {
protected:
    BrokerFarewellTest() {
        at.protocol = Protocol::Mqtt311;
        silence = Milliseconds(paced(60000));
    }

    void changeMoreThanMayBeOnItsWay() {
        for (int value = 1; value <= 25; ++value) {
            tell("Main.int", value);
        }
    }
};

TEST_F(BrokerFarewellTest, ABrokerThatAcknowledgesNothingIsLeftWithoutAFarewellSoThatItTellsTheWill) {
    const BreakingBroker silent(BreakingStep::Silent);
    at.servers = {{"127.0.0.1", silent.port(), false}};
    farewell = Milliseconds(100);
    open();
    ASSERT_TRUE(isConnected());
    ASSERT_TRUE(hasToldAll());
    changeMoreThanMayBeOnItsWay();
    door->end();
    ASSERT_TRUE(eventually([&] { return silent.broken() > 0; })) << "the connection is still there";
    const std::string bytes = silent.received();
    ASSERT_THAT(bytes, HasSubstr("\"state\":\"gone\"")) << "the will";
    ASSERT_THAT(bytes, HasSubstr("\"state\":\"up\""));
    const std::string disconnect("\xe0\x00", 2);
    EXPECT_NE(bytes.substr(bytes.size() - disconnect.size()), disconnect) << "the will is taken back";
}

TEST_F(BrokerFarewellTest, ABrokerThatGoesOnInTimeIsToldTheEnd) {
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/mixer/status");
    farewell = Milliseconds(paced(20000));
    open();
    ASSERT_TRUE(eventually([&] { return subscriber.last("plant/mixer/status", "state") == "up"; }));
    ASSERT_TRUE(hasToldAll());
    broker.pause();
    changeMoreThanMayBeOnItsWay();
    std::thread end([this] { door->end(); });
    broker.resume();
    end.join();
    const MqttSubscriber late(broker.port(), "plant/mixer/status");
    EXPECT_TRUE(eventually([&] { return late.last("plant/mixer/status", "state") == "ended"; }));
}

TEST_F(BrokerDoorTest, AStoreOfAnotherProcessIsRefused) {
    open();
    at.client = "other";
    BrokerDoor::Parts parts{*plant, at, "", "0.1.0", [](events::EventId, const std::string&) {}};
    host::Failure failure;
    EXPECT_EQ(BrokerDoor::open(std::move(parts), &failure), nullptr);
    EXPECT_THAT(failure.text, HasSubstr("store"));
}

class BrokerBreaksTest : public BrokerDoorTest, public testing::WithParamInterface<BreakingStep> {};

TEST_P(BrokerBreaksTest, AtAnyStepNothingIsLost) {
    at.protocol = Protocol::Mqtt311;
    const BreakingBroker breaking(GetParam());
    at.servers = {{"127.0.0.1", breaking.port(), false}, {"127.0.0.1", broker.port(), false}};
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    open();
    ASSERT_TRUE(eventually([&] { return breaking.broken() > 0 && isTold("broker.lost"); }));
    ASSERT_TRUE(hasToldAll());
    put("Main.int", 6);
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "6 fresh"); }));
    EXPECT_TRUE(eventually([&] { return hasValue(subscriber, "Main.int", "0 fresh"); }));
    EXPECT_TRUE(eventually([&] {
        const std::map<std::int64_t, std::string> messages = byNumber(subscriber);
        return messages.rbegin()->first - messages.begin()->first + 1 == static_cast<std::int64_t>(messages.size());
    }));
}

std::string nameOf(const testing::TestParamInfo<BreakingStep>& row) {
    static const std::vector<std::string> names = {"Accepted", "Greeted", "HalfAnswered",
                                                   "Answered", "Given",   "Garbled"};
    return names[static_cast<std::size_t>(row.param)];
}

INSTANTIATE_TEST_SUITE_P(Steps, BrokerBreaksTest,
                         testing::Values(BreakingStep::Accepted, BreakingStep::Greeted, BreakingStep::HalfAnswered,
                                         BreakingStep::Answered, BreakingStep::Given, BreakingStep::Garbled),
                         nameOf);

// ---- Commands

class BrokerCommandsTest : public BrokerDoorTest {
protected:
    BrokerCommandsTest() {
        settings.writableTags = {"Main.level", "Main.int"};
        at.commandTags = {"Main.level"};
    }

    void openWithBroker() {
        ASSERT_TRUE(broker.start());
        subscriber = std::make_unique<MqttSubscriber>(broker.port(), "plant/#");
        open();
        ASSERT_TRUE(eventually([&] { return hasValue(*subscriber, "Main.level", "-1 fresh"); }));
    }

    // "done", or "refused: why"; waits for it.
    std::string outcomeOf(const std::string& id) {
        json found;
        eventually([&] {
            for (const json& outcome : subscriber->on("plant/mixer/outcome")) {
                found = outcome.value("id", "") == id ? outcome : found;
            }
            return !found.is_null();
        });
        EXPECT_EQ(outputComplaints("broker-outcome", found.dump()), "") << found;
        const std::string text = found.value("text", "");
        return found.value("outcome", "") + (text.empty() ? "" : ": " + text);
    }

    static std::string command(const std::string& id, const std::string& tag, const std::string& value) {
        return json{{"id", id}, {"tag", tag}, {"value", value}, {"issued", utcNow()}}.dump();
    }

    std::unique_ptr<MqttSubscriber> subscriber;
};

TEST_F(BrokerCommandsTest, ACommandIsCarriedOutOnceAndItsOutcomeTold) {
    openWithBroker();
    subscriber->publish("plant/mixer/command", command("c1", "Main.level", "2.5"));
    EXPECT_EQ(outcomeOf("c1"), "done");
    EXPECT_TRUE(eventually([&] { return hasValue(*subscriber, "Main.level", "2.5 fresh"); }));
    subscriber->publish("plant/mixer/command", command("c1", "Main.level", "2.5"));
    EXPECT_TRUE(eventually([&] { return subscriber->on("plant/mixer/outcome").size() == 2; }));
    EXPECT_THAT(outcomeOf("c1"), HasSubstr("refused: its id was used by another command"));
}

TEST_F(BrokerCommandsTest, WhatIsNotAllowedIsRefusedWithItsReason) {
    openWithBroker();
    subscriber->publish("plant/mixer/command", command("c2", "Main.int", "2"));
    EXPECT_THAT(outcomeOf("c2"), HasSubstr("refused: "));
    subscriber->publish("plant/mixer/command", command("c3", "Main.nit", "2"));
    EXPECT_THAT(outcomeOf("c3"), HasSubstr("refused: "));
    subscriber->publish("plant/mixer/command", command("c4", "Main.level", "2"), true);
    EXPECT_THAT(outcomeOf("c4"), HasSubstr("retained"));
    EXPECT_EQ(shown("Main.level"), "fresh -1.00 m");
}

TEST_F(BrokerCommandsTest, WhatHasExpiredOnItsWayIsRefused) {
    openWithBroker();
    const std::int64_t now =
        std::chrono::duration_cast<Milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
    const auto issuedAt = [](const std::string& id, std::int64_t utcMs) {
        return json{{"id", id}, {"tag", "Main.level"}, {"value", "2"}, {"issued", text::utcTextOf(utcMs)}}.dump();
    };
    subscriber->publish("plant/mixer/command", issuedAt("c5", now - 60000));
    EXPECT_THAT(outcomeOf("c5"), HasSubstr("refused: "));
    subscriber->publish("plant/mixer/command", issuedAt("c6", now + 60000));
    EXPECT_THAT(outcomeOf("c6"), HasSubstr("refused: "));
    subscriber->publish("plant/mixer/command", R"({"tag": "Main.level", "value": "2"})");
    EXPECT_TRUE(eventually([&] { return isTold("broker.command: command  is refused: "); }));
    EXPECT_EQ(shown("Main.level"), "fresh -1.00 m");
}

TEST_F(BrokerCommandsTest, WhatThePlcDoesNotHoldIsNotReplaced) {
    openWithBroker();
    subscriber->publish(
        "plant/mixer/command",
        json{{"id", "c7"}, {"tag", "Main.level"}, {"value", 3}, {"old", 2}, {"issued", utcNow()}}.dump());
    EXPECT_THAT(outcomeOf("c7"), HasSubstr("not sent: "));
    EXPECT_TRUE(eventuallyShown("Main.level", "write failed -1.00 m"));
}

class BrokerOtherProgramTest : public GatewayTest {
protected:
    BrokerOtherProgramTest() : GatewayTest(guardedSymbols(1)) { settings.tags = {"Main.int"}; }
};

TEST_F(BrokerOtherProgramTest, AnotherProgramIsToldAndItsValuesAreNot) {
    const int other = simulator.addProgram(symbol_file::parseSymbolFile(guardedSymbols(2)).file);
    start();
    MosquittoProcess broker;
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    broker::BrokerSettings at;
    at.servers = {{"127.0.0.1", broker.port(), false}};
    at.client = "gateway";
    at.topic = "plant/mixer";
    host::Failure failure;
    const std::unique_ptr<BrokerDoor> door =
        BrokerDoor::open({*plant, at, "", "0.1.0", [](events::EventId, const std::string&) {}}, &failure);
    ASSERT_NE(door, nullptr) << failure.text;
    ASSERT_TRUE(eventually([&] { return subscriber.last("plant/mixer/status", "state") == "up"; }));
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    simulator.load(other);
    EXPECT_TRUE(eventually([&] { return subscriber.last("plant/mixer/status", "state") == "other program"; }));
    put("Main.int", 13);
    EXPECT_TRUE(eventually([&] {
        const std::vector<json> messages = subscriber.on("plant/mixer/values");
        return !messages.empty() && messages.back()["values"][0]["state"] == "suspect";
    }));
    const json last = subscriber.on("plant/mixer/values").back()["values"][0];
    EXPECT_FALSE(last.contains("value")) << last;
    simulator.load(1);
    EXPECT_TRUE(eventually([&] { return subscriber.last("plant/mixer/status", "state") == "up"; }));
}

// ---- The program

class BrokerProgramTest : public testing::Test {
protected:
    // Of a gateway to the simulated PLC; `more` belongs to the object "broker", and begins with a comma.
    std::string settings(const std::string& more = "") const {
        folder.file("plant.json", kPlantSymbols);
        return folder.file("gateway.json", R"({"plc": "127.0.0.1:)" + std::to_string(simulator.port()) +
                                               R"(", "symbols": "plant.json", "driver": ")" + kDriver +
                                               R"(", "name": "Mixer", "tags": ["Main"], "cycle": 20, "page": false,
            "socket": {"path": "socket"}, "write": {"tags": ["Main.level"]},
            "broker": {"servers": ["mqtt://127.0.0.1:)" +
                                               std::to_string(broker.port()) + R"("], "topic": "plant/mixer")" + more +
                                               "}}");
    }

    void start() {
        ASSERT_TRUE(broker.start());
        subscriber = std::make_unique<MqttSubscriber>(broker.port(), "plant/#");
        ASSERT_TRUE(program.start(kGatewayProgram, {settings()}));
        ASSERT_TRUE(eventually([&] { return subscriber->last("plant/mixer/status", "state") == "up"; }));
        ASSERT_TRUE(eventually([&] { return !subscriber->on("plant/mixer/values").empty(); }));
    }

    // Waits for these words among what the program tells on its error output.
    bool tells(const std::string& what) {
        return eventually([&] {
            program.waitForOutput(20);
            errors += program.takeErrors();
            return errors.find(what) != std::string::npos;
        });
    }

    const TemporaryFolder folder;
    sim::EmbeddedSimulator simulator{symbol_file::parseSymbolFile(kPlantSymbols).file};
    MosquittoProcess broker;
    std::unique_ptr<MqttSubscriber> subscriber;
    ChildProcess program;
    std::string errors;
};

TEST_F(BrokerProgramTest, KilledItIsGoneAndEndedItHasEnded) {
    start();
    program.sendSignal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return subscriber->last("plant/mixer/status", "state") == "gone"; }));
    ASSERT_TRUE(program.waitForEnd(kEnough));
    ASSERT_TRUE(program.start(kGatewayProgram, {settings()}));
    EXPECT_TRUE(eventually([&] { return subscriber->last("plant/mixer/status", "state") == "up"; }));
    program.sendSignal(SIGTERM);
    ASSERT_TRUE(program.waitForEnd(kEnough));
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_TRUE(eventually([&] { return subscriber->last("plant/mixer/status", "state") == "ended"; }));
}

TEST_F(BrokerProgramTest, SettingsAreReadAgainAndNothingElseIsDisturbed) {
    start();
    const json session = subscriber->last("plant/mixer/status", "session");
    const json hash = subscriber->last("plant/mixer/info", "settings");
    const auto connections = simulator.counters().connections;

    settings(R"(, "batch": "tag", "keepAlive": 31)");
    program.sendSignal(SIGHUP);
    EXPECT_TRUE(tells("taken over: broker.batch"));
    EXPECT_THAT(errors, HasSubstr("restart the gateway for: broker.keepAlive"));
    EXPECT_TRUE(eventually([&] { return !subscriber->on("plant/mixer/values/Main.int").empty(); }));
    EXPECT_TRUE(eventually([&] { return subscriber->last("plant/mixer/info", "settings") != hash; }));

    folder.file("gateway.json", "{\"plc\": 5}");
    program.sendSignal(SIGHUP);
    EXPECT_TRUE(tells("the old settings stay in force: "));

    settings(R"(, "tags": ["Main.nit"])");
    program.sendSignal(SIGHUP);
    EXPECT_TRUE(tells("broker.tags: "));

    const std::size_t before = subscriber->on("plant/mixer/values/Main.on").size();
    EXPECT_EQ(simulator.counters().connections, connections);
    EXPECT_EQ(subscriber->last("plant/mixer/status", "session"), session);
    EXPECT_EQ(subscriber->last("plant/mixer/status", "state"), "up");
    EXPECT_GT(before, 0u);
    program.sendSignal(SIGTERM);
    ASSERT_TRUE(program.waitForEnd(kEnough));
    errors += program.takeErrors();
    EXPECT_EQ(errors.find("broker.lost"), std::string::npos);
    // One connection to the broker, from the start to the end.
    const std::string told = "connected to mqtt://";
    EXPECT_EQ(errors.find(told), errors.rfind(told));
}

TEST_F(BrokerProgramTest, CommandsAreAllowedAndForbiddenAgainWhileItRuns) {
    start();
    const auto order = [&](const std::string& id) {
        subscriber->publish("plant/mixer/command",
                            json{{"id", id}, {"tag", "Main.level"}, {"value", 2.5}, {"issued", utcNow()}}.dump());
    };
    order("before");
    ASSERT_TRUE(eventually([&] { return subscriber->on("plant/mixer/command").size() == 1; }))
        << "the broker passed it on";

    settings(R"(, "commands": {"tags": ["Main.level"]})");
    program.sendSignal(SIGHUP);
    EXPECT_TRUE(tells("taken over: broker.commands"));
    // Nobody is told when the broker has taken the subscription.
    int times = 0;
    ASSERT_TRUE(eventually([&] {
        order("allowed-" + std::to_string(++times));
        std::this_thread::sleep_for(Milliseconds(20));
        return subscriber->last("plant/mixer/outcome", "outcome") == "done";
    }));
    for (const json& outcome : subscriber->on("plant/mixer/outcome")) {
        EXPECT_NE(outcome["id"], "before") << "commands were off";
    }

    settings();
    program.sendSignal(SIGHUP);
    ASSERT_TRUE(eventually([&] {
        program.waitForOutput(20);
        errors += program.takeErrors();
        const std::string told = "taken over: broker.commands";
        return errors.find(told) != errors.rfind(told);
    }));
    // What was taken before may end behind the refusal.
    json refused;
    ASSERT_TRUE(eventually([&] {
        order("forbidden-" + std::to_string(++times));
        std::this_thread::sleep_for(Milliseconds(20));
        for (const json& outcome : subscriber->on("plant/mixer/outcome")) {
            refused = outcome["outcome"] == "refused" ? outcome : refused;
        }
        return refused.is_object();
    }));
    EXPECT_THAT(refused["text"].dump(), HasSubstr("commands are off"));
    program.sendSignal(SIGTERM);
    ASSERT_TRUE(program.waitForEnd(kEnough));
    EXPECT_EQ(program.exitCode(), 0);
}

TEST_F(BrokerProgramTest, CheckTriesTheBroker) {
    ASSERT_TRUE(broker.start());
    ASSERT_TRUE(program.start(kGatewayProgram, {"check", "--broker", settings()}));
    ASSERT_TRUE(program.waitForEnd(kEnough));
    EXPECT_EQ(program.exitCode(), 0) << program.takeErrors();
    const std::string printed = program.takeOutput();
    const std::string server = "mqtt://127.0.0.1:" + std::to_string(broker.port());
    EXPECT_THAT(printed, HasSubstr(server + ": name: good: 127.0.0.1\n"));
    EXPECT_THAT(printed, HasSubstr(server + ": connection: good: MQTT 5, without TLS, without a login\n"));
    EXPECT_THAT(printed, HasSubstr(server + ": rights: good: plant/mixer/check can be published\n"));
    EXPECT_THAT(printed, HasSubstr(server + ": packet size: good: a message of "));
    EXPECT_THAT(printed, HasSubstr(server + ": will: good: it was told when the connection broke\n"));
    const MqttSubscriber late(broker.port(), "plant/#");
    EXPECT_TRUE(late.received().empty()) << "something is left at the broker";
}

TEST_F(BrokerProgramTest, CheckSaysWhatIsWrongWithTheBroker) {
    broker.restrict("topic read #\n");
    broker.configure("max_packet_size 1000");
    ASSERT_TRUE(broker.start());
    ASSERT_TRUE(program.start(kGatewayProgram, {"check", "--broker", settings()}));
    ASSERT_TRUE(program.waitForEnd(kEnough));
    EXPECT_EQ(program.exitCode(), 4);
    const std::string printed = program.takeOutput();
    EXPECT_THAT(printed, HasSubstr(": rights: wrong: nothing can be published on plant/mixer/check: not authorized"));
    broker.kill();
    ASSERT_TRUE(program.start(kGatewayProgram, {"check", "--broker", settings()}));
    ASSERT_TRUE(program.waitForEnd(kEnough));
    EXPECT_EQ(program.exitCode(), 4);
    EXPECT_THAT(program.takeOutput(), HasSubstr(": connection: wrong: Connection refused"));
}

}  // namespace
}  // namespace ac500::test
