// A PLC, the driver from disk and a session between them, for tests that want to watch all three at work.
#ifndef AC500_TESTS_END_TO_END_PLANT_H
#define AC500_TESTS_END_TO_END_PLANT_H

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/bytes.h"
#include "tests/support/pace.h"
#include "tests/support/places.h"
#include "tools/host/driver_library.h"
#include "tools/host/host_session.h"
#include "tools/host/plant_values.h"
#include "tools/host/tcp_transport.h"
#include "tools/simulator/embedded_simulator.h"
#include "tools/simulator/reserved_variables.h"

namespace ac500 {

using symbol_file::LoadedSymbolFile;
using symbol_file::parseSymbolFile;
using symbol_file::Problem;
using symbol_file::SymbolFile;
using test::byteString;
using test::hex;

// One variable of every kind, area 1 unless said otherwise, no signals: nothing changes by itself.
constexpr char kProgram[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 8192}, {"number": 2, "bytes": 4096}, {"number": 3, "bytes": 64}],
  "types": {"Motor": {"size": 24, "members": [
    {"name": "speed", "type": "INT", "offset": 2},
    {"name": "curve", "type": "REAL", "offset": 4, "array": [[1, 5]]}]}},
  "scopes": [{"name": "Main", "variables": [
    {"name": "bool", "type": "BOOL", "area": 1, "offset": 0},
    {"name": "sint", "type": "SINT", "area": 1, "offset": 1},
    {"name": "usint", "type": "USINT", "area": 1, "offset": 2},
    {"name": "byte", "type": "BYTE", "area": 1, "offset": 3, "bits": true},
    {"name": "int", "type": "INT", "area": 1, "offset": 4},
    {"name": "uint", "type": "UINT", "area": 1, "offset": 6},
    {"name": "word", "type": "WORD", "area": 1, "offset": 8, "bits": true},
    {"name": "dint", "type": "DINT", "area": 1, "offset": 12},
    {"name": "udint", "type": "UDINT", "area": 1, "offset": 16},
    {"name": "dword", "type": "DWORD", "area": 1, "offset": 20, "bits": true},
    {"name": "real", "type": "REAL", "area": 1, "offset": 24},
    {"name": "lint", "type": "LINT", "area": 1, "offset": 32},
    {"name": "ulint", "type": "ULINT", "area": 1, "offset": 40},
    {"name": "lword", "type": "LWORD", "area": 1, "offset": 48, "bits": true},
    {"name": "lreal", "type": "LREAL", "area": 1, "offset": 56},
    {"name": "string", "type": "STRING", "area": 1, "offset": 100},
    {"name": "cstring", "type": "CSTRING", "area": 1, "offset": 200},
    {"name": "bit", "type": "BIT", "area": 3, "bit": 21},
    {"name": "bits", "type": "BIT", "area": 3, "bit": 30, "array": [[1, 6]]},

    {"name": "bools", "type": "BOOL", "area": 1, "offset": 300, "array": [[1, 4]]},
    {"name": "sints", "type": "SINT", "area": 1, "offset": 310, "array": [[-2, 2]]},
    {"name": "ints", "type": "INT", "area": 1, "offset": 320, "array": [[1, 6]]},
    {"name": "dints", "type": "DINT", "area": 1, "offset": 340, "array": [[1, 5]]},
    {"name": "reals", "type": "REAL", "area": 1, "offset": 360, "array": [[0, 2], [1, 3]]},
    {"name": "lreals", "type": "LREAL", "area": 1, "offset": 400, "array": [[1, 10]]},
    {"name": "single", "type": "LINT", "area": 1, "offset": 480, "array": [[7, 7]]},
    {"name": "names", "type": "STRING", "area": 1, "offset": 500, "array": [[1, 3]]},
    {"name": "motors", "type": "Motor", "area": 1, "offset": 800, "array": [[1, 2]]},

    {"name": "time", "type": "TIME", "area": 1, "offset": 1000, "max": "T#1h"},
    {"name": "day", "type": "DATE", "area": 1, "offset": 1004},
    {"name": "times", "type": "TOD", "area": 1, "offset": 1008, "array": [[1, 3]]},
    {"name": "moment", "type": "DT", "area": 1, "offset": 1020},
    {"name": "level", "type": "INT", "area": 1, "offset": 1024, "unit": "m", "scale": {"factor": 0.01, "offset": -1}, "max": 9.5},
    {"name": "mode", "type": "USINT", "area": 1, "offset": 1026, "names": {"0": "off", "1": "manual", "2": "automatic"}},
    {"name": "code", "type": "STRING(5)", "area": 1, "offset": 1030},
    {"name": "behind_code", "type": "UINT", "area": 1, "offset": 1036},
    {"name": "label", "type": "STRING(20)", "area": 1, "offset": 1040},
    {"name": "behind_label", "type": "UINT", "area": 1, "offset": 1062},
    {"name": "novel", "type": "STRING(255)", "area": 1, "offset": 1100},
    {"name": "labels", "type": "STRING(20)", "area": 1, "offset": 1400, "array": [[0, 1], [3, 5]]},
    {"name": "behind_labels", "type": "WORD", "area": 1, "offset": 1526},
    {"name": "short", "type": "STRING(2)", "area": 1, "offset": 1530, "array": [[1, 50]]},
    {"name": "tall", "type": "STRING(255)", "area": 1, "offset": 6000, "array": [[1, 3]]},
    {"name": "long", "type": "STRING(101)", "area": 1, "offset": 1700, "array": [[1, 2]]},

    {"name": "left", "type": "INT", "area": 1, "offset": 2000, "array": [[1, 200]]},
    {"name": "right", "type": "INT", "area": 1, "offset": 4000, "array": [[1, 200]]},
    {"name": "many", "type": "INT", "area": 2, "offset": 0, "array": [[1, 1000]]}
  ]}]})~";

