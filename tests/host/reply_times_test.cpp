#include "tools/host/reply_times.h"

#include <gtest/gtest.h>

namespace ac500::host {
namespace {

Time ms(int time) {
    return Milliseconds(time);
}

TEST(ReplyTimes, AreNothingAtFirst) {
    EXPECT_EQ(ReplyTimes().slowest(ms(10000)), ms(0));
}

TEST(ReplyTimes, TheSlowestCountsNotTheLatest) {
    ReplyTimes times;
    times.add(ms(10000), ms(30));
    times.add(ms(10100), ms(4));
    EXPECT_EQ(times.slowest(ms(10100)), ms(30));
}

TEST(ReplyTimes, ASlowReplyIsRememberedForThisPeriodAndTheNext) {
    ReplyTimes times;
    times.add(ms(11999), ms(30));
    EXPECT_EQ(times.slowest(ms(11999)), ms(30));
    times.add(ms(12000), ms(4));
    EXPECT_EQ(times.slowest(ms(13999)), ms(30));
    times.add(ms(14000), ms(5));
    EXPECT_EQ(times.slowest(ms(14000)), ms(5));
}

TEST(ReplyTimes, AfterAPeriodWithoutRepliesTheLastOnesCountNoMore) {
    ReplyTimes times;
    times.add(ms(10000), ms(30));
    EXPECT_EQ(times.slowest(ms(13999)), ms(30));
    EXPECT_EQ(times.slowest(ms(14000)), ms(0));
    times.add(ms(14000), ms(4));
    EXPECT_EQ(times.slowest(ms(14000)), ms(4));
}

}  // namespace
}  // namespace ac500::host
