#include "tools/host/handover.h"

#include <gtest/gtest.h>

#include <thread>

namespace ac500::host {
namespace {

using events::EventId;

constexpr Milliseconds kForEver{60000};

std::string textsSince(const SharedWork& work, std::size_t first) {
    std::string texts;
    for (const SessionEvent& event : work.eventsSince(first)) {
        texts += event.message() + " ";
    }
    return texts;
}

TEST(SharedWork, EventsAreCountedAndToldFromANumberOn) {
    SharedWork work(200);
    EXPECT_EQ(textsSince(work, 0), "");
    for (const char* text : {"a", "b", "c"}) {
        work.addEvent(EventId::LinkConnected, text, Time(0));
    }
    EXPECT_EQ(textsSince(work, 0), "a b c ");
    EXPECT_EQ(textsSince(work, 2), "c ");
    EXPECT_EQ(textsSince(work, 3), "");
    EXPECT_EQ(textsSince(work, 99), "");
    EXPECT_EQ(work.status.events, 3u);
    EXPECT_FALSE(work.status.lastFailure);
}

TEST(SharedWork, TheLastFailureOfTheExchangeIsRemembered) {
    SharedWork work(200);
    work.addExchangeFailure(EventId::LinkLost, {FailureKind::Tcp, "cable"}, Time(7));
    work.addEvent(EventId::LinkConnected, "back", Time(8));
    work.addFailure(EventId::WriteFailed, {FailureKind::Request, "order"}, Time(9));
    ASSERT_TRUE(work.status.lastFailure);
    EXPECT_EQ(work.status.lastFailure->failure.text, "cable");
    EXPECT_EQ(work.status.lastFailure->time, Time(7));
    EXPECT_EQ(work.status.lastFailure->number, 0u);
    EXPECT_EQ(textsSince(work, 0), "cable back order ");
    EXPECT_EQ(work.eventsSince(2).front().event, EventId::WriteFailed);
}

TEST(SharedWork, TheLatestThousandEventsAreKeptAndThoseBeforeAreToldAsMissing) {
    SharedWork work(200);
    for (int i = 0; i < 1002; ++i) {
        work.addEvent(EventId::LinkConnected, std::to_string(i), Time(i));
    }
    const std::vector<SessionEvent> all = work.eventsSince(0);
    ASSERT_EQ(all.size(), 1001u);
    EXPECT_EQ(all[0].event, EventId::EventsLost);
    EXPECT_EQ(all[0].number, 0u);
    EXPECT_EQ(all[0].text, "2 event(s) were dropped before anybody took them");
    EXPECT_EQ(all[1].text, "2");
    EXPECT_EQ(all[1].number, 2u);
    EXPECT_EQ(work.eventsSince(1).front().text, "1 event(s) were dropped before anybody took them");
    EXPECT_EQ(work.eventsSince(2).front().text, "2");
    EXPECT_EQ(textsSince(work, 1001), "1001 ");
    EXPECT_EQ(work.eventsSince(1001).front().number, 1001u);
}

TEST(SharedWork, EndedWritesBecomeEventsAndTimes) {
    SharedWork work(200);
    Tag tag;
    tag.text = "Main.x";
    const std::int32_t good = work.orders.orderWrite(tag, {}, Time(1000));
    const std::int32_t bad = work.orders.orderWrite(tag, {}, Time(2000));
    work.noteEndedOrders(Time(2500));
    EXPECT_EQ(textsSince(work, 0), "");
    work.orders.handedOver(good, Time(2500));
    work.orders.answered(good, Time(3000));
    work.orders.succeeded(good);
    work.orders.failed(bad, {FailureKind::Tcp, "no cable"}, Time(3500));
    work.noteEndedOrders(Time(4000));
    const std::vector<SessionEvent> events = work.eventsSince(0);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].event, EventId::WriteDone);
    EXPECT_EQ(events[0].message(), "Main.x is written");
    EXPECT_EQ(events[1].event, EventId::WriteFailed);
    EXPECT_EQ(events[1].failure.kind, FailureKind::Tcp);
    EXPECT_EQ(events[1].message(), "Main.x: no cable");
    const metrics::Histogram& times = work.latencies.of(LatencyKind::WriteToReport);
    EXPECT_EQ(times.count(), 2);
    EXPECT_EQ(times.sum(), Time(3000 + 2000));
    work.noteEndedOrders(Time(5000));
    EXPECT_EQ(times.count(), 2);
}

