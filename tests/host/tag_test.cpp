#include "tools/host/tag.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::host {

using symbol_file::LoadedSymbolFile;
using symbol_file::parseSymbolFile;

namespace {

using testing::HasSubstr;

constexpr char kProgram[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 4096}, {"number": 3, "bytes": 64}],
  "types": {"Motor": {"size": 40, "members": [
    {"name": "speed", "type": "INT", "offset": 2},
    {"name": "curve", "type": "REAL", "offset": 4, "array": [[1, 5]]}]}},
  "scopes": [{"name": "Main", "variables": [
    {"name": "counter", "type": "UINT", "area": 1, "offset": 0},
    {"name": "flags", "type": "DWORD", "area": 1, "offset": 4, "bits": true},
    {"name": "grid", "type": "DINT", "area": 1, "offset": 100, "array": [[0, 3], [1, 5]]},
    {"name": "recipe", "type": "INT", "area": 1, "offset": 200, "array": [[1, 6]]},
    {"name": "motors", "type": "Motor", "area": 1, "offset": 300, "array": [[1, 2]]},
    {"name": "title", "type": "STRING", "area": 1, "offset": 500},
    {"name": "names", "type": "STRING", "area": 1, "offset": 600, "array": [[1, 3]]},
    {"name": "serial", "type": "STRING(5)", "area": 1, "offset": 900},
    {"name": "short", "type": "STRING(20)", "area": 1, "offset": 1000, "array": [[0, 1], [3, 7]], "readOnly": true},
    {"name": "long", "type": "STRING(100)", "area": 1, "offset": 1300, "array": [[1, 3]]},
    {"name": "start", "type": "BIT", "area": 3, "bit": 21},
    {"name": "lamps", "type": "BIT", "area": 3, "bit": 30, "array": [[1, 8]]}
  ]}]})~";

const TagTable& program() {
    static const TagTable table([] {
        LoadedSymbolFile loaded = parseSymbolFile(kProgram);
        EXPECT_TRUE(loaded.problems.empty());
        return loaded.file;
    }());
    return table;
}

Tag found(const std::string& text) {
    std::string error;
    const std::optional<Tag> tag = program().find(text, &error);
    EXPECT_TRUE(tag) << error;
    return tag.value_or(Tag());
}

std::string refused(const std::string& text) {
    std::string error;
    EXPECT_FALSE(program().find(text, &error)) << text;
    return error;
}

// "area:address+size ..."
std::string runs(const Tag& tag) {
    std::string text;
    for (const ByteRun& run : tag.byteRuns()) {
        text += (text.empty() ? "" : " ") + std::to_string(run.area) + ":" + std::to_string(run.address) + "+" +
                std::to_string(run.size);
    }
    return text;
}

// "name/count ..." as the driver is asked.
std::string calls(const Tag& tag, const std::vector<RunChunk>& plan) {
    std::string text;
    for (const RunChunk& chunk : plan) {
        text += (text.empty() ? "" : " ") + tag.elementName(chunk.firstElement) + "/" + std::to_string(chunk.count);
    }
    return text;
}

TEST(Tag, AVariable) {
    const Tag tag = found("Main.counter");
    EXPECT_EQ(tag.form.code, TypeCode::Uint);
    EXPECT_FALSE(tag.isList);
    EXPECT_EQ(tag.elements, 1);
    EXPECT_EQ(runs(tag), "1:0+2");
    EXPECT_EQ(calls(tag, tag.readPlan()), "Main.counter/1");
}

TEST(Tag, AnElementOfAnArrayOfTwoDimensions) {
    const Tag tag = found("Main.grid[2,3]");
    EXPECT_FALSE(tag.isList);
    EXPECT_EQ(tag.rowExtent, 5);
    // row 2 of 5 elements, third in it: element 12 of 4 bytes behind 100
    EXPECT_EQ(runs(tag), "1:148+4");
    EXPECT_EQ(calls(tag, tag.readPlan()), "Main.grid[2,3]/2");
    EXPECT_EQ(calls(tag, tag.writePlan()), "Main.grid[2,3]/2");
}

