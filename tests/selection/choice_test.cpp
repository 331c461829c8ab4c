#include "tools/selection/choice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "tests/selection/sample.h"
#include "tests/support/pace.h"

namespace ac500::selection {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<Entry> entries(const std::vector<std::string>& texts) {
    std::vector<Entry> list;
    for (const std::string& text : texts) {
        list.push_back({text, {}, {}, {}});
    }
    return list;
}

Choice choiceOf(const std::vector<std::string>& texts, ChoiceLimits limits = {}) {
    return choose(sampleCatalog(), entries(texts), limits);
}

std::vector<std::string> chosen(const std::vector<std::string>& texts, ChoiceLimits limits = {}) {
    const Choice choice = choiceOf(texts, limits);
    std::vector<std::string> tags;
    for (const ChosenTag& tag : choice.tags) {
        tags.push_back(tag.tag);
    }
    for (const SelectionProblem& problem : choice.problems) {
        ADD_FAILURE() << problem.text;
    }
    return tags;
}

std::vector<std::string> refusals(const Choice& choice) {
    std::vector<std::string> texts;
    for (const SelectionProblem& problem : choice.problems) {
        texts.push_back(problem.text);
    }
    return texts;
}

TEST(Choice, TagsStayAsTheyAreWritten) {
    EXPECT_THAT(chosen({"Main.recipe[2..4]", "Main.counter", "Main.flags.b[3]", "Main.recipe", "Main.counter"}),
                ElementsAre("Main.recipe[2..4]", "Main.counter", "Main.flags.b[3]", "Main.recipe", "Main.counter"));
}

TEST(Choice, AnArrayOfSeveralDimensionsComesInRows) {
    EXPECT_THAT(chosen({"Main.grid"}), ElementsAre("Main.grid[0,1..5]", "Main.grid[1,1..5]", "Main.grid[2,1..5]"));
    EXPECT_THAT(chosen({"Main.cube"}), ElementsAre("Main.cube[-1,3,1..2]", "Main.cube[-1,4,1..2]",
                                                   "Main.cube[0,3,1..2]", "Main.cube[0,4,1..2]"));
}

TEST(Choice, AStructureStandsForAllItsValues) {
    EXPECT_THAT(chosen({"Main.pumps[2]"}),
                ElementsAre("Main.pumps[2].motor.speed", "Main.pumps[2].motor.curve", "Main.pumps[2].flow"));
    EXPECT_THAT(chosen({"Main.pumps[2].motor"}), ElementsAre("Main.pumps[2].motor.speed", "Main.pumps[2].motor.curve"));
    EXPECT_EQ(chosen({"Main.pumps"}).size(), 6u);
    EXPECT_THAT(chosen({"Other"}), ElementsAre("Other.counter", "Other.lamps"));
}

TEST(Choice, APatternStandsForWhatItMatches) {
    EXPECT_THAT(chosen({"*.counter"}), ElementsAre("Main.counter", "Other.counter"));
    EXPECT_THAT(chosen({"**.speed"}), ElementsAre("Main.pumps[1].motor.speed", "Main.pumps[2].motor.speed"));
    EXPECT_THAT(chosen({"main.PUMP?count"}), ElementsAre("Main.pump_count"));
    EXPECT_THAT(chosen({"Main.pumps[*].flow"}), ElementsAre("Main.pumps[1].flow", "Main.pumps[2].flow"));
}

TEST(Choice, APatternMatchesStructuresAndArraysToo) {
    EXPECT_EQ(chosen({"Main.pump*"}).size(), 7u);  // three values of each pump, and the count
    EXPECT_THAT(chosen({"Main.g*"}), ElementsAre("Main.grid[0,1..5]", "Main.grid[1,1..5]", "Main.grid[2,1..5]"));
    EXPECT_EQ(chosen({"**"}).size(), 12u + 3u + 4u);  // twelve leaves, and the rows of two arrays
    EXPECT_EQ(chosen({"**"}), chosen({"*"}));
}

TEST(Choice, AnIndexInAPatternReachesElements) {
    EXPECT_THAT(chosen({"Main.recipe[?]"}), ElementsAre("Main.recipe[1]", "Main.recipe[2]", "Main.recipe[3]",
                                                        "Main.recipe[4]", "Main.recipe[5]", "Main.recipe[6]"));
    EXPECT_THAT(chosen({"*.grid[1,*]"}),
                ElementsAre("Main.grid[1,1]", "Main.grid[1,2]", "Main.grid[1,3]", "Main.grid[1,4]", "Main.grid[1,5]"));
}

TEST(Choice, WhatAPatternRepeatsIsThereOnce) {
    EXPECT_THAT(chosen({"Main.counter", "*.counter", "Other"}),
                ElementsAre("Main.counter", "Other.counter", "Other.lamps"));
}

TEST(Choice, ForAListArraysStayWhole) {
    EXPECT_THAT(chosen({"Main.grid", "Main.c*"}, {5000, Expansion::WholeArrays}),
                ElementsAre("Main.grid", "Main.counter", "Main.cube"));
}

TEST(Choice, ForWritingOnlyTagsWillDo) {
    EXPECT_THAT(chosen({"Main.recipe", "Main.grid[0,1..5]"}, {5000, Expansion::None}),
                ElementsAre("Main.recipe", "Main.grid[0,1..5]"));
    EXPECT_THAT(refusals(choiceOf({"Main.grid", "Main.pumps[1]", "Main.c*"}, {5000, Expansion::None})),
                ElementsAre("\"Main.grid\" is an array of 2 dimensions; name each tag that is to be written",
                            "\"Main.pumps[1]\" is a structure; name each tag that is to be written",
                            "\"Main.c*\" is a pattern; name each tag that is to be written"));
}

TEST(Choice, OriginIntervalAndValueGoWithEachTag) {
    const Choice choice = choose(sampleCatalog(), {{"Main.pumps[1]", {"l.csv", 7}, 250, "1.5"}}, {});
    ASSERT_EQ(choice.tags.size(), 3u);
    EXPECT_EQ(choice.tags[2].tag, "Main.pumps[1].flow");
    EXPECT_EQ(choice.tags[2].origin.text(), "l.csv:7: ");
    EXPECT_EQ(choice.tags[2].intervalMs, 250);
    EXPECT_EQ(choice.tags[2].value, "1.5");
}

TEST(Choice, AllThatIsWrongIsToldAtOnce) {
    const Choice choice = choose(sampleCatalog(),
                                 {{"Main.conter", {}, {}, {}},
                                  {"Main.x*", {}, {}, {}},
                                  {"Main.counter", {}, {}, {}},
                                  {"Other.lmps", {"l", 3}, {}, {}},
                                  {"Main.recipe[7]", {"l", 4}, {}, {}},
                                  {"Main.conter", {}, {}, {}}},
                                 {});
    EXPECT_THAT(
        refusals(choice),
        ElementsAre("\"Main.conter\": scope \"Main\" has no variable \"conter\"; near names: Main.counter",
                    "\"Main.x*\": matches no tag; * stands for characters of one component, ** for any; list the "
                    "tags to see what there is",
                    "l:3: \"Other.lmps\": scope \"Other\" has no variable \"lmps\"; near names: Other.lamps",
                    "l:4: \"Main.recipe[7]\": index 7 lies outside 1..6"));
    EXPECT_EQ(choice.problems.front().kind, ProblemKind::Name);
}

TEST(Choice, MoreTagsThanAllowedAreCounted) {
    EXPECT_EQ(chosen({"**"}, {19, Expansion::Allowed}).size(), 19u);
    const Choice choice = choiceOf({"**", "Main.counter", "Main"}, {18, Expansion::Allowed});
    EXPECT_THAT(refusals(choice),
                ElementsAre("the selection names 20 tags, more than the 18 allowed; narrow it, or raise "
                            "the limit with --max"));
    EXPECT_EQ(choice.problems.front().kind, ProblemKind::TooMany);
}

TEST(Choice, APatternHasALongestLength) {
    EXPECT_THAT(refusals(choiceOf({"Main." + std::string(251, '*')})),
                ElementsAre("a pattern has at most 255 characters; this one has 256"));
}

TEST(Choice, EmptyAndOddTextsAreWrongNames) {
    for (const char* text : {"", ".", "[", "]", "Main.", "Main.pumps[", "Main..x", "Main.pumps[1..2]", "\n"}) {
        EXPECT_EQ(choiceOf({text}).problems.size(), 1u) << text;
    }
}

// Milliseconds that `work` takes.
template <typename Work>
double millisecondsOf(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// Far above what they take, far below what looking through all names for each of them would.
TEST(ManyTags, FiftyThousandAreFoundQuickly) {
    std::vector<std::string> texts;
    for (const symbol_file::Leaf& leaf : largeCatalog().leaves()) {
        texts.push_back(leaf.tag);
    }
    ASSERT_EQ(texts.size(), 50000u);
    Choice choice;
    const double milliseconds = millisecondsOf([&] {
        choice = choose(largeCatalog(), entries(texts), {50000, Expansion::Allowed});
    });
    EXPECT_EQ(choice.tags.size(), 50000u);
    EXPECT_TRUE(choice.problems.empty());
    EXPECT_LT(milliseconds, test::paced(2000));
}

TEST(ManyTags, FiftyThousandWrongOnesAreToldQuicklyAndTheFirstWithWhatIsNear) {
    std::vector<std::string> texts;
    for (int i = 0; i < 50000; ++i) {
        texts.push_back("Main.valu_" + std::to_string(100000 + i).substr(1));
    }
    Choice choice;
    const double milliseconds = millisecondsOf([&] { choice = choose(largeCatalog(), entries(texts), {}); });
    ASSERT_EQ(choice.problems.size(), 50000u);
    EXPECT_THAT(choice.problems.front().text, HasSubstr("; near names: Main.value_00000, "));
    EXPECT_EQ(choice.problems.back().text, "\"Main.valu_49999\": scope \"Main\" has no variable \"valu_49999\"");
    EXPECT_LT(milliseconds, test::paced(20000));
}

TEST(ManyTags, APatternOverFiftyThousandNamesIsQuick) {
    Choice choice;
    const double milliseconds = millisecondsOf([&] {
        choice = choose(largeCatalog(), entries({"**_*7"}), {50000, Expansion::Allowed});
    });
    EXPECT_EQ(choice.tags.size(), 5000u);
    EXPECT_LT(milliseconds, test::paced(3000));
}

}  // namespace
}  // namespace ac500::selection
