#include "tools/desk/symbols_diff.h"

#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/pace.h"

namespace ac500::desk {
namespace {

using selection::Catalog;
using selection::Entry;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

Catalog programWith(const std::string& variables, const std::string& types = "") {
    const std::string text =
        R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 16000000}, {"number": 3, "bytes": 64}],
"types": {)" +
        types + R"(}, "scopes": [{"name": "Main", "variables": [)" + variables + "]}]}";
    symbol_file::LoadedSymbolFile loaded = symbol_file::parseSymbolFile(text);
    for (const symbol_file::Problem& problem : loaded.problems) {
        ADD_FAILURE() << describe("program", problem);
    }
    return Catalog(std::move(loaded.file));
}

std::string variable(const std::string& name, const std::string& type, int offset, const std::string& more = "") {
    return R"({"name": ")" + name + R"(", "type": ")" + type + R"(", "area": 1, "offset": )" + std::to_string(offset) +
           more + "}";
}

std::string bit(const std::string& name, int number, const std::string& more = "") {
    return R"({"name": ")" + name + R"(", "type": "BIT", "area": 3, "bit": )" + std::to_string(number) + more + "}";
}

// "moved Main.a INT@2 -> INT@4 hits Main.b"
std::string inWords(const SymbolChange& change) {
    std::string text;
    text += change.isMoved ? "moved " : "";
    text += change.shifted ? "shifted " : "";
    text += change.isRetyped ? "retyped " : "";
    text += change.isRenamed ? "renamed " : "";
    text += change.isVanished() ? "vanished " : "";
    text += change.isNew() ? "new " : "";
    const auto placeOf = [](const PlacedTag& tag) {
        return tag.tag + " " + tag.type + "@" + std::to_string(tag.address);
    };
    text += change.before ? placeOf(*change.before) : "";
    text += change.before && change.after ? " -> " : "";
    text += change.after ? placeOf(*change.after) : "";
    if (change.shifted) {
        text += " element " + change.shifted->indices + "@" + std::to_string(change.shifted->before) + " -> @" +
                std::to_string(change.shifted->after);
    }
    for (const MeaningChange& one : change.meaning) {
        text += " " + one.what + " (" + one.before + " -> " + one.after + ")";
    }
    for (const std::string& hit : change.hits) {
        text += " hits " + hit;
    }
    return text + (change.hasMoreHits ? " and more" : "");
}

std::vector<std::string> inWords(const SymbolsDiff& diff) {
    std::vector<std::string> texts;
    for (const SymbolChange& change : diff.changes) {
        texts.push_back(inWords(change));
    }
    return texts;
}

std::vector<std::string> changes(const std::string& before, const std::string& after) {
    return inWords(diffSymbols(programWith(before), programWith(after)));
}

SymbolsDiff changesOf(const std::vector<std::string>& words, const Catalog& before, const Catalog& after) {
    std::vector<Entry> entries;
    for (const std::string& word : words) {
        entries.push_back({word, {}, std::nullopt, std::nullopt});
    }
    return diffSymbols(before, after, entries);
}

TEST(SymbolsDiffTest, OfEqualFilesIsEmpty) {
    const std::string program = variable("a", "INT", 0) + "," + variable("b", "INT", 0) + "," + bit("c", 3);
    EXPECT_THAT(changes(program, program), IsEmpty());
    EXPECT_EQ(diffSymbols(programWith(program), programWith(program)).compared, 3u);
}

TEST(SymbolsDiffTest, AVariableThatMoved) {
    EXPECT_THAT(changes(variable("a", "INT", 2), variable("a", "INT", 4)),
                ElementsAre("moved Main.a INT@2 -> Main.a INT@4"));
}

