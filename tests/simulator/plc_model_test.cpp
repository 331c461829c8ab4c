// The whole simulated PLC without sockets.
#include "tools/simulator/plc_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/support.h"

namespace ac500::sim {

using symbol_file::InitialValue;

namespace {

// The end of every request to this model: its session bytes reversed, as a client makes them from the reply.
Bytes requestEnd(PlcModel& model) {
    const Bytes reply = model.answer(symbolsRequest());
    return {reply[27], reply[26], reply[25], reply[24]};
}

// Reads Sim.faults_left to Sim.uptime_ms: area 9, offset 12, size 28.
Bytes readSim(const Bytes& end) {
    return byteString("BB BB 00 00 00 14 2E 00 00 00 00 01 00 09 00 00 00 0C 00 00 00 1C") + end;
}

// Writes Sim.fault_kind and Sim.fault_count: area 9, offset 0, size 4.
Bytes arm(const char* kindAndCount, const Bytes& end) {
    return byteString("BB BB 00 00 00 18 3C 00 00 00 00 01 00 09 00 00 00 00 00 00 00 04") + byteString(kindAndCount) +
           end;
}

TEST(PlcModel, InitialValuesAreInTheMemory) {
    PlcModel model(smallPlant(), {});
    EXPECT_TRUE(model.problems().empty());
    EXPECT_TRUE(model.warnings().empty());
    EXPECT_EQ(hex(model.memory().read({1, 8, 1})), "A5");
    // length 8, status 0, 1 item, lead byte, A5
    EXPECT_EQ(hex(model.answer(readMode(requestEnd(model)))), "BB BB 00 00 00 08 00 00 00 00 00 01 00 A5");
}

TEST(PlcModel, SignalsFollowTheTime) {
    PlcModel model(plant(R"({
        "format": "ac500-symbols", "version": 1,
        "areas": [{"number": 1, "name": "memory", "bytes": 16}],
        "scopes": [{"name": "Main", "variables": [
            {"name": "up", "type": "INT", "area": 1, "offset": 0},
            {"name": "same", "type": "REAL", "area": 1, "offset": 4}
        ]}],
        "simulation": {"signals": [
            {"tag": "Main.up", "signal": "counter", "min": 100, "max": 102, "periodMs": 10},
            {"tag": "Main.same", "signal": "echo", "source": "Main.up"}
        ]}
    })"),
                   {});
    EXPECT_EQ(hex(model.memory().read({1, 0, 8})), "00 64 00 00 42 C8 00 00");  // 100, 100.0 at the start already
    model.advance(25);
    EXPECT_EQ(hex(model.memory().read({1, 0, 8})), "00 66 00 00 42 CC 00 00");  // 102, 102.0
    model.advance(30);
    EXPECT_EQ(hex(model.memory().read({1, 0, 2})), "00 64");
}

TEST(PlcModel, SessionBytesDependOnTheSeedAndChangeWithEachBoot) {
    PlcModel model(smallPlant(), {});
    PlcModel same(smallPlant(), {});
    PlcModel other(smallPlant(), {2, {}});
    EXPECT_EQ(model.identity().session, same.identity().session);
    EXPECT_NE(model.identity().session, other.identity().session);
    const SessionBytes first = model.identity().session;
    model.restart();
    EXPECT_NE(model.identity().session, first);
    EXPECT_EQ(model.identity().bootCount, 2U);
    same.restart();
    EXPECT_EQ(model.identity().session, same.identity().session);
}

TEST(PlcModel, SessionBytesNeverReadTheSameBackwards) {
    PlcModel model(smallPlant(), {});
    for (int boot = 0; boot < 1000; ++boot) {
        const SessionBytes session = model.identity().session;
        EXPECT_FALSE(session[0] == session[3] && session[1] == session[2]);
        model.restart();
    }
}

TEST(PlcModel, ARestartRefusesOldSessionBytesAndKeepsTheMemory) {
    PlcModel model(smallPlant(), {});
    const Bytes before = requestEnd(model);
    model.memory().write(1, 8, byteString("77"));
    model.restart();
    EXPECT_EQ(hex(model.answer(readMode(before))), "BB BB 00 00 00 02 02 01");
    EXPECT_EQ(hex(model.answer(readMode(requestEnd(model)))), "BB BB 00 00 00 08 00 00 00 00 00 01 00 77");
}

TEST(PlcModel, ShowsItsCountersAsVariables) {
    PlcModel model(smallPlant(), {});
    model.connectionOpened();
    model.connectionOpened();
    const Bytes end = requestEnd(model);                // request 1
    model.answer(readMode(byteString("00 00 00 00")));  // request 2, refused
    model.advance(0x01020304);
    EXPECT_EQ(hex(model.answer(readSim(end)).substr(13)),
              // faults left 0 and two spare bytes, faults done 0, boot 1, requests 3 (this one too)
              "00 00 00 00 00 00 00 00 00 00 00 01 00 00 00 03 "
              // refused 1, connections 2, uptime
              "00 00 00 01 00 00 00 02 01 02 03 04");
}

TEST(PlcModel, CountsRequestsByService) {
    PlcModel model(smallPlant(), {});
    const Bytes end = requestEnd(model);
    model.serve(helloRequest());
    model.serve(readMode(end));
    model.serve(readMode(end));
    model.serve(arm("00 00 00 00", end));
    model.serve(byteString("BB BB 00 00 00 02 55 00"));
    model.refuse(Status::BadMagic);
    const Counters& counters = model.counters();
    EXPECT_EQ(counters.hello, 1U);
    EXPECT_EQ(counters.symbols, 1U);
    EXPECT_EQ(counters.reads, 2U);
    EXPECT_EQ(counters.writes, 1U);
    EXPECT_EQ(counters.others, 2U);
    EXPECT_EQ(counters.refused, 2U);
    EXPECT_EQ(counters.requests(), 7U);
}

TEST(PlcModel, WithoutFaultsServingIsAnswering) {
    PlcModel model(smallPlant(), {});
    const Bytes end = requestEnd(model);
    const Exchange exchange = model.serve(readMode(end));
    EXPECT_EQ(exchange.serviceCode, 0x2E);
    EXPECT_EQ(exchange.status, Status::Good);
    EXPECT_EQ(exchange.fault.kind, FaultKind::None);
    ASSERT_EQ(exchange.delivery.steps.size(), 1U);
    EXPECT_EQ(hex(exchange.delivery.steps[0].bytes), "BB BB 00 00 00 08 00 00 00 00 00 01 00 A5");
}

TEST(PlcModel, AFaultMeetsTheReplyAfterTheArmingWrite) {
    PlcModel model(smallPlant(), {});
    const Bytes end = requestEnd(model);
    const Exchange arming = model.serve(arm("00 02 00 02", end));  // silence, two replies
    EXPECT_EQ(arming.fault.kind, FaultKind::None);
    EXPECT_EQ(hex(arming.delivery.steps.at(0).bytes), "BB BB 00 00 00 02 00 00");
    EXPECT_TRUE(model.serve(readMode(end)).delivery.steps.empty());
    EXPECT_EQ(hex(model.memory().read({9, 12, 8})), "00 01 00 00 00 00 00 01");  // one left, one done
    EXPECT_TRUE(model.serve(readMode(end)).delivery.steps.empty());
    EXPECT_EQ(model.serve(readMode(end)).delivery.steps.size(), 1U);
    EXPECT_EQ(model.counters().faults, 2U);
    EXPECT_EQ(model.counters().faultsByKind.at(static_cast<std::size_t>(FaultKind::Silence)), 2U);
    EXPECT_EQ(model.counters().faultsByKind.at(static_cast<std::size_t>(FaultKind::None)), 0U);
}

TEST(PlcModel, WritingKindZeroDisarms) {
    PlcModel model(smallPlant(), {});
    const Bytes end = requestEnd(model);
    model.serve(arm("00 02 00 63", end));  // silence, 99 replies; the next one is the reply to the disarming write
    EXPECT_EQ(model.serve(arm("00 00 00 00", end)).fault.kind, FaultKind::None);
    EXPECT_EQ(model.serve(readMode(end)).fault.kind, FaultKind::None);
}

TEST(PlcModel, RefusedRequestsMeetNoFault) {
    PlcModel model(smallPlant(), {});
    model.arm({{FaultKind::Silence, 0}, 1, std::nullopt});
    const Exchange refused = model.serve(readMode(byteString("00 00 00 00")));
    EXPECT_EQ(refused.status, Status::WrongSession);
    EXPECT_EQ(hex(refused.delivery.steps.at(0).bytes), "BB BB 00 00 00 02 02 01");
    EXPECT_EQ(model.serve(helloRequest()).fault.kind, FaultKind::Silence);
}

TEST(PlcModel, AWriteWhoseReplyIsLostHasArrived) {
    PlcModel model(smallPlant(), {});
    const Bytes end = requestEnd(model);
    model.arm({{FaultKind::Reset, 0}, 1, Service::Write});
    // area 1, offset 8, size 1, data 3C
    const Exchange exchange =
        model.serve(byteString("BB BB 00 00 00 15 3C 00 00 00 00 01 00 01 00 00 00 08 00 00 00 01 3C") + end);
    EXPECT_EQ(exchange.delivery.steps.at(0).after, After::Reset);
    EXPECT_EQ(hex(model.memory().read({1, 8, 1})), "3C");
}

TEST(PlcModel, ARestartFaultHasHappenedWhenServeReturns) {
    PlcModel model(smallPlant(), {});
    const Bytes end = requestEnd(model);
    model.arm({{FaultKind::Restart, 0}, 1, std::nullopt});
    EXPECT_EQ(model.serve(readMode(end)).delivery.steps.at(0).after, After::CloseAll);
    EXPECT_EQ(model.identity().bootCount, 2U);
    EXPECT_EQ(model.serve(readMode(end)).status, Status::WrongSession);
}

TEST(PlcModel, TheSameSeedGivesTheSameRun) {
    const auto run = [](std::uint64_t seed) {
        PlcModel model(smallPlant(),
                       {seed, {rule("silence:rate=0.2"), rule("glue:rate=0.3"), rule("restart:every=17")}});
        std::string story;
        for (int i = 0; i < 200; ++i) {
            const Exchange exchange = model.serve(symbolsRequest());
            story += std::to_string(static_cast<int>(exchange.fault.kind));
            for (const DeliveryStep& step : exchange.delivery.steps) {
                story += ' ' + hex(step.bytes);
            }
        }
        return story;
    };
    EXPECT_EQ(run(5), run(5));
    EXPECT_NE(run(5), run(6));
}

TEST(PlcModel, WhatIsNoRequestEndsTheConnection) {
    PlcModel model(smallPlant(), {});
    const Exchange exchange = model.refuse(Status::RequestTooLong);
    ASSERT_EQ(exchange.delivery.steps.size(), 1U);
    EXPECT_EQ(hex(exchange.delivery.steps[0].bytes), "BB BB 00 00 00 02 01 02");
    EXPECT_EQ(exchange.delivery.steps[0].after, After::Close);
}

TEST(PlcModel, BitVariablesAreWrittenByBit) {
    PlcModel model(smallPlant(), {});
    const Bytes end = requestEnd(model);
    // area 3, bit address 17 (Main.alarm), size 1, data 01
    model.answer(byteString("BB BB 00 00 00 15 3C 00 00 00 00 01 00 03 00 00 00 11 00 00 00 01 01") + end);
    EXPECT_EQ(hex(model.memory().read({3, 0, 8})), "00 00 00 02 00 00 00 00");
}

TEST(PlcModel, WarnsWhereBitsAndBytesCannotBeToldApart) {
    PlcModel model(plant(R"({
        "format": "ac500-symbols", "version": 1,
        "areas": [{"number": 1, "name": "memory", "bytes": 16}],
        "scopes": [{"name": "Main", "variables": [
            {"name": "b", "type": "BIT", "area": 1, "bit": 5},
            {"name": "d", "type": "DINT", "area": 1, "offset": 4}
        ]}]
    })"),
                   {});
    EXPECT_TRUE(model.problems().empty());
    ASSERT_EQ(model.warnings().size(), 1U);
    EXPECT_THAT(model.warnings()[0].what, testing::HasSubstr("Main.b"));
    EXPECT_THAT(model.warnings()[0].what, testing::HasSubstr("area of their own"));
}

