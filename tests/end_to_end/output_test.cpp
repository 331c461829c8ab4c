// Output of ac500-host for programs and spreadsheets: JSON against its schemas, CSV, lines on change and under a condition.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtCore/QTemporaryDir>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/end_to_end/programs.h"
#include "tests/support/json_schema.h"

namespace {

using ac500::test::CommandLineTest;
using ac500::test::Outcome;
using ac500::test::Texts;
using ac500::test::operator+;
using ac500::test::kPlantFile;
using ac500::test::outputComplaints;
using ac500::test::schemaComplaints;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class OutputTest : public CommandLineTest {
protected:
    static std::vector<std::string> linesOf(const std::string& text) {
        std::vector<std::string> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    // Some lines of a watch.
    Outcome watch(const Texts& arguments) const {
        return host(Texts{"watch", "--seconds", "3", "--interval", "300"} + arguments);
    }
};

// ---------------------------------------------------------------------------------------------------------------------
// JSON
// ---------------------------------------------------------------------------------------------------------------------

// Each of them is held against its schema by the fixture.
TEST_F(OutputTest, JsonOfEveryCommandFitsItsSchema) {
    startSimulator();
    const Texts several{"Main.setpoint", "Main.recipe", "Main.flags.b[3]", "Main.batch_name", "Main.enable"};
    EXPECT_EQ(host(Texts{"read", "--json"} + several).exitCode, 0);
    EXPECT_EQ(host(Texts{"watch", "--json", "--seconds", "1", "--interval", "100"} + several).exitCode, 0);
    EXPECT_EQ(host({"write", "--json", "Main.recipe[1..2]=1,2", "Main.batch_name=x", "Main.flags.b[3]=1"}).exitCode, 0);
    EXPECT_EQ(host({"tags", "--json"}).exitCode, 0);
    EXPECT_EQ(host({"status", "--json"}).exitCode, 0);
}

TEST_F(OutputTest, JsonOfValuesAsPeopleKnowThemFitsItsSchema) {
    const QTemporaryDir directory;
    const std::string symbols = directory.filePath("s.json").toStdString();
    std::ofstream(symbols) << R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 64}],
        "scopes": [{"name": "Main", "variables": [
          {"name": "pressure", "type": "INT", "area": 1, "offset": 0, "unit": "bar",
           "scale": {"factor": 0.1, "offset": -40}, "min": -40, "max": 60.5},
          {"name": "mode", "type": "INT", "area": 1, "offset": 2, "names": {"0": "off", "1": "manual"},
           "readOnly": true},
          {"name": "total", "type": "ULINT", "area": 1, "offset": 8, "min": 1, "max": 18446744073709551615},
          {"name": "delay", "type": "TIME", "area": 1, "offset": 16}]}]})";
    const json tags = json::parse(runHost({"--symbols", symbols, "tags", "--json"}).out);
    EXPECT_EQ(tags["tags"][0]["unit"], "bar");
    EXPECT_EQ(tags["tags"][2]["min"], 1);
    EXPECT_EQ(tags["tags"][2]["max"], "18446744073709551615");
    startSimulator({}, symbols);
    const Outcome outcome =
        runHost({"--driver", ac500::test::kDriver, "--symbols", symbols, "--plc", plc_, "read", "--json", "Main.*"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    const json values = json::parse(outcome.out)["values"];
    EXPECT_EQ(values[0]["value"], -40.0);
    EXPECT_EQ(values[1]["text"], "off");
}

TEST_F(OutputTest, JsonOfFailuresFitsItsSchema) {
    EXPECT_EQ(host({"--wait", "100", "read", "--json", "Main.setpoint"}).exitCode, 4);
    EXPECT_EQ(host({"--wait", "100", "write", "--json", "Main.setpoint=1"}).exitCode, 4);
    EXPECT_EQ(host({"--wait", "100", "status", "--json"}).exitCode, 4);
    EXPECT_EQ(host({"watch", "--seconds", "0.3", "--json", "Main.setpoint"}).exitCode, 4);
    EXPECT_EQ(host({"tags", "--json", "Main.x*"}).exitCode, 3);
    EXPECT_EQ(host({"read", "--json", "@/nowhere"}).exitCode, 2);
}

TEST(OutputSchemas, TellWhatDoesNotFit) {
    EXPECT_THAT(outputComplaints("tags", R"({"version": 1, "tags": []})"), "");
    EXPECT_THAT(outputComplaints("tags", R"({"tags": []})"), HasSubstr("required \"version\""));
    EXPECT_THAT(outputComplaints("tags", R"({"version": 2, "tags": []})"), HasSubstr("const 1"));
    EXPECT_THAT(outputComplaints("tags", R"({"version": 1})"), HasSubstr("anyOf"));
    EXPECT_THAT(outputComplaints("tags", R"({"version": 1, "tags": [], "more": 1})"),
                HasSubstr("additionalProperties"));
    EXPECT_THAT(
        outputComplaints("tags", R"({"version": 1, "tags": [{"tag": ""}]})"),
        AllOf(HasSubstr("document.tags[0]: required \"comment\""), HasSubstr("document.tags[0].tag: minLength")));
    EXPECT_THAT(outputComplaints("read", R"({"version": 1, "values": [{"tag": "a", "type": "INT", "value": [1, [2]],
        "state": "old", "age_ms": -1}]})"),
                AllOf(HasSubstr(".value: anyOf"), HasSubstr(".state: enum"), HasSubstr(".age_ms: anyOf")));
    EXPECT_THAT(outputComplaints("read", R"({"version": 1, "error": {"layer": "tcp", "code": 9, "message": "x"}})"),
                HasSubstr("document.error.code: maximum 8"));
    EXPECT_THAT(outputComplaints("watch", R"({"version": 1, "time": "2026-11-22 07:45:12.345", "elapsed_ms": 1,
        "link": "online", "values": []})"),
                HasSubstr("document.time: pattern"));
    EXPECT_THAT(outputComplaints("tags", "no JSON"), HasSubstr("is no JSON"));
    EXPECT_THAT(schemaComplaints(json::parse(R"({"oneOf": []})"), 1),
                testing::ElementsAre("document: the schema has a keyword that is not understood: oneOf"));
}

