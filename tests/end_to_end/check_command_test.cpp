// What is wrong with lists of tags, as a user sees it.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <nlohmann/json.hpp>

#include "tests/end_to_end/desk_commands.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class CheckCommandTest : public ac500::test::DeskCommandTest {
protected:
    // "severity kind row tag code" of each finding.
    std::vector<std::string> findings(const Words& words) {
        Words all{"check", "--json"};
        all.insert(all.end(), words.begin(), words.end());
        const Result result = host(all);
        std::vector<std::string> texts;
        const json document = json::parse(result.out, nullptr, false);
        if (!document.is_object()) {
            ADD_FAILURE() << result.out << result.error;
            return texts;
        }
        for (const json& finding : document["findings"]) {
            texts.push_back(finding["severity"].get<std::string>() + " " + finding["kind"].get<std::string>() + " " +
                            std::to_string(finding["row"].get<int>()) + " " + finding["tag"].get<std::string>() + " " +
                            finding["code"].dump());
        }
        return texts;
    }
};

TEST_F(CheckCommandTest, AGoodListHasNoFindings) {
    const std::string list =
        write("panel.list", "Main.counter\nMain.recipe\nMain.flags.b[0..3]\nIntake.wells[1].motor.*\n");
    const Result result = host({"check", "@" + list, "--writes", "Main.setpoint=21.5"});
    EXPECT_EQ(result.out, "11 read, 1 written: 0 errors, 0 warnings\n");
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.exitCode, 0);
}

TEST_F(CheckCommandTest, EveryWrongTagIsToldWithTheDriversCode) {
    const std::string list = write("panel.list",
                                   "Main.counter\n"
                                   "Main.counte\n"
                                   "Mian.counter\n"
                                   "Intake.wells[1].motor.sped\n"
                                   "Main.recipe[0]\n"
                                   "Main.recipe[11]\n"
                                   "Main.recipe[8..11]\n"
                                   "Main.flags.b[16]\n"
                                   "Main.flags.sixth\n"
                                   "Intake.wells[1].motor\n"
                                   "Main\n"
                                   "Main.recipe[x]\n"
                                   "Main.nothing*\n"
                                   "Main.counter\n");
    EXPECT_THAT(
        findings({"@" + list}),
        testing::ElementsAre("error unknown 2 Main.counte 1", "error unknown 3 Mian.counter 2",
                             "error unknown 4 Intake.wells[1].motor.sped 7", "error unknown 5 Main.recipe[0] 3",
                             "error out_of_bounds 6 Main.recipe[11] 0", "error out_of_bounds 7 Main.recipe[8..11] 0",
                             "error out_of_bounds 8 Main.flags.b[16] 0", "error elsewhere 9 Main.flags.sixth 0",
                             "error not_transferred 10 Intake.wells[1].motor 1", "error not_transferred 11 Main 11",
                             "error unknown 12 Main.recipe[x] 3", "error unknown 13 Main.nothing* null",
                             "warning given_twice 14 Main.counter null"));
}

TEST_F(CheckCommandTest, AFindingSaysWhereAndWhatToDo) {
    const std::string list = write("panel.list", "# read\n\nMain.counte\nMain.recipe[11]\n");
    const Result result = host({"check", "@" + list});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.error, "");
    EXPECT_THAT(result.out, HasSubstr("error  " + list +
                                      ":3  Main.counte      scope \"Main\" has no variable \"counte\"; near "
                                      "names: Main.counter; the driver's code is 1: the variable does not exist, "));
    EXPECT_THAT(result.out,
                HasSubstr("error  " + list +
                          ":4  Main.recipe[11]  index 11 lies outside 1..10; the driver does "
                          "not look at upper bounds and would take area 1 at 112, where Main.flags lies\n"));
    EXPECT_THAT(result.out, HasSubstr("\n2 read, 0 written: 2 errors, 0 warnings\n"));
}

