// The counted list of pending writes beside looking through it, and what a host may do to the list under its lock.
#include "vars/pending_writes.h"

#include <random>

#include "tests/support/driver_test.h"

namespace ac500::test {
namespace {

constexpr int kMany = 1024;  // from here on writes are counted

RW_VAR writeOf(int hostId, int hostSubId) {
    RW_VAR var = writeVar(1, 0, "12");
    var.hostId = hostId;
    var.hostSubId = hostSubId;
    return var;
}

bool isIn(const QList<RW_VAR>& list, const Identity& variable) {
    return std::any_of(list.begin(), list.end(), [&](const RW_VAR& var) {
        return var.hostId == variable.hostId && var.hostSubId == variable.hostSubId;
    });
}

class PendingWriteList : public ::testing::Test {
protected:
    void append(int count, int firstHostId) {
        for (int i = 0; i < count; ++i) {
            appendOne(writeOf(firstHostId + i, 1));
        }
    }

    void appendOne(RW_VAR var) { writes.append(var); }

    bool holds(int hostId) { return writes.holds({hostId, 1}); }

    QList<RW_VAR> list;
    PendingWrites writes{list};
};

TEST_F(PendingWriteList, IsLookedThroughWhileItIsShort) {
    append(kMany - 1, 0);
    EXPECT_FALSE(writes.areMany());
    append(1, 5);
    EXPECT_TRUE(writes.areMany());
}

TEST_F(PendingWriteList, HoldsWhatWasAppendedUntilTheLastOfItIsRemoved) {
    append(kMany, 0);
    EXPECT_TRUE(holds(0));
    EXPECT_TRUE(holds(kMany - 1));
    EXPECT_FALSE(holds(kMany));
    append(2, kMany);
    append(1, 0);
    EXPECT_TRUE(holds(kMany));
    writes.removeFirst(2);
    EXPECT_TRUE(holds(0)) << "once more, further behind";
    EXPECT_FALSE(holds(1));
    EXPECT_EQ(list.size(), kMany + 1);
}

TEST_F(PendingWriteList, BothWordsTellVariablesApart) {
    append(kMany, 0);
    EXPECT_TRUE(writes.holds({3, 1}));
    EXPECT_FALSE(writes.holds({3, 2}));
    EXPECT_FALSE(writes.holds({1, 3}));
    appendOne(writeOf(-3, -1));
    EXPECT_TRUE(writes.holds({-3, -1}));
}

TEST_F(PendingWriteList, NoticesWhatAHostRenamesInPlace) {
    append(kMany, 0);
    ASSERT_TRUE(holds(100));
    list[100].hostId = 9999;
    EXPECT_FALSE(holds(100));
    EXPECT_TRUE(holds(9999));
}

TEST_F(PendingWriteList, NoticesWhatAHostAppendsRemovesAndReplaces) {
    append(kMany, 0);
    ASSERT_FALSE(holds(1600));
    list.append(writeOf(1600, 1));
    EXPECT_TRUE(holds(1600));
    list.removeFirst();
    EXPECT_FALSE(holds(0));
    list = QList<RW_VAR>() << writeOf(1700, 1);
    EXPECT_TRUE(holds(1700));
    EXPECT_FALSE(holds(1600));
    list.clear();
    EXPECT_FALSE(holds(1700));
}

TEST_F(PendingWriteList, NoticesAChangeThatTheDriverChangesFurther) {
    append(kMany + 10, 0);
    ASSERT_TRUE(holds(5));
    list[7].hostId = 9999;
    writes.removeFirst(2);
    append(1, 1600);
    EXPECT_FALSE(holds(7));
    EXPECT_TRUE(holds(9999));
    EXPECT_TRUE(holds(1600));
    EXPECT_FALSE(holds(1));
}

TEST_F(PendingWriteList, LeavesAHostsCopyAsItIs) {
    append(kMany, 0);
    ASSERT_TRUE(holds(0));
    const QList<RW_VAR> copy = list;
    writes.removeFirst(3);
    append(1, 1600);
    EXPECT_EQ(copy.size(), kMany);
    EXPECT_EQ(copy.first().hostId, 0);
    EXPECT_EQ(list.first().hostId, 3);
    EXPECT_FALSE(holds(0));
}

TEST_F(PendingWriteList, CopyThatNoticesChangesCostsTheDriverNoCopying) {
    append(kMany, 0);
    ASSERT_TRUE(holds(0));
    const RW_VAR* const entry = &static_cast<const QList<RW_VAR>&>(list).at(5);
    append(1, 1600);
    writes.removeFirst(2);
    EXPECT_EQ(&static_cast<const QList<RW_VAR>&>(list).at(3), entry) << "the entries were copied";
}

TEST_F(PendingWriteList, ClearingForgetsEverything) {
    append(kMany, 0);
    ASSERT_TRUE(holds(0));
    writes.clear();
    EXPECT_TRUE(list.isEmpty());
    append(kMany, 5000);
    EXPECT_FALSE(holds(0));
    EXPECT_TRUE(holds(5000));
}

// Variables whose writes are gone keep their places in the table, until it is made anew.
TEST_F(PendingWriteList, GoesOnForAnyNumberOfVariables) {
    append(kMany, 0);
    for (int i = 0; i < 6000; ++i) {
        append(1, kMany + i);
        ASSERT_TRUE(holds(kMany + i)) << i;
        writes.removeFirst(1);
        ASSERT_FALSE(holds(i)) << i;
    }
}

TEST_F(PendingWriteList, AnswersAsLookingThroughItDoes) {
    std::mt19937 random(20261122);
    append(2 * kMany, 0);
    for (int step = 0; step < 4000 / AC500_TEST_PACE; ++step) {
        const int hostId = static_cast<int>(random() % 3000);
        switch (random() % 12) {
            case 0:
                list[static_cast<int>(random() % kMany)].hostId = hostId;
                break;
            case 1:
                list.insert(static_cast<int>(random() % kMany), writeOf(hostId, 2));
                break;
            case 2:
                writes.removeFirst(static_cast<int>(random() % 20));
                break;
            default:
                appendOne(writeOf(hostId, static_cast<int>(random() % 3)));
                break;
        }
        if (list.size() > 3 * kMany) {
            writes.removeFirst(kMany);
        }
        const Identity wanted = {static_cast<qint32>(random() % 3000), static_cast<qint32>(random() % 3)};
        ASSERT_EQ(writes.holds(wanted), isIn(list, wanted)) << "step " << step;
    }
}

}  // namespace
}  // namespace ac500::test
