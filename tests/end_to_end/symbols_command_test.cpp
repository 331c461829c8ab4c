// Symbol files from and to tables, and what changed between two, as a user sees it.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/end_to_end/desk_commands.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kEveryKey = ac500::test::projectFile("tests/symbol_file/data/every_key.json");

class SymbolsCommandTest : public ac500::test::DeskCommandTest {
protected:
    static Result symbolsCommand(const Words& words) {
        Words all{"symbols"};
        all.insert(all.end(), words.begin(), words.end());
        return run(ac500::test::kHostProgram, all);
    }

    static std::string fileWith(const std::string& variables) {
        return R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 800000}],)"
               R"("scopes": [{"name": "Main", "variables": [)" +
               variables + "]}]}";
    }
};

TEST_F(SymbolsCommandTest, ATableOfAFileAndTheFileOfTheTableLoseNothing) {
    for (const std::string& file : {ac500::test::projectFile("examples/plant.json"), kEveryKey}) {
        const Result exported = symbolsCommand({"export", file});
        ASSERT_EQ(exported.exitCode, 0) << exported.error;
        const Result imported = symbolsCommand({"import", write("table.csv", exported.out)});
        ASSERT_EQ(imported.exitCode, 0) << imported.error;
        EXPECT_EQ(symbolsCommand({"export", write("again.json", imported.out)}).out, exported.out);
        const Result difference = symbolsCommand({"diff", file, path("again.json")});
        EXPECT_EQ(difference.exitCode, 0);
        EXPECT_THAT(difference.out, StartsWith("no difference, "));
    }
}

TEST_F(SymbolsCommandTest, ExportTakesTheFileOfTheOption) {
    const Result result = host({"symbols", "export"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, symbolsCommand({"export", symbols}).out);
    EXPECT_THAT(result.out, HasSubstr("\r\nvariable,Main.counter,UINT,1,0,"));
}

TEST_F(SymbolsCommandTest, ExportMakesTheMapForWireshark) {
    const std::string file = write("file.json", fileWith(R"({"name": "a", "type": "INT", "area": 1, "offset": 6})"));
    const Result result = symbolsCommand({"export", "--wireshark", file});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.out, "ac500-wireshark-map 1\n1\tbyte\t6\tINT\t\tMain.a\n");

    const Result withSimulator =
        run(ac500::test::kHostProgram, {"--simulator", "symbols", "export", "--wireshark", file});
    EXPECT_EQ(withSimulator.exitCode, 0) << withSimulator.error;
    EXPECT_THAT(withSimulator.out, StartsWith(result.out));
    EXPECT_THAT(withSimulator.out, HasSubstr("\tSim.fault_kind\n"));

    EXPECT_EQ(symbolsCommand({"export", "--wireshark", write("empty.json", "")}).exitCode, 2);
}

TEST_F(SymbolsCommandTest, AWrongTableIsToldByRowAndColumn) {
    const std::string table = write("table.csv",
                                    "kind,name,type,area,offset,bytes\narea,,,1,,4\nvariable,Main.a,WROD,1,0,\n"
                                    "variable,Main.b,INT,1,3,\n");
    const Result result = symbolsCommand({"import", table});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.error,
              "file: " + table + ":3: column type: unknown type \"WROD\"; did you mean \"WORD\"?\n" + "file: " + table +
                  ":4: column offset: the variable ends at byte 5, outside the 4 bytes of area 1; correct the "
                  "place or the area's \"bytes\"\n");
}

TEST_F(SymbolsCommandTest, EmptyAndAbsentFilesAreToldOff) {
    EXPECT_EQ(
        symbolsCommand({"import", write("empty.csv", "")}).error,
        "file: " + path("empty.csv") + ": is empty; write a header row, with at least the columns name and type\n");
    EXPECT_EQ(symbolsCommand({"import", path("none.csv")}).error,
              "file: " + path("none.csv") +
                  ": cannot be read: No such file or directory; check the path and its permissions\n");
    EXPECT_EQ(symbolsCommand({"export", write("empty.json", "")}).exitCode, 2);
    EXPECT_EQ(symbolsCommand({"diff", write("empty.json", ""), kEveryKey}).exitCode, 2);
    EXPECT_EQ(symbolsCommand({"diff", kEveryKey, path("none.json")}).exitCode, 2);
    EXPECT_EQ(symbolsCommand({"import", "/dev/zero"}).exitCode, 2);
}

