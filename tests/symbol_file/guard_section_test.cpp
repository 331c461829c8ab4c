// The guard of a symbol file, who alone writes a variable, and the fingerprint of a program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/symbol_file/fingerprint.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Line 5 holds the variables, line 6 the guard.
LoadedSymbolFile loadedWith(const std::string& variables, const std::string& guard) {
    return parseSymbolFile(
        "{\"format\": \"ac500-symbols\", \"version\": 1,\n"
        "\"areas\": [{\"number\": 1, \"bytes\": 100}],\n"
        "\"types\": {\"Pump\": {\"size\": 4, \"members\": [{\"name\": \"speed\", \"type\": \"INT\", \"offset\": "
        "0}]}},\n"
        "\"scopes\": [{\"name\": \"Main\", \"variables\": [\n" +
        variables + "]}],\n\"guard\": " + guard + "}");
}

constexpr char kNumbers[] =
    R"({"name": "id", "type": "UDINT", "area": 1, "offset": 0}, {"name": "ids", "type": "INT", "area": 1, "offset": 4, "array": [[1, 3]]},)"
    R"( {"name": "real", "type": "REAL", "area": 1, "offset": 12}, {"name": "flag", "type": "BOOL", "area": 1, "offset": 16},)"
    R"( {"name": "level", "type": "INT", "area": 1, "offset": 18, "scale": {"factor": 0.1}}, {"name": "word", "type": "WORD", "area": 1, "offset": 20, "bits": true},)"
    R"( {"name": "time", "type": "TIME", "area": 1, "offset": 24})";

std::vector<std::string> guardProblems(const std::string& guard) {
    std::vector<std::string> texts;
    for (const Problem& problem : loadedWith(kNumbers, guard).problems) {
        texts.push_back(describe("f", problem).substr(2));
    }
    return texts;
}

TEST(Guard, IsReadWithItsNumbers) {
    const LoadedSymbolFile loaded =
        loadedWith(kNumbers, R"([{"tag": "Main.id", "value": 4294967295}, {"tag": "Main.ids[2]", "value": "16#7F"},)"
                             R"( {"tag": "Main.word", "value": 1}, {"tag": "Main.ids[3]", "value": -2}])");
    ASSERT_THAT(loaded.problems, IsEmpty());
    ASSERT_EQ(loaded.file.guards.size(), 4U);
    EXPECT_EQ(loaded.file.guards[0].tag, "Main.id");
    EXPECT_EQ(text::toText(loaded.file.guards[0].value), "4294967295");
    EXPECT_EQ(loaded.file.guards[0].line, 6);
    EXPECT_EQ(text::toText(loaded.file.guards[1].value), "127");
    EXPECT_EQ(text::toText(loaded.file.guards[3].value), "-2");
}

TEST(Guard, MayBeAbsentOrEmpty) {
    EXPECT_THAT(loadedWith(kNumbers, "[]").problems, IsEmpty());
    EXPECT_THAT(loadedWith(kNumbers, "[]").file.guards, IsEmpty());
}