TEST(Tag, AWholeArrayByItsName) {
    const Tag tag = found("Main.recipe");
    EXPECT_TRUE(tag.isList);
    EXPECT_EQ(tag.elements, 6);
    EXPECT_EQ(runs(tag), "1:200+12");
    EXPECT_EQ(calls(tag, tag.readPlan()), "Main.recipe[1]/6");
}

TEST(Tag, ARangeOfARow) {
    const Tag tag = found("Main.grid[1,2..5]");
    EXPECT_TRUE(tag.isList);
    EXPECT_EQ(tag.elements, 4);
    EXPECT_EQ(runs(tag), "1:124+16");
    EXPECT_EQ(calls(tag, tag.writePlan()), "Main.grid[1,2]/5 Main.grid[1,5]/2");
}

TEST(Tag, ARangeOfOneElementIsStillAList) {
    const Tag tag = found("Main.recipe[3..3]");
    EXPECT_TRUE(tag.isList);
    EXPECT_EQ(tag.elements, 1);
    EXPECT_EQ(runs(tag), "1:204+2");
}

TEST(Tag, AnArrayInAStructureOfAnArray) {
    const Tag tag = found("Main.motors[2].curve");
    EXPECT_EQ(tag.elements, 5);
    EXPECT_EQ(tag.rowExtent, 5);
    EXPECT_EQ(runs(tag), "1:344+20");
    EXPECT_EQ(calls(tag, tag.readPlan()), "Main.motors[2].curve[1]/5 Main.motors[2].curve[4]/4");
}

TEST(Tag, ABitIsReadAndWrittenWithItsVariable) {
    const Tag tag = found("Main.flags.b[30]");
    EXPECT_TRUE(tag.form.isBit);
    EXPECT_EQ(runs(tag), "1:4+4");
    EXPECT_EQ(calls(tag, tag.readPlan()), "Main.flags.b[30]/2");
    EXPECT_EQ(calls(tag, tag.writePlan()), "Main.flags.b[30]/1");
}

TEST(Tag, ABitByItsNumberIsGivenToTheDriverInBrackets) {
    const Tag tag = found("Main.flags.30");
    EXPECT_EQ(tag.text, "Main.flags.30");
    EXPECT_TRUE(tag.form.isBit);
    EXPECT_FALSE(tag.isList);
    EXPECT_EQ(tag.firstBit, 30);
    EXPECT_EQ(runs(tag), "1:4+4");
    EXPECT_EQ(calls(tag, tag.readPlan()), "Main.flags.b[30]/2");
    EXPECT_EQ(calls(tag, tag.writePlan()), "Main.flags.b[30]/1");
    EXPECT_EQ(found("Main.flags.03").elementName(0), "Main.flags.b[3]");
    EXPECT_EQ(refused("Main.flags.32"), R"("Main.flags.32": bit 32 lies outside 0..31)");
}

TEST(Tag, ARangeOfBits) {
    const Tag tag = found("Main.flags.b[4..7]");
    EXPECT_TRUE(tag.form.isBit);
    EXPECT_TRUE(tag.isList);
    EXPECT_EQ(tag.elements, 4);
    EXPECT_EQ(runs(tag), "1:4+4");
    EXPECT_EQ(calls(tag, tag.writePlan()), "Main.flags.b[4]/4");
    EXPECT_THAT(refused("Main.flags.b[30..32]"), HasSubstr("32"));
}

TEST(Tag, BitVariablesCoverTheirWords) {
    EXPECT_EQ(runs(found("Main.start")), "3:2+2");
    // bits 30 to 37: the words of bits 16..31 and 32..47
    EXPECT_EQ(runs(found("Main.lamps")), "3:2+4");
    EXPECT_EQ(calls(found("Main.lamps"), found("Main.lamps").readPlan()), "Main.lamps[1]/8");
    EXPECT_EQ(runs(found("Main.lamps[3]")), "3:4+2");
}

TEST(Tag, StringsCoverEightyBytesOfTheirEightyOne) {
    EXPECT_EQ(runs(found("Main.title")), "1:500+80");
    EXPECT_EQ(calls(found("Main.title"), found("Main.title").readPlan()), "Main.title/40");
    EXPECT_FALSE(found("Main.title").isStringInArray());
    EXPECT_EQ(runs(found("Main.names")), "1:600+80 1:681+80 1:762+80");
    EXPECT_TRUE(found("Main.names[2]").isStringInArray());
}

