// How a completed batch of cyclic reads goes to the end of its list. What else completion does is in completion_test.cpp.
#include "protocol/batch_completion.h"

#include "tests/support/driver_test.h"

namespace ac500::test {
namespace {

RW_VAR numbered(int number) {
    RW_VAR var = readVar(1, 0, 2);
    var.hostId = number;
    var.labelName = QString::number(number);
    return var;
}

QList<RW_VAR> numbers(int count) {
    QList<RW_VAR> list;
    for (int i = 0; i < count; ++i) {
        list << numbered(i);
    }
    return list;
}

// The records by number; "?" behind one whose text does not belong to it.
std::string order(const QList<RW_VAR>& list) {
    std::string text;
    for (const RW_VAR& var : list) {
        text += std::to_string(var.hostId) + (var.labelName == QString::number(var.hostId) ? " " : "? ");
    }
    return text;
}

std::string rotated(int size, int count) {
    QList<RW_VAR> list = numbers(size);
    rotateLeft(list, count);
    return order(list);
}

TEST(RotateLeft, MovesTheFirstEntriesToTheEnd) {
    EXPECT_EQ(rotated(5, 1), "1 2 3 4 0 ");
    EXPECT_EQ(rotated(5, 3), "3 4 0 1 2 ");
    EXPECT_EQ(rotated(2, 1), "1 0 ");
}

TEST(RotateLeft, GoesRoundMoreThanOnce) {
    EXPECT_EQ(rotated(5, 5), "0 1 2 3 4 ");
    EXPECT_EQ(rotated(5, 12), "2 3 4 0 1 ");
    EXPECT_EQ(rotated(1, 79), "0 ");
}

TEST(RotateLeft, MovesManyEntriesAsItMovesFew) {
    for (int size : {13, 14, 20, 31, 79, 200}) {
        for (int count = 1; count < 2 * size; ++count) {
            std::string expected;
            for (int i = 0; i < size; ++i) {
                expected += std::to_string((i + count) % size) + " ";
            }
            ASSERT_EQ(rotated(size, count), expected) << count << " of " << size;
        }
    }
}

TEST(RotateLeft, LeavesListsWithNothingToMove) {
    EXPECT_EQ(rotated(0, 3), "");
    EXPECT_EQ(rotated(3, 0), "0 1 2 ");
    EXPECT_EQ(rotated(3, -1), "0 1 2 ");
}

TEST(RotateLeft, LeavesACopyOfTheListAsItIs) {
    QList<RW_VAR> list = numbers(4);
    const QList<RW_VAR> copy = list;
    rotateLeft(list, 1);
    EXPECT_EQ(order(list), "1 2 3 0 ");
    EXPECT_EQ(order(copy), "0 1 2 3 ");
}

}  // namespace
}  // namespace ac500::test
