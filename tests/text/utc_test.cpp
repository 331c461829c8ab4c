#include "tools/text/utc.h"

#include <gtest/gtest.h>

#include <limits>

namespace ac500::text {
namespace {

TEST(UtcText, TimesGoBothWays) {
    EXPECT_EQ(utcTextOf(0), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(utcTextOf(-1), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(utcTextOf(1795388400123), "2026-11-22T23:00:00.123Z");
    EXPECT_EQ(utcTextOf(4102444800000), "2100-01-01T00:00:00.000Z");
    EXPECT_EQ(utcTextOf(951782400000), "2000-02-29T00:00:00.000Z");
    EXPECT_EQ(utcTextOf(std::numeric_limits<std::int64_t>::max()), "9999-12-31T23:59:59.999Z");
    EXPECT_EQ(utcTextOf(std::numeric_limits<std::int64_t>::min()), "0000-01-01T00:00:00.000Z");
    for (const std::int64_t time :
         {std::int64_t{0}, std::int64_t{-1}, std::int64_t{1795388400123}, std::int64_t{4102444800000}}) {
        EXPECT_EQ(utcMsOf(utcTextOf(time)), time);
    }
    EXPECT_EQ(utcMsOf("2026-11-22T23:00:00Z"), 1795388400000);
    EXPECT_EQ(utcMsOf("2026-11-22T23:00:00.5Z"), 1795388400500);
    EXPECT_EQ(utcMsOf("2026-11-22T23:00:00.123456789Z"), 1795388400123);
}

TEST(UtcText, OtherTextsAreNoTimes) {
    for (const char* text :
         {"", "2026-11-22", "2026-11-22T23:00:00", "2026-11-22 23:00:00Z", "2026-11-22T23:00:00+01:00",
          "2026-13-22T23:00:00Z", "2026-11-31T23:00:00Z", "2026-02-29T23:00:00Z", "2026-11-22T24:00:00Z",
          "2026-11-22T23:60:00Z", "2026-11-22T23:00:60Z", "2026-11-22T23:00:00.Z", "2026-11-22T23:00:00.1234567890Z",
          "2026-11-22T23:00:00.1", "-026-11-22T23:00:00Z", "2026-11-00T23:00:00Z"}) {
        EXPECT_EQ(utcMsOf(text), std::nullopt) << text;
    }
}

TEST(UtcText, AClockBefore2026WasNotSet) {
    EXPECT_FALSE(isOfSetClock(0));
    EXPECT_FALSE(isOfSetClock(*utcMsOf("2025-12-31T23:59:59.999Z")));
    EXPECT_TRUE(isOfSetClock(*utcMsOf("2026-01-01T00:00:00Z")));
}

}  // namespace
}  // namespace ac500::text