TEST_F(CheckCommandTest, WhatTheDriverResolvesBeyondTheSymbolFileIsOutOfBoundsOrElsewhere) {
    EXPECT_THAT(
        findings({"Intake.wells[4].motor.speed", "Main.counter.b[0]", "Main.counter.b[0..3]", "Main.flags.b[14..17]"}),
        testing::ElementsAre("error out_of_bounds 0 Intake.wells[4].motor.speed 0",
                             "error elsewhere 0 Main.counter.b[0] 0", "error elsewhere 0 Main.counter.b[0..3] 0",
                             "error out_of_bounds 0 Main.flags.b[14..17] 0"));
    EXPECT_THAT(
        host({"check", "Main.counter.b[0]"}).out,
        HasSubstr("found \"b[0]\"; the driver resolves it and would take area 1 at 0, where Main.counter lies\n"));
}

TEST_F(CheckCommandTest, ControlCharactersOfAListAreReplaced) {
    const Result result = host({"check", "@" + write("odd.list", "Main.\x1B[2Jx\n")});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.out, HasSubstr("  Main.?[2Jx  "));
    EXPECT_THAT(result.out, Not(HasSubstr("\x1B")));
}

TEST_F(CheckCommandTest, AFileThatIsNamedAsATagIsSuggestedAsAList) {
    const std::string list = write("panel.list", "Main.counter\n");
    const std::string remedy = "; there is a file of this name: write @" + list + " for the list in it\n";
    EXPECT_THAT(host({"check", list}).out, HasSubstr(remedy));
    for (const char* const command : {"plan", "read", "watch"}) {
        const Result result = host({command, list});
        EXPECT_EQ(result.exitCode, 3) << command;
        EXPECT_THAT(result.error, HasSubstr(remedy)) << command;
    }
    EXPECT_THAT(host({"check", "@" + write("outer.list", list + "\n")}).out, Not(HasSubstr("there is a file")));
}

TEST_F(CheckCommandTest, ALimitOfTagsHoldsForEachList) {
    EXPECT_EQ(host({"check", "--max", "2", "Main.counter", "Main.enable", "--writes", "Main.setpoint"}).exitCode, 0);
    const Result reads = host({"check", "--max", "1", "Main.counter", "Main.enable"});
    EXPECT_EQ(reads.exitCode, 1);
    EXPECT_EQ(
        reads.error,
        "usage: what this panel reads are more tags than the 1 allowed; narrow it, or raise the limit with --max\n");
    EXPECT_EQ(host({"check", "--max", "5", "--json", "Main.*"}).exitCode, 1) << "a pattern";
    const std::string door = write("door.list", "Main.counter\nMain.enable\n");
    EXPECT_THAT(host({"check", "--max", "1", "--also", door}).error, HasSubstr("what another panel writes are more "));
    useManyTags(50000);
    std::ofstream(manyTags, std::ios::app) << "Main.v0\n";
    EXPECT_EQ(host({"check", "@" + manyTags}).exitCode, 1) << "more than the 50000 that nobody has to ask for";
}

TEST_F(CheckCommandTest, ValuesAreHeldAgainstTheirTypes) {
    const std::string list = write("writes.csv",
                                   "tag,value\n"
                                   "Main.operating_mode,255\n"
                                   "Main.operating_mode,256\n"
                                   "Main.enable,maybe\n"
                                   "Main.batch_name," +
                                       std::string(81, 'x') +
                                       "\n"
                                       "Main.setpoint,nan\n");
    EXPECT_THAT(findings({"--writes", "@" + list}),
                testing::ElementsAre("error value 3 Main.operating_mode null",
                                     "warning given_twice 3 Main.operating_mode null", "error value 4 Main.enable null",
                                     "error text_cut 5 Main.batch_name null", "warning value 6 Main.setpoint null"));
}

TEST_F(CheckCommandTest, TextInArraysOfStringsIsCutByName) {
    symbols = write("names.json", R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 9000}],
        "scopes": [{"name": "Main", "variables": [
          {"name": "few", "type": "STRING", "area": 1, "offset": 0, "array": [[1, 3]]},
          {"name": "many", "type": "STRING", "area": 1, "offset": 1000, "array": [[1, 40]]}]}]})");
    EXPECT_THAT(
        findings({"Main.few[1]", "Main.many[1]", "--writes", "Main.few[2]=sixsix", "--writes", "Main.few[3]=7letter"}),
        testing::ElementsAre("warning text_cut 0 Main.few[1] null", "warning text_cut 0 Main.few[3] null"));
}

