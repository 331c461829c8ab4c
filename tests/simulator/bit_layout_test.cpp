// Which one-byte writes name a bit.
#include "tools/simulator/bit_layout.h"

#include <gtest/gtest.h>

#include "tests/simulator/support.h"

namespace ac500::sim {

using symbol_file::TypeCode;

namespace {

Leaf leaf(const char* tag, TypeCode code, int area, std::int64_t address, int elements = 0) {
    Leaf leaf;
    leaf.tag = tag;
    leaf.code = code;
    leaf.area = area;
    leaf.address = address;
    if (elements > 0) {
        leaf.dimensions = {{1, elements}};
    }
    return leaf;
}

TEST(BitLayout, OnlyBitsOfBitVariablesAreBitWrites) {
    const BitLayout layout(
        {leaf("b", TypeCode::Bit, 3, 17), leaf("run", TypeCode::Bit, 3, 32, 4), leaf("w", TypeCode::Word, 1, 16)});
    struct Row {
        const char* situation;
        int area;
        std::int64_t address;
        bool bit;
    };
    const Row rows[] = {
        {"before the bit", 3, 16, false},          {"the bit", 3, 17, true},
        {"behind the bit", 3, 18, false},          {"first of the array", 3, 32, true},
        {"last of the array", 3, 35, true},        {"behind the array", 3, 36, false},
        {"same number, other area", 1, 17, false}, {"unknown area", 2, 17, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(layout.isBitWrite(row.area, row.address), row.bit) << row.situation;
    }
}

TEST(BitLayout, AByteVariableOfTheSameNumberGoesFirst) {
    const std::vector<Leaf> leaves = {leaf("Main.bits", TypeCode::Bit, 1, 0, 16), leaf("Main.d", TypeCode::Dint, 1, 8),
                                      leaf("Main.far", TypeCode::Bit, 1, 200)};
    const BitLayout layout(leaves);
    EXPECT_TRUE(layout.isBitWrite(1, 7));
    EXPECT_FALSE(layout.isBitWrite(1, 8));
    EXPECT_FALSE(layout.isBitWrite(1, 11));
    EXPECT_TRUE(layout.isBitWrite(1, 12));
    ASSERT_EQ(layout.ambiguousBits(leaves).size(), 1U);
    EXPECT_EQ(layout.ambiguousBits(leaves)[0].tag, "Main.bits");
}

TEST(BitLayout, NestedAndOverlappingVariablesHideNothing) {
    // A long array from bit 0, a single bit within it: bit 90 belongs to the array.
    const BitLayout layout({leaf("all", TypeCode::Bit, 3, 0, 100), leaf("one", TypeCode::Bit, 3, 40)});
    EXPECT_TRUE(layout.isBitWrite(3, 90));
    EXPECT_FALSE(layout.isBitWrite(3, 100));
}

TEST(BitLayout, WithoutVariablesNothingIsABit) {
    EXPECT_FALSE(BitLayout().isBitWrite(3, 0));
}

}  // namespace
}  // namespace ac500::sim
