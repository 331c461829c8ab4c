// MqttClient against a broker: what it is told when something is wrong, and how it goes on.
#include "tools/broker/mqtt_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "tests/broker/mosquitto_process.h"
#include "tests/broker/mqtt_subscriber.h"

namespace ac500::test {
namespace {

using broker::MqttClient;
using broker::MqttEvent;
using broker::Protocol;
using host::Milliseconds;
using host::Time;
using testing::AllOf;
using testing::HasSubstr;

// Works a client as a door does, and keeps its events.
class ClientAtWork {
public:
    explicit ClientAtWork(MqttClient::Settings settings) : client(std::move(settings)) {}

    void turn() {
        std::vector<pollfd> waits;
        client.addWaits(&waits);
        ::poll(waits.data(), waits.size(), 2);
        client.work(waits, clock.now());
        for (MqttEvent& event : client.takeEvents()) {
            events.push_back(std::move(event));
        }
    }

    // Nothing when it does not come.
    std::optional<MqttEvent> next(MqttEvent::Kind kind) {
        std::optional<MqttEvent> found;
        eventually([&] {
            turn();
            for (; seen < events.size() && !found; ++seen) {
                found = events[seen].kind == kind ? std::optional<MqttEvent>(events[seen]) : std::nullopt;
            }
            return found.has_value();
        });
        return found;
    }
    std::string end() { return next(MqttEvent::Kind::Ended).value_or(MqttEvent()).text; }
    bool connects() { return next(MqttEvent::Kind::Connected).has_value(); }

    const host::SteadyClock clock;
    MqttClient client;
    std::vector<MqttEvent> events;
    std::size_t seen = 0;
};

class MqttClientTest : public testing::Test {
protected:
    MqttClientTest() {
        settings.servers = {{"127.0.0.1", broker.port(), false}};
        settings.client = "gateway";
        settings.pause.first = Milliseconds(20);
        settings.pause.largest = Milliseconds(50);
    }

    // With TLS, by the name that its certificate has.
    void secure(const std::string& names, const std::string& clientCa = "") {
        broker.useTls(authority().issue("server", names), clientCa);
        settings.servers = {{"localhost", broker.port(), true}};
        settings.ca = authority().ca();
    }

    static const TestAuthority& authority() {
        static const TemporaryFolder folder;
        static const TestAuthority made(folder.path());
        return made;
    }

    std::string passwordFile(const std::string& password) const {
        const std::string file = broker.folder().file("password", password + "\n");
        std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
        return file;
    }

