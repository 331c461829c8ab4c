#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/symbol_file/sample.h"
#include "tools/symbol_file/name_index.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {
namespace {

// "INT 1:128 row 4", with " bit 3" behind it where the tag names one.
std::string text(const Element& element) {
    std::string text = std::string(typeTraits(element.code)->name) + " " + std::to_string(element.area) + ":" +
                       std::to_string(element.address) + " row " + std::to_string(element.elementsToRowEnd);
    return element.bit < 0 ? text : text + " bit " + std::to_string(element.bit);
}

std::string lookUp(const std::string& tag) {
    static const SymbolFile file = sampleFile();
    std::string error;
    const std::optional<Element> element = findElement(file, tag, &error);
    return element ? text(*element) : error;
}

std::string lookUpByIndex(const std::string& tag) {
    static const SymbolFile file = sampleFile();
    static const NameIndex index(file);
    TagProblem problem;
    const std::optional<Element> element = findElement(file, index, tag, &problem);
    return element ? text(*element) : problem.reason;
}

struct Lookup {
    const char* situation;
    const char* tag;
    const char* expected;
};

void PrintTo(const Lookup& lookup, std::ostream* stream) {
    *stream << lookup.tag;
}

std::string tagCase(const testing::TestParamInfo<Lookup>& info) {
    return info.param.situation;
}

class FoundTag : public testing::TestWithParam<Lookup> {};

TEST_P(FoundTag, GivesTypePlaceAndRestOfTheRow) {
    EXPECT_EQ(lookUp(GetParam().tag), GetParam().expected);
    EXPECT_EQ(lookUpByIndex(GetParam().tag), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Tags, FoundTag,
    testing::Values(Lookup{"Scalar", "Main.counter", "UINT 1:10 row 1"},
                    Lookup{"SameNameInAnotherScope", "Aux.counter", "SINT 3:7 row 1"},
                    Lookup{"String", "Main.title", "STRING 1:300 row 1"},
                    Lookup{"StringInAnArray", "Main.lines[3]", "CSTRING 1:562 row 1"},
                    Lookup{"FirstElement", "Main.grid[0,1]", "INT 1:100 row 6"},
                    Lookup{"ElementInTheMiddle", "Main.grid[2,3]", "INT 1:128 row 4"},
                    Lookup{"LastElement", "Main.grid[3,6]", "INT 1:146 row 1"},
                    Lookup{"ThreeDimensionsFirst", "Main.cube[-1,2,7]", "LREAL 1:200 row 2"},
                    Lookup{"ThreeDimensionsLast", "Main.cube[0,4,8]", "LREAL 1:288 row 1"},
                    Lookup{"ThreeDimensionsMiddle", "Main.cube[0,2,8]", "LREAL 1:256 row 1"},
                    Lookup{"LeadingZero", "Main.grid[02,3]", "INT 1:128 row 4"},
                    Lookup{"LowestBit", "Main.flags.b[0]", "WORD 1:12 row 1 bit 0"},
                    Lookup{"HighestBit", "Main.flags.b[15]", "WORD 1:12 row 1 bit 15"},
                    Lookup{"HighestBitOfAWideWord", "Main.wide.b[63]", "LWORD 1:16 row 1 bit 63"},
                    Lookup{"BitUnderAnyWord", "Main.flags.bit[3]", "WORD 1:12 row 1 bit 3"},
                    Lookup{"BitByItsNumber", "Main.flags.3", "WORD 1:12 row 1 bit 3"},
                    Lookup{"HighestBitByItsNumber", "Main.wide.63", "LWORD 1:16 row 1 bit 63"},
                    Lookup{"BitOfAMemberByItsNumber", "Main.pumps[2].status.7", "BYTE 1:824 row 1 bit 7"},
                    Lookup{"WholeBitAddressableWord", "Main.flags", "WORD 1:12 row 1"},
                    Lookup{"Bit", "Main.start", "BIT 3:21 row 1"},
                    Lookup{"BitInAnArray", "Main.lamps[3]", "BIT 3:42 row 6"},
                    Lookup{"Member", "Main.pump.speed", "INT 1:702 row 1"},
                    Lookup{"MemberOfAnArrayOfStructures", "Main.pumps[2].speed", "INT 1:822 row 1"},
                    Lookup{"ArrayInAStructure", "Main.pumps[2].hours[-1]", "UINT 1:834 row 3"},
                    Lookup{"StructureInAStructure", "Main.pumps[1].valve[2,5].open", "BOOL 1:811 row 1"},
                    Lookup{"BitOfAMember", "Main.pumps[2].status.b[7]", "BYTE 1:824 row 1 bit 7"}),
    tagCase);

class RefusedTag : public testing::TestWithParam<Lookup> {};

TEST_P(RefusedTag, SaysWhichPartIsWrongAndWhatWouldBeRight) {
    EXPECT_EQ(lookUp(GetParam().tag), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Tags, RefusedTag,
    testing::Values(
        Lookup{"Empty", "", R"("": a tag needs a scope and a variable: write SCOPE.VARIABLE)"},
        Lookup{"ScopeAlone", "Main", R"("Main": a tag needs a scope and a variable: write SCOPE.VARIABLE)"},
        Lookup{"UnknownScope", "Plant.counter",
               R"("Plant.counter": there is no scope "Plant"; list the tags to see what there is)"},
        Lookup{"MisspeltScope", "Mian.counter", R"("Mian.counter": there is no scope "Mian"; did you mean "Main"?)"},
        Lookup{"ScopeInLowerCase", "main.counter", R"("main.counter": there is no scope "main"; did you mean "Main"?)"},
        Lookup{"ScopeWithIndex", "Main[1].counter",
               R"("Main[1].counter": there is no scope "Main[1]"; did you mean "Main"?)"},
        Lookup{"UnknownVariable", "Main.pressure",
               R"("Main.pressure": scope "Main" has no variable "pressure"; list the tags to see what there is)"},
        Lookup{"MisspeltVariable", "Main.cuonter",
               R"("Main.cuonter": scope "Main" has no variable "cuonter"; did you mean "counter"?)"},
        Lookup{"EmptyVariable", "Main.",
               R"("Main.": scope "Main" has no variable ""; list the tags to see what there is)"},
        Lookup{"WholeArray", "Main.grid", R"("Main.grid": "grid" is the array [0..3,1..6]; add an index)"},
        Lookup{"TooFewIndices", "Main.grid[1]",
               R"("Main.grid[1]": "grid" is the array [0..3,1..6]; give one index per dimension)"},
        Lookup{"TooManyIndices", "Main.grid[1,2,3]",
               R"("Main.grid[1,2,3]": "grid" is the array [0..3,1..6]; give one index per dimension)"},
        Lookup{"IndexBelow", "Main.grid[0,0]", R"("Main.grid[0,0]": index 0 lies outside 1..6)"},
        Lookup{"IndexAbove", "Main.grid[4,1]", R"("Main.grid[4,1]": index 4 lies outside 0..3)"},
        Lookup{"IndexBelowNegativeBound", "Main.cube[-2,2,7]", R"("Main.cube[-2,2,7]": index -2 lies outside -1..0)"},
        Lookup{"IndexMissing", "Main.grid[1,]", R"("Main.grid[1,]": index "" is no whole number)"},
        Lookup{"IndexWithBlank", "Main.grid[1, 2]", R"("Main.grid[1, 2]": index " 2" is no whole number)"},
        Lookup{"IndexNoNumber", "Main.grid[1,x]", R"("Main.grid[1,x]": index "x" is no whole number)"},
        Lookup{"IndexPlaceholder", "Main.grid[0,%%]", R"("Main.grid[0,%%]": index "%%" is no whole number)"},
        Lookup{"IndexBeyondThirtyTwoBits", "Main.grid[4294967296,1]",
               R"("Main.grid[4294967296,1]": index "4294967296" is no whole number)"},
        Lookup{"BracketNotClosed", "Main.lines[3",
               R"("Main.lines[3": "lines[3" has half an index; write it as in NAME[1] or NAME[1,2])"},
        Lookup{"IndexOnAScalar", "Main.counter[0]", R"("Main.counter[0]": "counter" is no array; remove the index)"},
        Lookup{"WholeStructure", "Main.pump",
               R"("Main.pump": "pump" is a structure of type "Pump"; add "." and the name of a member)"},
        Lookup{"StructureArrayWithoutIndex", "Main.pumps.speed",
               R"("Main.pumps.speed": "pumps" is the array [1..2]; add an index)"},
        Lookup{"UnknownMember", "Main.pump.sped",
               R"("Main.pump.sped": structure type "Pump" has no member "sped"; did you mean "speed"?)"},
        Lookup{"MemberOfAScalar", "Main.counter.x",
               R"("Main.counter.x": "counter" is a UINT; nothing can follow it, found "x")"},
        Lookup{"BitOfAWordWithoutBits", "Main.counter.b[0]",
               R"("Main.counter.b[0]": "counter" is a UINT; nothing can follow it, found "b[0]")"},
        Lookup{"BitWithoutNumber", "Main.flags.b",
               R"("Main.flags.b": "b" names no bit of "flags"; write b[0], b[1] and so on)"},
        Lookup{"BitWithoutWord", "Main.flags.[3]",
               R"("Main.flags.[3]": "[3]" names no bit of "flags"; write b[0], b[1] and so on)"},
        Lookup{"BitAboveTheHighest", "Main.flags.b[16]", R"("Main.flags.b[16]": bit 16 lies outside 0..15)"},
        Lookup{"NegativeBit", "Main.flags.b[-1]", R"("Main.flags.b[-1]": bit -1 lies outside 0..15)"},
        Lookup{"BitByANumberAboveTheHighest", "Main.flags.16", R"("Main.flags.16": bit 16 lies outside 0..15)"},
        Lookup{"BitByANegativeNumber", "Main.flags.-1", R"("Main.flags.-1": bit -1 lies outside 0..15)"},
        Lookup{"BitByANumberOfAWordWithoutBits", "Main.counter.0",
               R"("Main.counter.0": "counter" is a UINT; nothing can follow it, found "0")"},
        Lookup{"BitByNoNumber", "Main.flags.3x",
               R"("Main.flags.3x": "3x" names no bit of "flags"; write b[0], b[1] and so on)"},
        Lookup{"EmptyBit", "Main.flags.", R"("Main.flags.": "" names no bit of "flags"; write b[0], b[1] and so on)"},
        Lookup{"SomethingBehindTheBit", "Main.flags.b[3].x",
               R"("Main.flags.b[3].x": "flags" is a WORD; nothing can follow it, found "b[3]")"}),
    tagCase);

std::string text(const Leaf& leaf) {
    return leaf.tag + " " + typeTraits(leaf.code)->name + " " + std::to_string(leaf.area) + ":" +
           std::to_string(leaf.address) + " x" + std::to_string(leaf.elementCount()) +
           (leaf.bitAddressable ? " bits" : "");
}

TEST(Leaves, ListEveryScalarAndArrayOfScalarsInFileOrder) {
    std::vector<std::string> leaves;
    for (const Leaf& leaf : listLeaves(sampleFile())) {
        leaves.push_back(text(leaf));
    }
    EXPECT_THAT(leaves, testing::ElementsAre("Main.counter UINT 1:10 x1",                    //
                                             "Main.grid INT 1:100 x24",                      //
                                             "Main.cube LREAL 1:200 x12",                    //
                                             "Main.flags WORD 1:12 x1 bits",                 //
                                             "Main.wide LWORD 1:16 x1 bits",                 //
                                             "Main.title STRING 1:300 x1",                   //
                                             "Main.lines CSTRING 1:400 x3",                  //
                                             "Main.start BIT 3:21 x1",                       //
                                             "Main.lamps BIT 3:40 x8",                       //
                                             "Main.pump.speed INT 1:702 x1",                 //
                                             "Main.pump.status BYTE 1:704 x1 bits",          //
                                             "Main.pump.valve[1,5].open BOOL 1:707 x1",      //
                                             "Main.pump.valve[1,6].open BOOL 1:709 x1",      //
                                             "Main.pump.valve[2,5].open BOOL 1:711 x1",      //
                                             "Main.pump.valve[2,6].open BOOL 1:713 x1",      //
                                             "Main.pump.hours UINT 1:714 x3",                //
                                             "Main.pumps[1].speed INT 1:802 x1",             //
                                             "Main.pumps[1].status BYTE 1:804 x1 bits",      //
                                             "Main.pumps[1].valve[1,5].open BOOL 1:807 x1",  //
                                             "Main.pumps[1].valve[1,6].open BOOL 1:809 x1",  //
                                             "Main.pumps[1].valve[2,5].open BOOL 1:811 x1",  //
                                             "Main.pumps[1].valve[2,6].open BOOL 1:813 x1",  //
                                             "Main.pumps[1].hours UINT 1:814 x3",            //
                                             "Main.pumps[2].speed INT 1:822 x1",             //
                                             "Main.pumps[2].status BYTE 1:824 x1 bits",      //
                                             "Main.pumps[2].valve[1,5].open BOOL 1:827 x1",  //
                                             "Main.pumps[2].valve[1,6].open BOOL 1:829 x1",  //
                                             "Main.pumps[2].valve[2,5].open BOOL 1:831 x1",  //
                                             "Main.pumps[2].valve[2,6].open BOOL 1:833 x1",  //
                                             "Main.pumps[2].hours UINT 1:834 x3",            //
                                             "Aux.counter SINT 3:7 x1"));
}

TEST(Leaves, CarryCommentsAndBounds) {
    const std::vector<Leaf> leaves = listLeaves(sampleFile());
    EXPECT_EQ(leaves[0].comment, "parts");
    EXPECT_EQ(leaves[9].comment, "rpm");
    ASSERT_EQ(leaves[2].dimensions.size(), 3u);
    EXPECT_EQ(leaves[2].dimensions[0].lower, -1);
    EXPECT_EQ(leaves[2].dimensions[0].upper, 0);
    EXPECT_EQ(leaves[2].dimensions[2].lower, 7);
    EXPECT_EQ(leaves[2].dimensions[2].upper, 8);
}

}  // namespace
}  // namespace ac500::symbol_file
