#include "tools/host/write_index.h"

#include <gtest/gtest.h>

namespace ac500::host {
namespace {

TEST(WriteIndexTest, FindsTheLatestOfTheWritesThatTouchTheBytes) {
    WriteIndex index;
    index.add(1, 11, {{4, 100, 4}});
    index.add(2, 12, {{4, 102, 4}});
    index.add(3, 13, {{4, 90, 4}});
    EXPECT_EQ(index.latestIn({{4, 100, 2}}), 11);
    EXPECT_EQ(index.latestIn({{4, 103, 1}}), 12);
    EXPECT_EQ(index.latestIn({{4, 105, 1}}), 12);
    EXPECT_EQ(index.latestIn({{4, 93, 9}}), 13);
    EXPECT_EQ(index.latestIn({{4, 94, 6}}), 0);
    EXPECT_EQ(index.latestIn({{4, 106, 8}}), 0);
}

TEST(WriteIndexTest, KnowsTheAreasApart) {
    WriteIndex index;
    index.add(1, 11, {{4, 100, 4}});
    EXPECT_EQ(index.latestIn({{3, 100, 4}}), 0);
    EXPECT_EQ(index.latestIn({{5, 100, 4}}), 0);
}

TEST(WriteIndexTest, FindsALongWriteAtEachOfItsBytesAndNotBesideIt) {
    WriteIndex index;
    index.add(1, 11, {{4, 1000, 10000}});
    for (int address = 1000; address < 11000; ++address) {
        ASSERT_EQ(index.latestIn({{4, address, 1}}), 11) << address;
    }
    EXPECT_EQ(index.latestIn({{4, 999, 1}}), 0);
    EXPECT_EQ(index.latestIn({{4, 11000, 1}}), 0);
    EXPECT_EQ(index.latestIn({{4, 0, 100000}}), 11);
}

TEST(WriteIndexTest, TheLatestCountsInWhichPlaceEverItTouches) {
    WriteIndex index;
    index.add(1, 11, {{4, 500, 2}});
    index.add(2, 12, {{4, 100, 2}});
    EXPECT_EQ(index.latestIn({{4, 100, 2}, {4, 500, 2}}), 12);
    EXPECT_EQ(index.latestIn({{4, 500, 2}, {4, 100, 2}}), 12);
    EXPECT_EQ(index.latestIn({{4, 100, 402}}), 12);
}

TEST(WriteIndexTest, AWriteOfSeveralPlacesIsFoundInEach) {
    WriteIndex index;
    index.add(1, 11, {{4, 0, 2}, {4, 10, 2}, {4, 200, 2}, {1, 7, 1}});
    EXPECT_EQ(index.latestIn({{4, 1, 1}}), 11);
    EXPECT_EQ(index.latestIn({{4, 11, 1}}), 11);
    EXPECT_EQ(index.latestIn({{4, 201, 1}}), 11);
    EXPECT_EQ(index.latestIn({{1, 7, 1}}), 11);
    EXPECT_EQ(index.latestIn({{4, 2, 8}}), 0);
}

TEST(WriteIndexTest, WhatIsRemovedIsNotFoundAndTheOthersAre) {
    WriteIndex index;
    index.add(1, 11, {{4, 100, 200}});
    index.add(2, 12, {{4, 100, 200}});
    index.remove(2, {{4, 100, 200}});
    EXPECT_EQ(index.latestIn({{4, 100, 1}}), 11);
    EXPECT_EQ(index.latestIn({{4, 299, 1}}), 11);
    index.remove(1, {{4, 100, 200}});
    EXPECT_EQ(index.latestIn({{4, 0, 1000}}), 0);
}

}  // namespace
}  // namespace ac500::host
