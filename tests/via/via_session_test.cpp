// A session by way of a gateway that goes away and comes back.
#include "tools/host/via/via_session.h"

#include <atomic>
#include <stdexcept>

#include "tests/via/door_plant.h"
#include "tests/via/held_gateway.h"

namespace ac500 {
namespace {

using host::Milliseconds;
using host::ValueState;
using test::HeldGateway;
using testing::HasSubstr;
using via::Json;
using via::ViaSession;

constexpr host::Time kSecond = std::chrono::seconds(1);

// May be put forward, and may fail once in the thread of a session.
class TestClock : public host::Clock {
public:
    host::Time now() const override {
        if (std::this_thread::get_id() != owner_ && breaks_.exchange(false)) {
            throw std::runtime_error("the clock is broken");
        }
        return steady_.now() + host::Time(ahead_.load());
    }
    void putForward(host::Time time) { ahead_ += time.count(); }
    void breakOnce() { breaks_ = true; }

private:
    const std::thread::id owner_ = std::this_thread::get_id();
    const host::SteadyClock steady_{};
    std::atomic<std::int64_t> ahead_{0};
    mutable std::atomic<bool> breaks_{false};
};

class ViaSessionTest : public test::DoorTest {
protected:
    void begin() {
        openDoor();
        host::Failure failure;
        session = ViaSession::connect(path(), clock, Milliseconds(5000), &failure);
        ASSERT_NE(session, nullptr) << failure.text;
        ASSERT_TRUE(session->begin(plant->symbols(), Milliseconds(20000), &failure)) << failure.text;
    }
    ~ViaSessionTest() override { session.reset(); }

    host::Tag tag(const std::string& name) const { return plant->tags()[number(name)].tag; }
    bool eventuallyIs(const std::string& name, ValueState state) {
        return test::eventually([&] { return session->value(tag(name)).state == state; });
    }

