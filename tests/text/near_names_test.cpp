#include "tools/text/near_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::text {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(EditDistance, CountsInsertedRemovedAndReplacedCharacters) {
    EXPECT_EQ(editDistance("", ""), 0);
    EXPECT_EQ(editDistance("", "abc"), 3);
    EXPECT_EQ(editDistance("abc", ""), 3);
    EXPECT_EQ(editDistance("speed", "sped"), 1);
    EXPECT_EQ(editDistance("speed", "spped"), 1);
    EXPECT_EQ(editDistance("kitten", "sitting"), 3);
}

TEST(EditDistance, NeighboursThatAreSwappedAreOneError) {
    EXPECT_EQ(editDistance("speed", "psede"), 2);
    EXPECT_EQ(editDistance("ab", "ba"), 1);
    EXPECT_EQ(editDistance("ca", "abc"), 3);  // not a swap with something between
}

TEST(EditDistance, UpperAndLowerCaseAreTheSame) {
    EXPECT_EQ(editDistance("MAIN.Speed", "Main.speed"), 0);
}

TEST(NearNames, NearestComeFirstAndOnlySoMany) {
    EXPECT_THAT(nearNames("Main.sped", {"Main.spend", "Other.thing", "Main.speed", "Main.speeds"}, 2),
                ElementsAre("Main.spend", "Main.speed"));
}

TEST(NearNames, WhatIsFarAwayIsNotMeant) {
    EXPECT_THAT(nearNames("Main.speed", {"Plant.temperature"}, 3), IsEmpty());
}

TEST(NearNames, LongerNamesMayHoldMoreErrors) {
    EXPECT_THAT(nearNames("WORTX", {"WORD"}, 3), IsEmpty());            // 5 characters, 2 errors
    EXPECT_THAT(nearNames("WORDX", {"WORD"}, 3), ElementsAre("WORD"));  // 1 error
    EXPECT_THAT(nearNames("couter", {"counted", "counter"}, 3), ElementsAre("counter", "counted"));  // 6 characters, 2
    EXPECT_THAT(nearNames("couter", {"mounted"}, 3), IsEmpty());                                     // 3 errors
    EXPECT_THAT(nearNames("temprture", {"temperatur"}, 3), ElementsAre("temperatur"));               // 9 characters, 3
    EXPECT_THAT(nearNames("temprture", {"temperatu"}, 3), IsEmpty());                                // 4 errors
}

TEST(NearNames, WhatSharesNoCharacterIsNotMeant) {
    EXPECT_THAT(nearNames("x", {"y", ""}, 3), IsEmpty());
}

TEST(NearNames, NamesBeyondOneHundredCharactersAreNotCompared) {
    const std::string longest(100, 'a');
    EXPECT_THAT(nearNames(longest, {longest, longest + 'a'}, 3), ElementsAre(longest));
    EXPECT_THAT(nearNames(longest + 'a', {longest}, 3), IsEmpty());
}

}  // namespace
}  // namespace ac500::text