// ---------------------------------------------------------------------------------------------------------------------
// CSV
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(OutputTest, ReadAsCsvHasARowForEachElement) {
    startSimulator();
    const Outcome outcome =
        host({"read", "--csv", "Main.setpoint", "Main.recipe[2..3]", "Main.batch_name", "Main.flags"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.out, MatchesRegex("tag,type,value,unit,state,age_ms\n"
                                          "Main.setpoint,REAL,100,,fresh,[0-9]+\n"
                                          "Main.recipe\\[2\\],INT,80,,fresh,[0-9]+\n"
                                          "Main.recipe\\[3\\],INT,40,,fresh,[0-9]+\n"
                                          "Main.batch_name,STRING,BATCH-0001,,fresh,[0-9]+\n"
                                          "Main.flags,WORD,1,,fresh,[0-9]+\n"));
}

TEST_F(OutputTest, ATextOfThePlcIsNoFormulaInCsv) {
    startSimulator();
    EXPECT_EQ(host({"write", "Main.batch_name=\"=1+1, \\\"x\\\"\"", "Main.setpoint=-5"}).exitCode, 0);
    const Outcome outcome = host({"read", "--csv", "Main.batch_name", "Main.setpoint"});
    EXPECT_THAT(outcome.out, HasSubstr("\nMain.batch_name,STRING,\"'=1+1, \"\"x\"\"\",,fresh,"));
    EXPECT_THAT(outcome.out, HasSubstr("\nMain.setpoint,REAL,-5,,fresh,"));
}

TEST_F(OutputTest, TagsAsCsv) {
    const Outcome outcome = runHost({"--symbols", kPlantFile, "tags", "--csv", "Main.re*", "Main.flags"});
    EXPECT_EQ(outcome.out,
              "tag,type,area,address,unit,comment\n"
              "Main.recipe,INT[1..10],1,92,,quick recipe of the panel\n"
              "Main.reset,BIT,3,2,,push-button\n"
              "Main.flags,WORD (bits),1,112,,\"bit 0 day, bit 1 night, bit 2 rain, bit 3 service\"\n");
}

TEST_F(OutputTest, TagsByNameAlone) {
    EXPECT_EQ(runHost({"--symbols", kPlantFile, "tags", "--names", "Main.re*"}).out, "Main.recipe\nMain.reset\n");
}

TEST_F(OutputTest, WatchAsCsvHasTheTimeInEachRow) {
    startSimulator();
    const std::vector<std::string> lines = linesOf(watch({"--csv", "Main.setpoint"}).out);
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines.front(), "time,tag,type,value,unit,state,age_ms");
    EXPECT_THAT(lines.back(), MatchesRegex("20..-..-..T..:..:..\\....Z,Main.setpoint,REAL,100,,fresh,[0-9]+"));
}

