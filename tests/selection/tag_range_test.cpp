#include "tools/selection/tag_range.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::selection {
namespace {

TEST(TagRange, NamesItsFirstAndItsLastElement) {
    std::string error;
    const std::optional<TagRange> range = rangeAtEnd("Main.grid[2,-1..3]", &error);
    ASSERT_TRUE(range);
    EXPECT_EQ(range->prefix, "Main.grid[2,");
    EXPECT_EQ(range->first, "Main.grid[2,-1]");
    EXPECT_EQ(range->last, "Main.grid[2,3]");
    EXPECT_EQ(range->lower, -1);
    EXPECT_EQ(range->upper, 3);
}

TEST(TagRange, WithoutOneNothingIsWrong) {
    std::string error;
    for (const char* tag : {"", "Main.x", "Main.grid[2,3]", "]", "a..b]", "Main.pumps[1..2].flow"}) {
        EXPECT_FALSE(rangeAtEnd(tag, &error)) << tag;
    }
    EXPECT_EQ(error, "");
}

TEST(TagRange, WhatIsNoRangeIsToldSo) {
    for (const char* tag :
         {"Main.a[5..2]", "Main.a[a..b]", "Main.a[..]", "Main.a[1..]", "Main.a[1..2..3]", "Main.a[1..99999999999]"}) {
        std::string error;
        EXPECT_FALSE(rangeAtEnd(tag, &error)) << tag;
        EXPECT_THAT(error, testing::StartsWith(std::string(tag) + ": \"")) << tag;
    }
}

}  // namespace
}  // namespace ac500::selection
