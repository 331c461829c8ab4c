#include "tools/host/near_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::host {
namespace {

TEST(NearNames, DistanceCountsInsertedRemovedAndReplacedLetters) {
    EXPECT_EQ(editDistance("", ""), 0);
    EXPECT_EQ(editDistance("", "abc"), 3);
    EXPECT_EQ(editDistance("speed", "sped"), 1);
    EXPECT_EQ(editDistance("speed", "spped"), 1);
    EXPECT_EQ(editDistance("kitten", "sitting"), 3);
}

TEST(NearNames, UpperAndLowerCaseAreTheSame) {
    EXPECT_EQ(editDistance("MAIN.Speed", "Main.speed"), 0);
}

TEST(NearNames, NearestComeFirstAndOnlySoMany) {
    EXPECT_THAT(nearNames("Main.sped", {"Main.spend", "Other.thing", "Main.speed", "Main.speeds"}, 2),
                testing::ElementsAre("Main.spend", "Main.speed"));
}

TEST(NearNames, WhatIsFarAwayIsNotMeant) {
    EXPECT_TRUE(nearNames("Main.speed", {"Plant.temperature"}, 3).empty());
}

}  // namespace
}  // namespace ac500::host
