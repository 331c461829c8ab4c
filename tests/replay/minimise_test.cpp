#include "tools/replay/minimise.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using ac500::replay::minimise;
using ac500::replay::Minimum;
using testing::ElementsAre;
using testing::IsEmpty;

using Units = std::vector<std::size_t>;

bool never() {
    return false;
}

bool holds(const Units& units, std::size_t unit) {
    return std::find(units.begin(), units.end(), unit) != units.end();
}

TEST(MinimiseTest, LeavesTheOneUnitThatMatters) {
    const Minimum minimum = minimise(
        1000, [](const Units& units) { return holds(units, 617); }, never);
    EXPECT_THAT(minimum.kept, ElementsAre(617));
    EXPECT_TRUE(minimum.isOneMinimal);
    EXPECT_LT(minimum.trials, 60);
}

TEST(MinimiseTest, LeavesUnitsThatAreFarApart) {
    const Minimum minimum = minimise(
        100, [](const Units& units) { return holds(units, 0) && holds(units, 50) && holds(units, 99); }, never);
    EXPECT_THAT(minimum.kept, ElementsAre(0, 50, 99));
    EXPECT_TRUE(minimum.isOneMinimal);
}

// One alone is needed when the other is there, so both go only one after the other, in a second round of single units.
TEST(MinimiseTest, GoesOnUntilNoSingleUnitCanGo) {
    const auto chain = [](const Units& units) {
        for (std::size_t unit = 0; unit < 8; ++unit) {
            if (holds(units, unit) && unit > 0 && !holds(units, unit - 1)) {
                return false;  // each leans on the one before
            }
        }
        return holds(units, 8);
    };
    const Minimum minimum = minimise(9, chain, never);
    EXPECT_THAT(minimum.kept, ElementsAre(8));
    EXPECT_TRUE(minimum.isOneMinimal);
}

TEST(MinimiseTest, LeavesNothingWhenNothingMatters) {
    const Minimum minimum = minimise(
        9, [](const Units&) { return true; }, never);
    EXPECT_THAT(minimum.kept, IsEmpty());
    EXPECT_TRUE(minimum.isOneMinimal);
    EXPECT_TRUE(minimise(
                    0, [](const Units&) { return false; }, never)
                    .isOneMinimal);
}

TEST(MinimiseTest, KeepsAllWhenAllMatter) {
    const Minimum minimum = minimise(
        5, [](const Units&) { return false; }, never);
    EXPECT_THAT(minimum.kept, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_TRUE(minimum.isOneMinimal);
}

// What is left then is smaller and still does it, and nobody says that it is the smallest.
TEST(MinimiseTest, ClaimsNothingWhenTheTimeIsOver) {
    int asked = 0;
    const Minimum minimum = minimise(
        64, [](const Units& units) { return holds(units, 3); }, [&] { return ++asked > 2; });
    EXPECT_THAT(minimum.kept.size(), 32u);
    EXPECT_TRUE(holds(minimum.kept, 3));
    EXPECT_FALSE(minimum.isOneMinimal);
    EXPECT_EQ(minimum.trials, 2);
}

}  // namespace
