// The settings file: what it says, and what is told of mistakes in it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/gateway/gateway_plant.h"
#include "tools/gateway/gateway_settings.h"

namespace ac500::test {
namespace {

using gateway::GatewaySettings;
using gateway::LoadedGatewaySettings;
using gateway::loadGatewaySettings;
using gateway::parseGatewaySettings;
using testing::ElementsAre;
using testing::HasSubstr;

// Each problem as the program tells it, of a file called "gateway.json".
std::vector<std::string> problemsOf(const std::string& text) {
    std::vector<std::string> told;
    for (const symbol_file::Problem& problem : parseGatewaySettings(text, "/etc/ac500").problems) {
        told.push_back(describe("gateway.json", problem));
    }
    return told;
}

TEST(GatewaySettingsTest, LeastFileGivesAPageForThisMachineAndNoWrites) {
    const LoadedGatewaySettings loaded =
        parseGatewaySettings(R"({"symbols": "plant.json", "plc": "10.0.0.5:1201", "tags": ["Main"]})", "/etc/ac500");
    ASSERT_THAT(loaded.problems, testing::IsEmpty());
    const GatewaySettings& settings = loaded.settings;
    EXPECT_EQ(settings.plant.symbols, "/etc/ac500/plant.json");
    EXPECT_EQ(settings.plant.session.loop.plc.host, "10.0.0.5");
    EXPECT_EQ(settings.plant.session.loop.plc.port, 1201);
    EXPECT_THAT(settings.plant.tags, ElementsAre("Main"));
    EXPECT_EQ(settings.plant.trendBytes, 16777216u);
    EXPECT_THAT(settings.plant.writableTags, testing::IsEmpty());
    ASSERT_TRUE(settings.page);
    EXPECT_EQ(settings.page->address, "127.0.0.1");
    EXPECT_EQ(settings.page->port, 8500);
    EXPECT_EQ(settings.page->viewers, 32);
    EXPECT_EQ(settings.page->viewersPerAddress, 4);
    EXPECT_TRUE(settings.page->isLocal());
    EXPECT_FALSE(settings.socket);
    EXPECT_EQ(settings.tokens, "");
}

TEST(GatewaySettingsTest, EverySettingIsTaken) {
    const LoadedGatewaySettings loaded = parseGatewaySettings(R"({
      "version": 1, "name": "Mixer", "symbols": "plant.json", "plc": "[::1]:1300", "driver": "/usr/lib/driver.so",
      "cycle": 100, "timeout": 700, "max-request-words": 240, "retry-limit": 3,
      "tags": ["Main", "Pump.*"],
      "trend": {"tags": ["Main.level"], "bytes": 1048576},
      "page": {"listen": "0.0.0.0:443", "hosts": ["mixer.example"], "certificate": "tls/cert.pem", "key": "tls/key.pem",
               "viewers": 8, "viewersPerAddress": 2},
      "write": {"tags": ["Main.set"], "expires": 3000},
      "tokens": "tokens", "socket": {"path": "/run/ac500/mixer.sock", "mode": "0600"},
      "audit": "audit.jsonl", "handshake": "learned.json"})",
                                                              "/etc/ac500");
    ASSERT_THAT(loaded.problems, testing::IsEmpty());
    const GatewaySettings& settings = loaded.settings;
    EXPECT_EQ(settings.plant.name, "Mixer");
    EXPECT_EQ(settings.plant.driver, "/usr/lib/driver.so");
    EXPECT_EQ(settings.plant.session.loop.plc.host, "::1");
    EXPECT_EQ(settings.plant.session.loop.cycle.count(), 100);
    EXPECT_EQ(settings.plant.session.loop.replyTimeout.count(), 700);
    EXPECT_EQ(settings.plant.session.loop.connectTimeout.count(), 700);
    EXPECT_EQ(settings.plant.session.maxRequestWords, 240);
    EXPECT_EQ(settings.plant.session.retryLimit, 3);
    EXPECT_THAT(settings.plant.keptTags, ElementsAre("Main.level"));
    EXPECT_EQ(settings.plant.trendBytes, 1048576u);
    EXPECT_THAT(settings.plant.writableTags, ElementsAre("Main.set"));
    EXPECT_EQ(settings.plant.writeExpires.count(), 3000);
    EXPECT_EQ(settings.plant.audit, "/etc/ac500/audit.jsonl");
    EXPECT_EQ(settings.plant.handshake, "/etc/ac500/learned.json");
    ASSERT_TRUE(settings.page);
    EXPECT_EQ(settings.page->address, "0.0.0.0");
    EXPECT_EQ(settings.page->port, 443);
    EXPECT_FALSE(settings.page->isLocal());
    EXPECT_THAT(settings.page->hosts, ElementsAre("mixer.example"));
    EXPECT_EQ(settings.page->certificate, "/etc/ac500/tls/cert.pem");
    EXPECT_EQ(settings.page->key, "/etc/ac500/tls/key.pem");
    EXPECT_EQ(settings.page->viewers, 8);
    EXPECT_EQ(settings.page->viewersPerAddress, 2);
    EXPECT_EQ(settings.tokens, "/etc/ac500/tokens");
    ASSERT_TRUE(settings.socket);
    EXPECT_EQ(settings.socket->path, "/run/ac500/mixer.sock");
    EXPECT_EQ(settings.socket->mode, 0600u);
}

