#include "tools/host/commands.h"

#include <fmt/format.h>

#include <algorithm>

#include <chrono>
#include <cstdio>

#include "tools/host/output.h"
#include "tools/host/terminal.h"
#include "tools/host/watch.h"
#include "tools/host/workplace.h"

namespace ac500::host {

namespace {

void printLine(const std::string& line) {
    fmt::print("{}\n", line);
}

void printJson(const Json& json) {
    printLine(json.dump(2, ' ', false, Json::error_handler_t::replace));
}

// A command that could not begin.
int giveUp(const Options& options, const Failure& failure) {
    complain(failure);
    if (options.json) {
        printJson({{"error", failureJson(failure)}});
    }
    return exitCodeOf(failure.kind);
}

// Waits until `isDone`, at most `timeout` or until Ctrl-C.
template <typename Condition>
bool waitUntil(Workplace& workplace, Milliseconds timeout, Condition isDone) {
    const SteadyClock clock;
    const Time deadline = clock.now() + timeout;
    while (!isDone()) {
        workplace.tellEvents();
        if (clock.now() >= deadline || wasInterrupted()) {
            return isDone();
        }
        workplace.session().waitForChange(kGlance);
    }
    workplace.tellEvents();
    return true;
}

bool isReceived(Workplace& workplace, const std::vector<Tag>& tags) {
    for (const Tag& tag : tags) {
        if (!workplace.session().value(tag).isKnown) {
            return false;
        }
    }
    return true;
}

// Why a value did not come: the last thing that failed on the way.
Failure missingValue(Workplace& workplace, const Tag& tag) {
    const std::optional<SessionEvent> last = workplace.session().status().lastFailure;
    const std::string waited = fmt::format("{}: not received within {} ms", tag.text, workplace.options().waitMs);
    if (!last) {
        return {FailureKind::Request, waited + "; a longer --wait may help"};
    }
    return {last->failure.kind, waited + ": " + last->failure.text};
}

// ---------------------------------------------------------------------------------------------------------------------
// read
// ---------------------------------------------------------------------------------------------------------------------

void printValues(const std::vector<Tag>& tags, Workplace& workplace) {
    std::vector<std::vector<std::string>> rows;
    for (const Tag& tag : tags) {
        rows.push_back({tag.text, valueText(tag, workplace.session().value(tag))});
    }
    for (const std::string& line : alignColumns(rows)) {
        printLine(line);
    }
}

void printValuesJson(const std::vector<Tag>& tags, Workplace& workplace, const Failure& failure) {
    Json json;
    json["values"] = Json::array();
    for (const Tag& tag : tags) {
        json["values"].push_back(tagValueJson(tag, workplace.session().value(tag)));
    }
    if (failure.occurred()) {
        json["error"] = failureJson(failure);
    }
    printJson(json);
}

int runRead(Workplace& workplace, const std::vector<Tag>& tags) {
    const Milliseconds wait(workplace.options().waitMs);
    const bool isComplete = waitUntil(workplace, wait, [&] { return isReceived(workplace, tags); });
    Failure failure;
    for (const Tag& tag : tags) {
        if (!isComplete && !workplace.session().value(tag).isKnown) {
            failure = missingValue(workplace, tag);
            complain(failure);
        }
    }
    if (workplace.options().json) {
        printValuesJson(tags, workplace, failure);
    } else {
        printValues(tags, workplace);
    }
    return !isComplete && wasInterrupted() ? kExitInterrupted : exitCodeOf(failure.kind);
}

// ---------------------------------------------------------------------------------------------------------------------
// write
// ---------------------------------------------------------------------------------------------------------------------

struct WriteOrder {
    Tag tag;
    HostValues values;
    std::int32_t serial = 0;
    std::int32_t readBack = 0;
    std::string readBackFailure = "no answer in time";
    Failure failure;
    std::optional<TagValue> inPlc;  // as it was read back
};

bool parseOrders(const Workplace& workplace, std::vector<WriteOrder>* orders, Failure* failure) {
    for (const std::string& text : workplace.options().arguments) {
        const std::string::size_type equals = text.find('=');
        if (equals == std::string::npos) {
            *failure = {FailureKind::Usage, fmt::format("{}: there is no value; write TAG=VALUE", text)};
            return false;
        }
        std::vector<Tag> tags;
        if (!workplace.findTags({text.substr(0, equals)}, &tags, failure)) {
            return false;
        }
        WriteOrder order;
        order.tag = tags.front();
        std::string error;
        const std::optional<HostValues> values =
            parseValues(order.tag.form, order.tag.elements, text.substr(equals + 1), &error);
        if (!values) {
            *failure = {FailureKind::Usage, order.tag.text + ": " + error};
            return false;
        }
        order.values = *values;
        orders->push_back(order);
    }
    return true;
}

bool hasWriteEnded(HostSession& session, const WriteOrder& order) {
    const std::optional<WriteRecord> record = session.writeRecord(order.serial);
    return !record || hasEnded(record->step);
}

// A reading that failed is ordered again: the link may have been lost after the write.
bool wasReadBack(HostSession& session, WriteOrder& order) {
    const std::optional<OnceReadRecord> record = session.onceReadRecord(order.readBack);
    if (record && record->step == ReadStep::Failed) {
        order.readBackFailure = record->failure.text;
        order.readBack = session.readOnce(order.tag);
    }
    return record && record->step == ReadStep::Succeeded;
}

void collectOutcomes(HostSession& session, std::vector<WriteOrder>* orders) {
    for (WriteOrder& order : *orders) {
        const std::optional<WriteRecord> record = session.writeRecord(order.serial);
        if (record && record->step == WriteStep::Failed) {
            order.failure = {record->failure.kind, order.tag.text + ": " + record->failure.text};
        }
    }
}

void compareWithPlc(HostSession& session, WriteOrder* order) {
    if (!wasReadBack(session, *order)) {
        order->failure = {FailureKind::Request, fmt::format("{}: written, but it could not be read back: {}",
                                                            order->tag.text, order->readBackFailure)};
        return;
    }
    order->inPlc = session.value(order->tag);
    if (!sameValues(order->inPlc->values, order->values)) {
        order->failure = {FailureKind::Request,
                          fmt::format("{}: {} was written, but the PLC has {}; its program may have changed it",
                                      order->tag.text, formatValues(order->tag.form, order->values),
                                      formatValues(order->tag.form, order->inPlc->values))};
    }
}

// Twice the waiting time: for a write that is with the driver when the link goes, the driver has to give up first.
void write(Workplace& workplace, std::vector<WriteOrder>* orders) {
    HostSession& session = workplace.session();
    const Milliseconds wait(workplace.options().waitMs);
    for (WriteOrder& order : *orders) {
        order.serial = session.write(order.tag, order.values);
    }
    const auto allEnded = [&] {
        return std::all_of(orders->begin(), orders->end(),
                           [&](const WriteOrder& order) { return hasWriteEnded(session, order); });
    };
    if (!waitUntil(workplace, 2 * wait, allEnded)) {
        session.stop();
    }
    collectOutcomes(session, orders);
}

void readBack(Workplace& workplace, std::vector<WriteOrder>* orders) {
    HostSession& session = workplace.session();
    std::vector<WriteOrder*> written;
    for (WriteOrder& order : *orders) {
        if (!order.failure.occurred()) {
            order.readBack = session.readOnce(order.tag);
            written.push_back(&order);
        }
    }
    waitUntil(workplace, Milliseconds(workplace.options().waitMs), [&] {
        return std::all_of(written.begin(), written.end(),
                           [&](WriteOrder* order) { return wasReadBack(session, *order); });
    });
    for (WriteOrder* order : written) {
        compareWithPlc(session, order);
    }
}

Json orderJson(const WriteOrder& order) {
    Json json;
    json["tag"] = order.tag.text;
    json["written"] = valueJson(order.tag, order.values);
    json["ok"] = !order.failure.occurred();
    json["read_back"] = order.inPlc ? valueJson(order.tag, order.inPlc->values) : Json();
    if (order.failure.occurred()) {
        json["error"] = failureJson(order.failure);
    }
    return json;
}

void printOrders(const std::vector<WriteOrder>& orders) {
    std::vector<std::vector<std::string>> rows;
    for (const WriteOrder& order : orders) {
        if (order.inPlc) {
            rows.push_back({order.tag.text, formatValues(order.tag.form, order.inPlc->values)});
        }
    }
    for (const std::string& line : alignColumns(rows)) {
        printLine(line);
    }
}

int runWrite(Workplace& workplace, std::vector<WriteOrder> orders) {
    write(workplace, &orders);
    readBack(workplace, &orders);
    FailureKind kind = FailureKind::None;
    Json json;
    json["writes"] = Json::array();
    for (const WriteOrder& order : orders) {
        json["writes"].push_back(orderJson(order));
        if (order.failure.occurred()) {
            complain(order.failure);
            kind = order.failure.kind;
        }
    }
    if (workplace.options().json) {
        printJson(json);
    } else {
        printOrders(orders);
    }
    return kind != FailureKind::None && wasInterrupted() ? kExitInterrupted : exitCodeOf(kind);
}

// ---------------------------------------------------------------------------------------------------------------------
// tags
// ---------------------------------------------------------------------------------------------------------------------

int runTags(const Options& options, const TagTable& tags) {
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
    for (const std::string& line : alignColumns(rows)) {
        printLine(line);
    }
    printLine(fmt::format("{} of {} tags", rows.size() - 1, tags.leaves().size()));
    return 0;
}

// ---------------------------------------------------------------------------------------------------------------------
// status
// ---------------------------------------------------------------------------------------------------------------------

struct StatusLine {
    std::string step;
    bool isGood;
    std::string text;
};

// What one tag of the file needs to be read as a whole.
std::vector<Tag> firstTag(const TagTable& table) {
    for (const Leaf& leaf : table.leaves()) {
        std::string ignored;
        if (const std::optional<Tag> tag = table.find(leaf.tag, &ignored)) {
            return {*tag};
        }
    }
    return {};
}

std::string lastFailureOf(const SessionStatus& status, const std::string& otherwise) {
    return status.lastFailure ? status.lastFailure->failure.text : otherwise;
}

// From the bottom up; a step is only tried when those below it are good.
std::vector<StatusLine> linkLines(Workplace& workplace, const std::vector<Tag>& tags) {
    const SessionStatus status = workplace.session().status();
    std::vector<StatusLine> lines;
    if (status.statistics.connections == 0) {
        lines.push_back({"tcp", false, lastFailureOf(status, "no connection in time")});
        return lines;
    }
    lines.push_back({"tcp", true, "connected to " + workplace.options().plc.text()});
    if (status.statistics.handshakes == 0) {
        lines.push_back({"handshake", false, lastFailureOf(status, "no session in time")});
        return lines;
    }
    lines.push_back({"handshake", true, "session opened"});
    const TagValue value = workplace.session().value(tags.front());
    lines.push_back({"request", value.isKnown,
                     value.isKnown ? tags.front().text + " = " + valueText(tags.front(), value)
                                   : lastFailureOf(status, "no reply in time")});
    return lines;
}

FailureKind kindOfStep(const std::string& step) {
    for (const FailureKind kind : {FailureKind::File, FailureKind::Tcp, FailureKind::Handshake, FailureKind::Request}) {
        if (step == failureKindName(kind)) {
            return kind;
        }
    }
    return FailureKind::None;
}

void printStatus(const std::vector<StatusLine>& lines, const Statistics& statistics) {
    std::vector<std::vector<std::string>> rows;
    for (const StatusLine& line : lines) {
        rows.push_back({line.step, line.isGood ? "ok" : "failed", line.text});
    }
    for (const std::string& line : alignColumns(rows)) {
        printLine(line);
    }
    printLine(statisticsText(statistics));
}

void printStatusJson(const std::vector<StatusLine>& lines, const Statistics& statistics) {
    Json json;
    json["steps"] = Json::array();
    for (const StatusLine& line : lines) {
        json["steps"].push_back({{"step", line.step}, {"ok", line.isGood}, {"text", line.text}});
    }
    json["statistics"] = statisticsJson(statistics);
    printJson(json);
}

int runStatus(Workplace& workplace, const std::vector<Tag>& tags) {
    const Options& options = workplace.options();
    const bool isReading =
        waitUntil(workplace, Milliseconds(options.waitMs), [&] { return isReceived(workplace, tags); });
    if (isReading) {
        waitUntil(workplace, Milliseconds(static_cast<std::int64_t>(options.seconds * 1000)), [] { return false; });
    }
    const Statistics statistics = workplace.session().status().statistics;
    std::vector<StatusLine> lines{
        {"file", true, fmt::format("{}: {} tags", options.symbols, workplace.tags().leaves().size())},
        {"file", true, "driver " + workplace.driver().path()}};
    for (const StatusLine& line : linkLines(workplace, tags)) {
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
    const Failure failure{kindOfStep(lines.back().step), lines.back().text};
    complain(failure);
    return wasInterrupted() ? kExitInterrupted : exitCodeOf(failure.kind);
}

// ---------------------------------------------------------------------------------------------------------------------

// The tags that a command polls, in the order of the options.
bool tagsOf(const Workplace& workplace, const std::vector<WriteOrder>& orders, std::vector<Tag>* tags,
            Failure* failure) {
    switch (workplace.options().command) {
        case Command::Write:
            for (const WriteOrder& order : orders) {
                tags->push_back(order.tag);
            }
            return true;
        case Command::Status:
            *tags = firstTag(workplace.tags());
            *failure = {FailureKind::File, workplace.options().symbols + ": holds no variable to read"};
            return !tags->empty();
        case Command::Read:
        case Command::Watch:
        case Command::Tags:
            break;
    }
    return workplace.findTags(workplace.options().arguments, tags, failure);
}

}  // namespace

int runCommand(const Options& options) {
    catchInterrupts();
    Workplace workplace(options);
    Failure failure;
    if (!workplace.openSymbols(&failure)) {
        return giveUp(options, failure);
    }
    if (options.command == Command::Tags) {
        return runTags(options, workplace.tags());
    }
    std::vector<WriteOrder> orders;
    std::vector<Tag> tags;
    if ((options.command == Command::Write && !parseOrders(workplace, &orders, &failure)) ||
        !tagsOf(workplace, orders, &tags, &failure) || !workplace.openDriver(&failure) ||
        !workplace.startSession(tags, &failure)) {
        return giveUp(options, failure);
    }
    switch (options.command) {
        case Command::Read:
            return runRead(workplace, tags);
        case Command::Write:
            return runWrite(workplace, std::move(orders));
        case Command::Watch:
            return runWatch(workplace, tags);
        case Command::Status:
            return runStatus(workplace, tags);
        case Command::Tags:
            break;
    }
    return 0;
}

}  // namespace ac500::host