TEST(SymbolsDiffTest, AVariableOfAnotherType) {
    EXPECT_THAT(changes(variable("a", "INT", 2), variable("a", "UINT", 2)),
                ElementsAre("retyped Main.a INT@2 -> Main.a UINT@2"));
    EXPECT_THAT(changes(variable("a", "STRING(20)", 2), variable("a", "STRING", 2)),
                ElementsAre("retyped Main.a STRING(20)@2 -> Main.a STRING@2"));
    EXPECT_THAT(
        changes(variable("a", "INT", 2, R"(, "array": [[1, 5]])"), variable("a", "INT", 2, R"(, "array": [[1, 6]])")),
        ElementsAre("retyped Main.a INT[1..5]@2 -> Main.a INT[1..6]@2"));
    EXPECT_THAT(changes(variable("a", "DWORD", 2), bit("a", 2)),
                ElementsAre("moved retyped Main.a DWORD@2 -> Main.a BIT@2"));
}

TEST(SymbolsDiffTest, ANewNameAtTheSamePlace) {
    EXPECT_THAT(changes(variable("a", "INT", 2), variable("b", "INT", 2)),
                ElementsAre("renamed Main.a INT@2 -> Main.b INT@2"));
    EXPECT_THAT(changes(bit("a", 2), bit("b", 2)), ElementsAre("renamed Main.a BIT@2 -> Main.b BIT@2"));
}

TEST(SymbolsDiffTest, ANewNameOfAnotherTypeIsAnotherVariable) {
    EXPECT_THAT(changes(variable("a", "INT", 2), variable("b", "UINT", 2)),
                ElementsAre("vanished Main.a INT@2 hits Main.b", "new Main.b UINT@2"));
}

TEST(SymbolsDiffTest, ANameThatIsStillThereWasNotGivenToAnother) {
    EXPECT_THAT(changes(variable("a", "INT", 2), variable("a", "INT", 4) + "," + variable("b", "INT", 2)),
                ElementsAre("moved Main.a INT@2 -> Main.a INT@4 hits Main.b", "new Main.b INT@2"));
}

TEST(SymbolsDiffTest, TwoNewNamesAtOnePlaceAreOneRenamedAndOneNew) {
    EXPECT_THAT(changes(variable("a", "INT", 2), variable("b", "INT", 2) + "," + variable("c", "INT", 2)),
                ElementsAre("renamed Main.a INT@2 -> Main.b INT@2 hits Main.c", "new Main.c INT@2"));
}

TEST(SymbolsDiffTest, TwoThatChangedPlacesHitEachOther) {
    EXPECT_THAT(changes(variable("a", "INT", 2) + "," + variable("b", "INT", 4),
                        variable("a", "INT", 4) + "," + variable("b", "INT", 2)),
                ElementsAre("moved Main.a INT@2 -> Main.a INT@4 hits Main.b",
                            "moved Main.b INT@4 -> Main.b INT@2 hits Main.a"));
}

TEST(SymbolsDiffTest, AVariableThatStayedIsHitByWhatWasPutOverIt) {
    EXPECT_THAT(changes(variable("a", "DINT", 2), variable("a", "DINT", 2) + "," + variable("b", "BYTE", 5)),
                ElementsAre("Main.a DINT@2 -> Main.a DINT@2 hits Main.b", "new Main.b BYTE@5"));
    EXPECT_THAT(changes(variable("a", "DINT", 2) + "," + variable("b", "BYTE", 5),
                        variable("a", "DINT", 2) + "," + variable("b", "BYTE", 5)),
                IsEmpty());
}

TEST(SymbolsDiffTest, AVariableThatBecameNarrowerLeavesRoomForAnother) {
    EXPECT_THAT(changes(variable("a", "DINT", 2), variable("a", "INT", 2) + "," + variable("b", "INT", 4)),
                ElementsAre("retyped Main.a DINT@2 -> Main.a INT@2 hits Main.b", "new Main.b INT@4"));
}