TEST_F(OutputTest, CsvAndJsonExcludeEachOther) {
    const Outcome outcome = host({"read", "--csv", "--json", "Main.setpoint"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, StartsWith("usage: --csv, --json and --names exclude each other; "));
}

TEST_F(OutputTest, CsvThatCannotBeWrittenHasCodeSeven) {
    startSimulator();
    for (const Texts& command :
         {Texts{"read", "--csv", "Main.setpoint"}, Texts{"tags", "--csv"}, Texts{"watch", "--csv", "Main.setpoint"},
          Texts{"watch", "--on-change", "Main.setpoint"}}) {
        EXPECT_EQ(runHostWith(">/dev/full", usual() + command).exitCode, 7) << command[1];
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Watching changes and conditions
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(OutputTest, OnChangeShowsWhatStaysTheSameOnce) {
    startSimulator();
    const Outcome outcome = watch({"--on-change", "Main.setpoint", "Main.counter"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    const std::vector<std::string> lines = linesOf(outcome.out);
    const auto count = [&](const char* text) {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return line.find(text) != std::string::npos; });
    };
    EXPECT_EQ(count("  Main.setpoint  100  fresh  "), 1);
    EXPECT_GE(count("  Main.counter  "), 3);
}

TEST_F(OutputTest, WhenShowsLinesOnlyWhileTheConditionHolds) {
    startSimulator();
    EXPECT_THAT(watch({"--when", "Main.setpoint == 100", "Main.batch_name"}).out,
                HasSubstr("  \"BATCH-0001\"  fresh  "));
    const Outcome never = watch({"--when", "Main.setpoint > 100", "Main.batch_name"});
    EXPECT_EQ(never.out, "");
    EXPECT_EQ(never.exitCode, 0) << never.error;
}

TEST_F(OutputTest, AConditionThatBeginsToHoldShowsWhatChangedBefore) {
    startSimulator();
    ac500::test::ChildProcess process;
    ASSERT_TRUE(
        process.start(ac500::test::kHostProgram, usual() + Texts{"watch", "--interval", "50", "--on-change", "--when",
                                                                 "Main.setpoint == 5", "Main.batch_name"}));
    EXPECT_EQ(host({"write", "Main.setpoint=5"}).exitCode, 0);
    EXPECT_THAT(process.takeLine(ac500::test::kProgramPatienceMs),
                HasSubstr("  Main.batch_name  \"BATCH-0001\"  fresh"));
    process.sendSignal(SIGINT);
    EXPECT_TRUE(process.waitForEnd(ac500::test::kProgramPatienceMs));
    EXPECT_EQ(process.takeOutput(), "");
}

TEST_F(OutputTest, AWrongConditionIsToldBeforeAnythingIsDone) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"Main.setpoint", "usage: --when \"Main.setpoint\": there is no operator; "},
        {"Main.setpoint = 5", "usage: --when \"Main.setpoint = 5\": there is no operator; "},
        {"Main.setpont == 5", "name: \"Main.setpont\": "},
        {"Main.setpoint == warm", "usage: --when: Main.setpoint: \"warm\" is no number"},
    };
    for (const auto& [condition, expected] : rows) {
        const Outcome outcome = host({"watch", "--when", condition, "Main.counter"});
        EXPECT_THAT(outcome.error, StartsWith(expected));
        EXPECT_NE(outcome.exitCode, 0);
    }
}

TEST_F(OutputTest, AListGivesTagsTheirOwnIntervals) {
    startSimulator();
    ac500::test::ChildProcess process;
    ASSERT_TRUE(process.start("sh", Texts{"-c",
                                          "printf 'tag,interval\\nMain.setpoint,50\\nMain.recipe,80000000\\n' | "
                                          "\"$0\" \"$@\" -",
                                          ac500::test::kHostProgram} +
                                        usual() + Texts{"watch", "--seconds", "2"}));
    ASSERT_TRUE(process.waitForEnd(ac500::test::kProgramPatienceMs));
    const std::vector<std::string> lines = linesOf(process.takeOutput());
    const auto ofRecipe = std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find("  Main.recipe  ") != std::string::npos;
    });
    EXPECT_EQ(ofRecipe, 2);  // the first and the last look
    EXPECT_GE(lines.size(), 12u);
}

}  // namespace
