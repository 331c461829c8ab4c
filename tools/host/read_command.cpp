#include "tools/host/commands.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/host/csv_output.h"
#include "tools/host/exit_codes.h"
#include "tools/host/print.h"
#include "tools/host/terminal.h"

namespace ac500::host {

namespace {

// Why these values did not come: the last thing that failed on the way.
Failure missingValues(CommandContext& context, const std::vector<std::string>& tags) {
    const std::optional<SessionEvent> last = context.session().status().lastFailure;
    const std::string waited =
        fmt::format("{}: not received within {} ms", fmt::join(tags, ", "), context.options().waitMs);
    if (!last) {
        return {FailureKind::Request, waited + "; a longer --wait may help"};
    }
    return {last->failure.kind, waited + ": " + last->failure.text};
}

std::vector<std::string> missingTags(const std::vector<Tag>& tags, CommandContext& context) {
    std::vector<std::string> missing;
    for (const Tag& tag : tags) {
        if (!context.session().isKnown(tag)) {
            missing.push_back(tag.text);
        }
    }
    return missing;
}

// Values came, but perhaps they are not what they are called.
Failure suspicionOf(const std::vector<Tag>& tags, CommandContext& context) {
    for (const Tag& tag : tags) {
        const TagValue value = context.session().value(tag);
        if (value.suspicion.occurred()) {
            return value.suspicion;
        }
    }
    return {};
}

void printValues(const std::vector<Tag>& tags, CommandContext& context) {
    std::vector<std::vector<std::string>> rows;
    for (const Tag& tag : tags) {
        const TagValue value = context.session().value(tag);
        rows.push_back({tag.text, valueText(tag, value)});
        if (value.suspicion.occurred()) {
            rows.back().push_back(valueStateName(ValueState::Suspect));
        }
    }
    printTable(rows);
}

void printValuesCsv(const std::vector<Tag>& tags, CommandContext& context) {
    printLine(kValueCsvHeader);
    for (const Tag& tag : tags) {
        for (const std::string& row : valueCsv(tag, context.session().value(tag))) {
            printLine(row);
        }
    }
}

void printValuesJson(const std::vector<Tag>& tags, CommandContext& context, const Failure& failure) {
    Json json = newDocument();
    json["values"] = Json::array();
    for (const Tag& tag : tags) {
        json["values"].push_back(tagValueJson(tag, context.session().value(tag)));
    }
    if (failure.occurred()) {
        json["error"] = failureJson(failure);
    }
    printJson(json);
}

}  // namespace

int runRead(CommandContext& context) {
    std::vector<Tag> tags;
    Failure failure;
    if (!context.chooseTags(&tags, &failure) || !context.startSession(tags, &failure)) {
        return context.cannotBegin(failure);
    }
    const Milliseconds wait(context.options().waitMs);
    const bool isComplete = context.waitUntil(wait, [&] { return context.areReceived(tags); });
    if (!isComplete) {
        failure = missingValues(context, missingTags(tags, context));
        complain(failure);
    } else if (failure = suspicionOf(tags, context); failure.occurred()) {
        complain(failure);
    }
    if (context.options().json) {
        printValuesJson(tags, context, failure);
    } else if (context.options().csv) {
        printValuesCsv(tags, context);
    } else {
        printValues(tags, context);
    }
    return !isComplete && wasInterrupted() ? kExitInterrupted : exitCodeOf(failure.kind);
}

}  // namespace ac500::host