inline SymbolFile programOf(const char* json) {
    LoadedSymbolFile loaded = parseSymbolFile(json);
    for (const Problem& problem : loaded.problems) {
        ADD_FAILURE() << describe("program", problem);
    }
    return loaded.file;
}

// The session is made by begin(), so that a test can change the settings before.
class PlantTest : public testing::Test {
protected:
    // `faults`: rules of the PLC, each as ac500-sim takes it.
    explicit PlantTest(const std::vector<std::string>& faults = {}, const char* program = kProgram)
        : file(programOf(program)), plc(file, {1, rulesOf(faults)}) {
        settings.loop.plc.port = plc.port();
        settings.loop.replyTimeout = host::Milliseconds(test::paced(400));
        settings.loop.cycle = host::Milliseconds(20);
        settings.loop.firstBackOff = host::Milliseconds(20);
        settings.loop.longestBackOff = host::Milliseconds(200);
        settings.writeDeadline = host::Milliseconds(20000);
    }

    // Reads these tags in every cycle.
    void begin(const std::vector<std::string>& tags) {
        std::string error;
        driver = host::DriverLibrary::load(test::kDriver, &error);
        ASSERT_NE(driver, nullptr) << error;
        session = std::make_unique<host::HostSession>(
            host::HostSession::Parts{driver->functions(), table, clock,
                                     [this] { return std::make_unique<host::TcpTransport>(resolver); }},
            settings);
        ASSERT_TRUE(session->start(&error)) << error;
        std::vector<host::Tag> polled;
        for (const std::string& text : tags) {
            polled.push_back(tag(text));
            EXPECT_TRUE(session->driverKnows(polled.back(), &error)) << error;
        }
        session->poll(polled);
    }

    host::Tag tag(const std::string& text) const {
        std::string error;
        const std::optional<host::Tag> found = table.find(text, &error);
        EXPECT_TRUE(found) << error;
        return found.value_or(host::Tag());
    }

    template <typename Condition>
    bool eventually(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            session->waitForChange(host::Milliseconds(10));
        }
        return true;
    }

    host::ValueState stateOf(const std::string& text) { return session->value(tag(text)).state; }

    // The value as the terminal shows it, once it is fresh.
    std::string read(const std::string& text) {
        const host::Tag what = tag(text);
        EXPECT_TRUE(eventually([&] { return session->value(what).state == host::ValueState::Fresh; }))
            << text << ": " << lastFailure();
        return host::formatPlantValues(what, session->value(what).values);
    }

    std::int32_t order(const std::string& text, const std::string& value) {
        const host::Tag what = tag(text);
        std::string error;
        const std::optional<host::HostValues> values = host::parsePlantValues(what, value, &error);
        EXPECT_TRUE(values) << error;
        return session->write(what, values.value_or(host::HostValues()));
    }

    host::OrderStep stepOf(std::int32_t serial) const {
        const std::optional<host::Order> record = session->order(serial);
        return record ? record->step : host::OrderStep::Waiting;
    }
    std::string failureOf(std::int32_t serial) const {
        const std::optional<host::Order> record = session->order(serial);
        return record ? record->failure.text : "no such write";
    }
    bool hasEnded(std::int32_t serial) const { return host::hasEnded(stepOf(serial)); }

    // Waits for the driver's report.
    void write(const std::string& text, const std::string& value) {
        const std::int32_t serial = order(text, value);
        EXPECT_TRUE(eventually([&] { return hasEnded(serial); })) << text;
        EXPECT_EQ(stepOf(serial), host::OrderStep::Succeeded) << text << ": " << failureOf(serial);
    }

    std::string inPlc(int area, std::int64_t offset, std::int64_t size) const {
        return hex(plc.read({area, offset, size}));
    }

    std::string lastFailure() const {
        const host::SessionStatus status = session->status();
        return status.lastFailure ? status.lastFailure->failure.text : "nothing failed";
    }

    bool anyFailureContains(const std::string& text) const {
        for (const host::SessionEvent& event : session->eventsSince(0)) {
            if (event.message().find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    static std::vector<sim::FaultRule> rulesOf(const std::vector<std::string>& texts) {
        std::vector<sim::FaultRule> rules;
        for (const std::string& text : texts) {
            std::string error;
            const std::optional<sim::FaultRule> rule = sim::parseFaultRule(text, &error);
            EXPECT_TRUE(rule) << error;
            rules.push_back(rule.value_or(sim::FaultRule()));
        }
        return rules;
    }

    const SymbolFile file;
    sim::EmbeddedSimulator plc;
    const host::TagTable table{file};
    host::SteadyClock clock;
    host::SessionSettings settings;
    host::NameLookup::Resolver resolver = host::addressesOf;
    std::unique_ptr<host::DriverLibrary> driver;
    std::unique_ptr<host::HostSession> session;  // last: ends before what it uses
};

}  // namespace ac500

#endif
