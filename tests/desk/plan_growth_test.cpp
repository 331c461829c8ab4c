#include "tools/desk/plan_growth.h"

#include <gtest/gtest.h>

namespace ac500::desk {
namespace {

ReadPlan planWith(std::size_t requests, int items) {
    ReadPlan plan;
    plan.requests.resize(requests);
    plan.items = items;
    plan.bytesAsked = 30;
    plan.bytesSent = 40;
    plan.bytesReceived = 50;
    return plan;
}

const std::map<std::string, std::int64_t> kBefore{
    {"requests", 5}, {"items", 12}, {"bytes_asked", 30}, {"bytes_sent", 40}, {"bytes_received", 50}};

TEST(PlanGrowthTest, TheSamePlanHasNotChanged) {
    EXPECT_TRUE(changesSince(kBefore, planWith(5, 12)).empty());
    EXPECT_FALSE(anyGrowth({}));
}

TEST(PlanGrowthTest, EveryFigureThatDiffersIsTold) {
    const std::vector<FigureChange> changes = changesSince(kBefore, planWith(6, 11));
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[0].name, "requests in a pass");
    EXPECT_EQ(changes[0].before, 5);
    EXPECT_EQ(changes[0].now, 6);
    EXPECT_TRUE(changes[0].isGrowth());
    EXPECT_EQ(changes[1].name, "items");
    EXPECT_FALSE(changes[1].isGrowth());
    EXPECT_TRUE(anyGrowth(changes));
}

TEST(PlanGrowthTest, ToCostLessIsNoGrowth) {
    EXPECT_FALSE(anyGrowth(changesSince(kBefore, planWith(4, 12))));
}

TEST(PlanGrowthTest, BytesOnTheWireCountToo) {
    ReadPlan plan = planWith(5, 12);
    plan.bytesReceived = 51;
    EXPECT_TRUE(anyGrowth(changesSince(kBefore, plan)));
    plan = planWith(5, 12);
    plan.bytesSent = 41;
    EXPECT_TRUE(anyGrowth(changesSince(kBefore, plan)));
    plan = planWith(5, 12);
    plan.bytesAsked = 31;
    EXPECT_TRUE(anyGrowth(changesSince(kBefore, plan)));
}

const std::vector<WantedTag> kList{{"Main.a", {{1, 0, 2}}}, {"Main.b", {{1, 4, 2}, {1, 8, 1}}}};

std::vector<std::string> unlike(const PlanBasis& before, const PlanBasis& now) {
    std::vector<std::string> texts;
    for (const BasisChange& change : basisChanges(before, now)) {
        texts.push_back(change.key + ": " + change.text);
    }
    return texts;
}

TEST(PlanBasisTest, AnotherListIsTold) {
    const PlanBasis before = basisOf(kList, 100);
    EXPECT_TRUE(unlike(before, basisOf(kList, 100)).empty());
    EXPECT_EQ(unlike(before, basisOf({kList[0]}, 100)),
              std::vector<std::string>{"tags: it is not the same list: 2 tags before, 1 now"});
    const std::vector<std::string> others{
        "tags: it is not the same list: as many tags, but others or in another order"};
    EXPECT_EQ(unlike(before, basisOf({kList[1], kList[0]}, 100)), others);
    EXPECT_EQ(unlike(before, basisOf({kList[0], {"Main.c", kList[1].runs}}, 100)), others);
    EXPECT_EQ(unlike(basisOf({{"ab", {}}, {"c", {}}}, 100), basisOf({{"a", {}}, {"bc", {}}}, 100)), others);
}

TEST(PlanBasisTest, OtherPlacesAndAnotherLimitAreTold) {
    const std::vector<WantedTag> moved{kList[0], {"Main.b", {{1, 4, 2}, {1, 9, 1}}}};
    EXPECT_EQ(
        unlike(basisOf(kList, 100), basisOf(moved, 250)),
        (std::vector<std::string>{"symbols: these are not the same symbols: tags of the list lie elsewhere",
                                  "max_request_words: it is not the same --max-request-words: 100 before, 250 now"}));
}

TEST(PlanBasisTest, WhatAnEarlierPlanDoesNotTellIsNotCompared) {
    EXPECT_TRUE(unlike({}, basisOf(kList, 100)).empty());
}

// Plans are kept in files: a fingerprint must not change from one version to the next.
TEST(PlanBasisTest, FingerprintsStay) {
    EXPECT_EQ(basisOf({}, 100).tagsFingerprint, "cbf29ce484222325");
    EXPECT_EQ(basisOf({{"", {}}}, 100).tagsFingerprint, "a8c7f832281a39c5") << "eight bytes of 0";
}

TEST(PlanGrowthTest, AFigureThatWasNotToldIsNotCompared) {
    EXPECT_TRUE(changesSince({}, planWith(5, 12)).empty());
}

}  // namespace
}  // namespace ac500::desk
