#include "tools/simulator/reply_frame.h"

#include <gtest/gtest.h>

#include "tests/simulator/support.h"

namespace ac500::sim {
namespace {

TEST(ReplyFrame, HasItsEnvelopeAndStatusWordAndIsZeroBehind) {
    // magic, length 4, status, two zeros
    EXPECT_EQ(hex(makeReply(10, Status::Good)), "BB BB 00 00 00 04 00 00 00 00");
    EXPECT_EQ(hex(makeReply(10, Status::ReadOnly)), "BB BB 00 00 00 04 03 04 00 00");
}

TEST(ReplyFrame, RefusalIsEnvelopeAndStatusWord) {
    // magic, length 2, status
    EXPECT_EQ(hex(makeRefusal(Status::WrongSession)), "BB BB 00 00 00 02 02 01");
    EXPECT_EQ(hex(makeRefusal(Status::BadMagic)), "BB BB 00 00 00 02 01 01");
}

}  // namespace
}  // namespace ac500::sim
