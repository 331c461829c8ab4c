// Another program is loaded into the PLC while a session goes on. docs/guard.md makes the promises that are tested here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/end_to_end/plant.h"
#include "tests/simulator/raw_client.h"

namespace ac500 {
namespace {

using guard::ProgramState;
using host::FailureKind;
using host::OrderStep;
using host::ValueState;
using host::WriteOutcome;
using testing::StartsWith;

constexpr char kBeforeDownload[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 1000}, {"number": 2, "bytes": 100}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "id", "type": "UDINT", "area": 1, "offset": 0},
    {"name": "setpoint", "type": "INT", "area": 1, "offset": 10},
    {"name": "valve", "type": "INT", "area": 1, "offset": 20},
    {"name": "flags", "type": "WORD", "area": 1, "offset": 30, "bits": true},
    {"name": "label", "type": "STRING(5)", "area": 1, "offset": 40, "array": [[1, 2]]},
    {"name": "far", "type": "INT", "area": 2, "offset": 10},
    {"name": "id2", "type": "INT", "area": 2, "offset": 0}
  ]}],
  "guard": [{"tag": "Main.id", "value": 7}, {"tag": "Main.id2", "value": -70}],
  "simulation": {"initial": [{"tag": "Main.setpoint", "value": 100}, {"tag": "Main.valve", "value": 1}]}
})~";

// Setpoint and valve have changed places.
constexpr char kAfterDownload[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 1000}, {"number": 2, "bytes": 100}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "id", "type": "UDINT", "area": 1, "offset": 0},
    {"name": "valve", "type": "INT", "area": 1, "offset": 10},
    {"name": "setpoint", "type": "INT", "area": 1, "offset": 20},
    {"name": "flags", "type": "WORD", "area": 1, "offset": 32, "bits": true},
    {"name": "id2", "type": "INT", "area": 2, "offset": 0}
  ]}],
  "guard": [{"tag": "Main.id", "value": 8}, {"tag": "Main.id2", "value": -70}],
  "simulation": {"initial": [{"tag": "Main.setpoint", "value": 100}, {"tag": "Main.valve", "value": 1}]}
})~";

constexpr char kOther[] =
    "another program is in the PLC: Main.id is 8 there, 7 in the program of these symbols; \"ac500-host symbols diff "
    "OLD "
    "NEW\" tells what moved";

std::string without(std::string program, const std::string& part) {
    return program.erase(program.find(part), part.size());
}

std::string with(std::string program, const std::string& part, const std::string& other) {
    return program.replace(program.find(part), part.size(), other);
}

const std::string kGuards = R"(  "guard": [{"tag": "Main.id", "value": 7}, {"tag": "Main.id2", "value": -70}],)";

class Download : public PlantTest {
protected:
    explicit Download(const char* before = kBeforeDownload) : PlantTest({}, before) {
        plc.addProgram(programOf(kAfterDownload));
    }

    ProgramState program() { return session->status().program.state; }

    bool isReleased() {
        return eventually([&] { return program() == ProgramState::Expected; });
    }

    std::string notSent(std::int32_t serial) {
        EXPECT_TRUE(eventually([&] { return hasEnded(serial); }));
        EXPECT_EQ(session->order(serial)->outcome, WriteOutcome::NotSent);
        return failureOf(serial);
    }

    // The setpoint of the old program is the valve of the new one.
    std::string valve() { return inPlc(1, 10, 2); }
    std::uint64_t writesSeen() { return plc.counters().writes; }

    bool wasTold(events::EventId event) {
        return eventually([&] { return timesTold(event) > 0; });
    }
    int timesTold(events::EventId event) {
        int count = 0;
        for (const host::SessionEvent& one : session->eventsSince(0)) {
            count += one.event == event ? 1 : 0;
        }
        return count;
    }
    std::string textOf(events::EventId event) {
        for (const host::SessionEvent& one : session->eventsSince(0)) {
            if (one.event == event) {
                return one.message();
            }
        }
        return {};
    }
};

class UnguardedDownload : public Download {
protected:
    UnguardedDownload() : Download(program_.c_str()) {}

private:
    static const std::string program_;
};
const std::string UnguardedDownload::program_ = without(kBeforeDownload, kGuards);

