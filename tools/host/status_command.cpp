#include "tools/host/commands.h"

#include <fmt/format.h>

#include "tools/host/exit_codes.h"
#include "tools/host/print.h"
#include "tools/host/terminal.h"

namespace ac500::host {

namespace {

struct StatusLine {
    FailureKind step;  // of a failure in it
    bool isGood;
    std::string text;
};

// The first variable of the file that can be read with one tag; an array of several dimensions cannot.
std::optional<Tag> firstTag(const TagTable& table) {
    for (const Leaf& leaf : table.leaves()) {
        std::string ignored;
        if (std::optional<Tag> tag = table.find(leaf.tag, &ignored)) {
            return tag;
        }
    }
    return std::nullopt;
}

std::string lastFailureOf(const SessionStatus& status, const std::string& otherwise) {
    return status.lastFailure ? status.lastFailure->failure.text : otherwise;
}

// From the bottom up; a step is only tried when those below it are good.
std::vector<StatusLine> linkLines(CommandContext& context, const Tag& tag) {
    const SessionStatus status = context.session().status();
    std::vector<StatusLine> lines;
    if (status.statistics.connections == 0) {
        lines.push_back({FailureKind::Tcp, false, lastFailureOf(status, "no connection in time")});
        return lines;
    }
    lines.push_back({FailureKind::Tcp, true, "connected to " + context.options().plc.text()});
    if (status.statistics.handshakes == 0) {
        lines.push_back({FailureKind::Handshake, false, lastFailureOf(status, "no session in time")});
        return lines;
    }
    lines.push_back({FailureKind::Handshake, true, "session opened"});
    const TagValue value = context.session().value(tag);
    lines.push_back(
        {FailureKind::Request, value.isKnown,
         value.isKnown ? tag.text + " = " + valueText(tag, value) : lastFailureOf(status, "no reply in time")});
    return lines;
}

void printStatus(const std::vector<StatusLine>& lines, const Statistics& statistics) {
    std::vector<std::vector<std::string>> rows;
    for (const StatusLine& line : lines) {
        rows.push_back({failureKindName(line.step), line.isGood ? "ok" : "failed", line.text});
    }
    printTable(rows);
    printLine(statisticsText(statistics));
}

void printStatusJson(const std::vector<StatusLine>& lines, const Statistics& statistics) {
    Json json;
    json["steps"] = Json::array();
    for (const StatusLine& line : lines) {
        json["steps"].push_back({{"step", failureKindName(line.step)}, {"ok", line.isGood}, {"text", line.text}});
    }
    json["statistics"] = statisticsJson(statistics);
    printJson(json);
}

}  // namespace

int runStatus(CommandContext& context) {
    const Options& options = context.options();
    const std::optional<Tag> tag = firstTag(context.tags());
    Failure failure{FailureKind::File, options.symbols + ": holds no variable to read"};
    if (!tag || !context.startSession({*tag}, &failure)) {
        return context.cannotBegin(failure);
    }
    const bool isReading = context.waitUntil(Milliseconds(options.waitMs), [&] { return context.areReceived({*tag}); });
    if (isReading) {
        context.waitUntil(Milliseconds(static_cast<std::int64_t>(options.seconds * 1000)), [] { return false; });
    }
    const Statistics statistics = context.session().status().statistics;
    std::vector<StatusLine> lines{
        {FailureKind::File, true, fmt::format("{}: {} tags", options.symbols, context.tags().leaves().size())},
        {FailureKind::File, true, "driver " + context.driver().path()}};
    for (const StatusLine& line : linkLines(context, *tag)) {
        lines.push_back(line);
    }
    if (options.json) {
        printStatusJson(lines, statistics);
    } else {
        printStatus(lines, statistics);
    }
    if (lines.back().isGood) {
        return 0;
    }
    failure = {lines.back().step, lines.back().text};
    complain(failure);
    return wasInterrupted() ? kExitInterrupted : exitCodeOf(failure.kind);
}

}  // namespace ac500::host
