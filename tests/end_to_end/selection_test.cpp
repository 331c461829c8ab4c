// What stands for several tags on the command line of ac500-host: patterns, structures, arrays, lists.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtCore/QTemporaryDir>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/end_to_end/programs.h"
#include "tests/support/pace.h"

namespace {

using ac500::test::CommandLineTest;
using ac500::test::kHostProgram;
using ac500::test::kPlantFile;
using ac500::test::Outcome;
using ac500::test::Texts;
using ac500::test::operator+;
using testing::HasSubstr;
using testing::StartsWith;

class SelectionTest : public CommandLineTest {
protected:
    // The name of a new file with this content.
    std::string file(const std::string& name, const std::string& content) const {
        const std::string path = directory_.filePath(QString::fromStdString(name)).toStdString();
        std::ofstream(path) << content;
        return path;
    }

    Outcome tags(const Texts& selection) const { return runHost(Texts{"--symbols", kPlantFile, "tags"} + selection); }

    // A symbol file of so many variables, Main.value_00000 and so on.
    std::string manyVariables(int count) const {
        nlohmann::json variables;
        for (int i = 0; i < count; ++i) {
            variables.push_back({{"name", "value_" + std::to_string(100000 + i).substr(1)},
                                 {"type", "INT"},
                                 {"area", 1},
                                 {"offset", 2 * i}});
        }
        const nlohmann::json symbols = {{"format", "ac500-symbols"},
                                        {"version", 1},
                                        {"areas", {{{"number", 1}, {"bytes", 2 * count}}}},
                                        {"scopes", {{{"name", "Main"}, {"variables", variables}}}}};
        return file("many.json", symbols.dump());
    }