TEST(GatewaySettingsTest, TheLastMinutesAreKeptUnlessItSaysOtherwise) {
    const auto recordOf = [](const std::string& more) {
        const LoadedGatewaySettings loaded = parseGatewaySettings(
            R"({"symbols": "plant.json", "plc": "10.0.0.5:1201", "tags": ["Main"])" + more + "}", "/etc/ac500");
        EXPECT_THAT(loaded.problems, testing::IsEmpty());
        return loaded.settings.plant;
    };
    EXPECT_EQ(recordOf("").record.memoryBytes, 8388608u);
    EXPECT_EQ(recordOf("").record.saveFile, "/etc/ac500/ac500-gateway.record");
    EXPECT_EQ(recordOf("").record.ringFile, "");
    EXPECT_FALSE(recordOf("").savesAtFailure);
    setenv("STATE_DIRECTORY", "/var/lib/ac500/mixer", 1);
    EXPECT_EQ(recordOf("").record.saveFile, "/var/lib/ac500/mixer/ac500-gateway.record");
    unsetenv("STATE_DIRECTORY");
    EXPECT_EQ(recordOf(R"(, "record": false)").record.memoryBytes, 0u);
    const gateway::PlantSettings plant = recordOf(
        R"(, "record": {"memory": 1048576, "save": "run.record", "atFailure": true, "ring": "ring", "ringBytes": 4194304})");
    EXPECT_EQ(plant.record.memoryBytes, 1048576u);
    EXPECT_EQ(plant.record.saveFile, "/etc/ac500/run.record");
    EXPECT_EQ(plant.record.ringFile, "/etc/ac500/ring");
    EXPECT_EQ(plant.record.ringBytes, 4194304u);
    EXPECT_TRUE(plant.savesAtFailure);
}

TEST(GatewaySettingsTest, ARingHasAPathAndASize) {
    const std::string begin = R"({"symbols": "plant.json", "plc": "10.0.0.5:1201", "tags": ["Main"], "record": )";
    EXPECT_THAT(problemsOf(begin + R"({"ring": "ring"}})"),
                ElementsAre(HasSubstr("record: \"ringBytes\" is missing; a ring has a path and a size")));
    EXPECT_THAT(problemsOf(begin + R"({"ringBytes": 4194304}})"),
                ElementsAre(HasSubstr("record: \"ring\" is missing; a ring has a path and a size")));
    EXPECT_EQ(problemsOf(begin + R"({"memory": 5, "atFailure": 1, "rings": 2}})").size(), 3u);
}

TEST(GatewaySettingsTest, PageCanBeTurnedOff) {
    EXPECT_FALSE(parseGatewaySettings(R"({"symbols": "p", "plc": "h:1", "tags": ["M"], "page": false})", "")
                     .settings.page.has_value());
}

TEST(GatewaySettingsTest, WhatIsMissingIsToldAtOnce) {
    EXPECT_THAT(problemsOf("{}"),
                ElementsAre("gateway.json:1:1: \"symbols\" is missing; give the path of the symbol file",
                            "gateway.json:1:1: \"plc\" is missing; give its address, e.g. \"192.168.0.10:1201\"",
                            "gateway.json:1:1: \"tags\" is missing; name the tags that are read, e.g. [\"Main\"]"));
}