TEST(SymbolsDiffTest, BitsShareAByteOnlyWithTheirNeighboursInTheWord) {
    const auto wordAt = [](int offset) {
        return R"({"name": "w", "type": "BYTE", "area": 3, "offset": )" + std::to_string(offset) + "}";
    };
    // Bit 21 is bit 5 of the word at byte 2, whose lower half is byte 3.
    EXPECT_THAT(changes(bit("a", 21), bit("a", 21) + "," + wordAt(3)),
                ElementsAre("Main.a BIT@21 -> Main.a BIT@21 hits Main.w", "new Main.w BYTE@3"));
    EXPECT_THAT(changes(bit("a", 21), bit("a", 21) + "," + wordAt(2)), ElementsAre("new Main.w BYTE@2"));
    EXPECT_THAT(changes(bit("a", 20, R"(, "array": [[1, 8]])"), bit("b", 27) + "," + bit("c", 28)),
                ElementsAre("vanished Main.a BIT[1..8]@20 hits Main.b", "new Main.b BIT@27", "new Main.c BIT@28"));
}

TEST(SymbolsDiffTest, NoMoreThanTenHitsAreNamed) {
    std::string after;
    for (int i = 0; i < 11; ++i) {
        after += (i == 0 ? "" : ",") + variable("x" + std::to_string(i), "INT", 2 * i);
    }
    const std::vector<std::string> found = changes(variable("a", "STRING", 0), after);
    ASSERT_FALSE(found.empty());
    EXPECT_EQ(
        found[0],
        "vanished Main.a STRING@0 hits Main.x0 hits Main.x1 hits Main.x2 hits Main.x3 hits Main.x4 hits Main.x5 hits "
        "Main.x6 hits Main.x7 hits Main.x8 hits Main.x9 and more");
}

TEST(SymbolsDiffTest, StructuresAreComparedMemberByMember) {
    const std::string before = R"("Motor": {"size": 8, "members": [{"name": "on", "type": "BOOL", "offset": 0},
        {"name": "speed", "type": "INT", "offset": 2}]})";
    const std::string after = R"("Motor": {"size": 8, "members": [{"name": "on", "type": "BOOL", "offset": 0},
        {"name": "rpm", "type": "INT", "offset": 2}, {"name": "hours", "type": "DINT", "offset": 4}]})";
    const std::string motors = variable("motors", "Motor", 100, R"(, "array": [[1, 2]])");
    EXPECT_THAT(inWords(diffSymbols(programWith(motors, before), programWith(motors, after))),
                ElementsAre("renamed Main.motors[1].speed INT@102 -> Main.motors[1].rpm INT@102",
                            "renamed Main.motors[2].speed INT@110 -> Main.motors[2].rpm INT@110",
                            "new Main.motors[1].hours DINT@104", "new Main.motors[2].hours DINT@112"));
}

std::string row(const std::string& bounds, int offset) {
    return variable("row", "INT", offset, R"(, "array": [)" + bounds + "]");
}

TEST(SymbolsDiffTest, AnArrayWithOtherBoundsHasItsElementsElsewhere) {
    EXPECT_THAT(changes(row("[1, 10]", 0), row("[0, 9]", 0)),
                ElementsAre("shifted retyped Main.row INT[1..10]@0 -> Main.row INT[0..9]@0 element [1]@0 -> @2 hits "
                            "Main.row[0..9]"));
    EXPECT_THAT(changes(row("[1, 2], [1, 3]", 0), row("[1, 2], [1, 4]", 0)),
                ElementsAre("shifted retyped Main.row INT[1..2,1..3]@0 -> Main.row INT[1..2,1..4]@0 element [2,1]@6 -> "
                            "@8 hits Main.row"));
    EXPECT_THAT(changes(row("[1, 3]", 0), row("[5, 7]", 0)),
                ElementsAre("retyped Main.row INT[1..3]@0 -> Main.row INT[5..7]@0 hits Main.row[5..7]"))
        << "no element has a name that it had";
    EXPECT_THAT(changes(row("[1, 10]", 2), row("[0, 10]", 0)),
                ElementsAre("moved retyped Main.row INT[1..10]@2 -> Main.row INT[0..10]@0"))
        << "one was put before the first, and the others stayed";
}

TEST(SymbolsDiffTest, AnArrayThatMovedWithinItselfTellsWhichElements) {
    EXPECT_THAT(changes(row("[1, 10]", 0), row("[1, 10]", 4)),
                ElementsAre("moved Main.row INT[1..10]@0 -> Main.row INT[1..10]@4 hits Main.row[1..8]"));
}

