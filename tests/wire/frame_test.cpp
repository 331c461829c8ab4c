#include "tools/wire/frame.h"

#include <gtest/gtest.h>

namespace ac500::wire {
namespace {

TEST(Service, HasOneNameEach) {
    EXPECT_STREQ(serviceName(Service{0x01}), "hello");
    EXPECT_STREQ(serviceName(Service{0x31}), "symbols");
    EXPECT_STREQ(serviceName(Service{0x2E}), "read");
    EXPECT_STREQ(serviceName(Service{0x3C}), "write");
    EXPECT_STREQ(serviceName(Service{0x00}), "unknown");
}

TEST(Service, IsFoundByItsName) {
    EXPECT_EQ(serviceNamed("hello"), Service{0x01});
    EXPECT_EQ(serviceNamed("symbols"), Service{0x31});
    EXPECT_EQ(serviceNamed("read"), Service{0x2E});
    EXPECT_EQ(serviceNamed("write"), Service{0x3C});
    EXPECT_EQ(serviceNamed("Read"), std::nullopt);
    EXPECT_EQ(serviceNamed("unknown"), std::nullopt);
    EXPECT_EQ(serviceNamed(""), std::nullopt);
}

TEST(Service, FourAreKnownAndTwoOfThemAreTheHandshake) {
    int known = 0;
    int handshake = 0;
    for (int code = 0; code <= 0xFF; ++code) {
        const Service service{static_cast<std::uint8_t>(code)};
        known += isKnown(service) ? 1 : 0;
        handshake += isHandshake(service) ? 1 : 0;
    }
    EXPECT_EQ(known, 4);
    EXPECT_EQ(handshake, 2);
    EXPECT_TRUE(isKnown(Service{0x3C}));
    EXPECT_TRUE(isHandshake(Service{0x01}));
    EXPECT_TRUE(isHandshake(Service{0x31}));
}

TEST(Frame, BeginsWithTwoMagicBytesAsFarAsTheyAreThere) {
    EXPECT_TRUE(mayBeginFrame(""));
    EXPECT_TRUE(mayBeginFrame("\xBB"));
    EXPECT_TRUE(mayBeginFrame("\xBB\xBB"));
    EXPECT_TRUE(mayBeginFrame("\xBB\xBB\x01"));
    EXPECT_FALSE(mayBeginFrame("H"));
    EXPECT_FALSE(mayBeginFrame("\xBB\xBC"));
    EXPECT_FALSE(mayBeginFrame("\xBC\xBB"));
}

TEST(Frame, EnvelopeIsMagicAndThePayloadsLength) {
    Bytes frame(6 + 0x0102, 'x');
    putEnvelope(frame);
    EXPECT_EQ(frame.substr(0, 7), Bytes("\xBB\xBB\0\0\x01\x02x", 7));
    Bytes empty(6, 'x');
    putEnvelope(empty);
    EXPECT_EQ(empty, Bytes("\xBB\xBB\0\0\0\0", 6));
}

TEST(Frame, ItemHeadIsAreaAddressAndSize) {
    const ByteRun run = getItemHead("\xFF\x02\x80\x00\x00\x01\xF0\x00\x00\x03");
    EXPECT_EQ(run.area, 0xFF02);
    EXPECT_EQ(run.address, 0x80000001);
    EXPECT_EQ(run.size, 0xF0000003);
}

TEST(Frame, OffsetsAreThoseOfTheDocument) {
    EXPECT_EQ(kServiceAt, 6);
    EXPECT_EQ(kHelloRequestBytes, 20);
    EXPECT_EQ(kNameLengthAt, 8);
    EXPECT_EQ(kNameAt, 10);
    EXPECT_EQ(kItemCountAt, 8);
    EXPECT_EQ(kItemsAt, 12);
    EXPECT_EQ(kItemHeadBytes, 10);
    EXPECT_EQ(kStatusAt, 6);
    EXPECT_EQ(kShortReplyBytes, 8);
    EXPECT_EQ(kHelloReplyBytes, 206);
    EXPECT_EQ(kSymbolsReplyBytes, 36);
    EXPECT_EQ(kSessionAt, 24);
    EXPECT_EQ(kReadReplyHeadBytes, 12);
}

}  // namespace
}  // namespace ac500::wire