TEST(GatewaySettingsTest, MistakesAreToldWithLineAndRemedy) {
    EXPECT_THAT(
        problemsOf(R"({
  "symbols": "plant.json",
  "plc": "10.0.0.5",
  "tags": [],
  "cycel": 100,
  "trend": {"bytes": 12},
  "page": {"listen": "plant:80", "viewers": 0, "key": "key.pem"},
  "socket": {"path": "/run/a.sock", "mode": "rw-rw----"}
})"),
        ElementsAre("gateway.json:4:11: tags: is empty, so that there is nothing to read; name tags, e.g. [\"Main\"]",
                    "gateway.json:5:3: unknown key \"cycel\"; did you mean \"cycle\"?",
                    "gateway.json:6:22: trend.bytes: is 12; write a whole number from 65536 to 1073741824",
                    "gateway.json:7:11: page: \"certificate\" is missing; TLS takes a certificate and its key",
                    "gateway.json:7:22: page.listen: \"plant:80\" is no IP:PORT; write e.g. \"127.0.0.1:8500\" or "
                    "\"[::1]:8500\"",
                    "gateway.json:7:45: page.viewers: is 0; write a whole number from 1 to 1000",
                    "gateway.json:8:45: socket.mode: \"rw-rw----\" are no permissions; write e.g. \"0660\""));
}

TEST(GatewaySettingsTest, ForeignAddressNeedsTokens) {
    EXPECT_THAT(
        problemsOf(R"({"symbols": "p", "plc": "h:1", "tags": ["M"], "page": {"listen": "0.0.0.0:80"}})"),
        ElementsAre(
            "gateway.json:1:66: page.listen: can be reached by other machines; name a file of tokens for those who "
            "may look (\"tokens\"), or listen on 127.0.0.1"));
    EXPECT_THAT(problemsOf(R"({"symbols": "p", "plc": "h:1", "tags": ["M"], "page": {"listen": "127.0.0.2:80"}})"),
                testing::IsEmpty());
    EXPECT_THAT(problemsOf(R"({"symbols": "p", "plc": "h:1", "tags": ["M"], "page": {"listen": "[::1]:80"}})"),
                testing::IsEmpty());
}

TEST(GatewaySettingsTest, NamesOfThePageAreHostsWithOrWithoutAPort) {
    EXPECT_THAT(problemsOf(R"({"symbols": "p", "plc": "h:1", "tags": ["M"],
"page": {"hosts": ["mixer.example", "mixer:8500", "[2001:db8::7]:8500", "2001:db8::7", "mixer:port", ""]}})"),
                ElementsAre("gateway.json:2:73: page.hosts[3]: \"2001:db8::7\" is no host; write e.g. "
                            "\"mixer.example\" or \"mixer.example:8500\"",
                            "gateway.json:2:88: page.hosts[4]: \"mixer:port\" is no host; write e.g. "
                            "\"mixer.example\" or \"mixer.example:8500\"",
                            "gateway.json:2:102: page.hosts[5]: \"\" is no host; write e.g. \"mixer.example\" or "
                            "\"mixer.example:8500\""));
}

TEST(GatewaySettingsTest, WritableTagsNeedSomebodyWhoMayWrite) {
    EXPECT_THAT(problemsOf(R"({"symbols": "p", "plc": "h:1", "tags": ["M"], "write": {"tags": ["M.a"]}})"),
                ElementsAre("gateway.json:1:65: write.tags: nobody could write these: name a file of tokens "
                            "(\"tokens\") for the page, a \"socket\" for programs, or tags that commands may "
                            "write (\"broker.commands\")"));
    EXPECT_THAT(problemsOf(R"({"symbols": "p", "plc": "h:1", "tags": ["M"], "write": {"tags": ["M.a"]},
                               "socket": {"path": "s"}})"),
                testing::IsEmpty());
}

TEST(GatewaySettingsTest, FilesThatAreNoSettingsAreRefused) {
    EXPECT_THAT(problemsOf("[]").front(), testing::StartsWith("gateway.json:1:1: is an array; write an object with"));
    EXPECT_THAT(problemsOf("{\"symbols\": }").front(), testing::StartsWith("gateway.json:1:13: "));
    const TemporaryFolder folder;
    EXPECT_EQ(loadGatewaySettings(folder.path() + "/none.json").problems.front().what,
              "cannot be read: No such file or directory; check the path and its permissions");
    EXPECT_EQ(loadGatewaySettings(folder.file("large.json", std::string(1048577, ' '))).problems.front().what,
              "is larger than 1 MiB; this is no settings file");
}

