#include "tools/wire/big_endian.h"

#include <gtest/gtest.h>

namespace ac500::wire {
namespace {

TEST(BigEndian, TheMostSignificantByteComesFirst) {
    const char bytes[] = {'\x81', '\x02', '\xF3', '\x04'};
    EXPECT_EQ(byteAt(bytes, 0), 0x81);
    EXPECT_EQ(getU16(bytes), 0x8102);
    EXPECT_EQ(getU32(bytes), 0x8102F304U);
}

TEST(BigEndian, PuttingTouchesAsManyBytesAsTheNumberHas) {
    Bytes two = "....";
    putU16(&two[1], 0xFE01);
    EXPECT_EQ(two, ".\xFE\x01.");
    Bytes four = "......";
    putU32(&four[1], 0xFE01A203);
    EXPECT_EQ(four, ".\xFE\x01\xA2\x03.");
}

TEST(BigEndian, AnyWidthKeepsTheLowBytes) {
    EXPECT_EQ(bigEndian(0x1234, 1), "\x34");
    EXPECT_EQ(bigEndian(0x123456, 2), "\x34\x56");
    EXPECT_EQ(bigEndian(0xF1E2D3C4B5A69788, 8), "\xF1\xE2\xD3\xC4\xB5\xA6\x97\x88");
    EXPECT_EQ(bigEndian(7, 3), Bytes("\0\0\7", 3));
}

TEST(BigEndian, BytesOfAnyWidthMakeANumber) {
    EXPECT_EQ(fromBigEndian(""), 0U);
    EXPECT_EQ(fromBigEndian("\x80\x01"), 0x8001U);
    EXPECT_EQ(fromBigEndian("\xF1\xE2\xD3\xC4\xB5\xA6\x97\x88"), 0xF1E2D3C4B5A69788U);
}

TEST(BigEndian, FloatingPointNumbersAreTheirBits) {
    EXPECT_EQ(bitCast<std::uint32_t>(-1.5F), 0xBFC00000U);
    EXPECT_EQ(bitCast<float>(std::uint32_t{0x40490FDB}), 3.14159274F);
    EXPECT_EQ(bitCast<std::uint64_t>(-1.5), 0xBFF8000000000000U);
}

}  // namespace
}  // namespace ac500::wire
