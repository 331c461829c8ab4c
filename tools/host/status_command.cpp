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

// What is to be read: the tags that the user wants, or the first there is.
bool chooseTagsOrFirst(const CommandContext& context, std::vector<Tag>* tags, Failure* failure) {
    if (!context.options().arguments.empty()) {
        return context.chooseTags(tags, failure);
    }
    if (const std::optional<Tag> first = firstTag(context.tags())) {
        tags->push_back(*first);
        return true;
    }
    *failure = {FailureKind::File, context.options().symbols + ": holds no variable to read"};
    return false;
}

std::string lastFailureOf(const SessionStatus& status, const std::string& otherwise) {
    return status.lastFailure ? status.lastFailure->failure.text : otherwise;
}

std::string receivedText(CommandContext& context, const std::vector<Tag>& tags) {
    const Tag& first = tags.front();
    const std::string text = first.text + " = " + valueText(first, context.session().value(first));
    return tags.size() == 1 ? text : fmt::format("{} tags read; {}", tags.size(), text);
}

// From the bottom up; a step is only tried when those below it are good.
std::vector<StatusLine> linkLines(CommandContext& context, const std::vector<Tag>& tags) {
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
    const bool isReceived = context.areReceived(tags);
    lines.push_back({FailureKind::Request, isReceived,
                     isReceived ? receivedText(context, tags) : lastFailureOf(status, "no reply in time")});
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
    Json json = newDocument();
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
    std::vector<Tag> tags;
    Failure failure;
    if (!chooseTagsOrFirst(context, &tags, &failure) || !context.startSession(tags, &failure)) {
        return context.cannotBegin(failure);
    }
    const bool isReading = context.waitUntil(Milliseconds(options.waitMs), [&] { return context.areReceived(tags); });
    if (isReading) {
        context.waitUntil(Milliseconds(static_cast<std::int64_t>(options.seconds * 1000)), [] { return false; });
    }
    const Statistics statistics = context.session().status().statistics;
    std::vector<StatusLine> lines{
        {FailureKind::File, true, fmt::format("{}: {} tags", options.symbols, context.tags().leaves().size())},
        {FailureKind::File, true, "driver " + context.driver().path()}};
    for (const StatusLine& line : linkLines(context, tags)) {
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