TEST(SharedWork, AReadThatFailsIsToldUnlessItWasForAWriteThatFailsWithIt) {
    SharedWork work(200);
    Tag tag;
    tag.text = "Main.x";
    work.orders.failed(work.orders.orderRead(tag, Time(0)), {FailureKind::Request, "gone"}, Time(1));
    tag.text = "Main.bits.0";
    tag.form.isBit = true;
    const std::int32_t bit = work.orders.orderWrite(tag, {}, Time(2));
    work.orders.readFirst(bit, Time(3));
    const std::int32_t reading = work.orders.at(OrderKind::Read, OrderStep::Waiting).front();
    work.orders.failed(reading, {FailureKind::Request, "gone"}, Time(4));
    work.noteEndedOrders(Time(5));
    const std::vector<SessionEvent> events = work.eventsSince(0);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].event, EventId::ReadFailed);
    EXPECT_EQ(events[0].message(), "Main.x: gone");
    EXPECT_EQ(events[1].event, EventId::WriteFailed);
    EXPECT_EQ(events[1].message(), "Main.bits.0: not sent: the variable of the bit could not be read: gone");
}

TEST(SharedWork, AResetOfTheTimesIsAnEventAndKeepsTheOthers) {
    SharedWork work(200);
    work.addEvent(EventId::LinkConnected, "a", Time(0));
    work.latencies.of(LatencyKind::Pass).add(Time(70));
    work.resetLatencies(Time(900));
    EXPECT_EQ(work.latencies.of(LatencyKind::Pass).count(), 0);
    EXPECT_EQ(work.latencies.since, Time(900));
    EXPECT_EQ(textsSince(work, 0), "a the measured times were reset ");
    EXPECT_EQ(work.eventsSince(1).front().event, EventId::LatencyReset);
}

TEST(Handover, WorkThatCameBeforeTheWaitEndsItAtOnce) {
    Handover handover(200);
    handover.wakeLoop();
    EXPECT_TRUE(handover.waitForWork(kForEver));
}

TEST(Handover, WorkEndsAWaitThatIsUnderway) {
    Handover handover(200);
    std::thread caller([&] {
        handover.access()->newTags = std::vector<Tag>(1);
        handover.wakeLoop();
    });
    EXPECT_TRUE(handover.waitForWork(kForEver));
    EXPECT_TRUE(handover.access()->newTags.has_value());
    caller.join();
}

TEST(Handover, TheEndOfTheSessionIsToldAlsoWithoutWaiting) {
    Handover handover(200);
    EXPECT_TRUE(handover.waitForWork(Milliseconds(0)));
    handover.access()->isStopping = true;
    EXPECT_FALSE(handover.waitForWork(Milliseconds(0)));
    handover.wakeLoop();
    EXPECT_FALSE(handover.waitForWork(kForEver));
}

TEST(Handover, AChangeWakesACaller) {
    Handover handover(200);
    std::thread loop([&] {
        // Until the caller is seen to have gone on: its wait may begin after a change.
        while (!handover.access()->isStopping) {
            handover.wakeCallers();
        }
    });
    handover.waitForChange(kForEver);
    handover.access()->isStopping = true;
    loop.join();
}

TEST(Handover, AChangeBetweenALookAndTheWaitIsNotMissed) {
    Handover handover(200);
    const std::size_t seen = handover.changes();
    handover.wakeCallers();
    handover.waitForChangeAfter(seen, kForEver);
    EXPECT_EQ(handover.changes(), seen + 1);
}

TEST(Handover, ALoopThatBreaksIsToldAndTakesNoMoreOrders) {
    Handover handover(200);
    handover.access()->status.isOnline = true;
    handover.loopBroke({FailureKind::Request, "the session has ended: there is no memory left"}, Time(7));
    EXPECT_TRUE(handover.access()->isStopping);
    EXPECT_FALSE(handover.access()->status.isOnline);
    EXPECT_EQ(handover.access()->status.lastFailure->time, Time(7));
    EXPECT_EQ(textsSince(*handover.access().operator->(), 0), "the session has ended: there is no memory left ");
}

}  // namespace
}  // namespace ac500::host
