#include "tools/host/reply_times.h"

#include <gtest/gtest.h>

namespace ac500::host {
namespace {

TEST(ReplyTimes, AreNothingAtFirst) {
    EXPECT_EQ(ReplyTimes().slowest(Milliseconds(10000)), Milliseconds(0));
}

TEST(ReplyTimes, TheSlowestCountsNotTheLatest) {
    ReplyTimes times;
    times.add(Milliseconds(10000), Milliseconds(30));
    times.add(Milliseconds(10100), Milliseconds(4));
    EXPECT_EQ(times.slowest(Milliseconds(10100)), Milliseconds(30));
}

TEST(ReplyTimes, ASlowReplyIsRememberedForThisPeriodAndTheNext) {
    ReplyTimes times;
    times.add(Milliseconds(11999), Milliseconds(30));
    EXPECT_EQ(times.slowest(Milliseconds(11999)), Milliseconds(30));
    times.add(Milliseconds(12000), Milliseconds(4));
    EXPECT_EQ(times.slowest(Milliseconds(13999)), Milliseconds(30));
    times.add(Milliseconds(14000), Milliseconds(5));
    EXPECT_EQ(times.slowest(Milliseconds(14000)), Milliseconds(5));
}

TEST(ReplyTimes, AfterAPeriodWithoutRepliesTheLastOnesCountNoMore) {
    ReplyTimes times;
    times.add(Milliseconds(10000), Milliseconds(30));
    EXPECT_EQ(times.slowest(Milliseconds(13999)), Milliseconds(30));
    EXPECT_EQ(times.slowest(Milliseconds(14000)), Milliseconds(0));
    times.add(Milliseconds(14000), Milliseconds(4));
    EXPECT_EQ(times.slowest(Milliseconds(14000)), Milliseconds(4));
}

}  // namespace
}  // namespace ac500::host
