#include "tools/desk/read_plan.h"

#include <gtest/gtest.h>

#include "tests/desk/run_text.h"

namespace ac500::desk {
namespace {

// Two requests: [0, 20) and [100, 110) of area 1, then [0, 4) of area 2, and the first item once more.
const ObservedPass kPass{{{{{1, 0, 20}, {1, 100, 10}}, 36, 44}, {{{2, 0, 4}, {1, 0, 20}}, 36, 38}}, 3};

const std::vector<WantedTag> kWanted{
    {"Main.first", {{1, 0, 4}}},    {"Main.second", {{1, 10, 10}}},          {"Main.also_second", {{1, 10, 2}}},
    {"Main.third", {{1, 100, 10}}}, {"Main.fourth", {{2, 0, 1}, {2, 3, 1}}},
};

TEST(ReadPlanTest, WhatAPassCosts) {
    const ReadPlan plan = makeReadPlan(kPass, kWanted);
    EXPECT_EQ(plan.tags, 5);
    EXPECT_EQ(plan.items, 3);
    EXPECT_EQ(plan.requests.size(), 2u);
    EXPECT_EQ(plan.bytesAsked, 34) << "20 + 10 + 4";
    EXPECT_EQ(plan.bytesWanted, 26) << "4 + 10 + 10 + 1 + 1, what two tags want once";
    EXPECT_EQ(plan.bytesReadAlong, 8) << "6 + 2";
    EXPECT_EQ(plan.bytesSent, 72);
    EXPECT_EQ(plan.bytesReceived, 82);
    EXPECT_DOUBLE_EQ(plan.fill(), 26.0 / 34);
}

TEST(ReadPlanTest, EveryRequestHasItsFigures) {
    const ReadPlan plan = makeReadPlan(kPass, kWanted);
    EXPECT_EQ(plan.requests[0].items, 2);
    EXPECT_EQ(plan.requests[0].itemsAgain, 0);
    EXPECT_EQ(plan.requests[0].bytesAsked, 30);
    EXPECT_EQ(plan.requests[0].bytesWanted, 24);
    EXPECT_EQ(plan.requests[0].requestBytes, 36);
    EXPECT_EQ(plan.requests[0].replyBytes, 44);
    EXPECT_EQ(plan.requests[1].items, 2);
    EXPECT_EQ(plan.requests[1].itemsAgain, 1);
    EXPECT_EQ(plan.requests[1].bytesAsked, 24);
    EXPECT_EQ(plan.requests[1].bytesWanted, 16);
}

TEST(ReadPlanTest, GapsNameTheTagsAtBothEnds) {
    const ReadPlan plan = makeReadPlan(kPass, kWanted);
    ASSERT_EQ(plan.gaps.size(), 2u);
    EXPECT_EQ(test::runText({plan.gaps[0].bytes, plan.gaps[1].bytes}), "1:4+6 2:1+2");
    EXPECT_EQ(plan.gaps[0].tagBefore, "Main.first");
    EXPECT_EQ(plan.gaps[0].tagBehind, "Main.second") << "the first of two that begin there";
    EXPECT_EQ(plan.gaps[1].tagBefore, "Main.fourth");
    EXPECT_EQ(plan.gaps[1].tagBehind, "Main.fourth");
}

TEST(ReadPlanTest, AGapThatTwoItemsShareIsOne) {
    const ObservedPass cut{{{{{1, 0, 10}, {1, 10, 10}}, 36, 34}}, 2};
    const ReadPlan plan = makeReadPlan(cut, {{"Main.left", {{1, 0, 5}}}, {"Main.right", {{1, 15, 5}}}});
    ASSERT_EQ(plan.gaps.size(), 1u);
    EXPECT_EQ(test::runText({plan.gaps[0].bytes}), "1:5+10");
    EXPECT_EQ(plan.gaps[0].tagBefore, "Main.left");
    EXPECT_EQ(plan.gaps[0].tagBehind, "Main.right");
}

TEST(ReadPlanTest, NothingCostsNothing) {
    const ReadPlan plan = makeReadPlan({}, {});
    EXPECT_EQ(plan.requests.size(), 0u);
    EXPECT_EQ(plan.bytesAsked, 0);
    EXPECT_EQ(plan.gaps.size(), 0u);
    EXPECT_DOUBLE_EQ(plan.fill(), 1);
    EXPECT_DOUBLE_EQ(passMs(0, {1, 5}), 0);
    EXPECT_DOUBLE_EQ(passWithLookMs(0, {1, 5}), 0);
}

TEST(ReadPlanTest, TimeIsThatOfTheRequests) {
    EXPECT_DOUBLE_EQ(passMs(3, {1.5, 5}), 19.5);
    EXPECT_DOUBLE_EQ(passWithLookMs(3, {1.5, 5}), 26) << "two requests, then twice the time of the third";
    EXPECT_DOUBLE_EQ(passWithLookMs(3, {0.5, 0.5}), 7) << "a look takes 5 ms at least";
}

}  // namespace
}  // namespace ac500::desk
