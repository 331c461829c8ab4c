// What a session tells of its times and events, over TCP.
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/end_to_end/plant.h"

namespace ac500 {
namespace {

using events::EventId;
using host::LatencyKind;
using host::Milliseconds;
using testing::ElementsAre;

class LatencyTest : public PlantTest {
protected:
    metrics::Histogram times(LatencyKind kind) const { return session->latencies().of(kind); }

    void waitForPasses(int count) {
        EXPECT_TRUE(eventually([&] { return times(LatencyKind::Pass).count() >= count; })) << lastFailure();
    }

    std::vector<std::string> eventIds() const {
        std::vector<std::string> ids;
        for (const host::SessionEvent& event : session->eventsSince(0)) {
            ids.push_back(events::rowOf(event.event).id);
        }
        return ids;
    }
};

TEST_F(LatencyTest, TheMedianLiesWhereTheDelayIs) {
    const Milliseconds delay(test::paced(100));
    plc.inject({sim::FaultKind::Delay, static_cast<std::int32_t>(delay.count())}, 1000000, sim::Service::Read);
    begin({"Main.int"});
    waitForPasses(8);
    const metrics::Histogram reads = times(LatencyKind::CyclicRead);
    EXPECT_GE(reads.p50(), delay);
    EXPECT_LT(reads.p50(), 2 * delay);
    EXPECT_GE(reads.longest(), reads.p50());
    EXPECT_GE(reads.sum(), reads.count() * delay);
    // A pass ends with a look of as long again.
    EXPECT_GE(times(LatencyKind::Pass).p50(), 2 * delay);
    EXPECT_EQ(times(LatencyKind::FirstHandshake).count(), 1);
    EXPECT_EQ(times(LatencyKind::SecondHandshake).count(), 1);
    EXPECT_LT(times(LatencyKind::SecondHandshake).longest(), delay);
    EXPECT_EQ(times(LatencyKind::Write).count(), 0);
    EXPECT_EQ(times(LatencyKind::OnceRead).count(), 0);
}

TEST_F(LatencyTest, AgesAndWritesAreCountedWhereTheyAreSeen) {
    begin({"Main.int"});
    waitForPasses(2);
    EXPECT_TRUE(session->isKnown(tag("Main.int")));
    EXPECT_EQ(times(LatencyKind::AgeShown).count(), 0) << "nobody has taken a value";
    EXPECT_TRUE(session->value(tag("Main.int")).isKnown);
    EXPECT_FALSE(session->value(tag("Main.dint")).isKnown) << "it has no age";
    EXPECT_EQ(times(LatencyKind::AgeShown).count(), 1);
    write("Main.int", "7");
    const metrics::Histogram reports = times(LatencyKind::WriteToReport);
    EXPECT_EQ(reports.count(), 1);
    EXPECT_EQ(times(LatencyKind::Write).count(), 1);
    EXPECT_GT(reports.longest(), times(LatencyKind::Write).longest()) << "the report waits for a look at the line";
}

TEST_F(LatencyTest, AResetForgetsTheTimesAndKeepsTheCounters) {
    begin({"Main.int"});
    waitForPasses(5);
    const std::int64_t sent = session->status().statistics.framesSent;
    const host::Time since = session->latencies().since;
    plc.inject({sim::FaultKind::Silence}, 1);  // no new pass meanwhile
    EXPECT_TRUE(eventually([&] { return plc.counters().faults == 1; }));
    session->resetLatencies();
    EXPECT_EQ(times(LatencyKind::Pass).count(), 0);
    EXPECT_EQ(times(LatencyKind::FirstHandshake).count(), 0);
    EXPECT_GT(session->latencies().since, since);
    EXPECT_GE(session->status().statistics.framesSent, sent);
    waitForPasses(1);
    EXPECT_THAT(eventIds(), testing::Contains("latency.reset"));
}

TEST_F(LatencyTest, EventsTellTheLifeOfASession) {
    begin({"Main.int"});
    waitForPasses(1);
    plc.inject({sim::FaultKind::Reset}, 1, sim::Service::Read);
    EXPECT_TRUE(eventually([&] {
        const std::vector<std::string> ids = eventIds();
        return std::find(ids.begin(), ids.end(), "link.restored") != ids.end();
    })) << lastFailure();
    write("Main.int", "7");
    std::vector<std::string> ids = eventIds();
    ASSERT_GE(ids.size(), 3u);
    std::sort(ids.begin(), ids.begin() + 3);  // the list may be rebuilt before, between and after the next two
    EXPECT_THAT(ids,
                ElementsAre("link.connected", "list.rebuilt", "session.opened", "link.lost", "link.closed",
                            "request.given_up", "link.connected", "session.opened", "link.restored", "write.done"));
    std::size_t number = 0;
    for (const host::SessionEvent& event : session->eventsSince(0)) {
        EXPECT_EQ(event.number, number++);
        EXPECT_NE(event.message(), "");
    }
    EXPECT_EQ(session->status().events, 10u);
    EXPECT_EQ(session->status().lastFailure->event, EventId::LinkLost);
}

}  // namespace
}  // namespace ac500
