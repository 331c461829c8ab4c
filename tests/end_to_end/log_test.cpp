// What both programs tell on the standard error output, as lines of text and as JSON.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/end_to_end/programs.h"
#include "tests/support/json_schema.h"
#include "tests/support/pace.h"

namespace {

using ac500::test::CommandLineTest;
using ac500::test::Outcome;
using ac500::test::outputComplaints;
using ac500::test::Texts;
using ac500::test::operator+;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class LogTest : public CommandLineTest {
protected:
    // Each line has to fit the schema, and to be whole.
    static std::vector<json> linesOf(const std::string& errors) {
        std::vector<json> lines;
        EXPECT_TRUE(errors.empty() || errors.back() == '\n');
        std::istringstream stream(errors);
        for (std::string line; std::getline(stream, line);) {
            EXPECT_EQ(outputComplaints("log", line), "") << line;
            lines.push_back(json::parse(line, nullptr, false));
        }
        return lines;
    }

    // A simulator that is not quiet, as startSimulator's is.
    void startTelling(const Texts& options) {
        const Texts arguments{"--symbols", ac500::test::kPlantFile, "--port", "0", "--log-format", "json"};
        ASSERT_TRUE(simulator_.start(ac500::test::kSimulatorProgram, arguments + options));
        const std::string line = simulator_.takeLine(ac500::test::kProgramPatienceMs);
        plc_ = line.substr(line.rfind(' ') + 1);
    }

    static std::vector<std::string> idsOf(const std::string& errors) {
        std::vector<std::string> ids;
        for (const json& line : linesOf(errors)) {
            ids.push_back(line["event"]);
        }
        return ids;
    }
};

TEST_F(LogTest, TheHostTellsASessionAsJson) {
    startSimulator({"--fault", "reset:at=2,service=read"});
    const Outcome outcome =
        host({"--log-format", "json", "--log-level", "info", "watch", "--seconds", "2", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 0);
    std::vector<std::string> ids = idsOf(outcome.error);
    ids.erase(std::find(ids.begin(), ids.end(), "list.rebuilt"));  // before or after the connection is made
    EXPECT_THAT(ids, ElementsAre("link.connected", "session.opened", "link.lost", "link.closed", "request.given_up",
                                 "link.connected", "session.opened", "link.restored", "session.ended", "link.closed"));
    const std::vector<json> lines = linesOf(outcome.error);
    EXPECT_EQ(lines[3]["event"], "link.lost");
    EXPECT_EQ(lines[3]["program"], "ac500-host");
    EXPECT_EQ(lines[3]["level"], "warning");
    EXPECT_EQ(lines[3]["layer"], "request");
    EXPECT_EQ(lines[3]["code"], 6);
    EXPECT_EQ(lines[3]["number"], 3);
    EXPECT_THAT(lines[3]["text"].get<std::string>(), HasSubstr("the connection was lost before the reply"));
    EXPECT_FALSE(lines[2].contains("code"));
}

TEST_F(LogTest, ALevelLeavesOutWhatIsBelowIt) {
    startSimulator({"--fault", "reset:at=2,service=read"});
    const Texts watch{"--log-format", "json", "watch", "--seconds", "1", "Main.setpoint"};
    EXPECT_EQ(idsOf(host(Texts{"--log-level", "error"} + watch).error), std::vector<std::string>());
    EXPECT_EQ(idsOf(host(watch).error), std::vector<std::string>());
    EXPECT_THAT(idsOf(host({"--log-level", "warning", "--log-format", "json", "--simulator", "write",
                            "Sim.fault_count=1", "Sim.fault_kind=9"})
                          .error),
                testing::Contains("link.lost"));
}

TEST_F(LogTest, WhatEndsACommandIsALineOfJsonForEachProblem) {
    const std::vector<json> names = linesOf(host({"--log-format=json", "read", "Main.setpoin", "Nowhere.x"}).error);
    ASSERT_EQ(names.size(), 2u);
    for (const json& line : names) {
        EXPECT_EQ(line["event"], "command.failed");
        EXPECT_EQ(line["level"], "error");
        EXPECT_EQ(line["layer"], "name");
        EXPECT_EQ(line["code"], 3);
    }
    const std::vector<json> usage = linesOf(host({"--log-format", "json", "read", "--frobnicate"}).error);
    ASSERT_EQ(usage.size(), 1u);
    EXPECT_EQ(usage[0]["layer"], "usage");
    EXPECT_EQ(idsOf(host({"--log-format", "json", "--wait", "200", "read", "Main.setpoint"}).error),
              std::vector<std::string>{"command.failed"});
}

TEST_F(LogTest, UnknownFormatsAndLevelsAreRefused) {
    for (const char* program : {ac500::test::kHostProgram, ac500::test::kSimulatorProgram}) {
        const Outcome format = run(program, {"--log-format", "xml", "--symbols", "x", "status"});
        EXPECT_EQ(format.exitCode, 1);
        EXPECT_THAT(format.error, HasSubstr("--log-format: xml not in {text,json}"));
        const Outcome level = run(program, {"--log-level", "loud", "--symbols", "x", "status"});
        EXPECT_EQ(level.exitCode, 1);
        EXPECT_THAT(level.error, HasSubstr("--log-level: loud not in {debug,info,warning,error}"));
    }
}

TEST_F(LogTest, TextHasTheLevelWhereNothingFailed) {
    startSimulator();
    const std::string told = host({"--log-level", "info", "read", "Main.setpoint"}).error;
    EXPECT_THAT(told, HasSubstr(" info: session opened\n"));
    EXPECT_THAT(told, Not(HasSubstr("{")));
    EXPECT_EQ(host({"--verbose", "read", "Main.setpoint"}).error, "");
}

TEST_F(LogTest, TheSimulatorTellsItsClientsAsJson) {
    startTelling({"--fault", "delay:ms=1,at=1,service=read"});
    EXPECT_EQ(host({"read", "Main.setpoint"}).exitCode, 0);
    simulator_.sendSignal(SIGTERM);
    ASSERT_TRUE(simulator_.waitForEnd(ac500::test::kProgramPatienceMs));
    const std::string errors = simulator_.takeErrors();
    EXPECT_THAT(idsOf(errors), ElementsAre("server.listening", "client.connected", "fault.applied",
                                           "client.disconnected", "server.ended"));
    const std::vector<json> lines = linesOf(errors);
    EXPECT_EQ(lines[1]["program"], "ac500-sim");
    EXPECT_EQ(lines[1]["client"], 1);
    EXPECT_EQ(lines[2]["text"], "fault delay ms=1 on a reply to read");
    EXPECT_FALSE(lines[0].contains("client"));
    EXPECT_THAT(simulator_.takeLine(1000), testing::StartsWith("ac500-sim: serving")) << "the results stay as they are";
}

TEST_F(LogTest, LevelsOfTheSimulator) {
    startTelling({"--log-level", "debug"});
    EXPECT_EQ(host({"read", "Main.setpoint"}).exitCode, 0);
    simulator_.sendSignal(SIGTERM);
    ASSERT_TRUE(simulator_.waitForEnd(ac500::test::kProgramPatienceMs));
    EXPECT_THAT(idsOf(simulator_.takeErrors()),
                ElementsAre("server.listening", "client.connected", "request.answered", "request.answered",
                            "request.answered", "client.disconnected", "server.ended"));
    const Outcome usage = run(ac500::test::kSimulatorProgram, {"--log-format=json", "--frobnicate"});
    EXPECT_EQ(usage.exitCode, 1);
    EXPECT_EQ(idsOf(usage.error), std::vector<std::string>{"command.failed"});
}

}  // namespace