TEST_F(UnguardedDownload, LetsAWriteReachAnotherVariable) {
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    plc.load(2);
    EXPECT_EQ(valve(), "00 01");
    write("Main.setpoint", "50");
    EXPECT_EQ(valve(), "00 32") << "nobody said a word";
    EXPECT_EQ(program(), ProgramState::Unguarded);
}

// Two runs of the PLC.
TEST_F(UnguardedDownload, IsHintedAtByTheHandshakeOfTheNextConnection) {
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    guard::HandshakePattern learned;
    learned.add(session->handshakeReplies().value(), {}, {});
    const std::string first = session->handshakeReplies()->symbols;
    plc.restart();
    ASSERT_TRUE(eventually([&] { return session->handshakeReplies()->symbols != first; }));
    learned.add(session->handshakeReplies().value(), {}, {});
    ASSERT_TRUE(learned.isUsable());
    session.reset();

    settings.handshake = learned;
    begin({"Main.setpoint"});
    const auto reconnect = [this] {
        const std::int64_t opened = session->status().statistics.handshakes;
        plc.dropConnections();
        EXPECT_TRUE(eventually([&] { return session->status().statistics.handshakes > opened; }));
        EXPECT_TRUE(eventually([&] { return stateOf("Main.setpoint") == ValueState::Fresh; }));
        return timesTold(events::EventId::ProgramHandshake);
    };
    EXPECT_EQ(reconnect(), 0);
    plc.load(2);
    EXPECT_TRUE(eventually([&] { return read("Main.setpoint") == "1"; }));
    EXPECT_EQ(timesTold(events::EventId::ProgramHandshake), 0) << "a connection that stays shakes no hands";
    EXPECT_EQ(reconnect(), 1);
    EXPECT_THAT(textOf(events::EventId::ProgramHandshake),
                StartsWith("the PLC answers the handshake otherwise than was learned: the reply to symbols: byte 1"));
    write("Main.setpoint", "50");
    EXPECT_EQ(valve(), "00 32") << "nothing is held";
    EXPECT_EQ(stateOf("Main.far"), ValueState::NeverReceived);
    EXPECT_FALSE(session->value(tag("Main.setpoint")).suspicion.occurred());
    EXPECT_EQ(reconnect(), 1) << "told once";
    plc.load(1);
    EXPECT_EQ(reconnect(), 1);
    plc.load(2);
    EXPECT_EQ(reconnect(), 2);
}

TEST_F(Download, HoldsWrites) {
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    write("Main.setpoint", "60");
    plc.load(2);
    EXPECT_EQ(notSent(order("Main.setpoint", "50")), std::string("not sent: ") + kOther);
    EXPECT_EQ(notSent(order("Main.flags.b[3]", "1")), std::string("not sent: ") + kOther);
    EXPECT_EQ(notSent(order("Main.label[1]", "ab")), std::string("not sent: ") + kOther);
    EXPECT_EQ(valve(), "00 01");
    EXPECT_EQ(writesSeen(), 1U);
}

TEST_F(Download, HoldsAWriteOfASessionThatReadsNothing) {
    begin({});
    write("Main.setpoint", "60");
    plc.load(2);
    EXPECT_EQ(notSent(order("Main.setpoint", "50")), std::string("not sent: ") + kOther);
    EXPECT_EQ(valve(), "00 01");
}

// The operator looked at the value of the old program, and decides.
TEST_F(Download, BetweenTheLookAndTheWriteIsNoticedByTheReadingBeforeTheWrite) {
    settings.loop.cycle = host::Milliseconds(60000);  // the guard is not read again for its own sake
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    plc.load(2);
    EXPECT_EQ(stateOf("Main.setpoint"), ValueState::Fresh) << "nobody has looked since";
    EXPECT_EQ(notSent(order("Main.setpoint", "50")), std::string("not sent: ") + kOther);
    EXPECT_EQ(valve(), "00 01");
    EXPECT_EQ(stateOf("Main.valve"), ValueState::NeverReceived);
}

