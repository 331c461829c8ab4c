// A simulated PLC, its symbols on disk, and a Plant with a session to it.
#ifndef AC500_TESTS_GATEWAY_GATEWAY_PLANT_H
#define AC500_TESTS_GATEWAY_GATEWAY_PLANT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/pace.h"
#include "tests/support/places.h"
#include "tools/gateway/plant.h"
#include "tools/simulator/embedded_simulator.h"

namespace ac500::test {

// Nothing changes by itself.
constexpr char kPlantSymbols[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 8192}],
  "scopes": [
    {"name": "Main", "variables": [
      {"name": "on", "type": "BOOL", "area": 1, "offset": 0, "comment": "is it running?"},
      {"name": "word", "type": "WORD", "area": 1, "offset": 2, "bits": true},
      {"name": "int", "type": "INT", "area": 1, "offset": 4, "min": -100, "max": 1000},
      {"name": "real", "type": "REAL", "area": 1, "offset": 32},
      {"name": "name", "type": "STRING(10)", "area": 1, "offset": 50},
      {"name": "level", "type": "INT", "area": 1, "offset": 72, "unit": "m", "scale": {"factor": 0.01, "offset": -1}, "max": 9.5},
      {"name": "mode", "type": "USINT", "area": 1, "offset": 74, "names": {"0": "off", "1": "manual", "2": "automatic"}},
      {"name": "fixed", "type": "INT", "area": 1, "offset": 76, "readOnly": true},
      {"name": "recipe", "type": "INT", "area": 1, "offset": 80, "array": [[1, 3]], "unit": "g"}]},
    {"name": "Pump", "variables": [
      {"name": "speed", "type": "INT", "area": 1, "offset": 200}]}
  ]})~";

// Rows of many elements.
constexpr char kLargeRows[] = R"~({
  "format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 32768}],
  "scopes": [
    {"name": "Main", "variables": [
      {"name": "int", "type": "INT", "area": 1, "offset": 4},
      {"name": "level", "type": "INT", "area": 1, "offset": 6},
      {"name": "row1", "type": "INT", "area": 1, "offset": 1000, "array": [[1, 3000]]},
      {"name": "row2", "type": "INT", "area": 1, "offset": 8000, "array": [[1, 3000]]},
      {"name": "row3", "type": "INT", "area": 1, "offset": 16000, "array": [[1, 3000]]}]},
    {"name": "Pump", "variables": [{"name": "speed", "type": "INT", "area": 1, "offset": 200}]}
  ]})~";

// The same with a guard, and another program that has another number there.
inline std::string guardedSymbols(int number) {
    return R"~({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 8192}],
  "guard": [{"tag": "Main.program", "value": )~" +
           std::to_string(number) + R"~(}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "int", "type": "INT", "area": 1, "offset": 4},
    {"name": "program", "type": "UDINT", "area": 1, "offset": 12}]}],
  "simulation": {"initial": [{"tag": "Main.program", "value": )~" +
           std::to_string(number) + "}]}}";
}

template <typename Condition>
bool eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(paced(10000));
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// A folder that is gone with its owner.
class TemporaryFolder {
public:
    TemporaryFolder() {
        char name[] = "/tmp/ac500-gateway-XXXXXX";
        path_ = mkdtemp(name) == nullptr ? "" : name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    // Makes the file anew; returns its path.
    std::string file(const std::string& name, const std::string& content) const {
        const std::string path = path_ + "/" + name;
        std::ofstream(path) << content;
        return path;
    }

private:
    std::string path_;
};

class GatewayTest : public testing::Test {
protected:
    explicit GatewayTest(const std::string& program = kPlantSymbols)
        : simulator(symbol_file::parseSymbolFile(program).file) {
        settings.name = "Plant 1";
        settings.symbols = folder.file("plant.json", program);
        settings.driver = kDriver;
        settings.tags = {"Main", "Pump"};
        settings.session.loop.plc = {"127.0.0.1", simulator.port()};
        settings.record.memoryBytes = 0;
        settings.session.loop.cycle = host::Milliseconds(10);
        settings.session.loop.replyTimeout = host::Milliseconds(paced(300));
    }
    ~GatewayTest() override { plant.reset(); }

    void start() {
        host::Failure failure;
        plant = gateway::Plant::open(settings, &failure);
        ASSERT_NE(plant, nullptr) << failure.text;
        ASSERT_TRUE(plant->start(&failure)) << failure.text;
    }

    std::size_t number(const std::string& name) const {
        const std::optional<std::size_t> number = plant->numberOf(name);
        EXPECT_TRUE(number.has_value()) << name;
        return number.value_or(0);
    }

    // As the board has it now: "fresh 17", "fresh 1 g, 2 g", "never received".
    std::string shown(const std::string& name) const {
        const gateway::BoardValue value = plant->changedSince(0, {number(name)}).front().second;
        std::string text = host::valueStateName(value.value.state);
        for (const std::string& element : value.texts) {
            text += (&element == &value.texts.front() ? " " : ", ") + element;
        }
        return text;
    }

    bool eventuallyShown(const std::string& name, const std::string& text) const {
        return eventually([&] { return shown(name) == text; });
    }

    void put(const std::string& name, double value) {
        std::string error;
        const std::optional<symbol_file::Element> element = plant->symbols().catalog().element(name, &error);
        ASSERT_TRUE(element) << error;
        simulator.writeNumber(*element, value);
    }

    const TemporaryFolder folder;
    sim::EmbeddedSimulator simulator;
    gateway::PlantSettings settings;
    std::unique_ptr<gateway::Plant> plant;
};

}  // namespace ac500::test

#endif