TEST(SymbolsDiffTest, ElementsThatAreHitAreNamed) {
    EXPECT_THAT(changes(variable("a", "INT", 18), row("[1, 10]", 0)),
                ElementsAre("vanished Main.a INT@18 hits Main.row[10]", "new Main.row INT[1..10]@0"));
    EXPECT_THAT(changes(variable("a", "DINT", 4), row("[1, 2], [0, 3]", 0)),
                ElementsAre("vanished Main.a DINT@4 hits Main.row[1,2..3]", "new Main.row INT[1..2,0..3]@0"));
    EXPECT_THAT(changes(variable("a", "LINT", 0), row("[1, 3]", 2)),
                ElementsAre("vanished Main.a LINT@0 hits Main.row", "new Main.row INT[1..3]@2"))
        << "all of it";
    EXPECT_THAT(changes(bit("a", 9), bit("flags", 6, R"(, "array": [[1, 20]])")),
                ElementsAre("vanished Main.a BIT@9 hits Main.flags[4]", "new Main.flags BIT[1..20]@6"));
}

TEST(SymbolsDiffTest, AnotherMeaningIsAChange) {
    EXPECT_THAT(changes(variable("a", "INT", 2, R"(, "unit": "bar", "readOnly": true, "comment": "before")"),
                        variable("a", "INT", 2, R"(, "unit": "mbar", "scale": {"factor": 0.1}, "comment": "now")")),
                ElementsAre("Main.a INT@2 -> Main.a INT@2 unit (bar -> mbar) scale ( -> x 0.1 + 0) readOnly (true -> "
                            "false)"));
    EXPECT_THAT(changes(variable("a", "INT", 2, R"(, "comment": "before")"), variable("a", "INT", 2)), IsEmpty());
    EXPECT_THAT(changes(variable("a", "INT", 2, R"(, "unit": "bar")"), variable("b", "INT", 2)),
                ElementsAre("renamed Main.a INT@2 -> Main.b INT@2 unit (bar -> )"));
    EXPECT_THAT(changes(row("[1, 3]", 0), variable("row", "INT", 0, R"(, "array": [[1, 3]], "max": 7)")),
                ElementsAre("Main.row INT[1..3]@0 -> Main.row INT[1..3]@0 max ( -> 7)"));
}

TEST(SymbolsDiffOfAList, TellsOfAnotherMeaningOfElementsAndBits) {
    const Catalog before = programWith(row("[1, 3]", 0) + "," + variable("w", "WORD", 6, R"(, "bits": true)"));
    const Catalog after = programWith(variable("row", "INT", 0, R"(, "array": [[1, 3]], "unit": "m")") + "," +
                                      variable("w", "WORD", 6, R"(, "bits": true, "unit": "m", "readOnly": true)"));
    EXPECT_THAT(inWords(changesOf({"Main.row[2]", "Main.w.b[3]"}, before, after)),
                ElementsAre("Main.row[2] INT@2 -> Main.row[2] INT@2 unit ( -> m)",
                            "Main.w.b[3] bit of WORD@6 -> Main.w.b[3] bit of WORD@6 readOnly (false -> true)"));
}

TEST(SymbolsDiffOfAList, BitsThatCannotBeNamedAnyMoreHitNoOtherVariable) {
    const Catalog before = programWith(variable("w", "WORD", 6, R"(, "bits": true)"));
    const Catalog after = programWith(variable("w", "WORD", 6));
    EXPECT_THAT(inWords(changesOf({"Main.w.b[3]"}, before, after)),
                ElementsAre("vanished Main.w.b[3] bit of WORD@6 bits (true -> false)"));
    const Catalog moved = programWith(variable("w", "WORD", 8) + "," + variable("x", "WORD", 6));
    EXPECT_THAT(inWords(changesOf({"Main.w.b[3]"}, before, moved)),
                ElementsAre("vanished Main.w.b[3] bit of WORD@6 bits (true -> false) hits Main.x"));
}