TEST_F(SymbolsCommandTest, WrongCommandLinesAreUsageErrors) {
    EXPECT_EQ(symbolsCommand({}).error,
              "usage: there is no command; choose from import, export, diff; ac500-host --help shows how it is used\n");
    EXPECT_EQ(symbolsCommand({"dif"}).error,
              "usage: there is no command \"dif\"; did you mean \"diff\"?; ac500-host --help shows how it is used\n");
    EXPECT_EQ(symbolsCommand({"diff", kEveryKey}).exitCode, 1);
    EXPECT_EQ(symbolsCommand({"import"}).exitCode, 1);
    EXPECT_THAT(symbolsCommand({"export"}).error, StartsWith("usage: there is no symbol file: give --symbols"));
}

TEST_F(SymbolsCommandTest, AFullDiskIsAnOutputFailure) {
    EXPECT_EQ(hostWith("> /dev/full", {"symbols", "export"}).exitCode, 7);
    EXPECT_EQ(hostWith("> /dev/full", {"symbols", "diff", symbols, kEveryKey}).exitCode, 7);
    EXPECT_THAT(hostWith("> /dev/full", {"symbols", "diff", symbols, kEveryKey}).error,
                HasSubstr("output: the standard output cannot be written"));
}

TEST_F(SymbolsCommandTest, AReaderThatWentAwayEndsItQuietly) {
    const Result result = hostWith("| head -1", {"symbols", "export"});
    EXPECT_THAT(result.out, StartsWith("kind,name,"));
    EXPECT_EQ(result.error, "");
}

