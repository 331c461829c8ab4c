// The one way of a write: each test is a promise that docs/writes.md names, kept while the PLC misbehaves.
#include <gmock/gmock.h>

#include <atomic>
#include <functional>

#include "tests/end_to_end/plant.h"
#include "tools/host/write_path.h"

namespace ac500 {
namespace {

using host::WriteOutcome;
using host::WriteReport;
using host::WriteRequest;
using host::WriteTicket;
using testing::HasSubstr;
using testing::StartsWith;

// Notes what it is told, and has nothing against anything but on request.
class NotingGate : public host::WriteGate {
public:
    host::Failure beforeWrite(const host::Order& write) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        notes_.push_back("before " + write.tag.text + " " + host::formatPlantValues(write.tag, write.before));
        if (wait.count() > 0) {
            std::this_thread::sleep_for(wait);
        }
        return objection;
    }
    void afterWrite(const host::Order& write) override {
        const std::lock_guard<std::mutex> lock(mutex_);
        notes_.push_back(std::string("after ") + writeOutcomeName(write.outcome));
    }
    std::vector<std::string> notes() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return notes_;
    }

    // Before the session begins
    host::Failure objection;
    host::Milliseconds wait{0};

private:
    mutable std::mutex mutex_;
    std::vector<std::string> notes_;
};

class WritePathTest : public PlantTest {
protected:
    void beginPath(const std::vector<std::string>& tags) {
        begin(tags);
        path = std::make_unique<host::WritePath>(*session, clock, pathSettings);
    }

    WriteRequest request(const std::string& text, const std::string& value) const {
        WriteRequest made;
        made.tag = tag(text);
        std::string error;
        made.values = host::parsePlantValues(made.tag, value, &error).value_or(host::HostValues());
        EXPECT_EQ(error, "");
        return made;
    }
    WriteRequest request(const std::string& text, const std::string& old, const std::string& value) const {
        WriteRequest made = request(text, value);
        std::string error;
        made.replaces = host::parseHeldValues(made.tag, old, &error);
        EXPECT_EQ(error, "");
        return made;
    }
    WriteReport end(const WriteTicket& ticket) const {
        return path->wait(ticket, host::Milliseconds(60000)).value_or(WriteReport());
    }
    WriteReport write(const WriteRequest& what) { return end(path->order(what)); }

    // The outcome, and why; of what was not sent the reason says that itself.
    static std::string told(const WriteReport& report) {
        const std::string outcome = writeOutcomeName(report.outcome);
        const std::string& why = report.failure.text;
        return why.empty() ? outcome : report.outcome == WriteOutcome::NotSent ? why : outcome + ": " + why;
    }
    // As soon as a request of the service has met the fault that was injected.
    void waitForFault() {
        EXPECT_TRUE(eventually([&] { return plc.counters().faults > 0; }));
    }

    host::WritePath::Settings pathSettings;
    std::unique_ptr<host::WritePath> path;
};

// ---------------------------------------------------------------------------------------------------------------------
// What is checked before
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(WritePathTest, AnAcceptedWriteIsDoneAndInThePlc) {
    beginPath({"Main.int"});
    EXPECT_EQ(told(write(request("Main.int", "258"))), "done");
    EXPECT_EQ(inPlc(1, 4, 2), "01 02");
}

TEST_F(WritePathTest, AValueBeyondItsLimitsIsNotSentWhicheverWayItComes) {
    beginPath({"Main.level"});
    WriteRequest tooHigh = request("Main.level", "9.5");
    tooHigh.values = {std::int64_t{1051}};  // 9.51 m, past what the text form checks
    EXPECT_EQ(told(write(tooHigh)), "not sent: Main.level: 9.51 m is above the largest value, 9.5 m");
    EXPECT_EQ(plc.counters().writes, 0u);
}