TEST_F(CheckCommandTest, LimitsAndReadOnlyTagsOfTheSymbolFileCount) {
    symbols = write("notes.json", R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 9000}],
        "scopes": [{"name": "Main", "variables": [
          {"name": "level", "type": "INT", "area": 1, "offset": 0, "scale": {"factor": 0.1}, "min": 0, "max": 20},
          {"name": "serial", "type": "UDINT", "area": 1, "offset": 4, "readOnly": true}]}]})");
    const std::string list = write("writes.csv", "tag,value\nMain.level,20\nMain.level,20.1\nMain.serial,7\n");
    EXPECT_THAT(findings({"--writes", "@" + list}),
                testing::ElementsAre("error value 3 Main.level null", "warning given_twice 3 Main.level null",
                                     "error read_only 4 Main.serial null"));
    const std::string read = write("reads.csv", "tag,value\nMain.serial,7\nMain.level,21\n");
    EXPECT_THAT(findings({"@" + read}), testing::ElementsAre("error value 3 Main.level null"))
        << "a value that is expected";
}

TEST_F(CheckCommandTest, StringsOfOtherLengthsInArraysLieElsewhereForTheDriver) {
    symbols = write("short.json",
                    R"json({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 9000}],
        "scopes": [{"name": "Main", "variables": [
          {"name": "names", "type": "STRING(20)", "area": 1, "offset": 0, "array": [[1, 40]]}]}]})json");
    EXPECT_THAT(findings({"Main.names[1]", "Main.names[2]", "Main.names"}),
                testing::ElementsAre("error elsewhere 0 Main.names[2] 0", "error elsewhere 0 Main.names 0"));
    EXPECT_THAT(
        host({"check", "Main.names[2]"}).out,
        HasSubstr("has Main.names[2] in area 1 at 21, the driver in area 1 at 81: it counts strings in arrays by"));
}

TEST_F(CheckCommandTest, WordsWhoseBitsSeveralPanelsWriteAreWarnings) {
    const std::string other = write("door.list", "Main.flags.b[5]\nMain.night_switch\n");
    const Words words{"--writes", "Main.flags.b[3]", "--writes", "Main.night_switch", "--also", other};
    EXPECT_THAT(findings(words), testing::ElementsAre("warning shared_word 0 Main.flags.b[3] null",
                                                      "warning shared_word 1 Main.flags.b[5] null"));
    Words plain{"check"};
    plain.insert(plain.end(), words.begin(), words.end());
    EXPECT_EQ(host(plain).exitCode, 0);
    plain.push_back("--strict");
    EXPECT_EQ(host(plain).exitCode, 3);
}

TEST_F(CheckCommandTest, TwoOtherPanelsShareAWordToo) {
    const std::string door = write("door.list", "Main.flags.b[5]\n");
    const std::string gate = write("gate.list", "Main.flags.b[6]\n");
    EXPECT_EQ(findings({"Main.counter", "--also", door, "--also", "@" + gate}).size(), 2u);
}

TEST_F(CheckCommandTest, StrictnessMakesNoWarningsOfItsOwn) {
    EXPECT_EQ(host({"check", "--strict", "Main.counter"}).exitCode, 0);
}

TEST_F(CheckCommandTest, WhatAPatternAddsIsNotGivenTwice) {
    EXPECT_THAT(findings({"Main.counter", "Main.*", "Main.c*"}), testing::ElementsAre());
    EXPECT_THAT(findings({"Main.counter", "Main.*", "Main.counter"}),
                testing::ElementsAre("warning given_twice 0 Main.counter null"));
}

TEST_F(CheckCommandTest, JsonHasTheNumbers) {
    const Result result = host({"check", "--json", "Main.counter", "Main.counte", "--writes", "Main.enable"});
    EXPECT_EQ(result.exitCode, 3);
    const json document = json::parse(result.out);
    EXPECT_EQ(document["check"]["reads"], 2);
    EXPECT_EQ(document["check"]["writes"], 1);
    EXPECT_EQ(document["check"]["errors"], 1);
    EXPECT_EQ(document["check"]["warnings"], 0);
    EXPECT_EQ(document["findings"][0]["list"], "");
    EXPECT_THAT(document["findings"][0]["text"].get<std::string>(), HasSubstr("near names: Main.counter"));
}

