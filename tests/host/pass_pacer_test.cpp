#include "tools/host/pass_pacer.h"

#include <gtest/gtest.h>

namespace ac500::host {
namespace {

class PassPacerTest : public testing::Test {
protected:
    static Time at(int milliseconds) { return Milliseconds(milliseconds); }

    // Milliseconds; -1: the pass goes on, or none is running.
    int answer(int reads, int now) {
        pacer_.readsAnswered(reads);
        const std::optional<Time> duration = pacer_.lineQuiet(at(now));
        return duration ? static_cast<int>(*duration / Milliseconds(1)) : -1;
    }
    int untilNext(int now) const { return static_cast<int>(pacer_.untilNext(at(now)) / Milliseconds(1)); }

    PassPacer pacer_{Milliseconds(100)};
};

TEST_F(PassPacerTest, TheFirstPassIsDueAtOnce) {
    EXPECT_EQ(untilNext(0), 0);
    pacer_.listRebuilt(3);
    EXPECT_EQ(untilNext(0), 0);
}

TEST_F(PassPacerTest, APassEndsWithTheLastReadOfTheListAndTakesFromItsFirst) {
    pacer_.listRebuilt(3);
    pacer_.readSent(at(1000));
    EXPECT_EQ(answer(1, 1010), -1);
    pacer_.readSent(at(1010));
    EXPECT_EQ(answer(2, 1030), 30);
}

TEST_F(PassPacerTest, TheNextPassBeginsACycleAfterTheLastOneBegan) {
    pacer_.listRebuilt(1);
    pacer_.readSent(at(1000));
    EXPECT_EQ(untilNext(1001), 0) << "while a pass is running nothing waits";
    EXPECT_EQ(answer(1, 1030), 30);
    EXPECT_EQ(untilNext(1030), 70);
    EXPECT_EQ(untilNext(1099), 1);
    EXPECT_EQ(untilNext(1100), 0);
}

TEST_F(PassPacerTest, APassThatTookLongerThanTheCycleIsFollowedAtOnce) {
    pacer_.listRebuilt(1);
    pacer_.readSent(at(1000));
    EXPECT_EQ(answer(1, 1250), 250);
    EXPECT_EQ(untilNext(1250), 0);
}

TEST_F(PassPacerTest, ReadsBetweenTwoPassesEndNone) {
    pacer_.listRebuilt(1);
    EXPECT_EQ(answer(5, 1000), -1);
    pacer_.readSent(at(1000));
    EXPECT_EQ(answer(1, 1010), 10);
    EXPECT_EQ(answer(1, 1020), -1);
}

TEST_F(PassPacerTest, ANewListEndsThePassAndMakesTheNextOneDue) {
    pacer_.listRebuilt(2);
    pacer_.readSent(at(1000));
    pacer_.listRebuilt(1);
    EXPECT_EQ(untilNext(1001), 0);
    EXPECT_EQ(answer(1, 1002), -1);
    pacer_.readSent(at(1005));
    EXPECT_EQ(answer(1, 1010), 5);
}

TEST_F(PassPacerTest, AnAbandonedPassDoesNotCountAndKeepsThePace) {
    pacer_.listRebuilt(2);
    pacer_.readSent(at(1000));
    EXPECT_EQ(answer(1, 1010), -1);
    pacer_.passAbandoned();
    EXPECT_EQ(untilNext(1020), 80);
    pacer_.readSent(at(1100));
    EXPECT_EQ(answer(1, 1110), -1);
    EXPECT_EQ(answer(1, 1120), 20);
}

TEST_F(PassPacerTest, APassTakesUntilTheLineWasQuiet) {
    pacer_.listRebuilt(2);
    pacer_.readSent(at(1000));
    EXPECT_FALSE(pacer_.isAnswered());
    pacer_.readsAnswered(1);
    EXPECT_FALSE(pacer_.isAnswered());
    EXPECT_EQ(pacer_.lineQuiet(at(1010)), std::nullopt) << "a look in the middle of the pass";
    pacer_.readsAnswered(1);
    EXPECT_TRUE(pacer_.isAnswered());
    EXPECT_EQ(pacer_.lineQuiet(at(1027)), at(27));
    EXPECT_FALSE(pacer_.isAnswered());
    EXPECT_EQ(pacer_.lineQuiet(at(1030)), std::nullopt);
    EXPECT_EQ(untilNext(1030), 70);
}

}  // namespace
}  // namespace ac500::host
