// An archive that every system unpacks, the same bytes for the same files.
#include "tools/doctor/tar_gz.h"

#include <gtest/gtest.h>

namespace ac500::doctor {
namespace {

TEST(Gzip, OfNothingIsAnEmptyLastBlock) {
    EXPECT_EQ(gzipBytes(""), std::string("\x1F\x8B\x08\x00\x00\x00\x00\x00\x00\xFF"
                                         "\x01\x00\x00\xFF\xFF"
                                         "\x00\x00\x00\x00\x00\x00\x00\x00",
                                         23));
}

TEST(Gzip, OfMoreThanABlockHasSeveral) {
    const std::string bytes = gzipBytes(std::string(65536, 'x'));
    ASSERT_EQ(bytes.size(), 10u + 5 + 65535 + 5 + 1 + 8);
    EXPECT_EQ(bytes.substr(10, 5), std::string("\x00\xFF\xFF\x00\x00", 5));
    EXPECT_EQ(bytes.substr(10 + 5 + 65535, 6), std::string("\x01\x01\x00\xFE\xFFx", 6));
    EXPECT_EQ(bytes.substr(bytes.size() - 4), std::string("\x00\x00\x01\x00", 4));
}

TEST(Tar, HasAHeadAndWholeBlocks) {
    const std::string bytes = tarBytes({{"a/b.txt", "hello", ""}, {"empty", "", ""}});
    ASSERT_EQ(bytes.size(), 512u * 5);
    EXPECT_STREQ(bytes.c_str(), "a/b.txt");
    EXPECT_EQ(bytes.substr(100, 8), std::string("0000600\0", 8));
    EXPECT_EQ(bytes.substr(124, 12), std::string("00000000005\0", 12));
    EXPECT_EQ(bytes.substr(136, 12), std::string("00000000000\0", 12));
    EXPECT_EQ(bytes.substr(257, 8), std::string("ustar\0"
                                                "00",
                                                8));
    EXPECT_EQ(bytes.substr(512, 6), std::string("hello\0", 6));
    EXPECT_STREQ(bytes.c_str() + 1024, "empty");
    EXPECT_EQ(bytes.find_first_not_of('\0', 1536), std::string::npos);
    // "a/b.txt" 640, "0000600" 342, twice "0000000" 672, "00000000005" 533, "00000000000" 528, eight blanks 256, "0" 48,
    // "ustar" 559, "00" 96: 3674, octal 7132
    EXPECT_EQ(bytes.substr(148, 8), std::string("007132\0 ", 8));
}

}  // namespace
}  // namespace ac500::doctor
