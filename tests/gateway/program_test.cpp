// ac500-gateway as a program: settings, messages, its end, and what it tells systemd.
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <sstream>

#include "tests/gateway/gateway_plant.h"
#include "tests/gateway/manager_socket.h"
#include "tests/support/child_process.h"
#include "tests/support/json_schema.h"

namespace ac500::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr int kEnough = paced(20000);

class ProgramTest : public testing::Test {
protected:
    // The settings of a gateway to this address without a page; `more` begins with a comma.
    std::string settings(const std::string& plc, const std::string& more = "") const {
        folder.file("plant.json", kPlantSymbols);
        return folder.file("gateway.json", R"({"plc": ")" + plc + R"(", "symbols": "plant.json", "driver": ")" +
                                               kDriver + R"(", "tags": ["Main"], "cycle": 20, "page": false)" + more +
                                               "}");
    }

    std::string addressOfPlc() const { return "127.0.0.1:" + std::to_string(simulator.port()); }

    void start(const std::vector<std::string>& arguments) { ASSERT_TRUE(program.start(kGatewayProgram, arguments)); }

    int run(const std::vector<std::string>& arguments) {
        start(arguments);
        EXPECT_TRUE(program.waitForEnd(kEnough));
        return program.exitCode();
    }

    int endBySignal() {
        program.sendSignal(SIGTERM);
        EXPECT_TRUE(program.waitForEnd(kEnough));
        return program.exitCode();
    }

    const TemporaryFolder folder;
    sim::EmbeddedSimulator simulator{symbol_file::parseSymbolFile(kPlantSymbols).file};
    ChildProcess program;
};

TEST_F(ProgramTest, ServesUntilASignalEndsIt) {
    start({settings(addressOfPlc())});
    EXPECT_EQ(program.takeLine(kEnough), "ac500-gateway: serving 9 tags of " + addressOfPlc());
    EXPECT_TRUE(eventually([&] { return simulator.counters().reads > 2; }));
    EXPECT_EQ(endBySignal(), 0);
    const std::string errors = program.takeErrors();
    EXPECT_THAT(errors, HasSubstr(" ac500-gateway: info: session opened\n"));
    EXPECT_THAT(errors, HasSubstr(" ac500-gateway: info: the session was ended\n"));
}

TEST_F(ProgramTest, TellsEventsAsLinesOfJson) {
    start({"--log-format", "json", settings(addressOfPlc(), R"(, "name": "Mixer")")});
    EXPECT_EQ(program.takeLine(kEnough), "ac500-gateway: serving 9 tags of Mixer");
    EXPECT_TRUE(eventually([&] { return simulator.counters().reads > 2; }));
    EXPECT_EQ(endBySignal(), 0);
    const std::string errors = program.takeErrors();
    EXPECT_THAT(errors, StartsWith("{\"version\":1,\"time\":\""));
    std::istringstream lines(errors);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_EQ(outputComplaints("log", line), "") << line;
    }
    EXPECT_THAT(errors, HasSubstr("\"program\":\"ac500-gateway\",\"level\":\"info\",\"event\":\"session.opened\""));
}

TEST_F(ProgramTest, TellsTheServiceManagerThatItIsReadyThatItWorksAndThatItEnds) {
    const std::string path = folder.path() + "/notify";
    const ManagerSocket socket(path);
    ASSERT_TRUE(socket.isBound());
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    setenv("WATCHDOG_USEC", "300000", 1);
    start({settings(addressOfPlc())});
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
    std::vector<std::string> told;
    const auto has = [&](const std::string& message, long times) {
        for (std::string next = socket.next(); !next.empty(); next = socket.next()) {
            told.push_back(next);
        }
        return std::count(told.begin(), told.end(), message) >= times;
    };
    EXPECT_TRUE(eventually([&] { return has("WATCHDOG=1", 3); }));
    ASSERT_GE(told.size(), 2u);
    EXPECT_EQ(told[0], "READY=1");
    EXPECT_EQ(told[1], "STATUS=serving 9 tags of " + addressOfPlc());
    EXPECT_EQ(endBySignal(), 0);
    EXPECT_TRUE(has("STOPPING=1", 1));
}

TEST_F(ProgramTest, BeatsWhileThePlcIsAway) {
    const std::string path = folder.path() + "/notify";
    const ManagerSocket socket(path);
    ASSERT_TRUE(socket.isBound());
    const std::string address = addressOfPlc();
    simulator.stop();
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    setenv("WATCHDOG_USEC", "300000", 1);
    start({settings(address)});
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
    int beats = 0;
    EXPECT_TRUE(eventually([&] {
        beats += socket.next() == "WATCHDOG=1" ? 1 : 0;
        return beats == 5;
    }));
    EXPECT_EQ(endBySignal(), 0);
    EXPECT_THAT(program.takeErrors(), HasSubstr("Connection refused"));
}