TEST_F(WritePathTest, AValueOfAnotherTypeOrNumberIsNotSent) {
    beginPath({"Main.int"});
    WriteRequest wrong = request("Main.int", "1");
    wrong.values = {std::uint64_t{1}};
    EXPECT_EQ(write(wrong).failure.text, "not sent: Main.int: the value is of another type than INT");
    wrong.values = {std::int64_t{40000}};
    EXPECT_THAT(write(wrong).failure.text, StartsWith("not sent: Main.int: "));
    wrong.values = {std::int64_t{1}, std::int64_t{2}};
    EXPECT_EQ(write(wrong).failure.text, "not sent: Main.int: 1 values are needed; 2 given");
    wrong = request("Main.int", "1");
    wrong.replaces = host::HostValues();
    EXPECT_EQ(write(wrong).failure.text, "not sent: 1 values are needed of what is to be replaced; 0 given");
    EXPECT_EQ(plc.counters().writes, 0u);
}

// ---------------------------------------------------------------------------------------------------------------------
// Compare, then write
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(WritePathTest, AWriteThatStatesWhatItReplacesIsDoneWhenThePlcHoldsThat) {
    plc.write(1, 4, byteString("00 07"));
    beginPath({"Main.uint"});
    const WriteReport report = write(request("Main.int", "7", "8"));
    EXPECT_EQ(told(report), "done");
    EXPECT_EQ(report.before, host::HostValues{std::int64_t{7}});
    EXPECT_EQ(inPlc(1, 4, 2), "00 08");
}

TEST_F(WritePathTest, AWriteIsNotSentWhenThePlcHoldsAnotherValueThanWasSeen) {
    plc.write(1, 1024, byteString("08 FC"));  // 2300: 22 m
    beginPath({"Main.uint"});
    const WriteReport report = write(request("Main.level", "21.5", "9"));
    EXPECT_EQ(told(report), "not sent: it was 21.50 m when you looked, it is 22.00 m now");
    EXPECT_EQ(inPlc(1, 1024, 2), "08 FC");
    EXPECT_EQ(plc.counters().writes, 0u);
}

TEST_F(WritePathTest, WhatIsComparedIsReadFromThePlcForThisWrite) {
    plc.write(1, 4, byteString("00 07"));
    settings.loop.cycle = host::Milliseconds(60000);
    beginPath({"Main.int"});
    EXPECT_EQ(read("Main.int"), "7");
    plc.write(1, 4, byteString("00 09"));  // the next pass would show it in a minute
    EXPECT_EQ(told(write(request("Main.int", "7", "8"))), "not sent: it was 7 when you looked, it is 9 now");
    EXPECT_EQ(told(write(request("Main.int", "9", "8"))), "done");
}

TEST_F(WritePathTest, ABitIsComparedAsABitAndItsVariableIsReadChangedAndWrittenAsAWhole) {
    plc.write(1, 8, byteString("12 34"));
    beginPath({"Main.uint"});
    const WriteReport report = write(request("Main.word.b[9]", "1", "0"));
    EXPECT_EQ(told(report), "done");
    EXPECT_EQ(report.before, host::HostValues{true});
    ASSERT_EQ(report.bitsBefore.size(), 16u);
    EXPECT_EQ(report.bitsBefore[2], host::HostValue(true));
    EXPECT_EQ(report.bitsBefore[3], host::HostValue(false));
    EXPECT_EQ(inPlc(1, 8, 2), "10 34");
    EXPECT_EQ(told(write(request("Main.word.b[9]", "1", "0"))), "not sent: it was 1 when you looked, it is 0 now");
}

TEST_F(WritePathTest, WhatIsReplacedIsReadForTheReportOnRequest) {
    plc.write(1, 4, byteString("00 07"));
    beginPath({"Main.bool"});
    WriteRequest curious = request("Main.int", "8");
    EXPECT_EQ(write(curious).before, host::HostValues()) << "nobody asked";
    curious.readsFirst = true;
    const WriteReport report = write(curious);
    EXPECT_EQ(told(report), "done");
    EXPECT_EQ(report.before, host::HostValues{std::int64_t{8}});
}

