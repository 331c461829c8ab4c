#include "tools/host/commands.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "tools/host/exit_codes.h"
#include "tools/host/print.h"
#include "tools/host/terminal.h"

namespace ac500::host {

namespace {

constexpr Time kLookEvery = std::chrono::milliseconds(500);
constexpr std::size_t kShownElements = 8;

struct StatusLine {
    FailureKind step;  // of a failure in it
    bool isGood;
    std::string text;
};

// The first variable of the file that can be read with one tag, of an array its first element; an array of several
// dimensions cannot.
std::optional<Tag> firstTag(const TagTable& table) {
    for (const Leaf& leaf : table.leaves()) {
        std::string ignored;
        const std::optional<Tag> tag = table.find(leaf.tag, &ignored);
        if (tag) {
            return tag->elements > 1 ? table.find(tag->elementName(0), &ignored) : tag;
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

// Of an array the beginning: a status is to be taken in at a glance.
std::string receivedText(CommandContext& context, const std::vector<Tag>& tags) {
    const Tag& first = tags.front();
    TagValue value = context.session().value(first);
    const std::size_t more = value.values.size() - std::min(value.values.size(), kShownElements);
    value.values.resize(value.values.size() - more);
    const std::string text = fmt::format("{} = {}{}", first.text, valueText(first, value),
                                         more > 0 ? fmt::format(" and {} more", more) : "");
    return tags.size() == 1 ? text : fmt::format("{} tags read; {}", tags.size(), text);
}

// Without a guard, and as long as that was not read, there is nothing to tell.
void addProgramLine(CommandContext& context, const ProgramStatus& program, std::vector<StatusLine>* lines) {
    if (program.doubt.occurred()) {
        lines->push_back({FailureKind::Program, false, program.doubt.text});
    } else if (program.state == guard::ProgramState::Expected) {
        std::vector<std::string> guards;
        for (const Tag& tag : context.session().guards()) {
            guards.push_back(tag.text);
        }
        lines->push_back(
            {FailureKind::Program, true, fmt::format("as the symbols say, by {}", fmt::join(guards, ", "))});
    }
}

// A gateway counts since it was started: what it once got done says nothing of a link that is down now.
bool isCutOff(const CommandContext& context, const SessionStatus& status, FailureKind step) {
    return context.gateway() != nullptr && !status.isOnline && status.lastFailure &&
           status.lastFailure->failure.kind == step;
}

std::string driverText(const CommandContext& context) {
    const via::ViaSession* gateway = context.gateway();
    return gateway == nullptr ? "driver " + context.driver().path()
                              : fmt::format("gateway {}, version {}", context.options().via, gateway->gateway().build);
}

// From the bottom up; a step is only tried when those below it are good, but values of another program are shown.
std::vector<StatusLine> linkLines(CommandContext& context, const std::vector<Tag>& tags) {
    const SessionStatus status = context.session().status();
    std::vector<StatusLine> lines;
    if (status.statistics.connections == 0 || isCutOff(context, status, FailureKind::Tcp)) {
        lines.push_back({FailureKind::Tcp, false, lastFailureOf(status, "no connection in time")});
        return lines;
    }
    lines.push_back({FailureKind::Tcp, true, "connected to " + context.plc()});
    if (status.statistics.handshakes == 0 || isCutOff(context, status, FailureKind::Handshake)) {
        lines.push_back({FailureKind::Handshake, false, lastFailureOf(status, "no session in time")});
        return lines;
    }
    lines.push_back({FailureKind::Handshake, true, "session opened"});
    addProgramLine(context, status.program, &lines);
    const bool isReceived = context.areReceived(tags);
    lines.push_back({FailureKind::Request, isReceived,
                     isReceived ? receivedText(context, tags) : lastFailureOf(status, "no reply in time")});
    return lines;
}

void printStatus(CommandContext& context, const std::vector<StatusLine>& lines, Time now) {
    std::vector<std::vector<std::string>> rows;
    for (const StatusLine& line : lines) {
        rows.push_back({failureKindName(line.step), line.isGood ? "ok" : "failed", line.text});
    }
    printTable(rows);
    const Session& session = context.session();
    for (const std::string& line :
         sessionLines(context.plc(), session.settings(), session.status(), session.latencies(), now)) {
        printLine(line);
    }
}

void printStatusJson(CommandContext& context, const std::vector<StatusLine>& lines, Time now) {
    Json json = newDocument();
    json["steps"] = Json::array();
    for (const StatusLine& line : lines) {
        json["steps"].push_back({{"step", failureKindName(line.step)}, {"ok", line.isGood}, {"text", line.text}});
    }
    const Session& session = context.session();
    const SessionStatus status = session.status();
    json["connection"] = connectionJson(context.plc(), status, now);
    json["statistics"] = statisticsJson(status.statistics);
    json["settings"] = settingsJson(session.settings());
    json["latency"] = latenciesJson(session.latencies(), now);
    printJson(json);
}

// Takes the values as often as a display does: how old they are then is measured.
void collect(CommandContext& context, const std::vector<Tag>& tags) {
    const SteadyClock clock;
    const auto ms = static_cast<std::int64_t>(context.options().seconds * 1000);
    Time nextLook = clock.now() + kLookEvery;
    context.waitUntil(Milliseconds(ms), [&] {
        if (clock.now() >= nextLook) {
            nextLook += kLookEvery;
            for (const Tag& tag : tags) {
                context.session().value(tag);
            }
        }
        return false;
    });
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
        collect(context, tags);
    }
    std::vector<StatusLine> lines{
        {FailureKind::File, true, fmt::format("{}: {} tags", context.symbolsFile(), context.tags().leaves().size())},
        {FailureKind::File, true, driverText(context)}};
    for (const StatusLine& line : linkLines(context, tags)) {
        lines.push_back(line);
    }
    const Time now = SteadyClock().now();
    if (options.json) {
        printStatusJson(context, lines, now);
    } else {
        printStatus(context, lines, now);
    }
    const auto bad = std::find_if(lines.begin(), lines.end(), [](const StatusLine& line) { return !line.isGood; });
    if (bad == lines.end()) {
        return 0;
    }
    failure = {bad->step, bad->text};
    complain(failure);
    return wasInterrupted() ? kExitInterrupted : exitCodeOf(failure.kind);
}

}  // namespace ac500::host
