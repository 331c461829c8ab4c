#include "tools/text/calendar.h"

#include <gtest/gtest.h>

namespace ac500::text {
namespace {

TEST(Calendar, DaysCountFrom1970) {
    EXPECT_EQ(daysOf({1970, 1, 1}), 0);
    EXPECT_EQ(daysOf({1969, 12, 31}), -1);
    EXPECT_EQ(daysOf({2000, 2, 29}), 11016);
    EXPECT_EQ(daysOf({2000, 3, 1}), 11017);
    EXPECT_EQ(daysOf({2026, 11, 22}), 20779);
    EXPECT_EQ(daysOf({2106, 2, 7}), 49710);
    EXPECT_EQ(daysOf({0, 1, 1}), -719528);
}

// One day after the other, over every kind of year.
TEST(Calendar, EveryDayIsFollowedByTheNext) {
    constexpr int kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    std::int64_t days = -25567;  // of 1900-01-01
    for (std::int64_t year = 1900; year <= 2110; ++year) {
        const bool isLeap = year % 4 == 0 && year != 1900 && year != 2100;
        for (int month = 1; month <= 12; ++month) {
            const int length = kLengths[month - 1] + (month == 2 && isLeap ? 1 : 0);
            for (int day = 1; day <= length; ++day, ++days) {
                const Date date = dateOf(days);
                ASSERT_TRUE(date.year == year && date.month == month && date.day == day) << days;
                ASSERT_EQ(daysOf({year, month, day}), days);
                ASSERT_TRUE(exists(date));
            }
            ASSERT_FALSE(exists({year, month, length + 1}));
        }
    }
}

TEST(Calendar, WhatDoesNotExist) {
    EXPECT_FALSE(exists({2026, 0, 1}));
    EXPECT_FALSE(exists({2026, 13, 1}));
    EXPECT_FALSE(exists({2026, 1, 0}));
    EXPECT_FALSE(exists({2100, 2, 29}));
}

}  // namespace
}  // namespace ac500::text