TEST_F(WritePathTest, AnotherVariableCanBeTheConditionOfAWrite) {
    plc.write(1, 6, byteString("00 02"));
    beginPath({"Main.bool"});
    WriteRequest guarded = request("Main.int", "5");
    guarded.conditions = {{tag("Main.uint"), {std::uint64_t{1}}, "another program runs"}};
    EXPECT_EQ(told(write(guarded)), "not sent: another program runs: it was 1 when you looked, it is 2 now");
    guarded.conditions[0].values = {std::uint64_t{2}};
    EXPECT_EQ(told(write(guarded)), "done");
}

TEST_F(WritePathTest, AConditionOfThePathHoldsForEveryWrite) {
    plc.write(1, 6, byteString("00 02"));
    pathSettings.conditions = {{tag("Main.uint"), {std::uint64_t{1}}, "not released"}};
    beginPath({"Main.bool"});
    EXPECT_EQ(told(write(request("Main.int", "5"))), "not sent: not released: it was 1 when you looked, it is 2 now");
    plc.write(1, 6, byteString("00 01"));
    EXPECT_EQ(told(write(request("Main.int", "5"))), "done");
    EXPECT_FALSE(path->report(WriteTicket())) << "a ticket that nobody was given";
}

TEST_F(WritePathTest, AWriteWhoseReadingFailsIsNotSent) {
    settings.retryLimit = 0;
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Status, 3}, 1000, sim::Service::Read);
    EXPECT_THAT(told(write(request("Main.int", "0", "5"))), StartsWith("not sent: it could not be read: "));
    EXPECT_EQ(plc.counters().writes, 0u);
}

TEST_F(WritePathTest, ManyComparedWritesEachGoAloneAndAllArrive) {
    beginPath({"Main.bool"});
    std::vector<WriteTicket> tickets;
    for (int i = 1; i <= 20; ++i) {
        tickets.push_back(path->order(request("Main.int", std::to_string(i - 1), std::to_string(i))));
    }
    for (const WriteTicket& ticket : tickets) {
        EXPECT_EQ(told(end(ticket)), "done");
    }
    EXPECT_EQ(inPlc(1, 4, 2), "00 14");
}

// ---------------------------------------------------------------------------------------------------------------------
// In time, once, on this connection
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(WritePathTest, AWriteIsNotSentOnceItsTimeIsOver) {
    settings.loop.replyTimeout = host::Milliseconds(60000);
    beginPath({"Main.bool"});
    read("Main.bool");
    // While it waits behind a reply that takes long, here or already with the driver: the reason tells which.
    plc.inject({sim::FaultKind::Delay, 300}, 1, sim::Service::Read);
    waitForFault();
    WriteRequest brief = request("Main.int", "5");
    brief.expiry = clock.now() + host::Milliseconds(50);
    EXPECT_THAT(told(write(brief)), StartsWith("not sent: its time was over"));
    WriteRequest late = request("Main.int", "6");
    late.expiry = clock.now();
    EXPECT_THAT(told(write(late)), StartsWith("not sent: its time was over"));
    EXPECT_EQ(plc.counters().writes, 0u);
}

TEST_F(WritePathTest, AWriteIsNotSentWhenItsTimeEndsWhileItIsReadFor) {
    settings.loop.replyTimeout = host::Milliseconds(60000);
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Delay, 400}, 1, sim::Service::Read);
    waitForFault();
    plc.inject({sim::FaultKind::Delay, 400}, 1000, sim::Service::Read);
    WriteRequest brief = request("Main.int", "0", "5");
    brief.expiry = clock.now() + host::Milliseconds(600);
    EXPECT_EQ(told(write(brief)), "not sent: its time was over");
    EXPECT_EQ(plc.counters().writes, 0u);
}

