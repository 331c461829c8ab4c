#include "tools/selection/pattern.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::selection {
namespace {

bool matches(const std::string& pattern, const std::string& name) {
    return Pattern(pattern).matches(name);
}

bool matchesWhole(const std::string& pattern, const std::string& name) {
    return Pattern(pattern).matchesWhole(name);
}

TEST(Pattern, AStarStaysInItsComponent) {
    EXPECT_TRUE(matches("Main.*", "Main.speed"));
    EXPECT_TRUE(matches("Main.*", "Main."));
    EXPECT_TRUE(matches("Main.*_*", "Main.pump_count"));
    EXPECT_FALSE(matches("Main.*", "Main.motor.speed"));
    EXPECT_FALSE(matches("*", "Main.x"));
    EXPECT_TRUE(matches("*.*", "Main.x"));
    EXPECT_FALSE(matches("Main.*", "Other.x"));
}

TEST(Pattern, TwoStarsGoAcrossComponents) {
    EXPECT_TRUE(matches("**", ""));
    EXPECT_TRUE(matches("**", "Main.motor.speed"));
    EXPECT_TRUE(matches("**speed", "Main.motor[1].speed"));
    EXPECT_FALSE(matches("**speed", "Main.speed2"));
    EXPECT_TRUE(matches("**o**o**", "motor.o"));
    EXPECT_TRUE(matches("Main.**.speed", "Main.a.b.speed"));
    EXPECT_FALSE(matches("Main.**.speed", "Main.speed"));
    EXPECT_TRUE(matches("***", "a.b"));
}

TEST(Pattern, AQuestionMarkIsOneCharacterOfAComponent) {
    EXPECT_TRUE(matches("main.?", "Main.x"));
    EXPECT_FALSE(matches("main.?", "Main."));
    EXPECT_FALSE(matches("main?x", "Main.x"));
    EXPECT_TRUE(matches("Main.a[?]", "Main.a[1]"));
    EXPECT_FALSE(matches("Main.a[?]", "Main.a[12]"));
}

TEST(Pattern, UpperAndLowerCaseAreTheSame) {
    EXPECT_TRUE(matches("mAIN.s*", "Main.Speed"));
}

TEST(Pattern, NothingMatchesNothingAlone) {
    EXPECT_TRUE(matches("", ""));
    EXPECT_FALSE(matches("", "x"));
}

TEST(Pattern, WhatHoldsANameMatchesAsAWhole) {
    for (const char* pattern : {"M*", "Main.p*", "Main.pump?", "Main.pumps[*]", "Main.pumps[1].m*", "**speed", "*.*"}) {
        EXPECT_TRUE(matchesWhole(pattern, "Main.pumps[1].motor.speed")) << pattern;
    }
    for (const char* pattern :
         {"Mai?*x", "Main.pump", "Main.pum?", "Main.pumps[?", "Main.pumps[1].mot?", "Main.*.sp*d*e"}) {
        EXPECT_FALSE(matchesWhole(pattern, "Main.pumps[1].motor.speed")) << pattern;
    }
}

TEST(Pattern, KnowsWhetherABeginningCanBecomeAMatch) {
    EXPECT_TRUE(Pattern("Main.rec*[*]").matchesBeginning("Main.recipe["));
    EXPECT_FALSE(Pattern("Main.rec*[*]").matchesBeginning("Main.grid["));
    EXPECT_FALSE(Pattern("Main.recipe").matchesBeginning("Main.recipe["));
}

TEST(Pattern, TheLongestOneMatches) {
    const std::string longest(Pattern::kLongest, '?');
    EXPECT_TRUE(matches(longest, std::string(Pattern::kLongest, 'x')));
    EXPECT_FALSE(matches(longest, std::string(Pattern::kLongest - 1, 'x')));
    EXPECT_FALSE(matches(longest, std::string(Pattern::kLongest + 1, 'x')));
}

TEST(Pattern, BytesBeyondAsciiAreCharactersLikeOthers) {
    EXPECT_TRUE(matches("Main.\xC3\xA4*", "Main.\xC3\xA4x"));
    EXPECT_FALSE(matches("Main.\xC3\xA4", "Main.\xC3\xA5"));
}

}  // namespace
}  // namespace ac500::selection
