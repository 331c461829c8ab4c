// Sorting one area's variables by offset.
#include <climits>
#include <ctime>
#include <random>
#include <set>
#include <string>

#include "tests/support/driver_test.h"
#include "tests/support/pace.h"

namespace ac500::test {
namespace {

RW_VAR named(qint32 offset, const char* name) {
    RW_VAR var = readVar(1, offset, 2);
    var.labelName = name;
    return var;
}

std::string names(const QList<RW_VAR>& list) {
    std::string text;
    for (const RW_VAR& var : list) {
        text += var.labelName.toStdString();
    }
    return text;
}

std::string sorted(QList<RW_VAR> list) {
    Bubble_Sort(&list);
    return names(list);
}

TEST(BubbleSort, AscendsByOffset) {
    EXPECT_EQ(sorted({}), "");
    EXPECT_EQ(sorted({named(5, "a")}), "a");
    EXPECT_EQ(sorted({named(1, "a"), named(2, "b")}), "ab");
    EXPECT_EQ(sorted({named(2, "b"), named(1, "a")}), "ab");
    EXPECT_EQ(sorted({named(3, "c"), named(1, "a"), named(4, "d"), named(2, "b")}), "abcd");
    EXPECT_EQ(sorted({named(4, "d"), named(3, "c"), named(2, "b"), named(1, "a")}), "abcd");
}

TEST(BubbleSort, OffsetsAreSigned) {
    EXPECT_EQ(sorted({named(0, "c"), named(INT_MAX, "d"), named(-1, "b"), named(INT_MIN, "a")}), "abcd");
}

TEST(BubbleSort, EqualOffsetsKeepTheirOrder) {
    EXPECT_EQ(sorted({named(7, "b"), named(7, "c"), named(1, "a"), named(7, "d"), named(9, "e"), named(7, "D")}),
              "abcdDe");
}

bool standsBefore(const RW_VAR& a, const RW_VAR& b) {
    return a.offset < b.offset || (a.offset == b.offset && a.hostId < b.hostId);
}

// Short lists with many equal and extreme offsets; hostId numbers the variables.
TEST(BubbleSort, RandomListsAreSortedStably) {
    std::mt19937 random(20261121);
    const qint32 extremes[] = {INT_MIN, INT_MIN + 1, -1, 0, 1, INT_MAX - 1, INT_MAX};
    for (int round = 0; round < 300; ++round) {
        QList<RW_VAR> list;
        const int size = static_cast<int>(random() % 60);
        for (int i = 0; i < size; ++i) {
            const qint32 offset = random() % 3 == 0 ? extremes[random() % 7] : static_cast<qint32>(random() % 20);
            list << identified(named(offset, std::to_string(i).c_str()), i, 0);
        }
        std::set<int> numbers;
        Bubble_Sort(&list);
        for (int i = 0; i < list.size(); ++i) {
            ASSERT_TRUE(i == 0 || standsBefore(list.at(i - 1), list.at(i))) << "round " << round << ", at " << i;
            ASSERT_EQ(list.at(i).labelName, QString::number(list.at(i).hostId)) << "round " << round << ", at " << i;
            numbers.insert(list.at(i).hostId);
        }
        ASSERT_EQ(numbers.size(), static_cast<size_t>(size)) << "round " << round;
    }
}

TEST(BubbleSort, MovesWholeRecords) {
    RW_VAR first = named(9, "late");
    first.hostId = 1;
    first.data = "late";
    QList<RW_VAR> list{first, named(2, "early")};
    Bubble_Sort(&list);
    EXPECT_EQ(list.at(1).hostId, 1);
    EXPECT_EQ(list.at(1).data, "late");
    EXPECT_EQ(list.at(1).offset, 9);
    EXPECT_EQ(list.at(0).hostId, 0);
    EXPECT_TRUE(list.at(0).data.isEmpty());
}

TEST(BubbleSort, CopiesOfTheListKeepTheirOrder) {
    QList<RW_VAR> list{named(2, "b"), named(1, "a")};
    const QList<RW_VAR> copy = list;
    Bubble_Sort(&list);
    EXPECT_EQ(names(copy), "ba");
}

TEST(BubbleSort, TouchesNoListOfTheDriver) {
    PLC_driver.readList = QList<RW_VAR>{named(2, "b"), named(1, "a")};
    EXPECT_EQ(sorted({named(4, "d"), named(3, "c")}), "cd");
    EXPECT_EQ(names(PLC_driver.readList), "ba");
    PLC_driver.readList.clear();
}

constexpr int kThousandsOfTags = 20000;

// Sorts, and expects it done within two seconds of processor time, also in the checked build; exchanging neighbours, as
// the name says, would take minutes.
void expectSortedQuickly(QList<RW_VAR> list) {
    const std::clock_t start = std::clock();
    Bubble_Sort(&list);
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    EXPECT_LT(seconds, 1e-3 * test::paced(2000));
    ASSERT_EQ(list.size(), kThousandsOfTags);
    for (int i = 1; i < list.size(); ++i) {
        ASSERT_TRUE(standsBefore(list.at(i - 1), list.at(i))) << "at " << i;
    }
}

TEST(BubbleSort, ThousandsOfTagsInRandomOrderDoNotMakeItWait) {
    std::mt19937 random(20240601);
    QList<RW_VAR> list;
    for (int i = 0; i < kThousandsOfTags; ++i) {
        list.append(identified(readVar(1, static_cast<qint32>(random() % 5000), 2), i, 0));
    }
    expectSortedQuickly(list);
}

TEST(BubbleSort, ThousandsOfTagsInDescendingOrderDoNotMakeItWait) {
    QList<RW_VAR> list;
    for (int i = 0; i < kThousandsOfTags; ++i) {
        list.append(identified(readVar(1, 2 * (kThousandsOfTags - i), 2), i, 0));
    }
    expectSortedQuickly(list);
}

TEST(BubbleSort, ThousandsOfTagsAtOneOffsetDoNotMakeItWait) {
    QList<RW_VAR> list;
    for (int i = 0; i < kThousandsOfTags; ++i) {
        list.append(identified(readVar(1, 40, 2), i, 0));
    }
    expectSortedQuickly(list);
}

}  // namespace
}  // namespace ac500::test
