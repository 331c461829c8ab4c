#include "tools/host/target_overlap.h"

#include <gtest/gtest.h>

namespace ac500::host {

using symbol_file::LoadedSymbolFile;
using symbol_file::parseSymbolFile;

namespace {

// "alias" lies on the last two bytes of "flags", "shadow" on the word of "start".
constexpr char kOverlaps[] = R"({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 4096}, {"number": 3, "bytes": 64}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "flags", "type": "DWORD", "area": 1, "offset": 4, "bits": true},
    {"name": "alias", "type": "WORD", "area": 1, "offset": 6, "bits": true},
    {"name": "recipe", "type": "INT", "area": 1, "offset": 200, "array": [[1, 6]]},
    {"name": "names", "type": "STRING", "area": 1, "offset": 600, "array": [[1, 3]]},
    {"name": "start", "type": "BIT", "area": 3, "bit": 21},
    {"name": "lamps", "type": "BIT", "area": 3, "bit": 30, "array": [[1, 8]]},
    {"name": "shadow", "type": "WORD", "area": 3, "offset": 2, "bits": true},
    {"name": "elsewhere", "type": "WORD", "area": 3, "offset": 6, "bits": true}
  ]}]})";

// "0 1", the positions of the two that meet, or "apart".
std::string meeting(const std::vector<std::string>& texts) {
    const LoadedSymbolFile loaded = parseSymbolFile(kOverlaps);
    const TagTable table(loaded.file);
    std::vector<Tag> targets;
    for (const std::string& text : texts) {
        std::string error;
        const std::optional<Tag> tag = table.find(text, &error);
        EXPECT_TRUE(tag) << error;
        targets.push_back(tag.value_or(Tag()));
    }
    const std::optional<TargetOverlap> overlap = findOverlap(targets);
    return overlap ? std::to_string(overlap->first) + " " + std::to_string(overlap->second) : "apart";
}

TEST(TargetOverlap, DifferentVariablesKeepApart) {
    EXPECT_EQ(meeting({}), "apart");
    EXPECT_EQ(meeting({"Main.recipe[2]", "Main.flags", "Main.recipe[1]", "Main.names[1]", "Main.names[2]"}), "apart");
    EXPECT_EQ(meeting({"Main.elsewhere", "Main.flags"}), "apart") << "the same bytes of another area";
}

TEST(TargetOverlap, TheSameTargetTwice) {
    EXPECT_EQ(meeting({"Main.recipe[2]", "Main.flags", "Main.recipe[2]"}), "0 2");
}

TEST(TargetOverlap, RunsOfOneArray) {
    EXPECT_EQ(meeting({"Main.recipe[1..3]", "Main.recipe[4..6]"}), "apart");
    EXPECT_EQ(meeting({"Main.recipe[1..3]", "Main.recipe[3..6]"}), "0 1");
    EXPECT_EQ(meeting({"Main.recipe[4]", "Main.recipe"}), "0 1") << "one within the other";
    EXPECT_EQ(meeting({"Main.recipe[1..2]", "Main.recipe[1..6]", "Main.recipe[6]"}), "0 1");
    EXPECT_EQ(meeting({"Main.names[2]", "Main.names"}), "0 1");
}

TEST(TargetOverlap, BitsOfOneVariableKeepApartUnlessTheyAreTheSame) {
    EXPECT_EQ(meeting({"Main.flags.b[3]", "Main.flags.b[4]", "Main.flags.b[0..2]"}), "apart");
    EXPECT_EQ(meeting({"Main.flags.b[3]", "Main.flags.b[3]"}), "0 1");
    EXPECT_EQ(meeting({"Main.flags.b[0..7]", "Main.flags.b[8]", "Main.flags.b[7]"}), "0 2");
}

TEST(TargetOverlap, ABitAndItsVariable) {
    EXPECT_EQ(meeting({"Main.flags.b[31]", "Main.flags"}), "0 1");
}

TEST(TargetOverlap, VariablesThatLieOnEachOther) {
    EXPECT_EQ(meeting({"Main.flags.b[15]", "Main.alias"}), "0 1");
    EXPECT_EQ(meeting({"Main.flags.b[16]", "Main.alias"}), "apart") << "bytes 4 and 5";
    EXPECT_EQ(meeting({"Main.flags.b[9]", "Main.alias.b[9]"}), "0 1");
    EXPECT_EQ(meeting({"Main.flags.b[9]", "Main.alias.b[1]"}), "apart");
}

TEST(TargetOverlap, BitVariablesAreBitsOfTheirWords) {
    EXPECT_EQ(meeting({"Main.start", "Main.lamps"}), "apart");
    EXPECT_EQ(meeting({"Main.lamps[2]", "Main.lamps[1..8]"}), "0 1");
    EXPECT_EQ(meeting({"Main.start", "Main.shadow"}), "0 1");
    EXPECT_EQ(meeting({"Main.start", "Main.shadow.b[5]"}), "0 1") << "bit 21 is bit 5 of the word at byte 2";
    EXPECT_EQ(meeting({"Main.start", "Main.shadow.b[13]"}), "apart");
    EXPECT_EQ(meeting({"Main.lamps[3]", "Main.shadow"}), "apart") << "bit 32 is in the next word";
}

}  // namespace
}  // namespace ac500::host
