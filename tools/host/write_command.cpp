#include "tools/host/commands.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iostream>

#include "tools/host/audited_path.h"
#include "tools/host/bit_check.h"
#include "tools/host/exit_codes.h"
#include "tools/host/order_book.h"
#include "tools/host/plant_values.h"
#include "tools/host/plc_bytes.h"
#include "tools/host/print.h"
#include "tools/host/target_overlap.h"
#include "tools/host/terminal.h"

namespace ac500::host {

using selection::ChosenTag;
using selection::Entry;

namespace {

// One TAG=VALUE, from the command line to what the PLC has afterwards.
struct TagWrite {
    Tag tag;
    HostValues values;
    std::vector<WriteCondition> conditions;
    Tag readBackAs;  // the tag, or the variable that holds its bits
    WriteTicket ticket;
    WriteReport report;
    bool isCutOff = false;      // the session ended before it had an outcome
    std::int32_t readBack = 0;  // serial of its reading back
    std::string readBackFailure = "no answer in time";
    Failure failure;
    std::optional<TagValue> inPlc;  // as it was read back
    std::string note;               // written, but there is something to know
};

using Problems = std::vector<std::string>;

bool isNone(const Problems& problems, Failure* failure, FailureKind kind = FailureKind::Usage) {
    if (!problems.empty()) {
        *failure = {kind, fmt::format("{}", fmt::join(problems, "\n"))};
    }
    return problems.empty();
}

// TAG=VALUE as a word of the command line is one entry; those of a list come apart already.
bool splitEntries(std::vector<Entry>* entries, Failure* failure) {
    Problems problems;
    for (Entry& entry : *entries) {
        const std::size_t equals = entry.text.find('=');
        if (!entry.value && equals != std::string::npos) {
            entry.value = entry.text.substr(equals + 1);
            entry.text.resize(equals);
        }
        if (!entry.value) {
            const char* remedy =
                entry.origin.list.empty() ? "write TAG=VALUE" : "write TAG=VALUE, or fill a column value";
            problems.push_back(fmt::format("{}{}: there is no value; {}", entry.origin.text(), entry.text, remedy));
        }
    }
    return isNone(problems, failure);
}

void parseWrite(const CommandContext& context, const ChosenTag& chosen, TagWrite* write, Problems* problems) {
    const std::string where = chosen.origin.text() + write->tag.text;
    std::string error;
    const std::optional<HostValues> values = parsePlantValues(write->tag, *chosen.value, &error);
    if (!values) {
        problems->push_back(where + ": " + error);
        return;
    }
    if (!areFinite(*values) && !context.options().write.force) {
        problems->push_back(
            fmt::format("{}: {} is no finite number, which few PLC programs expect; with "
                        "--force it is written all the same",
                        where, formatPlantValues(write->tag, *values)));
    }
    write->values = *values;
    write->readBackAs = write->tag.form.isBit ? allBitsOf(write->tag) : write->tag;
}

// What --if asks for: of a tag that is written before that write, of another one before each.
void addCondition(const WriteCondition& condition, std::vector<TagWrite>* writes) {
    const auto own = std::find_if(writes->begin(), writes->end(),
                                  [&](const TagWrite& write) { return write.tag.text == condition.tag.text; });
    if (own != writes->end()) {
        own->conditions.push_back(condition);
        return;
    }
    for (TagWrite& write : *writes) {
        write.conditions.push_back(condition);
    }
}

// Several problems are told under the kind of the first.
bool parseConditions(const CommandContext& context, std::vector<TagWrite>* writes, Failure* failure) {
    Problems problems;
    FailureKind kind = FailureKind::Usage;
    for (const std::string& text : context.options().write.conditions) {
        const std::size_t equals = text.find('=');
        std::string error;
        if (equals == std::string::npos) {
            problems.push_back(fmt::format("--if {}: there is no value; write --if TAG=VALUE", text));
            continue;
        }
        const std::optional<Tag> tag = context.tags().find(text.substr(0, equals), &error);
        const std::optional<HostValues> values =
            tag ? parseHeldValues(*tag, text.substr(equals + 1), &error) : std::nullopt;
        if (values) {
            addCondition({*tag, *values, {}}, writes);
        } else {
            kind = problems.empty() && !tag ? FailureKind::Name : kind;
            problems.push_back(fmt::format("--if {}: {}", text, error));
        }
    }
    return isNone(problems, failure, kind);
}

bool parseWrites(const CommandContext& context, std::vector<TagWrite>* writes, Failure* failure) {
    selection::EntryList list = selection::entriesOf(context.options().arguments, std::cin);
    std::vector<ChosenTag> chosen;
    std::vector<Tag> tags;
    if (!splitEntries(&list.entries, failure) ||
        !context.chooseTags(list, selection::Expansion::None, &chosen, failure) ||
        !context.findTags(chosen, &tags, failure)) {
        return false;
    }
    Problems problems;
    for (std::size_t i = 0; i < tags.size(); ++i) {
        TagWrite write;
        write.tag = tags[i];
        parseWrite(context, chosen[i], &write, &problems);
        writes->push_back(write);
    }
    return isNone(problems, failure) && parseConditions(context, writes, failure);
}

std::vector<Tag> tagsOf(const std::vector<TagWrite>& writes) {
    std::vector<Tag> tags;
    for (const TagWrite& write : writes) {
        tags.push_back(write.tag);
    }
    return tags;
}

// With those of the conditions.
std::vector<Tag> allTagsOf(const std::vector<TagWrite>& writes) {
    std::vector<Tag> tags = tagsOf(writes);
    for (const TagWrite& write : writes) {
        for (const WriteCondition& condition : write.conditions) {
            tags.push_back(condition.tag);
        }
    }
    return tags;
}

bool keepApart(const std::vector<Tag>& targets, Failure* failure) {
    const std::optional<TargetOverlap> overlap = findOverlap(targets);
    if (overlap) {
        const std::string& first = targets[overlap->first].text;
        const std::string& second = targets[overlap->second].text;
        const std::string what =
            first == second ? first + " is given twice" : fmt::format("{} and {} overlap", first, second);
        *failure = {FailureKind::Usage, what + "; which value the PLC ends up with would be left to chance"};
    }
    return !overlap;
}

// A reading that failed is ordered again: the link may have been lost after the write.
bool wasReadBack(Session& session, TagWrite& write) {
    const std::optional<Order> record = session.order(write.readBack);
    if (record && record->step == OrderStep::Failed) {
        write.readBackFailure = record->failure.text;
        write.readBack = session.readOnce(write.readBackAs);
    }
    return record && record->step == OrderStep::Succeeded;
}

// Of a ticket that is not known any more.
const WriteReport kForgotten{WriteOutcome::Unknown, {FailureKind::Request, "its outcome was forgotten"}, {}, {}};

bool isPending(const WriteOrders& path, const TagWrite& write) {
    return path.report(write.ticket).value_or(kForgotten).outcome == WriteOutcome::Pending;
}

void collectOutcomes(const WriteOrders& path, std::vector<TagWrite>* writes) {
    for (TagWrite& write : *writes) {
        write.report = path.report(write.ticket).value_or(kForgotten);
        if (write.isCutOff && write.report.outcome == WriteOutcome::NotSent && wasInterrupted()) {
            write.report.failure = {FailureKind::Request, "not sent: the command was interrupted"};
        }
        if (write.report.failure.occurred()) {
            write.failure = {write.report.failure.kind, write.tag.text + ": " + outcomeText(write.report)};
        }
    }
}

// Bits that this command writes to the variable that holds the bits of `tag`.
std::uint64_t bitsWritten(const std::vector<TagWrite>& writes, const Tag& tag) {
    std::uint64_t mask = 0;
    for (const TagWrite& write : writes) {
        const bool sameVariable = write.tag.form == tag.form && overlap(write.tag.byteRuns(), tag.byteRuns());
        mask |= sameVariable ? maskOf(write.tag) : 0;
    }
    return mask;
}

// `inPlc`: all bits of the variable
void compareBits(const std::vector<TagWrite>& writes, const TagValue& inPlc, TagWrite* write) {
    const auto first = inPlc.values.begin() + write->tag.firstBit;
    write->inPlc = inPlc;
    write->inPlc->values = {first, first + write->tag.elements};
    const BitCheck check =
        checkBits({write->tag, write->values, write->report.bitsBefore, inPlc.values, bitsWritten(writes, write->tag)});
    if (!check.isInPlc) {
        write->failure = {FailureKind::Request, fmt::format("{}: {}", write->tag.text, check.text)};
    } else if (!check.isAlone) {
        write->note = fmt::format("{}: {}", write->tag.text, check.text);
    }
}

void compareWithPlc(Session& session, const std::vector<TagWrite>& writes, TagWrite* write) {
    const bool wasRead = wasReadBack(session, *write);
    const TagValue inPlc = session.value(write->readBackAs);
    if (!wasRead || !inPlc.isKnown) {
        write->failure = {FailureKind::Request, fmt::format("{}: written, but it could not be read back: {}",
                                                            write->tag.text, write->readBackFailure)};
        return;
    }
    if (write->tag.form.isBit) {
        compareBits(writes, inPlc, write);
        return;
    }
    write->inPlc = inPlc;
    if (!sameValues(inPlc.values, write->values)) {
        write->failure = {
            FailureKind::Request,
            fmt::format("{}: {} was written, but the PLC has {}; its program may have changed it", write->tag.text,
                        formatPlantValues(write->tag, write->values), formatPlantValues(write->tag, inPlc.values))};
    }
}

WriteRequest requestOf(const Options& options, const TagWrite& write) {
    WriteRequest request;
    request.tag = write.tag;
    request.values = write.values;
    request.conditions = write.conditions;
    if (options.write.expiresSeconds > 0) {
        request.expiry = SteadyClock().now() +
                         std::chrono::duration_cast<Time>(std::chrono::duration<double>(options.write.expiresSeconds));
    }
    return request;
}

// Twice the waiting time for each: for a write that is with the driver when the link goes, the driver has to give up first.
void writeAll(CommandContext& context, WriteOrders* path, std::vector<TagWrite>* writes) {
    const Milliseconds wait(context.options().waitMs);
    for (TagWrite& write : *writes) {
        write.ticket = path->order(requestOf(context.options(), write));
    }
    auto pending = writes->begin();
    const auto skipEnded = [&] {
        const auto before = pending;
        pending = std::find_if(pending, writes->end(), [&](const TagWrite& write) { return isPending(*path, write); });
        return pending != before;
    };
    while (pending != writes->end() && context.waitUntil(2 * wait, skipEnded)) {
    }
    if (pending != writes->end()) {
        for (TagWrite& write : *writes) {
            write.isCutOff = isPending(*path, write);
        }
        context.session().stop();
    }
    collectOutcomes(*path, writes);
}

// Have all of them come in time?
bool readBackGroup(CommandContext& context, const std::vector<TagWrite*>& group) {
    Session& session = context.session();
    for (TagWrite* write : group) {
        write->readBack = session.readOnce(write->readBackAs);
    }
    return context.waitUntil(Milliseconds(context.options().waitMs), [&] {
        return std::all_of(group.begin(), group.end(), [&](TagWrite* write) { return wasReadBack(session, *write); });
    });
}

// In groups: the session remembers the latest readings alone. A PLC that did not answer for one is not waited for again.
void readBackAll(CommandContext& context, std::vector<TagWrite>* writes) {
    constexpr std::size_t kGroup = OrderBook::kKeptEnded / 4;
    std::vector<TagWrite*> written;
    for (TagWrite& write : *writes) {
        if (!write.failure.occurred()) {
            written.push_back(&write);
        }
    }
    bool answers = true;
    for (auto begin = written.begin(); begin != written.end();) {
        const auto count = std::min(kGroup, static_cast<std::size_t>(written.end() - begin));
        const std::vector<TagWrite*> group(begin, begin + static_cast<std::ptrdiff_t>(count));
        answers = answers && readBackGroup(context, group);
        for (TagWrite* write : group) {
            compareWithPlc(context.session(), *writes, write);
        }
        begin += static_cast<std::ptrdiff_t>(count);
    }
}

Json writeJson(const TagWrite& write) {
    Json json;
    json["tag"] = write.tag.text;
    json["written"] = valueJson(write.tag, write.values);
    json["ok"] = !write.failure.occurred();
    json["outcome"] = writeOutcomeName(write.report.outcome);
    if (!write.report.before.empty()) {
        json["old"] = valueJson(write.tag, write.report.before);
    }
    json["read_back"] = write.inPlc ? valueJson(write.tag, write.inPlc->values) : Json();
    if (write.failure.occurred()) {
        json["error"] = failureJson(write.failure);
    }
    if (!write.note.empty()) {
        json["note"] = write.note;
    }
    return json;
}

void printWrites(const std::vector<TagWrite>& writes) {
    std::vector<std::vector<std::string>> rows;
    for (const TagWrite& write : writes) {
        if (write.inPlc) {
            rows.push_back({write.tag.text, formatPlantValues(write.tag, write.inPlc->values)});
        }
    }
    printTable(rows);
}

void tellFailures(const std::vector<TagWrite>& writes, FailureKind* kind) {
    for (const TagWrite& write : writes) {
        if (write.failure.occurred()) {
            complain(write.failure);
            *kind = write.failure.kind;
        }
        if (!write.note.empty()) {
            note(write.note);
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Only to see what would be written
// ---------------------------------------------------------------------------------------------------------------------

struct Preview {
    HostValues before;
    std::vector<PlcBytes> bytes;
    std::vector<Failure> objections;  // another program, or conditions that do not hold
};

Preview previewOf(Session& session, const TagWrite& write) {
    Preview preview;
    preview.before = session.value(write.tag).values;
    const HostValues bits = write.tag.form.isBit ? session.value(write.readBackAs).values : HostValues();
    preview.bytes = plcBytes(write.tag, write.values, bits);
    const Failure doubt = session.status().program.doubt;
    if (doubt.occurred()) {
        preview.objections.push_back(doubt);
        return preview;
    }
    for (const WriteCondition& condition : write.conditions) {
        const HostValues inPlc = session.value(condition.tag).values;
        if (!sameValues(inPlc, condition.values)) {
            preview.objections.push_back({FailureKind::Request, differenceText(write.tag, condition, inPlc)});
        }
    }
    return preview;
}

std::string placeText(const Tag& tag, const PlcBytes& bytes) {
    const char* unit = tag.form.code == TypeCode::Bit && !tag.form.isBit ? "bit" : "byte";
    return fmt::format("area {} {} {}", bytes.area, unit, bytes.address);
}

Json previewJson(const TagWrite& write, const Preview& preview) {
    Json json;
    json["tag"] = write.tag.text;
    json["old"] = valueJson(write.tag, preview.before);
    json["new"] = valueJson(write.tag, write.values);
    json["would_write"] = preview.objections.empty();
    json["requests"] = Json::array();
    for (const PlcBytes& bytes : preview.bytes) {
        json["requests"].push_back({{"area", bytes.area}, {"address", bytes.address}, {"bytes", hexText(bytes.bytes)}});
    }
    if (!preview.objections.empty()) {
        std::vector<std::string> texts;
        for (const Failure& objection : preview.objections) {
            texts.push_back(objection.text);
        }
        json["error"] = failureJson({preview.objections.front().kind, fmt::format("{}", fmt::join(texts, "; "))});
    }
    return json;
}

std::vector<Tag> tagsToLookAt(const std::vector<TagWrite>& writes) {
    std::vector<Tag> tags = allTagsOf(writes);
    for (const TagWrite& write : writes) {
        tags.push_back(write.readBackAs);
    }
    return tags;
}

int previewWrites(CommandContext& context, const std::vector<TagWrite>& writes) {
    const std::vector<Tag> tags = tagsToLookAt(writes);
    context.session().poll(tags);
    if (!context.waitUntil(Milliseconds(context.options().waitMs), [&] { return context.areReceived(tags); })) {
        const SessionStatus status = context.session().status();
        if (status.program.doubt.occurred()) {
            return context.cannotBegin(status.program.doubt);
        }
        const std::optional<SessionEvent>& last = status.lastFailure;
        return context.cannotBegin(last ? last->failure
                                        : Failure{FailureKind::Request, "not all that would be replaced came in time"});
    }
    Json json = newDocument();
    json["dry_run"] = Json::array();
    std::vector<std::vector<std::string>> rows{{"tag", "old", "new", "where", "bytes"}};
    std::vector<Failure> objections;
    for (const TagWrite& write : writes) {
        const Preview preview = previewOf(context.session(), write);
        json["dry_run"].push_back(previewJson(write, preview));
        for (const Failure& objection : preview.objections) {
            objections.push_back(
                {objection.kind, fmt::format("{} would not be sent: {}", write.tag.text, objection.text)});
        }
        for (const PlcBytes& bytes : preview.bytes) {
            rows.push_back({write.tag.text, formatPlantValues(write.tag, preview.before),
                            formatPlantValues(write.tag, write.values), placeText(write.tag, bytes),
                            hexText(bytes.bytes)});
        }
    }
    if (context.options().json) {
        printJson(json);
    } else {
        printTable(rows);
    }
    for (const Failure& objection : objections) {
        complain(objection);
    }
    return objections.empty() ? 0 : exitCodeOf(objections.front().kind);
}

}  // namespace

int runWrite(CommandContext& context) {
    const Options& options = context.options();
    std::vector<TagWrite> writes;
    Failure failure;
    std::shared_ptr<AuditGate> audit;
    if (!parseWrites(context, &writes, &failure) || !keepApart(tagsOf(writes), &failure) ||
        !(options.write.isDryRun || openAudit(options.write.audit, options, &audit, &failure)) ||
        !context.startSession(allTagsOf(writes), &failure)) {
        return context.cannotBegin(failure);
    }
    if (options.write.isDryRun) {
        return previewWrites(context, writes);
    }
    writeAll(context, &context.openWrites(audit, writes.size()), &writes);
    readBackAll(context, &writes);
    Json json = newDocument();
    json["writes"] = Json::array();
    for (const TagWrite& write : writes) {
        json["writes"].push_back(writeJson(write));
    }
    FailureKind kind = FailureKind::None;
    tellFailures(writes, &kind);
    context.session().stop();
    tellProblemsOf(audit, &kind);
    if (options.json) {
        printJson(json);
    } else {
        printWrites(writes);
    }
    return kind != FailureKind::None && wasInterrupted() ? kExitInterrupted : exitCodeOf(kind);
}

}  // namespace ac500::host
