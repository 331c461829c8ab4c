// The simulator by its C functions alone, seen through the client.
#include "tests/client/client_plant.h"
#include "tools/client/ac500_simulator.h"

namespace ac500::test {
namespace {

using testing::HasSubstr;

class CSimulatorTest : public testing::Test {
protected:
    ~CSimulatorTest() override {
        ac500_close(plc);
        ac500_simulator_stop(simulator);
    }

    void start(const ac500_simulator_settings* given = nullptr) {
        ASSERT_EQ(ac500_simulator_start(file.path(), given, &simulator), AC500_OK) << ac500_simulator_last_error();
        ac500_settings settings{};
        ac500_settings_init(&settings, sizeof settings);
        settings.driver = kDriver;
        settings.reply_timeout_ms = paced(300);
        ASSERT_EQ(ac500_open(file.path(), ac500_simulator_address(simulator), &settings, &plc), AC500_OK)
            << ac500_last_error();
    }

    static std::string error() { return ac500_simulator_last_error(); }

    const SymbolFileOnDisk file{kClientProgram};
    ac500_simulator* simulator = nullptr;
    ac500_plc* plc = nullptr;
};

TEST_F(CSimulatorTest, WhatOneSideSetsTheOtherReads) {
    start();
    EXPECT_EQ(ac500_simulator_set_number(simulator, "Main.recipe[3]", -12), AC500_OK) << error();
    EXPECT_EQ(ac500_simulator_set_text(simulator, "Main.name", "pump"), AC500_OK) << error();
    std::int64_t whole = 0;
    EXPECT_EQ(ac500_read_int64(plc, "Main.recipe[3]", &whole), AC500_OK) << ac500_last_error();
    EXPECT_EQ(whole, -12);
    char buffer[20] = "";
    EXPECT_EQ(ac500_read_string(plc, "Main.name", buffer, sizeof buffer), AC500_OK) << ac500_last_error();
    EXPECT_STREQ(buffer, "pump");
    EXPECT_EQ(ac500_write_double(plc, "Main.lreal", 0.5), AC500_OK) << ac500_last_error();
    double number = 0;
    EXPECT_EQ(ac500_simulator_get_number(simulator, "Main.lreal", &number), AC500_OK) << error();
    EXPECT_EQ(number, 0.5);
    EXPECT_EQ(ac500_simulator_get_text(simulator, "Main.name", buffer, sizeof buffer), AC500_OK) << error();
    EXPECT_STREQ(buffer, "\"pump\"");
    EXPECT_EQ(ac500_simulator_get_number(simulator, "Sim.connections", &number), AC500_OK) << error();
    EXPECT_EQ(number, 1);
}

TEST_F(CSimulatorTest, FaultsComeOnDemand) {
    start();
    std::int64_t whole = 0;
    ASSERT_EQ(ac500_read_int64(plc, "Main.int", &whole), AC500_OK) << ac500_last_error();
    EXPECT_EQ(ac500_simulator_inject(simulator, "status:value=5,service=write,count=3"), AC500_OK) << error();
    EXPECT_EQ(ac500_write_int64(plc, "Main.int", 1), AC500_REQUEST);
    EXPECT_EQ(ac500_simulator_inject(simulator, "none"), AC500_OK) << error();
    EXPECT_EQ(ac500_write_int64(plc, "Main.int", 1), AC500_OK) << ac500_last_error();
    ac500_simulator_counters counters{};
    ASSERT_EQ(ac500_simulator_get_counters(simulator, &counters, sizeof counters), AC500_OK);
    EXPECT_GE(counters.faults, 1u);
    EXPECT_EQ(counters.connections, 1u);
    EXPECT_EQ(ac500_simulator_restart(simulator), AC500_OK);
    EXPECT_EQ(ac500_simulator_drop_connections(simulator), AC500_OK);
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &whole), AC500_OK) << ac500_last_error();
    EXPECT_EQ(whole, 1);
    EXPECT_EQ(ac500_simulator_inject(simulator, "silense"), AC500_USAGE);
    EXPECT_EQ(ac500_simulator_inject(simulator, "silence:every=2"), AC500_USAGE);
    EXPECT_THAT(error(), HasSubstr("silence:every=2"));
}

TEST_F(CSimulatorTest, RulesGoWithTheSettings) {
    ac500_simulator_settings settings{};
    ASSERT_EQ(ac500_simulator_settings_init(&settings, sizeof settings), AC500_OK);
    const char* const faults[] = {"reset:at=4"};
    settings.faults = faults;
    settings.fault_count = 1;
    start(&settings);
    std::int64_t whole = 7;
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &whole), AC500_OK) << ac500_last_error();
    EXPECT_EQ(ac500_read_int64(plc, "Main.int", &whole), AC500_OK) << ac500_last_error();
    ac500_simulator_counters counters{};
    ASSERT_EQ(ac500_simulator_get_counters(simulator, &counters, sizeof counters), AC500_OK);
    EXPECT_EQ(counters.connections, 2u);
}

TEST_F(CSimulatorTest, WhatItDoesNotTakeIsRefused) {
    start();
    double number = 7;
    EXPECT_EQ(ac500_simulator_start("/nowhere.json", nullptr, &simulator), AC500_FILE);
    EXPECT_THAT(error(), HasSubstr("/nowhere.json"));
    EXPECT_EQ(ac500_simulator_start(nullptr, nullptr, nullptr), AC500_USAGE);
    EXPECT_EQ(ac500_simulator_set_number(simulator, "Main.nothing", 1), AC500_NAME);
    EXPECT_EQ(ac500_simulator_set_text(simulator, "Main.int", "much"), AC500_USAGE);
    EXPECT_EQ(error(), "Main.int: \"much\" is no value of its type");
    EXPECT_EQ(ac500_simulator_get_number(nullptr, "Main.int", &number), AC500_USAGE);
    EXPECT_EQ(ac500_simulator_get_number(simulator, nullptr, &number), AC500_USAGE);
    EXPECT_EQ(ac500_simulator_get_number(simulator, "Main.int", nullptr), AC500_USAGE);
    char small[2] = "";
    EXPECT_EQ(ac500_simulator_get_text(simulator, "Main.on", small, sizeof small), AC500_USAGE);
    EXPECT_EQ(ac500_simulator_address(nullptr), nullptr);
    EXPECT_EQ(ac500_simulator_inject(simulator, nullptr), AC500_USAGE);
    EXPECT_EQ(ac500_simulator_stop(nullptr), AC500_USAGE);
    EXPECT_EQ(number, 7);
}

}  // namespace
}  // namespace ac500::test