// What is left to chance: the PLC answers the reading of the guard, a download, and then it gets the write.
TEST_F(Download, BetweenTheReadingOfTheGuardAndTheWriteIsTheWindowThatIsLeft) {
    settings.loop.cycle = host::Milliseconds(60000);
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    const std::uint64_t reads = plc.counters().reads;
    plc.inject({sim::FaultKind::Delay, test::paced(100)}, 1, wire::Service::Read);
    const std::int32_t serial = order("Main.setpoint", "50");
    ASSERT_TRUE(eventually([&] { return plc.counters().reads > reads; }));
    plc.load(2);
    EXPECT_TRUE(eventually([&] { return hasEnded(serial); }));
    EXPECT_EQ(stepOf(serial), OrderStep::Succeeded);
    EXPECT_EQ(valve(), "00 32");
    EXPECT_EQ(plc.counters().reads, reads + 1) << "one request, and the write behind it";
}

TEST_F(Download, MarksValuesUntilTheProgramIsBack) {
    begin({"Main.setpoint", "Main.far"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    EXPECT_FALSE(session->value(tag("Main.setpoint")).suspicion.occurred());
    plc.load(2);
    EXPECT_TRUE(eventually([&] { return stateOf("Main.setpoint") == ValueState::Suspect; }));
    EXPECT_TRUE(
        eventually([&] { return session->value(tag("Main.setpoint")).values == host::HostValues{std::int64_t{1}}; }));
    const host::TagValue value = session->value(tag("Main.setpoint"));
    EXPECT_TRUE(value.isKnown);
    EXPECT_EQ(value.suspicion.kind, FailureKind::Program);
    EXPECT_EQ(value.suspicion.text, kOther);
    EXPECT_EQ(stateOf("Main.far"), ValueState::Suspect);
    EXPECT_EQ(program(), ProgramState::Other);
    EXPECT_TRUE(wasTold(events::EventId::ProgramOther));
    EXPECT_EQ(textOf(events::EventId::ProgramOther),
              std::string(kOther) + "; until it is back nothing is written, and values are marked");
    plc.load(1);
    EXPECT_EQ(read("Main.setpoint"), "100");
    EXPECT_TRUE(wasTold(events::EventId::ProgramExpected));
    EXPECT_FALSE(session->value(tag("Main.setpoint")).suspicion.occurred());
    write("Main.setpoint", "50");
    EXPECT_EQ(valve(), "00 32");
    EXPECT_EQ(timesTold(events::EventId::ProgramOther), 1);
    EXPECT_EQ(timesTold(events::EventId::ProgramExpected), 1);
}

TEST_F(Download, IsNotHiddenByAWriteThatFailed) {
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    plc.load(2);
    EXPECT_TRUE(eventually([&] { return stateOf("Main.setpoint") == ValueState::Suspect; }));
    EXPECT_EQ(notSent(order("Main.setpoint", "50")), std::string("not sent: ") + kOther);
    const host::TagValue value = session->value(tag("Main.setpoint"));
    EXPECT_EQ(value.state, ValueState::Suspect);
    EXPECT_EQ(value.failure.text, std::string("not sent: ") + kOther);
}

TEST_F(Download, MarksOneShotReads) {
    begin({});
    const std::int32_t before = session->readOnce(tag("Main.far"));
    EXPECT_TRUE(eventually([&] { return hasEnded(before); }));
    EXPECT_EQ(session->value(tag("Main.far")).state, ValueState::Fresh);
    plc.load(2);
    for (const char* text : {"Main.setpoint", "Main.far"}) {
        const std::int32_t serial = session->readOnce(tag(text));
        EXPECT_TRUE(eventually([&] { return hasEnded(serial); })) << text;
        EXPECT_EQ(stepOf(serial), OrderStep::Succeeded) << failureOf(serial);
        EXPECT_EQ(stateOf(text), ValueState::Suspect) << text;
    }
    plc.load(1);
    ASSERT_TRUE(isReleased());
    const std::int32_t again = session->readOnce(tag("Main.far"));
    EXPECT_TRUE(eventually([&] { return hasEnded(again); }));
    EXPECT_EQ(stateOf("Main.far"), ValueState::Fresh);
}

// The value and the reading of the guard behind it are in one request, so there is nothing between them.
TEST_F(Download, FindsTheGuardInTheExchangeOfAOneShotRead) {
    settings.loop.cycle = host::Milliseconds(60000);
    begin({});
    ASSERT_TRUE(isReleased());
    ASSERT_TRUE(eventually([&] { return session->status().statistics.cycleTimes().cycles > 0; }));
    const std::uint64_t reads = plc.counters().reads;
    const std::int32_t serial = session->readOnce(tag("Main.setpoint"));
    EXPECT_TRUE(eventually([&] { return hasEnded(serial); }));
    EXPECT_EQ(plc.counters().reads, reads + 1);
    plc.load(2);
    const std::int32_t after = session->readOnce(tag("Main.setpoint"));
    EXPECT_TRUE(eventually([&] { return hasEnded(after); }));
    EXPECT_EQ(plc.counters().reads, reads + 2);
    EXPECT_EQ(stateOf("Main.setpoint"), ValueState::Suspect);
}

TEST_F(Download, WhileTheLinkWasDownIsFoundBeforeAnythingIsShown) {
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    plc.load(2);
    plc.restart();
    EXPECT_TRUE(eventually([&] { return stateOf("Main.setpoint") == ValueState::Suspect; }));
    EXPECT_EQ(notSent(order("Main.valve", "50")), std::string("not sent: ") + kOther);
    plc.load(1);
    plc.dropConnections();
    EXPECT_EQ(read("Main.setpoint"), "100");
    EXPECT_EQ(timesTold(events::EventId::ProgramOther), 1);
    EXPECT_EQ(timesTold(events::EventId::ProgramExpected), 1);
    write("Main.setpoint", "50");
}

TEST_F(Download, ALossOfTheLinkAloneIsNoNews) {
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    plc.dropConnections();
    EXPECT_TRUE(eventually([&] { return plc.counters().connections > 1 && session->status().isOnline; }));
    EXPECT_EQ(read("Main.setpoint"), "100");
    EXPECT_EQ(timesTold(events::EventId::ProgramOther) + timesTold(events::EventId::ProgramExpected), 0);
}

TEST_F(Download, OfAPartIsFoundByTheGuardOfItsArea) {
    const int part = plc.addProgram(
        programOf(with(kBeforeDownload, R"("Main.id2", "value": -70)", R"("Main.id2", "value": -71)").c_str()));
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    plc.load(part);
    EXPECT_EQ(notSent(order("Main.valve", "50")),
              "not sent: another program is in the PLC: Main.id2 is -71 there, -70 in the program of these symbols; "
              "\"ac500-host symbols diff OLD NEW\" tells what moved");
    EXPECT_TRUE(eventually([&] { return stateOf("Main.setpoint") == ValueState::Suspect; }));
}

constexpr char kSmall[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 1000}, {"number": 3, "bytes": 100}],
  "scopes": [{"name": "Main", "variables": [{"name": "id", "type": "UDINT", "area": 1, "offset": 0}]}],
  "guard": [{"tag": "Main.id", "value": 7}]
})~";

