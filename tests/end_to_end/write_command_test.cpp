// The commands that write, and what is left when host, simulator or disk end at any step of a write.
#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/end_to_end/programs.h"
#include "tests/support/pace.h"

namespace ac500 {
namespace {

using nlohmann::json;
using test::Outcome;
using test::Texts;
using test::operator+;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class WriteCommandTest : public test::CommandLineTest {
protected:
    WriteCommandTest() {
        char name[] = "/tmp/ac500-writes-XXXXXX";
        folder_ = ::mkdtemp(name);
    }
    ~WriteCommandTest() override { std::filesystem::remove_all(folder_); }

    std::string auditFile() const { return folder_ + "/writes.jsonl"; }
    Texts audited(const Texts& more) const { return Texts{"write", "--audit", auditFile()} + more; }

    std::vector<std::string> lines(const std::string& name) const {
        std::vector<std::string> found;
        std::ifstream in(name);
        for (std::string line; std::getline(in, line);) {
            found.push_back(line);
        }
        return found;
    }
    // "Main.setpoint 100 -> 22.5 done", for each write that the audit tells of.
    std::vector<std::string> audit(const Texts& options = {}) const {
        const Outcome shown = runHost(Texts{"audit", "show", "--json", auditFile()} + options);
        EXPECT_EQ(shown.exitCode, 0) << shown.error;
        std::vector<std::string> found;
        const json document = json::parse(shown.out, nullptr, false);
        for (const json& write : document["writes"]) {
            found.push_back(write["tag"].get<std::string>() + " " + write["old"].get<std::string>() + " -> " +
                            write["new"].get<std::string>() + " " + write["outcome"].get<std::string>() +
                            (write["undone"].get<bool>() ? ", taken back" : ""));
        }
        return found;
    }

    // It tells of every request.
    void startTellingSimulator(const std::string& port) {
        ASSERT_TRUE(
            simulator_.start(test::kSimulatorProgram, {"--symbols", test::kPlantFile, "--port", port, "--verbose"}));
        const std::string line = simulator_.takeLine(test::kProgramPatienceMs);
        plc_ = line.substr(line.rfind(' ') + 1);
    }
    // A write whose reply, or that of the reading before it, comes late; returns when the simulator has the request.
    void startWriteThatHangs(const Texts& arguments) {
        ASSERT_TRUE(writing_.start(test::kHostProgram, usual() + arguments));
    }
    template <typename Condition>
    static bool eventually(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }
    Outcome endOfWriting() {
        EXPECT_TRUE(writing_.waitForEnd(test::kProgramPatienceMs));
        return {writing_.exitCode(), writing_.takeOutput(), writing_.takeErrors()};
    }
    // Read over a connection of its own.
    void waitUntilThePlcHas(const std::string& setpoint) const {
        EXPECT_TRUE(eventually([&] {
            return host({"read", "Main.setpoint"}).out == "Main.setpoint  " + setpoint + "\n";
        }));
    }
    // The requests that write, as the simulator tells of them.
    static int writesIn(const std::string& transcript) {
        static const std::string kWrite = ": write of ";
        int count = 0;
        for (std::size_t at = transcript.find(kWrite); at != std::string::npos; at = transcript.find(kWrite, at + 1)) {
            ++count;
        }
        return count;
    }

    std::string folder_;
    test::ChildProcess writing_;
};

// ---------------------------------------------------------------------------------------------------------------------
// Conditions, time, a look before
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(WriteCommandTest, AConditionIsReadImmediatelyBeforeAndSaysWhatItIsNow) {
    startSimulator();
    const Outcome refused = host({"write", "Main.setpoint=22", "--if", "Main.setpoint=21.5"});
    EXPECT_EQ(refused.exitCode, 6);
    EXPECT_EQ(refused.error, "request: Main.setpoint: not sent: it was 21.5 when you looked, it is 100 now\n");
    const Outcome written = host({"write", "--json", "Main.setpoint=22", "--if", "Main.setpoint=100"});
    EXPECT_EQ(json::parse(written.out)["writes"][0],
              json::parse(
                  R"({"tag":"Main.setpoint","written":22.0,"ok":true,"outcome":"done","old":100.0,"read_back":22.0})"));
    const Outcome other = host({"write", "Main.setpoint=23", "Main.flags.b[3]=1", "--if", "Main.flags.b[0]=0"});
    EXPECT_EQ(other.error,
              "request: Main.setpoint: not sent: Main.flags.b[0]: it was 0 when you looked, it is 1 now\n"
              "request: Main.flags.b[3]: not sent: Main.flags.b[0]: it was 0 when you looked, it is 1 now\n");
}

TEST_F(WriteCommandTest, AllThatIsWrongIsToldAtOnce) {
    const Outcome values = host({"write", "Main.setpoint=warm", "Main.counter=65536", "Main.enable=1"});
    EXPECT_EQ(values.exitCode, 1);
    EXPECT_THAT(values.error, StartsWith("usage: Main.setpoint: "));
    EXPECT_THAT(values.error, HasSubstr("\nusage: Main.counter: 65536 is out of range"));
    EXPECT_EQ(host({"write", "Main.setpoint", "Main.counter"}).error,
              "usage: Main.setpoint: there is no value; write TAG=VALUE\n"
              "usage: Main.counter: there is no value; write TAG=VALUE\n");
    const Outcome conditions =
        host({"write", "Main.enable=1", "--if", "Main.counter", "--if", "Main.setpont=1", "--if", "Main.counter=x"});
    EXPECT_EQ(conditions.exitCode, 1);
    EXPECT_THAT(conditions.error, StartsWith("usage: --if Main.counter: there is no value; write --if TAG=VALUE\n"
                                             "usage: --if Main.setpont=1: "));
    EXPECT_THAT(conditions.error, HasSubstr("\nusage: --if Main.counter=x: "));
    EXPECT_EQ(host({"write", "Main.enable=1", "--expires", "0"}).exitCode, 1);
}

TEST_F(WriteCommandTest, AnAuditWithoutANameIsNoWriteWithoutAnAudit) {
    startSimulator();
    for (const Texts& audit : {Texts{"--audit", ""}, Texts{"--audit="}}) {
        const Outcome outcome = host(Texts{"write"} + audit + Texts{"Main.setpoint=9", "Main.enable=1"});
        EXPECT_EQ(outcome.error, "usage: --audit is given without a value; ac500-host --help shows how it is used\n");
        EXPECT_EQ(outcome.exitCode, 1);
    }
    EXPECT_EQ(host({"read", "Main.setpoint"}).out, "Main.setpoint  100\n");
}

TEST_F(WriteCommandTest, AConditionOfATagThatDoesNotExistIsAWrongName) {
    const Outcome outcome = host({"write", "Main.setpoint=1", "--if", "Main.setpont=100"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.error, StartsWith("name: --if Main.setpont=100: "));
    EXPECT_EQ(host({"write", "Main.setpoint=1", "--if", "Main.setpoint=x"}).exitCode, 1);
}

TEST_F(WriteCommandTest, ARefusalSaysThatItWasRefused) {
    startSimulator({"--fault", "status:value=3,service=write"});
    const Outcome outcome = host({"write", "Main.setpoint=1"});
    EXPECT_EQ(outcome.exitCode, 6);
    EXPECT_THAT(outcome.error, StartsWith("request: Main.setpoint: refused: "));
}

TEST_F(WriteCommandTest, WhatIsNoTimeIsNoBoundOfAnAudit) {
    std::ofstream(auditFile()).close();
    for (const char* text : {"yesterday", "2026-13-45", "2026-02-29", "2020", "2026-11", "2026-11-22T", "2026-11-22T24",
                             "2026-11-22T07:60", "2026-11-22 07:00", "2026-11-22T07Z", "20261122"}) {
        for (const char* option : {"--since", "--until"}) {
            const Outcome outcome = runHost({"audit", "show", option, text, auditFile()});
            EXPECT_EQ(outcome.exitCode, 1) << option << ' ' << text;
            EXPECT_EQ(outcome.error, std::string("usage: ") + option + " " + text +
                                         ": no time; write the day, in UTC, and as much of the time as is needed: "
                                         "2026-11-22, 2026-11-22T07 or 2026-11-22T07:45\n");
        }
    }
    for (const char* text : {"2026-11-22", "2024-02-29", "2026-11-22T07", "2026-11-22T07:45", "2026-11-22T23:59:59",
                             "2026-11-22T07:45:10.5", "2026-11-22T07:45:10.123Z"}) {
        EXPECT_EQ(runHost({"audit", "show", "--since", text, "--until", text, auditFile()}).exitCode, 0) << text;
    }
}

TEST_F(WriteCommandTest, WhatIsNoAuditIsNotShown) {
    std::ofstream(auditFile()) << "tag,value\nMain.setpoint,1\n";
    const Outcome outcome = runHost({"audit", "show", auditFile()});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.error, "file: " + auditFile() + " is no audit: none of its lines tells of a write\n");
}

TEST_F(WriteCommandTest, HelpTellsHowLatenciesAreReset) {
    for (const char* command : {"watch", "status"}) {
        EXPECT_THAT(runHost({command, "--help"}).out, HasSubstr("SIGUSR2")) << command;
    }
}

TEST_F(WriteCommandTest, ADryRunShowsOldNewPlaceAndBytesAndWritesNothing) {
    startTellingSimulator("0");
    const Outcome shown = host(audited({"--dry-run", "Main.setpoint=22.5", "Main.flags.b[3]=1"}));
    EXPECT_EQ(shown.exitCode, 0) << shown.error;
    EXPECT_FALSE(std::filesystem::exists(auditFile()));
    EXPECT_EQ(shown.out,
              "tag              old  new   where            bytes\n"
              "Main.setpoint    100  22.5  area 1 byte 4    41 B4 00 00\n"
              "Main.flags.b[3]  0    1     area 1 byte 112  00 09\n");
    const Outcome objected = host({"write", "--dry-run", "--json", "Main.setpoint=22.5", "--if", "Main.setpoint=1"});
    EXPECT_EQ(objected.exitCode, 6);
    const json first = json::parse(objected.out)["dry_run"][0];
    EXPECT_EQ(first["would_write"], false);
    EXPECT_EQ(first["requests"], json::parse(R"([{"area":1,"address":4,"bytes":"41 B4 00 00"}])"));
    EXPECT_EQ(objected.error, "request: Main.setpoint would not be sent: it was 1 when you looked, it is 100 now\n");
    simulator_.sendSignal(SIGTERM);
    ASSERT_TRUE(simulator_.waitForEnd(test::kProgramPatienceMs));
    EXPECT_EQ(writesIn(simulator_.takeErrors() + simulator_.takeOutput()), 0);
}

TEST_F(WriteCommandTest, APanelLeftAloneSendsNothingLater) {
    startSimulator();
    const std::string port = plc_.substr(plc_.rfind(':') + 1);
    simulator_.sendSignal(SIGKILL);
    ASSERT_TRUE(simulator_.waitForEnd(test::kProgramPatienceMs));
    startWriteThatHangs({"--wait", "600", "--verbose", "write", "Main.setpoint=22", "Main.enable=1"});
    const Outcome outcome = endOfWriting();
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, ContainsRegex("tcp: Main.setpoint: not sent: no connection to "));
    EXPECT_THAT(outcome.error, ContainsRegex("tcp: Main.enable: not sent: no connection to "));
    // The PLC comes back, and somebody only reads.
    startTellingSimulator(port);
    EXPECT_EQ(host({"read", "Main.setpoint"}).out, "Main.setpoint  100\n");
    simulator_.sendSignal(SIGTERM);
    ASSERT_TRUE(simulator_.waitForEnd(test::kProgramPatienceMs));
    const std::string transcript = simulator_.takeErrors() + simulator_.takeOutput();
    EXPECT_THAT(transcript, HasSubstr(": read of 1 item")) << "it tells of every request";
    EXPECT_EQ(writesIn(transcript), 0) << transcript;
}

// More than a session and a path remember by themselves.
TEST_F(WriteCommandTest, AListOfMoreThanAThousandWritesTellsTheOutcomeOfEach) {
    const std::string symbols = folder_ + "/many.json";
    std::ofstream(symbols) << R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 4096}],
        "scopes": [{"name": "Main", "variables": [{"name": "many", "type": "INT", "area": 1, "offset": 0,
        "array": [[1, 1500]]}]}]})";
    std::ofstream list(folder_ + "/list");
    for (int i = 1; i <= 1500; ++i) {
        list << "Main.many[" << i << "]=" << i << '\n';
    }
    list.close();
    startSimulator({}, symbols);
    const Outcome outcome = runHost({"--driver", test::kDriver, "--symbols", symbols, "--plc", plc_, "--wait", "60000",
                                     "write", "--json", "@" + folder_ + "/list"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error.substr(0, 1000);
    const json document = json::parse(outcome.out, nullptr, false);
    ASSERT_EQ(document["writes"].size(), 1500u);
    for (int i = 1; i <= 1500; ++i) {
        const json& write = document["writes"][i - 1];
        EXPECT_EQ(write["outcome"], "done");
        EXPECT_EQ(write["read_back"], i);
    }
}

// It takes longer than the time that is waited for one of them.
TEST_F(WriteCommandTest, AnAuditedListGoesOutWholeWhileTheLinkIsUp) {
    startSimulator({"--fault", "delay:ms=100,rate=1"});
    const Outcome outcome =
        host(Texts{"--wait", "2000"} +
             audited({"Main.recipe[1]=1", "Main.recipe[2]=2", "Main.recipe[3]=3", "Main.recipe[4]=4",
                      "Main.recipe[5]=5", "Main.recipe[6]=6", "Main.recipe[7]=7", "Main.recipe[8]=8",
                      "Main.recipe[9]=9", "Main.recipe[10]=10"}));
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(audit().size(), 10u);
}

TEST_F(WriteCommandTest, WhatCtrlCKeepsFromBeingSentSaysSo) {
    startSimulator({"--fault", "silence:service=write"});
    startWriteThatHangs(Texts{"--timeout", "60000", "--wait", "60000"} +
                        audited({"Main.setpoint=22.5", "Main.counter=7"}));
    EXPECT_TRUE(eventually([&] { return lines(auditFile()).size() == 1; }));
    writing_.sendSignal(SIGINT);
    const Outcome outcome = endOfWriting();
    EXPECT_EQ(outcome.exitCode, 130);
    EXPECT_THAT(outcome.error, HasSubstr(": Main.setpoint: "));
    EXPECT_THAT(outcome.error, EndsWith("request: Main.counter: not sent: the command was interrupted\n"));
    EXPECT_EQ(lines(auditFile()).size(), 2u);
}

TEST_F(WriteCommandTest, WhatExpiresIsNotSent) {
    startSimulator({"--fault", "delay:ms=700,service=read"});
    const Outcome outcome = host({"--timeout", "20000", "--wait", "20000", "write", "--audit", auditFile(), "--expires",
                                  "0.4", "Main.setpoint=22"});
    EXPECT_EQ(outcome.exitCode, 6);
    EXPECT_EQ(outcome.error, "request: Main.setpoint: not sent: its time was over\n");
    EXPECT_THAT(audit(), testing::IsEmpty());
}

// ---------------------------------------------------------------------------------------------------------------------
// The audit
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(WriteCommandTest, AnAuditedWriteLeavesTwoLinesAndCanBeTakenBack) {
    startSimulator();
    EXPECT_EQ(host(audited({"Main.setpoint=22.5", "Main.flags.b[3]=1"})).exitCode, 0);
    EXPECT_EQ(host(audited({"Main.setpoint=30"})).exitCode, 0);
    ASSERT_EQ(lines(auditFile()).size(), 6u);
    for (const std::string& line : lines(auditFile())) {
        EXPECT_EQ(test::outputComplaints("audit-line", line), "");
    }
    EXPECT_THAT(audit(), testing::ElementsAre("Main.setpoint 100 -> 22.5 done", "Main.flags.b[3] 0 -> 1 done",
                                              "Main.setpoint 22.5 -> 30 done"));
    const Outcome planned = host({"undo", "--dry-run", auditFile(), "2"});
    EXPECT_EQ(planned.out,
              "Main.setpoint    30 -> 22.5  would be written\n"
              "Main.flags.b[3]  1 -> 0      would be written\n");
    const Outcome plannedJson = host({"undo", "--dry-run", "--json", auditFile()});
    EXPECT_EQ(json::parse(plannedJson.out)["undo"][0]["outcome"], "would be written");
    EXPECT_EQ(test::outputComplaints("undo", plannedJson.out), "");
    EXPECT_EQ(lines(auditFile()).size(), 6u);
    EXPECT_EQ(host({"undo", auditFile()}).out, "Main.setpoint  30 -> 22.5  done\n");
    EXPECT_EQ(host({"undo", "--json", auditFile(), "2"}).exitCode, 0);
    EXPECT_EQ(host({"read", "Main.setpoint", "Main.flags.b[3]"}).out, "Main.setpoint    100\nMain.flags.b[3]  0\n");
    EXPECT_THAT(
        audit({"--tag", "*.SETPOINT"}),
        testing::ElementsAre("Main.setpoint 100 -> 22.5 done, taken back", "Main.setpoint 22.5 -> 30 done, taken back",
                             "Main.setpoint 30 -> 22.5 done", "Main.setpoint 22.5 -> 100 done"));
    EXPECT_THAT(audit({"--until", "2025-12-31"}), testing::IsEmpty());
    EXPECT_THAT(audit({"--since", "2999-01-01"}), testing::IsEmpty());
    EXPECT_THAT(host({"undo", auditFile()}).error, HasSubstr("tells of no write that could be taken back"));
}

TEST_F(WriteCommandTest, WhatThePlcDoesNotHoldAnyMoreIsNotTakenBack) {
    startSimulator();
    EXPECT_EQ(host(audited({"Main.setpoint=22.5", "Main.enable=0"})).exitCode, 0);
    EXPECT_EQ(host({"write", "Main.setpoint=55"}).exitCode, 0);
    const Outcome outcome = host({"undo", auditFile(), "9"});
    EXPECT_EQ(outcome.exitCode, 6);
    EXPECT_EQ(outcome.error,
              "request: not sent: Main.setpoint does not hold what was written any more: it was 22.5 when you looked, "
              "it is 55 now\n");
    EXPECT_EQ(host({"read", "Main.setpoint"}).out, "Main.setpoint  55\n");
    const Outcome elsewhere = runHost(
        {"--driver", test::kDriver, "--symbols", test::kPlantFile, "--plc", "127.0.0.1:1", "undo", auditFile()});
    EXPECT_EQ(elsewhere.exitCode, 1);
    EXPECT_THAT(elsewhere.error, ContainsRegex("usage: Main.setpoint was written to 127.0.0.1:[0-9]+, not to "
                                               "127.0.0.1:1; name that PLC with --plc, and its symbols"));
}

TEST_F(WriteCommandTest, WithoutItsLineNothingIsWritten) {
    startSimulator();
    const Outcome full = host({"write", "--audit", "/dev/full", "Main.setpoint=22"});
    EXPECT_EQ(full.exitCode, 7);
    EXPECT_EQ(full.error,
              "output: Main.setpoint: not sent: the audit cannot be kept, and without it nothing is written: /dev/full "
              "cannot be written: No space left on device\n");
    const Outcome missing = host({"write", "--audit", folder_ + "/no/such.jsonl", "Main.setpoint=22"});
    EXPECT_EQ(missing.exitCode, 7);
    EXPECT_THAT(missing.error, StartsWith("output: the audit cannot be kept, and without it nothing is written: "));
    EXPECT_EQ(host({"read", "Main.setpoint"}).out, "Main.setpoint  100\n");
}

// The disk is full at the first byte of the outcome: a file may not grow further.
TEST_F(WriteCommandTest, AnOutcomeThatCannotBeNotedIsToldAndShownAsUnknown) {
    startSimulator();
    EXPECT_EQ(host(audited({"Main.setpoint=22.5"})).exitCode, 0);
    const auto size = std::filesystem::file_size(auditFile());
    const std::size_t first = lines(auditFile())[0].size() + 1;
    const std::string limit = std::to_string(size + first + 20);
    const Outcome outcome =
        run("sh", Texts{"-c", "trap '' XFSZ; exec prlimit --fsize=" + limit + " \"$0\" \"$@\"", test::kHostProgram} +
                      usual() + audited({"Main.setpoint=23.5"}));
    EXPECT_EQ(outcome.exitCode, 7);
    EXPECT_THAT(outcome.error,
                StartsWith("output: Main.setpoint: done, but that is not in the audit, which will say unknown: "));
    EXPECT_THAT(outcome.error, HasSubstr("cannot be written: File too large"));
    EXPECT_THAT(audit(), testing::ElementsAre("Main.setpoint 100 -> 22.5 done", "Main.setpoint 22.5 -> 23.5 unknown"));
}

TEST_F(WriteCommandTest, ATornLineIsToldAndTheRestIsShown) {
    startSimulator();
    EXPECT_EQ(host(audited({"Main.setpoint=22.5"})).exitCode, 0);
    std::ofstream(auditFile(), std::ios::app) << R"({"version":1,"event":"wri)";
    EXPECT_EQ(host(audited({"Main.setpoint=23.5"})).exitCode, 0);
    const Outcome shown = runHost({"audit", "show", auditFile()});
    EXPECT_EQ(shown.exitCode, 0);
    EXPECT_EQ(shown.error, "note: " + auditFile() + ":3: it is no JSON object; the line is kept, and left out here\n");
    EXPECT_THAT(audit(), testing::ElementsAre("Main.setpoint 100 -> 22.5 done", "Main.setpoint 22.5 -> 23.5 done"));
    const Outcome missing = runHost({"audit", "show", folder_ + "/missing"});
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_EQ(missing.error, "file: " + folder_ + "/missing cannot be read: No such file or directory\n");
    EXPECT_EQ(runHost({"audit", "show", auditFile(), "--tag", std::string(300, 'a')}).exitCode, 1);
}

