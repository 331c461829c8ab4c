#include "tools/host/commands.h"

#include <fmt/format.h>

#include "tools/host/print.h"

namespace ac500::host {

int runTags(const CommandContext& context) {
    const Options& options = context.options();
    const TagTable& tags = context.tags();
    const std::string pattern = options.arguments.empty() ? "*" : options.arguments.front();
    std::vector<std::vector<std::string>> rows{{"TAG", "TYPE", "AREA", "ADDRESS", "COMMENT"}};
    Json json;
    json["tags"] = Json::array();
    for (const Leaf& leaf : tags.leaves()) {
        if (!matchesPattern(pattern, leaf.tag)) {
            continue;
        }
        rows.push_back({leaf.tag, typeText(leaf), std::to_string(leaf.area), addressText(leaf), leaf.comment});
        json["tags"].push_back(leafJson(leaf));
    }
    if (options.json) {
        printJson(json);
        return 0;
    }
    printTable(rows);
    printLine(fmt::format("{} of {} tags", rows.size() - 1, tags.leaves().size()));
    return 0;
}

}  // namespace ac500::host