    TestClock clock;
    std::unique_ptr<ViaSession> session;
};

TEST_F(ViaSessionTest, AgesStayThoseOfTheGatewaysReceptions) {
    begin();
    session->poll({tag("Main.int")});
    ASSERT_TRUE(eventuallyIs("Main.int", ValueState::Fresh));
    ASSERT_TRUE(session->value(tag("Main.int")).received.has_value());
    const host::Time here = *session->value(tag("Main.int")).received;
    ASSERT_TRUE(test::eventually([&] { return plant->received({number("Main.int")})[0].has_value(); }));
    const host::Time there = *plant->received({number("Main.int")})[0];
    EXPECT_LT(std::abs((there - here).count()), test::paced(500000));
    EXPECT_TRUE(test::eventually([&] { return *session->value(tag("Main.int")).received > here; }));
}

TEST_F(ViaSessionTest, AGatewayThatGoesLeavesNothingFreshAndIsFoundAgain) {
    begin();
    put("Main.int", 4);
    session->poll({tag("Main.int")});
    ASSERT_TRUE(eventuallyIs("Main.int", ValueState::Fresh));
    ASSERT_TRUE(test::eventually([&] { return session->status().isOnline; }));
    door->close();
    EXPECT_TRUE(test::eventually([&] { return session->value(tag("Main.int")).state != ValueState::Fresh; }));
    EXPECT_TRUE(test::eventually([&] { return !session->status().isOnline; }));
    const host::SessionStatus status = session->status();
    ASSERT_TRUE(status.lastFailure);
    EXPECT_EQ(status.lastFailure->failure.kind, host::FailureKind::Tcp);
    EXPECT_THAT(status.lastFailure->failure.text, HasSubstr(path()));
    const std::int32_t serial = session->readOnce(tag("Main.real"));
    ASSERT_TRUE(test::eventually([&] { return session->order(serial)->step == host::OrderStep::Failed; }));
    host::WriteRequest request;
    request.tag = tag("Main.int");
    request.values = {std::int64_t{9}};
    const std::optional<host::WriteReport> report = session->report(session->order(request));
    ASSERT_TRUE(report);
    EXPECT_EQ(report->outcome, host::WriteOutcome::NotSent);
    EXPECT_THAT(report->failure.text, HasSubstr("not sent: "));

    door = std::make_unique<gateway::LocalDoor>(*plant, doorSettings);
    host::Failure failure;
    ASSERT_TRUE(door->open(&failure)) << failure.text;
    EXPECT_TRUE(eventuallyIs("Main.int", ValueState::Fresh));
    EXPECT_TRUE(session->status().isOnline);
}

TEST_F(ViaSessionTest, AWriteThatWasHandedOnWhenTheGatewayGoesIsUnknown) {
    begin();
    simulator.stop();
    ASSERT_TRUE(test::eventually([&] { return !plant->status().isOnline; }));
    host::WriteRequest request;
    request.tag = tag("Main.int");
    request.values = {std::int64_t{9}};
    const host::WriteTicket ticket = session->order(request);
    ASSERT_TRUE(test::eventually(
        [&] { return plant->session().value(tag("Main.int")).state == host::ValueState::WritePending; }));
    EXPECT_EQ(session->report(ticket)->outcome, host::WriteOutcome::Pending);
    door->close();
    ASSERT_TRUE(test::eventually([&] { return session->report(ticket)->outcome == host::WriteOutcome::Unknown; }));
    EXPECT_THAT(session->report(ticket)->failure.text, HasSubstr("did not tell what became of it"));
}

TEST_F(ViaSessionTest, AReadingBringsTheValueOfATagThatNobodyPolls) {
    settings.tags = {"Main.int"};
    begin();
    put("Pump.speed", 11);
    std::string error;
    const std::optional<host::Tag> speed = plant->symbols().find("Pump.speed", &error);
    ASSERT_TRUE(speed);
    EXPECT_TRUE(session->driverKnows(*speed, &error)) << error;
    const std::int32_t serial = session->readOnce(*speed);
    ASSERT_TRUE(test::eventually([&] { return session->order(serial)->step == host::OrderStep::Succeeded; }));
    EXPECT_EQ(session->value(*speed).values, (host::HostValues{std::int64_t{11}}));
}

TEST_F(ViaSessionTest, ManyClientsSeeTheSame) {
    begin();
    put("Main.int", 21);
    std::vector<std::unique_ptr<ViaSession>> others;
    for (int i = 0; i < 20; ++i) {
        host::Failure failure;
        others.push_back(ViaSession::connect(path(), clock, Milliseconds(5000), &failure));
        ASSERT_NE(others.back(), nullptr) << failure.text;
        ASSERT_TRUE(others.back()->begin(plant->symbols(), Milliseconds(5000), &failure));
        others.back()->poll({tag("Main.int"), tag("Main.real")});
    }
    for (const std::unique_ptr<ViaSession>& other : others) {
        EXPECT_TRUE(test::eventually(
            [&] { return other->value(tag("Main.int")).values == host::HostValues{std::int64_t{21}}; }));
    }
}

// The session is with the held gateway, which says hello as the one behind the door does.
class HeldGatewayTest : public ViaSessionTest {
protected:
    ~HeldGatewayTest() override { session.reset(); }

    void begin(Milliseconds writeDeadline = Milliseconds(5000)) {
        openDoor();
        hello = test::RawClient(path()).hear();
        gateway = std::make_unique<HeldGateway>(folder.path() + "/held.sock");
        std::thread doorman([&] { EXPECT_TRUE(gateway->letIn(hello)); });
        host::Failure failure;
        session = ViaSession::connect(folder.path() + "/held.sock", clock, Milliseconds(5000), &failure);
        const bool hasBegun = session != nullptr && session->begin(plant->symbols(), writeDeadline, &failure);
        doorman.join();
        ASSERT_TRUE(hasBegun) << failure.text;
    }

    // The news of a value of Main.int that the gateway received just now.
    void tellFreshValue() {
        session->poll({tag("Main.int")});
        const std::int64_t list = via::numberAt(gateway->hear("watch"), "id").value_or(0);
        const std::int64_t now = via::numberAt(hello, "clock").value_or(0) + (clock.now() - began).count();
        ASSERT_TRUE(gateway->tell(
            {{"clock", now},
             {"watch", list},
             {"session", {{"state", "exchanging"}, {"online", true}, {"cycles", {{"count", 1}, {"last_us", 900000}}}}},
             {"values", {{{"tag", 0}, {"state", "fresh"}, {"values", "21"}, {"received", now}}}}}));
        ASSERT_EQ(session->value(tag("Main.int")).state, ValueState::Fresh);
    }

    host::WriteTicket orderWrite() {
        host::WriteRequest request;
        request.tag = tag("Main.int");
        request.values = {std::int64_t{9}};
        return session->order(request);
    }
    host::OrderStep step(std::int32_t serial) const { return session->order(serial)->step; }

