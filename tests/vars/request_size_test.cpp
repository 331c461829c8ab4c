// Reads with nothing to transfer. What the others take is in read_list_test.cpp.
#include "vars/request_size.h"

#include <gtest/gtest.h>

#include <climits>

namespace ac500::test {
namespace {

TEST(ReadExtent, IsAllZeroForTypesThatAreNotServed) {
    for (int code : {-1, 0, 12, 19, 20, 22}) {
        ControlInformationM info = ControlInformationM();
        info.dataType = code;
        info.address = 44;
        const ReadExtent extent = readExtent(info, 3);
        EXPECT_FALSE(extent.transferable) << code;
        EXPECT_EQ(extent.dataType, 0) << code;
        EXPECT_EQ(extent.startByte, 0) << code;
        EXPECT_EQ(extent.lengthBytes, 0) << code;
        EXPECT_FALSE(extent.askedFor) << code;
    }
}

// The start of a run does not depend on how much is asked for.
TEST(ReadExtent, OfACountBelowZeroHasItsStartAndNothingElse) {
    struct {
        int code;
        int plannedType;
        int startByte;
    } const rows[] = {{2, 2, 37}, {3, 3, 37}, {5, 5, 37}, {8, 8, 37}, {10, 10, 37}, {13, 16, 4}};
    for (const auto& row : rows) {
        for (int count : {-1, -2, INT_MIN}) {
            ControlInformationM info = ControlInformationM();
            info.dataType = row.code;
            info.address = 37;
            info.isArray = 1;
            info.arrayCount = 5;
            const ReadExtent extent = readExtent(info, count);
            EXPECT_TRUE(extent.transferable) << row.code;
            EXPECT_EQ(extent.dataType, row.plannedType) << row.code;
            EXPECT_EQ(extent.startByte, row.startByte) << row.code << ", " << count;
            EXPECT_EQ(extent.lengthBytes, 0) << row.code << ", " << count;
            EXPECT_FALSE(extent.askedFor) << row.code << ", " << count;
        }
    }
}

TEST(ReadExtent, OfZeroElementsIsAskedForAndEmpty) {
    for (int code : {2, 3, 5, 8, 10, 13}) {
        ControlInformationM info = ControlInformationM();
        info.dataType = code;
        info.address = 32;
        info.isArray = 1;
        info.arrayCount = 5;
        const ReadExtent extent = readExtent(info, 0);
        EXPECT_TRUE(extent.askedFor) << code;
        EXPECT_EQ(extent.lengthBytes, 0) << code;
    }
}

// Bounds of the host whose upper one lies below the lower one.
TEST(ReadExtent, RowOfNegativeLengthHasNothingToRead) {
    for (int code : {1, 2, 3, 5, 8, 10, 13}) {
        for (int count : {-100, -(1 << 28), INT_MIN}) {
            ControlInformationM info = ControlInformationM();
            info.dataType = code;
            info.address = 3;
            info.isArray = 1;
            info.arrayCount = count;
            const ReadExtent extent = readExtent(info, 3);
            EXPECT_TRUE(extent.transferable) << code;
            EXPECT_FALSE(extent.askedFor) << code << ", " << count;
            EXPECT_EQ(extent.lengthBytes, 0) << code << ", " << count;
        }
    }
}

}  // namespace
}  // namespace ac500::test