TEST_F(SymbolsCommandTest, DifferencesAreToldInATable) {
    const std::string before = write("before.json", fileWith(R"(
{"name": "a", "type": "INT", "area": 1, "offset": 0}, {"name": "b", "type": "INT", "area": 1, "offset": 2},
{"name": "c", "type": "DINT", "area": 1, "offset": 4}, {"name": "d", "type": "INT", "area": 1, "offset": 8})"));
    const std::string after = write("after.json", fileWith(R"(
{"name": "a", "type": "INT", "area": 1, "offset": 2}, {"name": "b", "type": "UINT", "area": 1, "offset": 0},
{"name": "see", "type": "DINT", "area": 1, "offset": 4}, {"name": "e", "type": "INT", "area": 1, "offset": 10})"));
    const Result result = symbolsCommand({"diff", before, after});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(
        result.out,
        "CHANGE          TAG     BEFORE              NOW                           AN OLD WRITE NOW HITS\n"
        "moved           Main.a  INT area 1 byte 0   INT area 1 byte 2             Main.b\n"
        "moved, retyped  Main.b  INT area 1 byte 2   UINT area 1 byte 0            Main.a\n"
        "renamed         Main.c  DINT area 1 byte 4  Main.see: DINT area 1 byte 4\n"
        "vanished        Main.d  INT area 1 byte 8   -\n"
        "new             Main.e  -                   INT area 1 byte 10\n"
        "2 moved, 1 retyped, 1 renamed, 1 vanished, 1 new, 5 tags compared; 2 of them would be written to another "
        "variable\n");
    const Result ofList =
        symbolsCommand({"diff", before, after, "--tags", "@" + write("tags.txt", "Main.c\nMain.d\n")});
    EXPECT_EQ(ofList.exitCode, 3);
    EXPECT_THAT(ofList.out, HasSubstr("1 renamed, 1 vanished, 2 tags compared; 0 of them would be written"));
}

TEST_F(SymbolsCommandTest, DifferencesAsJson) {
    const std::string before =
        write("before.json", fileWith(R"({"name": "a", "type": "INT", "area": 1, "offset": 0})"));
    const std::string after = write("after.json", fileWith(R"({"name": "a", "type": "INT", "area": 1, "offset": 2},
{"name": "b", "type": "BYTE", "area": 1, "offset": 1})"));
    const Result result = symbolsCommand({"diff", "--json", before, after, "--tags", "Main.a"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(ac500::test::outputComplaints("symbols", result.out), "");
    EXPECT_EQ(json::parse(result.out),
              json::parse(R"({"version": 1, "differences": [{"tag": "Main.a", "changes": ["moved"],
        "before": {"tag": "Main.a", "type": "INT", "area": 1, "byte": 0},
        "now": {"tag": "Main.a", "type": "INT", "area": 1, "byte": 2},
        "shifted": null, "changed": [],
        "hits": ["Main.b"], "hits_more": false}], "guard_stayed": [], "compared": 1, "hitting": 1,
        "counts": {"moved": 1, "shifted": 0, "retyped": 0, "renamed": 0, "vanished": 0, "new": 0, "overlaid": 0,
                   "changed": 0}})"));
}

TEST_F(SymbolsCommandTest, AnotherMeaningAndShiftedElementsAreTold) {
    const std::string before = write("before.json", fileWith(R"(
{"name": "p", "type": "INT", "area": 1, "offset": 0, "unit": "bar", "readOnly": true},
{"name": "row", "type": "INT", "area": 1, "offset": 2, "array": [[1, 10]]},
{"name": "w", "type": "WORD", "area": 1, "offset": 30, "bits": true})"));
    const std::string after = write("after.json", fileWith(R"(
{"name": "p", "type": "INT", "area": 1, "offset": 0, "unit": "mbar", "readOnly": true, "max": 900},
{"name": "row", "type": "INT", "area": 1, "offset": 2, "array": [[0, 9]]},
{"name": "w", "type": "WORD", "area": 1, "offset": 30})"));
    const Result result =
        symbolsCommand({"diff", before, after, "--tags", "Main.p", "--tags", "Main.row", "--tags", "Main.w.b[3]"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(
        result.out,
        "CHANGE             TAG          BEFORE                      NOW                      DETAILS            "
        "               AN OLD WRITE NOW HITS\n"
        "changed            Main.p       INT area 1 byte 0           INT area 1 byte 0        unit: bar -> mbar; "
        "max: - -> 900\n"
        "shifted, retyped   Main.row     INT[1..10] area 1 byte 2    INT[0..9] area 1 byte 2  element [1]: byte 2 "
        "-> byte 4     Main.row[0..9]\n"
        "vanished, changed  Main.w.b[3]  bit of WORD area 1 byte 30  -                        bits: true -> "
        "false\n"
        "1 shifted, 1 retyped, 1 vanished, 2 changed, 3 tags compared; 1 of them would be written to another "
        "variable\n");
    const Result asJson = symbolsCommand({"diff", "--json", before, after});
    EXPECT_EQ(asJson.exitCode, 3);
    EXPECT_EQ(ac500::test::outputComplaints("symbols", asJson.out), "");
    const json differences = json::parse(asJson.out)["differences"];
    ASSERT_EQ(differences.size(), 3u);
    EXPECT_EQ(differences[0]["changes"], json::parse(R"(["changed"])"));
    EXPECT_EQ(differences[0]["changed"], json::parse(R"([{"what": "unit", "before": "bar", "now": "mbar"},
                                                         {"what": "max", "before": null, "now": "900"}])"));
    EXPECT_EQ(differences[1]["shifted"], json::parse(R"({"element": "[1]", "before": 2, "now": 4})"));
    EXPECT_EQ(differences[2]["changed"], json::parse(R"([{"what": "bits", "before": "true", "now": "false"}])"));
}

TEST_F(SymbolsCommandTest, AGuardThatStayedIsTold) {
    const auto program = [](const char* offset, const char* number) {
        return std::string(R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 100}],
            "scopes": [{"name": "Main", "variables": [{"name": "id", "type": "UDINT", "area": 1, "offset": 0},
            {"name": "a", "type": "INT", "area": 1, "offset": )") +
               offset + R"(}]}], "guard": [{"tag": "Main.id", "value": )" + number + "}]}";
    };
    const std::string old = write("guard-old.json", program("10", "7"));
    const std::string forgotten = write("guard-forgotten.json", program("12", "7"));
    Result result = symbolsCommand({"diff", old, forgotten});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(
        result.error,
        "note: variables lie elsewhere, and the guard Main.id expects the same number in both files: a host with the "
        "old file does not notice the new program; change the number in program and symbol file\n");
    result = run(ac500::test::kHostProgram, {"--json", "symbols", "diff", old, forgotten});
    EXPECT_EQ(json::parse(result.out)["guard_stayed"], json::array({"Main.id"}));
    result = symbolsCommand({"diff", old, write("guard-new.json", program("12", "8"))});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.error, "");
}

TEST_F(SymbolsCommandTest, ANumberOfAGuardAndWhoWritesAreDifferences) {
    const auto program = [](const char* more, const char* number) {
        return std::string(R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 100}],
            "scopes": [{"name": "Main", "variables": [{"name": "id", "type": "UDINT", "area": 1, "offset": 0},
            {"name": "a", "type": "INT", "area": 1, "offset": 10)") +
               more + R"(}]}], "guard": [{"tag": "Main.id", "value": )" + number + "}]}";
    };
    const std::string old = write("number-old.json", program("", "7"));
    const std::string now = write("number-new.json", program(R"(, "onlyWriter": true)", "8"));
    EXPECT_THAT(symbolsCommand({"diff", old, now}).out, HasSubstr("guard: 7 -> 8"));
    const Result result = run(ac500::test::kHostProgram, {"--json", "symbols", "diff", old, now});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(ac500::test::outputComplaints("symbols", result.out), "");
    const json differences = json::parse(result.out)["differences"];
    ASSERT_EQ(differences.size(), 2u);
    EXPECT_EQ(differences[0]["changed"], json::parse(R"([{"what": "guard", "before": "7", "now": "8"}])"));
    EXPECT_EQ(differences[1]["changed"], json::parse(R"([{"what": "onlyWriter", "before": "false", "now": "true"}])"));
}

TEST_F(SymbolsCommandTest, AFailureAsJson) {
    const Result result = symbolsCommand({"diff", "--json", symbols, path("none.json")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(ac500::test::outputComplaints("symbols", result.out), "");
    EXPECT_EQ(json::parse(result.out)["error"]["layer"], "file");
}

TEST_F(SymbolsCommandTest, AListThatNothingConcernsEndsWithZero) {
    const std::string before = write("before.json", fileWith(R"({"name": "a", "type": "INT", "area": 1, "offset": 0},
{"name": "b", "type": "INT", "area": 1, "offset": 2})"));
    const std::string after = write("after.json", fileWith(R"({"name": "a", "type": "INT", "area": 1, "offset": 0},
{"name": "b", "type": "INT", "area": 1, "offset": 4})"));
    const Result result = symbolsCommand({"diff", before, after, "--tags", "Main.a"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "no difference, 1 tags compared; 0 of them would be written to another variable\n");
    EXPECT_EQ(symbolsCommand({"diff", before, after, "--tags", "Main.a", "--tags", "Main.b"}).exitCode, 3);
}

TEST_F(SymbolsCommandTest, NamesThatNeitherFileHasAreTold) {
    const Result result = symbolsCommand({"diff", symbols, symbols, "--tags", "Main.countr", "--tags", "Main.xyz*"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.error, HasSubstr("name: \"Main.countr\": scope \"Main\" has no variable \"countr\"; near names: "
                                        "Main.counter"));
    EXPECT_THAT(result.error, HasSubstr("Main.xyz*"));
    EXPECT_EQ(symbolsCommand({"diff", symbols, symbols, "--tags", "@" + path("none.txt")}).exitCode, 2);
}

TEST_F(SymbolsCommandTest, FiftyThousandVariablesAreComparedAndTurnedIntoATable) {
    useManyTags();
    const std::string moved =
        write("moved.json", read("many.json").replace(read("many.json").find("\"v0\""), 4, "\"w0\""));
    const Result difference = symbolsCommand({"diff", symbols, moved, "--tags", "@" + manyTags});
    EXPECT_EQ(difference.exitCode, 3);
    EXPECT_THAT(difference.out, HasSubstr(fmt::format("1 renamed, {} tags compared; 0 of them", kManyTags)));
    const Result exported = symbolsCommand({"export", symbols});
    EXPECT_EQ(exported.exitCode, 0);
    EXPECT_EQ(symbolsCommand({"import", write("many.csv", exported.out)}).exitCode, 0);
}

}  // namespace
