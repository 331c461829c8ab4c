#include "tools/settings/settings.h"

namespace ac500::settings {

namespace {

std::optional<std::string> variable(const Environment& environment, const char* name) {
    const char* content = environment(name);
    return content == nullptr || *content == '\0' ? std::nullopt : std::optional<std::string>(content);
}

template <typename Value>
void fill(std::optional<Value>* setting, const std::optional<Value>& other) {
    if (!*setting) {
        *setting = other;
    }
}

}  // namespace

Settings fromEnvironment(const Environment& environment) {
    Settings settings;
    settings.symbols = variable(environment, kSymbolsVariable);
    settings.plc = variable(environment, kPlcVariable);
    settings.driver = variable(environment, kDriverVariable);
    return settings;
}

Settings preferred(const Settings& first, const Settings& second) {
    Settings settings = first;
    fill(&settings.symbols, second.symbols);
    fill(&settings.plc, second.plc);
    fill(&settings.driver, second.driver);
    fill(&settings.timeoutMs, second.timeoutMs);
    fill(&settings.waitMs, second.waitMs);
    fill(&settings.cycleMs, second.cycleMs);
    fill(&settings.maxRequestWords, second.maxRequestWords);
    fill(&settings.retryLimit, second.retryLimit);
    fill(&settings.mostTags, second.mostTags);
    return settings;
}

}  // namespace ac500::settings