TEST_F(WritePathTest, AWriteIsNotSentWhenItsTimeEndsAtAGate) {
    auto slow = std::make_shared<NotingGate>();
    slow->wait = host::Milliseconds(test::paced(200));
    pathSettings.gates = {slow};
    beginPath({"Main.bool"});
    read("Main.bool");
    WriteRequest brief = request("Main.int", "5");
    brief.expiry = clock.now() + host::Milliseconds(test::paced(150));
    EXPECT_EQ(told(write(brief)), "not sent: its time was over");
    EXPECT_TRUE(eventually([&] { return slow->notes().size() == 2; }));
    EXPECT_THAT(slow->notes(), testing::ElementsAre("before Main.int 0", "after not sent"));
    EXPECT_EQ(plc.counters().writes, 0u);
}

TEST_F(WritePathTest, AWriteThatTheDriverHoldsIsNotSentOnceItsTimeIsOver) {
    settings.loop.replyTimeout = host::Milliseconds(60000);
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Delay, 500}, 1, sim::Service::Read);
    waitForFault();
    WriteRequest brief = request("Main.int", "5");
    brief.expiry = clock.now() + host::Milliseconds(300);
    const WriteTicket ticket = path->order(brief);
    EXPECT_THAT(told(end(ticket)), StartsWith("not sent: its time was over"));
    EXPECT_EQ(plc.counters().writes, 0u);
    // And the session goes on.
    EXPECT_EQ(told(write(request("Main.int", "6"))), "done");
}

TEST_F(WritePathTest, ANumberIsUsedOnceAndItsRepeatGetsTheFirstOutcome) {
    beginPath({"Main.bool"});
    WriteRequest once = request("Main.int", "5");
    once.number = "a-1";
    const WriteTicket first = path->order(once);
    EXPECT_FALSE(first.isRepeat);
    EXPECT_EQ(told(end(first)), "done");
    plc.write(1, 4, byteString("00 00"));
    const WriteTicket second = path->order(once);
    EXPECT_TRUE(second.isRepeat);
    EXPECT_EQ(told(end(second)), "done");
    EXPECT_EQ(told(write(request("Main.uint", "6"))), "done") << "behind which a repeat would have gone out";
    EXPECT_EQ(inPlc(1, 4, 2), "00 00") << "it was not written again";
    EXPECT_EQ(plc.counters().writes, 2u);
}

TEST_F(WritePathTest, ANumberOfAWriteThatCannotBeOrderedIsNotUsed) {
    beginPath({"Main.bool"});
    WriteRequest once = request("Main.int", "5");
    once.number = std::string(65, 'n');
    EXPECT_EQ(told(write(once)), "not sent: a one-use number has at most 64 bytes, this one 65");
    EXPECT_FALSE(path->order(once).isRepeat) << "it was not remembered";
    once.number = "a-1";
    once.values = {std::uint64_t{5}};
    EXPECT_EQ(told(write(once)), "not sent: Main.int: the value is of another type than INT");
    once.values = {std::int64_t{5}};
    EXPECT_EQ(told(write(once)), "done");
}

TEST_F(WritePathTest, ANumberOfAnotherWriteIsRefused) {
    beginPath({"Main.bool"});
    WriteRequest once = request("Main.int", "5");
    once.number = "a-1";
    EXPECT_EQ(told(write(once)), "done");
    WriteRequest other = request("Main.int", "6");
    other.number = "a-1";
    EXPECT_EQ(told(write(other)), "not sent: its number was used by another write");
    other = request("Main.int", "0", "5");
    other.number = "a-1";
    EXPECT_EQ(told(write(other)), "not sent: its number was used by another write");
    other = request("Main.int", "5");
    other.number = "a-1";
    other.conditions = {{tag("Main.uint"), {std::uint64_t{0}}, {}}};
    const WriteTicket ticket = path->order(other);
    EXPECT_FALSE(ticket.isRepeat);
    EXPECT_EQ(told(end(ticket)), "not sent: its number was used by another write");
    other = request("Main.int", "5");
    other.number = std::string(65, 'n');
    EXPECT_EQ(told(write(other)), "not sent: a one-use number has at most 64 bytes, this one 65");
    EXPECT_EQ(plc.counters().writes, 1u);
    other.number = std::string(64, 'n');
    EXPECT_EQ(told(write(other)), "done");
}

