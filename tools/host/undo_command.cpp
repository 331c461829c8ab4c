#include <fmt/format.h>

#include <filesystem>
#include <system_error>

#include "tools/audit/audit_trail.h"
#include "tools/host/audited_path.h"
#include "tools/host/commands.h"
#include "tools/host/exit_codes.h"
#include "tools/host/plant_values.h"
#include "tools/host/print.h"
#include "tools/host/terminal.h"

namespace ac500::host {

namespace {

constexpr char kWouldBeWritten[] = "would be written";  // of a dry run, which asks no PLC

// One write to be taken back.
struct Undo {
    audit::Entry entry;
    Tag tag;
    HostValues written;  // what the PLC must still hold
    HostValues before;   // what it gets again
    WriteReport report;
    Failure failure;
};

// An unknown one may have arrived: whether it did shows when it is compared.
bool canBeTakenBack(const audit::Entry& entry) {
    const std::string outcome = entry.outcome();
    return (outcome == "done" || outcome == "unknown") && !entry.isUndone && entry.intent.undoes.empty();
}

// The latest first.
std::vector<Undo> chosenOf(const audit::Trail& trail, int last) {
    std::vector<Undo> undos;
    for (auto entry = trail.entries.rbegin(); entry != trail.entries.rend(); ++entry) {
        if (canBeTakenBack(*entry) && static_cast<int>(undos.size()) < last) {
            Undo undo;
            undo.entry = *entry;
            undos.push_back(undo);
        }
    }
    return undos;
}

// Where the symbol file has the tag must be where it was written.
Failure whyNotPlanned(const CommandContext& context, Undo* undo) {
    const audit::Intent& intent = undo->entry.intent;
    std::string error;
    const std::optional<Tag> tag = context.tags().find(intent.tag, &error);
    if (intent.plc != context.plc()) {
        return {FailureKind::Usage,
                fmt::format("{} was written to {}, not to {}; name that PLC with --plc, and its symbols", intent.tag,
                            intent.plc, context.plc())};
    }
    if (!tag) {
        return {FailureKind::Name, error};
    }
    undo->tag = *tag;
    if (tag->area != intent.area || tag->address != intent.address || auditTypeOf(*tag) != intent.type) {
        return {FailureKind::Name,
                fmt::format("{} was written as {} in area {} at {}, and the symbol file has it as {} in area {} at {}",
                            intent.tag, intent.type, intent.area, intent.address, auditTypeOf(*tag), tag->area,
                            tag->address)};
    }
    const std::optional<HostValues> written = parseValues(tag->form, tag->elements, intent.after, &error);
    const std::optional<HostValues> before = parseValues(tag->form, tag->elements, intent.before, &error);
    if (!written || !before) {
        return {FailureKind::Name, fmt::format("{}: {}", intent.tag, error)};
    }
    undo->written = *written;
    undo->before = *before;
    return {};
}

bool planUndos(const CommandContext& context, std::vector<Undo>* undos, Failure* failure) {
    for (Undo& undo : *undos) {
        const Failure problem = whyNotPlanned(context, &undo);
        if (!failure->occurred()) {
            *failure = problem;
        } else if (problem.occurred()) {
            failure->text += "\n" + problem.text;
        }
    }
    return !failure->occurred();
}

// One after the other: the next may be of the same tag.
void takeBack(CommandContext& context, WriteOrders* path, Undo* undo) {
    WriteRequest request;
    request.tag = undo->tag;
    request.values = undo->before;
    request.conditions = {
        {undo->tag, undo->written, fmt::format("{} does not hold what was written any more", undo->tag.text)}};
    request.undoes = undo->entry.intent.id;
    const WriteTicket ticket = path->order(request);
    const auto hasEnded = [&] { return path->report(ticket).value_or(WriteReport()).outcome != WriteOutcome::Pending; };
    if (!context.waitUntil(2 * Milliseconds(context.options().waitMs), hasEnded)) {
        context.session().stop();
    }
    undo->report = path->report(ticket).value_or(WriteReport());
    undo->failure = undo->report.failure;
}

Json undoJson(const Undo& undo, bool isDryRun) {
    Json json;
    json["tag"] = undo.tag.text;
    json["undoes"] = undo.entry.intent.id;
    json["written"] = valueJson(undo.tag, undo.written);
    json["restored"] = valueJson(undo.tag, undo.before);
    json["outcome"] = isDryRun ? kWouldBeWritten : writeOutcomeName(undo.report.outcome);
    if (undo.failure.occurred()) {
        json["error"] = failureJson(undo.failure);
    }
    return json;
}

void printUndos(const std::vector<Undo>& undos, const Options& options) {
    Json json = newDocument();
    json["undo"] = Json::array();
    std::vector<std::vector<std::string>> rows;
    for (const Undo& undo : undos) {
        json["undo"].push_back(undoJson(undo, options.write.isDryRun));
        rows.push_back({undo.tag.text,
                        fmt::format("{} -> {}", formatPlantValues(undo.tag, undo.written),
                                    formatPlantValues(undo.tag, undo.before)),
                        options.write.isDryRun ? kWouldBeWritten : writeOutcomeName(undo.report.outcome)});
    }
    if (options.json) {
        printJson(json);
    } else {
        printTable(rows);
    }
}

// A gateway notes in its own audit what is taken back, so that has to be the one that tells of it.
bool openAuditOfUndo(const CommandContext& context, std::shared_ptr<AuditGate>* audit, Failure* failure) {
    const std::string& file = context.options().audit.file;
    if (context.gateway() == nullptr) {
        return openAudit(file, context.options(), audit, failure);
    }
    const std::string& itsFile = context.gateway()->gateway().audit;
    std::error_code ignored;
    if (!itsFile.empty() && std::filesystem::equivalent(file, itsFile, ignored)) {
        return true;
    }
    *failure = {
        FailureKind::Usage,
        fmt::format("{} is not the audit of the gateway at {}, {}: that a write is taken back would not be noted; "
                    "undo without --via, or give the gateway's file",
                    file, context.options().via, itsFile.empty() ? "which keeps none" : "which keeps " + itsFile)};
    return false;
}

}  // namespace

int runUndo(CommandContext& context) {
    const Options& options = context.options();
    std::string error;
    const std::optional<audit::Trail> trail = audit::readTrail(options.audit.file, &error);
    if (!trail) {
        return context.cannotBegin({FailureKind::File, error});
    }
    std::vector<Undo> undos = chosenOf(*trail, options.audit.last);
    Failure failure;
    std::shared_ptr<AuditGate> audit;
    std::vector<Tag> tags;
    if (!planUndos(context, &undos, &failure)) {
        return context.cannotBegin(failure);
    }
    for (const Undo& undo : undos) {
        tags.push_back(undo.tag);
    }
    if (undos.empty()) {
        note(options.audit.file + " tells of no write that could be taken back");
    }
    if (options.write.isDryRun || undos.empty()) {
        printUndos(undos, options);
        return 0;
    }
    if (!openAuditOfUndo(context, &audit, &failure) || !context.startSession(tags, &failure)) {
        return context.cannotBegin(failure);
    }
    WriteOrders& path = context.openWrites(audit, undos.size());
    FailureKind kind = FailureKind::None;
    for (Undo& undo : undos) {
        takeBack(context, &path, &undo);
        if (undo.failure.occurred()) {
            complain({undo.failure.kind, outcomeText(undo.report)});
            kind = undo.failure.kind;
        }
    }
    context.session().stop();
    tellProblemsOf(audit, &kind);
    printUndos(undos, options);
    return kind != FailureKind::None && wasInterrupted() ? kExitInterrupted : exitCodeOf(kind);
}

}  // namespace ac500::host
