#include "tools/settings/settings.h"

#include <gtest/gtest.h>

#include <cstring>

namespace ac500::settings {
namespace {

TEST(Settings, TheEnvironmentSaysThreeOfThem) {
    const Settings settings = fromEnvironment([](const char* name) -> const char* {
        return std::strcmp(name, "AC500_SYMBOLS") == 0  ? "plant.json"
               : std::strcmp(name, "AC500_PLC") == 0    ? "10.0.0.5:1201"
               : std::strcmp(name, "AC500_DRIVER") == 0 ? "/opt/driver.so"
                                                        : nullptr;
    });
    EXPECT_EQ(settings.symbols, "plant.json");
    EXPECT_EQ(settings.plc, "10.0.0.5:1201");
    EXPECT_EQ(settings.driver, "/opt/driver.so");
    EXPECT_FALSE(settings.timeoutMs);
}

TEST(Settings, VariablesThatAreEmptyOrMissingSayNothing) {
    const Settings settings = fromEnvironment(
        [](const char* name) -> const char* { return std::strcmp(name, "AC500_PLC") == 0 ? "" : nullptr; });
    EXPECT_FALSE(settings.symbols);
    EXPECT_FALSE(settings.plc);
    EXPECT_FALSE(settings.driver);
}

Settings allOf(const std::string& text, int number) {
    return {text + "s", text + "p", text + "d", number + 1, number + 2, number + 3, number + 4, number + 5, number + 6};
}

void expectAllOf(const Settings& settings, const std::string& text, int number) {
    EXPECT_EQ(settings.symbols, text + "s");
    EXPECT_EQ(settings.plc, text + "p");
    EXPECT_EQ(settings.driver, text + "d");
    EXPECT_EQ(settings.timeoutMs, number + 1);
    EXPECT_EQ(settings.waitMs, number + 2);
    EXPECT_EQ(settings.cycleMs, number + 3);
    EXPECT_EQ(settings.maxRequestWords, number + 4);
    EXPECT_EQ(settings.retryLimit, number + 5);
    EXPECT_EQ(settings.mostTags, number + 6);
}

TEST(Settings, TheFirstGoesBeforeTheSecondInEachOfThem) {
    expectAllOf(preferred(allOf("a", 10), allOf("b", 20)), "a", 10);
    expectAllOf(preferred(Settings(), allOf("b", 20)), "b", 20);
    expectAllOf(preferred(allOf("a", 10), Settings()), "a", 10);
}

TEST(Settings, EachIsChosenByItself) {
    Settings first;
    first.cycleMs = 0;
    const Settings settings = preferred(first, allOf("b", 20));
    EXPECT_EQ(settings.cycleMs, 0);
    EXPECT_EQ(settings.waitMs, 22);
}

}  // namespace
}  // namespace ac500::settings
