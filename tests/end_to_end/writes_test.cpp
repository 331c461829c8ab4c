// Writes: each comes to an end that is reported, whatever happens on the way.
#include <random>

#include "tests/end_to_end/plant.h"
#include "tests/support/places.h"

namespace ac500 {
namespace {

using host::OrderStep;

class WritesTest : public PlantTest {
protected:
    std::vector<std::int32_t> orderMany(int count) {
        std::vector<std::int32_t> serials;
        for (int i = 1; i <= count; ++i) {
            serials.push_back(order("Main.many[" + std::to_string(i) + "]", std::to_string(i)));
        }
        return serials;
    }
    int countOf(const std::vector<std::int32_t>& serials, OrderStep step) const {
        return static_cast<int>(
            std::count_if(serials.begin(), serials.end(), [&](std::int32_t serial) { return stepOf(serial) == step; }));
    }
    bool isInPlc(int i) const {
        return plc.read({2, 2 * i - 2, 2}) == std::string({static_cast<char>(i >> 8), static_cast<char>(i & 0xFF)});
    }
};

TEST_F(WritesTest, FiveHundredAtOnceAllArrive) {
    begin({"Main.bool"});
    const std::vector<std::int32_t> serials = orderMany(500);
    EXPECT_TRUE(eventually([&] { return countOf(serials, OrderStep::Succeeded) == 500; })) << lastFailure();
    for (int i = 1; i <= 500; ++i) {
        EXPECT_TRUE(isInPlc(i)) << i;
    }
}

TEST_F(WritesTest, OneTagWrittenManyTimesEndsWithTheLastValueAndEveryWriteIsReported) {
    begin({"Main.int"});
    std::vector<std::int32_t> serials;
    for (int i = 1; i <= 200; ++i) {
        serials.push_back(order("Main.int", std::to_string(i)));
    }
    EXPECT_TRUE(eventually([&] { return countOf(serials, OrderStep::Succeeded) == 200; }));
    EXPECT_EQ(inPlc(1, 4, 2), "00 C8");
    EXPECT_TRUE(eventually([&] { return read("Main.int") == "200"; }));
}

TEST_F(WritesTest, WhatTheDriverDropsAfterAFailedRequestIsReportedOneByOne) {
    begin({"Main.bool"});
    read("Main.bool");
    // The first write request is refused; all others that the driver holds go with it.
    plc.inject({sim::FaultKind::Status, 3}, 1, sim::Service::Write);
    const std::vector<std::int32_t> serials = orderMany(400);
    EXPECT_TRUE(eventually(
        [&] { return countOf(serials, OrderStep::Succeeded) + countOf(serials, OrderStep::Failed) == 400; }));
    int failedThemselves = 0;
    int dropped = 0;
    for (const std::int32_t serial : serials) {
        const std::string why = failureOf(serial);
        failedThemselves += why.find("write of ") == 0 ? 1 : 0;
        dropped += why.find("dropped by the driver") == 0 ? 1 : 0;
        if (stepOf(serial) == OrderStep::Failed) {
            EXPECT_NE(why.find("the PLC refused it with status word 0x0003"), std::string::npos) << why;
            EXPECT_EQ(why.find("may or may not"), std::string::npos) << why;
            EXPECT_EQ(why.find("status 41"), std::string::npos) << why;
        }
    }
    EXPECT_GT(failedThemselves, 0);
    EXPECT_EQ(failedThemselves + dropped, countOf(serials, OrderStep::Failed));
}

TEST_F(WritesTest, NoneIsLostWhileTheLinkComesAndGoes) {
    settings.loop.replyTimeout = host::Milliseconds(test::paced(150));
    begin({"Main.bool", "Main.left"});
    read("Main.bool");
    std::mt19937 random(4711);
    const sim::FaultKind kinds[] = {sim::FaultKind::Reset, sim::FaultKind::Silence, sim::FaultKind::Status,
                                    sim::FaultKind::Glue, sim::FaultKind::Restart};
    std::vector<std::int32_t> serials;
    const auto allHaveEnded = [&] {
        return countOf(serials, OrderStep::Succeeded) + countOf(serials, OrderStep::Failed) ==
               static_cast<int>(serials.size());
    };
    for (int round = 0; round < 25; ++round) {
        const bool isCalm = round % 5 == 4;  // the link works for a while, however slow the machine
        if (isCalm) {
            plc.inject({sim::FaultKind::None, 0}, 0);
            EXPECT_TRUE(eventually(allHaveEnded)) << lastFailure();
        } else {
            plc.inject({kinds[random() % 5], 0}, 1 + static_cast<std::uint32_t>(random() % 3));
        }
        for (int i = 0; i < 40; ++i) {
            const int element = 1 + round * 40 + i;
            serials.push_back(order("Main.many[" + std::to_string(element) + "]", std::to_string(element)));
        }
        if (isCalm) {
            EXPECT_TRUE(eventually(allHaveEnded)) << lastFailure();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 60));
    }
    EXPECT_TRUE(eventually(allHaveEnded)) << lastFailure();
    ASSERT_EQ(serials.size(), 1000u);
    for (int i = 1; i <= 1000; ++i) {
        const std::int32_t serial = serials[static_cast<std::size_t>(i - 1)];
        if (stepOf(serial) == OrderStep::Succeeded) {
            EXPECT_TRUE(isInPlc(i)) << i;
        } else {
            EXPECT_NE(failureOf(serial), "") << i;
        }
    }
    EXPECT_GT(countOf(serials, OrderStep::Succeeded), 0);
    EXPECT_GT(countOf(serials, OrderStep::Failed), 0);
    // And the link still works.
    plc.inject({sim::FaultKind::None, 0}, 0);
    write("Main.int", "77");
    EXPECT_EQ(inPlc(1, 4, 2), "00 4D");
}

TEST_F(WritesTest, WithoutALinkAWriteFailsAfterItsDeadlineAndIsNotSentLater) {
    settings.writeDeadline = host::Milliseconds(300);
    settings.loop.plc.port = 1;  // nobody listens there
    begin({"Main.int"});
    const std::int32_t serial = order("Main.int", "5");
    EXPECT_EQ(stateOf("Main.int"), host::ValueState::WritePending);
    EXPECT_TRUE(eventually([&] { return hasEnded(serial); }));
    EXPECT_EQ(stepOf(serial), OrderStep::Failed);
    EXPECT_EQ(failureOf(serial).find("not sent: no connection to 127.0.0.1:1"), 0u) << failureOf(serial);
    EXPECT_EQ(session->order(serial)->failure.kind, host::FailureKind::Tcp);
    EXPECT_EQ(stateOf("Main.int"), host::ValueState::WriteFailed);
    EXPECT_FALSE(session->value(tag("Main.int")).isKnown);
}

TEST_F(WritesTest, WritesThatTheDriverHoldsWhenTheLinkGoesForGoodFailAfterTheirDeadline) {
    settings.writeDeadline = host::Milliseconds(test::paced(1000));
    settings.loop.replyTimeout = host::Milliseconds(60000);
    begin({"Main.bool"});
    read("Main.bool");
    // The link goes while a cyclic read is in flight: that one is given up, and the writes stay with the driver.
    plc.inject({sim::FaultKind::Delay, 60000}, 1, sim::Service::Read);
    EXPECT_TRUE(eventually([&] { return plc.counters().faults == 1; }));
    const std::vector<std::int32_t> serials = orderMany(100);
    EXPECT_TRUE(eventually([&] { return countOf(serials, OrderStep::WithDriver) == 100; }));
    plc.stop();
    EXPECT_TRUE(eventually([&] { return countOf(serials, OrderStep::Failed) == 100; }));
    for (const std::int32_t serial : serials) {
        EXPECT_EQ(failureOf(serial).find("not sent: "), 0u) << failureOf(serial);
    }
}

TEST_F(WritesTest, AtTheEndOfTheSessionEveryPendingWriteFails) {
    begin({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Silence, 0}, 1000);
    const std::vector<std::int32_t> serials = orderMany(100);
    const std::int32_t bit = order("Main.word.b[3]", "1");
    EXPECT_TRUE(eventually([&] { return countOf(serials, OrderStep::WithDriver) > 0; }));
    session->stop();
    EXPECT_EQ(countOf(serials, OrderStep::Failed), 100);
    EXPECT_EQ(stepOf(bit), OrderStep::Failed);
    for (const std::int32_t serial : serials) {
        EXPECT_NE(failureOf(serial), "");
    }
    const std::int32_t tooLate = order("Main.int", "1");
    EXPECT_EQ(stepOf(tooLate), OrderStep::Failed);
}

TEST_F(WritesTest, AtTheEndOfTheSessionABitWriteThatIsStillReadingFails) {
    settings.loop.replyTimeout = host::Milliseconds(5000);
    begin({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Delay, 2000}, 1, sim::Service::Read);
    EXPECT_TRUE(eventually([&] { return plc.counters().faults == 1; }));
    const std::int32_t bit = order("Main.word.b[3]", "1");
    EXPECT_TRUE(eventually([&] { return stepOf(bit) == OrderStep::ReadingFirst; }));
    session->stop();
    EXPECT_EQ(stepOf(bit), OrderStep::Failed);
    EXPECT_EQ(failureOf(bit).find("not sent: "), 0u) << failureOf(bit);
    EXPECT_EQ(plc.counters().writes, 0u);
}

TEST_F(WritesTest, WhatFailedWithASessionIsNotSentByTheNext) {
    settings.loop.replyTimeout = host::Milliseconds(5000);
    begin({"Main.bool"});
    read("Main.bool");
    plc.inject({sim::FaultKind::Delay, 2000}, 1, sim::Service::Read);
    EXPECT_TRUE(eventually([&] { return plc.counters().faults == 1; }));
    const std::int32_t serial = order("Main.int", "99");
    EXPECT_TRUE(eventually([&] { return stepOf(serial) == OrderStep::WithDriver; }));
    session->stop();
    EXPECT_EQ(stepOf(serial), OrderStep::Failed);
    session.reset();
    plc.write(1, 4, byteString("00 01"));
    begin({"Main.int"});
    EXPECT_EQ(read("Main.int"), "1");
    EXPECT_EQ(plc.counters().writes, 0u);
}

TEST_F(WritesTest, AFailedWriteLeavesNoValueUntilThePlcWasReadAgain) {
    settings.retryLimit = 0;
    plc.write(1, 4, byteString("00 07"));
    begin({"Main.int"});
    EXPECT_EQ(read("Main.int"), "7");
    // From the write on nothing is answered: the driver's image holds the 5, and nobody knows what the PLC has.
    plc.inject({sim::FaultKind::Silence, 0}, 1000, sim::Service::Write);
    const std::int32_t serial = order("Main.int", "5");
    EXPECT_TRUE(eventually([&] { return plc.counters().faults > 0; }));
    plc.inject({sim::FaultKind::Silence, 0}, 1000);
    EXPECT_TRUE(eventually([&] { return stepOf(serial) == OrderStep::Failed; }));
    EXPECT_EQ(stateOf("Main.int"), host::ValueState::WriteFailed);
    EXPECT_FALSE(session->value(tag("Main.int")).isKnown);
    plc.inject({sim::FaultKind::None, 0}, 0);
    EXPECT_TRUE(eventually([&] { return session->value(tag("Main.int")).isKnown; })) << lastFailure();
    EXPECT_EQ(session->value(tag("Main.int")).values, host::HostValues{std::int64_t{5}});
}

TEST_F(WritesTest, AWrittenValueIsPendingUntilThePlcWasReadAgain) {
    begin({"Main.int", "Main.uint"});
    read("Main.int");
    plc.inject({sim::FaultKind::Delay, 150}, 1, sim::Service::Write);
    const std::int32_t serial = order("Main.int", "5");
    EXPECT_EQ(stateOf("Main.int"), host::ValueState::WritePending);
    EXPECT_NE(stateOf("Main.uint"), host::ValueState::WritePending);
    EXPECT_TRUE(eventually([&] { return stepOf(serial) == OrderStep::Succeeded; }));
    EXPECT_EQ(read("Main.int"), "5");
}

TEST_F(WritesTest, AFailedWriteIsShownAndItsValueIsThePlcsOwnAgain) {
    settings.retryLimit = 0;
    plc.write(1, 4, byteString("00 07"));
    begin({"Main.int"});
    EXPECT_EQ(read("Main.int"), "7");
    plc.inject({sim::FaultKind::Silence, 0}, 1, sim::Service::Write);
    const std::int32_t serial = order("Main.int", "5");
    bool wrongValueShown = false;
    EXPECT_TRUE(eventually([&] {
        const host::TagValue value = session->value(tag("Main.int"));
        wrongValueShown = wrongValueShown || (value.isKnown && value.state != host::ValueState::WritePending &&
                                              value.values != host::HostValues{std::int64_t{7}} &&
                                              value.values != host::HostValues{std::int64_t{5}});
        return stepOf(serial) == OrderStep::Failed;
    }));
    EXPECT_EQ(stateOf("Main.int"), host::ValueState::WriteFailed);
    EXPECT_NE(session->value(tag("Main.int")).failure.text.find("the PLC may or may not have it"), std::string::npos);
    // The PLC carried it out and only its answer was lost: the value is what it says when it is read again.
    EXPECT_TRUE(eventually([&] {
        const host::TagValue value = session->value(tag("Main.int"));
        return value.isKnown && value.values == host::HostValues{std::int64_t{5}};
    }));
    EXPECT_FALSE(wrongValueShown);
}

TEST_F(WritesTest, ARefusedWriteOfAReservedVariableTellsTheStatusWord) {
    const host::TagTable withSimulator(sim::withReservedVariables(file));
    std::string error;
    driver = host::DriverLibrary::load(test::kDriver, &error);
    ASSERT_NE(driver, nullptr) << error;
    session = std::make_unique<host::HostSession>(
        host::HostSession::Parts{driver->functions(), withSimulator, clock,
                                 [] { return std::make_unique<host::TcpTransport>(); }},
        settings);
    ASSERT_TRUE(session->start(&error)) << error;
    const host::Tag bootCount = *withSimulator.find("Sim.boot_count", &error);
    session->poll({bootCount});
    const std::int32_t serial = session->write(bootCount, {std::uint64_t{9}});
    EXPECT_TRUE(eventually([&] { return hasEnded(serial); }));
    EXPECT_EQ(stepOf(serial), OrderStep::Failed);
    EXPECT_EQ(failureOf(serial),
              "write of 1 item(s), the first in area 9 at 20, 4 bytes: the PLC refused it with status word 0x0304");
    EXPECT_EQ(plc.counters().refused, 1U) << "it was not sent again";
}

}  // namespace
}  // namespace ac500
