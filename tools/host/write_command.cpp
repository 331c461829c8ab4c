#include "tools/host/commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>

#include "tools/host/bit_check.h"
#include "tools/host/exit_codes.h"
#include "tools/host/plant_values.h"
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
    Tag readBackAs;  // the tag, or the variable that holds its bits
    std::int32_t serial = 0;
    std::int32_t readBack = 0;  // serial of its reading back
    std::string readBackFailure = "no answer in time";
    Failure failure;
    std::optional<TagValue> inPlc;  // as it was read back
    std::string note;               // written, but there is something to know
};

// TAG=VALUE as a word of the command line is one entry; those of a list come apart already.
bool splitEntries(std::vector<Entry>* entries, Failure* failure) {
    for (Entry& entry : *entries) {
        const std::size_t equals = entry.text.find('=');
        if (!entry.value && equals != std::string::npos) {
            entry.value = entry.text.substr(equals + 1);
            entry.text.resize(equals);
        }
        if (!entry.value) {
            const char* remedy =
                entry.origin.list.empty() ? "write TAG=VALUE" : "write TAG=VALUE, or fill a column value";
            *failure = {FailureKind::Usage,
                        fmt::format("{}{}: there is no value; {}", entry.origin.text(), entry.text, remedy)};
            return false;
        }
    }
    return true;
}

bool parseWrite(const CommandContext& context, const ChosenTag& chosen, TagWrite* write, Failure* failure) {
    const std::string where = chosen.origin.text() + write->tag.text;
    std::string error;
    const std::optional<HostValues> values = parsePlantValues(write->tag, *chosen.value, &error);
    if (!values) {
        *failure = {FailureKind::Usage, where + ": " + error};
        return false;
    }
    if (!areFinite(*values) && !context.options().force) {
        *failure = {FailureKind::Usage, fmt::format("{}: {} is no finite number, which few PLC programs expect; with "
                                                    "--force it is written all the same",
                                                    where, formatPlantValues(write->tag, *values))};
        return false;
    }
    write->values = *values;
    write->readBackAs = write->tag.form.isBit ? allBitsOf(write->tag) : write->tag;
    return true;
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
    for (std::size_t i = 0; i < tags.size(); ++i) {
        TagWrite write;
        write.tag = tags[i];
        if (!parseWrite(context, chosen[i], &write, failure)) {
            return false;
        }
        writes->push_back(write);
    }
    return true;
}

std::vector<Tag> tagsOf(const std::vector<TagWrite>& writes) {
    std::vector<Tag> tags;
    for (const TagWrite& write : writes) {
        tags.push_back(write.tag);
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

bool isOver(HostSession& session, const TagWrite& write) {
    const std::optional<Order> record = session.order(write.serial);
    return !record || hasEnded(record->step);
}

// A reading that failed is ordered again: the link may have been lost after the write.
bool wasReadBack(HostSession& session, TagWrite& write) {
    const std::optional<Order> record = session.order(write.readBack);
    if (record && record->step == OrderStep::Failed) {
        write.readBackFailure = record->failure.text;
        write.readBack = session.readOnce(write.readBackAs);
    }
    return record && record->step == OrderStep::Succeeded;
}

void collectOutcomes(HostSession& session, std::vector<TagWrite>* writes) {
    for (TagWrite& write : *writes) {
        const std::optional<Order> record = session.order(write.serial);
        if (record && record->step == OrderStep::Failed) {
            write.failure = {record->failure.kind, write.tag.text + ": " + record->failure.text};
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
void compareBits(HostSession& session, const std::vector<TagWrite>& writes, const TagValue& inPlc, TagWrite* write) {
    const auto first = inPlc.values.begin() + write->tag.firstBit;
    write->inPlc = inPlc;
    write->inPlc->values = {first, first + write->tag.elements};
    const std::optional<Order> order = session.order(write->serial);
    const HostValues before = order ? order->bitsBefore : inPlc.values;
    const BitCheck check =
        checkBits({write->tag, write->values, before, inPlc.values, bitsWritten(writes, write->tag)});
    if (!check.isInPlc) {
        write->failure = {FailureKind::Request, fmt::format("{}: {}", write->tag.text, check.text)};
    } else if (!check.isAlone) {
        write->note = fmt::format("{}: {}", write->tag.text, check.text);
    }
}

void compareWithPlc(HostSession& session, const std::vector<TagWrite>& writes, TagWrite* write) {
    const bool wasRead = wasReadBack(session, *write);
    const TagValue inPlc = session.value(write->readBackAs);
    if (!wasRead || !inPlc.isKnown) {
        write->failure = {FailureKind::Request, fmt::format("{}: written, but it could not be read back: {}",
                                                            write->tag.text, write->readBackFailure)};
        return;
    }
    if (write->tag.form.isBit) {
        compareBits(session, writes, inPlc, write);
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

// Twice the waiting time: for a write that is with the driver when the link goes, the driver has to give up first.
void writeAll(CommandContext& context, std::vector<TagWrite>* writes) {
    HostSession& session = context.session();
    const Milliseconds wait(context.options().waitMs);
    for (TagWrite& write : *writes) {
        write.serial = session.write(write.tag, write.values);
    }
    const auto allEnded = [&] {
        return std::all_of(writes->begin(), writes->end(),
                           [&](const TagWrite& write) { return isOver(session, write); });
    };
    if (!context.waitUntil(2 * wait, allEnded)) {
        session.stop();
    }
    collectOutcomes(session, writes);
}

void readBackAll(CommandContext& context, std::vector<TagWrite>* writes) {
    HostSession& session = context.session();
    std::vector<TagWrite*> written;
    for (TagWrite& write : *writes) {
        if (!write.failure.occurred()) {
            write.readBack = session.readOnce(write.readBackAs);
            written.push_back(&write);
        }
    }
    context.waitUntil(Milliseconds(context.options().waitMs), [&] {
        return std::all_of(written.begin(), written.end(),
                           [&](TagWrite* write) { return wasReadBack(session, *write); });
    });
    for (TagWrite* write : written) {
        compareWithPlc(session, *writes, write);
    }
}

Json writeJson(const TagWrite& write) {
    Json json;
    json["tag"] = write.tag.text;
    json["written"] = valueJson(write.tag, write.values);
    json["ok"] = !write.failure.occurred();
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

}  // namespace

int runWrite(CommandContext& context) {
    std::vector<TagWrite> writes;
    Failure failure;
    if (!parseWrites(context, &writes, &failure) || !keepApart(tagsOf(writes), &failure) ||
        !context.startSession(tagsOf(writes), &failure)) {
        return context.cannotBegin(failure);
    }
    writeAll(context, &writes);
    readBackAll(context, &writes);
    FailureKind kind = FailureKind::None;
    Json json = newDocument();
    json["writes"] = Json::array();
    for (const TagWrite& write : writes) {
        json["writes"].push_back(writeJson(write));
        if (write.failure.occurred()) {
            complain(write.failure);
            kind = write.failure.kind;
        }
        if (!write.note.empty()) {
            note(write.note);
        }
    }
    if (context.options().json) {
        printJson(json);
    } else {
        printWrites(writes);
    }
    return kind != FailureKind::None && wasInterrupted() ? kExitInterrupted : exitCodeOf(kind);
}

}  // namespace ac500::host