    MosquittoProcess broker;
    MqttClient::Settings settings;
};

class MqttProtocolTest : public MqttClientTest, public testing::WithParamInterface<Protocol> {};

TEST_P(MqttProtocolTest, WhatIsPublishedArrivesAndIsAcknowledged) {
    settings.protocol = GetParam();
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    ClientAtWork at(settings);
    ASSERT_TRUE(at.connects());
    std::string problem;
    ASSERT_TRUE(at.client.connection()->publish({"plant/a", "one", false, 600, 17}, at.clock.now(), &problem));
    const std::optional<MqttEvent> acknowledged = at.next(MqttEvent::Kind::Acknowledged);
    ASSERT_TRUE(acknowledged);
    EXPECT_EQ(acknowledged->number, 17);
    ASSERT_TRUE(eventually([&] { return subscriber.received().size() == 1; }));
    EXPECT_EQ(subscriber.received()[0].payload, "one");
    EXPECT_EQ(subscriber.received()[0].expirySeconds, GetParam() == Protocol::Mqtt5 ? 600u : 0u);
}

TEST_P(MqttProtocolTest, AWrongPasswordIsToldWithWhatToDo) {
    settings.protocol = GetParam();
    broker.requireLogin("mixer", "right");
    ASSERT_TRUE(broker.start());
    settings.user = "mixer";
    settings.passwordFile = passwordFile("wrong");
    ClientAtWork at(settings);
    EXPECT_THAT(at.end(),
                AllOf(HasSubstr("mqtt://127.0.0.1:"), HasSubstr("the broker refuses the connection: not authorized"),
                      HasSubstr("compare \"user\" and \"passwordFile\"")));
    passwordFile("right");
    EXPECT_TRUE(at.connects());
}

TEST_P(MqttProtocolTest, ACommandComesWithItsFlags) {
    settings.protocol = GetParam();
    ASSERT_TRUE(broker.start());
    MqttSubscriber other(broker.port(), "plant/none");
    other.publish("plant/command", "old", true);
    ClientAtWork at(settings);
    ASSERT_TRUE(at.connects());
    at.client.connection()->subscribe("plant/command");
    const std::optional<MqttEvent> old = at.next(MqttEvent::Kind::Arrived);
    ASSERT_TRUE(old);
    EXPECT_EQ(old->message.payload, "old");
    EXPECT_TRUE(old->message.isRetained);
    other.publish("plant/command", "new", false, 60);
    const std::optional<MqttEvent> fresh = at.next(MqttEvent::Kind::Arrived);
    ASSERT_TRUE(fresh);
    EXPECT_EQ(fresh->message.payload, "new");
    EXPECT_FALSE(fresh->message.isRetained);
    EXPECT_EQ(fresh->message.expirySeconds.has_value(), GetParam() == Protocol::Mqtt5);
}

INSTANTIATE_TEST_SUITE_P(Protocols, MqttProtocolTest, testing::Values(Protocol::Mqtt5, Protocol::Mqtt311),
                         [](const auto& row) { return row.param == Protocol::Mqtt5 ? "Mqtt5" : "Mqtt311"; });

TEST_F(MqttClientTest, APublicationWithoutRightsIsRefusedInWords) {
    broker.restrict("topic write plant/allowed\n");
    ASSERT_TRUE(broker.start());
    ClientAtWork at(settings);
    ASSERT_TRUE(at.connects());
    std::string problem;
    ASSERT_TRUE(at.client.connection()->publish({"plant/other", "one", false, {}, 3}, at.clock.now(), &problem));
    const std::optional<MqttEvent> refused = at.next(MqttEvent::Kind::Refused);
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->number, 3);
    EXPECT_THAT(refused->text, AllOf(HasSubstr("not authorized (135)"), HasSubstr("rights")));
}

TEST_F(MqttClientTest, TheLimitsOfTheBrokerAreKnown) {
    broker.configure("max_packet_size 2000");
    ASSERT_TRUE(broker.start());
    ClientAtWork at(settings);
    ASSERT_TRUE(at.connects());
    EXPECT_EQ(at.client.connection()->largestPacket(), 2000u);
    std::string problem;
    EXPECT_FALSE(
        at.client.connection()->publish({"plant/a", std::string(3000, 'x'), false, {}, 1}, at.clock.now(), &problem));
    EXPECT_THAT(problem, HasSubstr("the packet is larger than the broker takes (149)"));
    EXPECT_TRUE(at.client.isConnected());
    EXPECT_TRUE(
        at.client.connection()->publish({"plant/a", std::string(1900, 'x'), false, {}, 2}, at.clock.now(), &problem));
    EXPECT_TRUE(at.next(MqttEvent::Kind::Acknowledged));
}

TEST_F(MqttClientTest, NoMoreIsOnItsWayThanTheBrokerAllows) {
    broker.configure("max_inflight_messages 3");
    ASSERT_TRUE(broker.start());
    ClientAtWork at(settings);
    ASSERT_TRUE(at.connects());
    std::string problem;
    int sent = 0;
    while (sent < 20 && at.client.connection()->hasRoom()) {
        ASSERT_TRUE(at.client.connection()->publish({"plant/a", "x", false, {}, sent}, at.clock.now(), &problem));
        ++sent;
    }
    EXPECT_EQ(sent, 3);
}

TEST_F(MqttClientTest, TlsByNameAndAuthorityAndCertificateOfTheClient) {
    secure("DNS:localhost", authority().ca());
    const TestAuthority::Pair mine = authority().issue("client", "DNS:client");
    settings.certificate = mine.certificate;
    settings.key = mine.key;
    ASSERT_TRUE(broker.start());
    ClientAtWork at(settings);
    EXPECT_TRUE(at.connects()) << at.end();
}

TEST_F(MqttClientTest, AServerOfAnotherNameIsNotBelieved) {
    secure("DNS:other.example");
    ASSERT_TRUE(broker.start());
    ClientAtWork at(settings);
    EXPECT_THAT(at.end(), AllOf(HasSubstr("mqtts://localhost:"),
                                HasSubstr("the server's certificate is not for localhost"), HasSubstr("\"servers\"")));
}

TEST_F(MqttClientTest, AnAddressIsNoNameAndHasToBeInTheCertificate) {
    secure("DNS:localhost");
    settings.servers = {{"127.0.0.1", broker.port(), true}};
    ASSERT_TRUE(broker.start());
    ClientAtWork at(settings);
    EXPECT_THAT(at.end(), HasSubstr("the server's certificate is not for 127.0.0.1"));
}

TEST_F(MqttClientTest, AnUnknownAuthorityIsNotTrusted) {
    secure("DNS:localhost");
    settings.ca = "";
    ASSERT_TRUE(broker.start());
    ClientAtWork at(settings);
    EXPECT_THAT(at.end(), AllOf(HasSubstr("of an authority that is not trusted"), HasSubstr("in \"ca\"")));
}

TEST_F(MqttClientTest, AMissingCertificateOfTheClientIsTold) {
    secure("DNS:localhost", authority().ca());
    ASSERT_TRUE(broker.start());
    ClientAtWork at(settings);
    EXPECT_THAT(at.end(), HasSubstr("does the broker ask for a certificate of this client"));
}

TEST_F(MqttClientTest, PlainTextToAPortWithTlsIsToldAndTheReverse) {
    secure("DNS:localhost");
    ASSERT_TRUE(broker.start());
    settings.servers = {{"127.0.0.1", broker.port(), false}};
    settings.connectTime = Milliseconds(paced(500));
    ClientAtWork at(settings);
    EXPECT_THAT(at.end(), HasSubstr("is that the port of MQTT, with TLS or without as \"servers\" says?"));
    MosquittoProcess plain;
    ASSERT_TRUE(plain.start());
    settings.servers = {{"localhost", plain.port(), true}};
    ClientAtWork other(settings);
    EXPECT_THAT(other.end(), HasSubstr("is that a port with TLS"));
}

TEST_F(MqttClientTest, NobodyThereIsToldAndTheNextOfTheListIsTried) {
    ASSERT_TRUE(broker.start());
    MosquittoProcess absent;
    settings.servers = {{"127.0.0.1", absent.port(), false}, {"127.0.0.1", broker.port(), false}};
    ClientAtWork at(settings);
    EXPECT_EQ(at.end(), "mqtt://127.0.0.1:" + std::to_string(absent.port()) + ": Connection refused");
    EXPECT_TRUE(at.connects());
    EXPECT_EQ(at.client.server().port, broker.port());
}

TEST_F(MqttClientTest, ANameThatNobodyHasIsTold) {
    settings.servers = {{"nobody.invalid", 1883, false}};
    ClientAtWork at(settings);
    EXPECT_THAT(at.end(), HasSubstr("the address of nobody.invalid cannot be found: "));
}

TEST_F(MqttClientTest, ANameWithTwoAddressesIsTriedAtBoth) {
    ASSERT_TRUE(broker.start());
    settings.servers = {{"localhost", broker.port(), false}};  // ::1, where nobody listens, and 127.0.0.1
    ClientAtWork at(settings);
    EXPECT_TRUE(at.connects());
}

TEST_F(MqttClientTest, ABrokerThatIsRestartedIsFoundAgain) {
    ASSERT_TRUE(broker.start());
    ClientAtWork at(settings);
    ASSERT_TRUE(at.connects());
    ASSERT_TRUE(broker.stop());
    EXPECT_NE(at.end(), "");
    EXPECT_FALSE(at.client.isConnected());
    ASSERT_TRUE(broker.start());
    EXPECT_TRUE(at.connects());
    EXPECT_EQ(at.client.reconnects(), 1u);
}

TEST_F(MqttClientTest, ABrokerThatHangsIsLeft) {
    settings.silence = Milliseconds(paced(200));
    ASSERT_TRUE(broker.start());
    ClientAtWork at(settings);
    ASSERT_TRUE(at.connects());
    broker.pause();
    std::string problem;
    ASSERT_TRUE(at.client.connection()->publish({"plant/a", "one", false, {}, 1}, at.clock.now(), &problem));
    EXPECT_THAT(at.end(), HasSubstr("the broker has acknowledged nothing for "));
    broker.resume();
    EXPECT_TRUE(at.connects());
}

TEST_F(MqttClientTest, ABrokerThatTakesAConnectionAndSaysNothingIsLeft) {
    settings.connectTime = Milliseconds(paced(200));
    ASSERT_TRUE(broker.start());
    broker.pause();
    ClientAtWork at(settings);
    EXPECT_THAT(at.end(), HasSubstr("it does not answer"));
    broker.resume();
    EXPECT_TRUE(at.connects());
}

// A machine that is off, or a firewall: the connection is neither made nor refused.
TEST_F(MqttClientTest, WhileNobodyAnswersNobodyIsKeptBusy) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(::bind(listener, plain, size), 0);
    ASSERT_EQ(::listen(listener, 0), 0);
    ASSERT_EQ(::getsockname(listener, plain, &size), 0);
    std::vector<int> waiting;  // fill what the kernel accepts by itself
    for (int i = 0; i < 4; ++i) {
        waiting.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        (void)!::connect(waiting.back(), plain, size);
    }
    settings.servers = {{"127.0.0.1", ntohs(address.sin_port), false}};
    ClientAtWork at(settings);
    int turns = 0;
    for (const Time end = at.clock.now() + std::chrono::milliseconds(1500); at.clock.now() < end; ++turns) {
        std::vector<pollfd> waits;
        at.client.addWaits(&waits);
        const Time left = at.client.whenNext().value_or(end) - at.clock.now();
        const auto ms = std::chrono::ceil<Milliseconds>(std::clamp<Time>(left, Time(0), Milliseconds(100))).count();
        ::poll(waits.data(), waits.size(), static_cast<int>(ms));
        at.client.work(waits, at.clock.now());
    }
    EXPECT_LT(turns, 200);
    EXPECT_FALSE(at.client.isConnected());
    for (const int socket : waiting) {
        ::close(socket);
    }
    ::close(listener);
}

