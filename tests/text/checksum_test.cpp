#include "tools/text/checksum.h"

#include <gtest/gtest.h>

#include <string>

namespace ac500::text {
namespace {

// The check value of the catalogue of CRCs, and what gzip and zlib give.
TEST(Crc32, IsThatOfGzip) {
    EXPECT_EQ(crc32(""), 0U);
    EXPECT_EQ(crc32("1"), 0x83DCEFB7U);
    EXPECT_EQ(crc32("123456789"), 0xCBF43926U);
    EXPECT_EQ(crc32(std::string(32, '\xFF')), 0xFF6CAB0BU);
}

TEST(Crc32, GoesOnWhereItEnded) {
    for (std::size_t length = 0; length <= 9; ++length) {
        const std::string text = "123456789";
        EXPECT_EQ(crc32(text.substr(length), crc32(text.substr(0, length))), 0xCBF43926U) << length;
    }
}

// Of the authors' list of test vectors.
TEST(Fnv1a, OfKnownTexts) {
    EXPECT_EQ(Fnv1a().value(), 0xCBF29CE484222325U);
    Fnv1a hash;
    hash.add("foo");
    hash.add("bar");
    EXPECT_EQ(hash.value(), 0x85944171F73967E8U);
    Fnv1a high;
    high.add("\xFF");
    EXPECT_EQ(high.value(), 0xAF64724C8602EB6EU) << "bytes have no sign";
}

}  // namespace
}  // namespace ac500::text