TEST_F(WritePathTest, ARepeatWhileTheFirstIsUnderwayOrdersNothing) {
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Delay, 100}, 1, sim::Service::Write);
    WriteRequest once = request("Main.int", "5");
    once.number = "a-1";
    const WriteTicket first = path->order(once);
    const WriteTicket second = path->order(once);
    EXPECT_EQ(first.id, second.id);
    EXPECT_TRUE(second.isRepeat);
    EXPECT_EQ(told(end(second)), "done");
    EXPECT_EQ(plc.counters().writes, 1u);
}

TEST_F(WritePathTest, TheLatestThousandNumbersAreRemembered) {
    beginPath({"Main.bool"});
    read("Main.bool");
    session->stop();  // each write ends at once
    WriteRequest once = request("Main.int", "5");
    once.number = "first";
    const WriteTicket first = path->order(once);
    for (int i = 1; i <= 999; ++i) {
        WriteRequest other = request("Main.int", "6");
        other.number = std::to_string(i);
        path->order(other);
        path->order(request("Main.int", "7"));
    }
    EXPECT_TRUE(path->order(once).isRepeat);
    WriteRequest last = request("Main.int", "6");
    last.number = "last";
    path->order(last);
    EXPECT_FALSE(path->report(first)) << "forgotten";
    EXPECT_FALSE(path->order(once).isRepeat);
}

TEST_F(WritePathTest, SoManyAreRememberedAsTheSettingsSay) {
    pathSettings.kept = 2;
    beginPath({"Main.bool"});
    read("Main.bool");
    session->stop();  // each write ends at once
    const WriteTicket first = path->order(request("Main.int", "5"));
    const WriteTicket second = path->order(request("Main.int", "6"));
    EXPECT_TRUE(path->report(first));
    path->order(request("Main.int", "7"));
    EXPECT_FALSE(path->report(first));
    EXPECT_TRUE(path->report(second));
}

TEST_F(WritePathTest, AWriteWhoseReplyIsLostIsUnknownAndNotSentAgain) {
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Reset, 0}, 1, sim::Service::Write);
    const WriteReport report = write(request("Main.int", "5"));
    EXPECT_THAT(told(report), StartsWith("unknown: the request failed; the PLC may or may not have it"));
    read("Main.bool");
    EXPECT_EQ(plc.counters().writes, 1u);
}

TEST_F(WritePathTest, AWriteWhoseReplyIsSpoiltIsUnknownAndNotSentAgain) {
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Status, 0}, 1,
               sim::Service::Write);  // 0x0F01: the PLC did it, and its reply was spoilt
    const WriteReport report = write(request("Main.int", "5"));
    EXPECT_THAT(told(report), StartsWith("unknown: the request failed; the PLC may or may not have it"));
    EXPECT_THAT(report.failure.text, HasSubstr("status word 0x0F01"));
    EXPECT_EQ(inPlc(1, 4, 2), "00 05");
    EXPECT_EQ(plc.counters().writes, 1u);
    EXPECT_EQ(told(write(request("Main.int", "6"))), "done") << "the session goes on";
}

TEST_F(WritePathTest, ARefusedWriteTellsThePlcsWord) {
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Status, 0x0304}, 1, sim::Service::Write);
    EXPECT_EQ(told(write(request("Main.int", "5"))),
              "refused: write of 1 item(s), the first in area 1 at 4, 2 bytes: the PLC refused it with status word "
              "0x0304");
}