    Json hello;
    const host::Time began = clock.now();
    std::unique_ptr<HeldGateway> gateway;
};

TEST_F(HeldGatewayTest, AWriteThatLayInTheSocketBeyondItsDeadlineIsNotSent) {
    settings.session.writeDeadline = Milliseconds(2000);
    begin(Milliseconds(2000));
    put("Main.int", 4);
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 4"));
    orderWrite();
    const Json write = gateway->hear("write");
    ASSERT_EQ(via::textAt(write, "tag"), "Main.int");
    std::this_thread::sleep_for(std::chrono::milliseconds(2200));

    test::RawClient late(path());
    ASSERT_TRUE(late.hear().contains("ac500_gateway"));
    ASSERT_TRUE(late.say(via::lineOf(write) + "\n"));
    Json news;
    int id = 0;
    ASSERT_TRUE(test::eventually([&] {
        EXPECT_TRUE(late.say(via::lineOf({{"id", ++id}, {"do", "news"}}) + "\n"));
        news = late.hear();
        return news.contains("writes");
    })) << news;
    ASSERT_EQ(via::arrayAt(news, "writes").size(), 1U) << news;
    EXPECT_EQ(via::textAt(news["writes"][0], "outcome"), "not sent");
    std::string error;
    EXPECT_EQ(simulator.readNumber(*plant->symbols().catalog().element("Main.int", &error)), 4);
}

TEST_F(HeldGatewayTest, NamesAreAskedForTogetherAndOnce) {
    begin();
    const host::Time deadline = clock.now() + 60 * kSecond;
    std::vector<std::string> problems;
    host::Failure failure;
    std::thread asker([&] {
        EXPECT_TRUE(session->findAll({tag("Main.int"), tag("Main.real")}, deadline, &problems, &failure));
        EXPECT_TRUE(session->findAll({tag("Main.real"), tag("Main.on")}, deadline, &problems, &failure));
    });
    EXPECT_EQ(gateway->hear("find")["tags"], (Json{"Main.int", "Main.real"}));
    gateway->answer({{"problems", Json::array()}});
    EXPECT_EQ(gateway->hear("find")["tags"], Json{"Main.on"});
    gateway->answer({{"problems", {"Main.on is elsewhere"}}});
    asker.join();
    EXPECT_EQ(problems, std::vector<std::string>{"Main.on is elsewhere"});

    EXPECT_TRUE(session->findAll({tag("Main.real")}, clock.now(), &problems, &failure)) << failure.text;
    EXPECT_FALSE(session->findAll({tag("Main.on")}, clock.now(), &problems, &failure)) << "it was no good before";
    EXPECT_THAT(failure.text, HasSubstr("held.sock does not answer"));
}

// Each list costs the gateway a look at all its tags.
TEST_F(HeldGatewayTest, OfManyListsThatAreWatchedSoonAfterEachOtherFewAreTold) {
    begin();
    std::vector<host::Tag> tags(10000, tag("Main.int"));
    session->poll(tags);
    ASSERT_EQ(via::arrayAt(gateway->hear("watch"), "tags").size(), 10000U);
    for (int i = 0; i < 100; ++i) {
        tags.pop_back();
        session->poll(tags);
    }
    int lists = 0;
    std::size_t told = 0;
    while (told != 9900 && lists < 100) {
        told = via::arrayAt(gateway->hear("watch"), "tags").size();
        ++lists;
    }
    EXPECT_EQ(told, 9900U);
    EXPECT_LT(lists, 50);
}

TEST_F(HeldGatewayTest, AValueOfWhichNothingIsHeardBecomesStale) {
    begin();
    tellFreshValue();
    clock.putForward(2 * kSecond);
    EXPECT_EQ(session->value(tag("Main.int")).state, ValueState::Fresh);  // of three passes of 0.9 s
    clock.putForward(kSecond * 8 / 10);
    EXPECT_EQ(session->value(tag("Main.int")).state, ValueState::Stale);
    EXPECT_GE(session->value(tag("Main.int")).age, Milliseconds(2800));
}

TEST_F(HeldGatewayTest, AValueIsStaleWhileTheGatewayHasNoLink) {
    begin();
    tellFreshValue();
    ASSERT_TRUE(gateway->tell({{"session", {{"state", "disconnected"}, {"online", false}}}}));
    EXPECT_EQ(session->value(tag("Main.int")).state, ValueState::Stale);
}

TEST_F(HeldGatewayTest, AGatewayThatBeganAnewIsNotOnlineUntilItSaysSo) {
    begin();
    tellFreshValue();
    ASSERT_TRUE(session->status().isOnline);
    gateway->hangUp();
    ASSERT_TRUE(gateway->letIn(hello));
    EXPECT_FALSE(session->status().isOnline);
    EXPECT_EQ(session->value(tag("Main.int")).state, ValueState::Stale);
}

TEST_F(HeldGatewayTest, ASilentGatewayEndsWhatWasOrderedAndIsTriedAnew) {
    begin();
    const std::int32_t reading = session->readOnce(tag("Main.int"));
    const host::WriteTicket write = orderWrite();
    ASSERT_FALSE(gateway->hear("write").empty());
    EXPECT_FALSE(host::hasEnded(step(reading)));
    clock.putForward(4 * kSecond);
    ASSERT_TRUE(test::eventually([&] { return step(reading) == host::OrderStep::Failed; }));
    EXPECT_THAT(session->order(reading)->failure.text, HasSubstr("has said nothing for 3 s"));
    EXPECT_EQ(session->report(write)->outcome, host::WriteOutcome::Unknown);
    EXPECT_THAT(session->report(write)->failure.text, HasSubstr("has said nothing for 3 s"));

    EXPECT_EQ(step(session->readOnce(tag("Main.int"))), host::OrderStep::Failed);
    EXPECT_EQ(session->report(orderWrite())->outcome, host::WriteOutcome::NotSent);

    ASSERT_TRUE(gateway->letIn(hello));
    EXPECT_EQ(session->report(orderWrite())->outcome, host::WriteOutcome::Pending);
    EXPECT_FALSE(gateway->hear("write").empty());
}

TEST_F(HeldGatewayTest, WhatIsOrderedDuringAReconnectionGoesOut) {
    constexpr int kReconnections = 4;
    begin();
    const host::Tag ordered = tag("Main.int");
    const auto isRefused = [&] { return step(session->readOnce(ordered)) == host::OrderStep::Failed; };
    for (int i = 0; i < kReconnections; ++i) {
        gateway->hangUp();
        ASSERT_TRUE(test::eventually(isRefused));
        std::atomic<bool> isOver{false};
        std::int32_t first = 0;  // that is not refused
        std::thread caller([&] {
            while (!isOver && first == 0) {
                const std::int32_t serial = session->readOnce(ordered);
                first = step(serial) == host::OrderStep::Failed ? 0 : serial;
            }
        });
        const bool isIn = gateway->letIn(hello);
        const Json heard = isIn ? gateway->hear("read") : Json::object();
        isOver = true;
        caller.join();
        ASSERT_NE(first, 0);
        EXPECT_EQ(via::numberAt(heard, "order"), first);
    }
}

TEST_F(HeldGatewayTest, EventsOfAGatewayThatBeganAnewAreTold) {
    begin();
    ASSERT_TRUE(gateway->tell({{"events", {{{"number", 7}, {"event", "session.opened"}, {"text", "first"}}}}}));
    ASSERT_EQ(session->eventsSince(0).size(), 1U);
    EXPECT_EQ(session->eventsSince(0)[0].number, 0U);
    gateway->hangUp();
    ASSERT_TRUE(gateway->letIn(hello));
    ASSERT_TRUE(gateway->tell({{"events", {{{"number", 0}, {"event", "session.opened"}, {"text", "second"}}}}}));
    ASSERT_EQ(session->eventsSince(1).size(), 1U);
    EXPECT_EQ(session->eventsSince(1)[0].text, "second");
    EXPECT_EQ(session->status().events, 2U);
}

TEST_F(HeldGatewayTest, AnExceptionInTheThreadThatTalksEndsWhatWasOrdered) {
    begin();
    const std::int32_t reading = session->readOnce(tag("Main.int"));
    const host::WriteTicket write = orderWrite();
    ASSERT_FALSE(gateway->hear("write").empty());
    clock.breakOnce();
    ASSERT_TRUE(test::eventually([&] { return step(reading) == host::OrderStep::Failed; }));
    EXPECT_EQ(session->order(reading)->failure.text, "the session has ended: the clock is broken");
    EXPECT_EQ(session->report(write)->outcome, host::WriteOutcome::Unknown);
    EXPECT_FALSE(session->status().isOnline);
    EXPECT_EQ(session->report(orderWrite())->outcome, host::WriteOutcome::NotSent);
}

}  // namespace
}  // namespace ac500
