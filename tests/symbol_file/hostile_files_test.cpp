// Files that nobody writes by hand: too deep, too large, too many. They must be refused in words, and in short time.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> problemsOfText(const std::string& text) {
    std::vector<std::string> problems;
    for (const Problem& problem : parseSymbolFile(text).problems) {
        problems.push_back(describe("f", problem).substr(2));
    }
    return problems;
}

std::string repeated(const std::string& part, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) {
        text += part;
    }
    return text;
}

// A file with these types and variables; one line each, variables from line 5.
std::string fileWith(const std::string& types, const std::string& variables) {
    return R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 16777216}],
"types": {
)" + types +
           R"(
}, "scopes": [{"name": "Main", "variables": [
)" + variables +
           "\n]}]}";
}

TEST(HostileFile, MayNestArraysWithoutEnd) {
    EXPECT_THAT(
        problemsOfText(repeated("[", 1000000)),
        ElementsAre("1:65: objects and arrays nest deeper than 64 levels; no part of a symbol file needs that"));
}

TEST(HostileFile, MayNestObjectsWithoutEnd) {
    EXPECT_THAT(
        problemsOfText(repeated("{\"a\":", 1000000)),
        ElementsAre("1:321: objects and arrays nest deeper than 64 levels; no part of a symbol file needs that"));
}

TEST(HostileFile, MayUseTheDeepestNestingAllowed) {
    EXPECT_THAT(problemsOfText(repeated("[", 64) + repeated("]", 64)),
                ElementsAre(testing::StartsWith("1:1: is an array; write an object with")));
}

TEST(HostileFile, MayHoldTooManyValues) {
    EXPECT_THAT(
        problemsOfText("[" + repeated("0,", 2000000) + "0]"),
        ElementsAre("1:4000000: the document holds more than 2000000 values; split the plant into several files"));
}

TEST(HostileFile, MayBreakOffAnywhere) {
    const std::string good = fileWith(R"("T": {"size": 2, "members": [{"name": "m", "type": "INT", "offset": 0}]})",
                                      R"({"name": "v", "type": "T", "area": 1, "offset": 0, "array": [[1, 2]]})");
    ASSERT_THAT(problemsOfText(good), IsEmpty());
    for (std::size_t length = 0; length < good.size(); ++length) {
        EXPECT_EQ(problemsOfText(good.substr(0, length)).size(), 1u) << length;
    }
}

TEST(HostileFile, MayHoldAnyByteAnywhere) {
    const std::string good = fileWith(R"("T": {"size": 2, "members": [{"name": "m", "type": "INT", "offset": 0}]})",
                                      R"({"name": "v", "type": "T", "area": 1, "offset": 0, "array": [[1, 2]]})");
    int refused = 0;
    for (std::size_t place = 0; place < good.size(); ++place) {
        for (const char byte : {'\0', '\xff', '{', '"', '9', '-', '\\'}) {
            std::string broken = good;
            broken[place] = byte;
            refused += problemsOfText(broken).empty() ? 0 : 1;
        }
    }
    EXPECT_GT(refused, 1000);
}

TEST(HostileFile, MayNameThingsAtLength) {
    const std::string name(1000000, 'x');
    const std::vector<std::string> problems = problemsOfText(
        "{\n\"" + name + "\": 1, \"format\": \"ac500-symbols\", \"version\": 1, \"areas\": [], \"scopes\": []}");
    EXPECT_THAT(problems, ElementsAre("2:1: unknown key \"" + std::string(60, 'x') +
                                      "...\"; allowed are \"$schema\", \"format\", \"version\", \"description\", "
                                      "\"areas\", \"types\", \"scopes\", \"guard\", \"simulation\""));
}

TEST(HostileFile, MayHideControlCharactersInNames) {
    EXPECT_THAT(problemsOfText(fileWith("", R"({"name": "a\u001b[2J", "type": "INT", "area": 1, "offset": 0})")),
                ElementsAre("5:10: scopes[0].variables[0].name: \"a?[2J\" is no name; use letters, digits and "
                            "underscores, and no digit in front"));
}

TEST(HostileFile, MayHideDeleteAndC1ControlsInNames) {
    EXPECT_THAT(problemsOfText(fileWith("",
                                        "{\"name\": \"a\x7F\xC2\x9B"
                                        "2J\xC3\xA4\", \"type\": \"INT\", \"area\": 1, \"offset\": 0}")),
                ElementsAre("5:10: scopes[0].variables[0].name: \"a??2J\xC3\xA4\" is no name; use letters, digits and "
                            "underscores, and no digit in front"));
}

TEST(HostileFile, MayHideControlCharactersInTheKeysAboveAMistake) {
    const std::vector<std::string> problems = problemsOfText(
        fileWith(R"("a\u0000b\u001b[2J": {"size": 2})", R"({"name": "v", "type": "INT", "area": 1, "offset": 0})"));
    ASSERT_EQ(problems.size(), 2u);
    EXPECT_THAT(problems[1],
                testing::EndsWith("types.a?b?[2J: \"members\" is missing; list the members of the structure"));
}

TEST(HostileFile, MayHaveKeysOfAnyLengthAboveAMistake) {
    const std::vector<std::string> problems =
        problemsOfText(fileWith("\"" + std::string(1000000, 'x') + R"(": {"size": 2})",
                                R"({"name": "v", "type": "INT", "area": 1, "offset": 0})"));
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_THAT(problems[0], testing::EndsWith("types." + std::string(60, 'x') +
                                               "...: \"members\" is missing; list the members of the structure"));
}

TEST(HostileFile, MayHideControlCharactersInSyntaxErrors) {
    for (const char* hidden : {"\x7F", "\x1B", "\xC2\x9B"}) {
        const std::vector<std::string> problems = problemsOfText("{\"a\": \"b\"" + std::string(hidden) + " 1}");
        ASSERT_EQ(problems.size(), 1u);
        EXPECT_EQ(problems[0].find(hidden), std::string::npos) << problems[0];
    }
}

// S1 holds S2 holds S3 ..., `levels` in all, outermost first; each takes 2 bytes.
std::string chainOfStructures(int levels) {
    std::string types;
    for (int i = 1; i < levels; ++i) {
        types += "\"S" + std::to_string(i) + R"(": {"size": 2, "members": [{"name": "m", "type": "S)" +
                 std::to_string(i + 1) + R"(", "offset": 0}]},)";
    }
    return types + "\"S" + std::to_string(levels) +
           R"(": {"size": 2, "members": [{"name": "m", "type": "INT", "offset": 0}]})";
}

