#include "tools/host/statistics.h"

#include <gtest/gtest.h>

namespace ac500::host {
namespace {

TEST(Statistics, NoCycleMeansNoTimes) {
    EXPECT_EQ(Statistics().cycleTimes().cycles, 0);
}

TEST(Statistics, MinimumMedianAndMaximumOfThree) {
    Statistics statistics;
    for (const int time : {30, 10, 20}) {
        statistics.addCycle(Time(time));
    }
    EXPECT_EQ(statistics.cycleTimes().minimum, Time(10));
    EXPECT_EQ(statistics.cycleTimes().median, Time(20));
    EXPECT_EQ(statistics.cycleTimes().maximum, Time(30));
    EXPECT_EQ(statistics.cycleTimes().last, Time(20));
    EXPECT_EQ(statistics.cycleTimes().cycles, 3);
}

TEST(Statistics, TheMedianFollowsTheLastThousandCyclesAndTheExtremesStay) {
    Statistics statistics;
    statistics.addCycle(Time(1));
    statistics.addCycle(Time(9000));
    for (int i = 0; i < 1000; ++i) {
        statistics.addCycle(Time(50));
    }
    EXPECT_EQ(statistics.cycleTimes().minimum, Time(1));
    EXPECT_EQ(statistics.cycleTimes().median, Time(50));
    EXPECT_EQ(statistics.cycleTimes().maximum, Time(9000));
    EXPECT_EQ(statistics.cycleTimes().cycles, 1002);
}

TEST(Statistics, TheFirstConnectionIsNoReconnection) {
    Statistics statistics;
    EXPECT_EQ(statistics.reconnects(), 0);
    statistics.connections = 1;
    EXPECT_EQ(statistics.reconnects(), 0);
    statistics.connections = 4;
    EXPECT_EQ(statistics.reconnects(), 3);
}

TEST(StaleAge, IsThreeOfTheSlowestPassesAndTwoSecondsAtLeast) {
    EXPECT_EQ(staleAge({}, Time(100000)), Time(2000000));
    EXPECT_EQ(staleAge({}, Time(1000000)), Time(3000000));
    CycleTimes times;
    times.median = Time(800000);
    EXPECT_EQ(staleAge(times, Time(100000)), Time(2400000));
    times.last = Time(900000);
    EXPECT_EQ(staleAge(times, Time(100000)), Time(2700000));
}

}  // namespace
}  // namespace ac500::host