    QTemporaryDir directory_;
};

TEST_F(SelectionTest, TagsListsWhatAPatternAStructureAndAnElementName) {
    const Outcome outcome = tags({"Main.re*", "Main.recipe[3]", "Main.flags.b[3]"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.out, StartsWith("TAG          TYPE         AREA  ADDRESS  COMMENT\n"
                                        "Main.recipe  INT[1..10]   1     92       quick recipe of the panel\n"
                                        "Main.reset   BIT          3     bit 2    push-button\n"
                                        "Main.flags   WORD (bits)  1     112      "));
    EXPECT_THAT(outcome.out, HasSubstr("\n3 of "));
    EXPECT_THAT(tags({"Distribution.network_pumps[2].motor"}).out, HasSubstr("\n8 of "));
}

TEST_F(SelectionTest, ReadTakesPatternsAndStructures) {
    startSimulator();
    EXPECT_EQ(host({"read", "main.SETP*", "Main.batch_*"}).out,
              "Main.setpoint    100\nMain.batch_name  \"BATCH-0001\"\n");
    const Outcome outcome = host({"read", "--json", "Distribution.network_pumps[2].motor"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(nlohmann::json::parse(outcome.out)["values"].size(), 8u);
}

TEST_F(SelectionTest, WhatTagsPrintsFeedsRead) {
    startSimulator();
    const std::string line =
        "\"$0\" --symbols \"$1\" tags --json Main.setpoint Main.batch_name | "
        "\"$0\" --symbols \"$1\" --driver \"$2\" --plc \"$3\" read -";
    const Outcome outcome = run("sh", {"-c", line, kHostProgram, kPlantFile, ac500::test::kDriver, plc_});
    EXPECT_EQ(outcome.out, "Main.setpoint    100\nMain.batch_name  \"BATCH-0001\"\n") << outcome.error;
}

TEST_F(SelectionTest, ReadTakesAListOutOfAFile) {
    startSimulator();
    const std::string list = file("panel.csv", "tag,interval\nMain.setpoint,100\nMain.batch_name,\n");
    const Outcome outcome = host({"read", "@" + list});
    EXPECT_EQ(outcome.out, "Main.setpoint    100\nMain.batch_name  \"BATCH-0001\"\n") << outcome.error;
}

TEST_F(SelectionTest, WriteTakesAListWithValues) {
    startSimulator();
    const std::string table = file("set.csv", "tag,value\nMain.setpoint,21.5\n\"Main.recipe[1..2]\",\"7,8\"\n");
    const std::string lines = file("set.txt", "# night\nMain.night_switch = 1\n");
    const Outcome outcome = host({"write", "@" + table, "@" + lines, "Main.batch_name=x"});
    EXPECT_EQ(outcome.out,
              "Main.setpoint      21.5\nMain.recipe[1..2]  7, 8\nMain.night_switch  1\nMain.batch_name    \"x\"\n")
        << outcome.error;
}

TEST_F(SelectionTest, WriteTakesNoPatternAndNoRowWithoutValue) {
    const Outcome pattern = host({"write", "Main.set*=1"});
    EXPECT_EQ(pattern.error, "name: \"Main.set*\" is a pattern; name each tag that is to be written\n");
    EXPECT_EQ(pattern.exitCode, 3);
    const std::string list = file("set.csv", "tag,value\nMain.setpoint,\n");
    const Outcome empty = host({"write", "@" + list});
    EXPECT_EQ(empty.error,
              "usage: " + list + ":2: Main.setpoint: there is no value; write TAG=VALUE, or fill a column value\n");
    EXPECT_EQ(empty.exitCode, 1);
    const std::string wrong = file("wrong.csv", "tag,value\nMain.setpoint,warm\n");
    EXPECT_THAT(host({"write", "@" + wrong}).error, StartsWith("usage: " + wrong + ":2: Main.setpoint: "));
}

TEST_F(SelectionTest, StatusReadsTheTagsThatAreNamed) {
    startSimulator();
    const Outcome outcome = host({"status", "Main.setpoint", "Main.recipe"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.out, HasSubstr("request    ok  2 tags read; Main.setpoint = 100\n"));
    EXPECT_EQ(host({"status", "Main.setpont"}).exitCode, 3);
}

TEST_F(SelectionTest, AllThatIsWrongIsToldAtOnce) {
    const std::string list = file("l.txt", "Main.setpoint\nMain.conter\n");
    const Outcome outcome = host({"read", "Main.x*", "Main.setpont", "@" + list});
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.error, StartsWith("name: \"Main.x*\": matches no tag; "));
    EXPECT_THAT(outcome.error, HasSubstr("\nname: \"Main.setpont\": scope \"Main\" has no variable \"setpont\"; near "
                                         "names: Main.setpoint, Main.start, Main.stop\n"));
    EXPECT_THAT(outcome.error, HasSubstr("\nname: " + list + ":2: \"Main.conter\": "));
}

TEST_F(SelectionTest, AListThatCannotBeReadHasCodeTwo) {
    EXPECT_EQ(host({"read", "@/nowhere"}).error, "file: /nowhere: cannot be read: No such file or directory\n");
    EXPECT_EQ(host({"read", "@/nowhere"}).exitCode, 2);
    const std::string table = file("l.csv", "tag,unit\nMain.setpoint,bar\n");
    EXPECT_EQ(host({"read", "@" + table}).error,
              "file: " + table +
                  ":1: column 2: \"unit\" is no column of a list of tags; there are tag, interval and value\n");
    EXPECT_EQ(runHostWith("</dev/null", usual() + Texts{"read", "-"}).error,
              "file: standard input: names no tag; write one a line\n");
}

TEST_F(SelectionTest, MoreTagsThanAllowedHaveCodeOne) {
    const Outcome outcome = host({"--max", "7", "read", "Distribution.network_pumps[2].motor"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.error,
              "usage: the selection names 8 tags, more than the 7 allowed; narrow it, or raise the limit with --max\n");
}

TEST_F(SelectionTest, FiftyThousandTagsAreListedAndRefusedToBeReadUnasked) {
    constexpr int kMany = ac500::test::sized(50010);
    const std::string symbols = manyVariables(kMany);
    const Outcome all = runHost({"--symbols", symbols, "tags", "--json", "Main.*"});
    EXPECT_EQ(all.exitCode, 0) << all.error;
    const std::string list = file("all.json", all.out);
    EXPECT_THAT(runHost({"--symbols", symbols, "tags", "@" + list}).out,
                HasSubstr(fmt::format("\n{0} of {0} tags\n", kMany)));
    const Outcome refused = runHost({"--symbols", symbols, "read", "@" + list});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.error, HasSubstr(fmt::format("names {} tags, more than the 5000 allowed", kMany)));
}

}  // namespace
