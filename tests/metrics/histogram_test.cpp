#include "tools/metrics/histogram.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace ac500::metrics {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

Histogram histogramOf(std::initializer_list<Duration> durations) {
    Histogram histogram;
    for (const Duration duration : durations) {
        histogram.add(duration);
    }
    return histogram;
}

// The median of one duration twice and a much longer one: the end of the bucket that the first lies in.
Duration endOfItsBucket(Duration duration) {
    return histogramOf({duration, duration, seconds(66)}).p50();
}

TEST(Histogram, AnEmptyOneIsAllZero) {
    const Histogram histogram;
    EXPECT_EQ(histogram.count(), 0);
    EXPECT_EQ(histogram.sum(), Duration(0));
    EXPECT_EQ(histogram.longest(), Duration(0));
    EXPECT_EQ(histogram.last(), Duration(0));
    EXPECT_EQ(histogram.p50(), Duration(0));
    EXPECT_EQ(histogram.p99(), Duration(0));
    EXPECT_EQ(histogram.countUpTo(seconds(100)), 0);
}

TEST(Histogram, CountSumLongestAndLastAreExact) {
    const Histogram histogram = histogramOf({Duration(1001), Duration(70000000), Duration(12)});
    EXPECT_EQ(histogram.count(), 3);
    EXPECT_EQ(histogram.sum(), Duration(70001013));
    EXPECT_EQ(histogram.longest(), Duration(70000000));
    EXPECT_EQ(histogram.last(), Duration(12));
}

TEST(Histogram, QuantilesOfAHundredShortDurationsAreExact) {
    Histogram histogram;
    for (int i = 1; i <= 100; ++i) {
        histogram.add(Duration(i <= 50 ? 10 : i <= 99 ? 20 : 30));
    }
    EXPECT_EQ(histogram.quantile(1), Duration(10));
    EXPECT_EQ(histogram.p50(), Duration(10));
    EXPECT_EQ(histogram.quantile(501), Duration(20));
    EXPECT_EQ(histogram.p99(), Duration(20));
    EXPECT_EQ(histogram.quantile(991), Duration(30));
    EXPECT_EQ(histogram.quantile(1000), Duration(30));
}

TEST(Histogram, OneDurationIsEveryQuantileOfItself) {
    for (const std::int64_t duration : {0, 1, 31, 32, 33, 1000, 12345, 67108863, 67108864, 90000000}) {
        const Histogram histogram = histogramOf({Duration(duration)});
        EXPECT_EQ(histogram.quantile(1), Duration(duration));
        EXPECT_EQ(histogram.p99(), Duration(duration));
    }
}

TEST(Histogram, BucketsEndWhereTheyShould) {
    EXPECT_EQ(endOfItsBucket(Duration(0)), Duration(0));
    EXPECT_EQ(endOfItsBucket(Duration(15)), Duration(15));
    EXPECT_EQ(endOfItsBucket(Duration(16)), Duration(16));
    EXPECT_EQ(endOfItsBucket(Duration(31)), Duration(31));
    EXPECT_EQ(endOfItsBucket(Duration(32)), Duration(33));
    EXPECT_EQ(endOfItsBucket(Duration(33)), Duration(33));
    EXPECT_EQ(endOfItsBucket(Duration(34)), Duration(35));
    EXPECT_EQ(endOfItsBucket(Duration(63)), Duration(63));
    EXPECT_EQ(endOfItsBucket(Duration(64)), Duration(67));
    EXPECT_EQ(endOfItsBucket(Duration(1000)), Duration(1023));    // 992 to 1023: 31 * 32 on
    EXPECT_EQ(endOfItsBucket(Duration(1024)), Duration(1087));    // 1024 to 1087
    EXPECT_EQ(endOfItsBucket(Duration(20000)), Duration(20479));  // 19456 to 20479: 19 * 1024 on
    EXPECT_EQ(endOfItsBucket(seconds(60)), Duration(60817407));   // 58720256 to 60817407: 28 * 2^21 on
}

TEST(Histogram, AQuantileIsNeverTooShortAndTooLongByLessThanASixteenth) {
    for (std::int64_t duration = 0; duration < 67108864; duration += 1 + duration / 97) {
        const std::int64_t told = endOfItsBucket(Duration(duration)).count();
        ASSERT_GE(told, duration);
        ASSERT_LT(16 * (told - duration), duration == 0 ? 1 : duration) << duration;
    }
}

TEST(Histogram, WhatIsLongerThanTheLimitSharesTheLastBucketAndIsShownAsTheLongest) {
    const Histogram histogram = histogramOf({milliseconds(1), Histogram::kLimit, seconds(100), seconds(4000)});
    EXPECT_EQ(histogram.quantile(250), Duration(1023));
    EXPECT_EQ(histogram.p50(), seconds(4000));
    EXPECT_EQ(histogram.p99(), seconds(4000));
}

TEST(Histogram, ADurationBelowZeroCountsAsZero) {
    const Histogram histogram = histogramOf({Duration(-5)});
    EXPECT_EQ(histogram.count(), 1);
    EXPECT_EQ(histogram.sum(), Duration(0));
    EXPECT_EQ(histogram.longest(), Duration(0));
}

TEST(Histogram, CountsUpToABound) {
    const Histogram histogram =
        histogramOf({Duration(10), Duration(31), Duration(32), Duration(1023), Duration(1024), seconds(100)});
    EXPECT_EQ(histogram.countUpTo(Duration(-1)), 0);
    EXPECT_EQ(histogram.countUpTo(Duration(9)), 0);
    EXPECT_EQ(histogram.countUpTo(Duration(10)), 1);
    EXPECT_EQ(histogram.countUpTo(Duration(31)), 2);
    EXPECT_EQ(histogram.countUpTo(Duration(32)), 2);  // its bucket goes on to 33
    EXPECT_EQ(histogram.countUpTo(Duration(33)), 3);
    EXPECT_EQ(histogram.countUpTo(Duration(1023)), 4);
    EXPECT_EQ(histogram.countUpTo(seconds(99)), 5);
    EXPECT_EQ(histogram.countUpTo(seconds(100)), 6);
}

TEST(Histogram, TwoPutTogetherAreAsOneThatHadItAll) {
    Histogram first = histogramOf({Duration(10), Duration(1000)});
    first.merge(histogramOf({Duration(20), Duration(500)}));
    EXPECT_EQ(first.count(), 4);
    EXPECT_EQ(first.sum(), Duration(1530));
    EXPECT_EQ(first.longest(), Duration(1000));
    EXPECT_EQ(first.last(), Duration(500));
    EXPECT_EQ(first.p50(), Duration(20));
    first.merge(Histogram());
    EXPECT_EQ(first.count(), 4);
    EXPECT_EQ(first.last(), Duration(500));
}

TEST(Histogram, AResetForgetsEverything) {
    Histogram histogram = histogramOf({Duration(10), seconds(100)});
    histogram.reset();
    EXPECT_EQ(histogram.count(), 0);
    EXPECT_EQ(histogram.longest(), Duration(0));
    histogram.add(Duration(7));
    EXPECT_EQ(histogram.p99(), Duration(7));
    EXPECT_EQ(histogram.sum(), Duration(7));
}

TEST(Histogram, TakesThreeKilobytes) {
    EXPECT_LE(sizeof(Histogram), 3000U);
}

}  // namespace
}  // namespace ac500::metrics