constexpr const char* kOneStructure = R"({"name": "v", "type": "S1", "area": 1, "offset": 0})";

TEST(HostileFile, MayNestStructuresUpToSixteenLevels) {
    EXPECT_THAT(problemsOfText(fileWith(chainOfStructures(16), kOneStructure)), IsEmpty());
    EXPECT_THAT(problemsOfText(fileWith(chainOfStructures(17), kOneStructure)),
                ElementsAre("3:7: types.S1: structures nest deeper than 16 levels here; flatten some of them"));
}

// A function that called itself for each level would run out of stack. Checked code takes more of it, and under the
// emulator a minute and a half for the longer chain.
#if defined(AC500_EMULATED) && defined(__SANITIZE_ADDRESS__)
constexpr int kThousandsOfLevels = 2000;
#else
constexpr int kThousandsOfLevels = 20000;
#endif

TEST(HostileFile, MayNestStructuresThousandsOfLevelsDeep) {
    const std::vector<std::string> problems =
        problemsOfText(fileWith(chainOfStructures(kThousandsOfLevels), kOneStructure));
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_THAT(problems[0], testing::EndsWith("types.S" + std::to_string(kThousandsOfLevels - 16) +
                                               ": structures nest deeper than 16 levels here; flatten some of them"));
}

// Every level holds the next one ten times over the same bytes: 10^15 values in two bytes.
TEST(HostileFile, MayMultiplyValuesByOverlappingMembers) {
    std::string types;
    for (int level = 1; level <= 15; ++level) {
        std::string members;
        for (int i = 0; i < 10; ++i) {
            members += std::string(i ? "," : "") + "{\"name\": \"m" + std::to_string(i) + "\", \"type\": \"S" +
                       std::to_string(level + 1) + "\", \"offset\": 0}";
        }
        types += "\"S" + std::to_string(level) + "\": {\"size\": 2, \"members\": [" + members + "]},";
    }
    types += R"("S16": {"size": 2, "members": [{"name": "m", "type": "INT", "offset": 0}]})";
    EXPECT_THAT(problemsOfText(fileWith(types, kOneStructure)),
                ElementsAre("5:1: scopes[0].variables[0]: with this variable the file describes more than 1000000 "
                            "readable values, structures counted member by member; make arrays of structures smaller"));
}

