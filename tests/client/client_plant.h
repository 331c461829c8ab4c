// A simulated PLC and a symbol file on disk, for tests that know the C functions alone.
#ifndef AC500_TESTS_CLIENT_CLIENT_PLANT_H
#define AC500_TESTS_CLIENT_CLIENT_PLANT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/pace.h"
#include "tests/support/places.h"
#include "tools/client/ac500_client.h"
#include "tools/simulator/embedded_simulator.h"

namespace ac500::test {

// Nothing changes by itself.
constexpr char kClientProgram[] = R"~({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 8192}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "on", "type": "BOOL", "area": 1, "offset": 0, "comment": "is it running?"},
    {"name": "sint", "type": "SINT", "area": 1, "offset": 1},
    {"name": "word", "type": "WORD", "area": 1, "offset": 2, "bits": true},
    {"name": "int", "type": "INT", "area": 1, "offset": 4, "min": -100, "max": 1000},
    {"name": "udint", "type": "UDINT", "area": 1, "offset": 8},
    {"name": "lint", "type": "LINT", "area": 1, "offset": 16},
    {"name": "ulint", "type": "ULINT", "area": 1, "offset": 24},
    {"name": "real", "type": "REAL", "area": 1, "offset": 32},
    {"name": "lreal", "type": "LREAL", "area": 1, "offset": 40},
    {"name": "name", "type": "STRING(10)", "area": 1, "offset": 50},
    {"name": "time", "type": "TIME", "area": 1, "offset": 64},
    {"name": "moment", "type": "DT", "area": 1, "offset": 68},
    {"name": "level", "type": "INT", "area": 1, "offset": 72, "unit": "m", "scale": {"factor": 0.01, "offset": -1}, "max": 9.5},
    {"name": "mode", "type": "USINT", "area": 1, "offset": 74, "names": {"0": "off", "1": "manual", "2": "automatic"}},
    {"name": "fixed", "type": "INT", "area": 1, "offset": 76, "readOnly": true},
    {"name": "recipe", "type": "INT", "area": 1, "offset": 80, "array": [[1, 10]]},
    {"name": "names", "type": "STRING(4)", "area": 1, "offset": 100, "array": [[1, 3]]},
    {"name": "grid", "type": "DINT", "area": 1, "offset": 120, "array": [[0, 1], [1, 3]]},
    {"name": "many", "type": "INT", "area": 1, "offset": 4000, "array": [[1, 1000]]}
  ]}]})~";

// A file that is gone with its owner.
class SymbolFileOnDisk {
public:
    explicit SymbolFileOnDisk(const std::string& content) {
        char name[] = "/tmp/ac500-client-XXXXXX";
        const int descriptor = mkstemp(name);
        if (descriptor < 0) {
            throw std::runtime_error("no file can be made in /tmp");
        }
        close(descriptor);
        path_ = name;
        std::ofstream(path_) << content;
    }
    ~SymbolFileOnDisk() { std::remove(path_.c_str()); }
    SymbolFileOnDisk(const SymbolFileOnDisk&) = delete;
    SymbolFileOnDisk& operator=(const SymbolFileOnDisk&) = delete;
    const char* path() const { return path_.c_str(); }

private:
    std::string path_;
};

inline std::string addressOf(const sim::EmbeddedSimulator& plc) {
    return "127.0.0.1:" + std::to_string(plc.port());
}

class ClientTest : public testing::Test {
protected:
    ClientTest() {
        EXPECT_EQ(ac500_settings_init(&settings, sizeof settings), AC500_OK);
        settings.driver = kDriver;
        settings.cycle_ms = 10;
        settings.reply_timeout_ms = paced(300);
        settings.time_limit_ms = paced(5000);
    }
    ~ClientTest() override { ac500_close(plc); }

    void open() {
        ASSERT_EQ(ac500_open(file.path(), addressOf(simulator).c_str(), &settings, &plc), AC500_OK) << error();
    }

    static std::string error() { return ac500_last_error(); }

    // In the PLC's memory, as hexadecimal digits.
    std::string inPlc(std::int64_t offset, std::int64_t size) const {
        std::string digits;
        for (const char byte : simulator.read({1, offset, size})) {
            char two[3];
            std::snprintf(two, sizeof two, "%02X", static_cast<unsigned>(static_cast<unsigned char>(byte)));
            digits += two;
        }
        return digits;
    }

    std::string text(const char* name) const {
        char buffer[200] = "";
        EXPECT_EQ(ac500_read_text(plc, name, buffer, sizeof buffer), AC500_OK) << name << ": " << error();
        return buffer;
    }

    ac500_tag* tag(const char* name) const {
        ac500_tag* found = nullptr;
        EXPECT_EQ(ac500_find_tag(plc, name, &found), AC500_OK) << error();
        return found;
    }

    static ac500_value_info infoOf(const ac500_values* values, std::size_t index) {
        ac500_value_info info{};
        EXPECT_EQ(ac500_get_value_info(values, index, &info, sizeof info), AC500_OK) << error();
        return info;
    }

    template <typename Condition>
    static bool eventually(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    const SymbolFileOnDisk file{kClientProgram};
    sim::EmbeddedSimulator simulator{symbol_file::parseSymbolFile(kClientProgram).file};
    ac500_settings settings{};
    ac500_plc* plc = nullptr;
};

}  // namespace ac500::test

#endif
