#include "tools/host/request_frame.h"

#include <gtest/gtest.h>

#include "tests/support/wire.h"

namespace ac500::host {
namespace {

using test::bytes;

TEST(RequestFrame, ReadRequestYieldsItsItemsAndTheLengthOfItsReply) {
    // magic, length 0x1E, service 2E; two items: area 2 from 0x1234, 4 bytes; area 1 from 8, 2 bytes; session bytes
    const RequestFrame request =
        parseRequest(bytes("BBBB 0000001E 2E 00 00000002  0002 00001234 00000004  0001 00000008 00000002  01020304"));
    EXPECT_EQ(request.service, Service::Read);
    ASSERT_EQ(request.items.size(), 2u);
    EXPECT_EQ(request.items[0].area, 2);
    EXPECT_EQ(request.items[0].address, 0x1234);
    EXPECT_EQ(request.items[0].size, 4);
    EXPECT_EQ(request.items[1].area, 1);
    EXPECT_EQ(request.items[1].address, 8);
    EXPECT_EQ(request.items[1].size, 2);
    EXPECT_EQ(request.expectedReplyBytes, 12 + 5 + 3);
}

TEST(RequestFrame, WriteRequestYieldsItsItemsAndSkipsTheirData) {
    const RequestFrame request = parseRequest(
        bytes("BBBB 00000024 3C 00 00000002  0001 00000008 00000002 1234  0003 00000010 00000004 01020304  0A0B0C0D"));
    EXPECT_EQ(request.service, Service::Write);
    ASSERT_EQ(request.items.size(), 2u);
    EXPECT_EQ(request.items[1].area, 3);
    EXPECT_EQ(request.items[1].address, 16);
    EXPECT_EQ(request.items[1].size, 4);
    EXPECT_EQ(request.expectedReplyBytes, 8);
}

TEST(RequestFrame, HandshakeFramesAreKnownAndHaveNoItems) {
    const RequestFrame first = parseRequest(bytes(test::kFirstHandshakeRequest));
    EXPECT_EQ(first.service, Service::Hello);
    EXPECT_TRUE(first.items.empty());
    EXPECT_EQ(first.expectedReplyBytes, -1);
    EXPECT_TRUE(wire::isHandshake(first.service));
    const RequestFrame second = parseRequest(bytes(test::kSecondHandshakeRequest));
    EXPECT_EQ(second.service, Service::Symbols);
    EXPECT_TRUE(wire::isHandshake(second.service));
}

TEST(RequestFrame, AddressesFromTwoToThe31OnStayPositive) {
    const RequestFrame request = parseRequest(bytes("BBBB 00000014 2E 00 00000001 0001 80000000 00000001 00000000"));
    ASSERT_EQ(request.items.size(), 1u);
    EXPECT_EQ(request.items[0].address, 0x80000000LL);
}

TEST(RequestFrame, EveryTruncatedPrefixIsHarmless) {
    const QByteArray whole =
        bytes("BBBB 00000024 3C 00 00000002  0001 00000008 00000002 1234  0003 00000010 00000004 01020304  0A0B0C0D");
    for (int size = 0; size < whole.size(); ++size) {
        EXPECT_LE(parseRequest(whole.left(size)).items.size(), size < 22 ? 0u : size < 34 ? 1u : 2u) << size;
    }
}

}  // namespace
}  // namespace ac500::host