TEST_F(CheckCommandTest, NothingToCheckIsAnError) {
    const Result result = host({"check"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.error, "usage: there is nothing to check; name tags, or lists of them as @FILE\n");
    EXPECT_EQ(host({"check", "@" + write("empty.list", "# nothing\n")}).exitCode, 2) << "a list without a tag";
}

TEST_F(CheckCommandTest, AListThatCannotBeReadIsAnErrorOfTheFile) {
    for (const Words& words : {Words{"check", "@/no/such"}, Words{"check", "Main.counter", "--writes", "@/no/such"},
                               Words{"check", "Main.counter", "--also", "/no/such"}}) {
        const Result result = host(words);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_THAT(result.error, StartsWith("file: /no/such"));
    }
    const Result result = host({"check", "@" + write("binary.list", std::string("\0\xFF\xFE\n", 4))});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.error, "file: " + path("binary.list") +
                                ":1: is no UTF-8 text; this is no list of tags, or it has to be saved as UTF-8\n");
}

TEST_F(CheckCommandTest, AnOutputThatIsFullOrGone) {
    EXPECT_EQ(hostWith(">/dev/full", {"check", "Main.counter"}).exitCode, 7);
    EXPECT_EQ(hostWith(">/dev/full", {"check", "Main.counte"}).exitCode, 7) << "with a finding";
    EXPECT_EQ(hostWith(">&-", {"check", "Main.counte"}).exitCode, 7);
    const std::string wrong = write("wrong.list", [] {
        std::string lines;
        for (int i = 0; i < 5000; ++i) {
            lines += "Main.wrong" + std::to_string(i) + "\n";
        }
        return lines;
    }());
    const Result gone = run("bash", {"-c", R"(("$0" "$@"; echo $? >&2) | head -n 1)", ac500::test::kHostProgram,
                                     "--driver", ac500::test::kDriver, "--symbols", symbols, "check", "@" + wrong});
    EXPECT_EQ(gone.error, "141\n") << "nobody has read the findings";
    useManyTags();
    const Result result = hostWith("| head -n 1", {"check", "--json", "Nope.a", "Main.v1[1]"});
    EXPECT_EQ(result.out, "{\n");
    EXPECT_EQ(result.error, "");
}

// Sanitizers take their share of both.
#if defined(__SANITIZE_ADDRESS__) || defined(AC500_EMULATED)
constexpr int kAllowance = 20;
#else
constexpr int kAllowance = 1;
#endif

TEST_F(CheckCommandTest, FiftyThousandTagsTakeLittleTimeAndMemory) {
    useManyTags();
    // An array lies over all of them, and another panel writes what this one does.
    std::string file = read("many.json");
    file.replace(file.find("200000"), 6, "320000");
    file.insert(file.find("{\"name\": \"v0\""),
                R"({"name": "all", "type": "INT", "area": 1, "offset": 0, "array": [[1, 160000]]},)");
    symbols = write("many.json", file);
    const std::string writes = "@" + write("writes.list", read("many.list") + "Main.all\n");
    rusage before{};
    getrusage(RUSAGE_CHILDREN, &before);
    const Result result =
        host({"check", "@" + manyTags, "--writes", writes, "--also", writes, "--max", std::to_string(kManyTags + 1)});
    rusage after{};
    getrusage(RUSAGE_CHILDREN, &after);
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.out, fmt::format("{} read, {} written: 0 errors, 0 warnings\n", kManyTags, kManyTags + 1));
    const auto seconds = [](const rusage& usage) {
        return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
               static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    };
    EXPECT_LT(seconds(after) - seconds(before), 3.0 * kAllowance);
    EXPECT_LT(after.ru_maxrss, 200 * 1024 * kAllowance) << "in KB, the largest child so far";
    RecordProperty("milliseconds", static_cast<int>(1000 * (seconds(after) - seconds(before))));
    RecordProperty("kilobytes", static_cast<int>(after.ru_maxrss));
}

TEST_F(CheckCommandTest, FiftyThousandWrongTagsAreAllTold) {
    useManyTags();
    std::string wrong;
    for (int i = 0; i < kManyTags; ++i) {
        wrong += "Main.w" + std::to_string(i) + "\n";
    }
    const Result result = host({"check", "@" + write("wrong.list", wrong)});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.out, HasSubstr(fmt::format("\n{0} read, 0 written: {0} errors, 0 warnings\n", kManyTags)));
}

}  // namespace
