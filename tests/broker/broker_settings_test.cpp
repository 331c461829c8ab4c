// The object "broker" of a settings file, what is told of mistakes in it, and what a reload takes over.
#include "tools/broker/broker_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/symbol_file/json_document.h"

namespace ac500::test {
namespace {

using broker::BrokerSettings;
using broker::SettingsChange;
using host::Milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

BrokerSettings settingsOf(const std::string& text, std::vector<std::string>* told) {
    const symbol_file::ParsedJson parsed = symbol_file::parseJson(text);
    EXPECT_THAT(parsed.problems, IsEmpty());
    symbol_file::ProblemList problems;
    BrokerSettings settings = broker::readBrokerSettings({&parsed.root, "broker"}, "/etc/ac500", "mixer", &problems);
    for (const symbol_file::Problem& problem : problems.inLineOrder()) {
        told->push_back(std::to_string(problem.line) + " " + problem.where + ": " + problem.what);
    }
    return settings;
}

BrokerSettings goodSettings(const std::string& text) {
    std::vector<std::string> told;
    BrokerSettings settings = settingsOf(text, &told);
    EXPECT_THAT(told, IsEmpty());
    return settings;
}

std::vector<std::string> problemsOf(const std::string& text) {
    std::vector<std::string> told;
    settingsOf(text, &told);
    return told;
}

// One that is right but for what `more` says.
std::string with(const std::string& more) {
    return R"({"servers": ["mqtts://broker.example"], "topic": "plant/mixer", )" + more + "}";
}

TEST(BrokerSettingsTest, LeastObjectGivesTheDefaults) {
    const BrokerSettings settings = goodSettings(R"({"servers": ["mqtts://broker.example"], "topic": "plant/mixer"})");
    ASSERT_EQ(settings.servers.size(), 1u);
    EXPECT_EQ(settings.servers[0].text(), "mqtts://broker.example:8883");
    EXPECT_TRUE(settings.servers[0].hasTls);
    EXPECT_EQ(settings.protocol, broker::Protocol::Mqtt5);
    EXPECT_EQ(settings.client, "ac500-mixer");
    EXPECT_EQ(settings.topic, "plant/mixer");
    EXPECT_EQ(settings.format, broker::Format::Json);
    EXPECT_EQ(settings.batch, broker::Batch::Pass);
    EXPECT_FALSE(settings.isRetained);
    EXPECT_THAT(settings.tags, IsEmpty());
    EXPECT_THAT(settings.report, IsEmpty());
    EXPECT_EQ(settings.largestMessage, 131072u);
    EXPECT_EQ(settings.keep.file, "");
    EXPECT_EQ(settings.keep.bytes, 268435456);
    EXPECT_EQ(settings.keep.memoryBytes, 8388608);
    EXPECT_EQ(settings.keep.age, Milliseconds(604800000));
    EXPECT_EQ(settings.keep.backlogRate, 50);
    EXPECT_THAT(settings.commandTags, IsEmpty());
    EXPECT_EQ(settings.keepAliveSeconds, 30);
}

constexpr char kAll[] = R"({
  "servers": ["mqtts://broker.example:8884", "mqtt://[::1]", "mqtt://localhost:1999"],
  "protocol": "3.1.1", "client": "mixer-1", "topic": "plant/mixer",
  "ca": "tls/ca.pem", "certificate": "tls/cert.pem", "key": "/tls/key.pem",
  "user": "mixer", "passwordFile": "password",
  "format": "influx", "batch": "scope", "retained": true, "tags": ["Main", "Pump.*"], "largestMessage": 65536,
  "report": [{"tags": ["**"], "smallestInterval": 500}, {"tags": ["Main.level"], "deadBand": 0.5, "largestInterval": 60000}],
  "store": {"file": "/var/lib/ac500/mixer/outbox.db", "bytes": 1048576, "days": 30, "memory": 65536, "backlogRate": 200},
  "commands": {"tags": ["Main.set"]}, "keepAlive": 60})";

TEST(BrokerSettingsTest, EverySettingIsTaken) {
    const BrokerSettings settings = goodSettings(kAll);
    ASSERT_EQ(settings.servers.size(), 3u);
    EXPECT_EQ(settings.servers[0].port, 8884);
    EXPECT_EQ(settings.servers[1].text(), "mqtt://[::1]:1883");
    EXPECT_FALSE(settings.servers[1].hasTls);
    EXPECT_EQ(settings.servers[2].port, 1999);
    EXPECT_EQ(settings.protocol, broker::Protocol::Mqtt311);
    EXPECT_EQ(settings.client, "mixer-1");
    EXPECT_EQ(settings.ca, "/etc/ac500/tls/ca.pem");
    EXPECT_EQ(settings.certificate, "/etc/ac500/tls/cert.pem");
    EXPECT_EQ(settings.key, "/tls/key.pem");
    EXPECT_EQ(settings.user, "mixer");
    EXPECT_EQ(settings.passwordFile, "/etc/ac500/password");
    EXPECT_EQ(settings.format, broker::Format::Influx);
    EXPECT_EQ(settings.batch, broker::Batch::Scope);
    EXPECT_TRUE(settings.isRetained);
    EXPECT_THAT(settings.tags, ElementsAre("Main", "Pump.*"));
    EXPECT_EQ(settings.largestMessage, 65536u);
    ASSERT_EQ(settings.report.size(), 2u);
    EXPECT_EQ(settings.report[0].terms.smallestInterval, Milliseconds(500));
    EXPECT_EQ(settings.report[1].terms.deadBand, 0.5);
    EXPECT_EQ(settings.report[1].terms.largestInterval, Milliseconds(60000));
    EXPECT_EQ(settings.keep.file, "/var/lib/ac500/mixer/outbox.db");
    EXPECT_EQ(settings.keep.bytes, 1048576);
    EXPECT_EQ(settings.keep.age, Milliseconds(2592000000));
    EXPECT_EQ(settings.keep.memoryBytes, 65536);
    EXPECT_EQ(settings.keep.backlogRate, 200);
    EXPECT_THAT(settings.commandTags, ElementsAre("Main.set"));
    EXPECT_EQ(settings.keepAliveSeconds, 60);
}

TEST(BrokerSettingsTest, ThereIsNoDefaultBrokerAndNoDefaultTopic) {
    EXPECT_THAT(problemsOf("{}"),
                ElementsAre("1 broker: \"servers\" is missing; name a broker, e.g. [\"mqtts://broker.example:8883\"]",
                            "1 broker: \"topic\" is missing; give what all topics begin with, e.g. \"plant/mixer\""));
    EXPECT_THAT(problemsOf(R"({"servers": [], "topic": "t"})"),
                ElementsAre("1 broker.servers: is empty; name a broker, e.g. [\"mqtts://broker.example:8883\"]"));
}

TEST(BrokerSettingsTest, EachMistakeIsToldWithItsLine) {
    EXPECT_THAT(
        problemsOf(R"({
  "servers": ["broker.example"],
  "protocol": "4",
  "topic": "plant/#",
  "format": "xml",
  "batch": "all",
  "tags": [],
  "report": [{"tags": ["Main"], "deadBand": -1},
             {"deadBand": 1, "smallestInterval": 100, "largestInterval": 50}],
  "store": {"bytes": 1048576},
  "keepAlive": 0,
  "retaind": true})"),
        ElementsAre(
            "2 broker.servers[0]: \"broker.example\" is no broker; write e.g. "
            "\"mqtts://broker.example:8883\", or \"mqtt://...\" for one without TLS",
            "3 broker.protocol: \"4\" is no version of MQTT that is spoken here; write \"5\" or \"3.1.1\"",
            "4 broker.topic: \"plant/#\" holds + or #, which only subscribers may use; remove it",
            "5 broker.format: \"xml\" is no format; write \"json\" or \"influx\"",
            "6 broker.batch: \"all\" is no batch; write \"pass\", \"scope\" or \"tag\"",
            "7 broker.tags: is empty; name tags, or remove the key to publish all that are read",
            "8 broker.report[0].deadBand: is no dead band; give a number from 0 on, in the unit of the tag",
            "9 broker.report[1]: \"tags\" is missing; name the tags that this is for, e.g. [\"Main\"]",
            "9 broker.report[1].largestInterval: is less than \"smallestInterval\"; give more, or 0 for none",
            "10 broker.store: \"file\" is missing; give the path of the store, or remove \"bytes\" and \"days\"",
            "11 broker.keepAlive: is 0; write a whole number from 5 to 65535",
            "12 broker: unknown key \"retaind\"; did you mean \"retained\"?"));
}

