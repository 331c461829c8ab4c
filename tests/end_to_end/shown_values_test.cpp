// Values as people know them, on the command line: shown, written and refused.
#include <QtCore/QTemporaryDir>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/end_to_end/programs.h"

namespace {

using ac500::test::kDriver;
using ac500::test::operator+;
using ac500::test::Outcome;
using ac500::test::Texts;
using ac500::test::operator+;
using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr char kNotedPlant[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 1024}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "level", "type": "INT", "area": 1, "offset": 0, "unit": "m", "scale": {"factor": 0.01}, "min": 0, "max": 9.5},
    {"name": "mode", "type": "USINT", "area": 1, "offset": 2, "names": {"0": "off", "1": "manual", "2": "automatic"}},
    {"name": "delay", "type": "TIME", "area": 1, "offset": 4, "max": "T#1h"},
    {"name": "serial", "type": "STRING(8)", "area": 1, "offset": 8, "readOnly": true},
    {"name": "labels", "type": "STRING(4)", "area": 1, "offset": 20, "array": [[1, 3]]},
    {"name": "mask", "type": "WORD", "area": 1, "offset": 40, "bits": true}
  ]}],
  "simulation": {"initial": [
    {"tag": "Main.level", "value": 250}, {"tag": "Main.mode", "value": 2}, {"tag": "Main.delay", "value": "T#1m30s"},
    {"tag": "Main.serial", "value": "SN-00017"}, {"tag": "Main.labels[2]", "value": "two"}]}})~";

class ShownValuesTest : public ac500::test::CommandLineTest {
protected:
    void SetUp() override {
        symbols_ = folder_.filePath("plant.json").toStdString();
        std::ofstream(symbols_) << kNotedPlant;
        ASSERT_TRUE(
            simulator_.start(ac500::test::kSimulatorProgram, Texts{"--symbols", symbols_, "--port", "0", "--quiet"}));
        const std::string line = simulator_.takeLine(ac500::test::kProgramPatienceMs);
        plc_ = line.substr(line.rfind(' ') + 1);
        ASSERT_THAT(plc_, MatchesRegex("127\\.0\\.0\\.1:[0-9]+")) << simulator_.takeErrors();
    }

    Outcome noted(const Texts& arguments) const {
        return runHost(Texts{"--driver", kDriver, "--symbols", symbols_, "--plc", plc_} + arguments);
    }

    QTemporaryDir folder_;
    std::string symbols_;
};

TEST_F(ShownValuesTest, ReadShowsThemAsPeopleDo) {
    const Outcome outcome =
        noted({"read", "Main.level", "Main.mode", "Main.delay", "Main.serial", "Main.labels", "Main.labels[2]"});
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.out,
              "Main.level      2.50 m\n"
              "Main.mode       automatic\n"
              "Main.delay      T#1m30s\n"
              "Main.serial     \"SN-00017\"\n"
              "Main.labels     \"\", \"two\", \"\"\n"
              "Main.labels[2]  \"two\"\n");
}

TEST_F(ShownValuesTest, ProgramsGetNumbersAndTheTextBeside) {
    const Outcome outcome = noted({"read", "--json", "Main.level", "Main.mode", "Main.delay", "Main.serial"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    const json values = json::parse(outcome.out)["values"];
    ASSERT_EQ(values.size(), 4u);
    EXPECT_EQ(values[0]["value"], 2.5);
    EXPECT_EQ(values[0]["text"], "2.50 m");
    EXPECT_EQ(values[1]["value"], 2);
    EXPECT_EQ(values[1]["text"], "automatic");
    EXPECT_EQ(values[2]["value"], 90000);
    EXPECT_EQ(values[2]["text"], "T#1m30s");
    EXPECT_EQ(values[2]["type"], "TIME");
    EXPECT_EQ(values[3]["type"], "STRING(8)");
    EXPECT_FALSE(values[3].contains("text"));
}

TEST_F(ShownValuesTest, TablesHaveScaledNumbers) {
    const Outcome outcome = noted({"read", "--csv", "Main.level", "Main.mode"});
    EXPECT_THAT(outcome.out, HasSubstr("Main.level,INT,2.5,m,fresh,"));
    EXPECT_THAT(outcome.out, HasSubstr("Main.mode,USINT,2,,fresh,"));
}

TEST_F(ShownValuesTest, WriteTakesThemAsTheyAreShown) {
    const Outcome outcome = noted({"write", "Main.level=3.456 m", "Main.mode=MANUAL", "Main.delay=T#2s",
                                   "Main.labels[1]=four", "Main.mask=2#1010_0000_0000_0001"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.out,
              "Main.level      3.46 m\n"
              "Main.mode       manual\n"
              "Main.delay      T#2s\n"
              "Main.labels[1]  \"four\"\n"
              "Main.mask       0xA001\n");
}

TEST_F(ShownValuesTest, WhatMustNotBeWrittenIsRefusedBeforeAnythingIs) {
    const auto refusal = [this](const std::string& target) {
        const Outcome outcome = noted({"write", "Main.mask=1", target});
        EXPECT_EQ(outcome.exitCode, 1);
        return outcome.error;
    };
    EXPECT_EQ(refusal("Main.level=9.6"), "usage: Main.level: 9.6 m is above the largest value, 9.5 m\n");
    EXPECT_EQ(refusal("Main.level=-0.01"), "usage: Main.level: -0.01 m is below the smallest value, 0 m\n");
    EXPECT_EQ(refusal("Main.mode=automtic"),
              "usage: Main.mode: \"automtic\" is no name of a value; did you mean automatic?\n");
    EXPECT_EQ(refusal("Main.serial=SN"), "usage: Main.serial: it is read-only; the symbol file says so\n");
    EXPECT_EQ(refusal("Main.delay=T#61m"), "usage: Main.delay: T#1h1m is above the largest value, T#1h\n");
    EXPECT_EQ(refusal("Main.labels[1]=fives"),
              "usage: Main.labels[1]: the string has 5 characters; STRING(4) takes at most 4\n");
    EXPECT_EQ(noted({"read", "Main.mask"}).out, "Main.mask  0x0000\n");
}

TEST_F(ShownValuesTest, ConditionsAreInTheSameWords) {
    for (const char* condition : {"Main.level >= 2.5", "Main.level == 2.50 m", "Main.mode == automatic",
                                  "Main.delay < T#2m", "Main.level < 100"}) {
        const Outcome outcome = noted({"watch", "--seconds", "1", "--when", condition, "Main.mask"});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        EXPECT_THAT(outcome.out, HasSubstr("Main.mask  0x0000")) << condition;
    }
}

TEST_F(ShownValuesTest, TagsTellWhatIsKnownOfThem) {
    const json tags = json::parse(noted({"tags", "--json"}).out)["tags"];
    EXPECT_EQ(tags[0]["unit"], "m");
    EXPECT_EQ(tags[0]["scale"], json::parse(R"({"factor": 0.01, "offset": 0.0})"));
    EXPECT_EQ(tags[0]["max"], 9.5);
    EXPECT_EQ(tags[1]["names"], json::parse(R"({"0": "off", "1": "manual", "2": "automatic"})"));
    EXPECT_EQ(tags[2]["max"], 3600000);
    EXPECT_EQ(tags[3]["read_only"], true);
    EXPECT_FALSE(tags[4].contains("unit"));
}

}  // namespace
