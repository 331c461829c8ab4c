// Which replies meet a fault.
#include "tools/simulator/fault_schedule.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/simulator/support.h"

namespace ac500::sim {
namespace {

// Plays `replies` good replies to reads against rules; one letter each: '.' none, else the first of the fault's name.
std::string played(const std::vector<const char*>& rules, int replies, std::uint64_t seed = 1) {
    std::vector<FaultRule> parsed;
    for (const char* text : rules) {
        parsed.push_back(rule(text));
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
    FaultSchedule schedule({rule("silence:at=2,service=write")}, 1);
    EXPECT_EQ(schedule.next(Service::Write).kind, FaultKind::None);
    EXPECT_EQ(schedule.next(Service::Read).kind, FaultKind::None);
    EXPECT_EQ(schedule.next(Service::Hello).kind, FaultKind::None);
    EXPECT_EQ(schedule.next(Service::Write).kind, FaultKind::Silence);
}

TEST(FaultSchedule, AnArmedFaultGoesFirstAndEnds) {
    FaultSchedule schedule({rule("glue")}, 1);
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
