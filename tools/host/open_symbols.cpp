#include "tools/host/open_symbols.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <utility>
#include <vector>

#include "tools/simulator/reserved_variables.h"

namespace ac500::host {

std::optional<TagTable> openSymbols(const std::string& fileName, bool withSimulator, Failure* failure) {
    symbol_file::LoadedSymbolFile loaded = symbol_file::loadSymbolFile(fileName);
    if (loaded.problems.empty() && withSimulator) {
        loaded.problems = sim::reservedConflicts(loaded.file);
        if (loaded.problems.empty()) {
            loaded.file = sim::withReservedVariables(std::move(loaded.file));
        }
    }
    if (!loaded.problems.empty()) {
        std::vector<std::string> texts;
        for (const symbol_file::Problem& problem : loaded.problems) {
            texts.push_back(describe(fileName, problem));
        }
        *failure = {FailureKind::File, fmt::format("{}", fmt::join(texts, "\n"))};
        return std::nullopt;
    }
    return std::make_optional<TagTable>(std::move(loaded.file));
}

}  // namespace ac500::host
