// The settings file of the gateway: any text is refused in words, with a line, or gives settings that keep within their
// bounds.
#include <algorithm>
#include <string>

#include "tests/fuzz/fuzz_check.h"
#include "tools/gateway/gateway_settings.h"

using namespace ac500;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const gateway::LoadedGatewaySettings loaded = gateway::parseGatewaySettings(text, "/folder");
    const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
    for (const symbol_file::Problem& problem : loaded.problems) {
        FUZZ_CHECK(!problem.what.empty());
        FUZZ_CHECK(problem.line >= 0 && problem.line <= lines);
    }
    if (loaded.problems.empty()) {
        const gateway::GatewaySettings& settings = loaded.settings;
        FUZZ_CHECK(!settings.plant.symbols.empty() && !settings.plant.session.loop.plc.host.empty());
        FUZZ_CHECK(settings.plant.session.loop.cycle.count() > 0);
        if (settings.page) {
            FUZZ_CHECK(settings.page->viewers > 0 && settings.page->viewersPerAddress > 0);
            FUZZ_CHECK(settings.page->certificate.empty() == settings.page->key.empty());
            FUZZ_CHECK(settings.page->isLocal() || !settings.tokens.empty());
        }
    }
    return 0;
}