constexpr const char* kOneByte = R"("T": {"size": 1, "members": [{"name": "m", "type": "BYTE", "offset": 0}]})";

TEST(HostileFile, MayDescribeAMillionValuesAndNotOneMore) {
    const std::string million = R"({"name": "v", "type": "T", "area": 1, "offset": 0, "array": [[1, 1000000]]})";
    const LoadedSymbolFile loaded = parseSymbolFile(fileWith(kOneByte, million));
    EXPECT_THAT(loaded.problems, IsEmpty());
    EXPECT_EQ(listLeaves(loaded.file).size(), 1000000u);
    EXPECT_THAT(problemsOfText(fileWith(kOneByte, million + R"(,
{"name": "w", "type": "BYTE", "area": 1, "offset": 0},
{"name": "x", "type": "BYTE", "area": 1, "offset": 0})")),
                ElementsAre("6:1: scopes[0].variables[1]: with this variable the file describes more than 1000000 "
                            "readable values, structures counted member by member; make arrays of structures smaller"));
}

TEST(HostileFile, MayDeclareMoreMemoryThanThereIs) {
    std::string areas;
    for (int i = 0; i < 18; ++i) {
        areas += std::string(i ? ",\n" : "\n") + R"({"number": )" + std::to_string(i) + R"(, "bytes": 16777216})";
    }
    EXPECT_THAT(
        problemsOfText(R"({"format": "ac500-symbols", "version": 1, "areas": [)" + areas + R"(], "scopes": []})"),
        ElementsAre("18:1: areas[16]: with this area all areas together exceed 268435456 bytes; make some of "
                    "them smaller"));
}

TEST(HostileFile, MayGiveAnAreaTheHighestAddressesOnly) {
    EXPECT_THAT(problemsOfText(fileWith("", R"({"name": "v", "type": "BIT", "area": 1, "bit": 2147483647})")),
                ElementsAre("5:48: scopes[0].variables[0].bit: the variable ends at byte 268435456, outside the "
                            "16777216 bytes of area 1; correct the place or the area's \"bytes\""));
    EXPECT_THAT(problemsOfText(fileWith("", R"({"name": "v", "type": "LREAL", "area": 1, "offset": 2147483647, )"
                                            R"("array": [[-1000000, -1]]})")),
                ElementsAre("5:53: scopes[0].variables[0].offset: the variable ends at byte 2155483647, outside the "
                            "16777216 bytes of area 1; correct the place or the area's \"bytes\""));
}

TEST(HostileFile, MayListTooManySignals) {
    std::string entries;
    for (int i = 0; i < 10001; ++i) {
        entries += std::string(i ? "," : "") + R"({"tag": "Main.v[)" + std::to_string(i) + R"(]", "signal": "square"})";
    }
    const std::string text =
        fileWith("", R"({"name": "v", "type": "BOOL", "area": 1, "offset": 0, "array": [[0, 20000]]})");
    EXPECT_THAT(
        problemsOfText(text.substr(0, text.size() - 1) + ",\n\"simulation\": {\"signals\": [" + entries + "]}}"),
        ElementsAre("7:27: simulation.signals: has 10001 entries; at most 10000 are possible"));
}

}  // namespace
}  // namespace ac500::symbol_file
