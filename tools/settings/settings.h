// Settings are what can be said in three places: on the command line, in the environment, in a settings file. What the
// command line says goes before the environment, and that before the file. Plain values.
#ifndef AC500_TOOLS_SETTINGS_SETTINGS_H
#define AC500_TOOLS_SETTINGS_SETTINGS_H

#include <functional>
#include <optional>
#include <string>

namespace ac500::settings {

// Each is set, or left to the next place.
struct Settings {
    std::optional<std::string> symbols;  // path of the symbol file
    std::optional<std::string> plc;      // "HOST:PORT"
    std::optional<std::string> driver;   // path of the driver library
    std::optional<int> timeoutMs;
    std::optional<int> waitMs;
    std::optional<int> cycleMs;
    std::optional<int> maxRequestWords;
    std::optional<int> retryLimit;
    std::optional<int> mostTags;
};

// What a number may be; both ends belong to it.
struct SettingRange {
    int smallest;
    int largest;
};

constexpr int kDayMs = 24 * 60 * 60 * 1000;
constexpr SettingRange kWaitRangeMs{1, kDayMs};  // of timeout and wait
constexpr SettingRange kCycleRangeMs{0, kDayMs};
constexpr SettingRange kRequestWordsRange{1, 32000};
constexpr SettingRange kRetryRange{0, 1000};
constexpr SettingRange kTagsRange{1, 1000000};

constexpr char kSymbolsVariable[] = "AC500_SYMBOLS";
constexpr char kPlcVariable[] = "AC500_PLC";
constexpr char kDriverVariable[] = "AC500_DRIVER";

// Gives the content of an environment variable, or null.
using Environment = std::function<const char*(const char* name)>;

// A variable that is empty says nothing.
Settings fromEnvironment(const Environment& environment);

// Each setting from `first`, where it is set there, else from `second`.
Settings preferred(const Settings& first, const Settings& second);

}  // namespace ac500::settings

#endif
