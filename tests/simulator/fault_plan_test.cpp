// What each fault makes of a reply, without sockets, and which replies it meets.
#include "tools/simulator/fault_plan.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/simulator/support.h"

namespace ac500::sim {
namespace {

// The reply to a read of one item of two bytes: magic, length 9, status 0, count 1, lead byte, 12 34.
constexpr const char* kReply = "BB BB 00 00 00 09 00 00 00 00 00 01 00 12 34";

Delivery planned(FaultKind kind, std::int32_t argument = 0) {
    return planDelivery({kind, argument}, byteString(kReply));
}

// The only step of a delivery.
DeliveryStep onlyStep(const Delivery& delivery) {
    EXPECT_EQ(delivery.steps.size(), 1U);
    return delivery.steps.empty() ? DeliveryStep() : delivery.steps[0];
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
    EXPECT_FALSE(planned(FaultKind::Delay).overtakable);
}

TEST(PlanDelivery, SilenceIsNoStepAtAll) {
    EXPECT_TRUE(planned(FaultKind::Silence).steps.empty());
}

TEST(PlanDelivery, LateComesAfterThreeSecondsAndIsOvertaken) {
    expectStep(onlyStep(planned(FaultKind::Late)), 3000, kReply, After::Nothing);
    EXPECT_EQ(onlyStep(planned(FaultKind::Late, 400)).delayMs, 400);
    EXPECT_TRUE(planned(FaultKind::Late).overtakable);
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
    EXPECT_FALSE(delivery.overtakable);
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

// Plays `replies` good replies to reads against rules; one letter each: '.' none, else the first of the fault's name.
std::string played(const std::vector<const char*>& rules, int replies, std::uint64_t seed = 1) {
    std::vector<FaultRule> parsed;
    for (const char* rule : rules) {
        parsed.push_back(parseFaultRule(rule).rule);
    }
    FaultSchedule schedule(parsed, seed);
    std::string story;
    for (int i = 0; i < replies; ++i) {
        const Fault fault = schedule.next(Service::Read);
        story += fault.kind == FaultKind::None ? '.' : faultTraits(fault.kind)->name[0];
    }
    return story;
}

TEST(FaultSchedule, WithoutRulesNothingHappens) {
    EXPECT_EQ(played({}, 5), ".....");
}

TEST(FaultSchedule, TriggersHitTheRepliesTheyName) {
    EXPECT_EQ(played({"silence"}, 4), "ssss");
    EXPECT_EQ(played({"silence:count=2"}, 4), "ss..");
    EXPECT_EQ(played({"silence:at=3"}, 6), "..s...");
    EXPECT_EQ(played({"silence:at=3,count=2"}, 6), "..ss..");
    EXPECT_EQ(played({"silence:every=3"}, 9), "..s..s..s");
    EXPECT_EQ(played({"silence:every=3,count=2"}, 9), "..s..s...");
}

TEST(FaultSchedule, TheFirstRuleThatIsDueWins) {
    EXPECT_EQ(played({"glue:every=2", "silence:every=3"}, 6), ".gsg.g");
}

TEST(FaultSchedule, ARuleThatLostIsNotUsedUp) {
    EXPECT_EQ(played({"glue:at=1", "silence:at=1"}, 3), "gs.");
}

TEST(FaultSchedule, RatesRepeatWithTheirSeed) {
    const std::string first = played({"silence:rate=0.5"}, 64, 11);
    EXPECT_EQ(played({"silence:rate=0.5"}, 64, 11), first);
    EXPECT_NE(played({"silence:rate=0.5"}, 64, 12), first);
}

TEST(FaultSchedule, RatesHitAboutTheirShare) {
    const std::string story = played({"silence:rate=0.1"}, 10000);
    const auto hits = std::count(story.begin(), story.end(), 's');
    EXPECT_GT(hits, 850);
    EXPECT_LT(hits, 1150);
    EXPECT_EQ(played({"silence:rate=1"}, 4), "ssss");
}

TEST(FaultSchedule, AnotherRuleDoesNotChangeWhatARateHits) {
    const std::string alone = played({"silence:rate=0.3"}, 50);
    std::string beside = played({"silence:rate=0.3", "glue:every=1"}, 50);
    std::replace(beside.begin(), beside.end(), 'g', '.');
    EXPECT_EQ(beside, alone);
}

TEST(FaultSchedule, OtherServicesNeitherMeetARuleNorCount) {
    FaultSchedule schedule({parseFaultRule("silence:at=2,service=write").rule}, 1);
    EXPECT_EQ(schedule.next(Service::Write).kind, FaultKind::None);
    EXPECT_EQ(schedule.next(Service::Read).kind, FaultKind::None);
    EXPECT_EQ(schedule.next(Service::Hello).kind, FaultKind::None);
    EXPECT_EQ(schedule.next(Service::Write).kind, FaultKind::Silence);
}

TEST(FaultSchedule, AnArmedFaultGoesFirstAndEnds) {
    FaultSchedule schedule({parseFaultRule("glue").rule}, 1);
    schedule.arm({{FaultKind::Delay, 70}, 2, std::nullopt});
    EXPECT_EQ(schedule.armedLeft(), 2U);
    const Fault armed = schedule.next(Service::Read);
    EXPECT_EQ(armed.kind, FaultKind::Delay);
    EXPECT_EQ(armed.argument, 70);
    EXPECT_EQ(schedule.next(Service::Read).kind, FaultKind::Delay);
    EXPECT_EQ(schedule.armedLeft(), 0U);
    EXPECT_EQ(schedule.next(Service::Read).kind, FaultKind::Glue);
}

TEST(FaultSchedule, AnArmedFaultWaitsForItsService) {
    FaultSchedule schedule({}, 1);
    schedule.arm({{FaultKind::Silence, 0}, 1, Service::Write});
    EXPECT_EQ(schedule.next(Service::Read).kind, FaultKind::None);
    EXPECT_EQ(schedule.next(Service::Write).kind, FaultKind::Silence);
}

TEST(FaultSchedule, ArmingReplacesAndNoneDisarms) {
    FaultSchedule schedule({}, 1);
    schedule.arm({{FaultKind::Silence, 0}, 5, std::nullopt});
    schedule.arm({{FaultKind::Reset, 0}, 1, std::nullopt});
    EXPECT_EQ(schedule.next(Service::Read).kind, FaultKind::Reset);
    EXPECT_EQ(schedule.next(Service::Read).kind, FaultKind::None);
    schedule.arm({{FaultKind::Silence, 0}, 5, std::nullopt});
    schedule.arm({{FaultKind::None, 0}, 1, std::nullopt});
    EXPECT_EQ(schedule.armedLeft(), 0U);
    EXPECT_EQ(schedule.next(Service::Read).kind, FaultKind::None);
}

}  // namespace
}  // namespace ac500::sim
