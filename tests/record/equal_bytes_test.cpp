#include "tools/record/equal_bytes.h"

#include <gtest/gtest.h>

#include <string>

namespace ac500::record {
namespace {

constexpr std::size_t kLongest = 70;

std::string bytesOf(std::size_t size) {
    std::string bytes;
    for (std::size_t at = 0; at < size; ++at) {
        bytes += static_cast<char>(at + 1);
    }
    return bytes;
}

TEST(EqualBytesTest, EqualRowsOfAnyLengthAreEqual) {
    EXPECT_TRUE(areSameBytes(std::string_view(), std::string_view()));
    for (std::size_t size = 0; size <= kLongest; ++size) {
        EXPECT_TRUE(areSameBytes(bytesOf(size), bytesOf(size))) << size;
    }
}

TEST(EqualBytesTest, OneBitInAnyPlaceMakesTheDifference) {
    for (std::size_t size = 1; size <= kLongest; ++size) {
        for (std::size_t at = 0; at < size; ++at) {
            for (const int bit : {0, 7}) {
                std::string other = bytesOf(size);
                other[at] = static_cast<char>(other[at] ^ (1 << bit));
                ASSERT_FALSE(areSameBytes(bytesOf(size), other)) << "byte " << at << " of " << size << ", bit " << bit;
            }
        }
    }
}

TEST(EqualBytesTest, NothingBehindTheEndIsLookedAt) {
    for (std::size_t size = 0; size < kLongest; ++size) {
        const std::string longer = bytesOf(size) + "a";
        const std::string other = bytesOf(size) + "b";
        EXPECT_TRUE(areSameBytes(longer.data(), other.data(), size)) << size;
        EXPECT_FALSE(areSameBytes(bytesOf(size), longer)) << size;
    }
}

TEST(EqualBytesTest, TextsAreComparedByUnit) {
    EXPECT_TRUE(areSameTexts(u"Main.gr\u00F6\u00DFe", u"Main.gr\u00F6\u00DFe"));
    EXPECT_FALSE(areSameTexts(u"Main.gr\u00F6\u00DFe", u"Main.gr\u01F6\u00DFe"));
    EXPECT_FALSE(areSameTexts(u"Main.a", u"Main.ab"));
    EXPECT_TRUE(areSameTexts(u"", u""));
}

}  // namespace
}  // namespace ac500::record
