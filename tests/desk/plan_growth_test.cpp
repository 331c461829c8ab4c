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

TEST(PlanGrowthTest, AFigureThatWasNotToldIsNotCompared) {
    EXPECT_TRUE(changesSince({}, planWith(5, 12)).empty());
}

}  // namespace
}  // namespace ac500::desk