// What a signal saves replays exactly, by the tools of the host.
TEST_F(ProgramTest, SavesItsLastMinutesWhenASignalAsksForThem) {
    start({settings(addressOfPlc())});
    EXPECT_EQ(program.takeLine(kEnough), "ac500-gateway: serving 9 tags of " + addressOfPlc());
    EXPECT_TRUE(eventually([&] { return simulator.counters().reads > 20; }));
    const std::string record = folder.path() + "/ac500-gateway.record";
    program.sendSignal(SIGUSR1);
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(record); }));
    EXPECT_EQ(endBySignal(), 0);
    EXPECT_THAT(program.takeErrors(), HasSubstr(record));
    ChildProcess replay;
    ASSERT_TRUE(replay.start(kHostProgram, {"replay", record, "--driver", kDriver}));
    EXPECT_TRUE(replay.waitForEnd(kEnough));
    EXPECT_EQ(replay.exitCode(), 0) << replay.takeErrors();
    const std::string told = replay.takeOutput();
    EXPECT_THAT(told, HasSubstr("ac500-gateway"));
    EXPECT_THAT(told, HasSubstr("result  exact: all "));
}

TEST_F(ProgramTest, SavesItsLastMinutesAtTheFirstFailureWhenTheSettingsSaySo) {
    const std::string address = addressOfPlc();
    simulator.stop();
    start({settings(address, R"(, "record": {"save": "first.record", "atFailure": true})")});
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(folder.path() + "/first.record"); }));
    EXPECT_EQ(endBySignal(), 0);
}

TEST_F(ProgramTest, RecordsNothingWhenTheSettingsSaySo) {
    start({settings(addressOfPlc(), R"(, "record": false)")});
    EXPECT_EQ(program.takeLine(kEnough), "ac500-gateway: serving 9 tags of " + addressOfPlc());
    program.sendSignal(SIGUSR1);
    EXPECT_TRUE(eventually([&] { return simulator.counters().reads > 5; }));
    EXPECT_EQ(endBySignal(), 0);
    EXPECT_FALSE(std::filesystem::exists(folder.path() + "/ac500-gateway.record"));
}

TEST_F(ProgramTest, CheckSaysWhatWouldBeServedWithoutThePlc) {
    ASSERT_EQ(run({"token", "anna", "write"}), 0);
    const std::string printed = program.takeOutput();
    const std::size_t line = printed.find("\nanna write ");
    ASSERT_NE(line, std::string::npos) << printed;
    const std::string tokens = folder.file("tokens", printed.substr(line + 1));
    std::filesystem::permissions(tokens, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    const std::string file = settings(
        "127.0.0.1:1", R"(, "trend": {"tags": ["Main.int"]}, "write": {"tags": ["Main.level"]}, "tokens": "tokens")");
    EXPECT_EQ(run({"check", file}), 0);
    EXPECT_THAT(program.takeOutput(),
                StartsWith(file + ": good; 9 tags are read, 1 of them kept for trends, 1 writable; symbols "));
    EXPECT_EQ(program.takeErrors(), "");
}

TEST_F(ProgramTest, MistakesInTheSettingsEndItWithTheirLines) {
    const std::string file = settings("127.0.0.1:1", ", \"cycel\": 5,\n\"timeout\": 0");
    EXPECT_EQ(run({"check", file}), 2);
    const std::string errors = program.takeErrors();
    EXPECT_THAT(errors, HasSubstr("ac500-gateway: file: " + file + ":1:"));
    EXPECT_THAT(errors, HasSubstr("unknown key \"cycel\"; did you mean \"cycle\"?\n"));
    EXPECT_THAT(errors, HasSubstr(file + ":2:12: timeout: is 0; write a whole number from 1 to 86400000\n"));
    EXPECT_EQ(run({file}), 2);
}

TEST_F(ProgramTest, CheckLooksAtTheFilesOfThePage) {
    EXPECT_EQ(run({"check", settings("127.0.0.1:1", R"(, "tokens": "none")")}), 2);
    EXPECT_THAT(program.takeErrors(), HasSubstr(folder.path() + "/none"));
    folder.file("plant.json", kPlantSymbols);
    const std::string file =
        folder.file("tls.json", R"({"plc": "127.0.0.1:1", "symbols": "plant.json", "tags": ["Main"],
        "page": {"certificate": "cert.pem", "key": "key.pem"}})");
    EXPECT_EQ(run({"check", file}), 2);
    EXPECT_THAT(program.takeErrors(), HasSubstr(folder.path() + "/cert.pem"));
}

TEST_F(ProgramTest, AnAddressThatIsTakenEndsIt) {
    folder.file("plant.json", kPlantSymbols);
    const std::string taken = std::to_string(simulator.port());
    const std::string file = folder.file(
        "taken.json", R"({"plc": "127.0.0.1:1", "symbols": "plant.json", "driver": ")" + std::string(kDriver) +
                          R"(", "tags": ["Main"], "page": {"listen": "127.0.0.1:)" + taken + R"("}})");
    EXPECT_EQ(run({file}), 4);
    EXPECT_THAT(program.takeErrors(), HasSubstr("ac500-gateway: tcp: the page: "));
}