TEST(PlcModel, FilesBuiltByHandAreCheckedToo) {
    SymbolFile file = smallPlant();
    InitialValue wrong;
    wrong.tag = "Main.count";
    wrong.text = "many";
    file.initialValues.push_back(wrong);
    Signal lost;
    lost.tag = "Main.lost";
    file.signals.push_back(lost);
    file.areas[1].sizeBytes = 2;  // Main.alarm has its word at bytes 2 and 3
    InitialValue outside;
    outside.tag = "Main.alarm";
    outside.text = "TRUE";
    file.initialValues.push_back(outside);
    PlcModel model(file, {});
    ASSERT_EQ(model.problems().size(), 3U);
    EXPECT_EQ(model.problems()[0].what, "\"many\" is no WORD value for Main.count");
    EXPECT_EQ(model.problems()[1].what, "Main.alarm lies outside its memory area; make the area larger");
    EXPECT_THAT(model.problems()[2].what, testing::HasSubstr("no variable Main.lost"));
}

// The small plant with everything two bytes further on, a smaller area 3, and a guard.
SymbolFile movedPlant() {
    return plant(R"({
        "format": "ac500-symbols", "version": 1,
        "areas": [{"number": 1, "name": "memory", "bytes": 64}, {"number": 3, "name": "bits", "bytes": 4}],
        "scopes": [{"name": "Main", "variables": [
            {"name": "id", "type": "UINT", "area": 1, "offset": 0},
            {"name": "count", "type": "WORD", "area": 1, "offset": 2},
            {"name": "mode", "type": "BYTE", "area": 1, "offset": 10}
        ]}],
        "guard": [{"tag": "Main.id", "value": 770}],
        "simulation": {"initial": [{"tag": "Main.mode", "value": 90}],
                       "signals": [{"tag": "Main.count", "signal": "counter", "min": 5, "max": 5}]}
    })");
}

