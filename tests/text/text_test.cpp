#include "tools/text/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ac500::text {
namespace {

using testing::ElementsAre;

TEST(Split, GivesThePartsBetweenSeparators) {
    EXPECT_THAT(split("a,b", ','), ElementsAre("a", "b"));
    EXPECT_THAT(split(",a,,b,", ','), ElementsAre("", "a", "", "b", ""));
    EXPECT_THAT(split("a.b", ','), ElementsAre("a.b"));
    EXPECT_THAT(split("", ','), ElementsAre(""));
}

TEST(LowerCase, ChangesLettersOfAsciiOnly) {
    EXPECT_EQ(lowerCase(std::string("@AMZ[az09_\xC3\x84")), "@amz[az09_\xC3\x84");
}

TEST(ControlCharacters, OfOneAndTwoBytesAreFound) {
    struct Row {
        const char* situation;
        std::string text;
        std::size_t bytes;
    };
    const Row rows[] = {
        {"letter", "a", 0},
        {"blank", " ", 0},
        {"zero", std::string(1, '\0'), 1},
        {"last before the blank", "\x1F", 1},
        {"tilde", "~", 0},
        {"delete", "\x7F", 1},
        {"U+0080", "\xC2\x80", 2},
        {"U+009F", "\xC2\x9F", 2},
        {"U+00A0, a blank", "\xC2\xA0", 0},
        {"U+00C0, the same second byte", "\xC3\x80", 0},
        {"half a character", "\xC2", 0},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(controlBytesAt(row.text, 0), row.bytes) << row.situation;
    }
    EXPECT_EQ(controlBytesAt("a\n", 1), 1U);
}

TEST(Utf8, IsToldFromOtherBytes) {
    for (const char* const good : {"", "abc\n", "\xC3\xA4", "\xC2\x80", "\xE2\x82\xAC", "\xEF\xBB\xBFx", "\xED\x9F\xBF",
                                   "\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(isUtf8(good)) << good;
    }
    EXPECT_TRUE(isUtf8(std::string(1, '\0')));
    for (const char* const bad :
         {"\xE4 ", "\x80", "\xC3", "a\xE2\x82", "\xC3\xC3", "\xC0\xAF", "\xE0\x80\x80", "\xED\xA0\x80",
          "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xFF\xFE"}) {
        EXPECT_FALSE(isUtf8(bad)) << bad;
    }
}

TEST(ControlCharacters, AreReplacedOneByOne) {
    EXPECT_EQ(withoutControls("a\x1B[2J\xC2\x9B!\xC3\xA4\x7F"), "a?[2J?!\xC3\xA4?");
    EXPECT_EQ(withoutControls("\xC2\x80\xC2\x80"), "??");
    EXPECT_EQ(withoutControls(""), "");
}

}  // namespace
}  // namespace ac500::text