// Before it reaches the PLC, and whatever doors the settings name.
TEST_F(ProgramTest, ASecondOneWithTheSameSettingsEnds) {
    const std::string file = settings(addressOfPlc());
    start({file});
    EXPECT_TRUE(eventually([&] { return simulator.counters().reads > 2; }));
    ChildProcess second;
    ASSERT_TRUE(second.start(kGatewayProgram, {file}));
    EXPECT_TRUE(second.waitForEnd(kEnough));
    EXPECT_EQ(second.exitCode(), 2);
    EXPECT_THAT(second.takeErrors(), HasSubstr("/gateway.json: another ac500-gateway serves by these settings"));
    EXPECT_EQ(simulator.counters().connections, 1);
    EXPECT_EQ(endBySignal(), 0);
    EXPECT_EQ(run({"check", file}), 0);
}

TEST_F(ProgramTest, APipeInThePlaceOfTheSettingsIsRefusedAndNotWaitedFor) {
    const std::string file = settings(addressOfPlc());
    start({file});
    EXPECT_EQ(program.takeLine(kEnough), "ac500-gateway: serving 9 tags of " + addressOfPlc());
    std::filesystem::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    program.sendSignal(SIGHUP);
    std::string errors;
    EXPECT_TRUE(eventually([&] {
        program.takeLine(20);  // which collects the errors, too
        errors += program.takeErrors();
        return errors.find("/gateway.json: is no regular file") != std::string::npos;
    })) << errors;
    EXPECT_EQ(endBySignal(), 0);
}

TEST_F(ProgramTest, TagsThatDoNotResolveEndIt) {
    EXPECT_EQ(run({"check", settings("127.0.0.1:1", R"(, "trend": {"tags": ["Main.nit"]})")}), 3);
    EXPECT_THAT(program.takeErrors(), HasSubstr("ac500-gateway: name: trend.tags: "));
}

TEST_F(ProgramTest, WrongUseIsTold) {
    EXPECT_EQ(run({}), 1);
    EXPECT_EQ(program.takeErrors(),
              "ac500-gateway: SETTINGS is missing: name the settings file\nTry ac500-gateway --help.\n");
    EXPECT_EQ(run({"token", "anna", "admin"}), 1);
    EXPECT_EQ(run({"--version"}), 0);
    EXPECT_EQ(program.takeOutput(), "ac500-gateway 0.1.0\n");
}

TEST_F(ProgramTest, TheExamplesAreGood) {
    EXPECT_EQ(run({"check", projectFile("examples/gateway.json")}), 0) << program.takeErrors();
    EXPECT_EQ(run({"check", projectFile("examples/gateway-broker.json")}), 0) << program.takeErrors();
}

TEST_F(ProgramTest, CheckSaysWhatABrokerHasToBear) {
    const std::string file =
        settings("127.0.0.1:1", R"(, "broker": {"servers": ["mqtt://127.0.0.1:1"], "topic": "plant/mixer",
        "tags": ["Main.on", "Main.int"], "report": [{"tags": ["Main"], "smallestInterval": 2000}]})");
    EXPECT_EQ(run({"check", file}), 0) << program.takeErrors();
    const std::string output = program.takeOutput();
    EXPECT_THAT(output, HasSubstr("\nbroker: all 2 tags changing in each pass: 0.5 messages and "));
    EXPECT_THAT(output, HasSubstr("\nbroker: a tenth of them, 1: 0.5 messages and "));
    EXPECT_THAT(output, HasSubstr(" a second; the memory is enough for "));
    EXPECT_THAT(output, HasSubstr("\nbroker: the largest message has "));
}

TEST_F(ProgramTest, TagsThatABrokerCannotHaveAreNamed) {
    const std::string start = R"(, "broker": {"servers": ["mqtt://127.0.0.1:1"], "topic": "plant/mixer", )";
    EXPECT_EQ(run({"check", settings("127.0.0.1:1", start + R"("tags": ["Mian"], "report": [{"tags": ["Pmup"]}]})")}),
              3);
    const std::string errors = program.takeErrors();
    EXPECT_THAT(errors, HasSubstr("name: broker.tags: \"Mian\" stands for none of the tags that are read"));
    EXPECT_THAT(errors, HasSubstr("broker.report: \"Pmup\" stands for none of the tags that are read"));
    EXPECT_EQ(run({"check", settings("127.0.0.1:1", start + R"("commands": {"tags": ["Main.int"]}},
        "write": {"tags": ["Main.level"]})")}),
              3);
    EXPECT_THAT(program.takeErrors(), HasSubstr("broker.commands.tags: Main.int is not writable here; name it in "
                                                "\"write.tags\", too, or remove it"));
}

}  // namespace
}  // namespace ac500::test
