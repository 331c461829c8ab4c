// What each fault makes of a reply, without sockets.
#include "tools/simulator/delivery.h"

#include <gtest/gtest.h>

#include "tests/simulator/support.h"

namespace ac500::sim {
namespace {

// The reply to a read of one item of two bytes: magic, length 9, status 0, count 1, lead byte, 12 34.
constexpr const char* kReply = "BB BB 00 00 00 09 00 00 00 00 00 01 00 12 34";

Delivery planned(FaultKind kind, std::int32_t argument = 0) {
    return planDelivery({kind, argument}, byteString(kReply));
}

DeliveryStep onlyOf(const std::vector<DeliveryStep>& steps) {
    EXPECT_EQ(steps.size(), 1U);
    return steps.empty() ? DeliveryStep() : steps[0];
}

// The only step in turn, and the only one out of turn.
DeliveryStep onlyStep(const Delivery& delivery) {
    return onlyOf(delivery.steps);
}
DeliveryStep onlyLaterStep(const Delivery& delivery) {
    return onlyOf(delivery.later);
}

void expectStep(const DeliveryStep& step, int delayMs, const char* bytes, After after) {
    EXPECT_EQ(step.delayMs, delayMs);
    EXPECT_EQ(hex(step.bytes), bytes);
    EXPECT_EQ(step.after, after);
}

TEST(PlanDelivery, WithoutAFaultTheReplyGoesOutAtOnce) {
    expectStep(onlyStep(planned(FaultKind::None)), 0, kReply, After::Nothing);
}

TEST(PlanDelivery, DelayHoldsTheReplyAndWhatFollows) {
    expectStep(onlyStep(planned(FaultKind::Delay, 750)), 750, kReply, After::Nothing);
    EXPECT_EQ(onlyStep(planned(FaultKind::Delay)).delayMs, 200);
    EXPECT_TRUE(planned(FaultKind::Delay).later.empty());
}

TEST(PlanDelivery, SilenceIsNoStepAtAll) {
    EXPECT_TRUE(planned(FaultKind::Silence).steps.empty());
}

TEST(PlanDelivery, LateComesAfterThreeSecondsAndIsOvertaken) {
    EXPECT_TRUE(planned(FaultKind::Late).steps.empty());
    expectStep(onlyLaterStep(planned(FaultKind::Late)), 3000, kReply, After::Nothing);
    EXPECT_EQ(onlyLaterStep(planned(FaultKind::Late, 400)).delayMs, 400);
}

TEST(PlanDelivery, RepeatSendsTheReplyAtOnceAndOnceMoreOutOfTurn) {
    expectStep(onlyStep(planned(FaultKind::Repeat)), 0, kReply, After::Nothing);
    expectStep(onlyLaterStep(planned(FaultKind::Repeat)), 50, kReply, After::Nothing);
    EXPECT_EQ(onlyLaterStep(planned(FaultKind::Repeat, 7)).delayMs, 7);
}

TEST(PlanDelivery, TruncateKeepsHalfOrTheFirstBytes) {
    expectStep(onlyStep(planned(FaultKind::Truncate)), 0, "BB BB 00 00 00 09 00", After::Nothing);
    expectStep(onlyStep(planned(FaultKind::Truncate, 3)), 0, "BB BB 00", After::Nothing);
}

TEST(PlanDelivery, TruncateLosesAtLeastOneByte) {
    EXPECT_EQ(hex(onlyStep(planned(FaultKind::Truncate, 15)).bytes), "BB BB 00 00 00 09 00 00 00 00 00 01 00 12");
    EXPECT_EQ(onlyStep(planned(FaultKind::Truncate, 65535)).bytes.size(), 14U);
}

TEST(PlanDelivery, LengthChangesTheLengthFieldOnly) {
    expectStep(onlyStep(planned(FaultKind::Length)), 0, "BB BB 00 00 00 0A 00 00 00 00 00 01 00 12 34", After::Nothing);
    expectStep(onlyStep(planned(FaultKind::Length, -2)), 0, "BB BB 00 00 00 07 00 00 00 00 00 01 00 12 34",
               After::Nothing);
    expectStep(onlyStep(planned(FaultKind::Length, -10)), 0, "BB BB 00 00 FF FF 00 00 00 00 00 01 00 12 34",
               After::Nothing);
}

TEST(PlanDelivery, StatusChangesTheStatusWordOnly) {
    expectStep(onlyStep(planned(FaultKind::Status)), 0, "BB BB 00 00 00 09 0F 01 00 00 00 01 00 12 34", After::Nothing);
    expectStep(onlyStep(planned(FaultKind::Status, 0x8000)), 0, "BB BB 00 00 00 09 80 00 00 00 00 01 00 12 34",
               After::Nothing);
}

TEST(PlanDelivery, FragmentsAreSingleBytesInOrder) {
    const Delivery delivery = planned(FaultKind::Fragments, 4);
    ASSERT_EQ(delivery.steps.size(), 15U);
    EXPECT_TRUE(delivery.later.empty());
    Bytes all;
    for (const DeliveryStep& step : delivery.steps) {
        EXPECT_EQ(step.bytes.size(), 1U);
        all += step.bytes;
    }
    EXPECT_EQ(hex(all), kReply);
    EXPECT_EQ(delivery.steps[0].delayMs, 0);
    EXPECT_EQ(delivery.steps[1].delayMs, 4);
    EXPECT_EQ(delivery.steps[14].delayMs, 4);
}

TEST(PlanDelivery, GlueSendsCopiesInOnePiece) {
    const std::string reply = kReply;
    expectStep(onlyStep(planned(FaultKind::Glue)), 0, (reply + " " + reply).c_str(), After::Nothing);
    expectStep(onlyStep(planned(FaultKind::Glue, 3)), 0, (reply + " " + reply + " " + reply).c_str(), After::Nothing);
}

TEST(PlanDelivery, ResetAndRestartSendNothing) {
    expectStep(onlyStep(planned(FaultKind::Reset)), 0, "", After::Reset);
    expectStep(onlyStep(planned(FaultKind::Restart)), 0, "", After::CloseAll);
}

}  // namespace
}  // namespace ac500::sim