TEST(Guard, TellsWhatItCannotBe) {
    EXPECT_THAT(
        guardProblems(R"([{"tag": "Main.id", "value": 0}])"),
        ElementsAre("6:39: guard[0].value: is 0, which memory holds that no program has filled; give the program "
                    "another number"));
    EXPECT_THAT(
        guardProblems(R"([{"tag": "Main.ids[1]", "value": 40000}])"),
        ElementsAre("6:43: guard[0].value: is 40000, no value for INT; write a whole number from -32768 to 32767"));
    EXPECT_THAT(guardProblems(R"([{"tag": "Main.id", "value": 1.5}])"),
                ElementsAre("6:39: guard[0].value: is 1.5; write a whole number"));
    EXPECT_THAT(
        guardProblems(R"([{"tag": "Main.nothing", "value": 1}])"),
        ElementsAre(
            "6:19: guard[0].tag: \"Main.nothing\": scope \"Main\" has no variable \"nothing\"; list the tags to see "
            "what there is"));
    EXPECT_THAT(
        guardProblems(R"([{"tag": "Main.level", "value": 1}])"),
        ElementsAre("6:19: guard[0].tag: \"Main.level\" is scaled; a guard holds the number of the program as it is, "
                    "remove its \"scale\""));
    for (const char* tag : {"Main.real", "Main.flag", "Main.word.b[1]", "Main.time"}) {
        EXPECT_THAT(
            guardProblems(std::string(R"([{"tag": ")") + tag + R"(", "value": 1}])"),
            ElementsAre("6:19: guard[0].tag: \"" + std::string(tag) +
                        "\" is no whole number; a guard is a variable of a type like UDINT that holds the number of "
                        "the program"));
    }
    EXPECT_THAT(guardProblems(R"([{"tag": "Main.id", "value": 1}, {"tag": "Main.id", "value": 2}])"),
                ElementsAre("6:51: guard[1].tag: \"Main.id\" is a guard already, in line 6; remove one of them"));
    EXPECT_THAT(guardProblems(R"([{"tag": "Main.id"}])"),
                ElementsAre("6:11: guard[0]: \"value\" is missing; give the number that the program holds there"));
    EXPECT_THAT(guardProblems(R"({"tag": "Main.id", "value": 1})"),
                ElementsAre(testing::HasSubstr("guard: is an object")));
    std::string many = "[";
    for (int i = 0; i < 9; ++i) {
        many += R"({"tag": "Main.id", "value": 1},)";
    }
    many.back() = ']';
    EXPECT_THAT(guardProblems(many),
                ElementsAre("6:10: guard: has 9 guards; give at most 8, one for each memory area is plenty"));
}

TEST(OnlyWriter, GoesFromAStructureToAllInIt) {
    const LoadedSymbolFile loaded = loadedWith(
        R"({"name": "a", "type": "INT", "area": 1, "offset": 0, "onlyWriter": true}, {"name": "b", "type": "INT", "area": 1, "offset": 2},)"
        R"( {"name": "pump", "type": "Pump", "area": 1, "offset": 4, "onlyWriter": true})",
        "[]");
    ASSERT_THAT(loaded.problems, IsEmpty());
    const std::vector<Leaf> leaves = listLeaves(loaded.file);
    ASSERT_EQ(leaves.size(), 3U);
    EXPECT_TRUE(leaves[0].isOnlyWrittenHere);
    EXPECT_FALSE(leaves[1].isOnlyWrittenHere);
    EXPECT_TRUE(leaves[2].isOnlyWrittenHere);
    std::string error;
    EXPECT_TRUE(findElement(loaded.file, "Main.pump.speed", &error)->isOnlyWrittenHere);
    EXPECT_FALSE(findElement(loaded.file, "Main.b", &error)->isOnlyWrittenHere);
}

TEST(OnlyWriter, IsNoReader) {
    const LoadedSymbolFile loaded = loadedWith(
        R"({"name": "a", "type": "INT", "area": 1, "offset": 0, "readOnly": true, "onlyWriter": true})", "[]");
    ASSERT_EQ(loaded.problems.size(), 1U);
    EXPECT_EQ(
        describe("f", loaded.problems[0]),
        "f:5:86: scopes[0].variables[0].onlyWriter: the host does not write what is \"readOnly\"; remove one of them");
}

std::uint64_t fingerprintOf(const std::string& variables, const std::string& guard = "[]") {
    const LoadedSymbolFile loaded = loadedWith(variables, guard);
    EXPECT_THAT(loaded.problems, IsEmpty());
    return fingerprint(loaded.file);
}

TEST(Fingerprint, ChangesWithWhereThingsLieAndWithTheGuard) {
    const std::string a = R"({"name": "a", "type": "INT", "area": 1, "offset": 0})";
    const std::uint64_t first = fingerprintOf(a);
    EXPECT_EQ(fingerprintOf(R"({"name": "a", "type": "INT", "area": 1, "offset": 0, "comment": "c", "unit": "m"})"),
              first);
    EXPECT_NE(fingerprintOf(R"({"name": "a", "type": "INT", "area": 1, "offset": 2})"), first);
    EXPECT_NE(fingerprintOf(R"({"name": "b", "type": "INT", "area": 1, "offset": 0})"), first);
    EXPECT_NE(fingerprintOf(R"({"name": "a", "type": "UINT", "area": 1, "offset": 0})"), first);
    EXPECT_NE(fingerprintOf(R"({"name": "a", "type": "INT", "area": 1, "offset": 0, "array": [[1, 2]]})"), first);
    const std::uint64_t guarded = fingerprintOf(a, R"([{"tag": "Main.a", "value": 1}])");
    EXPECT_NE(guarded, first);
    EXPECT_NE(fingerprintOf(a, R"([{"tag": "Main.a", "value": 2}])"), guarded);
}

}  // namespace
}  // namespace ac500::symbol_file
