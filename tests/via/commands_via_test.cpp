// ac500-host by way of a gateway, beside ac500-host with a session of its own.
#include <pwd.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "tests/via/door_plant.h"

namespace ac500 {
namespace {

using test::HostOutcome;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using via::Json;

constexpr char kOtherProgram[] = R"~({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 8}],
  "scopes": [{"name": "Main", "variables": [{"name": "int", "type": "INT", "area": 1, "offset": 6}]}]})~";

class CommandsViaTest : public test::DoorTest {
protected:
    // As a user for whom permissions hold, which they do not for root.
    HostOutcome outcomeAsNobody(std::vector<std::string> arguments) const {
        if (::getuid() != 0) {
            return run(arguments);
        }
        std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
        arguments.insert(arguments.begin(), {"--reuid=65534", "--regid=65534", "--clear-groups", test::kHostProgram});
        test::ChildProcess process;
        EXPECT_TRUE(process.start("setpriv", arguments) && process.waitForEnd(60000));
        return {process.exitCode(), process.takeOutput(), process.takeErrors()};
    }

    // A document without what two sessions cannot share.
    static Json withoutAges(const std::string& out) {
        Json document = Json::parse(out, nullptr, false);
        for (Json& value : document["values"]) {
            EXPECT_GE(value.value("age_ms", -1), 0) << out;
            value.erase("age_ms");
        }
        return document;
    }
};

TEST_F(CommandsViaTest, ReadsTheSameAsASessionOfItsOwn) {
    openDoor();
    put("Main.int", -7);
    put("Main.real", 0.1);
    put("Main.level", 350);
    const std::vector<std::string> all{"read", "--json", "Main", "Pump", "Main.word.b[3]", "Main.recipe[2..3]"};
    ASSERT_TRUE(eventuallyShown("Main.level", "fresh 2.50 m"));
    const HostOutcome alone = hostAlone(all);
    const HostOutcome via = hostVia(all);
    EXPECT_EQ(alone.exitCode, 0) << alone.error;
    EXPECT_EQ(via.exitCode, 0) << via.error;
    EXPECT_EQ(test::outputComplaints("read", via.out), "");
    EXPECT_EQ(withoutAges(via.out), withoutAges(alone.out));
    EXPECT_EQ(hostVia({"read", "Main.int", "Main.level"}).out, "Main.int    -7\nMain.level  2.50 m\n");
    EXPECT_EQ(hostVia({"read", "--csv", "Main.int"}).out.substr(0, 9),
              hostAlone({"read", "--csv", "Main.int"}).out.substr(0, 9));
}

TEST_F(CommandsViaTest, ATagThatTheGatewayDoesNotReadIsReadForTheCaller) {
    settings.tags = {"Main.int"};
    openDoor();
    put("Pump.speed", 12);
    EXPECT_EQ(hostVia({"read", "Pump.speed"}).out, "Pump.speed  12\n");
}

TEST_F(CommandsViaTest, TheAgeCountsFromTheReceptionByTheGateway) {
    settings.session.loop.cycle = host::Milliseconds(20000);
    openDoor();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const Json document = Json::parse(hostVia({"read", "--json", "Main.int"}).out, nullptr, false);
    const int age = document["values"][0]["age_ms"].get<int>();
    EXPECT_GE(age, 200);
    const auto received = plant->received({number("Main.int")})[0];
    ASSERT_TRUE(received);
    EXPECT_LE(host::Milliseconds(age), plant->now() - *received);
}

TEST_F(CommandsViaTest, AWrongNameIsToldAsEver) {
    openDoor();
    const HostOutcome via = hostVia({"read", "Main.reel"});
    const HostOutcome alone = hostAlone({"read", "Main.reel"});
    EXPECT_EQ(via.exitCode, 3);
    EXPECT_EQ(via.error, alone.error);
    EXPECT_EQ(hostVia({"tags", "Main.i*"}).out, hostAlone({"tags", "Main.i*"}).out);
}