TEST_F(WritePathTest, AWriteIsNotKeptForAnotherConnection) {
    settings.loop.replyTimeout = host::Milliseconds(60000);
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Delay, 60000}, 1, sim::Service::Read);
    waitForFault();
    const WriteTicket plain = path->order(request("Main.int", "5"));
    const WriteTicket compared = path->order(request("Main.uint", "0", "6"));
    plc.inject({sim::FaultKind::None, 0}, 0);
    plc.dropConnections();
    EXPECT_THAT(told(end(plain)), StartsWith("not sent: "));
    EXPECT_THAT(told(end(compared)), StartsWith("not sent: "));
    read("Main.bool");
    EXPECT_EQ(told(write(request("Main.dint", "7"))), "done") << "there is another connection";
    EXPECT_EQ(plc.counters().writes, 1u);
}

// It goes to the driver while a reply is awaited, and the driver would send it once a session is open again.
TEST_F(WritePathTest, AWriteThatTheDriverHoldsIsNotKeptForAnotherConnection) {
    settings.loop.replyTimeout = host::Milliseconds(60000);
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Delay, 60000}, 1, sim::Service::Read);
    waitForFault();
    const WriteTicket held = path->order(request("Main.int", "5"));
    std::this_thread::sleep_for(host::Milliseconds(test::paced(100)));
    plc.inject({sim::FaultKind::None, 0}, 0);
    plc.dropConnections();
    EXPECT_THAT(told(end(held)), StartsWith("not sent: the session with the PLC ended with the earlier connection"));
    EXPECT_EQ(told(write(request("Main.dint", "7"))), "done") << "there is another connection";
    EXPECT_EQ(plc.counters().writes, 1u);
}

TEST_F(WritePathTest, AWriteIntoALinkThatIsDownFailsAfterItsDeadlineAndIsNotSentLater) {
    settings.writeDeadline = host::Milliseconds(300);
    settings.loop.plc.port = 1;  // nobody listens there
    beginPath({"Main.int"});
    EXPECT_THAT(told(write(request("Main.int", "5"))), StartsWith("not sent: no connection to 127.0.0.1:1"));
    EXPECT_EQ(plc.counters().writes, 0u);
}

// These wait for one another.
TEST_F(WritePathTest, AListOfComparedWritesGoesOutWholeHoweverLongItTakesWhereTheDeadlineIsForTheLinkAlone) {
    settings.writeDeadline = host::Milliseconds(1);
    settings.isDeadlineForLinkAlone = true;
    beginPath({"Main.bool"});
    read("Main.bool");
    std::vector<WriteTicket> tickets;
    for (int i = 1; i <= 20; ++i) {
        tickets.push_back(path->order(request("Main.many[" + std::to_string(i) + "]", "0", "7")));
    }
    for (const WriteTicket& ticket : tickets) {
        EXPECT_EQ(told(end(ticket)), "done");
    }
}

// Each is read first, and goes by itself: to the PLC they would take two seconds and more.
TEST_F(WritePathTest, AWriteWhoseTurnDoesNotComeBeforeItsDeadlineIsNotSentLater) {
    settings.writeDeadline = host::Milliseconds(300);
    settings.loop.replyTimeout = host::Milliseconds(60000);
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Delay, 100}, 1000000, sim::Service::Read);
    std::vector<WriteTicket> tickets;
    for (int i = 1; i <= 20; ++i) {
        tickets.push_back(path->order(request("Main.many[" + std::to_string(i) + "]", "0", "7")));
    }
    EXPECT_EQ(told(end(tickets.back())), "not sent: its turn did not come before its deadline");
    plc.inject({sim::FaultKind::None, 0}, 0);
    std::size_t sent = 0;
    for (const WriteTicket& ticket : tickets) {
        sent += end(ticket).outcome == WriteOutcome::NotSent ? 0 : 1;
    }
    const std::int32_t reading = session->readOnce(tag("Main.int"));
    EXPECT_TRUE(eventually([&] { return session->order(reading)->step == host::OrderStep::Succeeded; }));
    EXPECT_EQ(plc.counters().writes, sent);
}

