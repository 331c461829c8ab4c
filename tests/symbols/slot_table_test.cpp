// Positions by hash: how many fit, that those of one hash are found in the order they were inserted, and that nothing
// is lost when others are removed.
#include "symbols/slot_table.h"

#include <gtest/gtest.h>

#include <QtCore/QString>
#include <set>
#include <vector>

namespace ac500::test {
namespace {

bool any(quint32) {
    return true;
}

quint32 hashOf(const QString& text) {
    return hashText(text.constData(), text.size());
}

TEST(SlotTable, HasRoomForWhatItIsMadeForAndIsNeverFull) {
    struct {
        std::size_t entries;
        std::size_t room;
    } const rows[] = {{0, 12}, {1, 12}, {12, 12}, {13, 24}, {24, 24}, {25, 48}, {48, 48}, {49, 96}, {1000, 1536}};
    for (const auto& row : rows) {
        EXPECT_EQ(SlotTable(row.entries).room(), row.room) << row.entries;
        EXPECT_EQ(SlotTable(row.entries).bytes(), row.room / 3 * 4 * 4) << row.entries;
        EXPECT_EQ(SlotTable::bytesFor(row.entries), row.room / 3 * 4 * 4) << row.entries;
    }
}

TEST(SlotTable, FindsNothingInAnEmptyOne) {
    EXPECT_EQ(SlotTable(0).find(0, any), SlotTable::kNone);
    EXPECT_EQ(SlotTable(0).find(0xFFFFFFFFU, any), SlotTable::kNone);
}

TEST(SlotTable, FindsTheFirstAndTheLastPosition) {
    SlotTable table(2);
    table.insert(5, 0);
    table.insert(6, SlotTable::kMostPositions - 1);
    EXPECT_EQ(table.find(5, any), 0U);
    EXPECT_EQ(table.find(6, any), 0x1FFFFEU);
}

TEST(SlotTable, FindsTheEarliestOfOneHashThatMatches) {
    SlotTable table(0);
    for (quint32 position : {40, 10, 30, 20}) {
        table.insert(7, position);
    }
    EXPECT_EQ(table.find(7, any), 40U);
    EXPECT_EQ(table.find(7, [](quint32 position) { return position < 40; }), 10U);
    EXPECT_EQ(table.find(7, [](quint32 position) { return position == 20; }), 20U);
    EXPECT_EQ(table.find(7, [](quint32 position) { return position == 50; }), SlotTable::kNone);
}

TEST(SlotTable, AsksOnlyAboutPositionsWhoseHashIsNearlyThat) {
    SlotTable table(0);
    table.insert(0x80000001U, 1);
    table.insert(0x80000002U, 2);
    EXPECT_EQ(table.find(0x80000002U, any), 2U) << "the low bits tell them apart";
}

TEST(SlotTable, FindsEveryPositionOfAFullTable) {
    for (quint32 step : {1U, 16U, 0x10000U, 0x10000000U}) {  // hashes that differ in low, middle and high bits
        SlotTable table(100);
        const auto count = static_cast<quint32>(table.room());
        for (quint32 i = 0; i < count; ++i) {
            table.insert(i * step, i);
        }
        for (quint32 i = 0; i < count; ++i) {
            EXPECT_EQ(table.find(i * step, [i](quint32 position) { return position == i; }), i) << step;
        }
        EXPECT_EQ(table.find(3, [](quint32) { return false; }), SlotTable::kNone);
        std::set<quint32> positions;
        table.forEach([&](quint32 position) { positions.insert(position); });
        EXPECT_EQ(positions.size(), count);
    }
}

TEST(SlotTable, FindsTheOthersOnceSomeAreReplacedOrRemoved) {
    for (quint32 step : {1U, 0x1000000U, 0x9E3779B9U}) {  // one long chain, several, hardly any
        SlotTable table(190);
        std::vector<quint32> hashes;
        for (quint32 i = 0; i < 190; ++i) {
            hashes.push_back(0xFFFFFF00U + i * step);
            table.insert(hashes[i], i);
        }
        for (quint32 i = 0; i < 190; i += 3) {
            table.remove(hashes[i], i, [&](quint32 p) { return hashes[p < 1000 ? p : p - 1000]; });
            if (i + 1 < 190) {
                table.replace(hashes[i + 1], i + 1, i + 1001);
            }
        }
        for (quint32 i = 0; i < 190; ++i) {
            const quint32 expected = i % 3 == 0 ? SlotTable::kNone : i % 3 == 1 ? i + 1000 : i;
            EXPECT_EQ(table.find(hashes[i], [i](quint32 p) { return p % 1000 == i; }), expected) << step << " " << i;
        }
    }
}

// Names that a generator numbers, and names of the same letters in another order.
TEST(HashText, TellsNeighboursApart) {
    std::set<quint32> hashes;
    int names = 0;
    for (int i = 0; i < 256; ++i) {
        for (const char* form : {"Main.ch%1", "Main.channel%1", "Main.%1.value", "%1", "Main.c%1.longer_name_of_it"}) {
            hashes.insert(hashOf(QString(form).arg(i, 2, 16, QChar('0')).toUpper()));
            ++names;
        }
    }
    for (const char* text : {"", "a", "b", "ab", "ba", "abc", "acb", "abcd", "abdc", "abcde", "abced"}) {
        hashes.insert(hashOf(text));
        ++names;
    }
    EXPECT_EQ(hashes.size(), static_cast<std::size_t>(names));
}

// Both ends of the hash are used: the high bits choose the slot, the low ones are kept in it.
TEST(HashText, SpreadsNumberedNamesOverItsHighAndItsLowBits) {
    std::set<quint32> high;
    std::set<quint32> low;
    for (int i = 0; i < 4096; ++i) {
        const quint32 hash = hashOf(QString("Main.axis[%1].position").arg(i));
        high.insert(hash >> 20);
        low.insert(hash & 0x7FF);
    }
    EXPECT_GT(high.size(), 2400U) << "of 4096; chance gives 2589";
    EXPECT_GT(low.size(), 1650U) << "of 2048; chance gives 1771";
}

TEST(HashText, CountsEveryCharacterWhereverItStands) {
    const QString name = "Main.motor.speed";
    for (int i = 0; i < name.size(); ++i) {
        for (int bit = 0; bit < 16; ++bit) {
            QString other = name;
            other[i] = QChar(other.at(i).unicode() ^ (1 << bit));
            EXPECT_NE(hashOf(other), hashOf(name)) << i << " " << bit;
        }
    }
}

}  // namespace
}  // namespace ac500::test