int added(PlcModel& model, const SymbolFile& file) {
    std::vector<Problem> problems;
    const int number = model.addProgram(file, &problems);
    EXPECT_TRUE(problems.empty());
    return number;
}

// Writes Sim.program: area 9, offset 10, size 2.
Bytes loadRequest(const char* number, const Bytes& end) {
    return byteString("BB BB 00 00 00 16 3C 00 00 00 00 01 00 09 00 00 00 0A 00 00 00 02") + byteString(number) + end;
}

TEST(PlcModel, ADownloadBeginsWithTheMemoryOfTheNewProgramAndClientsHearNothingOfIt) {
    PlcModel model(smallPlant(), {});
    EXPECT_EQ(added(model, movedPlant()), 2);
    EXPECT_EQ(model.loadedProgram(), 1);
    const Bytes end = requestEnd(model);
    model.memory().write(1, 0, byteString("11 22 33 44"));
    model.load(2);
    EXPECT_EQ(model.loadedProgram(), 2);
    // The guard's number, the signal's value, and at 10 the initial value; where mode was, nothing.
    EXPECT_EQ(hex(model.memory().read({1, 0, 12})), "03 02 00 05 00 00 00 00 00 00 5A 00");
    EXPECT_FALSE(model.memory().contains({3, 4, 1}));
    EXPECT_EQ(hex(model.answer(readMode(end))), "BB BB 00 00 00 08 00 00 00 00 00 01 00 00")
        << "the old session goes on";
    EXPECT_EQ(model.identity().bootCount, 1U);
    model.load(1);
    EXPECT_EQ(hex(model.memory().read({1, 0, 10})), "00 00 00 00 00 00 00 00 A5 00");
}