TEST_F(Download, WithoutTheMemoryOfTheGuardHoldsWritesToo) {
    settings.retryLimit = 0;
    const int small = plc.addProgram(programOf(kSmall));
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    plc.load(small);
    EXPECT_TRUE(wasTold(events::EventId::ProgramUnreadable));
    EXPECT_THAT(textOf(events::EventId::ProgramUnreadable),
                StartsWith("the guard could not be read, so nobody knows which program is in the PLC: read of "));
    EXPECT_EQ(session->status().program.state, ProgramState::Unreadable);
    EXPECT_EQ(stateOf("Main.setpoint"), ValueState::Suspect);
    EXPECT_THAT(notSent(order("Main.valve", "50")), StartsWith("not sent: "));
    EXPECT_EQ(writesSeen(), 0U);
    plc.load(1);
    EXPECT_EQ(read("Main.setpoint"), "100");
    EXPECT_TRUE(wasTold(events::EventId::ProgramExpected));
    write("Main.setpoint", "50");
}

TEST_F(Download, ATagThatIsRefusedSaysNothingOfTheProgram) {
    const int small = plc.addProgram(
        programOf(with(with(kBeforeDownload, R"({"number": 2, "bytes": 100})", R"({"number": 2, "bytes": 10})"),
                       R"("area": 2, "offset": 10)", R"("area": 2, "offset": 2)")
                      .c_str()));
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "100");
    plc.load(small);
    const std::int32_t serial = session->readOnce(tag("Main.far"));
    EXPECT_TRUE(eventually([&] { return hasEnded(serial); }));
    EXPECT_EQ(stepOf(serial), OrderStep::Failed);
    EXPECT_TRUE(isReleased());
    write("Main.setpoint", "50");
    EXPECT_EQ(timesTold(events::EventId::ProgramUnreadable), 0);
}

