#include "tools/simulator/element_value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/simulator/support.h"

namespace ac500::sim {

using symbol_file::TypeCode;

namespace {

// One area of 100 bytes; elements at byte 2, so that a wrong address shows.
class ElementValue : public testing::Test {
protected:
    ElementValue() { memory_.addArea(1, 100); }

    static Element element(TypeCode code) {
        Element element;
        element.code = code;
        element.area = 1;
        element.address = 2;
        return element;
    }

    std::string bytes(std::int64_t size) const { return hex(memory_.read({1, 2, size})); }

    PlcMemory memory_;
};

TEST_F(ElementValue, NumbersBecomeBigEndianBytesOfTheirType) {
    struct Row {
        TypeCode code;
        double number;
        const char* bytes;
    };
    const Row rows[] = {
        {TypeCode::Bool, 1, "01"},
        {TypeCode::Bool, 0, "00"},
        {TypeCode::Bool, 7, "01"},
        {TypeCode::Sint, -2, "FE"},
        {TypeCode::Usint, 200, "C8"},
        {TypeCode::Byte, 0xA5, "A5"},
        {TypeCode::Int, -2, "FF FE"},
        {TypeCode::Uint, 0x1234, "12 34"},
        {TypeCode::Word, 0xBEEF, "BE EF"},
        {TypeCode::Dint, -2, "FF FF FF FE"},
        {TypeCode::Udint, 3000000000.0, "B2 D0 5E 00"},
        {TypeCode::Dword, 0x12345678, "12 34 56 78"},
        {TypeCode::Real, 1.5, "3F C0 00 00"},
        {TypeCode::Lint, -2, "FF FF FF FF FF FF FF FE"},
        {TypeCode::Lword, 4294967296.0, "00 00 00 01 00 00 00 00"},
        {TypeCode::Ulint, 258, "00 00 00 00 00 00 01 02"},
        {TypeCode::Lreal, -2.5, "C0 04 00 00 00 00 00 00"},
    };
    for (const Row& row : rows) {
        const std::int64_t size = typeTraits(row.code)->widthBytes;
        writeNumber(memory_, element(row.code), row.number);
        EXPECT_EQ(bytes(size), row.bytes) << typeTraits(row.code)->name << " " << row.number;
    }
}

TEST_F(ElementValue, IntegersAreRoundedAndLimited) {
    struct Row {
        TypeCode code;
        double number;
        const char* bytes;
    };
    const Row rows[] = {
        {TypeCode::Int, 2.5, "00 03"},
        {TypeCode::Int, -2.5, "FF FD"},
        {TypeCode::Int, 40000, "7F FF"},
        {TypeCode::Int, -40000, "80 00"},
        {TypeCode::Uint, 70000, "FF FF"},
        {TypeCode::Uint, -1, "00 00"},
        {TypeCode::Lint, 1e30, "7F FF FF FF FF FF FF FF"},
        {TypeCode::Lint, -1e30, "80 00 00 00 00 00 00 00"},
        {TypeCode::Ulint, 1e30, "FF FF FF FF FF FF FF FF"},
        {TypeCode::Int, std::nan(""), "00 00"},
        {TypeCode::Real, 1e300, "7F 7F FF FF"},
    };
    for (const Row& row : rows) {
        const std::int64_t size = typeTraits(row.code)->widthBytes;
        writeNumber(memory_, element(row.code), row.number);
        EXPECT_EQ(bytes(size), row.bytes) << typeTraits(row.code)->name << " " << row.number;
    }
}

TEST_F(ElementValue, NumbersComeBackAsTheyWentIn) {
    for (const TypeCode code : {TypeCode::Sint, TypeCode::Int, TypeCode::Dint, TypeCode::Lint, TypeCode::Real,
                                TypeCode::Lreal, TypeCode::String}) {
        writeNumber(memory_, element(code), -77);
        EXPECT_EQ(readNumber(memory_, element(code)), -77) << typeTraits(code)->name;
    }
    for (const TypeCode code : {TypeCode::Usint, TypeCode::Byte, TypeCode::Uint, TypeCode::Word, TypeCode::Udint,
                                TypeCode::Dword, TypeCode::Ulint, TypeCode::Lword}) {
        writeNumber(memory_, element(code), 211);
        EXPECT_EQ(readNumber(memory_, element(code)), 211) << typeTraits(code)->name;
    }
}

TEST_F(ElementValue, BitsOfAVariableCountFromItsLastByte) {
    Element bit = element(TypeCode::Word);
    bit.bit = 9;  // the upper byte of the word, its bit 1
    writeNumber(memory_, bit, 1);
    EXPECT_EQ(bytes(2), "02 00");
    EXPECT_EQ(readNumber(memory_, bit), 1);
    bit.bit = 8;
    EXPECT_EQ(readNumber(memory_, bit), 0);
    bit.bit = 9;
    writeNumber(memory_, bit, 0);
    EXPECT_EQ(bytes(2), "00 00");
}

TEST_F(ElementValue, BitVariablesHaveBitAddresses) {
    Element bit = element(TypeCode::Bit);
    bit.address = 17;  // the word at bytes 2 and 3, bit 1
    writeNumber(memory_, bit, 1);
    EXPECT_EQ(bytes(2), "00 02");
    EXPECT_EQ(runOf(bit).address, 2);
    EXPECT_EQ(runOf(bit).size, 2);
}

TEST_F(ElementValue, TextsBecomeValues) {
    struct Row {
        TypeCode code;
        const char* text;
        const char* bytes;
    };
    const Row rows[] = {
        {TypeCode::Bool, "TRUE", "01"},
        {TypeCode::Bool, "FALSE", "00"},
        {TypeCode::Int, "-12", "FF F4"},
        {TypeCode::Word, "16#BEEF", "BE EF"},
        {TypeCode::Ulint, "18446744073709551615", "FF FF FF FF FF FF FF FF"},
        {TypeCode::Lint, "-9223372036854775808", "80 00 00 00 00 00 00 00"},
        {TypeCode::Lint, "9007199254740993", "00 20 00 00 00 00 00 01"},  // more than a double can tell
        {TypeCode::Real, "3.5", "40 60 00 00"},
        {TypeCode::Lreal, "-1e3", "C0 8F 40 00 00 00 00 00"},
    };
    for (const Row& row : rows) {
        const std::int64_t size = typeTraits(row.code)->widthBytes;
        EXPECT_TRUE(writeText(memory_, element(row.code), row.text)) << row.text;
        EXPECT_EQ(bytes(size), row.bytes) << row.text;
    }
}

TEST_F(ElementValue, TextsThatAreNoValueLeaveTheMemoryAlone) {
    struct Row {
        TypeCode code;
        const char* text;
    };
    const Row rows[] = {
        {TypeCode::Bool, "yes"},   {TypeCode::Int, "32768"}, {TypeCode::Int, "-32769"},
        {TypeCode::Int, "12x"},    {TypeCode::Int, ""},      {TypeCode::Uint, "-1"},
        {TypeCode::Uint, "65536"}, {TypeCode::Byte, "256"},  {TypeCode::Word, "16#"},
        {TypeCode::Word, "16#-1"}, {TypeCode::Word, " 1"},   {TypeCode::Real, "fast"},
        {TypeCode::Lreal, ""},     {TypeCode::Int, "-"},     {TypeCode::Ulint, "18446744073709551616"},
    };
    for (const Row& row : rows) {
        EXPECT_FALSE(writeText(memory_, element(row.code), row.text)) << row.text;
        EXPECT_EQ(bytes(8), "00 00 00 00 00 00 00 00") << row.text;
    }
}

TEST_F(ElementValue, StringsAreFilledWithZerosAndKeepTheirTerminator) {
    memory_.write(1, 2, Bytes(81, 'x'));
    ASSERT_TRUE(writeText(memory_, element(TypeCode::String), "Hi"));
    EXPECT_EQ(bytes(4), "48 69 00 00");
    ASSERT_TRUE(writeText(memory_, element(TypeCode::String), std::string(100, 'a')));
    EXPECT_EQ(memory_.read({1, 2, 82}), std::string(80, 'a') + std::string(2, '\0'));
}

TEST_F(ElementValue, StringsOfOtherLengthsHaveTheirOwnRoom) {
    Element brief = element(TypeCode::String);
    brief.stringCharacters = 5;
    memory_.write(1, 2, Bytes(10, 'x'));
    ASSERT_TRUE(writeText(memory_, brief, "Hi"));
    EXPECT_EQ(bytes(7), "48 69 00 00 00 00 78");
    ASSERT_TRUE(writeText(memory_, brief, "1234567"));
    EXPECT_EQ(bytes(7), "31 32 33 34 35 00 78");
    EXPECT_EQ(valueText(memory_, brief), "\"12345\"");
    EXPECT_EQ(runOf(brief).size, 6);

    Element source = element(TypeCode::String);
    source.address = 20;
    ASSERT_TRUE(writeText(memory_, source, "a long text"));
    copyValue(memory_, source, brief);
    EXPECT_EQ(bytes(7), "61 20 6C 6F 6E 00 78");
}

TEST_F(ElementValue, TimesAreThirtyTwoBitsWithoutSign) {
    ASSERT_TRUE(writeText(memory_, element(TypeCode::Time), "90000"));
    EXPECT_EQ(bytes(4), "00 01 5F 90");
    writeNumber(memory_, element(TypeCode::DateAndTime), 4294967295.0);
    EXPECT_EQ(bytes(4), "FF FF FF FF");
    EXPECT_EQ(valueText(memory_, element(TypeCode::Date)), "4294967295");
}

TEST_F(ElementValue, CopyingBetweenEqualTypesKeepsEveryByte) {
    memory_.write(1, 2, byteString("00 20 00 00 00 00 00 01"));  // 2^53 + 1, not a double
    Element target = element(TypeCode::Lint);
    target.address = 50;
    copyValue(memory_, element(TypeCode::Lint), target);
    EXPECT_EQ(hex(memory_.read({1, 50, 8})), "00 20 00 00 00 00 00 01");
}

TEST_F(ElementValue, CopyingToAnotherTypeCopiesTheNumber) {
    writeNumber(memory_, element(TypeCode::Int), -3);
    Element target = element(TypeCode::Real);
    target.address = 50;
    copyValue(memory_, element(TypeCode::Int), target);
    EXPECT_EQ(hex(memory_.read({1, 50, 4})), "C0 40 00 00");  // -3.0
}

TEST_F(ElementValue, CopyingABitOfAVariableCopiesThatBitOnly) {
    memory_.write(1, 2, byteString("00 08"));
    memory_.write(1, 50, byteString("F0"));
    Element source = element(TypeCode::Word);
    source.bit = 3;
    Element target = element(TypeCode::Byte);
    target.address = 50;
    target.bit = 0;
    copyValue(memory_, source, target);
    EXPECT_EQ(hex(memory_.read({1, 50, 1})), "F1");
}

}  // namespace
}  // namespace ac500::sim
