// Checksums and hexadecimal digits.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "protocol/checksums.h"

namespace {

using Bytes = std::vector<unsigned char>;

unsigned int sumOf(Bytes data) {
    return CalSUM(data.data(), static_cast<unsigned short>(data.size()));
}

unsigned int crcOf(Bytes data) {
    return CalCRC(data.data(), static_cast<unsigned short>(data.size()));
}

unsigned int lrcOf(Bytes data) {
    return CalLRC(data.data(), static_cast<unsigned short>(data.size()));
}

unsigned int xorOf(Bytes data) {
    return CalXOR(data.data(), static_cast<int>(data.size()));
}

TEST(SumTest, AddsAllBytesAsUnsigned) {
    EXPECT_EQ(sumOf({0x01, 0x02, 0x03}), 6u);
    EXPECT_EQ(sumOf({0xFF, 0xFF}), 510u);
    EXPECT_EQ(sumOf({0x80}), 128u);
}

TEST(SumTest, NoBytesGiveZero) {
    unsigned char unread = 0x55;
    EXPECT_EQ(CalSUM(&unread, 0), 0u);
}

TEST(SumTest, IsReducedToSixteenBits) {
    // 65535 times 255 is 16711425, which is 254 times 65536 and 65281.
    EXPECT_EQ(sumOf(Bytes(65535, 0xFF)), 65281u);
}

TEST(CrcTest, CheckValueOfTheNineDigits) {
    EXPECT_EQ(crcOf({'1', '2', '3', '4', '5', '6', '7', '8', '9'}), 0x31C3u);
}

TEST(CrcTest, NoBytesGiveZero) {
    unsigned char unread = 0x55;
    EXPECT_EQ(CalCRC(&unread, 0), 0u);
}

TEST(CrcTest, BitsAreTakenMostSignificantFirst) {
    EXPECT_EQ(crcOf({0x00}), 0u);
    EXPECT_EQ(crcOf({0x01}), 0x1021u);
    EXPECT_EQ(crcOf({0x80}), 0x9188u);
}

TEST(CrcTest, StartsFromZeroAndIsNotInverted) {
    EXPECT_EQ(crcOf({'A'}), 0x58E5u);
    EXPECT_EQ(crcOf({'a', 'b', 'c'}), 0x9DD6u);
    EXPECT_EQ(crcOf({0xFF, 0xFF}), 0x1D0Fu);
}

TEST(LrcTest, ComplementsTheSumAndAddsOne) {
    EXPECT_EQ(lrcOf({0x01}), 255u);
    EXPECT_EQ(lrcOf({0x01, 0x02, 0x03}), 250u);
    EXPECT_EQ(lrcOf({0xFF}), 1u);
    EXPECT_EQ(lrcOf({0xFF, 0x02}), 255u);
}

TEST(LrcTest, SumWithZeroLowByteIsNotReduced) {  // quirk 3
    EXPECT_EQ(lrcOf({0x00}), 256u);
    EXPECT_EQ(lrcOf({0x80, 0x80}), 256u);
}

TEST(LrcTest, NoBytesAreNotReducedEither) {  // quirk 3
    unsigned char unread = 0x55;
    EXPECT_EQ(CalLRC(&unread, 0), 256u);
}

TEST(XorTest, CombinesAllBytes) {
    EXPECT_EQ(xorOf({0x12, 0x34}), 0x26u);
    EXPECT_EQ(xorOf({0x0F, 0xF0, 0xFF}), 0u);
    EXPECT_EQ(xorOf({0x80, 0x01, 0x00, 0x7E}), 0xFFu);
}

TEST(XorTest, OneByteIsReturnedAsItIs) {
    EXPECT_EQ(xorOf({0xA5}), 0xA5u);
}

TEST(XorTest, FirstByteIsReadEvenWhenNoneIsCounted) {  // quirk 4
    unsigned char data[] = {0xA5, 0xFF};
    EXPECT_EQ(CalXOR(data, 1), 0xA5u);
    EXPECT_EQ(CalXOR(data, 0), 0xA5u);
    EXPECT_EQ(CalXOR(data, -3), 0xA5u);
}

TEST(DigitTest, ValuesBecomeUpperCaseHexadecimalDigits) {
    std::string digits;
    for (int value = 0; value <= 15; ++value) {
        digits += static_cast<char>(DigitalToASCII(value));
    }
    EXPECT_EQ(digits, "0123456789ABCDEF");
}

TEST(DigitTest, ValuesOutsideADigitAreNotChecked) {
    EXPECT_EQ(DigitalToASCII(-1), 47);
    EXPECT_EQ(DigitalToASCII(-48), 0);
    EXPECT_EQ(DigitalToASCII(16), 71);
    EXPECT_EQ(DigitalToASCII(100), 155);
}

TEST(DigitTest, UpperCaseDigitsBecomeValues) {
    std::vector<int> values;
    for (char digit : std::string("0123456789ABCDEF")) {
        values.push_back(ASCIIToDigital(digit));
    }
    EXPECT_EQ(values, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
}

TEST(DigitTest, CharactersBelowTheDigitsGiveZero) {
    EXPECT_EQ(ASCIIToDigital(47), 0);
    EXPECT_EQ(ASCIIToDigital(0), 0);
    EXPECT_EQ(ASCIIToDigital(-1), 0);
}

TEST(DigitTest, CharactersBetweenDigitsAndLettersCountOn) {
    EXPECT_EQ(ASCIIToDigital(58), 10);
    EXPECT_EQ(ASCIIToDigital(63), 15);
}

TEST(DigitTest, AtSignGivesZero) {  // quirk 5
    EXPECT_EQ(ASCIIToDigital(64), 0);
}

TEST(DigitTest, LowerCaseLettersAreNotSpecial) {  // quirk 5
    EXPECT_EQ(ASCIIToDigital(97), 42);
    EXPECT_EQ(ASCIIToDigital(102), 47);
    EXPECT_EQ(ASCIIToDigital(71), 16);
}

}  // namespace
