#include "tools/desk/element_places.h"

#include <gtest/gtest.h>

namespace ac500::desk {
namespace {

using symbol_file::ArrayDimension;
using symbol_file::Leaf;
using symbol_file::TypeCode;

Leaf arrayAt(std::int64_t address, const std::vector<ArrayDimension>& dimensions, TypeCode code = TypeCode::Int) {
    Leaf leaf;
    leaf.tag = "Main.row";
    leaf.code = code;
    leaf.area = 1;
    leaf.address = address;
    leaf.dimensions = dimensions;
    return leaf;
}

TEST(ElementPlacesTest, ElementsHaveTheNamesOfTheirIndices) {
    EXPECT_EQ(elementsName(arrayAt(0, {}), 0, 0), "Main.row");
    EXPECT_EQ(elementsName(arrayAt(0, {{-1, 3}}), 0, 0), "Main.row[-1]");
    EXPECT_EQ(elementsName(arrayAt(0, {{-1, 3}}), 0, 4), "Main.row[-1..3]");
    EXPECT_EQ(elementsName(arrayAt(0, {{1, 2}, {0, 3}}), 5, 6), "Main.row[2,1..2]");
    EXPECT_EQ(elementsName(arrayAt(0, {{1, 2}, {0, 3}}), 3, 4), "Main.row") << "from one row into the next";
    EXPECT_EQ(elementsName(arrayAt(0, {{1, 2}, {1, 2}, {7, 9}}), 10, 10), "Main.row[2,2,8]");
}

TEST(ElementPlacesTest, AnElementIsShiftedWhenItsDistanceToTheBeginningChanged) {
    const auto shifted = firstShifted(arrayAt(10, {{1, 10}}), arrayAt(20, {{0, 9}}));
    ASSERT_TRUE(shifted);
    EXPECT_EQ(shifted->indices, "[1]");
    EXPECT_EQ(shifted->before, 10);
    EXPECT_EQ(shifted->after, 22);
    EXPECT_FALSE(firstShifted(arrayAt(10, {{1, 10}}), arrayAt(20, {{1, 12}}))) << "moved as a whole";
    EXPECT_FALSE(firstShifted(arrayAt(10, {{1, 3}}), arrayAt(10, {{4, 6}}))) << "no name in both";
    EXPECT_FALSE(firstShifted(arrayAt(10, {{1, 4}}), arrayAt(10, {{1, 2}, {1, 2}}))) << "no name in both";
    EXPECT_FALSE(firstShifted(arrayAt(10, {{1, 2}, {1, 3}}), arrayAt(10, {{1, 5}, {1, 3}}))) << "more rows";
    EXPECT_EQ(firstShifted(arrayAt(10, {{1, 2}, {1, 3}}), arrayAt(10, {{1, 2}, {1, 4}}))->indices, "[2,1]");
    EXPECT_EQ(firstShifted(arrayAt(10, {{1, 9}}), arrayAt(10, {{1, 9}}, TypeCode::Dint))->indices, "[2]") << "wider";
    EXPECT_EQ(firstShifted(arrayAt(3, {{1, 9}}, TypeCode::Bit), arrayAt(3, {{0, 9}}, TypeCode::Bit))->after, 4);
}

TEST(ElementPlacesTest, ElementsStayWhenAllThatHaveANameInBothFilesDo) {
    EXPECT_TRUE(elementsStay(arrayAt(10, {}), arrayAt(10, {})));
    EXPECT_FALSE(elementsStay(arrayAt(10, {}), arrayAt(12, {})));
    EXPECT_TRUE(elementsStay(arrayAt(10, {{1, 10}}), arrayAt(8, {{0, 10}}))) << "one was put before the first";
    EXPECT_FALSE(elementsStay(arrayAt(10, {{1, 10}}), arrayAt(10, {{0, 10}})));
    EXPECT_FALSE(elementsStay(arrayAt(10, {{1, 3}}), arrayAt(10, {{5, 7}})));
    EXPECT_FALSE(elementsStay(arrayAt(10, {}), arrayAt(10, {}, TypeCode::Bit)));
    Leaf elsewhere = arrayAt(10, {});
    elsewhere.area = 2;
    EXPECT_FALSE(elementsStay(arrayAt(10, {}), elsewhere));
}

}  // namespace
}  // namespace ac500::desk
