#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {
namespace {

struct Row {
    int code;
    const char* name;
    int widthBytes;
    bool bitAddressable;
};

constexpr Row kRows[] = {
    {1, "BOOL", 1, false},   {2, "SINT", 1, true},      {3, "INT", 2, true},        {4, "UINT", 2, true},
    {5, "DINT", 4, true},    {6, "UDINT", 4, true},     {7, "REAL", 4, false},      {8, "LINT", 8, true},
    {9, "LREAL", 8, false},  {10, "STRING", 81, false}, {11, "CSTRING", 81, false}, {12, "STRUCT", 0, false},
    {13, "BIT", 0, false},   {14, "USINT", 1, true},    {15, "BYTE", 1, true},      {16, "WORD", 2, true},
    {17, "DWORD", 4, true},  {18, "LWORD", 8, true},    {21, "ULINT", 8, true},     {101, "TIME", 4, false},
    {102, "DATE", 4, false}, {103, "TOD", 4, false},    {104, "DT", 4, false},
};

TEST(TypeTable, GivesNameWidthAndBitsOfEveryCode) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        const TypeTraits* traits = typeTraits(static_cast<TypeCode>(row.code));
        ASSERT_NE(traits, nullptr);
        EXPECT_STREQ(traits->name, row.name);
        EXPECT_EQ(traits->widthBytes, row.widthBytes);
        EXPECT_EQ(traits->bitAddressable, row.bitAddressable);
    }
}

TEST(TypeTable, FindsEveryTypeByItsName) {
    for (const Row& row : kRows) {
        const TypeTraits* traits = typeTraits(std::string(row.name));
        ASSERT_NE(traits, nullptr) << row.name;
        EXPECT_EQ(static_cast<int>(traits->code), row.code);
    }
}

TEST(TypeTable, WholeNumbersEndWhereTheirBitsDo) {
    struct Limits {
        TypeCode code;
        std::int64_t smallest;
        std::uint64_t largest;
    };
    const Limits rows[] = {
        {TypeCode::Bool, 0, 1},
        {TypeCode::Bit, 0, 1},
        {TypeCode::Sint, -128, 127},
        {TypeCode::Int, -32768, 32767},
        {TypeCode::Uint, 0, 65535},
        {TypeCode::Dint, -2147483648LL, 2147483647},
        {TypeCode::Udint, 0, 4294967295U},
        {TypeCode::Lint, INT64_MIN, 9223372036854775807U},
        {TypeCode::Usint, 0, 255},
        {TypeCode::Byte, 0, 255},
        {TypeCode::Word, 0, 65535},
        {TypeCode::Dword, 0, 4294967295U},
        {TypeCode::Lword, 0, 18446744073709551615U},
        {TypeCode::Ulint, 0, 18446744073709551615U},
    };
    for (const Limits& row : rows) {
        SCOPED_TRACE(typeTraits(row.code)->name);
        EXPECT_EQ(integerLimits(row.code).smallest, row.smallest);
        EXPECT_EQ(integerLimits(row.code).largest, row.largest);
    }
}

TEST(TypeTable, KnowsNoOtherSpellingAndNoOtherName) {
    EXPECT_EQ(typeTraits(std::string("int")), nullptr);
    EXPECT_EQ(typeTraits(std::string("INT ")), nullptr);
    EXPECT_EQ(typeTraits(std::string("TIME_OF_DAY")), nullptr);
    EXPECT_EQ(typeTraits(std::string("STRING(20)")), nullptr);
    EXPECT_EQ(typeTraits(std::string()), nullptr);
}

TEST(TypeTable, OffersEveryTypeButTheStructureByName) {
    EXPECT_THAT(builtInTypeNames(),
                testing::UnorderedElementsAre("BOOL", "SINT", "INT", "UINT", "DINT", "UDINT", "REAL", "LINT", "LREAL",
                                              "STRING", "CSTRING", "BIT", "USINT", "BYTE", "WORD", "DWORD", "LWORD",
                                              "ULINT", "TIME", "DATE", "TOD", "DT"));
}

TEST(TypeTable, KnowsWhatTheDriverTakesTimesFor) {
    for (const TypeCode code : {TypeCode::Time, TypeCode::Date, TypeCode::TimeOfDay, TypeCode::DateAndTime}) {
        EXPECT_EQ(driverCode(code), TypeCode::Udint);
        EXPECT_EQ(integerLimits(code).largest, 4294967295U);
    }
    EXPECT_EQ(driverCode(TypeCode::Udint), TypeCode::Udint);
    EXPECT_EQ(driverCode(TypeCode::String), TypeCode::String);
}

TEST(TypeTable, CountsTheBytesOfStringsByTheirLength) {
    EXPECT_EQ(elementBytes(TypeCode::String, 80), 81);
    EXPECT_EQ(elementBytes(TypeCode::Cstring, 20), 21);
    EXPECT_EQ(elementBytes(TypeCode::Int, 20), 2);
    EXPECT_EQ(elementBytes(TypeCode::Bit, 20), 0);
    EXPECT_EQ(typeName(TypeCode::String, 80), "STRING");
    EXPECT_EQ(typeName(TypeCode::Cstring, 20), "CSTRING(20)");
    EXPECT_EQ(typeName(TypeCode::TimeOfDay, 80), "TOD");
}

}  // namespace
}  // namespace ac500::symbol_file