TEST(Tag, StringsOfOtherLengthsCoverTheirWords) {
    EXPECT_EQ(runs(found("Main.serial")), "1:900+6");
    EXPECT_EQ(calls(found("Main.serial"), found("Main.serial").readPlan()), "Main.serial/3");
    EXPECT_EQ(runs(found("Main.short[1,4..5]")), "1:1126+20 1:1147+20");
    EXPECT_TRUE(found("Main.short[1,4]").isReadOnly);
    EXPECT_FALSE(found("Main.serial").isReadOnly);
}

std::string nearName(const std::string& text, int element) {
    const Tag::NearName near = found(text).nearName(element);
    return near.name + " + " + std::to_string(near.bytesBefore);
}

// The driver takes 81 bytes for each: element n of its row lies at 1000 + 81 n.
TEST(Tag, StringsOfOtherLengthsInArraysAreNearElementsOfTheDriver) {
    EXPECT_EQ(nearName("Main.short[0,3]", 0), "Main.short[0,3] + 0");
    EXPECT_EQ(nearName("Main.short[0,6]", 0), "Main.short[0,3] + 63");
    EXPECT_EQ(nearName("Main.short[1,3..7]", 0), "Main.short[0,4] + 24");
    EXPECT_EQ(nearName("Main.short[1,3..7]", 4), "Main.short[0,5] + 27");
    EXPECT_EQ(nearName("Main.long", 2), "Main.long[3] + 40");
    EXPECT_EQ(nearName("Main.long[2]", 0), "Main.long[2] + 20");
    EXPECT_EQ(nearName("Main.names[3]", 0), "Main.names[3] + 0");
    EXPECT_EQ(nearName("Main.recipe[3]", 0), "Main.recipe[3] + 0");
}

TEST(Tag, ErrorsSayWhatIsWrong) {
    EXPECT_THAT(refused("Main.grid"), HasSubstr("name one row, e.g. Main.grid[0,1..5]"));
    EXPECT_THAT(refused("Main.recipe[7]"), HasSubstr("outside"));
    EXPECT_THAT(refused("Main.recipe[4..7]"), HasSubstr("outside"));
    EXPECT_THAT(refused("Main.recipe[5..2]"), HasSubstr("is no range"));
    EXPECT_THAT(refused("Main.recipe[a..b]"), HasSubstr("is no range"));
    EXPECT_THAT(refused("Main.conter"), HasSubstr("Main.counter"));
    EXPECT_THAT(refused("Main.motors[1].sped"), HasSubstr("Main.motors[1].speed"));
    for (const char* text :
         {"", "Main", "Main.", "]", "[", "Main.recipe[", "Main.recipe[..]", "Main.motors[1..2].speed"}) {
        EXPECT_NE(refused(text), "") << text;
    }
}

TEST(Tag, EachNearNameIsGivenOnceAndOnlyForAnUnknownOne) {
    EXPECT_EQ(refused("Main.conter"),
              "\"Main.conter\": scope \"Main\" has no variable \"conter\"; near names: Main.counter");
    EXPECT_EQ(refused("Main.recipe[7]"), "\"Main.recipe[7]\": index 7 lies outside 1..6");
    EXPECT_EQ(
        refused("Main.motors[1].velocity"),
        "\"Main.motors[1].velocity\": structure type \"Motor\" has no member \"velocity\"; list the tags to see what "
        "there is");
}

TEST(Tag, OverlapIsAboutBytes) {
    EXPECT_TRUE(overlap({{1, 0, 4}}, {{1, 3, 1}}));
    EXPECT_FALSE(overlap({{1, 0, 4}}, {{1, 4, 4}}));
    EXPECT_FALSE(overlap({{1, 0, 4}}, {{2, 0, 4}}));
    EXPECT_TRUE(overlap({{1, 0, 4}, {2, 0, 4}}, {{2, 2, 10}}));
}

}  // namespace
}  // namespace ac500::host