TEST_F(WritePathTest, AnArrayOfWhichAPartWasTakenIsUnknown) {
    settings.maxRequestWords = 50;
    beginPath({"Main.bool"});
    read("Main.bool");
    // 1000 INT are 2000 bytes: requests of at most 100 bytes each, seven of them in a frame.
    WriteRequest many = request("Main.int", "0");
    many.tag = tag("Main.many[1..1000]");
    many.values.assign(1000, std::int64_t{257});
    plc.inject({sim::FaultKind::Delay, 150}, 1, sim::Service::Write);
    const WriteTicket ticket = path->order(many);
    waitForFault();
    plc.inject({sim::FaultKind::Status, 0x0304}, 1, sim::Service::Write);
    const WriteReport report = end(ticket);
    EXPECT_EQ(writeOutcomeName(report.outcome), std::string("unknown"));
    EXPECT_THAT(report.failure.text,
                StartsWith("1 of its requests went out well, then one failed; the PLC has a part of it (write of "));
    EXPECT_EQ(inPlc(2, 0, 2), "01 01");
    EXPECT_EQ(inPlc(2, 1998, 2), "00 00");
}

TEST_F(WritePathTest, AWriteOfBitVariablesWhoseReplyIsLostIsUnknown) {
    settings.retryLimit = 0;
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Reset, 0}, 1, sim::Service::Write);
    EXPECT_EQ(write(request("Main.bits[2..3]", "1,1")).outcome, WriteOutcome::Unknown);
}

TEST_F(WritePathTest, WhatTheSessionEndsWithIsUnknownWhenItWasSentAndNotSentOtherwise) {
    settings.loop.replyTimeout = host::Milliseconds(60000);
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Silence, 0}, 1000, sim::Service::Write);
    const WriteTicket sent = path->order(request("Main.int", "5"));
    waitForFault();
    const WriteTicket waiting = path->order(request("Main.uint", "0", "6"));
    session->stop();
    EXPECT_THAT(told(end(sent)), StartsWith("unknown: "));
    EXPECT_EQ(told(end(waiting)), "not sent: the session was ended before its turn came");
    EXPECT_THAT(told(write(request("Main.int", "7"))), StartsWith("not sent: the session was ended"));
}

// ---------------------------------------------------------------------------------------------------------------------
// Waiting for the end
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(WritePathTest, WaitingEndsWhenItsTimeIsOverThoughNothingHappens) {
    settings.loop.replyTimeout = host::Milliseconds(60000);
    settings.loop.cycle = host::Milliseconds(60000);
    beginPath({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Silence, 0}, 1000, sim::Service::Write);
    const WriteTicket ticket = path->order(request("Main.int", "5"));
    waitForFault();
    const host::Time begun = clock.now();
    EXPECT_EQ(told(path->wait(ticket, host::Milliseconds(200)).value_or(WriteReport())), "pending");
    EXPECT_GE(clock.now() - begun, host::Milliseconds(200));
    EXPECT_LT(clock.now() - begun, host::Milliseconds(30000));
}

// Holds up the session's loop, which then wakes nobody, until it is told to go on.
class HoldingGate : public host::WriteGate {
public:
    host::Failure beforeWrite(const host::Order&) override {
        isHolding = true;
        for (int i = 0; i < 2000 && !mayGoOn; ++i) {
            std::this_thread::sleep_for(host::Milliseconds(5));
        }
        return {};
    }
    void afterWrite(const host::Order&) override {}

    std::atomic<bool> isHolding{false};
    std::atomic<bool> mayGoOn{false};
};

// Does something when it is asked for the second time: the first is for the deadline, the second comes behind the first look.
class ClockWithAStep : public host::Clock {
public:
    host::Time now() const override {
        if (++calls_ == 2) {
            step();
        }
        return clock_.now();
    }
    std::function<void()> step;

private:
    host::SteadyClock clock_;
    mutable int calls_ = 0;
};