// ---------------------------------------------------------------------------------------------------------------------
// The host, or the simulator, is killed at each step
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(WriteCommandTest, KilledWhileItReadsBeforeItHasWrittenNothing) {
    startSimulator({"--fault", "delay:ms=60000,service=read"});
    startWriteThatHangs(Texts{"--timeout", "60000"} + audited({"Main.setpoint=22.5"}));
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(auditFile()); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(test::paced(150)));
    writing_.sendSignal(SIGKILL);
    endOfWriting();
    EXPECT_THAT(audit(), testing::IsEmpty());
}

TEST_F(WriteCommandTest, KilledAfterItsLineTheWriteIsUnknownAndCanBeTakenBackWhereItArrived) {
    startSimulator({"--fault", "silence:service=write,at=1"});
    startWriteThatHangs(Texts{"--timeout", "60000", "--wait", "60000"} + audited({"Main.setpoint=22.5"}));
    EXPECT_TRUE(eventually([&] { return lines(auditFile()).size() == 1; }));
    waitUntilThePlcHas("22.5");
    writing_.sendSignal(SIGKILL);
    endOfWriting();
    EXPECT_THAT(audit(), testing::ElementsAre("Main.setpoint 100 -> 22.5 unknown"));
    const Outcome shown = runHost({"audit", "show", auditFile()});
    EXPECT_THAT(shown.out, HasSubstr("unknown  the program or the machine ended before the outcome was noted"));
    EXPECT_EQ(host({"undo", auditFile()}).out, "Main.setpoint  22.5 -> 100  done\n");
    EXPECT_THAT(audit(), testing::ElementsAre("Main.setpoint 100 -> 22.5 unknown, taken back",
                                              "Main.setpoint 22.5 -> 100 done"));
}

