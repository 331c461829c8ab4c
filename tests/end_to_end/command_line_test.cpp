// The programs as a user runs them: exit codes and messages by kind of failure, output for people and for programs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QTcpServer>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>

#include "tests/end_to_end/programs.h"
#include "tests/support/child_process.h"
#include "tests/support/hostile_plc.h"
#include "tests/support/pace.h"
#include "tests/support/places.h"

namespace {

using ac500::test::ChildProcess;
using ac500::test::CommandLineTest;
using ac500::test::HostilePlc;
using ac500::test::kDriver;
using ac500::test::kHostProgram;
using ac500::test::kSimulatorProgram;
using ac500::test::Outcome;
using ac500::test::Texts;
using ac500::test::operator+;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr int kPatienceMs = ac500::test::kProgramPatienceMs;
const std::string& kPlant = ac500::test::kPlantFile;
const std::string kTime = "20[0-9][0-9]-[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9]";

std::string readings(const std::string& out) {
    return std::to_string(std::count(out.begin(), out.end(), '\n')) + " lines";
}

// ---------------------------------------------------------------------------------------------------------------------
// Results
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(CommandLineTest, ReadShowsTagsAndValues) {
    startSimulator();
    const Outcome outcome = host({"read", "Main.batch_name", "Main.setpoint"});
    EXPECT_EQ(outcome.out, "Main.batch_name  \"BATCH-0001\"\nMain.setpoint    100\n");
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.exitCode, 0);
}

