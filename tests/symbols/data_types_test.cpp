// What depends on a data type code alone.
#include "symbols/data_types.h"

#include <gtest/gtest.h>

#include <climits>

namespace ac500::test {
namespace {

struct TypeRow {
    int code;
    ValueGroup group;
    int elementBytes;
    bool namesBits;
};

constexpr TypeRow kTypeRows[] = {
    {1, kBooleanByte, 1, false}, {2, k8Bit, 1, true},    {3, k16Bit, 2, true},   {4, k16Bit, 2, true},
    {5, k32Bit, 4, true},        {6, k32Bit, 4, true},   {7, k32Bit, 4, false},  {8, k64Bit, 8, true},
    {9, k64Bit, 8, false},       {10, kText, 81, false}, {11, kText, 81, false}, {13, kBitAddressedBoolean, 1, false},
    {14, k8Bit, 1, true},        {15, k8Bit, 1, true},   {16, k16Bit, 2, true},  {17, k32Bit, 4, true},
    {18, k64Bit, 8, true},       {21, k64Bit, 8, true},
};

TEST(DataTypes, CodesThatAreServed) {
    for (const TypeRow& row : kTypeRows) {
        SCOPED_TRACE("code " + std::to_string(row.code));
        EXPECT_EQ(dataType(row.code).group, row.group);
        EXPECT_EQ(dataType(row.code).elementBytes, row.elementBytes);
        EXPECT_EQ(dataType(row.code).namesBits, row.namesBits);
    }
}

TEST(DataTypes, CodesThatAreNotServed) {
    for (int code : {INT_MIN, -1, 0, 12, 19, 20, 22, 23, 255, 256, INT_MAX}) {
        SCOPED_TRACE("code " + std::to_string(code));
        EXPECT_EQ(dataType(code).group, kNotServed);
        EXPECT_EQ(dataType(code).elementBytes, 0);
        EXPECT_FALSE(dataType(code).namesBits);
    }
}

TEST(DataTypes, BytesOfOneValue) {
    EXPECT_EQ(valueBytes(kBooleanByte), 1);
    EXPECT_EQ(valueBytes(k8Bit), 1);
    EXPECT_EQ(valueBytes(k16Bit), 2);
    EXPECT_EQ(valueBytes(k32Bit), 4);
    EXPECT_EQ(valueBytes(k64Bit), 8);
    EXPECT_EQ(valueBytes(kText), 0);
    EXPECT_EQ(valueBytes(kBitAddressedBoolean), 0);
    EXPECT_EQ(valueBytes(kNotServed), 0);
}

}  // namespace
}  // namespace ac500::test