TEST_F(WriteCommandTest, ThePlcKilledBeforeTheWriteIsSentLeavesItNotSent) {
    startSimulator({"--fault", "delay:ms=60000,service=read"});
    startWriteThatHangs(Texts{"--timeout", "60000", "--wait", "500"} + audited({"Main.setpoint=22.5"}));
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(auditFile()); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(test::paced(150)));
    simulator_.sendSignal(SIGKILL);
    ASSERT_TRUE(simulator_.waitForEnd(test::kProgramPatienceMs));
    const Outcome outcome = endOfWriting();
    EXPECT_THAT(outcome.exitCode, testing::AnyOf(4, 6)) << "whichever step before it was: " << outcome.error;
    EXPECT_THAT(outcome.error, HasSubstr("Main.setpoint: not sent: "));
    EXPECT_THAT(audit(), testing::IsEmpty());
}

TEST_F(WriteCommandTest, ThePlcKilledBeforeItAnswersTheWriteLeavesItUnknown) {
    startSimulator({"--fault", "silence:service=write"});
    startWriteThatHangs(Texts{"--timeout", "60000", "--wait", "60000"} + audited({"Main.setpoint=22.5"}));
    EXPECT_TRUE(eventually([&] { return lines(auditFile()).size() == 1; }));
    waitUntilThePlcHas("22.5");
    simulator_.sendSignal(SIGKILL);
    ASSERT_TRUE(simulator_.waitForEnd(test::kProgramPatienceMs));
    const Outcome outcome = endOfWriting();
    EXPECT_NE(outcome.exitCode, 0);
    EXPECT_THAT(outcome.error, HasSubstr(": Main.setpoint: unknown: "));
    EXPECT_THAT(outcome.error, HasSubstr("the PLC may or may not have it"));
    EXPECT_THAT(audit(), testing::ElementsAre("Main.setpoint 100 -> 22.5 unknown"));
    EXPECT_EQ(lines(auditFile()).size(), 2u) << "and a line says so";
}

}  // namespace
}  // namespace ac500