TEST_F(CommandLineTest, ReadAsJson) {
    startSimulator();
    const Outcome outcome = host({"read", "--json", "Main.setpoint", "Main.recipe[2..3]", "Main.batch_name"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    const json document = json::parse(outcome.out);
    ASSERT_EQ(document["values"].size(), 3u);
    EXPECT_EQ(document["values"][0]["tag"], "Main.setpoint");
    EXPECT_EQ(document["values"][0]["type"], "REAL");
    EXPECT_EQ(document["values"][0]["value"], 100.0);
    EXPECT_EQ(document["values"][0]["state"], "fresh");
    EXPECT_TRUE(document["values"][0]["age_ms"].is_number());
    EXPECT_TRUE(document["values"][1]["value"].is_array());
    EXPECT_EQ(document["values"][1]["value"].size(), 2u);
    EXPECT_EQ(document["values"][2]["value"], "BATCH-0001");
}

TEST_F(CommandLineTest, WriteShowsWhatThePlcHasAfterwards) {
    startSimulator();
    const Outcome outcome = host({"write", "Main.setpoint=21.5", "Main.recipe[1..3]=-1,2,0x10", "Main.flags.b[3]=1",
                                  "Main.batch_name=Grüße, 7", "Main.night_switch=1"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.out,
              "Main.setpoint      21.5\n"
              "Main.recipe[1..3]  -1, 2, 16\n"
              "Main.flags.b[3]    1\n"
              "Main.batch_name    \"Grüße, 7\"\n"
              "Main.night_switch  1\n");
    EXPECT_EQ(host({"read", "Main.setpoint"}).out, "Main.setpoint  21.5\n");
}

TEST_F(CommandLineTest, ABitByItsNumberIsShownAsItWasWritten) {
    startSimulator();
    EXPECT_EQ(host({"write", "Main.flags.13=1", "Main.flags.b[12]=1"}).out,
              "Main.flags.13     1\nMain.flags.b[12]  1\n");
    EXPECT_EQ(host({"read", "Main.flags.b[13]", "Main.flags.12"}).out, "Main.flags.b[13]  1\nMain.flags.12     1\n");
    EXPECT_THAT(host({"read", "--csv", "Main.flags.13"}).out, HasSubstr("\nMain.flags.13,bit of WORD,TRUE,"));
    EXPECT_EQ(host({"tags", "--names", "Main.flags.13"}).out, "Main.flags\n");
    EXPECT_EQ(host({"plan", "--json", "Main.flags.13"}).exitCode, 0);
    EXPECT_EQ(host({"check", "Main.flags.13"}).exitCode, 0);
    EXPECT_EQ(host({"read", "Main.flags.16"}).error, "name: \"Main.flags.16\": bit 16 lies outside 0..15\n");
}

TEST_F(CommandLineTest, WriteAsJson) {
    startSimulator();
    const Outcome outcome = host({"write", "--json", "Main.setpoint=21.5"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(json::parse(outcome.out),
              json::parse(R"({"version":1,"writes":[{"tag":"Main.setpoint","written":21.5,"ok":true,"outcome":"done",
                       "read_back":21.5}]})"));
}

TEST_F(CommandLineTest, AValueThatThePlcChangesAtOnceIsReportedAsAMismatch) {
    startSimulator();
    // A signal of the simulator drives this one.
    const Outcome outcome = host({"write", "Main.counter=60000"});
    EXPECT_EQ(outcome.exitCode, 6);
    EXPECT_THAT(outcome.error, StartsWith("request: Main.counter: 60000 was written, but the PLC has "));
}

// A PLC of one word, Main.flags, into which another panel writes as soon as the bit write has arrived.
class TwoPanelsTest : public CommandLineTest {
protected:
    Outcome writeBitWhileAnotherPanelWrites(const std::string& flags, const Texts& options = {}) {
        std::string word("\x00\x01", 2);
        std::string written;
        auto plc = std::make_unique<HostilePlc>([&](HostilePlc::Connection& connection) {
            for (std::string request = connection.handshake() ? connection.request() : ""; !request.empty();
                 request = connection.request()) {
                if (request[6] == '\x3C') {
                    written = request.substr(22, 2);
                    word = flags;
                    connection.send(ac500::test::writeReply().toStdString());
                } else {
                    connection.send(ac500::test::envelope(std::string(7, '\0') + word));
                }
            }
        });
        plc_ = "127.0.0.1:" + std::to_string(plc->port());
        const Outcome outcome = host(options + Texts{"--wait", "60000", "write", "Main.flags.b[3]=1"});
        plc.reset();
        EXPECT_EQ(written, std::string("\x00\x09", 2));
        return outcome;
    }
};

TEST_F(TwoPanelsTest, ABitThatIsTakenBackIsToldWithTheWholeVariable) {
    const Outcome outcome = writeBitWhileAnotherPanelWrites(std::string("\x00\x21", 2));
    EXPECT_EQ(outcome.exitCode, 6);
    EXPECT_EQ(
        outcome.error,
        "request: Main.flags.b[3]: 1 was written, but the PLC has 0; the variable was 0x0001 before the write and "
        "is 0x0021 now: another panel, or the PLC's program, wrote the variable at the same time and took it "
        "back\n");
}

TEST_F(TwoPanelsTest, OtherBitsThatChangeMeanwhileAreANote) {
    const Outcome outcome = writeBitWhileAnotherPanelWrites(std::string("\x00\x28", 2), {"--json"});
    EXPECT_EQ(outcome.exitCode, 0);
    const std::string text =
        "Main.flags.b[3]: written, but other bits changed meanwhile: the variable was 0x0001 before the write and is "
        "0x0028 now; another panel, or the PLC's program, writes the same variable";
    EXPECT_EQ(outcome.error, "note: " + text + "\n");
    EXPECT_EQ(json::parse(outcome.out)["writes"][0]["note"], text);
}

TEST_F(TwoPanelsTest, BitsOfOneVariableInOneCommandAreNoTwoPanels) {
    startSimulator();
    const Outcome outcome = host({"write", "Main.flags.b[3]=1", "Main.flags.b[5]=1", "Main.flags.b[0..1]=1,1"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(host({"read", "Main.flags.b[0..5]"}).out, "Main.flags.b[0..5]  1, 1, 0, 1, 0, 1\n");
}

TEST_F(CommandLineTest, TagsNeedsNeitherDriverNorPlc) {
    const Outcome outcome = runHost({"--symbols", kPlant, "tags", "main.re*"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, StartsWith("TAG          TYPE        AREA  ADDRESS  COMMENT\n"
                                        "Main.recipe  INT[1..10]  1     92       quick recipe of the panel\n"
                                        "Main.reset   BIT         3     bit 2    push-button\n"
                                        "2 of "));
}

TEST_F(CommandLineTest, TagsAsJson) {
    const Outcome outcome = runHost({"--symbols", kPlant, "--json", "tags", "Main.recipe"});
    EXPECT_EQ(json::parse(outcome.out),
              json::parse(R"({"version":1,"tags":[{"tag":"Main.recipe","type":"INT","dimensions":[[1,10]],
        "area":1,"address":92,"bits":false,"comment":"quick recipe of the panel"}]})"));
}

TEST_F(CommandLineTest, TheSimulatorsOwnVariablesOnRequest) {
    startSimulator();
    EXPECT_EQ(host({"read", "Sim.boot_count"}).exitCode, 3);
    const Outcome outcome = host({"--simulator", "read", "Sim.boot_count"});
    EXPECT_EQ(outcome.out, "Sim.boot_count  1\n") << outcome.error;
}

TEST_F(CommandLineTest, AFaultProvokedFromTheCommandLineIsSurvived) {
    startSimulator();
    // The first reset meets the reading back of this write.
    const Outcome provoked = host({"--simulator", "--verbose", "write", "Sim.fault_count=2", "Sim.fault_kind=9"});
    EXPECT_EQ(provoked.exitCode, 0) << provoked.error;
    EXPECT_THAT(provoked.error, HasSubstr("the connection was lost"));
    EXPECT_EQ(host({"read", "Main.setpoint"}).out, "Main.setpoint  100\n");
    EXPECT_EQ(host({"--simulator", "read", "Sim.faults_done"}).out, "Sim.faults_done  2\n");
}

TEST_F(CommandLineTest, WatchPrintsPlainLinesWhenNobodyIsLooking) {
    startSimulator();
    const Outcome outcome = host({"watch", "--seconds", "3", "--interval", "300", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.out, HasSubstr("  Main.setpoint  100  fresh  "));
    EXPECT_THAT(outcome.out.substr(0, outcome.out.find('\n')), MatchesRegex(kTime + "  Main.setpoint  .*"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("\x1b")));
    EXPECT_GE(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 4);
}

TEST_F(CommandLineTest, WatchAsJsonIsOneObjectPerLine) {
    startSimulator();
    const Outcome outcome = host({"watch", "--json", "--seconds", "3", "--interval", "300", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    const QStringList lines = QString::fromStdString(outcome.out).split('\n', Qt::SkipEmptyParts);
    ASSERT_GE(lines.size(), 4);
    const json last = json::parse(lines.last().toStdString());
    EXPECT_EQ(last["link"], "online");
    EXPECT_THAT(last["time"], MatchesRegex("20..-..-..T..:..:..\\....Z"));
    EXPECT_EQ(last["values"][0]["value"], 100.0);
    EXPECT_EQ(last["values"][0]["state"], "fresh");
}

TEST_F(CommandLineTest, WatchEndsCleanlyWithCtrlC) {
    startSimulator();
    ChildProcess process;
    ASSERT_TRUE(process.start(kHostProgram, usual() + Texts{"watch", "--interval", "100", "Main.setpoint"}));
    std::string line;
    do {
        line = process.takeLine(kPatienceMs);
    } while (!line.empty() && line.find("fresh") == std::string::npos);
    EXPECT_THAT(line, HasSubstr("fresh"));
    ASSERT_TRUE(process.sendSignal(SIGINT));
    EXPECT_TRUE(process.waitForEnd(kPatienceMs));
    EXPECT_EQ(process.exitCode(), 0);
}

TEST_F(CommandLineTest, ReadEndedByCtrlCSaysSoInItsExitCode) {
    ChildProcess process;
    ASSERT_TRUE(process.start(kHostProgram, usual() + Texts{"--wait", "50000", "--verbose", "read", "Main.setpoint"}));
    ASSERT_TRUE(process.waitForOutput(kPatienceMs));
    ASSERT_TRUE(process.sendSignal(SIGINT));
    EXPECT_TRUE(process.waitForEnd(kPatienceMs));
    EXPECT_EQ(process.exitCode(), 130);
}

TEST_F(CommandLineTest, StatusTellsEveryStep) {
    startSimulator();
    const Outcome outcome = host({"status"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.out,
                AllOf(HasSubstr("file       ok  " + kPlant + ": "), HasSubstr("ok  driver "),
                      HasSubstr("tcp        ok  connected to " + plc_), HasSubstr("handshake  ok  session opened"),
                      HasSubstr("request    ok  Main.counter = "), HasSubstr("retries 0"), HasSubstr("median")));
}

// At a glance, whatever is the first variable.
TEST_F(CommandLineTest, StatusShowsTheBeginningOfAnArray) {
    QTemporaryDir folder;
    const std::string symbols = folder.filePath("array.json").toStdString();
    std::ofstream(symbols) << R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 4000}],
        "scopes": [{"name": "Main", "variables": [
            {"name": "arr", "type": "INT", "area": 1, "offset": 0, "array": [[1, 2000]]}]}]})";
    startSimulator({}, symbols);
    const Texts call{"--driver", kDriver, "--symbols", symbols, "--plc", plc_, "status"};
    EXPECT_THAT(runHost(call).out, HasSubstr("\nrequest    ok  Main.arr[1] = 0\n"));
    EXPECT_THAT(runHost(call + Texts{"Main.arr"}).out,
                HasSubstr("\nrequest    ok  Main.arr = 0, 0, 0, 0, 0, 0, 0, 0 and 1992 more\n"));
    EXPECT_THAT(runHost(call + Texts{"Main.arr[1..8]"}).out, HasSubstr(" = 0, 0, 0, 0, 0, 0, 0, 0\n"));
}

TEST_F(CommandLineTest, StatusAsJson) {
    startSimulator();
    const json document = json::parse(host({"status", "--json"}).out);
    ASSERT_EQ(document["steps"].size(), 5u);
    EXPECT_EQ(document["steps"][4]["step"], "request");
    EXPECT_EQ(document["steps"][4]["ok"], true);
    EXPECT_GE(document["statistics"]["frames_sent"], 3);
    EXPECT_EQ(document["statistics"]["timeouts"], 0);
}

// ---------------------------------------------------------------------------------------------------------------------
// Failures, kind by kind
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(CommandLineTest, HelpListsCommandsAndExitCodes) {
    const Outcome outcome = runHost({"--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    for (const char* part :
         {"read", "write", "watch", "tags", "status", "5 handshake", "--max-request-words", "--json"}) {
        EXPECT_THAT(outcome.out, HasSubstr(part));
    }
}

TEST_F(CommandLineTest, VersionIsThatOfTheProject) {
    EXPECT_EQ(runHost({"--version"}).out, "ac500-host " AC500_PROJECT_VERSION "\n");
    EXPECT_EQ(run(kSimulatorProgram, {"--version"}).out, "ac500-sim " AC500_PROJECT_VERSION "\n");
}

TEST_F(CommandLineTest, WithVerboseEachMessageBeginsWithTheTime) {
    const Outcome outcome =
        host({"--verbose", "--wait", std::to_string(ac500::test::paced(300)), "read", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 4);
    const QStringList lines = QString::fromStdString(outcome.error).split('\n', Qt::SkipEmptyParts);
    EXPECT_GE(lines.size(), 2);
    for (const QString& line : lines) {
        EXPECT_THAT(line.toStdString(), MatchesRegex(kTime + " tcp: .*"));
    }
}

TEST_F(CommandLineTest, ASimulatorOfAnIpv6AddressIsReachedByWhatItPrints) {
    ASSERT_TRUE(simulator_.start(kSimulatorProgram, {"--symbols", kPlant, "--address", "[::1]:0"}));
    const std::string line = simulator_.takeLine(kPatienceMs);
    if (!QTcpServer().listen(QHostAddress::LocalHostIPv6)) {  // no IPv6 here
        EXPECT_TRUE(simulator_.waitForEnd(kPatienceMs));
        EXPECT_THAT(simulator_.takeErrors(), HasSubstr("[::1]"));
        return;
    }
    ASSERT_THAT(line, MatchesRegex("ac500-sim: listening on \\[::1\\]:[0-9]+"));
    plc_ = line.substr(line.rfind(' ') + 1);
    EXPECT_EQ(host({"read", "Main.setpoint"}).out, "Main.setpoint  100\n");
    EXPECT_THAT(host({"status"}).out, HasSubstr("connected to " + plc_));
    simulator_.sendSignal(SIGTERM);
    ASSERT_TRUE(simulator_.waitForEnd(kPatienceMs));
    EXPECT_THAT(simulator_.takeErrors(), HasSubstr("client 1: connected from [::1]:"));
}

TEST_F(CommandLineTest, AFullSimulatorAlwaysHasCodeFive) {
    startSimulator({"--max-clients", "1", "--idle-seconds", "1000000"});
    ChildProcess only;
    ASSERT_TRUE(only.start(kHostProgram, usual() + Texts{"watch", "--interval", "20", "Main.setpoint"}));
    std::string line;
    do {
        line = only.takeLine(kPatienceMs);
    } while (!line.empty() && line.find("fresh") == std::string::npos);
    for (const Texts& command :
         std::vector<Texts>{{"read", "Main.setpoint"}, {"write", "Main.setpoint=1"}, {"status"}}) {
        for (int i = 0; i < 4; ++i) {
            const Outcome outcome = host(Texts{"--wait", std::to_string(ac500::test::paced(250))} + command);
            EXPECT_EQ(outcome.exitCode, 5) << outcome.error;
            EXPECT_THAT(outcome.error, StartsWith("handshake: "));
        }
    }
    EXPECT_EQ(host({"watch", "--seconds", "0.3", "Main.setpoint"}).exitCode, 5);
    only.sendSignal(SIGINT);
    EXPECT_TRUE(only.waitForEnd(kPatienceMs));
}

TEST_F(CommandLineTest, UsageErrorsHaveCodeOne) {
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"frobnicate"},
        {"read", "Main.counter"},  // no symbol file
        {"--symbols", kPlant, "read"},
        {"--symbols", kPlant, "--plc", "nowhere:0", "read", "Main.counter"},
        {"--symbols", kPlant, "--plc", "::1", "read", "Main.counter"},
        {"--symbols", kPlant, "--timeout", "0", "read", "Main.counter"},
        {"--symbols", kPlant, "--retry-limit", "-1", "read", "Main.counter"},
        {"--symbols", kPlant, "write", "Main.counter"},
        {"--symbols", kPlant, "write", "Main.counter=65536"},
        {"--symbols", kPlant, "write", "Main.recipe[1..3]=1,2"},
    };
    for (const Texts& arguments : wrong) {
        const Outcome outcome = runHost(arguments);
        EXPECT_EQ(outcome.exitCode, 1) << outcome.error;
        EXPECT_THAT(outcome.error, StartsWith("usage: "));
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_EQ(runHost({"--symbols", kPlant, "write", "Main.counter=65536"}).error,
              "usage: Main.counter: 65536 is out of range; UINT goes from 0 to 65535\n");
}

TEST_F(CommandLineTest, NanIsNoNumberOfAnOption) {
    for (const Texts& arguments :
         {Texts{"watch", "--seconds", "nan", "Main.counter"}, Texts{"status", "--seconds", "-NaN"},
          Texts{"plan", "--round-trip", "nan", "Main.counter"}, Texts{"plan", "--plc-time", "nan(1)", "Main.counter"},
          Texts{"--wait", "nan", "read", "Main.counter"}}) {
        const Outcome outcome = runHost(Texts{"--symbols", kPlant} + arguments);
        EXPECT_EQ(outcome.exitCode, 1) << arguments[1];
        EXPECT_THAT(outcome.error, StartsWith("usage: "));
    }
    EXPECT_THAT(runHost({"--symbols", kPlant, "watch", "--seconds", "nan", "Main.counter"}).error,
                HasSubstr("--seconds: Value nan is no number"));
}

TEST_F(CommandLineTest, TargetsOfOneWriteThatOverlapAreAUsageError) {
    const auto refusal = [](const Texts& targets) {
        const Outcome outcome = runHost(Texts{"--symbols", kPlant, "write"} + targets);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.out, "");
        return outcome.error;
    };
    EXPECT_EQ(refusal({"Main.setpoint=1", "Main.enable=1", "Main.setpoint=2"}),
              "usage: Main.setpoint is given twice; which value the PLC ends up with would be left to chance\n");
    EXPECT_EQ(refusal({"Main.recipe[3]=1", "Main.recipe[1..5]=1,2,3,4,5"}),
              "usage: Main.recipe[3] and Main.recipe[1..5] overlap; which value the PLC ends up with would be left to "
              "chance\n");
    EXPECT_THAT(refusal({"Main.flags=0", "Main.flags.b[3]=1"}), StartsWith("usage: Main.flags and Main.flags.b[3] "));
}

TEST_F(CommandLineTest, NanAndInfAreWrittenOnlyByForce) {
    for (const char* value : {"nan", "-inf", "infinity"}) {
        const Outcome outcome = runHost({"--symbols", kPlant, "write", std::string("Main.setpoint=") + value});
        EXPECT_EQ(outcome.exitCode, 1) << value;
        EXPECT_EQ(outcome.error, std::string("usage: Main.setpoint: ") + (value[0] == 'i' ? "inf" : value) +
                                     " is no finite number, which few PLC programs expect; with --force it is "
                                     "written all the same\n");
    }
    startSimulator();
    const Outcome forced = host({"write", "--force", "Main.setpoint=inf"});
    EXPECT_EQ(forced.exitCode, 0) << forced.error;
    EXPECT_EQ(forced.out, "Main.setpoint  inf\n");
}

TEST_F(CommandLineTest, HelpShowsHowManyArgumentsACommandTakes) {
    EXPECT_THAT(runHost({"read", "--help"}).out, HasSubstr("Usage: ac500-host read [OPTIONS] TAG...\n"));
    EXPECT_THAT(runHost({"doctor", "--help"}).out, HasSubstr("Usage: ac500-host doctor [OPTIONS] [TAG...]\n"));
    EXPECT_THAT(runHost({"replay", "--help"}).out, HasSubstr("Usage: ac500-host replay [OPTIONS] FILE [TAG...]\n"));
}

TEST_F(CommandLineTest, HelpOfWriteWarnsOfBitsThatTwoWrite) {
    const Outcome outcome = runHost({"write", "--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("A bit of a variable is written as the whole variable"),
                                   HasSubstr("take each other back"), HasSubstr("--force")));
}

TEST_F(CommandLineTest, AMissingSymbolFileHasCodeTwo) {
    const Outcome outcome = runHost({"--symbols", "/nowhere/plant.json", "tags"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.error, AllOf(StartsWith("file: "), HasSubstr("/nowhere/plant.json")));
}

TEST_F(CommandLineTest, ABrokenSymbolFileTellsTheLine) {
    QTemporaryDir folder;
    const QString name = folder.filePath("broken.json");
    QFile broken(name);
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("{\n  \"format\": \"ac500-symbols\",\n  \"version\": 2\n}\n");
    broken.close();
    const Outcome outcome = runHost({"--symbols", name.toStdString(), "tags"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.error, AllOf(StartsWith("file: "), HasSubstr("broken.json:3:")));
}

TEST_F(CommandLineTest, AMissingDriverHasCodeTwo) {
    const Outcome outcome =
        runHost({"--driver", "/nowhere/libac500driver.so", "--symbols", kPlant, "read", "Main.counter"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.error, AllOf(StartsWith("file: "), HasSubstr("/nowhere/libac500driver.so")));
}

TEST_F(CommandLineTest, ALibraryThatIsNoDriverIsNamedWithWhatItLacks) {
    const Outcome outcome = runHost({"--driver", "libm.so.6", "--symbols", kPlant, "read", "Main.counter"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.error, HasSubstr("libm.so.6: has no entry point \"SetComInfo\""));
}

TEST_F(CommandLineTest, AnUnknownTagHasCodeThreeAndNearNames) {
    const Outcome outcome = host({"read", "Main.setpont"});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.error, AllOf(StartsWith("name: "), HasSubstr("Main.setpont"), HasSubstr("Main.setpoint")));
    EXPECT_EQ(outcome.out, "");
}

TEST_F(CommandLineTest, AllWrongTagsAreToldAtOnceAndEachOnce) {
    const char* const expected =
        "name: \"Main.setpont\": scope \"Main\" has no variable \"setpont\"; near names: Main.setpoint, Main.start, "
        "Main.stop\n"
        "name: \"Main.recipe[11]\": index 11 lies outside 1..10\n";
    const Outcome read = host({"read", "Main.setpont", "Main.counter", "Main.recipe[11]", "Main.setpont"});
    EXPECT_EQ(read.error, expected);
    EXPECT_EQ(read.exitCode, 3);
    const Outcome write = host({"write", "Main.setpont=1", "Main.counter=x", "Main.recipe[11]=2"});
    EXPECT_EQ(write.error, expected);
    EXPECT_EQ(write.exitCode, 3);
}

TEST_F(CommandLineTest, WhatConcernsAllTagsIsToldOnce) {
    const Outcome outcome = host({"--wait", "300", "read", "Main.setpoint", "Main.counter"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error,
                StartsWith("tcp: Main.setpoint, Main.counter: not received within 300 ms: no connection "));
    EXPECT_EQ(readings(outcome.error), "1 lines");
}

TEST_F(CommandLineTest, UnknownWordsAreNamedWithTheNearest) {
    const std::vector<std::pair<Texts, std::string>> rows = {
        {{"raed", "Main.counter"}, "there is no command \"raed\"; did you mean \"read\"?"},
        {{"frobnicate"},
         "there is no command \"frobnicate\"; choose from read, write, watch, tags, check, plan, status, doctor, "
         "explain, audit, undo, symbols, replay, guard"},
        {{"--symbols", kPlant},
         "there is no command; choose from read, write, watch, tags, check, plan, status, doctor, explain, audit, "
         "undo, symbols, "
         "replay, guard"},
        {{"--symbols", kPlant, "--tmeout", "5", "status"},
         "there is no option \"--tmeout\"; did you mean \"--timeout\"?"},
        {{"--symbls=x", "status"}, "there is no option \"--symbls\"; did you mean \"--symbols\"?"},
        {{"--symbols", kPlant, "read", "--interval", "5", "Main.counter"},
         "there is no option \"--interval\" with read; it belongs to watch"},
        {{"--symbols", kPlant, "watch", "--intervall", "5", "Main.counter"},
         "there is no option \"--intervall\"; did you mean \"--interval\"?"},
        {{"--symbols", kPlant, "read", "-x", "Main.counter"}, "there is no option \"-x\""},
        {{"--=x"}, "there is no option \"--=x\""},
        {{"-=x", "status"}, "there is no option \"-=x\""},
        {{"read", "Main.counter"},
         "there is no symbol file: give --symbols, AC500_SYMBOLS, or \"symbols\" in a settings file"},
    };
    for (const auto& [arguments, expected] : rows) {
        const Outcome outcome = runHost(arguments);
        EXPECT_EQ(outcome.error, "usage: " + expected + "; ac500-host --help shows how it is used\n");
        EXPECT_EQ(outcome.exitCode, 1);
    }
}

// As a variable of a shell leaves it that is not set.
TEST_F(CommandLineTest, AnOptionThatIsGivenAnEmptyValueIsNotTakenForNone) {
    for (const char* option : {"--config", "--driver", "--symbols", "--plc", "--via", "--handshake", "--record",
                               "--record-ring", "--record-when", "--record-save"}) {
        const std::string expected =
            std::string("usage: ") + option + " is given without a value; ac500-host --help shows how it is used\n";
        EXPECT_EQ(runHost({"status", option, ""}).error, expected);
        const Outcome outcome = runHost({"status", option + std::string("="), "next"});
        EXPECT_EQ(outcome.error, expected) << "the next word is not its value";
        EXPECT_EQ(outcome.exitCode, 1);
    }
    EXPECT_THAT(host({"doctor", "--bundle", "", "--yes"}).error, StartsWith("usage: --bundle is given without "));
    EXPECT_THAT(host({"plan", "--svg", "", "Main.counter"}).error, StartsWith("usage: --svg is given without "));
    EXPECT_THAT(host({"plan", "--expect", "", "Main.counter"}).error, StartsWith("usage: --expect is given without "));
}

TEST_F(CommandLineTest, ErrorsAreJsonTooWhenAskedFor) {
    const Outcome outcome = host({"--json", "read", "Main.setpont"});
    const json document = json::parse(outcome.out);
    EXPECT_EQ(document["error"]["layer"], "name");
    EXPECT_EQ(document["error"]["code"], 3);
}

TEST_F(CommandLineTest, NobodyListeningHasCodeFour) {
    for (const char* command : {"read", "status", "write"}) {
        std::vector<std::string> arguments{"--wait", "300", command};
        if (std::string(command) != "status") {
            arguments.push_back(std::string(command) == "read" ? "Main.setpoint" : "Main.setpoint=1");
        }
        const Outcome outcome = host(arguments);
        EXPECT_EQ(outcome.exitCode, 4) << command << ": " << outcome.error;
        EXPECT_THAT(outcome.error, AllOf(StartsWith("tcp: "), HasSubstr("127.0.0.1:1"))) << command;
    }
    const Outcome watch = host({"watch", "--seconds", "0.3", "Main.setpoint"});
    EXPECT_EQ(watch.exitCode, 4);
    EXPECT_THAT(watch.out, HasSubstr("Main.setpoint  ?  never received  -"));
}

TEST_F(CommandLineTest, APeerThatDoesNotAnswerHasCodeFive) {
    QTcpServer mute;
    ASSERT_TRUE(mute.listen(QHostAddress::LocalHost, 0));
    plc_ = "127.0.0.1:" + std::to_string(mute.serverPort());
    const Outcome outcome = host({"--wait", "3000", "--timeout", "200", "read", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 5);
    EXPECT_THAT(outcome.error, AllOf(StartsWith("handshake: "), HasSubstr("no reply within 200 ms")));
}

TEST_F(CommandLineTest, APlcThatRefusesEveryReadHasCodeSix) {
    startSimulator({"--fault", "status:value=3,service=read"});
    const Outcome outcome = host({"--wait", "2000", "read", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 6);
    EXPECT_THAT(outcome.error, AllOf(StartsWith("request: Main.setpoint: not received within 2000 ms"),
                                     HasSubstr("status word 0x0003")));
    const Outcome status = host({"--wait", "2000", "status"});
    EXPECT_EQ(status.exitCode, 6);
    EXPECT_THAT(status.out, AllOf(HasSubstr("handshake  ok"), HasSubstr("request    failed")));
}

TEST_F(CommandLineTest, AFailedWriteHasCodeSixAndNamesEachTag) {
    startSimulator({"--fault", "status:value=3,service=write"});
    const Outcome outcome = host({"--wait", "3000", "write", "Main.setpoint=1", "Main.enable=1"});
    EXPECT_EQ(outcome.exitCode, 6);
    EXPECT_THAT(outcome.error, AllOf(HasSubstr("request: Main.setpoint: "), HasSubstr("request: Main.enable: "),
                                     HasSubstr("the PLC refused it with status word 0x0003"),
                                     Not(HasSubstr("status 41")), Not(HasSubstr("may or may not"))));
    EXPECT_EQ(outcome.out, "");
}

TEST_F(CommandLineTest, AValueComesThroughOnALinkThatFailsNowAndThen) {
    startSimulator({"--fault", "reset:every=4"});
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(host({"read", "Main.setpoint"}).out, "Main.setpoint  100\n");
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Outputs that cannot be written
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(CommandLineTest, AnOutputThatCannotBeWrittenHasCodeSeven) {
    startSimulator();
    const std::vector<Texts> commands = {
        {"read", "Main.setpoint"},
        {"--json", "read", "Main.setpoint"},
        {"write", "Main.setpoint=1"},
        {"tags"},
        {"status"},
        {"watch", "Main.setpoint"},  // without end, but for the output
        {"watch", "--json", "Main.setpoint"},
        {"--help"},
    };
    for (const Texts& command : commands) {
        const Outcome outcome = runHostWith(">/dev/full", usual() + command);
        EXPECT_EQ(outcome.exitCode, 7) << command.front();
        EXPECT_EQ(outcome.error, "output: the standard output cannot be written: No space left on device\n");
    }
}

TEST_F(CommandLineTest, AClosedOutputHasCodeSevenAndCostsThePlcNothing) {
    startSimulator();
    const Outcome outcome = runHostWith(">&-", usual() + Texts{"read", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 7);
    EXPECT_EQ(outcome.error, "output: the standard output cannot be written: Bad file descriptor\n");
}

TEST_F(CommandLineTest, AFailureOfItsOwnGoesBeforeThatOfTheOutput) {
    const Outcome outcome = runHostWith(">/dev/full", usual() + Texts{"--wait", "100", "read", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 4);
    EXPECT_THAT(outcome.error,
                AllOf(StartsWith("tcp: "), HasSubstr("\noutput: the standard output cannot be written")));
}

TEST_F(CommandLineTest, WatchEndsQuietlyWhenItsReaderGoesAway) {
    startSimulator();
    ChildProcess process;
    ASSERT_TRUE(process.start(kHostProgram, usual() + Texts{"watch", "--interval", "20", "Main.setpoint"}));
    EXPECT_THAT(process.takeLine(kPatienceMs), HasSubstr("Main.setpoint"));
    process.closeOutput();
    EXPECT_TRUE(process.waitForEnd(kPatienceMs));
    EXPECT_EQ(process.exitCode(), 141);
    EXPECT_EQ(process.takeErrors(), "");
}

TEST_F(CommandLineTest, WatchNeedNotWriteToNoticeThatItsReaderIsGone) {
    startSimulator();
    ChildProcess process;
    ASSERT_TRUE(process.start(kHostProgram, usual() + Texts{"watch", "--interval", "80000000", "Main.setpoint"}));
    EXPECT_THAT(process.takeLine(kPatienceMs), HasSubstr("Main.setpoint"));
    process.closeOutput();
    EXPECT_TRUE(process.waitForEnd(kPatienceMs));
    EXPECT_EQ(process.exitCode(), 141);
}

TEST_F(CommandLineTest, AListThatNobodyReadsToItsEndEndsQuietly) {
    const std::string untilReaderIsGone = "trap '' PIPE; while echo x 2>/dev/null; do :; done; ";
    const Outcome outcome = run("sh", {"-c", "{ " + untilReaderIsGone + "\"$0\" \"$@\"; echo $? >&2; } | true",
                                       kHostProgram, "--symbols", kPlant, "tags"});
    EXPECT_EQ(outcome.error, "141\n");
}

TEST_F(CommandLineTest, AReaderThatGoesOnceItHasEverythingMissesNothing) {
    for (int i = 0; i < 10; ++i) {
        const Outcome outcome = run("sh", {"-c", "{ \"$0\" \"$@\"; echo $? >&2; } | head -n 2 >/dev/null", kHostProgram,
                                           "--symbols", kPlant, "tags", "Main.recipe"});
        EXPECT_EQ(outcome.error, "0\n");
    }
}

TEST_F(CommandLineTest, MessagesThatCannotBeWrittenChangeNothing) {
    startSimulator({"--fault", "reset:at=1,service=read"});
    const Outcome good = runHostWith("2>/dev/full", usual() + Texts{"--verbose", "read", "Main.setpoint"});
    EXPECT_EQ(good.exitCode, 0);
    EXPECT_EQ(good.out, "Main.setpoint  100\n");
    EXPECT_EQ(runHostWith("2>/dev/full", usual() + Texts{"read", "Main.setpont"}).exitCode, 3);
    EXPECT_EQ(runHostWith("2>/dev/full", {"frobnicate"}).exitCode, 1);
    EXPECT_EQ(runHostWith("2>&-", usual() + Texts{"--verbose", "read", "Main.setpoint"}).exitCode, 0);
    EXPECT_EQ(runHostWith("2>/dev/full", {"--=x"}).exitCode, 1);
}

}  // namespace
