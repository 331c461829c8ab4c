// Positions by hash: how many fit, and that those of one hash are found in the order they were inserted.
#include "symbols/position_table.h"

#include <gtest/gtest.h>

namespace ac500::test {
namespace {

bool any(quint32) {
    return true;
}

TEST(PositionTable, HasRoomForWhatItIsMadeForAndIsNeverFull) {
    struct {
        std::size_t entries;
        std::size_t room;
    } const rows[] = {{0, 12}, {1, 12}, {12, 12}, {13, 24}, {24, 24}, {25, 48}, {48, 48}, {49, 96}, {1000, 1536}};
    for (const auto& row : rows) {
        EXPECT_EQ(PositionTable(row.entries).room(), row.room) << row.entries;
    }
}

TEST(PositionTable, FindsNothingInAnEmptyOne) {
    EXPECT_EQ(PositionTable().find(0, any), PositionTable::kNone);
    EXPECT_EQ(PositionTable().find(0xFFFFFFFFU, any), PositionTable::kNone);
}

TEST(PositionTable, FindsTheEarliestOfOneHashThatMatches) {
    PositionTable table;
    for (quint32 position : {40, 10, 30, 20}) {
        table.insert(7, position);
    }
    EXPECT_EQ(table.find(7, any), 40U);
    EXPECT_EQ(table.find(7, [](quint32 position) { return position < 40; }), 10U);
    EXPECT_EQ(table.find(7, [](quint32 position) { return position == 20; }), 20U);
    EXPECT_EQ(table.find(7, [](quint32 position) { return position == 50; }), PositionTable::kNone);
}

TEST(PositionTable, FindsEveryPositionOfAFullTable) {
    for (quint32 step : {1U, 16U, 0x10000U, 0x10000000U}) {  // hashes that differ in low, middle and high bits
        PositionTable table(100);
        const quint32 count = static_cast<quint32>(table.room());
        for (quint32 i = 0; i < count; ++i) {
            table.insert(i * step, i);
        }
        for (quint32 i = 0; i < count; ++i) {
            EXPECT_EQ(table.find(i * step, [i](quint32 position) { return position == i; }), i) << step;
        }
        EXPECT_EQ(table.find(3, [](quint32) { return false; }), PositionTable::kNone);
    }
}

}  // namespace
}  // namespace ac500::test
