// How many values, bytes and bits a tag has in host and PLC format.
#include "values/tag_value.h"

#include <gtest/gtest.h>

#include <climits>

namespace ac500::test {
namespace {

TEST(TagValue, BitsThatATagMayName) {
    EXPECT_EQ(bitWidth(k8Bit), 8);
    EXPECT_EQ(bitWidth(k16Bit), 16);
    EXPECT_EQ(bitWidth(k32Bit), 32);
    EXPECT_EQ(bitWidth(k64Bit), 64);
    EXPECT_EQ(bitWidth(kBooleanByte), 0);
    EXPECT_EQ(bitWidth(kText), 0);
    EXPECT_EQ(bitWidth(kBitAddressedBoolean), 0);
    EXPECT_EQ(bitWidth(kNotServed), 0);
}

TEST(TagValue, ValuesThatCoverTheWordsOfTheHost) {
    struct {
        int words;
        int of16Bit;
        int of32Bit;
        int of64Bit;
    } const rows[] = {{0, 0, 0, 0}, {1, 1, 1, 1}, {2, 2, 1, 1}, {3, 3, 2, 1}, {4, 4, 2, 1}, {5, 5, 3, 2}, {8, 8, 4, 2}};
    for (const auto& row : rows) {
        EXPECT_EQ(valuesInWords(row.words, k8Bit), row.of16Bit) << row.words;
        EXPECT_EQ(valuesInWords(row.words, k16Bit), row.of16Bit) << row.words;
        EXPECT_EQ(valuesInWords(row.words, k32Bit), row.of32Bit) << row.words;
        EXPECT_EQ(valuesInWords(row.words, k64Bit), row.of64Bit) << row.words;
    }
}

TEST(TagValue, BitsCountFromTheLastByte) {
    EXPECT_EQ(byteOfBit(0, 1), 0);
    EXPECT_EQ(byteOfBit(0, 2), 1);
    EXPECT_EQ(byteOfBit(7, 2), 1);
    EXPECT_EQ(byteOfBit(8, 2), 0);
    EXPECT_EQ(byteOfBit(15, 2), 0);
    EXPECT_EQ(byteOfBit(0, 8), 7);
    EXPECT_EQ(byteOfBit(63, 8), 0);
}

TEST(TagValue, LengthsAreNeverNegative) {
    EXPECT_EQ(notNegative(INT_MIN), 0);
    EXPECT_EQ(notNegative(-1), 0);
    EXPECT_EQ(notNegative(0), 0);
    EXPECT_EQ(notNegative(1), 1);
    EXPECT_EQ(notNegative(INT_MAX), INT_MAX);
}

}  // namespace
}  // namespace ac500::test
