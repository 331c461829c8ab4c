#include "tools/host/commands.h"

#include <fmt/format.h>

#include <iostream>
#include <unordered_set>

#include "tools/host/csv_output.h"
#include "tools/host/print.h"

namespace ac500::host {

using selection::Catalog;
using selection::ChosenTag;

namespace {

// The variables that the arguments stand for, in the order in which they are named; all of them without arguments.
bool chooseLeaves(const CommandContext& context, std::vector<const Leaf*>* leaves, Failure* failure) {
    const Catalog& catalog = context.tags().catalog();
    if (context.options().arguments.empty()) {
        for (const Leaf& leaf : catalog.leaves()) {
            leaves->push_back(&leaf);
        }
        return true;
    }
    std::vector<ChosenTag> chosen;
    if (!context.chooseTags(selection::entriesOf(context.options().arguments, std::cin),
                            selection::Expansion::WholeArrays, &chosen, failure)) {
        return false;
    }
    std::unordered_set<const Leaf*> seen;
    for (const ChosenTag& one : chosen) {
        const Leaf* leaf = catalog.leafHolding(one.tag);
        if (seen.insert(leaf).second) {
            leaves->push_back(leaf);
        }
    }
    return true;
}

void printLeaves(const std::vector<const Leaf*>& leaves) {
    std::vector<std::vector<std::string>> rows{{"TAG", "TYPE", "AREA", "ADDRESS", "COMMENT"}};
    for (const Leaf* leaf : leaves) {
        rows.push_back({leaf->tag, typeText(*leaf), std::to_string(leaf->area), addressText(*leaf), leaf->comment});
    }
    printTable(rows);
}

void printLeavesJson(const std::vector<const Leaf*>& leaves) {
    Json json = newDocument();
    json["tags"] = Json::array();
    for (const Leaf* leaf : leaves) {
        json["tags"].push_back(leafJson(*leaf));
    }
    printJson(json);
}

void printLeavesCsv(const std::vector<const Leaf*>& leaves) {
    printLine(kLeafCsvHeader);
    for (const Leaf* leaf : leaves) {
        printLine(leafCsv(*leaf));
    }
}

}  // namespace

int runTags(const CommandContext& context) {
    const Options& options = context.options();
    std::vector<const Leaf*> leaves;
    Failure failure;
    if (!chooseLeaves(context, &leaves, &failure)) {
        return context.cannotBegin(failure);
    }
    if (options.json) {
        printLeavesJson(leaves);
    } else if (options.csv) {
        printLeavesCsv(leaves);
    } else if (options.names) {
        for (const Leaf* leaf : leaves) {
            printLine(leaf->tag);
        }
    } else {
        printLeaves(leaves);
        printLine(fmt::format("{} of {} tags", leaves.size(), context.tags().leaves().size()));
    }
    return 0;
}

}  // namespace ac500::host
