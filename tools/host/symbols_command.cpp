#include "tools/host/commands.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <map>
#include <utility>

#include "tools/desk/symbols_diff.h"
#include "tools/host/exit_codes.h"
#include "tools/host/print.h"
#include "tools/simulator/reserved_variables.h"
#include "tools/symbol_file/limits.h"
#include "tools/symbol_file/symbol_csv.h"
#include "tools/symbol_file/symbol_document.h"
#include "tools/symbol_file/wireshark_map.h"
#include "tools/text/file_text.h"

namespace ac500::host {

using desk::PlacedTag;
using desk::SymbolChange;
using desk::SymbolsDiff;
using selection::Catalog;
using symbol_file::CsvProblem;
using symbol_file::LoadedSymbolFile;

namespace {

constexpr char kStandardInput[] = "-";

template <typename Problem>
Failure fileFailure(const std::string& fileName, const std::vector<Problem>& problems) {
    std::vector<std::string> texts;
    for (const Problem& problem : problems) {
        texts.push_back(describe(fileName, problem));
    }
    return {FailureKind::File, fmt::format("{}", fmt::join(texts, "\n"))};
}

// The content of a file, or of the standard input.
bool readWhole(const std::string& fileName, std::string* content, Failure* failure) {
    const std::size_t limit = symbol_file::kMaxFileBytes + 1;
    const bool isRead = fileName == kStandardInput ? text::readUpTo(std::cin, limit, content)
                                                   : text::readUpTo(fileName, limit, content);
    if (!isRead) {
        *failure = {FailureKind::File, fmt::format("{}: cannot be read: {}; check the path and its permissions",
                                                   fileName, std::strerror(errno))};
        return false;
    }
    if (content->size() == limit) {
        *failure = {FailureKind::File, fileName + ": is larger than 64 MiB; it has to be split"};
        return false;
    }
    return true;
}

// ---------------------------------------------------------------------------------------------------------------------
// Tables
// ---------------------------------------------------------------------------------------------------------------------

int importTable(CommandContext& context, const std::string& fileName) {
    std::string content;
    Failure failure;
    if (!readWhole(fileName, &content, &failure)) {
        return context.cannotBegin(failure);
    }
    const symbol_file::ImportedCsv imported = symbol_file::importCsv(content);
    if (!imported.problems.empty()) {
        return context.cannotBegin(fileFailure(fileName, imported.problems));
    }
    print(toJsonText(imported.document));
    return 0;
}

int exportFile(CommandContext& context, const std::string& fileName) {
    std::string content;
    Failure failure;
    if (!readWhole(fileName, &content, &failure)) {
        return context.cannotBegin(failure);
    }
    LoadedSymbolFile loaded = symbol_file::parseSymbolFile(content);
    const Options& options = context.options();
    const bool isWithSimulator = options.symbolsCommand.forWireshark && options.simulator;
    if (loaded.problems.empty() && isWithSimulator) {
        loaded.problems = sim::reservedConflicts(loaded.file);
    }
    if (!loaded.problems.empty()) {
        return context.cannotBegin(fileFailure(fileName, loaded.problems));
    }
    if (options.symbolsCommand.forWireshark) {
        print(symbol_file::wiresharkMap(isWithSimulator ? sim::withReservedVariables(std::move(loaded.file))
                                                        : loaded.file));
        return 0;
    }
    print(symbol_file::exportCsv(symbol_file::parseJson(content).root));
    return 0;
}

// ---------------------------------------------------------------------------------------------------------------------
// Differences
// ---------------------------------------------------------------------------------------------------------------------

std::vector<std::string> wordsOf(const SymbolChange& change) {
    std::vector<std::string> words;
    const auto add = [&words](bool isSo, const char* word) {
        if (isSo) {
            words.emplace_back(word);
        }
    };
    add(change.isMoved, "moved");
    add(change.shifted.has_value(), "shifted");
    add(change.isRetyped, "retyped");
    add(change.isRenamed, "renamed");
    add(change.isVanished(), "vanished");
    add(change.isNew(), "new");
    add(words.empty() && !change.hits.empty(), "overlaid");
    add(!change.meaning.empty(), "changed");
    return words;
}

std::string placeText(const PlacedTag& tag) {
    return fmt::format("{} area {} {} {}", tag.type, tag.area, tag.isBitAddress ? "bit" : "byte", tag.address);
}

std::string afterText(const SymbolChange& change) {
    if (!change.after) {
        return "-";
    }
    return (change.isRenamed ? change.after->tag + ": " : "") + placeText(*change.after);
}

std::string orDash(const std::string& text) {
    return text.empty() ? "-" : text;
}

// "element [1]: byte 0 -> byte 2; unit: bar -> mbar"
std::string detailText(const SymbolChange& change) {
    std::vector<std::string> texts;
    if (change.shifted) {
        const char* unit = change.before->isBitAddress ? "bit" : "byte";
        texts.push_back(fmt::format("element {}: {} {} -> {} {}", change.shifted->indices, unit, change.shifted->before,
                                    unit, change.shifted->after));
    }
    for (const desk::MeaningChange& one : change.meaning) {
        texts.push_back(fmt::format("{}: {} -> {}", one.what, orDash(one.before), orDash(one.after)));
    }
    return fmt::format("{}", fmt::join(texts, "; "));
}

std::string hitsText(const SymbolChange& change) {
    return fmt::format("{}{}", fmt::join(change.hits, ", "), change.hasMoreHits ? " and more" : "");
}

const std::string& nameOf(const SymbolChange& change) {
    return change.before ? change.before->tag : change.after->tag;
}

// How many changes of each kind there are, in the order of the words.
std::vector<std::pair<std::string, int>> countsOf(const SymbolsDiff& diff) {
    std::vector<std::pair<std::string, int>> counts = {{"moved", 0},    {"shifted", 0},  {"retyped", 0},
                                                       {"renamed", 0},  {"vanished", 0}, {"new", 0},
                                                       {"overlaid", 0}, {"changed", 0}};
    for (const SymbolChange& change : diff.changes) {
        for (const std::string& word : wordsOf(change)) {
            for (auto& [name, count] : counts) {
                count += name == word ? 1 : 0;
            }
        }
    }
    return counts;
}

int countHitting(const SymbolsDiff& diff) {
    int count = 0;
    for (const SymbolChange& change : diff.changes) {
        count += change.hits.empty() ? 0 : 1;
    }
    return count;
}

void printDiff(const SymbolsDiff& diff) {
    if (!diff.changes.empty()) {
        const bool hasDetails = std::any_of(diff.changes.begin(), diff.changes.end(),
                                            [](const SymbolChange& change) { return !detailText(change).empty(); });
        std::vector<std::vector<std::string>> rows{{"CHANGE", "TAG", "BEFORE", "NOW"}};
        for (const SymbolChange& change : diff.changes) {
            rows.push_back({fmt::format("{}", fmt::join(wordsOf(change), ", ")), nameOf(change),
                            change.before ? placeText(*change.before) : "-", afterText(change)});
        }
        for (std::size_t i = 0; i < rows.size(); ++i) {
            if (hasDetails) {
                rows[i].push_back(i == 0 ? "DETAILS" : detailText(diff.changes[i - 1]));
            }
            rows[i].push_back(i == 0 ? "AN OLD WRITE NOW HITS" : hitsText(diff.changes[i - 1]));
        }
        printTable(rows);
    }
    std::string line;
    for (const auto& [word, count] : countsOf(diff)) {
        line += count == 0 ? std::string() : fmt::format("{} {}, ", count, word);
    }
    printLine(fmt::format("{}{} tags compared; {} of them would be written to another variable",
                          line.empty() ? "no difference, " : line, diff.compared, countHitting(diff)));
}

Json placeJson(const std::optional<PlacedTag>& tag) {
    if (!tag) {
        return Json();
    }
    Json json;
    json["tag"] = tag->tag;
    json["type"] = tag->type;
    json["area"] = tag->area;
    json[tag->isBitAddress ? "bit" : "byte"] = tag->address;
    return json;
}

Json textOrNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

Json meaningJson(const std::vector<desk::MeaningChange>& changes) {
    Json list = Json::array();
    for (const desk::MeaningChange& change : changes) {
        list.push_back(
            {{"what", change.what}, {"before", textOrNull(change.before)}, {"now", textOrNull(change.after)}});
    }
    return list;
}

Json shiftedJson(const std::optional<desk::ShiftedElement>& shifted) {
    return shifted ? Json{{"element", shifted->indices}, {"before", shifted->before}, {"now", shifted->after}} : Json();
}

void printDiffJson(const SymbolsDiff& diff, const std::vector<std::string>& stayed) {
    Json json = newDocument();
    json["differences"] = Json::array();
    for (const SymbolChange& change : diff.changes) {
        Json one;
        one["tag"] = nameOf(change);
        one["changes"] = wordsOf(change);
        one["before"] = placeJson(change.before);
        one["now"] = placeJson(change.after);
        one["shifted"] = shiftedJson(change.shifted);
        one["changed"] = meaningJson(change.meaning);
        one["hits"] = change.hits;
        one["hits_more"] = change.hasMoreHits;
        json["differences"].push_back(one);
    }
    json["guard_stayed"] = stayed;
    json["compared"] = diff.compared;
    json["hitting"] = countHitting(diff);
    for (const auto& [word, count] : countsOf(diff)) {
        json["counts"][word] = count;
    }
    printJson(json);
}

std::optional<Catalog> loadCatalog(const std::string& fileName, Failure* failure) {
    LoadedSymbolFile loaded = symbol_file::loadSymbolFile(fileName);
    if (!loaded.problems.empty()) {
        *failure = fileFailure(fileName, loaded.problems);
        return std::nullopt;
    }
    return Catalog(std::move(loaded.file));
}

Failure selectionFailure(const std::vector<selection::SelectionProblem>& problems) {
    std::vector<std::string> texts;
    FailureKind kind = FailureKind::Name;
    for (const selection::SelectionProblem& problem : problems) {
        texts.push_back(problem.text);
        kind = problem.kind == selection::ProblemKind::List ? FailureKind::File : kind;
    }
    return {kind, fmt::format("{}", fmt::join(texts, "\n"))};
}

int showDiff(CommandContext& context, const SymbolsOptions& options) {
    Failure failure;
    const std::optional<Catalog> before = loadCatalog(options.file, &failure);
    const std::optional<Catalog> after = before ? loadCatalog(options.otherFile, &failure) : std::nullopt;
    if (!after) {
        return context.cannotBegin(failure);
    }
    SymbolsDiff diff;
    if (options.tags.empty()) {
        diff = desk::diffSymbols(*before, *after);
    } else {
        const selection::EntryList list = selection::entriesOf(options.tags, std::cin);
        if (!list.problems.empty()) {
            return context.cannotBegin(selectionFailure(list.problems));
        }
        diff = desk::diffSymbols(*before, *after, list.entries);
    }
    if (!diff.problems.empty()) {
        return context.cannotBegin(selectionFailure(diff.problems));
    }
    const std::vector<std::string> stayed = desk::guardsThatStayed(diff, *before, *after);
    if (context.options().json) {
        printDiffJson(diff, stayed);
    } else {
        printDiff(diff);
    }
    if (!stayed.empty()) {
        note(fmt::format(
            "variables lie elsewhere, and the guard {} expects the same number in both files: a host with the "
            "old file does not notice the new program; change the number in program and symbol file",
            fmt::join(stayed, ", ")));
    }
    return diff.changes.empty() ? 0 : exitCodeOfFindings();
}

}  // namespace

int runSymbols(CommandContext& context) {
    const SymbolsOptions& options = context.options().symbolsCommand;
    switch (options.action) {
        case SymbolsAction::Import:
            return importTable(context, options.file);
        case SymbolsAction::Export:
            return exportFile(context, options.file.empty() ? context.options().symbols : options.file);
        case SymbolsAction::Diff:
            return showDiff(context, options);
    }
    return 0;
}

}  // namespace ac500::host
