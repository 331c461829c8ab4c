#include "tools/desk/memory_layout.h"

#include <gtest/gtest.h>

#include <string>

namespace ac500::desk {
namespace {

// "1:0 ..." and each cell as wanted/along/first-last request, "." for one that is not read.
std::string layoutText(const MemoryLayout& layout) {
    std::string text;
    for (const MemoryRow& row : layout.rows) {
        text += std::to_string(row.area) + ":" + std::to_string(row.address);
        for (const MemoryCell& cell : row.cells) {
            text += " ";
            text += cell.firstRequest == 0
                        ? "."
                        : std::to_string(cell.wanted) + "/" + std::to_string(cell.along) + "/" +
                              std::to_string(cell.firstRequest) + "-" + std::to_string(cell.lastRequest);
        }
        text += "\n";
    }
    return text;
}

TEST(MemoryLayoutTest, ACellIsOneByteWhenThereIsRoom) {
    const ObservedPass pass{{{{{1, 1, 3}}, 26, 16}}, 1};
    const MemoryLayout layout = layOutMemory(pass, {{"Main.a", {{1, 1, 1}}}, {"Main.b", {{1, 3, 1}}}}, 4, 8);
    EXPECT_EQ(layout.bytesPerCell, 1);
    EXPECT_EQ(layoutText(layout), "1:0 . 1/0/1-1 0/1/1-1 1/0/1-1\n");
}

TEST(MemoryLayoutTest, RowsInWhichNothingIsReadAreLeftOut) {
    const ObservedPass pass{{{{{1, 3, 2}, {1, 13, 1}}, 0, 0}, {{{2, 0, 1}}, 0, 0}}, 3};
    const MemoryLayout layout = layOutMemory(pass, {{"Main.a", {{1, 3, 2}, {1, 13, 1}, {2, 0, 1}}}}, 4, 8);
    EXPECT_EQ(layoutText(layout),
              "1:0 . . . 1/0/1-1\n"
              "1:4 1/0/1-1 . . .\n"
              "1:12 . 1/0/1-1 . .\n"
              "2:0 1/0/2-2 . . .\n");
    EXPECT_TRUE(layout.beginsSection(0));
    EXPECT_FALSE(layout.beginsSection(1));
    EXPECT_TRUE(layout.beginsSection(2));
    EXPECT_TRUE(layout.beginsSection(3));
}

TEST(MemoryLayoutTest, CellsGrowUntilTheRowsAreFewEnough) {
    const ObservedPass pass{{{{{1, 0, 20}}, 0, 0}, {{{1, 20, 12}}, 0, 0}}, 2};
    const std::vector<WantedTag> wanted{{"Main.a", {{1, 0, 18}}}, {"Main.b", {{1, 21, 11}}}};
    const MemoryLayout layout = layOutMemory(pass, wanted, 4, 2);
    EXPECT_EQ(layout.bytesPerCell, 4);
    EXPECT_EQ(layout.bytesPerRow(), 16);
    EXPECT_EQ(layoutText(layout),
              "1:0 4/0/1-1 4/0/1-1 4/0/1-1 4/0/1-1\n"
              "1:16 2/2/1-1 3/1/2-2 4/0/2-2 4/0/2-2\n");
}

TEST(MemoryLayoutTest, ACellMayBelongToSeveralRequests) {
    const ObservedPass pass{{{{{1, 0, 3}}, 0, 0}, {{{1, 3, 2}}, 0, 0}}, 2};
    const MemoryLayout layout = layOutMemory(pass, {{"Main.a", {{1, 0, 5}}}}, 1, 1);
    EXPECT_EQ(layoutText(layout), "1:0 5/0/1-2\n");
    EXPECT_EQ(requestsOf(layout.rows[0]).first, 1);
    EXPECT_EQ(requestsOf(layout.rows[0]).last, 2);
}

TEST(MemoryLayoutTest, EveryAreaHasARow) {
    const ObservedPass pass{{{{{1, 0, 2}, {2, 0, 2}, {3, 0, 2}}, 0, 0}}, 3};
    EXPECT_EQ(layOutMemory(pass, {}, 4, 1).rows.size(), 3u);
}

TEST(MemoryLayoutTest, WhatIsReadAgainBelongsToTheFirstRequest) {
    const ObservedPass pass{{{{{1, 0, 1}}, 0, 0}, {{{1, 1, 1}, {1, 0, 1}}, 0, 0}}, 2};
    EXPECT_EQ(layoutText(layOutMemory(pass, {{"Main.a", {{1, 0, 2}}}}, 2, 1)), "1:0 1/0/1-1 1/0/2-2\n");
}

TEST(MemoryLayoutTest, NothingHasNoRows) {
    EXPECT_TRUE(layOutMemory({}, {}, 4, 1).rows.empty());
}

TEST(MemoryLayoutTest, TheEndOfTheLargestAreaIsReached) {
    const ObservedPass pass{{{{{1, 0, 1}, {1, 4294967295, 1}}, 0, 0}}, 2};
    const MemoryLayout layout = layOutMemory(pass, {}, 256, 1);
    ASSERT_EQ(layout.rows.size(), 1u);
    EXPECT_EQ(layout.bytesPerCell, 16777216);
    EXPECT_EQ(layout.rows[0].cells.front().along, 1);
    EXPECT_EQ(layout.rows[0].cells.back().along, 1);
}

}  // namespace
}  // namespace ac500::desk
