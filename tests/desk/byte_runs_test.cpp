#include "tools/desk/byte_runs.h"

#include <gtest/gtest.h>

#include "tests/desk/run_text.h"

namespace ac500::desk {
namespace {

using test::runText;

TEST(ByteRunsTest, RunsAreUnited) {
    EXPECT_EQ(runText(united({})), "");
    EXPECT_EQ(runText(united({{1, 8, 2}, {1, 0, 4}})), "1:0+4 1:8+2");
    EXPECT_EQ(runText(united({{1, 0, 4}, {1, 4, 4}})), "1:0+8") << "they touch";
    EXPECT_EQ(runText(united({{1, 0, 4}, {1, 5, 1}})), "1:0+4 1:5+1") << "one byte is between them";
    EXPECT_EQ(runText(united({{1, 0, 6}, {1, 4, 4}})), "1:0+8") << "they overlap";
    EXPECT_EQ(runText(united({{1, 0, 9}, {1, 2, 3}, {1, 9, 1}})), "1:0+10") << "one is within the other";
    EXPECT_EQ(runText(united({{2, 0, 4}, {1, 0, 4}})), "1:0+4 2:0+4") << "areas stay apart";
    EXPECT_EQ(runText(united({{1, 0, 0}, {1, 3, -1}})), "") << "nothing in them";
}

TEST(ByteRunsTest, WhatIsInOneSetOnly) {
    const std::vector<ByteRun> set{{1, 10, 10}, {2, 0, 4}};
    EXPECT_EQ(runText(without(set, {})), "1:10+10 2:0+4");
    EXPECT_EQ(runText(without(set, set)), "");
    EXPECT_EQ(runText(without(set, {{1, 12, 3}})), "1:10+2 1:15+5 2:0+4");
    EXPECT_EQ(runText(without(set, {{1, 0, 10}, {1, 20, 5}})), "1:10+10 2:0+4") << "beside it";
    EXPECT_EQ(runText(without(set, {{1, 0, 11}, {1, 19, 5}})), "1:11+8 2:0+4") << "over its ends";
    EXPECT_EQ(runText(without(set, {{1, 0, 90}})), "2:0+4");
    EXPECT_EQ(runText(without(set, {{2, 1, 1}, {2, 3, 1}})), "1:10+10 2:0+1 2:2+1");
    EXPECT_EQ(runText(without({{1, 0, 2}, {1, 4, 2}}, {{1, 1, 4}})), "1:0+1 1:5+1") << "over two runs";
}

TEST(ByteRunsTest, BytesAreCounted) {
    EXPECT_EQ(bytesOf({}), 0);
    EXPECT_EQ(bytesOf({{1, 10, 10}, {2, 0, 4}}), 14);
    const std::vector<ByteRun> set{{1, 10, 10}, {1, 30, 5}};
    EXPECT_EQ(bytesWithin({1, 0, 10}, set), 0);
    EXPECT_EQ(bytesWithin({1, 0, 11}, set), 1);
    EXPECT_EQ(bytesWithin({1, 12, 3}, set), 3);
    EXPECT_EQ(bytesWithin({1, 19, 12}, set), 2);
    EXPECT_EQ(bytesWithin({1, 0, 99}, set), 15);
    EXPECT_EQ(bytesWithin({2, 10, 10}, set), 0);
}

}  // namespace
}  // namespace ac500::desk
