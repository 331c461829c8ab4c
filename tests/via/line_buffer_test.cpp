#include "tools/host/via/line_buffer.h"

#include <gtest/gtest.h>

#include <string>

namespace ac500 {
namespace {

using via::LineBuffer;

bool add(LineBuffer* buffer, const std::string& bytes) {
    return buffer->add(bytes.data(), bytes.size());
}

TEST(LineBufferTest, LinesComeWholeHoweverTheyArrive) {
    LineBuffer buffer(10);
    EXPECT_TRUE(add(&buffer, "on"));
    EXPECT_EQ(buffer.next(), std::nullopt);
    EXPECT_TRUE(add(&buffer, "e\n\ntwo\nthr"));
    EXPECT_EQ(buffer.next(), "one");
    EXPECT_EQ(buffer.next(), "");
    EXPECT_TRUE(add(&buffer, "ee\n"));
    EXPECT_EQ(buffer.next(), "two");
    EXPECT_EQ(buffer.next(), "three");
    EXPECT_EQ(buffer.next(), std::nullopt);
}

TEST(LineBufferTest, ALineOfTheLargestLengthIsTakenAndOneByteMoreIsNot) {
    LineBuffer exact(5);
    EXPECT_TRUE(add(&exact, "12345"));
    EXPECT_TRUE(add(&exact, "\n"));
    EXPECT_EQ(exact.next(), "12345");
    LineBuffer unended(5);
    EXPECT_FALSE(add(&unended, "123456"));
    LineBuffer ended(5);
    EXPECT_FALSE(add(&ended, "1\n123456\n2\n"));
    EXPECT_EQ(ended.next(), std::nullopt);
    EXPECT_FALSE(add(&ended, "\n"));
}

}  // namespace
}  // namespace ac500