TEST(SymbolsDiffOfAList, AnElementThatStayedInAnArrayThatDidNotHitsNothing) {
    const Catalog before = programWith(row("[1, 2], [1, 3]", 0));
    const Catalog after = programWith(row("[1, 2], [1, 4]", 0));
    EXPECT_THAT(inWords(changesOf({"Main.row[1,2]", "Main.row[1,1..3]", "Main.row[2,1]"}, before, after)),
                ElementsAre("moved Main.row[2,1] INT@6 -> Main.row[2,1] INT@8 hits Main.row[1,4]"));
}

TEST(SymbolsDiffOfAList, TellsOnlyWhatConcernsIt) {
    const Catalog before =
        programWith(variable("a", "INT", 0) + "," + variable("b", "INT", 2) + "," + variable("c", "INT", 4));
    const Catalog after =
        programWith(variable("a", "INT", 0) + "," + variable("b", "INT", 6) + "," + variable("d", "INT", 4));
    EXPECT_THAT(inWords(changesOf({"Main.a"}, before, after)), IsEmpty());
    EXPECT_EQ(changesOf({"Main.a"}, before, after).compared, 1u);
    EXPECT_THAT(inWords(changesOf({"Main.c", "Main.a", "Main.c"}, before, after)),
                ElementsAre("renamed Main.c INT@4 -> Main.d INT@4"));
    EXPECT_THAT(inWords(changesOf({"Main.*"}, before, after)),
                ElementsAre("moved Main.b INT@2 -> Main.b INT@6", "renamed Main.c INT@4 -> Main.d INT@4"));
    EXPECT_THAT(inWords(changesOf({"Main"}, before, after)), SizeIs(2));
}

TEST(SymbolsDiffOfAList, KnowsElementsAndBits) {
    const Catalog before = programWith(variable("row", "INT", 0, R"(, "array": [[0, 9]])") + "," +
                                       variable("flags", "WORD", 40, R"(, "bits": true)") + "," +
                                       variable("old", "INT", 50, R"(, "array": [[1, 3]])"));
    const Catalog after = programWith(
        variable("row", "INT", 0, R"(, "array": [[1, 9]])") + "," + variable("flags", "WORD", 42, R"(, "bits": true)") +
        "," + variable("other", "BYTE", 41) + "," + variable("fresh", "INT", 50, R"(, "array": [[1, 3]])"));
    EXPECT_THAT(
        inWords(changesOf({"Main.row[3]", "Main.row[0]", "Main.flags.b[3]", "Main.flags.b[0..1]"}, before, after)),
        ElementsAre("moved Main.row[3] INT@6 -> Main.row[3] INT@4 hits Main.row[4]",
                    "vanished Main.row[0] INT@0 hits Main.row[1]",
                    "moved Main.flags.b[3] bit of WORD@40 -> Main.flags.b[3] bit of WORD@42 hits Main.other",
                    "moved Main.flags.b[0..1] 2 x bit of WORD@40 -> Main.flags.b[0..1] 2 x bit of WORD@42 hits "
                    "Main.other"));
    EXPECT_THAT(inWords(changesOf({"Main.old[2]", "Main.old[2..3]"}, before, after)),
                ElementsAre("renamed Main.old[2] INT@52 -> Main.fresh[2] INT@52",
                            "renamed Main.old[2..3] 2 x INT@52 -> Main.fresh[2..3] 2 x INT@52"));
}

TEST(SymbolsDiffOfAList, TakesNamesOfTheNewFileToo) {
    const Catalog before = programWith(variable("a", "INT", 0));
    const Catalog after = programWith(variable("a", "INT", 0) + "," + variable("fresh", "INT", 2));
    EXPECT_THAT(inWords(changesOf({"Main.fresh", "Main.a"}, before, after)), ElementsAre("new Main.fresh INT@2"));
    EXPECT_THAT(inWords(changesOf({"Main.f*"}, before, after)), ElementsAre("new Main.fresh INT@2"));
}