TEST(PlcModel, AWriteToSimProgramLoadsWhenItIsAnswered) {
    PlcModel model(smallPlant(), {});
    added(model, movedPlant());
    const Bytes end = requestEnd(model);
    model.serve(arm("00 02 00 07", end));
    EXPECT_EQ(hex(model.memory().read({9, 10, 2})), "00 01");
    model.serve(readMode(end));
    const Exchange loading = model.serve(loadRequest("00 02", end));
    EXPECT_EQ(loading.program, 2);
    EXPECT_EQ(hex(model.memory().read({1, 0, 2})), "03 02");
    EXPECT_EQ(hex(model.memory().read({9, 10, 2})), "00 02");
    EXPECT_EQ(hex(model.memory().read({9, 12, 2})), "00 05") << "the armed fault stays";
    // A number that is no program: bad value, and nothing is loaded.
    for (const char* number : {"00 00", "00 03", "FF FF"}) {
        EXPECT_EQ(hex(model.answer(loadRequest(number, end))), "BB BB 00 00 00 02 03 05") << number;
    }
    EXPECT_EQ(model.loadedProgram(), 2);
}

TEST(PlcModel, TheHandshakeTellsProgramsApartAndNotBoots) {
    PlcModel model(smallPlant(), {});
    added(model, movedPlant());
    const Bytes first = model.answer(symbolsRequest()).substr(16, 8);
    model.restart();
    EXPECT_EQ(hex(model.answer(symbolsRequest()).substr(16, 8)), hex(first));
    model.load(2);
    EXPECT_NE(hex(model.answer(symbolsRequest()).substr(16, 8)), hex(first));
    EXPECT_EQ(hex(model.answer(helloRequest()).substr(88)), hex(Bytes(118, '\0')));
}

TEST(PlcModel, AProgramWithProblemsIsNotAdded) {
    PlcModel model(smallPlant(), {});
    SymbolFile file = movedPlant();
    file.areas[0].number = 9;
    std::vector<Problem> problems;
    EXPECT_EQ(model.addProgram(file, &problems), 0);
    ASSERT_FALSE(problems.empty());
    EXPECT_EQ(problems[0].what, "area 9 is reserved for the simulator; give this area another number");
    EXPECT_EQ(hex(model.answer(loadRequest("00 02", requestEnd(model)))), "BB BB 00 00 00 02 03 05");
}

}  // namespace
}  // namespace ac500::sim
