#include "tools/desk/what_if.h"

#include <gtest/gtest.h>

#include <string>

namespace ac500::desk {
namespace {

std::vector<TriedSize> sizesOf(const std::vector<int>& requests) {
    std::vector<TriedSize> sizes;
    for (const int count : requests) {
        TriedSize size;
        size.maxRequestWords = kSmallestTriedWords + static_cast<int>(sizes.size());
        size.requests = count;
        sizes.push_back(size);
    }
    return sizes;
}

TEST(WhatIfTest, FewerRequestsAreBetterThenTheSmallerSize) {
    std::vector<TriedSize> sizes = sizesOf({7, 5, 6, 5, 8});
    sortByTime(sizes);
    std::string order;
    for (const TriedSize& size : sizes) {
        order += std::to_string(size.maxRequestWords) + "/" + std::to_string(size.requests) + " ";
    }
    EXPECT_EQ(order, "11/5 13/5 12/6 10/7 14/8 ");
}

std::string shown(const std::vector<SizeRange>& ranges) {
    std::string text;
    for (const SizeRange& range : ranges) {
        text += std::to_string(range.least.maxRequestWords) + ".." + std::to_string(range.most.maxRequestWords) + "/" +
                std::to_string(range.least.requests) + " ";
    }
    return text;
}

TEST(WhatIfTest, SizesInARowWithAsManyRequestsAreOneRange) {
    EXPECT_EQ(shown(rangesByTime(sizesOf({6, 6, 5, 5, 5, 6, 4}), {})), "16..16/4 12..14/5 10..11/6 15..15/6 ");
    std::vector<TriedSize> withHole = sizesOf({5, 5, 5});
    withHole.erase(withHole.begin() + 1);
    EXPECT_EQ(rangesByTime(withHole, {}).size(), 2u) << "the size between them was not tried";
    EXPECT_TRUE(rangesByTime({}, {10}).empty());
}

TEST(WhatIfTest, ASizeMayStandAlone) {
    EXPECT_EQ(shown(rangesByTime(sizesOf({5, 5, 5, 5, 5}), {12, 14, 99})), "10..11/5 12..12/5 13..13/5 14..14/5 ");
}

TEST(WhatIfTest, ARangeHasTheLeastAndTheMostOfItsSizes) {
    const std::vector<SizeRange> ranges =
        rangesByTime({{10, 5, 30, 200, 60, 81}, {11, 5, 28, 240, 50, 82}, {12, 5, 29, 190, 55, 80}}, {});
    ASSERT_EQ(ranges.size(), 1u);
    EXPECT_EQ(ranges[0].least.items, 28);
    EXPECT_EQ(ranges[0].most.items, 30);
    EXPECT_EQ(ranges[0].least.bytesAsked, 190);
    EXPECT_EQ(ranges[0].most.bytesAsked, 240);
    EXPECT_EQ(ranges[0].least.bytesSent, 50);
    EXPECT_EQ(ranges[0].most.bytesSent, 60);
    EXPECT_EQ(ranges[0].least.bytesReceived, 80);
    EXPECT_EQ(ranges[0].most.bytesReceived, 82);
}

TEST(WhatIfTest, ATriedSizeHasTheFiguresOfItsPass) {
    const ObservedPass pass{{{{{1, 0, 20}, {1, 40, 5}}, 36, 39}, {{{2, 0, 7}, {1, 0, 20}}, 30, 41}}, 3};
    const TriedSize size = triedSize(99, pass);
    EXPECT_EQ(size.maxRequestWords, 99);
    EXPECT_EQ(size.requests, 2);
    EXPECT_EQ(size.items, 3);
    EXPECT_EQ(size.bytesAsked, 32) << "each item once";
    EXPECT_EQ(size.bytesSent, 66);
    EXPECT_EQ(size.bytesReceived, 80);
}

}  // namespace
}  // namespace ac500::desk