TEST(SymbolsDiffOfAList, TellsEveryNameThatNeitherFileHas) {
    const Catalog before = programWith(variable("counter", "INT", 0));
    const SymbolsDiff diff = changesOf({"Main.countr", "Main.counter", "Main.x*", "Nowhere"}, before, before);
    ASSERT_THAT(diff.problems, SizeIs(3));
    EXPECT_THAT(diff.problems[0].text, HasSubstr("Main.counter"));
}

// Fifty thousand variables that all moved, over one array that covers them all.
TEST(SymbolsDiffTest, OfFiftyThousandVariablesTakesNoTime) {
    constexpr int kMany = test::sized(50000);
    std::string before = variable("all", "BYTE", 0, R"(, "array": [[1, 400000]])");
    std::string after = before;
    for (int i = 0; i < kMany; ++i) {
        before += "," + variable("v" + std::to_string(i), "DINT", 8 * i);
        after += "," + variable("v" + std::to_string(i), "DINT", 8 * ((i + 1) % kMany));
    }
    const Catalog old = programWith(before);
    const Catalog now = programWith(after);
    std::vector<std::string> words;
    for (int i = 0; i < kMany; ++i) {
        words.push_back("Main.v" + std::to_string(i));
    }
    const auto start = std::chrono::steady_clock::now();
    const SymbolsDiff diff = diffSymbols(old, now);
    const SymbolsDiff ofList = changesOf(words, old, now);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    ASSERT_THAT(diff.changes, SizeIs(kMany));
    EXPECT_EQ(inWords(diff.changes[1]), "moved Main.v1 DINT@8 -> Main.v1 DINT@16 hits Main.v0");
    EXPECT_THAT(ofList.changes, SizeIs(kMany));
    EXPECT_LT(elapsed, std::chrono::seconds(20));  // a step that is quadratic takes minutes
}

Catalog guardedProgram(const std::string& variables, const std::string& guards) {
    symbol_file::LoadedSymbolFile loaded = symbol_file::parseSymbolFile(
        R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 100}], "scopes": [{"name": "Main",
            "variables": [)" +
        variables + "," + variable("id", "UDINT", 0) + "," + variable("id2", "UDINT", 8) + R"(]}], "guard": [)" +
        guards + "]}");
    EXPECT_THAT(loaded.problems, IsEmpty());
    return Catalog(std::move(loaded.file));
}

TEST(SymbolsDiffTest, AGuardWhoseNumberStayedAlthoughVariablesMoved) {
    const std::string here = variable("a", "INT", 20);
    const std::string there = variable("a", "INT", 22);
    const std::string seven = R"({"tag": "Main.id", "value": 7})";
    const std::string both = seven + R"(, {"tag": "Main.id2", "value": 9})";
    const auto stayed = [](const std::string& before, const std::string& guards, const std::string& after,
                           const std::string& newGuards) {
        const Catalog old = guardedProgram(before, guards);
        const Catalog now = guardedProgram(after, newGuards);
        return guardsThatStayed(diffSymbols(old, now), old, now);
    };
    EXPECT_THAT(stayed(here, seven, there, seven), ElementsAre("Main.id"));
    EXPECT_THAT(stayed(here, both, there, both), ElementsAre("Main.id", "Main.id2"));
    EXPECT_THAT(stayed(here, seven, variable("a", "UINT", 20), seven), ElementsAre("Main.id")) << "another type";
    EXPECT_THAT(stayed(here, seven, variable("b", "INT", 40), seven), ElementsAre("Main.id")) << "it vanished";
    EXPECT_THAT(stayed(here, seven, here, seven), IsEmpty());
    EXPECT_THAT(stayed(here, seven, here + "," + variable("b", "INT", 40), seven), IsEmpty()) << "only something new";
    EXPECT_THAT(stayed(here, seven, there, R"({"tag": "Main.id", "value": 8})"), IsEmpty());
    EXPECT_THAT(stayed(here, seven, there, R"({"tag": "Main.id2", "value": 7})"), IsEmpty());
    EXPECT_THAT(stayed(here, both, there, seven + R"(, {"tag": "Main.id2", "value": 10})"), IsEmpty())
        << "one of them is noticed";
}

}  // namespace
}  // namespace ac500::desk