// The write ends after the first look at it, and before the waiting begins; nobody is woken afterwards.
TEST_F(WritePathTest, AnEndBetweenTheLookAndTheWaitingIsNotMissed) {
    const auto gate = std::make_shared<HoldingGate>();
    pathSettings.gates = {gate};
    beginPath({"Main.bool"});
    read("Main.bool");
    ClockWithAStep stepping;
    host::WritePath observed(*session, stepping, {});
    plc.inject({sim::FaultKind::Delay, 100}, 1, sim::Service::Write);
    const WriteTicket ticket = observed.order(request("Main.int", "5"));
    stepping.step = [&] {
        EXPECT_TRUE(eventually([&] { return observed.report(ticket)->outcome != WriteOutcome::Pending; }));
        path->order(request("Main.uint", "6"));
        EXPECT_TRUE(eventually([&] { return gate->isHolding.load(); }));
    };
    const host::Time begun = clock.now();
    EXPECT_EQ(told(observed.wait(ticket, host::Milliseconds(60000)).value_or(WriteReport())), "done");
    EXPECT_LT(clock.now() - begun, host::Milliseconds(8000)) << "the gate holds for ten seconds";
    gate->mayGoOn = true;
}

// ---------------------------------------------------------------------------------------------------------------------
// Gates
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(WritePathTest, AGateHearsWhatIsReplacedBeforeAndTheOutcomeAfter) {
    plc.write(1, 4, byteString("00 07"));
    auto gate = std::make_shared<NotingGate>();
    pathSettings.gates = {gate};
    beginPath({"Main.bool"});
    EXPECT_EQ(told(write(request("Main.int", "8"))), "done");
    EXPECT_TRUE(eventually([&] { return gate->notes().size() == 2; }));
    EXPECT_THAT(gate->notes(), testing::ElementsAre("before Main.int 7", "after done"));
}

TEST_F(WritePathTest, AGateHearsWhoOrdersAWriteItsNumberAndWhatItTakesBack) {
    struct TermsGate : host::WriteGate {
        host::Failure beforeWrite(const host::Order& write) override {
            terms = write.terms.who + ", " + write.terms.number + ", " + write.terms.undoes;
            return {};
        }
        void afterWrite(const host::Order&) override {}
        std::string terms;
    };
    auto gate = std::make_shared<TermsGate>();
    pathSettings.gates = {gate};
    beginPath({"Main.bool"});
    WriteRequest full = request("Main.int", "8");
    full.who = "anna";
    full.number = "a-1";
    full.undoes = "4711-1";
    EXPECT_EQ(told(write(full)), "done");
    EXPECT_EQ(gate->terms, "anna, a-1, 4711-1");
}

TEST_F(WritePathTest, WhatAGateObjectsToIsNotSentAndTheGatesBeforeItHear) {
    auto first = std::make_shared<NotingGate>();
    auto second = std::make_shared<NotingGate>();
    auto third = std::make_shared<NotingGate>();
    second->objection = {host::FailureKind::Request, "no room on the disk"};
    pathSettings.gates = {first, second, third};
    beginPath({"Main.bool"});
    EXPECT_EQ(told(write(request("Main.int", "8"))), "not sent: no room on the disk");
    EXPECT_TRUE(eventually([&] { return first->notes().size() == 2; }));
    EXPECT_THAT(first->notes(), testing::ElementsAre("before Main.int 0", "after not sent"));
    EXPECT_THAT(second->notes(), testing::ElementsAre("before Main.int 0"));
    EXPECT_THAT(third->notes(), testing::IsEmpty());
    EXPECT_EQ(plc.counters().writes, 0u);
}

TEST_F(WritePathTest, AGateHearsOfAWriteThatTheEndOfTheSessionLeftOpen) {
    settings.loop.replyTimeout = host::Milliseconds(60000);
    auto gate = std::make_shared<NotingGate>();
    pathSettings.gates = {gate};
    beginPath({"Main.bool"});
    plc.inject({sim::FaultKind::Silence, 0}, 1000, sim::Service::Write);
    path->order(request("Main.int", "8"));
    waitForFault();
    session->stop();
    EXPECT_THAT(gate->notes(), testing::ElementsAre("before Main.int 0", "after unknown"));
}

}  // namespace
}  // namespace ac500