TEST_F(CommandsViaTest, AWriteIsReadBackAndTellsWhatItReplaced) {
    openDoor();
    const HostOutcome written = hostVia({"write", "--json", "Main.int=22", "Main.word.b[3]=1", "--if", "Main.int=0"});
    EXPECT_EQ(written.exitCode, 0) << written.error;
    EXPECT_EQ(test::outputComplaints("write", written.out), "");
    const Json document = Json::parse(written.out, nullptr, false);
    EXPECT_EQ(document["writes"][0],
              Json::parse(R"({"tag":"Main.int","written":22,"ok":true,"outcome":"done","old":0,"read_back":22})"));
    EXPECT_EQ(hostAlone({"read", "Main.int", "Main.word"}).out, "Main.int   22\nMain.word  0x0008\n");
}

TEST_F(CommandsViaTest, AWriteOfAnotherOldValueIsRefusedWithTheSameWords) {
    openDoor();
    const std::vector<std::string> write{"write", "Main.int=22", "--if", "Main.int=5"};
    const HostOutcome via = hostVia(write);
    EXPECT_EQ(via.exitCode, 6);
    EXPECT_EQ(via.error, "request: Main.int: not sent: it was 5 when you looked, it is 0 now\n");
    EXPECT_EQ(via.error, hostAlone(write).error);
    const HostOutcome dry = hostVia({"write", "--dry-run", "Main.int=22"});
    EXPECT_EQ(dry.out, hostAlone({"write", "--dry-run", "Main.int=22"}).out);
    EXPECT_EQ(hostAlone({"read", "Main.int"}).out, "Main.int  0\n");
}

TEST_F(CommandsViaTest, AWriteIsInTheGatewaysAuditAndCanBeTakenBack) {
    settings.audit = folder.path() + "/writes.jsonl";
    openDoor();
    const passwd* user = ::getpwuid(::getuid());
    ASSERT_NE(user, nullptr);
    EXPECT_EQ(hostVia({"write", "Main.int=22"}).exitCode, 0);
    const Json line = Json::parse(run({"audit", "show", "--json", settings.audit}).out, nullptr, false)["writes"][0];
    EXPECT_EQ(line["user"], user->pw_name);
    EXPECT_EQ(line["outcome"], "done");
    const HostOutcome elsewhere = hostVia({"undo", folder.file("other.jsonl", "")});
    EXPECT_EQ(elsewhere.exitCode, 0) << "there is nothing in it";
    std::filesystem::copy_file(settings.audit, folder.path() + "/copy.jsonl");
    const HostOutcome copy = hostVia({"undo", folder.path() + "/copy.jsonl"});
    EXPECT_EQ(copy.exitCode, 1);
    EXPECT_THAT(copy.error, HasSubstr("is not the audit of the gateway"));
    const HostOutcome undone = hostVia({"undo", settings.audit});
    EXPECT_EQ(undone.exitCode, 0) << undone.error;
    EXPECT_EQ(undone.out, "Main.int  22 -> 0  done\n");
    EXPECT_THAT(hostVia({"undo", settings.audit}).error, HasSubstr("tells of no write that could be taken back"));
    EXPECT_EQ(hostAlone({"read", "Main.int"}).out, "Main.int  0\n");
}