// ---------------------------------------------------------------------------------------------------------------------
// Two writers
// ---------------------------------------------------------------------------------------------------------------------

constexpr char kOwnVariables[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 100}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "setpoint", "type": "INT", "area": 1, "offset": 0, "onlyWriter": true, "scale": {"factor": 0.1}, "unit": "C"},
    {"name": "free", "type": "INT", "area": 1, "offset": 2},
    {"name": "flags", "type": "WORD", "area": 1, "offset": 4, "bits": true, "onlyWriter": true}
  ]}],
  "simulation": {"initial": [{"tag": "Main.setpoint", "value": 200}]}
})~";

class TwoWriters : public PlantTest {
protected:
    TwoWriters() : PlantTest({}, kOwnVariables), other_(plc.port()), end_(other_.handshake()) {}

    // The other client writes two bytes.
    void otherWrites(const char* offset, const char* value) {
        const sim::Bytes reply =
            other_.ask(byteString(std::string("BB BB 00 00 00 16 3C 00 00 00 00 01 00 01 00 00 00 ") + offset +
                                  " 00 00 00 02 " + value) +
                       end_);
        EXPECT_EQ(hex(reply), "BB BB 00 00 00 02 00 00");
    }

    std::vector<std::string> told() {
        std::vector<std::string> texts;
        for (const host::SessionEvent& one : session->eventsSince(0)) {
            if (one.event == events::EventId::ValueOverwritten) {
                texts.push_back(one.message());
            }
        }
        return texts;
    }

    void passesGoBy(int count) {
        const auto cycles = [&] { return session->status().statistics.cycleTimes().cycles; };
        const std::int64_t before = cycles();
        EXPECT_TRUE(eventually([&] { return cycles() >= before + count; }));
    }

private:
    sim::RawClient other_;
    const sim::Bytes end_;
};

TEST_F(TwoWriters, AreToldOfWhatWasWrittenHereAndOverwritten) {
    begin({"Main.setpoint", "Main.free"});
    EXPECT_EQ(read("Main.setpoint"), "20.0 C");
    write("Main.setpoint", "21.5");
    passesGoBy(3);
    EXPECT_THAT(told(), testing::IsEmpty());
    otherWrites("00", "00 E6");
    EXPECT_TRUE(eventually([&] { return told().size() == 1; }));
    EXPECT_THAT(told()[0],
                testing::MatchesRegex("Main.setpoint: we wrote 21.5 C, [0-9]+ passe?s? later the PLC has 23.0 C, "
                                      "which nobody here wrote"));
    passesGoBy(3);
    EXPECT_EQ(told().size(), 1U) << "once";
}

TEST_F(TwoWriters, AreToldOfWhatNobodyHereHasWritten) {
    begin({"Main.setpoint", "Main.free", "Main.flags"});
    EXPECT_EQ(read("Main.setpoint"), "20.0 C");
    EXPECT_EQ(read("Main.flags"), "0x0000");
    otherWrites("02", "00 05");
    otherWrites("00", "00 E6");
    EXPECT_TRUE(eventually([&] { return told().size() == 1; }));
    EXPECT_EQ(told()[0], "Main.setpoint: it was 20.0 C, now the PLC has 23.0 C, which nobody here wrote");
    write("Main.flags.b[3]", "1");
    passesGoBy(2);
    EXPECT_EQ(told().size(), 1U) << "a bit from here is no foreign write";
    otherWrites("04", "00 00");
    EXPECT_TRUE(eventually([&] { return told().size() == 2; }));
    EXPECT_EQ(told()[1], "Main.flags: it was 0x0008, now the PLC has 0x0000, which nobody here wrote");
}

TEST_F(TwoWriters, HearNothingOfWhatHappenedWhileNobodyLooked) {
    settings.loop.firstBackOff = host::Milliseconds(test::paced(200));
    begin({"Main.setpoint"});
    EXPECT_EQ(read("Main.setpoint"), "20.0 C");
    plc.dropConnections();
    plc.write(1, 0, byteString("00 E6"));
    const host::HostValues changed{std::int64_t{230}};
    EXPECT_TRUE(eventually([&] { return session->value(tag("Main.setpoint")).values == changed; }));
    passesGoBy(2);
    EXPECT_THAT(told(), testing::IsEmpty());
}

}  // namespace
}  // namespace ac500
