#include "tools/selection/catalog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/selection/sample.h"

namespace ac500::selection {
namespace {

std::string reasonOf(const std::string& text) {
    std::string reason;
    EXPECT_FALSE(sampleCatalog().isTag(text, &reason)) << text;
    return reason;
}

TEST(Catalog, FindsEveryLeafByItsName) {
    ASSERT_NE(sampleCatalog().leafNamed("Main.pumps[2].motor.speed"), nullptr);
    EXPECT_EQ(sampleCatalog().leafNamed("Main.pumps[2].motor.speed")->address, 432);
    EXPECT_EQ(sampleCatalog().leafNamed("Main.pumps[3].motor.speed"), nullptr);
    EXPECT_EQ(sampleCatalog().leaves().size(), 14u);
}

TEST(Catalog, AnElementHasItsOwnAddress) {
    std::string reason;
    const std::optional<symbol_file::Element> element = sampleCatalog().element("Main.grid[2,3]", &reason);
    ASSERT_TRUE(element) << reason;
    EXPECT_EQ(element->address, 148);  // the thirteenth of four bytes behind 100
}

TEST(Catalog, TagsAreLeavesElementsBitsAndRanges) {
    std::string reason;
    for (const char* text :
         {"Main.counter", "Main.grid", "Main.grid[0,5]", "Main.grid[0,1..5]", "Main.recipe[2..2]", "Main.flags.b[15]",
          "Main.flags.b[0..15]", "Main.flags.15", "Main.pumps[1].motor.curve[1..5]"}) {
        EXPECT_TRUE(sampleCatalog().isTag(text, &reason)) << text << ": " << reason;
    }
}

TEST(Catalog, ReasonsNameWhatIsMissingAndNothingNear) {
    EXPECT_EQ(reasonOf("Main.conter"), "\"Main.conter\": scope \"Main\" has no variable \"conter\"");
    EXPECT_EQ(reasonOf("Mian.counter"), "\"Mian.counter\": there is no scope \"Mian\"");
    EXPECT_EQ(reasonOf("Main.pumps[1].flo"), "\"Main.pumps[1].flo\": structure type \"Pump\" has no member \"flo\"");
    EXPECT_EQ(reasonOf("Main.grid[3,1]"), "\"Main.grid[3,1]\": index 3 lies outside 0..2");
    EXPECT_EQ(reasonOf("Main.recipe[4..7]"), "\"Main.recipe[7]\": index 7 lies outside 1..6");
    EXPECT_EQ(reasonOf("Main.flags.b[16]"), "\"Main.flags.b[16]\": bit 16 lies outside 0..15");
}

TEST(Catalog, ExplanationsNameWhatIsNear) {
    EXPECT_EQ(sampleCatalog().explain("Main.conter"),
              "\"Main.conter\": scope \"Main\" has no variable \"conter\"; near names: Main.counter");
    EXPECT_EQ(sampleCatalog().explain("Main.pmps[1]"),
              "\"Main.pmps[1]\": scope \"Main\" has no variable \"pmps\"; did you mean \"pumps\"?");
    EXPECT_EQ(sampleCatalog().explain("Main.recipe[4..7]"), "\"Main.recipe[7]\": index 7 lies outside 1..6");
}

TEST(Catalog, KnowsTheVariableOfAnElementAndOfABit) {
    const auto holding = [](const char* tag) { return sampleCatalog().leafHolding(tag)->tag; };
    EXPECT_EQ(holding("Main.recipe"), "Main.recipe");
    EXPECT_EQ(holding("Main.recipe[3]"), "Main.recipe");
    EXPECT_EQ(holding("Main.grid[2,1..3]"), "Main.grid");
    EXPECT_EQ(holding("Main.flags.b[3]"), "Main.flags");
    EXPECT_EQ(holding("Main.flags.b[0..7]"), "Main.flags");
    EXPECT_EQ(holding("Main.flags.3"), "Main.flags");
    EXPECT_EQ(holding("Main.pumps[2].motor.curve[5]"), "Main.pumps[2].motor.curve");
}

TEST(Catalog, KnowsTheMemberThatABitBelongsTo) {
    const Catalog catalog = catalogOf(R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 8}],
        "types": {"Valve": {"size": 2, "members": [{"name": "status", "type": "WORD", "offset": 0, "bits": true}]}},
        "scopes": [{"name": "A", "variables": [
            {"name": "valves", "type": "Valve", "area": 1, "offset": 0, "array": [[1, 2]]}]}]})");
    EXPECT_EQ(catalog.leafHolding("A.valves[2].status.b[3]")->tag, "A.valves[2].status");
    EXPECT_EQ(catalog.leafHolding("A.valves[2].status.3")->tag, "A.valves[2].status");
}

TEST(Catalog, MayBeMoved) {
    Catalog first = catalogOf(R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 8}],
        "scopes": [{"name": "A", "variables": [{"name": "b", "type": "INT", "area": 1, "offset": 4}]}]})");
    const Catalog second = std::move(first);
    std::string reason;
    EXPECT_TRUE(second.element("A.b", &reason)) << reason;
    EXPECT_EQ(second.leafNamed("A.b")->address, 4);
}

}  // namespace
}  // namespace ac500::selection
