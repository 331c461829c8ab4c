// Cutting a byte stream into requests.
#include "tools/simulator/frame_splitter.h"

#include <gtest/gtest.h>

#include "tests/simulator/support.h"

namespace ac500::sim {
namespace {

using Result = FrameSplitter::Result;

// A splitter that was given these bytes.
FrameSplitter fed(const Bytes& bytes) {
    FrameSplitter splitter;
    splitter.append(bytes.data(), bytes.size());
    return splitter;
}

TEST(FrameSplitter, EveryPrefixOfARequestWaitsForMore) {
    const Bytes request = helloRequest();
    for (std::size_t length = 0; length < request.size(); ++length) {
        FrameSplitter splitter = fed(request.substr(0, length));
        Bytes frame = "untouched";
        EXPECT_EQ(splitter.next(&frame), Result::NeedMore) << length << " bytes";
        EXPECT_EQ(frame, "untouched");
    }
}

TEST(FrameSplitter, TwoRequestsInOnePieceComeOneByOne) {
    FrameSplitter splitter = fed(helloRequest() + symbolsRequest());
    Bytes frame;
    ASSERT_EQ(splitter.next(&frame), Result::Frame);
    EXPECT_EQ(frame, helloRequest());
    ASSERT_EQ(splitter.next(&frame), Result::Frame);
    EXPECT_EQ(frame, symbolsRequest());
    EXPECT_EQ(splitter.next(&frame), Result::NeedMore);
}

TEST(FrameSplitter, ARequestByteByByteIsOneRequest) {
    FrameSplitter splitter;
    Bytes frame;
    const Bytes request = byteString("BB BB 00 00 00 02 7F 01");
    for (std::size_t i = 0; i + 1 < request.size(); ++i) {
        splitter.append(&request[i], 1);
        ASSERT_EQ(splitter.next(&frame), Result::NeedMore);
    }
    splitter.append(&request.back(), 1);
    ASSERT_EQ(splitter.next(&frame), Result::Frame);
    EXPECT_EQ(frame, request);
}

TEST(FrameSplitter, EmptyPayloadIsAFrame) {
    FrameSplitter splitter = fed(byteString("BB BB 00 00 00 00"));
    Bytes frame;
    ASSERT_EQ(splitter.next(&frame), Result::Frame);
    EXPECT_EQ(hex(frame), "BB BB 00 00 00 00");
}

TEST(FrameSplitter, WrongMagicShowsInTheFirstByte) {
    Bytes frame;
    EXPECT_EQ(fed(byteString("47")).next(&frame), Result::BadMagic);
    EXPECT_EQ(fed(byteString("BB BA")).next(&frame), Result::BadMagic);
}

TEST(FrameSplitter, LongestPayloadIsTakenAndOneMoreIsNot) {
    Bytes frame;
    // 00 00 FF FF: 65535 bytes of payload; 00 01 00 00: 65536.
    FrameSplitter longest = fed(byteString("BB BB 00 00 FF FF") + Bytes(65535, 'x'));
    ASSERT_EQ(longest.next(&frame), Result::Frame);
    EXPECT_EQ(frame.size(), 65541U);
    EXPECT_EQ(fed(byteString("BB BB 00 01 00 00")).next(&frame), Result::TooLong);
    EXPECT_EQ(fed(byteString("BB BB FF FF FF FF")).next(&frame), Result::TooLong);
}

TEST(FrameSplitter, RoomEndsAtTheLongestRequest) {
    FrameSplitter splitter;
    EXPECT_EQ(splitter.room(), 65541U);
    splitter.append("\xBB\xBB", 2);
    EXPECT_EQ(splitter.room(), 65539U);
}

}  // namespace
}  // namespace ac500::sim
