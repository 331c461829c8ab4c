#include "tools/guard/program_watch.h"

#include <gtest/gtest.h>

namespace ac500::guard {
namespace {

using News = ProgramWatch::News;

constexpr Time at(int time) {
    return Time(time);
}

TEST(ProgramWatch, WithoutAGuardNothingIsInDoubt) {
    const ProgramWatch watch(false);
    EXPECT_EQ(watch.state(), ProgramState::Unguarded);
    EXPECT_FALSE(watch.isGuarded());
    EXPECT_FALSE(watch.isInDoubt());
    EXPECT_TRUE(watch.covers(at(1), at(2)));
}

TEST(ProgramWatch, TellsEachChangeOnce) {
    ProgramWatch watch(true);
    EXPECT_EQ(watch.state(), ProgramState::Unknown);
    EXPECT_EQ(watch.read(true, at(1)), News::None);
    EXPECT_EQ(watch.state(), ProgramState::Expected);
    EXPECT_EQ(watch.read(false, at(2)), News::OtherProgram);
    EXPECT_TRUE(watch.isInDoubt());
    EXPECT_EQ(watch.read(false, at(3)), News::None);
    EXPECT_EQ(watch.refused(), News::Unreadable);
    EXPECT_EQ(watch.refused(), News::None);
    EXPECT_TRUE(watch.isInDoubt());
    EXPECT_EQ(watch.read(false, at(4)), News::OtherProgram);
    EXPECT_EQ(watch.read(true, at(5)), News::ExpectedAgain);
    EXPECT_EQ(watch.read(true, at(6)), News::None);
    EXPECT_FALSE(watch.isInDoubt());
}

TEST(ProgramWatch, RemembersOverALossWhatWasTold) {
    ProgramWatch watch(true);
    watch.read(false, at(1));
    watch.forget();
    EXPECT_EQ(watch.state(), ProgramState::Unknown);
    EXPECT_FALSE(watch.isInDoubt());
    EXPECT_EQ(watch.read(false, at(2)), News::None);
    watch.forget();
    EXPECT_EQ(watch.read(true, at(3)), News::ExpectedAgain);
    watch.forget();
    EXPECT_EQ(watch.read(true, at(4)), News::None);
}

TEST(ProgramWatch, CoversWhatLiesBetweenTwoGoodReadings) {
    ProgramWatch watch(true);
    EXPECT_FALSE(watch.covers(at(1), at(1)));
    EXPECT_FALSE(watch.wasReadSince(at(0)));
    watch.read(true, at(10));
    EXPECT_TRUE(watch.covers(at(10), at(10)));
    EXPECT_FALSE(watch.covers(at(9), at(10))) << "received before the first reading";
    EXPECT_FALSE(watch.covers(at(10), at(11))) << "received behind the last one";
    EXPECT_FALSE(watch.wasReadSince(at(11)));
    watch.read(true, at(20));
    EXPECT_TRUE(watch.covers(at(10), at(20)));
    EXPECT_TRUE(watch.covers(at(11), at(19)));
    EXPECT_FALSE(watch.covers(at(11), at(21)));
    EXPECT_TRUE(watch.wasReadSince(at(20)));
}

TEST(ProgramWatch, CoversNothingFromBeforeABadReadingOrALoss) {
    ProgramWatch watch(true);
    watch.read(true, at(10));
    watch.read(false, at(20));
    EXPECT_FALSE(watch.covers(at(10), at(10)));
    EXPECT_TRUE(watch.wasReadSince(at(15)));
    watch.read(true, at(30));
    EXPECT_FALSE(watch.covers(at(25), at(30))) << "the other program may have been there";
    EXPECT_TRUE(watch.covers(at(30), at(30)));
    watch.forget();
    EXPECT_FALSE(watch.covers(at(30), at(30)));
    EXPECT_FALSE(watch.wasReadSince(at(0)));
    watch.read(true, at(40));
    EXPECT_FALSE(watch.covers(at(35), at(40)));
    watch.refused();
    EXPECT_FALSE(watch.covers(at(40), at(40)));
}

TEST(ProgramWatch, StatesHaveNames) {
    EXPECT_STREQ(programStateName(ProgramState::Unguarded), "unguarded");
    EXPECT_STREQ(programStateName(ProgramState::Unknown), "unknown");
    EXPECT_STREQ(programStateName(ProgramState::Expected), "expected");
    EXPECT_STREQ(programStateName(ProgramState::Other), "other");
    EXPECT_STREQ(programStateName(ProgramState::Unreadable), "unreadable");
}

}  // namespace
}  // namespace ac500::guard
