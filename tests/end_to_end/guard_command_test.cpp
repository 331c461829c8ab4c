// What a user is told when the simulated PLC loads another program, by a guard tag and by the replies to the handshake.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <QtCore/QTemporaryDir>

#include "tests/end_to_end/programs.h"

namespace ac500::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

// `id`: the number of the program.
std::string guardedProgram(const std::string& id, const std::string& setpointAt, const std::string& valveAt) {
    return R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 100}],
      "scopes": [{"name": "Main", "variables": [
        {"name": "id", "type": "UDINT", "area": 1, "offset": 0, "readOnly": true},
        {"name": "setpoint", "type": "INT", "area": 1, "offset": )" +
           setpointAt + R"(}, {"name": "valve", "type": "INT", "area": 1, "offset": )" + valveAt + R"(}]}],
      "guard": [{"tag": "Main.id", "value": )" +
           id + R"(}],
      "simulation": {"initial": [{"tag": "Main.setpoint", "value": 100}, {"tag": "Main.valve", "value": 1}]}})";
}

constexpr char kOtherProgram[] =
    "program: another program is in the PLC: Main.id is 8 there, 7 in the program of these symbols; \"ac500-host "
    "symbols "
    "diff OLD NEW\" tells what moved\n";

class GuardedCommandLine : public CommandLineTest {
protected:
    void SetUp() override {
        before_ = file("before.json", guardedProgram("7", "10", "20"));
        after_ = file("after.json", guardedProgram("8", "20", "10"));
        startSimulator({"--load", after_}, before_);
    }

    std::string file(const char* name, const std::string& text) {
        const std::string path = folder_.filePath(name).toStdString();
        std::ofstream(path) << text;
        return path;
    }

    Outcome hostWith(const std::string& symbols, const Texts& arguments) const {
        return runHost(Texts{"--driver", kDriver, "--symbols", symbols, "--plc", plc_} + arguments);
    }
    Outcome guarded(const Texts& arguments) const { return hostWith(before_, arguments); }

    QTemporaryDir folder_;
    std::string before_;
    std::string after_;
};

TEST_F(GuardedCommandLine, TellsOfAnotherProgramAndOfNoOther) {
    Outcome outcome = guarded({"read", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.out, "Main.setpoint  100\n");
    EXPECT_EQ(guarded({"write", "Main.setpoint=60"}).exitCode, 0);

    EXPECT_EQ(guarded({"--simulator", "write", "Sim.program=2"}).exitCode, 0);
    outcome = guarded({"read", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 8);
    EXPECT_EQ(outcome.out, "Main.setpoint  1  suspect\n");
    EXPECT_EQ(outcome.error, kOtherProgram);

    outcome = guarded({"--json", "read", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 8);
    const json document = json::parse(outcome.out);
    EXPECT_EQ(document["error"]["layer"], "program");
    EXPECT_EQ(document["error"]["code"], 8);
    EXPECT_EQ(document["values"][0]["value"], 1);
    EXPECT_EQ(document["values"][0]["state"], "suspect");
    EXPECT_THAT(document["values"][0]["suspicion"]["message"].get<std::string>(), HasSubstr("Main.id is 8 there"));

    EXPECT_THAT(guarded({"read", "--csv", "Main.setpoint"}).out, HasSubstr("\nMain.setpoint,INT,1,,suspect,"));
    EXPECT_THAT(guarded({"watch", "--json", "--seconds", "0.3", "Main.setpoint"}).out,
                HasSubstr("\"state\":\"suspect\""));

    outcome = guarded({"write", "Main.setpoint=50"});
    EXPECT_EQ(outcome.exitCode, 8);
    EXPECT_THAT(outcome.error,
                HasSubstr("program: Main.setpoint: not sent: another program is in the PLC: Main.id is 8"));

    outcome = hostWith(after_, {"read", "Main.setpoint", "Main.valve"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.out, "Main.setpoint  100\nMain.valve     1\n");
    EXPECT_EQ(hostWith(after_, {"--simulator", "write", "Sim.program=1"}).exitCode, 0);
    EXPECT_EQ(guarded({"read", "Main.setpoint"}).exitCode, 0);
}

class OtherProgramCommandLine : public GuardedCommandLine {
protected:
    void SetUp() override {
        GuardedCommandLine::SetUp();
        EXPECT_EQ(guarded({"--simulator", "write", "Sim.program=2"}).exitCode, 0);
    }
};

TEST_F(GuardedCommandLine, StatusAndDoctorNameTheProgram) {
    const Outcome status = guarded({"status"});
    EXPECT_EQ(status.exitCode, 0) << status.error;
    EXPECT_THAT(status.out, HasSubstr("\nprogram    ok  as the symbols say, by Main.id\n"));
    EXPECT_THAT(guarded({"doctor"}).out, HasSubstr("\npass       program  the one that the symbols describe\n"));
}

TEST_F(OtherProgramCommandLine, IsALineOfStatusAndItsExitCode) {
    Outcome outcome = guarded({"status"});
    EXPECT_EQ(outcome.exitCode, 8);
    EXPECT_THAT(outcome.out, HasSubstr("\nprogram    failed  another program is in the PLC: Main.id is 8 there"));
    EXPECT_EQ(outcome.error, kOtherProgram);
    outcome = guarded({"status", "--json"});
    EXPECT_EQ(outcome.exitCode, 8);
    EXPECT_EQ(outputComplaints("status", outcome.out), "");
    const json step = json::parse(outcome.out)["steps"][4];
    EXPECT_EQ(step["step"], "program");
    EXPECT_EQ(step["ok"], false);
}

TEST_F(OtherProgramCommandLine, IsALineOfTheDoctor) {
    Outcome outcome = guarded({"doctor"});
    EXPECT_EQ(outcome.exitCode, 8);
    EXPECT_THAT(outcome.out, HasSubstr("\nfail       program  another one: Main.id is 8 there, 7 in the program of "
                                       "these symbols\n"));
    EXPECT_THAT(outcome.out, HasSubstr("next:  ac500-host symbols diff " + before_ + " NEW  # NEW: "));
    outcome = guarded({"doctor", "--json"});
    EXPECT_EQ(outcome.exitCode, 8);
    EXPECT_EQ(outputComplaints("doctor", outcome.out), "");
}

TEST_F(OtherProgramCommandLine, IsToldByADryRun) {
    Outcome outcome = guarded({"write", "--dry-run", "Main.setpoint=50", "--if", "Main.setpoint=100"});
    EXPECT_EQ(outcome.exitCode, 8);
    EXPECT_EQ(outcome.error,
              "program: Main.setpoint would not be sent: another program is in the PLC: Main.id is 8 there, 7 in the "
              "program of these symbols; \"ac500-host symbols diff OLD NEW\" tells what moved\n");
    outcome = guarded({"write", "--dry-run", "--json", "Main.setpoint=50"});
    EXPECT_EQ(outcome.exitCode, 8);
    EXPECT_EQ(outputComplaints("write", outcome.out), "");
    const json first = json::parse(outcome.out)["dry_run"][0];
    EXPECT_EQ(first["would_write"], false);
    EXPECT_EQ(first["error"]["layer"], "program");
}

TEST_F(OtherProgramCommandLine, IsToldBeforeOtherConditions) {
    const Outcome outcome = guarded({"write", "Main.setpoint=51", "--if", "Main.setpoint=50"});
    EXPECT_EQ(outcome.exitCode, 8);
    EXPECT_THAT(outcome.error,
                HasSubstr("program: Main.setpoint: not sent: another program is in the PLC: Main.id is 8"));
}

TEST_F(OtherProgramCommandLine, IsToldOnceByLinesOfWatch) {
    const Outcome outcome = guarded({"watch", "--on-change", "--interval", "50", "--seconds", "0.5", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 8);
    EXPECT_THAT(outcome.out, HasSubstr("  suspect  "));
    EXPECT_EQ(outcome.error, kOtherProgram);
}

// ---------------------------------------------------------------------------------------------------------------------
// The replies to the handshake
// ---------------------------------------------------------------------------------------------------------------------

using testing::AllOf;
using testing::StartsWith;

std::string plainProgram(const std::string& setpointAt, const std::string& valveAt) {
    std::string program = guardedProgram("7", setpointAt, valveAt);
    const std::string guard = R"("guard": [{"tag": "Main.id", "value": 7}],)";
    return program.erase(program.find(guard), guard.size());
}

constexpr char kOneRun[] =
    "all of it was seen in one run of the PLC, where bytes are the same that change with each start, so nothing is "
    "compared "
    "yet; restart the PLC with the same program, and learn again\n";

class LearnedHandshake : public CommandLineTest {
protected:
    void SetUp() override {
        before_ = file("before.json", plainProgram("10", "20"));
        after_ = file("after.json", plainProgram("20", "10"));
        learned_ = path("plc.handshake");
        startSimulator({"--load", after_}, before_);
    }

    std::string path(const char* name) const { return folder_.filePath(name).toStdString(); }
    std::string file(const char* name, const std::string& text) const {
        std::ofstream(path(name)) << text;
        return path(name);
    }
    static std::string textOf(const std::string& fileName) {
        std::ifstream stream(fileName);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    Outcome withSymbols(const std::string& symbols, const Texts& arguments) const {
        return runHost(Texts{"--driver", kDriver, "--symbols", symbols, "--plc", plc_} + arguments);
    }
    Outcome plain(const Texts& arguments) const { return withSymbols(before_, arguments); }
    Outcome compared(const Texts& arguments) const { return plain(Texts{"--handshake", learned_} + arguments); }
    Outcome learn(const Texts& more = {}) const { return plain(Texts{"guard", "learn", learned_} + more); }
    void load(const std::string& program) const {
        EXPECT_EQ(plain({"--simulator", "write", "Sim.program=" + program}).exitCode, 0);
    }
    // The write of the fault meets it.
    void restartPlc() const { plain({"--simulator", "write", "Sim.fault_kind=10"}); }
    void learnTwoRuns() const {
        EXPECT_EQ(learn({"--connections", "2"}).exitCode, 0);
        restartPlc();
        EXPECT_EQ(learn({"--connections", "2"}).exitCode, 0);
    }

    QTemporaryDir folder_;
    std::string before_;
    std::string after_;
    std::string learned_;
};

TEST_F(LearnedHandshake, ComparesNothingAfterOneRun) {
    const Outcome outcome = learn();
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, AllOf(StartsWith("PLC            " + plc_ + "\nsymbols        " + before_ + ", program "),
                                   HasSubstr("\nseen           3 connections to 1 run of the PLC\n")));
    EXPECT_EQ(outcome.error, std::string("note: ") + kOneRun);
    load("2");
    const Outcome read = compared({"read", "Main.setpoint"});
    EXPECT_EQ(read.exitCode, 0);
    EXPECT_EQ(read.error, "note: " + learned_ + ": " + kOneRun);
    EXPECT_THAT(compared({"doctor"}).out, HasSubstr("not tried  program  the replies to the handshake: not compared: "
                                                    "all of them were learned in one run of the "
                                                    "PLC\n"));
}

TEST_F(LearnedHandshake, WarnsOfAnotherProgramAndOfNoOther) {
    learnTwoRuns();
    const Outcome shown = runHost({"guard", "show", learned_});
    EXPECT_EQ(shown.exitCode, 0);
    EXPECT_EQ(shown.error, "");
    EXPECT_THAT(shown.out, AllOf(HasSubstr("\nseen           4 connections to 2 runs of the PLC\n"),
                                 HasSubstr("\nsymbols reply  "), HasSubstr("\nhello: "), HasSubstr("........")));
    const json document = json::parse(runHost({"--json", "guard", "show", learned_}).out);
    EXPECT_EQ(document["plc"], plc_);
    EXPECT_EQ(document["connections"], 4);
    EXPECT_EQ(document["runs"], 2);
    EXPECT_EQ(document["compared"], true);
    EXPECT_EQ(document["replies"][1]["reply"], "symbols");
    EXPECT_EQ(document["replies"][1]["constant"], document["replies"][1]["bytes"].get<int>() - 5)
        << "all but the session bytes and the last byte of the count of boots";

    Outcome read = compared({"read", "Main.setpoint"});
    EXPECT_EQ(read.exitCode, 0);
    EXPECT_EQ(read.error, "");
    restartPlc();
    EXPECT_EQ(compared({"read", "Main.setpoint"}).error, "") << "the session bytes of another run do not count";
    EXPECT_THAT(compared({"doctor"}).out,
                HasSubstr("pass       program  the replies to the handshake: as they were learned\n"));

    load("2");
    read = compared({"read", "Main.setpoint"});
    EXPECT_EQ(read.exitCode, 0);
    EXPECT_EQ(read.out, "Main.setpoint  1\n");
    EXPECT_THAT(
        read.error,
        AllOf(StartsWith(
                  "warning: the PLC answers the handshake otherwise than was learned: the reply to symbols: byte "),
              HasSubstr(" more differ; perhaps another program is in the PLC; nothing is held\n")));
    EXPECT_EQ(plain({"read", "Main.setpoint"}).error, "") << "nobody asked";
    const Outcome write = compared({"write", "Main.valve=1"});
    EXPECT_EQ(write.exitCode, 0) << "nothing is held";
    EXPECT_THAT(write.error, StartsWith("warning: the PLC answers the handshake otherwise"));

    const Outcome doctor = compared({"doctor"});
    EXPECT_EQ(doctor.exitCode, 0);
    EXPECT_THAT(doctor.out,
                HasSubstr("warn       program  the replies to the handshake: otherwise than was learned: the reply to "
                          "symbols: byte "));
    EXPECT_THAT(doctor.out, HasSubstr("ac500-host guard show " + learned_));

    const json line = json::parse(compared({"--log-format", "json", "read", "Main.setpoint"}).error);
    EXPECT_EQ(line["event"], "program.handshake");
    EXPECT_EQ(line["level"], "warning");

    const std::string before = textOf(learned_);
    const Outcome refused = learn();
    EXPECT_EQ(refused.exitCode, 8);
    EXPECT_THAT(refused.error,
                AllOf(StartsWith("program: " + learned_ + ": the PLC answers otherwise than was learned: "),
                      HasSubstr("--force takes these bytes out\n")));
    EXPECT_EQ(textOf(learned_), before);
    EXPECT_EQ(learn({"--force"}).exitCode, 0);
    EXPECT_EQ(compared({"read", "Main.setpoint"}).error, "") << "the bytes of both programs do not count any more";
    load("1");
    EXPECT_EQ(compared({"read", "Main.setpoint"}).error, "");
}

TEST_F(LearnedHandshake, HasWhatAllLearnedWhoDidAtTheSameTime) {
    const Outcome all = run("sh", Texts{"-c", "for i in 1 2 3 4 5 6; do \"$0\" \"$@\" >/dev/null 2>&1 & done; wait",
                                        kHostProgram, "--driver", kDriver, "--symbols", before_, "--plc", plc_, "guard",
                                        "learn", learned_, "--connections", "2"});
    EXPECT_EQ(all.exitCode, 0);
    EXPECT_EQ(json::parse(textOf(learned_))["connections"], 12);
    EXPECT_FALSE(std::ifstream(learned_ + ".new").good());
}

TEST_F(LearnedHandshake, ThroughALinkReplacesTheFileThatItLeadsToAndKeepsWhoMayReadIt) {
    EXPECT_EQ(learn().exitCode, 0);
    ASSERT_EQ(::chmod(learned_.c_str(), 0640), 0);
    const std::string link = path("link.handshake");
    ASSERT_EQ(::symlink("plc.handshake", link.c_str()), 0);
    EXPECT_EQ(plain({"guard", "learn", link}).exitCode, 0);
    struct stat state {};
    ASSERT_EQ(::lstat(link.c_str(), &state), 0);
    EXPECT_TRUE(S_ISLNK(state.st_mode));
    ASSERT_EQ(::stat(learned_.c_str(), &state), 0);
    EXPECT_EQ(state.st_mode & 0777, 0640U);
    EXPECT_EQ(json::parse(textOf(learned_))["connections"], 6);
}

TEST_F(LearnedHandshake, OfOtherSymbolsOrAnotherPlcIsToldAndNotAddedTo) {
    learnTwoRuns();
    const std::string other = learned_ + ": was learned with " + before_ +
                              " as it was then, which describes another program than these symbols";
    EXPECT_EQ(withSymbols(after_, {"--handshake", learned_, "read", "Main.valve"}).error, "note: " + other + "\n");
    const Outcome refused = withSymbols(after_, {"guard", "learn", learned_});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_EQ(refused.error, "file: " + other + "; learn into another file, or remove this one\n");

    std::string text = textOf(learned_);
    file("plc.handshake", text.replace(text.find(plc_), plc_.size(), "10.0.0.5:1201"));
    const std::string otherPlc = learned_ + ": was learned of 10.0.0.5:1201, which may be another PLC";
    EXPECT_EQ(compared({"read", "Main.valve"}).error, "note: " + otherPlc + "\n");
    EXPECT_EQ(learn().error, "file: " + otherPlc + "; learn into another file, or remove this one\n");
    EXPECT_EQ(textOf(learned_), text);
}

TEST_F(LearnedHandshake, WrongFilesAreToldOffBeforeAnythingIsSent) {
    const std::string notOurs = ": is no file of handshake replies; \"ac500-host guard learn\" writes one\n";
    const std::string damaged = R"({"format": "ac500-handshake", "version": 1})";
    for (const auto& [name, problem] : std::vector<std::pair<std::string, std::string>>{
             {file("empty", ""), notOurs},
             {file("symbols", textOf(before_)), notOurs},
             {file("damaged", damaged), ": is damaged; remove it, and learn again\n"},
             {file("newer", R"({"format": "ac500-handshake", "version": 2})"),
              ": has a version that is not known; this program knows 1\n"},
             {"/dev/zero", ": is larger than 1 MiB, so it is no file of handshake replies\n"},
             {"/dev/full", ": is larger than 1 MiB, so it is no file of handshake replies\n"}}) {
        for (const Texts& command : {Texts{"guard", "show", name}, Texts{"guard", "learn", name},
                                     Texts{"--handshake", name, "read", "Main.setpoint"}}) {
            const Outcome outcome = plain(command);
            EXPECT_EQ(outcome.exitCode, 2) << name;
            EXPECT_EQ(outcome.out, "");
            EXPECT_EQ(outcome.error, "file: " + name + problem);
        }
    }
    EXPECT_EQ(textOf(path("damaged")), damaged);
    const std::string absent = path("absent");
    const std::string unreadable =
        "file: " + absent + ": cannot be read: No such file or directory; check the path and its permissions\n";
    EXPECT_EQ(plain({"guard", "show", absent}).error, unreadable);
    EXPECT_EQ(plain({"--handshake", absent, "read", "Main.setpoint"}).error, unreadable);
    const json document = json::parse(plain({"--json", "guard", "show", absent}).out);
    EXPECT_EQ(document["error"]["layer"], "file");
}

TEST_F(LearnedHandshake, WhatCannotBeWrittenIsAnOutputFailure) {
    const std::string nowhere = path("no/such/folder");
    Outcome outcome = plain({"guard", "learn", nowhere, "--connections", "2"});
    EXPECT_EQ(outcome.exitCode, 7);
    EXPECT_EQ(outcome.error,
              "output: " + nowhere + ": cannot be written: No such file or directory; choose another file\n");
    EXPECT_EQ(learn({"--connections", "2"}).exitCode, 0);
    EXPECT_EQ(runHostWith(">/dev/full", {"guard", "show", learned_}).exitCode, 7);
    // A file may have no byte; what was known before stays.
    const std::string before = textOf(learned_);
    outcome = run("sh", Texts{"-c", "trap '' XFSZ; ulimit -f 0; exec \"$0\" \"$@\"", kHostProgram, "--driver", kDriver,
                              "--symbols", before_, "--plc", plc_, "guard", "learn", learned_, "--connections", "2"});
    EXPECT_EQ(outcome.exitCode, 7);
    EXPECT_EQ(outcome.error, "output: " + learned_ + ": cannot be written: File too large; choose another file\n");
    EXPECT_EQ(textOf(learned_), before);
    EXPECT_FALSE(std::ifstream(learned_ + ".new").is_open());
    const std::string device = path("device");
    ASSERT_EQ(run("ln", {"-s", "/dev/full", device}).exitCode, 0);
    EXPECT_THAT(plain({"guard", "learn", device}).error, StartsWith("file: " + device + ": is larger than 1 MiB"));
}

TEST_F(LearnedHandshake, LearnsNothingWithoutAPlc) {
    const Outcome outcome = runHost({"--driver", kDriver, "--symbols", before_, "--plc", "127.0.0.1:1", "--wait", "200",
                                     "guard", "learn", learned_});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error, StartsWith("tcp: "));
    EXPECT_FALSE(std::ifstream(learned_).is_open());
}

TEST_F(LearnedHandshake, WrongCommandLinesAreUsageErrors) {
    for (const Texts& words : {Texts{"guard"}, Texts{"guard", "learn"}, Texts{"guard", "forget", learned_},
                               Texts{"guard", "learn", learned_, "--connections", "1"},
                               Texts{"guard", "learn", learned_, "--record", path("a.rec")},
                               Texts{"guard", "learn", learned_, "--handshake", learned_}}) {
        EXPECT_EQ(run(kHostProgram, Texts{"--symbols", before_, "--driver", kDriver} + words).exitCode, 1)
            << words.back();
    }
    EXPECT_EQ(run(kHostProgram, {"guard", "learn", learned_}).exitCode, 1) << "no symbols";
}

// ---------------------------------------------------------------------------------------------------------------------
// Two writers
// ---------------------------------------------------------------------------------------------------------------------

class OwnVariable : public CommandLineTest {
protected:
    void SetUp() override {
        symbols_ = folder_.filePath("own.json").toStdString();
        std::ofstream(symbols_) << R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 100}],
          "scopes": [{"name": "Main", "variables": [
            {"name": "own", "type": "INT", "area": 1, "offset": 0, "onlyWriter": true},
            {"name": "other", "type": "INT", "area": 1, "offset": 2, "onlyWriter": true},
            {"name": "free", "type": "INT", "area": 1, "offset": 4}]}]})";
        startSimulator({}, symbols_);
    }

    Texts call() const { return {"--driver", kDriver, "--symbols", symbols_, "--plc", plc_}; }

    // Watches while somebody else writes; waits for each write to be shown.
    void watchWhileOthersWrite(const Texts& options, const std::vector<std::string>& writes) {
        ChildProcess watch;
        ASSERT_TRUE(watch.start(kHostProgram, call() + Texts{"--cycle", "10"} + options +
                                                  Texts{"watch", "--json", "--on-change", "--interval", "20", "Main"}));
        const auto waitFor = [&](const std::string& what) {
            for (std::string line = " "; !line.empty() && lines_.find(what) == std::string::npos;) {
                line = watch.takeLine(kProgramPatienceMs);
                lines_ += line + "\n";
            }
            EXPECT_THAT(lines_, HasSubstr(what));
        };
        waitFor(R"("tag":"Main.free","type":"INT","value":0)");
        for (const std::string& write : writes) {
            EXPECT_EQ(runHost(call() + Texts{"write", write}).exitCode, 0);
            const std::string tag = write.substr(0, write.find('='));
            waitFor("\"tag\":\"" + tag + "\",\"type\":\"INT\",\"value\":" + write.substr(write.find('=') + 1));
        }
        watch.sendSignal(SIGTERM);
        EXPECT_TRUE(watch.waitForEnd(kProgramPatienceMs));
        lines_ += watch.takeOutput();
        errors_ = watch.takeErrors();
    }

    QTemporaryDir folder_;
    std::string symbols_;
    std::string lines_;
    std::string errors_;
};

TEST_F(OwnVariable, ThatSomebodyElseWritesIsToldOnceWithoutAnOption) {
    watchWhileOthersWrite({}, {"Main.free=7", "Main.own=5", "Main.own=6", "Main.other=8"});
    EXPECT_EQ(errors_,
              "warning: Main.own: it was 0, now the PLC has 5, which nobody here wrote\n"
              "warning: Main.other: it was 0, now the PLC has 8, which nobody here wrote\n");
}

TEST_F(OwnVariable, ThatSomebodyElseWritesIsInTheDocumentsOfAWatch) {
    watchWhileOthersWrite({}, {"Main.free=7", "Main.own=5", "Main.own=6"});
    std::vector<std::string> told;
    std::istringstream lines(lines_);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_EQ(outputComplaints("watch", line), "");
        const json document = json::parse(line);
        for (const json& one : document.value("overwritten", json::array())) {
            told.push_back(one["tag"].get<std::string>() + " | " + one["message"].get<std::string>());
        }
    }
    EXPECT_THAT(told,
                testing::ElementsAre("Main.own | Main.own: it was 0, now the PLC has 5, which nobody here wrote",
                                     "Main.own | Main.own: it was 5, now the PLC has 6, which nobody here wrote"));
}

TEST_F(OwnVariable, WithALogLevelIsToldEachTime) {
    watchWhileOthersWrite({"--verbose"}, {"Main.own=5", "Main.own=6"});
    EXPECT_THAT(errors_, HasSubstr("now the PLC has 5"));
    EXPECT_THAT(errors_, HasSubstr("now the PLC has 6"));
}

}  // namespace
}  // namespace ac500::test
