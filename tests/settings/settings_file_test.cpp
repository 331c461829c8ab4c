#include "tools/settings/settings_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtCore/QTemporaryDir>
#include <fstream>

namespace ac500::settings {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> problemsOf(const std::string& text) {
    std::vector<std::string> texts;
    for (const symbol_file::Problem& problem : parseSettings(text, "").problems) {
        texts.push_back(describe("s", problem));
    }
    return texts;
}

TEST(SettingsFile, SaysAllThatTheOptionsSay) {
    const LoadedSettings loaded = parseSettings(R"({"symbols": "plant.json", "plc": "[::1]:1201", "driver": "/opt/d.so",
        "timeout": 1, "wait": 86400000, "cycle": 0, "max-request-words": 250, "retry-limit": 3, "max": 1000})",
                                                "/etc/line7");
    ASSERT_TRUE(loaded.problems.empty());
    EXPECT_EQ(loaded.settings.symbols, "/etc/line7/plant.json");
    EXPECT_EQ(loaded.settings.plc, "[::1]:1201");
    EXPECT_EQ(loaded.settings.driver, "/opt/d.so");
    EXPECT_EQ(loaded.settings.timeoutMs, 1);
    EXPECT_EQ(loaded.settings.waitMs, 86400000);
    EXPECT_EQ(loaded.settings.cycleMs, 0);
    EXPECT_EQ(loaded.settings.maxRequestWords, 250);
    EXPECT_EQ(loaded.settings.retryLimit, 3);
    EXPECT_EQ(loaded.settings.mostTags, 1000);
}

TEST(SettingsFile, MaySayNothing) {
    const LoadedSettings loaded = parseSettings("{}", "");
    EXPECT_TRUE(loaded.problems.empty());
    EXPECT_FALSE(loaded.settings.symbols || loaded.settings.plc || loaded.settings.driver || loaded.settings.timeoutMs);
}

TEST(SettingsFile, PathsAreRelativeToTheFile) {
    const QTemporaryDir directory;
    const std::string file = directory.filePath("s.json").toStdString();
    std::ofstream(file) << R"({"symbols": "../plant.json"})";
    const LoadedSettings loaded = loadSettings(file);
    ASSERT_TRUE(loaded.problems.empty());
    EXPECT_EQ(loaded.settings.symbols, directory.path().toStdString() + "/../plant.json");
    EXPECT_EQ(parseSettings(R"({"symbols": "plant.json"})", "").settings.symbols, "plant.json");
}

TEST(SettingsFile, UnknownKeysAreToldWithTheirPlace) {
    EXPECT_THAT(problemsOf("{\n  \"symbol\": \"x\",\n  \"colour\": 1}"),
                ElementsAre("s:2:3: unknown key \"symbol\"; did you mean \"symbols\"?",
                            HasSubstr("s:3:3: unknown key \"colour\"")));
}

TEST(SettingsFile, WrongValuesAreToldWithTheirPlace) {
    EXPECT_THAT(
        problemsOf("{\"symbols\": \"\",\n\"plc\": \"10.0.0.5:x\",\n\"driver\": 5,\n\"timeout\": 0,\n"
                   "\"wait\": 86400001,\n\"cycle\": -1,\n\"max-request-words\": 32001,\n\"retry-limit\": 1001,\n"
                   "\"max\": \"5\"}"),
        ElementsAre("s:1:13: symbols: is empty; give a path, or remove the key",
                    "s:2:8: plc: \"10.0.0.5:x\" is no HOST:PORT; write e.g. \"192.168.0.10:1201\" or "
                    "\"[::1]:1201\"",
                    HasSubstr("s:3:11: driver: "), HasSubstr("s:4:12: timeout: "), HasSubstr("s:5:9: wait: "),
                    HasSubstr("s:6:10: cycle: "), HasSubstr("s:7:22: max-request-words: "),
                    HasSubstr("s:8:16: retry-limit: "), HasSubstr("s:9:8: max: ")));
}

TEST(SettingsFile, WhatIsNoObjectIsTold) {
    EXPECT_EQ(problemsOf("[]").size(), 1u);
    EXPECT_EQ(problemsOf("{\"plc\": ").size(), 1u);
    EXPECT_THAT(problemsOf("\xEF\xBB\xBF \n"), ElementsAre("s: is empty; write {} for no settings"));
}

TEST(SettingsFile, FilesThatCannotBeReadAreTold) {
    ASSERT_EQ(loadSettings("/nowhere/s.json").problems.size(), 1u);
    EXPECT_EQ(loadSettings("/nowhere/s.json").problems[0].what,
              "cannot be read: No such file or directory; check the path and its permissions");
    EXPECT_EQ(loadSettings("/dev/zero").problems[0].what, "is larger than 1 MiB; this is no settings file");
}

}  // namespace
}  // namespace ac500::settings
