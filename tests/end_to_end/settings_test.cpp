// What ac500-host takes from its command line, the environment and a settings file, and which of them goes first.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtCore/QTemporaryDir>
#include <fstream>

#include "tests/end_to_end/programs.h"

namespace {

using ac500::test::CommandLineTest;
using ac500::test::kDriver;
using ac500::test::kHostProgram;
using ac500::test::kPlantFile;
using ac500::test::Outcome;
using ac500::test::Texts;
using ac500::test::operator+;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char kNobody[] = "127.0.0.1:1";

class SettingsTest : public CommandLineTest {
protected:
    std::string settingsFile(const std::string& content) const {
        const std::string path = directory_.filePath("settings.json").toStdString();
        std::ofstream(path) << content;
        return path;
    }

    // All that a read needs, from a file beside a link to the symbol file.
    std::string completeFile(const std::string& plc) const {
        QFile::link(QString::fromStdString(kPlantFile), directory_.filePath("plant.json"));
        return settingsFile(R"({"symbols": "plant.json", "driver": ")" + std::string(kDriver) + R"(", "plc": ")" + plc +
                            R"(", "wait": 3000})");
    }

    // With variables as a shell takes them: "AC500_PLC=...".
    static Outcome runWith(const std::string& variables, const Texts& arguments) {
        return run("sh", Texts{"-c", variables + " exec \"$0\" \"$@\"", kHostProgram} + arguments);
    }

    const Texts read_{"read", "Main.setpoint"};
    const std::string value_ = "Main.setpoint  100\n";
    QTemporaryDir directory_;
};

TEST_F(SettingsTest, AFileSaysAllThatAReadNeeds) {
    startSimulator();
    const Outcome outcome = runHost(Texts{"--config", completeFile(plc_)} + read_);
    EXPECT_EQ(outcome.out, value_) << outcome.error;
}

TEST_F(SettingsTest, TheEnvironmentSaysAllThatAReadNeeds) {
    startSimulator();
    const Outcome outcome =
        runWith("AC500_SYMBOLS='" + kPlantFile + "' AC500_DRIVER='" + kDriver + "' AC500_PLC=" + plc_, read_);
    EXPECT_EQ(outcome.out, value_) << outcome.error;
}

TEST_F(SettingsTest, TheEnvironmentGoesBeforeTheFile) {
    startSimulator();
    const Outcome plc = runWith("AC500_PLC=" + plc_, Texts{"--config", completeFile(kNobody)} + read_);
    EXPECT_EQ(plc.out, value_) << plc.error;
    const std::string file = settingsFile(R"({"symbols": "/nowhere.json"})");
    const Outcome symbols = runWith("AC500_SYMBOLS='" + kPlantFile + "'", {"--config", file, "tags", "Main.setpoint"});
    EXPECT_EQ(symbols.exitCode, 0) << symbols.error;
    const Outcome driver = runWith("AC500_DRIVER=/nowhere.so", Texts{"--config", completeFile(plc_)} + read_);
    EXPECT_THAT(driver.error, HasSubstr("/nowhere.so"));
}

TEST_F(SettingsTest, TheCommandLineGoesBeforeTheEnvironment) {
    startSimulator();
    const Outcome outcome = runWith(
        std::string("AC500_SYMBOLS=/nowhere.json AC500_DRIVER=/nowhere.so AC500_PLC=") + kNobody, usual() + read_);
    EXPECT_EQ(outcome.out, value_) << outcome.error;
}

TEST_F(SettingsTest, TheCommandLineGoesBeforeTheFile) {
    startSimulator();
    const std::string file = settingsFile(R"({"symbols": "/nowhere.json", "driver": "/nowhere.so", "plc": "127.0.0.1:1",
                                              "max": 1})");
    const Outcome refused = runHost(Texts{"--config", file} + usual() + read_ + Texts{"Main.counter"});
    EXPECT_THAT(refused.error, HasSubstr("names 2 tags, more than the 1 allowed"));
    const Outcome outcome = runHost(Texts{"--config", file, "--max", "2"} + usual() + read_);
    EXPECT_EQ(outcome.out, value_) << outcome.error;
}

TEST_F(SettingsTest, AWrongFileHasCodeTwoAndItsPlaceIsTold) {
    const std::string file = settingsFile("{\n  \"symbol\": \"plant.json\"}");
    const Outcome outcome = runHost({"--config", file, "tags"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.error, "file: " + file + ":2:3: unknown key \"symbol\"; did you mean \"symbols\"?\n");
    EXPECT_EQ(runHost({"--config", "/nowhere.json", "tags"}).error,
              "file: /nowhere.json: cannot be read: No such file or directory; check the path and its permissions\n");
}

TEST_F(SettingsTest, AWrongAddressIsNamedAfterTheVariable) {
    const Outcome outcome = runWith("AC500_PLC=10.0.0.5:x", {"--symbols", kPlantFile, "tags"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, StartsWith("usage: AC500_PLC 10.0.0.5:x is no HOST:PORT; "));
}

}  // namespace