TEST_F(CommandsViaTest, WhoMayNotOpenTheSocketIsToldWhy) {
    doorSettings.mode = 0;
    openDoor();
    const HostOutcome outcome = outcomeAsNobody({"--via", path(), "read", "Main.int"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, HasSubstr("no gateway is reached at " + path() +
                                         ": Permission denied; the gateway's settings say "
                                         "who may use its socket"));
}

TEST_F(CommandsViaTest, WhatTheGatewayDoesNotAllowIsNotSent) {
    openDoor();
    const HostOutcome outcome = hostVia({"write", "Pump.speed=1"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error,
                StartsWith("usage: Pump.speed: not sent: Pump.speed is not written through this gateway"));
    EXPECT_EQ(hostAlone({"read", "Pump.speed"}).out, "Pump.speed  0\n");
}

TEST_F(CommandsViaTest, AWriteThatExpiresIsNotSent) {
    openDoor();
    simulator.stop();
    ASSERT_TRUE(test::eventually([&] { return !plant->status().isOnline; }));
    const HostOutcome outcome = hostVia({"write", "Main.int=22", "--expires", "0.3"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, StartsWith("tcp: Main.int: not sent: its time was over: "));
}

TEST_F(CommandsViaTest, WatchesTheSameLines) {
    openDoor();
    put("Main.int", 3);
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 3"));
    const HostOutcome via = hostVia({"watch", "--json", "--seconds", "2", "--interval", "100", "Main.int"});
    EXPECT_EQ(via.exitCode, 0) << via.error;
    std::istringstream lines(via.out);
    int fresh = 0;
    for (std::string line; std::getline(lines, line);) {
        EXPECT_EQ(test::outputComplaints("watch", line), "");
        const Json value = Json::parse(line, nullptr, false)["values"][0];
        fresh += value["state"] == "fresh" ? 1 : 0;
        if (value["state"] == "fresh") {
            EXPECT_LT(value["age_ms"].get<int>(), test::paced(1000)) << "it grows older although it is received";
        }
    }
    EXPECT_GE(fresh, 3);
}

TEST_F(CommandsViaTest, StatusTellsOfTheGatewaysSession) {
    openDoor();
    const HostOutcome outcome = hostVia({"status", "--seconds", "0.3", "Main.int"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.out,
                StartsWith("file       ok  " + settings.symbols + ": 10 tags\nfile       ok  gateway " + path() +
                           ", version 1.2.3\ntcp        ok  connected to " + settings.session.loop.plc.text() +
                           "\nhandshake  ok  session opened\nrequest    ok  Main.int = 0\n"));
    const HostOutcome json = hostVia({"status", "--json", "--seconds", "0.3", "Main.int"});
    EXPECT_EQ(test::outputComplaints("status", json.out), "");
    EXPECT_GT(Json::parse(json.out, nullptr, false)["latency"]["pass"]["count"], 0) << json.out;
}

TEST_F(CommandsViaTest, APlcThatIsGoneEndsAsWithASessionOfItsOwn) {
    openDoor();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    simulator.stop();
    ASSERT_TRUE(test::eventually([&] { return !plant->status().isOnline; }));
    const HostOutcome via = hostVia({"--wait", "300", "read", "Main.int"});
    EXPECT_EQ(via.exitCode, 4);
    EXPECT_THAT(via.error, StartsWith("tcp: Main.int: not received within 300 ms: "));
    EXPECT_THAT(via.error, HasSubstr(settings.session.loop.plc.text()));
    const HostOutcome write = hostVia({"--wait", "300", "write", "Main.int=1"});
    EXPECT_THAT(write.error, HasSubstr("Main.int: not sent: "));
    EXPECT_EQ(hostVia({"--wait", "300", "status"}).exitCode, 4);
}

TEST_F(CommandsViaTest, AGatewayThatIsNotThereIsToldWithWhatToDo) {
    const HostOutcome outcome = hostVia({"read", "--json", "Main.int"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_EQ(outcome.error,
              "tcp: no gateway is reached at " + path() +
                  ": No such file or directory; is ac500-gateway running, and does its \"socket\" setting "
                  "name this path?\n");
    const HostOutcome tooLong = run({"--via", "/" + std::string(200, 'x'), "read", "Main.int"});
    EXPECT_EQ(tooLong.exitCode, 4);
    EXPECT_THAT(tooLong.error,
                HasSubstr("the path of a socket has at most 107 bytes, this one 201; use a shorter one"));
    const std::string file = folder.file("plain", "");
    EXPECT_THAT(run({"--via", file, "read", "Main.int"}).error, HasSubstr("no gateway is reached at " + file));
}

TEST_F(CommandsViaTest, OtherSymbolsThanTheGatewaysAreRefused) {
    openDoor();
    const std::string other = folder.file("other.json", kOtherProgram);
    const HostOutcome outcome = hostVia({"--symbols", other, "read", "Main.int"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.error,
                HasSubstr("has other symbols than the symbol file given here: its own are " + settings.symbols));
}

TEST_F(CommandsViaTest, WhatIsTheGatewaysBusinessIsNoOptionBesideIt) {
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"--plc", "127.0.0.1:1", "read", "Main.int"},
                                               {"--cycle", "50", "read", "Main.int"},
                                               {"--record", "x", "read", "Main.int"},
                                               {"write", "--audit", "x", "Main.int=1"},
                                               {"plan", "Main.int"}}) {
        const HostOutcome outcome = hostVia(words);
        EXPECT_EQ(outcome.exitCode, 1) << words[0];
        EXPECT_THAT(outcome.error, HasSubstr("--via")) << words[0];
    }
}

}  // namespace
}  // namespace ac500
