// Each fault of the simulated PLC, met by reading, by the handshake and by writing: the loop survives, no value is wrong,
// and every write comes to an end that can be told.
#include "tests/end_to_end/plant.h"

namespace ac500 {
namespace {

struct Meeting {
    const char* name;
    sim::Fault fault;
    std::optional<sim::Service> service;
};

void PrintTo(const Meeting& meeting, std::ostream* out) {
    *out << meeting.name;
}

std::string nameOf(const testing::TestParamInfo<Meeting>& info) {
    return info.param.name;
}

class FaultsTest : public PlantTest, public testing::WithParamInterface<Meeting> {
protected:
    FaultsTest() {
        settings.maxRequestWords = 200;
        // Byte by byte, 800 bytes take a second and more.
        const bool isSlow = GetParam().fault.kind == sim::FaultKind::Fragments;
        settings.loop.replyTimeout = host::Milliseconds(isSlow ? 10000 : test::paced(200));
        plc.write(1, 2000, sequence(1000));
        plc.write(1, 4000, sequence(5000));
    }

    // 200 words: first, first + 1, ...
    static std::string sequence(int first) {
        std::string bytes;
        for (int word = first; word < first + 200; ++word) {
            bytes += static_cast<char>(word >> 8);
            bytes += static_cast<char>(word & 0xFF);
        }
        return bytes;
    }

    void expectSequence(const std::string& text, std::int64_t first) const {
        const host::TagValue value = session->value(tag(text));
        for (std::size_t i = 0; i < value.values.size(); ++i) {
            ASSERT_EQ(std::get<std::int64_t>(value.values[i]), first + static_cast<std::int64_t>(i)) << text;
        }
    }
    void expectNoWrongValue() const {
        expectSequence("Main.left", 1000);
        expectSequence("Main.right", 5000);
    }

    // A fault of the handshake needs one: the link is broken until all were met.
    void meetFaults(std::uint64_t faults) {
        const bool inHandshake =
            GetParam().service == sim::Service::Hello || GetParam().service == sim::Service::Symbols;
        EXPECT_TRUE(eventually([&] {
            expectNoWrongValue();
            const bool isMet = plc.counters().faults >= faults;
            if (!isMet && inHandshake && session->status().isOnline) {
                plc.dropConnections();
            }
            return isMet;
        })) << lastFailure();
    }

    // Everything that is polled is received once more, later than now.
    void expectRecovery() {
        const std::int64_t frames = session->status().statistics.framesAccepted;
        EXPECT_TRUE(eventually([&] {
            expectNoWrongValue();
            return session->status().isOnline && session->status().statistics.framesAccepted > frames + 4 &&
                   stateOf("Main.left") == host::ValueState::Fresh && stateOf("Main.right") == host::ValueState::Fresh;
        })) << lastFailure();
    }
};

TEST_P(FaultsTest, IsSurvivedWhileValuesAreRead) {
    begin({"Main.left", "Main.right"});
    read("Main.left");
    read("Main.right");
    plc.inject(GetParam().fault, 3, GetParam().service);
    if (GetParam().service == sim::Service::Write) {
        order("Main.int", "1");
        order("Main.int", "2");
        order("Main.int", "3");
    }
    meetFaults(GetParam().service == sim::Service::Write ? 1 : 3);
    expectRecovery();
}

TEST_P(FaultsTest, LosesNoWriteWithoutAReport) {
    begin({"Main.left", "Main.right"});
    read("Main.left");
    plc.inject(GetParam().fault, 3, GetParam().service);
    std::vector<std::int32_t> serials;
    for (int i = 1; i <= 200; ++i) {
        serials.push_back(order("Main.many[" + std::to_string(i) + "]", std::to_string(i)));
    }
    for (int i = 1; i <= 200; ++i) {
        const std::int32_t serial = serials[static_cast<std::size_t>(i - 1)];
        EXPECT_TRUE(eventually([&] { return hasEnded(serial); })) << i;
        if (stepOf(serial) == host::OrderStep::Succeeded) {
            EXPECT_EQ(plc.read({2, 2 * i - 2, 2}),
                      std::string({static_cast<char>(i >> 8), static_cast<char>(i & 0xFF)}));
        } else {
            EXPECT_NE(failureOf(serial), "");
        }
    }
    expectRecovery();
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, FaultsTest,
    testing::Values(Meeting{"DelayOfReads", {sim::FaultKind::Delay, 60}, sim::Service::Read},
                    Meeting{"SilenceAtReads", {sim::FaultKind::Silence, 0}, sim::Service::Read},
                    Meeting{"SilenceAtWrites", {sim::FaultKind::Silence, 0}, sim::Service::Write},
                    Meeting{"SilenceAtTheFirstHandshakeFrame", {sim::FaultKind::Silence, 0}, sim::Service::Hello},
                    Meeting{"SilenceAtTheSecondHandshakeFrame", {sim::FaultKind::Silence, 0}, sim::Service::Symbols},
                    Meeting{"LateReads", {sim::FaultKind::Late, test::paced(300)}, sim::Service::Read},
                    Meeting{"LateWrites", {sim::FaultKind::Late, test::paced(300)}, sim::Service::Write},
                    Meeting{"TruncatedReads", {sim::FaultKind::Truncate, 0}, sim::Service::Read},
                    Meeting{"TruncatedWrites", {sim::FaultKind::Truncate, 3}, sim::Service::Write},
                    Meeting{"TruncatedHandshake", {sim::FaultKind::Truncate, 20}, sim::Service::Hello},
                    Meeting{"LengthOneTooLongAtReads", {sim::FaultKind::Length, 1}, sim::Service::Read},
                    Meeting{"LengthTooShortAtReads", {sim::FaultKind::Length, -100}, sim::Service::Read},
                    Meeting{"LengthTooShortAtWrites", {sim::FaultKind::Length, -1}, sim::Service::Write},
                    Meeting{"LengthTooShortAtTheHandshake", {sim::FaultKind::Length, -50}, sim::Service::Hello},
                    Meeting{"StatusAtReads", {sim::FaultKind::Status, 3}, sim::Service::Read},
                    Meeting{"StatusAtWrites", {sim::FaultKind::Status, 3}, sim::Service::Write},
                    Meeting{"FragmentsOfReads", {sim::FaultKind::Fragments, 0}, sim::Service::Read},
                    Meeting{"FragmentsOfWrites", {sim::FaultKind::Fragments, 0}, sim::Service::Write},
                    Meeting{"FragmentsOfTheHandshake", {sim::FaultKind::Fragments, 0}, sim::Service::Symbols},
                    Meeting{"GluedReads", {sim::FaultKind::Glue, 2}, sim::Service::Read},
                    Meeting{"GluedWrites", {sim::FaultKind::Glue, 3}, sim::Service::Write},
                    Meeting{"GluedHandshake", {sim::FaultKind::Glue, 2}, sim::Service::Hello},
                    Meeting{"ResetAtReads", {sim::FaultKind::Reset, 0}, sim::Service::Read},
                    Meeting{"ResetAtWrites", {sim::FaultKind::Reset, 0}, sim::Service::Write},
                    Meeting{"ResetAtTheHandshake", {sim::FaultKind::Reset, 0}, sim::Service::Symbols},
                    Meeting{"RestartAtReads", {sim::FaultKind::Restart, 0}, sim::Service::Read},
                    Meeting{"RestartAtWrites", {sim::FaultKind::Restart, 0}, sim::Service::Write}),
    nameOf);

}  // namespace
}  // namespace ac500