TEST_F(MqttClientTest, TheWillIsToldWhenItGoesWithoutFarewellAndNotAfterOne) {
    settings.willTopic = "plant/status";
    settings.will = "gone";
    ASSERT_TRUE(broker.start());
    const MqttSubscriber subscriber(broker.port(), "plant/#");
    {
        ClientAtWork at(settings);
        ASSERT_TRUE(at.connects());
        at.client.disconnect();
    }
    {
        ClientAtWork at(settings);
        ASSERT_TRUE(at.connects());
    }
    ASSERT_TRUE(eventually([&] { return !subscriber.received().empty(); }));
    ASSERT_EQ(subscriber.received().size(), 1u);
    EXPECT_EQ(subscriber.received()[0].topic, "plant/status");
    EXPECT_EQ(subscriber.received()[0].payload, "gone");
}

TEST_F(MqttClientTest, AnotherClientOfTheSameIdentifierIsToldOf) {
    ASSERT_TRUE(broker.start());
    ClientAtWork at(settings);
    ASSERT_TRUE(at.connects());
    ClientAtWork other(settings);
    ASSERT_TRUE(other.connects());
    // This mosquitto does not say so in words.
    EXPECT_THAT(at.end(),
                HasSubstr("the connection was lost; it had acknowledged nothing: may this client publish below "
                          "\"topic\", and has another the same \"client\"?"));
    std::string problem;
    ASSERT_TRUE(at.connects());
    ASSERT_TRUE(at.client.connection()->publish({"plant/a", "one", false, {}, 1}, at.clock.now(), &problem));
    ASSERT_TRUE(at.next(MqttEvent::Kind::Acknowledged));
    ASSERT_TRUE(other.connects());
    EXPECT_THAT(at.end(), HasSubstr("the connection was lost after a moment; has another the same \"client\"?"));
}

TEST_F(MqttClientTest, APasswordThatOthersCanReadIsNotUsed) {
    ASSERT_TRUE(broker.start());
    settings.user = "mixer";
    settings.passwordFile = passwordFile("secret");
    std::filesystem::permissions(settings.passwordFile, std::filesystem::perms::others_read,
                                 std::filesystem::perm_options::add);
    ClientAtWork at(settings);
    EXPECT_THAT(at.end(), HasSubstr("chmod 600"));
}

}  // namespace
}  // namespace ac500::test