TEST(GatewaySettingsTest, BrokerIsReadWithTheRestAndTakesTheNameOfThePlc) {
    const LoadedGatewaySettings none =
        parseGatewaySettings(R"({"symbols": "plant.json", "plc": "10.0.0.5:1201", "tags": ["Main"]})", "/etc/ac500");
    EXPECT_FALSE(none.settings.broker);
    const std::string broker = R"("broker": {"servers": ["mqtts://b"], "topic": "t", "store": {"file": "outbox"}})";
    const LoadedGatewaySettings named = parseGatewaySettings(
        R"({"symbols": "p", "plc": "10.0.0.5:1201", "name": "Mixer", "tags": ["Main"], )" + broker + "}", "/etc/ac500");
    ASSERT_THAT(named.problems, testing::IsEmpty());
    ASSERT_TRUE(named.settings.broker);
    EXPECT_EQ(named.settings.broker->client, "ac500-Mixer");
    EXPECT_EQ(named.settings.broker->keep.file, "/etc/ac500/outbox");
    const LoadedGatewaySettings nameless = parseGatewaySettings(
        R"({"symbols": "p", "plc": "10.0.0.5:1201", "tags": ["Main"], )" + broker + "}", "/etc/ac500");
    EXPECT_EQ(nameless.settings.broker->client, "ac500-10.0.0.5:1201");
    EXPECT_EQ(named.settings.hash.size(), 16u);
    EXPECT_NE(named.settings.hash, nameless.settings.hash);
}

TEST(GatewaySettingsTest, CommandsNeedWritableTagsAndAreAWayToWrite) {
    const std::string start = R"({"symbols": "p", "plc": "a:1", "tags": ["Main"],
"broker": {"servers": ["mqtts://b"], "topic": "t", "commands": {"tags": ["Main.set"]}})";
    EXPECT_THAT(
        problemsOf(start + "}"),
        ElementsAre("gateway.json:2:11: broker: commands may write tags that \"write.tags\" names, and it names "
                    "none; name them there, too"));
    EXPECT_THAT(problemsOf(start + R"(, "write": {"tags": ["Main.set"]}})"), testing::IsEmpty());
}

TEST(GatewaySettingsTest, ReloadNamesWhatNeedsARestart) {
    const std::string broker = R"(, "broker": {"servers": ["mqtts://b"], "topic": "t", "batch": "tag"}})";
    const auto settings = [](const std::string& text) {
        LoadedGatewaySettings loaded = parseGatewaySettings(text, "/etc/ac500");
        EXPECT_THAT(loaded.problems, testing::IsEmpty());
        return loaded.settings;
    };
    const GatewaySettings running = settings(R"({"symbols": "p", "plc": "a:1", "tags": ["Main"])" + broker);
    EXPECT_TRUE(compare(running, running).isNothing());
    const GatewaySettings other = settings(
        R"({"symbols": "q", "plc": "a:2", "name": "n", "tags": ["Pump"], "cycle": 200, "timeout": 1, "driver": "d",
            "max-request-words": 5, "retry-limit": 9, "trend": {"tags": ["Main.a"], "bytes": 1048576},
            "page": {"listen": "127.0.0.1:1"}, "write": {"tags": ["Main.b"], "expires": 200}, "tokens": "t",
            "socket": {"path": "s"}, "audit": "a", "handshake": "h",
            "broker": {"servers": ["mqtts://b"], "topic": "t", "client": "ac500-a:1"}})");
    EXPECT_THAT(compare(running, other).taken, ElementsAre("broker.batch"));
    EXPECT_THAT(compare(running, other).restart,
                ElementsAre("name", "plc", "symbols", "driver", "cycle", "timeout", "max-request-words", "retry-limit",
                            "handshake", "tags", "trend.tags", "trend.bytes", "write.tags", "write.expires", "audit",
                            "tokens", "page", "socket"));
    EXPECT_THAT(compare(running, settings(R"({"symbols": "p", "plc": "a:1", "tags": ["Main"]})")).restart,
                ElementsAre("broker"));
}

}  // namespace
}  // namespace ac500::test