TEST(BrokerSettingsTest, ServersThatAreNone) {
    for (const char* server : {"mqtt://", "mqtts://a:0", "mqtts://a:65536", "mqtts://user@a", "mqtts://a/topic",
                               "http://a", "mqtt:a", "mqtts://[::1", "mqtts://a b"}) {
        const std::string text = R"({"servers": [")" + std::string(server) + R"("], "topic": "t"})";
        EXPECT_THAT(problemsOf(text), ElementsAre(testing::HasSubstr("is no broker"))) << server;
    }
}

TEST(BrokerSettingsTest, TopicsThatAreNone) {
    for (const char* topic : {"", "/a", "a/", "$SYS/a", "a/+/b", "a#", "a\\u0001"}) {
        const std::string text = R"({"servers": ["mqtts://a"], "topic": ")" + std::string(topic) + R"("})";
        EXPECT_EQ(problemsOf(text).size(), 1u) << topic;
    }
}

TEST(BrokerSettingsTest, PasswordInPlainTextIsRefusedUnlessTold) {
    const std::string login = R"("topic": "t", "user": "mixer", "passwordFile": "password")";
    const std::string refused =
        "1 broker.servers[0]: \"mqtt://10.0.0.9:1883\" would get user and password in plain "
        "text; use mqtts://, or say \"plainPassword\": true";
    EXPECT_THAT(problemsOf(R"({"servers": ["mqtt://10.0.0.9"], )" + login + "}"), ElementsAre(refused));
    EXPECT_THAT(problemsOf(R"({"servers": ["mqtt://10.0.0.9", "mqtts://a"], )" + login + "}"), ElementsAre(refused));
    EXPECT_THAT(problemsOf(R"({"servers": ["mqtt://10.0.0.9"], "plainPassword": true, )" + login + "}"), IsEmpty());
    EXPECT_THAT(problemsOf(R"({"servers": ["mqtts://10.0.0.9"], )" + login + "}"), IsEmpty());
    for (const char* loopback : {"127.0.0.1", "127.9.9.9", "[::1]", "localhost", "LocalHost"}) {
        EXPECT_THAT(problemsOf(R"({"servers": ["mqtt://)" + std::string(loopback) + R"("], )" + login + "}"), IsEmpty())
            << loopback;
    }
    EXPECT_THAT(problemsOf(R"({"servers": ["mqtt://localhost.example"], )" + login + "}"), testing::SizeIs(1));
}

TEST(BrokerSettingsTest, LoginAndTlsAreWhole) {
    EXPECT_THAT(problemsOf(with(R"("certificate": "c.pem")")),
                ElementsAre("1 broker: \"key\" is missing; a client's certificate goes with its key"));
    EXPECT_THAT(problemsOf(with(R"("passwordFile": "p")")),
                ElementsAre("1 broker.passwordFile: goes with a \"user\"; give one, or remove the key"));
    EXPECT_THAT(
        problemsOf(R"({"servers": ["mqtt://10.0.0.9"], "topic": "t", "ca": "ca.pem"})"),
        ElementsAre("1 broker.ca: is of use with TLS alone, and no server has it; write mqtts:// in \"servers\""));
}

TEST(BrokerSettingsTest, EqualSettingsAskForNothing) {
    const SettingsChange change = compare(goodSettings(kAll), goodSettings(kAll));
    EXPECT_TRUE(change.isNothing());
    EXPECT_FALSE(change.needsNewConnection);
}

TEST(BrokerSettingsTest, ReloadTakesOverWhatItCanAndNamesTheRest) {
    const BrokerSettings running = goodSettings(with(R"("keepAlive": 30)"));
    const BrokerSettings read = goodSettings(
        R"({"servers": ["mqtts://other.example"], "topic": "plant/other", "protocol": "3.1.1", "client": "c", "keepAlive": 60,
            "tags": ["Main"], "report": [{"tags": ["Main"], "deadBand": 1}], "batch": "tag", "format": "influx",
            "retained": true, "commands": {"tags": ["Main.set"]}, "largestMessage": 2048,
            "store": {"file": "f", "bytes": 2097152, "days": 1, "memory": 131072, "backlogRate": 1}})");
    const SettingsChange change = compare(running, read);
    EXPECT_THAT(change.taken,
                ElementsAre("broker.servers", "broker.format", "broker.batch", "broker.retained", "broker.tags",
                            "broker.report", "broker.largestMessage", "broker.store.bytes", "broker.store.days",
                            "broker.store.memory", "broker.store.backlogRate", "broker.commands"));
    EXPECT_THAT(change.restart, ElementsAre("broker.protocol", "broker.client", "broker.topic", "broker.store.file",
                                            "broker.keepAlive"));
    EXPECT_TRUE(change.needsNewConnection);

    const BrokerSettings taken = takenOver(running, read);
    EXPECT_TRUE(compare(taken, read).taken.empty());
    EXPECT_TRUE(compare(running, taken).restart.empty());
    EXPECT_EQ(taken.topic, "plant/mixer");
    EXPECT_EQ(taken.batch, broker::Batch::Tag);
}

TEST(BrokerSettingsTest, LoginAloneNeedsANewConnection) {
    const BrokerSettings running = goodSettings(with(R"("user": "a")"));
    EXPECT_TRUE(compare(running, goodSettings(with(R"("user": "b")"))).needsNewConnection);
    EXPECT_FALSE(compare(running, goodSettings(with(R"("user": "a", "batch": "tag")"))).needsNewConnection);
}

TEST(BrokerSettingsTest, EntriesStandForTagsScopesAndPatterns) {
    const std::vector<std::string> names = {"Main.level", "Main.pumps[1].speed", "Main.pumps[2].speed", "Mainframe.on"};
    std::vector<std::string> problems;
    EXPECT_THAT(broker::chosenTags({"Main"}, names, "broker.tags", &problems), ElementsAre(0, 1, 2));
    EXPECT_THAT(broker::chosenTags({"main.PUMPS[2]"}, names, "broker.tags", &problems), ElementsAre(2));
    EXPECT_THAT(broker::chosenTags({"**.speed", "Main.level", "Main.level"}, names, "broker.tags", &problems),
                ElementsAre(0, 1, 2));
    EXPECT_THAT(broker::chosenTags({"**"}, names, "broker.tags", &problems), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(problems, IsEmpty());
    EXPECT_THAT(broker::chosenTags({"Mian", "Main.level"}, names, "broker.tags", &problems), ElementsAre(0));
    EXPECT_THAT(problems, ElementsAre("broker.tags: \"Mian\" stands for none of the tags that are read; name it in "
                                      "\"tags\", too, or remove it"));
}

}  // namespace
}  // namespace ac500::test
